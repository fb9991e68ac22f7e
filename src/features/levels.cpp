// Level conversions: decibels, standardisation, log1p.
#include "features/levels.h"

#include <cmath>

#include "common/float4.h"

namespace vorel::audio {

namespace {

inline float ten_log10(float power) { return std::log10(power) * 10.0f; }

// std::fmax semantics: a NaN x gives the floor.
inline float floored_power(float x) { return std::fmax(x, power_floor); }

}  // namespace

float power_to_db(float x, float ref) { return ten_log10(floored_power(x)) - ten_log10(ref); }

float scan_maximum(const float* src, int n) {
    // Each lane runs the same "replace when less" scan over its own elements, seeded with
    // src[0]; merging the lanes by the same rule gives the plain scan's value. A NaN seed stays
    // in every lane; otherwise no lane ever takes a NaN. Equal maxima can differ only in the
    // sign of zero, which the later floor removes.
    float best = src[0];
    int i = 1;
    if (n >= 9) {
        float4 a = {best, best, best, best};
        float4 b = a;
        for (; i + 8 <= n; i += 8) {
            const float4 x = load4(src + i);
            const float4 y = load4(src + i + 4);
            a = a < x ? x : a;
            b = b < y ? y : b;
        }
        a = a < b ? b : a;
        for (int lane = 0; lane < 4; ++lane)
            if (best < a[lane]) best = a[lane];
    }
    for (; i < n; ++i)
        if (best < src[i]) best = src[i];
    return best;
}

void convert_power_to_db(float* dst, const float* src, int n, float top_db) {
    const float ref = floored_power(scan_maximum(src, n));
    // power_to_db recomputes the reference level per element; once is the same value.
    const float ref_db = ten_log10(ref);
    if (top_db >= 0.0f) {
        const float floor_db = 0.0f - top_db;
        for (int i = 0; i < n; ++i) {
            const float level = ten_log10(floored_power(src[i])) - ref_db;
            dst[i] = level < floor_db ? floor_db : level;
        }
    } else {
        for (int i = 0; i < n; ++i) dst[i] = ten_log10(floored_power(src[i])) - ref_db;
    }
}

void standardize(float* dst, const float* src, int n) {
    const float inv = 1.0f / static_cast<float>(n);
    float sum = 0.0f;
    float sum_sq = 0.0f;
    for (int i = 0; i < n; ++i) {
        const float x = src[i];
        sum = sum + x;
        sum_sq = sum_sq + x * x;
    }
    const float mean = inv * sum;
    const float deviation = std::sqrt(inv * sum_sq - mean * mean);
    const float scale = deviation == 0.0f ? zero_deviation_scale : 1.0f / deviation;
    for (int i = 0; i < n; ++i) dst[i] = scale * (src[i] - mean);
}

void log1p_elements(float* dst, const float* src, int n) {
    for (int i = 0; i < n; ++i) dst[i] = std::log1p(src[i]);
}

}  // namespace vorel::audio
