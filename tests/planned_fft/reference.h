// Test helpers for the planned engine: the shared double-precision transform over the three
// element types, random inputs of those types, and bit-level comparisons.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <random>
#include <thread>
#include <vector>

#include "common/dft_reference.h"
#include "planned_fft/plan.h"

namespace vorel::audio::qentor::test {

using Cd = std::complex<double>;
using InputTypes = ::testing::Types<int16_t, float, Complex>;

inline uint32_t bits_of(float v) { return std::bit_cast<uint32_t>(v); }
inline Cd as_double(int16_t v) { return Cd(v, 0); }
inline Cd as_double(float v) { return Cd(v, 0); }
inline Cd as_double(Complex v) { return Cd(v.re, v.im); }

// X[k] = sum_j x[j] exp(-+2 pi i j k / n), scaled by 1/n for the inverse.
template <class T>
std::vector<Cd> reference_dft(const std::vector<T>& x, bool forward) {
    std::vector<Cd> in(x.size());
    for (size_t i = 0; i < x.size(); ++i) in[i] = as_double(x[i]);
    std::vector<Cd> out = vorel::audio::testing::dft(in, forward ? -1 : 1);
    if (!forward)
        for (Cd& v : out) v /= double(x.size());
    return out;
}

// Largest deviation relative to the largest reference magnitude; infinite for any NaN.
inline double relative_error(const std::vector<Complex>& got, const std::vector<Cd>& want) {
    double err = 0, scale = 0;
    for (size_t k = 0; k < want.size(); ++k) {
        const double d = std::abs(as_double(got[k]) - want[k]);
        if (std::isnan(d)) return INFINITY;
        err = std::max(err, d);
        scale = std::max(scale, std::abs(want[k]));
    }
    return scale > 0 ? err / scale : err;
}

template <class T>
std::vector<T> random_input(size_t n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    std::vector<T> x(n);
    for (T& v : x) {
        if constexpr (std::is_same_v<T, Complex>)
            v = {dist(gen), dist(gen)};
        else if constexpr (std::is_same_v<T, float>)
            v = dist(gen);
        else
            v = static_cast<int16_t>(std::uniform_int_distribution<int>(-32768, 32767)(gen));
    }
    return x;
}

// Runs any plan (or the facade) on x into a fresh output pre-filled with a marker.
template <class Plan, class T>
std::vector<Complex> run_plan(Plan& plan, const std::vector<T>& x, size_t out_n) {
    std::vector<Complex> out(out_n, Complex{-7.0f, -7.0f});
    plan.exec(x.data(), out.data());
    return out;
}

// Equal bits, or NaN on both sides (the sign and payload of a NaN carry nothing).
inline bool same_value(float a, float b) { return bits_of(a) == bits_of(b) || (a != a && b != b); }
inline bool same_bits(Complex a, Complex b) { return same_value(a.re, b.re) && same_value(a.im, b.im); }

inline void expect_same_bits(const std::vector<Complex>& a, const std::vector<Complex>& b) {
    ASSERT_EQ(a.size(), b.size());
    for (size_t i = 0; i < a.size(); ++i)
        EXPECT_TRUE(same_bits(a[i], b[i]))
            << "at " << i << ": (" << a[i].re << ", " << a[i].im << ") vs (" << b[i].re << ", " << b[i].im << ")";
}

// A table entry given by its bit patterns.
inline void expect_entry(Complex got, uint32_t re, uint32_t im, const char* what) {
    EXPECT_EQ(bits_of(got.re), re) << what << " real part " << got.re;
    EXPECT_EQ(bits_of(got.im), im) << what << " imaginary part " << got.im;
}

}  // namespace vorel::audio::qentor::test
