// The one run-time dispatcher: which instruction-set level this process runs its kernels at,
// decided once, and the attributes that compile a kernel for each level. Every level gives
// the same bits; only the number of lanes changes.
#pragma once

#include <string_view>
#include <vector>

#include "simd/vec.h"

// Functions carrying these are compiled for the level; always-inlined templates called from
// them are compiled with them. The avx2 level includes FMA, which only the exact replicas of
// library functions use: contraction is off, so no other arithmetic fuses.
#define VOREL_TARGET_SSE2
#define VOREL_TARGET_AVX2 __attribute__((target("avx2,fma")))
#define VOREL_TARGET_AVX512 __attribute__((target("avx512f,avx512dq,avx512bw,avx512vl,avx2,fma")))

namespace vorel::audio::simd {

// scalar: no vectors at all, the plain path. sse2: four float lanes (every x86-64 CPU).
// avx2: eight lanes, with FMA. avx512: sixteen lanes.
enum class Isa { scalar, sse2, avx2, avx512 };
inline constexpr Isa kAllIsas[] = {Isa::scalar, Isa::sse2, Isa::avx2, Isa::avx512};

// Whether this CPU (and its operating system) runs code built for the level.
bool isa_supported(Isa isa);
// Every level this CPU runs, scalar first: what a test holds each fast path to.
std::vector<Isa> supported_isas();
// The highest supported level, capped by the environment variable VOREL_AUDIO_ISA
// (scalar, sse2, avx2 or avx512; anything else is ignored), decided once per process.
Isa best_isa();
// The level a process would choose: `cpu_best` capped by the variable's value (may be null).
Isa capped_isa(Isa cpu_best, const char* cap);

const char* isa_name(Isa isa);

// Float lanes of the level's vectors: 1, 4, 8, 16.
constexpr std::size_t isa_lanes(Isa isa) { return isa == Isa::scalar ? 1 : std::size_t{2} << static_cast<int>(isa); }

// The level named by `name`, or false when the name is none of the four.
bool parse_isa(std::string_view name, Isa& isa);

// One kernel built for several levels. A null entry stands for the next lower level's build,
// so a family that gains nothing from wider vectors leaves the upper entries out.
template <class F>
struct IsaBuilds {
    F scalar = nullptr;
    F sse2 = nullptr;
    F avx2 = nullptr;
    F avx512 = nullptr;

    F operator()(Isa isa) const {
        const F builds[] = {scalar, sse2, avx2, avx512};
        for (int level = static_cast<int>(isa); level > 0; --level)
            if (builds[level]) return builds[level];
        return scalar;
    }
};

// One kernel compiled for each level: K::run<V>(args...) at V = float, float4, float8 and float16,
// each entry carrying its level's attribute, so that the always-inlined kernel is compiled for
// that level. Fn is the entries' pointer type; the levels not in kLevels are left null and fall
// to the level below.
template <class Fn>
struct EntriesOf;
template <class R, class... A>
struct EntriesOf<R (*)(A...)> {
    template <class K>
    static R scalar(A... a) {
        return K::template run<float>(a...);
    }
    template <class K>
    VOREL_TARGET_SSE2 static R sse2(A... a) {
        return K::template run<float4>(a...);
    }
    template <class K>
    VOREL_TARGET_AVX2 static R avx2(A... a) {
        return K::template run<float8>(a...);
    }
    template <class K>
    VOREL_TARGET_AVX512 static R avx512(A... a) {
        return K::template run<float16>(a...);
    }
};

template <class Fn, class K, Isa... kLevels>
constexpr IsaBuilds<Fn> builds_of() {
    using E = EntriesOf<Fn>;
    IsaBuilds<Fn> builds;
    if constexpr (((kLevels == Isa::scalar) || ...)) builds.scalar = &E::template scalar<K>;
    if constexpr (((kLevels == Isa::sse2) || ...)) builds.sse2 = &E::template sse2<K>;
    if constexpr (((kLevels == Isa::avx2) || ...)) builds.avx2 = &E::template avx2<K>;
    if constexpr (((kLevels == Isa::avx512) || ...)) builds.avx512 = &E::template avx512<K>;
    return builds;
}

}  // namespace vorel::audio::simd
