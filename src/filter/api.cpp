// Exported entry points of the digital filters.
#include "errors/call_frame.h"
#include "errors/checks.h"
#include "filter/filter_initial_state.h"
#include "filter/linear_filter.h"
#include "filter/zero_phase_filter.h"
#include "vorel_audio.h"

using namespace vorel::audio;

namespace {

// The denominator's count is reported under the numerator's name, as the callers know it.
void require_filter_counts(int n_coef_n, int d_coef_n) {
    require(n_coef_n >= 1, "Invalid n_coef_n size.");
    require(d_coef_n >= 1, "Invalid n_coef_n size.");
}

// The four checks that the sample filters share, in their order.
void require_signal_and_filter_counts(int dst_n, int src_n, int n_coef_n, int d_coef_n) {
    require(dst_n >= 1, "Invalid dst_n size.");
    require(src_n >= 1, "Invalid src_n size.");
    require_filter_counts(n_coef_n, d_coef_n);
}

bool any_null(const float* dst, const float* src, const float* n_coef, const float* d_coef) {
    return dst == nullptr || src == nullptr || n_coef == nullptr || d_coef == nullptr;
}

}  // namespace

extern "C" int vorelAudioLinerFilter(float* dst, const float* src, const float* n_coef, const float* d_coef, float* zi,
                                     int dst_n, int src_n, int n_coef_n, int d_coef_n, int zi_n) {
    if (any_null(dst, src, n_coef, d_coef)) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require_signal_and_filter_counts(dst_n, src_n, n_coef_n, d_coef_n);
        linerfilter<float, float, float, float>(dst, src, n_coef, d_coef, zi, dst_n, src_n, n_coef_n, d_coef_n, zi_n,
                                                false);
    });
}

extern "C" int vorelAudioGetLinerFilterZiCoef(float* dst, const float* n_coef, const float* d_coef, int dst_n,
                                              int n_coef_n, int d_coef_n) {
    if (dst == nullptr || n_coef == nullptr || d_coef == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(dst_n >= 1, "Invalid dst_n size.");
        require_filter_counts(n_coef_n, d_coef_n);
        create_zi_coef<float, float>(dst, n_coef, d_coef, dst_n, n_coef_n, d_coef_n);
    });
}

extern "C" int vorelAudioFilterFilter(float* dst, const float* src, const float* n_coef, const float* d_coef, int dst_n,
                                      int src_n, int n_coef_n, int d_coef_n, int pad_type, int pad_len) {
    if (any_null(dst, src, n_coef, d_coef)) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require_signal_and_filter_counts(dst_n, src_n, n_coef_n, d_coef_n);
        require_one_of(pad_type,
                       {VOREL_AUDIO_PAD_TYPE_NONE, VOREL_AUDIO_PAD_TYPE_ODD, VOREL_AUDIO_PAD_TYPE_REFLECT,
                        VOREL_AUDIO_PAD_TYPE_CONSTANT},
                       "Invalid pad_type format.");
        require(pad_len >= 0, "Invalid pad_len value.");
        filtfilt(dst, src, n_coef, d_coef, dst_n, src_n, n_coef_n, d_coef_n, pad_type, pad_len);
    });
}
