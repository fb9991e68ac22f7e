// The radix-4 stages of a power of two n >= 16 on the split layout, written once over the
// vector type and built by pow2_kernels.cpp for SSE2, AVX2 and AVX-512. Every helper is
// always inlined, so each build compiles them for its own instruction set.
//
// Split layout: groups of four complex elements, four real parts then four imaginary parts.
// Butterflies within one stage touch disjoint elements, so a stage may run them in any order
// and W at a time; each lane does exactly the scalar operations (no fused multiply-add).
#pragma once

#include <cstddef>
#include <cstring>

#include "common/float4.h"
#include "transform/complex_ops.h"

#define VOREL_POW2_INLINE inline __attribute__((always_inline))

namespace vorel::audio::pow2 {

typedef float float8 __attribute__((vector_size(32)));
typedef float float16 __attribute__((vector_size(64)));

template <class V>
constexpr std::size_t kWidth = sizeof(V) / sizeof(float);

template <class V>
VOREL_POW2_INLINE V load(const float* p) {
    V v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

template <class V>
VOREL_POW2_INLINE void store(float* p, V v) {
    std::memcpy(p, &v, sizeof v);
}

// W consecutive elements (W / 4 groups) from float offset p: real parts and imaginary parts.
template <class V>
VOREL_POW2_INLINE void load_run(const float* p, V& re, V& im) {
    if constexpr (kWidth<V> == 4) {
        re = load<V>(p), im = load<V>(p + 4);
    } else if constexpr (kWidth<V> == 8) {
        const V a = load<V>(p), b = load<V>(p + 8);
        re = __builtin_shufflevector(a, b, 0, 1, 2, 3, 8, 9, 10, 11);
        im = __builtin_shufflevector(a, b, 4, 5, 6, 7, 12, 13, 14, 15);
    } else {
        const V a = load<V>(p), b = load<V>(p + 16);
        re = __builtin_shufflevector(a, b, 0, 1, 2, 3, 8, 9, 10, 11, 16, 17, 18, 19, 24, 25, 26, 27);
        im = __builtin_shufflevector(a, b, 4, 5, 6, 7, 12, 13, 14, 15, 20, 21, 22, 23, 28, 29, 30, 31);
    }
}

template <class V>
VOREL_POW2_INLINE void store_run(float* p, V re, V im) {
    if constexpr (kWidth<V> == 4) {
        store(p, re), store(p + 4, im);
    } else if constexpr (kWidth<V> == 8) {
        store(p, __builtin_shufflevector(re, im, 0, 1, 2, 3, 8, 9, 10, 11));
        store(p + 8, __builtin_shufflevector(re, im, 4, 5, 6, 7, 12, 13, 14, 15));
    } else {
        store(p, __builtin_shufflevector(re, im, 0, 1, 2, 3, 16, 17, 18, 19, 4, 5, 6, 7, 20, 21, 22, 23));
        store(p + 16, __builtin_shufflevector(re, im, 8, 9, 10, 11, 24, 25, 26, 27, 12, 13, 14, 15, 28, 29, 30, 31));
    }
}

// A stage whose quarter is a multiple of W: lanes are W consecutive columns, whose twiddles
// are W consecutive floats of the column table `cols` of the stage.
template <bool Inverse, class V>
VOREL_POW2_INLINE void wide_stage(float* d, std::size_t n, std::size_t size, const float* cols) {
    const std::size_t quarter = size / 4;
    for (std::size_t start = 0; start < quarter; start += kWidth<V>) {
        V t[12];
        for (std::size_t c = 0; c < 12; ++c) t[c] = load<V>(cols + c * quarter + start);
        for (std::size_t i = start; i < n; i += size) {
            float* pa = d + 2 * i;
            float* pb = pa + 2 * quarter;
            float* pc = pb + 2 * quarter;
            float* pd = pc + 2 * quarter;
            V ar, ai, br, bi, cr, ci, dr, di;
            load_run(pa, ar, ai), load_run(pb, br, bi), load_run(pc, cr, ci), load_run(pd, dr, di);
            butterfly<Inverse>(ar, ai, br, bi, cr, ci, dr, di, t);
            store_run(pa, ar, ai), store_run(pb, br, bi), store_run(pc, cr, ci), store_run(pd, dr, di);
        }
    }
}

// One group of four complex elements.
struct Group {
    float4 re, im;
};

VOREL_POW2_INLINE Group load_group(const float* p) { return Group{load<float4>(p), load<float4>(p + 4)}; }

VOREL_POW2_INLINE void store_group(float* p, const Group& g) {
    store(p, g.re);
    store(p + 4, g.im);
}

// Twiddle lanes from four table rows starting at the given float offsets.
VOREL_POW2_INLINE void gather_rows(float4* t, const float* table, std::size_t p0, std::size_t p1, std::size_t p2,
                                   std::size_t p3) {
    for (std::size_t c = 0; c < 12; c += 4) {
        t[c] = load<float4>(table + p0 + c);
        t[c + 1] = load<float4>(table + p1 + c);
        t[c + 2] = load<float4>(table + p2 + c);
        t[c + 3] = load<float4>(table + p3 + c);
        transpose4(t[c], t[c + 1], t[c + 2], t[c + 3]);
    }
}

// Quarter 2, over 16 elements (groups g0..g3): lanes are columns 0, 1 at element 0 and
// columns 0, 1 at element 8. A and B of the first two lanes share g0, C and D share g1.
template <bool Inverse>
VOREL_POW2_INLINE void butterflies_of_halves(float* p, const float4* t) {
    Group g0 = load_group(p), g1 = load_group(p + 8), g2 = load_group(p + 16), g3 = load_group(p + 24);
    float4 ar = __builtin_shufflevector(g0.re, g2.re, 0, 1, 4, 5), br = __builtin_shufflevector(g0.re, g2.re, 2, 3, 6, 7);
    float4 ai = __builtin_shufflevector(g0.im, g2.im, 0, 1, 4, 5), bi = __builtin_shufflevector(g0.im, g2.im, 2, 3, 6, 7);
    float4 cr = __builtin_shufflevector(g1.re, g3.re, 0, 1, 4, 5), dr = __builtin_shufflevector(g1.re, g3.re, 2, 3, 6, 7);
    float4 ci = __builtin_shufflevector(g1.im, g3.im, 0, 1, 4, 5), di = __builtin_shufflevector(g1.im, g3.im, 2, 3, 6, 7);
    butterfly<Inverse>(ar, ai, br, bi, cr, ci, dr, di, t);
    store_group(p, Group{__builtin_shufflevector(ar, br, 0, 1, 4, 5), __builtin_shufflevector(ai, bi, 0, 1, 4, 5)});
    store_group(p + 16, Group{__builtin_shufflevector(ar, br, 2, 3, 6, 7), __builtin_shufflevector(ai, bi, 2, 3, 6, 7)});
    store_group(p + 8, Group{__builtin_shufflevector(cr, dr, 0, 1, 4, 5), __builtin_shufflevector(ci, di, 0, 1, 4, 5)});
    store_group(p + 24, Group{__builtin_shufflevector(cr, dr, 2, 3, 6, 7), __builtin_shufflevector(ci, di, 2, 3, 6, 7)});
}

// Quarter 1, over 16 elements: each group holds A, B, C, D of one butterfly, so a transpose
// of the four groups brings the four butterflies into lanes.
template <bool Inverse>
VOREL_POW2_INLINE void butterflies_within_groups(float* p, const float4* t) {
    Group g0 = load_group(p), g1 = load_group(p + 8), g2 = load_group(p + 16), g3 = load_group(p + 24);
    transpose4(g0.re, g1.re, g2.re, g3.re);
    transpose4(g0.im, g1.im, g2.im, g3.im);
    butterfly<Inverse>(g0.re, g0.im, g1.re, g1.im, g2.re, g2.im, g3.re, g3.im, t);
    transpose4(g0.re, g1.re, g2.re, g3.re);
    transpose4(g0.im, g1.im, g2.im, g3.im);
    store_group(p, g0), store_group(p + 8, g1), store_group(p + 16, g2), store_group(p + 24, g3);
}

// The radix-2 pass on the split layout: neighbours 0, 1 and 2, 3 of each group.
VOREL_POW2_INLINE float4 sum_and_difference_of_neighbours(float4 v) {
    const float4 a = __builtin_shufflevector(v, v, 0, 0, 2, 2);
    const float4 b = __builtin_shufflevector(v, v, 1, 1, 3, 3);
    return __builtin_shufflevector(a + b, a - b, 0, 5, 2, 7);
}

// The radix-4 stages of a power of two n >= 16 on the split layout, leaving the bit-reversed
// order; the radix-2 pass, when log2(n) is odd, runs inside the bit reversal. `cols` are the
// column twiddles of n (see column_twiddles.h), `table` the rows of FftTable, read by the
// last stages, whose quarter is below 4.
template <bool Inverse, class V>
VOREL_POW2_INLINE void split_stages(float* d, std::size_t n, const float* table, const float* cols) {
    std::size_t size = n, step = 12;
    for (;;) {
        const std::size_t quarter = size / 4;
        float4 t[12];
        if (quarter >= kWidth<V>) {
            wide_stage<Inverse, V>(d, n, size, cols);
        } else if (kWidth<V> > 8 && quarter >= 8) {
            wide_stage<Inverse, float8>(d, n, size, cols);
        } else if (quarter >= 4) {
            wide_stage<Inverse, float4>(d, n, size, cols);
        } else if (quarter == 2) {
            gather_rows(t, table, 0, step, 0, step);
            for (std::size_t i = 0; i < n; i += 16) butterflies_of_halves<Inverse>(d + 2 * i, t);
        } else {
            gather_rows(t, table, 0, 0, 0, 0);
            for (std::size_t i = 0; i < n; i += 16) butterflies_within_groups<Inverse>(d + 2 * i, t);
        }
        if (quarter >= 4) cols += 12 * quarter;
        step *= 4;
        if (size < 16) break;
        size /= 4;
    }
}

}  // namespace vorel::audio::pow2
