// The lane kernels over vectors of W doubles (2 at sse2, 4 at avx2, 8 at avx512): separate
// multiplies and adds, so each lane rounds exactly like the plain sum.
#include "resample/resample_lanes.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "simd/lanes.h"
#include "simd/vec.h"

namespace vorel::audio {

namespace {

using Row = ResampleFilterTable::Row;
constexpr int lane_n = resample_lane_n;

template <int W>
struct LaneVec {
    using d = simd::Vec<double, W>;
    using f = simd::Vec<float, W>;
    static constexpr int per_lanes = lane_n / W;  // vectors across the sixteen lanes
    // Outputs summed side by side: eight independent sums hide the latency of the adds.
    static constexpr int out_n = per_lanes >= 8 ? 1 : 8 / per_lanes;
};

// Rows of a W x W block of floats become its columns, in place.
template <int W>
[[gnu::always_inline]] inline void transpose(typename LaneVec<W>::f (&r)[W]) {
    if constexpr (W == 2) {
        const typename LaneVec<W>::f r0 = r[0];
        r[0] = __builtin_shufflevector(r0, r[1], 0, 2);
        r[1] = __builtin_shufflevector(r0, r[1], 1, 3);
    } else {
        lanes::transpose4<1>(r[0], r[1], r[2], r[3]);
    }
}

// Widens elements [k0, k1) of the lanes' inputs into the chunk, whose row 0 holds element
// `base`: element k of lane l goes to chunk[(k - base) * 16 + l].
template <int W>
[[gnu::always_inline]] inline void widen(const ResampleLaneBlock& b, std::int64_t base, std::int64_t k0,
                                         std::int64_t k1) {
    using V = LaneVec<W>;
    const std::int64_t whole = k1 - (k1 - k0) % W;
    // The inputs stream from memory: ask for the next stretch of each lane now.
    for (int l = 0; l < lane_n; ++l)
        for (std::int64_t k = k1; k < std::min(b.extent, 2 * k1 - k0); k += 16) __builtin_prefetch(b.lane_src[l] + k);
    double* const chunk = b.chunk;  // a local, which the stores below cannot be taken to change
    for (int l0 = 0; l0 < lane_n; l0 += W) {
        const float* src[W];
        for (int i = 0; i < W; ++i) src[i] = b.lane_src[l0 + i];
        for (std::int64_t k = k0; k < whole; k += W) {
            typename V::f r[W];
#pragma GCC unroll 8
            for (int i = 0; i < W; ++i) r[i] = simd::load<typename V::f>(src[i] + k);
            transpose<W>(r);
#pragma GCC unroll 8
            for (int i = 0; i < W; ++i) {
                simd::store(chunk + (k - base + i) * lane_n + l0, __builtin_convertvector(r[i], typename V::d));
            }
        }
    }
    for (std::int64_t k = whole; k < k1; ++k)
        for (int l = 0; l < lane_n; ++l) chunk[(k - base) * lane_n + l] = b.lane_src[l][k];
}

// P outputs of all lanes: output p uses rows[p] on the chunk from x[p], and lane l of it goes
// to dst[l * stride + p]. Each lane's sum starts at 0.0 and adds tap 64 - j times element j.
template <int W, int P>
[[gnu::always_inline]] inline void dot_taps_lanes(const Row* const (&rows)[P], const double* const (&x)[P], float* dst,
                                                  std::int64_t stride) {
    using V = LaneVec<W>;
    constexpr int q_n = V::per_lanes;
    typename V::d acc[P][q_n] = {};
#pragma GCC unroll 5
    for (int j = 0; j < resample_tap_n; ++j) {
#pragma GCC unroll 4
        for (int p = 0; p < P; ++p) {
            const double t = (*rows[p])[resample_tap_n - 1 - j];
            const double* xj = x[p] + j * lane_n;
#pragma GCC unroll 8
            for (int q = 0; q < q_n; ++q) {
                acc[p][q] = acc[p][q] + t * simd::load<typename V::d>(xj + q * W);
            }
        }
    }
    // Narrowed W at a time: the vector conversion rounds each lane as the scalar one does.
#pragma GCC unroll 4
    for (int p = 0; p < P; ++p)
#pragma GCC unroll 8
        for (int q = 0; q < q_n; ++q) {
            const typename V::f y = __builtin_convertvector(acc[p][q], typename V::f);
#pragma GCC unroll 4
            for (int i = 0; i < W; ++i) dst[(q * W + i) * stride + p] = y[i];
        }
}

// The chunk is a window on the widened inputs, filled a little ahead of the outputs that read
// it (still in the first-level cache); rows still needed move to its start when it runs out.
// WW is the width of the widening, W of the sums.
template <int WW, int W>
[[gnu::always_inline]] inline void run_block(const ResampleLaneBlock& b) {
    constexpr std::int64_t ahead = 64;  // rows widened at a time beyond the current need
    constexpr int P = LaneVec<W>::out_n;
    const std::int64_t rows = std::min(b.extent, resample_chunk_rows);
    std::int64_t base = 0;     // element held in row 0 of the chunk
    std::int64_t widened = 0;  // elements widened so far
    std::int64_t off = 0;
    std::int64_t i = 0;
    // Computes the next n (at most P) outputs of every lane into dst.
    auto outputs = [&](auto n_tag, float* dst) {
        constexpr int n = decltype(n_tag)::value;
        const Row* row[n];
        std::int64_t at[n];
        for (int p = 0; p < n; ++p) {
            row[p] = &b.coef[b.kiro[i]];
            at[p] = off;
            off += b.diff[i];
            if (++i == b.up) i = 0;
        }
        const std::int64_t need = at[n - 1] + resample_tap_n;
        if (need > widened) {
            const std::int64_t to = std::min(b.extent, need + ahead);
            if (to - base > rows) {
                std::memmove(b.chunk, b.chunk + (at[0] - base) * lane_n,
                             static_cast<std::size_t>((widened - at[0]) * lane_n) * sizeof(double));
                base = at[0];
            }
            widen<WW>(b, base, widened, to);
            widened = to;
        }
        const double* x[n];
        for (int p = 0; p < n; ++p) x[p] = b.chunk + (at[p] - base) * lane_n;
        dot_taps_lanes<W, n>(row, x, dst, b.lane_stride);
    };
    std::int64_t s = 0;
    for (; s + P <= b.span; s += P) outputs(std::integral_constant<int, P>{}, b.dst + s);
    for (; s < b.span; ++s) outputs(std::integral_constant<int, 1>{}, b.dst + s);
}

VOREL_TARGET_SSE2 void resample_lanes_sse2(const ResampleLaneBlock& block) { run_block<2, 2>(block); }

VOREL_TARGET_AVX2 void resample_lanes_avx2(const ResampleLaneBlock& block) { run_block<4, 4>(block); }

VOREL_TARGET_AVX512 void resample_lanes_avx512(const ResampleLaneBlock& block) { run_block<4, 8>(block); }

}  // namespace

ResampleLaneKernel resample_lane_kernel(simd::Isa isa) {
    static constexpr simd::IsaBuilds<ResampleLaneKernel> builds{nullptr, resample_lanes_sse2, resample_lanes_avx2,
                                                                resample_lanes_avx512};
    return builds(isa);
}

}  // namespace vorel::audio
