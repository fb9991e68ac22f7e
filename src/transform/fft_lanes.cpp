// The lane transform: the power-of-two schedules of schedules.h, or the mixed-radix steps below,
// over a vector of frames, on a buffer whose element k holds the real parts of all frames, then
// their imaginary parts. The scalar level runs the same template at width 1 once per frame, sse2
// twice over four frames, avx2 and avx512 once over eight (no FMA: every multiply and add rounds
// on its own). Sixteen frames in one AVX-512 vector measured 1.4 times slower on the 400-point
// spectrogram (the lane buffers outgrow the first-level cache); an eight-lane build with the 32
// registers of AVX-512 measured no faster.
#include "transform/fft_lanes.h"

#include <bit>
#include <type_traits>

#include "simd/lanes.h"
#include "simd/vec.h"
#include "transform/bit_reverse.h"
#include "transform/fft.h"
#include "transform/mixed_radix.h"
#include "transform/schedules.h"

namespace vorel::audio {

namespace {

constexpr Strided kFrames{kLaneStride, kFrameLanes};

// One step of the mixed-radix transform on the frames (the leaves are the case len = 1): output
// x = r len + s of each block of q len elements sums input t len + s of the block, t = 0 .. q-1,
// times table entry c ((t x) mod size), c = n / size, with the products of group_output. Only
// outputs x < x_end are computed. For a radix fixed at compile time (Q > 0) the q inputs of a
// group are exactly the places of its q outputs r len + s and are read into registers before
// any output is stored, so `in` may be `out`: one lane buffer serves such steps.
template <class V, std::size_t Q, bool RealIn>
VOREL_INLINE void lane_step(const float* in, float* out, std::size_t n, std::size_t q, std::size_t len,
                            const float* table, std::size_t x_end, bool unit) {
    if constexpr (Q > 0) q = Q;
    const std::size_t size = q * len, blocks = n / size, c = n / size;
    constexpr std::size_t kHeld = Q > 0 ? Q : 1;
    for (std::size_t s = 0; s < len && s < x_end; ++s) {
        // Outputs r len + s for r below `rows` are read by someone.
        std::size_t rows = 0;
        while (rows < q && rows * len + s < x_end) ++rows;
        // The twiddles of the group, the exponent kept reduced by adding and subtracting.
        [[maybe_unused]] V w_re[kHeld][kHeld], w_im[kHeld][kHeld];
        if constexpr (Q > 0)
            for (std::size_t r = 0; r < rows; ++r)
                for (std::size_t t = 0, x = r * len + s, e = 0; t < Q; ++t, e = e + x >= size ? e + x - size : e + x) {
                    w_re[r][t] = simd::broadcast<V>(table[2 * c * e]);
                    w_im[r][t] = simd::broadcast<V>(table[2 * c * e + 1]);
                }
        for (std::size_t b = 0; b < blocks; ++b) {
            const GroupInputs<V, Q, RealIn> x_in(in + kLaneStride * (b * size + s), q, kLaneStride * len, kFrameLanes);
            for (std::size_t r = 0; r < (Q > 0 ? Q : rows); ++r) {
                if (r == rows) break;
                const std::size_t x = r * len + s;
                V re, im;
                group_output<V, RealIn>(x_in, q, unit, re, im, [&](std::size_t t, V& wr, V& wi) VOREL_INLINE_LAMBDA {
                    if constexpr (Q > 0) {
                        wr = w_re[r][t], wi = w_im[r][t];
                    } else {
                        const std::size_t e = t * x % size;
                        wr = simd::broadcast<V>(table[2 * c * e]), wi = simd::broadcast<V>(table[2 * c * e + 1]);
                    }
                });
                kFrames.store(out, b * size + x, re, im);
            }
        }
    }
}

// All steps of a length that is not a power of two, from the leaves (real input when real_leaf)
// to the last step, which stops after bin x_end - 1; small radices in place, any other into the
// other buffer. Returns the buffer that holds the output.
template <class V>
VOREL_INLINE float* lane_steps(float* data, float* spare, std::size_t n, const float* table, bool real_leaf, bool unit,
                               std::size_t x_end) {
    FactorList factors;
    std::size_t factor_n = mixed_radix_factors(n, factors), blocks = 1;
    for (std::size_t j = 0; j < factor_n; ++j) blocks *= factors[j];
    float* cur = data;
    for (std::size_t q = n / blocks, len = 1;; len *= q, q = factors[--factor_n]) {
        const bool last = q * len == n, real = real_leaf && len == 1;
        const std::size_t end = last ? x_end : n;
        float* const other = cur == data ? spare : data;
        const auto step = [&](auto radix) VOREL_INLINE_LAMBDA {
            constexpr std::size_t Q = decltype(radix)::value;
            float* const to = Q > 0 ? cur : other;
            real ? lane_step<V, Q, true>(cur, to, n, q, len, table, end, unit)
                 : lane_step<V, Q, false>(cur, to, n, q, len, table, end, unit);
            cur = to;
        };
        switch (q) {
            case 2: step(std::integral_constant<std::size_t, 2>{}); break;
            case 3: step(std::integral_constant<std::size_t, 3>{}); break;
            case 5: step(std::integral_constant<std::size_t, 5>{}); break;
            case 7: step(std::integral_constant<std::size_t, 7>{}); break;
            default: step(std::integral_constant<std::size_t, 0>{}); break;
        }
        if (last) return cur;
    }
}

// Every element divided by n (the inverse's scaling).
template <class V>
VOREL_INLINE void divide_lanes(float* data, std::size_t n) {
    const V length = simd::broadcast<V>(static_cast<float>(n));
    for (std::size_t k = 0; k < n; ++k) {
        V re, im;
        kFrames.load(data, k, re, im);
        kFrames.store(data, k, re / length, im / length);
    }
}

template <class V>
VOREL_INLINE float* transform_lanes(float* data, float* spare, std::size_t n, const float* table, bool inverse) {
    float* result = data;
    if (!is_pow2(static_cast<int>(n)))
        result = lane_steps<V>(data, spare, n, table, false, false, n);
    else if (inverse)
        pow2_stages<true, V>(data, kFrames, n, table);
    else
        pow2_stages<false, V>(data, kFrames, n, table);
    if (inverse) divide_lanes<V>(result, n);
    return result;
}

// Short forms of the lane transform: the same sums as the full one, with the work left out
// that provably changes no bit read (see group_output): the real leaves of the forward
// transform read no imaginary part, term 0 of every sum is added without its product, and the
// forward transform's last step (one block spanning all n) stops after bin n/2, since each
// output of a step is an independent sum and nobody reads the bins above.
// The shortcuts are exact while every step's input is finite. When one is not, it reaches an
// output of its step, and so the input of every later step: an infinite or NaN factor makes its
// product infinite or NaN (also times a zero twiddle), a sum with such a term stays so, and the
// shortcut's first term keeps the value itself. So the outputs are checked: the forward form's
// bins 0 .. n/2 (each input of the last step reaches one of them, since its block length is at
// most n/2), the inverse's every output (see run_form). When the check fails the caller runs the
// full transform.
template <class V, bool Inverse>
VOREL_INLINE float* short_lanes(float* data, float* spare, std::size_t n, const float* table) {
    if (is_pow2(static_cast<int>(n))) return transform_lanes<V>(data, spare, n, table, Inverse);
    float* const result = lane_steps<V>(data, spare, n, table, !Inverse, true, Inverse ? n : n / 2 + 1);
    if constexpr (Inverse) divide_lanes<V>(result, n);
    return result;
}

// One entry per level for the four forms: full or short, forward or inverse.
enum class Form { full, full_inverse, real_half, inverse_real };
using LanesFn = float* (*)(float*, float*, std::size_t, const float*, Form);

// The frames of the buffers, kLanes<V> at a time.
template <class V>
VOREL_INLINE float* run_form(float* data, float* spare, std::size_t n, const float* table, Form form) {
    float* result = nullptr;
    for (std::size_t l = 0; l < kFrameLanes; l += simd::kLanes<V>) {
        float *d = data + l, *s = spare + l, *r = nullptr;
        switch (form) {
            case Form::full: r = transform_lanes<V>(d, s, n, table, false); break;
            case Form::full_inverse: r = transform_lanes<V>(d, s, n, table, true); break;
            case Form::real_half: r = short_lanes<V, false>(d, s, n, table); break;
            case Form::inverse_real: r = short_lanes<V, true>(d, s, n, table); break;
        }
        result = r - l;
    }
    // The short forms of a mixed-radix length, all lanes done, hand the group back unless the
    // outputs read are all finite.
    const bool short_form = form == Form::real_half || form == Form::inverse_real;
    const std::size_t checked = form == Form::real_half ? n / 2 + 1 : n;
    if (short_form && !is_pow2(static_cast<int>(n)) && !simd::all_finite<V>(result, kLaneStride * checked))
        return nullptr;
    return result;
}

float* lanes_scalar(float* data, float* spare, std::size_t n, const float* table, Form form) {
    return run_form<float>(data, spare, n, table, form);
}

VOREL_TARGET_SSE2 float* lanes_sse2(float* data, float* spare, std::size_t n, const float* table, Form form) {
    return run_form<simd::float4>(data, spare, n, table, form);
}

VOREL_TARGET_AVX2 float* lanes_avx2(float* data, float* spare, std::size_t n, const float* table, Form form) {
    return run_form<simd::float8>(data, spare, n, table, form);
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
    return kBuilds(isa)(data, spare, plan.n, table.data(), inverse ? Form::full_inverse : Form::full);
}

float* fft_lanes_real_half(float* data, float* spare, const FrameLanePlan& plan, const std::vector<float>& table,
                           simd::Isa isa) {
    return kBuilds(isa)(data, spare, plan.n, table.data(), Form::real_half);
}

float* ifft_lanes_real(float* data, float* spare, const FrameLanePlan& plan, const std::vector<float>& table,
                       simd::Isa isa) {
    return kBuilds(isa)(data, spare, plan.n, table.data(), Form::inverse_real);
}

}  // namespace vorel::audio
