// The exported transforms against a direct DFT in double precision, and cases whose result
// can be derived by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <vector>

#include "common/dft_reference.h"
#include "vorel_audio.h"

using namespace vorel::audio::testing;

namespace {

// Relative RMS error allowed for a length: float rounding grows with the number of stages.
double tolerance(int n) { return 1e-6 * std::max(1.0, std::log2(static_cast<double>(n))); }

// All bins for moderate lengths; for long ones a spread of bins, each still a full sum.
std::vector<std::size_t> bins_to_check(int n) {
    std::vector<std::size_t> bins;
    if (n <= 4096) {
        bins.resize(n);
        std::iota(bins.begin(), bins.end(), 0);
        return bins;
    }
    for (std::size_t k = 0; k < static_cast<std::size_t>(n); k += n / 61 + 1) bins.push_back(k);
    bins.push_back(n / 2);
    bins.push_back(n - 1);
    return bins;
}

std::vector<int> lengths() {
    std::vector<int> ns;
    for (int n = 1; n <= 128; ++n) ns.push_back(n);
    for (int n = 256; n <= 65536; n *= 2) ns.push_back(n);
    for (int n : {400, 1000, 1009}) ns.push_back(n);
    return ns;
}

std::vector<float> forward(const std::vector<float>& x) {
    const int n = static_cast<int>(x.size());
    std::vector<float> out(2 * x.size());
    EXPECT_EQ(vorelAudioFFT(out.data(), x.data(), n), VOREL_STATUS_SUCCESS);
    return out;
}

std::vector<float> inverse(const std::vector<float>& spectrum) {
    const int n = static_cast<int>(spectrum.size() / 2);
    std::vector<float> out(spectrum.size());
    EXPECT_EQ(vorelAudioIFFT(out.data(), spectrum.data(), n), VOREL_STATUS_SUCCESS);
    return out;
}

}  // namespace

TEST(TransformAccuracy, ForwardAgreesWithDoubleDftForEveryLengthChecked) {
    for (int n : lengths()) {
        const std::vector<float> x = random_floats(n, 100 + n);
        std::vector<cdouble> xc(x.begin(), x.end());
        const double err = relative_rms_error(forward(x), xc, bins_to_check(n), -1, 1.0);
        EXPECT_LE(err, tolerance(n)) << "n = " << n;
    }
}

TEST(TransformAccuracy, InverseAgreesWithScaledDoubleDftForEveryLengthChecked) {
    for (int n : lengths()) {
        const std::vector<float> spectrum = random_floats(2 * static_cast<std::size_t>(n), 200 + n);
        const double err = relative_rms_error(inverse(spectrum), to_complex(spectrum), bins_to_check(n), +1, 1.0 / n);
        EXPECT_LE(err, tolerance(n)) << "n = " << n;
    }
}

TEST(TransformExactCases, ShortLengthsOfSmallIntegers) {
    EXPECT_EQ(forward({3.5f}), (std::vector<float>{3.5f, 0.0f}));
    EXPECT_EQ(inverse({3.5f, -1.25f}), (std::vector<float>{3.5f, -1.25f}));
    EXPECT_EQ(forward({3.0f, 5.0f}), (std::vector<float>{8.0f, 0.0f, -2.0f, 0.0f}));
    EXPECT_EQ(inverse({8.0f, 2.0f, -2.0f, 4.0f}), (std::vector<float>{3.0f, 3.0f, 5.0f, -1.0f}));
    // X[k] = sum x[m] (-i)^(mk): 1+2+3+4, 1-2i-3+4i... all exact in float.
    EXPECT_EQ(forward({1.0f, 2.0f, 3.0f, 4.0f}), (std::vector<float>{10, 0, -2, 2, -2, 0, -2, -2}));
    EXPECT_EQ(inverse({10, 0, -2, 2, -2, 0, -2, -2}), (std::vector<float>{1, 0, 2, 0, 3, 0, 4, 0}));
}

TEST(TransformExactCases, ImpulseGivesAllOnesAndConstantGivesOneBin) {
    for (int n : {3, 4, 5, 6, 8, 12, 16, 32, 100, 128, 400, 1024}) {
        std::vector<float> impulse(n, 0.0f);
        impulse[0] = 1.0f;
        const std::vector<float> flat = forward(impulse);
        for (int k = 0; k < n; ++k) {
            EXPECT_EQ(flat[2 * k], 1.0f) << n << " " << k;
            EXPECT_EQ(flat[2 * k + 1], 0.0f) << n << " " << k;
        }
        const std::vector<float> peak = forward(std::vector<float>(n, 1.0f));
        EXPECT_EQ(peak[0], static_cast<float>(n)) << n;
        EXPECT_EQ(peak[1], 0.0f) << n;
        for (int k = 1; k < n; ++k) EXPECT_LE(std::hypot(peak[2 * k], peak[2 * k + 1]), 1e-5 * n) << n << " " << k;
    }
}
