// Lane masks as bits: the one operation on comparison results that generic vector code cannot
// express in a single instruction.
#pragma once

#include "simd/vec.h"

namespace vorel::audio::simd {

// Bit i set when lane i of m (a comparison result: all ones or all zeros) is set.
VOREL_INLINE int lane_bits(int4 m) { return __builtin_ia32_movmskps(reinterpret_cast<float4>(m)); }

}  // namespace vorel::audio::simd
