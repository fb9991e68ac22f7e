// Results to the bit: the library against plain restatements of the stated operation order
// (a fused or reordered sum, a wrong twiddle position or a skipped product shows up here),
// and every vector build of the power-of-two path against its plain scalar columns.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>
#include <vector>

#include "reference.h"
#include "transform/fft.h"
#include "transform/bit_reverse.h"
#include "transform/fft_table.h"
#include "simd/isa.h"
#include "vorel_audio.h"

using namespace transform_test;
using vorel::audio::FftTable;
using vorel::audio::simd::Isa;

namespace {

bool same_bits(const std::vector<float>& a, const std::vector<float>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

// Same bits, except that any NaN matches any NaN (payloads are not part of the result).
bool same_values(const std::vector<float>& a, const std::vector<float>& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t k = 0; k < a.size(); ++k) {
        if (std::isnan(a[k]) && std::isnan(b[k])) continue;
        if (std::memcmp(&a[k], &b[k], sizeof(float)) != 0) return false;
    }
    return true;
}

std::vector<float> library(std::vector<float> data, int n, bool inverse) {
    if (inverse)
        vorel::audio::ifft(data, n, FftTable::instance().ref_inv_table(n));
    else
        vorel::audio::fft(data, n, FftTable::instance().ref_table(n));
    return data;
}

const int kPow2[] = {1, 2, 4, 8, 16, 32, 64, 128, 256, 1024, 4096};
const int kGeneral[] = {3, 5, 6, 7, 9, 12, 15, 30, 45, 100, 210, 243, 400, 1000, 1009, 1155, 3988};

}  // namespace

TEST(TransformBits, PowersOfTwoFollowTheButterflyOrderToTheBit) {
    for (bool inv : {false, true})
        for (int n : kPow2) {
            const std::vector<float> x = random_floats(2 * n, 500 + n);
            EXPECT_TRUE(same_bits(library(x, n, inv), reference_pow2(x, n, inv))) << "n = " << n << " inverse " << inv;
        }
}

TEST(TransformBits, OtherLengthsFollowTheMixedRadixOrderToTheBit) {
    for (bool inv : {false, true})
        for (int n : kGeneral) {
            const std::vector<float> x = random_floats(2 * n, 600 + n);
            EXPECT_TRUE(same_bits(library(x, n, inv), reference_general(x, n, inv))) << "n = " << n << " inverse " << inv;
        }
}

namespace {

// Inputs that tell the vector builds from the plain path: random values; zeros of random
// sign (a sum started from the wrong operand or a skipped product changes a sign); and
// random values with an infinity and a NaN, which spread to every bin.
std::vector<std::vector<float>> kernel_inputs(int n) {
    std::vector<float> x = random_floats(2 * n, 1000 + n), zeros = x, special = x;
    for (float& z : zeros) z = std::signbit(z) ? -0.0f : 0.0f;
    special[2 * (n / 3) + 1] = std::numeric_limits<float>::infinity();
    special[2 * (n / 2)] = std::numeric_limits<float>::quiet_NaN();
    return {x, zeros, special};
}

}  // namespace

class KernelBits : public testing::TestWithParam<Isa> {};

TEST_P(KernelBits, MatchesThePlainColumnsForEveryPowerOfTwoBothWays) {
    if (!vorel::audio::simd::isa_supported(GetParam())) GTEST_SKIP() << "this CPU lacks the instruction set";
    for (bool inv : {false, true})
        for (int n = 1; n <= 65536; n *= 2) {
            const std::vector<float>& table = inv ? FftTable::instance().ref_inv_table(n) : FftTable::instance().ref_table(n);
            for (const std::vector<float>& x : kernel_inputs(n)) {
                std::vector<float> plain = x, fast = x;
                vorel::audio::pow2_transform(plain.data(), n, table, inv, Isa::scalar);
                vorel::audio::pow2_transform(fast.data(), n, table, inv, GetParam());
                // NaN payloads are not compared: which of two NaN operands survives an add
                // depends on the operand order the compiler picks for each build.
                ASSERT_TRUE(same_values(fast, plain)) << "n = " << n << " inverse " << inv;
            }
        }
}

INSTANTIATE_TEST_SUITE_P(Builds, KernelBits, testing::Values(Isa::sse2, Isa::avx2, Isa::avx512));

TEST(TransformBits, ExportsGiveThePlainBitsAlsoInPlace) {
    for (int n = 1; n <= 65536; n *= 2) {
        const std::vector<float> x = random_floats(2 * n, 1100 + n);
        std::vector<float> forward(2 * n), inverse = x;
        for (int k = 0; k < n; ++k) forward[2 * k] = x[k];
        vorel::audio::pow2_transform(forward.data(), n, FftTable::instance().ref_table(n), false, Isa::scalar);
        vorel::audio::pow2_transform(inverse.data(), n, FftTable::instance().ref_inv_table(n), true, Isa::scalar);
        std::vector<float> dst(2 * n), shared = x;
        ASSERT_EQ(vorelAudioFFT(dst.data(), x.data(), n), VOREL_STATUS_SUCCESS);
        ASSERT_EQ(vorelAudioFFT(shared.data(), shared.data(), n), VOREL_STATUS_SUCCESS);
        EXPECT_TRUE(same_bits(dst, forward) && same_bits(shared, forward)) << "forward n = " << n;
        shared = x;
        ASSERT_EQ(vorelAudioIFFT(dst.data(), x.data(), n), VOREL_STATUS_SUCCESS);
        ASSERT_EQ(vorelAudioIFFT(shared.data(), shared.data(), n), VOREL_STATUS_SUCCESS);
        EXPECT_TRUE(same_bits(dst, inverse) && same_bits(shared, inverse)) << "inverse n = " << n;
    }
}

TEST(TransformBits, BitReversalIsTheSwapLoopPermutation) {
    for (int n = 1; n <= 65536; n *= 2) {
        std::vector<float> ids(2 * n);
        std::iota(ids.begin(), ids.end(), 0.0f);
        std::vector<Cf> want(n);
        for (int k = 0; k < n; ++k) want[k] = Cf{ids[2 * k], ids[2 * k + 1]};
        if (n >= 3) reference_bit_reversal(want, n);
        if (n >= 3) vorel::audio::bit_reverse(ids.data(), n);
        bool same = true;
        for (int k = 0; k < n; ++k) same = same && ids[2 * k] == want[k].re && ids[2 * k + 1] == want[k].im;
        EXPECT_TRUE(same) << "n = " << n;
    }
}

TEST(TransformBits, SignedZerosAndInfinitiesFollowEveryStatedSumAndProduct) {
    // Sums start from +0: a sum started from its first product would keep some -0. A product
    // skipped because its twiddle is 0 or 1 would turn inf * 0 into 0.
    const float inf = std::numeric_limits<float>::infinity();
    for (bool inv : {false, true})
        for (int n : {4, 16, 64, 256, 12, 400, 1009}) {
            const bool pow2 = (n & (n - 1)) == 0;
            const std::vector<float> zeros(2 * n, -0.0f);
            EXPECT_TRUE(same_bits(library(zeros, n, inv), pow2 ? reference_pow2(zeros, n, inv) : reference_general(zeros, n, inv)))
                << "n = " << n << " inverse " << inv;
            std::vector<float> x = random_floats(2 * n, 800 + n);
            x[3] = inf;
            x[2 * (n / 2)] = -inf;
            EXPECT_TRUE(same_values(library(x, n, inv), pow2 ? reference_pow2(x, n, inv) : reference_general(x, n, inv)))
                << "n = " << n << " inverse " << inv;
        }
}

TEST(TransformBits, CallerScratchGivesTheSameBitsAndIsReusedAcrossLengths) {
    std::vector<float> scratch;
    for (int n : {1000, 12, 400, 1009, 64}) {
        const std::vector<float>& table = FftTable::instance().ref_table(n);
        const std::vector<float> x = random_floats(2 * n, 900 + n);
        std::vector<float> with = x;
        vorel::audio::fft(with, n, table, scratch);
        EXPECT_TRUE(same_bits(with, library(x, n, false))) << n;
    }
}

TEST(TransformBits, DirectBlocksAreDirectDfts) {
    // Four blocks of 25: each is the DFT of 25 points read at table stride 4.
    const int n = 100, blocks = 4, len = 25;
    const std::vector<float>& table = FftTable::instance().ref_table(n);
    const std::vector<float> x = random_floats(2 * n, 42);
    std::vector<float> got = x;
    vorel::audio::dft_sub(got, n, blocks, table);
    for (int b = 0; b < blocks; ++b) {
        std::vector<cdouble> block(len);
        for (int m = 0; m < len; ++m) block[m] = cdouble(x[2 * (b * len + m)], x[2 * (b * len + m) + 1]);
        for (int k = 0; k < len; ++k) {
            const cdouble want = dft_bin(block, k, -1);
            EXPECT_NEAR(got[2 * (b * len + k)], want.real(), 2e-5);
            EXPECT_NEAR(got[2 * (b * len + k) + 1], want.imag(), 2e-5);
        }
    }
}

TEST(TransformBits, NamedStepsComposeTheForwardTransform) {
    // Columns of radix-4 butterflies stage by stage, the radix-2 pass for odd log2 n, then the
    // bit reversal: the same bits as the whole transform.
    for (int n : {4, 8, 32, 128, 512}) {
        const std::vector<float>& table = FftTable::instance().ref_table(n);
        std::vector<float> x(2 * static_cast<std::size_t>(n));
        for (std::size_t k = 0; k < x.size(); ++k) x[k] = std::sin(0.7f * static_cast<float>(k)) + 0.1f;
        std::vector<float> steps = x;
        for (int size = n, step = 12;; size /= 4, step *= 4) {
            for (int start = 0; start < size / 4; ++start)
                vorel::audio::fft_pow2_core(steps, n, start, size, size / 4, table, start * step);
            if (size < 16) break;
        }
        if (std::countr_zero(static_cast<unsigned>(n)) % 2 == 1) vorel::audio::fft_pow2_merge(steps, n);
        vorel::audio::bit_reverse(steps.data(), n);
        std::vector<float> whole = x;
        vorel::audio::fft(whole, n, table);
        EXPECT_TRUE(same_bits(steps, whole)) << n;
    }
}
