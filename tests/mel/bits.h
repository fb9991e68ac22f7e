// Bit-for-bit comparison of float results for the mel tests.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <vector>

// Bits must agree, except that any NaN matches any NaN: which operand's payload an addition
// of two NaNs passes on is up to the instruction order the compiler picks.
inline void expect_same_bits(const std::vector<float>& a, const std::vector<float>& b) {
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (std::isnan(a[i]) && std::isnan(b[i])) continue;
        ASSERT_EQ(std::bit_cast<std::uint32_t>(a[i]), std::bit_cast<std::uint32_t>(b[i])) << i;
    }
}
