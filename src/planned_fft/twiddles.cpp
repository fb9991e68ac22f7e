// Table entries from the sine series, and the infinite-value recovery of the complex product.
#include "planned_fft/twiddles.h"

#include <cmath>

namespace vorel::audio::qentor {

namespace {

constexpr float two_pi_f = 6.2831855f;  // nearest float to 2 pi, bits 0x40C90FDB
constexpr double half_pi = 1.5707963267948966;
constexpr double series_end = 1.1920928955078125e-7;  // 2^-23

// The angle k * 2pi / len, with sign, rounded to float after the product and the quotient.
float float_angle(uint64_t k, uint64_t len, float two_pi) {
    return (static_cast<float>(k) * two_pi) / static_cast<float>(len);
}

}  // namespace

double sine_series(double x) {
    double s = x;
    double t = x;
    // The divisor (i + 1) * i is a 32-bit integer product; unsigned arithmetic gives the
    // same wrap-around where an endless series would overflow it.
    uint32_t i = 2;
    do {
        const int32_t divisor = static_cast<int32_t>((i + 1u) * i);
        t = t * ((-x * x) / static_cast<double>(divisor));
        s = s + t;
        i += 2;
        // A term that has left the finite range never comes back below the end test: stop
        // there, so that very large arguments give a non-finite value instead of no answer.
        // Every series that ends by the test ends at the same term as before.
    } while (!(std::fabs(t) < series_end) && std::isfinite(t));
    return s;
}

Complex w_entry(uint64_t k, uint64_t len, bool forward) {
    if (k == 0) return {1.0f, forward ? 0.0f : -0.0f};
    const uint64_t q = len / k;
    const uint64_t r = len % k;
    float re;
    float im;
    if (r == 0 && q == 2) {
        re = -1.0f;
        im = 0.0f;
    } else if (r == 0 && q == 4) {
        re = 0.0f;
        im = -1.0f;
    } else if (3 * len == 4 * k) {
        re = 0.0f;
        im = 1.0f;
    } else {
        re = static_cast<float>(sine_series(static_cast<double>(float_angle(k, len, -two_pi_f)) + half_pi));
        im = -static_cast<float>(sine_series(static_cast<double>(float_angle(k, len, two_pi_f))));
    }
    return {re, forward ? im : -im};
}

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
