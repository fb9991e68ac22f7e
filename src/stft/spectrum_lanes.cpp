// Frames into lanes, the lane transform, and the norm scaling of the kept bins.
#include "stft/spectrum_lanes.h"

#include <algorithm>

#include "common/float4.h"
#include "stft/framing.h"
#include "stft/spectrogram.h"

namespace vorel::audio {

static_assert(kFrameLanes == 8, "frames are loaded as two groups of four");

SpectrumLanes::SpectrumLanes(int fft_n, const std::vector<float>& fft_table, const std::vector<float>& window,
                             int norm_type, simd::Isa kernel)
    : n_(static_cast<std::size_t>(fft_n)),
      fft_table_(fft_table),
      norm_type_(norm_type),
      factor_(norm_type == 2 ? scipy_norm_factor(fft_n) : norm_type == 1 ? torch_norm_factor(window) : 1.0f),
      kernel_(kernel),
      plan_(make_frame_lane_plan(n_)),
      factors_(window_factors(n_, window)),
      element_(n_),
      segs_(kFrameLanes, std::vector<float>(n_, 0.0f)),
      data_(kLaneStride * n_, 0.0f),
      spare_(kLaneStride * n_, 0.0f),
      result_(data_.data()) {
    for (std::size_t j = 0; j < n_; ++j) element_[plan_.in_pos[j]] = static_cast<std::uint32_t>(j);
}

std::size_t SpectrumLanes::work_bytes(int fft_n) {
    const std::size_t n = static_cast<std::size_t>(fft_n > 0 ? fft_n : 0);
    return lane_work_bytes(n) + (kFrameLanes + 2) * n * sizeof(float);
}

void SpectrumLanes::transform(const float* src, int sample_n, int hop_n, int center, int64_t first) {
    const float* frames[kFrameLanes];
    for (std::size_t l = 0; l < kFrameLanes; ++l) {
        const int64_t pos = (first + static_cast<int64_t>(l)) * hop_n;
        frames[l] = frame_inside(src, sample_n, n_, pos, center);
        if (frames[l] == nullptr) {
            cut_frame(segs_[l], src, sample_n, pos, center);
            frames[l] = segs_[l].data();
        }
    }
    // The windowed real input of the transform, each sample stored to the lane element where
    // the transform's first step wants it. Samples outside the window are 0, not multiplied.
    // Locals, since the stores through float pointers could otherwise alias the members.
    float* const data = data_.data();
    const std::uint32_t* const elements = element_.data();
    const float* const weight = factors_.weight.data();
    const std::size_t begin = factors_.begin, end = factors_.end;
    const auto element = [data, elements](std::size_t i) { return data + kLaneStride * elements[i]; };
    // Zeros by whole vectors: a fill of 8 or 16 floats per element as a string operation
    // costs more than the transform of the element.
    const float4 zero{};
    for (std::size_t i = 0; i < n_; ++i) {
        const bool kept = i >= begin && i < end;
        for (std::size_t f = kept ? kFrameLanes : 0; f < kLaneStride; f += 4) store4(element(i) + f, zero);
    }
    std::size_t i = begin;
    // Four samples of eight frames at a time: two 4 x 4 transposes bring each sample's eight
    // frames together.
    for (; i + 4 <= end; i += 4) {
        float4 v[kFrameLanes];
        for (std::size_t l = 0; l < kFrameLanes; ++l) v[l] = load4(frames[l] + i);
        transpose4(v[0], v[1], v[2], v[3]);
        transpose4(v[4], v[5], v[6], v[7]);
        for (std::size_t s = 0; s < 4; ++s) {
            const float w = weight[i + s];
            const float4 wv{w, w, w, w};
            store4(element(i + s), v[s] * wv);
            store4(element(i + s) + 4, v[4 + s] * wv);
        }
    }
    for (; i < end; ++i)
        for (std::size_t l = 0; l < kFrameLanes; ++l) element(i)[l] = frames[l][i] * weight[i];
    result_ = fft_lanes(data_.data(), spare_.data(), plan_, fft_table_, false, kernel_);
    if (norm_type_ != 1 && norm_type_ != 2) return;
    for (std::size_t k = 0; k <= n_ / 2; ++k) {
        float* p = result_ + kLaneStride * plan_.out_pos[k];
        for (std::size_t i = 0; i < kLaneStride; ++i) p[i] = p[i] * factor_;
    }
}

}  // namespace vorel::audio
