// kFrameLanes frames held in vector lanes with their lane transform, for both directions. A
// caller loads lane element j (frame sample plan().in_pos[j]), transforms, and reads bin k at
// out(k): kFrameLanes real parts, then kFrameLanes imaginary parts.
#pragma once

#include <cstddef>
#include <vector>

#include "common/working_set.h"
#include "simd/isa.h"
#include "transform/fft_lanes.h"

namespace vorel::audio {

// Frames a level runs at once (1: one by one, the plain path).
inline std::size_t frame_lane_width(simd::Isa isa) { return isa == simd::Isa::scalar ? 1 : kFrameLanes; }

class FrameLanes {
public:
    struct Parts {
        Part<float> data, spare;
    };
    // Declares the two lane buffers, and counts the plan, for frames of n samples.
    static Parts declare(WorkingSet& ws, std::size_t n);

    // The table must outlive the object (the process-wide cache keeps it).
    FrameLanes(const WorkingSet& ws, const Parts& parts, std::size_t n, const std::vector<float>& table, simd::Isa isa);

    const FrameLanePlan& plan() const { return plan_; }
    float* in(std::size_t j) const { return data_ + kLaneStride * j; }
    // Forward, or inverse (divided by n).
    void transform(bool inverse);
    // The short form: forward of real frames, bins 0 .. n/2 only, or inverse, real parts only;
    // false when the frames must be loaded again and run through transform(inverse).
    bool transform_real(bool inverse);
    float* out(std::size_t k) const { return result_ + kLaneStride * plan_.out_pos[k]; }

private:
    const std::vector<float>& table_;
    simd::Isa isa_;
    FrameLanePlan plan_;
    float* data_;
    float* spare_;
    float* result_;
};

}  // namespace vorel::audio
