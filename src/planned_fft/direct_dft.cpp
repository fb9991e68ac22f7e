// Direct evaluation of the transform on a full table of roots of unity.
#include "planned_fft/direct_dft.h"

#include <utility>

#include "planned_fft/twiddles.h"

namespace vorel::audio::qentor::fft {

namespace {

std::vector<Complex> inverse_table(unsigned n, bool scale) {
    std::vector<Complex> table = calcW<false, false, false, false>(n);
    if (scale) scale_table(table, 1.0f / static_cast<float>(n));
    return table;
}

}  // namespace

DFTImpl::DFTImpl(unsigned n, unsigned size) : DFTImpl(n, size, calcW<true, false, false, false>(n)) {}

DFTImpl::DFTImpl(unsigned n, unsigned size, std::vector<Complex>&& table) : size(size), n(n), W(std::move(table)) {}

IDFTImpl::IDFTImpl(unsigned n, unsigned size, bool scale) : DFTImpl(n, size, inverse_table(n, scale)) {}

template <class T>
void DFTImpl::run(const T* input, Complex* output) const {
    if (n == 0) return;
    // Only whole transforms run, so a size that is no multiple of n cannot reach past it.
    for (uint64_t base = 0; base + n <= size; base += n, input += n) {
        Complex* y = output + base;
        for (uint64_t k = 0; k < n; ++k) {
            Complex sum{0.0f, 0.0f};
            // t walks j * k mod n by steps of k, the same entries as the product reduced.
            uint64_t t = 0;
            for (uint64_t j = 0; j < n; ++j) {
                sum += times(input[j], W[t]);
                t += k;
                if (t >= n) t -= n;
            }
            y[k] = sum;
        }
    }
}

void DFTImpl::exec(const int16_t* input, Complex* output) { run(input, output); }
void DFTImpl::exec(const float* input, Complex* output) { run(input, output); }
void DFTImpl::exec(const Complex* input, Complex* output) { run(input, output); }

}  // namespace vorel::audio::qentor::fft
