// The mixed-radix transform for lengths that are not powers of two: decimation in time by
// the factors of n (smallest first, found by trial division), done as one reordering; direct
// DFTs on the leaf blocks; then one combine step per factor from the last to the first.
// All lengths read the one table of length n.
//
// Blocks of equal size read the same twiddles, so once there are four or more of them they
// run four at a time, one per vector lane, each lane doing the scalar operations.
//
// Exponents are kept reduced modulo the block length by adding and subtracting, which gives
// the exact residue for every length, also where a 32-bit product would wrap.
#include <array>
#include <cstring>
#include <utility>

#include "common/float4.h"
#include "transform/complex_ops.h"
#include "transform/fft_kernels.h"
#include "transform/mixed_radix.h"

namespace vorel::audio {

namespace {

inline void copy_complex(float* to, const float* from) { std::memcpy(to, from, 2 * sizeof(float)); }

// One block at a time.
struct OneBlock {
    using V = float;
    static V splat(float w) { return w; }
    static void load(const float* p, std::size_t, V& re, V& im) { re = p[0], im = p[1]; }
    static void store(float* p, std::size_t, V re, V im) { p[0] = re, p[1] = im; }
};

// Four blocks `stride` complex elements apart, one per lane: they read the same twiddles.
struct FourBlocks {
    using V = float4;
    static V splat(float w) { return V{w, w, w, w}; }
    static void load(const float* p, std::size_t stride, V& re, V& im) {
        const float* p1 = p + 2 * stride;
        const float* p2 = p1 + 2 * stride;
        const float* p3 = p2 + 2 * stride;
        const float4 lo{p[0], p[1], p1[0], p1[1]}, hi{p2[0], p2[1], p3[0], p3[1]};
        re = __builtin_shufflevector(lo, hi, 0, 2, 4, 6);
        im = __builtin_shufflevector(lo, hi, 1, 3, 5, 7);
    }
    static void store(float* p, std::size_t stride, V re, V im) {
        for (int l = 0; l < 4; ++l, p += 2 * stride) p[0] = re[l], p[1] = im[l];
    }
};

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

// Output x = r * len + s of a block of size = q * len elements is the sum over t, in order
// and from 0, of input t * len + s times table entry c * (t * x mod size).
template <class Lanes>
void combine_blocks(const float* in, float* out, std::size_t q, std::size_t len, std::size_t c, const float* table) {
    using V = typename Lanes::V;
    const std::size_t size = q * len;
    for (std::size_t r = 0; r < q; ++r) {
        for (std::size_t s = 0; s < len; ++s) {
            const std::size_t x = r * len + s;
            V re{}, im{};
            std::size_t e = 0;  // t * x mod size
            for (std::size_t t = 0; t < q; ++t) {
                V x_re, x_im;
                Lanes::load(in + 2 * (t * len + s), size, x_re, x_im);
                const float* w = table + 2 * c * e;
                multiply_add(re, im, x_re, x_im, Lanes::splat(w[0]), Lanes::splat(w[1]));
                e += x;
                if (e >= size) e -= size;
            }
            Lanes::store(out + 2 * x, size, re, im);
        }
    }
}

// Blocks of q * len elements, each made of q transformed sub-blocks of len elements, become
// transforms of q * len elements; c = n / (q * len) is the table stride of this size. With
// len = 1 this is the direct DFT of blocks of q elements.
void combine(const float* in, float* out, std::size_t n, std::size_t q, std::size_t len, const float* table) {
    const std::size_t size = q * len;
    const std::size_t c = n / size;
    std::size_t b = 0;
    for (; b + 4 <= c; b += 4) combine_blocks<FourBlocks>(in + 2 * b * size, out + 2 * b * size, q, len, c, table);
    for (; b < c; ++b) combine_blocks<OneBlock>(in + 2 * b * size, out + 2 * b * size, q, len, c, table);
}

void ensure_size(std::vector<float>& buffer, std::size_t n) {
    if (buffer.size() < 2 * n) buffer.resize(2 * n);
}

}  // namespace

void fft_general(std::vector<float>& data, int n, const std::vector<float>& table) {
    std::vector<float> tmp;
    fft_general(data, n, table, tmp);
}

std::size_t mixed_radix_factors(std::size_t n, FactorList& factors) {
    std::size_t factor_n = 0, rem = n, blocks = 1;
    while (const std::size_t q = find_factor(rem)) {
        factors[factor_n++] = q;
        blocks *= q;
        rem = n / blocks;
    }
    return factor_n;
}

void fft_general(std::vector<float>& data, int n, const std::vector<float>& table, std::vector<float>& tmp) {
    const std::size_t len = static_cast<std::size_t>(n);
    ensure_size(tmp, len);
    FactorList factors;
    std::size_t factor_n = mixed_radix_factors(len, factors);
    std::size_t blocks = 1;
    for (std::size_t j = 0; j < factor_n; ++j) blocks *= factors[j];
    // Each step reads one buffer and writes the other: only moves and the stated sums.
    float* cur = data.data();
    float* spare = tmp.data();
    if (factor_n > 0) {
        for_each_decimated(len, factors, factor_n,
                           [&](std::size_t to, std::size_t from) { copy_complex(spare + 2 * to, cur + 2 * from); });
        std::swap(cur, spare);
    }
    combine(cur, spare, len, len / blocks, 1, table.data());
    std::swap(cur, spare);
    while (factor_n > 0) {
        const std::size_t q = factors[--factor_n];
        combine(cur, spare, len, q, len / blocks, table.data());
        std::swap(cur, spare);
        blocks /= q;
    }
    if (cur != data.data()) std::memcpy(data.data(), cur, 2 * len * sizeof(float));
}

void dft_sub(std::vector<float>& data, int n, int block_n, const std::vector<float>& table) {
    std::vector<float> scratch;
    dft_sub(data, n, block_n, table, scratch);
}

void dft_sub(std::vector<float>& data, int n, int block_n, const std::vector<float>& table,
             std::vector<float>& scratch) {
    const std::size_t len = static_cast<std::size_t>(n);
    ensure_size(scratch, len);
    combine(data.data(), scratch.data(), len, len / static_cast<std::size_t>(block_n), 1, table.data());
    std::memcpy(data.data(), scratch.data(), 2 * len * sizeof(float));
}

}  // namespace vorel::audio
