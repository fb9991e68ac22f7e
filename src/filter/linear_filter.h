// The linear (IIR) filter in transposed direct form II, computed in double.
#pragma once

#include <vector>

namespace vorel::audio {

// Numerator b and denominator a, both divided by the leading denominator coefficient and
// zero-padded to the filter length L = max(n_coef_n, d_coef_n). A zero leading coefficient
// is not caught: infinities and NaNs flow into whatever uses the coefficients.
struct NormalisedCoefficients {
    std::vector<double> b;
    std::vector<double> a;
};

// Internal callers may hand in any counts; the exported entries refuse them earlier.
void require_coefficient_counts(int n_coef_n, int d_coef_n);

NormalisedCoefficients normalise_coefficients(const float* n_coef, const float* d_coef, int n_coef_n, int d_coef_n);

// Filters min(src_n, dst_n) samples of src into dst in transposed direct form II, in double;
// registers are narrowed to State at every store. zi holding at least max(n_coef_n, d_coef_n)
// - 1 registers is the start state and gets the final one; otherwise the filter starts from
// zeros. reverse runs from the last sample to the first. dst may be src; dst beyond the count
// keeps its contents. Built for the exported filter (all float) and the zero-phase passes.
template <class Dst, class Src, class Coef, class State>
void linerfilter(Dst* dst, const Src* src, const Coef* n_coef, const Coef* d_coef, State* zi, int dst_n, int src_n,
                 int n_coef_n, int d_coef_n, int zi_n, bool reverse);

}  // namespace vorel::audio
