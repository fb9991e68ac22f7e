// Non-silent range detection: worked cases, frames reaching past both ends of very short
// signals (for the sanitizer build), and the argument checks. Agreement with a frame-level
// reference over many geometries is checked against numpy in the Python tests.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <vector>

#include "errors/exceptions.h"
#include "features/silence.h"
#include "vorel_audio.h"

namespace {

using Range = std::pair<int, int>;

Range nonsilent(const std::vector<float>& src, int win_n, int hop_n, float thr_db) {
    Range r{-77, -77};
    EXPECT_EQ(vorelAudioGetNonSilentPos(&r.first, &r.second, src.data(), int(src.size()), win_n,
                                        hop_n, thr_db),
              0);
    return r;
}

}  // namespace

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
            for (int hop = 1; hop <= n + 1; ++hop)
                EXPECT_GE(nonsilent(s, win, hop, 60.0f).second, 0);
    }
}

TEST(NonSilentChecks, InOrderWithTheOutputsUntouched) {
    const std::vector<float> s(64, 1.0f);
    const float* p = s.data();
    int a = -9, b = -9;
    EXPECT_EQ(vorelAudioGetNonSilentPos(nullptr, &b, p, 64, 8, 4, 30.0f), -1);
    EXPECT_EQ(vorelAudioGetNonSilentPos(&a, nullptr, p, 64, 8, 4, 30.0f), -1);
    EXPECT_EQ(vorelAudioGetNonSilentPos(&a, &b, nullptr, 64, 8, 4, 30.0f), -1);
    EXPECT_EQ(vorelAudioGetNonSilentPos(&a, &b, p, 0, 8, 4, 30.0f), -1);
    EXPECT_EQ(vorelAudioGetNonSilentPos(&a, &b, p, 64, INT_MIN, 4, 30.0f), -1);
    EXPECT_EQ(vorelAudioGetNonSilentPos(&a, &b, p, 64, 8, -1, 30.0f), -1);
    EXPECT_EQ(vorelAudioGetNonSilentPos(&a, &b, p, 64, 8, 4, -1.0f), -1);
    EXPECT_EQ(vorelAudioGetNonSilentPos(&a, &b, p, 64, 8, 4, -INFINITY), -1);
    EXPECT_THROW(vorel::audio::detect_nonsilent_pos(&a, &b, p, 16, 4, 2, -1.0f),
                 vorel::Util::Exceptions::VorelInvalidArgment);
    EXPECT_EQ(Range(a, b), Range(-9, -9));
}
