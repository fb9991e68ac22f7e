// Array drivers of the libm replicas per level, and their guards. Each driver runs whole
// vectors through the replica, answers the lanes it marks special with the scalar function,
// and finishes the tail one element at a time with the same replica at one lane.
#include "simd/math/replicas.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <mutex>
#include <tuple>
#include <utility>

#include "simd/math/atan2f.h"
#include "simd/math/log10f.h"
#include "simd/math/log1pf.h"
#include "simd/math/powf.h"
#include "simd/math/powf_half.h"
#include "simd/math/sincosf.h"

namespace vorel::audio::simd::math {

namespace {

// Every driver has one shape: out[i] from a[i] (and b[i], atan2f's x); y is powf's exponent and
// out2[i] sincosf's cosine.
struct Args {
    float* out;
    float* out2;
    const float* a;
    const float* b;
    std::size_t n;
    float y;
};

// A kernel's step(g, i) runs the vector V from element i and returns the bits of the lanes it
// leaves; fix(g, i) answers element i with the scalar function, which is also the plain path.
// One-argument replicas: a special lane stores its input, so that fix reads a[i] right also in
// place. y is 0.5 for powf_half, read through a volatile (see half_exponent).
enum class One { log10f, log1pf, powf, powf_half };

template <One F>
struct Unary {
    template <class V>
    VOREL_INLINE static std::uint32_t step(const Args& g, std::size_t i) {
#if !defined(__clang__)
        // The mask-register kernel, in GCC's builtins.
        if constexpr (F == One::log1pf && kLanes<V> == 16) return log1pf_store16(g.out + i, g.a + i);
#endif
        const V x = load<V>(g.a + i);
        typename LaneTypes<kLanes<V>>::I special;
        V r;
        if constexpr (F == One::log10f)
            r = log10f_lanes(x, special);
        else if constexpr (F == One::log1pf)
            r = log1pf_lanes(x, special);
        else if constexpr (F == One::powf)
            r = powf_lanes(x, g.y, special);
        else
            r = powf_half_by_sqrt(x, special);
        store(g.out + i, from_lanes<V>(select(special, to_lanes(x), to_lanes(r))));
        return lane_bits(special);
    }
    static void fix(const Args& g, std::size_t i) {
        if constexpr (F == One::log10f)
            g.out[i] = log10f(g.a[i]);
        else if constexpr (F == One::log1pf)
            g.out[i] = log1pf(g.a[i]);
        else
            g.out[i] = powf(g.a[i], g.y);
    }
};

struct Atan2f {
    template <class V>
    VOREL_INLINE static std::uint32_t step(const Args& g, std::size_t i) {
        typename LaneTypes<kLanes<V>>::I special;
        store(g.out + i, atan2f_lanes(load<V>(g.a + i), load<V>(g.b + i), special));
        return lane_bits(special);
    }
    static void fix(const Args& g, std::size_t i) { g.out[i] = atan2f(g.a[i], g.b[i]); }
};

struct Sincosf {
    template <class V>
    VOREL_INLINE static std::uint32_t step(const Args& g, std::size_t i) {
        typename LaneTypes<kLanes<V>>::I special;
        V s, c;
        sincosf_lanes(load<V>(g.a + i), s, c, special);
        store(g.out + i, s);
        store(g.out2 + i, c);
        return lane_bits(special);
    }
    static void fix(const Args& g, std::size_t i) { sincosf(g.a[i], &g.out[i], &g.out2[i]); }
};

using Run = void (*)(const Args&);

// Whole vectors through the kernel, then the tail at one lane; at one lane, plain calls. The
// arguments are a copy: the stores could otherwise alias the caller's record, whose pointers would
// be reloaded per vector.
template <class K>
struct Map {
    template <class V>
    VOREL_INLINE static void run(const Args g) {
        std::size_t i = 0;
        if constexpr (kLanes<V> != 1) {
            const auto fix = [&](std::size_t j) { K::fix(g, j); };
            i = blocks_of_lanes<kLanes<V>>(
                g.n, [&](std::size_t j) VOREL_INLINE_LAMBDA { return K::template step<V>(g, j); }, fix);
            for (; i < g.n; ++i)
                if (K::template step<float>(g, i) != 0) fix(i);
        }
        for (; i < g.n; ++i) K::fix(g, i);
    }
};

// log1pf and atan2f are plain float code in the libm and have replicas from four lanes on;
// log10f (through logf), powf and sincosf fuse, so their replicas (and the square-root rule,
// whose residual is one fused step) exist only at levels with FMA.
template <class K, bool kFuses>
constexpr IsaBuilds<Run> builds() {
    if constexpr (kFuses)
        return builds_of<Run, Map<K>, Isa::scalar, Isa::avx2, Isa::avx512>();
    else
        return builds_of<Run, Map<K>, Isa::scalar, Isa::sse2, Isa::avx2, Isa::avx512>();
}

// By LibmFn.
constexpr IsaBuilds<Run> kBuilds[] = {builds<Unary<One::log10f>, true>(), builds<Unary<One::log1pf>, false>(),
                                      builds<Unary<One::powf>, true>(), builds<Atan2f, false>(),
                                      builds<Sincosf, true>()};
constexpr IsaBuilds<Run> kPowfHalf = builds<Unary<One::powf_half>, true>();

Run build(LibmFn fn, Isa isa) { return kBuilds[static_cast<int>(fn)](isa); }

// Whether fn has a replica of its own at this level (not one inherited from below).
bool has_build(LibmFn fn, Isa isa) {
    return isa != Isa::scalar && build(fn, isa) != build(fn, static_cast<Isa>(static_cast<int>(isa) - 1));
}

// ---- guard inputs ----
// A guard may run inside a call that has already written some of its outputs, so it allocates
// nothing: the inputs live in a fixed buffer on the stack and are compared a chunk at a time.

struct Patterns {
    // The common patterns and the largest addition (sincosf's quadrant edges).
    static constexpr std::size_t kCapacity = 36 + 255 * 14 + 4096 + 3 * 8 + 153 * 12;
    float v[kCapacity];
    std::size_t n = 0;
    void push(std::uint32_t b) { v[n++] = std::bit_cast<float>(b); }
    // b - d and b + d for d < reach.
    void around(std::uint32_t b, std::uint32_t reach) {
        for (std::uint32_t d = 0; d < reach; ++d) {
            push(b - d);
            push(b + d);
        }
    }
};

// Patterns every guard sees: zeros, subnormals, the smallest and largest normals, infinities,
// NaN, +-1 and their neighbours, every power of two's neighbourhood, and a fixed pseudo-random
// spread over all bit patterns.
void common_patterns(Patterns& v) {
    const std::uint32_t fixed[] = {0x00000000, 0x00000001, 0x00000002, 0x007fffff, 0x00400000, 0x00800000,
                                   0x00800001, 0x7f7fffff, 0x7f800000, 0x7fc00000, 0x7fa00000, 0x7fffffff,
                                   0x3f800000, 0x3f7fffff, 0x3f800001, 0x3f000000, 0x3fffffff, 0x40000000};
    for (std::uint32_t b : fixed) {
        v.push(b);
        v.push(b | 0x80000000u);
    }
    for (std::uint32_t e = 0; e < 255; ++e) {
        for (std::uint32_t m : {0x000000u, 0x000001u, 0x7fffffu, 0x3504f3u, 0x3504f7u, 0x330000u, 0x32ffffu}) {
            v.push(e << 23 | m);
            v.push(0x80000000u | e << 23 | m);
        }
    }
    std::uint32_t state = 0x9e3779b9u;
    for (int i = 0; i < 4096; ++i) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        v.push(state);
    }
}

// Table boundaries of the logf and powf tables: the 16 subintervals of [0x3f330000, 2 *
// 0x3f330000) in steps of 2^19 bit patterns, both sides, in several binades.
void add_table_edges(Patterns& v) {
    for (std::uint32_t j = 0; j <= 32; ++j) {
        const std::uint32_t edge = 0x3f330000u + (j << 19);
        for (std::int32_t shift : {-0x20000000, -0x08000000, 0, 0x08000000, 0x20000000}) {
            const std::uint32_t b = edge + static_cast<std::uint32_t>(shift);
            v.push(b - 1);
            v.push(b);
            v.push(b + 1);
        }
    }
}

// Reduction thresholds of log1pf (0.41422, -0.2929, 2^-29, 2^-54, 2^53, -1) and of atanf
// (7/16, 11/16, 19/16, 39/16, 2^25, 2^-29), each with its neighbours.
void add_thresholds(Patterns& v) {
    for (std::uint32_t b : {0x3ed413d7u, 0xbe95f61fu, 0x31000000u, 0x24800000u, 0x5a000000u, 0xbf800000u, 0x3ee00000u,
                            0x3f300000u, 0x3f980000u, 0x401c0000u, 0x4c000000u, 0x3504f7u | 0x3f800000u,
                            0x3504f3u | 0x3f000000u, 0x3f3504f3u, 0xbeb504f3u})
        v.around(b, 4);
}

// sincosf: its branch points 2^-12, 0.75 and 120, and the neighbourhoods of the odd multiples
// of pi/4 up to 120, where the quadrant changes, and of the even ones, where a result nears 0.
void add_quadrant_edges(Patterns& v) {
    for (std::uint32_t b : {0x39800000u, 0x3f400000u, 0x42f00000u}) v.around(b, 4);
    for (int j = 1; j <= 153; ++j) {
        const std::uint32_t b = std::bit_cast<std::uint32_t>(static_cast<float>(j * 0.78539816339744831));
        for (std::uint32_t sign : {0u, 0x80000000u}) v.around(b | sign, 3);
    }
}

constexpr std::size_t kChunk = 256;

// Whether fn's build at `isa` gives the plain calls' bits on the inputs pair(j) = (a, b), j < n,
// taken a chunk at a time; y is powf's exponent.
template <class Pair>
bool agree(LibmFn fn, Isa isa, std::size_t n, float y, Pair pair) {
    float a[kChunk], b[kChunk], got[2][kChunk] = {}, want[2][kChunk] = {};
    for (std::size_t i = 0; i < n; i += kChunk) {
        const std::size_t m = std::min(kChunk, n - i);
        for (std::size_t j = 0; j < m; ++j) std::tie(a[j], b[j]) = pair(i + j);
        build(fn, isa)({got[0], got[1], a, b, m, y});
        build(fn, Isa::scalar)({want[0], want[1], a, b, m, y});
        if (std::memcmp(got, want, sizeof got) != 0) return false;
    }
    return true;
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
    constexpr const char* kNames[] = {"log10f", "log1pf", "powf", "atan2f", "sincosf"};
    return kNames[static_cast<int>(fn)];
}

bool guard_matches(LibmFn fn, Isa isa) {
    if (!isa_supported(isa)) return false;
    Patterns in;
    common_patterns(in);
    const auto each = [&](std::size_t j) { return std::pair{in.v[j], 0.0f}; };
    switch (fn) {
        case LibmFn::log10f: add_table_edges(in); return agree(fn, isa, in.n, 0.0f, each);
        case LibmFn::log1pf: add_thresholds(in); return agree(fn, isa, in.n, 0.0f, each);
        case LibmFn::powf:
            add_table_edges(in);
            for (float y : kGuardExponents)
                if (!agree(fn, isa, in.n, y, each)) return false;
            return true;
        case LibmFn::atan2f: {
            add_thresholds(in);
            // Every pairing of a short list of both arguments, then the list against its shifts.
            const std::size_t m = 97;
            return agree(fn, isa, m * m + in.n, 0.0f, [&](std::size_t j) {
                return j < m * m ? std::pair{in.v[j / m * 7 % in.n], in.v[j % m * 13 % in.n]}
                                 : std::pair{in.v[j - m * m], in.v[((j - m * m) * 31 + 5) % in.n]};
            });
        }
        case LibmFn::sincosf: add_quadrant_edges(in); return agree(fn, isa, in.n, 0.0f, each);
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

void log10f_array(Isa isa, float* dst, const float* src, std::size_t n) {
    build(LibmFn::log10f, isa)({dst, nullptr, src, nullptr, n, 0.0f});
}
void log1pf_array(Isa isa, float* dst, const float* src, std::size_t n) {
    build(LibmFn::log1pf, isa)({dst, nullptr, src, nullptr, n, 0.0f});
}
void powf_half_array(Isa isa, float* dst, const float* src, std::size_t n) {
    kPowfHalf(isa)({dst, nullptr, src, nullptr, n, half_exponent()});
}
void powf_array(Isa isa, float* dst, const float* src, std::size_t n, float y) {
    if (!powf_exponent_in_range(y)) isa = Isa::scalar;
    build(LibmFn::powf, isa)({dst, nullptr, src, nullptr, n, y});
}
void atan2f_array(Isa isa, float* dst, const float* y, const float* x, std::size_t n) {
    build(LibmFn::atan2f, isa)({dst, nullptr, y, x, n, 0.0f});
}
void sincosf_array(Isa isa, float* sin_dst, float* cos_dst, const float* src, std::size_t n) {
    build(LibmFn::sincosf, isa)({sin_dst, cos_dst, src, nullptr, n, 0.0f});
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
