// CPU features are read once; the environment variable only ever lowers the level, so a
// pinned process never runs code its CPU lacks.
#include "simd/isa.h"

#include <cstdlib>

namespace vorel::audio::simd {

bool isa_supported(Isa isa) {
    // Safe also before the constructors of libgcc have run (a host's own static initialisers).
    __builtin_cpu_init();
    switch (isa) {
        case Isa::avx512:
            return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
                   __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl") && isa_supported(Isa::avx2);
        case Isa::avx2: return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
        case Isa::sse2:
        case Isa::scalar: return true;
    }
    return false;
}

std::vector<Isa> supported_isas() {
    std::vector<Isa> isas;
    for (Isa isa : kAllIsas)
        if (isa_supported(isa)) isas.push_back(isa);
    return isas;
}

const char* isa_name(Isa isa) {
    constexpr const char* kNames[] = {"scalar", "sse2", "avx2", "avx512"};
    return kNames[static_cast<int>(isa)];
}

bool parse_isa(std::string_view name, Isa& isa) {
    for (Isa candidate : kAllIsas) {
        if (name == isa_name(candidate)) {
            isa = candidate;
            return true;
        }
    }
    return false;
}

Isa capped_isa(Isa cpu_best, const char* cap) {
    Isa limit;
    if (cap == nullptr || !parse_isa(cap, limit)) return cpu_best;
    return limit < cpu_best ? limit : cpu_best;
}

Isa best_isa() {
    static const Isa best = [] {
        Isa cpu_best = Isa::scalar;
        for (Isa isa : kAllIsas)
            if (isa_supported(isa)) cpu_best = isa;
        return capped_isa(cpu_best, std::getenv("VOREL_AUDIO_ISA"));
    }();
    return best;
}

}  // namespace vorel::audio::simd
