// The power-of-two transform from n = 16 on with butterflies in vector lanes, written once
// over the vector type and built by pow2_kernels.cpp for each level. Every helper is always
// inlined, so each build compiles them for its own instruction set.
//
// Split layout: groups of four complex elements, four real parts then four imaginary parts.
// Butterflies within one stage touch disjoint elements, so a stage may run them in any order
// and W at a time; each lane does exactly the scalar operations (no fused multiply-add). The
// rearrangements between the layout and the lanes are the index rules of shuffles.h.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "simd/vec.h"
#include "transform/bit_reverse.h"
#include "transform/schedules.h"
#include "transform/shuffles.h"

namespace vorel::audio::pow2 {

using simd::float16;
using simd::float4;
using simd::float8;
using simd::kLanes;
using simd::load;
using simd::store;

// Real and imaginary parts of W consecutive elements (W / 4 groups) from float offset p, and
// back.
template <class V>
VOREL_INLINE void load_run(const float* p, V& re, V& im) {
    const V a = load<V>(p), b = load<V>(p + kLanes<V>);
    re = lanes::shuffle<lanes::kSplitPart<0>>(a, b), im = lanes::shuffle<lanes::kSplitPart<1>>(a, b);
}

template <class V>
VOREL_INLINE void store_run(float* p, V re, V im) {
    store(p, lanes::shuffle<lanes::kJoinParts<0>>(re, im));
    store(p + kLanes<V>, lanes::shuffle<lanes::kJoinParts<1>>(re, im));
}

// Where the first stage reads its elements: the split layout, n real samples (imaginary
// parts 0), or interleaved complex elements. Later stages read the split layout.
enum class Input { split, real, interleaved };

// W consecutive elements from element i of `src` held as In says.
template <class V, Input In>
VOREL_INLINE void load_input(const float* src, std::size_t i, V& re, V& im) {
    if constexpr (In == Input::split) {
        load_run(src + 2 * i, re, im);
    } else if constexpr (In == Input::real) {
        re = load<V>(src + i), im = V{};
    } else {
        const V a = load<V>(src + 2 * i), b = load<V>(src + 2 * i + kLanes<V>);
        re = lanes::shuffle<lanes::kEvery2nd<0>>(a, b), im = lanes::shuffle<lanes::kEvery2nd<1>>(a, b);
    }
}

// A stage whose quarter is a multiple of W: lanes are W consecutive columns, whose twiddles
// are W consecutive floats of the column table `cols` of the stage. Reads `src` as In says
// and writes the split layout to d; each butterfly reads all its elements before it writes,
// so d may be src.
template <bool Inverse, class V, Input In>
VOREL_INLINE void wide_stage(float* d, const float* src, std::size_t n, std::size_t size, const float* cols) {
    const std::size_t quarter = size / 4;
    for (std::size_t start = 0; start < quarter; start += kLanes<V>) {
        V t[12];
        for (std::size_t c = 0; c < 12; ++c) t[c] = load<V>(cols + c * quarter + start);
        for (std::size_t i = start; i < n; i += size) {
            V re[4], im[4];
            for (std::size_t j = 0; j < 4; ++j) load_input<V, In>(src, i + j * quarter, re[j], im[j]);
            butterfly<Inverse>(re[0], im[0], re[1], im[1], re[2], im[2], re[3], im[3], t);
            for (std::size_t j = 0; j < 4; ++j) store_run(d + 2 * (i + j * quarter), re[j], im[j]);
        }
    }
}

// A stage of quarter >= 4 at the widest vector that fits it.
template <bool Inverse, class V, Input In>
VOREL_INLINE void any_wide_stage(float* d, const float* src, std::size_t n, std::size_t size, const float* cols) {
    const std::size_t quarter = size / 4;
    if (quarter >= kLanes<V>)
        wide_stage<Inverse, V, In>(d, src, n, size, cols);
    else if (kLanes<V> > 8 && quarter >= 8)
        wide_stage<Inverse, float8, In>(d, src, n, size, cols);
    else
        wide_stage<Inverse, float4, In>(d, src, n, size, cols);
}

// One group of four complex elements.
struct Group {
    float4 re, im;
};

VOREL_INLINE Group load_group(const float* p) { return Group{load<float4>(p), load<float4>(p + 4)}; }

VOREL_INLINE void store_group(float* p, const Group& g) { store(p, g.re), store(p + 4, g.im); }

// Twiddle lanes from four table rows starting at the given float offsets.
VOREL_INLINE void gather_rows(float4* t, const float* table, std::size_t p0, std::size_t p1, std::size_t p2,
                              std::size_t p3) {
    for (std::size_t c = 0; c < 12; c += 4) {
        t[c] = load<float4>(table + p0 + c), t[c + 1] = load<float4>(table + p1 + c);
        t[c + 2] = load<float4>(table + p2 + c), t[c + 3] = load<float4>(table + p3 + c);
        lanes::transpose4<1>(t[c], t[c + 1], t[c + 2], t[c + 3]);
    }
}

// The first (Hi 0) or last (Hi 1) two floats of each group of x, then those of y.
template <std::size_t Hi, class V>
VOREL_INLINE V halves(V x, V y) {
    return lanes::unpack<4, 2, Hi>(x, y);
}

// Quarter 2, over 16 elements (groups g0..g3): lanes are columns 0, 1 at element 0 and
// columns 0, 1 at element 8. A and B of the first two lanes share g0, C and D share g1.
template <bool Inverse>
VOREL_INLINE void butterflies_of_halves(float* p, const float4* t) {
    const Group g0 = load_group(p), g1 = load_group(p + 8), g2 = load_group(p + 16), g3 = load_group(p + 24);
    float4 ar = halves<0>(g0.re, g2.re), br = halves<1>(g0.re, g2.re);
    float4 ai = halves<0>(g0.im, g2.im), bi = halves<1>(g0.im, g2.im);
    float4 cr = halves<0>(g1.re, g3.re), dr = halves<1>(g1.re, g3.re);
    float4 ci = halves<0>(g1.im, g3.im), di = halves<1>(g1.im, g3.im);
    butterfly<Inverse>(ar, ai, br, bi, cr, ci, dr, di, t);
    store_group(p, Group{halves<0>(ar, br), halves<0>(ai, bi)});
    store_group(p + 16, Group{halves<1>(ar, br), halves<1>(ai, bi)});
    store_group(p + 8, Group{halves<0>(cr, dr), halves<0>(ci, di)});
    store_group(p + 24, Group{halves<1>(cr, dr), halves<1>(ci, di)});
}

// Quarter 1, over 16 elements: each group holds A, B, C, D of one butterfly, so a transpose
// of the four groups brings the four butterflies into lanes.
template <bool Inverse>
VOREL_INLINE void butterflies_within_groups(float* p, const float4* t) {
    Group g0 = load_group(p), g1 = load_group(p + 8), g2 = load_group(p + 16), g3 = load_group(p + 24);
    lanes::transpose4<1>(g0.re, g1.re, g2.re, g3.re);
    lanes::transpose4<1>(g0.im, g1.im, g2.im, g3.im);
    butterfly<Inverse>(g0.re, g0.im, g1.re, g1.im, g2.re, g2.im, g3.re, g3.im, t);
    lanes::transpose4<1>(g0.re, g1.re, g2.re, g3.re);
    lanes::transpose4<1>(g0.im, g1.im, g2.im, g3.im);
    store_group(p, g0), store_group(p + 8, g1), store_group(p + 16, g2), store_group(p + 24, g3);
}

// The radix-2 pass on W floats of the split layout: (a, b) -> (a + b, a - b) on neighbours 0, 1
// and 2, 3 of each group (real and imaginary parts alike).
constexpr auto kPairFirst = [](std::size_t i, std::size_t) { return i - i % 2; };
constexpr auto kPairSecond = [](std::size_t i, std::size_t) { return i - i % 2 + 1; };
constexpr auto kSumThenDifference = [](std::size_t i, std::size_t w) { return i % 2 == 0 ? i : w + i; };

template <class V>
VOREL_INLINE V radix2(V v) {
    const V a = lanes::shuffle<kPairFirst>(v, v), b = lanes::shuffle<kPairSecond>(v, v);
    return lanes::shuffle<kSumThenDifference>(a + b, a - b);
}

// The last stages with sixteen lanes, on 64 elements (eight vectors z, z[k] holding the
// groups 2k and 2k + 1) kept in registers. transpose4<U> transposes the 4 x 4 cells of U
// floats that four vectors form in each block of 4 U floats. Between the two stages the
// lanes go straight from the first stage's order to the second's, and back only at the end.

// Real and imaginary parts of two vectors of the split layout, and back.
VOREL_INLINE void split_parts(float16 x, float16 y, float16& re, float16& im) {
    re = lanes::shuffle<lanes::kSplitPart<0>>(x, y), im = lanes::shuffle<lanes::kSplitPart<1>>(x, y);
}

VOREL_INLINE void join_parts(float16 re, float16 im, float16& x, float16& y) {
    x = lanes::shuffle<lanes::kJoinParts<0>>(re, im), y = lanes::shuffle<lanes::kJoinParts<1>>(re, im);
}

// Quarters 4 and 1 (blocks of 16 elements). Transposing blocks of four brings group b of
// each block into the vector of part b: lane 4 blk + c holds element 16 blk + 4 b + c, the
// quarter-4 butterflies with column c. Transposing four floats of those four vectors then
// gives lane 4 blk + b of vector c the same element: each lane is one group, whose elements
// 0 to 3 are the quarter-1 butterfly (row 0).
template <bool Inverse>
VOREL_INLINE void quarters4_and_1(float16 (&z)[8], const float16* t_first, const float16* t_second) {
    lanes::transpose4<4>(z[0], z[2], z[4], z[6]);
    lanes::transpose4<4>(z[1], z[3], z[5], z[7]);
    // Real parts of groups 0 to 3 now in z[0], z[4], z[1], z[5]; imaginary parts in z[2], z[6], z[3], z[7].
    butterfly<Inverse>(z[0], z[2], z[4], z[6], z[1], z[3], z[5], z[7], t_first);
    lanes::transpose4<1>(z[0], z[4], z[1], z[5]);
    lanes::transpose4<1>(z[2], z[6], z[3], z[7]);
    butterfly<Inverse>(z[0], z[2], z[4], z[6], z[1], z[3], z[5], z[7], t_second);
    lanes::transpose4<1>(z[0], z[4], z[1], z[5]);
    lanes::transpose4<1>(z[2], z[6], z[3], z[7]);
    lanes::transpose4<4>(z[0], z[2], z[4], z[6]);
    lanes::transpose4<4>(z[1], z[3], z[5], z[7]);
}

// Quarters 8 and 2 (blocks of 32 elements, z[0..3] and z[4..7]) and the radix-2 pass. Split
// into parts, vector q holds at lane 8 blk + c element 32 blk + 8 q + c: the quarter-8
// butterflies with column c. Transposing cells of two floats gives lane 8 blk + 2 q + c of
// vector u element 32 blk + 8 q + 2 u + c: the quarter-2 butterflies, column c, with the
// neighbours of the radix-2 pass in neighbouring lanes.
template <bool Inverse>
VOREL_INLINE void quarters8_and_2_radix2(float16 (&z)[8], const float16* t_first, const float16* t_second) {
    float16 re[4], im[4];
    for (int q = 0; q < 4; ++q) split_parts(z[q], z[4 + q], re[q], im[q]);
    butterfly<Inverse>(re[0], im[0], re[1], im[1], re[2], im[2], re[3], im[3], t_first);
    lanes::transpose4<2>(re[0], re[1], re[2], re[3]);
    lanes::transpose4<2>(im[0], im[1], im[2], im[3]);
    butterfly<Inverse>(re[0], im[0], re[1], im[1], re[2], im[2], re[3], im[3], t_second);
    for (int u = 0; u < 4; ++u) re[u] = radix2(re[u]), im[u] = radix2(im[u]);
    lanes::transpose4<2>(re[0], re[1], re[2], re[3]);
    lanes::transpose4<2>(im[0], im[1], im[2], im[3]);
    for (int q = 0; q < 4; ++q) join_parts(re[q], im[q], z[q], z[4 + q]);
}

// The last two stages per 64 elements held in registers: quarters 4 and 1 of an even
// log2(n) >= 6, or quarters 8 and 2 and the radix-2 pass of an odd log2(n) >= 7. `lanes` are
// the twiddles of the two stages as sixteen lanes (see column_twiddles.h).
template <bool Inverse, bool Odd>
VOREL_INLINE void last_stages16(float* d, std::size_t n, const float* twiddle_lanes) {
    float16 t_first[12], t_second[12];
    for (std::size_t c = 0; c < 12; ++c) {
        t_first[c] = load<float16>(twiddle_lanes + 16 * c);
        t_second[c] = load<float16>(twiddle_lanes + 12 * 16 + 16 * c);
    }
    for (std::size_t i = 0; i < n; i += 64) {
        float* p = d + 2 * i;
        float16 z[8];
        for (int k = 0; k < 8; ++k) z[k] = load<float16>(p + 16 * k);
        if constexpr (Odd)
            quarters8_and_2_radix2<Inverse>(z, t_first, t_second);
        else
            quarters4_and_1<Inverse>(z, t_first, t_second);
        for (int k = 0; k < 8; ++k) store(p + 16 * k, z[k]);
    }
}

// The radix-4 stages of a power of two n >= 16, the first reading `src` as In says, all
// writing the split layout to d (which may be src), then the radix-2 pass when log2(n) is
// odd, leaving the bit reversal to follow. `cols` are the column twiddles of n (see
// column_twiddles.h), `table` the rows of FftTable, read by the last stages, whose quarter
// is below 4.
template <bool Inverse, class V, Input In>
VOREL_INLINE void split_stages(float* d, const float* src, std::size_t n, const float* table, const float* cols) {
    any_wide_stage<Inverse, V, In>(d, src, n, n, cols);
    cols += 12 * (n / 4);
    for (std::size_t size = n / 4; size >= 4; size /= 4) {
        const std::size_t quarter = size / 4, step = 12 * (n / size);
        float4 t[12];
        if (kLanes<V> == 16 && (quarter == 4 || quarter == 8)) {
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
    }
    if (std::countr_zero(n) % 2 == 1)
        for (std::size_t k = 0; k < 2 * n; k += kLanes<V>) store(d + k, radix2(load<V>(d + k)));
}

// Bit reversal out of the split layout. Index hi * n/4 + mid * 4 + lo (hi, lo of two bits)
// goes to rev(lo) * n/4 + rev(mid) * 4 + rev(hi): block mid (four rows of one group, n/4
// elements apart) goes transposed to block rev(mid). One eight-float row holds a group's real
// parts in its low half and imaginary parts in its high half, so one in-half transpose moves
// both; the element pairs then interleave. With Divide every float is divided by n on the
// way (the scaling of the inverse acts on each element where it stands).
constexpr auto kInterleaveHalves = [](std::size_t i, std::size_t) { return (i % 2) * 4 + i / 2; };

template <bool Divide>
VOREL_INLINE void transpose_block(const float* from, std::size_t row_floats, float8 (&out)[4], float length) {
    // Rows taken in the order 0, 2, 1, 3 make column c of the transpose the output row rev(c).
    float8 r0 = load<float8>(from), r2 = load<float8>(from + row_floats);
    float8 r1 = load<float8>(from + 2 * row_floats), r3 = load<float8>(from + 3 * row_floats);
    lanes::transpose4<1>(r0, r1, r2, r3);
    const float8 col[4] = {r0, r2, r1, r3};
    for (std::size_t r = 0; r < 4; ++r) {
        out[r] = lanes::shuffle<kInterleaveHalves>(col[r], col[r]);
        if constexpr (Divide) out[r] = out[r] / length;
    }
}

template <bool Divide>
VOREL_INLINE void bit_reverse_split(const float* from, float* to, std::size_t n) {
    const std::size_t row_floats = n / 2;
    const float length = static_cast<float>(n);
    const int mid_bits = std::countr_zero(n) - 4;
    // The four rows of the block that goes to position `at`.
    const auto store_block = [&](std::uint32_t at, const float8(&rows)[4]) VOREL_INLINE_LAMBDA {
        for (std::size_t r = 0; r < 4; ++r) store(to + r * row_floats + 8 * at, rows[r]);
    };
    if (from != to) {
        // Out of place every block moves on its own.
        for (std::uint32_t mid = 0; mid < n / 16; ++mid) {
            float8 rows[4];
            transpose_block<Divide>(from + 8 * mid, row_floats, rows, length);
            store_block(reversed_index(mid, mid_bits), rows);
        }
        return;
    }
    // In place both blocks of a pair are read before either is written.
    for (std::uint32_t mid = 0; mid < n / 16; ++mid) {
        const std::uint32_t mid_r = reversed_index(mid, mid_bits);
        if (mid_r < mid) continue;
        float8 to_y[4], to_x[4];
        transpose_block<Divide>(from + 8 * mid, row_floats, to_y, length);
        if (mid_r != mid) transpose_block<Divide>(from + 8 * mid_r, row_floats, to_x, length);
        store_block(mid_r, to_y);
        if (mid_r != mid) store_block(mid, to_x);
    }
}

// The whole transform: stages, then the bit reversal from d to `to`.
template <bool Inverse, class V, Input In>
VOREL_INLINE void transform(const float* src, float* d, float* to, std::size_t n, const float* table,
                            const float* cols) {
    split_stages<Inverse, V, In>(d, src, n, table, cols);
    bit_reverse_split<Inverse>(d, to, n);
}

}  // namespace vorel::audio::pow2
