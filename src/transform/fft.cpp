// The transform core: the plain path is the schedule of schedules.h at width 1 on the
// interleaved buffer; powers of two from 16 on go to the split-layout builds (pow2_kernels.h)
// unless the scalar level is asked for.
#include "transform/fft.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

#include "transform/pow2_kernels.h"
#include "transform/schedules.h"

namespace vorel::audio {

bool is_pow2(int n) { return n > 0 && (n & (n - 1)) == 0; }

void fft_pre_process(std::vector<float>& data, const float* src, int n) {
    for (std::size_t k = 0; k < static_cast<std::size_t>(n > 0 ? n : 0); ++k) {
        data[2 * k] = src[k];
        data[2 * k + 1] = 0.0f;
    }
}

namespace {

// 2 n floats at least; a working set declares them whole, so a run of frames allocates nothing.
std::vector<float>& sized(std::vector<float>* buffer, std::vector<float>& own, std::size_t n) {
    std::vector<float>& b = buffer != nullptr ? *buffer : own;
    if (b.size() < 2 * n) b.resize(2 * n);
    return b;
}

void transform(std::vector<float>& data, int n, const std::vector<float>& table, std::vector<float>* scratch,
               bool inverse) {
    const std::size_t len = static_cast<std::size_t>(n);
    std::vector<float> own;
    std::vector<float>& tmp = sized(scratch, own, len);
    if (is_pow2(n))
        return pow2_transform_to(data.data(), data.data(), Pow2Input::interleaved, len, table, inverse,
                                 simd::best_isa(), tmp.data());
    fft_general(data, n, table, &tmp);
    if (inverse) divide_by_length(data.data(), len);
}

}  // namespace

void fft(std::vector<float>& data, int n, const std::vector<float>& table) {
    transform(data, n, table, nullptr, false);
}

void ifft(std::vector<float>& data, int n, const std::vector<float>& table) {
    transform(data, n, table, nullptr, true);
}

void fft_pow2(std::vector<float>& data, int n, const std::vector<float>& table) { fft(data, n, table); }

void ifft_pow2(std::vector<float>& data, int n, const std::vector<float>& table) { ifft(data, n, table); }

void fft(std::vector<float>& data, int n, const std::vector<float>& table, std::vector<float>& scratch) {
    transform(data, n, table, &scratch, false);
}

void ifft(std::vector<float>& data, int n, const std::vector<float>& table, std::vector<float>& scratch) {
    transform(data, n, table, &scratch, true);
}

std::size_t fft_work_bytes(int n) {
    const std::size_t len = static_cast<std::size_t>(n > 0 ? n : 0);
    const std::size_t floats = is_pow2(n) ? 5 * len : 4 * len;
    return floats * sizeof(float);
}

void divide_by_length(float* data, std::size_t n) { divide_by_length<float>(data, kInterleaved, n); }

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

void bit_reverse(float* data, std::size_t n) {
    const int bits = std::countr_zero(n);
    for (std::size_t k = 1; k + 1 < n; ++k) {
        const std::size_t j = reversed_index(static_cast<std::uint32_t>(k), bits);
        if (k < j) std::swap_ranges(data + 2 * k, data + 2 * k + 2, data + 2 * j);
    }
}

void fft_general(std::vector<float>& data, int n, const std::vector<float>& table, std::vector<float>* scratch) {
    const std::size_t len = static_cast<std::size_t>(n);
    std::vector<float> own;
    float *d = data.data(), *tmp = sized(scratch, own, len).data(), *cur = d;
    FactorList factors;
    const std::size_t factor_n = mixed_radix_factors(len, factors);
    if (factor_n > 0) {
        for_each_decimated(len, factors, factor_n,
                           [&](std::size_t to, std::size_t from) { std::memcpy(tmp + 2 * to, d + 2 * from, 8); });
        cur = tmp;
    }
    const float* result = mixed_radix_steps<float>(cur, cur == d ? tmp : d, kInterleaved, len, table.data(), false,
                                                   false, len);
    if (result != d) std::memcpy(d, result, 2 * len * sizeof(float));
}

void dft_sub(std::vector<float>& data, int n, int block_n, const std::vector<float>& table) {
    const std::size_t len = static_cast<std::size_t>(n);
    std::vector<float> scratch(2 * len);
    mixed_radix_step<float, 0, false>(data.data(), scratch.data(), kInterleaved, len,
                                      len / static_cast<std::size_t>(block_n), 1, table.data(), len, false);
    std::memcpy(data.data(), scratch.data(), 2 * len * sizeof(float));
}

}  // namespace vorel::audio
