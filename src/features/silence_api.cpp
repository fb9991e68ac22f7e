// Exported entry points of silence detection and frame fitting.
#include "errors/call_frame.h"
#include "errors/checks.h"
#include "features/frame_fit.h"
#include "features/silence.h"
#include "vorel_audio.h"

using namespace vorel::audio;

extern "C" int vorelAudioGetNonSilentPos(int* start_pos, int* nonsilent_len, const float* src,
                                         int sample_n, int win_n, int hop_n, float thr_db) {
    if (start_pos == nullptr || nonsilent_len == nullptr || src == nullptr)
        return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(sample_n >= 1, "Invalid sample_n size.");
        require(win_n >= 1, "Invalid win_n value.");
        require(hop_n >= 0, "Invalid hop_n value.");
        require(!(thr_db < 0.0f), "Invalid thr_db value.");
        detect_nonsilent_pos(start_pos, nonsilent_len, src, sample_n, win_n, hop_n, thr_db);
    });
}

extern "C" int vorelAudioFixFrameLen(float* dst, const float* src, int freq_n, int dst_frame_n,
                                     int src_frame_n, float pad_value) {
    if (dst == nullptr || src == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(freq_n >= 1, "Invalid freq_n size.");
        require(dst_frame_n >= 1, "Invalid dst_frame_n size.");
        require(src_frame_n >= 1, "Invalid src_frame_n size.");
        fix_frame_len(dst, src, freq_n, dst_frame_n, src_frame_n, pad_value);
    });
}
