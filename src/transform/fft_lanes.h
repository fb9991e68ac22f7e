// Transforms of kFrameLanes frames at once, one frame per vector lane. Each lane does exactly
// the operations of the per-frame transform of its length (same factorisation, same sums in
// the same order, same table entries), so every bin has the bits the per-frame path gives.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "simd/isa.h"

namespace vorel::audio {

constexpr std::size_t kFrameLanes = 8;
// Floats per complex element of a lane buffer: the real parts of all lanes, then the
// imaginary parts: element k of lane l is re at 16 k + l, im at 16 k + 8 + l.
constexpr std::size_t kLaneStride = 2 * kFrameLanes;

// The fixed moves of one length. The per-frame path reorders its input (mixed radix) or its
// output (bit reversal for powers of two); here both moves are folded into the loads and
// reads, so the kernels only compute.
struct FrameLanePlan {
    std::size_t n = 0;
    std::vector<std::uint32_t> in_pos;   // lane element j starts as frame sample in_pos[j]
    std::vector<std::uint32_t> out_pos;  // bin k ends in lane element out_pos[k]
};
FrameLanePlan make_frame_lane_plan(std::size_t n);

// Whether lanes suit frames of n samples: their buffers hold 32 n floats, which is kept to a
// few megabytes; longer frames go one at a time.
inline bool lanes_suit(std::size_t n) { return n >= 1 && n <= 65536; }

// Transforms the kFrameLanes frames held in `data` (n elements in the layout above, loaded
// through plan.in_pos) with the table of n, forward or inverse (then divided by n), at an
// instruction-set level: scalar runs the plain template lane by lane, sse2 four lanes at a
// time, avx2 and above all eight at once. `spare` has the size of `data`; the result lies in
// one of the two, which is returned, its bins read through plan.out_pos.
float* fft_lanes(float* data, float* spare, const FrameLanePlan& plan, const std::vector<float>& table, bool inverse,
                 simd::Isa isa = simd::best_isa());

// The forward transform of real frames (their imaginary parts are taken as +0.0 and not read)
// with the bits of fft_lanes in bins 0 .. n/2; the bins above are left undefined. It skips
// work that provably changes no bit while all values stay finite; when a computed bin is not
// finite it returns nullptr, and the caller reloads the frames and runs fft_lanes.
float* fft_lanes_real_half(float* data, float* spare, const FrameLanePlan& plan, const std::vector<float>& table,
                           simd::Isa isa = simd::best_isa());

// The inverse transform (divided by n) with the bits of fft_lanes in the real parts of every
// output; the imaginary parts are left undefined. Returns nullptr in the same way.
float* ifft_lanes_real(float* data, float* spare, const FrameLanePlan& plan, const std::vector<float>& table,
                       simd::Isa isa = simd::best_isa());

}  // namespace vorel::audio
