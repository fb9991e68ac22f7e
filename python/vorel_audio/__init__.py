"""Audio signal-processing primitives for machine-learning front ends, over libvorel_audio.

Every function takes numpy arrays (converted once to contiguous float32 / complex64),
allocates its output, processes leading batch dimensions item by item, and raises
ValueError, MemoryError or RuntimeError when the library refuses or fails a call.
"""
from .features import fix_frames, log1p, nonsilent_range, power_to_db, standardize
from .filters import filtfilt, lfilter, lfilter_zi
from .mel import convert_to_mel, mel_filter_bank, mel_spectrogram
from .resampling import resample, resample_length
from .spectral import (complex_norm, fft, frame_count, ifft, inverse_spectrogram, magphase,
                       sample_count, spectrogram, window)

__all__ = [
    "fft", "ifft", "window", "frame_count", "spectrogram", "inverse_spectrogram", "sample_count",
    "mel_filter_bank", "mel_spectrogram", "convert_to_mel", "lfilter", "lfilter_zi", "filtfilt",
    "resample_length", "resample", "complex_norm", "magphase", "power_to_db", "standardize",
    "log1p", "nonsilent_range", "fix_frames",
]
