// The paired radix-2 butterflies, block pass and general stage against their plain forms, on
// values with infinities and NaNs (which send pairs to the scalar recovery).
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "planned_fft/butterfly.h"
#include "planned_fft/cooley_tukey.h"
#include "planned_fft/stages.h"
#include "reference.h"

using namespace vorel::audio::qentor;
using namespace vorel::audio::qentor::test;

namespace {

std::vector<Complex> mixed_values(size_t n, unsigned seed, bool specials) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> dist(-4.0f, 4.0f);
    std::uniform_int_distribution<int> pick(0, 9);
    const float special[] = {INFINITY, -INFINITY, NAN, 0.0f, -0.0f, 3e38f, -3e38f, 1e-40f};
    std::vector<Complex> v(n);
    for (size_t i = 0; i < n; ++i) {
        v[i] = {dist(gen), dist(gen)};
        if (specials && pick(gen) == 0) v[i].re = special[pick(gen) % 8];
        if (specials && pick(gen) == 0) v[i].im = special[pick(gen) % 8];
        if (specials && i % 11 == 5) v[i] = {INFINITY, NAN};  // its products need the recovery
    }
    return v;
}

}  // namespace

TEST(Butterfly, PairedFormsMatchThePlainForm) {
    const float factor = 1.0f / 48.0f;
    for (bool specials : {false, true})
        for (uint64_t count : {0u, 1u, 2u, 3u, 8u, 33u, 512u})
            for (bool scaled : {false, true}) {
                auto lo = mixed_values(count, 1 + count, specials),
                     hi = mixed_values(count, 2 + count, specials);
                auto w = mixed_values(count, 3 + count, specials);
                auto lo_plain = lo, hi_plain = hi;
                if (scaled)
                    radix2_butterflies_scaled(lo.data(), hi.data(), w.data(), count, factor);
                else
                    radix2_butterflies(lo.data(), hi.data(), w.data(), count);
                radix2_butterflies_plain(lo_plain.data(), hi_plain.data(), w.data(), count,
                                         scaled ? &factor : nullptr);
                expect_same_bits(lo, lo_plain);
                expect_same_bits(hi, hi_plain);
            }
    // Blocks of two run two to a register; longer blocks pair butterflies inside a block.
    for (bool specials : {false, true})
        for (uint64_t n : {2u, 4u, 6u, 16u, 64u, 66u})
            for (uint64_t half : {1u, 2u, 4u}) {
                auto fast = mixed_values(n, n + half, specials);
                const auto w = mixed_values(half, 7 * half, specials);
                auto plain = fast;
                radix2_pass(fast.data(), n, w.data(), half);
                for (uint64_t b = 0; b + 2 * half <= n; b += 2 * half)
                    radix2_butterflies_plain(&plain[b], &plain[b + half], w.data(), half, nullptr);
                expect_same_bits(fast, plain);
            }
}

TEST(GeneralStage, PairedColumnsMatchThePlainForm) {
    // The stages of real plans (radix 3, 5, 7 and 37).
    for (unsigned n : {9u, 45u, 175u, 1369u})
        for (bool specials : {false, true}) {
            fft::CooleyTukeyFFTImpl plan(n);
            for (const CooleyTukeyFactor& f : plan.factors) {
                if (f.radix == 2) continue;
                auto fast = mixed_values(n, n + specials, specials);
                auto plain = fast;
                std::vector<Complex> work(f.radix);
                general_stage(f, fast.data(), work.data());
                general_stage_plain(f, plain.data(), work.data());
                expect_same_bits(fast, plain);
            }
        }
}
