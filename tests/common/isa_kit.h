// The shared test kit for fast paths: a suite parameterised over every instruction-set level
// this CPU runs, and a bit-for-bit comparison that names the first differing element.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

#include "simd/isa.h"

namespace vorel::audio::testing {

// Derive a fixture from this and instantiate it with VOREL_FOR_EACH_ISA(Fixture): each test
// then runs once per level, GetParam() naming it.
class EachIsa : public ::testing::TestWithParam<simd::Isa> {};

#define VOREL_FOR_EACH_ISA(Fixture)                                                                     \
    INSTANTIATE_TEST_SUITE_P(Isa, Fixture, ::testing::ValuesIn(::vorel::audio::simd::supported_isas()), \
                             [](const auto& info) { return std::string(::vorel::audio::simd::isa_name(info.param)); })

// Equal bit patterns element by element (so -0.0 differs from +0.0 and NaN payloads count).
template <class T>
::testing::AssertionResult same_bits(const T* got, const T* want, std::size_t n) {
    using Bits = std::conditional_t<sizeof(T) == 8, std::uint64_t, std::uint32_t>;
    for (std::size_t i = 0; i < n; ++i) {
        if (std::bit_cast<Bits>(got[i]) != std::bit_cast<Bits>(want[i]))
            return ::testing::AssertionFailure()
                   << "first difference at " << i << " of " << n << ": " << got[i] << " against " << want[i];
    }
    return ::testing::AssertionSuccess();
}

template <class C>
::testing::AssertionResult same_bits(const C& got, const C& want) {
    if (got.size() != want.size())
        return ::testing::AssertionFailure() << "sizes " << got.size() << " and " << want.size();
    return same_bits(got.data(), want.data(), got.size());
}

}  // namespace vorel::audio::testing
