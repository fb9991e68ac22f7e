// Fitting a spectrogram to a frame count: cutting, filling, plain copy, and NaN fill.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "vorel_audio.h"

TEST(FixFrameLen, EveryShapeMatchesTheElementDefinition) {
    for (int rows : {1, 2, 5})
        for (int d : {1, 2, 3, 7, 16, 17})
            for (int s : {1, 2, 3, 7, 16, 17}) {
                std::vector<float> src;
                for (int f = 0; f < rows; ++f)
                    for (int i = 0; i < s; ++i) src.push_back(100.0f * f + i);
                std::vector<float> out(rows * d, -1.0f);
                ASSERT_EQ(vorelAudioFixFrameLen(out.data(), src.data(), rows, d, s, -5.0f), 0);
                for (int f = 0; f < rows; ++f)
                    for (int i = 0; i < d; ++i)
                        ASSERT_EQ(out[f * d + i], i < s ? 100.0f * f + i : -5.0f) << rows << d << s;
            }
}

TEST(FixFrameLen, NaNPads) {
    const std::vector<float> src(6, 1.0f);
    std::vector<float> dst(6, -1.0f);
    EXPECT_EQ(vorelAudioFixFrameLen(dst.data(), src.data(), 1, 3, 1, NAN), 0);
    EXPECT_TRUE(dst[0] == 1.0f && std::isnan(dst[1]) && std::isnan(dst[2]));
}
