"""Command line: python3 -m vorel_audio mel [INPUT...] -o OUT

Computes log-mel spectrograms of audio files (WAV/FLAC/OGG and the other formats the audio
reader opens, mixed down to mono and resampled with the library's own resampler). One file:
writes OUT.npy and OUT.png and prints a one-line summary; without INPUT it runs on the speech
clip shipped with the package. Several files, folders, or an existing folder as OUT: OUT is a
folder of .npy files with a manifest, computed here, in worker processes or on a Dask cluster
(see corpus.py).
"""
import argparse
import os
import pathlib
import sys
import time

from . import corpus

DEFAULT_CLIP = pathlib.Path(__file__).resolve().parent / "data" / "speech.wav"


def _cores():
    try:
        return len(os.sched_getaffinity(0))
    except AttributeError:
        return os.cpu_count() or 1


def run_one(source, output, params):
    out = pathlib.Path(output if output else source.stem + "_logmel")
    if out.suffix in (".npy", ".png"):
        out = out.with_suffix("")
    started = time.perf_counter()
    info = {}
    features = corpus.analyse(source, params, info)
    elapsed = time.perf_counter() - started
    corpus.save_array(str(out) + ".npy", features)
    corpus.save_picture(str(out) + ".png", features, params, source.name)
    duration = info["samples"] / info["sample_rate"]
    print(f"{source.name}: {duration:.2f} s at {info['sample_rate']} Hz -> {features.shape[1]} frames x "
          f"{features.shape[0]} mel bands in {elapsed * 1000:.1f} ms "
          f"(real-time factor {elapsed / duration if duration else 0.0:.4f}); "
          f"wrote {out}.npy and {out}.png")
    return 0


def run_mel(args):
    params = corpus.Params(rate=args.rate, n_fft=args.n_fft, hop=args.hop, n_mels=args.n_mels,
                           top_db=args.top_db, scale=args.scale)
    inputs = args.input or [str(DEFAULT_CLIP)]
    # One file keeps the stem form, unless -o names an existing folder to write into.
    if len(inputs) == 1 and not os.path.isdir(inputs[0]) and not (args.output and os.path.isdir(args.output)):
        source = pathlib.Path(inputs[0])
        try:
            return run_one(source, args.output, params)
        except (OSError, ValueError, MemoryError, RuntimeError, EOFError) as error:
            print(f"error: {source}: {error}", file=sys.stderr)
            return 1
    if not args.output:
        print("error: several inputs or a folder need -o OUT, the output folder", file=sys.stderr)
        return 2
    try:
        return corpus.run_corpus(inputs, args.output, params, jobs=args.jobs, dask=args.dask,
                                 force=args.force, png=args.png, quiet=args.quiet)
    except (OSError, ValueError) as error:
        print(f"error: {error}", file=sys.stderr)
        return 2


def _positive(text):
    try:
        value = int(text)
    except ValueError:
        value = 0
    if value < 1:
        raise argparse.ArgumentTypeError(f"expected a positive integer, got {text!r}")
    return value


def main(argv=None):
    parser = argparse.ArgumentParser(prog="python3 -m vorel_audio")
    commands = parser.add_subparsers(dest="command", required=True)
    mel = commands.add_parser(
        "mel", help="log-mel spectrograms of audio files or folders",
        description="One file: OUT.npy and OUT.png. Several files or folders (searched "
                    "recursively for audio files): OUT/<relative path>.npy, OUT/params.json and "
                    "OUT/manifest.jsonl; a rerun skips finished files. Exit status 1 when some "
                    "input failed.")
    mel.add_argument("input", nargs="*", help="audio files or folders (default: the bundled speech clip)")
    mel.add_argument("-o", "--output", help="output path without extension (one file) or output folder")
    mel.add_argument("--rate", type=_positive, default=16000, help="sample rate to resample to")
    mel.add_argument("--n-fft", type=_positive, default=400)
    mel.add_argument("--hop", type=_positive, default=160)
    mel.add_argument("--n-mels", type=_positive, default=80)
    mel.add_argument("--top-db", type=float, default=80.0, help="floor below the maximum (--scale db)")
    mel.add_argument("--scale", choices=corpus.SCALES, default="db",
                     help="db: power in dB floored --top-db below the maximum; whisper: log10 of the "
                          "power clamped at 1e-10, floored 8 below its maximum, then (x + 4) / 4")
    where = mel.add_mutually_exclusive_group()
    where.add_argument("--jobs", type=_positive, default=_cores(),
                       help="worker processes on this machine (default: its cores)")
    where.add_argument("--dask", metavar="ADDRESS",
                       help="a Dask scheduler (tcp://host:8786), or local[:N] for a local cluster "
                            "of N worker processes for this run")
    mel.add_argument("--force", action="store_true", help="recompute files a previous run finished")
    mel.add_argument("--png", action="store_true", help="also write a picture beside each .npy")
    mel.add_argument("--quiet", action="store_true", help="no progress bar")
    args = parser.parse_args(argv)
    try:
        return run_mel(args)
    except KeyboardInterrupt:
        print("interrupted: finished outputs are kept; run the same command again to complete the rest",
              file=sys.stderr)
        return 130


if __name__ == "__main__":
    sys.exit(main())
