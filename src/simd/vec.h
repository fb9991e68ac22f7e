// The one vocabulary of vector types: float and double lanes on GCC vector extensions, and
// the loads, stores, broadcasts and fused multiply-adds every kernel is written with. Width 1
// is the scalar itself, so a kernel written once over `V` runs as the plain path at width 1
// and over independent elements in lanes at 4, 8 or 16; each lane rounds as a scalar does.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#define VOREL_INLINE inline __attribute__((always_inline))
// A lambda inside a kernel template is compiled with the kernel's build only when it is inlined;
// out of line it would be compiled for the baseline level.
#define VOREL_INLINE_LAMBDA __attribute__((always_inline))

namespace vorel::audio::simd {

template <class T, std::size_t W>
struct VecOf {
    typedef T type __attribute__((vector_size(sizeof(T) * W)));
};
template <class T>
struct VecOf<T, 1> {
    using type = T;
};
// W lanes of T; Vec<T, 1> is T.
template <class T, std::size_t W>
using Vec = typename VecOf<T, W>::type;

using float4 = Vec<float, 4>;
using float8 = Vec<float, 8>;
using float16 = Vec<float, 16>;
using double4 = Vec<double, 4>;
using double8 = Vec<double, 8>;
using int4 = Vec<std::int32_t, 4>;
using int8 = Vec<std::int32_t, 8>;
using int16 = Vec<std::int32_t, 16>;

// Lane type and lane count of a vector, or of a scalar (one lane).
template <class V>
struct LaneInfo {
    using Elem = std::remove_cvref_t<decltype(V{}[0])>;
    static constexpr std::size_t count = sizeof(V) / sizeof(Elem);
};
template <class V>
requires std::is_arithmetic_v<V>
struct LaneInfo<V> {
    using Elem = V;
    static constexpr std::size_t count = 1;
};

template <class V>
using Elem = typename LaneInfo<V>::Elem;
template <class V>
constexpr std::size_t kLanes = LaneInfo<V>::count;

// Unaligned load and store of kLanes<V> consecutive elements.
template <class V>
VOREL_INLINE V load(const Elem<V>* p) {
    V v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

template <class V>
VOREL_INLINE void store(Elem<V>* p, V v) {
    std::memcpy(p, &v, sizeof v);
}

// Every lane set to x, sign of zero and NaN payload included (an added zero vector would turn
// -0.0 into +0.0). A 128-bit vector widened by a shuffle: one broadcast instruction also where
// it is inlined into a wider build, where a wide or lane-by-lane build becomes lane inserts.
template <class V, std::size_t... I, std::size_t... J>
VOREL_INLINE V broadcast_lanes(Elem<V> x, std::index_sequence<I...>, std::index_sequence<J...>) {
    using Base = typename VecOf<Elem<V>, sizeof...(J)>::type;
    const Base base{((void)J, x)...};
    return __builtin_shufflevector(base, base, ((void)I, 0)...);
}

template <class V>
VOREL_INLINE V broadcast(Elem<V> x) {
    if constexpr (kLanes<V> == 1)
        return x;
    else
        return broadcast_lanes<V>(x, std::make_index_sequence<kLanes<V>>{},
                                  std::make_index_sequence<16 / sizeof(Elem<V>)>{});
}

// op on the two halves of a, b and c.
template <class V, class Op>
VOREL_INLINE V fma_halves(V a, V b, V c, Op op) {
    using Half = Vec<Elem<V>, kLanes<V> / 2>;
    Half ah[2], bh[2], ch[2], rh[2];
    std::memcpy(ah, &a, sizeof a);
    std::memcpy(bh, &b, sizeof b);
    std::memcpy(ch, &c, sizeof c);
    rh[0] = op(ah[0], bh[0], ch[0]);
    rh[1] = op(ah[1], bh[1], ch[1]);
    V r;
    std::memcpy(&r, rh, sizeof r);
    return r;
}

// a * b + c rounded once, lane by lane: only for the exact replicas of library functions that
// fuse (contraction is off, so nothing else fuses). Named builtins, as GCC makes scalar
// instructions of a lane loop of fma calls in places; they build only at levels with FMA.
template <class V>
VOREL_INLINE V fma(V a, V b, V c) {
    if constexpr (std::is_arithmetic_v<V>) {
        if constexpr (sizeof(V) == sizeof(float))
            return __builtin_fmaf(a, b, c);
        else
            return __builtin_fma(a, b, c);
#if !defined(__clang__)
    } else if constexpr (sizeof(V) == 128) {
        // 16 doubles, which only the AVX-512 level runs: two 512-bit halves.
        return fma_halves(
            a, b, c, [](double8 x, double8 y, double8 z) { return __builtin_ia32_vfmaddpd512_mask(x, y, z, 0xff, 4); });
    } else if constexpr (sizeof(V) == 64 && sizeof(Elem<V>) == 8) {
        // 8 doubles, the AVX2 level's width: two 256-bit halves.
        return fma_halves(a, b, c, [](double4 x, double4 y, double4 z) { return __builtin_ia32_vfmaddpd256(x, y, z); });
    } else if constexpr (sizeof(V) == 64) {
        return __builtin_ia32_vfmaddps512_mask(a, b, c, 0xffff, 4);
    } else if constexpr (sizeof(V) == 32 && sizeof(Elem<V>) == 8) {
        return __builtin_ia32_vfmaddpd256(a, b, c);
    } else if constexpr (sizeof(V) == 32) {
        return __builtin_ia32_vfmaddps256(a, b, c);
    } else if constexpr (sizeof(V) == 16 && sizeof(Elem<V>) == 8) {
        return __builtin_ia32_vfmaddpd(a, b, c);
    } else if constexpr (sizeof(V) == 16) {
        return __builtin_ia32_vfmaddps(a, b, c);
#endif
    } else {
        V r;
        for (std::size_t i = 0; i < kLanes<V>; ++i) {
            if constexpr (sizeof(Elem<V>) == sizeof(float))
                r[i] = __builtin_fmaf(a[i], b[i], c[i]);
            else
                r[i] = __builtin_fma(a[i], b[i], c[i]);
        }
        return r;
    }
}

// Correctly rounded square roots of float lanes (IEEE, so the same bits as sqrtf). Named
// builtins as for fma; the lane loop is the fallback for clang builds.
template <class V>
VOREL_INLINE V sqrt(V x) {
    static_assert(std::is_same_v<Elem<V>, float>);
    if constexpr (kLanes<V> == 1) {
        return __builtin_sqrtf(x);
#if !defined(__clang__)
    } else if constexpr (sizeof(V) == 64) {
        return __builtin_ia32_sqrtps512_mask(x, x, 0xffff, 4);
    } else if constexpr (sizeof(V) == 32) {
        return __builtin_ia32_sqrtps256(x);
    } else if constexpr (sizeof(V) == 16) {
        return __builtin_ia32_sqrtps(x);
#endif
    } else {
        V r;
        for (std::size_t i = 0; i < kLanes<V>; ++i) r[i] = __builtin_sqrtf(x[i]);
        return r;
    }
}

}  // namespace vorel::audio::simd
