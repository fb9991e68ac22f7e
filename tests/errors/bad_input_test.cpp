// Adversarial-argument sweep over every exported function, through the fuzz target's table of
// calls: each call must return a known status, never write past the sizes the header documents,
// and leave every buffer untouched when it refuses the arguments. Only calls of bounded cost
// run, so a hang shows as the test's timeout.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "fuzz/calls.h"
#include "vorel_audio.h"

namespace {

const std::vector<int> kCounts = {INT_MIN, -1, 0, 1, 2, 3, 5, 7, 400, 401, 65536, INT_MAX, INT_MAX / 2};
const std::vector<int> kEnums = {-1, 0, 1, 2, 3, 4, 1000, INT_MIN};
// clang-format off
const std::vector<float> kFloats = {std::numeric_limits<float>::quiet_NaN(),
                                    std::numeric_limits<float>::infinity(),
                                    -std::numeric_limits<float>::infinity(), -0.0f, 0.0f, 1.0f,
                                    1e30f, -1e30f, std::numeric_limits<float>::denorm_min()};
// clang-format on

// Caller buffers above 64 MB are not allocated, and valid calls whose work (or memory touched)
// exceeds kMaxCost element operations are skipped: huge but valid lengths legitimately
// allocate gigabytes or run for minutes.
constexpr double kMaxFloats = 16.0 * 1024 * 1024;
constexpr double kMaxCost = 4e6;
constexpr std::size_t kGuard = 16;
constexpr std::uint32_t kCanary = 0x7fc0deadu, kUnwritten = 0x7fa5a5a5u;

using fuzz::Args;
using fuzz::Buf;
using fuzz::Fn;

// A valid call per function, in the order of fuzz::functions(), that the sweep varies one
// argument at a time and at random.
struct Defaults {
    std::vector<int> i;
    std::vector<float> f;
};
// clang-format off
const Defaults kDefaults[] = {
    {{8}, {}}, {{8}, {}},                                                          // FFT, IFFT
    {{16, 1}, {}}, {{100, 16, 4, 1}, {}},                                          // GetWindow, GetFrameLen
    {{100, 16, 4, 16, 1, 32, 1, 1}, {2.0f}},                                       // GetSpectrogram
    {{10, 9, 4, 1}, {}}, {{10, 9, 4, 16, 1, 64, 1, 1}, {}},                        // GetSampleLen, inverse
    {{33, 8, 16000, 0, 0}, {0.0f, 8000.0f}},                                       // GetFBMatrix
    {{200, 16000, 32, 8, 32, 1, 64, 1, 1, 8, 0, 0}, {2.0f, 0.0f, 8000.0f}},        // GetMelSpectrogram
    {{9, 5, 4}, {}}, {{64, 64, 3, 3, 2}, {}}, {{4, 3, 3}, {}},                     // ConvertToMel, filters
    {{64, 64, 3, 3, 1, 9}, {}}, {{48000, 100, 16000}, {}}, {{3, 150, 2, 100}, {}}, // FilterFilter, resampling
    {{32}, {2.0f}}, {{9, 5, 0}, {1.0f}}, {{32}, {80.0f}},                          // ComplexNorm .. PowerToDB
    {{32}, {}}, {{32}, {}}, {{400, 16, 4}, {60.0f}}, {{9, 10, 7}, {0.0f}},         // Standardize .. FixFrameLen
};
// clang-format on

std::string describe(const Fn& fn, const Args& a, bool alias, int null_idx, bool wild) {
    std::ostringstream s;
    s << fn.name << "(ints";
    for (std::size_t k = 0; k < fn.kinds.size(); ++k) s << ' ' << a.i[k];
    s << "; floats";
    for (int k = 0; k < fn.float_n; ++k) s << ' ' << a.f[k];
    s << (alias ? "; dst == src" : "") << (wild ? "; non-finite data" : "") << "; null buffer " << null_idx << ")";
    return s.str();
}

// One call with guarded buffers; returns false when the combination was skipped. Wild data
// puts the extreme floats into every fourth input element.
bool run_case(const Fn& fn, const Args& a, bool alias, int null_idx, bool wild = false) {
    std::vector<Buf> bufs = fn.bufs(a);
    if (alias) bufs[fn.alias_dst].n = std::max(bufs[fn.alias_dst].n, bufs[fn.alias_src].n);
    const bool refused = fn.refused(a) || (null_idx >= 0 && !bufs[null_idx].nullable);
    double total = 0;
    for (const Buf& b : bufs) total += std::max(0.0, b.n);
    const bool small = total > kMaxFloats || (!refused && fn.cost(a) > kMaxCost);
    if (small && !refused) return false;
    std::vector<std::vector<std::uint32_t>> mem(bufs.size());
    std::uint32_t seed = 12345;
    for (std::size_t b = 0; b < bufs.size(); ++b) {
        const std::size_t n = static_cast<std::size_t>(std::clamp(bufs[b].n, 0.0, small ? 16.0 : kMaxFloats));
        mem[b].assign(n + kGuard, kCanary);
        for (std::size_t k = 0; k < n; ++k) {
            seed = seed * 1664525u + 1013904223u;
            float v = static_cast<float>(seed >> 8) / 16777216.0f * 2.0f - 1.0f;
            if (wild && k % 4 == 0) v = kFloats[(seed >> 4) % kFloats.size()];
            std::memcpy(&mem[b][k], &v, sizeof v);
            if (bufs[b].out && !(alias && static_cast<int>(b) == fn.alias_dst)) mem[b][k] = kUnwritten;
        }
    }
    if (alias) mem[fn.alias_src].clear();
    const auto before = mem;
    std::vector<float*> ptrs(bufs.size());
    for (std::size_t b = 0; b < bufs.size(); ++b) {
        const std::size_t owner = alias && static_cast<int>(b) == fn.alias_src ? fn.alias_dst : b;
        ptrs[b] = static_cast<int>(b) == null_idx ? nullptr : reinterpret_cast<float*>(mem[owner].data());
    }
    const int status = fn.call(a, ptrs.data());
    const std::string what = describe(fn, a, alias, null_idx, wild);
    EXPECT_TRUE(status == 0 || status == -1 || status == -5 || status == -128) << what << " gave " << status;
    if (refused) {
        EXPECT_EQ(status, -1) << what;
    }
    for (std::size_t b = 0; b < bufs.size(); ++b) {
        const std::size_t n = mem[b].size() - std::min(mem[b].size(), kGuard);
        const bool written = bufs[b].out || (alias && static_cast<int>(b) == fn.alias_dst);
        EXPECT_TRUE(std::equal(mem[b].begin() + n, mem[b].end(), before[b].begin() + n))
            << what << ": write past the documented size of buffer " << b;
        if (status == -1 || !written) {
            EXPECT_TRUE(mem[b] == before[b]) << what << ": buffer " << b << " changed (status " << status << ")";
        }
    }
    return true;
}

class BadInput : public testing::TestWithParam<std::size_t> {};

TEST_P(BadInput, SweepReturnsStatusWithinDocumentedBuffers) {
    const Fn& fn = fuzz::functions()[GetParam()];
    const Defaults& d = kDefaults[GetParam()];
    const std::size_t ni = fn.kinds.size(), nf = static_cast<std::size_t>(fn.float_n);
    ASSERT_EQ(d.i.size(), ni) << fn.name;
    ASSERT_EQ(d.f.size(), nf) << fn.name;
    Args def;
    std::copy(d.i.begin(), d.i.end(), def.i.begin());
    std::copy(d.f.begin(), d.f.end(), def.f.begin());
    ASSERT_FALSE(fn.refused(def)) << fn.name;
    const bool can_alias = fn.alias_dst >= 0;
    std::vector<Args> cases = {def};
    for (std::size_t k = 0; k < ni; ++k)
        for (int v : fn.kinds[k] == 'e' ? kEnums : kCounts) cases.push_back(def), cases.back().i[k] = v;
    for (std::size_t k = 0; k < nf; ++k)
        for (float v : kFloats) cases.push_back(def), cases.back().f[k] = v;
    std::mt19937 rng(20261122u + static_cast<unsigned>(GetParam()));
    for (int c = 0; c < 600; ++c) {
        Args a = def;
        for (std::size_t k = 0; k < ni; ++k) {
            const std::vector<int>& dom = fn.kinds[k] == 'e' ? kEnums : kCounts;
            if (rng() % 2) a.i[k] = dom[rng() % dom.size()];
        }
        for (std::size_t k = 0; k < nf; ++k)
            if (rng() % 2) a.f[k] = kFloats[rng() % kFloats.size()];
        cases.push_back(a);
    }
    int ran = 0;
    for (std::size_t c = 0; c < cases.size(); ++c) {
        ran += run_case(fn, cases[c], false, -1, c % 2 == 1);
        if (can_alias) ran += run_case(fn, cases[c], true, -1, c % 2 == 0);
    }
    for (int b = 0; b < static_cast<int>(fn.bufs(def).size()); ++b) ran += run_case(fn, def, false, b);
    EXPECT_GT(ran, static_cast<int>(cases.size()) / 2) << "too many combinations skipped";
}

INSTANTIATE_TEST_SUITE_P(AllExported, BadInput, testing::Range<std::size_t>(0, std::size(kDefaults)),
                         [](const testing::TestParamInfo<std::size_t>& info) {
                             return std::string(fuzz::functions()[info.param].name);
                         });

}  // namespace
