// Frame counts, the frame fillers and cut_frame, and the periodic windows: worked numbers, reads
// that must stay inside short signals, the window cache under threads, and the checks.
#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstring>
#include <thread>
#include <vector>

#include "stft/framing.h"
#include "stft/window_table.h"
#include "vorel_audio.h"

using namespace vorel::audio;

TEST(FrameLen, WorkedCountsAndChecksInOrder) {
    const int cases[][5] = {// sample_n, fft_n, hop_n, center, count
                            {10, 4, 3, 0, 3},
                            {10, 4, 3, 1, 4},
                            {10, 4, 3, 2, 5},
                            {9, 4, 3, 0, 2},
                            {9, 4, 3, 2, 4},
                            {4, 4, 3, 0, 1},
                            {3, 4, 1, 1, 0},
                            {100, 10, 0, 1, 0},
                            {INT_MAX, 1, 1, 2, INT_MAX},
                            // 16777217 is no float: it rounds to 2^24 before the division.
                            {16777217, 1, 1, 1, 16777216},
                            {16777217, 1, 1, 0, 16777216}};
    for (const auto& c : cases) EXPECT_EQ(get_frame_len(c[0], c[1], c[2], c[3]), c[4]) << c[0] << " " << c[3];
    int n = -7;
    EXPECT_EQ(vorelAudioGetFrameLen(nullptr, 0, 0, -1, 9), VOREL_STATUS_INVALID_ARGUMENT);
    for (auto args : {std::array<int, 4>{0, 4, 1, 0}, {10, 0, 1, 0}, {10, 4, -1, 0}, {10, 4, 1, 3}})
        EXPECT_EQ(vorelAudioGetFrameLen(&n, args[0], args[1], args[2], args[3]), -1);
    EXPECT_EQ(n, -7);
    EXPECT_EQ(vorelAudioGetFrameLen(&n, 10, 4, 3, 2), 0);
    EXPECT_EQ(n, 5);
}

TEST(Fillers, EachPadKindAndReachesBeyondWhatTheSignalCanMirror) {
    using Filler = void (*)(std::vector<float>&, const float*, int, int, int);
    const struct {
        Filler f;
        std::vector<float> src;
        int pad;
        std::vector<float> want;
    } cases[] = {
        {extract_segment_sample_center_reflect, {10, 11, 13, 17, 25}, 2, {13, 11, 10, 11, 13, 17, 25, 17, 13}},
        {extract_segment_sample_center_zeros_padded, {10, 11, 13, 17, 25}, 2, {0, 0, 10, 11, 13, 17, 25, 0, 0}},
        {extract_segment_sample_center_constant, {10, 11, 13, 17, 25}, 2, {10, 10, 10, 11, 13, 17, 25, 25, 25}},
        {extract_segment_sample_center_odd, {10, 11, 13, 17, 25}, 2, {7, 9, 10, 11, 13, 17, 25, 33, 37}},
        // One sample framed far past both ends reads only src[0]; three samples keep folding.
        {extract_segment_sample_center_reflect, {3}, 2, {3, 3, 3, 3, 3}},
        {extract_segment_sample_center_odd, {3}, 2, {3, 3, 3, 3, 3}},
        {extract_segment_sample_center_reflect, {1, 2, 3}, 5, {2, 1, 2, 3, 2, 1, 2, 3, 2, 1, 2, 3, 2}},
        {extract_segment_sample_center_odd, {1, 2, 3}, 3, {0, -1, 0}},
    };
    for (const auto& c : cases) {
        std::vector<float> dst(c.want.size(), -99.0f);
        c.f(dst, c.src.data(), static_cast<int>(c.src.size()), 0, c.pad);
        EXPECT_EQ(dst, c.want);
    }
}

TEST(CutFrame, ReadsZerosPastAnUncentredEndAndStaysInsideBeyondInt) {
    // Centred frames are held to the double reference through the spectrogram tests.
    std::vector<float> x(10), seg(4, -1.0f), three(3, -1.0f);
    for (int i = 0; i < 10; ++i) x[i] = 1.0f + 0.5f * i;
    cut_frame(seg, x.data(), 10, 8, 0);
    EXPECT_EQ(seg, (std::vector<float>{5.0f, 5.5f, 0.0f, 0.0f}));
    cut_frame(seg, x.data(), 10, int64_t{INT_MAX} + 5, 0);
    EXPECT_EQ(seg, std::vector<float>(4, 0.0f));
    // Centred positions beyond int fold back into the signal or read zeros.
    cut_frame(three, x.data(), 5, int64_t{INT_MAX} + 100, 2);
    EXPECT_EQ(three, std::vector<float>(3, 0.0f));
    cut_frame(three, x.data(), 5, int64_t{INT_MAX} + 100, 1);
    for (float v : three) EXPECT_TRUE(v >= 1.0f && v <= 3.0f);
}

TEST(Window, SharedCacheAndChecksInOrder) {
    // Window values are held to scipy and torch by the Python tests.
    const std::vector<float>& a = WindowTable::instance().ref_table(48, 1);
    EXPECT_EQ(&WindowTable::instance().ref_table(48, 1), &a);
    EXPECT_NE(&WindowTable::instance().ref_table(48, 2), &a);
    EXPECT_EQ(&WindowTable::instance().ref_table(48, 3), &a);  // inside, any type but 2 is Hann
    std::vector<const std::vector<float>*> seen(8);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < seen.size(); ++i)
        threads.emplace_back([&, i] { seen[i] = &WindowTable::instance().ref_table(4093, 2); });
    for (auto& t : threads) t.join();
    for (const auto* s : seen) EXPECT_EQ(s, seen[0]);
    std::vector<float> copy(4093);
    ASSERT_EQ(vorelAudioGetWindow(copy.data(), 4093, 2), 0);
    EXPECT_EQ(std::memcmp(copy.data(), seen[0]->data(), copy.size() * sizeof(float)), 0);

    std::vector<float> w(4, -5.0f);
    EXPECT_EQ(vorelAudioGetWindow(nullptr, 0, 7), VOREL_STATUS_INVALID_ARGUMENT);
    for (auto args : {std::array<int, 2>{0, 1}, {-3, 7}, {4, 0}, {4, 3}})
        EXPECT_EQ(vorelAudioGetWindow(w.data(), args[0], args[1]), VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(w, std::vector<float>(4, -5.0f));
}
