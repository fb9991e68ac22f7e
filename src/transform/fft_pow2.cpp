// The radix-4 transform for powers of two: stages of butterflies that read the 12-float
// rows of FftTable, a radix-2 pass when log2(n) is odd, and a bit reversal.
//
// The plain form runs the scalar columns on the interleaved buffer. From n = 16 on, the
// buffer is held in the split layout (groups of four real parts then four imaginary parts)
// and the stages run several butterflies per vector (pow2_kernels.h), each lane doing the
// scalar operations; the bit reversal restores the interleaved layout, and for the exported
// transforms it writes straight into the caller's buffer.
#include <bit>

#include "common/aligned_floats.h"
#include "common/float4.h"
#include "transform/column_twiddles.h"
#include "transform/complex_ops.h"
#include "transform/fft_kernels.h"
#include "transform/pow2_kernels.h"

namespace vorel::audio {

namespace {

template <bool Inverse>
void scalar_column(float* d, std::size_t n, std::size_t start, std::size_t size, std::size_t quarter,
                   const float* t) {
    const std::size_t q2 = 2 * quarter;
    for (std::size_t i = start; i < n; i += size) {
        float* a = d + 2 * i;
        float* b = a + q2;
        float* c = b + q2;
        float* e = c + q2;
        float ar = a[0], ai = a[1], br = b[0], bi = b[1], cr = c[0], ci = c[1], dr = e[0], di = e[1];
        butterfly<Inverse>(ar, ai, br, bi, cr, ci, dr, di, t);
        a[0] = ar, a[1] = ai, b[0] = br, b[1] = bi, c[0] = cr, c[1] = ci, e[0] = dr, e[1] = di;
    }
}

void radix2_pass(float* d, std::size_t n) {
    for (std::size_t m = 0; m + 1 < n; m += 2) {
        float* p = d + 2 * m;
        const float4 v = load4(p);
        const float4 a = __builtin_shufflevector(v, v, 0, 1, 0, 1);
        const float4 b = __builtin_shufflevector(v, v, 2, 3, 2, 3);
        store4(p, __builtin_shufflevector(a + b, a - b, 0, 1, 6, 7));
    }
}

bool odd_log2(std::size_t n) { return std::countr_zero(n) % 2 == 1; }

// Calls stage(size, step) for each radix-4 stage of a length n >= 4: size is the span of one
// butterfly column, step the table stride between its columns.
template <class Stage>
void for_each_radix4_stage(std::size_t n, Stage&& stage) {
    std::size_t size = n, step = 12;
    for (;;) {
        stage(size, step);
        step *= 4;
        if (size < 16) break;
        size /= 4;
    }
}

// The plain form: the scalar columns on the interleaved buffer.
template <bool Inverse>
void short_transform(float* d, std::size_t n, const float* table) {
    if (n >= 4)
        for_each_radix4_stage(n, [&](std::size_t size, std::size_t step) {
            const std::size_t quarter = size / 4;
            for (std::size_t start = 0; start < quarter; ++start)
                scalar_column<Inverse>(d, n, start, size, quarter, table + start * step);
        });
    if (odd_log2(n)) radix2_pass(d, n);
    if (n >= 3) bit_reverse(d, n);
}

// The transform of n >= 16 elements from src (read as `input` says) through the scratch d,
// written interleaved and in natural order to `to`, divided by n when inverse.
void split_transform(const float* src, Pow2Input input, float* d, float* to, std::size_t n,
                     const std::vector<float>& table, bool inverse, Pow2Kernel kernel) {
    // A thread remembers the last entry it used, which spares the table's lock when it
    // transforms one length over and over; entries never change or move once built.
    thread_local struct {
        std::size_t n = 0;
        bool inverse = false;
        const std::vector<float>* cols = nullptr;
    } last;
    if (last.cols == nullptr || last.n != n || last.inverse != inverse) {
        last.cols = nullptr;
        last.cols = &ColumnTwiddleTable::instance().ref_columns(static_cast<int>(n), inverse, table);
        last.n = n, last.inverse = inverse;
    }
    const std::vector<float>& cols = *last.cols;
    pow2_split_transform(src, input, d, to, n, table.data(), cols.data(), inverse, kernel);
}

}  // namespace

void pow2_transform(float* d, std::size_t n, const std::vector<float>& table, bool inverse, Pow2Kernel kernel) {
    if (n < 16 || kernel == Pow2Kernel::plain) {
        if (inverse) {
            short_transform<true>(d, n, table.data());
            divide_by_length(d, n);
        } else {
            short_transform<false>(d, n, table.data());
        }
        return;
    }
    split_transform(d, Pow2Input::interleaved, d, d, n, table, inverse, kernel);
}

void fft_pow2(std::vector<float>& data, int n, const std::vector<float>& table) {
    pow2_transform(data.data(), static_cast<std::size_t>(n), table, false, best_pow2_kernel());
}

void ifft_pow2(std::vector<float>& data, int n, const std::vector<float>& table) {
    pow2_transform(data.data(), static_cast<std::size_t>(n), table, true, best_pow2_kernel());
}

namespace {

// Runs work(scratch) with 2 n floats of 64-byte aligned scratch, uninitialised: on the stack
// up to n = 1024, where an allocation would cost a fair share of the transform, else on the
// heap.
template <class Work>
void with_scratch(std::size_t n, Work&& work) {
    constexpr std::size_t kStackFloats = 2048;
    if (2 * n <= kStackFloats) {
        alignas(64) float local[kStackFloats];
        work(local);
    } else {
        work(make_aligned_floats(2 * n).get());
    }
}

}  // namespace

void fft_pow2_real_to(float* dst, const float* src, std::size_t n, const std::vector<float>& table) {
    with_scratch(n, [&](float* d) { split_transform(src, Pow2Input::real, d, dst, n, table, false, best_pow2_kernel()); });
}

void ifft_pow2_to(float* dst, const float* src, std::size_t n, const std::vector<float>& table) {
    with_scratch(n, [&](float* d) {
        split_transform(src, Pow2Input::interleaved, d, dst, n, table, true, best_pow2_kernel());
    });
}

void fft_pow2_core(std::vector<float>& data, int n, int start, int size, int quarter,
                   const std::vector<float>& table, std::size_t table_pos) {
    scalar_column<false>(data.data(), n, start, size, quarter, table.data() + table_pos);
}

void ifft_pow2_core(std::vector<float>& data, int n, int start, int size, int quarter,
                    const std::vector<float>& table, std::size_t table_pos) {
    scalar_column<true>(data.data(), n, start, size, quarter, table.data() + table_pos);
}

void fft_pow2_merge(std::vector<float>& data, int n) {
    if (n < 1) return;
    radix2_pass(data.data(), static_cast<std::size_t>(n));
}

}  // namespace vorel::audio
