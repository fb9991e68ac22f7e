// Non-silent range detection: worked cases, frames reaching past both ends of very short
// signals (for the sanitizer build). Agreement with a frame-level
// reference over many geometries is checked against numpy in the Python tests.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <random>
#include <vector>

#include "features/silence.h"
#include "vorel_audio.h"

namespace {

using Range = std::pair<int, int>;

Range nonsilent(const std::vector<float>& src, int win_n, int hop_n, float thr_db) {
    Range r{-77, -77};
    EXPECT_EQ(vorelAudioGetNonSilentPos(&r.first, &r.second, src.data(), int(src.size()), win_n, hop_n, thr_db), 0);
    return r;
}

// The range by the book: every frame power stored, then judged, reflect padding folded by
// index arithmetic of its own.
Range stored_powers(const std::vector<float>& src, int win_n, int hop_n, float thr_db) {
    const long n = static_cast<long>(src.size());
    const long frames = hop_n == 0 || n < win_n ? 0 : static_cast<long>(std::floor(float(n) / float(hop_n) + 1.0f));
    std::vector<double> power;
    double peak = 1e-10;
    for (long t = 0; t < frames; ++t) {
        double acc = 0.0;
        for (long i = 0; i < win_n; ++i) {
            long q = t * hop_n - win_n / 2 + i;
            while (q < 0 || q >= n) q = n == 1 ? 0 : q < 0 ? -q : 2 * (n - 1) - q;
            acc = acc + double(src[q]) * double(src[q]);
        }
        power.push_back(std::max(acc / win_n, 1e-10));
        if (peak < power.back()) peak = power.back();
    }
    long first = -1, last = -1;
    for (long t = 0; t < frames; ++t) {
        if (!(std::log10(power[t]) * 10.0 - std::log10(peak) * 10.0 > double(-thr_db))) continue;
        if (first < 0) first = t;
        last = t;
    }
    if (first < 0) return {-1, 0};
    return {int(first * hop_n), int(std::min<long>((last + 1) * hop_n, n) - first * hop_n)};
}

}  // namespace

// Levels are not stored: the loudest frame is found first, then only the frames before the
// first and after the last loud one are measured again. Same ranges as storing every power,
// with the loud frames anywhere, several frames at the peak, all frames floored, NaN and
// infinite samples, and thresholds at 0, at a frame's exact level, huge and NaN.
TEST(NonSilent, SameRangesAsStoringEveryPower) {
    std::mt19937 rng(17);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    struct Signal {
        int n;
        std::vector<std::pair<int, float>> bursts;  // start of 64 loud samples, amplitude
    };
    const Signal signals[] = {{1000, {}},
                              {1000, {{0, 1.0f}}},
                              {1000, {{936, 1.0f}}},
                              {3000, {{100, 0.5f}, {2000, 0.5f}}},
                              {3000, {{100, 1e-3f}, {1500, 1.0f}, {2900, 1e-2f}}},
                              {3000, {{700, NAN}, {1800, 1.0f}}},
                              {3000, {{700, INFINITY}, {1800, 1.0f}}},
                              {777, {{300, 1e-6f}}}};
    for (const Signal& sig : signals) {
        std::vector<float> src(sig.n);
        for (float& x : src) x = 1e-4f * u(rng);
        for (auto [at, amp] : sig.bursts)
            for (int i = at; i < std::min(at + 64, sig.n); ++i) src[i] = amp * (std::isfinite(amp) ? u(rng) : 1.0f);
        for (int win : {1, 7, 64, 256})
            for (int hop : {1, 5, 64, 300, INT_MAX})
                for (float thr : {0.0f, 3.0f, 20.0f, 60.0f, 1e30f, INFINITY, NAN})
                    EXPECT_EQ(nonsilent(src, win, hop, thr), stored_powers(src, win, hop, thr))
                        << sig.n << " samples, win " << win << " hop " << hop << " thr " << thr;
    }
    // Two frames at the same peak, the rest floored: both ends sit on peak frames.
    std::vector<float> twin(400, 0.0f);
    twin[100] = twin[300] = 1.0f;
    for (float thr : {0.0f, 1.0f, 200.0f}) EXPECT_EQ(nonsilent(twin, 4, 4, thr), stored_powers(twin, 4, 4, thr));
}

TEST(NonSilent, WorkedRanges) {
    std::vector<float> click(8, 0.0f), nan_frames(100, 0.0f), tone(16000, 0.0f);
    click[7] = 1.0f;  // frames of 4 every 4: centred on 8 (mean square 0.25) and 4 (-6 dB)
    click[4] = 0.5f;
    for (int i = 40; i < 60; ++i) nan_frames[i] = 0.5f;
    nan_frames[5] = NAN;  // frames 0 and 1 hold the NaN: silent, and not the peak
    for (int i = 4000; i < 13000; ++i) tone[i] = float(0.5 * std::sin(0.0864 * i));
    EXPECT_EQ(nonsilent(std::vector<float>(1000, 0.0f), 256, 64, 60.0f), Range(0, 1000));
    EXPECT_EQ(nonsilent(std::vector<float>(7, 0.0f), 2, 3, 1e-3f), Range(0, 7));
    EXPECT_EQ(nonsilent(std::vector<float>(100, 0.0f), 10, 5, -0.0f), Range(-1, 0));
    EXPECT_EQ(nonsilent(tone, 512, 128, 0.0f), Range(-1, 0));  // no frame is above 0 dB
    EXPECT_EQ(nonsilent(std::vector<float>(9, 1.0f), 10, 2, 40.0f), Range(-1, 0));
    EXPECT_EQ(nonsilent(std::vector<float>(9, 1.0f), INT_MAX, 1, 40.0f), Range(-1, 0));
    EXPECT_EQ(nonsilent(std::vector<float>(4096, 0.25f), 512, 0, 40.0f), Range(-1, 0));
    EXPECT_EQ(nonsilent(std::vector<float>(64, 1.0f), 8, 4, NAN), Range(-1, 0));
    EXPECT_EQ(nonsilent(std::vector<float>(50, NAN), 8, 4, 30.0f), Range(-1, 0));
    // Frame 30 (3584..4095) is the first to reach into the tone, frame 103 the last.
    EXPECT_EQ(nonsilent(tone, 512, 128, 60.0f), Range(3840, 104 * 128 - 3840));
    EXPECT_EQ(nonsilent(click, 4, 4, 3.5f), Range(8, 0));
    EXPECT_EQ(nonsilent(click, 4, 4, 10.0f), Range(4, 4));  // the end, 12, clipped to 8
    EXPECT_EQ(nonsilent(nan_frames, 10, 10, 20.0f), Range(40, 30));
    for (int n = 1; n <= 9; ++n) {  // frames reaching past both ends, by more than n too
        const std::vector<float> s(tone.begin() + 4000, tone.begin() + 4000 + n);
        for (int win = 1; win <= n; ++win)
            for (int hop = 1; hop <= n + 1; ++hop) EXPECT_GE(nonsilent(s, win, hop, 60.0f).second, 0);
    }
}
