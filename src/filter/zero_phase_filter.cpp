// Forward-backward filtering of an extended signal, in double until the final store. Its ends
// are filled a chunk at a time and the middle is read from src; the state is double, so cutting
// a pass into pieces changes no bit. The backward pass stops at the first original sample.
#include "filter/zero_phase_filter.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <vector>

#include "common/signal_padding.h"
#include "errors/checks.h"
#include "filter/filter_initial_state.h"
#include "filter/linear_filter.h"
#include "vorel_audio.h"

namespace vorel::audio {

namespace {

constexpr int chunk_n = 4096;

using Filler = void (*)(std::vector<float>&, const float*, int, int, int);

Filler filler_for(int pad_type) {
    switch (pad_type) {
        case VOREL_AUDIO_PAD_TYPE_ODD: return extract_segment_sample_center_odd;
        case VOREL_AUDIO_PAD_TYPE_REFLECT: return extract_segment_sample_center_reflect;
        case VOREL_AUDIO_PAD_TYPE_CONSTANT: return extract_segment_sample_center_constant;
        default: fail("Invalid pad_type.");
    }
}

void scale_state(std::vector<double>& state, const std::vector<double>& settled, double factor) {
    for (std::size_t k = 0; k < settled.size(); ++k) state[k] = settled[k] * factor;
}

}  // namespace

void filtfilt(float* dst, const float* src, const float* n_coef, const float* d_coef, int dst_n, int src_n,
              int n_coef_n, int d_coef_n, int pad_type, int pad_len) {
    if (src_n < 1) return;  // nothing to read, and no edge sample to extend from
    const int pad = (pad_len < 0 || pad_type == VOREL_AUDIO_PAD_TYPE_NONE) ? 0 : pad_len;
    if (static_cast<int64_t>(src_n) + 2 * static_cast<int64_t>(pad) > INT_MAX)
        throw std::length_error("extended signal longer than INT_MAX");
    const Filler fill = pad >= 1 ? filler_for(pad_type) : nullptr;
    require_coefficient_counts(n_coef_n, d_coef_n);

    // Every buffer exists before the first store to dst. y holds the forward output from the
    // first original sample on (left unfilled: the forward pass writes all of it).
    const int kept_n = src_n + pad;
    std::unique_ptr<double[]> y(new double[static_cast<std::size_t>(kept_n)]);
    const int order = std::max(n_coef_n, d_coef_n) - 1;
    std::vector<double> settled(static_cast<std::size_t>(order));
    std::vector<double> state(static_cast<std::size_t>(order));
    if (order >= 1) create_zi_coef<double, float>(settled.data(), n_coef, d_coef, order, n_coef_n, d_coef_n);
    double* z = order >= 1 ? state.data() : nullptr;
    const int step = std::min(pad, chunk_n);
    std::vector<float> chunk(static_cast<std::size_t>(step));
    std::vector<double> dropped(static_cast<std::size_t>(step));

    // The forward pass over n samples of `in`, carrying the double state z.
    const auto forward = [&](double* out, const float* in, int n) {
        linerfilter<double, float, float, double>(out, in, n_coef, d_coef, z, n, n, n_coef_n, d_coef_n, order, false);
    };
    // Extended positions [first, first + count) (src starts at pad); out null drops the outputs.
    const auto forward_extension = [&](double* out, int first, int count) {
        for (int done = 0; done < count; done += step) {
            const int n = std::min(count - done, step);
            chunk.resize(static_cast<std::size_t>(n));
            fill(chunk, src, src_n, first + done, pad);
            forward(out ? out + done : dropped.data(), chunk.data(), n);
        }
    };

    // The forward start state scales with the first element of the extended signal.
    float first_sample = src[0];
    if (pad >= 1) {
        std::vector<float> one(1);
        fill(one, src, src_n, 0, pad);
        first_sample = one[0];
    }
    scale_state(state, settled, static_cast<double>(first_sample));
    forward_extension(nullptr, 0, pad);
    forward(y.get(), src, src_n);
    forward_extension(y.get() + src_n, pad + src_n, pad);

    // Backward: in place over the right extension and the samples past dst, then into dst; a dst
    // longer than src also gets the right extension.
    scale_state(state, settled, y[kept_n - 1]);
    const int direct_n = std::max(0, std::min(dst_n, src_n));
    if (kept_n > direct_n)
        linerfilter<double, double, float, double>(y.get() + direct_n, y.get() + direct_n, n_coef, d_coef, z,
                                                   kept_n - direct_n, kept_n - direct_n, n_coef_n, d_coef_n, order,
                                                   true);
    linerfilter<float, double, float, double>(dst, y.get(), n_coef, d_coef, z, direct_n, direct_n, n_coef_n, d_coef_n,
                                              order, true);
    const int copy_end = std::min(dst_n, kept_n);
    for (int i = direct_n; i < copy_end; ++i) dst[i] = static_cast<float>(y[i]);
}

}  // namespace vorel::audio
