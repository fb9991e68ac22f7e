// Cutting one analysis frame: every position against the padded fillers, and the reads
// past the end of an uncentred signal.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <vector>

#include "stft/framing.h"

using namespace vorel::audio;

namespace {

std::vector<float> ramp(int n) {
    std::vector<float> x(n);
    for (int i = 0; i < n; ++i) x[i] = 1.0f + 0.5f * i;
    return x;
}

}  // namespace

TEST(CutFrame, CentredFramesEqualTheFillersAtEveryPosition) {
    const std::vector<float> x = ramp(37);
    for (int len : {1, 4, 9, 16}) {
        std::vector<float> got(len), want(len);
        for (int pos = 0; pos <= 40; ++pos) {
            cut_frame(got, x.data(), 37, pos, 1);
            extract_segment_sample_center_reflect(want, x.data(), 37, pos, len / 2);
            EXPECT_EQ(got, want) << "reflect len " << len << " pos " << pos;
            cut_frame(got, x.data(), 37, pos, 2);
            extract_segment_sample_center_zeros_padded(want, x.data(), 37, pos, len / 2);
            EXPECT_EQ(got, want) << "zeros len " << len << " pos " << pos;
        }
    }
}

TEST(CutFrame, UncentredFramesCopyAndReadZerosPastTheEnd) {
    const std::vector<float> x = ramp(10);
    std::vector<float> seg(4, -1.0f);
    cut_frame(seg, x.data(), 10, 6, 0);
    EXPECT_EQ(seg, (std::vector<float>{4.0f, 4.5f, 5.0f, 5.5f}));
    cut_frame(seg, x.data(), 10, 8, 0);
    EXPECT_EQ(seg, (std::vector<float>{5.0f, 5.5f, 0.0f, 0.0f}));
    cut_frame(seg, x.data(), 10, int64_t{INT_MAX} + 5, 0);
    EXPECT_EQ(seg, (std::vector<float>(4, 0.0f)));
}

TEST(CutFrame, PositionsBeyondIntStayInsideTheSignal) {
    const std::vector<float> x = ramp(5);
    std::vector<float> seg(3, -1.0f);
    cut_frame(seg, x.data(), 5, int64_t{INT_MAX} + 100, 2);
    EXPECT_EQ(seg, (std::vector<float>(3, 0.0f)));
    cut_frame(seg, x.data(), 5, int64_t{INT_MAX} + 100, 1);
    for (float v : seg) EXPECT_TRUE(v >= 1.0f && v <= 3.0f);
}
