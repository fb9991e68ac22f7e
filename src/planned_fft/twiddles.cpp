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
    auto box = [](float v) { return std::copysign(std::isinf(v) ? 1.0f : 0.0f, v); };
    auto zero_nan = [](float& v) {
        if (std::isnan(v)) v = std::copysign(0.0f, v);
    };
    bool recalc = false;
    if (std::isinf(a) || std::isinf(b)) {
        a = box(a);
        b = box(b);
        zero_nan(c);
        zero_nan(d);
        recalc = true;
    }
    if (std::isinf(c) || std::isinf(d)) {
        c = box(c);
        d = box(d);
        zero_nan(a);
        zero_nan(b);
        recalc = true;
    }
    if (!recalc && (std::isinf(ac) || std::isinf(bd) || std::isinf(ad) || std::isinf(bc))) {
        zero_nan(a);
        zero_nan(b);
        zero_nan(c);
        zero_nan(d);
        recalc = true;
    }
    if (!recalc) return {ac - bd, ad + bc};
    const float inf = INFINITY;
    return {inf * (a * c - b * d), inf * (a * d + b * c)};
}

}  // namespace vorel::audio::qentor
