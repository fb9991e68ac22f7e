// The linear filter's loops, and the four forms of it that the library uses, compiled once.
#include "filter/linear_filter.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "errors/checks.h"

namespace vorel::audio {

void require_coefficient_counts(int n_coef_n, int d_coef_n) {
    require(n_coef_n >= 1, "Invalid n_coef size.");
    require(d_coef_n >= 1, "Invalid d_coef size.");
}

NormalisedCoefficients normalise_coefficients(const float* n_coef, const float* d_coef, int n_coef_n, int d_coef_n) {
    const std::size_t length = static_cast<std::size_t>(std::max(n_coef_n, d_coef_n));
    NormalisedCoefficients c{std::vector<double>(length, 0.0), std::vector<double>(length, 0.0)};
    const double d0 = static_cast<double>(d_coef[0]);
    for (int k = 0; k < n_coef_n; ++k) c.b[k] = static_cast<double>(n_coef[k]) / d0;
    c.a[0] = d0 / d0;
    for (int k = 1; k < d_coef_n; ++k) c.a[k] = static_cast<double>(d_coef[k]) / d0;
    return c;
}

namespace {

// Runs `step` over n samples, each output narrowed at its input's index (read first: dst may be src).
template <class Dst, class Src, class Step>
inline void drive(Dst* dst, const Src* src, std::size_t n, bool reverse, Step&& step) {
    if (!reverse) {
        for (std::size_t i = 0; i < n; ++i) dst[i] = static_cast<Dst>(step(static_cast<double>(src[i])));
    } else {
        for (std::size_t i = n; i-- > 0;) dst[i] = static_cast<Dst>(step(static_cast<double>(src[i])));
    }
}

// One sample of the recurrence; y stays double, each register is narrowed when stored.
template <class State>
inline double general_step(double x, const double* __restrict b, const double* __restrict a, State* __restrict z,
                           std::size_t order) {
    const double y = b[0] * x + static_cast<double>(z[0]);
    for (std::size_t k = 1; k < order; ++k)
        z[k - 1] = static_cast<State>((b[k] * x + static_cast<double>(z[k])) - y * a[k]);
    z[order - 1] = static_cast<State>(b[order] * x - y * a[order]);
    return y;
}

// The order known at compile time, so coefficients and registers stay in registers.
template <std::size_t R, class Dst, class Src, class State>
void run_fixed(Dst* dst, const Src* src, std::size_t n, bool reverse, const NormalisedCoefficients& c, State* z_io) {
    std::array<double, R + 1> b, a;
    std::array<State, R> z;
    std::copy_n(c.b.begin(), R + 1, b.begin());
    std::copy_n(c.a.begin(), R + 1, a.begin());
    std::copy_n(z_io, R, z.begin());
    drive(dst, src, n, reverse, [&](double x) { return general_step(x, b.data(), a.data(), z.data(), R); });
    std::copy_n(z.begin(), R, z_io);
}

template <class Dst, class Src, class State>
void run_general(Dst* dst, const Src* src, std::size_t n, bool reverse, const NormalisedCoefficients& c, State* z_io,
                 std::size_t order) {
    std::vector<State> z(z_io, z_io + order);
    const double* b = c.b.data();
    const double* a = c.a.data();
    State* zp = z.data();
    drive(dst, src, n, reverse, [&](double x) { return general_step(x, b, a, zp, order); });
    std::copy(z.begin(), z.end(), z_io);
}

// Orders up to this one run with the order fixed at compile time.
constexpr std::size_t max_fixed_order = 12;

template <class Dst, class Src, class State, std::size_t... Rs>
void dispatch_order(Dst* dst, const Src* src, std::size_t n, bool reverse, const NormalisedCoefficients& c, State* z,
                    std::size_t order, std::index_sequence<Rs...>) {
    // Rs runs from 0; fixed loops cover orders 1 .. max_fixed_order.
    const bool fixed = ((order == Rs + 1 ? (run_fixed<Rs + 1>(dst, src, n, reverse, c, z), true) : false) || ...);
    if (!fixed) run_general(dst, src, n, reverse, c, z, order);
}

}  // namespace

template <class Dst, class Src, class Coef, class State>
void linerfilter(Dst* dst, const Src* src, const Coef* n_coef, const Coef* d_coef, State* zi, int dst_n, int src_n,
                 int n_coef_n, int d_coef_n, int zi_n, bool reverse) {
    require_coefficient_counts(n_coef_n, d_coef_n);
    const NormalisedCoefficients c = normalise_coefficients(n_coef, d_coef, n_coef_n, d_coef_n);
    const std::size_t order = c.b.size() - 1;
    const std::size_t n = static_cast<std::size_t>(std::max(0, std::min(src_n, dst_n)));

    if (order == 0) {
        const double b0 = c.b[0];
        drive(dst, src, n, reverse, [b0](double x) { return b0 * x; });
        return;
    }

    const bool use_caller_state = zi != nullptr && zi_n >= 0 && static_cast<std::size_t>(zi_n) >= order;
    std::vector<State> local_state;
    if (!use_caller_state) local_state.assign(order, State(0));
    dispatch_order(dst, src, n, reverse, c, use_caller_state ? zi : local_state.data(), order,
                   std::make_index_sequence<max_fixed_order>{});
}

template void linerfilter<float, float, float, float>(float*, const float*, const float*, const float*, float*, int,
                                                      int, int, int, int, bool);
template void linerfilter<double, float, float, double>(double*, const float*, const float*, const float*, double*, int,
                                                        int, int, int, int, bool);
template void linerfilter<double, double, float, double>(double*, const double*, const float*, const float*, double*,
                                                         int, int, int, int, int, bool);
template void linerfilter<float, double, float, double>(float*, const double*, const float*, const float*, double*, int,
                                                        int, int, int, int, bool);

}  // namespace vorel::audio
