// The lane vocabulary of the libm replicas: a replica is written once over V (float, float4,
// float8 or float16) and works internally on W-lane vectors of float, double, int32 and int64,
// W = 1 being a one-lane vector so that comparisons, selects and conversions read the same at
// every width. Lanes a replica cannot follow operation for operation (zeros, infinities, NaN,
// rare branches) are marked special and answered by the scalar function itself.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "simd/vec.h"

namespace vorel::audio::simd::math {

// A replica names the types it uses as defaulted template parameters after V: class T =
// LaneTypes<kLanes<V>>, class F = typename T::F, and so on.
template <std::size_t W>
struct LaneTypes {
    typedef float F __attribute__((vector_size(4 * W)));
    typedef double D __attribute__((vector_size(8 * W)));
    typedef std::int32_t I __attribute__((vector_size(4 * W)));
    typedef std::uint32_t U __attribute__((vector_size(4 * W)));
    typedef std::int64_t L __attribute__((vector_size(8 * W)));
    typedef std::uint64_t UL __attribute__((vector_size(8 * W)));
};

// A float value of V as W lanes and back.
template <class V>
VOREL_INLINE typename LaneTypes<kLanes<V>>::F to_lanes(V v) {
    return std::bit_cast<typename LaneTypes<kLanes<V>>::F>(v);
}
template <class V>
VOREL_INLINE V from_lanes(typename LaneTypes<kLanes<V>>::F f) {
    return std::bit_cast<V>(f);
}

template <class To, class From>
VOREL_INLINE To bits(From v) {
    return std::bit_cast<To>(v);
}

template <class To, class From>
VOREL_INLINE To convert(From v) {
    return __builtin_convertvector(v, To);
}

// mask (all ones or zero per lane) ? a : b, for masks of the width of a's lanes. Written as
// a bitwise blend: GCC splits a vector ?: on float lanes into per-lane branches.
template <class M, class T>
VOREL_INLINE T select(M mask, T a, T b) {
    return std::bit_cast<T>((std::bit_cast<M>(a) & mask) | (std::bit_cast<M>(b) & ~mask));
}

// a < b per lane as a mask, from the sign of a - b: for int32 lanes whose difference cannot
// overflow. GCC splits and/or combinations of vector comparisons into per-lane code at 16
// lanes; shifts stay in vectors.
template <class A, class B>
VOREL_INLINE auto less(A a, B b) {
    return (a - b) >> 31;
}

// Bit l set when lane l of a mask of int32 lanes (all ones or zero per lane) is set: one
// instruction at 4, 8 and 16 lanes, so a loop can keep the mask of every vector and answer the
// rare set lanes after it, without a branch per vector.
template <class M>
VOREL_INLINE unsigned lane_bits(M mask) {
    constexpr std::size_t w = sizeof(M) / sizeof(mask[0]);
    static_assert(sizeof(mask[0]) == 4);
    if constexpr (w == 4) {
        return static_cast<unsigned>(__builtin_ia32_movmskps(std::bit_cast<typename LaneTypes<4>::F>(mask)));
    } else
#if !defined(__clang__)
        if constexpr (w == 16) {
        return __builtin_ia32_cvtd2mask512(mask);
    } else if constexpr (w == 8) {
        return static_cast<unsigned>(__builtin_ia32_movmskps256(std::bit_cast<typename LaneTypes<8>::F>(mask)));
    } else
#endif
    {
        unsigned b = 0;
        for (std::size_t l = 0; l < w; ++l) b |= (static_cast<unsigned>(mask[l]) & 1u) << l;
        return b;
    }
}

// f(k, l) for every set bit l of masks[k], k < m, in ascending order, from a build of W lanes.
// Set bits are rare, and a test and a branch per mask would miss on every one of them: the masks
// are tested W at a time into one word per 64 masks, whose set bits are then visited. masks
// needs room for m rounded up to a multiple of 64 (that rest is cleared here).
template <std::size_t W, class F>
VOREL_INLINE void for_each_lane_bit(std::uint32_t* masks, std::size_t m, F&& f) {
    static_assert(64 % W == 0);
    std::fill(masks + m, masks + (m + 63) / 64 * 64, 0u);
    for (std::size_t k0 = 0; k0 < m; k0 += 64) {
        std::uint64_t marked = 0;
        for (std::size_t g = 0; g < 64; g += W) {
            typename LaneTypes<W>::U group;
            __builtin_memcpy(&group, masks + k0 + g, sizeof group);
            marked |= std::uint64_t{lane_bits(group != 0u)} << g;
        }
        for (; marked != 0; marked &= marked - 1) {
            const std::size_t k = k0 + static_cast<std::size_t>(__builtin_ctzll(marked));
            for (std::uint32_t b = masks[k]; b != 0; b &= b - 1) f(k, static_cast<std::size_t>(__builtin_ctz(b)));
        }
    }
}

// The whole vectors of n elements in blocks of at most kBlock vectors: body(i, bits) runs the W
// elements from i and sets bits[j] to the lane bits of those it leaves for answer j, and after a
// block in which any bit is set, after(first, masks, m) answers them from masks[j][k], the bits of
// the block's vector k (k < m) whose first element is first + W * k. No call in the loop body (its
// constants stay in registers) and no branch per vector. Returns the index after the last whole
// vector; the rest is the caller's.
template <std::size_t W, std::size_t kBlock, std::size_t kAnswers = 1, class Body, class After>
VOREL_INLINE std::size_t blocks_of_lanes_then(std::size_t n, Body&& body, After&& after) {
    static_assert(kBlock % 64 == 0);
    std::uint32_t masks[kAnswers][kBlock];
    const std::size_t vectors = n / W;
    for (std::size_t v0 = 0; v0 < vectors; v0 += kBlock) {
        const std::size_t m = std::min(kBlock, vectors - v0);
        std::uint32_t marked = 0;
        for (std::size_t k = 0; k < m; ++k) {
            std::uint32_t bits[kAnswers];
            body(W * (v0 + k), bits);
            for (std::size_t j = 0; j < kAnswers; ++j) {
                masks[j][k] = bits[j];
                marked |= bits[j];
            }
        }
        if (marked != 0) after(W * v0, masks, m);
    }
    return W * vectors;
}

// The same with one answer per element: body(i) returns the lane bits of the elements it leaves,
// and fix(i) answers each of them, in ascending order.
template <std::size_t W, class Body, class Fix>
VOREL_INLINE std::size_t blocks_of_lanes(std::size_t n, Body&& body, Fix&& fix) {
    constexpr std::size_t kBlock = 256;
    return blocks_of_lanes_then<W, kBlock>(
        n, [&](std::size_t i, std::uint32_t* bits) VOREL_INLINE_LAMBDA { bits[0] = body(i); },
        [&](std::size_t first, std::uint32_t(*masks)[kBlock], std::size_t m) VOREL_INLINE_LAMBDA {
            for_each_lane_bit<W>(masks[0], m, [&](std::size_t k, std::size_t l) { fix(first + W * k + l); });
        });
}

// table[index[l]] per lane; the index is in range by construction in every lane.
template <class R, class T, class Idx>
VOREL_INLINE R gather(const T* table, Idx index) {
    R r;
    for (std::size_t i = 0; i < sizeof(R) / sizeof(r[0]); ++i) r[i] = table[index[i]];
    return r;
}

// table[index[l]] per lane from a table of 16 eight-byte entries. At 16 lanes the table is two
// vectors of 8 and each half of the lanes picks from both with one two-source shuffle (one
// permute instruction on AVX-512); other widths, and clang (no two-source shuffle with run-time
// indices), load lane by lane.
template <class R, class T, class Idx>
VOREL_INLINE R lookup16(const T* table, Idx index) {
    static_assert(sizeof(T) == 8);
#if !defined(__clang__)
    if constexpr (sizeof(Idx) / sizeof(index[0]) == 16) {
        using R8 = std::conditional_t<std::is_floating_point_v<T>, typename LaneTypes<8>::D, typename LaneTypes<8>::UL>;
        using L8 = typename LaneTypes<8>::L;
        using I8 = typename LaneTypes<8>::I;
        R8 lo, hi;
        __builtin_memcpy(&lo, table, sizeof lo);
        __builtin_memcpy(&hi, table + 8, sizeof hi);
        const I8 first = __builtin_shufflevector(index, index, 0, 1, 2, 3, 4, 5, 6, 7);
        const I8 second = __builtin_shufflevector(index, index, 8, 9, 10, 11, 12, 13, 14, 15);
        // The widening as one instruction per half: GCC assembles a generic conversion from
        // quarter-width pieces.
        typedef long long LL8 __attribute__((vector_size(64)));
        const L8 first_wide = std::bit_cast<L8>(__builtin_ia32_pmovsxdq512_mask(first, LL8{}, 0xff));
        const L8 second_wide = std::bit_cast<L8>(__builtin_ia32_pmovsxdq512_mask(second, LL8{}, 0xff));
        const R8 a = __builtin_shuffle(lo, hi, first_wide);
        const R8 b = __builtin_shuffle(lo, hi, second_wide);
        // Two halves copied in place: GCC spills a 16-lane shuffle of doubles lane by lane.
        R r;
        __builtin_memcpy(&r, &a, sizeof a);
        __builtin_memcpy(reinterpret_cast<char*>(&r) + sizeof a, &b, sizeof b);
        return r;
    }
#endif
    return gather<R>(table, index);
}

// Every lane of a lane vector set to x.
template <class T>
VOREL_INLINE T splat(std::remove_cvref_t<decltype(T{}[0])> x) {
    T v;
    for (std::size_t i = 0; i < sizeof(T) / sizeof(x); ++i) v[i] = x;
    return v;
}

// One of four values per lane by an index in 0..3: one variable permute of a constant vector at
// 8 and 16 lanes, instead of three blends per value; comparisons and selects at fewer lanes.
template <class F, class I>
VOREL_INLINE F pick4(I index, float v0, float v1, float v2, float v3) {
    constexpr std::size_t w = sizeof(F) / sizeof(float);
#if !defined(__clang__)
    if constexpr (w >= 8) {
        F table = splat<F>(v3);
        table[0] = v0;
        table[1] = v1;
        table[2] = v2;
        return __builtin_shuffle(table, index);
    } else
#endif
    {
        return select(index == 0, splat<F>(v0),
                      select(index == 1, splat<F>(v1), select(index == 2, splat<F>(v2), splat<F>(v3))));
    }
}

}  // namespace vorel::audio::simd::math
