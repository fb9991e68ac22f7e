// The three builds of the split-layout stages: SSE2 (every x86-64 CPU), and functions
// compiled for AVX2 and for AVX-512 with eight and sixteen lanes. Contraction is off, so no
// build fuses a multiply into an add.
#include "transform/pow2_kernels.h"

// Wide values are passed only between always-inlined helpers, never across a call.
#pragma GCC diagnostic ignored "-Wpsabi"

#include "transform/pow2_stages.h"

namespace vorel::audio {

namespace {

template <class V>
VOREL_POW2_INLINE void stages_of(float* d, std::size_t n, const float* table, const float* cols, bool inverse) {
    if (inverse)
        pow2::split_stages<true, V>(d, n, table, cols);
    else
        pow2::split_stages<false, V>(d, n, table, cols);
}

void stages_sse2(float* d, std::size_t n, const float* table, const float* cols, bool inverse) {
    stages_of<float4>(d, n, table, cols, inverse);
}

__attribute__((target("avx2"))) void stages_avx2(float* d, std::size_t n, const float* table, const float* cols,
                                                 bool inverse) {
    stages_of<pow2::float8>(d, n, table, cols, inverse);
}

__attribute__((target("avx512f"))) void stages_avx512(float* d, std::size_t n, const float* table,
                                                      const float* cols, bool inverse) {
    stages_of<pow2::float16>(d, n, table, cols, inverse);
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

void pow2_split_stages(float* d, std::size_t n, const float* table, const float* cols, bool inverse,
                       Pow2Kernel kernel) {
    switch (kernel) {
        case Pow2Kernel::avx512: stages_avx512(d, n, table, cols, inverse); break;
        case Pow2Kernel::avx2: stages_avx2(d, n, table, cols, inverse); break;
        default: stages_sse2(d, n, table, cols, inverse); break;
    }
}

}  // namespace vorel::audio
