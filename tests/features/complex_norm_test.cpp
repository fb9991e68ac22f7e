// Complex norms and magnitude/phase: exact cases, the internal forms, and the checks.
// Agreement with double precision is checked against numpy in the Python tests.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <random>
#include <utility>
#include <vector>

#include "common/isa_kit.h"
#include "features/complex_norm.h"
#include "simd/math/replicas.h"
#include "vorel_audio.h"

using namespace vorel::audio;

TEST(ComplexNorm, PowerTwoIsTheFloatSumOfSquaresAndTheInternalFormsAgree) {
    std::vector<float> src(50);
    for (int i = 0; i < 50; ++i) src[i] = float(std::sin(0.7 * i + 0.1) * (1 + i % 5));
    std::vector<float> dst(25), two(25);
    ASSERT_EQ(vorelAudioComplexNorm(dst.data(), src.data(), 25, 2.0f), 0);
    for (int i = 0; i < 25; ++i)  // powf(x, 1) is x
        EXPECT_EQ(dst[i], src[2 * i] * src[2 * i] + src[2 * i + 1] * src[2 * i + 1]);
    complex_norm_1d_core(dst.data(), src.data(), 25, 1.5f);
    std::vector<float> longer = src;  // only dst.size() values are read
    longer.insert(longer.end(), {NAN, 1.0f});
    complex_norm_1d(two, longer, 1.5f);
    EXPECT_EQ(two, dst);
    complex_norm_1d(src, 1.5f);  // in place: the norm, then +0.0
    for (int i = 0; i < 25; ++i)
        EXPECT_TRUE(src[2 * i] == dst[i] && std::bit_cast<uint32_t>(src[2 * i + 1]) == 0u) << i;
}

TEST(MagPhase, ZeroCellsAndPowerZero) {
    const std::vector<float> src = {0.0f, 0.0f, -1.0f, -0.0f, 3.0f, 4.0f};
    std::vector<float> mag(3), angle(3), phasor(6);
    ASSERT_EQ(vorelAudioMagPhase(mag.data(), angle.data(), src.data(), 1, 3, 1.0f, 0), 0);
    EXPECT_EQ(mag, (std::vector<float>{0.0f, 1.0f, 5.0f}));
    EXPECT_EQ(angle[0], 0.0f);
    EXPECT_FLOAT_EQ(angle[1], -float(M_PI));  // (-1, -0.0) lies at minus pi
    std::vector<float> row_mag(3), row_angle(3);
    magphase_1d(row_mag, row_angle, src, 1.0f, false);
    EXPECT_TRUE(row_mag == mag && row_angle == angle);
    ASSERT_EQ(vorelAudioMagPhase(mag.data(), phasor.data(), src.data(), 1, 3, 0.0f, 1), 0);
    EXPECT_EQ(mag, std::vector<float>(3, 1.0f));  // also for the zero cell
    EXPECT_EQ(phasor[0], 1.0f);
    EXPECT_EQ(phasor[1], 0.0f);
}

namespace {

// Spectrum cells of every size and class: zeros of both signs, subnormal and huge parts (whose
// squares underflow or overflow), infinities, NaN.
std::vector<float> mixed_cells(std::size_t cells, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> e(-80.0f, 70.0f);
    const float specials[] = {0.0f, -0.0f, NAN, -NAN, INFINITY, -INFINITY, 1e-42f, 3e38f, -1.0f, 1.0f};
    std::vector<float> v(2 * cells);
    for (std::size_t i = 0; i < v.size(); ++i)
        v[i] = i % 5 == 2 ? specials[gen() % 10] : std::exp2(e(gen)) * (gen() % 2 ? 1.0f : -1.0f);
    return v;
}

// Cells whose sums of squares have square roots near a rounding midpoint, where powf(x, 0.5)
// and the square root may part: found by search, every third cell of a mixed spectrum.
std::vector<float> midpoint_cells(std::size_t cells, unsigned seed) {
    std::vector<float> v = mixed_cells(cells, seed);
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> part(-4.0f, 4.0f);
    for (std::size_t i = 0; i < cells; i += 3) {
        for (;;) {
            const float re = part(gen), im = part(gen);
            const double root = std::sqrt(double(re * re + im * im));
            const float f = float(root);
            const double gap = double(std::nextafter(f, INFINITY)) - f;
            const double from_midpoint = std::fabs(std::fabs(root - f) - gap / 2) / gap;
            if (from_midpoint < 0.003) {
                v[2 * i] = re;
                v[2 * i + 1] = im;
                break;
            }
        }
    }
    return v;
}

class NormLanes : public vorel::audio::testing::EachIsa {};

}  // namespace

TEST_P(NormLanes, NormsAndPhasesEqualThePlainPathBitForBit) {
    using vorel::audio::simd::Isa;
    // Over two blocks of 256 vectors at every width, with a tail; a third of the cells special.
    const std::size_t cells = 8195;
    const std::vector<float> src = midpoint_cells(cells, 5);
    // 2 takes the powf(x, 1) identity; 0, NaN and infinity take powf whole.
    for (float power : {1.0f, 2.0f, 0.5f, 3.0f, 4.5f, 0.0f, NAN, INFINITY, -1.0f}) {
        std::vector<float> fast(cells), plain(cells);
        complex_norm_array(fast.data(), src.data(), cells, power, GetParam());
        volatile float exponent = power * 0.5f;  // keeps the compiler from folding powf(x, 1)
        for (std::size_t i = 0; i < cells; ++i)
            plain[i] = powf(src[2 * i] * src[2 * i] + src[2 * i + 1] * src[2 * i + 1], exponent);
        EXPECT_TRUE(vorel::audio::testing::same_bits(fast, plain)) << power;
        // Outputs at every offset within a cache line: the head before the first whole line is
        // taken one by one.
        for (std::size_t offset = 1; offset < 16; offset += 3) {
            std::vector<float> shifted(cells + 16);
            complex_norm_array(shifted.data() + offset, src.data(), cells, power, GetParam());
            EXPECT_TRUE(vorel::audio::testing::same_bits(shifted.data() + offset, plain.data(), cells)) << offset;
        }
        std::vector<float> pairs = src;
        complex_norm_pairs(pairs.data(), cells, power, GetParam());
        for (std::size_t i = 0; i < cells; ++i)
            ASSERT_TRUE(std::bit_cast<uint32_t>(pairs[2 * i]) == std::bit_cast<uint32_t>(plain[i]) &&
                        std::bit_cast<uint32_t>(pairs[2 * i + 1]) == 0u)
                << power << " " << i;
    }
    // Magnitude and phase in one pass: the square-root rule (power 1) and the powf replica (3);
    // power 2 takes the norms and the angles in two passes;
    // rows with a partial last vector, and rows shorter than one vector.
    const int freq_n = 3;
    for (int frame_n : {int(cells / 3), 5})
        for (auto [form, power] : {std::pair{false, 1.0f}, {true, 1.0f}, {false, 3.0f}, {false, 2.0f}}) {
            std::vector<float> mag(cells), phase((form ? 2 : 1) * cells), want_phase(phase.size());
            magphase_2d(mag.data(), phase.data(), src.data(), freq_n, frame_n, power, form, GetParam());
            volatile float exponent = power * 0.5f;
            for (std::size_t i = 0; i < std::size_t(freq_n * frame_n); ++i) {
                const float want_mag = powf(src[2 * i] * src[2 * i] + src[2 * i + 1] * src[2 * i + 1], exponent);
                ASSERT_EQ(std::bit_cast<uint32_t>(mag[i]), std::bit_cast<uint32_t>(want_mag)) << power << " " << i;
                const float a = atan2f(src[2 * i + 1], src[2 * i]);
                if (form)
                    sincosf(a, &want_phase[2 * i + 1], &want_phase[2 * i]);
                else
                    want_phase[i] = a;
            }
            const std::size_t written = (form ? 2 : 1) * std::size_t(freq_n * frame_n);
            EXPECT_TRUE(vorel::audio::testing::same_bits(phase.data(), want_phase.data(), written)) << form << power;
            // Nothing past the rows.
            if (written < phase.size()) {
                EXPECT_EQ(phase[written], 0.0f);
            }
        }
    // Phasors alone (no norm in the pass), with and without a partial last vector.
    for (std::size_t n : {cells, std::size_t(5)}) {
        std::vector<float> phasor(2 * n), want(2 * n);
        phase_phasors(phasor.data(), src.data(), n, GetParam());
        for (std::size_t i = 0; i < n; ++i) sincosf(atan2f(src[2 * i + 1], src[2 * i]), &want[2 * i + 1], &want[2 * i]);
        EXPECT_TRUE(vorel::audio::testing::same_bits(phasor, want)) << n;
    }
}

// Single cells that the square-root rule must leave to powf or answer exactly, each placed at
// every position of a row of 37 ordinary cells (every lane of two vectors at every width, and the
// tail), through the packed and in-place norms and the magnitude+angle pass, at power 1.
TEST_P(NormLanes, EdgeCellsAtEveryLaneOfARowGivePowfsBits) {
    const std::size_t cells = 37;
    const float tiny = std::ldexp(1.0f, -50);  // tiny * tiny = 2^-100, the smallest sum the root answers
    const float subnormal = std::bit_cast<float>(0x00000003u), big = std::ldexp(1.0f, 64);
    struct Edge {
        const char* what;
        float re, im;
    };
    const Edge edges[] = {
        {"+0", 0.0f, 0.0f},
        {"-0 parts", -0.0f, -0.0f},
        {"-0 and +0", -0.0f, 0.0f},
        {"subnormal parts", subnormal, -subnormal},
        {"squares that underflow to +0", std::ldexp(1.0f, -80), std::ldexp(1.0f, -90)},
        {"sum 2^-100", tiny, 0.0f},
        {"sum just below 2^-100", std::nextafter(tiny, 0.0f), 0.0f},
        {"sum just above 2^-100", std::nextafter(tiny, 1.0f), 0.0f},
        {"exact square one binade below", 0.75f * tiny, 0.0f},
        {"inexact sum one binade below", 0.75f * tiny, 0.5f * tiny},
        {"sum 2^-102 .. 2^-101", 0.6f * tiny, 0.1f * tiny},
        {"power-of-two root", 4.0f, 0.0f},
        {"just above a power-of-two root", 4.0f, std::ldexp(1.0f, -10)},
        {"largest finite sum", std::ldexp(1.0f, 63) * 1.4142135f, 0.0f},
        {"squares that overflow", big, 1.0f},
        {"one square overflows", 1.0f, -big},
        {"+inf part", INFINITY, 1.0f},
        {"-inf part", 1.0f, -INFINITY},
        {"inf and NaN", INFINITY, NAN},
        {"NaN part", NAN, 1.0f},
        {"-NaN part", 2.0f, -NAN},
        {"sum where powf and the root part", 0.0f, 0.0f},
        {"the same scaled by 2^-120", 0.0f, 0.0f},
        {"the same scaled by 2^120", 0.0f, 0.0f},
        {"root near the midpoint below its float", 0.0f, 0.0f},
        {"root near the midpoint above its float", 0.0f, 0.0f},
    };
    std::mt19937 gen(17);
    std::normal_distribution<float> normal(0.0f, 1.0f);
    std::vector<Edge> table(std::begin(edges), std::end(edges));
    // A sum of squares equal to a base whose powf(x, 0.5) is not its square root, as found by
    // search; scaled by powers of four its parts stay normal and the sum scales exactly.
    const float parting = std::bit_cast<float>(0x3f71ae67u);
    volatile float half = 0.5f;  // keeps the compiler from turning powf(x, 0.5f) into a square root
    ASSERT_NE(powf(parting, half), std::sqrt(parting));
    std::uniform_real_distribution<float> part(0.5f, 0.68f);
    for (;;) {
        const float re = part(gen), im = float(std::sqrt(double(parting) - double(re) * re));
        if (re * re + im * im == parting) {
            const std::size_t k = table.size() - 5;
            table[k] = {table[k].what, re, im};
            table[k + 1] = {table[k + 1].what, std::ldexp(re, -60), std::ldexp(im, -60)};
            table[k + 2] = {table[k + 2].what, std::ldexp(re, 60), std::ldexp(im, 60)};
            break;
        }
    }
    // Cells whose roots lie within 0.003 of a gap of a rounding midpoint, below and above the
    // nearest float.
    for (std::size_t k = table.size() - 2; k < table.size(); ++k)
        for (;;) {
            const float re = normal(gen), im = normal(gen);
            const double root = std::sqrt(double(re * re + im * im));
            const float f = float(root);
            const double gap = double(std::nextafter(f, INFINITY)) - f;
            if (gap / 2 - std::fabs(root - f) < 0.003 * gap && (root < f) == (k == table.size() - 2)) {
                table[k].re = re;
                table[k].im = im;
                break;
            }
        }
    std::vector<float> row(2 * cells);
    for (float& x : row) x = normal(gen);
    // Outputs from the start of a cache line, so that cell i lands in lane i mod the width.
    alignas(64) float mag[cells], phase[cells];
    for (const Edge& edge : table)
        for (std::size_t at = 0; at < cells; ++at) {
            std::vector<float> src = row;
            src[2 * at] = edge.re;
            src[2 * at + 1] = edge.im;
            std::vector<float> want(cells);
            for (std::size_t i = 0; i < cells; ++i)
                want[i] = powf(src[2 * i] * src[2 * i] + src[2 * i + 1] * src[2 * i + 1], half);
            complex_norm_array(mag, src.data(), cells, 1.0f, GetParam());
            ASSERT_TRUE(vorel::audio::testing::same_bits(mag, want.data(), cells)) << edge.what << " at " << at;
            magphase_2d(mag, phase, src.data(), 1, int(cells), 1.0f, false, GetParam());
            ASSERT_TRUE(vorel::audio::testing::same_bits(mag, want.data(), cells)) << edge.what << " at " << at;
            complex_norm_pairs(src.data(), cells, 1.0f, GetParam());
            for (std::size_t i = 0; i < cells; ++i) mag[i] = src[2 * i];
            ASSERT_TRUE(vorel::audio::testing::same_bits(mag, want.data(), cells)) << edge.what << " at " << at;
        }
}

// Outputs laid over the input: each row is read whole before its outputs are written, so the
// result is the row-by-row loop over a copy of each row, even where earlier rows' outputs land
// on later rows' input.
TEST(MagPhase, OutputsOverlappingTheInputReadEachRowBeforeWritingIt) {
    const int freq_n = 4, frame_n = 37;
    const std::size_t cells = std::size_t(freq_n * frame_n);
    const std::vector<float> src = mixed_cells(cells, 3);
    for (bool form : {false, true})
        for (std::size_t mag_at : {std::size_t(0), cells / 2, 3 * cells})
            for (std::size_t phase_at : {std::size_t(0), cells, 5 * cells}) {
                if (mag_at == phase_at) continue;
                std::vector<float> buf(8 * cells, 7.0f), want(8 * cells, 7.0f);
                std::copy(src.begin(), src.end(), buf.begin());
                std::copy(src.begin(), src.end(), want.begin());
                magphase_2d(buf.data() + mag_at, buf.data() + phase_at, buf.data(), freq_n, frame_n, 2.0f, form);
                const std::size_t phase_n = (form ? 2 : 1) * std::size_t(frame_n);
                for (std::size_t r = 0; r < std::size_t(freq_n); ++r) {
                    const std::vector<float> row(want.begin() + 2 * r * frame_n, want.begin() + 2 * (r + 1) * frame_n);
                    volatile float one = 1.0f;  // keeps the compiler from folding powf(x, 1)
                    for (std::size_t c = 0; c < std::size_t(frame_n); ++c)
                        want[mag_at + r * frame_n + c] = powf(row[2 * c] * row[2 * c] + row[2 * c + 1] * row[2 * c + 1],
                                                              one);
                    for (std::size_t c = 0; c < std::size_t(frame_n); ++c) {
                        const float a = atan2f(row[2 * c + 1], row[2 * c]);
                        float* p = &want[phase_at + r * phase_n];
                        if (form)
                            sincosf(a, &p[2 * c + 1], &p[2 * c]);
                        else
                            p[c] = a;
                    }
                }
                EXPECT_TRUE(vorel::audio::testing::same_bits(buf, want)) << form << " " << mag_at << " " << phase_at;
            }
}

TEST(NormLanes, TheForcedGuardFailureGivesTheSameBitsThroughScalarCalls) {
    using namespace vorel::audio::simd;
    const std::vector<float> src = mixed_cells(1000, 9);
    std::vector<float> fast(1000), forced(1000), phase(1000), forced_phase(1000), phasor(2000), forced_phasor(2000);
    complex_norm_array(fast.data(), src.data(), 1000, 1.0f);
    phase_angles(phase.data(), src.data(), 1000);
    phase_phasors(phasor.data(), src.data(), 1000);
    math::force_guard_failure(true);
    EXPECT_EQ(math::replica_isa(math::LibmFn::powf), Isa::scalar);
    complex_norm_array(forced.data(), src.data(), 1000, 1.0f);
    phase_angles(forced_phase.data(), src.data(), 1000);
    phase_phasors(forced_phasor.data(), src.data(), 1000);
    math::force_guard_failure(false);
    EXPECT_TRUE(vorel::audio::testing::same_bits(fast, forced));
    EXPECT_TRUE(vorel::audio::testing::same_bits(phase, forced_phase));
    EXPECT_TRUE(vorel::audio::testing::same_bits(phasor, forced_phasor));
}

VOREL_FOR_EACH_ISA(NormLanes);

TEST(ComplexNormChecks, InOrderWithTheOutputUntouchedAndNaNPowerPassing) {
    const std::vector<float> src(8, 1.0f);
    std::vector<float> dst(4, -2.0f), phase(8, -2.0f);
    float *m = dst.data(), *p = phase.data();
    const float* s = src.data();
    EXPECT_EQ(vorelAudioComplexNorm(nullptr, s, 4, 1.0f), -1);
    EXPECT_EQ(vorelAudioComplexNorm(m, nullptr, 0, -1.0f), -1);
    EXPECT_EQ(vorelAudioComplexNorm(m, s, -5, 1.0f), -1);
    EXPECT_EQ(vorelAudioComplexNorm(m, s, 4, 0.0f), -1);
    EXPECT_EQ(vorelAudioComplexNorm(m, s, 4, -0.5f), -1);
    EXPECT_EQ(vorelAudioMagPhase(nullptr, p, s, 2, 2, 1.0f, 0), -1);
    EXPECT_EQ(vorelAudioMagPhase(m, nullptr, s, 2, 2, 1.0f, 0), -1);
    EXPECT_EQ(vorelAudioMagPhase(m, p, nullptr, 2, 2, 1.0f, 0), -1);
    EXPECT_EQ(vorelAudioMagPhase(m, p, s, 0, 0, -1.0f, 5), -1);
    EXPECT_EQ(vorelAudioMagPhase(m, p, s, 2, 0, -1.0f, 5), -1);
    EXPECT_EQ(vorelAudioMagPhase(m, p, s, 2, 2, -1.0f, 5), -1);
    EXPECT_EQ(vorelAudioMagPhase(m, p, s, 2, 2, 1.0f, 2), -1);
    EXPECT_EQ(vorelAudioMagPhase(m, p, s, 2, 2, 1.0f, -1), -1);
    EXPECT_EQ(dst, std::vector<float>(4, -2.0f));
    EXPECT_EQ(phase, std::vector<float>(8, -2.0f));
    EXPECT_EQ(vorelAudioComplexNorm(m, s, 4, NAN), 0);
    EXPECT_TRUE(std::isnan(dst[0]));
    EXPECT_EQ(vorelAudioMagPhase(m, p, s, 2, 2, NAN, 1), 0);
}
