// The settled initial state: the worked case, agreement with a solved linear system, the
// fill rules and the exported entry's checks.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <vector>

#include "filter/filter_initial_state.h"
#include "filter/linear_filter.h"
#include "filter/reference.h"
#include "vorel_audio.h"

using namespace vorel::audio;
using namespace filter_test;

namespace {

// The fixed point of the recurrence for a constant input of 1, as a dense linear system:
// z[k-1] - z[k] + a[k] z[0] = b[k] - a[k] b[0], with z[R] = 0, solved by elimination with
// partial pivoting.
std::vector<double> solved_state(const Coefs& c) {
    std::vector<double> b, a;
    normalise(c, b, a);
    const std::size_t r = b.size() - 1;
    std::vector<std::vector<double>> m(r, std::vector<double>(r + 1, 0.0));
    for (std::size_t k = 1; k <= r; ++k) {
        m[k - 1][k - 1] += 1.0;
        if (k < r) m[k - 1][k] -= 1.0;
        m[k - 1][0] += a[k];
        m[k - 1][r] = b[k] - a[k] * b[0];
    }
    for (std::size_t col = 0; col < r; ++col) {
        std::size_t pivot = col;
        for (std::size_t row = col + 1; row < r; ++row)
            if (std::fabs(m[row][col]) > std::fabs(m[pivot][col])) pivot = row;
        std::swap(m[col], m[pivot]);
        for (std::size_t row = 0; row < r; ++row) {
            if (row == col) continue;
            const double f = m[row][col] / m[col][col];
            for (std::size_t j = col; j <= r; ++j) m[row][j] -= f * m[col][j];
        }
    }
    std::vector<double> z(r);
    for (std::size_t k = 0; k < r; ++k) z[k] = m[k][r] / m[k][k];
    return z;
}

const Coefs worked{{0.2f, 0.3f, 0.1f, 0.05f}, {1.5f, -0.4f, 0.2f, 0.1f}};

}  // namespace

TEST(InitialStateWorkedCase, StateAndSettledDcGain) {
    std::vector<float> zi(3);
    ASSERT_EQ(vorelAudioGetLinerFilterZiCoef(zi.data(), worked.n.data(), worked.d.data(), 3, 4, 4),
              0);
    EXPECT_NEAR(zi[0], 0.330952, 5e-7);
    EXPECT_NEAR(zi[1], 0.007143, 5e-7);
    EXPECT_NEAR(zi[2], 0.002381, 5e-7);

    // Settled: a constant 1 comes out as sum(n) / sum(d) at once, and the state stays put.
    std::vector<double> z(3);
    create_zi_coef<double, float>(z.data(), worked.n.data(), worked.d.data(), 3, 4, 4);
    const std::vector<double> z0 = z;
    const std::vector<float> ones(50, 1.0f);
    std::vector<double> y(50);
    linerfilter<double, float, float, double>(y.data(), ones.data(), worked.n.data(),
                                              worked.d.data(), z.data(), 50, 50, 4, 4, 3, false);
    double n_sum = 0.0, d_sum = 0.0;
    for (float v : worked.n) n_sum += v;
    for (float v : worked.d) d_sum += v;
    for (double v : y) EXPECT_NEAR(v, n_sum / d_sum, 1e-12);
    EXPECT_NEAR(y[0], 0.464286, 5e-7);
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(z[k], z0[k], 1e-12);
}

TEST(InitialStateAgainstLinearSystem, ClosedFormMatchesElimination) {
    for (int r = 1; r <= 16; ++r) {
        const Coefs c = stable_design(r);
        const std::vector<double> expected = solved_state(c);
        std::vector<double> z(r);
        std::vector<float> zf(r);
        const int nn = int(c.n.size()), dn = int(c.d.size());
        create_zi_coef<double, float>(z.data(), c.n.data(), c.d.data(), r, nn, dn);
        create_zi_coef<float, float>(zf.data(), c.n.data(), c.d.data(), r, nn, dn);
        for (int k = 0; k < r; ++k) {
            EXPECT_NEAR(z[k], expected[k], 1e-12 * (1.0 + std::fabs(expected[k]))) << r << ":" << k;
            EXPECT_EQ(zf[k], static_cast<float>(z[k])) << r << ":" << k;
        }
    }
    // Unequal list lengths: the shorter one counts as zero-padded.
    const Coefs fir{{0.25f, 0.5f, 0.25f}, {2.0f}};
    std::vector<double> z(2);
    create_zi_coef<double, float>(z.data(), fir.n.data(), fir.d.data(), 2, 3, 1);
    const std::vector<double> expected = solved_state(fir);
    EXPECT_NEAR(z[0], expected[0], 1e-15);
    EXPECT_NEAR(z[1], expected[1], 1e-15);
}

TEST(InitialStateFill, LengthsOtherThanTheOrder) {
    const Coefs c = stable_design(5);
    std::vector<float> exact(5), longer(8, 9.0f), shorter(2, 9.0f), one(1);
    vorelAudioGetLinerFilterZiCoef(exact.data(), c.n.data(), c.d.data(), 5, 6, 6);
    vorelAudioGetLinerFilterZiCoef(longer.data(), c.n.data(), c.d.data(), 8, 6, 6);
    vorelAudioGetLinerFilterZiCoef(shorter.data(), c.n.data(), c.d.data(), 2, 6, 6);
    vorelAudioGetLinerFilterZiCoef(one.data(), c.n.data(), c.d.data(), 1, 6, 6);
    EXPECT_EQ(std::vector<float>(longer.begin(), longer.begin() + 5), exact);
    EXPECT_EQ(std::vector<float>(longer.begin() + 5, longer.end()), std::vector<float>(3, 0.0f));
    EXPECT_EQ(shorter, std::vector<float>(exact.begin(), exact.begin() + 2));
    EXPECT_EQ(one[0], exact[0]);
}

TEST(InitialStateDegenerate, PureGainAndPoleAtOne) {
    const float n = 3.0f, d = 2.0f;
    std::vector<float> zi(4, 9.0f);
    ASSERT_EQ(vorelAudioGetLinerFilterZiCoef(zi.data(), &n, &d, 4, 1, 1), 0);
    EXPECT_EQ(zi, std::vector<float>(4, 0.0f));
    // An integrator has no settled state: the values are not finite, the status is 0.
    const std::vector<float> num = {1.0f}, den = {1.0f, -1.0f};
    ASSERT_EQ(vorelAudioGetLinerFilterZiCoef(zi.data(), num.data(), den.data(), 1, 1, 2), 0);
    EXPECT_FALSE(std::isfinite(zi[0]));
    // Internal calls with no room return before looking at the counts.
    create_zi_coef<float, float>(zi.data(), &n, &d, 0, 0, 0);
    EXPECT_THROW((create_zi_coef<float, float>(zi.data(), &n, &d, 1, 1, 0)),
                 vorel::Util::Exceptions::VorelInvalidArgment);
}

TEST(InitialStateChecks, PointersThenCountsInOrder) {
    std::vector<float> zi(3, 5.0f);
    const float* n = worked.n.data();
    const float* d = worked.d.data();
    EXPECT_EQ(vorelAudioGetLinerFilterZiCoef(nullptr, n, d, 0, 0, 0), -1);
    EXPECT_EQ(vorelAudioGetLinerFilterZiCoef(zi.data(), nullptr, d, 3, 4, 4), -1);
    EXPECT_EQ(vorelAudioGetLinerFilterZiCoef(zi.data(), n, nullptr, 3, 4, 4), -1);
    EXPECT_EQ(vorelAudioGetLinerFilterZiCoef(zi.data(), n, d, 0, 0, 0), -1);
    EXPECT_EQ(vorelAudioGetLinerFilterZiCoef(zi.data(), n, d, 3, INT_MIN, 4), -1);
    EXPECT_EQ(vorelAudioGetLinerFilterZiCoef(zi.data(), n, d, 3, 4, 0), -1);
    EXPECT_EQ(zi, std::vector<float>(3, 5.0f));
}
