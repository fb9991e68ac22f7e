// The short forward transform of real frames in lanes against the per-frame transform, bit for
// bit in bins 0 .. n/2, at every level: lengths of every factor pattern, lanes holding signed
// zeros, subnormals, infinities, NaN and values whose sums overflow. A group with a non-finite
// bin must be handed back (and only then), so that the caller runs the full transform; powers
// of two run the full stages.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "common/isa_kit.h"
#include "transform/fft.h"
#include "transform/fft_lanes.h"
#include "transform/fft_table.h"

using namespace vorel::audio;

namespace {

constexpr float kInf = std::numeric_limits<float>::infinity();

// Frame l of a group; `special` puts one troublesome value into a few lanes.
std::vector<float> frame(std::size_t n, std::size_t l, bool special, std::mt19937& rng) {
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    std::vector<float> x(n);
    for (float& v : x) v = u(rng);
    switch (l) {
        case 1:  // zeros of both signs only
            for (std::size_t i = 0; i < n; ++i) x[i] = i % 3 == 0 ? -0.0f : 0.0f;
            break;
        case 2:  // subnormals
            for (float& v : x) v = v * 1e-39f;
            break;
        case 3:  // sums past the largest float
            if (special) std::fill(x.begin(), x.end(), 3e38f);
            break;
        case 4:
            if (special) x[n / 3] = kInf;
            break;
        case 5:
            if (special) x[n - 1] = -kInf;
            break;
        case 6:
            if (special) x[0] = std::numeric_limits<float>::quiet_NaN();
            break;
        default:
            break;
    }
    return x;
}

class RealHalfLanes : public vorel::audio::testing::EachIsa {};
VOREL_FOR_EACH_ISA(RealHalfLanes);

TEST_P(RealHalfLanes, EqualTheFrameTransformOrHandTheGroupBack) {
    std::mt19937 rng(5);
    // Primes, prime powers, mixes of 2, 3, 5 and 7, the speech lengths, and a power of two.
    for (std::size_t n : {1, 2, 3, 5, 7, 11, 9, 25, 49, 27, 6, 30, 210, 84, 400, 480, 1000, 1009, 512})
        for (bool special : {false, true}) {
            SCOPED_TRACE(::testing::Message() << "n " << n << (special ? " with specials" : ""));
            const std::vector<float>& table = FftTable::instance().ref_table(static_cast<int>(n));
            const FrameLanePlan plan = make_frame_lane_plan(n);
            std::vector<float> data(kLaneStride * n), spare(kLaneStride * n);
            std::vector<std::vector<float>> want(kFrameLanes);
            bool finite = true;
            for (std::size_t l = 0; l < kFrameLanes; ++l) {
                const std::vector<float> x = frame(n, l, special && n > 1, rng);
                for (std::size_t j = 0; j < n; ++j) {
                    data[kLaneStride * j + l] = x[plan.in_pos[j]];
                    data[kLaneStride * j + kFrameLanes + l] = 0.0f;  // read by the power-of-two stages
                }
                want[l].assign(2 * n, 0.0f);
                for (std::size_t i = 0; i < n; ++i) want[l][2 * i] = x[i];
                fft(want[l], static_cast<int>(n), table);
                for (std::size_t k = 0; k <= n / 2; ++k) finite &= std::isfinite(want[l][2 * k] + want[l][2 * k + 1]);
            }
            const float* out = fft_lanes_real_half(data.data(), spare.data(), plan, table, GetParam());
            // Powers of two run the full stages and always give their result.
            const bool pow2 = (n & (n - 1)) == 0;
            ASSERT_EQ(out != nullptr, finite || pow2);
            if (!finite) continue;
            for (std::size_t l = 0; l < kFrameLanes; ++l) {
                std::vector<float> got(n / 2 + 1), re(n / 2 + 1), im(n / 2 + 1), want_im(n / 2 + 1);
                for (std::size_t k = 0; k <= n / 2; ++k) {
                    re[k] = out[kLaneStride * plan.out_pos[k] + l];
                    im[k] = out[kLaneStride * plan.out_pos[k] + kFrameLanes + l];
                    got[k] = want[l][2 * k], want_im[k] = want[l][2 * k + 1];
                }
                ASSERT_TRUE(vorel::audio::testing::same_bits(re, got)) << "lane " << l << " real parts";
                ASSERT_TRUE(vorel::audio::testing::same_bits(im, want_im)) << "lane " << l << " imaginary parts";
            }
        }
}

}  // namespace
