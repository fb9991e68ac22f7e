// Lane rearrangements of the vector kernels, generated from their index rule instead of
// written out as index lists: lane i of a result takes lane index(i, W) of the concatenation
// of the two operands (W lanes each). Only elements move, so no rearrangement changes a bit.
#pragma once

#include <cstddef>
#include <utility>

#include "simd/vec.h"

namespace vorel::audio::simd::lanes {

template <auto Index, class V, std::size_t... I>
VOREL_INLINE V shuffle_of(V a, V b, std::index_sequence<I...>) {
    return __builtin_shufflevector(a, b, static_cast<int>(Index(I, kLanes<V>))...);
}

// Lane i of the result is lane Index(i, W) of a ++ b.
template <auto Index, class V>
VOREL_INLINE V shuffle(V a, V b) {
    return shuffle_of<Index>(a, b, std::make_index_sequence<kLanes<V>>{});
}

// Within each block of Block lanes, units of Unit lanes taken alternately from a and b, from
// the low half of the block (Hi = 0) or the high half (Hi = 1): the unpack of the x86 vector
// sets, for any block and unit size.
template <std::size_t Block, std::size_t Unit, std::size_t Hi>
constexpr auto kUnpack = [](std::size_t i, std::size_t w) {
    const std::size_t block = i / Block, unit = (i % Block) / Unit;
    return (unit % 2) * w + block * Block + (Hi * Block / 2) + (unit / 2) * Unit + i % Unit;
};

template <std::size_t Block, std::size_t Unit, std::size_t Hi, class V>
VOREL_INLINE V unpack(V a, V b) {
    return shuffle<kUnpack<Block, Unit, Hi>>(a, b);
}

// Transposes the 4 x 4 matrix of Unit-lane cells that the four vectors form within each block
// of 4 Unit lanes: Unit 1 is the transpose of four floats in every 128-bit block.
template <std::size_t Unit, class V>
VOREL_INLINE void transpose4(V& a, V& b, V& c, V& d) {
    constexpr std::size_t kBlock = 4 * Unit;
    const V ab_lo = unpack<kBlock, Unit, 0>(a, b), ab_hi = unpack<kBlock, Unit, 1>(a, b);
    const V cd_lo = unpack<kBlock, Unit, 0>(c, d), cd_hi = unpack<kBlock, Unit, 1>(c, d);
    a = unpack<kBlock, 2 * Unit, 0>(ab_lo, cd_lo);
    b = unpack<kBlock, 2 * Unit, 1>(ab_lo, cd_lo);
    c = unpack<kBlock, 2 * Unit, 0>(ab_hi, cd_hi);
    d = unpack<kBlock, 2 * Unit, 1>(ab_hi, cd_hi);
}

// Every second lane of a ++ b from lane Im: the real (0) or imaginary (1) parts of
// interleaved complex elements.
template <std::size_t Im>
constexpr auto kEvery2nd = [](std::size_t i, std::size_t) { return 2 * i + Im; };

}  // namespace vorel::audio::simd::lanes

namespace vorel::audio {
namespace lanes = simd::lanes;
}  // namespace vorel::audio
