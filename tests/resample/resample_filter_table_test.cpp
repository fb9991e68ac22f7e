// The polyphase filter cache: step sequences, taps against the windowed sinc, sharing of
// reduced pairs, and refusal of a filter too large to hold.
#include <gtest/gtest.h>

#include <cmath>
#include <new>
#include <vector>

#include "resample/resample_filter_table.h"

using namespace vorel::audio;

namespace {

ResampleFilterTable& table() { return ResampleFilterTable::instance(); }

std::vector<int> head(const std::vector<int>& v, size_t n) { return {v.begin(), v.begin() + n}; }

}  // namespace

TEST(ResampleSequences, WorkedPairs) {
    struct Case {
        int dst, src;
        std::vector<int> kiro, diff;  // the first entries
    };
    const Case cases[] = {{1, 1, {0}, {1}},
                          {2, 1, {0, 1}, {0, 1}},
                          {1, 2, {0}, {2}},
                          {3, 2, {1, 0, 2}, {1, 0, 1}},
                          {5, 4, {2, 1, 0, 4, 3}, {1, 1, 0, 1, 1}},
                          {64000, 48000, {1, 0, 3, 2}, {1, 0, 1, 1}},
                          {48000, 44100, {79, 66, 53, 40, 27, 14, 1, 148}, {1, 1, 1, 1, 1, 1, 0, 1}}};
    for (const auto& c : cases) {
        EXPECT_EQ(head(table().ref_kiro(c.dst, c.src), c.kiro.size()), c.kiro) << c.dst << "/" << c.src;
        EXPECT_EQ(head(table().ref_diff(c.dst, c.src), c.diff.size()), c.diff) << c.dst << "/" << c.src;
    }
}

// Unnormalised Blackman-windowed sinc, in long double, at the row's offsets.
TEST(ResampleTaps, FollowTheWindowedSincToDoubleRounding) {
    const long double pi = 3.141592653589793238462643383279502884L;
    // The equal-rate filter is the identity up to rounding: centre tap one step below 1.0.
    EXPECT_EQ(table().ref_coef(16000, 16000)[0][32], 0.9999999999999999);
    for (const auto& [up, down] : {std::pair{1, 1}, {1, 2}, {160, 441}, {441, 320}, {3, 2}}) {
        const auto& coef = table().ref_coef(up, down);
        ASSERT_EQ(coef.size(), static_cast<size_t>(up));
        const long double f = up <= down ? static_cast<long double>(up) / down : 1.0L;
        for (int r = 0; r < up; ++r)
            for (int k = 0; k < 65; ++k) {
                const long double t = (r - (up - 1) / 2.0L) / up + (k - 32);
                const long double w = 0.42L + 0.5L * std::cos(2 * pi * t / 65) + 0.08L * std::cos(4 * pi * t / 65);
                const long double s = t == 0 ? f : std::sin(pi * f * t) / (pi * t);
                ASSERT_NEAR(coef[r][k], w * s, 1e-15) << up << "/" << down << " " << r << " " << k;
            }
    }
}

TEST(ResampleTableSharing, ReducedPairsShareAndSameDownDifferentUpDoNot) {
    const auto& a = table().ref_coef(22050, 44100);
    const unsigned built = table().filter_n();
    EXPECT_EQ(&table().ref_coef(44100, 88200), &a);
    EXPECT_EQ(&table().ref_kiro(22050, 44100), &table().ref_kiro(11025, 22050));
    EXPECT_EQ(&table().ref_diff(22050, 44100), &table().ref_diff(1, 2));
    EXPECT_EQ(table().filter_n(), built);

    const auto& to32k = table().ref_coef(32000, 48000);  // 2 / 3
    const auto& to64k = table().ref_coef(64000, 48000);  // 4 / 3, under the same down
    EXPECT_NE(&to32k, &to64k);
    EXPECT_EQ(to32k.size(), 2u);
    EXPECT_EQ(to64k.size(), 4u);
    EXPECT_EQ(&table().ref_coef(2, 3), &to32k);
}

TEST(ResampleTableLimits, OversizedFilterFailsAtOnceAndTableGoesOn) {
    const unsigned before = table().filter_n();
    // Reduces to up = 1073741789 (a prime): 558 GB of taps.
    EXPECT_THROW(table().ref_coef(1073741789, 2), std::bad_alloc);
    EXPECT_THROW(table().ref_kiro(2147483647, 1), std::bad_alloc);
    // The largest pair held has 2^31 / 528 rows; one more row is refused.
    EXPECT_THROW(table().ref_diff(static_cast<int>(resample_filter_max_bytes / 528) + 1, 1), std::bad_alloc);
    EXPECT_EQ(table().filter_n(), before);
    EXPECT_EQ(table().ref_kiro(7, 6).size(), 7u);
    EXPECT_EQ(table().filter_n(), before + 1);
}
