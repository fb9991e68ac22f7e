// Radix-2 plans: per-stage half tables, bit-reversed scatter, in-place butterflies.
#include "planned_fft/radix2.h"

#include <cmath>
#include <utility>

#include "planned_fft/butterfly.h"
#include "planned_fft/twiddles.h"

namespace vorel::audio::qentor::fft {

namespace {

template <bool forward>
std::vector<std::vector<Complex>> stage_tables(unsigned n) {
    std::vector<std::vector<Complex>> tables;
    for (uint64_t m = 2; m <= n; m *= 2) tables.push_back(calcW<forward, true, false, false>(m));
    return tables;
}

uint32_t truncated_log2(unsigned n) { return n == 0 ? 0 : static_cast<uint32_t>(std::log2(static_cast<double>(n))); }

}  // namespace

FFT2Impl::FFT2Impl(unsigned n) : FFT2Impl(n, stage_tables<true>(n)) {}

FFT2Impl::FFT2Impl(unsigned n, std::vector<std::vector<Complex>>&& tables)
    : size(n), w_tables(std::move(tables)), log2_size(truncated_log2(n)) {}

IFFT2Impl::IFFT2Impl(unsigned n)
    : FFT2Impl(n, [n] {
          std::vector<std::vector<Complex>> tables = stage_tables<false>(n);
          if (!tables.empty()) scale_table(tables.back(), 1.0f / static_cast<float>(n));
          return tables;
      }()) {}

template <class T>
void FFT2Impl::run(const T* input, Complex* output, bool scale_last) const {
    // Element i goes to r, the low log2_size bits of i reversed, kept as a counter that adds one
    // at its top bit and carries downwards; past 2^log2_size (no power of two) it wraps to 0.
    const uint64_t top = log2_size == 0 ? 0 : uint64_t{1} << (log2_size - 1);
    uint64_t r = 0;
    for (uint64_t i = 0; i < size; ++i) {
        output[r] = to_complex(input[i]);
        uint64_t bit = top;
        while (r & bit) {
            r ^= bit;
            bit >>= 1;
        }
        r |= bit;
    }
    // Only whole blocks inside n run. The inverse's last stage scales the untwiddled operand;
    // its table already carries 1/n.
    const float factor = 1.0f / static_cast<float>(size);
    for (size_t s = 0; s < w_tables.size(); ++s) {
        const bool scaled = scale_last && s + 1 == w_tables.size();
        radix2_pass(output, size, w_tables[s].data(), w_tables[s].size(), scaled ? &factor : nullptr);
    }
}

void FFT2Impl::exec(const int16_t* input, Complex* output) { run(input, output, false); }
void FFT2Impl::exec(const float* input, Complex* output) { run(input, output, false); }
void FFT2Impl::exec(const Complex* input, Complex* output) { run(input, output, false); }
void IFFT2Impl::exec(const int16_t* input, Complex* output) { run(input, output, true); }
void IFFT2Impl::exec(const float* input, Complex* output) { run(input, output, true); }
void IFFT2Impl::exec(const Complex* input, Complex* output) { run(input, output, true); }

}  // namespace vorel::audio::qentor::fft
