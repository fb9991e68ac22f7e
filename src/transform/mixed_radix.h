// The factorisation and the reordering of the mixed-radix transform, shared by the plain path
// and the one that runs frames in vector lanes (which folds the reordering into its loads), and
// the sums of one group of outputs of a step, shared by the two vector paths.
#pragma once

#include <array>
#include <cstddef>

#include "simd/vec.h"

namespace vorel::audio {

// At most log2(n) factors for any size_t n.
using FactorList = std::array<std::size_t, 64>;

// The factors of n in the order found (each the smallest divisor of the remaining length,
// tried as 2, or 3, 5, 7, ... for an odd one, up to its square root); returns their count.
// n over their product is the leaf length.
std::size_t mixed_radix_factors(std::size_t n, FactorList& factors);

// The reordering of all decimation steps at once, as move(to, from) on element indices. With
// factors q1..qk (in the order found) and leaf length L, element r1 + q1 (r2 + q2 (... + qk s))
// moves to r1 n/q1 + r2 n/(q1 q2) + ... + rk L + s: output block r1 (q2..qk) + ... + rk holds
// the elements at input base r1 + q1 r2 + ... + (q1..q(k-1)) rk, a stride of q1..qk apart.
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

// The q inputs t = 0 .. q-1 of a group of outputs (input t at p + t apart, its imaginary part
// `im` floats after its real part), read once: held in registers for a radix fixed at compile
// time (Q > 0), read where they are used otherwise. Real inputs have no imaginary parts read.
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
// twiddle that twiddle(t, w_re, w_im) gives, each part of a product rounded before it is added.
//
// With `unit`, term 0 (whose twiddle is (1, +0) or (1, -0)) is added without its product. On
// finite data that product is (x.re 1 - x.im (±0), x.re (±0) + x.im 1): each part is its own
// value, or a zero of either sign where that value is a zero; added to the starting +0 it gives
// the value itself, or +0 for either zero (+0 + -0 is +0 when rounding to nearest): exactly
// +0 + x. An infinity or NaN in either part would make x 0 a NaN, so data that is not all
// finite must take every product.
//
// RealIn: the inputs' imaginary parts are +0 (real input at the leaves). x.im w.re and x.im w.im
// are then zeros for the finite twiddles, so each part of a product is x.re w, or a zero where
// that is a zero. A sum that starts at +0 is never -0 in round-to-nearest (x + y is -0 only for
// two -0), and adding a zero of either sign to a value that is not -0 leaves it as it is, so the
// zero's sign cannot show. Infinities and NaN in x.re pass through x.re w alike.
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

}  // namespace vorel::audio
