// Working sets beyond the machine are refused as an allocation failure, small ones pass.
#include <gtest/gtest.h>

#include <sys/sysinfo.h>

#include <cstdint>
#include <new>

#include "common/memory_budget.h"

using vorel::audio::require_memory;

TEST(MemoryBudget, RefusesMoreThanRamPlusSwapAndAllowsLess) {
    struct sysinfo info {};
    ASSERT_EQ(sysinfo(&info), 0);
    const std::size_t machine = (static_cast<std::size_t>(info.totalram) + info.totalswap) * info.mem_unit;
    EXPECT_NO_THROW(require_memory(0));
    EXPECT_NO_THROW(require_memory(1 << 20));
    EXPECT_NO_THROW(require_memory(machine));
    EXPECT_THROW(require_memory(machine + 1), std::bad_alloc);
    EXPECT_THROW(require_memory(SIZE_MAX), std::bad_alloc);
}
