// The lane transform: the schedules of schedules.h over a vector of frames, on a buffer whose
// element k holds the real parts of all frames, then their imaginary parts. The scalar level
// runs the same template at width 1 once per frame, sse2 twice over four frames, avx2 once
// over eight (no FMA: every multiply and add still rounds on its own). With eight frames
// there is nothing for sixteen lanes to do, and an eight-lane build with the 32 registers of
// AVX-512 measured no faster, so avx512 runs the avx2 build.
#include "transform/fft_lanes.h"

#include <bit>

#include "simd/vec.h"
#include "transform/bit_reverse.h"
#include "transform/fft.h"
#include "transform/mixed_radix.h"
#include "transform/schedules.h"

namespace vorel::audio {

namespace {

constexpr Strided kFrames{kLaneStride, kFrameLanes};

template <class V>
VOREL_INLINE float* transform_lanes(float* data, float* spare, std::size_t n, const float* table, bool inverse) {
    float* result = data;
    if (!is_pow2(static_cast<int>(n)))
        result = mixed_radix_steps(data, spare, n,
                                   [&](float* in, float* out, std::size_t q, std::size_t len) VOREL_INLINE_LAMBDA {
                                       combine_any<V>(in, out, kFrames, n, q, len, table, 0, n / (q * len));
                                   });
    else if (inverse)
        pow2_stages<true, V>(data, kFrames, n, table);
    else
        pow2_stages<false, V>(data, kFrames, n, table);
    if (inverse) {
        const V length = simd::broadcast<V>(static_cast<float>(n));
        for (std::size_t k = 0; k < n; ++k) {
            V re, im;
            kFrames.load(result, k, re, im);
            kFrames.store(result, k, re / length, im / length);
        }
    }
    return result;
}

// The frames of the buffers, kLanes<V> at a time.
template <class V>
VOREL_INLINE float* transform_frames(float* data, float* spare, std::size_t n, const float* table, bool inverse) {
    float* result = nullptr;
    for (std::size_t l = 0; l < kFrameLanes; l += simd::kLanes<V>) {
        float* r = transform_lanes<V>(data + l, spare + l, n, table, inverse);
        result = r - l;
    }
    return result;
}

using LanesFn = float* (*)(float*, float*, std::size_t, const float*, bool);

float* lanes_scalar(float* data, float* spare, std::size_t n, const float* table, bool inverse) {
    return transform_frames<float>(data, spare, n, table, inverse);
}

VOREL_TARGET_SSE2 float* lanes_sse2(float* data, float* spare, std::size_t n, const float* table, bool inverse) {
    return transform_frames<simd::float4>(data, spare, n, table, inverse);
}

VOREL_TARGET_AVX2 float* lanes_avx2(float* data, float* spare, std::size_t n, const float* table, bool inverse) {
    return transform_frames<simd::float8>(data, spare, n, table, inverse);
}

constexpr simd::IsaBuilds<LanesFn> kBuilds{lanes_scalar, lanes_sse2, lanes_avx2, nullptr};

}  // namespace

FrameLanePlan make_frame_lane_plan(std::size_t n) {
    FrameLanePlan plan;
    plan.n = n;
    plan.in_pos.resize(n);
    plan.out_pos.resize(n);
    for (std::size_t k = 0; k < n; ++k) plan.in_pos[k] = plan.out_pos[k] = static_cast<std::uint32_t>(k);
    if (is_pow2(static_cast<int>(n))) {
        const int bits = std::countr_zero(n);
        for (std::size_t k = 0; k < n; ++k) plan.out_pos[k] = reversed_index(static_cast<std::uint32_t>(k), bits);
    } else {
        FactorList factors;
        const std::size_t factor_n = mixed_radix_factors(n, factors);
        for_each_decimated(n, factors, factor_n, [&](std::size_t to, std::size_t from) {
            plan.in_pos[to] = static_cast<std::uint32_t>(from);
        });
    }
    return plan;
}

std::size_t lane_work_bytes(std::size_t n) { return (2 * n + 2 * kLaneStride * n) * sizeof(float); }

float* fft_lanes(float* data, float* spare, const FrameLanePlan& plan, const std::vector<float>& table, bool inverse,
                 simd::Isa isa) {
    return kBuilds(isa)(data, spare, plan.n, table.data(), inverse);
}

}  // namespace vorel::audio
