// Non-silent range detection: worked cases, agreement with a reference built on a padded copy
// of the signal, very short signals, NaN frames, and the argument checks.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "errors/exceptions.h"
#include "features/silence.h"
#include "vorel_audio.h"

using namespace vorel::audio;

namespace {

struct Range {
    int start;
    int len;
    bool operator==(const Range&) const = default;
};

std::ostream& operator<<(std::ostream& os, const Range& r) {
    return os << "{" << r.start << ", " << r.len << "}";
}

Range nonsilent(const std::vector<float>& src, int win_n, int hop_n, float thr_db) {
    Range r{-77, -77};
    EXPECT_EQ(vorelAudioGetNonSilentPos(&r.start, &r.len, src.data(), static_cast<int>(src.size()),
                                        win_n, hop_n, thr_db),
              VOREL_STATUS_SUCCESS);
    return r;
}

// Index of padded position p of a signal of n samples, mirrored (without repeating the end
// samples) as often as it takes to land inside.
int reflect_index(long p, long n) {
    if (n == 1) return 0;
    while (p < 0 || p >= n) p = p < 0 ? -p : 2 * (n - 1) - p;
    return static_cast<int>(p);
}

// Straightforward reference: frame t covers win_n samples centred on t * hop_n; levels in dB
// against the loudest frame; the range from the first to the end of the last frame above
// -thr_db, the end clipped to the signal.
Range reference(const std::vector<float>& src, int win_n, int hop_n, float thr_db) {
    const long n = static_cast<long>(src.size());
    if (n < win_n || hop_n == 0) return {-1, 0};
    const long frames = static_cast<long>(std::floor(static_cast<float>(n) / hop_n + 1.0f));
    std::vector<double> power(frames);
    double peak = 1e-10;
    for (long t = 0; t < frames; ++t) {
        double acc = 0.0;
        for (long k = 0; k < win_n; ++k) {
            const double x = src[reflect_index(t * hop_n - win_n / 2 + k, n)];
            acc += x * x;
        }
        power[t] = std::isnan(acc) ? acc : std::max(acc / win_n, 1e-10);
        if (!std::isnan(power[t])) peak = std::max(peak, power[t]);
    }
    long first = -1, last = -1;
    for (long t = 0; t < frames; ++t) {
        if (10.0 * std::log10(power[t] / peak) > -static_cast<double>(thr_db)) {
            if (first < 0) first = t;
            last = t;
        }
    }
    if (first < 0) return {-1, 0};
    const long end = std::min((last + 1) * hop_n, n);
    return {static_cast<int>(first * hop_n), static_cast<int>(end - first * hop_n)};
}

// Tone bursts of varying loudness with silence (or faint noise) before and after.
std::vector<float> speech_like(int lead, int body, int tail, float noise, uint32_t seed) {
    std::mt19937 gen(seed);
    std::normal_distribution<float> g(0.0f, 1.0f);
    std::vector<float> s(lead + body + tail);
    for (auto& x : s) x = noise * g(gen);
    for (int i = 0; i < body; ++i) {
        const double env = 0.3 + 0.7 * std::fabs(std::sin(3.14159 * i / 1600.0));
        s[lead + i] += static_cast<float>(0.5 * env * std::sin(2 * 3.14159 * 220.0 * i / 16000.0) +
                                          0.1 * g(gen));
    }
    return s;
}

}  // namespace

TEST(NonSilent, ZerosAreEntirelyNonSilent) {
    EXPECT_EQ(nonsilent(std::vector<float>(1000, 0.0f), 256, 64, 60.0f), (Range{0, 1000}));
    EXPECT_EQ(nonsilent(std::vector<float>(7, 0.0f), 2, 3, 1e-3f), (Range{0, 7}));
}

TEST(NonSilent, ZeroThresholdNeverFindsAnything) {
    EXPECT_EQ(nonsilent(speech_like(500, 2000, 500, 0.0f, 1), 256, 64, 0.0f), (Range{-1, 0}));
    EXPECT_EQ(nonsilent(std::vector<float>(100, 0.0f), 10, 5, 0.0f), (Range{-1, 0}));
    EXPECT_EQ(nonsilent(std::vector<float>(100, 0.0f), 10, 5, -0.0f), (Range{-1, 0}));
}

TEST(NonSilent, SignalShorterThanTheFrameHasNoFrames) {
    EXPECT_EQ(nonsilent(std::vector<float>(9, 1.0f), 10, 2, 40.0f), (Range{-1, 0}));
    // A huge frame length is refused by the count alone, without scratch of that size.
    EXPECT_EQ(nonsilent(std::vector<float>(9, 1.0f), INT_MAX, 1, 40.0f), (Range{-1, 0}));
}

TEST(NonSilent, ZeroHopReturnsAtOnceWithNoFrames) {
    EXPECT_EQ(nonsilent(std::vector<float>(4096, 0.25f), 512, 0, 40.0f), (Range{-1, 0}));
    EXPECT_EQ(nonsilent(std::vector<float>(1, 1.0f), 1, 0, 40.0f), (Range{-1, 0}));
}

TEST(NonSilent, LeadingAndTrailingSilenceAreCut) {
    // Silence of 4000 and 3000 samples around 9000 loud ones, frames of 512 every 128.
    const auto s = speech_like(4000, 9000, 3000, 0.0f, 2);
    const Range r = nonsilent(s, 512, 128, 60.0f);
    EXPECT_EQ(r, reference(s, 512, 128, 60.0f));
    // The first frame reaching into the tone is centred on 30 * 128 = 3840 (it covers
    // 3584..4095); the last is centred on 103 * 128 = 13184 (covering 12928..13439), so the
    // range ends at 104 * 128.
    EXPECT_EQ(r, (Range{3840, 104 * 128 - 3840}));
}

TEST(NonSilent, AgreesWithTheReferenceAcrossGeometries) {
    for (float noise : {0.0f, 1e-4f, 1e-2f}) {
        const auto s = speech_like(3000, 8000, 5000, noise, 3);
        for (int win : {1, 64, 400, 2048})
            for (int hop : {1, 100, 160, 512, 20000}) {
                if (hop == 1 && win > 64) continue;  // same paths as hop 100, at 100 times the cost
                for (float thr : {10.0f, 40.0f, 60.0f, 80.0f})
                    EXPECT_EQ(nonsilent(s, win, hop, thr), reference(s, win, hop, thr))
                        << noise << " " << win << " " << hop << " " << thr;
            }
    }
}

TEST(NonSilent, VeryShortSignalsStayInsideTheBuffer) {
    // Frames of these reach past both ends, some by more than the signal's length; the reflect
    // filler folds until it lands inside (the sanitizer build checks that nothing else is read).
    std::mt19937 gen(4);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (int n = 1; n <= 9; ++n) {
        std::vector<float> s(n);
        for (auto& x : s) x = u(gen);
        for (int win = 1; win <= n; ++win)
            for (int hop = 1; hop <= n + 1; ++hop)
                for (float thr : {3.0f, 60.0f})
                    EXPECT_EQ(nonsilent(s, win, hop, thr), reference(s, win, hop, thr))
                        << n << " " << win << " " << hop;
    }
    EXPECT_EQ(nonsilent({0.5f}, 1, 1, 20.0f), (Range{0, 1}));
}

TEST(NonSilent, LastFrameAloneAtTheEndGivesAnEmptyRangeThere) {
    // 8 samples, hop 4, frames of 4: centred on 0, 4 and 8. The frame on 8 holds the click
    // in sample 7 (mean square 0.25); the one on 4 holds sample 4 only (0.0625, -6 dB).
    std::vector<float> s(8, 0.0f);
    s[7] = 1.0f;
    s[4] = 0.5f;
    EXPECT_EQ(nonsilent(s, 4, 4, 3.5f), (Range{8, 0}));
    EXPECT_EQ(nonsilent(s, 4, 4, 3.5f), reference(s, 4, 4, 3.5f));
    // A lower threshold lets the middle frame in; its end, 12, is clipped to 8.
    EXPECT_EQ(nonsilent(s, 4, 4, 10.0f), (Range{4, 4}));
}

TEST(NonSilent, NaNFrameIsSilentAndDoesNotSetThePeak) {
    std::vector<float> s(100, 0.0f);
    for (int i = 40; i < 60; ++i) s[i] = 0.5f;
    s[5] = std::numeric_limits<float>::quiet_NaN();
    // Frames 0 and 1 (hop 10, win 10) hold the NaN; the tone frames are the loudest.
    EXPECT_EQ(nonsilent(s, 10, 10, 20.0f), (Range{40, 30}));
    EXPECT_EQ(nonsilent(s, 10, 10, 20.0f), reference(s, 10, 10, 20.0f));
    // NaN everywhere: no frame passes.
    EXPECT_EQ(nonsilent(std::vector<float>(50, std::numeric_limits<float>::quiet_NaN()), 8, 4, 30.0f),
              (Range{-1, 0}));
}

TEST(NonSilent, NaNThresholdPassesTheCheckAndFindsNothing) {
    EXPECT_EQ(nonsilent(std::vector<float>(64, 1.0f), 8, 4, std::numeric_limits<float>::quiet_NaN()),
              (Range{-1, 0}));
}

TEST(NonSilentChecks, InOrderWithTheOutputsUntouched) {
    const std::vector<float> s(64, 1.0f);
    int a = -9, b = -9;
    EXPECT_EQ(vorelAudioGetNonSilentPos(nullptr, &b, s.data(), 64, 8, 4, 30.0f), -1);
    EXPECT_EQ(vorelAudioGetNonSilentPos(&a, nullptr, s.data(), 64, 8, 4, 30.0f), -1);
    EXPECT_EQ(vorelAudioGetNonSilentPos(&a, &b, nullptr, 64, 8, 4, 30.0f), -1);
    EXPECT_EQ(vorelAudioGetNonSilentPos(&a, &b, s.data(), 0, 8, 4, 30.0f), -1);
    EXPECT_EQ(vorelAudioGetNonSilentPos(&a, &b, s.data(), 64, 0, 4, 30.0f), -1);
    EXPECT_EQ(vorelAudioGetNonSilentPos(&a, &b, s.data(), 64, INT_MIN, 4, 30.0f), -1);
    EXPECT_EQ(vorelAudioGetNonSilentPos(&a, &b, s.data(), 64, 8, -1, 30.0f), -1);
    EXPECT_EQ(vorelAudioGetNonSilentPos(&a, &b, s.data(), 64, 8, 4, -1.0f), -1);
    EXPECT_EQ(vorelAudioGetNonSilentPos(&a, &b, s.data(), 64, 8, 4,
                                        -std::numeric_limits<float>::infinity()),
              -1);
    EXPECT_EQ(a, -9);
    EXPECT_EQ(b, -9);
    EXPECT_EQ(vorelAudioGetNonSilentPos(&a, &b, s.data(), 64, 8, 4, 30.0f), 0);
    EXPECT_EQ(a, 0);
    EXPECT_EQ(b, 64);
}

TEST(NonSilentChecks, InnerGuardHasItsOwnText) {
    const std::vector<float> s(16, 1.0f);
    int a = -9, b = -9;
    try {
        detect_nonsilent_pos(&a, &b, s.data(), 16, 4, 2, -1.0f);
        FAIL() << "no exception";
    } catch (const vorel::Util::Exceptions::VorelInvalidArgment& e) {
        EXPECT_EQ(std::string(e.what()), "Invalid thr_db.");
        EXPECT_EQ(e.errorCode(), -1);
    }
    EXPECT_EQ(a, -9);
    EXPECT_EQ(b, -9);
}
