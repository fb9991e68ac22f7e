// Roots of unity for every table of the planned engine, the sine series they come from, and
// the complex arithmetic all plans share.
#pragma once

#include <cstdint>
#include <vector>

#include "planned_fft/plan.h"

namespace vorel::audio::qentor {

// Taylor series of the sine in double, summed until a term falls below 2^-23 (that term
// included). There is no range reduction: large arguments take many terms and, far enough
// out, overflow so that the loop never ends.
double sine_series(double x);

// exp(-2 pi i k / len) forward, its conjugate otherwise. k = 0, len/2, len/4 and 3 len/4 are
// exact; every other entry takes the series on an angle first rounded to float, so entries are
// close to but not exactly the roots of unity. k may exceed len (the chirp of the Bluestein
// plans uses k^2 unreduced).
Complex w_entry(uint64_t k, uint64_t len, bool forward);

// The table of n entries, or n/2 entries (truncated) when half is set. The last two
// parameters select nothing.
template <bool forward, bool half, bool, bool>
std::vector<Complex> calcW(uint64_t n);

// Both parts of every entry times factor, in float.
void scale_table(std::vector<Complex>& table, float factor);

// Slow path of complex_product: both parts came out NaN, so infinities are boxed to 1 or 0,
// NaNs opposite them set to signed zero, and the product retaken with infinity as its scale.
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

// A real sample times a table entry: both parts scaled, the imaginary one too, so that a NaN or
// infinity in the sample reaches both.
inline Complex real_product(float v, Complex w) { return {w.re * v, w.im * v}; }

inline Complex operator+(Complex a, Complex b) { return {a.re + b.re, a.im + b.im}; }
inline Complex operator-(Complex a, Complex b) { return {a.re - b.re, a.im - b.im}; }
inline Complex& operator+=(Complex& a, Complex b) { return a = a + b; }

// Sample types enter the float arithmetic as they stand: a 16-bit sample is not normalised.
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
