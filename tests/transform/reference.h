// Plain single-precision restatements of the coefficient rule and of both transform paths,
// written from their description without the library's code: a fused or reordered sum, a
// wrong twiddle position or a skipped product makes the library differ from them in bits.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

#include "common/dft_reference.h"

namespace transform_test {

using namespace vorel::audio::testing;

// Same bits, except that any NaN matches any NaN: which payload survives an operation on two
// NaN operands is the compiler's choice of operand order.
inline bool same_values(const float* a, const float* b, std::size_t n) {
    for (std::size_t k = 0; k < n; ++k) {
        if (std::isnan(a[k]) && std::isnan(b[k])) continue;
        if (std::memcmp(&a[k], &b[k], sizeof(float)) != 0) return false;
    }
    return true;
}

inline bool same_values(const std::vector<float>& a, const std::vector<float>& b) {
    return a.size() == b.size() && same_values(a.data(), b.data(), a.size());
}

// Inputs of 2 n floats that tell a faulty kernel apart: random values; zeros of random sign
// (a sum started from the wrong operand or a skipped product changes a sign); subnormals,
// whose sums, products and scaling round in the subnormal range; and random values with
// infinities and a NaN, which spread to every bin.
inline std::vector<std::vector<float>> telling_inputs(std::size_t n, unsigned seed) {
    std::vector<float> x = random_floats(2 * n, seed), zeros = x, tiny = x, special = x;
    for (float& z : zeros) z = std::signbit(z) ? -0.0f : 0.0f;
    for (float& t : tiny) t *= 1e-39f;
    special[2 * (n / 3) + 1] = INFINITY;
    special[2 * (n / 2)] = n > 2 ? NAN : -INFINITY;
    return {x, zeros, tiny, special};
}

// ---- The coefficient rule: angle theta * k in double, rounded to float, then sincosf. ----

inline void twiddle(int n, bool inverse, long k, float& c, float& s) {
    const double theta = (static_cast<double>(inverse ? 2 : -2) * 3.141592653589793) / static_cast<double>(n);
    const float angle = static_cast<float>(theta * static_cast<double>(k));
    sincosf(angle, &s, &c);
}

inline std::vector<float> expected_table(int n, bool inverse) {
    const bool pow2 = n > 0 && (n & (n - 1)) == 0;
    std::vector<float> t(static_cast<std::size_t>(pow2 ? 3 * n : 2 * n), 0.0f);
    if (!pow2) {
        for (int k = 0; k < n; ++k) twiddle(n, inverse, k, t[2 * k], t[2 * k + 1]);
        return t;
    }
    for (int j = 0; n >= 4 && j < n / 4; ++j) {
        float c1, s1, c2, s2, c3, s3;
        twiddle(n, inverse, j, c1, s1);
        twiddle(n, inverse, 2 * j, c2, s2);
        twiddle(n, inverse, 3 * j, c3, s3);
        const float row[12] = {c2, s2, -s2, c2, c1, s1, -s1, c1, -s3, c3, c3, s3};
        for (int p = 0; p < 12; ++p) t[12 * j + p] = row[p];
    }
    return t;
}

// ---- Radix-4 path for powers of two, one butterfly at a time as described. ----

struct Cf {
    float re, im;
};

inline void reference_butterfly(std::vector<Cf>& d, int i, int quarter, const float* T, bool inverse) {
    const Cf A = d[i], B = d[i + quarter], C = d[i + 2 * quarter], D = d[i + 3 * quarter];
    const Cf apc{A.re + C.re, A.im + C.im}, bpd{B.re + D.re, B.im + D.im};
    d[i] = Cf{apc.re + bpd.re, apc.im + bpd.im};
    const Cf X{apc.re - bpd.re, apc.im - bpd.im};
    // Forward: Y = (A - C) - i(B - D), Z = (A - C) + i(B - D); the inverse exchanges the signs.
    Cf Y{(A.re - C.re) - (D.im - B.im), (A.im - C.im) + (D.re - B.re)};
    Cf Z{(A.re - C.re) + (D.im - B.im), (A.im - C.im) - (D.re - B.re)};
    if (inverse) std::swap(Y, Z);
    d[i + quarter] = Cf{X.re * T[0] + X.im * T[2], X.re * T[1] + X.im * T[3]};
    d[i + 2 * quarter] = Cf{Y.re * T[4] + Y.im * T[6], Y.re * T[5] + Y.im * T[7]};
    d[i + 3 * quarter] = Cf{Z.im * T[8] + Z.re * T[10], Z.im * T[9] + Z.re * T[11]};
}

inline void reference_bit_reversal(std::vector<Cf>& d, int n) {
    int j = 0;
    for (int i = 1; i <= n - 2; ++i) {
        int k = n;
        do {
            k /= 2;
            j ^= k;
        } while (k > j);
        if (i < j) std::swap(d[i], d[j]);
    }
}

inline std::vector<float> reference_pow2(const std::vector<float>& in, int n, bool inverse) {
    const std::vector<float> table = expected_table(n, inverse);
    std::vector<Cf> d(n);
    for (int k = 0; k < n; ++k) d[k] = Cf{in[2 * k], in[2 * k + 1]};
    if (n >= 4) {
        int size = n, step = 12;
        for (;;) {
            const int quarter = size / 4;
            for (int start = 0; start < quarter; ++start)
                for (int i = start; i < n; i += size) reference_butterfly(d, i, quarter, &table[start * step], inverse);
            step *= 4;
            if (size < 16) break;
            size /= 4;
        }
    }
    if (static_cast<int>(std::round(std::log2(n))) % 2 == 1)
        for (int m = 0; m + 1 < n; m += 2) {
            const Cf a = d[m], b = d[m + 1];
            d[m] = Cf{a.re + b.re, a.im + b.im};
            d[m + 1] = Cf{a.re - b.re, a.im - b.im};
        }
    if (n >= 3) reference_bit_reversal(d, n);
    std::vector<float> out(2 * n);
    for (int k = 0; k < n; ++k) {
        out[2 * k] = inverse ? d[k].re / static_cast<float>(n) : d[k].re;
        out[2 * k + 1] = inverse ? d[k].im / static_cast<float>(n) : d[k].im;
    }
    return out;
}

// ---- Mixed radix, written as a recursion: the smallest factor q (tried 2, else 3, 5, 7...)
// splits x into q decimated subsequences whose transforms are combined; without a factor
// the block is a direct DFT. `stride` is n divided by the current length. ----

inline Cf table_entry(const std::vector<float>& table, long index) {
    return Cf{table[2 * index], table[2 * index + 1]};
}

inline void accumulate(Cf& acc, Cf x, Cf w) {
    const float re = x.re * w.re - x.im * w.im;
    const float im = x.re * w.im + x.im * w.re;
    acc.re = acc.re + re;
    acc.im = acc.im + im;
}

inline std::vector<Cf> reference_mixed(const std::vector<Cf>& x, long stride, const std::vector<float>& table) {
    const long len = static_cast<long>(x.size());
    long q = len % 2 == 0 ? 2 : 3;
    bool found = q * q <= len;
    while (found && len % q != 0) {
        q += 2;
        found = q * q <= len;
    }
    std::vector<Cf> out(len);
    if (!found) {
        for (long k = 0; k < len; ++k) {
            Cf acc{0.0f, 0.0f};
            for (long m = 0; m < len; ++m) accumulate(acc, x[m], table_entry(table, stride * ((m * k) % len)));
            out[k] = acc;
        }
        return out;
    }
    const long sub = len / q;
    std::vector<std::vector<Cf>> parts(q);
    for (long t = 0; t < q; ++t) {
        std::vector<Cf> decimated(sub);
        for (long s = 0; s < sub; ++s) decimated[s] = x[t + q * s];
        parts[t] = reference_mixed(decimated, stride * q, table);
    }
    for (long k = 0; k < len; ++k) {
        Cf acc{0.0f, 0.0f};
        for (long t = 0; t < q; ++t) accumulate(acc, parts[t][k % sub], table_entry(table, stride * ((t * k) % len)));
        out[k] = acc;
    }
    return out;
}

inline std::vector<float> reference_general(const std::vector<float>& in, int n, bool inverse) {
    const std::vector<float> table = expected_table(n, inverse);
    std::vector<Cf> x(n);
    for (int k = 0; k < n; ++k) x[k] = Cf{in[2 * k], in[2 * k + 1]};
    const std::vector<Cf> y = reference_mixed(x, 1, table);
    std::vector<float> out(2 * n);
    for (int k = 0; k < n; ++k) {
        out[2 * k] = inverse ? y[k].re / static_cast<float>(n) : y[k].re;
        out[2 * k + 1] = inverse ? y[k].im / static_cast<float>(n) : y[k].im;
    }
    return out;
}

}  // namespace transform_test
