// Fitting a spectrogram to a frame count: cutting, filling, plain copy, and the checks.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <vector>

#include "vorel_audio.h"

namespace {

// Rows of `frames` values, value 100 * row + frame.
std::vector<float> ramp(int rows, int frames) {
    std::vector<float> v;
    for (int f = 0; f < rows; ++f)
        for (int i = 0; i < frames; ++i) v.push_back(100.0f * f + i);
    return v;
}

std::vector<float> fit(const std::vector<float>& src, int rows, int dst_frames, int src_frames,
                       float pad) {
    std::vector<float> dst(static_cast<std::size_t>(rows) * dst_frames, -1.0f);
    EXPECT_EQ(vorelAudioFixFrameLen(dst.data(), src.data(), rows, dst_frames, src_frames, pad),
              VOREL_STATUS_SUCCESS);
    return dst;
}

}  // namespace

TEST(FixFrameLen, CutKeepsTheFirstFramesOfEachRow) {
    EXPECT_EQ(fit(ramp(2, 5), 2, 3, 5, 9.0f), (std::vector<float>{0, 1, 2, 100, 101, 102}));
}

TEST(FixFrameLen, FillAppendsThePadValueToEachRow) {
    EXPECT_EQ(fit(ramp(2, 3), 2, 5, 3, -80.0f),
              (std::vector<float>{0, 1, 2, -80, -80, 100, 101, 102, -80, -80}));
    const auto nan_pad = fit(ramp(1, 1), 1, 3, 1, std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(nan_pad[0], 0.0f);
    EXPECT_TRUE(std::isnan(nan_pad[1]) && std::isnan(nan_pad[2]));
}

TEST(FixFrameLen, EqualCountsCopy) {
    const auto src = ramp(128, 300);
    EXPECT_EQ(fit(src, 128, 300, 300, 7.0f), src);
}

TEST(FixFrameLen, ManyShapesMatchTheElementDefinition) {
    for (int rows : {1, 2, 5})
        for (int d : {1, 2, 3, 7, 16, 17})
            for (int s : {1, 2, 3, 7, 16, 17}) {
                const auto src = ramp(rows, s);
                const auto out = fit(src, rows, d, s, -5.0f);
                for (int f = 0; f < rows; ++f)
                    for (int i = 0; i < d; ++i)
                        ASSERT_EQ(out[f * d + i], i < s ? 100.0f * f + i : -5.0f)
                            << rows << " " << d << " " << s;
            }
}

TEST(FixFrameLenChecks, InOrderWithTheOutputUntouched) {
    const auto src = ramp(2, 3);
    std::vector<float> dst(6, -1.0f);
    EXPECT_EQ(vorelAudioFixFrameLen(nullptr, src.data(), 2, 3, 3, 0.0f), -1);
    EXPECT_EQ(vorelAudioFixFrameLen(dst.data(), nullptr, 2, 3, 3, 0.0f), -1);
    EXPECT_EQ(vorelAudioFixFrameLen(nullptr, nullptr, 0, 0, 0, 0.0f), -1);
    EXPECT_EQ(vorelAudioFixFrameLen(dst.data(), src.data(), 0, 3, 3, 0.0f), -1);
    EXPECT_EQ(vorelAudioFixFrameLen(dst.data(), src.data(), INT_MIN, 3, 3, 0.0f), -1);
    EXPECT_EQ(vorelAudioFixFrameLen(dst.data(), src.data(), 2, 0, 3, 0.0f), -1);
    EXPECT_EQ(vorelAudioFixFrameLen(dst.data(), src.data(), 2, 3, -3, 0.0f), -1);
    EXPECT_EQ(dst, std::vector<float>(6, -1.0f));
}
