// The builds of the split-layout transform (pow2_stages.h) at four, eight and sixteen lanes, and
// its column twiddles.
#include "transform/pow2_kernels.h"

#include <bit>
#include <utility>

#include "common/aligned_floats.h"
#include "transform/fft.h"
#include "transform/fft_table.h"
#include "transform/pow2_stages.h"

namespace vorel::audio {

namespace {

using pow2::kColumnValues, pow2::kLastStageFloats, pow2::kRowNegated, pow2::kRowSource;
using simd::Isa;

// Floats of the column twiddles of n: kColumnValues per column of each stage of quarter 4 or
// more; then, from n = 64 on, the last two stages as sixteen lanes (float c of lane l at 16 c + l).
std::size_t column_twiddle_floats(std::size_t n) {
    std::size_t floats = n >= 64 ? 2 * kLastStageFloats : 0;
    for (std::size_t quarter = n / 4; quarter >= 4; quarter /= 4) floats += kColumnValues * quarter;
    return floats;
}

std::vector<float> make_columns(std::size_t len, const std::vector<float>& table) {
    std::vector<float> value(column_twiddle_floats(len));
    // The stage of quarter q reads row start * step for column start, step = n / (4 q).
    std::size_t offset = 0;
    for (std::size_t quarter = len / 4; quarter >= 4; quarter /= 4) {
        const std::size_t step = 12 * (len / (4 * quarter));
        for (std::size_t start = 0; start < quarter; ++start)
            for (std::size_t c = 0; c < 12; ++c)
                if (!kRowNegated[c]) value[offset + kRowSource[c] * quarter + start] = table[start * step + c];
        offset += kColumnValues * quarter;
    }
    // The last two stages (quarters 4 and 1, or 8 and 2): lane l of the first is column l mod
    // its quarter; of the second column l mod 2 of quarter 2, or row 0.
    if (len >= 64) {
        const std::size_t quarter = std::countr_zero(len) % 2 == 0 ? 4 : 8;
        const std::size_t step1 = 12 * (len / (4 * quarter)), step2 = 12 * (len / 8);
        for (std::size_t c = 0; c < 12; ++c)
            for (std::size_t l = 0; l < 16; ++l) {
                value[offset + 16 * c + l] = table[(l % quarter) * step1 + c];
                value[offset + kLastStageFloats + 16 * c + l] = table[(quarter == 8 && l % 2 == 1 ? step2 : 0) + c];
            }
    }
    return value;
}

struct Split {
    template <class V>
    VOREL_INLINE static void run(const float* src, Pow2Input input, float* d, float* to, std::size_t n,
                                 const float* table, const float* cols, bool inverse) {
        using pow2::Input;
        if (input == Pow2Input::real)
            inverse ? pow2::transform<true, V, Input::real>(src, d, to, n, table, cols)
                    : pow2::transform<false, V, Input::real>(src, d, to, n, table, cols);
        else
            inverse ? pow2::transform<true, V, Input::interleaved>(src, d, to, n, table, cols)
                    : pow2::transform<false, V, Input::interleaved>(src, d, to, n, table, cols);
    }
};

using SplitFn = void (*)(const float*, Pow2Input, float*, float*, std::size_t, const float*, const float*, bool);

constexpr auto kBuilds = simd::builds_of<SplitFn, Split, simd::Isa::sse2, simd::Isa::avx2, simd::Isa::avx512>();

}  // namespace

void pow2_transform_to(float* dst, const float* src, Pow2Input input, std::size_t n, const std::vector<float>& table,
                       bool inverse, Isa isa, float* scratch) {
    if (n >= 16 && isa != Isa::scalar) {
        // Without caller scratch: the stack up to n = 1024, where an allocation would show.
        constexpr std::size_t kStackFloats = 2048;
        alignas(64) float local[kStackFloats];
        const AlignedFloats heap = scratch != nullptr || 2 * n <= kStackFloats ? nullptr : make_aligned_floats(2 * n);
        float* d = scratch != nullptr ? scratch : heap ? heap.get() : local;
        using Key = std::pair<std::size_t, bool>;
        const std::vector<float>& cols = cached<Key, std::vector<float>>(Key{n, inverse},
                                                                         [&] { return make_columns(n, table); });
        return kBuilds(isa)(src, input, d, dst, n, table.data(), cols.data(), inverse);
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
