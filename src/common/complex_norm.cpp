// Complex norms in lanes: pairs are split into real and imaginary lanes, squared and summed in
// float, then raised by the powf replica; lanes it does not follow call powf. Exponent 0.5 takes
// the square root where it provably equals powf's result (simd/math/powf_half.h). With exponent 1
// the sum itself is the result when powf(x, 1) == x holds on this libm: a sum of two squares
// that is not NaN is +0 or positive, up to +inf, exactly the inputs that identity was checked
// on. A NaN sum keeps the sign and payload of a NaN part, and powf(-NaN, 1) flips the sign, so
// NaN sums still call powf.
#include "common/complex_norm.h"

#include <bit>
#include <cstdint>

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
    constexpr std::size_t W = simd::kLanes<V>;
    if constexpr (kStride == 1) {
        simd::store(dst, v);
    } else if constexpr (W == 1) {
        dst[0] = v;
        dst[1] = 0.0f;
    } else {
        for (std::size_t l = 0; l < W; ++l) {
            dst[2 * l] = v[l];
            dst[2 * l + 1] = 0.0f;
        }
    }
}

// How a run of norms may skip powf: not at all, exponent 1 (the sum is the result), or exponent
// 0.5 (the square root, where it provably equals powf's result).
enum class Shortcut { none, identity, sqrt };

// Lanes marked special take powf itself.
template <class V, class M>
VOREL_INLINE V patch(V r, V sq, M special, float exponent) {
    if constexpr (simd::kLanes<V> == 1) {
        if (special[0]) r = powf(sq, exponent);
    } else {
        if (math::any(special))
            for (std::size_t l = 0; l < simd::kLanes<V>; ++l)
                if (special[l]) r[l] = powf(sq[l], exponent);
    }
    return r;
}

template <class V>
VOREL_INLINE V norm_lanes(const float* p, float exponent, Shortcut shortcut) {
    V re, im;
    math::split_pairs(p, re, im);
    V sq = re * re + im * im;
    typename math::LaneTypes<simd::kLanes<V>>::I special;
    if (shortcut == Shortcut::identity) {
        special = math::to_lanes(sq) != math::to_lanes(sq);
        return patch(sq, sq, special, exponent);
    }
    const V r = shortcut == Shortcut::sqrt ? math::powf_half_by_sqrt(sq, special)
                                           : math::powf_lanes(sq, exponent, special);
    return patch(r, sq, special, exponent);
}

template <int kStride, class V>
VOREL_INLINE void norms(float* dst, const float* src, std::size_t n, float exponent, Shortcut shortcut) {
    constexpr std::size_t W = simd::kLanes<V>;
    std::size_t i = 0;
    for (; i + W <= n; i += W) put<kStride>(dst + kStride * i, norm_lanes<V>(src + 2 * i, exponent, shortcut));
    for (; i < n; ++i) put<kStride>(dst + kStride * i, norm_lanes<float>(src + 2 * i, exponent, shortcut));
}

// Plain calls, with the exponent-1 identity when it holds.
template <int kStride>
void norms_plain(float* dst, const float* src, std::size_t n, float exponent, Shortcut shortcut) {
    for (std::size_t i = 0; i < n; ++i) {
        const float sq = src[2 * i] * src[2 * i] + src[2 * i + 1] * src[2 * i + 1];
        put<kStride>(dst + kStride * i, shortcut == Shortcut::identity && sq == sq ? sq : powf(sq, exponent));
    }
}

template <int kStride>
VOREL_TARGET_AVX2 void norms_avx2(float* dst, const float* src, std::size_t n, float exponent, Shortcut shortcut) {
    norms<kStride, simd::float8>(dst, src, n, exponent, shortcut);
}
template <int kStride>
VOREL_TARGET_AVX512 void norms_avx512(float* dst, const float* src, std::size_t n, float exponent, Shortcut shortcut) {
    norms<kStride, simd::float16>(dst, src, n, exponent, shortcut);
}

using Norms = void (*)(float*, const float*, std::size_t, float, Shortcut);

template <int kStride>
void run(float* dst, const float* src, std::size_t n, float power, Isa isa) {
    static const simd::IsaBuilds<Norms> builds{norms_plain<kStride>, nullptr, norms_avx2<kStride>,
                                               norms_avx512<kStride>};
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
