// Interleaved complex pairs to real and imaginary lanes and back: kLanes<V> consecutive (re, im)
// pairs become one vector of real parts and one of imaginary parts.
#pragma once

#include "simd/vec.h"

namespace vorel::audio::simd::math {

template <class V>
VOREL_INLINE void split_pairs(const float* p, V& re, V& im) {
    constexpr std::size_t W = kLanes<V>;
    if constexpr (W == 1) {
        re = p[0];
        im = p[1];
    } else {
        const V a = load<V>(p);
        const V b = load<V>(p + W);
        if constexpr (W == 4) {
            re = __builtin_shufflevector(a, b, 0, 2, 4, 6);
            im = __builtin_shufflevector(a, b, 1, 3, 5, 7);
        } else if constexpr (W == 8) {
            re = __builtin_shufflevector(a, b, 0, 2, 4, 6, 8, 10, 12, 14);
            im = __builtin_shufflevector(a, b, 1, 3, 5, 7, 9, 11, 13, 15);
        } else {
            static_assert(W == 16);
            re = __builtin_shufflevector(a, b, 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
            im = __builtin_shufflevector(a, b, 1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
        }
    }
}

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
        const V re2 = __builtin_shufflevector(a2, b2, 0, 2, 16, 18, 4, 6, 20, 22, 8, 10, 24, 26, 12, 14, 28, 30);
        const V im2 = __builtin_shufflevector(a2, b2, 1, 3, 17, 19, 5, 7, 21, 23, 9, 11, 25, 27, 13, 15, 29, 31);
        const V sum = re2 + im2;
        return __builtin_shufflevector(sum, sum, 0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15);
    } else {
        V re, im;
        split_pairs(p, re, im);
        return re * re + im * im;
    }
}

// Stores the lanes of a and b as kLanes<V> pairs (a[l], b[l]) from p on.
template <class V>
VOREL_INLINE void merge_pairs(float* p, V a, V b) {
    constexpr std::size_t W = kLanes<V>;
    if constexpr (W == 1) {
        p[0] = a;
        p[1] = b;
    } else if constexpr (W == 4) {
        store(p, V(__builtin_shufflevector(a, b, 0, 4, 1, 5)));
        store(p + 4, V(__builtin_shufflevector(a, b, 2, 6, 3, 7)));
    } else if constexpr (W == 8) {
        store(p, V(__builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11)));
        store(p + 8, V(__builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15)));
    } else {
        static_assert(W == 16);
        store(p, V(__builtin_shufflevector(a, b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23)));
        store(p + 16, V(__builtin_shufflevector(a, b, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31)));
    }
}

}  // namespace vorel::audio::simd::math
