// Level conversions: decibels, standardisation, log1p. The logarithms go through the exact
// log10f and log1pf replicas in lanes when their guards passed.
#include "features/levels.h"

#include <cmath>

#include "simd/math/log10f.h"
#include "simd/math/replicas.h"
#include "simd/vec.h"

namespace vorel::audio {

namespace {

using simd::float4;
using simd::Isa;
namespace math = simd::math;

inline float ten_log10(float power) { return std::log10(power) * 10.0f; }

// std::fmax semantics: a NaN x gives the floor.
inline float floored_power(float x) { return std::fmax(x, power_floor); }

// One element's level: 10 log10(max(x, floor)) - ref_db, raised to floor_db when clamping.
inline float level_plain(float x, float ref_db, bool clamp, float floor_db) {
    const float level = ten_log10(floored_power(x)) - ref_db;
    return clamp && level < floor_db ? floor_db : level;
}

void decibels_plain(float* dst, const float* src, std::size_t n, float ref_db, bool clamp, float floor_db) {
    for (std::size_t i = 0; i < n; ++i) dst[i] = level_plain(src[i], ref_db, clamp, floor_db);
}

// The same per lane. max(x, floor) as a select keeps fmax's answer: a NaN x fails x >= floor
// and takes the floor, and where x equals the floor both give the same value. The floored
// value is positive, so the only lane the log10f replica hands back is +inf.
template <class V>
VOREL_INLINE void decibels(float* dst, const float* src, std::size_t n, float ref_db, bool clamp, float floor_db) {
    constexpr std::size_t W = simd::kLanes<V>;
    using T = math::LaneTypes<W>;
    const typename T::F floor = math::splat<typename T::F>(power_floor);
    const typename T::F ten = math::splat<typename T::F>(10.0f);
    const typename T::F ref = math::splat<typename T::F>(ref_db);
    const typename T::F lowest = math::splat<typename T::F>(floor_db);
    std::size_t i = 0;
    for (; i + W <= n; i += W) {
        const typename T::F x = math::to_lanes(simd::load<V>(src + i));
        const typename T::F p = math::select(x >= floor, x, floor);
        typename T::I special;
        typename T::F lg = math::to_lanes(math::log10f_lanes(math::from_lanes<V>(p), special));
        if (math::any(special))
            for (std::size_t l = 0; l < W; ++l)
                if (special[l]) lg[l] = std::log10(p[l]);
        typename T::F level = lg * ten - ref;
        if (clamp) level = math::select(level < lowest, lowest, level);
        simd::store(dst + i, math::from_lanes<V>(level));
    }
    for (; i < n; ++i) dst[i] = level_plain(src[i], ref_db, clamp, floor_db);
}

VOREL_TARGET_AVX2 void decibels_avx2(float* d, const float* s, std::size_t n, float r, bool c, float f) {
    decibels<simd::float8>(d, s, n, r, c, f);
}
VOREL_TARGET_AVX512 void decibels_avx512(float* d, const float* s, std::size_t n, float r, bool c, float f) {
    decibels<simd::float16>(d, s, n, r, c, f);
}

using Decibels = void (*)(float*, const float*, std::size_t, float, bool, float);
// log10f fuses inside (its logf is the FMA variant), so lanes exist only at levels with FMA.
const simd::IsaBuilds<Decibels> kDecibels{decibels_plain, nullptr, decibels_avx2, decibels_avx512};

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
        float4 a = simd::broadcast<float4>(best);
        float4 b = a;
        for (; i + 8 <= n; i += 8) {
            const float4 x = simd::load<float4>(src + i);
            const float4 y = simd::load<float4>(src + i + 4);
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

void convert_power_to_db(float* dst, const float* src, int n, float top_db, Isa isa) {
    const float ref = floored_power(scan_maximum(src, n));
    // power_to_db recomputes the reference level per element; once is the same value.
    const float ref_db = ten_log10(ref);
    const bool clamp = top_db >= 0.0f;
    const float floor_db = 0.0f - top_db;
    kDecibels(math::replica_isa(math::LibmFn::log10f, isa))(dst, src, static_cast<std::size_t>(n), ref_db, clamp,
                                                            floor_db);
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

void log1p_elements(float* dst, const float* src, int n, Isa isa) {
    math::log1pf_array(math::replica_isa(math::LibmFn::log1pf, isa), dst, src, static_cast<std::size_t>(n));
}

}  // namespace vorel::audio
