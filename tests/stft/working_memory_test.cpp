// What the short-time transforms allocate: nothing written when any allocation fails, and an
// inverse whose working memory follows the samples it writes, not the hop between frames.
#include <gtest/gtest.h>

#include <climits>
#include <vector>

#include "common/counting_new.h"
#include "stft_reference.h"
#include "vorel_audio.h"

namespace {

template <class Call>
long sweep(const std::vector<float>& want, Call&& call) {
    return counting_new::sweep_failures(want, -1.5f, call, stft_ref::expect_same_bits);
}

}  // namespace

TEST(WorkingMemory, AFailedAllocationWritesNothing) {
    // 27 frames: groups in lanes and a tail, padded frames at both ends; a power-of-two and a
    // mixed-radix length.
    const std::vector<float> x = stft_ref::test_signal(4000, 3);
    for (int fft_n : {512, 400}) {
        const int hop = 150, freq_n = fft_n / 2 + 1, frames = 4000 / hop + 1;
        auto forward = [&](std::vector<float>& out) {
            return vorelAudioGetSpectrogram(out.data(), x.data(), 4000, fft_n, hop, fft_n - 10, 1, frames, 1, 0.0f, 1);
        };
        std::vector<float> spectrum(2 * static_cast<std::size_t>(freq_n) * frames);
        ASSERT_EQ(forward(spectrum), 0);
        EXPECT_GT(sweep(spectrum, forward), 5) << fft_n;
        int sample_n = 0;
        vorelAudioGetSampleLen(&sample_n, frames, freq_n, hop, 1);
        auto inverse = [&](std::vector<float>& out) {
            return vorelAudioGetInverseSpectrogram(out.data(), spectrum.data(), frames, freq_n, hop, fft_n - 10, 1,
                                                   sample_n, 1, 1);
        };
        std::vector<float> signal(sample_n);
        ASSERT_EQ(inverse(signal), 0);
        EXPECT_GT(sweep(signal, inverse), 3) << fft_n;
    }
}

TEST(WorkingMemory, InverseFollowsTheSamplesWrittenNotTheHop) {
    // Two frames a huge hop apart, one sample wanted: only the first frame reaches it, so the
    // sample is that of the first frame alone, and the call needs a few bytes.
    const std::vector<float> spectrum = {0.75f, 0.0f, 0.5f, 0.0f, -0.25f, 0.0f, 2.0f, 0.0f};  // 2 bins x 2 frames
    const std::vector<float> first = {0.75f, 0.0f, -0.25f, 0.0f};
    for (int center : {0, 1, 2})
        for (int hop : {1 << 28, INT_MAX}) {
            std::vector<float> alone(1, 9.0f), got(1, 9.0f);
            ASSERT_EQ(vorelAudioGetInverseSpectrogram(alone.data(), first.data(), 1, 2, hop, 2, 1, 1, center, 0), 0);
            counting_new::Watch watch;
            ASSERT_EQ(vorelAudioGetInverseSpectrogram(got.data(), spectrum.data(), 2, 2, hop, 2, 1, 1, center, 0), 0);
            EXPECT_LT(counting_new::bytes.load(), 1u << 20) << center << " " << hop;
            stft_ref::expect_same_bits(got, alone);
        }
    // More samples than the first frame covers: the gap before the second frame reads +0.0.
    std::vector<float> wide(6, 9.0f);
    ASSERT_EQ(vorelAudioGetInverseSpectrogram(wide.data(), spectrum.data(), 2, 2, 1 << 28, 2, 1, 6, 0, 0), 0);
    std::vector<float> head(2, 9.0f);
    ASSERT_EQ(vorelAudioGetInverseSpectrogram(head.data(), first.data(), 1, 2, 1, 2, 1, 2, 0, 0), 0);
    stft_ref::expect_same_bits(wide, {head[0], head[1], 0.0f, 0.0f, 0.0f, 0.0f});
}
