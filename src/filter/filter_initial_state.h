// The settled delay state of the linear filter after an endless input of 1, in closed form.
#pragma once

#include <algorithm>
#include <cstddef>

#include "filter/linear_filter.h"

namespace vorel::audio {

// dst_n registers as the filter reads zi, zero beyond its order; a pole at 1 gives non-finite values.
template <class Dst, class Coef>
void create_zi_coef(Dst* dst, const Coef* n_coef, const Coef* d_coef, int dst_n, int n_coef_n, int d_coef_n) {
    if (dst_n < 1) return;
    require_coefficient_counts(n_coef_n, d_coef_n);
    const std::size_t out_n = static_cast<std::size_t>(dst_n);
    if (std::max(n_coef_n, d_coef_n) == 1) {
        std::fill_n(dst, out_n, Dst(0));
        return;
    }
    const NormalisedCoefficients c = normalise_coefficients(n_coef, d_coef, n_coef_n, d_coef_n);
    const std::vector<double>& b = c.b;
    const std::vector<double>& a = c.a;
    const std::size_t order = b.size() - 1;

    double a_sum = 0.0;
    for (int k = 0; k < d_coef_n; ++k) a_sum += a[k];
    const double b0 = b[0];
    double numerator = 0.0;
    for (std::size_t k = 1; k <= order; ++k) numerator += b[k] - a[k] * b0;

    // z[i] = z0 * (a[0] + .. + a[i]) - sum over k = 1..i of (b[k] - a[k] * b0).
    const double z0 = numerator / a_sum;
    dst[0] = static_cast<Dst>(z0);
    const std::size_t m = std::min(order, out_n);
    double a_partial = a[0];
    double c_partial = 0.0;
    for (std::size_t i = 1; i < m; ++i) {
        a_partial = a_partial + a[i];
        c_partial = c_partial + (b[i] - a[i] * b0);
        dst[i] = static_cast<Dst>(z0 * a_partial - c_partial);
    }
    std::fill(dst + m, dst + out_n, Dst(0));
}

}  // namespace vorel::audio
