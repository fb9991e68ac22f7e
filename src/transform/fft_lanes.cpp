// The lane kernels. Written once over a vector type V: four-lane vectors for SSE2, run on
// lanes 0-3 and then 4-7, and eight-lane vectors compiled for AVX2 (no FMA: every multiply
// and add still rounds on its own). Every helper is inlined into the two entry points so that
// each is compiled for its own instruction set.
// Eight-lane values are passed only between helpers that are always inlined, never across a
// call, so the note that their calling convention differs without AVX does not apply.
#pragma GCC diagnostic ignored "-Wpsabi"

#include "transform/fft_lanes.h"

#include <bit>
#include <cstring>
#include <utility>

#include "common/float4.h"
#include "transform/complex_ops.h"
#include "transform/fft.h"
#include "transform/mixed_radix.h"
#include "transform/vector_io.h"

#define VOREL_LANE_INLINE inline __attribute__((always_inline))


namespace vorel::audio {

namespace {

// Written as a shuffle of lane 0, which the compiler turns into one broadcast in a register.
template <class V>
VOREL_LANE_INLINE V splat(float w) {
    const float4 one{w, w, w, w};
    if constexpr (kWidth<V> == 4)
        return one;
    else
        return __builtin_shufflevector(one, one, 0, 0, 0, 0, 0, 0, 0, 0);
}

// Element k of a lane buffer: its real lanes at p, its imaginary lanes kFrameLanes further.
VOREL_LANE_INLINE float* element(float* p, std::size_t k) { return p + kLaneStride * k; }
VOREL_LANE_INLINE const float* element(const float* p, std::size_t k) { return p + kLaneStride * k; }

// The combine step of the mixed-radix transform (the leaf DFTs are the case len = 1): blocks
// of q * len elements made of q transformed sub-blocks of len elements. Output x = r len + s
// of a block is the sum over t, in order and from 0, of input t len + s times table entry
// c (t x mod size), c = n / size. All blocks share the twiddles of an output, so the blocks
// run innermost. Q > 0 fixes q at compile time, with the twiddles of an output held in
// registers; Q = 0 reads them from the table for each block.
template <class V, std::size_t Q>
VOREL_LANE_INLINE void combine_lanes(const float* in, float* out, std::size_t n, std::size_t q, std::size_t len,
                                     const float* table) {
    if constexpr (Q > 0) q = Q;
    const std::size_t size = q * len;
    const std::size_t c = n / size;
    // The table entry of term t of output x: c (t x mod size), the product kept reduced.
    const auto next_exponent = [size](std::size_t e, std::size_t x) { return e + x >= size ? e + x - size : e + x; };
    for (std::size_t r = 0, x = 0; r < q; ++r) {
        for (std::size_t s = 0; s < len; ++s, ++x) {
            const float* from = element(in, s);
            float* to = element(out, x);
            [[maybe_unused]] V w_re[Q > 0 ? Q : 1], w_im[Q > 0 ? Q : 1];
            if constexpr (Q > 0) {
                for (std::size_t t = 0, e = 0; t < Q; ++t, e = next_exponent(e, x)) {
                    w_re[t] = splat<V>(table[2 * c * e]);
                    w_im[t] = splat<V>(table[2 * c * e + 1]);
                }
            }
            for (std::size_t b = 0; b < c; ++b) {
                V re{}, im{};
                for (std::size_t t = 0, e = 0; t < q; ++t) {
                    const float* p = element(from, b * size + t * len);
                    const V x_re = load_vector<V>(p), x_im = load_vector<V>(p + kFrameLanes);
                    if constexpr (Q > 0) {
                        multiply_add(re, im, x_re, x_im, w_re[t], w_im[t]);
                    } else {
                        multiply_add(re, im, x_re, x_im, splat<V>(table[2 * c * e]), splat<V>(table[2 * c * e + 1]));
                        e = next_exponent(e, x);
                    }
                }
                store_vector(element(to, b * size), re);
                store_vector(element(to, b * size) + kFrameLanes, im);
            }
        }
    }
}

// The common radices with their twiddles in registers, any other at run time.
template <class V>
VOREL_LANE_INLINE void combine_any(const float* in, float* out, std::size_t n, std::size_t q, std::size_t len,
                                   const float* table) {
    switch (q) {
        case 2: combine_lanes<V, 2>(in, out, n, q, len, table); break;
        case 3: combine_lanes<V, 3>(in, out, n, q, len, table); break;
        case 4: combine_lanes<V, 4>(in, out, n, q, len, table); break;
        case 5: combine_lanes<V, 5>(in, out, n, q, len, table); break;
        case 7: combine_lanes<V, 7>(in, out, n, q, len, table); break;
        default: combine_lanes<V, 0>(in, out, n, q, len, table); break;
    }
}

// Decimated input (see LanePlan) to natural-order output; returns the buffer holding it.
template <class V>
VOREL_LANE_INLINE float* general_lanes(float* cur, float* spare, std::size_t n, const float* table) {
    FactorList factors;
    std::size_t factor_n = mixed_radix_factors(n, factors);
    std::size_t blocks = 1;
    for (std::size_t j = 0; j < factor_n; ++j) blocks *= factors[j];
    combine_any<V>(cur, spare, n, n / blocks, 1, table);
    std::swap(cur, spare);
    while (factor_n > 0) {
        const std::size_t q = factors[--factor_n];
        combine_any<V>(cur, spare, n, q, n / blocks, table);
        std::swap(cur, spare);
        blocks /= q;
    }
    return cur;
}

// Radix-4 stages, then the radix-2 pass when log2(n) is odd; the output stays in
// bit-reversed order.
template <bool Inverse, class V>
VOREL_LANE_INLINE void pow2_lanes(float* d, std::size_t n, const float* table) {
    if (n >= 4) {
        std::size_t size = n, step = 12;
        for (;;) {
            const std::size_t quarter = size / 4;
            for (std::size_t start = 0; start < quarter; ++start) {
                V t[12];
                for (std::size_t c = 0; c < 12; ++c) t[c] = splat<V>(table[start * step + c]);
                for (std::size_t i = start; i < n; i += size) {
                    float* p[4] = {element(d, i), element(d, i + quarter), element(d, i + 2 * quarter),
                                   element(d, i + 3 * quarter)};
                    V re[4], im[4];
                    for (int j = 0; j < 4; ++j) {
                        re[j] = load_vector<V>(p[j]);
                        im[j] = load_vector<V>(p[j] + kFrameLanes);
                    }
                    butterfly<Inverse>(re[0], im[0], re[1], im[1], re[2], im[2], re[3], im[3], t);
                    for (int j = 0; j < 4; ++j) {
                        store_vector(p[j], re[j]);
                        store_vector(p[j] + kFrameLanes, im[j]);
                    }
                }
            }
            step *= 4;
            if (size < 16) break;
            size /= 4;
        }
    }
    if (std::countr_zero(n) % 2 == 1) {
        for (std::size_t m = 0; m + 1 < n; m += 2) {
            float* a = element(d, m);
            float* b = element(d, m + 1);
            for (std::size_t part = 0; part < kLaneStride; part += kFrameLanes) {
                const V x = load_vector<V>(a + part), y = load_vector<V>(b + part);
                store_vector(a + part, x + y);
                store_vector(b + part, x - y);
            }
        }
    }
}

template <class V>
VOREL_LANE_INLINE float* transform_lanes(float* data, float* spare, std::size_t n, const float* table,
                                         bool inverse) {
    float* result = data;
    if (!is_pow2(static_cast<int>(n)))
        result = general_lanes<V>(data, spare, n, table);
    else if (inverse)
        pow2_lanes<true, V>(data, n, table);
    else
        pow2_lanes<false, V>(data, n, table);
    if (inverse) {
        const V length = splat<V>(static_cast<float>(n));
        for (std::size_t k = 0; k < n; ++k)
            for (std::size_t part = 0; part < kLaneStride; part += kFrameLanes) {
                float* p = element(result, k) + part;
                store_vector(p, load_vector<V>(p) / length);
            }
    }
    return result;
}

float* transform_sse2(float* data, float* spare, std::size_t n, const float* table, bool inverse) {
    float* result = transform_lanes<float4>(data, spare, n, table, inverse);
    transform_lanes<float4>(data + 4, spare + 4, n, table, inverse);
    return result;
}

__attribute__((target("avx2"))) float* transform_avx2(float* data, float* spare, std::size_t n, const float* table,
                                                      bool inverse) {
    return transform_lanes<float8>(data, spare, n, table, inverse);
}

}  // namespace

LaneKernel best_lane_kernel() {
    static const LaneKernel best = __builtin_cpu_supports("avx2") ? LaneKernel::avx2 : LaneKernel::sse2;
    return best;
}

LanePlan make_lane_plan(std::size_t n) {
    LanePlan plan;
    plan.n = n;
    plan.in_pos.resize(n);
    plan.out_pos.resize(n);
    for (std::size_t k = 0; k < n; ++k) plan.in_pos[k] = plan.out_pos[k] = static_cast<std::uint32_t>(k);
    if (is_pow2(static_cast<int>(n))) {
        const int bits = std::countr_zero(n);
        for (std::size_t k = 0; k < n; ++k) {
            std::uint32_t reversed = 0;
            for (int b = 0; b < bits; ++b) reversed |= static_cast<std::uint32_t>((k >> b) & 1) << (bits - 1 - b);
            plan.out_pos[k] = reversed;
        }
    } else {
        FactorList factors;
        const std::size_t factor_n = mixed_radix_factors(n, factors);
        for_each_decimated(n, factors, factor_n,
                           [&](std::size_t to, std::size_t from) { plan.in_pos[to] = static_cast<std::uint32_t>(from); });
    }
    return plan;
}

std::size_t lane_work_bytes(std::size_t n) {
    return (2 * n + 2 * kLaneStride * n) * sizeof(float);
}

float* fft_lanes(float* data, float* spare, const LanePlan& plan, const std::vector<float>& table, bool inverse,
                 LaneKernel kernel) {
    if (kernel == LaneKernel::avx2) return transform_avx2(data, spare, plan.n, table.data(), inverse);
    return transform_sse2(data, spare, plan.n, table.data(), inverse);
}

}  // namespace vorel::audio
