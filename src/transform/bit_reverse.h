// The bit-reversal permutation that ends the radix-4 transform, and the index rule it follows.
// Only elements move, so any order of moves gives the same bits.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace vorel::audio {

// The low `bits` bits of k (below 2^bits, bits <= 32) in reverse order: the 32 bits reversed
// by swapping ever larger fields, then shifted down.
inline std::uint32_t reversed_index(std::uint32_t k, int bits) {
    k = ((k >> 1) & 0x55555555u) | ((k & 0x55555555u) << 1);
    k = ((k >> 2) & 0x33333333u) | ((k & 0x33333333u) << 2);
    k = ((k >> 4) & 0x0F0F0F0Fu) | ((k & 0x0F0F0F0Fu) << 4);
    return bits == 0 ? 0 : static_cast<std::uint32_t>(std::uint64_t{__builtin_bswap32(k)} >> (32 - bits));
}

// Swaps complex elements k and reversed k of an interleaved buffer, n a power of two.
void bit_reverse(float* data, std::size_t n);

}  // namespace vorel::audio
