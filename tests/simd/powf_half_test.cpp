// The square-root shortcut for powf(x, 0.5f) against powf itself, bit for bit, at every level:
// roots placed just either side of rounding midpoints (where the two functions part), the bases
// where they do part, sums of squares of random spectra, and every class of special value.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "common/isa_kit.h"
#include "simd/isa.h"
#include "simd/math/powf_half.h"
#include "simd/math/replicas.h"

using namespace vorel::audio;
using namespace simd::math;

namespace {

std::vector<float> bases() {
    std::vector<float> v;
    // Special classes, both signs: zeros, subnormals, the 2^-100 limit, infinities, NaN.
    for (std::uint32_t b : {0x00000000u, 0x00000001u, 0x007fffffu, 0x00800000u, 0x0d7fffffu, 0x0d800000u, 0x0d800001u,
                            0x3f800000u, 0x7f7fffffu, 0x7f800000u, 0x7fc00000u, 0x7fa00001u})
        for (std::uint32_t s : {0u, 0x80000000u}) v.push_back(std::bit_cast<float>(b | s));
    // Bases where powf and sqrtf part, in every binade.
    for (std::uint32_t e = 1; e < 255; ++e)
        for (std::uint32_t m : {0x71ae67u, 0x7fffffu}) v.push_back(std::bit_cast<float>(e << 23 | m));
    std::mt19937 gen(3);
    std::uniform_real_distribution<double> unit(1.0, 2.0), offset(-0.01, 0.01);
    std::normal_distribution<float> normal(0.0f, 1.0f);
    for (int i = 0; i < 400'000; ++i) {
        // A root a small fraction of a gap from the midpoint above a float r: the base is the
        // square of that root, rounded to float.
        const int e = static_cast<int>(gen() % 200) - 100;
        const float r = static_cast<float>(std::ldexp(unit(gen), e));
        const double gap = std::nextafter(r, INFINITY) - static_cast<double>(r);
        const double root = r + gap * (0.5 + offset(gen));
        v.push_back(static_cast<float>(root * root));
        // The norm of a random complex value.
        const float re = normal(gen), im = normal(gen);
        v.push_back(re * re + im * im);
    }
    return v;
}

class PowfHalf : public vorel::audio::testing::EachIsa {};

TEST_P(PowfHalf, TheShortcutGivesPowfsBits) {
    const std::vector<float> in = bases();
    std::vector<float> got(in.size()), want(in.size());
    powf_half_array(GetParam(), got.data(), in.data(), in.size());
    // Through a volatile: GCC vectorizes a loop of powf(x, 0.5f) into square roots.
    volatile float half = 0.5f;
    const float y = half;
    for (std::size_t i = 0; i < in.size(); ++i) want[i] = powf(in[i], y);
    EXPECT_TRUE(vorel::audio::testing::same_bits(got, want));
}

VOREL_FOR_EACH_ISA(PowfHalf);

// The 16-lane rule for sums of squares, on the same bases less the negative ones (sums of
// squares are never negative; NaN of either sign) and each base at every lane: a special lane
// holds its base, any other powf's bits.
VOREL_TARGET_AVX512 std::uint32_t sums16(const float* in, float* out) {
    return powf_half_sums_at<simd::float16>(in, out);
}

TEST(PowfHalfSums, SixteenLanesGivePowfsBitsOrMarkTheLane) {
    if (!simd::isa_supported(simd::Isa::avx512)) GTEST_SKIP() << "no AVX-512 here";
    std::vector<float> in;
    for (float x : bases())
        if (!std::signbit(x) || std::isnan(x)) in.push_back(x);
    volatile float half = 0.5f;
    const float y = half;
    for (std::size_t i = 0; i < in.size(); ++i) {
        // Base i in lane 0, and in lanes 1 .. 15 of the windows before it.
        float lanes[16], out[16];
        for (std::size_t l = 0; l < 16; ++l) lanes[l] = in[(i + l) % in.size()];
        const std::uint32_t special = sums16(lanes, out);
        for (std::size_t l = 0; l < 16; ++l) {
            const float want = special >> l & 1 ? lanes[l] : powf(lanes[l], y);
            ASSERT_EQ(std::bit_cast<std::uint32_t>(out[l]), std::bit_cast<std::uint32_t>(want))
                << std::hexfloat << lanes[l] << " in lane " << l;
        }
    }
}

TEST(PowfHalfCheck, HoldsHereAndTheGuardHookTurnsItOff) {
    EXPECT_EQ(powf_half_is_sqrt(), replica_isa(LibmFn::powf) != simd::Isa::scalar);
    force_guard_failure(true);
    EXPECT_FALSE(powf_half_is_sqrt());
    force_guard_failure(false);
}

}  // namespace
