"""Audio signal-processing primitives for machine-learning front ends, over libvorel_audio.

Every function takes numpy arrays (converted once to contiguous float32 / complex64) and allocates
its output. Functions along one axis take axis=-1 and treat the other dimensions as a batch, one
library call per item. Non-numeric arrays raise TypeError; a wrong shape or value raises
ValueError naming the argument; the library's refusals and failures raise ValueError,
MemoryError or RuntimeError naming the call.
"""
from .features import fix_frames, log1p, nonsilent_range, power_to_db, standardize
from .filters import filtfilt, lfilter, lfilter_zi
from .mel import convert_to_mel, mel_filter_bank, mel_frequencies, mel_spectrogram
from .resampling import resample, resample_length
from .spectral import (complex_norm, fft, fft_frequencies, frame_count, ifft, inverse_spectrogram,
                       irfft, magphase, rfft, sample_count, spectrogram, window)

__all__ = [
    "fft", "ifft", "rfft", "irfft", "fft_frequencies", "window", "frame_count", "spectrogram",
    "inverse_spectrogram", "sample_count", "mel_filter_bank", "mel_frequencies", "mel_spectrogram",
    "convert_to_mel", "lfilter", "lfilter_zi", "filtfilt", "resample_length", "resample",
    "complex_norm", "magphase", "power_to_db", "standardize", "log1p", "nonsilent_range",
    "fix_frames",
]
