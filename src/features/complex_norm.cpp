// Magnitudes and phases in lanes, by the exact replicas of powf, atan2f and sincosf.
#include "features/complex_norm.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "simd/math/atan2f.h"
#include "simd/math/pairs.h"
#include "simd/math/powf.h"
#include "simd/math/powf_half.h"
#include "simd/math/replicas.h"
#include "simd/math/sincosf.h"
#include "simd/vec.h"

namespace vorel::audio {

namespace {

using simd::Isa;
namespace math = simd::math;

// The phase of cell c by the libm: the angle, or its phasor (cosine first).
template <bool kPhasor>
VOREL_INLINE void cell_phase(float* phase, const float* src, std::size_t c) {
    if constexpr (kPhasor)
        sincosf(atan2f(src[2 * c + 1], src[2 * c]), &phase[2 * c + 1], &phase[2 * c]);
    else
        phase[c] = atan2f(src[2 * c + 1], src[2 * c]);
}

enum class NormBy { none, sqrt, powf };

// kLanes<V> cells from src: the norms into mag unless kNorm is none (a special lane keeps its sum
// of squares), the angles or phasors into phase; special lanes as bits of mag_bits, phase_bits.
template <class V, bool kPhasor, NormBy kNorm>
VOREL_INLINE void cells_vector(float* mag, float* phase, const float* src, float exponent, std::uint32_t& mag_bits,
                               std::uint32_t& phase_bits) {
    V re, im;
    math::split_pairs(src, re, im);
    typename math::LaneTypes<simd::kLanes<V>>::I special;
    mag_bits = 0;
    if constexpr (kNorm == NormBy::sqrt) {
        simd::store(mag, math::powf_half_sums(re * re + im * im, mag_bits));
    } else if constexpr (kNorm == NormBy::powf) {
        const V sq = re * re + im * im;
        const V r = math::powf_lanes(sq, exponent, special);
        mag_bits = math::lane_bits(special);
        simd::store(mag, math::from_lanes<V>(math::select(special, math::to_lanes(sq), math::to_lanes(r))));
    }
    const V a = math::atan2f_lanes(im, re, special);
    phase_bits = math::lane_bits(special);
    if constexpr (kPhasor) {
        V s, c;
        math::sincosf_lanes(a, s, c, special);
        phase_bits |= math::lane_bits(special);
        math::merge_pairs(phase, c, s);
    } else {
        simd::store(phase, a);
    }
}

// One pass over n cells by cells_vector; after each block of vectors the special cells are
// answered by libm calls, out of the main loop. The last cells, fewer than a vector, go through
// one more vector from a padded copy: as libm calls they cost as much as a row of 3000 cells.
template <class V, bool kPhasor, NormBy kNorm>
VOREL_INLINE void cells_pass(float* mag, float* phase, const float* src, std::size_t n, float exponent) {
    constexpr std::size_t W = simd::kLanes<V>;
    constexpr std::size_t kBlock = 128;
    constexpr std::size_t kPhaseStride = kPhasor ? 2 : 1;
    const std::size_t done = math::blocks_of_lanes_then<W, kBlock, 2>(
        n,
        [&](std::size_t i, std::uint32_t* bits) VOREL_INLINE_LAMBDA {
            // Angles alone have no magnitude row: mag is null and takes no offset.
            float* const mag_at = kNorm == NormBy::none ? mag : mag + i;
            cells_vector<V, kPhasor, kNorm>(mag_at, phase + kPhaseStride * i, src + 2 * i, exponent, bits[0], bits[1]);
        },
        [&](std::size_t first, std::uint32_t(*masks)[kBlock], std::size_t m) VOREL_INLINE_LAMBDA {
            if constexpr (kNorm == NormBy::sqrt) {
                math::powf_at<V, kBlock>(mag + first, 1, masks[0], m, exponent);
            } else if constexpr (kNorm != NormBy::none) {
                math::for_each_lane_bit<W>(masks[0], m, [&](std::size_t k, std::size_t l) {
                    float* p = mag + first + W * k + l;
                    *p = powf(*p, exponent);
                });
            }
            math::for_each_lane_bit<W>(
                masks[1], m, [&](std::size_t k, std::size_t l) { cell_phase<kPhasor>(phase, src, first + W * k + l); });
        });
    const std::size_t first = done, rest = n - done;
    if (rest == 0) return;
    // Padding cells (2, 2) are ordinary for every replica; their outputs are dropped.
    float in[2 * W], mag_out[W], phase_out[kPhaseStride * W];
    std::fill_n(in, 2 * W, 2.0f);
    std::copy_n(src + 2 * first, 2 * rest, in);
    std::uint32_t mag_bits, phase_bits;
    cells_vector<V, kPhasor, kNorm>(mag_out, phase_out, in, exponent, mag_bits, phase_bits);
    for (std::size_t l = 0; l < rest; ++l) {
        if constexpr (kNorm != NormBy::none)
            mag[first + l] = mag_bits >> l & 1 ? powf(mag_out[l], exponent) : mag_out[l];
        if (phase_bits >> l & 1)
            cell_phase<kPhasor>(phase, src, first + l);
        else
            std::copy_n(phase_out + kPhaseStride * l, kPhaseStride, phase + kPhaseStride * (first + l));
    }
}

struct Angles {
    template <class V>
    VOREL_INLINE static void run(float* phase, const float* src, std::size_t n) {
        if constexpr (simd::kLanes<V> == 1)
            for (std::size_t i = 0; i < n; ++i) phase[i] = atan2f(src[2 * i + 1], src[2 * i]);
        else
            cells_pass<V, false, NormBy::none>(nullptr, phase, src, n, 0.0f);
    }
};

// From AVX2 on the angles share the pass of all three forms below.
constexpr auto kAngles = simd::builds_of<void (*)(float*, const float*, std::size_t), Angles, Isa::scalar, Isa::sse2>();

// Each combination its own loop, or GCC keeps both forms' constants live and spills them.
struct Pass {
    template <class V>
    VOREL_INLINE static void run(float* m, float* p, const float* s, std::size_t n, float e, bool half, bool phasor) {
        if (m == nullptr)
            return phasor ? cells_pass<V, true, NormBy::none>(m, p, s, n, e)
                          : cells_pass<V, false, NormBy::none>(m, p, s, n, e);
        if (half)
            return phasor ? cells_pass<V, true, NormBy::sqrt>(m, p, s, n, e)
                          : cells_pass<V, false, NormBy::sqrt>(m, p, s, n, e);
        return phasor ? cells_pass<V, true, NormBy::powf>(m, p, s, n, e)
                      : cells_pass<V, false, NormBy::powf>(m, p, s, n, e);
    }
};

constexpr auto kPass = simd::builds_of<void (*)(float*, float*, const float*, std::size_t, float, bool, bool), Pass,
                                       Isa::avx2, Isa::avx512>();

// The level of the one-pass kernel for these replicas, or scalar when one of them does not run.
Isa pass_level(Isa isa, bool norm, bool phasor) {
    Isa level = math::replica_isa(math::LibmFn::atan2f, isa);
    if (norm) level = std::min(level, math::replica_isa(math::LibmFn::powf, isa));
    if (phasor) level = std::min(level, math::replica_isa(math::LibmFn::sincosf, isa));
    return level >= Isa::avx2 ? level : Isa::scalar;
}

// Whether the float ranges [a, a + an) and [b, b + bn) share no byte.
bool disjoint(const float* a, std::size_t an, const float* b, std::size_t bn) {
    const auto x = reinterpret_cast<std::uintptr_t>(a), y = reinterpret_cast<std::uintptr_t>(b);
    return x + an * sizeof(float) <= y || y + bn * sizeof(float) <= x;
}

}  // namespace

void complex_norm_1d_core(float* dst, const float* src, int n, float power) {
    if (n > 0) complex_norm_array(dst, src, static_cast<std::size_t>(n), power);
}

void phase_angles(float* phase, const float* src, std::size_t n, Isa isa) {
    const Isa level = math::replica_isa(math::LibmFn::atan2f, isa);
    if (level >= Isa::avx2) return kPass(level)(nullptr, phase, src, n, 0.0f, false, false);
    kAngles(level)(phase, src, n);
}

void phase_phasors(float* phase, const float* src, std::size_t n, Isa isa) {
    const Isa level = pass_level(isa, false, true);
    if (level != Isa::scalar) return kPass(level)(nullptr, phase, src, n, 0.0f, false, true);
    // Without the sincosf replica: the angles into the upper half of the output, then each
    // expanded from the front (angle n + i is read before pair 2i, 2i + 1 <= n + i is written).
    float* a = phase + n;
    phase_angles(a, src, n, isa);
    for (std::size_t i = 0; i < n; ++i) {
        const float angle = a[i];
        sincosf(angle, &phase[2 * i + 1], &phase[2 * i]);
    }
}

void magphase_1d(std::vector<float>& mag, std::vector<float>& phase, const std::vector<float>& src, float power,
                 bool phase_form) {
    complex_norm_1d(mag, src, power);
    if (phase_form)
        phase_phasors(phase.data(), src.data(), mag.size());
    else
        phase_angles(phase.data(), src.data(), phase.size());
}

void magphase_2d(float* dst_mag, float* dst_phase, const float* src, int freq_n, int frame_n, float power,
                 bool phase_form, Isa isa) {
    const std::size_t cells = static_cast<std::size_t>(frame_n);
    const std::size_t phase_n = phase_form ? 2 * cells : cells;
    const std::size_t rows = static_cast<std::size_t>(freq_n);
    const Isa level = pass_level(isa, true, phase_form);
    // Rows are read straight from src when no output overlaps it, as through a copy.
    const bool copy = !disjoint(dst_mag, rows * cells, src, 2 * rows * cells) ||
                      !disjoint(dst_phase, rows * phase_n, src, 2 * rows * cells);
    // One pass when the outputs lie apart too and the norm takes the powf replica (exponent 1
    // needs no powf).
    const float exponent = power * 0.5f;
    const bool half = std::bit_cast<std::uint32_t>(exponent) == 0x3f000000u && math::powf_half_is_sqrt();
    if (level != Isa::scalar && !copy && disjoint(dst_mag, rows * cells, dst_phase, rows * phase_n) &&
        math::powf_exponent_in_range(exponent) && std::bit_cast<std::uint32_t>(exponent) != 0x3f800000u) {
        for (std::size_t r = 0; r < rows; ++r)
            kPass(level)(dst_mag + r * cells, dst_phase + r * phase_n, src + 2 * r * cells, cells, exponent, half,
                         phase_form);
        return;
    }
    std::vector<float> row(copy ? 2 * cells : 0);
    for (std::size_t r = 0; r < rows; ++r) {
        const float* in = src + 2 * r * cells;
        if (copy) {
            std::copy_n(in, row.size(), row.begin());
            in = row.data();
        }
        complex_norm_array(dst_mag + r * cells, in, cells, power, isa);
        float* phase = dst_phase + r * phase_n;
        if (phase_form)
            phase_phasors(phase, in, cells, isa);
        else
            phase_angles(phase, in, cells, isa);
    }
}

}  // namespace vorel::audio
