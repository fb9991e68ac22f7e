// Frames into lanes, the lane transform, and the norm scaling of the kept bins.
#include "stft/spectrum_lanes.h"

#include "stft/framing.h"
#include "stft/spectrogram.h"

namespace vorel::audio {

SpectrumLanes::SpectrumLanes(int fft_n, const std::vector<float>& fft_table, const std::vector<float>& window,
                             int norm_type, LaneKernel kernel)
    : n_(static_cast<std::size_t>(fft_n)),
      fft_table_(fft_table),
      norm_type_(norm_type),
      factor_(norm_type == 2 ? scipy_norm_factor(fft_n) : norm_type == 1 ? torch_norm_factor(window) : 1.0f),
      kernel_(kernel),
      plan_(make_lane_plan(n_)),
      factors_(window_factors(n_, window)),
      segs_(kFrameLanes, std::vector<float>(n_, 0.0f)),
      data_(kLaneStride * n_, 0.0f),
      spare_(kLaneStride * n_, 0.0f),
      result_(data_.data()) {}

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
    // The windowed real input of the transform, already in the order its first step wants.
    for (std::size_t j = 0; j < n_; ++j) {
        float* to = data_.data() + kLaneStride * j;
        const std::size_t i = plan_.in_pos[j];
        const float w = factors_.weight[i];
        if (factors_.keep[i]) {
            for (std::size_t l = 0; l < kFrameLanes; ++l) to[l] = frames[l][i] * w;
        } else {
            for (std::size_t l = 0; l < kFrameLanes; ++l) to[l] = 0.0f;
        }
        for (std::size_t l = 0; l < kFrameLanes; ++l) to[kFrameLanes + l] = 0.0f;
    }
    result_ = fft_lanes(data_.data(), spare_.data(), plan_, fft_table_, false, kernel_);
    if (norm_type_ != 1 && norm_type_ != 2) return;
    for (std::size_t k = 0; k <= n_ / 2; ++k) {
        float* p = result_ + kLaneStride * plan_.out_pos[k];
        for (std::size_t i = 0; i < kLaneStride; ++i) p[i] = p[i] * factor_;
    }
}

}  // namespace vorel::audio
