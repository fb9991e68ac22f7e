// The libm replicas against the scalar libm, bit for bit, at every level this CPU runs: special
// values, the neighbourhood of every table boundary and reduction threshold, and a few million
// random inputs per function; atan2f's and sincosf's quadrants and signs against worked values;
// the guard and its test hook.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "common/isa_kit.h"
#include "simd/math/replicas.h"

using namespace vorel::audio;
using simd::Isa;
using namespace simd::math;
using vorel::audio::testing::same_bits;

namespace {

float f(std::uint32_t b) { return std::bit_cast<float>(b); }

// Each pattern with its sign flipped and its two neighbours.
std::vector<float> around(std::initializer_list<std::uint32_t> patterns) {
    std::vector<float> v;
    for (std::uint32_t b : patterns)
        for (std::uint32_t s : {0u, 0x80000000u})
            for (std::uint32_t d : {0u, 1u, 0xffffffffu}) v.push_back(f((b + d) ^ s));
    return v;
}

// Zeros, subnormals, normals at both ends, infinities, NaNs of both signs and payloads, +-1.
std::vector<float> special_values() {
    return around({0x00000000, 0x00000001, 0x00000100, 0x007fffff, 0x00800000, 0x7f7fffff, 0x7f800000, 0x7fc00000,
                   0x7fa00001, 0x3f800000, 0x3f000000, 0x40000000});
}

// The 16 subintervals of the logf/powf tables start at 0x3f330000 + i * 2^19; the exponent
// splits at 0x3f800000. log1pf: 0.41422, -0.2929, 2^-29, 2^-54, 2^53, -1, the mantissa split
// 0x3504f7. atanf: 7/16, 11/16, 19/16, 39/16, 2^25, 2^-29.
std::vector<float> boundaries() {
    std::vector<float> v;
    for (std::uint32_t i = 0; i <= 32; ++i)
        for (std::uint32_t binade : {0x00000000u, 0x10000000u, 0x20000000u})
            for (const float x : around({0x3f330000u + (i << 19) - binade, 0x3f330000u + (i << 19) + binade}))
                v.push_back(x);
    for (const float x : around({0x3ed413d7, 0x3e95f61f, 0x31000000, 0x24800000, 0x5a000000, 0x3fb504f7, 0x3f3504f3,
                                 0x3ee00000, 0x3f300000, 0x3f980000, 0x401c0000, 0x4c000000, 0x3f7fffff}))
        v.push_back(x);
    return v;
}

// Random bit patterns (every class) and random values of the size spectra have.
std::vector<float> random_inputs(std::size_t n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> exponent(-30.0f, 30.0f);
    std::vector<float> v(n);
    for (std::size_t i = 0; i < n; ++i)
        v[i] = i % 2 ? f(gen()) : std::exp2(exponent(gen)) * (i % 4 == 1 ? -1.0f : 1.0f);
    return v;
}

std::vector<float> all_inputs() {
    std::vector<float> v = special_values();
    for (float x : boundaries()) v.push_back(x);
    for (float x : random_inputs(2'000'000, 14)) v.push_back(x);
    return v;
}

template <class Scalar>
std::vector<float> map(const std::vector<float>& in, Scalar scalar) {
    std::vector<float> out(in.size());
    for (std::size_t i = 0; i < in.size(); ++i) out[i] = scalar(in[i]);
    return out;
}

class Replicas : public vorel::audio::testing::EachIsa {};

TEST_P(Replicas, Log10fAndLog1pfGiveTheLibmBits) {
    const std::vector<float> in = all_inputs();
    std::vector<float> got(in.size());
    log10f_array(GetParam(), got.data(), in.data(), in.size());
    EXPECT_TRUE(same_bits(got, map(in, [](float x) { return log10f(x); })));
    log1pf_array(GetParam(), got.data(), in.data(), in.size());
    EXPECT_TRUE(same_bits(got, map(in, [](float x) { return log1pf(x); })));
    // In place, and with lengths that leave every tail.
    for (std::size_t n : {1, 7, 15, 17, 33}) {
        std::vector<float> part(in.begin(), in.begin() + static_cast<std::ptrdiff_t>(n));
        log1pf_array(GetParam(), part.data(), part.data(), n);
        EXPECT_TRUE(same_bits(part.data(), map(in, [](float x) { return log1pf(x); }).data(), n)) << n;
    }
}

// log1pf's route edges, four patterns either side of each: 1 + x on or just below a power of
// two (where 1 + x has no fraction left), 1 + x rounding to 0x3fb504f6 (k = 0 past the direct
// range), both ends of the direct range, -1 and beyond, the ends of the correction (1 + x
// exact, 2^53) and of the finite floats, and tiny x. Each group is repeated with a shift so
// that every value passes through several lanes of a vector.
TEST_P(Replicas, Log1pfGivesTheLibmBitsAtItsRouteEdges) {
    std::vector<std::uint32_t> powers;
    for (int j = -24; j <= 128; ++j) powers.push_back(std::bit_cast<std::uint32_t>(std::ldexp(1.0f, j) - 1.0f));
    const struct {
        const char* what;
        std::vector<std::uint32_t> patterns;
    } groups[] = {
        {"2^j - 1", powers},
        {"direct range and k = 0 beyond it", {0x3ed413d7, 0x3ed413db, 0xbe95f61f, 0xbe95f620}},
        {"-1 and below", {0xbf800000, 0xbf7ffffc, 0xff7fffff, 0xff800000, 0xffc00000}},
        {"correction ends", {0x4b800000, 0x4c000000, 0x5a000000, 0x7f7fffff, 0x7f800000, 0x7fc00000}},
        {"tiny", {0x31000000, 0x24800000, 0x00000004, 0x80000004, 0xb1000000, 0xa4800000}},
    };
    for (const auto& group : groups) {
        std::vector<float> list;
        for (std::uint32_t b : group.patterns)
            for (std::uint32_t d = 0; d <= 8; ++d) list.push_back(f(b + d - 4));
        std::vector<float> in;
        for (std::size_t shift = 0; shift < 17; ++shift)
            for (std::size_t i = 0; i < list.size(); ++i) in.push_back(list[(i + shift) % list.size()]);
        std::vector<float> got(in.size());
        log1pf_array(GetParam(), got.data(), in.data(), in.size());
        EXPECT_TRUE(same_bits(got, map(in, [](float x) { return log1pf(x); }))) << group.what;
    }
}

// Read through a volatile: GCC turns powf(x, 0.5f) into a square root.
volatile float g_half = 0.5f;

// Lanes the replicas hand to the scalar function, at every lane position of a vector, as whole
// vectors on either side of the drivers' block edges (256 vectors of 4, 8 or 16 lanes), and at
// the end of the tail; out of place and in place, where the special lanes' inputs are read back
// from the output (atan2f and sincosf, which answer from their inputs, out of place only).
TEST_P(Replicas, ArrayDriversAnswerSpecialLanesAnywhere) {
    const float specials[] = {NAN, INFINITY, -INFINITY, -1.0f, 0.0f, -0.0f, -3.0f, f(0x00000001), f(0xffc00001), 1e6f};
    constexpr std::size_t kSpecialN = std::size(specials);
    std::mt19937 gen(5);
    std::uniform_real_distribution<float> exponent(-3.0f, 2.0f);
    std::vector<float> in(16 * 300 + 13);
    for (float& x : in) x = std::pow(10.0f, exponent(gen));
    std::size_t next = 0;
    const auto mark = [&](std::size_t i) { in[i] = specials[next++ % kSpecialN]; };
    for (std::size_t lane = 0; lane < 16; ++lane) mark(16 * (lane + 1) + lane);
    for (std::size_t edge : {1024u, 2048u, 4096u})
        for (std::size_t i = edge - 20; i < edge + 20; ++i) mark(i);
    for (std::size_t i = in.size() - 3; i < in.size(); ++i) mark(i);
    using Array = void (*)(Isa, float*, const float*, std::size_t);
    const struct {
        const char* what;
        Array array;
        float (*scalar)(float);
        bool in_place = true;
    } cases[] = {
        {"log10f", log10f_array, [](float x) { return log10f(x); }},
        {"log1pf", log1pf_array, [](float x) { return log1pf(x); }},
        {"powf(x, 1.5)", [](Isa isa, float* d, const float* s, std::size_t n) { powf_array(isa, d, s, n, 1.5f); },
         [](float x) { return powf(x, 1.5f); }},
        {"powf(x, 0.5)", powf_half_array, [](float x) { return powf(x, g_half); }},
        {"atan2f(1.5, x)",
         [](Isa isa, float* d, const float* s, std::size_t n) {
             atan2f_array(isa, d, std::vector<float>(n, 1.5f).data(), s, n);
         },
         [](float x) { return atan2f(1.5f, x); }, false},
        {"cosine of sincosf(x)",
         [](Isa isa, float* d, const float* s, std::size_t n) {
             sincosf_array(isa, std::vector<float>(n).data(), d, s, n);
         },
         [](float x) {
             float s, c;
             sincosf(x, &s, &c);
             return c;
         },
         false},
    };
    for (const auto& c : cases) {
        const std::vector<float> want = map(in, c.scalar);
        std::vector<float> got(in.size());
        c.array(GetParam(), got.data(), in.data(), in.size());
        EXPECT_TRUE(same_bits(got, want)) << c.what;
        if (!c.in_place) continue;
        got = in;
        c.array(GetParam(), got.data(), got.data(), got.size());
        EXPECT_TRUE(same_bits(got, want)) << c.what << " in place";
    }
}

TEST_P(Replicas, PowfGivesTheLibmBitsForEveryFixedExponent) {
    const std::vector<float> in = all_inputs();
    std::vector<float> got(in.size());
    // Norm exponents, integers (odd ones change the sign of negative bases), negatives, and the
    // exponents the replica hands to the libm whole: zero, infinities, NaN.
    for (float y : {0.5f, 0.25f, 1.0f, 1.5f, 2.0f, 3.0f, 0.1f, -0.5f, -2.0f, 7.75f, 0.0f, -0.0f, INFINITY, NAN}) {
        powf_array(GetParam(), got.data(), in.data(), in.size(), y);
        EXPECT_TRUE(same_bits(got, map(in, [y](float x) { return powf(x, y); }))) << "exponent " << y;
    }
}

TEST_P(Replicas, Atan2fGivesTheLibmBitsOnPairs) {
    // Every pairing of the special values and boundaries, then random pairs.
    std::vector<float> list = special_values();
    for (float x : boundaries()) list.push_back(x);
    std::vector<float> ys, xs;
    for (float y : list)
        for (float x : list) {
            ys.push_back(y);
            xs.push_back(x);
        }
    const std::vector<float> ry = random_inputs(1'000'000, 1), rx = random_inputs(1'000'000, 2);
    ys.insert(ys.end(), ry.begin(), ry.end());
    xs.insert(xs.end(), rx.begin(), rx.end());
    // Ratios beyond 2^60 and below 2^-60 either way.
    for (int e = -80; e <= 80; e += 5) {
        ys.push_back(std::ldexp(1.5f, e));
        xs.push_back(-1.25f);
        ys.push_back(-3.0f);
        xs.push_back(std::ldexp(1.0f, e));
    }
    // Quotients on the reduction's interval bounds and a step either side, in every quadrant
    // (x = +-2 and -1 keep y / x exact).
    for (std::uint32_t bound : {0x31000000u, 0x3ee00000u, 0x3f300000u, 0x3f980000u, 0x401c0000u, 0x4c000000u})
        for (std::uint32_t b = bound - 1; b <= bound + 1; ++b)
            for (float x : {2.0f, -2.0f, -1.0f})
                for (float sign : {1.0f, -1.0f}) {
                    ys.push_back(sign * f(b) * std::fabs(x));
                    xs.push_back(x);
                }
    std::vector<float> got(ys.size()), want(ys.size());
    atan2f_array(GetParam(), got.data(), ys.data(), xs.data(), ys.size());
    for (std::size_t i = 0; i < ys.size(); ++i) want[i] = atan2f(ys[i], xs[i]);
    EXPECT_TRUE(same_bits(got, want));
}

TEST_P(Replicas, Atan2fQuadrantsAndSignsMatchWorkedAngles) {
    const float pi = f(0x40490fdb), half = f(0x3fc90fdb), quarter = f(0x3f490fdb), three = f(0x4016cbe4);
    struct Case {
        float y, x, angle;
    };
    const Case cases[] = {
        {+0.0f, +1.0f, +0.0f},
        {-0.0f, +1.0f, -0.0f},
        {+0.0f, -1.0f, pi},
        {-0.0f, -1.0f, -pi},
        {+0.0f, +0.0f, +0.0f},
        {-0.0f, +0.0f, -0.0f},
        {+0.0f, -0.0f, pi},
        {-0.0f, -0.0f, -pi},
        {+1.0f, +0.0f, half},
        {-1.0f, -0.0f, -half},
        {+2.0f, +2.0f, quarter},
        {-2.0f, +2.0f, -quarter},
        {+2.0f, -2.0f, three},
        {-2.0f, -2.0f, -three},
        {INFINITY, INFINITY, quarter},
        {-INFINITY, INFINITY, -quarter},
        {INFINITY, -INFINITY, three},
        {-INFINITY, -INFINITY, -three},
        {+5.0f, INFINITY, +0.0f},
        {-5.0f, INFINITY, -0.0f},
        {+5.0f, -INFINITY, pi},
        {-5.0f, -INFINITY, -pi},
        {INFINITY, 3.0f, half},
        {-INFINITY, -3.0f, -half},
        {1e30f, 1e-30f, half},
        {-1e-30f, -1e30f, -pi},
        {1e-30f, 1e30f, +0.0f},  // the quotient underflows
    };
    std::vector<float> ys, xs, want;
    for (const Case& c : cases) {
        ys.push_back(c.y);
        xs.push_back(c.x);
        want.push_back(c.angle);
    }
    std::vector<float> got(ys.size());
    atan2f_array(GetParam(), got.data(), ys.data(), xs.data(), ys.size());
    EXPECT_TRUE(same_bits(got, want));
    // The same pairs with the angles of the double function rounded once: the worked values
    // above are those roundings.
    for (std::size_t i = 0; i < ys.size(); ++i)
        EXPECT_EQ(std::bit_cast<std::uint32_t>(static_cast<float>(std::atan2(double(ys[i]), double(xs[i])))),
                  std::bit_cast<std::uint32_t>(got[i]))
            << ys[i] << ", " << xs[i];
}

// sincosf's branch points (2^-12, 0.75, 120) and the multiples of pi/4 up to 130 (quadrant
// changes and results near zero) with their neighbours, then the shared inputs.
TEST_P(Replicas, SincosfGivesTheLibmBits) {
    std::vector<float> in = around({0x39800000, 0x3f400000, 0x42f00000, 0x42f00000 - 4, 0x3f490fdb});
    for (int j = 1; j <= 166; ++j)
        for (const float x : around({std::bit_cast<std::uint32_t>(static_cast<float>(j * 0.78539816339744831))}))
            in.push_back(x);
    for (float x : all_inputs()) in.push_back(x);
    std::mt19937 gen(7);
    std::uniform_real_distribution<float> angle(-4.0f, 4.0f);
    for (int i = 0; i < 1'000'000; ++i) in.push_back(angle(gen));
    std::vector<float> got_s(in.size()), got_c(in.size()), want_s(in.size()), want_c(in.size());
    sincosf_array(GetParam(), got_s.data(), got_c.data(), in.data(), in.size());
    for (std::size_t i = 0; i < in.size(); ++i) sincosf(in[i], &want_s[i], &want_c[i]);
    EXPECT_TRUE(same_bits(got_s, want_s));
    EXPECT_TRUE(same_bits(got_c, want_c));
}

// Quadrants and signs against the double functions, independently of the libm: within an ulp
// of the value, the sign of a zero kept.
TEST_P(Replicas, SincosfQuadrantsMatchTheDoubleFunctions) {
    std::vector<float> in;
    for (int j = -12; j <= 12; ++j)
        for (float frac : {0.1f, 0.5f, 0.9f}) in.push_back((static_cast<float>(j) + frac) * 0.78539816f);
    for (float x : {0.0f, -0.0f, 1e-5f, -3e-39f, 100.0f, -119.0f}) in.push_back(x);
    std::vector<float> got_s(in.size()), got_c(in.size());
    sincosf_array(GetParam(), got_s.data(), got_c.data(), in.data(), in.size());
    for (std::size_t i = 0; i < in.size(); ++i) {
        const double s = std::sin(double(in[i])), c = std::cos(double(in[i]));
        EXPECT_NEAR(got_s[i], s, 1.2e-7 * std::max(std::abs(s), 1e-30)) << in[i];
        EXPECT_NEAR(got_c[i], c, 1.2e-7 * std::abs(c)) << in[i];
        EXPECT_EQ(std::signbit(got_s[i]), std::signbit(s)) << in[i];
    }
}

VOREL_FOR_EACH_ISA(Replicas);

TEST(ReplicaGuard, PassesOnThisLibmAndTheHookSendsEveryFunctionToScalarCalls) {
    for (LibmFn fn : kAllLibmFns) {
        const Isa top = simd::best_isa();
        if (top >= Isa::avx2) {
            EXPECT_TRUE(guard_matches(fn, top)) << libm_fn_name(fn);
            EXPECT_NE(replica_isa(fn, top), Isa::scalar) << libm_fn_name(fn);
        }
        EXPECT_EQ(replica_isa(fn, Isa::scalar), Isa::scalar);
        force_guard_failure(true);
        EXPECT_EQ(replica_isa(fn, top), Isa::scalar) << libm_fn_name(fn);
        force_guard_failure(false);
    }
    // log10f, powf and sincosf fuse in the libm: no replica without FMA.
    for (LibmFn fn : {LibmFn::log10f, LibmFn::powf, LibmFn::sincosf})
        EXPECT_EQ(replica_isa(fn, Isa::sse2), Isa::scalar);
}

TEST(PowfOne, IdentityHoldsHereAndTheHookWithdrawsIt) {
    EXPECT_TRUE(powf_one_is_identity());
    volatile float exponent_one = 1.0f;  // powf(x, 1.0f) with a literal is folded to x
    for (std::uint32_t b : {0x00000000u, 0x00000001u, 0x3f800001u, 0x7f7fffffu, 0x7f800000u, 0x7fc00000u, 0x7fc12345u})
        EXPECT_EQ(std::bit_cast<std::uint32_t>(powf(f(b), exponent_one)), b) << std::hex << b;
    // A negative quiet NaN comes back with its sign flipped: why NaN norms still call powf.
    EXPECT_EQ(std::bit_cast<std::uint32_t>(powf(f(0xffc00001u), exponent_one)), 0x7fc00001u);
    force_guard_failure(true);
    EXPECT_FALSE(powf_one_is_identity());
    force_guard_failure(false);
}

}  // namespace
