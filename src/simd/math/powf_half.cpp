// The first-use check of the square-root shortcut for powf(x, 0.5f), against powf itself.
#include "simd/math/powf_half.h"

#include <bit>
#include <cmath>
#include <cstdint>

#include "simd/isa.h"
#include "simd/math/replicas.h"

namespace vorel::audio::simd::math {

namespace {

// Bases where powf(x, 0.5f) and sqrtf(x) part, the ones whose roots lie farthest from the
// midpoint (the exhaustive checker's hardest cases), and roots just either side of the rule's
// bound.
constexpr std::uint32_t kHardBases[] = {
    0x7f71ae67, 0x7c71ae67, 0x7871ae67, 0x7071ae67, 0x6871ae67, 0x207fffff, 0x247fffff, 0x277fffff,
};

bool agrees(float x) {
    LaneTypes<1>::I special;
    const float r = powf_half_by_sqrt(x, special);
    return special[0] || std::bit_cast<std::uint32_t>(r) == std::bit_cast<std::uint32_t>(powf(x, half_exponent()));
}

// The 16-lane rule over 16 bases: a special lane must hold its base, the others powf's bits.
VOREL_TARGET_AVX512 bool agrees16(const float* x) {
    float r[16];
    const std::uint32_t special = powf_half_sums_at<float16>(x, r);
    for (std::size_t l = 0; l < 16; ++l) {
        const float want = special >> l & 1 ? x[l] : powf(x[l], half_exponent());
        if (std::bit_cast<std::uint32_t>(r[l]) != std::bit_cast<std::uint32_t>(want)) return false;
    }
    return true;
}

}  // namespace

bool powf_half_is_sqrt() {
    static const bool holds = [] {
        // Every base goes through the one-lane rule, and in batches of 16 through the 16-lane
        // rule where the CPU runs it.
        const bool wide = isa_supported(Isa::avx512);
        float batch[16];
        std::size_t n = 0;
        bool ok = true;
        const auto check = [&](float x) {
            ok = ok && agrees(x);
            batch[n++] = x;
            if (n == 16) {
                ok = ok && (!wide || agrees16(batch));
                n = 0;
            }
        };
        for (std::uint32_t b : kHardBases) check(std::bit_cast<float>(b));
        // Every binade's edges, and a pseudo-random spread over the non-negative patterns.
        for (std::uint32_t e = 0; e < 256; ++e)
            for (std::uint32_t m : {0x000000u, 0x000001u, 0x7fffffu, 0x400000u, 0x3504f3u})
                check(std::bit_cast<float>(e << 23 | m));
        std::uint32_t state = 0x2545f491u;
        for (int i = 0; i < 4096; ++i) {
            state ^= state << 13;
            state ^= state >> 17;
            state ^= state << 5;
            check(std::bit_cast<float>(state & 0x7fffffffu));
        }
        while (n != 0) check(1.0f);  // completes the last batch
        return ok;
    }();
    return holds && replica_isa(LibmFn::powf) != Isa::scalar;
}

float half_exponent() {
    static volatile float exponent = 0.5f;
    return exponent;
}

}  // namespace vorel::audio::simd::math
