// Four-lane float vectors on GCC vector extensions. Each lane rounds exactly as a scalar
// float does, so a kernel written once for `float` and for `float4` gives the same bits
// per lane; only the number of independent elements handled at once changes.
#pragma once

#include <cstring>

namespace vorel::audio {

typedef float float4 __attribute__((vector_size(16)));

inline float4 load4(const float* p) {
    float4 v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

inline void store4(float* p, float4 v) { std::memcpy(p, &v, sizeof v); }

// Rows a, b, c, d become columns: afterwards a holds the first lane of each input, and so on.
inline void transpose4(float4& a, float4& b, float4& c, float4& d) {
    const float4 ab_lo = __builtin_shufflevector(a, b, 0, 4, 1, 5);
    const float4 cd_lo = __builtin_shufflevector(c, d, 0, 4, 1, 5);
    const float4 ab_hi = __builtin_shufflevector(a, b, 2, 6, 3, 7);
    const float4 cd_hi = __builtin_shufflevector(c, d, 2, 6, 3, 7);
    a = __builtin_shufflevector(ab_lo, cd_lo, 0, 1, 4, 5);
    b = __builtin_shufflevector(ab_lo, cd_lo, 2, 3, 6, 7);
    c = __builtin_shufflevector(ab_hi, cd_hi, 0, 1, 4, 5);
    d = __builtin_shufflevector(ab_hi, cd_hi, 2, 3, 6, 7);
}

}  // namespace vorel::audio
