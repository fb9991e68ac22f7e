// The lane transform against the per-frame transform, to the bit: eight frames, forward and
// inverse, every kind of length (powers of two, mixed radix, primes), with infinities and
// NaN kept in their own lanes. AVX2 runs only where the CPU has it.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "reference.h"
#include "transform/fft.h"
#include "transform/fft_lanes.h"
#include "transform/fft_table.h"

using namespace vorel::audio;

namespace {

// Eight complex frames through fft_lanes, each lane against fft / ifft of its frame. Any NaN
// matches any NaN: which payload survives an operation on two is the compiler's choice.
void expect_lanes_match_frames(std::size_t n, bool inverse, simd::Isa kernel, const std::vector<float>& frames) {
    const int len = static_cast<int>(n);
    const std::vector<float>& table = inverse ? FftTable::instance().ref_inv_table(len) : FftTable::instance().ref_table(len);
    const LanePlan plan = make_lane_plan(n);
    std::vector<float> data(kLaneStride * n), spare(kLaneStride * n);
    for (std::size_t l = 0; l < kFrameLanes; ++l)
        for (std::size_t j = 0; j < n; ++j)
            for (std::size_t part = 0; part < 2; ++part)
                data[kLaneStride * j + part * kFrameLanes + l] = frames[2 * (l * n + plan.in_pos[j]) + part];
    const float* out = fft_lanes(data.data(), spare.data(), plan, table, inverse, kernel);
    for (std::size_t l = 0; l < kFrameLanes; ++l) {
        std::vector<float> want(frames.begin() + 2 * l * n, frames.begin() + 2 * (l + 1) * n);
        inverse ? ifft(want, len, table) : fft(want, len, table);
        for (std::size_t k = 0; k < 2 * n; ++k) {
            const float got = out[kLaneStride * plan.out_pos[k / 2] + (k % 2) * kFrameLanes + l];
            if (std::isnan(got) && std::isnan(want[k])) continue;
            ASSERT_EQ(std::memcmp(&got, &want[k], sizeof got), 0)
                << "n " << n << " lane " << l << " float " << k << (inverse ? " inverse" : " forward");
        }
    }
}

std::vector<simd::Isa> kernels() { return simd::supported_isas(); }

}  // namespace

TEST(FftLanes, EveryLengthKindMatchesTheFrameTransform) {
    std::vector<std::size_t> lengths;
    for (std::size_t n = 1; n <= 64; ++n) lengths.push_back(n);
    for (std::size_t n : {97, 128, 400, 401, 512, 1000, 1024}) lengths.push_back(n);
    for (simd::Isa kernel : kernels())
        for (std::size_t n : lengths)
            for (bool inverse : {false, true})
                expect_lanes_match_frames(n, inverse, kernel, transform_test::random_floats(2 * kFrameLanes * n, 7));
}

TEST(FftLanes, NonFiniteValuesStayInTheirLane) {
    const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    for (std::size_t n : {12, 16, 400, 512}) {
        std::vector<float> frames = transform_test::random_floats(2 * kFrameLanes * n, 3);
        frames[2 * (1 * n + 3)] = inf;       // lane 1: an infinite real part
        frames[2 * (4 * n + 0) + 1] = -inf;  // lane 4: an infinite imaginary part
        frames[2 * (6 * n + n - 1)] = nan;   // lane 6: a NaN at the end
        for (simd::Isa kernel : kernels())
            for (bool inverse : {false, true}) expect_lanes_match_frames(n, inverse, kernel, frames);
    }
}
