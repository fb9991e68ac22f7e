// Periodic windows: values against a double-precision reference, caching, type selection and
// the exported checks.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <thread>
#include <vector>

#include "stft/window_table.h"
#include "vorel_audio.h"

using namespace vorel::audio;

namespace {

double reference(int k, int n, int win_type) {
    const double c = std::cos(2.0 * M_PI * k / n);
    return win_type == 2 ? 0.54 - 0.46 * c : 0.5 - 0.5 * c;
}

std::vector<float> exported_window(int n, int win_type) {
    std::vector<float> w(n, -5.0f);
    EXPECT_EQ(vorelAudioGetWindow(w.data(), n, win_type), VOREL_STATUS_SUCCESS);
    return w;
}

}  // namespace

TEST(Window, MatchesPeriodicCosineWindows) {
    for (int type : {1, 2}) {
        for (int n : {3, 4, 7, 400, 512, 1001}) {
            const std::vector<float> w = exported_window(n, type);
            for (int k = 0; k < n; ++k)
                ASSERT_NEAR(w[k], reference(k, n, type), 2e-7) << "type " << type << " n " << n;
        }
    }
}

TEST(Window, PeriodicNotSymmetric) {
    const std::vector<float> hann = exported_window(8, VOREL_AUDIO_WIN_TYPE_HANN);
    EXPECT_EQ(hann[0], 0.0f);
    EXPECT_FLOAT_EQ(hann[4], 1.0f);  // the peak of an even length sits at n/2
    EXPECT_GT(hann[7], 0.1f);        // no zero at the far end
    for (int k = 1; k < 8; ++k) EXPECT_NEAR(hann[k], hann[8 - k], 1e-7);
}

TEST(Window, OneAndTwoSamples) {
    EXPECT_EQ(exported_window(1, 1)[0], 0.0f);
    EXPECT_EQ(exported_window(1, 2)[0], 0.54f - 0.46f);
    const std::vector<float> hann2 = exported_window(2, 1);
    EXPECT_EQ(hann2[0], 0.0f);
    EXPECT_EQ(hann2[1], 1.0f);
    const std::vector<float> hamming2 = exported_window(2, 2);
    EXPECT_EQ(hamming2[0], 0.54f - 0.46f);
    EXPECT_EQ(hamming2[1], 0.46f + 0.54f);
}

TEST(Window, CachedEntriesAreStableAndTypesLiveSideBySide) {
    const std::vector<float>& a = WindowTable::instance().ref_table(48, 1);
    const std::vector<float>& b = WindowTable::instance().ref_table(48, 2);
    const std::vector<float>& a2 = WindowTable::instance().ref_table(48, 1);
    EXPECT_EQ(&a, &a2);
    EXPECT_NE(&a, &b);
    EXPECT_NE(a[1], b[1]);
    // Inside the table any type but 2 means Hann.
    EXPECT_EQ(&WindowTable::instance().ref_table(48, 3), &a);
    EXPECT_EQ(&WindowTable::instance().ref_table(48, 0), &a);
}

TEST(Window, ConcurrentFirstUseGivesOneEntry) {
    constexpr int kThreads = 8;
    std::vector<const std::vector<float>*> seen(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&, i] { seen[i] = &WindowTable::instance().ref_table(4093, 2); });
    for (auto& t : threads) t.join();
    for (int i = 1; i < kThreads; ++i) EXPECT_EQ(seen[i], seen[0]);
    const std::vector<float> copy = exported_window(4093, 2);
    EXPECT_EQ(std::memcmp(copy.data(), seen[0]->data(), copy.size() * sizeof(float)), 0);
}

TEST(Window, ExportedChecksInOrder) {
    std::vector<float> w(4, -5.0f);
    EXPECT_EQ(vorelAudioGetWindow(nullptr, 0, 7), VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(vorelAudioGetWindow(w.data(), 0, 1), VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(vorelAudioGetWindow(w.data(), -3, 7), VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(vorelAudioGetWindow(w.data(), 4, 0), VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(vorelAudioGetWindow(w.data(), 4, 3), VOREL_STATUS_INVALID_ARGUMENT);
    for (float v : w) EXPECT_EQ(v, -5.0f);
}
