// Complex norms, magnitude and phase against double-precision references, and the checks.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "features/complex_norm.h"
#include "vorel_audio.h"

using namespace vorel::audio;

namespace {

// Interleaved values of varied size and sign, including exact zeros of both signs.
std::vector<float> sample_complex(int n) {
    std::vector<float> v(2 * n);
    for (int i = 0; i < n; ++i) {
        v[2 * i] = static_cast<float>(std::sin(0.7 * i + 0.1) * (1 + i % 5));
        v[2 * i + 1] = static_cast<float>(std::cos(1.3 * i) * (i % 3 == 0 ? 0.01 : 3.0));
    }
    v[0] = 0.0f;
    v[1] = 0.0f;
    v[2] = -1.0f;
    v[3] = -0.0f;
    return v;
}

double norm_ref(double re, double im, double power) { return std::pow(re * re + im * im, power / 2); }

void expect_close(float got, double want) {
    EXPECT_NEAR(got, want, 4e-6 * std::max(1.0, std::fabs(want)));
}

}  // namespace

TEST(ComplexNorm, AgreesWithDoubleReferenceForSeveralPowers) {
    const int n = 37;
    const std::vector<float> src = sample_complex(n);
    for (float power : {0.5f, 1.0f, 2.0f, 3.0f}) {
        std::vector<float> dst(n, -1.0f);
        ASSERT_EQ(vorelAudioComplexNorm(dst.data(), src.data(), n, power), VOREL_STATUS_SUCCESS);
        for (int i = 0; i < n; ++i) expect_close(dst[i], norm_ref(src[2 * i], src[2 * i + 1], power));
    }
}

TEST(ComplexNorm, PowerTwoIsTheFloatSumOfSquaresExactly) {
    // powf(x, 1) returns x, so power 2 must be the float-rounded re*re + im*im to the bit.
    const std::vector<float> src = sample_complex(20);
    std::vector<float> dst(20);
    complex_norm_1d_core(dst.data(), src.data(), 20, 2.0f);
    for (int i = 0; i < 20; ++i) {
        const float re = src[2 * i], im = src[2 * i + 1];
        const float rr = re * re, ii = im * im;
        EXPECT_EQ(dst[i], rr + ii);
    }
}

TEST(ComplexNorm, VectorFormsAgreeWithPointerForm) {
    const std::vector<float> src = sample_complex(25);
    std::vector<float> core(25);
    complex_norm_1d_core(core.data(), src.data(), 25, 1.5f);

    // Two sequences: only dst.size() values are read, the rest of src may be anything.
    std::vector<float> longer = src;
    longer.insert(longer.end(), {std::numeric_limits<float>::quiet_NaN(), 1.0f});
    std::vector<float> two(25);
    complex_norm_1d(two, longer, 1.5f);
    EXPECT_EQ(two, core);

    // In place: the norm in the real slot and +0.0 in the imaginary slot.
    std::vector<float> inplace = src;
    complex_norm_1d(inplace, 1.5f);
    for (int i = 0; i < 25; ++i) {
        EXPECT_EQ(inplace[2 * i], core[i]);
        EXPECT_EQ(inplace[2 * i + 1], 0.0f);
        EXPECT_FALSE(std::signbit(inplace[2 * i + 1]));
    }
}

TEST(MagPhase, AngleAndPhasorAgainstReference) {
    const int freq_n = 3, frame_n = 11;
    const std::vector<float> src = sample_complex(freq_n * frame_n);
    std::vector<float> mag(freq_n * frame_n), angle(freq_n * frame_n), phasor(2 * freq_n * frame_n);
    ASSERT_EQ(vorelAudioMagPhase(mag.data(), angle.data(), src.data(), freq_n, frame_n, 1.0f, 0), 0);
    std::vector<float> mag2(mag.size());
    ASSERT_EQ(vorelAudioMagPhase(mag2.data(), phasor.data(), src.data(), freq_n, frame_n, 1.0f, 1), 0);
    EXPECT_EQ(mag, mag2);
    for (int i = 0; i < freq_n * frame_n; ++i) {
        const double re = src[2 * i], im = src[2 * i + 1];
        const double a = std::atan2(im, re);
        expect_close(mag[i], norm_ref(re, im, 1.0));
        expect_close(angle[i], a);
        expect_close(phasor[2 * i], std::cos(a));
        expect_close(phasor[2 * i + 1], std::sin(a));
    }
    // The zero cell: magnitude 0, angle 0, phasor (1, 0). (-1, -0.0) lies at minus pi.
    EXPECT_EQ(mag[0], 0.0f);
    EXPECT_EQ(angle[0], 0.0f);
    EXPECT_EQ(phasor[0], 1.0f);
    EXPECT_EQ(phasor[1], 0.0f);
    EXPECT_FLOAT_EQ(angle[1], -static_cast<float>(M_PI));
}

TEST(MagPhase, PowerZeroAndNaN) {
    const std::vector<float> src = {3.0f, 4.0f, 0.0f, 0.0f, 0.6f, 0.8f};
    std::vector<float> mag(3), phase(3);
    ASSERT_EQ(vorelAudioMagPhase(mag.data(), phase.data(), src.data(), 1, 3, 0.0f, 0), 0);
    for (float m : mag) EXPECT_EQ(m, 1.0f);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    ASSERT_EQ(vorelAudioMagPhase(mag.data(), phase.data(), src.data(), 1, 3, nan, 0), 0);
    EXPECT_TRUE(std::isnan(mag[0]));
    EXPECT_TRUE(std::isnan(mag[1]));
    EXPECT_EQ(mag[2], powf(0.6f * 0.6f + 0.8f * 0.8f, nan));  // NaN unless the sum is exactly 1
    std::vector<float> out(3, -2.0f);
    ASSERT_EQ(vorelAudioComplexNorm(out.data(), src.data(), 3, nan), 0);
    EXPECT_TRUE(std::isnan(out[0]));
}

TEST(ComplexNorm, ExportedChecksInOrder) {
    const std::vector<float> src(8, 1.0f);
    std::vector<float> dst(4, -2.0f);
    EXPECT_EQ(vorelAudioComplexNorm(nullptr, src.data(), 4, 1.0f), -1);
    EXPECT_EQ(vorelAudioComplexNorm(dst.data(), nullptr, 0, -1.0f), -1);
    EXPECT_EQ(vorelAudioComplexNorm(dst.data(), src.data(), 0, -1.0f), -1);
    EXPECT_EQ(vorelAudioComplexNorm(dst.data(), src.data(), -5, 1.0f), -1);
    EXPECT_EQ(vorelAudioComplexNorm(dst.data(), src.data(), 4, 0.0f), -1);
    EXPECT_EQ(vorelAudioComplexNorm(dst.data(), src.data(), 4, -0.5f), -1);
    for (float v : dst) EXPECT_EQ(v, -2.0f);
}

TEST(MagPhase, ExportedChecksInOrder) {
    const std::vector<float> src(8, 1.0f);
    std::vector<float> mag(4, -2.0f), phase(8, -2.0f);
    EXPECT_EQ(vorelAudioMagPhase(nullptr, phase.data(), src.data(), 2, 2, 1.0f, 0), -1);
    EXPECT_EQ(vorelAudioMagPhase(mag.data(), nullptr, src.data(), 2, 2, 1.0f, 0), -1);
    EXPECT_EQ(vorelAudioMagPhase(mag.data(), phase.data(), nullptr, 2, 2, 1.0f, 0), -1);
    EXPECT_EQ(vorelAudioMagPhase(mag.data(), phase.data(), src.data(), 0, 0, -1.0f, 5), -1);
    EXPECT_EQ(vorelAudioMagPhase(mag.data(), phase.data(), src.data(), 2, 0, -1.0f, 5), -1);
    EXPECT_EQ(vorelAudioMagPhase(mag.data(), phase.data(), src.data(), 2, 2, -1.0f, 5), -1);
    EXPECT_EQ(vorelAudioMagPhase(mag.data(), phase.data(), src.data(), 2, 2, 1.0f, 2), -1);
    EXPECT_EQ(vorelAudioMagPhase(mag.data(), phase.data(), src.data(), 2, 2, 1.0f, -1), -1);
    for (float v : mag) EXPECT_EQ(v, -2.0f);
    for (float v : phase) EXPECT_EQ(v, -2.0f);
}
