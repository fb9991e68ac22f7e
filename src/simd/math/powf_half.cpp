// The first-use check of the square-root shortcut for powf(x, 0.5f), against powf itself.
#include "simd/math/powf_half.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <mutex>

#include "simd/math/replicas.h"

namespace vorel::audio::simd::math {

namespace {

// 0.5f as a value the compiler cannot see: GCC's vectorizer turns a loop of powf(x, 0.5f) into
// square roots (even without fast-math), which differ from powf at -0, -inf and near midpoints.
float half() {
    static volatile float exponent = 0.5f;
    return exponent;
}

// Bases where powf(x, 0.5f) and sqrtf(x) part, the ones whose roots lie farthest from the
// midpoint (the exhaustive checker's hardest cases), and roots just either side of the rule's
// bound.
constexpr std::uint32_t kHardBases[] = {
    0x7f71ae67, 0x7c71ae67, 0x7871ae67, 0x7071ae67, 0x6871ae67, 0x207fffff, 0x247fffff, 0x277fffff,
};

template <class V>
VOREL_INLINE void half_powers(float* dst, const float* src, std::size_t n) {
    constexpr std::size_t W = kLanes<V>;
    const float y = half();
    std::size_t i = 0;
    for (; i + W <= n; i += W) {
        const V x = load<V>(src + i);
        typename LaneTypes<W>::I special;
        V r = powf_half_by_sqrt(x, special);
        for (std::size_t l = 0; l < W; ++l)
            if (special[l]) r[l] = powf(x[l], y);
        store(dst + i, r);
    }
    for (; i < n; ++i) {
        LaneTypes<1>::I special;
        const float r = powf_half_by_sqrt(src[i], special);
        dst[i] = special[0] ? powf(src[i], y) : r;
    }
}

void half_powers_plain(float* dst, const float* src, std::size_t n) {
    const float y = half();
    for (std::size_t i = 0; i < n; ++i) dst[i] = powf(src[i], y);
}
VOREL_TARGET_AVX2 void half_powers_avx2(float* dst, const float* src, std::size_t n) {
    half_powers<float8>(dst, src, n);
}
VOREL_TARGET_AVX512 void half_powers_avx512(float* dst, const float* src, std::size_t n) {
    half_powers<float16>(dst, src, n);
}

using HalfPowers = void (*)(float*, const float*, std::size_t);
// The shortcut needs FMA for its exact residual.
const IsaBuilds<HalfPowers> kHalfPowers{half_powers_plain, nullptr, half_powers_avx2, half_powers_avx512};

bool agrees(float x) {
    LaneTypes<1>::I special;
    const float r = powf_half_by_sqrt(x, special);
    return special[0] || std::bit_cast<std::uint32_t>(r) == std::bit_cast<std::uint32_t>(powf(x, half()));
}

}  // namespace

bool powf_half_is_sqrt() {
    static const bool holds = [] {
        for (std::uint32_t b : kHardBases)
            if (!agrees(std::bit_cast<float>(b))) return false;
        // Every binade's edges, and a pseudo-random spread over the non-negative patterns.
        for (std::uint32_t e = 0; e < 256; ++e)
            for (std::uint32_t m : {0x000000u, 0x000001u, 0x7fffffu, 0x400000u, 0x3504f3u})
                if (!agrees(std::bit_cast<float>(e << 23 | m))) return false;
        std::uint32_t state = 0x2545f491u;
        for (int i = 0; i < 4096; ++i) {
            state ^= state << 13;
            state ^= state >> 17;
            state ^= state << 5;
            if (!agrees(std::bit_cast<float>(state & 0x7fffffffu))) return false;
        }
        return true;
    }();
    return holds && replica_isa(LibmFn::powf) != Isa::scalar;
}

void powf_half_array(Isa isa, float* dst, const float* src, std::size_t n) { kHalfPowers(isa)(dst, src, n); }

}  // namespace vorel::audio::simd::math
