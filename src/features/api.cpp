// Exported entry points of the feature utilities.
#include <algorithm>
#include <cstddef>

#include "errors/call_frame.h"
#include "errors/checks.h"
#include "features/complex_norm.h"
#include "features/levels.h"
#include "features/silence.h"
#include "vorel_audio.h"

using namespace vorel::audio;

extern "C" int vorelAudioComplexNorm(float* dst, const float* src, int src_n, float power) {
    if (dst == nullptr || src == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(src_n >= 1, "Invalid src_n size.");
        require(!(power <= 0.0f), "Invalid power value.");
        complex_norm_1d_core(dst, src, src_n, power);
    });
}

extern "C" int vorelAudioMagPhase(float* dst_mag, float* dst_phase, const float* src, int freq_n, int frame_n,
                                  float power, int phase_form) {
    if (dst_mag == nullptr || dst_phase == nullptr || src == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(freq_n >= 1, "Invalid freq_n value.");
        require(frame_n >= 1, "Invalid frame_n value.");
        require(!(power < 0.0f), "Invalid power value.");
        require_one_of(phase_form, {VOREL_AUDIO_PHASE_FORM_COMPLEX, VOREL_AUDIO_PHASE_FORM_ANGLE},
                       "Invalid phase_form format.");
        magphase_2d(dst_mag, dst_phase, src, freq_n, frame_n, power, phase_form == VOREL_AUDIO_PHASE_FORM_COMPLEX);
    });
}

extern "C" int vorelAudioConvertPowerToDB(float* dst, const float* src, int src_n, float top_db) {
    if (dst == nullptr || src == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(src_n >= 1, "Invalid src_n size.");
        convert_power_to_db(dst, src, src_n, top_db);
    });
}

extern "C" int vorelAudioStandardize(float* dst, const float* src, int src_n) {
    if (dst == nullptr || src == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(src_n >= 1, "Invalid src_n size.");
        standardize(dst, src, src_n);
    });
}

extern "C" int vorelAudioLog1p(float* dst, const float* src, int src_n) {
    if (dst == nullptr || src == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(src_n >= 1, "Invalid src_n size.");
        log1p_elements(dst, src, src_n);
    });
}

extern "C" int vorelAudioGetNonSilentPos(int* start_pos, int* nonsilent_len, const float* src, int sample_n, int win_n,
                                         int hop_n, float thr_db) {
    if (start_pos == nullptr || nonsilent_len == nullptr || src == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(sample_n >= 1, "Invalid sample_n size.");
        require(win_n >= 1, "Invalid win_n value.");
        require(hop_n >= 0, "Invalid hop_n value.");
        require(!(thr_db < 0.0f), "Invalid thr_db value.");
        detect_nonsilent_pos(start_pos, nonsilent_len, src, sample_n, win_n, hop_n, thr_db);
    });
}

extern "C" int vorelAudioFixFrameLen(float* dst, const float* src, int freq_n, int dst_frame_n, int src_frame_n,
                                     float pad_value) {
    if (dst == nullptr || src == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(freq_n >= 1, "Invalid freq_n size.");
        require(dst_frame_n >= 1, "Invalid dst_frame_n size.");
        require(src_frame_n >= 1, "Invalid src_frame_n size.");
        // Each row cut, or filled with pad_value, at its end (dst and src must not overlap). Offsets
        // in size_t: freq_n * frame_n can pass INT_MAX.
        const auto dst_row = static_cast<std::size_t>(dst_frame_n), src_row = static_cast<std::size_t>(src_frame_n);
        const std::size_t kept = std::min(dst_row, src_row);
        for (std::size_t f = 0; f < static_cast<std::size_t>(freq_n); ++f) {
            float* const out = std::copy_n(src + f * src_row, kept, dst + f * dst_row);
            std::fill(out, out + (dst_row - kept), pad_value);
        }
    });
}
