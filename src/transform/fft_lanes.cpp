// The lane transform: the schedules of schedules.h over a vector of frames. The scalar level
// runs them at width 1 once per frame, sse2 twice over four frames, avx2 and above once over
// eight (sixteen frames outgrow the first-level cache).
#include "transform/fft_lanes.h"

#include <bit>

#include "simd/lanes.h"
#include "simd/vec.h"
#include "transform/fft.h"
#include "transform/schedules.h"

namespace vorel::audio {

namespace {

constexpr Strided kFrames{kLaneStride, kFrameLanes};

// With `shortcut`, the same sums with the work left out that provably changes no bit read (see
// group_output): real leaves, term 0 without its product, and the forward transform's last step
// stopping after bin n/2. That is exact while every step's input is finite; an infinity or NaN
// reaches the outputs of every later step, so the outputs read are checked (the forward bins
// 0 .. n/2 in Form::run, the inverse's as they are divided) and on failure the caller runs the
// full transform. Powers of two take no shortcut.
template <class V, bool Inverse, bool Shortcut>
VOREL_INLINE float* transform_lanes(float* data, float* spare, std::size_t n, const float* table, bool& finite) {
    float* result = data;
    constexpr bool kRealHalf = Shortcut && !Inverse;
    const bool pow2 = is_pow2(static_cast<int>(n));
    if (!pow2)
        result = mixed_radix_steps<V>(data, spare, kFrames, n, table, kRealHalf, Shortcut, kRealHalf ? n / 2 + 1 : n);
    else
        pow2_stages<Inverse, V>(data, kFrames, n, table);
    if (Inverse && Shortcut && !pow2)
        finite = divide_by_length<V, true>(result, kFrames, n) && finite;
    else if (Inverse)
        divide_by_length<V>(result, kFrames, n);
    return result;
}

using LanesFn = float* (*)(float*, float*, std::size_t, const float*, bool, bool);

// The frames of the buffers, kLanes<V> at a time; null when a short form's outputs are not finite.
struct Form {
    template <class V>
    VOREL_INLINE static float* run(float* data, float* spare, std::size_t n, const float* table, bool inverse,
                                   bool shortcut) {
        float* result = nullptr;
        bool finite = true;
        for (std::size_t l = 0; l < kFrameLanes; l += simd::kLanes<V>) {
            float *d = data + l, *s = spare + l, *r = nullptr;
            if (inverse)
                r = shortcut ? transform_lanes<V, true, true>(d, s, n, table, finite)
                             : transform_lanes<V, true, false>(d, s, n, table, finite);
            else
                r = shortcut ? transform_lanes<V, false, true>(d, s, n, table, finite)
                             : transform_lanes<V, false, false>(d, s, n, table, finite);
            result = r - l;
        }
        if (shortcut && !inverse && !is_pow2(static_cast<int>(n)))
            finite = simd::all_finite<V>(result, kLaneStride * (n / 2 + 1));
        return finite ? result : nullptr;
    }
};

constexpr auto kBuilds = simd::builds_of<LanesFn, Form, simd::Isa::scalar, simd::Isa::sse2, simd::Isa::avx2>();

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

float* fft_lanes(float* data, float* spare, const FrameLanePlan& plan, const std::vector<float>& table, bool inverse,
                 simd::Isa isa) {
    return kBuilds(isa)(data, spare, plan.n, table.data(), inverse, false);
}

float* fft_lanes_real_half(float* data, float* spare, const FrameLanePlan& plan, const std::vector<float>& table,
                           simd::Isa isa) {
    return kBuilds(isa)(data, spare, plan.n, table.data(), false, true);
}

float* ifft_lanes_real(float* data, float* spare, const FrameLanePlan& plan, const std::vector<float>& table,
                       simd::Isa isa) {
    return kBuilds(isa)(data, spare, plan.n, table.data(), true, true);
}

}  // namespace vorel::audio
