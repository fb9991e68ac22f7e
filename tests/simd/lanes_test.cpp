// The finiteness scan at every width, over counts that end in each part of its loop (four
// vectors at a time, single vectors, single floats), with one non-finite value at each place.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "simd/lanes.h"

namespace vorel::audio {
namespace {

template <class V>
void check_all_finite() {
    constexpr float kBad[] = {std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity(),
                              std::numeric_limits<float>::quiet_NaN()};
    // Finite values of every kind: their x - x is +0.
    constexpr float kGood[] = {
        0.0f, -0.0f, 1.5f, -3.0f, 1e-45f, std::numeric_limits<float>::max(), -std::numeric_limits<float>::max()};
    for (std::size_t count = 0; count <= 4 * simd::kLanes<V> + 9; ++count) {
        std::vector<float> v(count);
        for (std::size_t i = 0; i < count; ++i) v[i] = kGood[i % std::size(kGood)];
        EXPECT_TRUE(simd::all_finite<V>(v.data(), count)) << count;
        for (std::size_t at = 0; at < count; ++at)
            for (float bad : kBad) {
                const float keep = v[at];
                v[at] = bad;
                EXPECT_FALSE(simd::all_finite<V>(v.data(), count)) << count << " " << at << " " << bad;
                v[at] = keep;
            }
    }
}

TEST(AllFinite, FindsEveryNonFiniteValueAtEveryWidth) {
    check_all_finite<float>();
    check_all_finite<simd::float4>();
    check_all_finite<simd::float8>();
    check_all_finite<simd::float16>();
}

}  // namespace
}  // namespace vorel::audio
