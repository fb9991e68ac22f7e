// The bit-reversal permutation that ends the radix-4 transform. Only elements move, so any
// order of moves gives the same bits; the blocked form below reads and writes runs of four
// neighbouring complex elements instead of single scattered ones.
#include <bit>
#include <cstdint>
#include <cstring>

#include "common/float4.h"
#include "transform/fft_kernels.h"

namespace vorel::audio {

namespace {

// Two complex elements as raw 64-bit lanes: moved, never computed on.
typedef unsigned long long complex_pair __attribute__((vector_size(16)));

// The swap loop itself, for lengths below 16.
void bit_reverse_short(float* data, std::size_t n) {
    std::size_t j = 0;
    for (std::size_t i = 1; i + 1 < n; ++i) {
        std::size_t k = n;
        do {
            k >>= 1;
            j ^= k;
        } while (k > j);
        if (i < j) {
            float a[2];
            std::memcpy(a, data + 2 * i, sizeof a);
            std::memcpy(data + 2 * i, data + 2 * j, sizeof a);
            std::memcpy(data + 2 * j, a, sizeof a);
        }
    }
}

inline complex_pair load_pair(const float* p) {
    complex_pair v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

inline void store_pair(float* p, complex_pair v) { std::memcpy(p, &v, sizeof v); }

// The 4 x 4 elements r * row + c (r, c below 4) at `from`, each row two pairs of neighbours,
// rearranged so that element (r, c) sits at (rev(c), rev(r)), rev of two bits: 0, 2, 1, 3.
inline void transpose_reversed(const float* from, std::size_t row_floats, complex_pair (&out)[4][2]) {
    for (std::size_t h = 0; h < 2; ++h) {
        const complex_pair r0 = load_pair(from + 4 * h), r1 = load_pair(from + row_floats + 4 * h);
        const complex_pair r2 = load_pair(from + 2 * row_floats + 4 * h), r3 = load_pair(from + 3 * row_floats + 4 * h);
        out[h][0] = __builtin_shufflevector(r0, r2, 0, 2);
        out[h][1] = __builtin_shufflevector(r1, r3, 0, 2);
        out[2 + h][0] = __builtin_shufflevector(r0, r2, 1, 3);
        out[2 + h][1] = __builtin_shufflevector(r1, r3, 1, 3);
    }
}

inline void store_rows(float* to, std::size_t row_floats, const complex_pair (&rows)[4][2]) {
    for (std::size_t r = 0; r < 4; ++r) {
        store_pair(to + r * row_floats, rows[r][0]);
        store_pair(to + r * row_floats + 4, rows[r][1]);
    }
}

// Index hi * n/4 + mid * 4 + lo (hi, lo of two bits) reverses to
// rev(lo) * n/4 + rev(mid) * 4 + rev(hi): block mid goes, transposed, to block rev(mid).
// Calls move(mid, rev(mid)) once per pair of blocks, with mid <= rev(mid).
template <class Move>
void for_each_block_pair(std::size_t n, Move&& move) {
    const int mid_shift = 32 - (std::countr_zero(n) - 4);
    for (std::uint32_t mid = 0; mid < n / 16; ++mid) {
        const auto mid_r = static_cast<std::uint32_t>(std::uint64_t{reverse_bits(mid)} >> mid_shift);
        if (mid_r >= mid) move(mid, mid_r);
    }
}

// A block whose rows are split groups, rearranged like transpose_reversed and interleaved;
// with Divide every float is divided by `length` on the way (the scaling of the inverse,
// which acts on each element where it stands, so it may run while the elements move).
template <bool Divide>
inline void transpose_reversed_split(const float* from, std::size_t row_floats, complex_pair (&out)[4][2],
                                     float length) {
    // Rows taken in the order 0, 2, 1, 3 make column c of the transpose the output row rev(c).
    float4 re0 = load4(from), re2 = load4(from + row_floats), re1 = load4(from + 2 * row_floats),
           re3 = load4(from + 3 * row_floats);
    float4 im0 = load4(from + 4), im2 = load4(from + row_floats + 4), im1 = load4(from + 2 * row_floats + 4),
           im3 = load4(from + 3 * row_floats + 4);
    transpose4(re0, re1, re2, re3);
    transpose4(im0, im1, im2, im3);
    const float4 re[4] = {re0, re2, re1, re3}, im[4] = {im0, im2, im1, im3};
    for (std::size_t r = 0; r < 4; ++r) {
        float4 lo = __builtin_shufflevector(re[r], im[r], 0, 4, 1, 5);
        float4 hi = __builtin_shufflevector(re[r], im[r], 2, 6, 3, 7);
        if constexpr (Divide) {
            const float4 len{length, length, length, length};
            lo = lo / len;
            hi = hi / len;
        }
        std::memcpy(&out[r][0], &lo, sizeof lo);
        std::memcpy(&out[r][1], &hi, sizeof hi);
    }
}

// Exchanges each pair of blocks of `from` into `to` (which may be `from`), rearranged by
// `transpose`, which reads one block and gives its four interleaved output rows. Both blocks
// are read before either is written.
template <class Transpose>
void reverse_blocks(const float* from, float* to, std::size_t n, Transpose transpose) {
    const std::size_t row_floats = n / 2;
    for_each_block_pair(n, [&](std::size_t mid, std::size_t mid_r) {
        complex_pair to_y[4][2], to_x[4][2];
        transpose(from + 8 * mid, row_floats, to_y);
        if (mid_r != mid) transpose(from + 8 * mid_r, row_floats, to_x);
        store_rows(to + 8 * mid_r, row_floats, to_y);
        if (mid_r != mid) store_rows(to + 8 * mid, row_floats, to_x);
    });
}

}  // namespace

void bit_reverse(float* data, std::size_t n) {
    if (n < 16)
        bit_reverse_short(data, n);
    else
        reverse_blocks(data, data, n, [](const float* from, std::size_t row_floats, complex_pair(&out)[4][2]) {
            transpose_reversed(from, row_floats, out);
        });
}

void bit_reverse_split(const float* from, float* to, std::size_t n, bool divide) {
    const float length = static_cast<float>(n);
    if (divide)
        reverse_blocks(from, to, n, [length](const float* p, std::size_t row_floats, complex_pair(&out)[4][2]) {
            transpose_reversed_split<true>(p, row_floats, out, length);
        });
    else
        reverse_blocks(from, to, n, [length](const float* p, std::size_t row_floats, complex_pair(&out)[4][2]) {
            transpose_reversed_split<false>(p, row_floats, out, length);
        });
}

}  // namespace vorel::audio
