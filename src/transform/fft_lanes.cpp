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

// The forward transform of real frames, only bins 0 .. n/2, with exact shortcuts; the same
// sums as combine_step otherwise (each output sums its terms in order from +0.0).
//
// In round-to-nearest a sum is -0.0 only when both addends are -0.0 (an exact cancellation
// gives +0.0), so an accumulator that starts at +0.0 never holds -0.0, and adding a zero of
// either sign to it changes nothing. Hence:
// - Real input: a frame's imaginary parts are +0.0 and the twiddles finite, so the products
//   x_im w_im and x_im w_re are zeros. x_re w_re - (a zero) is x_re w_re itself, or a zero when
//   x_re w_re is one (also for infinite and NaN x_re), and a zero changes no sum: the leaf's
//   terms are x_re w_re and x_re w_im. The imaginary parts are neither read nor written.
// - Twiddle entry 0 is exactly (1, 0), and the first term of every sum (t = 0) meets it:
//   x_re 1 - x_im 0 is x_re, or a zero when x_re is one, for finite x_im, and +0.0 + either
//   gives the same value; so the first term adds x_re (x_im in the imaginary part). In the leaf
//   the imaginary term x_re 0 is a zero and leaves the +0.0 start as it is. With an infinite
//   or NaN part the product by 0 is NaN where the shortcut keeps the value.
// - Outputs above n/2 are read by nobody; each output of a step is an independent sum, so the
//   last step (one block spanning all n) stops after output n/2.
// The shortcuts are exact while every step's input is finite. When one is not, it reaches every
// output of the last step: an infinite or NaN factor makes its product infinite or NaN (also
// times a zero twiddle), a sum with such a term stays so, and the shortcut's first term keeps
// the value itself. So a result with every computed bin finite is bit for bit the plain one;
// otherwise the caller runs the plain transform.
template <class V, std::size_t Q>
VOREL_INLINE void combine_short(const float* in, float* out, std::size_t n, std::size_t q, std::size_t len,
                                const float* table, bool real_in, std::size_t x_end) {
    if constexpr (Q > 0) q = Q;
    const std::size_t size = q * len, blocks = n / size, c = n / size;
    const auto next_exponent = [size](std::size_t e, std::size_t x)
                                   VOREL_INLINE_LAMBDA { return e + x >= size ? e + x - size : e + x; };
    constexpr std::size_t kHeld = Q > 0 ? Q : 1;
    const V zero{};
    for (std::size_t r = 0, x = 0; r < q && x < x_end; ++r) {
        for (std::size_t s = 0; s < len && x < x_end; ++s, ++x) {
            [[maybe_unused]] V w_re[kHeld], w_im[kHeld];
            if constexpr (Q > 0) {
                for (std::size_t t = 1, e = x; t < Q; ++t, e = next_exponent(e, x)) {
                    w_re[t] = simd::broadcast<V>(table[2 * c * e]);
                    w_im[t] = simd::broadcast<V>(table[2 * c * e + 1]);
                }
            }
            for (std::size_t b = 0; b < blocks; ++b) {
                V re, im, x_re, x_im;
                kFrames.load(in, b * size + s, x_re, x_im);
                re = zero + x_re;
                im = real_in ? zero : zero + x_im;
                for (std::size_t t = 1, e = x; t < q; ++t, e = next_exponent(e, x)) {
                    V wr, wi;
                    if constexpr (Q > 0) {
                        wr = w_re[t], wi = w_im[t];
                    } else {
                        wr = simd::broadcast<V>(table[2 * c * e]), wi = simd::broadcast<V>(table[2 * c * e + 1]);
                    }
                    const float* p = in + kLaneStride * (b * size + t * len + s);
                    x_re = simd::load<V>(p);
                    if (real_in) {
                        re = re + x_re * wr;
                        im = im + x_re * wi;
                    } else {
                        x_im = simd::load<V>(p + kFrameLanes);
                        multiply_add(re, im, x_re, x_im, wr, wi);
                    }
                }
                kFrames.store(out, b * size + x, re, im);
            }
        }
    }
}

template <class V>
VOREL_INLINE void combine_short_any(const float* in, float* out, std::size_t n, std::size_t q, std::size_t len,
                                    const float* table, bool real_in, std::size_t x_end) {
    switch (q) {
        case 2:
            return combine_short<V, 2>(in, out, n, q, len, table, real_in, x_end);
        case 3:
            return combine_short<V, 3>(in, out, n, q, len, table, real_in, x_end);
        case 5:
            return combine_short<V, 5>(in, out, n, q, len, table, real_in, x_end);
        case 7:
            return combine_short<V, 7>(in, out, n, q, len, table, real_in, x_end);
        default:
            return combine_short<V, 0>(in, out, n, q, len, table, real_in, x_end);
    }
}

// Whether every lane of every computed bin is finite: x - x is +0.0 for a finite x and NaN
// otherwise, and a NaN stays in the sum.
template <class V>
VOREL_INLINE bool half_finite(const float* result, std::size_t n) {
    V sum{};
    for (std::size_t k = 0; k <= n / 2; ++k) {
        V re, im;
        kFrames.load(result, k, re, im);
        sum = sum + (re - re) + (im - im);
    }
    float lanes[simd::kLanes<V>];
    simd::store(lanes, sum);
    for (float v : lanes)
        if (v != v) return false;
    return true;
}

// Mixed-radix lengths in the short form; powers of two run the plain stages.
template <class V>
VOREL_INLINE float* real_half_lanes(float* data, float* spare, std::size_t n, const float* table) {
    if (is_pow2(static_cast<int>(n))) return transform_lanes<V>(data, spare, n, table, false);
    bool leaf = true;
    float* result = mixed_radix_steps(data, spare, n,
                                      [&](float* in, float* out, std::size_t q, std::size_t len) VOREL_INLINE_LAMBDA {
                                          const std::size_t x_end = q * len == n ? n / 2 + 1 : q * len;
                                          combine_short_any<V>(in, out, n, q, len, table, leaf, x_end);
                                          leaf = false;
                                      });
    return half_finite<V>(result, n) ? result : nullptr;
}

template <class V>
VOREL_INLINE float* real_half_frames(float* data, float* spare, std::size_t n, const float* table) {
    float* result = nullptr;
    for (std::size_t l = 0; l < kFrameLanes; l += simd::kLanes<V>) {
        float* r = real_half_lanes<V>(data + l, spare + l, n, table);
        if (r == nullptr) return nullptr;
        result = r - l;
    }
    return result;
}

using HalfFn = float* (*)(float*, float*, std::size_t, const float*);

float* half_scalar(float* data, float* spare, std::size_t n, const float* table) {
    return real_half_frames<float>(data, spare, n, table);
}

VOREL_TARGET_SSE2 float* half_sse2(float* data, float* spare, std::size_t n, const float* table) {
    return real_half_frames<simd::float4>(data, spare, n, table);
}

VOREL_TARGET_AVX2 float* half_avx2(float* data, float* spare, std::size_t n, const float* table) {
    return real_half_frames<simd::float8>(data, spare, n, table);
}

constexpr simd::IsaBuilds<HalfFn> kHalfBuilds{half_scalar, half_sse2, half_avx2, nullptr};

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

float* fft_lanes_real_half(float* data, float* spare, const FrameLanePlan& plan, const std::vector<float>& table,
                           simd::Isa isa) {
    return kHalfBuilds(isa)(data, spare, plan.n, table.data());
}

}  // namespace vorel::audio
