// Exported entry points for complex spectra: norms, magnitude and phase.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "errors/call_frame.h"
#include "errors/checks.h"
#include "features/complex_norm.h"
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

extern "C" int vorelAudioMagPhase(float* dst_mag, float* dst_phase, const float* src, int freq_n,
                                  int frame_n, float power, int phase_form) {
    if (dst_mag == nullptr || dst_phase == nullptr || src == nullptr)
        return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(freq_n >= 1, "Invalid freq_n value.");
        require(frame_n >= 1, "Invalid frame_n value.");
        require(!(power < 0.0f), "Invalid power value.");
        require_one_of(phase_form, {1, 0}, "Invalid phase_form format.");
        magphase_2d(dst_mag, dst_phase, src, freq_n, frame_n, power, phase_form != 0);
    });
}
