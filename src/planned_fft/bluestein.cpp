// Bluestein plans: chirp tables, the zero-padded convolution, and the inverse by conjugation.
#include "planned_fft/bluestein.h"

#include <type_traits>

#include "planned_fft/twiddles.h"

namespace vorel::audio::qentor::fft {

namespace {

template <bool forward>
std::vector<Complex> chirp_table(unsigned n) {
    std::vector<Complex> table(n);
    const uint64_t len = 2 * static_cast<uint64_t>(n);
    for (uint64_t k = 0; k < n; ++k) table[k] = w_entry(k * k, len, forward);
    return table;
}

}  // namespace

uint32_t bluestein_pad_size(unsigned n) {
    const uint32_t t = 2 * n - 1;
    if ((t & (t - 1)) == 0) return t;
    // One shift per significant bit of t; all 32 of them (n = 0) shift the 1 out.
    uint32_t m = 1;
    for (uint32_t rest = t; rest != 0; rest >>= 1) m <<= 1;
    return m;
}

BluesteinFFTImpl::BluesteinFFTImpl(unsigned n)
    : size(n),
      chirp(chirp_table<true>(n)),
      conj_chirp(chirp_table<false>(n)),
      pad_size(bluestein_pad_size(n)),
      fft(static_cast<unsigned>(pad_size)),
      ifft(static_cast<unsigned>(pad_size)),
      work_a(pad_size),
      work_b(pad_size),
      work_c(pad_size) {}

BluesteinIFFTImpl::BluesteinIFFTImpl(unsigned n, bool scale) : BluesteinFFTImpl(n), scale(scale) {}

template <class T>
void BluesteinFFTImpl::run(const T* input, Complex* output) {
    const uint64_t n = size;
    const uint64_t m = pad_size;
    if (n == 0) return;
    for (uint64_t i = 0; i < n; ++i) work_a[i] = times(input[i], chirp[i]);
    for (uint64_t i = n; i < m; ++i) work_a[i] = {0.0f, 0.0f};
    work_b[0] = conj_chirp[0];
    for (uint64_t i = 1; i < n; ++i) {
        work_b[i] = conj_chirp[i];
        work_b[m - i] = conj_chirp[i];
    }
    if (m - n >= n)
        for (uint64_t i = n; i <= m - n; ++i) work_b[i] = {0.0f, 0.0f};
    fft.FFT2Impl::exec(work_a.data(), work_c.data());
    fft.FFT2Impl::exec(work_b.data(), work_a.data());
    for (uint64_t i = 0; i < m; ++i) work_b[i] = complex_product(work_c[i], work_a[i]);
    ifft.IFFT2Impl::exec(work_b.data(), work_c.data());
    for (uint64_t i = 0; i < n; ++i) output[i] = complex_product(work_c[i], chirp[i]);
}

void BluesteinFFTImpl::exec(const int16_t* input, Complex* output) { run(input, output); }
void BluesteinFFTImpl::exec(const float* input, Complex* output) { run(input, output); }
void BluesteinFFTImpl::exec(const Complex* input, Complex* output) { run(input, output); }

// Real input equals its own conjugate and goes straight into the forward computation.
template <class T>
void BluesteinIFFTImpl::run_conjugated(const T* input, Complex* output) {
    if constexpr (std::is_same_v<T, Complex>) {
        if (conj_input.empty()) conj_input.resize(size);
        for (uint64_t i = 0; i < size; ++i) conj_input[i] = {input[i].re, -input[i].im};
        run(conj_input.data(), output);
    } else {
        run(input, output);
    }
    const float f = 1.0f / static_cast<float>(size);
    for (uint64_t i = 0; i < size; ++i)
        output[i] = scale ? Complex{f * output[i].re, f * -output[i].im} : Complex{output[i].re, -output[i].im};
}

void BluesteinIFFTImpl::exec(const int16_t* input, Complex* output) { run_conjugated(input, output); }
void BluesteinIFFTImpl::exec(const float* input, Complex* output) { run_conjugated(input, output); }
void BluesteinIFFTImpl::exec(const Complex* input, Complex* output) { run_conjugated(input, output); }

}  // namespace vorel::audio::qentor::fft
