// Exported entry points of the short-time analysis: frame counts, windows, spectrograms.
#include <cstdint>

#include "errors/call_frame.h"
#include "errors/checks.h"
#include "stft/framing.h"
#include "stft/inverse_spectrogram.h"
#include "stft/spectrogram.h"
#include "stft/window_table.h"
#include "vorel_audio.h"

using namespace vorel::audio;

extern "C" int vorelAudioGetFrameLen(int* dst, int sample_n, int fft_n, int hop_n, int center) {
    if (dst == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(sample_n >= 1, "Invalid sample_n value.");
        require(fft_n >= 1, "Invalid fft_n value.");
        require(hop_n >= 0, "Invalid hop_n value.");
        require_one_of(center, {VOREL_AUDIO_CENTER_NONE, VOREL_AUDIO_CENTER_REFLECT, VOREL_AUDIO_CENTER_ZEROS_PADDED},
                       "Invalid center format.");
        *dst = get_frame_len(sample_n, fft_n, hop_n, center);
    });
}

extern "C" int vorelAudioGetWindow(float* dst, int window_n, int win_type) {
    if (dst == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(window_n >= 1, "Invalid window_n size.");
        require_one_of(win_type, {VOREL_AUDIO_WIN_TYPE_HANN, VOREL_AUDIO_WIN_TYPE_HAMMING}, "Invalid win_type format.");
        copy_window(dst, window_n, win_type);
    });
}

extern "C" int vorelAudioGetSpectrogram(float* dst, const float* src, int sample_n, int fft_n, int hop_n, int win_n,
                                        int win_type, int max_frame_n, int center, float power, int norm_type) {
    if (dst == nullptr || src == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(sample_n >= 1, "Invalid sample_n size.");
        require_stft_arguments(fft_n, hop_n, win_n, win_type, max_frame_n, center, power);
        require_one_of(norm_type,
                       {VOREL_AUDIO_NORM_TYPE_NONE, VOREL_AUDIO_NORM_TYPE_TORCH, VOREL_AUDIO_NORM_TYPE_TORCH,
                        VOREL_AUDIO_NORM_TYPE_SCIPY},
                       "Invalid norm_type format.");
        spectrogram(dst, src, sample_n, fft_n, hop_n, win_n, win_type, max_frame_n, center, power, norm_type);
    });
}

extern "C" int vorelAudioGetSampleLen(int* dst, int frame_n, int freq_n, int hop_n, int center) {
    if (dst == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(frame_n >= 1, "Invalid frame_n value.");
        require(freq_n >= 1, "Invalid freq_n value");
        require(hop_n >= 0, "Invalid hop_n value.");
        require_one_of(center, {VOREL_AUDIO_CENTER_NONE, VOREL_AUDIO_CENTER_REFLECT, VOREL_AUDIO_CENTER_ZEROS_PADDED},
                       "Invalid center format.");
        *dst = get_sample_len(frame_n, freq_n, hop_n, center != VOREL_AUDIO_CENTER_NONE);
    });
}

extern "C" int vorelAudioGetInverseSpectrogram(float* dst, const float* src, int frame_n, int freq_n, int hop_n,
                                               int win_n, int win_type, int max_sample_n, int center, int norm_type) {
    if (dst == nullptr || src == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(frame_n >= 1, "Invalid frame_n size.");
        require(freq_n >= 1, "Invalid freq_n value.");
        require(hop_n >= 0, "Invalid hop_n value.");
        // The window must fit the frame of 2 * freq_n - 2 samples, or the summed squares would
        // reach past the end of the frame.
        require(win_n >= 1 && win_n <= 2 * static_cast<int64_t>(freq_n) - 2, "Invalid win_n value.");
        require_one_of(win_type, {VOREL_AUDIO_WIN_TYPE_HANN, VOREL_AUDIO_WIN_TYPE_HAMMING}, "Invalid win_type format.");
        require(max_sample_n >= 1, "Invalid max_sample_n size.");
        require_one_of(center, {VOREL_AUDIO_CENTER_NONE, VOREL_AUDIO_CENTER_REFLECT, VOREL_AUDIO_CENTER_ZEROS_PADDED},
                       "Invalid center format.");
        require_one_of(norm_type,
                       {VOREL_AUDIO_NORM_TYPE_NONE, VOREL_AUDIO_NORM_TYPE_TORCH, VOREL_AUDIO_NORM_TYPE_TORCH,
                        VOREL_AUDIO_NORM_TYPE_SCIPY},
                       "Invalid norm_type format.");
        inverse_spectrogram(dst, src, frame_n, freq_n, hop_n, win_n, win_type, max_sample_n, center, norm_type);
    });
}
