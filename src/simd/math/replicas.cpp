// Array drivers of the libm replicas per level, and their guards. Each driver runs whole
// vectors through the replica, answers the lanes it marks special with the scalar function,
// and finishes the tail one element at a time with the same replica at one lane.
#include "simd/math/replicas.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <mutex>

#include "simd/math/atan2f.h"
#include "simd/math/log10f.h"
#include "simd/math/log1pf.h"
#include "simd/math/powf.h"
#include "simd/math/powf_half.h"
#include "simd/math/sincosf.h"

namespace vorel::audio::simd::math {

namespace {

struct Log10f {
    template <class V>
    VOREL_INLINE V operator()(V x, typename LaneTypes<kLanes<V>>::I& special) const {
        return log10f_lanes(x, special);
    }
    static float scalar(float x) { return log10f(x); }
};
struct Log1pf {
    template <class V>
    VOREL_INLINE V operator()(V x, typename LaneTypes<kLanes<V>>::I& special) const {
        return log1pf_lanes(x, special);
    }
    static float scalar(float x) { return log1pf(x); }
};
struct Powf {
    float y;
    template <class V>
    VOREL_INLINE V operator()(V x, typename LaneTypes<kLanes<V>>::I& special) const {
        return powf_lanes(x, y, special);
    }
    float scalar(float x) const { return powf(x, y); }
};
// powf(x, 0.5f) by the square-root rule; y is 0.5 read through a volatile (see half_exponent).
struct PowfHalf {
    float y;
    template <class V>
    VOREL_INLINE V operator()(V x, typename LaneTypes<kLanes<V>>::I& special) const {
        return powf_half_by_sqrt(x, special);
    }
    float scalar(float x) const { return powf(x, y); }
};

// Whole vectors through the replica, then the tail at one lane. A special lane stores its input,
// which the scalar function reads back after the block: an in-place call stays right.
template <class V, class K>
VOREL_INLINE void map_lanes(float* dst, const float* src, std::size_t n, const K& kernel) {
    const std::size_t done = blocks_of_lanes<kLanes<V>>(
        n,
        [&](std::size_t i) {
            const V x = load<V>(src + i);
            typename LaneTypes<kLanes<V>>::I special;
            const V r = kernel(x, special);
            store(dst + i, from_lanes<V>(select(special, to_lanes(x), to_lanes(r))));
            return lane_bits(special);
        },
        [&](std::size_t i) { dst[i] = kernel.scalar(dst[i]); });
    if constexpr (kLanes<V> != 1) map_lanes<float>(dst + done, src + done, n - done, kernel);
}

// The same for atan2f and sincosf, whose special lanes are answered from the inputs.
template <class V>
VOREL_INLINE void map_atan2(float* dst, const float* y, const float* x, std::size_t n) {
    const std::size_t done = blocks_of_lanes<kLanes<V>>(
        n,
        [&](std::size_t i) {
            typename LaneTypes<kLanes<V>>::I special;
            store(dst + i, atan2f_lanes(load<V>(y + i), load<V>(x + i), special));
            return lane_bits(special);
        },
        [&](std::size_t i) { dst[i] = atan2f(y[i], x[i]); });
    if constexpr (kLanes<V> != 1) map_atan2<float>(dst + done, y + done, x + done, n - done);
}

template <class V>
VOREL_INLINE void map_sincos(float* sin_dst, float* cos_dst, const float* src, std::size_t n) {
    const std::size_t done = blocks_of_lanes<kLanes<V>>(
        n,
        [&](std::size_t i) {
            typename LaneTypes<kLanes<V>>::I special;
            V s, c;
            sincosf_lanes(load<V>(src + i), s, c, special);
            store(sin_dst + i, s);
            store(cos_dst + i, c);
            return lane_bits(special);
        },
        [&](std::size_t i) { sincosf(src[i], &sin_dst[i], &cos_dst[i]); });
    if constexpr (kLanes<V> != 1) map_sincos<float>(sin_dst + done, cos_dst + done, src + done, n - done);
}

using Unary = void (*)(float*, const float*, std::size_t);
using Power = void (*)(float*, const float*, std::size_t, float);
using Binary = void (*)(float*, const float*, const float*, std::size_t);
using Pair = void (*)(float*, float*, const float*, std::size_t);

template <class K>
void plain(float* dst, const float* src, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) dst[i] = K::scalar(src[i]);
}
void plain_powf(float* dst, const float* src, std::size_t n, float y) {
    for (std::size_t i = 0; i < n; ++i) dst[i] = powf(src[i], y);
}
void plain_atan2f(float* dst, const float* y, const float* x, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) dst[i] = atan2f(y[i], x[i]);
}
void plain_sincosf(float* s, float* c, const float* x, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) sincosf(x[i], &s[i], &c[i]);
}

// log1pf and atan2f are plain float code in the libm and have replicas from four lanes on;
// log10f (through logf), powf and sincosf fuse, so their replicas exist only at levels with FMA.
VOREL_TARGET_SSE2 void log1pf_sse2(float* d, const float* s, std::size_t n) { map_lanes<float4>(d, s, n, Log1pf{}); }
VOREL_TARGET_AVX2 void log1pf_avx2(float* d, const float* s, std::size_t n) { map_lanes<float8>(d, s, n, Log1pf{}); }
#if defined(__clang__)
// The mask-register kernel is written with GCC's builtins.
VOREL_TARGET_AVX512 void log1pf_avx512(float* d, const float* s, std::size_t n) {
    map_lanes<float16>(d, s, n, Log1pf{});
}
#else
VOREL_TARGET_AVX512 void log1pf_avx512(float* d, const float* s, std::size_t n) {
    const std::size_t done = blocks_of_lanes<16>(
        n, [&](std::size_t i) { return log1pf_store16(d + i, s + i); }, [&](std::size_t i) { d[i] = log1pf(d[i]); });
    map_lanes<float>(d + done, s + done, n - done, Log1pf{});
}
#endif
VOREL_TARGET_AVX2 void log10f_avx2(float* d, const float* s, std::size_t n) { map_lanes<float8>(d, s, n, Log10f{}); }
VOREL_TARGET_AVX512 void log10f_avx512(float* d, const float* s, std::size_t n) {
    map_lanes<float16>(d, s, n, Log10f{});
}
VOREL_TARGET_AVX2 void powf_avx2(float* d, const float* s, std::size_t n, float y) {
    map_lanes<float8>(d, s, n, Powf{y});
}
VOREL_TARGET_AVX512 void powf_avx512(float* d, const float* s, std::size_t n, float y) {
    map_lanes<float16>(d, s, n, Powf{y});
}
VOREL_TARGET_AVX2 void powf_half_avx2(float* d, const float* s, std::size_t n, float y) {
    map_lanes<float8>(d, s, n, PowfHalf{y});
}
VOREL_TARGET_AVX512 void powf_half_avx512(float* d, const float* s, std::size_t n, float y) {
    map_lanes<float16>(d, s, n, PowfHalf{y});
}
VOREL_TARGET_SSE2 void atan2f_sse2(float* d, const float* y, const float* x, std::size_t n) {
    map_atan2<float4>(d, y, x, n);
}
VOREL_TARGET_AVX2 void atan2f_avx2(float* d, const float* y, const float* x, std::size_t n) {
    map_atan2<float8>(d, y, x, n);
}
VOREL_TARGET_AVX512 void atan2f_avx512(float* d, const float* y, const float* x, std::size_t n) {
    map_atan2<float16>(d, y, x, n);
}
VOREL_TARGET_AVX2 void sincosf_avx2(float* s, float* c, const float* x, std::size_t n) {
    map_sincos<float8>(s, c, x, n);
}
VOREL_TARGET_AVX512 void sincosf_avx512(float* s, float* c, const float* x, std::size_t n) {
    map_sincos<float16>(s, c, x, n);
}

const IsaBuilds<Unary> kLog10f{plain<Log10f>, nullptr, log10f_avx2, log10f_avx512};
const IsaBuilds<Unary> kLog1pf{plain<Log1pf>, log1pf_sse2, log1pf_avx2, log1pf_avx512};
const IsaBuilds<Power> kPowf{plain_powf, nullptr, powf_avx2, powf_avx512};
// The square-root rule needs FMA for its exact residual.
const IsaBuilds<Power> kPowfHalf{plain_powf, nullptr, powf_half_avx2, powf_half_avx512};
const IsaBuilds<Binary> kAtan2f{plain_atan2f, atan2f_sse2, atan2f_avx2, atan2f_avx512};
const IsaBuilds<Pair> kSincosf{plain_sincosf, nullptr, sincosf_avx2, sincosf_avx512};

// Whether fn has a replica of its own at this level (not one inherited from below).
bool has_build(LibmFn fn, Isa isa) {
    if (isa == Isa::scalar) return false;
    switch (fn) {
        case LibmFn::log10f: return kLog10f(isa) != kLog10f(Isa::sse2);
        case LibmFn::powf: return kPowf(isa) != kPowf(Isa::sse2);
        case LibmFn::sincosf: return kSincosf(isa) != kSincosf(Isa::sse2);
        case LibmFn::log1pf:
        case LibmFn::atan2f: return true;
    }
    return false;
}

// ---- guard inputs ----
// A guard may run inside a call that has already written some of its outputs, so it allocates
// nothing: the inputs live in a fixed buffer on the stack and are compared a chunk at a time.

float from_bits(std::uint32_t b) { return std::bit_cast<float>(b); }

struct Patterns {
    // The common patterns and the largest addition (sincosf's quadrant edges).
    static constexpr std::size_t kCapacity = 36 + 255 * 14 + 4096 + 3 * 8 + 153 * 12;
    float v[kCapacity];
    std::size_t n = 0;
    void push_back(float x) { v[n++] = x; }
};

// Patterns every guard sees: zeros, subnormals, the smallest and largest normals, infinities,
// NaN, +-1 and their neighbours, every power of two's neighbourhood, and a fixed pseudo-random
// spread over all bit patterns.
void common_patterns(Patterns& v) {
    const std::uint32_t fixed[] = {0x00000000, 0x00000001, 0x00000002, 0x007fffff, 0x00400000, 0x00800000,
                                   0x00800001, 0x7f7fffff, 0x7f800000, 0x7fc00000, 0x7fa00000, 0x7fffffff,
                                   0x3f800000, 0x3f7fffff, 0x3f800001, 0x3f000000, 0x3fffffff, 0x40000000};
    for (std::uint32_t b : fixed) {
        v.push_back(from_bits(b));
        v.push_back(from_bits(b | 0x80000000u));
    }
    for (std::uint32_t e = 0; e < 255; ++e) {
        for (std::uint32_t m : {0x000000u, 0x000001u, 0x7fffffu, 0x3504f3u, 0x3504f7u, 0x330000u, 0x32ffffu}) {
            v.push_back(from_bits(e << 23 | m));
            v.push_back(from_bits(0x80000000u | e << 23 | m));
        }
    }
    std::uint32_t state = 0x9e3779b9u;
    for (int i = 0; i < 4096; ++i) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        v.push_back(from_bits(state));
    }
}

// Table boundaries of the logf and powf tables: the 16 subintervals of [0x3f330000, 2 *
// 0x3f330000) in steps of 2^19 bit patterns, both sides, in several binades.
void add_table_edges(Patterns& v) {
    for (std::uint32_t j = 0; j <= 32; ++j) {
        const std::uint32_t edge = 0x3f330000u + (j << 19);
        for (std::int32_t shift : {-0x20000000, -0x08000000, 0, 0x08000000, 0x20000000}) {
            const std::uint32_t b = edge + static_cast<std::uint32_t>(shift);
            v.push_back(from_bits(b - 1));
            v.push_back(from_bits(b));
            v.push_back(from_bits(b + 1));
        }
    }
}

// Reduction thresholds of log1pf (0.41422, -0.2929, 2^-29, 2^-54, 2^53, -1) and of atanf
// (7/16, 11/16, 19/16, 39/16, 2^25, 2^-29), each with its neighbours.
void add_thresholds(Patterns& v) {
    for (std::uint32_t b : {0x3ed413d7u, 0xbe95f61fu, 0x31000000u, 0x24800000u, 0x5a000000u, 0xbf800000u, 0x3ee00000u,
                            0x3f300000u, 0x3f980000u, 0x401c0000u, 0x4c000000u, 0x3504f7u | 0x3f800000u,
                            0x3504f3u | 0x3f000000u, 0x3f3504f3u, 0xbeb504f3u}) {
        for (std::uint32_t d = 0; d < 4; ++d) {
            v.push_back(from_bits(b - d));
            v.push_back(from_bits(b + d));
        }
    }
}

// sincosf: its branch points 2^-12, 0.75 and 120, and the neighbourhoods of the odd multiples
// of pi/4 up to 120, where the quadrant changes, and of the even ones, where a result nears 0.
void add_quadrant_edges(Patterns& v) {
    for (std::uint32_t b : {0x39800000u, 0x3f400000u, 0x42f00000u}) {
        for (std::uint32_t d = 0; d < 4; ++d) {
            v.push_back(from_bits(b - d));
            v.push_back(from_bits(b + d));
        }
    }
    for (int j = 1; j <= 153; ++j) {
        const std::uint32_t b = std::bit_cast<std::uint32_t>(static_cast<float>(j * 0.78539816339744831));
        for (std::uint32_t d = 0; d < 3; ++d)
            for (std::uint32_t sign : {0u, 0x80000000u}) {
                v.push_back(from_bits((b - d) | sign));
                v.push_back(from_bits((b + d) | sign));
            }
    }
}

constexpr std::size_t kChunk = 256;

bool same(const float* a, const float* b, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i)
        if (std::bit_cast<std::uint32_t>(a[i]) != std::bit_cast<std::uint32_t>(b[i])) return false;
    return true;
}

// Whether run(got, i, m) and run_scalar(want, i, m) agree on every chunk [i, i + m) of n inputs.
template <class Run, class RunScalar>
bool chunks_agree(std::size_t n, Run run, RunScalar run_scalar) {
    float got[kChunk], want[kChunk];
    for (std::size_t i = 0; i < n; i += kChunk) {
        const std::size_t m = std::min(kChunk, n - i);
        run(got, i, m);
        run_scalar(want, i, m);
        if (!same(got, want, m)) return false;
    }
    return true;
}

bool unary_guard(const IsaBuilds<Unary>& builds, Isa isa, const Patterns& in) {
    return chunks_agree(
        in.n, [&](float* d, std::size_t i, std::size_t m) { builds(isa)(d, in.v + i, m); },
        [&](float* d, std::size_t i, std::size_t m) { builds(Isa::scalar)(d, in.v + i, m); });
}

// Exponents the norms use (power / 2 for the common powers) and a few others of each kind.
constexpr float kGuardExponents[] = {0.5f, 0.25f, 1.0f, 0.75f, 1.5f, 2.0f, 0.1f, 3.0f, -0.5f, -1.0f, 0.3333333f};

std::atomic<bool> g_forced_failure{false};

// Each (function, level) guard runs at most once, when a call first asks for that level: a
// call at the best level that passes runs one guard, not all of them.
struct Verdict {
    std::once_flag once;
    bool passed = false;
};
Verdict g_verdicts[std::size(kAllLibmFns)][4];

bool passes(LibmFn fn, Isa isa) {
    Verdict& v = g_verdicts[static_cast<int>(fn)][static_cast<int>(isa)];
    std::call_once(v.once, [&] { v.passed = has_build(fn, isa) && guard_matches(fn, isa); });
    return v.passed;
}

}  // namespace

const char* libm_fn_name(LibmFn fn) {
    switch (fn) {
        case LibmFn::log10f: return "log10f";
        case LibmFn::log1pf: return "log1pf";
        case LibmFn::powf: return "powf";
        case LibmFn::atan2f: return "atan2f";
        case LibmFn::sincosf: return "sincosf";
    }
    return "?";
}

bool guard_matches(LibmFn fn, Isa isa) {
    if (!isa_supported(isa)) return false;
    Patterns in;
    common_patterns(in);
    switch (fn) {
        case LibmFn::log10f: add_table_edges(in); return unary_guard(kLog10f, isa, in);
        case LibmFn::log1pf: add_thresholds(in); return unary_guard(kLog1pf, isa, in);
        case LibmFn::powf: {
            add_table_edges(in);
            for (float y : kGuardExponents) {
                const bool agree = chunks_agree(
                    in.n, [&](float* d, std::size_t i, std::size_t m) { kPowf(isa)(d, in.v + i, m, y); },
                    [&](float* d, std::size_t i, std::size_t m) { plain_powf(d, in.v + i, m, y); });
                if (!agree) return false;
            }
            return true;
        }
        case LibmFn::atan2f: {
            add_thresholds(in);
            // Every pairing of a short list of both arguments, then the list against its shifts.
            const std::size_t m = 97;
            const auto y_at = [&](std::size_t j) { return j < m * m ? in.v[j / m * 7 % in.n] : in.v[j - m * m]; };
            const auto x_at = [&](std::size_t j) {
                return j < m * m ? in.v[j % m * 13 % in.n] : in.v[((j - m * m) * 31 + 5) % in.n];
            };
            float ys[kChunk], xs[kChunk];
            const auto fill = [&](std::size_t i, std::size_t count) {
                for (std::size_t j = 0; j < count; ++j) {
                    ys[j] = y_at(i + j);
                    xs[j] = x_at(i + j);
                }
            };
            return chunks_agree(
                m * m + in.n,
                [&](float* d, std::size_t i, std::size_t count) {
                    fill(i, count);
                    kAtan2f(isa)(d, ys, xs, count);
                },
                [&](float* d, std::size_t i, std::size_t count) {
                    fill(i, count);
                    plain_atan2f(d, ys, xs, count);
                });
        }
        case LibmFn::sincosf: {
            add_quadrant_edges(in);
            float got_s[kChunk], got_c[kChunk], want_s[kChunk], want_c[kChunk];
            for (std::size_t i = 0; i < in.n; i += kChunk) {
                const std::size_t m = std::min(kChunk, in.n - i);
                kSincosf(isa)(got_s, got_c, in.v + i, m);
                plain_sincosf(want_s, want_c, in.v + i, m);
                if (!same(got_s, want_s, m) || !same(got_c, want_c, m)) return false;
            }
            return true;
        }
    }
    return false;
}

Isa replica_isa(LibmFn fn, Isa isa) {
    if (g_forced_failure.load(std::memory_order_relaxed)) return Isa::scalar;
    for (int level = static_cast<int>(isa); level > 0; --level)
        if (isa_supported(static_cast<Isa>(level)) && passes(fn, static_cast<Isa>(level)))
            return static_cast<Isa>(level);
    return Isa::scalar;
}

void force_guard_failure(bool on) { g_forced_failure.store(on, std::memory_order_relaxed); }

void log10f_array(Isa isa, float* dst, const float* src, std::size_t n) { kLog10f(isa)(dst, src, n); }
void log1pf_array(Isa isa, float* dst, const float* src, std::size_t n) { kLog1pf(isa)(dst, src, n); }
void powf_half_array(Isa isa, float* dst, const float* src, std::size_t n) {
    kPowfHalf(isa)(dst, src, n, half_exponent());
}
void powf_array(Isa isa, float* dst, const float* src, std::size_t n, float y) {
    if (!powf_exponent_in_range(y)) isa = Isa::scalar;
    kPowf(isa)(dst, src, n, y);
}
void atan2f_array(Isa isa, float* dst, const float* y, const float* x, std::size_t n) { kAtan2f(isa)(dst, y, x, n); }
void sincosf_array(Isa isa, float* sin_dst, float* cos_dst, const float* src, std::size_t n) {
    kSincosf(isa)(sin_dst, cos_dst, src, n);
}

bool powf_one_is_identity() {
    static const bool identity = [] {
        Patterns in;
        common_patterns(in);
        add_table_edges(in);
        // Read through a volatile: the compiler folds powf(x, 1.0f) to x, which would check
        // nothing.
        volatile float exponent_one = 1.0f;
        const float one = exponent_one;
        for (std::size_t i = 0; i < in.n; ++i) {
            const float x = in.v[i];
            const std::uint32_t b = std::bit_cast<std::uint32_t>(x);
            // Non-negative floats, +inf and positive quiet NaN. (A negative NaN comes back with
            // its sign flipped: the libm squares a negative base under an odd exponent and
            // negates the square.)
            if ((b >> 31) != 0) continue;
            if (std::isnan(x) && (b & 0x00400000u) == 0) continue;
            if (std::bit_cast<std::uint32_t>(powf(x, one)) != b) return false;
        }
        return true;
    }();
    if (g_forced_failure.load(std::memory_order_relaxed)) return false;
    return identity;
}

}  // namespace vorel::audio::simd::math
