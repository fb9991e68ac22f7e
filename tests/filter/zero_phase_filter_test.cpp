// The zero-phase filter: against the whole-extension reference bit for bit, over pad types,
// pad lengths (folding ones and ones spanning several fill chunks) and output lengths; in
// place; settled constants; huge padding; the exported entry's checks.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <vector>

#include "filter/filter_initial_state.h"
#include "filter/reference.h"
#include "filter/zero_phase_filter.h"
#include "vorel_audio.h"

using namespace vorel::audio;
using namespace filter_test;

namespace {

// Index of extended sample j (signal coordinates) after mirroring into [0, n) as often as
// needed.
int fold(long j, int n) {
    if (n == 1) return 0;
    while (j < 0 || j >= n) j = j < 0 ? -j : 2L * (n - 1) - j;
    return static_cast<int>(j);
}

std::vector<float> extend(const std::vector<float>& s, int pad_type, int pad) {
    const int n = static_cast<int>(s.size());
    std::vector<float> e;
    for (long j = -pad; j < n + pad; ++j) {
        if (j >= 0 && j < n) {
            e.push_back(s[j]);
        } else if (pad_type == VOREL_AUDIO_PAD_TYPE_CONSTANT) {
            e.push_back(j < 0 ? s[0] : s[n - 1]);
        } else if (pad_type == VOREL_AUDIO_PAD_TYPE_REFLECT) {
            e.push_back(s[fold(j, n)]);
        } else {
            const float edge = j < 0 ? s[0] + s[0] : s[n - 1] + s[n - 1];
            e.push_back(edge - s[fold(j, n)]);
        }
    }
    return e;
}

// The zero-phase filter written out plainly: the whole extended signal, both passes over
// all of it, then the copy of the centre (and of the right extension for a longer dst).
void reference_filtfilt(std::vector<float>& dst, const std::vector<float>& src, const Coefs& c,
                        int pad_type, int pad_len) {
    const int pad = pad_type == VOREL_AUDIO_PAD_TYPE_NONE ? 0 : pad_len;
    const std::vector<float> e = pad ? extend(src, pad_type, pad) : src;
    const int r = c.order();
    std::vector<double> settled(r), z(r), y(e.size());
    if (r > 0)
        create_zi_coef<double, float>(settled.data(), c.n.data(), c.d.data(), r,
                                      int(c.n.size()), int(c.d.size()));
    for (int k = 0; k < r; ++k) z[k] = settled[k] * static_cast<double>(e[0]);
    reference_filter(y.data(), e.data(), e.size(), c, z.data(), false);
    for (int k = 0; k < r; ++k) z[k] = settled[k] * y.back();
    reference_filter(y.data(), y.data(), y.size(), c, z.data(), true);
    const std::size_t count = std::min(dst.size(), src.size() + pad);
    for (std::size_t i = 0; i < count; ++i) dst[i] = static_cast<float>(y[pad + i]);
}

int vorel_filtfilt(std::vector<float>& dst, const std::vector<float>& src, const Coefs& c,
                   int pad_type, int pad_len) {
    return vorelAudioFilterFilter(dst.data(), src.data(), c.n.data(), c.d.data(),
                                  int(dst.size()), int(src.size()), int(c.n.size()),
                                  int(c.d.size()), pad_type, pad_len);
}

const Coefs butter2{{0.0675f, 0.1349f, 0.0675f}, {1.0f, -1.143f, 0.4128f}};

}  // namespace

TEST(ZeroPhaseAgainstReference, PadTypesLengthsAndOutputSizes) {
    const std::vector<float> x = test_signal(300);
    const int n = static_cast<int>(x.size());
    for (int r : {0, 1, 2, 4, 8, 15}) {
        const Coefs c = stable_design(r);
        for (int type = 0; type <= 3; ++type) {
            // n + 5 folds the mirror; 5000 and 9000 take several fill chunks.
            for (int pad : {0, 1, 9, n - 1, n + 5, 5000, 9000}) {
                for (int dst_n : {1, n / 2, n, n + 100, n + pad + 7}) {
                    std::vector<float> got(dst_n, -2.0f), want(dst_n, -2.0f);
                    ASSERT_EQ(vorel_filtfilt(got, x, c, type, pad), 0);
                    reference_filtfilt(want, x, c, type, pad);
                    ASSERT_EQ(got, want) << "order " << r << " type " << type << " pad " << pad
                                         << " dst_n " << dst_n;
                }
            }
        }
    }
}

TEST(ZeroPhaseAgainstReference, ShortSignalsFoldInsideTheirBounds) {
    for (const std::vector<float>& x : {std::vector<float>{0.5f}, std::vector<float>{1.0f, -2.0f},
                                        std::vector<float>{3.0f, 1.0f, 4.0f}}) {
        for (int type : {1, 2, 3}) {
            std::vector<float> got(x.size() + 20), want(got.size());
            ASSERT_EQ(vorel_filtfilt(got, x, butter2, type, 20), 0);
            reference_filtfilt(want, x, butter2, type, 20);
            EXPECT_EQ(got, want) << x.size() << " " << type;
        }
    }
}

TEST(ZeroPhaseInPlace, SameAsSeparateBuffers) {
    for (int type = 0; type <= 3; ++type) {
        for (int r : {0, 2, 8, 20}) {
            const Coefs c = stable_design(r);
            std::vector<float> x = test_signal(1000), y(x.size());
            ASSERT_EQ(vorel_filtfilt(y, x, c, type, 30), 0);
            ASSERT_EQ(vorelAudioFilterFilter(x.data(), x.data(), c.n.data(), c.d.data(), 1000,
                                             1000, int(c.n.size()), int(c.d.size()), type, 30),
                      0);
            EXPECT_EQ(x, y) << type << " " << r;
        }
    }
}

TEST(ZeroPhaseSettled, ConstantInputGivesSquaredDcGainFromTheFirstSample) {
    const double gain = (0.0675 + 0.1349 + 0.0675) / (1.0 - 1.143 + 0.4128);
    const std::vector<float> x(200, 2.5f);
    for (int type = 0; type <= 3; ++type) {
        std::vector<float> y(200);
        ASSERT_EQ(vorel_filtfilt(y, x, butter2, type, 12), 0);
        for (float v : y) EXPECT_NEAR(v, 2.5 * gain * gain, 2e-6) << type;
    }
}

TEST(ZeroPhaseDegenerate, NoExtensionWaysAgree) {
    const std::vector<float> x = test_signal(256);
    std::vector<float> plain(256), other(256);
    ASSERT_EQ(vorel_filtfilt(plain, x, butter2, VOREL_AUDIO_PAD_TYPE_NONE, 0), 0);
    ASSERT_EQ(vorel_filtfilt(other, x, butter2, VOREL_AUDIO_PAD_TYPE_NONE, 77), 0);
    EXPECT_EQ(other, plain);
    for (int type : {1, 2, 3}) {
        ASSERT_EQ(vorel_filtfilt(other, x, butter2, type, 0), 0);
        EXPECT_EQ(other, plain) << type;
    }
}

TEST(ZeroPhaseDegenerate, PureGainIsAppliedTwice) {
    const Coefs gain{{3.0f}, {2.0f}};
    const std::vector<float> x = {1.0f, -2.0f, 0.5f, 4.0f};
    std::vector<float> y(4);
    ASSERT_EQ(vorel_filtfilt(y, x, gain, VOREL_AUDIO_PAD_TYPE_ODD, 3), 0);
    EXPECT_EQ(y, (std::vector<float>{2.25f, -4.5f, 1.125f, 9.0f}));
}

TEST(ZeroPhaseDegenerate, HugePaddingEndsAtOnceWithDstUntouched) {
    const std::vector<float> x = test_signal(10);
    std::vector<float> y(10, -2.0f);
    for (int type : {1, 2, 3}) {
        EXPECT_EQ(vorel_filtfilt(y, x, butter2, type, INT_MAX), VOREL_STATUS_UNKNOWN_ERROR);
        EXPECT_EQ(vorel_filtfilt(y, x, butter2, type, INT_MAX / 2), VOREL_STATUS_UNKNOWN_ERROR);
    }
    EXPECT_EQ(y, std::vector<float>(10, -2.0f));
    // Without extension the length plays no part.
    EXPECT_EQ(vorel_filtfilt(y, x, butter2, VOREL_AUDIO_PAD_TYPE_NONE, INT_MAX), 0);
}

TEST(ZeroPhaseInternal, UnknownPadTypeThrowsOnlyWhenExtending) {
    const std::vector<float> x = test_signal(8);
    std::vector<float> y(8);
    const auto run = [&](int type, int pad) {
        filtfilt(y.data(), x.data(), butter2.n.data(), butter2.d.data(), 8, 8, 3, 3, type, pad);
    };
    EXPECT_THROW(run(7, 2), vorel::Util::Exceptions::VorelInvalidArgment);
    EXPECT_NO_THROW(run(7, 0));
    EXPECT_NO_THROW(run(1, -4));
    // Internal callers with no room get nothing written, and nothing read out of bounds.
    std::vector<float> untouched(8, 5.0f);
    filtfilt(untouched.data(), x.data(), butter2.n.data(), butter2.d.data(), -3, 8, 3, 3, 1, 4);
    filtfilt(untouched.data(), x.data(), butter2.n.data(), butter2.d.data(), 8, 0, 3, 3, 1, 4);
    EXPECT_EQ(untouched, std::vector<float>(8, 5.0f));
}

TEST(ZeroPhaseChecks, PointersThenValuesInOrder) {
    const std::vector<float> x(6, 1.0f);
    const float* b = butter2.n.data();
    const float* a = butter2.d.data();
    std::vector<float> y(6, 7.0f);
    float* d = y.data();
    EXPECT_EQ(vorelAudioFilterFilter(nullptr, x.data(), b, a, 0, 0, 0, 0, 9, -1), -1);
    EXPECT_EQ(vorelAudioFilterFilter(d, nullptr, b, a, 6, 6, 3, 3, 1, 2), -1);
    EXPECT_EQ(vorelAudioFilterFilter(d, x.data(), nullptr, a, 6, 6, 3, 3, 1, 2), -1);
    EXPECT_EQ(vorelAudioFilterFilter(d, x.data(), b, nullptr, 6, 6, 3, 3, 1, 2), -1);
    EXPECT_EQ(vorelAudioFilterFilter(d, x.data(), b, a, 0, 6, 3, 3, 9, -1), -1);
    EXPECT_EQ(vorelAudioFilterFilter(d, x.data(), b, a, 6, -6, 3, 3, 9, -1), -1);
    EXPECT_EQ(vorelAudioFilterFilter(d, x.data(), b, a, 6, 6, 0, 3, 9, -1), -1);
    EXPECT_EQ(vorelAudioFilterFilter(d, x.data(), b, a, 6, 6, 3, INT_MIN, 9, -1), -1);
    EXPECT_EQ(vorelAudioFilterFilter(d, x.data(), b, a, 6, 6, 3, 3, 4, -1), -1);
    EXPECT_EQ(vorelAudioFilterFilter(d, x.data(), b, a, 6, 6, 3, 3, -1, 2), -1);
    EXPECT_EQ(vorelAudioFilterFilter(d, x.data(), b, a, 6, 6, 3, 3, 0, -1), -1);
    EXPECT_EQ(y, std::vector<float>(6, 7.0f));
    // NaN samples pass and flow through.
    const std::vector<float> nan_x = {NAN, 1.0f, 2.0f, 3.0f, 4.0f, 5.0f};
    EXPECT_EQ(vorelAudioFilterFilter(d, nan_x.data(), b, a, 6, 6, 3, 3, 1, 3), 0);
    EXPECT_TRUE(std::isnan(y[5]));
}
