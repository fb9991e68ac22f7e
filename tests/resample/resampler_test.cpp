// The converter against a direct time-domain convolution and worked values, every lane path
// against the plain walk to the bit, output lengths, overlap of dst and src, and extreme rates.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstring>
#include <thread>
#include <tuple>
#include <vector>

#include "common/dft_reference.h"
#include "common/isa_kit.h"
#include "resample/resample_filter_table.h"
#include "resample/resampler.h"
#include "vorel_audio.h"

using namespace vorel::audio;
using vorel::audio::testing::same_bits;

namespace {

std::vector<float> noise(size_t n, unsigned seed) {
    return vorel::audio::testing::uniform_floats(n, seed, -1.0f, 1.0f);
}

long long gcd(long long a, long long b) { return b == 0 ? a : gcd(b, a % b); }

// Output n as a convolution in time, in long double: the windowed sinc centred on input time
// (n * down + (up - 1) / 2 - c) / up over the 65 nearest inputs, zero outside the signal, and
// zero once the walk would stand at src_n - 1.
std::vector<double> direct_conversion(const std::vector<float>& x, int dst_rate, int src_rate, int out_n) {
    const long double pi = 3.141592653589793238462643383279502884L;
    const long long g = gcd(dst_rate, src_rate), up = dst_rate / g, down = src_rate / g;
    const long double f = up <= down ? static_cast<long double>(up) / down : 1.0L;
    const long long len = static_cast<long long>(std::ceil(double(dst_rate) / src_rate * double(x.size())));
    std::vector<double> y(out_n, 0.0);
    for (long long n = 0; n < out_n && n < len; ++n) {
        const long long pos = (n * down + (up - 1) / 2) / up;
        if (pos >= static_cast<long long>(x.size()) - 1) break;
        const long double tau = (n * down + (up - 1) / 2 - (up - 1) / 2.0L) / up;
        long double sum = 0;
        for (long long m = std::max(0LL, pos - 32); m <= pos + 32 && m < (long long)x.size(); ++m) {
            const long double t = tau - m;
            const long double w = 0.42L + 0.5L * std::cos(2 * pi * t / 65) + 0.08L * std::cos(4 * pi * t / 65);
            sum += w * (t == 0 ? f : std::sin(pi * f * t) / (pi * t)) * x[m];
        }
        y[n] = static_cast<double>(sum);
    }
    return y;
}

int resample_len(int dst_rate, int src_n, int src_rate) {
    int n = -1;
    EXPECT_EQ(vorelAudioGetResampleLen(&n, dst_rate, src_n, src_rate), VOREL_STATUS_SUCCESS);
    return n;
}

std::vector<float> convert(const std::vector<float>& x, int dst_rate, int src_rate, int dst_n) {
    std::vector<float> y(dst_n, -9.0f);
    EXPECT_EQ(vorelAudioResample(y.data(), x.data(), dst_rate, dst_n, src_rate, (int)x.size()), 0);
    return y;
}

}  // namespace

// The length: quotient first, then product, then ceiling. The walk ends when it stands at
// src_n - 1, so only the first `computed` outputs are non-zero.
TEST(ResampleLength, WorkedLengthsAndWhereTheWalkStops) {
    const int cases[][5] = {
        {48000, 44100, 44100, 48001, 47999}, {2, 1, 100, 200, 198}, {1, 2, 100, 50, 50},  {1, 2, 101, 51, 50},
        {44100, 44100, 100, 100, 99},        {3, 2, 1, 2, 0},       {1, INT_MAX, 1, 1, 0}};
    for (const auto& [dst_rate, src_rate, src_n, len, computed] : cases) {
        ASSERT_EQ(resample_len(dst_rate, src_n, src_rate), len) << dst_rate << "/" << src_rate;
        const auto y = convert(noise(src_n, 5), dst_rate, src_rate, len);
        if (computed > 0) {
            EXPECT_NE(y[computed - 1], 0.0f) << dst_rate << "/" << src_rate;
        }
        for (int i = computed; i < len; ++i) ASSERT_EQ(y[i], 0.0f) << dst_rate << "/" << src_rate << " at " << i;
    }
    EXPECT_EQ(get_resample_len(INT_MAX, 1, 1), INT_MAX);
}

TEST(ResampleValues, AgreeWithDirectConvolution) {
    const int pairs[][2] = {{1, 2},         {2, 1},         {3, 2},       {16000, 44100}, {16000, 48000},
                            {22050, 16000}, {48000, 44100}, {8000, 8000}, {1, 7}};
    for (const auto& p : pairs)
        for (int src_n : {1, 2, 40, 1001, 9000}) {
            const auto x = noise(src_n, 11 + src_n);
            const int n = resample_len(p[0], src_n, p[1]);
            const auto got = convert(x, p[0], p[1], n);
            const auto want = direct_conversion(x, p[0], p[1], n);
            for (int i = 0; i < n; ++i)
                ASSERT_NEAR(got[i], want[i], 2e-6) << p[0] << "/" << p[1] << " src_n " << src_n << " at " << i;
        }
}

TEST(ResampleValues, ConstantUpsampledRingsAtTheStart) {
    const auto ones = convert(std::vector<float>(100, 1.0f), 2, 1, 200);
    EXPECT_NEAR(ones[0], 0.7807, 1e-4);
    EXPECT_NEAR(ones[1], 1.1194, 1e-4);
    EXPECT_NEAR(ones[2], 1.0801, 1e-4);
    EXPECT_NEAR(ones[100], 1.0, 1e-4);
}

TEST(ResampleValues, DstLengthCutsOrPadsAndNothingPastItIsTouched) {
    const auto x = noise(5000, 8);
    const int n = resample_len(16000, 5000, 44100);
    const auto full = convert(x, 16000, 44100, n);
    for (int dst_n : {1, n / 2, n - 1, n, n + 40}) {
        std::vector<float> y(dst_n + 16, -9.0f);
        ASSERT_EQ(vorelAudioResample(y.data(), x.data(), 16000, dst_n, 44100, 5000), 0);
        for (int i = 0; i < dst_n; ++i) ASSERT_EQ(y[i], i < n ? full[i] : 0.0f) << dst_n << " " << i;
        for (int i = dst_n; i < dst_n + 16; ++i) ASSERT_EQ(y[i], -9.0f) << dst_n << " " << i;
    }
}

// dst may be src, or overlap it at an offset, also where the lanes read src in place.
TEST(ResampleValues, DstMayOverlapTheSource) {
    for (const auto& [dst_rate, src_rate, src_n] : {std::tuple{1, 3, 300}, {16000, 44100, 60000}, {3, 1, 20000}}) {
        const auto x = noise(src_n, 9);
        const int n = resample_len(dst_rate, src_n, src_rate);
        const auto want = convert(x, dst_rate, src_rate, n);
        for (int shift : {0, 7, -7}) {
            std::vector<float> buf(std::max(src_n, n) + 14, 0.0f);
            float* src = buf.data() + 7;
            std::copy(x.begin(), x.end(), src);
            ASSERT_EQ(vorelAudioResample(src + shift, src, dst_rate, n, src_rate, src_n), 0);
            EXPECT_TRUE(same_bits(src + shift, want.data(), n)) << dst_rate << "/" << src_rate << " " << shift;
        }
    }
}

// Each level's lanes against the plain walk, over whole blocks, their tails, cuts and edges.
class ResampleLanes : public vorel::audio::testing::EachIsa {};
VOREL_FOR_EACH_ISA(ResampleLanes);

TEST_P(ResampleLanes, MatchThePlainWalkBitForBit) {
    const int cases[][3] = {{16000, 44100, 60000}, {16000, 48000, 30001}, {22050, 16000, 20000}, {2, 1, 5000},
                            {8000, 8000, 9000},    {48000, 44100, 20000}, {3, 2, 777},           {44101, 44100, 710000},
                            {441, 1, 300},         {1, 5, 30000},         {1, 16, 40000},        {1, 20, 20000}};
    for (const auto& [dst_rate, src_rate, src_n] : cases) {
        auto x = noise(src_n, src_n);
        x[src_n / 3] = 3e38f;
        x[src_n / 2] = 1e-38f;
        // At 1 from 3 every third input is an output's centre and the one row is symmetric: a
        // spike pair +B, -B five samples either side cancels exactly, and what survives of the
        // samples in between depends on the order of the sum, visibly in float.
        for (int centre = 120; src_rate == 3 * dst_rate && centre + 5 < src_n; centre += 3 * 37) {
            x[centre - 5] = 1e20f;
            x[centre + 5] = -1e20f;
        }
        const int n = resample_len(dst_rate, src_n, src_rate);
        for (int dst_n : {n, n - 1000, n + 7}) {
            if (dst_n < 1) continue;
            std::vector<float> fast(dst_n, -1.0f), plain(dst_n, -2.0f);
            resample(fast.data(), x.data(), dst_rate, dst_n, src_rate, src_n, GetParam());
            resample(plain.data(), x.data(), dst_rate, dst_n, src_rate, src_n, simd::Isa::scalar);
            EXPECT_TRUE(same_bits(fast.data(), plain.data(), dst_n)) << dst_rate << "/" << src_rate << " " << dst_n;
        }
    }
}

TEST(ResampleConcurrency, FirstUseFromManyThreadsGivesOneFilterAndOneResult) {
    const auto x = noise(4000, 21);
    const int dst_rate = 23099, src_rate = 19001;  // a pair no other test asks for
    const int n = resample_len(dst_rate, 4000, src_rate);
    const unsigned before = ResampleFilterTable::instance().filter_n();
    std::vector<std::vector<float>> outs(10, std::vector<float>(n));
    std::vector<int> status(outs.size(), 1);
    std::vector<std::thread> threads;
    for (size_t t = 0; t < outs.size(); ++t)
        threads.emplace_back(
            [&, t] { status[t] = vorelAudioResample(outs[t].data(), x.data(), dst_rate, n, src_rate, 4000); });
    for (auto& th : threads) th.join();
    EXPECT_EQ(ResampleFilterTable::instance().filter_n(), before + 1);
    for (size_t t = 0; t < outs.size(); ++t) {
        EXPECT_EQ(status[t], 0);
        EXPECT_TRUE(same_bits(outs[t].data(), outs[0].data(), n)) << t;
    }
}

// The refusals of bad counts and pointers are swept with every exported function's in
// tests/errors; here the answers that depend on the rates.
TEST(ResampleChecks, ExtremeRates) {
    int n = -3;
    for (const auto& a : {std::array{INT_MAX, 2, 1}, {3, INT_MAX, 2}, {INT_MAX, INT_MAX, 1}})
        EXPECT_EQ(vorelAudioGetResampleLen(&n, a[0], a[1], a[2]), -1) << a[0] << " " << a[1];  // beyond int
    EXPECT_EQ(n, -3);
    const auto x = noise(64, 2);
    std::vector<float> y(8, -4.0f);
    // Rates that reduce to an up near 2^30 and 2^31 end in out-of-memory before any table is built.
    EXPECT_EQ(vorelAudioResample(y.data(), x.data(), 1073741789, 8, 2, 64), VOREL_STATUS_OUT_OF_MEMORY);
    EXPECT_EQ(vorelAudioResample(y.data(), x.data(), INT_MAX, 8, INT_MAX - 1, 64), VOREL_STATUS_OUT_OF_MEMORY);
    EXPECT_EQ(y, std::vector<float>(8, -4.0f));
    // A huge decimation has a length of one: the first step jumps past the end, zeros follow.
    EXPECT_EQ(vorelAudioResample(y.data(), x.data(), 1, 3, INT_MAX, 50), 0);
    EXPECT_NE(y[0], -4.0f);
    EXPECT_EQ(y[1], 0.0f);
    EXPECT_EQ(y[2], 0.0f);
    EXPECT_EQ(y[3], -4.0f);
}
