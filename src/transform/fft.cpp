// The transform core: the plain path is the schedule of schedules.h at width 1 on the
// interleaved buffer; powers of two from 16 on go to the split-layout builds
// (pow2_kernels.h) unless the scalar level is asked for, and other lengths run blocks of
// equal size four to a vector.
#include "transform/fft.h"

#include <cstring>

#include "transform/bit_reverse.h"
#include "transform/mixed_radix.h"
#include "transform/pow2_kernels.h"
#include "transform/schedules.h"
#include "transform/shuffles.h"

namespace vorel::audio {

using simd::float4;
using simd::Isa;

bool is_pow2(int n) { return n > 0 && (n & (n - 1)) == 0; }

void fft_pre_process(std::vector<float>& data, const float* src, int n) {
    for (std::size_t k = 0; k < static_cast<std::size_t>(n > 0 ? n : 0); ++k) {
        data[2 * k] = src[k];
        data[2 * k + 1] = 0.0f;
    }
}

void fft(std::vector<float>& data, int n, const std::vector<float>& table) {
    std::vector<float> scratch;
    fft(data, n, table, scratch);
}

void ifft(std::vector<float>& data, int n, const std::vector<float>& table) {
    std::vector<float> scratch;
    ifft(data, n, table, scratch);
}

namespace {

// 2 n floats at least; a working set declares them whole, so a run of frames allocates nothing.
void ensure_size(std::vector<float>& buffer, std::size_t n) {
    if (buffer.size() < 2 * n) buffer.resize(2 * n);
}

}  // namespace

void fft(std::vector<float>& data, int n, const std::vector<float>& table, std::vector<float>& scratch) {
    ensure_size(scratch, static_cast<std::size_t>(n));
    if (is_pow2(n))
        pow2_transform(data.data(), static_cast<std::size_t>(n), table, false, simd::best_isa(), scratch.data());
    else
        fft_general(data, n, table, scratch);
}

void ifft(std::vector<float>& data, int n, const std::vector<float>& table, std::vector<float>& scratch) {
    ensure_size(scratch, static_cast<std::size_t>(n));
    if (is_pow2(n)) {
        pow2_transform(data.data(), static_cast<std::size_t>(n), table, true, simd::best_isa(), scratch.data());
    } else {
        fft_general(data, n, table, scratch);
        divide_by_length(data.data(), static_cast<std::size_t>(n));
    }
}

std::size_t fft_work_bytes(int n) {
    const std::size_t len = static_cast<std::size_t>(n > 0 ? n : 0);
    const std::size_t floats = is_pow2(n) ? 5 * len : 4 * len;
    return floats * sizeof(float);
}

void divide_by_length(float* data, std::size_t n) {
    const float length = static_cast<float>(n);
    for (std::size_t k = 0; k < 2 * n; ++k) data[k] = data[k] / length;
}

// ---- Powers of two ----

void pow2_transform(float* d, std::size_t n, const std::vector<float>& table, bool inverse, Isa isa, float* scratch) {
    if (n >= 16 && isa != Isa::scalar)
        return pow2_transform_to(d, d, Pow2Input::interleaved, n, table, inverse, isa, scratch);
    if (inverse)
        pow2_stages<true, float>(d, kInterleaved, n, table.data());
    else
        pow2_stages<false, float>(d, kInterleaved, n, table.data());
    if (n >= 3) bit_reverse(d, n);
    if (inverse) divide_by_length(d, n);
}

void fft_pow2(std::vector<float>& data, int n, const std::vector<float>& table) {
    pow2_transform(data.data(), static_cast<std::size_t>(n), table, false);
}

void ifft_pow2(std::vector<float>& data, int n, const std::vector<float>& table) {
    pow2_transform(data.data(), static_cast<std::size_t>(n), table, true);
}

void fft_pow2_core(std::vector<float>& data, int n, int start, int size, int quarter, const std::vector<float>& table,
                   std::size_t table_pos) {
    radix4_column<false, float>(data.data(), kInterleaved, n, start, size, quarter, table.data() + table_pos);
}

void ifft_pow2_core(std::vector<float>& data, int n, int start, int size, int quarter, const std::vector<float>& table,
                    std::size_t table_pos) {
    radix4_column<true, float>(data.data(), kInterleaved, n, start, size, quarter, table.data() + table_pos);
}

void fft_pow2_merge(std::vector<float>& data, int n) {
    if (n >= 1) radix2_pass<float>(data.data(), kInterleaved, static_cast<std::size_t>(n));
}

// ---- Other lengths ----

namespace {

// Four blocks of one transform, `block` elements apart, one per lane: they read the same
// twiddles, so the combine step runs them together.
struct FourBlocks {
    std::size_t block;
    static constexpr std::size_t kBlocks = 4;

    VOREL_INLINE void load(const float* base, std::size_t k, float4& re, float4& im) const {
        const float* p = base + 2 * k;
        const std::size_t step = 2 * block;
        const float4 lo{p[0], p[1], p[step], p[step + 1]},
            hi{p[2 * step], p[2 * step + 1], p[3 * step], p[3 * step + 1]};
        re = lanes::shuffle<lanes::kEvery2nd<0>>(lo, hi);
        im = lanes::shuffle<lanes::kEvery2nd<1>>(lo, hi);
    }
    VOREL_INLINE void store(float* base, std::size_t k, float4 re, float4 im) const {
        float* p = base + 2 * k;
        for (std::size_t l = 0; l < 4; ++l, p += 2 * block) p[0] = re[l], p[1] = im[l];
    }
};

// One combine step over all blocks: at the scalar level one at a time, else four at a time
// and the rest one at a time.
template <bool InLanes>
void combine_blocks(const float* in, float* out, std::size_t n, std::size_t q, std::size_t len, const float* table) {
    const std::size_t size = q * len, blocks = n / size;
    const std::size_t in_lanes = InLanes ? blocks - blocks % 4 : 0;
    if (in_lanes > 0) combine_any<float4>(in, out, FourBlocks{size}, n, q, len, table, 0, in_lanes);
    combine_any<float>(in, out, kInterleaved, n, q, len, table, in_lanes, blocks);
}

template <bool InLanes>
void mixed_radix_build(float* data, float* tmp, std::size_t n, const float* table) {
    FactorList factors;
    const std::size_t factor_n = mixed_radix_factors(n, factors);
    float* cur = data;
    if (factor_n > 0) {
        for_each_decimated(n, factors, factor_n,
                           [&](std::size_t to, std::size_t from) { std::memcpy(tmp + 2 * to, data + 2 * from, 8); });
        cur = tmp;
    }
    float* result = mixed_radix_steps(cur, cur == data ? tmp : data, n,
                                      [&](float* in, float* out, std::size_t q, std::size_t len)
                                          VOREL_INLINE_LAMBDA { combine_blocks<InLanes>(in, out, n, q, len, table); });
    if (result != data) std::memcpy(data, result, 2 * n * sizeof(float));
}

using MixedRadixFn = void (*)(float*, float*, std::size_t, const float*);
// The SSE2 level is the baseline of every x86-64 build, so its entry needs no attribute.
constexpr simd::IsaBuilds<MixedRadixFn> kMixedRadix{mixed_radix_build<false>, mixed_radix_build<true>};

}  // namespace

void mixed_radix_transform(float* data, float* tmp, std::size_t n, const float* table, Isa isa) {
    kMixedRadix(isa)(data, tmp, n, table);
}

void fft_general(std::vector<float>& data, int n, const std::vector<float>& table) {
    std::vector<float> tmp;
    fft_general(data, n, table, tmp);
}

void fft_general(std::vector<float>& data, int n, const std::vector<float>& table, std::vector<float>& tmp) {
    const std::size_t len = static_cast<std::size_t>(n);
    ensure_size(tmp, len);
    mixed_radix_transform(data.data(), tmp.data(), len, table.data());
}

void dft_sub(std::vector<float>& data, int n, int block_n, const std::vector<float>& table) {
    std::vector<float> scratch;
    dft_sub(data, n, block_n, table, scratch);
}

void dft_sub(std::vector<float>& data, int n, int block_n, const std::vector<float>& table,
             std::vector<float>& scratch) {
    const std::size_t len = static_cast<std::size_t>(n);
    ensure_size(scratch, len);
    combine_blocks<true>(data.data(), scratch.data(), len, len / static_cast<std::size_t>(block_n), 1, table.data());
    std::memcpy(data.data(), scratch.data(), 2 * len * sizeof(float));
}

}  // namespace vorel::audio
