// Every kernel of the transform at every instruction-set level this CPU runs, held to the
// scalar template bit for bit (any NaN matching any NaN), over lengths and frame counts that
// leave tails: powers of two in the split layout (whose column twiddles are rebuilt from six
// values and whose zero-angle rows skip the products by 1), whole transforms through their
// plans, and frames in lanes.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>
#include <vector>

#include "common/isa_kit.h"
#include "reference.h"
#include "transform/fft.h"
#include "transform/fft_lanes.h"
#include "transform/fft_table.h"
#include "transform/general_transform.h"
#include "transform/pow2_kernels.h"

using namespace transform_test;
using namespace vorel::audio;
using simd::Isa;

namespace {

class TransformIsa : public vorel::audio::testing::EachIsa {};
VOREL_FOR_EACH_ISA(TransformIsa);

const std::vector<float>& table_of(std::size_t n, bool inverse) {
    const int len = static_cast<int>(n);
    return inverse ? FftTable::instance().ref_inv_table(len) : FftTable::instance().ref_table(len);
}

// The inputs and one of finite values near the largest float, whose sums overflow to infinity
// inside the transform.
std::vector<std::vector<float>> with_overflow(std::vector<std::vector<float>> inputs) {
    std::vector<float> big = inputs.front();
    for (float& v : big) v = std::copysign(2e38f, v);
    inputs.push_back(big);
    return inputs;
}

// The same, and zeros of random sign with a lone infinity, a lone huge value and subnormals:
// the specials reach the last stages in a few elements instead of turning every bin to NaN,
// so products by the exact 1 and +-0 of the zero-angle twiddles meet infinities, signed zeros
// and subnormals there.
std::vector<std::vector<float>> with_late_specials(std::vector<std::vector<float>> inputs) {
    inputs = with_overflow(std::move(inputs));
    std::vector<float> sparse = inputs[1];
    const std::size_t n = sparse.size() / 2;
    sparse[2 * (n / 5)] = -INFINITY, sparse[2 * (n / 3) + 1] = 3e38f;
    sparse[2 * (n / 2)] = 1e-40f, sparse[2 * (n / 7) + 1] = -3e-39f;
    inputs.push_back(sparse);
    return inputs;
}

// A power of two transformed in place on its interleaved buffer.
void pow2_in_place(std::vector<float>& data, std::size_t n, bool inverse, Isa isa) {
    pow2_transform_to(data.data(), data.data(), Pow2Input::interleaved, n, table_of(n, inverse), inverse, isa);
}

}  // namespace

TEST_P(TransformIsa, PowersOfTwoInPlaceAndBetweenBuffers) {
    for (bool inv : {false, true})
        for (std::size_t n = 1; n <= 65536; n *= 2)
            for (const std::vector<float>& x : with_late_specials(telling_inputs(n, 1000 + n))) {
                const std::vector<float>& table = table_of(n, inv);
                std::vector<float> plain = x, fast = x;
                pow2_in_place(plain, n, inv, Isa::scalar);
                pow2_in_place(fast, n, inv, GetParam());
                ASSERT_TRUE(same_values(fast, plain)) << "in place, n = " << n << " inverse " << inv;
                // Between buffers, the forward transform reads the real parts only; and src may be dst.
                std::vector<float> real(2 * n), shared = x;
                for (std::size_t k = 0; k < n; ++k) real[2 * k] = x[k];
                pow2_in_place(real, n, inv, Isa::scalar);
                pow2_transform_to(shared.data(), shared.data(), inv ? Pow2Input::interleaved : Pow2Input::real, n,
                                  table, inv, GetParam());
                ASSERT_TRUE(same_values(shared, inv ? plain : real)) << "to a buffer, n = " << n << " inverse " << inv;
            }
}

TEST_P(TransformIsa, WholeTransformsInLanesThroughTheirPlans) {
    // Lengths by factor pattern: prime powers, 2 3 5 7 mixes, leaves of 5, 7 and 97, and
    // 400, 480, 1000; real and complex input, forward and inverse. Short lengths, long
    // prime leaves, and lengths past 65536, have no plan and must say so.
    const std::size_t planned[] = {48, 81, 125, 162, 210, 243, 343, 400, 420, 480, 1000, 1155, 1552, 2310, 3000};
    const std::size_t unplanned[] = {3, 6, 7, 1009, 2018, 196608};
    for (std::size_t n : unplanned) {
        std::vector<float> dst(2 * n, 7.0f), src(2 * n, 1.0f);
        EXPECT_FALSE(general_transform_to(dst.data(), src.data(), true, n, table_of(n, false), false, GetParam()));
        EXPECT_EQ(dst, std::vector<float>(2 * n, 7.0f)) << n;
    }
    for (std::size_t n : planned)
        for (bool inv : {false, true})
            for (bool real : {false, true})
                for (std::vector<float> x : with_overflow(telling_inputs(n, 2500 + n))) {
                    // Subnormals among the values, in both parts.
                    x[2 * (n / 5)] = 1e-40f, x[2 * (n / 7) + 1] = -3e-39f;
                    std::vector<float> want = x, got = x;
                    for (std::size_t k = 0; real && k < n; ++k) want[2 * k] = x[k], want[2 * k + 1] = 0.0f;
                    fft_general(want, static_cast<int>(n), table_of(n, inv));
                    if (inv) divide_by_length(want.data(), n);
                    const bool ran = general_transform_to(got.data(), got.data(), real, n, table_of(n, inv), inv,
                                                          GetParam());
                    ASSERT_EQ(ran, GetParam() != Isa::scalar) << n;
                    if (ran) {
                        ASSERT_TRUE(same_values(got, want)) << "n " << n << " inverse " << inv << " real " << real;
                    }
                }
}

TEST_P(TransformIsa, FramesInLanesMatchTheFrameTransform) {
    // Every frame holds the values of telling_inputs, rotated so that each lane differs.
    std::vector<std::size_t> lengths;
    for (std::size_t n = 1; n <= 64; ++n) lengths.push_back(n);
    for (std::size_t n : {97, 128, 400, 401, 512, 1000, 1024}) lengths.push_back(n);
    for (std::size_t n : lengths)
        for (bool inv : {false, true}) {
            const std::vector<float>& table = table_of(n, inv);
            const FrameLanePlan plan = make_frame_lane_plan(n);
            const std::vector<std::vector<float>> inputs = telling_inputs(n, 2000 + n);
            std::vector<float> data(kLaneStride * n), spare(kLaneStride * n);
            std::vector<std::vector<float>> frames;
            for (std::size_t l = 0; l < kFrameLanes; ++l) {
                frames.push_back(inputs[l % inputs.size()]);
                std::rotate(frames[l].begin(), frames[l].begin() + 2 * (l % n), frames[l].end());
                for (std::size_t j = 0; j < n; ++j)
                    for (std::size_t part = 0; part < 2; ++part)
                        data[kLaneStride * j + part * kFrameLanes + l] = frames[l][2 * plan.in_pos[j] + part];
            }
            const float* out = fft_lanes(data.data(), spare.data(), plan, table, inv, GetParam());
            for (std::size_t l = 0; l < kFrameLanes; ++l) {
                std::vector<float> want = frames[l], got(2 * n);
                if (std::has_single_bit(n)) {
                    pow2_in_place(want, n, inv, Isa::scalar);
                } else {
                    fft_general(want, static_cast<int>(n), table);
                    if (inv) divide_by_length(want.data(), n);
                }
                for (std::size_t k = 0; k < n; ++k)
                    for (std::size_t part = 0; part < 2; ++part)
                        got[2 * k + part] = out[kLaneStride * plan.out_pos[k] + part * kFrameLanes + l];
                ASSERT_TRUE(same_values(got, want)) << "n " << n << " lane " << l << (inv ? " inverse" : " forward");
            }
        }
}
