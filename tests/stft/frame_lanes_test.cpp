// The short forms of the lane transform against the per-frame transform, bit for bit in what
// their callers read (forward: bins 0 .. n/2 of real frames; inverse: real parts), at every
// level: lengths of every factor pattern, lanes holding signed zeros, subnormals, infinities,
// NaN and values whose sums overflow. A group with a non-finite result must be handed back, so
// that the caller runs the full transform; powers of two run the full stages.
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
        default: break;
    }
    return x;
}

class ShortLanes : public vorel::audio::testing::EachIsa {};
VOREL_FOR_EACH_ISA(ShortLanes);

// Forward: real frames, bins 0 .. n/2 compared; inverse: complex frames (imaginary parts the
// same values reversed), the real parts of every output compared.
TEST_P(ShortLanes, EqualTheFrameTransformOrHandTheGroupBack) {
    std::mt19937 rng(5);
    // Primes, prime powers, mixes of 2, 3, 5 and 7, the speech lengths, and a power of two.
    for (std::size_t n : {1, 2, 3, 5, 7, 11, 9, 25, 49, 27, 6, 30, 210, 84, 400, 480, 1000, 1009, 512})
        for (bool inverse : {false, true})
            for (bool special : {false, true}) {
                SCOPED_TRACE(::testing::Message()
                             << "n " << n << (inverse ? " inverse" : "") << (special ? " specials" : ""));
                const int len = static_cast<int>(n);
                const std::vector<float>& table = inverse ? FftTable::instance().ref_inv_table(len)
                                                          : FftTable::instance().ref_table(len);
                const FrameLanePlan plan = make_frame_lane_plan(n);
                const std::size_t checked = inverse ? n : n / 2 + 1;
                std::vector<float> data(kLaneStride * n), spare(kLaneStride * n);
                std::vector<std::vector<float>> want(kFrameLanes);
                bool finite = true;
                for (std::size_t l = 0; l < kFrameLanes; ++l) {
                    const std::vector<float> x = frame(n, l, special && n > 1, rng);
                    want[l].assign(2 * n, 0.0f);
                    for (std::size_t i = 0; i < n; ++i)
                        want[l][2 * i] = x[i], want[l][2 * i + 1] = inverse ? x[n - 1 - i] : 0.0f;
                    for (std::size_t j = 0; j < n; ++j)
                        for (std::size_t part = 0; part < 2; ++part)
                            data[kLaneStride * j + part * kFrameLanes + l] = want[l][2 * plan.in_pos[j] + part];
                    inverse ? ifft(want[l], len, table) : fft(want[l], len, table);
                    for (std::size_t k = 0; k < checked; ++k)
                        finite &= std::isfinite(want[l][2 * k]) && (inverse || std::isfinite(want[l][2 * k + 1]));
                }
                const float* out = inverse ? ifft_lanes_real(data.data(), spare.data(), plan, table, GetParam())
                                           : fft_lanes_real_half(data.data(), spare.data(), plan, table, GetParam());
                // Powers of two run the full stages and always give their result. An inverse may
                // hand back a group whose real parts are finite (a NaN only in imaginary parts);
                // a group it keeps has the full transform's bits, also where they are not finite.
                const bool pow2 = (n & (n - 1)) == 0;
                if (!inverse || finite || pow2) {
                    ASSERT_EQ(out != nullptr, finite || pow2);
                }
                if (out == nullptr) continue;
                for (std::size_t l = 0; l < kFrameLanes; ++l)
                    for (std::size_t part = 0; part < (inverse ? 1 : 2); ++part) {
                        std::vector<float> got(checked), expected(checked);
                        for (std::size_t k = 0; k < checked; ++k) {
                            got[k] = out[kLaneStride * plan.out_pos[k] + part * kFrameLanes + l];
                            expected[k] = want[l][2 * k + part];
                        }
                        ASSERT_TRUE(vorel::audio::testing::same_bits(got, expected))
                            << "lane " << l << " part " << part;
                    }
            }
}

}  // namespace
