// Interleaved complex pairs to real and imaginary lanes: kLanes<V> consecutive (re, im) pairs
// become one vector of real parts and one of imaginary parts.
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

}  // namespace vorel::audio::simd::math
