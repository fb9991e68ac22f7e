// The mixed-radix transform for lengths that are not powers of two: decimation in time by
// the factors found on the way, direct DFTs on the leaf blocks, then one combine step per
// factor from the last to the first. All lengths read the one table of length n.
//
// Exponents are kept reduced modulo the block length by adding and subtracting, which gives
// the exact residue for every length, also where a 32-bit product would wrap.
#include <array>
#include <cstring>

#include "transform/fft_kernels.h"

namespace vorel::audio {

namespace {

// acc += x * w, the product rounded part by part before it is added.
inline void multiply_add(float& acc_re, float& acc_im, const float* x, const float* w) {
    const float re = x[0] * w[0] - x[1] * w[1];
    const float im = x[0] * w[1] + x[1] * w[0];
    acc_re = acc_re + re;
    acc_im = acc_im + im;
}

inline void copy_complex(float* to, const float* from) { std::memcpy(to, from, 2 * sizeof(float)); }

// A divisor q of rem tried in the order 2 (even rem) or 3, 5, 7, ... (odd rem), or 0 when
// none lies at or below the square root.
std::size_t find_factor(std::size_t rem) {
    std::size_t q = rem % 2 == 0 ? 2 : 3;
    if (q * q > rem) return 0;
    while (rem % q != 0) {
        q += 2;
        if (q * q > rem) return 0;
    }
    return q;
}

// Within each block of rem elements, element r + q * s moves to r * m + s (m = rem / q).
void decimate(float* data, float* tmp, std::size_t n, std::size_t rem, std::size_t q) {
    const std::size_t m = rem / q;
    for (std::size_t base = 0; base < n; base += rem)
        for (std::size_t r = 0; r < q; ++r)
            for (std::size_t s = 0; s < m; ++s) copy_complex(tmp + 2 * (base + r * m + s), data + 2 * (base + r + q * s));
    std::memcpy(data, tmp, 2 * n * sizeof(float));
}

// Blocks of q * len elements, each made of q transformed sub-blocks of len elements, become
// transforms of q * len elements; c = n / (q * len) is the table stride of this size.
void combine(float* data, float* tmp, std::size_t n, std::size_t q, std::size_t len, const float* table) {
    const std::size_t size = q * len;
    const std::size_t c = n / size;
    for (std::size_t base = 0; base < n; base += size) {
        const float* in = data + 2 * base;
        for (std::size_t r = 0; r < q; ++r) {
            for (std::size_t s = 0; s < len; ++s) {
                const std::size_t x = r * len + s;
                float re = 0.0f, im = 0.0f;
                std::size_t e = 0;  // t * x mod size
                for (std::size_t t = 0; t < q; ++t) {
                    multiply_add(re, im, in + 2 * (t * len + s), table + 2 * c * e);
                    e += x;
                    if (e >= size) e -= size;
                }
                tmp[2 * (base + x)] = re;
                tmp[2 * (base + x) + 1] = im;
            }
        }
    }
    std::memcpy(data, tmp, 2 * n * sizeof(float));
}

void direct_blocks(float* data, float* scratch, std::size_t n, std::size_t block_n, const float* table) {
    const std::size_t len = n / block_n;
    for (std::size_t base = 0; base < n; base += len) {
        const float* in = data + 2 * base;
        for (std::size_t k = 0; k < len; ++k) {
            float re = 0.0f, im = 0.0f;
            std::size_t e = 0;  // m * k mod len
            for (std::size_t m = 0; m < len; ++m) {
                multiply_add(re, im, in + 2 * m, table + 2 * block_n * e);
                e += k;
                if (e >= len) e -= len;
            }
            scratch[2 * (base + k)] = re;
            scratch[2 * (base + k) + 1] = im;
        }
    }
    std::memcpy(data, scratch, 2 * n * sizeof(float));
}

void ensure_size(std::vector<float>& buffer, std::size_t n) {
    if (buffer.size() < 2 * n) buffer.resize(2 * n);
}

}  // namespace

void fft_general(std::vector<float>& data, int n, const std::vector<float>& table) {
    std::vector<float> tmp;
    fft_general(data, n, table, tmp);
}

void fft_general(std::vector<float>& data, int n, const std::vector<float>& table, std::vector<float>& tmp) {
    const std::size_t len = static_cast<std::size_t>(n);
    ensure_size(tmp, len);
    std::array<std::size_t, 64> factors;  // at most log2(n) of them
    std::size_t factor_n = 0;
    std::size_t rem = len, blocks = 1;
    while (const std::size_t q = find_factor(rem)) {
        decimate(data.data(), tmp.data(), len, rem, q);
        factors[factor_n++] = q;
        blocks *= q;
        rem = len / blocks;
    }
    direct_blocks(data.data(), tmp.data(), len, blocks, table.data());
    while (factor_n > 0) {
        const std::size_t q = factors[--factor_n];
        combine(data.data(), tmp.data(), len, q, len / blocks, table.data());
        blocks /= q;
    }
}

void dft_sub(std::vector<float>& data, int n, int block_n, const std::vector<float>& table) {
    std::vector<float> scratch;
    dft_sub(data, n, block_n, table, scratch);
}

void dft_sub(std::vector<float>& data, int n, int block_n, const std::vector<float>& table,
             std::vector<float>& scratch) {
    ensure_size(scratch, static_cast<std::size_t>(n));
    direct_blocks(data.data(), scratch.data(), static_cast<std::size_t>(n), static_cast<std::size_t>(block_n),
                  table.data());
}

}  // namespace vorel::audio
