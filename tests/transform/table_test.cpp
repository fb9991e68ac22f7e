// The coefficient cache: the stated angle rule and row layout, stable references, the
// refusal of lengths below 1, and first use from several threads at once.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include "common/isa_kit.h"
#include "errors/exceptions.h"
#include "reference.h"
#include "transform/fft_table.h"

using namespace transform_test;
using vorel::audio::FftTable;
using vorel::audio::testing::same_bits;

namespace {

const std::vector<float>& fetch(int n, bool inverse) {
    return inverse ? FftTable::instance().ref_inv_table(n) : FftTable::instance().ref_table(n);
}

}  // namespace

TEST(FftTable, EntriesAreSinCosOfTheFloatRoundedAngle) {
    for (bool inv : {false, true})
        for (int n : {1, 2, 3, 4, 5, 8, 12, 64, 100, 1000, 1009, 4096}) {
            EXPECT_TRUE(same_bits(fetch(n, inv), expected_table(n, inv))) << "n = " << n << " inverse " << inv;
        }
}

TEST(FftTable, EntriesAreTheUnitRootsInTheirLayout) {
    // Other lengths: entry k is angle k; powers of two: rows of the angles 2j, j and 3j.
    for (bool inv : {false, true}) {
        const double w = (inv ? 2 : -2) * M_PI;
        const std::vector<float>& t = fetch(1000, inv);
        ASSERT_EQ(t.size(), 2000u);
        for (int k = 0; k < 1000; ++k) {
            EXPECT_NEAR(t[2 * k], std::cos(w * k / 1000), 4e-7) << k;
            EXPECT_NEAR(t[2 * k + 1], std::sin(w * k / 1000), 4e-7) << k;
        }
        const std::vector<float>& r = fetch(256, inv);
        ASSERT_EQ(r.size(), 768u);
        for (int j = 0; j < 64; ++j) {
            const double a1 = w * j / 256, a2 = 2 * a1, a3 = 3 * a1;
            const double want[12] = {std::cos(a2),  std::sin(a2), -std::sin(a2), std::cos(a2),
                                     std::cos(a1),  std::sin(a1), -std::sin(a1), std::cos(a1),
                                     -std::sin(a3), std::cos(a3), std::cos(a3),  std::sin(a3)};
            for (int p = 0; p < 12; ++p) EXPECT_NEAR(r[12 * j + p], want[p], 4e-7) << "row " << j << " position " << p;
        }
    }
    // Below 4 a power of two keeps its zeros.
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
    std::vector<std::vector<const std::vector<float>*>> seen(threads,
                                                             std::vector<const std::vector<float>*>(2 * ns.size()));
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
