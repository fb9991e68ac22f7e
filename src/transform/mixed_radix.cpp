// The factorisation of the mixed-radix transform.
#include "transform/mixed_radix.h"

namespace vorel::audio {

namespace {

// A divisor q of rem tried in the order 2 (even rem) or 3, 5, 7, ... (odd rem), or 0 when
// none lies at or below the square root.
std::size_t find_factor(std::size_t rem) {
    std::size_t q = rem % 2 == 0 ? 2 : 3;
    if (q * q > rem) return 0;
    while (rem % q != 0) {
        q += 2;
        if (q * q > rem) return 0;
    }
    return q;
}

}  // namespace

std::size_t mixed_radix_factors(std::size_t n, FactorList& factors) {
    std::size_t factor_n = 0, rem = n, blocks = 1;
    while (const std::size_t q = find_factor(rem)) {
        factors[factor_n++] = q;
        blocks *= q;
        rem = n / blocks;
    }
    return factor_n;
}

}  // namespace vorel::audio
