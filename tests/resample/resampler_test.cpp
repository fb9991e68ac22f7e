// The converter against a direct time-domain convolution, its worked values, the lane path
// against the plain one to the bit, output lengths, and the exported checks.
#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <cmath>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "resample/resample_filter_table.h"
#include "resample/resampler.h"
#include "vorel_audio.h"

using namespace vorel::audio;

namespace {

std::vector<float> noise(size_t n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> d(-1.0f, 1.0f);
    std::vector<float> v(n);
    for (auto& x : v) x = d(gen);
    return v;
}

long long gcd(long long a, long long b) { return b == 0 ? a : gcd(b, a % b); }

// Output n of the conversion as a convolution in time, in long double: the windowed sinc
// centred on input time (n * down + (up - 1) / 2 - c) / up, over the 65 nearest inputs, zero
// outside the signal, and zero from the step where the walk would stand at src_n - 1 on.
std::vector<double> direct_conversion(const std::vector<float>& x, int dst_rate, int src_rate,
                                      int out_n) {
    const long double pi = 3.141592653589793238462643383279502884L;
    const long long g = gcd(dst_rate, src_rate);
    const long long up = dst_rate / g, down = src_rate / g;
    const long double f = up <= down ? static_cast<long double>(up) / down : 1.0L;
    const long long first_row = (up - 1) / 2;
    const long double c = (up - 1) / 2.0L;
    const long long len = static_cast<long long>(
        std::ceil(static_cast<double>(dst_rate) / src_rate * static_cast<double>(x.size())));
    std::vector<double> y(out_n, 0.0);
    for (long long n = 0; n < out_n && n < len; ++n) {
        const long long pos = (n * down + first_row) / up;
        if (pos >= static_cast<long long>(x.size()) - 1) break;
        const long double tau = (n * down + first_row - c) / up;
        long double sum = 0;
        for (long long m = pos - 32; m <= pos + 32; ++m) {
            if (m < 0 || m >= static_cast<long long>(x.size())) continue;
            const long double t = tau - m;
            const long double w =
                0.42L + 0.5L * std::cos(2 * pi * t / 65) + 0.08L * std::cos(4 * pi * t / 65);
            const long double s = t == 0 ? f : std::sin(pi * f * t) / (pi * t);
            sum += w * s * x[m];
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
    EXPECT_EQ(vorelAudioResample(y.data(), x.data(), dst_rate, dst_n, src_rate,
                                 static_cast<int>(x.size())),
              VOREL_STATUS_SUCCESS);
    return y;
}

bool same_bits(const std::vector<float>& a, const std::vector<float>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

}  // namespace

TEST(ResampleLength, QuotientFirstThenProductThenCeiling) {
    EXPECT_EQ(resample_len(48000, 44100, 44100), 48001);
    EXPECT_EQ(resample_len(2, 100, 1), 200);
    EXPECT_EQ(resample_len(1, 100, 2), 50);
    EXPECT_EQ(resample_len(1, 101, 2), 51);
    EXPECT_EQ(resample_len(16000, 16000, 16000), 16000);
    EXPECT_EQ(resample_len(1, 1, INT_MAX), 1);
    EXPECT_EQ(get_resample_len(INT_MAX, 1, 1), INT_MAX);
}

TEST(ResampleLength, ResultBeyondIntIsRefused) {
    int n = 7;
    EXPECT_EQ(vorelAudioGetResampleLen(&n, INT_MAX, 2, 1), VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(vorelAudioGetResampleLen(&n, INT_MAX, INT_MAX, 1), VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(vorelAudioGetResampleLen(&n, 3, INT_MAX, 2), VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(n, 7);
}

TEST(ResampleValues, AgreeWithDirectConvolution) {
    const int pairs[][2] = {{1, 2}, {2, 1}, {3, 2}, {16000, 44100}, {16000, 48000},
                            {22050, 16000}, {48000, 44100}, {8000, 8000}, {1, 7}};
    for (const auto& p : pairs)
        for (int src_n : {1, 2, 40, 1001}) {
            const auto x = noise(src_n, 11 + src_n);
            const int n = resample_len(p[0], src_n, p[1]);
            const auto got = convert(x, p[0], p[1], n);
            const auto want = direct_conversion(x, p[0], p[1], n);
            for (int i = 0; i < n; ++i)
                ASSERT_NEAR(got[i], want[i], 2e-6)
                    << p[0] << " from " << p[1] << ", src_n " << src_n << ", sample " << i;
        }
}

TEST(ResampleValues, ConstantUpsampledRingsAtTheStart) {
    const std::vector<float> ones(100, 1.0f);
    const auto y = convert(ones, 2, 1, 200);
    EXPECT_NEAR(y[0], 0.7807, 1e-4);
    EXPECT_NEAR(y[1], 1.1194, 1e-4);
    EXPECT_NEAR(y[2], 1.0801, 1e-4);
    EXPECT_NEAR(y[100], 1.0, 1e-4);
}

TEST(ResampleValues, EqualRatesCopyAllButTheLastSample) {
    const auto x = noise(100, 3);
    const auto y = convert(x, 44100, 44100, 100);
    for (int i = 0; i < 99; ++i) EXPECT_NEAR(y[i], x[i], 2e-7f) << i;
    EXPECT_EQ(y[99], 0.0f);
}

TEST(ResampleValues, WalkStopsOneInputStepBeforeTheEnd) {
    const auto x = noise(101, 5);
    EXPECT_EQ(convert({0.5f}, 3, 2, 4), std::vector<float>(4, 0.0f));

    const std::vector<float> x100(x.begin(), x.begin() + 100);
    const auto up = convert(x100, 2, 1, 200);
    EXPECT_NE(up[197], 0.0f);
    EXPECT_EQ(up[198], 0.0f);
    EXPECT_EQ(up[199], 0.0f);

    const auto down50 = convert(x100, 1, 2, 50);
    EXPECT_NE(down50[49], 0.0f);
    const auto down51 = convert(x, 1, 2, 51);
    EXPECT_NE(down51[49], 0.0f);
    EXPECT_EQ(down51[50], 0.0f);
}

TEST(ResampleValues, DstLengthCutsOrPadsAndNothingPastItIsTouched) {
    const auto x = noise(500, 8);
    const int n = resample_len(16000, 500, 44100);
    const auto full = convert(x, 16000, 44100, n);
    for (int dst_n : {1, n / 2, n - 1, n, n + 40}) {
        std::vector<float> y(dst_n + 16, -9.0f);
        ASSERT_EQ(vorelAudioResample(y.data(), x.data(), 16000, dst_n, 44100, 500), 0);
        for (int i = 0; i < dst_n; ++i) ASSERT_EQ(y[i], i < n ? full[i] : 0.0f) << dst_n << " " << i;
        for (int i = dst_n; i < dst_n + 16; ++i) ASSERT_EQ(y[i], -9.0f) << dst_n << " " << i;
    }
}

TEST(ResampleValues, DstMayBeTheSourceArray) {
    auto x = noise(300, 9);
    const auto want = convert(x, 1, 3, 100);
    ASSERT_EQ(vorelAudioResample(x.data(), x.data(), 1, 100, 3, 300), 0);
    EXPECT_TRUE(same_bits(std::vector<float>(x.begin(), x.begin() + 100), want));
}

// The lane path must give the plain walk's bits, over whole blocks, their tails and cuts.
TEST(ResampleLanes, MatchThePlainWalkBitForBit) {
    struct Case {
        int dst_rate, src_rate, src_n;
    };
    const Case cases[] = {{16000, 44100, 60000}, {16000, 48000, 30001}, {22050, 16000, 20000},
                          {2, 1, 5000},          {48000, 44100, 20000}, {3, 2, 777},
                          {44101, 44100, 60000}, {1, 20, 20000},        {1, 16, 9000}};
    for (const auto& c : cases) {
        auto x = noise(c.src_n, c.src_n);
        x[c.src_n / 3] = 3e38f;
        x[c.src_n / 2] = 1e-38f;
        if (c.src_rate == 3 * c.dst_rate) {
            // Every third input is an output's centre and the one row is symmetric: a spike pair
            // +B, -B five samples either side cancels exactly, and what survives of the samples
            // in between depends on the order of the sum, visibly in float.
            for (int centre = 120; centre + 5 < c.src_n; centre += 3 * 37) {
                x[centre - 5] = 1e20f;
                x[centre + 5] = -1e20f;
            }
        }
        const int n = resample_len(c.dst_rate, c.src_n, c.src_rate);
        for (int dst_n : {n, n - 1000, n + 7}) {
            if (dst_n < 1) continue;
            std::vector<float> fast(dst_n, -1.0f), plain(dst_n, -2.0f);
            resample(fast.data(), x.data(), c.dst_rate, dst_n, c.src_rate, c.src_n);
            resample_by(ResamplePath::plain, plain.data(), x.data(), c.dst_rate, dst_n, c.src_rate, c.src_n);
            EXPECT_TRUE(same_bits(fast, plain))
                << c.dst_rate << " from " << c.src_rate << ", dst_n " << dst_n;
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
        threads.emplace_back([&, t] {
            status[t] = vorelAudioResample(outs[t].data(), x.data(), dst_rate, n, src_rate, 4000);
        });
    for (auto& th : threads) th.join();
    EXPECT_EQ(ResampleFilterTable::instance().filter_n(), before + 1);
    for (size_t t = 0; t < outs.size(); ++t) {
        EXPECT_EQ(status[t], 0);
        EXPECT_TRUE(same_bits(outs[t], outs[0])) << t;
    }
}

TEST(ResampleChecks, GetResampleLenRefusesInOrder) {
    int n = -3;
    EXPECT_EQ(vorelAudioGetResampleLen(nullptr, 0, 0, 0), VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(vorelAudioGetResampleLen(&n, 0, 10, 16000), VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(vorelAudioGetResampleLen(&n, INT_MIN, 10, 16000), VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(vorelAudioGetResampleLen(&n, 16000, 10, 0), VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(vorelAudioGetResampleLen(&n, 16000, 10, -44100), VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(vorelAudioGetResampleLen(&n, 16000, 0, 16000), VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(vorelAudioGetResampleLen(&n, 16000, -5, 16000), VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(n, -3);
}

TEST(ResampleChecks, ResampleRefusesInOrderAndWritesNothing) {
    const std::vector<float> x(10, 1.0f);
    std::vector<float> y(4, -4.0f);
    EXPECT_EQ(vorelAudioResample(nullptr, x.data(), 1, 4, 1, 10), VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(vorelAudioResample(y.data(), nullptr, 1, 4, 1, 10), VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(vorelAudioResample(nullptr, nullptr, 0, 0, 0, 0), VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(vorelAudioResample(y.data(), x.data(), 0, 4, 1, 10), -1);
    EXPECT_EQ(vorelAudioResample(y.data(), x.data(), 1, 0, 1, 10), -1);
    EXPECT_EQ(vorelAudioResample(y.data(), x.data(), 1, -4, 1, 10), -1);
    EXPECT_EQ(vorelAudioResample(y.data(), x.data(), 1, 4, 0, 10), -1);
    EXPECT_EQ(vorelAudioResample(y.data(), x.data(), 1, 4, 1, 0), -1);
    EXPECT_EQ(vorelAudioResample(y.data(), x.data(), 1, 4, 1, INT_MIN), -1);
    EXPECT_EQ(y, std::vector<float>(4, -4.0f));
}

TEST(ResampleChecks, UnholdableFilterEndsInOutOfMemoryAtOnce) {
    const auto x = noise(64, 2);
    std::vector<float> y(8, -4.0f);
    const auto start = std::chrono::steady_clock::now();
    // Rates that reduce to an up near 2^30 and 2^31.
    EXPECT_EQ(vorelAudioResample(y.data(), x.data(), 1073741789, 8, 2, 64),
              VOREL_STATUS_OUT_OF_MEMORY);
    EXPECT_EQ(vorelAudioResample(y.data(), x.data(), INT_MAX, 8, INT_MAX - 1, 64),
              VOREL_STATUS_OUT_OF_MEMORY);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(y, std::vector<float>(8, -4.0f));
    EXPECT_EQ(vorelAudioResample(y.data(), x.data(), 1, 8, 8, 64), VOREL_STATUS_SUCCESS);
    EXPECT_NE(y[0], -4.0f);
}

TEST(ResampleChecks, ExtremeButHoldableRatesStayInBounds) {
    const auto x = noise(50, 4);
    std::vector<float> y(3, -4.0f);
    // A huge decimation has a length of one: the first step jumps past the end, zeros follow.
    EXPECT_EQ(vorelAudioResample(y.data(), x.data(), 1, 3, INT_MAX, 50), 0);
    EXPECT_NE(y[0], -4.0f);
    EXPECT_EQ(y[1], 0.0f);
    EXPECT_EQ(y[2], 0.0f);
}
