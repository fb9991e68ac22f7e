// The radix-4 stages of a power of two n >= 16 on the split layout, written once over the
// vector type and built by pow2_kernels.cpp for SSE2, AVX2 and AVX-512. Every helper is
// always inlined, so each build compiles them for its own instruction set.
//
// Split layout: groups of four complex elements, four real parts then four imaginary parts.
// Butterflies within one stage touch disjoint elements, so a stage may run them in any order
// and W at a time; each lane does exactly the scalar operations (no fused multiply-add).
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "common/float4.h"
#include "transform/complex_ops.h"
#include "transform/fft_kernels.h"
#include "transform/vector_io.h"

#define VOREL_POW2_INLINE inline __attribute__((always_inline))

namespace vorel::audio::pow2 {

// Real and imaginary parts of the elements in two vectors of the split layout, and back.
VOREL_POW2_INLINE void split_parts(float16 x, float16 y, float16& re, float16& im) {
    re = __builtin_shufflevector(x, y, 0, 1, 2, 3, 8, 9, 10, 11, 16, 17, 18, 19, 24, 25, 26, 27);
    im = __builtin_shufflevector(x, y, 4, 5, 6, 7, 12, 13, 14, 15, 20, 21, 22, 23, 28, 29, 30, 31);
}

VOREL_POW2_INLINE void join_parts(float16 re, float16 im, float16& x, float16& y) {
    x = __builtin_shufflevector(re, im, 0, 1, 2, 3, 16, 17, 18, 19, 4, 5, 6, 7, 20, 21, 22, 23);
    y = __builtin_shufflevector(re, im, 8, 9, 10, 11, 24, 25, 26, 27, 12, 13, 14, 15, 28, 29, 30, 31);
}

// W consecutive elements (W / 4 groups) from float offset p: real parts and imaginary parts.
template <class V>
VOREL_POW2_INLINE void load_run(const float* p, V& re, V& im) {
    if constexpr (kWidth<V> == 4) {
        re = load_vector<V>(p), im = load_vector<V>(p + 4);
    } else if constexpr (kWidth<V> == 8) {
        const V a = load_vector<V>(p), b = load_vector<V>(p + 8);
        re = __builtin_shufflevector(a, b, 0, 1, 2, 3, 8, 9, 10, 11);
        im = __builtin_shufflevector(a, b, 4, 5, 6, 7, 12, 13, 14, 15);
    } else {
        split_parts(load_vector<V>(p), load_vector<V>(p + 16), re, im);
    }
}

template <class V>
VOREL_POW2_INLINE void store_run(float* p, V re, V im) {
    if constexpr (kWidth<V> == 4) {
        store_vector(p, re), store_vector(p + 4, im);
    } else if constexpr (kWidth<V> == 8) {
        store_vector(p, __builtin_shufflevector(re, im, 0, 1, 2, 3, 8, 9, 10, 11));
        store_vector(p + 8, __builtin_shufflevector(re, im, 4, 5, 6, 7, 12, 13, 14, 15));
    } else {
        float16 x, y;
        join_parts(re, im, x, y);
        store_vector(p, x), store_vector(p + 16, y);
    }
}

// Where the first stage reads its elements: the split layout, n real samples (imaginary
// parts 0), or interleaved complex elements. Later stages read the split layout.
enum class Input { split, real, interleaved };

// W consecutive elements from element i of `src` held as In says.
template <class V, Input In>
VOREL_POW2_INLINE void load_input(const float* src, std::size_t i, V& re, V& im) {
    if constexpr (In == Input::split) {
        load_run(src + 2 * i, re, im);
    } else if constexpr (In == Input::real) {
        re = load_vector<V>(src + i), im = V{};
    } else {
        const V a = load_vector<V>(src + 2 * i), b = load_vector<V>(src + 2 * i + kWidth<V>);
        if constexpr (kWidth<V> == 4) {
            re = __builtin_shufflevector(a, b, 0, 2, 4, 6), im = __builtin_shufflevector(a, b, 1, 3, 5, 7);
        } else if constexpr (kWidth<V> == 8) {
            re = __builtin_shufflevector(a, b, 0, 2, 4, 6, 8, 10, 12, 14);
            im = __builtin_shufflevector(a, b, 1, 3, 5, 7, 9, 11, 13, 15);
        } else {
            re = __builtin_shufflevector(a, b, 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
            im = __builtin_shufflevector(a, b, 1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
        }
    }
}

// A stage whose quarter is a multiple of W: lanes are W consecutive columns, whose twiddles
// are W consecutive floats of the column table `cols` of the stage. Reads `src` as In says
// and writes the split layout to d; each butterfly reads all its elements before it writes,
// so d may be src.
template <bool Inverse, class V, Input In>
VOREL_POW2_INLINE void wide_stage(float* d, const float* src, std::size_t n, std::size_t size, const float* cols) {
    const std::size_t quarter = size / 4;
    for (std::size_t start = 0; start < quarter; start += kWidth<V>) {
        V t[12];
        for (std::size_t c = 0; c < 12; ++c) t[c] = load_vector<V>(cols + c * quarter + start);
        for (std::size_t i = start; i < n; i += size) {
            V ar, ai, br, bi, cr, ci, dr, di;
            load_input<V, In>(src, i, ar, ai), load_input<V, In>(src, i + quarter, br, bi);
            load_input<V, In>(src, i + 2 * quarter, cr, ci), load_input<V, In>(src, i + 3 * quarter, dr, di);
            butterfly<Inverse>(ar, ai, br, bi, cr, ci, dr, di, t);
            float* pa = d + 2 * i;
            float* pb = pa + 2 * quarter;
            float* pc = pb + 2 * quarter;
            float* pd = pc + 2 * quarter;
            store_run(pa, ar, ai), store_run(pb, br, bi), store_run(pc, cr, ci), store_run(pd, dr, di);
        }
    }
}

// A stage of quarter >= 4 at the widest vector that fits it.
template <bool Inverse, class V, Input In>
VOREL_POW2_INLINE void any_wide_stage(float* d, const float* src, std::size_t n, std::size_t size, const float* cols) {
    const std::size_t quarter = size / 4;
    if (quarter >= kWidth<V>)
        wide_stage<Inverse, V, In>(d, src, n, size, cols);
    else if (kWidth<V> > 8 && quarter >= 8)
        wide_stage<Inverse, float8, In>(d, src, n, size, cols);
    else
        wide_stage<Inverse, float4, In>(d, src, n, size, cols);
}

// One group of four complex elements.
struct Group {
    float4 re, im;
};

VOREL_POW2_INLINE Group load_group(const float* p) { return Group{load_vector<float4>(p), load_vector<float4>(p + 4)}; }

VOREL_POW2_INLINE void store_group(float* p, const Group& g) {
    store_vector(p, g.re);
    store_vector(p + 4, g.im);
}

// Twiddle lanes from four table rows starting at the given float offsets.
VOREL_POW2_INLINE void gather_rows(float4* t, const float* table, std::size_t p0, std::size_t p1, std::size_t p2,
                                   std::size_t p3) {
    for (std::size_t c = 0; c < 12; c += 4) {
        t[c] = load_vector<float4>(table + p0 + c);
        t[c + 1] = load_vector<float4>(table + p1 + c);
        t[c + 2] = load_vector<float4>(table + p2 + c);
        t[c + 3] = load_vector<float4>(table + p3 + c);
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

// The radix-2 pass on W floats of the split layout: (a, b) -> (a + b, a - b) on neighbours 0, 1
// and 2, 3 of each group (real and imaginary parts alike).
template <class V>
VOREL_POW2_INLINE V radix2(V v) {
    V a, b;
    if constexpr (kWidth<V> == 4) {
        a = __builtin_shufflevector(v, v, 0, 0, 2, 2), b = __builtin_shufflevector(v, v, 1, 1, 3, 3);
        return __builtin_shufflevector(a + b, a - b, 0, 5, 2, 7);
    } else if constexpr (kWidth<V> == 8) {
        a = __builtin_shufflevector(v, v, 0, 0, 2, 2, 4, 4, 6, 6);
        b = __builtin_shufflevector(v, v, 1, 1, 3, 3, 5, 5, 7, 7);
        return __builtin_shufflevector(a + b, a - b, 0, 9, 2, 11, 4, 13, 6, 15);
    } else {
        a = __builtin_shufflevector(v, v, 0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14);
        b = __builtin_shufflevector(v, v, 1, 1, 3, 3, 5, 5, 7, 7, 9, 9, 11, 11, 13, 13, 15, 15);
        return __builtin_shufflevector(a + b, a - b, 0, 17, 2, 19, 4, 21, 6, 23, 8, 25, 10, 27, 12, 29, 14, 31);
    }
}

// The last stages with sixteen lanes, on 64 elements (eight vectors z, z[k] holding the
// groups 2k and 2k + 1) kept in registers. chunks() transposes four vectors as 4 x 4 blocks
// of four floats; rows() transposes four floats within each block of four.
VOREL_POW2_INLINE void chunks(float16& a, float16& b, float16& c, float16& d) {
    const float16 l01 = __builtin_shufflevector(a, b, 0, 1, 2, 3, 16, 17, 18, 19, 4, 5, 6, 7, 20, 21, 22, 23);
    const float16 h01 = __builtin_shufflevector(a, b, 8, 9, 10, 11, 24, 25, 26, 27, 12, 13, 14, 15, 28, 29, 30, 31);
    const float16 l23 = __builtin_shufflevector(c, d, 0, 1, 2, 3, 16, 17, 18, 19, 4, 5, 6, 7, 20, 21, 22, 23);
    const float16 h23 = __builtin_shufflevector(c, d, 8, 9, 10, 11, 24, 25, 26, 27, 12, 13, 14, 15, 28, 29, 30, 31);
    a = __builtin_shufflevector(l01, l23, 0, 1, 2, 3, 4, 5, 6, 7, 16, 17, 18, 19, 20, 21, 22, 23);
    b = __builtin_shufflevector(l01, l23, 8, 9, 10, 11, 12, 13, 14, 15, 24, 25, 26, 27, 28, 29, 30, 31);
    c = __builtin_shufflevector(h01, h23, 0, 1, 2, 3, 4, 5, 6, 7, 16, 17, 18, 19, 20, 21, 22, 23);
    d = __builtin_shufflevector(h01, h23, 8, 9, 10, 11, 12, 13, 14, 15, 24, 25, 26, 27, 28, 29, 30, 31);
}

VOREL_POW2_INLINE void rows(float16& a, float16& b, float16& c, float16& d) {
    const float16 ab_lo = __builtin_shufflevector(a, b, 0, 16, 1, 17, 4, 20, 5, 21, 8, 24, 9, 25, 12, 28, 13, 29);
    const float16 cd_lo = __builtin_shufflevector(c, d, 0, 16, 1, 17, 4, 20, 5, 21, 8, 24, 9, 25, 12, 28, 13, 29);
    const float16 ab_hi = __builtin_shufflevector(a, b, 2, 18, 3, 19, 6, 22, 7, 23, 10, 26, 11, 27, 14, 30, 15, 31);
    const float16 cd_hi = __builtin_shufflevector(c, d, 2, 18, 3, 19, 6, 22, 7, 23, 10, 26, 11, 27, 14, 30, 15, 31);
    a = __builtin_shufflevector(ab_lo, cd_lo, 0, 1, 16, 17, 4, 5, 20, 21, 8, 9, 24, 25, 12, 13, 28, 29);
    b = __builtin_shufflevector(ab_lo, cd_lo, 2, 3, 18, 19, 6, 7, 22, 23, 10, 11, 26, 27, 14, 15, 30, 31);
    c = __builtin_shufflevector(ab_hi, cd_hi, 0, 1, 16, 17, 4, 5, 20, 21, 8, 9, 24, 25, 12, 13, 28, 29);
    d = __builtin_shufflevector(ab_hi, cd_hi, 2, 3, 18, 19, 6, 7, 22, 23, 10, 11, 26, 27, 14, 15, 30, 31);
}

// Quarter 4 (blocks of 16 elements: A, B, C, D are its four groups, lanes its four columns):
// the groups 0 and 1 of the four blocks sit in z[0], z[2], z[4], z[6], groups 2 and 3 in the
// odd ones, so one transpose of blocks of four brings each into lanes.
template <bool Inverse>
VOREL_POW2_INLINE void quarter4_stage(float16 (&z)[8], const float16* t) {
    chunks(z[0], z[2], z[4], z[6]);
    chunks(z[1], z[3], z[5], z[7]);
    butterfly<Inverse>(z[0], z[2], z[4], z[6], z[1], z[3], z[5], z[7], t);
    chunks(z[0], z[2], z[4], z[6]);
    chunks(z[1], z[3], z[5], z[7]);
}

// Quarter 1 (each group is a butterfly on its elements 0 to 3, all with the twiddles of row 0):
// transposing four floats brings element e of the groups into x[e] and y[e], whose parts then
// split into lanes.
template <bool Inverse>
VOREL_POW2_INLINE void quarter1_stage(float16 (&z)[8], const float16* t) {
    rows(z[0], z[1], z[2], z[3]);
    rows(z[4], z[5], z[6], z[7]);
    float16 re[4], im[4];
    for (int e = 0; e < 4; ++e) split_parts(z[e], z[4 + e], re[e], im[e]);
    butterfly<Inverse>(re[0], im[0], re[1], im[1], re[2], im[2], re[3], im[3], t);
    for (int e = 0; e < 4; ++e) join_parts(re[e], im[e], z[e], z[4 + e]);
    rows(z[0], z[1], z[2], z[3]);
    rows(z[4], z[5], z[6], z[7]);
}

// Quarter 8 (blocks of 32 elements, z[0..3] and z[4..7]; A, B, C, D are their quarters,
// lanes the eight columns of each block).
template <bool Inverse>
VOREL_POW2_INLINE void quarter8_stage(float16 (&z)[8], const float16* t) {
    float16 re[4], im[4];
    for (int q = 0; q < 4; ++q) split_parts(z[q], z[4 + q], re[q], im[q]);
    butterfly<Inverse>(re[0], im[0], re[1], im[1], re[2], im[2], re[3], im[3], t);
    for (int q = 0; q < 4; ++q) join_parts(re[q], im[q], z[q], z[4 + q]);
}

// Pairs the first (x) and last (y) two floats of each block of four of two vectors: applied to
// two neighbouring blocks of 8 elements it gives the A, C and the B, D parts of their quarter-2
// butterflies, and applied to those it gives the blocks back.
VOREL_POW2_INLINE void pair_halves(float16& x, float16& y) {
    const float16 a = x, b = y;
    x = __builtin_shufflevector(a, b, 0, 1, 16, 17, 4, 5, 20, 21, 8, 9, 24, 25, 12, 13, 28, 29);
    y = __builtin_shufflevector(a, b, 2, 3, 18, 19, 6, 7, 22, 23, 10, 11, 26, 27, 14, 15, 30, 31);
}

// Quarter 2 (blocks of 8 elements, z[k] one block: A, B, C, D are its element pairs, lanes its
// two columns), then the radix-2 pass.
template <bool Inverse>
VOREL_POW2_INLINE void quarter2_stage_and_radix2(float16 (&z)[8], const float16* t) {
    for (int k = 0; k < 8; k += 2) pair_halves(z[k], z[k + 1]);
    // z[0, 2, 4, 6] now hold A.re, A.im, C.re, C.im by blocks of four; z[1, 3, 5, 7] B and D.
    chunks(z[0], z[2], z[4], z[6]);
    chunks(z[1], z[3], z[5], z[7]);
    butterfly<Inverse>(z[0], z[2], z[1], z[3], z[4], z[6], z[5], z[7], t);
    chunks(z[0], z[2], z[4], z[6]);
    chunks(z[1], z[3], z[5], z[7]);
    for (int k = 0; k < 8; k += 2) pair_halves(z[k], z[k + 1]);
    for (int k = 0; k < 8; ++k) z[k] = radix2(z[k]);
}

// The last two stages per 64 elements held in registers: quarters 4 and 1 of an even
// log2(n) >= 6, or quarters 8 and 2 and the radix-2 pass of an odd log2(n) >= 7. `lanes` are
// the twiddles of the two stages as sixteen lanes (see column_twiddles.h).
template <bool Inverse, bool Odd>
VOREL_POW2_INLINE void last_stages16(float* d, std::size_t n, const float* lanes) {
    float16 t_first[12], t_second[12];
    for (std::size_t c = 0; c < 12; ++c) {
        t_first[c] = load_vector<float16>(lanes + 16 * c);
        t_second[c] = load_vector<float16>(lanes + 12 * 16 + 16 * c);
    }
    for (std::size_t i = 0; i < n; i += 64) {
        float* p = d + 2 * i;
        float16 z[8];
        for (int k = 0; k < 8; ++k) z[k] = load_vector<float16>(p + 16 * k);
        if constexpr (Odd) {
            quarter8_stage<Inverse>(z, t_first);
            quarter2_stage_and_radix2<Inverse>(z, t_second);
        } else {
            quarter4_stage<Inverse>(z, t_first);
            quarter1_stage<Inverse>(z, t_second);
        }
        for (int k = 0; k < 8; ++k) store_vector(p + 16 * k, z[k]);
    }
}

// The radix-4 stages of a power of two n >= 16, the first reading `src` as In says, all
// writing the split layout to d (which may be src), then the radix-2 pass when log2(n) is
// odd, leaving the bit reversal to follow. `cols` are the column twiddles of n (see
// column_twiddles.h), `table` the rows of FftTable, read by the last stages, whose quarter
// is below 4.
template <bool Inverse, class V, Input In>
VOREL_POW2_INLINE void split_stages(float* d, const float* src, std::size_t n, const float* table, const float* cols) {
    any_wide_stage<Inverse, V, In>(d, src, n, n, cols);
    cols += 12 * (n / 4);
    std::size_t size = n / 4, step = 48;
    while (size >= 4) {
        const std::size_t quarter = size / 4;
        float4 t[12];
        if (kWidth<V> == 16 && (quarter == 4 || quarter == 8)) {
            if (quarter == 4)
                last_stages16<Inverse, false>(d, n, cols + 12 * quarter);
            else
                last_stages16<Inverse, true>(d, n, cols + 12 * quarter);
            return;
        } else if (quarter >= 4) {
            any_wide_stage<Inverse, V, Input::split>(d, d, n, size, cols);
            cols += 12 * quarter;
        } else if (quarter == 2) {
            gather_rows(t, table, 0, step, 0, step);
            for (std::size_t i = 0; i < n; i += 16) butterflies_of_halves<Inverse>(d + 2 * i, t);
        } else {
            gather_rows(t, table, 0, 0, 0, 0);
            for (std::size_t i = 0; i < n; i += 16) butterflies_within_groups<Inverse>(d + 2 * i, t);
        }
        step *= 4;
        size /= 4;
    }
    if (std::countr_zero(n) % 2 == 1)
        for (std::size_t k = 0; k < 2 * n; k += kWidth<V>) store_vector(d + k, radix2(load_vector<V>(d + k)));
}

// Bit reversal from the split layout, for eight-lane builds. Index hi * n/4 + mid * 4 + lo
// (hi, lo of two bits) goes to rev(lo) * n/4 + rev(mid) * 4 + rev(hi): block mid (four rows
// of one group, n/4 elements apart) goes transposed to block rev(mid). One eight-float row
// holds a group's real parts in its low half and imaginary parts in its high half, so one
// in-half transpose moves both.
template <bool Divide>
VOREL_POW2_INLINE void transpose_block8(const float* from, std::size_t row_floats, float8 (&out)[4], float length) {
    // Rows taken in the order 0, 2, 1, 3 make column c of the transpose the output row rev(c).
    const float8 r0 = load_vector<float8>(from), r2 = load_vector<float8>(from + row_floats);
    const float8 r1 = load_vector<float8>(from + 2 * row_floats), r3 = load_vector<float8>(from + 3 * row_floats);
    const float8 lo01 = __builtin_shufflevector(r0, r1, 0, 8, 1, 9, 4, 12, 5, 13);
    const float8 lo23 = __builtin_shufflevector(r2, r3, 0, 8, 1, 9, 4, 12, 5, 13);
    const float8 hi01 = __builtin_shufflevector(r0, r1, 2, 10, 3, 11, 6, 14, 7, 15);
    const float8 hi23 = __builtin_shufflevector(r2, r3, 2, 10, 3, 11, 6, 14, 7, 15);
    const float8 col[4] = {__builtin_shufflevector(lo01, lo23, 0, 1, 8, 9, 4, 5, 12, 13),
                           __builtin_shufflevector(hi01, hi23, 0, 1, 8, 9, 4, 5, 12, 13),
                           __builtin_shufflevector(lo01, lo23, 2, 3, 10, 11, 6, 7, 14, 15),
                           __builtin_shufflevector(hi01, hi23, 2, 3, 10, 11, 6, 7, 14, 15)};
    for (std::size_t r = 0; r < 4; ++r) {
        out[r] = __builtin_shufflevector(col[r], col[r], 0, 4, 1, 5, 2, 6, 3, 7);
        if constexpr (Divide) out[r] = out[r] / length;
    }
}

template <bool Divide>
VOREL_POW2_INLINE void bit_reverse_split8(const float* from, float* to, std::size_t n) {
    const std::size_t row_floats = n / 2;
    const float length = static_cast<float>(n);
    const int mid_shift = 32 - (std::countr_zero(n) - 4);
    const auto reversed = [mid_shift](std::uint32_t mid) {
        return static_cast<std::uint32_t>(std::uint64_t{reverse_bits(mid)} >> mid_shift);
    };
    if (from != to) {
        // Out of place every block moves on its own, with no test of which of a pair comes first.
        for (std::uint32_t mid = 0; mid < n / 16; ++mid) {
            float8 rows[4];
            transpose_block8<Divide>(from + 8 * mid, row_floats, rows, length);
            for (std::size_t r = 0; r < 4; ++r) store_vector(to + r * row_floats + 8 * reversed(mid), rows[r]);
        }
        return;
    }
    for (std::uint32_t mid = 0; mid < n / 16; ++mid) {
        const std::uint32_t mid_r = reversed(mid);
        if (mid_r < mid) continue;
        float8 to_y[4], to_x[4];
        transpose_block8<Divide>(from + 8 * mid, row_floats, to_y, length);
        if (mid_r != mid) transpose_block8<Divide>(from + 8 * mid_r, row_floats, to_x, length);
        for (std::size_t r = 0; r < 4; ++r) store_vector(to + r * row_floats + 8 * mid_r, to_y[r]);
        if (mid_r != mid)
            for (std::size_t r = 0; r < 4; ++r) store_vector(to + r * row_floats + 8 * mid, to_x[r]);
    }
}

}  // namespace vorel::audio::pow2
