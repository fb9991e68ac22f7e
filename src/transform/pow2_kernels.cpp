// The builds of the split-layout transform: four lanes for SSE2 (every x86-64 CPU), eight for
// AVX2 and sixteen for AVX-512, each the template of pow2_stages.h compiled for its level.
// Contraction is off, so no build fuses a multiply into an add.
#include "transform/pow2_kernels.h"

#include "common/aligned_floats.h"
#include "transform/bit_reverse.h"
#include "transform/column_twiddles.h"
#include "transform/fft.h"
#include "transform/pow2_stages.h"

namespace vorel::audio {

namespace {

using simd::Isa;

template <class V>
VOREL_INLINE void transform_of(const float* src, Pow2Input input, float* d, float* to, std::size_t n,
                               const float* table, const float* cols, bool inverse) {
    using pow2::Input;
    if (input == Pow2Input::real)
        inverse ? pow2::transform<true, V, Input::real>(src, d, to, n, table, cols)
                : pow2::transform<false, V, Input::real>(src, d, to, n, table, cols);
    else
        inverse ? pow2::transform<true, V, Input::interleaved>(src, d, to, n, table, cols)
                : pow2::transform<false, V, Input::interleaved>(src, d, to, n, table, cols);
}

using SplitFn = void (*)(const float*, Pow2Input, float*, float*, std::size_t, const float*, const float*, bool);

VOREL_TARGET_SSE2 void split_sse2(const float* src, Pow2Input input, float* d, float* to, std::size_t n,
                                  const float* table, const float* cols, bool inverse) {
    transform_of<simd::float4>(src, input, d, to, n, table, cols, inverse);
}

VOREL_TARGET_AVX2 void split_avx2(const float* src, Pow2Input input, float* d, float* to, std::size_t n,
                                  const float* table, const float* cols, bool inverse) {
    transform_of<simd::float8>(src, input, d, to, n, table, cols, inverse);
}

VOREL_TARGET_AVX512 void split_avx512(const float* src, Pow2Input input, float* d, float* to, std::size_t n,
                                      const float* table, const float* cols, bool inverse) {
    transform_of<simd::float16>(src, input, d, to, n, table, cols, inverse);
}

constexpr simd::IsaBuilds<SplitFn> kBuilds{nullptr, split_sse2, split_avx2, split_avx512};

}  // namespace

void pow2_transform_to(float* dst, const float* src, Pow2Input input, std::size_t n, const std::vector<float>& table,
                       bool inverse, Isa isa, float* scratch) {
    if (n >= 16 && isa != Isa::scalar) {
        // Without caller scratch: 64-byte aligned floats of the stack up to n = 1024, where an
        // allocation would cost a fair share of the transform, else of the heap.
        constexpr std::size_t kStackFloats = 2048;
        alignas(64) float local[kStackFloats];
        const AlignedFloats heap = scratch != nullptr || 2 * n <= kStackFloats ? nullptr : make_aligned_floats(2 * n);
        float* d = scratch != nullptr ? scratch : heap ? heap.get() : local;
        return kBuilds(isa)(src, input, d, dst, n, table.data(), column_twiddles_of(n, inverse, table).data(), inverse);
    }
    // The plain path in place on dst, filled from the last element down so that src may be dst.
    for (std::size_t k = n; k-- > 0;) {
        const float re = input == Pow2Input::real ? src[k] : src[2 * k];
        const float im = input == Pow2Input::real ? 0.0f : src[2 * k + 1];
        dst[2 * k] = re, dst[2 * k + 1] = im;
    }
    if (inverse)
        pow2_stages<true, float>(dst, kInterleaved, n, table.data());
    else
        pow2_stages<false, float>(dst, kInterleaved, n, table.data());
    if (n >= 3) bit_reverse(dst, n);
    if (inverse) divide_by_length(dst, n);
}

}  // namespace vorel::audio
