// Cooley-Tukey combining stages: the radix-2 butterfly pass and the general r-point stage.
#include "planned_fft/stages.h"

#include "planned_fft/butterfly.h"
#include "planned_fft/complex_lanes.h"
#include "planned_fft/cooley_tukey.h"
#include "planned_fft/twiddles.h"

namespace vorel::audio::qentor {

namespace {

// One output column of a general butterfly: the inputs block[j + p l] against the table
// entries (j + q l) p mod len. The table index walks by steps below len, so one subtraction
// reduces it.
Complex column_sum(const Complex* block, const std::vector<Complex>& W, uint64_t r, uint64_t l, uint64_t j,
                   uint64_t q) {
    const uint64_t len = W.size();
    const uint64_t step = j + q * l;
    uint64_t t = 0;
    Complex sum{0.0f, 0.0f};
    for (uint64_t p = 0; p < r; ++p) {
        sum += complex_product(block[j + p * l], W[t]);
        t += step;
        if (t >= len) t -= len;
    }
    return sum;
}

// Columns q and q + 1 in the two halves of one register; false when a product needs the
// scalar recovery, and then work is left for the caller to fill.
bool column_pair(const Complex* block, const std::vector<Complex>& W, uint64_t r, uint64_t l, uint64_t j, uint64_t q,
                 Complex* work) {
    const uint64_t len = W.size();
    const uint64_t step0 = j + q * l;
    const uint64_t step1 = step0 + l;
    uint64_t t0 = 0, t1 = 0;
    float4 sum = {0.0f, 0.0f, 0.0f, 0.0f};
    bool recover = false;
    for (uint64_t p = 0; p < r; ++p) {
        const float4 product = product_pairs(gather_pair(W[t0], W[t1]), broadcast(block[j + p * l]));
        recover |= needs_recovery(product);
        sum = sum + product;
        t0 += step0;
        if (t0 >= len) t0 -= len;
        t1 += step1;
        if (t1 >= len) t1 -= len;
    }
    if (recover) return false;
    store_pair(work + q, sum);
    return true;
}

}  // namespace

void general_stage(const CooleyTukeyFactor& f, Complex* output, Complex* work, simd::Isa isa) {
    const bool paired = isa != simd::Isa::scalar;
    const uint64_t r = f.radix;
    const uint64_t l = f.inLength;
    for (uint64_t g = 0; g < f.outCount; ++g) {
        Complex* block = output + g * r * l;
        for (uint64_t j = 0; j < l; ++j) {
            uint64_t q = 0;
            if (paired)
                for (; q + 2 <= r; q += 2)
                    if (!column_pair(block, f.W, r, l, j, q, work)) {
                        work[q] = column_sum(block, f.W, r, l, j, q);
                        work[q + 1] = column_sum(block, f.W, r, l, j, q + 1);
                    }
            for (; q < r; ++q) work[q] = column_sum(block, f.W, r, l, j, q);
            for (q = 0; q < r; ++q) block[j + q * l] = work[q];
        }
    }
}

void radix2_stage(const CooleyTukeyFactor& f, Complex* output, bool scale, simd::Isa isa) {
    const uint64_t l = f.inLength;
    const float factor = 1.0f / static_cast<float>(f.outLength);
    for (uint64_t base = 0; base < 2 * l * f.outCount; base += 2 * l) {
        if (scale)
            radix2_butterflies_scaled(output + base, output + base + l, f.W.data(), l, factor, isa);
        else
            radix2_butterflies(output + base, output + base + l, f.W.data(), l, isa);
    }
}

}  // namespace vorel::audio::qentor
