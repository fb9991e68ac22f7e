// Plain references for the filter tests: the recurrence written sample by sample, a seeded
// signal and stable designs of any order.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

namespace filter_test {

struct Coefs {
    std::vector<float> n, d;
    int order() const { return static_cast<int>(std::max(n.size(), d.size())) - 1; }
};

// Transposed direct form II over n samples of in, forward or backward, in double with the
// registers narrowed to State after every update; both lists divided by d[0], zero-padded.
template <class Dst, class Src, class State>
void reference_filter(Dst* out, const Src* in, std::size_t n, const Coefs& c, State* z, bool reverse) {
    const std::size_t r = c.order();
    std::vector<double> b(r + 1, 0.0), a(r + 1, 0.0);
    for (std::size_t k = 0; k < c.n.size(); ++k) b[k] = c.n[k] / double(c.d[0]);
    for (std::size_t k = 0; k < c.d.size(); ++k) a[k] = c.d[k] / double(c.d[0]);
    for (std::size_t s = 0; s < n; ++s) {
        const std::size_t i = reverse ? n - 1 - s : s;
        const double x = in[i];
        const double y = r > 0 ? b[0] * x + double(z[0]) : b[0] * x;
        for (std::size_t k = 1; k <= r; ++k)
            z[k - 1] = static_cast<State>((k < r ? b[k] * x + double(z[k]) : b[k] * x) - y * a[k]);
        out[i] = static_cast<Dst>(y);
    }
}

inline std::vector<float> test_signal(std::size_t n) {
    std::vector<float> x(n);
    uint32_t seed = 7u;
    for (float& v : x) v = float((seed = seed * 1664525u + 1013904223u) >> 8) / 8388608.0f - 1.0f;
    return x;
}

// A stable order-r design: the denominator's taps after the first sum to less than the first
// in magnitude, which keeps every pole inside the unit circle; the leading one is not 1.
inline Coefs stable_design(int r) {
    Coefs c;
    double tap = 1.25;
    for (int k = 0; k <= r; ++k, tap *= -0.5) {
        c.d.push_back(float(k == 0 ? tap : 0.9 * tap));
        c.n.push_back(0.1f + 0.05f * float(k % 3));
    }
    return c;
}

}  // namespace filter_test
