// Frame counts in each centring mode and the four frame fillers.
#include <gtest/gtest.h>

#include <climits>
#include <vector>

#include "stft/framing.h"
#include "vorel_audio.h"

using namespace vorel::audio;

TEST(FrameLen, WorkedCountsPerMode) {
    EXPECT_EQ(get_frame_len(10, 4, 3, 0), 3);
    EXPECT_EQ(get_frame_len(10, 4, 3, 1), 4);
    EXPECT_EQ(get_frame_len(10, 4, 3, 2), 5);
    EXPECT_EQ(get_frame_len(9, 4, 3, 0), 2);
    EXPECT_EQ(get_frame_len(9, 4, 3, 1), 4);
    EXPECT_EQ(get_frame_len(9, 4, 3, 2), 4);
    EXPECT_EQ(get_frame_len(4, 4, 3, 0), 1);
    for (int c : {0, 1, 2}) EXPECT_EQ(get_frame_len(3, 4, 1, c), 0) << c;
}

TEST(FrameLen, CountIsComputedInSinglePrecision) {
    // 16777217 is not a float: it rounds to 2^24 before the division.
    EXPECT_EQ(get_frame_len(16777217, 1, 1, 1), 16777216);
    EXPECT_EQ(get_frame_len(16777217, 1, 1, 0), 16777216);
}

TEST(FrameLen, ZeroHopAndExtremesStayBounded) {
    for (int c : {0, 1, 2}) {
        EXPECT_EQ(get_frame_len(100, 10, 0, c), 0);
        EXPECT_EQ(get_frame_len(10, 10, 0, c), 0);
    }
    EXPECT_EQ(get_frame_len(INT_MAX, 1, 1, 1), INT_MAX);
    EXPECT_EQ(get_frame_len(INT_MAX, 1, 1, 2), INT_MAX);
}

TEST(FrameLen, ExportedChecksInOrder) {
    int n = -7;
    EXPECT_EQ(vorelAudioGetFrameLen(nullptr, 0, 0, -1, 9), VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(vorelAudioGetFrameLen(&n, 0, 4, 1, 0), -1);
    EXPECT_EQ(vorelAudioGetFrameLen(&n, 10, 0, 1, 0), -1);
    EXPECT_EQ(vorelAudioGetFrameLen(&n, 10, 4, -1, 0), -1);
    EXPECT_EQ(vorelAudioGetFrameLen(&n, 10, 4, 1, 3), -1);
    EXPECT_EQ(n, -7);
    EXPECT_EQ(vorelAudioGetFrameLen(&n, 10, 4, 3, 2), 0);
    EXPECT_EQ(n, 5);
}

namespace {
std::vector<float> fill(void (*f)(std::vector<float>&, const float*, int, int, int),
                        const std::vector<float>& src, int out_n, int start, int pad) {
    std::vector<float> dst(out_n, -99.0f);
    f(dst, src.data(), static_cast<int>(src.size()), start, pad);
    return dst;
}
}  // namespace

TEST(Fillers, EachPadKindAroundAFiveSampleSignal) {
    const std::vector<float> s = {10, 11, 13, 17, 25};
    EXPECT_EQ(fill(extract_segment_sample_center_reflect, s, 9, 0, 2),
              (std::vector<float>{13, 11, 10, 11, 13, 17, 25, 17, 13}));
    EXPECT_EQ(fill(extract_segment_sample_center_zeros_padded, s, 9, 0, 2),
              (std::vector<float>{0, 0, 10, 11, 13, 17, 25, 0, 0}));
    EXPECT_EQ(fill(extract_segment_sample_center_constant, s, 9, 0, 2),
              (std::vector<float>{10, 10, 10, 11, 13, 17, 25, 25, 25}));
    EXPECT_EQ(fill(extract_segment_sample_center_odd, s, 9, 0, 2),
              (std::vector<float>{7, 9, 10, 11, 13, 17, 25, 33, 37}));
    EXPECT_EQ(fill(extract_segment_sample_center_reflect, s, 3, 4, 2),
              (std::vector<float>{13, 17, 25}));
}

TEST(Fillers, ReachBeyondWhatTheSignalCanMirrorStaysInside) {
    // One sample framed far past both ends: every read must come from src[0].
    const std::vector<float> one = {3.0f};
    EXPECT_EQ(fill(extract_segment_sample_center_reflect, one, 5, 0, 2),
              (std::vector<float>(5, 3.0f)));
    EXPECT_EQ(fill(extract_segment_sample_center_odd, one, 5, 0, 2), (std::vector<float>(5, 3.0f)));
    EXPECT_TRUE(fill(extract_segment_sample_center_reflect, one, 0, 0, 2).empty());
    // Three samples, reaching five past each end: the mirror keeps folding (period 4).
    const std::vector<float> three = {1, 2, 3};
    EXPECT_EQ(fill(extract_segment_sample_center_reflect, three, 13, 0, 5),
              (std::vector<float>{2, 1, 2, 3, 2, 1, 2, 3, 2, 1, 2, 3, 2}));
    EXPECT_EQ(fill(extract_segment_sample_center_odd, three, 3, 0, 3),
              (std::vector<float>{0.0f, -1.0f, 0.0f}));
}
