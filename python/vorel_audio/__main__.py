"""Command line: python3 -m vorel_audio mel [INPUT] -o OUT

Computes a log-mel spectrogram of an audio file (WAV/FLAC/OGG, mixed down to mono and
resampled with the library's own resampler), writes OUT.npy and OUT.png, and prints a
one-line summary. Without INPUT it runs on the speech clip shipped with the package.
"""
import argparse
import pathlib
import sys
import time

import numpy as np

from . import mel_spectrogram, power_to_db, resample

DEFAULT_CLIP = pathlib.Path(__file__).resolve().parent / "data" / "speech.wav"


def read_audio(path, rate):
    import soundfile
    data, file_rate = soundfile.read(str(path), dtype="float32", always_2d=True)
    mono = data.mean(axis=1, dtype=np.float32) if data.shape[1] > 1 else data[:, 0]
    if file_rate != rate:
        mono = resample(mono, file_rate, rate)
    return np.ascontiguousarray(mono, dtype=np.float32), file_rate


def save_picture(path, log_mel, rate, hop, title):
    import matplotlib
    matplotlib.use("Agg")
    import matplotlib.pyplot as plt
    frames = log_mel.shape[1]
    fig, ax = plt.subplots(figsize=(10, 4), dpi=100)
    image = ax.imshow(log_mel, origin="lower", aspect="auto", cmap="magma",
                      extent=(0.0, frames * hop / rate, 0, log_mel.shape[0]))
    ax.set_xlabel("time (s)")
    ax.set_ylabel("mel band")
    ax.set_title(title)
    fig.colorbar(image, ax=ax, format="%+.0f dB")
    fig.tight_layout()
    fig.savefig(str(path))
    plt.close(fig)


def run_mel(args):
    source = pathlib.Path(args.input) if args.input else DEFAULT_CLIP
    out = pathlib.Path(args.output if args.output else source.stem + "_logmel")
    if out.suffix in (".npy", ".png"):
        out = out.with_suffix("")
    started = time.perf_counter()
    samples, file_rate = read_audio(source, args.rate)
    power = mel_spectrogram(samples, sample_rate=args.rate, n_fft=args.n_fft,
                            hop_length=args.hop, n_mels=args.n_mels, power=2.0,
                            mel_norm="slaney", mel_scale="slaney")
    log_mel = power_to_db(power, top_db=args.top_db)
    elapsed = time.perf_counter() - started
    np.save(str(out) + ".npy", log_mel)
    save_picture(str(out) + ".png", log_mel, args.rate, args.hop, source.name)
    duration = samples.size / args.rate
    print(f"{source.name}: {duration:.2f} s at {file_rate} Hz -> {log_mel.shape[1]} frames x "
          f"{log_mel.shape[0]} mel bands in {elapsed * 1000:.1f} ms "
          f"(real-time factor {elapsed / duration if duration else 0.0:.4f}); "
          f"wrote {out}.npy and {out}.png")
    return 0


def main(argv=None):
    parser = argparse.ArgumentParser(prog="python3 -m vorel_audio")
    commands = parser.add_subparsers(dest="command", required=True)
    mel = commands.add_parser("mel", help="log-mel spectrogram of an audio file")
    mel.add_argument("input", nargs="?", help="audio file (default: the bundled speech clip)")
    mel.add_argument("-o", "--output", help="output path without extension")
    mel.add_argument("--rate", type=int, default=16000, help="sample rate to resample to")
    mel.add_argument("--n-fft", type=int, default=400)
    mel.add_argument("--hop", type=int, default=160)
    mel.add_argument("--n-mels", type=int, default=80)
    mel.add_argument("--top-db", type=float, default=80.0)
    args = parser.parse_args(argv)
    try:
        return run_mel(args)
    except (OSError, ValueError, MemoryError, RuntimeError) as error:
        print(f"error: {error}", file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())
