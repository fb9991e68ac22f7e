// Transforms of kFrameLanes frames at once, one frame per vector lane, each lane doing exactly
// the operations of the per-frame transform, so every bin has its bits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "simd/isa.h"

namespace vorel::audio {

constexpr std::size_t kFrameLanes = 8;
// Floats per complex element of a lane buffer: element k of lane l is re at 16 k + l, im at
// 16 k + 8 + l.
constexpr std::size_t kLaneStride = 2 * kFrameLanes;

// The fixed moves of one length (the mixed-radix input order, the bit-reversed output order),
// folded into the loads and reads so that the kernels only compute.
struct FrameLanePlan {
    std::size_t n = 0;
    std::vector<std::uint32_t> in_pos;   // lane element j starts as frame sample in_pos[j]
    std::vector<std::uint32_t> out_pos;  // bin k ends in lane element out_pos[k]
};
FrameLanePlan make_frame_lane_plan(std::size_t n);

// Whether lanes suit frames of n samples: their buffers of 32 n floats stay a few megabytes.
inline bool lanes_suit(std::size_t n) { return n >= 1 && n <= 65536; }

// Transforms the frames in `data` (loaded through plan.in_pos) with the table of n, the inverse
// divided by n. `spare` has the size of `data`; the result lies in one of the two, which is
// returned, its bins read through plan.out_pos.
float* fft_lanes(float* data, float* spare, const FrameLanePlan& plan, const std::vector<float>& table, bool inverse,
                 simd::Isa isa = simd::best_isa());

// The forward transform of real frames (imaginary parts +0, not read) with the bits of
// fft_lanes in bins 0 .. n/2, the bins above undefined. It skips work that changes no bit while
// all values stay finite; otherwise it returns nullptr and the caller reloads and runs fft_lanes.
float* fft_lanes_real_half(float* data, float* spare, const FrameLanePlan& plan, const std::vector<float>& table,
                           simd::Isa isa = simd::best_isa());

// The inverse transform (divided by n) with the bits of fft_lanes in the real parts of every
// output; the imaginary parts are left undefined. Returns nullptr in the same way.
float* ifft_lanes_real(float* data, float* spare, const FrameLanePlan& plan, const std::vector<float>& table,
                       simd::Isa isa = simd::best_isa());

}  // namespace vorel::audio
