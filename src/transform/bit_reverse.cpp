// The bit-reversal permutation that ends the radix-4 transform. Only elements move, so any
// order of moves gives the same bits; the blocked form below reads and writes runs of four
// neighbouring complex elements instead of single scattered ones.
#include <bit>
#include <cstdint>
#include <cstring>

#include "transform/fft_kernels.h"

namespace vorel::audio {

namespace {

// Two complex elements as raw 64-bit lanes: moved, never computed on.
typedef unsigned long long complex_pair __attribute__((vector_size(16)));

inline std::uint32_t reverse_bits(std::uint32_t x) {
    x = ((x >> 1) & 0x55555555u) | ((x & 0x55555555u) << 1);
    x = ((x >> 2) & 0x33333333u) | ((x & 0x33333333u) << 2);
    x = ((x >> 4) & 0x0F0F0F0Fu) | ((x & 0x0F0F0F0Fu) << 4);
    return __builtin_bswap32(x);
}

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

// The 4 x 4 elements r * row + 4 * mid + c, r and c below 4, as rows of two pairs.
struct Block {
    complex_pair v[4][2];
};

void load_block(const float* data, std::size_t row, std::size_t mid, Block& b) {
    for (std::size_t r = 0; r < 4; ++r) std::memcpy(b.v[r], data + 2 * (r * row + 4 * mid), sizeof b.v[r]);
}

// Element (r, c) of b lands at (rev(c), rev(r)) with rev of two bits: 0, 2, 1, 3.
void store_reversed(float* data, std::size_t row, std::size_t mid, const Block& b) {
    complex_pair out[4][2];
    for (std::size_t h = 0; h < 2; ++h) {
        out[h][0] = __builtin_shufflevector(b.v[0][h], b.v[2][h], 0, 2);
        out[h][1] = __builtin_shufflevector(b.v[1][h], b.v[3][h], 0, 2);
        out[2 + h][0] = __builtin_shufflevector(b.v[0][h], b.v[2][h], 1, 3);
        out[2 + h][1] = __builtin_shufflevector(b.v[1][h], b.v[3][h], 1, 3);
    }
    for (std::size_t r = 0; r < 4; ++r) std::memcpy(data + 2 * (r * row + 4 * mid), out[r], sizeof out[r]);
}

}  // namespace

void bit_reverse(float* data, std::size_t n) {
    if (n < 16) {
        bit_reverse_short(data, n);
        return;
    }
    // Index hi * n/4 + mid * 4 + lo (hi, lo of two bits) reverses to
    // rev(lo) * n/4 + rev(mid) * 4 + rev(hi): block mid goes, transposed, to block rev(mid).
    const std::size_t row = n / 4;
    const int mid_shift = 32 - (std::countr_zero(n) - 4);
    for (std::uint32_t mid = 0; mid < row / 4; ++mid) {
        const auto mid_r = static_cast<std::uint32_t>(std::uint64_t{reverse_bits(mid)} >> mid_shift);
        if (mid_r < mid) continue;
        Block a, b;
        load_block(data, row, mid, a);
        load_block(data, row, mid_r, b);
        store_reversed(data, row, mid_r, a);
        store_reversed(data, row, mid, b);
    }
}

}  // namespace vorel::audio
