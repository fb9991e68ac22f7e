// The factorisation and the reordering of the mixed-radix transform, shared by the plain path
// and the one that runs frames in vector lanes (which folds the reordering into its loads).
#pragma once

#include <array>
#include <cstddef>

namespace vorel::audio {

// At most log2(n) factors for any size_t n.
using FactorList = std::array<std::size_t, 64>;

// The factors of n in the order found (each the smallest divisor of the remaining length,
// tried as 2, or 3, 5, 7, ... for an odd one, up to its square root); returns their count.
// n over their product is the leaf length.
std::size_t mixed_radix_factors(std::size_t n, FactorList& factors);

// The reordering of all decimation steps at once, as move(to, from) on element indices. With
// factors q1..qk (in the order found) and leaf length L, element r1 + q1 (r2 + q2 (... + qk s))
// moves to r1 n/q1 + r2 n/(q1 q2) + ... + rk L + s: output block r1 (q2..qk) + ... + rk holds
// the elements at input base r1 + q1 r2 + ... + (q1..q(k-1)) rk, a stride of q1..qk apart.
template <class Move>
void for_each_decimated(std::size_t n, const FactorList& factors, std::size_t factor_n, Move&& move) {
    std::size_t blocks = 1;
    FactorList digit{}, weight{};
    for (std::size_t j = 0; j < factor_n; blocks *= factors[j], ++j) weight[j] = blocks;
    const std::size_t len = n / blocks;
    std::size_t base = 0;
    for (std::size_t block = 0; block < blocks; ++block) {
        for (std::size_t s = 0; s < len; ++s) move(block * len + s, base + blocks * s);
        // Next output block: rk counts fastest.
        for (std::size_t j = factor_n; j-- > 0;) {
            base += weight[j];
            if (++digit[j] < factors[j]) break;
            base -= factors[j] * weight[j];
            digit[j] = 0;
        }
    }
}

}  // namespace vorel::audio
