// The lane transform: the schedules of schedules.h over a vector of frames, on a buffer whose
// element k holds the real parts of all frames, then their imaginary parts. The scalar level
// runs the same template at width 1 once per frame, sse2 twice over four frames, avx2 once
// over eight (no FMA: every multiply and add still rounds on its own). Sixteen frames per
// group, one AVX-512 vector, measured 1.4 times slower on the 400-point spectrogram (the two
// lane buffers of 400 elements then outgrow the first-level cache; the avx2 build running the
// sixteen as two halves was 1.55 times slower), and an eight-lane build with the 32 registers
// of AVX-512 measured no faster, so avx512 runs the avx2 build on eight frames.
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

// Short forms of the lane transform: the same sums as combine_step (each output sums its
// terms in order from +0.0), with the work left out that provably changes no bit read.
//
// In round-to-nearest a sum is -0.0 only when both addends are -0.0 (an exact cancellation
// gives +0.0), so an accumulator that starts at +0.0 never holds -0.0, and adding a zero of
// either sign to it changes nothing. Hence:
// - Real input (the forward leaf): a frame's imaginary parts are +0.0 and the twiddles finite,
//   so the products x_im w_im and x_im w_re are zeros. x_re w_re - (a zero) is x_re w_re itself
//   (also for infinite and NaN x_re), or a zero of some sign when x_re w_re is a zero, which
//   changes no sum: the leaf's terms are x_re w_re and x_re w_im. The imaginary parts are not read.
// - Twiddle entry 0 is exactly (1, 0), and the first term of every sum (t = 0) meets it:
//   for finite x_im, x_re 1 - x_im 0 is x_re, or a zero of some sign when x_re is a zero, and
//   +0.0 + either gives the same value; so the first term adds x_re (x_im in the imaginary part). In the real
//   leaf the imaginary term x_re 0 is a zero and leaves the +0.0 start as it is. With an
//   infinite or NaN part the product by 0 is NaN where the shortcut keeps the value.
// - Outputs nobody reads: each output of a step is an independent sum, so the last step (one
//   block spanning all n) of the forward transform stops after bin n/2, and that of the inverse,
//   whose imaginary parts nobody reads, sums the real parts only.
// The shortcuts are exact while every step's input is finite. When one is not, it reaches an
// output of its step, and so the input of every later step: an infinite or NaN factor makes its
// product infinite or NaN (also times a zero twiddle), a sum with such a term stays so, and the
// shortcut's first term keeps the value itself. The forward form checks the bins it computed
// (each input of the last step reaches one of bins 0 .. n/2, since its block length is at most
// n/2); the inverse form checks the input of its last step, whose imaginary sums it drops.
// When the check fails the caller runs the plain transform.
enum class Short { complex_in, real_in, real_out };

// A step with any radix: output x of each block sums its q terms one after another, reading
// the twiddles from the table; the output goes to another buffer.
template <class V, Short M>
VOREL_INLINE void combine_short(const float* in, float* out, std::size_t n, std::size_t q, std::size_t len,
                                const float* table, std::size_t x_end) {
    const std::size_t size = q * len, blocks = n / size, c = n / size;
    const V zero{};
    for (std::size_t x = 0; x < size && x < x_end; ++x) {
        const std::size_t s = x % len;
        for (std::size_t b = 0; b < blocks; ++b) {
            const float* p0 = in + kLaneStride * (b * size + s);
            V re = zero + simd::load<V>(p0);
            V im = zero;
            if constexpr (M == Short::complex_in) im = zero + simd::load<V>(p0 + kFrameLanes);
            for (std::size_t t = 1, e = x; t < q; ++t, e = e + x >= size ? e + x - size : e + x) {
                const V wr = simd::broadcast<V>(table[2 * c * e]), wi = simd::broadcast<V>(table[2 * c * e + 1]);
                const float* p = in + kLaneStride * (b * size + t * len + s);
                const V x_re = simd::load<V>(p);
                if constexpr (M == Short::real_in) {
                    re = re + x_re * wr;
                    im = im + x_re * wi;
                } else if constexpr (M == Short::real_out) {
                    re = re + (x_re * wr - simd::load<V>(p + kFrameLanes) * wi);
                } else {
                    multiply_add(re, im, x_re, simd::load<V>(p + kFrameLanes), wr, wi);
                }
            }
            float* o = out + kLaneStride * (b * size + x);
            simd::store(o, re);
            if constexpr (M != Short::real_out) simd::store(o + kFrameLanes, im);
        }
    }
}

// The same sums for a small radix Q, in place: the Q inputs t len + s of a block are exactly the
// positions of its Q outputs r len + s, so each group of Q is read whole into registers before
// any of its outputs is stored. Every input element is read once per step, and one lane buffer
// serves all such steps.
template <class V, std::size_t Q, Short M>
VOREL_INLINE void combine_in_place(float* d, std::size_t n, std::size_t len, const float* table, std::size_t x_end) {
    const std::size_t size = Q * len, blocks = n / size, c = n / size;
    const V zero{};
    for (std::size_t s = 0; s < len && s < x_end; ++s) {
        // Outputs r len + s for r below `rows` are read by someone.
        std::size_t rows = 0;
        while (rows < Q && rows * len + s < x_end) ++rows;
        V w_re[Q][Q], w_im[Q][Q];
        for (std::size_t r = 0; r < Q; ++r) {
            if (r == rows) break;
            const std::size_t x = r * len + s;
            for (std::size_t t = 1, e = x; t < Q; ++t, e = e + x >= size ? e + x - size : e + x) {
                w_re[r][t] = simd::broadcast<V>(table[2 * c * e]);
                w_im[r][t] = simd::broadcast<V>(table[2 * c * e + 1]);
            }
        }
        for (std::size_t b = 0; b < blocks; ++b) {
            float* const base = d + kLaneStride * (b * size + s);
            V x_re[Q], x_im[Q];
            for (std::size_t t = 0; t < Q; ++t) {
                x_re[t] = simd::load<V>(base + kLaneStride * t * len);
                if constexpr (M != Short::real_in) x_im[t] = simd::load<V>(base + kLaneStride * t * len + kFrameLanes);
            }
            for (std::size_t r = 0; r < Q; ++r) {
                if (r == rows) break;
                V re = zero + x_re[0];
                V im = zero;
                if constexpr (M == Short::complex_in) im = zero + x_im[0];
                for (std::size_t t = 1; t < Q; ++t) {
                    if constexpr (M == Short::real_in) {
                        re = re + x_re[t] * w_re[r][t];
                        im = im + x_re[t] * w_im[r][t];
                    } else if constexpr (M == Short::real_out) {
                        re = re + (x_re[t] * w_re[r][t] - x_im[t] * w_im[r][t]);
                    } else {
                        multiply_add(re, im, x_re[t], x_im[t], w_re[r][t], w_im[r][t]);
                    }
                }
                float* o = base + kLaneStride * r * len;
                simd::store(o, re);
                if constexpr (M != Short::real_out) simd::store(o + kFrameLanes, im);
            }
        }
    }
}

// One step of the short form: the small radices in place, any other into `spare`. Returns the
// buffer holding the step's output.
template <class V, Short M>
VOREL_INLINE float* short_step(float* cur, float* spare, std::size_t n, std::size_t q, std::size_t len,
                               const float* table, std::size_t x_end) {
    switch (q) {
        case 2: combine_in_place<V, 2, M>(cur, n, len, table, x_end); return cur;
        case 3: combine_in_place<V, 3, M>(cur, n, len, table, x_end); return cur;
        case 5: combine_in_place<V, 5, M>(cur, n, len, table, x_end); return cur;
        case 7: combine_in_place<V, 7, M>(cur, n, len, table, x_end); return cur;
        default: combine_short<V, M>(cur, spare, n, q, len, table, x_end); return spare;
    }
}

// Whether every lane of elements [0, count) is finite, both parts: x - x is +0.0 for a finite x
// and NaN otherwise, and a NaN stays in the sum.
template <class V>
VOREL_INLINE bool all_finite(const float* data, std::size_t count) {
    // Four sums side by side, so that the additions do not wait on each other.
    V sum[4] = {};
    std::size_t k = 0;
    for (; k + 2 <= count; k += 2)
        for (std::size_t j = 0; j < 2; ++j) {
            V re, im;
            kFrames.load(data, k + j, re, im);
            sum[2 * j] = sum[2 * j] + (re - re), sum[2 * j + 1] = sum[2 * j + 1] + (im - im);
        }
    if (k < count) {
        V re, im;
        kFrames.load(data, k, re, im);
        sum[0] = sum[0] + (re - re), sum[1] = sum[1] + (im - im);
    }
    float lanes[simd::kLanes<V>];
    simd::store(lanes, (sum[0] + sum[1]) + (sum[2] + sum[3]));
    for (float v : lanes)
        if (v != v) return false;
    return true;
}

// Mixed-radix lengths in the short form (powers of two run the plain stages): the forward
// transform of real input, bins 0 .. n/2, or the inverse, real parts only; nullptr when the
// shortcuts may have changed a bit.
template <class V, bool Inverse>
VOREL_INLINE float* short_lanes(float* data, float* spare, std::size_t n, const float* table) {
    if (is_pow2(static_cast<int>(n))) return transform_lanes<V>(data, spare, n, table, Inverse);
    FactorList factors;
    std::size_t factor_n = mixed_radix_factors(n, factors), blocks = 1;
    for (std::size_t j = 0; j < factor_n; ++j) blocks *= factors[j];
    float* cur = data;
    // The leaves (len 1), then one step per factor, the last found first.
    for (std::size_t q = n / blocks, len = 1;; len *= q, q = factors[--factor_n]) {
        const bool last = q * len == n, leaf = len == 1;
        float* other = cur == data ? spare : data;
        if constexpr (Inverse) {
            if (last && !all_finite<V>(cur, n)) return nullptr;
            cur = last ? short_step<V, Short::real_out>(cur, other, n, q, len, table, n)
                       : short_step<V, Short::complex_in>(cur, other, n, q, len, table, n);
        } else {
            const std::size_t x_end = last ? n / 2 + 1 : n;
            cur = leaf ? short_step<V, Short::real_in>(cur, other, n, q, len, table, x_end)
                       : short_step<V, Short::complex_in>(cur, other, n, q, len, table, x_end);
        }
        if (last) break;
    }
    if constexpr (Inverse) {
        const V length = simd::broadcast<V>(static_cast<float>(n));
        for (std::size_t k = 0; k < n; ++k) {
            float* p = cur + kLaneStride * k;
            simd::store(p, simd::load<V>(p) / length);
        }
        return cur;
    } else {
        return all_finite<V>(cur, n / 2 + 1) ? cur : nullptr;
    }
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
        if (r == nullptr) return nullptr;
        result = r - l;
    }
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

std::size_t lane_work_bytes(std::size_t n) { return (2 * n + 2 * kLaneStride * n) * sizeof(float); }

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
