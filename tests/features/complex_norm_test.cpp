// Complex norms and magnitude/phase: exact cases, the internal forms, and the checks.
// Agreement with double precision is checked against numpy in the Python tests.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <vector>

#include "features/complex_norm.h"
#include "vorel_audio.h"

using namespace vorel::audio;

TEST(ComplexNorm, PowerTwoIsTheFloatSumOfSquaresAndTheInternalFormsAgree) {
    std::vector<float> src(50);
    for (int i = 0; i < 50; ++i) src[i] = float(std::sin(0.7 * i + 0.1) * (1 + i % 5));
    std::vector<float> dst(25), two(25);
    ASSERT_EQ(vorelAudioComplexNorm(dst.data(), src.data(), 25, 2.0f), 0);
    for (int i = 0; i < 25; ++i)  // powf(x, 1) is x
        EXPECT_EQ(dst[i], src[2 * i] * src[2 * i] + src[2 * i + 1] * src[2 * i + 1]);
    complex_norm_1d_core(dst.data(), src.data(), 25, 1.5f);
    std::vector<float> longer = src;  // only dst.size() values are read
    longer.insert(longer.end(), {NAN, 1.0f});
    complex_norm_1d(two, longer, 1.5f);
    EXPECT_EQ(two, dst);
    complex_norm_1d(src, 1.5f);  // in place: the norm, then +0.0
    for (int i = 0; i < 25; ++i)
        EXPECT_TRUE(src[2 * i] == dst[i] && std::bit_cast<uint32_t>(src[2 * i + 1]) == 0u) << i;
}

TEST(MagPhase, ZeroCellsAndPowerZero) {
    const std::vector<float> src = {0.0f, 0.0f, -1.0f, -0.0f, 3.0f, 4.0f};
    std::vector<float> mag(3), angle(3), phasor(6);
    ASSERT_EQ(vorelAudioMagPhase(mag.data(), angle.data(), src.data(), 1, 3, 1.0f, 0), 0);
    EXPECT_EQ(mag, (std::vector<float>{0.0f, 1.0f, 5.0f}));
    EXPECT_EQ(angle[0], 0.0f);
    EXPECT_FLOAT_EQ(angle[1], -float(M_PI));  // (-1, -0.0) lies at minus pi
    ASSERT_EQ(vorelAudioMagPhase(mag.data(), phasor.data(), src.data(), 1, 3, 0.0f, 1), 0);
    EXPECT_EQ(mag, std::vector<float>(3, 1.0f));  // also for the zero cell
    EXPECT_EQ(phasor[0], 1.0f);
    EXPECT_EQ(phasor[1], 0.0f);
}

TEST(ComplexNormChecks, InOrderWithTheOutputUntouchedAndNaNPowerPassing) {
    const std::vector<float> src(8, 1.0f);
    std::vector<float> dst(4, -2.0f), phase(8, -2.0f);
    float *m = dst.data(), *p = phase.data();
    const float* s = src.data();
    EXPECT_EQ(vorelAudioComplexNorm(nullptr, s, 4, 1.0f), -1);
    EXPECT_EQ(vorelAudioComplexNorm(m, nullptr, 0, -1.0f), -1);
    EXPECT_EQ(vorelAudioComplexNorm(m, s, -5, 1.0f), -1);
    EXPECT_EQ(vorelAudioComplexNorm(m, s, 4, 0.0f), -1);
    EXPECT_EQ(vorelAudioComplexNorm(m, s, 4, -0.5f), -1);
    EXPECT_EQ(vorelAudioMagPhase(nullptr, p, s, 2, 2, 1.0f, 0), -1);
    EXPECT_EQ(vorelAudioMagPhase(m, nullptr, s, 2, 2, 1.0f, 0), -1);
    EXPECT_EQ(vorelAudioMagPhase(m, p, nullptr, 2, 2, 1.0f, 0), -1);
    EXPECT_EQ(vorelAudioMagPhase(m, p, s, 0, 0, -1.0f, 5), -1);
    EXPECT_EQ(vorelAudioMagPhase(m, p, s, 2, 0, -1.0f, 5), -1);
    EXPECT_EQ(vorelAudioMagPhase(m, p, s, 2, 2, -1.0f, 5), -1);
    EXPECT_EQ(vorelAudioMagPhase(m, p, s, 2, 2, 1.0f, 2), -1);
    EXPECT_EQ(vorelAudioMagPhase(m, p, s, 2, 2, 1.0f, -1), -1);
    EXPECT_EQ(dst, std::vector<float>(4, -2.0f));
    EXPECT_EQ(phase, std::vector<float>(8, -2.0f));
    EXPECT_EQ(vorelAudioComplexNorm(m, s, 4, NAN), 0);
    EXPECT_TRUE(std::isnan(dst[0]));
    EXPECT_EQ(vorelAudioMagPhase(m, p, s, 2, 2, NAN, 1), 0);
}
