// Complex norms in lanes: squares summed in float, then raised by the powf replica; lanes it
// does not follow call powf. Exponent 0.5 takes the square root where it provably equals powf
// (simd/math/powf_half.h). With exponent 1 the sum is the result when powf(x, 1) == x holds on
// this libm: a sum of squares that is not NaN is +0 or positive up to +inf, the inputs that
// identity was checked on. A NaN sum keeps a NaN part's sign, which powf(-NaN, 1) flips, so NaN
// sums still call powf.
#include "common/complex_norm.h"

#include <algorithm>
#include <bit>
#include <cstdint>

#include "simd/lanes.h"
#include "simd/math/pairs.h"
#include "simd/math/powf.h"
#include "simd/math/powf_half.h"
#include "simd/math/replicas.h"
#include "simd/vec.h"

namespace vorel::audio {

namespace {

using simd::Isa;
namespace math = simd::math;

// Writes kLanes<V> norms packed (stride 1) or as (norm, +0.0) pairs (stride 2).
template <int kStride, class V>
VOREL_INLINE void put(float* dst, V v) {
    if constexpr (kStride == 1)
        simd::store(dst, v);
    else
        math::merge_pairs(dst, v, V{});
}

// How a run of norms may skip powf: not at all, exponent 1 (identity) or 0.5 (square root).
enum class Shortcut { none, identity, sqrt };

// The norms of kLanes<V> sums of squares; lanes it does not follow keep their sum, in `special`.
template <Shortcut kShortcut, class V>
VOREL_INLINE V norm_kernel(V sq, float exponent, std::uint32_t& special) {
    if constexpr (kShortcut == Shortcut::sqrt) {
        return math::powf_half_sums(sq, special);
    } else {
        typename math::LaneTypes<simd::kLanes<V>>::I lanes;
        V r = sq;
        if constexpr (kShortcut == Shortcut::identity)
            lanes = math::to_lanes(sq) != math::to_lanes(sq);  // NaN sums
        else
            r = math::powf_lanes(sq, exponent, lanes);
        special = math::lane_bits(lanes);
        return math::from_lanes<V>(math::select(lanes, math::to_lanes(sq), math::to_lanes(r)));
    }
}

template <Shortcut kShortcut>
VOREL_INLINE float norm_one(const float* p, float exponent) {
    const float sq = p[0] * p[0] + p[1] * p[1];
    std::uint32_t special;
    const float r = norm_kernel<kShortcut>(sq, exponent, special);
    return special != 0 ? powf(sq, exponent) : r;
}

// The outputs at dst + kStride * l for the set bits l become powf of the sums stored there. Out
// of line, or GCC keeps the loop's vectors in memory.
template <int kStride>
[[gnu::noinline]] void patch_stored(float* dst, std::uint32_t bits, float exponent) {
    for (; bits != 0; bits &= bits - 1) {
        float* p = dst + kStride * __builtin_ctz(bits);
        *p = powf(*p, exponent);
    }
}

// A block of vectors at a time: a special lane stores its sum of squares and sets its bit in the
// block's masks; after the block those lanes call powf on the stored sum, so the lanes near a
// square root's rounding midpoint (0.4 % of random norms) cost the main loop no branch miss.
template <int kStride, Shortcut kShortcut, class V>
VOREL_INLINE void norms(float* dst, const float* src, std::size_t n, float exponent) {
    constexpr std::size_t W = simd::kLanes<V>;
    if constexpr (kStride == 1) {
        // Packed outputs: the first few one by one until the stores fall on whole cache lines.
        const std::size_t head = std::min(n, (simd::kLineFloats - simd::line_lead(dst)) % simd::kLineFloats);
        for (std::size_t i = 0; i < head; ++i) dst[i] = norm_one<kShortcut>(src + 2 * i, exponent);
        dst += head;
        src += 2 * head;
        n -= head;
    }
    if constexpr (kShortcut == Shortcut::identity) {
        // Special lanes are NaN sums only: a test per vector costs less than keeping masks.
        std::size_t i = 0;
        for (; i + W <= n; i += W) {
            const V sq = math::sum_of_squares<V>(src + 2 * i);
            put<kStride>(dst + kStride * i, sq);
            const std::uint32_t bits = math::lane_bits(math::to_lanes(sq) != math::to_lanes(sq));
            if (bits != 0) patch_stored<kStride>(dst + kStride * i, bits, exponent);
        }
        for (; i < n; ++i) put<kStride>(dst + kStride * i, norm_one<kShortcut>(src + 2 * i, exponent));
        return;
    }
    constexpr std::size_t kBlock = 256;
    const std::size_t whole = math::blocks_of_lanes_then<W, kBlock>(
        n,
        [&](std::size_t i, std::uint32_t* bits) VOREL_INLINE_LAMBDA {
            put<kStride>(dst + kStride * i,
                         norm_kernel<kShortcut>(math::sum_of_squares<V>(src + 2 * i), exponent, bits[0]));
        },
        [&](std::size_t first, std::uint32_t(*masks)[kBlock], std::size_t m) VOREL_INLINE_LAMBDA {
            float* d = dst + kStride * first;
            if constexpr (kShortcut == Shortcut::sqrt) {
                math::powf_at<V, kBlock>(d, kStride, masks[0], m, exponent);
            } else {
                math::for_each_lane_bit<W>(masks[0], m, [&](std::size_t k, std::size_t l) {
                    float* p = d + kStride * (W * k + l);
                    *p = powf(*p, exponent);
                });
            }
        });
    for (std::size_t i = whole; i < n; ++i) put<kStride>(dst + kStride * i, norm_one<kShortcut>(src + 2 * i, exponent));
}

// Plain calls at one lane, with the exponent-1 identity when it holds.
template <int kStride>
struct Norms {
    template <class V>
    VOREL_INLINE static void run(float* dst, const float* src, std::size_t n, float exponent, Shortcut shortcut) {
        if constexpr (simd::kLanes<V> == 1) {
            for (std::size_t i = 0; i < n; ++i) {
                const float sq = src[2 * i] * src[2 * i] + src[2 * i + 1] * src[2 * i + 1];
                put<kStride>(dst + kStride * i, shortcut == Shortcut::identity && sq == sq ? sq : powf(sq, exponent));
            }
        } else {
            switch (shortcut) {
                case Shortcut::none: return norms<kStride, Shortcut::none, V>(dst, src, n, exponent);
                case Shortcut::identity: return norms<kStride, Shortcut::identity, V>(dst, src, n, exponent);
                case Shortcut::sqrt: return norms<kStride, Shortcut::sqrt, V>(dst, src, n, exponent);
            }
        }
    }
};

template <int kStride>
void run(float* dst, const float* src, std::size_t n, float power, Isa isa) {
    static constexpr auto builds = simd::builds_of<void (*)(float*, const float*, std::size_t, float, Shortcut),
                                                   Norms<kStride>, Isa::scalar, Isa::avx2, Isa::avx512>();
    const float exponent = power * 0.5f;
    // Bit comparisons: -0.0 and NaN exponents are neither 1 nor 0.5.
    const std::uint32_t exponent_bits = std::bit_cast<std::uint32_t>(exponent);
    Shortcut shortcut = Shortcut::none;
    Isa level = Isa::scalar;
    if (isa != Isa::scalar && exponent_bits == 0x3f800000u && math::powf_one_is_identity()) {
        shortcut = Shortcut::identity;
        level = isa;  // squares and sums only: every level gives the plain bits
    } else if (math::powf_exponent_in_range(exponent)) {
        level = math::replica_isa(math::LibmFn::powf, isa);
        if (level != Isa::scalar && exponent_bits == 0x3f000000u && math::powf_half_is_sqrt())
            shortcut = Shortcut::sqrt;
    }
    builds(level)(dst, src, n, exponent, shortcut);
}

}  // namespace

void complex_norm_array(float* dst, const float* src, std::size_t n, float power, Isa isa) {
    run<1>(dst, src, n, power, isa);
}

void complex_norm_pairs(float* data, std::size_t n, float power, Isa isa) { run<2>(data, data, n, power, isa); }

void complex_norm_1d(std::vector<float>& dst, const std::vector<float>& src, float power) {
    complex_norm_array(dst.data(), src.data(), dst.size(), power);
}

void complex_norm_1d(std::vector<float>& comp, float power) { complex_norm_pairs(comp.data(), comp.size() / 2, power); }

}  // namespace vorel::audio
