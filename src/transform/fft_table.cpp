// Coefficients of the transform core, built once per length and direction under one lock.
#include "transform/fft_table.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "errors/checks.h"
#include "transform/fft.h"

namespace vorel::audio {

namespace {

// (cos, sin) of angle(k) to out[0], out[1]. The angle is theta k in double, rounded to float
// before the trigonometry: that rounding sets the accuracy of every transform and is part of
// the result.
void cos_sin(double theta, std::size_t k, float* out) {
    sincosf(static_cast<float>(theta * static_cast<double>(k)), &out[1], &out[0]);
}

// Rows of 12 floats for the radix-4 butterfly: the twiddles of 2j, j and 3j, each placed so
// that every product in the butterfly is two multiplications and one addition.
std::vector<float> butterfly_rows(int n, double theta) {
    std::vector<float> value(3 * static_cast<std::size_t>(n), 0.0f);
    if (n < 4) return value;
    for (std::size_t j = 0; j < static_cast<std::size_t>(n) / 4; ++j) {
        float w1[2], w2[2], w3[2];
        cos_sin(theta, j, w1);
        cos_sin(theta, 2 * j, w2);
        cos_sin(theta, 3 * j, w3);
        const float entries[12] = {w2[0],  w2[1], -w2[1], w2[0], w1[0], w1[1],
                                   -w1[1], w1[0], -w3[1], w3[0], w3[0], w3[1]};
        std::copy(entries, entries + 12, value.data() + 12 * j);
    }
    return value;
}

// n complex twiddles, real part first.
std::vector<float> plain_twiddles(int n, double theta) {
    std::vector<float> value(2 * static_cast<std::size_t>(n), 0.0f);
    for (std::size_t k = 0; k < static_cast<std::size_t>(n); ++k) cos_sin(theta, k, &value[2 * k]);
    return value;
}

}  // namespace

FftTable& FftTable::instance() {
    static FftTable inst;
    return inst;
}

const std::vector<float>& FftTable::ref_table(int n) {
    return lock_build_find(lock, table, n, [&] { init_fft_table(n, table, false); });
}

const std::vector<float>& FftTable::ref_inv_table(int n) {
    return lock_build_find(lock, inv_table, n, [&] { init_fft_table(n, inv_table, true); });
}

void FftTable::init_fft_table(int n, std::map<int, std::vector<float>>& map, bool inverse) {
    require(n >= 1, "Invalid value of fft points.");
    if (map.count(n) != 0) return;
    const double theta = (static_cast<double>(inverse ? 2 : -2) * 3.141592653589793) / static_cast<double>(n);
    // Built whole before insertion, so a failed build leaves no entry behind.
    std::vector<float> value = is_pow2(n) ? butterfly_rows(n, theta) : plain_twiddles(n, theta);
    map.emplace(n, std::move(value));
}

}  // namespace vorel::audio
