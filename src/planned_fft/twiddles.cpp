// The tables of the planned engine, and the infinite-value recovery of the complex product.
#include "planned_fft/twiddles.h"

#include <cmath>

namespace vorel::audio::qentor {

template <bool forward, bool half, bool b3, bool b4>
std::vector<Complex> calcW(uint64_t n) {
    const uint64_t count = half ? n / 2 : n;
    std::vector<Complex> table(count);
    for (uint64_t k = 0; k < count; ++k) table[k] = w_entry(k, n, forward);
    return table;
}

template std::vector<Complex> calcW<true, false, false, false>(uint64_t);
template std::vector<Complex> calcW<true, true, false, false>(uint64_t);
template std::vector<Complex> calcW<false, true, false, false>(uint64_t);
template std::vector<Complex> calcW<false, false, false, false>(uint64_t);

void scale_table(std::vector<Complex>& table, float factor) {
    for (Complex& w : table) w = {factor * w.re, factor * w.im};
}

Complex complex_product_recovered(Complex z, Complex w) {
    float a = z.re, b = z.im, c = w.re, d = w.im;
    const float ac = a * c, bd = b * d, ad = a * d, bc = b * c;
    const auto box = [](float& x, float& y) {
        x = std::copysign(std::isinf(x) ? 1.0f : 0.0f, x);
        y = std::copysign(std::isinf(y) ? 1.0f : 0.0f, y);
    };
    const auto zero_nans = [](float& x, float& y) {
        if (std::isnan(x)) x = std::copysign(0.0f, x);
        if (std::isnan(y)) y = std::copysign(0.0f, y);
    };
    const bool z_infinite = std::isinf(a) || std::isinf(b), w_infinite = std::isinf(c) || std::isinf(d);
    if (z_infinite) box(a, b), zero_nans(c, d);
    if (w_infinite) box(c, d), zero_nans(a, b);
    if (!z_infinite && !w_infinite) {
        if (!std::isinf(ac) && !std::isinf(bd) && !std::isinf(ad) && !std::isinf(bc)) return {ac - bd, ad + bc};
        zero_nans(a, b), zero_nans(c, d);
    }
    return {INFINITY * (a * c - b * d), INFINITY * (a * d + b * c)};
}

}  // namespace vorel::audio::qentor
