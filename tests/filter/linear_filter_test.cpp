// The linear filter: every form and order against the plain reference bit for bit, the state
// rules, in place, and non-finite coefficients. Agreement with a float64 filter over
// standard designs is checked against scipy in the Python tests.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <vector>

#include "filter/linear_filter.h"
#include "filter/reference.h"
#include "vorel_audio.h"

using namespace vorel::audio;
using namespace filter_test;

namespace {

template <class Dst, class Src, class State>
void expect_form_matches_reference(const Coefs& c) {
    const std::vector<float> signal = test_signal(300);
    const std::vector<Src> x(signal.begin(), signal.end());
    const int r = c.order();
    for (bool reverse : {false, true}) {
        std::vector<State> z(r + 1, State(0.25)), z_ref(z);
        std::vector<Dst> y(300), y_ref(300);
        linerfilter<Dst, Src, float, State>(y.data(), x.data(), c.n.data(), c.d.data(), z.data(), 300, 300,
                                            int(c.n.size()), int(c.d.size()), r + 1, reverse);
        reference_filter(y_ref.data(), x.data(), 300, c, z_ref.data(), reverse);
        EXPECT_EQ(y, y_ref) << "order " << r << " reverse " << reverse;
        EXPECT_EQ(z, z_ref) << "order " << r << " reverse " << reverse;
    }
}

int run(std::vector<float>& dst, const std::vector<float>& src, const Coefs& c, float* zi, int zi_n) {
    return vorelAudioLinerFilter(dst.data(), src.data(), c.n.data(), c.d.data(), zi, int(dst.size()), int(src.size()),
                                 int(c.n.size()), int(c.d.size()), zi_n);
}

}  // namespace

TEST(LinearFilter, EveryOrderAndFormMatchesTheReferenceBitForBit) {
    // Orders 0 to 20 reach the no-state, one-register, fixed-order and run-time-order loops;
    // unequal list lengths count as zero-padded.
    std::vector<Coefs> designs = {{{0.5f}, {2.0f, -0.5f, 0.25f}},
                                  {{0.1f, 0.2f, 0.3f, 0.4f, 0.5f}, {1.0f, -0.3f}},
                                  {std::vector<float>(40, 0.025f), {1.0f}}};
    for (int r = 0; r <= 20; ++r) designs.push_back(stable_design(r));
    for (const Coefs& c : designs) {
        expect_form_matches_reference<float, float, float>(c);
        expect_form_matches_reference<double, float, double>(c);
        expect_form_matches_reference<double, double, double>(c);
        expect_form_matches_reference<float, double, double>(c);
    }
}

TEST(LinearFilter, WorkedStepResponseAndUnequalBufferLengths) {
    // y[i] = 0.5 x[i] + 0.5 y[i-1]; only min(dst_n, src_n) samples are written.
    std::vector<float> y(6, -3.0f);
    ASSERT_EQ(run(y, std::vector<float>(4, 1.0f), {{3.0f}, {6.0f, -3.0f}}, nullptr, 0), 0);
    EXPECT_EQ(y, (std::vector<float>{0.5f, 0.75f, 0.875f, 0.9375f, -3.0f, -3.0f}));
    std::vector<float> shorter(2);
    ASSERT_EQ(run(shorter, std::vector<float>(4, 1.0f), {{1.0f}, {2.0f, -1.0f}}, nullptr, 0), 0);
    EXPECT_EQ(shorter, (std::vector<float>{0.5f, 0.75f}));
}

TEST(LinearFilter, StateRulesAndInPlace) {
    for (int r : {0, 1, 3, 12, 30}) {
        const Coefs c = stable_design(r);
        std::vector<float> x = test_signal(777), y(777), want(777), zero_run(777);
        // A state longer than the order: only the order's registers are read, and left holding
        // the final state (so that blocks can follow each other).
        std::vector<float> zi(r + 2, 0.5f), z_ref(r, 0.5f), z_copy(zi);
        ASSERT_EQ(run(y, x, c, zi.data(), r + 2), 0);
        reference_filter(want.data(), x.data(), 777, c, z_ref.data(), false);
        EXPECT_EQ(y, want) << r;
        EXPECT_EQ(std::vector<float>(zi.begin(), zi.begin() + r), z_ref) << r;
        EXPECT_EQ(std::vector<float>(zi.begin() + r, zi.end()), std::vector<float>(2, 0.5f)) << r;
        // A short, negative-length or missing state: start from zeros, zi untouched.
        std::vector<float> short_zi(r + 1, 9.0f), zeros(r + 1, 0.0f);
        ASSERT_EQ(run(zero_run, x, c, zeros.data(), r), 0);
        for (int zi_n : {r - 1, -5}) {
            ASSERT_EQ(run(y, x, c, short_zi.data(), zi_n), 0);
            EXPECT_EQ(y, zero_run) << r;
            EXPECT_EQ(short_zi, std::vector<float>(r + 1, 9.0f)) << r;
        }
        ASSERT_EQ(run(y, x, c, nullptr, r), 0);
        EXPECT_EQ(y, zero_run) << r;
        ASSERT_EQ(run(x, x, c, z_copy.data(), r + 2), 0);  // in place
        EXPECT_EQ(x, want) << r;
        EXPECT_EQ(z_copy, zi) << r;
    }
}

// The refusals are swept with every exported function's in tests/errors; what is not refused
// reaches the output.
TEST(LinearFilter, NaNCoefficientsAndAZeroLeadingDenominatorFlowThrough) {
    const std::vector<float> x(4, 1.0f), c = {1.0f, 0.5f}, nan_c = {NAN, 1.0f}, zero_lead = {0.0f, 1.0f};
    std::vector<float> y(4, 7.0f), zi = {3.0f};
    EXPECT_EQ(vorelAudioLinerFilter(y.data(), x.data(), nan_c.data(), c.data(), zi.data(), 4, 4, 2, 2, 1), 0);
    EXPECT_TRUE(std::isnan(y[0]));
    EXPECT_EQ(vorelAudioLinerFilter(y.data(), x.data(), c.data(), zero_lead.data(), zi.data(), 4, 4, 2, 2, 1), 0);
    EXPECT_FALSE(std::isfinite(y[0]) || std::isfinite(y[1]));
}
