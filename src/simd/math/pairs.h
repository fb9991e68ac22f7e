// Interleaved complex pairs to real and imaginary lanes and back: kLanes<V> consecutive (re, im)
// pairs become one vector of real parts and one of imaginary parts.
#pragma once

#include "simd/shuffles.h"
#include "simd/vec.h"

namespace vorel::audio::simd::math {

template <class V>
VOREL_INLINE void split_pairs(const float* p, V& re, V& im) {
    if constexpr (kLanes<V> == 1) {
        re = p[0];
        im = p[1];
    } else {
        const V a = load<V>(p), b = load<V>(p + kLanes<V>);
        re = lanes::shuffle<lanes::kEvery2nd<0>>(a, b);
        im = lanes::shuffle<lanes::kEvery2nd<1>>(a, b);
    }
}

// The squares of 16 pairs at a, b: real (Im = 0) or imaginary parts gathered by 128-bit block,
// then the block sums put in pair order.
template <std::size_t Im>
constexpr auto kSquaresByBlock =
    [](std::size_t i, std::size_t w) { return i % 4 / 2 * w + 4 * (i / 4) + 2 * (i % 2) + Im; };
constexpr auto kBlocksInOrder = [](std::size_t i, std::size_t w) {
    return 4 * (i % (w / 2) / 2) + 2 * (i / (w / 2)) + i % 2;
};

// re * re + im * im for the kLanes<V> pairs from p on, each square and the sum rounded on their
// own. At 16 lanes the pairs are squared as loaded, the squares of real and imaginary parts are
// gathered within 128-bit blocks (two in-block shuffles) and summed, and one single-source permute
// puts the sums in order: cheaper than two two-source permutes before squaring, same bits.
template <class V>
VOREL_INLINE V sum_of_squares(const float* p) {
    constexpr std::size_t W = kLanes<V>;
    if constexpr (W == 16) {
        const V a = load<V>(p), b = load<V>(p + W);
        const V a2 = a * a, b2 = b * b;
        // Block c holds the sums of pairs 2c, 2c + 1 (from a) and 8 + 2c, 9 + 2c (from b).
        const V sum = lanes::shuffle<kSquaresByBlock<0>>(a2, b2) + lanes::shuffle<kSquaresByBlock<1>>(a2, b2);
        return lanes::shuffle<kBlocksInOrder>(sum, sum);
    } else {
        V re, im;
        split_pairs(p, re, im);
        return re * re + im * im;
    }
}

// Stores the lanes of a and b as kLanes<V> pairs (a[l], b[l]) from p on.
template <class V>
VOREL_INLINE void merge_pairs(float* p, V a, V b) {
    if constexpr (kLanes<V> == 1) {
        p[0] = a;
        p[1] = b;
    } else {
        store(p, lanes::unpack<kLanes<V>, 1, 0>(a, b));
        store(p + kLanes<V>, lanes::unpack<kLanes<V>, 1, 1>(a, b));
    }
}

}  // namespace vorel::audio::simd::math
