// Results to the bit at the process's level: the library against the plain restatements of
// the stated operation order, for every kind of length and for inputs with signed zeros,
// infinities and NaN; and the named steps of the power-of-two path composing the transform.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <vector>

#include "reference.h"
#include "transform/fft.h"
#include "transform/fft_table.h"

using namespace transform_test;
using vorel::audio::FftTable;

namespace {

const std::vector<float>& table_of(int n, bool inverse) {
    return inverse ? FftTable::instance().ref_inv_table(n) : FftTable::instance().ref_table(n);
}

std::vector<float> library(std::vector<float> data, int n, bool inverse) {
    inverse ? vorel::audio::ifft(data, n, table_of(n, true)) : vorel::audio::fft(data, n, table_of(n, false));
    return data;
}

}  // namespace

TEST(TransformBits, EveryLengthKindFollowsTheStatedOrderToTheBit) {
    const int lengths[] = {1, 2, 4,  8,  16, 32, 64,  128, 256, 1024, 4096, 3,    5,    6,
                           7, 9, 12, 15, 30, 45, 100, 210, 243, 400,  1000, 1009, 1155, 3988};
    for (bool inv : {false, true})
        for (int n : lengths)
            for (const std::vector<float>& x : telling_inputs(n, 500 + n)) {
                const std::vector<float> want = std::has_single_bit(static_cast<unsigned>(n))
                                                    ? reference_pow2(x, n, inv)
                                                    : reference_general(x, n, inv);
                EXPECT_TRUE(same_values(library(x, n, inv), want)) << "n = " << n << " inverse " << inv;
            }
}

TEST(TransformBits, CallerScratchGivesTheSameBitsAndIsReusedAcrossLengths) {
    std::vector<float> scratch;
    for (int n : {1000, 12, 400, 1009, 64}) {
        const std::vector<float> x = random_floats(2 * n, 900 + n);
        std::vector<float> with = x;
        vorel::audio::fft(with, n, table_of(n, false), scratch);
        EXPECT_TRUE(same_values(with, library(x, n, false))) << n;
    }
}

TEST(TransformBits, DirectBlocksAreDirectDfts) {
    // Four blocks of 25: each is the DFT of 25 points read at table stride 4.
    const int n = 100, blocks = 4, len = 25;
    const std::vector<float> x = random_floats(2 * n, 42);
    std::vector<float> got = x;
    vorel::audio::dft_sub(got, n, blocks, table_of(n, false));
    for (int b = 0; b < blocks; ++b) {
        const std::vector<float> block(x.begin() + 2 * b * len, x.begin() + 2 * (b + 1) * len);
        const std::vector<cdouble> want = dft(to_complex(block), -1);
        for (int k = 0; k < len; ++k) {
            EXPECT_NEAR(got[2 * (b * len + k)], want[k].real(), 2e-5);
            EXPECT_NEAR(got[2 * (b * len + k) + 1], want[k].imag(), 2e-5);
        }
    }
}

TEST(TransformBits, NamedStepsComposeTheTransform) {
    // Columns of radix-4 butterflies stage by stage, the radix-2 pass for odd log2 n, then the
    // bit reversal (and for the inverse the division): the same bits as the whole transform.
    for (bool inv : {false, true})
        for (int n : {4, 8, 32, 128, 512}) {
            const std::vector<float>& table = table_of(n, inv);
            const std::vector<float> x = random_floats(2 * n, 300 + n);
            std::vector<float> steps = x;
            for (int size = n, step = 12;; size /= 4, step *= 4) {
                for (int start = 0; start < size / 4; ++start)
                    (inv ? vorel::audio::ifft_pow2_core : vorel::audio::fft_pow2_core)(steps, n, start, size, size / 4,
                                                                                       table, start * step);
                if (size < 16) break;
            }
            if (std::countr_zero(static_cast<unsigned>(n)) % 2 == 1) vorel::audio::fft_pow2_merge(steps, n);
            vorel::audio::bit_reverse(steps.data(), n);
            if (inv) vorel::audio::divide_by_length(steps.data(), n);
            EXPECT_TRUE(same_values(steps, library(x, n, inv))) << n;
        }
}
