// Exported entry points of the short-time analysis: frame counts, windows, spectrograms.
#include "errors/call_frame.h"
#include "errors/checks.h"
#include "stft/framing.h"
#include "stft/window_table.h"
#include "vorel_audio.h"

using namespace vorel::audio;

extern "C" int vorelAudioGetFrameLen(int* dst, int sample_n, int fft_n, int hop_n, int center) {
    if (dst == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(sample_n >= 1, "Invalid sample_n value.");
        require(fft_n >= 1, "Invalid fft_n value.");
        require(hop_n >= 0, "Invalid hop_n value.");
        require_one_of(center, {0, 1, 2}, "Invalid center format.");
        *dst = get_frame_len(sample_n, fft_n, hop_n, center);
    });
}

extern "C" int vorelAudioGetWindow(float* dst, int window_n, int win_type) {
    if (dst == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(window_n >= 1, "Invalid window_n size.");
        require_one_of(win_type, {1, 2}, "Invalid win_type format.");
        copy_window(dst, window_n, win_type);
    });
}
