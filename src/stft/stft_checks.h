// The run of argument checks that the spectrogram and the mel spectrogram share, in the order
// both entry points make them (from fft_n through power).
#pragma once

#include <cstdint>

#include "errors/checks.h"
#include "vorel_audio.h"

namespace vorel::audio {

inline void require_stft_arguments(int fft_n, int hop_n, int win_n, int win_type, int max_frame_n, int center,
                                   float power) {
    require(fft_n >= 1, "Invalid fft_n value.");
    require(hop_n >= 0, "Invalid hop_n value.");
    // A window may be one sample longer than the frame (its last sample is then unused);
    // a longer one has no place in the frame.
    require(win_n >= 1 && win_n <= static_cast<int64_t>(fft_n) + 1, "Invalid win_n value.");
    require_one_of(win_type, {VOREL_AUDIO_WIN_TYPE_HANN, VOREL_AUDIO_WIN_TYPE_HAMMING}, "Invalid win_type format.");
    require(max_frame_n >= 1, "Invalid max_frame_n size.");
    require_one_of(center, {VOREL_AUDIO_CENTER_NONE, VOREL_AUDIO_CENTER_REFLECT, VOREL_AUDIO_CENTER_ZEROS_PADDED},
                   "Invalid center format.");
    require(!(power < 0.0f), "Invalid power value.");  // a NaN power passes
}

}  // namespace vorel::audio
