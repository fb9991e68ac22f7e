// The zero-phase filter against the whole-extension reference bit for bit over pad types, pad
// lengths (folding ones, ones spanning several fill chunks) and output lengths; in place; huge
// padding; NaN input. Agreement with scipy is checked in the Python tests.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <vector>

#include "filter/filter_initial_state.h"
#include "filter/reference.h"
#include "vorel_audio.h"

using namespace vorel::audio;
using namespace filter_test;

namespace {

// The extended signal built whole, both passes over all of it, then the copy from the first
// original sample on.
std::vector<float> reference_filtfilt(const std::vector<float>& s, const Coefs& c, int type, int pad,
                                      std::size_t dst_n) {
    const long n = long(s.size());
    pad = type == 0 ? 0 : pad;
    std::vector<float> e;
    for (long j = -pad; j < n + pad; ++j) {
        long q = j;  // mirrored into the signal as often as it takes
        while (n > 1 && (q < 0 || q >= n)) q = q < 0 ? -q : 2 * (n - 1) - q;
        const float edge = j < 0 ? s[0] : s[n - 1];
        e.push_back(j >= 0 && j < n ? s[j]
                    : type == 3     ? edge
                    : type == 2     ? s[n > 1 ? q : 0]
                                    : (edge + edge) - s[n > 1 ? q : 0]);
    }
    const int r = c.order();
    std::vector<double> settled(r), z(r), y(e.size());
    if (r > 0)
        create_zi_coef<double, float>(settled.data(), c.n.data(), c.d.data(), r, int(c.n.size()), int(c.d.size()));
    for (int k = 0; k < r; ++k) z[k] = settled[k] * double(e[0]);
    reference_filter(y.data(), e.data(), e.size(), c, z.data(), false);
    for (int k = 0; k < r; ++k) z[k] = settled[k] * y.back();
    reference_filter(y.data(), y.data(), y.size(), c, z.data(), true);
    std::vector<float> out(dst_n, -2.0f);
    for (std::size_t i = 0; i < std::min(dst_n, s.size() + pad); ++i) out[i] = float(y[pad + i]);
    return out;
}

int run(std::vector<float>& dst, const std::vector<float>& src, const Coefs& c, int type, int pad) {
    return vorelAudioFilterFilter(dst.data(), src.data(), c.n.data(), c.d.data(), int(dst.size()), int(src.size()),
                                  int(c.n.size()), int(c.d.size()), type, pad);
}

const Coefs butter2{{0.0675f, 0.1349f, 0.0675f}, {1.0f, -1.143f, 0.4128f}};

}  // namespace

TEST(ZeroPhase, MatchesTheWholeExtensionReferenceBitForBit) {
    const std::vector<float> x = test_signal(300);
    for (int r : {0, 1, 2, 4, 8, 15}) {
        const Coefs c = stable_design(r);
        for (int type = 0; type <= 3; ++type)
            // 305 folds the mirror; 5000 and 9000 take several fill chunks.
            for (int pad : {0, 1, 9, 299, 305, 5000, 9000})
                for (int dst_n : {1, 150, 300, 400, 300 + pad + 7}) {
                    std::vector<float> got(dst_n, -2.0f);
                    ASSERT_EQ(run(got, x, c, type, pad), 0);
                    ASSERT_EQ(got, reference_filtfilt(x, c, type, pad, dst_n))
                        << "order " << r << " type " << type << " pad " << pad << " dst_n " << dst_n;
                }
    }
    for (const std::vector<float>& s : {std::vector<float>{0.5f}, {1.0f, -2.0f}, {3.0f, 1.0f, 4.0f}})
        for (int type : {1, 2, 3}) {
            std::vector<float> got(s.size() + 20);
            ASSERT_EQ(run(got, s, butter2, type, 20), 0);
            EXPECT_EQ(got, reference_filtfilt(s, butter2, type, 20, got.size())) << s.size() << type;
        }
}

TEST(ZeroPhase, InPlaceEqualsSeparateBuffers) {
    for (int type = 0; type <= 3; ++type)
        for (int r : {0, 2, 8, 20}) {
            const Coefs c = stable_design(r);
            std::vector<float> x = test_signal(1000), y(x.size());
            ASSERT_EQ(run(y, x, c, type, 30), 0);
            ASSERT_EQ(run(x, x, c, type, 30), 0);
            EXPECT_EQ(x, y) << type << " " << r;
        }
}

TEST(ZeroPhase, HugePaddingEndsAtOnceWithDstUntouched) {
    const std::vector<float> x = test_signal(10);
    std::vector<float> y(10, -2.0f);
    for (int type : {1, 2, 3}) {
        EXPECT_EQ(run(y, x, butter2, type, INT_MAX), VOREL_STATUS_UNKNOWN_ERROR);
        EXPECT_EQ(run(y, x, butter2, type, INT_MAX / 2), VOREL_STATUS_UNKNOWN_ERROR);
    }
    EXPECT_EQ(y, std::vector<float>(10, -2.0f));
    EXPECT_EQ(run(y, x, butter2, 0, INT_MAX), 0);  // without extension the length plays no part
}

TEST(ZeroPhase, NaNInTheSignalFlowsThrough) {
    const std::vector<float> nan_x = {NAN, 1.0f, 2.0f, 3.0f, 4.0f, 5.0f};
    std::vector<float> y(6, 7.0f);
    EXPECT_EQ(run(y, nan_x, butter2, 1, 3), 0);
    EXPECT_TRUE(std::isnan(y[5]));
}
