// Wider float vectors (GCC vector extensions) for the kernels compiled for AVX2 and AVX-512,
// and unaligned loads and stores of any of them. A lane rounds as a scalar float does.
#pragma once

#include <cstddef>
#include <cstring>

namespace vorel::audio {

typedef float float8 __attribute__((vector_size(32)));
typedef float float16 __attribute__((vector_size(64)));

template <class V>
constexpr std::size_t kWidth = sizeof(V) / sizeof(float);

template <class V>
inline __attribute__((always_inline)) V load_vector(const float* p) {
    V v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

template <class V>
inline __attribute__((always_inline)) void store_vector(float* p, V v) {
    std::memcpy(p, &v, sizeof v);
}

}  // namespace vorel::audio
