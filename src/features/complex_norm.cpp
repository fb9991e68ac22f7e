// Complex norms and phases, each operation rounded to float on its own.
#include "features/complex_norm.h"

#include <cmath>
#include <algorithm>
#include <cstddef>

namespace vorel::audio {

namespace {

void norms(float* dst, const float* src, std::size_t n, float power) {
    const float exponent = power * 0.5f;
    for (std::size_t i = 0; i < n; ++i) dst[i] = complex_norm(src[2 * i], src[2 * i + 1], exponent);
}

}  // namespace

void complex_norm_1d_core(float* dst, const float* src, int n, float power) {
    if (n > 0) norms(dst, src, static_cast<std::size_t>(n), power);
}

void complex_norm_1d(std::vector<float>& dst, const std::vector<float>& src, float power) {
    norms(dst.data(), src.data(), dst.size(), power);
}

void complex_norm_1d(std::vector<float>& comp, float power) {
    complex_norm_pairs(comp.data(), comp.size() / 2, power);
}

void complex_norm_pairs(float* data, std::size_t pair_n, float power) {
    const float exponent = power * 0.5f;
    for (std::size_t i = 0; i < pair_n; ++i) {
        data[2 * i] = complex_norm(data[2 * i], data[2 * i + 1], exponent);
        data[2 * i + 1] = 0.0f;
    }
}

void magphase_1d(std::vector<float>& mag, std::vector<float>& phase, const std::vector<float>& src,
                 float power, bool phase_form) {
    complex_norm_1d(mag, src, power);
    if (phase_form) {
        for (std::size_t i = 0; i < mag.size(); ++i) {
            const float a = atan2f(src[2 * i + 1], src[2 * i]);
            sincosf(a, &phase[2 * i + 1], &phase[2 * i]);
        }
    } else {
        for (std::size_t i = 0; i < phase.size(); ++i) phase[i] = atan2f(src[2 * i + 1], src[2 * i]);
    }
}

void magphase_2d(float* dst_mag, float* dst_phase, const float* src, int freq_n, int frame_n,
                 float power, bool phase_form) {
    const std::size_t cells = static_cast<std::size_t>(frame_n);
    std::vector<float> mag(cells, 0.0f);
    std::vector<float> row(2 * cells, 0.0f);
    std::vector<float> phase(phase_form ? 2 * cells : cells, 0.0f);
    for (int r = 0; r < freq_n; ++r) {
        const std::size_t at = static_cast<std::size_t>(r) * cells;
        std::copy_n(src + 2 * at, row.size(), row.begin());
        magphase_1d(mag, phase, row, power, phase_form);
        std::copy(mag.begin(), mag.end(), dst_mag + at);
        std::copy(phase.begin(), phase.end(), dst_phase + static_cast<std::size_t>(r) * phase.size());
    }
}

}  // namespace vorel::audio
