// The radix-4 transform for powers of two: stages of butterflies that read the 12-float
// rows of FftTable, a radix-2 pass when log2(n) is odd, and a bit reversal.
//
// Butterflies within one stage touch disjoint elements, so a stage may run them in any
// order and four at a time: once n reaches 16 every stage gathers four butterflies into the
// lanes of float4 vectors, each lane doing exactly the scalar operations.
#include <bit>

#include "common/float4.h"
#include "transform/fft_kernels.h"

namespace vorel::audio {

namespace {

// One radix-4 butterfly on four complex values A, B, C, D given as real and imaginary
// parts, with the twiddles t[0..11] of one table row. V is float, or float4 for four
// independent butterflies; T is float or float4 alike.
template <bool Inverse, class V, class T>
inline void butterfly(V& ar, V& ai, V& br, V& bi, V& cr, V& ci, V& dr, V& di, const T* t) {
    const V apc_r = ar + cr, apc_i = ai + ci;
    const V bpd_r = br + dr, bpd_i = bi + di;
    const V amc_r = ar - cr, amc_i = ai - ci;
    const V dmb_r = dr - br, dmb_i = di - bi;
    const V xr = apc_r - bpd_r, xi = apc_i - bpd_i;
    // (A - C) - i(B - D) and (A - C) + i(B - D); the inverse exchanges their places.
    const V minus_r = amc_r - dmb_i, minus_i = amc_i + dmb_r;
    const V plus_r = amc_r + dmb_i, plus_i = amc_i - dmb_r;
    const V yr = Inverse ? plus_r : minus_r, yi = Inverse ? plus_i : minus_i;
    const V zr = Inverse ? minus_r : plus_r, zi = Inverse ? minus_i : plus_i;
    ar = apc_r + bpd_r;
    ai = apc_i + bpd_i;
    // The twiddle of 2j goes to the second quarter and that of j to the third, so that a
    // plain bit reversal restores the order afterwards.
    br = xr * t[0] + xi * t[2];
    bi = xr * t[1] + xi * t[3];
    cr = yr * t[4] + yi * t[6];
    ci = yr * t[5] + yi * t[7];
    dr = zi * t[8] + zr * t[10];
    di = zi * t[9] + zr * t[11];
}

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

// Lanes 0 and 1 from the two complex values at `lo`, lanes 2 and 3 from those at `hi`.
inline void load_pairs(const float* lo, const float* hi, float4& re, float4& im) {
    const float4 p = load4(lo), q = load4(hi);
    re = __builtin_shufflevector(p, q, 0, 2, 4, 6);
    im = __builtin_shufflevector(p, q, 1, 3, 5, 7);
}

inline void store_pairs(float* lo, float* hi, float4 re, float4 im) {
    store4(lo, __builtin_shufflevector(re, im, 0, 4, 1, 5));
    store4(hi, __builtin_shufflevector(re, im, 2, 6, 3, 7));
}

// Four butterflies whose A values are the complex elements lo, lo + 1, hi, hi + 1.
template <bool Inverse>
inline void butterflies_in_pairs(float* d, std::size_t lo, std::size_t hi, std::size_t quarter,
                                 const float4* t) {
    float* x = d + 2 * lo;
    float* y = d + 2 * hi;
    const std::size_t q2 = 2 * quarter;
    float4 ar, ai, br, bi, cr, ci, dr, di;
    load_pairs(x, y, ar, ai);
    load_pairs(x + q2, y + q2, br, bi);
    load_pairs(x + 2 * q2, y + 2 * q2, cr, ci);
    load_pairs(x + 3 * q2, y + 3 * q2, dr, di);
    butterfly<Inverse>(ar, ai, br, bi, cr, ci, dr, di, t);
    store_pairs(x, y, ar, ai);
    store_pairs(x + q2, y + q2, br, bi);
    store_pairs(x + 2 * q2, y + 2 * q2, cr, ci);
    store_pairs(x + 3 * q2, y + 3 * q2, dr, di);
}

// Four butterflies of quarter 1 over 16 consecutive complex elements: each butterfly's
// A, B, C, D are neighbours, so a transpose brings them into lanes.
template <bool Inverse>
inline void butterflies_in_quads(float* p, const float4* t) {
    float4 ab0 = load4(p), cd0 = load4(p + 4), ab1 = load4(p + 8), cd1 = load4(p + 12);
    float4 ab2 = load4(p + 16), cd2 = load4(p + 20), ab3 = load4(p + 24), cd3 = load4(p + 28);
    transpose4(ab0, ab1, ab2, ab3);
    transpose4(cd0, cd1, cd2, cd3);
    butterfly<Inverse>(ab0, ab1, ab2, ab3, cd0, cd1, cd2, cd3, t);
    transpose4(ab0, ab1, ab2, ab3);
    transpose4(cd0, cd1, cd2, cd3);
    store4(p, ab0), store4(p + 4, cd0), store4(p + 8, ab1), store4(p + 12, cd1);
    store4(p + 16, ab2), store4(p + 20, cd2), store4(p + 24, ab3), store4(p + 28, cd3);
}

// All columns of one stage; column `start` reads the row at start * step.
template <bool Inverse>
void radix4_stage(float* d, std::size_t n, std::size_t size, std::size_t step, const float* table) {
    const std::size_t quarter = size / 4;
    if (n < 16) {
        for (std::size_t start = 0; start < quarter; ++start)
            scalar_column<Inverse>(d, n, start, size, quarter, table + start * step);
        return;
    }
    float4 t[12];
    if (quarter >= 4) {
        for (std::size_t start = 0; start < quarter; start += 4) {
            const std::size_t pos = start * step;
            gather_rows(t, table, pos, pos + step, pos + 2 * step, pos + 3 * step);
            for (std::size_t i = start; i < n; i += size) butterflies_in_pairs<Inverse>(d, i, i + 2, quarter, t);
        }
    } else if (quarter == 2) {
        gather_rows(t, table, 0, step, 0, step);
        for (std::size_t i = 0; i < n; i += 16) butterflies_in_pairs<Inverse>(d, i, i + 8, 2, t);
    } else {
        gather_rows(t, table, 0, 0, 0, 0);
        for (std::size_t i = 0; i < n; i += 16) butterflies_in_quads<Inverse>(d + 2 * i, t);
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

template <bool Inverse>
void pow2_transform(float* d, std::size_t n, const float* table) {
    if (n >= 4) {
        std::size_t size = n, step = 12;
        for (;;) {
            radix4_stage<Inverse>(d, n, size, step, table);
            step *= 4;
            if (size < 16) break;
            size /= 4;
        }
    }
    if (std::countr_zero(n) % 2 == 1) radix2_pass(d, n);
    if (n >= 3) bit_reverse(d, n);
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
