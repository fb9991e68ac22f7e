// The paired radix-2 butterflies, block pass and general stage at every level against the plain
// forms, on values with infinities and NaNs (which send pairs to the scalar recovery).
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <tuple>
#include <vector>

#include "common/isa_kit.h"
#include "planned_fft/butterfly.h"
#include "planned_fft/cooley_tukey.h"
#include "reference.h"

using namespace vorel::audio::qentor;
using namespace vorel::audio::qentor::test;
using vorel::audio::simd::Isa;

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

// Every level against Isa::scalar, the one-at-a-time reference.
class PairedLanes : public vorel::audio::testing::EachIsa {};
VOREL_FOR_EACH_ISA(PairedLanes);

TEST_P(PairedLanes, ButterfliesMatchThePlainForm) {
    const float factor = 1.0f / 48.0f;
    for (bool specials : {false, true})
        for (uint64_t count : {0u, 1u, 2u, 3u, 8u, 33u, 512u})
            for (bool scaled : {false, true}) {
                auto lo = mixed_values(count, 1 + count, specials), hi = mixed_values(count, 2 + count, specials);
                const auto w = mixed_values(count, 3 + count, specials);
                auto lo_plain = lo, hi_plain = hi;
                for (const auto& [l, h, isa] :
                     {std::tuple{&lo, &hi, GetParam()}, {&lo_plain, &hi_plain, Isa::scalar}}) {
                    radix2_butterflies(l->data(), h->data(), w.data(), count, scaled ? &factor : nullptr, isa);
                }
                expect_same_bits(lo, lo_plain);
                expect_same_bits(hi, hi_plain);
            }
    // Blocks of two run two to a vector; longer blocks pair butterflies inside a block.
    for (bool specials : {false, true})
        for (uint64_t n : {2u, 4u, 6u, 16u, 64u, 66u})
            for (uint64_t half : {1u, 2u, 4u}) {
                auto fast = mixed_values(n, n + half, specials);
                const auto w = mixed_values(half, 7 * half, specials);
                auto plain = fast;
                radix2_pass(fast.data(), n, w.data(), half, nullptr, GetParam());
                radix2_pass(plain.data(), n, w.data(), half, nullptr, Isa::scalar);
                expect_same_bits(fast, plain);
            }
}

TEST_P(PairedLanes, GeneralStageColumnsMatchThePlainForm) {
    // The stages of real plans (radix 3, 5, 7 and 37).
    for (unsigned n : {9u, 45u, 175u, 1369u})
        for (bool specials : {false, true}) {
            fft::CooleyTukeyFFTImpl plan(n);
            for (const CooleyTukeyFactor& f : plan.factors) {
                if (f.radix == 2) continue;
                auto fast = mixed_values(n, n + specials, specials);
                auto plain = fast;
                std::vector<Complex> work(f.radix);
                general_stage(f, fast.data(), work.data(), GetParam());
                general_stage(f, plain.data(), work.data(), Isa::scalar);
                expect_same_bits(fast, plain);
            }
        }
}
