"""Corpus runs: every mode gives each file's single-file result, bad files are reported, runs resume."""
import json
import math
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import time

import numpy as np
import pytest

soundfile = pytest.importorskip("soundfile")
corpus = pytest.importorskip("vorel_audio.corpus")
va_main = pytest.importorskip("vorel_audio.__main__")

PACKAGE_PARENT = pathlib.Path(corpus.__file__).resolve().parents[1]
BAD = ("random bytes.wav", "text.flac", "empty.wav", "fifty.wav")


def signal_at(rate, seconds, seed, channels=1):
    """A chirp over noise: every mel band gets energy, nothing is silent."""
    t = np.arange(int(rate * seconds)) / rate
    rng = np.random.default_rng(seed)
    chirp = 0.4 * np.sin(2 * np.pi * (100 + 1500 * t / seconds) * t)
    x = chirp[:, None] + 0.05 * rng.standard_normal((t.size, channels))
    return x.astype(np.float32)


def build_corpus(root):
    """Good files of many kinds, four bad ones and a text file; returns the good files."""
    good = {
        "tone 8k.wav": (8000, 1, "PCM_16"), "nested/été 48k.wav": (48000, 1, "PCM_24"),
        "nested/deeper/stereo.flac": (44100, 2, "PCM_16"), "clip.ogg": (22050, 1, "VORBIS"),
        "plain 16k.wav": (16000, 1, "FLOAT"),
    }
    for i, (name, (rate, channels, subtype)) in enumerate(good.items()):
        (root / name).parent.mkdir(parents=True, exist_ok=True)
        soundfile.write(str(root / name), signal_at(rate, 1.3, i, channels), rate, subtype=subtype)
    speech = root / "speech" / "espeak.wav"
    speech.parent.mkdir()
    if shutil.which("espeak-ng"):
        subprocess.run(["espeak-ng", "-w", str(speech), "Many files, all cores."], check=True)
    else:
        soundfile.write(str(speech), signal_at(22050, 1.0, 9), 22050)
    (root / "random bytes.wav").write_bytes(np.random.default_rng(1).bytes(3000))
    (root / "text.flac").write_text("not audio\n")
    soundfile.write(str(root / "empty.wav"), np.zeros(0, np.float32), 16000)
    soundfile.write(str(root / "fifty.wav"), signal_at(16000, 50 / 16000, 3), 16000)
    (root / "notes.txt").write_text("not an input\n")
    return sorted(list(good) + ["speech/espeak.wav"])


def cli(args, **kwargs):
    env = dict(os.environ, PYTHONPATH=str(PACKAGE_PARENT))
    return subprocess.Popen([sys.executable, "-m", "vorel_audio", "mel", *map(str, args)], env=env,
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, **kwargs)


def finish(process):
    try:
        out, err = process.communicate(timeout=240)
    except subprocess.TimeoutExpired:
        process.kill()
        raise
    return process.returncode, out, err


def manifest(out):
    return {e["output"]: e for e in map(json.loads, (out / "manifest.jsonl").read_text().splitlines())}


@pytest.fixture(scope="module")
def mixed(tmp_path_factory):
    """The mixed corpus and each good file's single-file result, keyed by relative output."""
    root = tmp_path_factory.mktemp("mixed")
    good = build_corpus(root)
    single = {}
    for name in good:
        stem = root.parent / "single" / name
        stem.parent.mkdir(parents=True, exist_ok=True)
        assert va_main.main(["mel", str(root / name), "-o", str(stem)]) == 0
        single[str(pathlib.Path(name).with_suffix(".npy"))] = (name, np.load(str(stem) + ".npy"))
    return root, single


@pytest.mark.parametrize("mode", [["--jobs", "2"], ["--dask", "local:2"]])
def test_every_mode_matches_single_file_runs(mixed, tmp_path, mode):
    root, single = mixed
    out = tmp_path / "out"
    status, text, err = finish(cli([root, "-o", out, *mode]))
    assert status == 1, err
    entries = manifest(out)
    assert sorted(entries) == sorted(list(single) + [str(pathlib.Path(b).with_suffix(".npy")) for b in BAD])
    for rel, (name, want) in single.items():
        got = np.load(out / rel)
        assert got.dtype == np.float32 and got.tobytes() == want.tobytes(), rel
        entry = entries[rel]
        assert entry["status"] == "ok" and entry["frames"] == want.shape[1]
        info = soundfile.info(str(root / name))
        assert entry["sample_rate"] == info.samplerate
        assert entry["duration_s"] == pytest.approx(info.frames / info.samplerate)
    for bad in BAD:
        entry = entries[str(pathlib.Path(bad).with_suffix(".npy"))]
        assert entry["status"] == "error" and entry["error"]
        assert not (out / entry["output"]).exists()
    assert "too short" in entries["fifty.npy"]["error"]
    assert not list(out.rglob("*.txt")) and not list(out.rglob("*.tmp")) and not list(out.rglob("*.png"))
    assert json.loads((out / "params.json").read_text())["params"]["n_fft"] == 400
    assert f"{len(single)} ok" in text and f"{len(BAD)} failed" in text
    assert all(b in err for b in BAD)


def test_outputs_mirror_folders_and_clashing_names_keep_their_extension(tmp_path):
    for name in ("x/b.wav", "x/b.flac", "x/sub/c.wav", "x/notes.txt", "x/d.WAV", "y/c.wav", "z/c.wav"):
        (tmp_path / name).parent.mkdir(parents=True, exist_ok=True)
        (tmp_path / name).write_bytes(b"")
    found = corpus.discover([tmp_path / "x", tmp_path / "y" / "c.wav", tmp_path / "sub" / "c.wav"])
    got = [(str(src.relative_to(tmp_path)), str(out), problem is not None) for src, out, problem in found]
    assert got == [("x/b.flac", "b.flac.npy", False), ("x/b.wav", "b.wav.npy", False), ("x/d.WAV", "d.npy", False),
                   ("x/sub/c.wav", "sub/c.npy", False), ("y/c.wav", "c.wav.npy", False),
                   ("sub/c.wav", "c.wav.npy", True)]


def short_wav(path, n, rate):
    soundfile.write(str(path), signal_at(rate, n / rate, 4), rate, subtype="PCM_16")


@pytest.mark.parametrize("n, rate", [(5, 44100), (236, 22050), (480, 48000), (399, 16000)])
def test_too_short_files_say_why(tmp_path, capsys, n, rate):
    source = tmp_path / "short.wav"
    short_wav(source, n, rate)
    assert va_main.main(["mel", str(source), "-o", str(tmp_path / "x")]) == 1
    message = capsys.readouterr().err
    resampled = math.ceil(n * 16000 / rate)
    assert f"{n} samples at {rate} Hz" in message and f"{resampled} samples at 16000 Hz" in message
    assert "too short" in message and "at least n_fft = 400 samples" in message


def test_whisper_scale_against_a_double_computation(tmp_path):
    import vorel_audio as va
    source = tmp_path / "a.wav"
    x = signal_at(16000, 1.0, 5)[:, 0]
    x[4000:12000] *= 1e-6  # a quiet middle reaches the floor 8 decades below the peak
    soundfile.write(str(source), x, 16000, subtype="FLOAT")
    assert va_main.main(["mel", str(source), "-o", str(tmp_path / "w"), "--scale", "whisper"]) == 0
    got = np.load(tmp_path / "w.npy")
    power = va.mel_spectrogram(x, sample_rate=16000, n_fft=400, hop_length=160, n_mels=80, power=2.0,
                               mel_norm="slaney", mel_scale="slaney").astype(np.float64)
    log = np.log10(np.maximum(power, 1e-10))
    want = (np.maximum(log, log.max() - 8.0) + 4.0) / 4.0
    assert got.dtype == np.float32 and (got == got.min()).sum() > 10
    np.testing.assert_allclose(got, want, rtol=0, atol=2e-6)


def test_killed_run_leaves_whole_files_and_a_rerun_completes(tmp_path):
    root = tmp_path / "long"
    root.mkdir()
    for i in range(16):
        soundfile.write(str(root / f"{i:02}.wav"), signal_at(44100, 20.0, i), 44100, subtype="PCM_16")
    out = tmp_path / "out"
    run = cli([root, "-o", out, "--jobs", "1"])
    manifest_file = out / "manifest.jsonl"
    deadline = time.monotonic() + 120
    while time.monotonic() < deadline and run.poll() is None:
        if manifest_file.exists() and manifest_file.read_text().count("\n") >= 2:
            break
        time.sleep(0.01)
    run.send_signal(signal.SIGKILL)
    run.wait()
    written = sorted(out.glob("*.npy"))
    assert 0 < len(written) < 16
    for path in written:
        assert np.load(path).shape[0] == 80  # whole files only: a truncated one fails to load
    finished = sum(e["status"] == "ok" for e in manifest(out).values())

    status, text, _ = finish(cli([root, "-o", out, "--jobs", "2"]))
    assert status == 0 and f"({16 - finished} computed, {finished} already done)" in text
    assert len(manifest(out)) == 16 and not list(out.glob("*.tmp"))
    params = corpus.Params()
    for i in (0, 15):
        want = corpus.analyse(root / f"{i:02}.wav", params)
        assert np.load(out / f"{i:02}.npy").tobytes() == want.tobytes()

    # A third run finds everything done and touches no output; --force recomputes.
    stamps = {p: p.stat().st_mtime_ns for p in out.glob("*.npy")}
    status, text, _ = finish(cli([root, "-o", out, "--jobs", "1"]))
    assert status == 0 and "(0 computed, 16 already done)" in text
    assert {p: p.stat().st_mtime_ns for p in out.glob("*.npy")} == stamps
    status, text, _ = finish(cli([root / "00.wav", root / "01.wav", "-o", out, "--force", "--jobs", "1"]))
    assert status == 0 and "(2 computed, 0 already done)" in text
    assert len(manifest(out)) == 16
