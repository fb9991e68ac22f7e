// Frames into lanes, the lane transform, and the norm scaling of the kept bins.
#include "stft/spectrum_lanes.h"

#include "stft/framing.h"
#include "stft/spectrogram.h"

namespace vorel::audio {

SpectrumLanes::SpectrumLanes(int fft_n, const std::vector<float>& fft_table, const std::vector<float>& window,
                             int norm_type, LaneKernel kernel)
    : n_(static_cast<std::size_t>(fft_n)),
      fft_table_(fft_table),
      window_(window),
      norm_type_(norm_type),
      factor_(norm_type == 2 ? scipy_norm_factor(fft_n) : norm_type == 1 ? torch_norm_factor(window) : 1.0f),
      kernel_(kernel),
      plan_(make_lane_plan(n_)),
      seg_(n_, 0.0f),
      data_(kLaneStride * n_, 0.0f),
      spare_(kLaneStride * n_, 0.0f),
      result_(data_.data()) {}

std::size_t SpectrumLanes::work_bytes(int fft_n) {
    const std::size_t n = static_cast<std::size_t>(fft_n > 0 ? fft_n : 0);
    return lane_work_bytes(n) + n * sizeof(float);
}

void SpectrumLanes::transform(const float* src, int sample_n, int hop_n, int center, int64_t first) {
    for (std::size_t l = 0; l < kFrameLanes; ++l) {
        cut_frame(seg_, src, sample_n, (first + static_cast<int64_t>(l)) * hop_n, center);
        apply_window(seg_, window_);
        // The real input of the transform, already in the order its first step wants.
        float* to = data_.data() + l;
        for (std::size_t j = 0; j < n_; ++j, to += kLaneStride) {
            to[0] = seg_[plan_.in_pos[j]];
            to[kFrameLanes] = 0.0f;
        }
    }
    result_ = fft_lanes(data_.data(), spare_.data(), plan_, fft_table_, false, kernel_);
    if (norm_type_ != 1 && norm_type_ != 2) return;
    for (std::size_t k = 0; k <= n_ / 2; ++k) {
        float* p = result_ + kLaneStride * plan_.out_pos[k];
        for (std::size_t i = 0; i < kLaneStride; ++i) p[i] = p[i] * factor_;
    }
}

}  // namespace vorel::audio
