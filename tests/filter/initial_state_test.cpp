// The settled initial state: the worked case, the fill rules and degenerate filters. Agreement
// with a solved linear system is checked against scipy in the Python tests.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "filter/reference.h"
#include "vorel_audio.h"

using namespace filter_test;

namespace {
const Coefs worked{{0.2f, 0.3f, 0.1f, 0.05f}, {1.5f, -0.4f, 0.2f, 0.1f}};
}

TEST(InitialState, WorkedCase) {
    std::vector<float> zi(3);
    ASSERT_EQ(vorelAudioGetLinerFilterZiCoef(zi.data(), worked.n.data(), worked.d.data(), 3, 4, 4), 0);
    EXPECT_NEAR(zi[0], 0.330952, 5e-7);
    EXPECT_NEAR(zi[1], 0.007143, 5e-7);
    EXPECT_NEAR(zi[2], 0.002381, 5e-7);
}

TEST(InitialState, LengthsOtherThanTheOrderAndDegenerateFilters) {
    const Coefs c = stable_design(5);
    std::vector<float> exact(5), longer(8, 9.0f), shorter(2, 9.0f);
    vorelAudioGetLinerFilterZiCoef(exact.data(), c.n.data(), c.d.data(), 5, 6, 6);
    vorelAudioGetLinerFilterZiCoef(longer.data(), c.n.data(), c.d.data(), 8, 6, 6);
    vorelAudioGetLinerFilterZiCoef(shorter.data(), c.n.data(), c.d.data(), 2, 6, 6);
    EXPECT_EQ(std::vector<float>(longer.begin(), longer.begin() + 5), exact);
    EXPECT_EQ(std::vector<float>(longer.begin() + 5, longer.end()), std::vector<float>(3, 0.0f));
    EXPECT_EQ(shorter, std::vector<float>(exact.begin(), exact.begin() + 2));
    const float n = 3.0f, d = 2.0f;  // a pure gain has no registers: all zero
    std::vector<float> zi(4, 9.0f);
    ASSERT_EQ(vorelAudioGetLinerFilterZiCoef(zi.data(), &n, &d, 4, 1, 1), 0);
    EXPECT_EQ(zi, std::vector<float>(4, 0.0f));
    const std::vector<float> den = {1.0f, -1.0f};  // an integrator has no settled state
    ASSERT_EQ(vorelAudioGetLinerFilterZiCoef(zi.data(), &n, den.data(), 1, 1, 2), 0);
    EXPECT_FALSE(std::isfinite(zi[0]));
}
