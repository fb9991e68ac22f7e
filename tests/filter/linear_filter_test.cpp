// The linear filter: every form against the plain reference, streaming, in place, the
// state rules and the exported entry's checks.
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

// One form of the filter against the reference, bit for bit, for both directions.
template <class Dst, class Src, class State>
void expect_form_matches_reference(const Coefs& c, std::size_t n) {
    const std::vector<float> signal = test_signal(n);
    const std::vector<Src> x(signal.begin(), signal.end());
    const int r = c.order();
    for (bool reverse : {false, true}) {
        std::vector<State> z(r + 1, State(0.25)), z_ref(z);
        std::vector<Dst> y(n), y_ref(n);
        linerfilter<Dst, Src, float, State>(y.data(), x.data(), c.n.data(), c.d.data(), z.data(),
                                            int(n), int(n), int(c.n.size()), int(c.d.size()),
                                            r + 1, reverse);
        reference_filter(y_ref.data(), x.data(), n, c, z_ref.data(), reverse);
        EXPECT_EQ(y, y_ref) << "order " << r << " reverse " << reverse;
        EXPECT_EQ(z, z_ref) << "order " << r << " reverse " << reverse;
    }
}

int vorel_filter(std::vector<float>& dst, const std::vector<float>& src, const Coefs& c,
                 float* zi, int zi_n) {
    return vorelAudioLinerFilter(dst.data(), src.data(), c.n.data(), c.d.data(), zi,
                                 int(dst.size()), int(src.size()), int(c.n.size()),
                                 int(c.d.size()), zi_n);
}

}  // namespace

TEST(LinearFilterAgainstReference, EveryOrderAndFormBitForBit) {
    // Orders 0 to 20 reach the no-state, one-register, fixed-order and run-time-order loops.
    for (int r = 0; r <= 20; ++r) {
        const Coefs c = stable_design(r);
        expect_form_matches_reference<float, float, float>(c, 300);
        expect_form_matches_reference<double, float, double>(c, 300);
        expect_form_matches_reference<double, double, double>(c, 300);
        expect_form_matches_reference<float, double, double>(c, 300);
    }
}

TEST(LinearFilterAgainstReference, UnequalListLengthsPadWithZeros) {
    for (const Coefs& c : {Coefs{{0.5f}, {2.0f, -0.5f, 0.25f}},
                           Coefs{{0.1f, 0.2f, 0.3f, 0.4f, 0.5f}, {1.0f, -0.3f}},
                           Coefs{std::vector<float>(40, 0.025f), {1.0f}}}) {
        expect_form_matches_reference<float, float, float>(c, 200);
        expect_form_matches_reference<double, double, double>(c, 200);
    }
}

TEST(LinearFilterWorkedNumbers, FirstOrderSmootherStepResponse) {
    // y[i] = 0.5 x[i] + 0.5 y[i-1] (b = 1, a = 2, -1 before normalisation): 0.5, 0.75, 0.875.
    const Coefs c{{1.0f}, {2.0f, -1.0f}};
    std::vector<float> x(4, 1.0f), y(4);
    ASSERT_EQ(vorel_filter(y, x, c, nullptr, 0), 0);
    EXPECT_EQ(y, (std::vector<float>{0.5f, 0.75f, 0.875f, 0.9375f}));
    // Scaling both lists by one factor changes nothing.
    const Coefs scaled{{3.0f}, {6.0f, -3.0f}};
    std::vector<float> y2(4);
    ASSERT_EQ(vorel_filter(y2, x, scaled, nullptr, 0), 0);
    EXPECT_EQ(y, y2);
}

TEST(LinearFilterStreaming, BlocksWithOneStateEqualOneCall) {
    const Coefs c = stable_design(6);
    const std::vector<float> x = test_signal(20000);
    std::vector<float> whole(x.size()), z_whole(6, 0.0f);
    ASSERT_EQ(vorel_filter(whole, x, c, z_whole.data(), 6), 0);
    for (std::size_t block : {1u, 7u, 4096u}) {
        std::vector<float> z(6, 0.0f), out;
        for (std::size_t at = 0; at < x.size(); at += block) {
            const std::vector<float> in(x.begin() + at, x.begin() + std::min(x.size(), at + block));
            std::vector<float> part(in.size());
            ASSERT_EQ(vorel_filter(part, in, c, z.data(), 6), 0);
            out.insert(out.end(), part.begin(), part.end());
        }
        // The state is float in both cases, so the blocks agree to the bit.
        EXPECT_EQ(out, whole) << block;
        EXPECT_EQ(z, z_whole) << block;
    }
}

TEST(LinearFilterInPlace, SameAsSeparateBuffers) {
    for (int r : {0, 1, 3, 12, 30}) {
        const Coefs c = stable_design(r);
        std::vector<float> x = test_signal(777), y(x.size());
        std::vector<float> z1(r + 1, 0.5f), z2(z1);
        ASSERT_EQ(vorel_filter(y, x, c, z1.data(), r), 0);
        ASSERT_EQ(vorel_filter(x, x, c, z2.data(), r), 0);
        EXPECT_EQ(x, y) << r;
        EXPECT_EQ(z1, z2) << r;
    }
}

TEST(LinearFilterState, ShortOrMissingStateStartsFromZeroAndIsLeftAlone) {
    const Coefs c = stable_design(4);
    const std::vector<float> x = test_signal(100);
    std::vector<float> from_zero(x.size()), y(x.size());
    std::vector<float> zeros(4, 0.0f);
    ASSERT_EQ(vorel_filter(from_zero, x, c, zeros.data(), 4), 0);
    ASSERT_EQ(vorel_filter(y, x, c, nullptr, 4), 0);
    EXPECT_EQ(y, from_zero);
    std::vector<float> short_zi(4, 9.0f);
    ASSERT_EQ(vorel_filter(y, x, c, short_zi.data(), 3), 0);
    EXPECT_EQ(y, from_zero);
    EXPECT_EQ(short_zi, std::vector<float>(4, 9.0f));
    ASSERT_EQ(vorel_filter(y, x, c, short_zi.data(), -5), 0);
    EXPECT_EQ(short_zi, std::vector<float>(4, 9.0f));
}

TEST(LinearFilterState, LongStateUpdatesOnlyTheOrder) {
    const Coefs c = stable_design(3);
    const std::vector<float> x = test_signal(50);
    std::vector<float> y(x.size()), y_ref(x.size());
    std::vector<float> zi = {0.1f, -0.2f, 0.3f, 7.0f, 8.0f};
    std::vector<float> z_ref(zi.begin(), zi.begin() + 3);
    ASSERT_EQ(vorel_filter(y, x, c, zi.data(), 5), 0);
    reference_filter(y_ref.data(), x.data(), x.size(), c, z_ref.data(), false);
    EXPECT_EQ(y, y_ref);
    EXPECT_EQ(std::vector<float>(zi.begin(), zi.begin() + 3), z_ref);
    EXPECT_EQ(zi[3], 7.0f);
    EXPECT_EQ(zi[4], 8.0f);
}

TEST(LinearFilterDegenerate, PureGainNeverTouchesState) {
    const Coefs c{{3.0f}, {2.0f}};
    const std::vector<float> x = {1.0f, -2.0f, 0.5f};
    std::vector<float> y(3), zi = {4.0f, 5.0f};
    ASSERT_EQ(vorel_filter(y, x, c, zi.data(), 2), 0);
    EXPECT_EQ(y, (std::vector<float>{1.5f, -3.0f, 0.75f}));
    EXPECT_EQ(zi, (std::vector<float>{4.0f, 5.0f}));
}

TEST(LinearFilterDegenerate, UnequalLengthsFilterTheShorterAndKeepTheTail) {
    const Coefs c = stable_design(2);
    const std::vector<float> x = test_signal(10);
    std::vector<float> full(10), longer(15, -3.0f), shorter(4);
    ASSERT_EQ(vorel_filter(full, x, c, nullptr, 0), 0);
    ASSERT_EQ(vorel_filter(longer, x, c, nullptr, 0), 0);
    ASSERT_EQ(vorel_filter(shorter, x, c, nullptr, 0), 0);
    EXPECT_EQ(std::vector<float>(longer.begin(), longer.begin() + 10), full);
    EXPECT_EQ(std::vector<float>(longer.begin() + 10, longer.end()), std::vector<float>(5, -3.0f));
    EXPECT_EQ(shorter, std::vector<float>(full.begin(), full.begin() + 4));
}

TEST(LinearFilterDegenerate, ZeroLeadingDenominatorFlowsIntoOutput) {
    const Coefs c{{1.0f, 0.5f}, {0.0f, 1.0f}};
    const std::vector<float> x = {1.0f, 2.0f};
    std::vector<float> y(2);
    ASSERT_EQ(vorel_filter(y, x, c, nullptr, 0), 0);
    EXPECT_FALSE(std::isfinite(y[0]));
    EXPECT_FALSE(std::isfinite(y[1]));
}

TEST(LinearFilterInternal, BadCountsThrowTheirOwnTexts) {
    float v = 1.0f, out = 0.0f;
    EXPECT_THROW((linerfilter<float, float, float, float>(&out, &v, &v, &v, nullptr, 1, 1, 0, 1,
                                                          0, false)),
                 vorel::Util::Exceptions::VorelInvalidArgment);
    EXPECT_THROW((linerfilter<float, float, float, float>(&out, &v, &v, &v, nullptr, 1, 1, 1, 0,
                                                          0, false)),
                 vorel::Util::Exceptions::VorelInvalidArgment);
    EXPECT_EQ(out, 0.0f);
}

TEST(LinearFilterChecks, PointersThenCountsInOrder) {
    const std::vector<float> x(4, 1.0f), c = {1.0f, 0.5f};
    std::vector<float> y(4, 7.0f), zi = {3.0f};
    const auto call = [&](float* d, const float* s, const float* n, const float* dc, int dst_n,
                          int src_n, int nn, int dn) {
        return vorelAudioLinerFilter(d, s, n, dc, zi.data(), dst_n, src_n, nn, dn, 1);
    };
    EXPECT_EQ(call(nullptr, x.data(), c.data(), c.data(), 0, 0, 0, 0), -1);
    EXPECT_EQ(call(y.data(), nullptr, c.data(), c.data(), 4, 4, 2, 2), -1);
    EXPECT_EQ(call(y.data(), x.data(), nullptr, c.data(), 4, 4, 2, 2), -1);
    EXPECT_EQ(call(y.data(), x.data(), c.data(), nullptr, 4, 4, 2, 2), -1);
    EXPECT_EQ(call(y.data(), x.data(), c.data(), c.data(), 0, 4, 2, 2), -1);
    EXPECT_EQ(call(y.data(), x.data(), c.data(), c.data(), 4, INT_MIN, 2, 2), -1);
    EXPECT_EQ(call(y.data(), x.data(), c.data(), c.data(), 4, 4, -1, 2), -1);
    EXPECT_EQ(call(y.data(), x.data(), c.data(), c.data(), 4, 4, 2, 0), -1);
    EXPECT_EQ(y, std::vector<float>(4, 7.0f));
    EXPECT_EQ(zi[0], 3.0f);
    // NaN samples and coefficients are not refused.
    const std::vector<float> nan_c = {NAN, 1.0f};
    EXPECT_EQ(call(y.data(), x.data(), nan_c.data(), c.data(), 4, 4, 2, 2), 0);
    EXPECT_TRUE(std::isnan(y[0]));
}
