// The lane buffers, the plan and the level's lane transform.
#include "stft/frame_lanes.h"

#include <cstdint>

namespace vorel::audio {

FrameLanes::Parts FrameLanes::declare(WorkingSet& ws, std::size_t n) {
    const Parts parts{ws.part<float>(kLaneStride * n), ws.part<float>(kLaneStride * n)};
    ws.outside(2 * n * sizeof(std::uint32_t));  // the plan's two index vectors
    return parts;
}

FrameLanes::FrameLanes(const WorkingSet& ws, const Parts& parts, std::size_t n, const std::vector<float>& table,
                       simd::Isa isa)
    : table_(table),
      isa_(isa),
      plan_(make_frame_lane_plan(n)),
      data_(ws[parts.data]),
      spare_(ws[parts.spare]),
      result_(data_) {}

void FrameLanes::transform(bool inverse) { result_ = fft_lanes(data_, spare_, plan_, table_, inverse, isa_); }

bool FrameLanes::transform_real(bool inverse) {
    float* result = inverse ? ifft_lanes_real(data_, spare_, plan_, table_, isa_)
                            : fft_lanes_real_half(data_, spare_, plan_, table_, isa_);
    if (result != nullptr) result_ = result;
    return result != nullptr;
}

}  // namespace vorel::audio
