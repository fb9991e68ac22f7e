// Plain double-precision references for the filter tests: the recurrence written sample by
// sample with no fixed-order loops, and a seeded signal.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace filter_test {

struct Coefs {
    std::vector<float> n, d;
    int order() const { return static_cast<int>(std::max(n.size(), d.size())) - 1; }
};

// Normalised b and a, padded with zeros to the filter length.
inline void normalise(const Coefs& c, std::vector<double>& b, std::vector<double>& a) {
    const std::size_t len = std::max(c.n.size(), c.d.size());
    b.assign(len, 0.0);
    a.assign(len, 0.0);
    const double d0 = c.d[0];
    for (std::size_t k = 0; k < c.n.size(); ++k) b[k] = c.n[k] / d0;
    for (std::size_t k = 0; k < c.d.size(); ++k) a[k] = c.d[k] / d0;
}

// Transposed direct form II over n samples of in, forward or backward, the registers
// narrowed to State after every update.
template <class Dst, class Src, class State>
void reference_filter(Dst* out, const Src* in, std::size_t n, const Coefs& c, State* z,
                      bool reverse) {
    std::vector<double> b, a;
    normalise(c, b, a);
    const std::size_t r = b.size() - 1;
    for (std::size_t s = 0; s < n; ++s) {
        const std::size_t i = reverse ? n - 1 - s : s;
        const double x = in[i];
        double y = b[0] * x;
        if (r > 0) {
            y = y + static_cast<double>(z[0]);
            for (std::size_t k = 0; k + 1 < r; ++k) {
                const double fed = b[k + 1] * x + static_cast<double>(z[k + 1]);
                z[k] = static_cast<State>(fed - y * a[k + 1]);
            }
            z[r - 1] = static_cast<State>(b[r] * x - y * a[r]);
        }
        out[i] = static_cast<Dst>(y);
    }
}

inline std::vector<float> test_signal(std::size_t n, uint32_t seed = 7u) {
    std::vector<float> x(n);
    for (float& v : x) {
        seed = seed * 1664525u + 1013904223u;
        v = static_cast<float>(seed >> 8) / 8388608.0f - 1.0f;
    }
    return x;
}

// Coefficients of a stable order-r filter: the denominator's taps after the first sum to
// less than the first in magnitude, which keeps every pole inside the unit circle. All
// are scaled so that the leading one is not 1.
inline Coefs stable_design(int r) {
    Coefs c;
    double tap = 1.25;
    for (int k = 0; k <= r; ++k) {
        c.d.push_back(static_cast<float>(k == 0 ? tap : 0.9 * tap));
        tap *= -0.5;
        c.n.push_back(0.1f + 0.05f * static_cast<float>(k % 3));
    }
    return c;
}

}  // namespace filter_test
