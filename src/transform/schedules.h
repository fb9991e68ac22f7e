// The transform schedules, written once over the element type V: a float for the plain
// path, or a vector whose lanes are independent items (frames, blocks of one transform). A
// lane does exactly the operations of the scalar, in the same order, so every width gives the
// same bits. The elements are reached through a layout (where element k's real and imaginary
// parts lie), so the same loops run on an interleaved buffer and on frames held in lanes.
#pragma once

#include <bit>
#include <cstddef>
#include <utility>

#include "simd/vec.h"
#include "transform/mixed_radix.h"

// A lambda inside a kernel template is compiled with the kernel's build only when it is inlined;
// out of line it would be compiled for the baseline level. Every such lambda carries this.
#define VOREL_INLINE_LAMBDA __attribute__((always_inline))

namespace vorel::audio {

// acc += x * w, each part of the product rounded before it is added.
template <class V>
VOREL_INLINE void multiply_add(V& acc_re, V& acc_im, V x_re, V x_im, V w_re, V w_im) {
    const V re = x_re * w_re - x_im * w_im;
    const V im = x_re * w_im + x_im * w_re;
    acc_re = acc_re + re;
    acc_im = acc_im + im;
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

// Element k of a buffer at `stride` floats per element, its imaginary part `im` floats after
// its real part; V loads consecutive lanes from there. Interleaved complex: {2, 1}; frames in
// lanes: {2 F, F} for F frames.
struct Strided {
    std::size_t stride, im;
    static constexpr std::size_t kBlocks = 1;  // blocks of one transform per vector

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

// Radix-4 stages, then the radix-2 pass when log2(n) is odd; the output stays in bit-reversed
// order.
template <bool Inverse, class V, class Layout>
VOREL_INLINE void pow2_stages(float* d, const Layout& at, std::size_t n, const float* table) {
    // size is the span of one butterfly column, step the table stride between its columns.
    for (std::size_t size = n, step = 12; size >= 4; size /= 4, step *= 4)
        for (std::size_t start = 0; start < size / 4; ++start)
            radix4_column<Inverse, V>(d, at, n, start, size, size / 4, table + start * step);
    if (std::countr_zero(n) % 2 == 1) radix2_pass<V>(d, at, n);
}

// The combine step of the mixed-radix transform on blocks b0 .. b1 - 1 (the leaf DFTs are the
// case len = 1): blocks of q * len elements made of q transformed sub-blocks of len elements.
// Output x = r len + s of a block is the sum over t, in order and from 0, of input t len + s
// times table entry c (t x mod size), c = n / size; the exponent is kept reduced by adding
// and subtracting, exact for every length. Q > 0 fixes q at compile time.
template <class V, std::size_t Q, class Layout>
VOREL_INLINE void combine_step(const float* in, float* out, const Layout& at, std::size_t n, std::size_t q,
                               std::size_t len, const float* table, std::size_t b0, std::size_t b1) {
    if constexpr (Q > 0) q = Q;
    if (b0 >= b1) return;
    const std::size_t size = q * len;
    const std::size_t c = n / size;
    const auto next_exponent = [size](std::size_t e, std::size_t x)
                                   VOREL_INLINE_LAMBDA { return e + x >= size ? e + x - size : e + x; };
    constexpr std::size_t kHeld = Q > 0 ? Q : 1;
    for (std::size_t r = 0, x = 0; r < q; ++r) {
        for (std::size_t s = 0; s < len; ++s, ++x) {
            [[maybe_unused]] V w_re[kHeld], w_im[kHeld];
            if constexpr (Q > 0) {
                for (std::size_t t = 0, e = 0; t < Q; ++t, e = next_exponent(e, x)) {
                    w_re[t] = simd::broadcast<V>(table[2 * c * e]);
                    w_im[t] = simd::broadcast<V>(table[2 * c * e + 1]);
                }
            }
            for (std::size_t b = b0; b < b1; b += Layout::kBlocks) {
                V re{}, im{};
                for (std::size_t t = 0, e = 0; t < q; ++t) {
                    V x_re, x_im;
                    at.load(in, b * size + t * len + s, x_re, x_im);
                    if constexpr (Q > 0) {
                        multiply_add(re, im, x_re, x_im, w_re[t], w_im[t]);
                    } else {
                        multiply_add(re, im, x_re, x_im, simd::broadcast<V>(table[2 * c * e]),
                                     simd::broadcast<V>(table[2 * c * e + 1]));
                        e = next_exponent(e, x);
                    }
                }
                at.store(out, b * size + x, re, im);
            }
        }
    }
}

// The common radices with their twiddles held in registers, any other read from the table.
template <class V, class Layout>
VOREL_INLINE void combine_any(const float* in, float* out, const Layout& at, std::size_t n, std::size_t q,
                              std::size_t len, const float* table, std::size_t b0, std::size_t b1) {
    switch (q) {
        case 2: combine_step<V, 2>(in, out, at, n, q, len, table, b0, b1); break;
        case 3: combine_step<V, 3>(in, out, at, n, q, len, table, b0, b1); break;
        case 4: combine_step<V, 4>(in, out, at, n, q, len, table, b0, b1); break;
        case 5: combine_step<V, 5>(in, out, at, n, q, len, table, b0, b1); break;
        case 7: combine_step<V, 7>(in, out, at, n, q, len, table, b0, b1); break;
        default: combine_step<V, 0>(in, out, at, n, q, len, table, b0, b1); break;
    }
}

// The leaves and the combine steps of the mixed-radix transform of decimated input at `cur`
// (see for_each_decimated), alternating between cur and spare; returns the buffer holding the
// natural-order output. combine(in, out, q, len) runs one step over all blocks.
template <class Combine>
VOREL_INLINE float* mixed_radix_steps(float* cur, float* spare, std::size_t n, Combine&& combine) {
    FactorList factors;
    std::size_t factor_n = mixed_radix_factors(n, factors);
    std::size_t blocks = 1;
    for (std::size_t j = 0; j < factor_n; ++j) blocks *= factors[j];
    combine(cur, spare, n / blocks, std::size_t{1});
    std::swap(cur, spare);
    while (factor_n > 0) {
        const std::size_t q = factors[--factor_n];
        combine(cur, spare, q, n / blocks);
        std::swap(cur, spare);
        blocks /= q;
    }
    return cur;
}

}  // namespace vorel::audio
