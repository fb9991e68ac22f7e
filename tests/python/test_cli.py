"""The log-mel command: mono mix-down, resampling to the chosen rate, outputs and summary."""
import numpy as np
import pytest

va_main = pytest.importorskip("vorel_audio.__main__")
soundfile = pytest.importorskip("soundfile")


def test_stereo_file_at_another_rate(tmp_path, capsys):
    rate = 44100
    t = np.arange(rate) / rate
    left = 0.5 * np.sin(2 * np.pi * 440 * t)
    stereo = np.stack([left, -left * 0.5], axis=1).astype(np.float32)
    source = tmp_path / "tone.wav"
    soundfile.write(str(source), stereo, rate)
    out = tmp_path / "tone_logmel"
    assert va_main.main(["mel", str(source), "-o", str(out)]) == 0
    log_mel = np.load(str(out) + ".npy")
    # 1 s at 16 kHz, hop 160, centred frames: 101 frames of 80 bands, top_db 80 below the peak.
    assert log_mel.shape == (80, 101)
    assert log_mel.max() == 0.0 and log_mel.min() >= -80.0
    # The 440 Hz tone lands in the low bands.
    assert np.argmax(log_mel[:, 50]) < 20
    assert (tmp_path / "tone_logmel.png").stat().st_size > 0
    line = capsys.readouterr().out.strip()
    assert "101 frames x 80 mel bands" in line and "real-time factor" in line


def test_bundled_clip_and_a_missing_file(tmp_path, capsys):
    out = tmp_path / "clip"
    assert va_main.main(["mel", "-o", str(out)]) == 0
    assert np.load(str(out) + ".npy").shape[0] == 80
    assert va_main.main(["mel", str(tmp_path / "absent.wav"), "-o", str(out)]) == 1
    assert "error" in capsys.readouterr().err
