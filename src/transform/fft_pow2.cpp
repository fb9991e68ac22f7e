// The radix-4 transform for powers of two: stages of butterflies that read the 12-float
// rows of FftTable, a radix-2 pass when log2(n) is odd, and a bit reversal.
//
// Butterflies within one stage touch disjoint elements, so a stage may run them in any
// order and four at a time: once n reaches 16 every stage gathers four butterflies into the
// lanes of float4 vectors, each lane doing exactly the scalar operations. For that run the
// buffer is held in groups of four complex elements, four real parts then four imaginary
// parts, so that the butterflies of four neighbouring columns load without shuffles; the
// bit reversal at the end restores the interleaved layout.
#include <bit>

#include "common/float4.h"
#include "transform/complex_ops.h"
#include "transform/fft_kernels.h"

namespace vorel::audio {

namespace {

template <bool Inverse>
void scalar_column(float* d, std::size_t n, std::size_t start, std::size_t size, std::size_t quarter,
                   const float* t) {
    const std::size_t q2 = 2 * quarter;
    for (std::size_t i = start; i < n; i += size) {
        float* a = d + 2 * i;
        float* b = a + q2;
        float* c = b + q2;
        float* e = c + q2;
        float ar = a[0], ai = a[1], br = b[0], bi = b[1], cr = c[0], ci = c[1], dr = e[0], di = e[1];
        butterfly<Inverse>(ar, ai, br, bi, cr, ci, dr, di, t);
        a[0] = ar, a[1] = ai, b[0] = br, b[1] = bi, c[0] = cr, c[1] = ci, e[0] = dr, e[1] = di;
    }
}

// Twiddle lanes from four table rows starting at the given float offsets.
inline void gather_rows(float4* t, const float* table, std::size_t p0, std::size_t p1, std::size_t p2,
                        std::size_t p3) {
    for (std::size_t c = 0; c < 12; c += 4) {
        t[c] = load4(table + p0 + c);
        t[c + 1] = load4(table + p1 + c);
        t[c + 2] = load4(table + p2 + c);
        t[c + 3] = load4(table + p3 + c);
        transpose4(t[c], t[c + 1], t[c + 2], t[c + 3]);
    }
}

// One group of four complex elements in the split layout, the float offset of its element 0
// being twice that element's index.
struct Group {
    float4 re, im;
};

inline Group load_group(const float* p) { return Group{load4(p), load4(p + 4)}; }

inline void store_group(float* p, const Group& g) {
    store4(p, g.re);
    store4(p + 4, g.im);
}

void to_split_groups(float* d, std::size_t n) {
    for (std::size_t i = 0; i < n; i += 4) {
        float* p = d + 2 * i;
        const float4 lo = load4(p), hi = load4(p + 4);
        store_group(p, Group{__builtin_shufflevector(lo, hi, 0, 2, 4, 6), __builtin_shufflevector(lo, hi, 1, 3, 5, 7)});
    }
}

// Columns start .. start + 3 at once: A of lane l is element i + l, a group of its own.
template <bool Inverse>
inline void butterflies_of_groups(float* d, std::size_t i, std::size_t quarter, const float4* t) {
    float* pa = d + 2 * i;
    float* pb = pa + 2 * quarter;
    float* pc = pb + 2 * quarter;
    float* pd = pc + 2 * quarter;
    Group a = load_group(pa), b = load_group(pb), c = load_group(pc), e = load_group(pd);
    butterfly<Inverse>(a.re, a.im, b.re, b.im, c.re, c.im, e.re, e.im, t);
    store_group(pa, a), store_group(pb, b), store_group(pc, c), store_group(pd, e);
}

// Quarter 2, over 16 elements (groups g0..g3): lanes are columns 0, 1 at element 0 and
// columns 0, 1 at element 8. A and B of the first two lanes share g0, C and D share g1.
template <bool Inverse>
inline void butterflies_of_halves(float* p, const float4* t) {
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
inline void butterflies_within_groups(float* p, const float4* t) {
    Group g0 = load_group(p), g1 = load_group(p + 8), g2 = load_group(p + 16), g3 = load_group(p + 24);
    transpose4(g0.re, g1.re, g2.re, g3.re);
    transpose4(g0.im, g1.im, g2.im, g3.im);
    butterfly<Inverse>(g0.re, g0.im, g1.re, g1.im, g2.re, g2.im, g3.re, g3.im, t);
    transpose4(g0.re, g1.re, g2.re, g3.re);
    transpose4(g0.im, g1.im, g2.im, g3.im);
    store_group(p, g0), store_group(p + 8, g1), store_group(p + 16, g2), store_group(p + 24, g3);
}

// All columns of one stage on the split layout (n >= 16); column `start` reads the row at
// start * step.
template <bool Inverse>
void radix4_stage(float* d, std::size_t n, std::size_t size, std::size_t step, const float* table) {
    const std::size_t quarter = size / 4;
    float4 t[12];
    if (quarter >= 4) {
        for (std::size_t start = 0; start < quarter; start += 4) {
            const std::size_t pos = start * step;
            gather_rows(t, table, pos, pos + step, pos + 2 * step, pos + 3 * step);
            for (std::size_t i = start; i < n; i += size) butterflies_of_groups<Inverse>(d, i, quarter, t);
        }
    } else if (quarter == 2) {
        gather_rows(t, table, 0, step, 0, step);
        for (std::size_t i = 0; i < n; i += 16) butterflies_of_halves<Inverse>(d + 2 * i, t);
    } else {
        gather_rows(t, table, 0, 0, 0, 0);
        for (std::size_t i = 0; i < n; i += 16) butterflies_within_groups<Inverse>(d + 2 * i, t);
    }
}

void radix2_pass(float* d, std::size_t n) {
    for (std::size_t m = 0; m + 1 < n; m += 2) {
        float* p = d + 2 * m;
        const float4 v = load4(p);
        const float4 a = __builtin_shufflevector(v, v, 0, 1, 0, 1);
        const float4 b = __builtin_shufflevector(v, v, 2, 3, 2, 3);
        store4(p, __builtin_shufflevector(a + b, a - b, 0, 1, 6, 7));
    }
}

// The radix-2 pass on the split layout: neighbours 0, 1 and 2, 3 of each group.
inline float4 sum_and_difference_of_neighbours(float4 v) {
    const float4 a = __builtin_shufflevector(v, v, 0, 0, 2, 2);
    const float4 b = __builtin_shufflevector(v, v, 1, 1, 3, 3);
    return __builtin_shufflevector(a + b, a - b, 0, 5, 2, 7);
}

void radix2_pass_split(float* d, std::size_t n) {
    for (std::size_t i = 0; i < n; i += 4) {
        float* p = d + 2 * i;
        store_group(p, Group{sum_and_difference_of_neighbours(load4(p)), sum_and_difference_of_neighbours(load4(p + 4))});
    }
}

bool odd_log2(std::size_t n) { return std::countr_zero(n) % 2 == 1; }

// Calls stage(size, step) for each radix-4 stage of a length n >= 4: size is the span of one
// butterfly column, step the table stride between its columns.
template <class Stage>
void for_each_radix4_stage(std::size_t n, Stage&& stage) {
    std::size_t size = n, step = 12;
    for (;;) {
        stage(size, step);
        step *= 4;
        if (size < 16) break;
        size /= 4;
    }
}

// n below 16: the scalar columns on the interleaved buffer.
template <bool Inverse>
void short_transform(float* d, std::size_t n, const float* table) {
    if (n >= 4)
        for_each_radix4_stage(n, [&](std::size_t size, std::size_t step) {
            const std::size_t quarter = size / 4;
            for (std::size_t start = 0; start < quarter; ++start)
                scalar_column<Inverse>(d, n, start, size, quarter, table + start * step);
        });
    if (odd_log2(n)) radix2_pass(d, n);
    if (n >= 3) bit_reverse(d, n);
}

template <bool Inverse>
void pow2_transform(float* d, std::size_t n, const float* table) {
    if (n < 16) {
        short_transform<Inverse>(d, n, table);
        return;
    }
    to_split_groups(d, n);
    for_each_radix4_stage(n, [&](std::size_t size, std::size_t step) { radix4_stage<Inverse>(d, n, size, step, table); });
    if (odd_log2(n)) radix2_pass_split(d, n);
    bit_reverse_split(d, n);
}

}  // namespace

void fft_pow2(std::vector<float>& data, int n, const std::vector<float>& table) {
    pow2_transform<false>(data.data(), static_cast<std::size_t>(n), table.data());
}

void ifft_pow2(std::vector<float>& data, int n, const std::vector<float>& table) {
    pow2_transform<true>(data.data(), static_cast<std::size_t>(n), table.data());
    divide_by_length(data.data(), static_cast<std::size_t>(n));
}

void fft_pow2_core(std::vector<float>& data, int n, int start, int size, int quarter,
                   const std::vector<float>& table, std::size_t table_pos) {
    scalar_column<false>(data.data(), n, start, size, quarter, table.data() + table_pos);
}

void ifft_pow2_core(std::vector<float>& data, int n, int start, int size, int quarter,
                    const std::vector<float>& table, std::size_t table_pos) {
    scalar_column<true>(data.data(), n, start, size, quarter, table.data() + table_pos);
}

void fft_pow2_merge(std::vector<float>& data, int n) {
    if (n < 1) return;
    radix2_pass(data.data(), static_cast<std::size_t>(n));
}

}  // namespace vorel::audio
