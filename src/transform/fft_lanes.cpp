// The lane transform: the power-of-two schedules of schedules.h, or the mixed-radix steps below,
// over a vector of frames, on a buffer whose element k holds the real parts of all frames, then
// their imaginary parts. The scalar level runs the same template at width 1 once per frame, sse2
// twice over four frames, avx2 and avx512 once over eight (no FMA: every multiply and add rounds
// on its own). Sixteen frames in one AVX-512 vector measured 1.4 times slower on the 400-point
// spectrogram (the lane buffers outgrow the first-level cache); an eight-lane build with the 32
// registers of AVX-512 measured no faster.
#include "transform/fft_lanes.h"

#include <bit>

#include "simd/lanes.h"
#include "simd/vec.h"
#include "transform/fft.h"
#include "transform/schedules.h"

namespace vorel::audio {

namespace {

constexpr Strided kFrames{kLaneStride, kFrameLanes};

// With `shortcut`, the short forms: the same sums as the full transform, with the work left
// out that provably changes no bit read (see group_output): the real leaves of the forward
// transform read no imaginary part, term 0 of every sum is added without its product, and the
// forward transform's last step (one block spanning all n) stops after bin n/2, since each
// output of a step is an independent sum and nobody reads the bins above.
// The shortcuts are exact while every step's input is finite. When one is not, it reaches an
// output of its step, and so the input of every later step: an infinite or NaN factor makes its
// product infinite or NaN (also times a zero twiddle), a sum with such a term stays so, and the
// shortcut's first term keeps the value itself. So the outputs are checked: the forward form's
// bins 0 .. n/2 (each input of the last step reaches one of them, since its block length is at
// most n/2) once all lanes are done (see run_form), and the inverse's every output as it is
// divided, which clears `finite` when one is not. When the check fails the caller runs the full
// transform. Powers of two take no shortcut.
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

// The frames of the buffers, kLanes<V> at a time. The short forms of a mixed-radix length, all
// lanes done, hand the group back unless the outputs read are all finite.
template <class V>
VOREL_INLINE float* run_form(float* data, float* spare, std::size_t n, const float* table, bool inverse,
                             bool shortcut) {
    float* result = nullptr;
    bool finite = true;
    // The flags are fixed per instantiation, so that no shortcut is tested inside a sum.
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

float* lanes_scalar(float* data, float* spare, std::size_t n, const float* table, bool inverse, bool shortcut) {
    return run_form<float>(data, spare, n, table, inverse, shortcut);
}

VOREL_TARGET_SSE2 float* lanes_sse2(float* data, float* spare, std::size_t n, const float* table, bool inverse,
                                    bool shortcut) {
    return run_form<simd::float4>(data, spare, n, table, inverse, shortcut);
}

VOREL_TARGET_AVX2 float* lanes_avx2(float* data, float* spare, std::size_t n, const float* table, bool inverse,
                                    bool shortcut) {
    return run_form<simd::float8>(data, spare, n, table, inverse, shortcut);
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
