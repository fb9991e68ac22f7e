// Level conversions: decibels, standardisation, log1p. The logarithms go through the exact
// log10f and log1pf replicas in lanes when their guards passed.
#include "features/levels.h"

#include <cmath>

#include "simd/math/log10f.h"
#include "simd/math/replicas.h"
#include "simd/vec.h"

namespace vorel::audio {

namespace {

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
// value is a positive normal float or +inf, so the replica's subnormal scaling is left out (it
// adds 0 to the exponent there) and +inf is the only lane it cannot answer. Such a lane stores
// its floored power, which the plain step takes after the block (floored again to itself).
template <class V, bool kClamp>
VOREL_INLINE void decibels(float* dst, const float* src, std::size_t n, float ref_db, float floor_db) {
    constexpr std::size_t W = simd::kLanes<V>;
    using F = typename math::LaneTypes<W>::F;
    using I = typename math::LaneTypes<W>::I;
    const F floor = math::splat<F>(power_floor), ten = math::splat<F>(10.0f);
    const F ref = math::splat<F>(ref_db), lowest = math::splat<F>(floor_db);
    const std::size_t done = math::blocks_of_lanes<W>(
        n,
        [&](std::size_t i) {
            const F x = math::to_lanes(simd::load<V>(src + i));
            const F p = math::select(x >= floor, x, floor);
            const I special = math::bits<I>(p) == 0x7f800000;
            F level = math::log10f_normal_lanes<W>(p, math::splat<I>(0)) * ten - ref;
            if constexpr (kClamp) level = math::select(level < lowest, lowest, level);
            simd::store(dst + i, math::from_lanes<V>(math::select(special, p, level)));
            return math::lane_bits(special);
        },
        [&](std::size_t i) { dst[i] = level_plain(dst[i], ref_db, kClamp, floor_db); });
    for (std::size_t i = done; i < n; ++i) dst[i] = level_plain(src[i], ref_db, kClamp, floor_db);
}

// The running maximum per lane: each lane runs the same "replace when less" scan over its own
// elements, seeded with src[0], and merging the lanes by the same rule gives the plain scan's
// value. A NaN seed stays in every lane; otherwise no lane ever takes a NaN. Equal maxima can
// differ only in the sign of zero, which the later floor removes. The lanes run from the end
// down (the order cannot change the value), so the level pass starts on the warm front.
struct Maximum {
    template <class V>
    VOREL_INLINE static float run(const float* src, std::size_t n) {
        constexpr std::size_t W = simd::kLanes<V>;
        float best = src[0];
        std::size_t end = n;  // elements [1, end) remain
        if constexpr (W > 1) {
            using F = typename math::LaneTypes<W>::F;
            if (n >= 4 * W + 1) {
                F acc[4];
                for (F& a : acc) a = math::to_lanes(simd::broadcast<V>(best));
                for (; end >= 4 * W + 1; end -= 4 * W)
                    for (std::size_t j = 0; j < 4; ++j) {
                        const F x = math::to_lanes(simd::load<V>(src + end - (j + 1) * W));
                        acc[j] = math::select(acc[j] < x, x, acc[j]);
                    }
                for (std::size_t j = 1; j < 4; ++j) acc[0] = math::select(acc[0] < acc[j], acc[j], acc[0]);
                for (std::size_t l = 0; l < W; ++l)
                    if (best < acc[0][l]) best = acc[0][l];
            }
        }
        for (std::size_t i = 1; i < end; ++i)
            if (best < src[i]) best = src[i];
        return best;
    }
};

constexpr auto kMaximum =
    simd::builds_of<float (*)(const float*, std::size_t), Maximum, Isa::scalar, Isa::sse2, Isa::avx2, Isa::avx512>();

struct Decibels {
    template <class V>
    VOREL_INLINE static void run(float* d, const float* s, std::size_t n, float ref_db, bool clamp, float floor_db) {
        if constexpr (simd::kLanes<V> == 1)
            decibels_plain(d, s, n, ref_db, clamp, floor_db);
        else
            clamp ? decibels<V, true>(d, s, n, ref_db, floor_db) : decibels<V, false>(d, s, n, ref_db, floor_db);
    }
};

// log10f fuses inside (its logf is the FMA variant), so lanes exist only at levels with FMA.
constexpr auto kDecibels = simd::builds_of<void (*)(float*, const float*, std::size_t, float, bool, float), Decibels,
                                           Isa::scalar, Isa::avx2, Isa::avx512>();

}  // namespace

float power_to_db(float x, float ref) { return ten_log10(floored_power(x)) - ten_log10(ref); }

float scan_maximum(const float* src, int n, Isa isa) { return kMaximum(isa)(src, static_cast<std::size_t>(n)); }

void convert_power_to_db(float* dst, const float* src, int n, float top_db, Isa isa) {
    const float ref = floored_power(scan_maximum(src, n, isa));
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
