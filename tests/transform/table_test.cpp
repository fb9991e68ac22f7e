// The coefficient cache: the stated angle rule and row layout, stable references, the
// refusal of lengths below 1, and first use from several threads at once.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "errors/exceptions.h"
#include "reference.h"
#include "transform/fft_table.h"

using namespace transform_test;
using vorel::audio::FftTable;

namespace {

const std::vector<float>& fetch(int n, bool inverse) {
    return inverse ? FftTable::instance().ref_inv_table(n) : FftTable::instance().ref_table(n);
}

bool same_bits(const std::vector<float>& a, const std::vector<float>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

}  // namespace

TEST(FftTable, EntriesAreSinCosOfTheFloatRoundedAngle) {
    for (bool inv : {false, true})
        for (int n : {1, 2, 3, 4, 5, 8, 12, 64, 100, 1000, 1009, 4096}) {
            EXPECT_TRUE(same_bits(fetch(n, inv), expected_table(n, inv))) << "n = " << n << " inverse " << inv;
        }
}

TEST(FftTable, OtherLengthsHoldTheUnitRootsInOrder) {
    const int n = 1000;
    for (bool inv : {false, true}) {
        const std::vector<float>& t = fetch(n, inv);
        ASSERT_EQ(t.size(), 2u * n);
        for (int k = 0; k < n; ++k) {
            const double angle = (inv ? 2 : -2) * M_PI * k / n;
            EXPECT_NEAR(t[2 * k], std::cos(angle), 4e-7) << k;
            EXPECT_NEAR(t[2 * k + 1], std::sin(angle), 4e-7) << k;
        }
    }
}

TEST(FftTable, PowerOfTwoRowsHoldTheTwiddlesOfTwoJJAndThreeJ) {
    const int n = 256;
    const std::vector<float>& t = fetch(n, false);
    ASSERT_EQ(t.size(), 3u * n);
    for (int j = 0; j < n / 4; ++j) {
        const double w = -2 * M_PI / n;
        const float* row = &t[12 * j];
        const double want[12] = {std::cos(2 * j * w),  std::sin(2 * j * w), -std::sin(2 * j * w), std::cos(2 * j * w),
                                 std::cos(j * w),      std::sin(j * w),     -std::sin(j * w),     std::cos(j * w),
                                 -std::sin(3 * j * w), std::cos(3 * j * w), std::cos(3 * j * w),  std::sin(3 * j * w)};
        for (int p = 0; p < 12; ++p) EXPECT_NEAR(row[p], want[p], 4e-7) << "row " << j << " position " << p;
    }
    // The inverse rows hold the conjugates.
    const std::vector<float>& inv = fetch(n, true);
    for (int j = 0; j < n / 4; ++j)
        for (int p : {1, 2, 5, 6, 8, 11}) EXPECT_EQ(inv[12 * j + p], -t[12 * j + p]) << j << " " << p;
}

TEST(FftTable, ShortPowersOfTwoAreZeroFilled) {
    EXPECT_EQ(fetch(1, false), std::vector<float>(3, 0.0f));
    EXPECT_EQ(fetch(2, true), std::vector<float>(6, 0.0f));
}

TEST(FftTable, ReferencesStayPutWhileTheTableGrows) {
    const std::vector<float>* first = &fetch(360, false);
    const float* values = first->data();
    for (int n = 361; n < 400; ++n) fetch(n, false);
    EXPECT_EQ(&fetch(360, false), first);
    EXPECT_EQ(fetch(360, false).data(), values);
    EXPECT_NE(&fetch(360, true), first);
}

TEST(FftTable, LengthsBelowOneAreRefused) {
    for (int n : {0, -1, -4096}) {
        try {
            fetch(n, n % 2 == 0);
            ADD_FAILURE() << "no exception for " << n;
        } catch (const vorel::Util::Exceptions::VorelInvalidArgment& e) {
            EXPECT_STREQ(e.what(), "Invalid value of fft points.");
            EXPECT_EQ(e.errorCode(), -1);
        }
    }
}

TEST(FftTable, ConcurrentFirstUseBuildsEachEntryOnceAndCorrectly) {
    // Lengths no other test uses, so that the threads race on their first build.
    std::vector<int> ns;
    for (int n = 2001; n <= 2160; ++n) ns.push_back(n);
    for (int n = 8192; n <= 131072; n *= 2) ns.push_back(n);
    const int threads = 6;
    std::vector<std::vector<const std::vector<float>*>> seen(threads, std::vector<const std::vector<float>*>(2 * ns.size()));
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t)
        pool.emplace_back([&, t] {
            for (std::size_t step = 0; step < ns.size(); ++step) {
                const std::size_t i = (step * 7 + t * 13) % ns.size();  // a different order per thread
                seen[t][2 * i + (t % 2)] = &fetch(ns[i], t % 2 == 1);
                seen[t][2 * i + 1 - (t % 2)] = &fetch(ns[i], t % 2 == 0);
            }
        });
    for (std::thread& th : pool) th.join();
    for (std::size_t i = 0; i < ns.size(); ++i) {
        for (int t = 1; t < threads; ++t) {
            EXPECT_EQ(seen[t][2 * i], seen[0][2 * i]);
            EXPECT_EQ(seen[t][2 * i + 1], seen[0][2 * i + 1]);
        }
        EXPECT_TRUE(same_bits(*seen[0][2 * i], expected_table(ns[i], false))) << ns[i];
        EXPECT_TRUE(same_bits(*seen[0][2 * i + 1], expected_table(ns[i], true))) << ns[i];
    }
}
