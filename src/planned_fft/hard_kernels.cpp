// The kernels of length 1 to 5, their constant tables, and the batch plans around them.
#include "planned_fft/hard_kernels.h"

#include <array>
#include <type_traits>

#include "planned_fft/twiddles.h"

namespace vorel::audio::qentor {

namespace {

// The table rule's entries for N, made at compile time; the scaled inverse's divided by
// float(N), which differs in places from a product with 1/N.
template <int N, bool forward, bool scaled>
struct KernelTable {
    static constexpr std::array<Complex, N> w = [] {
        std::array<Complex, N> table{};
        for (int k = 0; k < N; ++k) {
            const Complex e = w_entry(k, N, forward);
            table[k] = forward || !scaled ? e : Complex{e.re / static_cast<float>(N), e.im / static_cast<float>(N)};
        }
        return table;
    }();
    static constexpr Complex entry(int k) { return w[k]; }
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
