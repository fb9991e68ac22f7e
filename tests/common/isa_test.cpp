// The dispatcher: the environment variable only ever lowers the level, unknown names are
// ignored, and every level named here is one the CPU runs.
#include <gtest/gtest.h>

#include "simd/isa.h"

namespace vorel::audio::simd {
namespace {

TEST(Isa, CapOnlyLowers) {
    const struct {
        Isa cpu;
        const char* cap;
        Isa want;
    } cases[] = {
        {Isa::avx512, nullptr, Isa::avx512}, {Isa::avx512, "avx2", Isa::avx2},   {Isa::avx512, "scalar", Isa::scalar},
        {Isa::sse2, "avx512", Isa::sse2},    {Isa::avx2, "AVX2", Isa::avx2},     {Isa::avx2, "", Isa::avx2},
        {Isa::avx2, "sse2", Isa::sse2},      {Isa::scalar, "sse2", Isa::scalar},
    };
    for (const auto& c : cases)
        EXPECT_EQ(capped_isa(c.cpu, c.cap), c.want) << isa_name(c.cpu) << " capped by " << (c.cap ? c.cap : "null");
}

TEST(Isa, BestIsSupportedAndNamesRoundTrip) {
    EXPECT_TRUE(isa_supported(best_isa()));
    const auto isas = supported_isas();
    ASSERT_GE(isas.size(), 2u);
    EXPECT_EQ(isas.front(), Isa::scalar);
    for (Isa isa : kAllIsas) {
        Isa parsed;
        ASSERT_TRUE(parse_isa(isa_name(isa), parsed));
        EXPECT_EQ(parsed, isa);
    }
}

}  // namespace
}  // namespace vorel::audio::simd
