"""Log-mel features of audio files, one file at a time or a whole corpus.

One function, `analyse`, turns one file into its features; the single-file command and every
corpus mode (this process, worker processes, a Dask cluster) call it the same way, so an output
never depends on how it was scheduled. A corpus run writes OUT/<relative path>.npy per input,
OUT/params.json once, and OUT/manifest.jsonl with one JSON line per input; outputs appear under
their final name only when complete (written to a hidden temporary file, then renamed), and a
rerun skips inputs whose output exists and whose manifest line says ok with the same parameters.
"""
import dataclasses
import glob
import hashlib
import json
import os
import pathlib
import sys
import time

import numpy as np

from . import frame_count, mel_spectrogram, power_to_db, resample, resample_length

SCALES = ("db", "whisper")
MANIFEST = "manifest.jsonl"
PARAMS = "params.json"

# File name extensions of the container formats the audio reader opens, by its format name.
# Headerless RAW and the MATLAB containers are left out: files with those names are rarely audio.
_EXTENSIONS = {
    "WAV": ("wav", "wave"), "WAVEX": ("wav",), "FLAC": ("flac",), "OGG": ("ogg", "oga", "opus"),
    "MP3": ("mp3",), "AIFF": ("aif", "aiff", "aifc"), "AU": ("au", "snd"), "CAF": ("caf",),
    "W64": ("w64",), "RF64": ("rf64",), "NIST": ("nist", "sph"), "VOC": ("voc",),
    "SVX": ("8svx", "iff", "svx"), "IRCAM": ("sf",), "PAF": ("paf",), "PVF": ("pvf",),
    "XI": ("xi",), "HTK": ("htk",), "SDS": ("sds",), "AVR": ("avr",), "WVE": ("wve",),
    "SD2": ("sd2",), "MPC2K": ("mpc",),
}


def audio_extensions():
    """Lower-case extensions (with the dot) of the formats the installed audio reader supports."""
    import soundfile
    formats = soundfile.available_formats()
    return frozenset("." + ext for name, exts in _EXTENSIONS.items() if name in formats for ext in exts)


@dataclasses.dataclass(frozen=True)
class Params:
    """Everything an output depends on; its key names a run's outputs in the manifest."""
    rate: int = 16000
    n_fft: int = 400
    hop: int = 160
    n_mels: int = 80
    top_db: float = 80.0
    scale: str = "db"

    def as_dict(self):
        return dataclasses.asdict(self)

    def key(self):
        text = json.dumps(self.as_dict(), sort_keys=True)
        return hashlib.sha256(text.encode()).hexdigest()[:16]


class TooShort(ValueError):
    """The resampled signal does not hold one frame."""


def read_audio(path, info):
    """Samples of a file mixed down to mono (the channel mean in float32) and its sample rate."""
    import soundfile
    if not os.path.isfile(path):
        raise FileNotFoundError("no such file")
    try:
        data, file_rate = soundfile.read(str(path), dtype="float32", always_2d=True)
    except RuntimeError as error:  # the reader's own errors derive from RuntimeError
        reason = str(error).rpartition("': ")[2].strip() or type(error).__name__
        if "regular file" in reason:  # what the reader says of some damaged files
            reason = "unknown or damaged format"
        raise ValueError(f"not a readable audio file: {reason}") from None
    info.update(sample_rate=file_rate, channels=data.shape[1], samples=data.shape[0],
                duration_s=data.shape[0] / file_rate)
    if data.shape[0] == 0:
        raise ValueError("the file holds no samples")
    mono = data.mean(axis=1, dtype=np.float32) if data.shape[1] > 1 else data[:, 0]
    return mono, file_rate


def whisper_scale(power):
    """log10 of the power clamped at 1e-10, floored 8 below its maximum, then (x + 4) / 4.

    float32 throughout, in this order: clamp, log10, maximum, floor, add 4, divide by 4.
    """
    x = np.log10(np.maximum(power, np.float32(1e-10)), dtype=np.float32)
    x = np.maximum(x, np.float32(x.max() - np.float32(8.0)))
    return (x + np.float32(4.0)) / np.float32(4.0)


def analyse(path, params, info=None):
    """Features of one file, shape (n_mels, frames) float32; fills info with what it learnt.

    Raises OSError, ValueError (TooShort among them), MemoryError or RuntimeError for a file it
    cannot read or turn into at least one frame.
    """
    info = {} if info is None else info
    mono, file_rate = read_audio(path, info)
    n = mono.size
    same_rate = file_rate == params.rate
    resampled_n = n if same_rate else resample_length(n, orig_sr=file_rate, target_sr=params.rate)
    if resampled_n < params.n_fft or frame_count(resampled_n, n_fft=params.n_fft, hop_length=params.hop) == 0:
        raise TooShort(f"too short: {n} samples at {file_rate} Hz are {resampled_n} samples at {params.rate} Hz "
                       f"after resampling, and frames need at least n_fft = {params.n_fft} samples")
    samples = mono if same_rate else resample(mono, orig_sr=file_rate, target_sr=params.rate)
    samples = np.ascontiguousarray(samples, dtype=np.float32)
    power = mel_spectrogram(samples, sample_rate=params.rate, n_fft=params.n_fft,
                            hop_length=params.hop, n_mels=params.n_mels, power=2.0,
                            mel_norm="slaney", mel_scale="slaney")
    if params.scale == "whisper":
        features = whisper_scale(power)
    else:
        features = power_to_db(power, top_db=params.top_db)
    info["frames"] = features.shape[1]
    return features


def _temporary(path):
    return path.with_name(f".{path.name}.{os.getpid()}.tmp")


def write_atomically(path, write):
    """Calls write(file object) on a hidden temporary file beside path, then renames it to path.

    A run killed at any moment leaves either the complete file or none under path; temporary
    files a killed run left for this path are removed first.
    """
    path = pathlib.Path(path)
    path.parent.mkdir(parents=True, exist_ok=True)
    for stale in path.parent.glob(f".{glob.escape(path.name)}.*.tmp"):
        stale.unlink(missing_ok=True)
    temporary = _temporary(path)
    try:
        with open(temporary, "wb") as f:
            write(f)
        os.replace(temporary, path)
    except BaseException:
        temporary.unlink(missing_ok=True)
        raise


def save_array(path, array):
    write_atomically(path, lambda f: np.save(f, array))


def save_picture(path, features, params, title):
    import matplotlib
    matplotlib.use("Agg")
    import matplotlib.pyplot as plt
    frames = features.shape[1]
    fig, ax = plt.subplots(figsize=(10, 4), dpi=100)
    image = ax.imshow(features, origin="lower", aspect="auto", cmap="magma",
                      extent=(0.0, frames * params.hop / params.rate, 0, features.shape[0]))
    ax.set_xlabel("time (s)")
    ax.set_ylabel("mel band")
    ax.set_title(title)
    fig.colorbar(image, ax=ax, format="%+.0f dB" if params.scale == "db" else "%+.1f")
    fig.tight_layout()
    write_atomically(path, lambda f: fig.savefig(f, format="png"))
    plt.close(fig)


def process_file(task):
    """The per-file task of every corpus mode: (input, output, params dict, png) -> manifest entry.

    Never raises for a bad input: the entry says status "error" with the message.
    """
    source, output, params_dict, png = task
    params = Params(**params_dict)
    info = {}
    entry = {"input": source, "output": output, "status": "ok"}
    try:
        features = analyse(source, params, info)
        save_array(output, features)
        if png:
            save_picture(os.path.splitext(output)[0] + ".png", features, params,
                         os.path.basename(source))
    except (OSError, ValueError, MemoryError, RuntimeError, EOFError) as error:
        entry["status"] = "error"
        entry["error"] = str(error) or type(error).__name__
    for name in ("duration_s", "sample_rate", "channels", "samples", "frames"):
        entry[name] = info.get(name)
    return entry


# ---- Discovery --------------------------------------------------------------------------------

def discover(inputs):
    """(source path, output path relative to OUT, problem or None) for every input.

    Folders are walked recursively (sorted, symbolic links to folders not followed) for audio
    extensions; IN/a/b.flac gives a/b.npy, a loose file its own name. Outputs that two inputs
    would share keep the input's extension (a/b.flac.npy); a clash that remains is an error.
    """
    extensions = audio_extensions()
    found = []
    for given in inputs:
        root = pathlib.Path(given)
        if root.is_dir():
            for folder, dirs, files in os.walk(root):
                dirs.sort()
                for name in sorted(files):
                    if os.path.splitext(name)[1].lower() in extensions:
                        path = pathlib.Path(folder) / name
                        found.append((path, path.relative_to(root)))
        else:
            found.append((root, pathlib.Path(root.name)))
    stems = {}
    for _, rel in found:
        stems.setdefault(rel.with_suffix(""), []).append(rel)
    seen = {}
    result = []
    for path, rel in found:
        out = rel.with_suffix("") if len(stems[rel.with_suffix("")]) == 1 else rel
        out = pathlib.Path(str(out) + ".npy")
        problem = None
        if out in seen:
            problem = f"its output {out} is already the output of {seen[out]}"
        else:
            seen[out] = path
        result.append((path, out, problem))
    return result


# ---- Manifest ---------------------------------------------------------------------------------

def _key(entry):
    return entry["input"], entry["output"]


def read_manifest(path):
    """Last entry per (input, output) of a manifest; lines a killed run cut short are ignored."""
    entries = {}
    try:
        with open(path, encoding="utf-8") as f:
            for line in f:
                try:
                    entry = json.loads(line)
                    entries[_key(entry)] = entry
                except (ValueError, KeyError, TypeError):
                    continue
    except FileNotFoundError:
        pass
    return entries


def compact_manifest(path, order):
    """Rewrites the manifest with one line per input: this run's inputs in order, then others."""
    entries = read_manifest(path)
    keys = [k for k in order if k in entries] + [k for k in entries if k not in set(order)]
    lines = "".join(json.dumps(entries[k], ensure_ascii=False) + "\n" for k in keys)
    write_atomically(path, lambda f: f.write(lines.encode("utf-8")))


# ---- Runners ----------------------------------------------------------------------------------

def _failure(task, error):
    """The entry of a task that raised instead of returning one (a fault, or a worker that died)."""
    source, output, _, _ = task
    return {"input": source, "output": output, "status": "error",
            "error": f"failed: {type(error).__name__}: {error}"}


def _run_here(tasks):
    for task in tasks:
        try:
            entry = process_file(task)
        except Exception as error:
            entry = _failure(task, error)
        yield task, entry


def _run_processes(tasks, jobs):
    import concurrent.futures
    import multiprocessing
    window = 4 * jobs
    context = multiprocessing.get_context("forkserver")
    with concurrent.futures.ProcessPoolExecutor(jobs, mp_context=context) as pool:
        pending = {}
        queue = iter(tasks)
        for task in queue:
            pending[pool.submit(process_file, task)] = task
            if len(pending) >= window:
                break
        while pending:
            done, _ = concurrent.futures.wait(pending, return_when=concurrent.futures.FIRST_COMPLETED)
            for future in done:
                task = pending.pop(future)
                try:
                    yield task, future.result()
                except Exception as error:  # a worker that died takes its task with it
                    yield task, _failure(task, error)
                for next_task in queue:
                    pending[pool.submit(process_file, next_task)] = next_task
                    break


def worker_environment():
    """PYTHONPATH and library path so that worker processes import this very package."""
    from . import _library
    env = {"PYTHONPATH": os.pathsep.join(
        [str(pathlib.Path(__file__).resolve().parent.parent)]
        + [p for p in os.environ.get("PYTHONPATH", "").split(os.pathsep) if p])}
    env["VOREL_AUDIO_LIBRARY"] = str(pathlib.Path(_library.lib()._name).resolve())
    return env


def parse_dask_address(address):
    """'local' or 'local:N' -> ('local', N or None); anything else is a scheduler address."""
    if address == "local" or address.startswith("local:"):
        count = address.partition(":")[2]
        if count and (not count.isdigit() or int(count) < 1):
            raise ValueError(f"--dask {address}: the number of workers must be a positive integer")
        return "local", int(count) if count else None
    return "remote", address


def _run_dask(tasks, address, jobs):
    import distributed
    kind, where = parse_dask_address(address)
    cluster = None
    if kind == "local":
        cluster = distributed.LocalCluster(n_workers=where or jobs, threads_per_worker=1,
                                           processes=True, dashboard_address=None,
                                           env=worker_environment(), silence_logs=40)
        client = distributed.Client(cluster)
    else:
        client = distributed.Client(where, timeout="30s")
    try:
        window = 4 * max(1, sum(client.nthreads().values()))
        queue = iter(tasks)
        pending = {}
        ready = distributed.as_completed()
        for task in queue:
            future = client.submit(process_file, task, pure=False)
            pending[future.key] = task
            ready.add(future)
            if len(pending) >= window:
                break
        for future in ready:
            task = pending.pop(future.key)
            try:
                yield task, future.result()
            except Exception as error:
                yield task, _failure(task, error)
            future.release()
            for next_task in queue:
                nxt = client.submit(process_file, next_task, pure=False)
                pending[nxt.key] = next_task
                ready.add(nxt)
                break
    finally:
        client.close()
        if cluster is not None:
            cluster.close()


# ---- A corpus run -----------------------------------------------------------------------------

class Progress:
    """Files done, hours of audio and rate on stderr; silent unless stderr is a terminal."""

    def __init__(self, total, quiet):
        self.bar = None
        if not quiet and sys.stderr.isatty():
            import tqdm
            self.bar = tqdm.tqdm(total=total, unit="file", file=sys.stderr, dynamic_ncols=True)
        self.hours = 0.0
        self.started = time.perf_counter()

    def advance(self, entry):
        if entry.get("status") == "ok":
            self.hours += (entry.get("duration_s") or 0.0) / 3600.0
        if self.bar is not None:
            elapsed = max(time.perf_counter() - self.started, 1e-9)
            self.bar.set_postfix_str(f"{self.hours:.3f} h audio, {self.hours / elapsed:.4f} h/s",
                                     refresh=False)
            self.bar.update(1)

    def close(self):
        if self.bar is not None:
            self.bar.close()


def run_corpus(inputs, out, params, jobs=1, dask=None, force=False, png=False, quiet=False):
    """Features of every input into the folder out; returns the exit status (0 all ok, 1 not)."""
    started = time.perf_counter()
    if dask is not None:
        parse_dask_address(dask)  # refuses a bad address before anything is written
    out = pathlib.Path(out)
    if out.exists() and not out.is_dir():
        raise ValueError(f"{out}: output must be a folder when there are several inputs")
    out.mkdir(parents=True, exist_ok=True)
    key = params.key()
    write_atomically(out / PARAMS, lambda f: f.write(
        (json.dumps({"params": params.as_dict(), "params_key": key}, indent=2) + "\n").encode()))
    manifest_path = out / MANIFEST
    previous = read_manifest(manifest_path)

    order, tasks, done = [], [], []
    for source, rel, problem in discover(inputs):
        entry_key = (os.path.abspath(source), str(rel))
        order.append(entry_key)
        if problem is not None:
            done.append({"input": entry_key[0], "output": entry_key[1], "status": "error",
                         "error": problem, "params_key": key})
            continue
        old = previous.get(entry_key)
        if (not force and old is not None and old.get("status") == "ok"
                and old.get("params_key") == key and (out / rel).is_file()):
            continue
        tasks.append((entry_key[0], str(out.resolve() / rel), params.as_dict(), png))
    if not order:
        raise ValueError("no audio files among the inputs")
    skipped = len(order) - len(tasks) - len(done)

    if dask is not None:
        results = _run_dask(tasks, dask, jobs)
    elif jobs > 1 and len(tasks) > 1:
        results = _run_processes(tasks, min(jobs, len(tasks)))
    else:
        results = _run_here(tasks)

    progress = Progress(len(tasks) + len(done), quiet)
    ok = failed = 0
    failures = []
    with open(manifest_path, "a", encoding="utf-8") as manifest:
        def record(entry):
            nonlocal ok, failed
            entry["params_key"] = key
            manifest.write(json.dumps(entry, ensure_ascii=False) + "\n")
            manifest.flush()
            if entry["status"] == "ok":
                ok += 1
            else:
                failed += 1
                failures.append(entry)
            progress.advance(entry)

        try:
            for entry in done:
                record(entry)
            for task, entry in results:
                entry["input"], entry["output"] = task[0], os.path.relpath(task[1], out.resolve())
                record(entry)
        finally:
            progress.close()
    compact_manifest(manifest_path, order)

    wall = time.perf_counter() - started
    hours = progress.hours
    print(f"{ok + skipped} ok ({ok} computed, {skipped} already done), {failed} failed of "
          f"{len(order)} files; {hours:.4f} h of audio in {wall:.2f} s wall time "
          f"({hours / wall if wall > 0 else 0.0:.4f} h of audio per second); "
          f"manifest {manifest_path}")
    for entry in failures[:20]:
        print(f"failed: {entry['input']}: {entry['error']}", file=sys.stderr)
    if len(failures) > 20:
        print(f"... and {len(failures) - 20} more failures in {manifest_path}", file=sys.stderr)
    return 1 if failed else 0
