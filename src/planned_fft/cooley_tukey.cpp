// Cooley-Tukey plans: factorisation into stage records, the digit-reversal permutation, the
// inner batch plan, and the radix-2 and general combining stages.
#include "planned_fft/cooley_tukey.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "planned_fft/butterfly.h"
#include "planned_fft/complex_lanes.h"
#include "planned_fft/direct_dft.h"
#include "planned_fft/hard_kernels.h"
#include "planned_fft/twiddles.h"

namespace vorel::audio::qentor {

namespace {

// The prime factors of n in ascending order, with repetitions (none below 2), read off a table
// of smallest prime factors.
std::vector<uint32_t> prime_factors(unsigned n) {
    std::vector<uint32_t> table(static_cast<uint64_t>(n) + 1);
    std::iota(table.begin(), table.end(), 0u);
    if (n >= 4)
        for (uint64_t p = 2; p * p <= n; ++p)
            if (table[p] == p)
                for (uint64_t j = 2 * p; j <= n; j += p)
                    if (table[j] > p) table[j] = static_cast<uint32_t>(p);
    std::vector<uint32_t> primes;
    for (uint32_t rest = n; rest >= 2; rest /= table[rest]) primes.push_back(table[rest]);
    return primes;
}

// Stage records for every prime factor but the largest (the inner length), largest first,
// each with its table; an inverse plan's last table carries 1/n.
template <bool forward>
std::vector<CooleyTukeyFactor> stage_records(unsigned n) {
    std::vector<uint32_t> radices = prime_factors(n);
    if (radices.empty()) return {};
    const uint32_t inner_length = radices.back();
    radices.pop_back();
    std::reverse(radices.begin(), radices.end());

    std::vector<CooleyTukeyFactor> records;
    uint32_t m = n / inner_length;
    for (uint32_t radix : radices) {
        records.push_back({m, n / m, radix, m / radix, n / (m / radix), {}});
        m /= radix;
        const uint32_t len = records.back().outLength;
        records.back().W = radix == 2 ? calcW<forward, true, false, false>(len)
                                      : calcW<forward, false, false, false>(len);
    }
    if (!forward && !records.empty())
        scale_table(records.back().W, 1.0f / static_cast<float>(records.back().outLength));
    return records;
}

// One output column of a general butterfly: inputs block[j + p l] times entries (j + q l) p mod
// len, the index walking by a step below len, so that one subtraction reduces it.
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

std::vector<uint32_t> CooleyTukeyIndex(const std::vector<CooleyTukeyFactor>& factors, unsigned n) {
    std::vector<uint32_t> order(n);
    std::iota(order.begin(), order.end(), 0u);
    std::vector<uint32_t> next(n);
    for (auto f = factors.rbegin(); f != factors.rend(); ++f) {
        for (uint64_t g = 0; g < f->outCount; ++g) {
            const uint64_t b = g * f->outLength;
            for (uint64_t r = 0; r < f->radix; ++r)
                for (uint64_t s = 0; s < f->inLength; ++s) next[b + r * f->inLength + s] = order[b + r + f->radix * s];
        }
        order.swap(next);
    }
    return order;
}

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

namespace fft {

CooleyTukeyFFTImpl::CooleyTukeyFFTImpl(unsigned n) : CooleyTukeyFFTImpl(n, true) {}

CooleyTukeyIFFTImpl::CooleyTukeyIFFTImpl(unsigned n) : CooleyTukeyFFTImpl(n, false) {}

CooleyTukeyFFTImpl::CooleyTukeyFFTImpl(unsigned n, bool forward)
    : size(n), factors(forward ? stage_records<true>(n) : stage_records<false>(n)) {
    index = CooleyTukeyIndex(factors, n);
    // With no stage (n prime or below 2) the inner length reads as 0: nothing runs.
    const unsigned inner_length = factors.empty() ? 0 : factors.front().inLength;
    if (inner_length < 6) {
        inner = forward ? std::make_shared<DFTHARDImpl>(inner_length, n)
                        : std::make_shared<IDFTHARDImpl>(inner_length, n, false);
    } else if (inner_length < 32) {
        inner = forward ? std::make_shared<DFTImpl>(inner_length, n)
                        : std::make_shared<IDFTImpl>(inner_length, n, false);
    } else {
        bluestein = forward ? std::make_shared<BluesteinFFTImpl>(inner_length)
                            : std::make_shared<BluesteinIFFTImpl>(inner_length, false);
    }
    for (const CooleyTukeyFactor& f : factors) work.resize(std::max<size_t>(work.size(), f.radix));
}

template <class T>
void CooleyTukeyFFTImpl::run(const T* input, Complex* output, std::vector<T>& scratch, bool scale_last) {
    if (scratch.empty()) scratch.resize(size);
    // Private copies: exec writes neither the plan's index nor its scratch, and holds the inner plans.
    const std::vector<uint32_t> order = index;
    const std::shared_ptr<FFTImpl> inner_plan = inner;
    const std::shared_ptr<BluesteinFFTImpl> chirp_plan = bluestein;
    std::vector<T> permuted = scratch;

    for (uint64_t i = 0; i < size; ++i) permuted[i] = input[order[i]];
    if (chirp_plan) {
        const uint64_t length = chirp_plan->size;
        for (uint64_t i = 0; i + length <= size; i += length) chirp_plan->exec(permuted.data() + i, output + i);
    } else {
        inner_plan->exec(permuted.data(), output);
    }
    for (size_t s = 0; s < factors.size(); ++s) {
        const CooleyTukeyFactor& f = factors[s];
        // The inverse's last stage of radix 2 scales its untwiddled operand; its table carries 1/n.
        const float factor = 1.0f / static_cast<float>(f.outLength);
        const bool scaled = scale_last && s + 1 == factors.size();
        if (f.radix == 2)
            radix2_pass(output, 2 * uint64_t{f.inLength} * f.outCount, f.W.data(), f.inLength,
                        scaled ? &factor : nullptr);
        else
            general_stage(f, output, work.data());
    }
}

void CooleyTukeyFFTImpl::exec(const int16_t* input, Complex* output) { run(input, output, scratchInt16, false); }
void CooleyTukeyFFTImpl::exec(const float* input, Complex* output) { run(input, output, scratchFloat, false); }
void CooleyTukeyFFTImpl::exec(const Complex* input, Complex* output) { run(input, output, scratchComplex, false); }
void CooleyTukeyIFFTImpl::exec(const int16_t* input, Complex* output) { run(input, output, scratchInt16, true); }
void CooleyTukeyIFFTImpl::exec(const float* input, Complex* output) { run(input, output, scratchFloat, true); }
void CooleyTukeyIFFTImpl::exec(const Complex* input, Complex* output) { run(input, output, scratchComplex, true); }

}  // namespace fft
}  // namespace vorel::audio::qentor
