// Exported entry points of the sample-rate conversion.
#include "errors/call_frame.h"
#include "errors/checks.h"
#include "resample/resampler.h"
#include "vorel_audio.h"

using namespace vorel::audio;

extern "C" int vorelAudioGetResampleLen(int* dst_sample_n, int dst_sample_rate, int src_sample_n, int src_sample_rate) {
    if (dst_sample_n == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(dst_sample_rate >= 1, "Invalid dst_sample_rate value.");
        require(src_sample_rate >= 1, "Invalid src_sample_rate value.");
        require(src_sample_n >= 1, "Invalid src_sample_n value.");
        *dst_sample_n = get_resample_len(dst_sample_rate, src_sample_n, src_sample_rate);
    });
}

extern "C" int vorelAudioResample(float* dst, const float* src, int dst_sample_rate, int dst_n, int src_sample_rate,
                                  int src_n) {
    if (dst == nullptr || src == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(dst_sample_rate >= 1, "Invalid dst_sample_rate value.");
        require(dst_n >= 1, "Invalid dst_n size.");
        require(src_sample_rate >= 1, "Invalid src_sample_rate value.");
        require(src_n >= 1, "Invalid src_n size.");
        resample(dst, src, dst_sample_rate, dst_n, src_sample_rate, src_n);
    });
}
