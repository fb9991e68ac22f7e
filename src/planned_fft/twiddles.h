// Roots of unity for every table of the planned engine and the complex arithmetic all plans share.
#pragma once

#include <cstdint>
#include <vector>

#include "planned_fft/plan.h"

namespace vorel::audio::qentor {

// Taylor series of the sine in double, summed until a term falls below 2^-23 (that term
// included), with no range reduction. A term that has left the finite range never comes back
// below the end test, so the series stops there and very large arguments give a non-finite
// value instead of no answer; every other series ends at the same term.
constexpr double sine_series(double x) {
    double s = x, t = x;
    uint32_t i = 2;  // (i + 1) * i wraps in 32 bits, as the product of the rule does
    do {
        t = t * ((-x * x) / static_cast<double>(static_cast<int32_t>((i + 1u) * i)));
        s = s + t;
        i += 2;
    } while (!((t < 0 ? -t : t) < 1.1920928955078125e-7) && t - t == 0);
    return s;
}

// exp(-2 pi i k / len) forward, its conjugate otherwise. k = 0, len/2, len/4 and 3 len/4 are
// exact; every other entry takes the series on an angle rounded to float after the product and
// the quotient (6.2831855f is the float nearest 2 pi), so entries are close to but not exactly
// the roots of unity. k may exceed len (the Bluestein chirp uses k^2 unreduced).
constexpr Complex w_entry(uint64_t k, uint64_t len, bool forward) {
    const auto angle = [&](float two_pi) {
        return static_cast<double>((static_cast<float>(k) * two_pi) / static_cast<float>(len));
    };
    if (k == 0) return {1.0f, forward ? 0.0f : -0.0f};
    Complex w{};
    if (len % k == 0 && len / k == 2)
        w = {-1.0f, 0.0f};
    else if (len % k == 0 && len / k == 4)
        w = {0.0f, -1.0f};
    else if (3 * len == 4 * k)
        w = {0.0f, 1.0f};
    else
        w = {static_cast<float>(sine_series(angle(-6.2831855f) + 1.5707963267948966)),
             -static_cast<float>(sine_series(angle(6.2831855f)))};
    return {w.re, forward ? w.im : -w.im};
}

// The table of n entries, or n/2 entries (truncated) when half is set. The last two
// parameters select nothing.
template <bool forward, bool half, bool, bool>
std::vector<Complex> calcW(uint64_t n);

// Both parts of every entry times factor, in float.
void scale_table(std::vector<Complex>& table, float factor);

// Slow path of complex_product when both parts came out NaN: infinities boxed to 1 or 0, NaNs
// opposite them set to signed zero, and the product retaken with infinity as its scale.
Complex complex_product_recovered(Complex z, Complex w);

// (ac - bd) + (ad + bc)i, four float products with no fused operation, recovering an infinite
// result that the plain formula turns into NaN. Its operand order matters only in that case.
inline Complex complex_product(Complex z, Complex w) {
    const float ac = z.re * w.re;
    const float bd = z.im * w.im;
    const float ad = z.re * w.im;
    const float bc = z.im * w.re;
    const Complex r{ac - bd, ad + bc};
    if (__builtin_expect(r.re != r.re && r.im != r.im, 0)) return complex_product_recovered(z, w);
    return r;
}

// A real sample times a table entry: both parts, so that a NaN or infinity reaches both.
inline Complex real_product(float v, Complex w) { return {w.re * v, w.im * v}; }

inline Complex operator+(Complex a, Complex b) { return {a.re + b.re, a.im + b.im}; }
inline Complex operator-(Complex a, Complex b) { return {a.re - b.re, a.im - b.im}; }
inline Complex& operator+=(Complex& a, Complex b) { return a = a + b; }

// Samples enter the float arithmetic as they stand: a 16-bit sample is not normalised.
inline float sample_value(int16_t v) { return static_cast<float>(v); }
inline float sample_value(float v) { return v; }

// x times w for each input type: real samples multiply both parts, complex ones the full product.
inline Complex times(int16_t x, Complex w) { return real_product(sample_value(x), w); }
inline Complex times(float x, Complex w) { return real_product(x, w); }
inline Complex times(Complex x, Complex w) { return complex_product(x, w); }

// A sample as a complex value: real ones get an imaginary part of +0.
inline Complex to_complex(int16_t v) { return {sample_value(v), 0.0f}; }
inline Complex to_complex(float v) { return {v, 0.0f}; }
inline Complex to_complex(Complex v) { return v; }

}  // namespace vorel::audio::qentor
