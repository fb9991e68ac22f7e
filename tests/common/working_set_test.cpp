// The working set: declared parts laid out apart on cache-line boundaries and zero-filled, and
// a declaration beyond any machine (also one whose byte count would wrap) refused up front.
#include <gtest/gtest.h>

#include <cstdint>
#include <new>

#include "common/working_set.h"

using vorel::audio::WorkingSet;

TEST(WorkingSet, LaysOutDeclaredPartsAndRefusesImpossibleOnes) {
    WorkingSet ws;
    const auto a = ws.part<float>(3);
    const auto b = ws.part<std::uint32_t>(17);
    const auto none = ws.part<float>(0);
    const auto v = ws.vector(5);
    ws.outside(100);
    EXPECT_EQ(ws.bytes(), 64u + 128u + 5 * 4u + 100u);  // parts rounded up to 64 bytes
    ws.allocate();
    const auto at = [](const void* p) { return reinterpret_cast<std::uintptr_t>(p); };
    EXPECT_EQ(at(ws[a]) % 64, 0u);
    EXPECT_EQ(at(ws[b]) % 64, 0u);
    EXPECT_GE(at(ws[b]), at(ws[a] + 3));
    EXPECT_EQ(ws[none], nullptr);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(ws[a][i], 0.0f);
    for (int i = 0; i < 17; ++i) EXPECT_EQ(ws[b][i], 0u);
    EXPECT_EQ(ws[v], std::vector<float>(5, 0.0f));

    for (std::size_t count : {SIZE_MAX / 8, SIZE_MAX / 2, SIZE_MAX}) {
        WorkingSet huge;
        const auto p = huge.part<float>(count);
        huge.vector(count);
        if (count > SIZE_MAX / 4) {
            EXPECT_EQ(huge.bytes(), SIZE_MAX);  // a byte count that would wrap saturates
        }
        EXPECT_THROW(huge.allocate(), std::bad_alloc);
        EXPECT_EQ(huge[p], nullptr);
    }
}
