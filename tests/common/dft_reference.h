// The one double-precision discrete Fourier transform the tests measure single-precision
// results against, for any length; and the random inputs and the error measure that go with it.
#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace vorel::audio::testing {

using cdouble = std::complex<double>;

// count normally distributed floats from a fixed seed.
inline std::vector<float> random_floats(std::size_t count, unsigned seed) {
    std::mt19937 gen(seed);
    std::normal_distribution<float> dist(0.0f, 1.0f);
    std::vector<float> v(count);
    for (float& x : v) x = dist(gen);
    return v;
}

// count floats uniform in [lo, hi) from a fixed seed.
inline std::vector<float> uniform_floats(std::size_t count, unsigned seed, float lo, float hi) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> dist(lo, hi);
    std::vector<float> v(count);
    for (float& x : v) x = dist(gen);
    return v;
}

// sum_m x[m] exp(sign 2 pi i (m k mod n) / n) for one bin k.
inline cdouble dft_bin(const std::vector<cdouble>& x, std::size_t k, int sign) {
    const std::size_t n = x.size();
    cdouble acc = 0.0;
    for (std::size_t m = 0; m < n; ++m) {
        const double angle = sign * 2.0 * M_PI * static_cast<double>((std::uint64_t{m} * k) % n) / n;
        acc += x[m] * cdouble(std::cos(angle), std::sin(angle));
    }
    return acc;
}

// Every bin: sign -1 is the forward transform, +1 the inverse without its 1/n. Decimation in
// time over the smallest prime factor, the direct sum for a prime length, so that the long
// power-of-two plans can be checked too; every root has its index reduced exactly.
inline std::vector<cdouble> dft(const std::vector<cdouble>& x, int sign) {
    const std::size_t n = x.size();
    std::size_t p = 2;
    while (p * p <= n && n % p != 0) ++p;
    std::vector<cdouble> out(n);
    if (n < 4 || p * p > n) {
        for (std::size_t k = 0; k < n; ++k) out[k] = dft_bin(x, k, sign);
        return out;
    }
    const std::size_t m = n / p;
    std::vector<std::vector<cdouble>> parts(p, std::vector<cdouble>(m));
    for (std::size_t j = 0; j < n; ++j) parts[j % p][j / p] = x[j];
    for (auto& part : parts) part = dft(part, sign);
    for (std::size_t k = 0; k < n; ++k)
        for (std::size_t r = 0; r < p; ++r) {
            const double angle = sign * 2.0 * M_PI * static_cast<double>((std::uint64_t{r} * k) % n) / n;
            out[k] += parts[r][k % m] * cdouble(std::cos(angle), std::sin(angle));
        }
    return out;
}

// Interleaved floats (real part first) as complex doubles.
inline std::vector<cdouble> to_complex(const std::vector<float>& interleaved) {
    std::vector<cdouble> c(interleaved.size() / 2);
    for (std::size_t k = 0; k < c.size(); ++k) c[k] = cdouble(interleaved[2 * k], interleaved[2 * k + 1]);
    return c;
}

// Relative RMS distance between an interleaved float result and scale times the DFT of x,
// over the given bins.
inline double relative_rms_error(const std::vector<float>& result, const std::vector<cdouble>& x,
                                 const std::vector<std::size_t>& bins, int sign, double scale) {
    double err = 0.0, ref = 0.0;
    for (std::size_t k : bins) {
        const cdouble want = dft_bin(x, k, sign) * scale;
        err += std::norm(cdouble(result[2 * k], result[2 * k + 1]) - want);
        ref += std::norm(want);
    }
    return ref == 0.0 ? std::sqrt(err) : std::sqrt(err / ref);
}

}  // namespace vorel::audio::testing
