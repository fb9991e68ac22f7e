// The kernels of length 1 to 5, their constant tables, and the batch plans around them.
#include "planned_fft/hard_kernels.h"

#include <bit>
#include <type_traits>

#include "planned_fft/twiddles.h"

namespace vorel::audio::qentor {

namespace {

constexpr Complex bits(uint32_t re, uint32_t im) { return {std::bit_cast<float>(re), std::bit_cast<float>(im)}; }

constexpr uint32_t one = 0x3f800000, zero = 0x00000000, minus_zero = 0x80000000, minus_one = 0xbf800000,
                   quarter = 0x3e800000, minus_quarter = 0xbe800000;

// exp(-2 pi i k / N) exactly as the table rule makes them (not the correctly rounded roots),
// and the inverse entries divided by float(N), which differ in places from products with 1/N.
template <int N, bool scaled_inverse>
struct Constants;

template <>
struct Constants<3, false> {
    // 1; -0.50000006 - 0.8660254i; -0.4999999 + 0.86602545i
    static constexpr Complex w[3] = {bits(one, zero), bits(0xbf000001, 0xbf5db3d7), bits(0xbefffffd, 0x3f5db3d8)};
};
template <>
struct Constants<3, true> {
    // 0.33333334 - 0i; -0.16666669 + 0.28867513i; -0.16666664 - 0.28867516i
    static constexpr Complex w[3] = {bits(0x3eaaaaab, minus_zero), bits(0xbe2aaaac, 0x3e93cd3a),
                                     bits(0xbe2aaaa9, 0xbe93cd3b)};
};
template <>
struct Constants<4, false> {
    static constexpr Complex w[4] = {bits(one, zero), bits(zero, minus_one), bits(minus_one, zero), bits(zero, one)};
};
template <>
struct Constants<4, true> {
    static constexpr Complex w[4] = {bits(quarter, minus_zero), bits(zero, quarter), bits(minus_quarter, minus_zero),
                                     bits(zero, minus_quarter)};
};
template <>
struct Constants<5, false> {
    // 1; 0.30901697 - 0.95105654i; -0.80901706 - 0.5877852i; -0.80901694 + 0.58778536i;
    // 0.30901712 + 0.9510565i
    static constexpr Complex w[5] = {bits(one, zero), bits(0x3e9e3779, 0xbf737871), bits(0xbf4f1bbe, 0xbf167917),
                                     bits(0xbf4f1bbc, 0x3f16791a), bits(0x3e9e377e, 0x3f737870)};
};
template <>
struct Constants<5, true> {
    // 0.2 - 0i; 0.061803393 + 0.19021131i; -0.16180341 + 0.117557034i;
    // -0.1618034 - 0.11755707i; 0.061803423 - 0.1902113i
    static constexpr Complex w[5] = {bits(0x3e4ccccd, minus_zero), bits(0x3d7d258e, 0x3e42c6c1),
                                     bits(0xbe25afcb, 0x3df0c1be), bits(0xbe25afca, 0xbdf0c1c3),
                                     bits(0x3d7d2596, 0xbe42c6c0)};
};

// The table a kernel variant multiplies by: the unscaled inverse is the forward table with
// every imaginary part negated, +0 to -0 included.
template <int N, bool forward, bool scaled>
struct KernelTable {
    static constexpr Complex entry(int k) {
        const Complex w = Constants < N, !forward && scaled > ::w[k];
        return forward || scaled ? w : Complex{w.re, -w.im};
    }
};

template <int N, bool forward, bool scaled, class T>
void matrix_kernel(const T* input, Complex* output, uint64_t size) {
    using Table = KernelTable<N, forward, scaled>;
    for (uint64_t i = 0; i + N <= size; i += N) {
        T x[N];
        for (int j = 0; j < N; ++j) x[j] = input[i + j];
        for (int k = 0; k < N; ++k) {
            Complex sum = times(x[0], Table::entry(0));
            for (int j = 1; j < N; ++j) sum += times(x[j], Table::entry((j * k) % N));
            output[i + k] = sum;
        }
    }
}

// Sum and difference of one pair, as each input type and variant forms them.
template <bool forward, class T>
void sum_difference(T a, T b, Complex& s, Complex& d) {
    if constexpr (std::is_same_v<T, Complex>) {
        s = a + b;
        d = a - b;
    } else if constexpr (std::is_same_v<T, int16_t> && forward) {
        s = to_complex(static_cast<int16_t>(a + b));
        d = to_complex(static_cast<int16_t>(a - b));
    } else if constexpr (std::is_same_v<T, int16_t>) {
        s = {static_cast<float>(int32_t{a} + int32_t{b}), 0.0f};
        d = {static_cast<float>(int32_t{a} - int32_t{b}), 0.0f};
    } else {
        s = {a + b, 0.0f};
        d = {a - b, 0.0f};
    }
}

// Real results keep their imaginary +0; complex ones halve both parts.
template <class T>
Complex halve(Complex v) {
    if constexpr (std::is_same_v<T, Complex>) return {v.re * 0.5f, v.im * 0.5f};
    return {v.re * 0.5f, 0.0f};
}

template <class T>
void do_nothing(const T*, Complex*, uint64_t) {}

}  // namespace

template <bool forward, bool scaled, class T>
void DFT_HARD_1(const T* input, Complex* output, uint64_t size) {
    for (uint64_t i = 0; i < size; ++i) output[i] = to_complex(input[i]);
}

template <bool forward, bool scaled, class T>
void DFT_HARD_2(const T* input, Complex* output, uint64_t size) {
    for (uint64_t i = 0; i + 2 <= size; i += 2) {
        Complex s, d;
        sum_difference<forward>(input[i], input[i + 1], s, d);
        if constexpr (!forward && scaled) {
            s = halve<T>(s);
            d = halve<T>(d);
        }
        output[i] = s;
        output[i + 1] = d;
    }
}

template <bool forward, bool scaled, class T>
void DFT_HARD_3(const T* input, Complex* output, uint64_t size) {
    matrix_kernel<3, forward, scaled>(input, output, size);
}

template <bool forward, bool scaled, class T>
void DFT_HARD_4(const T* input, Complex* output, uint64_t size) {
    matrix_kernel<4, forward, scaled>(input, output, size);
}

template <bool forward, bool scaled, class T>
void DFT_HARD_5(const T* input, Complex* output, uint64_t size) {
    matrix_kernel<5, forward, scaled>(input, output, size);
}

template <bool forward, bool scaled, class T>
HardKernel<T> GetDFTHardFunc(uint64_t n) {
    switch (n) {
        case 1: return DFT_HARD_1<forward, scaled, T>;
        case 2: return DFT_HARD_2<forward, scaled, T>;
        case 3: return DFT_HARD_3<forward, scaled, T>;
        case 4: return DFT_HARD_4<forward, scaled, T>;
        case 5: return DFT_HARD_5<forward, scaled, T>;
        default: return do_nothing<T>;
    }
}

#define VOREL_HARD_KERNELS(forward, scaled, T)                                  \
    template void DFT_HARD_1<forward, scaled, T>(const T*, Complex*, uint64_t); \
    template void DFT_HARD_2<forward, scaled, T>(const T*, Complex*, uint64_t); \
    template void DFT_HARD_3<forward, scaled, T>(const T*, Complex*, uint64_t); \
    template void DFT_HARD_4<forward, scaled, T>(const T*, Complex*, uint64_t); \
    template void DFT_HARD_5<forward, scaled, T>(const T*, Complex*, uint64_t); \
    template HardKernel<T> GetDFTHardFunc<forward, scaled, T>(uint64_t);
#define VOREL_HARD_KERNEL_TYPES(forward, scaled) \
    VOREL_HARD_KERNELS(forward, scaled, int16_t) \
    VOREL_HARD_KERNELS(forward, scaled, float)   \
    VOREL_HARD_KERNELS(forward, scaled, Complex)

VOREL_HARD_KERNEL_TYPES(true, true)
VOREL_HARD_KERNEL_TYPES(false, true)
VOREL_HARD_KERNEL_TYPES(false, false)

#undef VOREL_HARD_KERNEL_TYPES
#undef VOREL_HARD_KERNELS

namespace fft {

DFTHARDImpl::DFTHARDImpl(unsigned size, HardKernel<int16_t> kernelInt16, HardKernel<Complex> kernelComplex,
                         HardKernel<float> kernelFloat)
    : size(size), kernelInt16(kernelInt16), kernelComplex(kernelComplex), kernelFloat(kernelFloat) {}

namespace {

template <bool forward, bool scaled>
DFTHARDImpl kernels(unsigned n, unsigned size) {
    return DFTHARDImpl(size, GetDFTHardFunc<forward, scaled, int16_t>(n), GetDFTHardFunc<forward, scaled, Complex>(n),
                       GetDFTHardFunc<forward, scaled, float>(n));
}

}  // namespace

DFTHARDImpl::DFTHARDImpl(unsigned n, unsigned size) : DFTHARDImpl(kernels<true, true>(n, size)) {}

IDFTHARDImpl::IDFTHARDImpl(unsigned n, unsigned size, bool scale)
    : DFTHARDImpl(scale ? kernels<false, true>(n, size) : kernels<false, false>(n, size)) {}

void DFTHARDImpl::exec(const int16_t* input, Complex* output) { kernelInt16(input, output, size); }
void DFTHARDImpl::exec(const float* input, Complex* output) { kernelFloat(input, output, size); }
void DFTHARDImpl::exec(const Complex* input, Complex* output) { kernelComplex(input, output, size); }

}  // namespace fft
}  // namespace vorel::audio::qentor
