// The three builds of the split-layout stages: SSE2 (every x86-64 CPU), and functions
// compiled for AVX2 and for AVX-512 with eight and sixteen lanes. Contraction is off, so no
// build fuses a multiply into an add.
#include "transform/pow2_kernels.h"

#include <bit>

#include "transform/fft_kernels.h"

// Wide values are passed only between always-inlined helpers, never across a call.
#pragma GCC diagnostic ignored "-Wpsabi"

#include "transform/pow2_stages.h"

namespace vorel::audio {

namespace {

// Radix-4 stages and the radix-2 pass, then the bit reversal (SSE2: the
// four-lane one of bit_reverse.cpp).
template <bool Inverse, class V, pow2::Input In>
VOREL_POW2_INLINE void transform(const float* src, float* d, float* to, std::size_t n, const float* table,
                                 const float* cols) {
    pow2::split_stages<Inverse, V, In>(d, src, n, table, cols);
    if constexpr (kWidth<V> == 4)
        bit_reverse_split(d, to, n, Inverse);
    else
        pow2::bit_reverse_split8<Inverse>(d, to, n);
}

template <class V>
VOREL_POW2_INLINE void transform_of(const float* src, Pow2Input input, float* d, float* to, std::size_t n,
                                    const float* table, const float* cols, bool inverse) {
    using pow2::Input;
    if (input == Pow2Input::real)
        inverse ? transform<true, V, Input::real>(src, d, to, n, table, cols)
                : transform<false, V, Input::real>(src, d, to, n, table, cols);
    else
        inverse ? transform<true, V, Input::interleaved>(src, d, to, n, table, cols)
                : transform<false, V, Input::interleaved>(src, d, to, n, table, cols);
}

void transform_sse2(const float* src, Pow2Input input, float* d, float* to, std::size_t n, const float* table,
                    const float* cols, bool inverse) {
    transform_of<float4>(src, input, d, to, n, table, cols, inverse);
}

__attribute__((target("avx2"))) void transform_avx2(const float* src, Pow2Input input, float* d, float* to,
                                                    std::size_t n, const float* table, const float* cols,
                                                    bool inverse) {
    transform_of<float8>(src, input, d, to, n, table, cols, inverse);
}

__attribute__((target("avx512f"))) void transform_avx512(const float* src, Pow2Input input, float* d, float* to,
                                                         std::size_t n, const float* table, const float* cols,
                                                         bool inverse) {
    transform_of<float16>(src, input, d, to, n, table, cols, inverse);
}

}  // namespace

bool pow2_kernel_runs_here(Pow2Kernel kernel) {
    switch (kernel) {
        case Pow2Kernel::avx2: return __builtin_cpu_supports("avx2");
        case Pow2Kernel::avx512: return __builtin_cpu_supports("avx512f");
        default: return true;
    }
}

Pow2Kernel best_pow2_kernel() {
    static const Pow2Kernel best = pow2_kernel_runs_here(Pow2Kernel::avx512) ? Pow2Kernel::avx512
                                   : pow2_kernel_runs_here(Pow2Kernel::avx2) ? Pow2Kernel::avx2
                                                                             : Pow2Kernel::sse2;
    return best;
}

void pow2_split_transform(const float* src, Pow2Input input, float* d, float* to, std::size_t n, const float* table,
                          const float* cols, bool inverse, Pow2Kernel kernel) {
    switch (kernel) {
        case Pow2Kernel::avx512: transform_avx512(src, input, d, to, n, table, cols, inverse); break;
        case Pow2Kernel::avx2: transform_avx2(src, input, d, to, n, table, cols, inverse); break;
        default: transform_sse2(src, input, d, to, n, table, cols, inverse); break;
    }
}

}  // namespace vorel::audio
