// The paired radix-2 butterfly and general stage against their one-at-a-time forms.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "planned_fft/butterfly.h"
#include "planned_fft/cooley_tukey.h"
#include "planned_fft/stages.h"
#include "reference.h"

using namespace vorel::audio::qentor;
using namespace vorel::audio::qentor::test;

namespace {

// Equal bits, or NaN on both sides (the sign and payload of a NaN carry nothing).
bool same_value(float a, float b) {
    return bits_of(a) == bits_of(b) || (std::isnan(a) && std::isnan(b));
}

std::vector<Complex> mixed_values(size_t n, unsigned seed, bool specials) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> dist(-4.0f, 4.0f);
    std::uniform_int_distribution<int> pick(0, 9);
    const float inf = std::numeric_limits<float>::infinity();
    const float special[] = {inf, -inf, std::numeric_limits<float>::quiet_NaN(), 0.0f, -0.0f,
                             3e38f, -3e38f, 1e-40f};
    std::vector<Complex> v(n);
    for (Complex& c : v) {
        c = {dist(gen), dist(gen)};
        if (specials && pick(gen) == 0) c.re = special[pick(gen) % 8];
        if (specials && pick(gen) == 0) c.im = special[pick(gen) % 8];
    }
    return v;
}

}  // namespace

TEST(Butterfly, PairedFormMatchesThePlainForm) {
    for (bool specials : {false, true})
        for (uint64_t count : {0u, 1u, 2u, 3u, 8u, 33u, 512u}) {
            for (bool scaled : {false, true}) {
                const auto lo0 = mixed_values(count, 1 + count, specials);
                const auto hi0 = mixed_values(count, 2 + count, specials);
                const auto w = mixed_values(count, 3 + count, specials);
                auto lo_fast = lo0, hi_fast = hi0, lo_plain = lo0, hi_plain = hi0;
                const float factor = 1.0f / 48.0f;
                if (scaled)
                    radix2_butterflies_scaled(lo_fast.data(), hi_fast.data(), w.data(), count, factor);
                else
                    radix2_butterflies(lo_fast.data(), hi_fast.data(), w.data(), count);
                radix2_butterflies_plain(lo_plain.data(), hi_plain.data(), w.data(), count,
                                         scaled ? &factor : nullptr);
                for (uint64_t j = 0; j < count; ++j) {
                    EXPECT_TRUE(same_value(lo_fast[j].re, lo_plain[j].re) &&
                                same_value(lo_fast[j].im, lo_plain[j].im) &&
                                same_value(hi_fast[j].re, hi_plain[j].re) &&
                                same_value(hi_fast[j].im, hi_plain[j].im))
                        << "count " << count << " j " << j << " scaled " << scaled;
                }
            }
        }
}

TEST(Butterfly, PassOverBlocksMatchesThePlainForm) {
    // Blocks of two run two to a register; other block lengths pair butterflies inside a block.
    for (bool specials : {false, true})
        for (uint64_t n : {2u, 4u, 6u, 16u, 64u, 66u})
            for (uint64_t half : {1u, 2u, 4u}) {
                const auto data = mixed_values(n, n + half, specials);
                const auto w = mixed_values(half, 7 * half, specials);
                auto fast = data, plain = data;
                radix2_pass(fast.data(), n, w.data(), half);
                for (uint64_t b = 0; b + 2 * half <= n; b += 2 * half)
                    radix2_butterflies_plain(plain.data() + b, plain.data() + b + half, w.data(),
                                             half, nullptr);
                for (uint64_t i = 0; i < n; ++i)
                    ASSERT_TRUE(same_value(fast[i].re, plain[i].re) &&
                                same_value(fast[i].im, plain[i].im))
                        << "n " << n << " half " << half << " at " << i;
            }
}

TEST(Butterfly, InfiniteProductIsRecoveredInsideAPair) {
    // w = (inf, inf) times hi = (1, 0) is NaN + NaN i by the plain formula; the recovery gives
    // an infinity, also when the butterfly sits in a lane pair.
    const float inf = std::numeric_limits<float>::infinity();
    std::vector<Complex> lo = {{0, 0}, {0, 0}}, hi = {{1, 0}, {1, 0}};
    const std::vector<Complex> w = {{1, 0}, {inf, inf}};
    radix2_butterflies(lo.data(), hi.data(), w.data(), 2);
    EXPECT_EQ(lo[0].re, 1.0f);
    EXPECT_TRUE(std::isinf(lo[1].re) || std::isinf(lo[1].im));
}

TEST(GeneralStage, PairedColumnsMatchThePlainForm) {
    // The stages of real plans (radix 3, 5, 7 and 37), on values with infinities and NaNs.
    for (unsigned n : {9u, 45u, 175u, 1369u})
        for (bool specials : {false, true}) {
            fft::CooleyTukeyFFTImpl plan(n);
            for (const CooleyTukeyFactor& f : plan.factors) {
                if (f.radix == 2) continue;
                const auto data = mixed_values(n, n + specials, specials);
                auto fast = data, plain = data;
                std::vector<Complex> work(f.radix);
                general_stage(f, fast.data(), work.data());
                general_stage_plain(f, plain.data(), work.data());
                for (unsigned i = 0; i < n; ++i)
                    ASSERT_TRUE(same_value(fast[i].re, plain[i].re) &&
                                same_value(fast[i].im, plain[i].im))
                        << "n " << n << " radix " << f.radix << " at " << i;
            }
        }
}
