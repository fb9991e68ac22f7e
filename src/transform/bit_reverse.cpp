// The bit reversal of the plain path, on an interleaved buffer. The vector builds reverse
// while they leave the split layout (pow2_stages.h), the lanes fold it into their reads.
#include "transform/bit_reverse.h"

#include <utility>

namespace vorel::audio {

void bit_reverse(float* data, std::size_t n) {
    const int bits = std::countr_zero(n);
    for (std::size_t k = 1; k + 1 < n; ++k) {
        const std::size_t j = reversed_index(static_cast<std::uint32_t>(k), bits);
        if (k < j) {
            std::swap(data[2 * k], data[2 * j]);
            std::swap(data[2 * k + 1], data[2 * j + 1]);
        }
    }
}

}  // namespace vorel::audio
