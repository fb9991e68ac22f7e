"""Times the Python package against torch/torchaudio/scipy/numpy on the C++ benchmarks' workloads.

Run with Debian's interpreter after a release build:
    PYTHONPATH=python /usr/bin/python3 bench/compare.py [--short-time | --elementwise]
--short-time times only the speech front end (mel, complex spectrogram, inverse) against all
peers; --elementwise only the level conversions and magnitude/phase. VOREL_AUDIO_LIBRARY picks the library build to time (an older one, to compare). Everything
runs on one thread in one process; each figure is the best of several runs.
"""
import math
import os
import sys
import time

os.environ.setdefault("OMP_NUM_THREADS", "1")
os.environ.setdefault("OPENBLAS_NUM_THREADS", "1")
os.environ.setdefault("MKL_NUM_THREADS", "1")

import numpy as np  # noqa: E402
import scipy.fft  # noqa: E402
import scipy.signal  # noqa: E402
import torch  # noqa: E402
import torchaudio  # noqa: E402

import vorel_audio as va  # noqa: E402
from vorel_audio import _call  # noqa: E402

torch.set_num_threads(1)
RNG = np.random.default_rng(7)


def best(fn, repeat=7, min_time=0.3):
    """Best mean CPU time of the process per call (one thread everywhere, so CPU time is the
    work, and a busy machine disturbs it less than the wall clock)."""
    fn()
    runs = []
    for _ in range(repeat):
        loops, start = 0, time.process_time()
        while True:
            fn()
            loops += 1
            elapsed = time.process_time() - start
            if elapsed >= min_time / repeat:
                break
        runs.append(elapsed / loops)
    return min(runs)


def row(name, ours, peer_name, peer):
    t_ours, t_peer = best(ours), best(peer)
    print(f"{name:<38} {t_ours * 1e3:10.3f} ms {peer_name:<26} {t_peer * 1e3:10.3f} ms "
          f"{t_ours / t_peer:7.2f}x")


def rows(name, ours, peers):
    """One workload against several peers; the ratio is to each peer, the best marked."""
    t_ours = best(ours)
    times = [(peer_name, best(peer)) for peer_name, peer in peers]
    fastest = min(t for _, t in times)
    for i, (peer_name, t_peer) in enumerate(times):
        mark = " <- best peer" if t_peer == fastest else ""
        label = name if i == 0 else ""
        ours_text = f"{t_ours * 1e3:10.3f} ms" if i == 0 else " " * 13
        print(f"{label:<38} {ours_text} {peer_name:<26} {t_peer * 1e3:10.3f} ms "
              f"{t_ours / t_peer:7.2f}x{mark}")


def frames_of(x, n_fft, hop):
    """Centred reflect-padded frames of x, as a strided view (no copy)."""
    padded = np.pad(x, n_fft // 2, mode="reflect")
    return np.lib.stride_tricks.sliding_window_view(padded, n_fft)[::hop]


def short_time(sec60):
    """The speech front end (60 s at 16 kHz, fft 400, hop 160, Hann 400, 80 slaney bands with
    area norm, power 2, centre reflect) and its complex spectrogram and inverse, against every
    peer stack."""
    n_fft, hop, n_mels = 400, 160, 80
    t60 = torch.from_numpy(sec60)
    win_t = torch.hann_window(n_fft)
    win_np = win_t.numpy()
    fb = va.mel_filter_bank(n_fft // 2 + 1, 0.0, 8000.0, n_mels, 16000)
    fb_t = torch.from_numpy(fb)
    mel = torchaudio.transforms.MelSpectrogram(16000, n_fft=n_fft, hop_length=hop, n_mels=n_mels,
                                               norm="slaney", mel_scale="slaney", power=2.0)

    def torch_mel():
        s = torch.stft(t60, n_fft, hop, window=win_t, center=True, pad_mode="reflect",
                       return_complex=True)
        return fb_t @ (s.real * s.real + s.imag * s.imag)

    def numpy_mel():
        spectrum = scipy.fft.rfft(frames_of(sec60, n_fft, hop) * win_np, axis=-1, workers=1)
        power = spectrum.real * spectrum.real + spectrum.imag * spectrum.imag
        return fb @ power.T

    rows(f"mel 60 s ({n_fft}/{hop}/{n_mels})",
         lambda: va.mel_spectrogram(sec60, n_fft=n_fft, hop_length=hop, n_mels=n_mels),
         [("torch.stft + abs2 + matmul", torch_mel),
          ("torchaudio MelSpectrogram", lambda: mel(t60)),
          ("numpy + scipy rfft + dot", numpy_mel)])

    rows(f"stft 60 s fft {n_fft} hop {hop}",
         lambda: va.spectrogram(sec60, n_fft=n_fft, hop_length=hop, power=None),
         [("numpy + scipy rfft",
           lambda: scipy.fft.rfft(frames_of(sec60, n_fft, hop) * win_np, axis=-1, workers=1)),
          ("torch.stft", lambda: torch.stft(t60, n_fft, hop, window=win_t, center=True,
                                            pad_mode="reflect", return_complex=True))])

    # The library call alone, into an output reused across calls: the package's call above also
    # allocates and zeroes a fresh 9.6 MB array each time, as the peers allocate theirs.
    frames = 1 + len(sec60) // hop
    reused = np.empty((n_fft // 2 + 1) * frames * 2, dtype=np.float32)
    rows("  same, library call, reused output",
         lambda: _call.call("vorelAudioGetSpectrogram", _call.fptr(reused), _call.fptr(sec60), len(sec60), n_fft,
                            hop, n_fft, 1, frames, 1, 0.0, 0),
         [("torch.stft", lambda: torch.stft(t60, n_fft, hop, window=win_t, center=True,
                                            pad_mode="reflect", return_complex=True))])

    spectrum = va.spectrogram(sec60, n_fft=n_fft, hop_length=hop, power=None)
    spec_t = torch.stft(t60, n_fft, hop, window=win_t, center=True, pad_mode="reflect",
                        return_complex=True)
    rows(f"istft 60 s fft {n_fft} hop {hop}",
         lambda: va.inverse_spectrogram(spectrum, hop_length=hop),
         [("torch.istft", lambda: torch.istft(spec_t, n_fft, hop, window=win_t, center=True))])


def main():
    args = sys.argv[1:]
    if "--elementwise" in args:
        print(f"{'workload':<38} {'vorel_audio':>13} {'peer':<26} {'peer time':>13} {'ratio':>8}")
        elementwise()
        return
    only_short_time = "--short-time" in args
    print(f"{'workload':<38} {'vorel_audio':>13} {'peer':<26} {'peer time':>13} {'ratio':>8}")
    sec60 = RNG.standard_normal(16000 * 60).astype(np.float32)
    short_time(sec60)
    if only_short_time:
        return
    for n in (256, 400, 512, 1000, 1024, 4096):
        x = RNG.standard_normal(n).astype(np.float32)
        xt = torch.from_numpy(x)
        row(f"fft n={n}", lambda: va.fft(x), "torch.fft.fft", lambda: torch.fft.fft(xt))

    t60 = torch.from_numpy(sec60)
    n_fft, hop = 512, 128
    win = torch.hann_window(n_fft)
    row(f"stft 60 s 16 kHz fft {n_fft} hop {hop}",
        lambda: va.spectrogram(sec60, n_fft=n_fft, hop_length=hop, power=None),
        "torch.stft", lambda: torch.stft(t60, n_fft, hop, window=win, return_complex=True))

    sec30 = sec60[:16000 * 30]
    mel = torchaudio.transforms.MelSpectrogram(16000, n_fft=400, hop_length=160, n_mels=80,
                                               norm="slaney", mel_scale="slaney")
    t30 = torch.from_numpy(sec30)
    row("log-mel 30 s (400/160/80)",
        lambda: va.power_to_db(va.mel_spectrogram(sec30, n_fft=400, hop_length=160, n_mels=80)),
        "torchaudio MelSpectrogram",
        lambda: torchaudio.functional.amplitude_to_DB(mel(t30), 10.0, 1e-10, 0.0, 80.0))

    b, a = scipy.signal.butter(8, 0.25)
    b32, a32 = b.astype(np.float32), a.astype(np.float32)
    sec60d = sec60.astype(np.float64)
    row("lfilter 60 s order 8", lambda: va.lfilter(b32, a32, sec60),
        "scipy.signal.lfilter", lambda: scipy.signal.lfilter(b, a, sec60d))
    row("filtfilt 60 s order 8", lambda: va.filtfilt(b32, a32, sec60),
        "scipy.signal.filtfilt", lambda: scipy.signal.filtfilt(b, a, sec60d))

    for src, dst in ((44100, 16000), (48000, 16000), (16000, 22050)):
        x = RNG.standard_normal(src * 60).astype(np.float32)
        g = math.gcd(src, dst)
        row(f"resample 60 s {src}->{dst}", lambda: va.resample(x, src, dst),
            "scipy.signal.resample_poly",
            lambda: scipy.signal.resample_poly(x, dst // g, src // g))

    elementwise()


def elementwise():
    """The level conversions and magnitude/phase against numpy and torch, numpy and the package both
    writing into preallocated outputs (out=: the memory floor numpy reaches)."""
    big = RNG.random(10_000_000).astype(np.float32)
    tbig = torch.from_numpy(big).reshape(1, 1000, 10000)
    out, ours = np.empty_like(big), np.empty_like(big)

    def numpy_db():
        np.log10(np.maximum(big, np.float32(1e-10), out=out), out=out)
        np.multiply(out, np.float32(10.0), out=out)
        np.maximum(out, out.max() - np.float32(80.0), out=out)

    rows("power_to_db 10 M (ref max, top 80)", lambda: va.power_to_db(big, top_db=80.0, out=ours),
         [("numpy log10 (out=)", numpy_db),
          ("torchaudio amplitude_to_DB",
           lambda: torchaudio.functional.amplitude_to_DB(tbig, 10.0, 1e-10, 0.0, 80.0))])
    rows("log1p 10 M", lambda: va.log1p(big, out=ours),
         [("numpy log1p (out=)", lambda: np.log1p(big, out=out)), ("torch.log1p", lambda: torch.log1p(tbig))])

    spectrum = (RNG.standard_normal((513, 3000)) + 1j * RNG.standard_normal((513, 3000))).astype(np.complex64)
    mag, ang = np.empty(spectrum.shape, np.float32), np.empty(spectrum.shape, np.float32)
    our_mag, our_ang = np.empty_like(mag), np.empty_like(ang)

    def numpy_magphase():
        np.abs(spectrum, out=mag)
        np.arctan2(spectrum.imag, spectrum.real, out=ang)

    rows("magnitude + angle 513x3000", lambda: va.magphase(spectrum, power=1.0, out=(our_mag, our_ang)),
         [("numpy abs + angle (out=)", numpy_magphase)])
    rows("complex norm power 1 513x3000", lambda: va.complex_norm(spectrum, power=1.0, out=our_mag),
         [("numpy abs (out=)", lambda: np.abs(spectrum, out=mag))])
    rows("complex norm power 2 513x3000", lambda: va.complex_norm(spectrum, power=2.0, out=our_mag),
         [("numpy re*re + im*im", lambda: np.square(spectrum.real) + np.square(spectrum.imag))])


if __name__ == "__main__":
    main()
