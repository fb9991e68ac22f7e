// The power-of-two transform from n = 16 on with butterflies in vector lanes, written once over
// the vector type and built by pow2_kernels.cpp for each level.
// Split layout of group G: groups of G complex elements, G real parts then G imaginary parts.
// Butterflies of one stage touch disjoint elements, so they run W at a time in any order; each
// lane does exactly the scalar operations (no fused multiply-add).
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "simd/shuffles.h"
#include "simd/vec.h"
#include "transform/schedules.h"

namespace vorel::audio::pow2 {

using simd::float16;
using simd::float4;
using simd::float8;
using simd::kLanes;
using simd::load;
using simd::store;

// Column twiddles: per stage, the six distinct values of a table row (cos 2j, sin 2j, cos j,
// sin j, cos 3j, sin 3j), value k of column s at k * quarter + s, so that consecutive columns
// load as one vector. The row's -sin entries are negated values: negation is exact.
inline constexpr std::size_t kColumnValues = 6;
inline constexpr std::size_t kRowSource[12] = {0, 1, 1, 0, 2, 3, 3, 2, 5, 4, 4, 5};
inline constexpr bool kRowNegated[12] = {false, false, true, false, false, false,
                                         true,  false, true, false, false, false};

// Floats of the twiddles of one of the last two stages as sixteen lanes, whole rows.
constexpr std::size_t kLastStageFloats = 12 * 16;

// Float offset of the real part of element i in the split layout of group G; the imaginary
// part follows G floats on.
template <std::size_t G>
constexpr std::size_t part_at(std::size_t i) {
    return 2 * G * (i / G) + i % G;
}

// For a power of two n, 1/n is exact, so x (1/n) is x / n rounded once, as the division is,
// for every x (subnormals, zeros, infinities and NaN alike).
inline float scale_of(std::size_t n) { return 1.0f / static_cast<float>(n); }

// How the first stage reads its elements; later stages read the split layout.
enum class Input { split, real, interleaved };

// W consecutive elements from element i of `src` held as In says; i is a multiple of W,
// which divides G.
template <class V, Input In, std::size_t G>
VOREL_INLINE void load_input(const float* src, std::size_t i, V& re, V& im) {
    if constexpr (In == Input::split) {
        re = load<V>(src + part_at<G>(i)), im = load<V>(src + part_at<G>(i) + G);
    } else if constexpr (In == Input::real) {
        re = load<V>(src + i), im = V{};
    } else {
        const V a = load<V>(src + 2 * i), b = load<V>(src + 2 * i + kLanes<V>);
        re = lanes::shuffle<lanes::kEvery2nd<0>>(a, b), im = lanes::shuffle<lanes::kEvery2nd<1>>(a, b);
    }
}

// The 12 twiddles of W consecutive columns from their six values, `stride` floats apart.
template <class V>
VOREL_INLINE void column_twiddles(const float* values, std::size_t stride, V (&t)[12]) {
    V w[kColumnValues];
    for (std::size_t k = 0; k < kColumnValues; ++k) w[k] = load<V>(values + k * stride);
    for (std::size_t c = 0; c < 12; ++c) t[c] = kRowNegated[c] ? -w[kRowSource[c]] : w[kRowSource[c]];
}

// A stage whose quarter is a multiple of W, lanes over W consecutive columns, from `src` read
// as In says to the split layout of group G at d; each butterfly reads before it writes, so d
// may be src.
template <bool Inverse, class V, Input In, std::size_t G>
VOREL_INLINE void wide_stage(float* d, const float* src, std::size_t n, std::size_t size, const float* cols) {
    const std::size_t quarter = size / 4;
    for (std::size_t start = 0; start < quarter; start += kLanes<V>) {
        V t[12];
        column_twiddles(cols + start, quarter, t);
        for (std::size_t i = start; i < n; i += size) {
            V re[4], im[4];
            for (std::size_t j = 0; j < 4; ++j) load_input<V, In, G>(src, i + j * quarter, re[j], im[j]);
            butterfly<Inverse>(re[0], im[0], re[1], im[1], re[2], im[2], re[3], im[3], t);
            for (std::size_t j = 0; j < 4; ++j) {
                float* p = d + part_at<G>(i + j * quarter);
                store(p, re[j]), store(p + G, im[j]);
            }
        }
    }
}

// A stage of quarter >= 4 at the widest vector that fits it.
template <bool Inverse, class V, Input In, std::size_t G>
VOREL_INLINE void any_wide_stage(float* d, const float* src, std::size_t n, std::size_t size, const float* cols) {
    const std::size_t quarter = size / 4;
    if (quarter >= kLanes<V>)
        wide_stage<Inverse, V, In, G>(d, src, n, size, cols);
    else if (kLanes<V> > 8 && quarter >= 8)
        wide_stage<Inverse, float8, In, G>(d, src, n, size, cols);
    else
        wide_stage<Inverse, float4, In, G>(d, src, n, size, cols);
}

// One group of four complex elements.
struct Group {
    float4 re, im;
};

// Elements 4 k to 4 k + 3 from p, in the split layout of group G.
template <std::size_t G>
VOREL_INLINE Group load_group(const float* p, std::size_t k) {
    return Group{load<float4>(p + part_at<G>(4 * k)), load<float4>(p + part_at<G>(4 * k) + G)};
}

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

// The last stages below W lanes, over 16 elements from p, from group G to group 4.
// Quarter 2: lanes are columns 0, 1 at elements 0 and 8; A and B share g0, C and D g1.
template <bool Inverse, std::size_t G>
VOREL_INLINE void butterflies_of_halves(float* p, const float4* t) {
    const Group g0 = load_group<G>(p, 0), g1 = load_group<G>(p, 1), g2 = load_group<G>(p, 2), g3 = load_group<G>(p, 3);
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

// Quarter 1: each group holds one butterfly, so a transpose brings four into lanes.
template <bool Inverse, std::size_t G>
VOREL_INLINE void butterflies_within_groups(float* p, const float4* t) {
    Group g0 = load_group<G>(p, 0), g1 = load_group<G>(p, 1), g2 = load_group<G>(p, 2), g3 = load_group<G>(p, 3);
    lanes::transpose4<1>(g0.re, g1.re, g2.re, g3.re);
    lanes::transpose4<1>(g0.im, g1.im, g2.im, g3.im);
    butterfly<Inverse>(g0.re, g0.im, g1.re, g1.im, g2.re, g2.im, g3.re, g3.im, t);
    lanes::transpose4<1>(g0.re, g1.re, g2.re, g3.re);
    lanes::transpose4<1>(g0.im, g1.im, g2.im, g3.im);
    store_group(p, g0), store_group(p + 8, g1), store_group(p + 16, g2), store_group(p + 24, g3);
}

// The radix-2 pass on W floats of the split layout: (a, b) -> (a + b, a - b) on neighbours.
constexpr auto kPairFirst = [](std::size_t i, std::size_t) { return i - i % 2; };
constexpr auto kPairSecond = [](std::size_t i, std::size_t) { return i - i % 2 + 1; };
constexpr auto kSumThenDifference = [](std::size_t i, std::size_t w) { return i % 2 == 0 ? i : w + i; };

template <class V>
VOREL_INLINE V radix2(V v) {
    const V a = lanes::shuffle<kPairFirst>(v, v), b = lanes::shuffle<kPairSecond>(v, v);
    return lanes::shuffle<kSumThenDifference>(a + b, a - b);
}

// The last stages with sixteen lanes, on 64 elements kept in registers.
// Twiddle c of sixteen lanes, read where used. Row 0 (UnitRow) has cosines of exactly 1: x * 1
// is x for every x but a NaN, which the following sum passes on as a NaN either way. Its sines
// (+-0) stay products, since x * (+-0) may be a zero of either sign or a NaN.
template <bool UnitRow = false>
struct TwiddleLanes {
    const float* p;
    VOREL_INLINE float16 operator[](std::size_t c) const {
        return UnitRow && kRowSource[c] % 2 == 0 ? simd::broadcast<float16>(1.0f) : load<float16>(p + 16 * c);
    }
};

// Quarters 4 and 1 on four blocks of 16, block blk in re[blk], im[blk]: after the first
// transpose lane 4 blk + c of vector b is element 4 b + c of block blk (column c of quarter 4);
// after the second, lane 4 blk + b of vector c is that element (the quarter-1 butterflies).
template <bool Inverse, class T>
VOREL_INLINE void quarters4_and_1(float16 (&re)[4], float16 (&im)[4], const T& t_first,
                                  const TwiddleLanes<true>& t_second) {
    lanes::transpose4<4>(re[0], re[1], re[2], re[3]);
    lanes::transpose4<4>(im[0], im[1], im[2], im[3]);
    butterfly<Inverse>(re[0], im[0], re[1], im[1], re[2], im[2], re[3], im[3], t_first);
    lanes::transpose4<1>(re[0], re[1], re[2], re[3]);
    lanes::transpose4<1>(im[0], im[1], im[2], im[3]);
    butterfly<Inverse>(re[0], im[0], re[1], im[1], re[2], im[2], re[3], im[3], t_second);
}

// Quarters 8 and 2 on two blocks of 32, groups re[g], im[g] of 16: lane 8 blk + c of vector q
// is element 8 q + c of block blk (column c of quarter 8); after the transpose, lane
// 8 blk + 2 q + c of vector u is element 8 q + 2 u + c (column c of quarter 2).
template <bool Inverse, class T>
VOREL_INLINE void quarters8_and_2(float16 (&re)[4], float16 (&im)[4], const T& t_first, const T& t_second) {
    const auto by_halves = [](float16(&v)[4]) VOREL_INLINE_LAMBDA {
        const float16 g0 = v[0], g1 = v[1], g2 = v[2], g3 = v[3];
        v[0] = lanes::unpack<16, 8, 0>(g0, g2), v[1] = lanes::unpack<16, 8, 1>(g0, g2);
        v[2] = lanes::unpack<16, 8, 0>(g1, g3), v[3] = lanes::unpack<16, 8, 1>(g1, g3);
    };
    by_halves(re), by_halves(im);
    butterfly<Inverse>(re[0], im[0], re[1], im[1], re[2], im[2], re[3], im[3], t_first);
    lanes::transpose4<2>(re[0], re[1], re[2], re[3]);
    lanes::transpose4<2>(im[0], im[1], im[2], im[3]);
    butterfly<Inverse>(re[0], im[0], re[1], im[1], re[2], im[2], re[3], im[3], t_second);
}

// The rows of the bit reversal (see bit_reverse_split) straight from the lanes of
// quarters4_and_1 for tile x: lane 4 hi + b of vector lo is element hi n/4 + 4 mid + lo,
// mid = 4 x + b, which goes to rev(lo) n/4 + 4 rev(mid) + rev(hi). Divided by n with Divide.
constexpr std::size_t rev2(std::size_t v) { return (v % 2) * 2 + v / 2; }

template <std::size_t H>
constexpr auto kTwoRows = [](std::size_t j, std::size_t w) {
    const std::size_t b = 2 * H + j / 8, k = j % 8;
    return (k % 2) * w + 4 * rev2(k / 2) + b;
};

template <std::size_t Half>
VOREL_INLINE float8 half_of(float16 v) {
    constexpr int h = 8 * static_cast<int>(Half);
    return __builtin_shufflevector(v, v, h, h + 1, h + 2, h + 3, h + 4, h + 5, h + 6, h + 7);
}

template <bool Divide>
VOREL_INLINE void store_rows_even(float* to, std::size_t n, std::size_t x, const float16 (&re)[4],
                                  const float16 (&im)[4]) {
    const float scale = scale_of(n);
    const int mid_bits = std::countr_zero(n) - 4;
    const std::size_t rev_x = reversed_index(static_cast<std::uint32_t>(4 * x), mid_bits);
    const auto row = [&](std::size_t lo, std::size_t b) VOREL_INLINE_LAMBDA {
        return to + rev2(lo) * (n / 2) + 8 * (rev_x + (rev2(b) << (mid_bits - 2)));
    };
    for (std::size_t lo = 0; lo < 4; ++lo) {
        float16 r = re[lo], i = im[lo];
        if constexpr (Divide) r = r * scale, i = i * scale;
        const float16 rows01 = lanes::shuffle<kTwoRows<0>>(r, i), rows23 = lanes::shuffle<kTwoRows<1>>(r, i);
        store(row(lo, 0), half_of<0>(rows01)), store(row(lo, 1), half_of<1>(rows01));
        store(row(lo, 2), half_of<0>(rows23)), store(row(lo, 3), half_of<1>(rows23));
    }
}

// The same for quarters8_and_2 on tile y, blocks hi = 0, 1 in a and 2, 3 in b: block
// mid = 8 y + 2 q + u / 2 holds at lo = 2 (u % 2) + c element 8 q + 2 u + c, in lane
// 8 (hi % 2) + 2 q + c of vector u; its row takes from a, b, a, b in the order rev(hi). The
// radix-2 neighbours c = 0, 1 then stand at the same place of two vectors.
template <std::size_t H>
constexpr auto kRowParts = [](std::size_t j, std::size_t w) { return (j % 2) * w + (j % 4 / 2) * 8 + 4 * H + j / 4; };
template <std::size_t C>
constexpr auto kRowsOfParts = [](std::size_t j, std::size_t w) {
    const std::size_t m = j % 8;
    return (m / 2 % 2) * w + 4 * (2 * (j / 8) + C) + (m / 4) * 2 + m % 2;
};

template <bool Divide>
VOREL_INLINE void store_rows_odd(float* to, std::size_t n, std::size_t y, const float16 (&re)[2][4],
                                 const float16 (&im)[2][4]) {
    const float scale = scale_of(n);
    const int mid_bits = std::countr_zero(n) - 4;
    const std::size_t rev_y = reversed_index(static_cast<std::uint32_t>(8 * y), mid_bits);
    for (std::size_t u = 0; u < 4; ++u) {
        const float16 a_parts[2] = {lanes::shuffle<kRowParts<0>>(re[0][u], im[0][u]),
                                    lanes::shuffle<kRowParts<1>>(re[0][u], im[0][u])};
        const float16 b_parts[2] = {lanes::shuffle<kRowParts<0>>(re[1][u], im[1][u]),
                                    lanes::shuffle<kRowParts<1>>(re[1][u], im[1][u])};
        for (std::size_t h = 0; h < 2; ++h) {
            const float16 even = lanes::shuffle<kRowsOfParts<0>>(a_parts[h], b_parts[h]),
                          odd = lanes::shuffle<kRowsOfParts<1>>(a_parts[h], b_parts[h]);
            float16 rows[2] = {even + odd, even - odd};  // the radix-2 pass
            for (std::size_t c = 0; c < 2; ++c) {
                if constexpr (Divide) rows[c] = rows[c] * scale;
                for (std::size_t half = 0; half < 2; ++half) {
                    const auto mid3 = static_cast<std::uint32_t>(2 * (2 * h + half) + u / 2);
                    const std::size_t rev_mid = rev_y + (reversed_index(mid3, 3) << (mid_bits - 3));
                    store(to + rev2(2 * (u % 2) + c) * (n / 2) + 8 * rev_mid,
                          half == 0 ? half_of<0>(rows[c]) : half_of<1>(rows[c]));
                }
            }
        }
    }
}

// The last two stages per 64 elements: quarters 4 and 1 (even log2(n) >= 6) on tiles of four
// blocks of 16, or quarters 8 and 2 and the radix-2 pass (odd log2(n) >= 7) on tiles of four
// blocks of 32, blocks n/4 apart; written bit-reversed to `to`, divided by n for the inverse.
template <bool Inverse, bool Odd>
VOREL_INLINE void last_stages16(float* d, float* to, std::size_t n, const float* twiddle_lanes) {
    // The odd tiles run each stage twice and hold their twiddles in registers.
    const TwiddleLanes<> lanes_first{twiddle_lanes}, lanes_second{twiddle_lanes + 12 * 16};
    float16 held_first[12], held_second[12];
    if constexpr (Odd)
        for (std::size_t c = 0; c < 12; ++c) held_first[c] = lanes_first[c], held_second[c] = lanes_second[c];
    constexpr std::size_t kBlock = Odd ? 32 : 16, kHalves = Odd ? 2 : 1;
    // Element where group g (of 16) of half h of tile x starts.
    const auto group_at = [n](std::size_t x, std::size_t h, std::size_t g) VOREL_INLINE_LAMBDA {
        const std::size_t block = Odd ? 2 * h + g / 2 : g;
        return block * (n / 4) + kBlock * x + (Odd ? 16 * (g % 2) : 0);
    };
    for (std::size_t x = 0; x < n / (4 * kBlock); ++x) {
        float16 re[kHalves][4], im[kHalves][4];
        for (std::size_t h = 0; h < kHalves; ++h) {
            for (std::size_t g = 0; g < 4; ++g) {
                const float* p = d + 2 * group_at(x, h, g);
                re[h][g] = load<float16>(p), im[h][g] = load<float16>(p + 16);
            }
            if constexpr (Odd)
                quarters8_and_2<Inverse>(re[h], im[h], held_first, held_second);
            else
                quarters4_and_1<Inverse>(re[h], im[h], lanes_first, TwiddleLanes<true>{lanes_second.p});
        }
        if constexpr (Odd)
            store_rows_odd<Inverse>(to, n, x, re, im);
        else
            store_rows_even<Inverse>(to, n, x, re[0], im[0]);
    }
}

// The radix-4 stages of n >= 16 to the split layout at d, then the radix-2 pass when log2(n)
// is odd; true when the last stages wrote `to` in natural order already. `cols` are the column
// twiddles of n, `table` the FftTable rows read by the stages of quarter below 4.
template <bool Inverse, class V, Input In, std::size_t G = kLanes<V>>
VOREL_INLINE bool split_stages(float* d, const float* src, float* to, std::size_t n, const float* table,
                               const float* cols) {
    any_wide_stage<Inverse, V, In, G>(d, src, n, n, cols);
    cols += kColumnValues * (n / 4);
    for (std::size_t size = n / 4; size >= 4; size /= 4) {
        const std::size_t quarter = size / 4, step = 12 * (n / size);
        float4 t[12];
        if (kLanes<V> == 16 && (quarter == 4 || quarter == 8)) {
            quarter == 4 ? last_stages16<Inverse, false>(d, to, n, cols + kColumnValues * quarter)
                         : last_stages16<Inverse, true>(d, to, n, cols + kColumnValues * quarter);
            return true;
        } else if (quarter >= 4) {
            any_wide_stage<Inverse, V, Input::split, G>(d, d, n, size, cols);
            cols += kColumnValues * quarter;
        } else if (quarter == 2) {
            gather_rows(t, table, 0, step, 0, step);
            for (std::size_t i = 0; i < n; i += 16) butterflies_of_halves<Inverse, G>(d + 2 * i, t);
        } else {
            gather_rows(t, table, 0, 0, 0, 0);
            for (std::size_t i = 0; i < n; i += 16) butterflies_within_groups<Inverse, G>(d + 2 * i, t);
        }
    }
    if (std::countr_zero(n) % 2 == 1)
        for (std::size_t k = 0; k < 2 * n; k += kLanes<V>) store(d + k, radix2(load<V>(d + k)));
    return false;
}

// Bit reversal out of the split layout: hi n/4 + 4 mid + lo (hi, lo of two bits) goes to
// rev(lo) n/4 + 4 rev(mid) + rev(hi), so block mid (four rows n/4 apart) goes transposed to
// block rev(mid); an eight-float row holds a group's real and imaginary parts, which then
// interleave. With Divide every float is divided by n on the way.
constexpr auto kInterleaveHalves = [](std::size_t i, std::size_t) { return (i % 2) * 4 + i / 2; };

template <bool Divide>
VOREL_INLINE void transpose_block(const float* from, std::size_t row_floats, float8 (&out)[4], float scale) {
    // Rows taken in the order 0, 2, 1, 3 make column c of the transpose the output row rev(c).
    float8 r0 = load<float8>(from), r2 = load<float8>(from + row_floats);
    float8 r1 = load<float8>(from + 2 * row_floats), r3 = load<float8>(from + 3 * row_floats);
    lanes::transpose4<1>(r0, r1, r2, r3);
    const float8 col[4] = {r0, r2, r1, r3};
    for (std::size_t r = 0; r < 4; ++r) {
        out[r] = lanes::shuffle<kInterleaveHalves>(col[r], col[r]);
        if constexpr (Divide) out[r] = out[r] * scale;
    }
}

template <bool Divide>
VOREL_INLINE void bit_reverse_split(const float* from, float* to, std::size_t n) {
    const std::size_t row_floats = n / 2;
    const int mid_bits = std::countr_zero(n) - 4;
    for (std::uint32_t mid = 0; mid < n / 16; ++mid) {
        float8 rows[4];
        transpose_block<Divide>(from + 8 * mid, row_floats, rows, scale_of(n));
        for (std::size_t r = 0; r < 4; ++r) store(to + r * row_floats + 8 * reversed_index(mid, mid_bits), rows[r]);
    }
}

// The whole transform: stages in d, then the bit reversal from d to `to`.
template <bool Inverse, class V, Input In>
VOREL_INLINE void transform(const float* src, float* d, float* to, std::size_t n, const float* table,
                            const float* cols) {
    if (!split_stages<Inverse, V, In>(d, src, to, n, table, cols)) bit_reverse_split<Inverse>(d, to, n);
}

}  // namespace vorel::audio::pow2
