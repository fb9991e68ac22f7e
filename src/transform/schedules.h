// The transform schedules and the mixed-radix factorisation, written once over the element
// type V: a float, or a vector whose lanes are independent items, each doing the scalar's
// operations in its order. Elements are reached through a layout, so the same loops run on an
// interleaved buffer and on frames held in lanes.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "simd/vec.h"

namespace vorel::audio {

// The low `bits` bits of k (below 2^bits, bits <= 32) in reverse order.
inline std::uint32_t reversed_index(std::uint32_t k, int bits) {
    k = ((k >> 1) & 0x55555555u) | ((k & 0x55555555u) << 1);
    k = ((k >> 2) & 0x33333333u) | ((k & 0x33333333u) << 2);
    k = ((k >> 4) & 0x0F0F0F0Fu) | ((k & 0x0F0F0F0Fu) << 4);
    return bits == 0 ? 0 : static_cast<std::uint32_t>(std::uint64_t{__builtin_bswap32(k)} >> (32 - bits));
}

// At most log2(n) factors for any size_t n.
using FactorList = std::array<std::size_t, 64>;

// A divisor of rem tried in the order 2 (even rem) or 3, 5, 7, ..., or 0 when none lies at or
// below the square root.
inline std::size_t find_factor(std::size_t rem) {
    std::size_t q = rem % 2 == 0 ? 2 : 3;
    if (q * q > rem) return 0;
    while (rem % q != 0) {
        q += 2;
        if (q * q > rem) return 0;
    }
    return q;
}

// The factors of n in the order found and their count; n over their product is the leaf length.
inline std::size_t mixed_radix_factors(std::size_t n, FactorList& factors) {
    std::size_t factor_n = 0, rem = n, blocks = 1;
    while (const std::size_t q = find_factor(rem)) {
        factors[factor_n++] = q;
        blocks *= q;
        rem = n / blocks;
    }
    return factor_n;
}

// The reordering of all decimation steps at once, as move(to, from): with factors q1..qk and
// leaf length L, element r1 + q1 (r2 + q2 (... + qk s)) moves to r1 n/q1 + ... + rk L + s.
template <class Move>
void for_each_decimated(std::size_t n, const FactorList& factors, std::size_t factor_n, Move&& move) {
    std::size_t blocks = 1;
    FactorList digit{}, weight{};
    for (std::size_t j = 0; j < factor_n; blocks *= factors[j], ++j) weight[j] = blocks;
    const std::size_t len = n / blocks;
    std::size_t base = 0;
    for (std::size_t block = 0; block < blocks; ++block) {
        for (std::size_t s = 0; s < len; ++s) move(block * len + s, base + blocks * s);
        // Next output block: rk counts fastest.
        for (std::size_t j = factor_n; j-- > 0;) {
            base += weight[j];
            if (++digit[j] < factors[j]) break;
            base -= factors[j] * weight[j];
            digit[j] = 0;
        }
    }
}

// The q inputs of a group of outputs (input t at p + t apart, imaginary part `im` floats on):
// held in registers for a radix fixed at compile time (Q > 0), read where used otherwise.
template <class V, std::size_t Q, bool RealIn>
struct GroupInputs {
    const float* at;
    std::size_t apart, im_at;
    V held[2][Q > 0 ? Q : 1];

    VOREL_INLINE GroupInputs(const float* p, std::size_t q, std::size_t step, std::size_t im_offset)
        : at(p), apart(step), im_at(im_offset) {
        if constexpr (Q > 0)
            for (std::size_t t = 0; t < q; ++t)
                for (std::size_t part = 0; part < (RealIn ? 1 : 2); ++part) held[part][t] = get(t, part * im_at);
    }
    VOREL_INLINE V get(std::size_t t, std::size_t offset) const { return simd::load<V>(at + offset + t * apart); }
    VOREL_INLINE V real(std::size_t t) const { return Q > 0 ? held[0][t] : get(t, 0); }
    VOREL_INLINE V imag(std::size_t t) const { return Q > 0 ? held[1][t] : get(t, im_at); }
};

// One output of a group: the sum over t = 0 .. q-1, in order from +0, of input t times the
// twiddle(t, w_re, w_im), each part of a product rounded before it is added.
// With `unit`, term 0 (twiddle (1, +-0)) is added without its product: on finite data each part
// of that product is its value or a zero of either sign where the value is zero, and +0 plus
// it gives +0 + x exactly. An infinity or NaN would make x 0 a NaN: such data takes every product.
// RealIn: imaginary inputs are +0, so x.im w is a zero; a sum started at +0 is never -0 and
// adding a zero to a value that is not -0 leaves it, so the zero's sign cannot show.
template <class V, bool RealIn, class Inputs, class Twiddle>
VOREL_INLINE void group_output(const Inputs& x_in, std::size_t q, bool unit, V& re, V& im, Twiddle&& twiddle) {
    re = V{}, im = V{};
    for (std::size_t t = 0; t < q; ++t) {
        if (t == 0 && unit) {
            re = re + x_in.real(0);
            if constexpr (!RealIn) im = im + x_in.imag(0);
            continue;
        }
        V w_re, w_im;
        twiddle(t, w_re, w_im);
        const V x_re = x_in.real(t);
        if constexpr (RealIn) {
            re = re + x_re * w_re;
            im = im + x_re * w_im;
        } else {
            const V x_im = x_in.imag(t);
            const V p_re = x_re * w_re - x_im * w_im;
            const V p_im = x_re * w_im + x_im * w_re;
            re = re + p_re;
            im = im + p_im;
        }
    }
}

// One radix-4 butterfly on four complex values A, B, C, D given as real and imaginary parts,
// with the twiddles t[0..11] of one table row (a float or a vector per entry).
template <bool Inverse, class V, class T>
VOREL_INLINE void butterfly(V& ar, V& ai, V& br, V& bi, V& cr, V& ci, V& dr, V& di, const T& t) {
    const V apc_r = ar + cr, apc_i = ai + ci;
    const V bpd_r = br + dr, bpd_i = bi + di;
    const V amc_r = ar - cr, amc_i = ai - ci;
    const V dmb_r = dr - br, dmb_i = di - bi;
    const V xr = apc_r - bpd_r, xi = apc_i - bpd_i;
    // (A - C) - i(B - D) and (A - C) + i(B - D); the inverse exchanges their places.
    const V minus_r = amc_r - dmb_i, minus_i = amc_i + dmb_r;
    const V plus_r = amc_r + dmb_i, plus_i = amc_i - dmb_r;
    const V yr = Inverse ? plus_r : minus_r, yi = Inverse ? plus_i : minus_i;
    const V zr = Inverse ? minus_r : plus_r, zi = Inverse ? minus_i : plus_i;
    ar = apc_r + bpd_r;
    ai = apc_i + bpd_i;
    // The twiddle of 2j goes to the second quarter and that of j to the third, so that a
    // plain bit reversal restores the order afterwards.
    br = xr * t[0] + xi * t[2];
    bi = xr * t[1] + xi * t[3];
    cr = yr * t[4] + yi * t[6];
    ci = yr * t[5] + yi * t[7];
    dr = zi * t[8] + zr * t[10];
    di = zi * t[9] + zr * t[11];
}

// Element k at `stride` floats per element, its imaginary part `im` floats after its real part:
// interleaved complex is {2, 1}, F frames in lanes {2 F, F}.
struct Strided {
    std::size_t stride, im;
    template <class V>
    VOREL_INLINE void load(const float* base, std::size_t k, V& re, V& im_part) const {
        const float* p = base + stride * k;
        re = simd::load<V>(p), im_part = simd::load<V>(p + im);
    }
    template <class V>
    VOREL_INLINE void store(float* base, std::size_t k, V re, V im_part) const {
        float* p = base + stride * k;
        simd::store(p, re), simd::store(p + im, im_part);
    }
};
inline constexpr Strided kInterleaved{2, 1};

// One column of butterflies: i = start, start + size, ... below n, on elements i, i + quarter,
// i + 2 quarter, i + 3 quarter, with the 12 twiddles of the table row at `row`.
template <bool Inverse, class V, class Layout>
VOREL_INLINE void radix4_column(float* d, const Layout& at, std::size_t n, std::size_t start, std::size_t size,
                                std::size_t quarter, const float* row) {
    V t[12];
    for (std::size_t c = 0; c < 12; ++c) t[c] = simd::broadcast<V>(row[c]);
    for (std::size_t i = start; i < n; i += size) {
        V re[4], im[4];
        for (std::size_t j = 0; j < 4; ++j) at.load(d, i + j * quarter, re[j], im[j]);
        butterfly<Inverse>(re[0], im[0], re[1], im[1], re[2], im[2], re[3], im[3], t);
        for (std::size_t j = 0; j < 4; ++j) at.store(d, i + j * quarter, re[j], im[j]);
    }
}

// (a, b) -> (a + b, a - b) on each pair of neighbouring elements.
template <class V, class Layout>
VOREL_INLINE void radix2_pass(float* d, const Layout& at, std::size_t n) {
    for (std::size_t m = 0; m + 1 < n; m += 2) {
        V ar, ai, br, bi;
        at.load(d, m, ar, ai), at.load(d, m + 1, br, bi);
        at.store(d, m, ar + br, ai + bi), at.store(d, m + 1, ar - br, ai - bi);
    }
}

// Every element divided by float(n). With Check, also whether every quotient is finite: v - v
// is +0 for a finite v and NaN otherwise, and a NaN stays in the sum. True without Check.
template <class V, bool Check = false, class Layout>
VOREL_INLINE bool divide_by_length(float* d, const Layout& at, std::size_t n) {
    const V length = simd::broadcast<V>(static_cast<float>(n));
    [[maybe_unused]] V sum{};
    for (std::size_t k = 0; k < n; ++k) {
        V re, im;
        at.load(d, k, re, im);
        re = re / length, im = im / length;
        at.store(d, k, re, im);
        if constexpr (Check) sum = sum + ((re - re) + (im - im));
    }
    if constexpr (Check) {
        float lanes[simd::kLanes<V>];
        simd::store(lanes, sum);
        for (const float v : lanes)
            if (v != 0.0f) return false;
    }
    return true;
}

// Radix-4 stages, then the radix-2 pass when log2(n) is odd; the output is bit-reversed.
template <bool Inverse, class V, class Layout>
VOREL_INLINE void pow2_stages(float* d, const Layout& at, std::size_t n, const float* table) {
    // size is the span of one butterfly column, step the table stride between its columns.
    for (std::size_t size = n, step = 12; size >= 4; size /= 4, step *= 4)
        for (std::size_t start = 0; start < size / 4; ++start)
            radix4_column<Inverse, V>(d, at, n, start, size, size / 4, table + start * step);
    if (std::countr_zero(n) % 2 == 1) radix2_pass<V>(d, at, n);
}

// f(integral_constant Q) with Q = q for the common radices, so that their sums unroll, or Q = 0.
template <class F>
VOREL_INLINE void with_radix(std::size_t q, F&& f) {
    switch (q) {
        case 2: return f(std::integral_constant<std::size_t, 2>{});
        case 3: return f(std::integral_constant<std::size_t, 3>{});
        case 5: return f(std::integral_constant<std::size_t, 5>{});
        case 7: return f(std::integral_constant<std::size_t, 7>{});
        default: return f(std::integral_constant<std::size_t, 0>{});
    }
}

// One mixed-radix step (the leaves are len = 1): output x = r len + s of each block of q len
// sums input t len + s times table entry c ((t x) mod size), c = n / size; only x < x_end are
// computed. With Q > 0 a group's inputs are held before its outputs (the same places) are
// stored, so `in` may be `out`.
template <class V, std::size_t Q, bool RealIn>
VOREL_INLINE void mixed_radix_step(const float* in, float* out, const Strided& at, std::size_t n, std::size_t q,
                                   std::size_t len, const float* table, std::size_t x_end, bool unit) {
    if constexpr (Q > 0) q = Q;
    const std::size_t size = q * len, blocks = n / size, c = n / size;
    constexpr std::size_t kHeld = Q > 0 ? Q : 1;
    for (std::size_t s = 0; s < len && s < x_end; ++s) {
        // Outputs r len + s for r below `rows` are read.
        std::size_t rows = 0;
        while (rows < q && rows * len + s < x_end) ++rows;
        // The twiddles of all q outputs, the exponent kept reduced by adding and subtracting.
        [[maybe_unused]] V w_re[kHeld][kHeld], w_im[kHeld][kHeld];
        if constexpr (Q > 0)
            for (std::size_t r = 0; r < Q; ++r)
                for (std::size_t t = 0, x = r * len + s, e = 0; t < Q; ++t, e = e + x >= size ? e + x - size : e + x) {
                    w_re[r][t] = simd::broadcast<V>(table[2 * c * e]);
                    w_im[r][t] = simd::broadcast<V>(table[2 * c * e + 1]);
                }
        // row_n: `rows`, or the constant Q when every output is read (no count tested per block).
        const auto each_block = [&](auto row_n) VOREL_INLINE_LAMBDA {
            for (std::size_t b = 0; b < blocks; ++b) {
                const std::size_t group = at.stride * (b * size + s);
                const GroupInputs<V, Q, RealIn> x_in(in + group, q, at.stride * len, at.im);
                for (std::size_t r = 0; r < (Q > 0 ? Q : q); ++r) {
                    if (r == row_n) break;
                    const std::size_t x = r * len + s;
                    V re, im;
                    // Terms come in order from t = 0 or 1, so e follows t x mod size by adding x.
                    std::size_t e = 0;
                    group_output<V, RealIn>(x_in, q, unit, re, im,
                                            [&](std::size_t t, V& wr, V& wi) VOREL_INLINE_LAMBDA {
                                                if constexpr (Q > 0) {
                                                    wr = w_re[r][t], wi = w_im[r][t];
                                                } else {
                                                    if (t > 0) e = e + x >= size ? e + x - size : e + x;
                                                    wr = simd::broadcast<V>(table[2 * c * e]);
                                                    wi = simd::broadcast<V>(table[2 * c * e + 1]);
                                                }
                                            });
                    at.store(out + group, r * len, re, im);
                }
            }
        };
        if constexpr (Q > 0)
            if (rows == Q) {
                each_block(std::integral_constant<std::size_t, Q>{});
                continue;
            }
        each_block(rows);
    }
}

// All steps of a length that is not a power of two on decimated input at `data`, the leaves
// real when real_leaf, the last step stopping before bin x_end; small radices in place, others
// into the other buffer. Returns the buffer holding the output.
template <class V>
VOREL_INLINE float* mixed_radix_steps(float* data, float* spare, const Strided& at, std::size_t n, const float* table,
                                      bool real_leaf, bool unit, std::size_t x_end) {
    FactorList factors;
    std::size_t factor_n = mixed_radix_factors(n, factors), blocks = 1;
    for (std::size_t j = 0; j < factor_n; ++j) blocks *= factors[j];
    float* cur = data;
    for (std::size_t q = n / blocks, len = 1;; len *= q, q = factors[--factor_n]) {
        const bool last = q * len == n, real = real_leaf && len == 1;
        const std::size_t end = last ? x_end : n;
        float* const other = cur == data ? spare : data;
        with_radix(q, [&](auto radix) VOREL_INLINE_LAMBDA {
            constexpr std::size_t Q = decltype(radix)::value;
            float* const to = Q > 0 ? cur : other;
            real ? mixed_radix_step<V, Q, true>(cur, to, at, n, q, len, table, end, unit)
                 : mixed_radix_step<V, Q, false>(cur, to, at, n, q, len, table, end, unit);
            cur = to;
        });
        if (last) return cur;
    }
}

}  // namespace vorel::audio
