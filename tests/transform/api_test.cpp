// The exported transforms at their boundary: pointer and size checks, untouched output on
// refusal, refusal of lengths beyond memory, and a buffer shared by input and output.
#include <gtest/gtest.h>
#include <sys/sysinfo.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "common/dft_reference.h"
#include "vorel_audio.h"

using vorel::audio::testing::random_floats;

namespace {

using Transform = int (*)(float*, const float*, int);
const Transform kBoth[] = {vorelAudioFFT, vorelAudioIFFT};
const float kSentinel = -7.25f;

}  // namespace

TEST(TransformApi, NullPointersFirstThenLengthsBelowOneLeaveTheOutputAlone) {
    for (Transform f : kBoth) {
        const std::vector<float> src(8, 1.0f);
        std::vector<float> dst(8, kSentinel);
        EXPECT_EQ(f(nullptr, src.data(), 4), VOREL_STATUS_INVALID_ARGUMENT);
        EXPECT_EQ(f(dst.data(), nullptr, 0), VOREL_STATUS_INVALID_ARGUMENT);
        EXPECT_EQ(f(nullptr, nullptr, -1), VOREL_STATUS_INVALID_ARGUMENT);
        for (int n : {0, -1, -1024, INT_MIN})
            EXPECT_EQ(f(dst.data(), src.data(), n), VOREL_STATUS_INVALID_ARGUMENT) << n;
        EXPECT_EQ(dst, std::vector<float>(8, kSentinel));
    }
}

TEST(TransformApi, LengthsBeyondMemoryEndInOutOfMemoryBeforeAnyBufferIsRead) {
    struct sysinfo info {};
    ASSERT_EQ(sysinfo(&info), 0);
    const double machine = (static_cast<double>(info.totalram) + info.totalswap) * info.mem_unit;
    // Lengths near INT_MAX need about 51 GB of working buffers (data, table, scratch).
    if (machine > 50e9) GTEST_SKIP() << "this machine could hold the working set";
    for (Transform f : kBoth) {
        const std::vector<float> src(8, 1.0f);
        std::vector<float> dst(8, kSentinel);
        EXPECT_EQ(f(dst.data(), src.data(), INT_MAX), VOREL_STATUS_OUT_OF_MEMORY);
        EXPECT_EQ(f(dst.data(), src.data(), INT_MAX - 1), VOREL_STATUS_OUT_OF_MEMORY);
        EXPECT_EQ(dst, std::vector<float>(8, kSentinel));
    }
}

TEST(TransformApi, InputAndOutputMayShareOneBuffer) {
    for (int n : {1, 2, 8, 12, 256, 400, 1009}) {
        // Forward: n real samples at the front of a 2n buffer.
        const std::vector<float> x = random_floats(n, 1000 + n);
        std::vector<float> separate(2 * n);
        ASSERT_EQ(vorelAudioFFT(separate.data(), x.data(), n), VOREL_STATUS_SUCCESS);
        std::vector<float> shared(2 * n, kSentinel);
        std::copy(x.begin(), x.end(), shared.begin());
        ASSERT_EQ(vorelAudioFFT(shared.data(), shared.data(), n), VOREL_STATUS_SUCCESS);
        EXPECT_EQ(std::memcmp(shared.data(), separate.data(), separate.size() * sizeof(float)), 0) << n;

        std::vector<float> back(2 * n);
        ASSERT_EQ(vorelAudioIFFT(back.data(), separate.data(), n), VOREL_STATUS_SUCCESS);
        ASSERT_EQ(vorelAudioIFFT(shared.data(), shared.data(), n), VOREL_STATUS_SUCCESS);
        EXPECT_EQ(std::memcmp(shared.data(), back.data(), back.size() * sizeof(float)), 0) << n;
    }
}

TEST(TransformApi, NonFiniteInputReturnsSuccessPromptly) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (Transform f : kBoth)
        for (int n : {16, 100}) {
            std::vector<float> src(2 * n, nan), dst(2 * n);
            EXPECT_EQ(f(dst.data(), src.data(), n), VOREL_STATUS_SUCCESS);
            for (int k = 0; k < n; ++k) EXPECT_TRUE(std::isnan(dst[2 * k])) << k;
        }
}
