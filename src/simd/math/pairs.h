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
