// Every plan family against the double-precision transform, forward and inverse, for the
// three input types.
#include <gtest/gtest.h>

#include <memory>
#include <type_traits>
#include <vector>

#include "planned_fft/bluestein.h"
#include "planned_fft/cooley_tukey.h"
#include "planned_fft/direct_dft.h"
#include "planned_fft/fft.h"
#include "planned_fft/hard_kernels.h"
#include "planned_fft/radix2.h"
#include "reference.h"

using namespace vorel::audio::qentor;
using namespace vorel::audio::qentor::test;

namespace {

using PlanPtr = std::shared_ptr<fft::FFTImpl>;

}  // namespace

template <class T>
class PlansTyped : public ::testing::Test {};
TYPED_TEST_SUITE(PlansTyped, InputTypes);

TYPED_TEST(PlansTyped, AgreeWithDoubleTransformBothWays) {
    struct Family {
        PlanPtr (*build)(unsigned, bool);
        std::vector<unsigned> lengths;
        double tol;
    };
    std::vector<unsigned> pow2;
    for (unsigned n = 2; n <= 65536; n *= 2) pow2.push_back(n);
    const auto bluestein = [](unsigned n, bool f) {
        return f ? PlanPtr(new fft::BluesteinFFTImpl(n)) : PlanPtr(new fft::BluesteinIFFTImpl(n, true));
    };
    const Family families[] = {
        {[](unsigned n, bool f) {
             return f ? PlanPtr(new fft::DFTImpl(n, n)) : PlanPtr(new fft::IDFTImpl(n, n, true));
         },
         {1, 2, 6, 7, 13, 31, 64, 97, 100},
         2e-6},
        {[](unsigned n, bool f) { return f ? PlanPtr(new fft::FFT2Impl(n)) : PlanPtr(new fft::IFFT2Impl(n)); }, pow2,
         1e-5},
        {[](unsigned n, bool f) {
             return f ? PlanPtr(new fft::CooleyTukeyFFTImpl(n)) : PlanPtr(new fft::CooleyTukeyIFFTImpl(n));
         },
         {6, 9, 10, 12, 15, 18, 21, 22, 25, 30, 35, 45, 49, 60, 100, 360, 1000, 3072, 4725},
         1e-5},
        // The chirp plans while their chirp holds.
        {bluestein, {1, 2, 3, 4, 5, 6, 7}, 5e-6},
        {bluestein, {8, 9, 10, 11}, 5e-5},
        // The choosing facade: hard-coded kernels below 6, the chirp for 7 and 11 (good to
        // about 1e-6 and 5e-6), the others above.
        {[](unsigned n, bool f) { return FFT(n, f).plan(); }, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, 1e-5},
    };
    for (const Family& family : families)
        for (unsigned n : family.lengths) {
            const auto x = random_input<TypeParam>(n, 3 * n);
            const PlanPtr fwd = family.build(n, true), inv = family.build(n, false);
            const double tol = n == 11 ? 5e-5 : family.tol;
            // The forward 16-bit pair kernel wraps its sums.
            const bool wraps = std::is_same_v<TypeParam, int16_t> && n == 2 &&
                               dynamic_cast<fft::DFTHARDImpl*>(fwd.get());
            if (!wraps) {
                EXPECT_LT(relative_error(run_plan(*fwd, x, n), reference_dft(x, true)), tol) << n;
            }
            EXPECT_LT(relative_error(run_plan(*inv, x, n), reference_dft(x, false)), tol) << n;
        }
}
