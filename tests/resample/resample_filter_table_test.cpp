// The polyphase filter cache: step sequences, taps, sharing of reduced pairs, and refusal of
// a filter too large to hold.
#include <gtest/gtest.h>

#include <cmath>
#include <new>
#include <vector>

#include "resample/resample_filter_table.h"

using namespace vorel::audio;

namespace {

ResampleFilterTable& table() { return ResampleFilterTable::instance(); }

// Input advance before step i, counted over several cycles.
long long advance_before(const ResampleFilterTable::Steps& diff, long long i) {
    long long pos = 0;
    for (long long s = 0; s < i; ++s) pos += diff[s % diff.size()];
    return pos;
}

// The filter sampled at t with cutoff f, in long double: Blackman window of span 65 times sinc.
long double ideal_tap(long double t, long double f) {
    const long double pi = 3.141592653589793238462643383279502884L;
    const long double w = 0.42L + 0.5L * std::cos(2 * pi * t / 65) + 0.08L * std::cos(4 * pi * t / 65);
    const long double s = t == 0 ? f : std::sin(pi * f * t) / (pi * t);
    return w * s;
}

}  // namespace

TEST(ResampleSequences, WorkedPairs) {
    EXPECT_EQ(table().ref_kiro(3, 2), (std::vector<int>{1, 0, 2}));
    EXPECT_EQ(table().ref_diff(3, 2), (std::vector<int>{1, 0, 1}));
    EXPECT_EQ(table().ref_kiro(1, 1), (std::vector<int>{0}));
    EXPECT_EQ(table().ref_diff(1, 1), (std::vector<int>{1}));
    EXPECT_EQ(table().ref_kiro(2, 1), (std::vector<int>{0, 1}));
    EXPECT_EQ(table().ref_diff(2, 1), (std::vector<int>{0, 1}));
    EXPECT_EQ(table().ref_kiro(1, 2), (std::vector<int>{0}));
    EXPECT_EQ(table().ref_diff(1, 2), (std::vector<int>{2}));

    const auto& kiro = table().ref_kiro(48000, 44100);  // reduces to 160 / 147
    const auto& diff = table().ref_diff(48000, 44100);
    ASSERT_EQ(kiro.size(), 160u);
    ASSERT_EQ(diff.size(), 160u);
    EXPECT_EQ(std::vector<int>(kiro.begin(), kiro.begin() + 8),
              (std::vector<int>{79, 66, 53, 40, 27, 14, 1, 148}));
    EXPECT_EQ(std::vector<int>(diff.begin(), diff.begin() + 8),
              (std::vector<int>{1, 1, 1, 1, 1, 1, 0, 1}));
}

// Output i stands at input time i * down / up plus a constant: the walked position and the
// row's fraction must add up to that, step after step, over several cycles.
TEST(ResampleSequences, EveryStepSitsAtItsInputTime) {
    const int pairs[][2] = {{3, 2}, {2, 3}, {160, 441}, {441, 320}, {1, 3}, {7, 1}, {147, 160}};
    for (const auto& p : pairs) {
        const int up = p[0], down = p[1];
        const auto& kiro = table().ref_kiro(up, down);
        const auto& diff = table().ref_diff(up, down);
        ASSERT_EQ(kiro.size(), static_cast<size_t>(up));
        EXPECT_EQ(kiro[0], (up - 1) / 2);
        for (long long i = 0; i < 3LL * up + 5; ++i) {
            const int row = kiro[i % up];
            ASSERT_GE(row, 0);
            ASSERT_LT(row, up);
            EXPECT_EQ(advance_before(diff, i) * up + row, i * down + kiro[0])
                << up << "/" << down << " step " << i;
        }
    }
}

TEST(ResampleTaps, EqualRateCentreTapIsOneStepBelowOne) {
    const auto& coef = table().ref_coef(16000, 16000);
    ASSERT_EQ(coef.size(), 1u);
    EXPECT_EQ(coef[0][32], 0.9999999999999999);
    EXPECT_EQ(coef[0][32], std::nextafter(1.0, 0.0));
    for (int k = 0; k < 65; ++k) {
        if (k == 32) continue;
        EXPECT_LT(std::fabs(coef[0][k]), 1e-16) << k;
    }
}

TEST(ResampleTaps, FollowTheWindowedSincToDoubleRounding) {
    const int pairs[][2] = {{1, 2}, {160, 441}, {441, 320}, {3, 2}};
    for (const auto& p : pairs) {
        const int up = p[0], down = p[1];
        const auto& coef = table().ref_coef(up, down);
        ASSERT_EQ(coef.size(), static_cast<size_t>(up));
        const long double f = up <= down ? static_cast<long double>(up) / down : 1.0L;
        for (int r = 0; r < up; ++r)
            for (int k = 0; k < 65; ++k) {
                const long double t = (r - (up - 1) / 2.0L) / up + (k - 32);
                ASSERT_NEAR(coef[r][k], ideal_tap(t, f), 1e-15) << up << "/" << down << " " << r;
            }
    }
}

TEST(ResampleTaps, RowSumsDifferFromOneByWhatTheWindowLeaves) {
    auto max_gap = [](const ResampleFilterTable::Coef& coef) {
        double gap = 0;
        for (const auto& row : coef) {
            double s = 0;
            for (double c : row) s += c;
            gap = std::max(gap, std::fabs(s - 1.0));
        }
        return gap;
    };
    const double half = max_gap(table().ref_coef(1, 2));
    EXPECT_GT(half, 2e-6);
    EXPECT_LT(half, 1e-5);
    const double to16k = max_gap(table().ref_coef(16000, 44100));
    EXPECT_GT(to16k, 8e-6);
    EXPECT_LT(to16k, 3e-5);
}

TEST(ResampleTableSharing, ReducedPairsShareOneFilter) {
    const auto& a = table().ref_coef(22050, 44100);
    const unsigned built = table().filter_n();
    const auto& b = table().ref_coef(44100, 88200);
    EXPECT_EQ(&a, &b);
    EXPECT_EQ(&table().ref_kiro(22050, 44100), &table().ref_kiro(11025, 22050));
    EXPECT_EQ(&table().ref_diff(22050, 44100), &table().ref_diff(1, 2));
    EXPECT_EQ(table().filter_n(), built);
}

TEST(ResampleTableSharing, SameDownDifferentUpAreTwoFilters) {
    const auto& to32k = table().ref_coef(32000, 48000);  // 2 / 3
    const auto& to64k = table().ref_coef(64000, 48000);  // 4 / 3
    EXPECT_NE(&to32k, &to64k);
    EXPECT_EQ(to32k.size(), 2u);
    EXPECT_EQ(to64k.size(), 4u);
    EXPECT_EQ(table().ref_kiro(64000, 48000), (std::vector<int>{1, 0, 3, 2}));
    EXPECT_EQ(&table().ref_coef(2, 3), &to32k);
}

TEST(ResampleTableLimits, OversizedFilterFailsAtOnceAndTableGoesOn) {
    const unsigned before = table().filter_n();
    // Reduces to up = 1073741789 (a prime): 558 GB of taps.
    EXPECT_THROW(table().ref_coef(1073741789, 2), std::bad_alloc);
    EXPECT_THROW(table().ref_kiro(2147483647, 1), std::bad_alloc);
    EXPECT_EQ(table().filter_n(), before);
    EXPECT_EQ(table().ref_kiro(5, 4), (std::vector<int>{2, 1, 0, 4, 3}));
    EXPECT_EQ(table().filter_n(), before + 1);
    // The largest pair held has 2^31 / 528 rows; one more row is refused.
    const int largest = static_cast<int>(resample_filter_max_bytes / 528);
    EXPECT_THROW(table().ref_diff(largest + 1, 1), std::bad_alloc);
}
