// Adversarial-argument sweep over every exported function: each call must return a known
// status promptly, never write past the sizes the header documents, and leave every buffer
// untouched when it refuses the arguments.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <numeric>
#include <random>
#include <sstream>
#include <string>
#include <vector>

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

struct Args {
    std::array<int, 12> i{};
    std::array<float, 3> f{};
};
struct Buf {
    double n;  // documented size in 32-bit elements
    bool out;
    bool nullable = false;
};
using Ptrs = float* const*;

struct Fn {
    const char* name;
    std::string kinds;  // one letter per int argument: c = count, e = enumeration
    std::vector<int> idef;
    std::vector<float> fdef;
    std::function<std::vector<Buf>(const Args&)> bufs;
    std::function<bool(const Args&)> refused;  // a documented check must fail
    std::function<double(const Args&)> cost;
    std::function<int(const Args&, Ptrs)> call;
    int alias_dst = -1, alias_src = -1;  // dst may be src
};

bool bad(int v, std::initializer_list<int> ok) { return std::find(ok.begin(), ok.end(), v) == ok.end(); }
double fft_cost(double n) { return std::fmod(std::log2(n), 1.0) == 0.0 ? n * (std::log2(n) + 1) : n * n; }
double frames(double sample_n, double hop_n) { return hop_n <= 0 ? 0 : sample_n / hop_n + 1; }
int* ip(float* p) { return reinterpret_cast<int*>(p); }

// The table of functions is laid out by hand, one entry per function.
// clang-format off
#define A(k) static_cast<double>(a.i[k])
std::vector<Fn> functions() {
    auto unary = [](const char* name, int (*fn)(float*, const float*, int)) {
        return Fn{name, "c", {32}, {}, [](const Args& a) { return std::vector<Buf>{{A(0), true}, {A(0), false}}; },
                  [](const Args& a) { return a.i[0] < 1; }, [](const Args& a) { return A(0); },
                  [fn](const Args& a, Ptrs p) { return fn(p[0], p[1], a.i[0]); }, 0, 1};
    };
    auto transform = [](const char* name, int (*fn)(float*, const float*, int), double src_per_n) {
        return Fn{name, "c", {8}, {},
                  [src_per_n](const Args& a) { return std::vector<Buf>{{2 * A(0), true}, {src_per_n * A(0), false}}; },
                  [](const Args& a) { return a.i[0] < 1; }, [](const Args& a) { return 4 * fft_cost(A(0)); },
                  [fn](const Args& a, Ptrs p) { return fn(p[0], p[1], a.i[0]); }, 0, 1};
    };
    return {
        transform("FFT", vorelAudioFFT, 1), transform("IFFT", vorelAudioIFFT, 2),
        {"GetWindow", "ce", {16, 1}, {}, [](const Args& a) { return std::vector<Buf>{{A(0), true}}; },
         [](const Args& a) { return a.i[0] < 1 || bad(a.i[1], {1, 2}); }, [](const Args& a) { return A(0); },
         [](const Args& a, Ptrs p) { return vorelAudioGetWindow(p[0], a.i[0], a.i[1]); }},
        {"GetFrameLen", "ccce", {100, 16, 4, 1}, {}, [](const Args&) { return std::vector<Buf>{{1, true}}; },
         [](const Args& a) { return a.i[0] < 1 || a.i[1] < 1 || a.i[2] < 0 || bad(a.i[3], {0, 1, 2}); },
         [](const Args&) { return 1.0; },
         [](const Args& a, Ptrs p) { return vorelAudioGetFrameLen(ip(p[0]), a.i[0], a.i[1], a.i[2], a.i[3]); }},
        {"GetSpectrogram", "ccccecee", {100, 16, 4, 16, 1, 32, 1, 1}, {2.0f},
         [](const Args& a) { return std::vector<Buf>{{2 * (A(1) / 2 + 1) * A(5), true}, {A(0), false}}; },
         [](const Args& a) {
             return a.i[0] < 1 || a.i[1] < 1 || a.i[2] < 0 || a.i[3] < 1 || A(3) > A(1) + 1 || bad(a.i[4], {1, 2}) ||
                    a.i[5] < 1 || bad(a.i[6], {0, 1, 2}) || a.f[0] < 0 || bad(a.i[7], {0, 1, 2});
         },
         [](const Args& a) { return (std::min(frames(A(0), A(2)), A(5)) + 1) * 4 * fft_cost(A(1)) + A(0); },
         [](const Args& a, Ptrs p) {
             return vorelAudioGetSpectrogram(p[0], p[1], a.i[0], a.i[1], a.i[2], a.i[3], a.i[4], a.i[5], a.i[6],
                                             a.f[0], a.i[7]);
         }},
        {"GetSampleLen", "ccce", {10, 9, 4, 1}, {}, [](const Args&) { return std::vector<Buf>{{1, true}}; },
         [](const Args& a) { return a.i[0] < 1 || a.i[1] < 1 || a.i[2] < 0 || bad(a.i[3], {0, 1, 2}); },
         [](const Args&) { return 1.0; },
         [](const Args& a, Ptrs p) { return vorelAudioGetSampleLen(ip(p[0]), a.i[0], a.i[1], a.i[2], a.i[3]); }},
        {"GetInverseSpectrogram", "ccccecee", {10, 9, 4, 16, 1, 64, 1, 1}, {},
         [](const Args& a) { return std::vector<Buf>{{A(5), true}, {2 * A(1) * A(0), false}}; },
         [](const Args& a) {
             return a.i[0] < 1 || a.i[1] < 1 || a.i[2] < 0 || a.i[3] < 1 || A(3) > 2 * A(1) - 2 ||
                    bad(a.i[4], {1, 2}) || a.i[5] < 1 || bad(a.i[6], {0, 1, 2}) || bad(a.i[7], {0, 1, 2});
         },
         [](const Args& a) { return (A(0) + 1) * 4 * fft_cost(2 * A(1) - 2) + A(0) * A(2) + A(5); },
         [](const Args& a, Ptrs p) {
             return vorelAudioGetInverseSpectrogram(p[0], p[1], a.i[0], a.i[1], a.i[2], a.i[3], a.i[4], a.i[5],
                                                    a.i[6], a.i[7]);
         }},
        {"GetFBMatrix", "cccee", {33, 8, 16000, 0, 0}, {0.0f, 8000.0f},
         [](const Args& a) { return std::vector<Buf>{{A(1) * A(0), true}}; },
         [](const Args& a) {
             return a.i[0] < 1 || a.f[0] < 0 || a.f[1] < 0 || a.f[1] <= a.f[0] || a.i[1] < 1 || a.i[0] <= a.i[1] ||
                    a.i[2] < 1 || bad(a.i[3], {0, 1}) || bad(a.i[4], {0, 1});
         },
         [](const Args& a) { return 4 * A(0) * A(1); },
         [](const Args& a, Ptrs p) {
             return vorelAudioGetFBMatrix(p[0], a.i[0], a.f[0], a.f[1], a.i[1], a.i[2], a.i[3], a.i[4]);
         }},
        {"GetMelSpectrogram", "ccccceceecee", {200, 16000, 32, 8, 32, 1, 64, 1, 1, 8, 0, 0}, {2.0f, 0.0f, 8000.0f},
         [](const Args& a) {
             int frame_n = 0;  // the documented frame count, only asked for when the checks pass
             if (vorelAudioGetFrameLen(&frame_n, a.i[0], a.i[2], a.i[3], a.i[7]) != 0) frame_n = a.i[6];
             return std::vector<Buf>{{A(9) * std::min<double>(frame_n, A(6)), true}, {A(0), false}};
         },
         [](const Args& a) {
             return a.i[0] < 1 || a.i[1] < 1 || a.i[2] < 1 || a.i[3] < 0 || a.i[4] < 1 || A(4) > A(2) + 1 ||
                    bad(a.i[5], {1, 2}) || a.i[6] < 1 || bad(a.i[7], {0, 1, 2}) || a.f[0] < 0 ||
                    bad(a.i[8], {0, 1, 2}) || a.f[1] < 0 || a.f[2] < 0 || a.f[2] <= a.f[1] || a.i[9] < 1 ||
                    a.i[9] > a.i[2] / 2 || bad(a.i[10], {0, 1}) || bad(a.i[11], {0, 1});
         },
         [](const Args& a) {
             return (std::min(frames(A(0), A(3)), A(6)) + 1) * (4 * fft_cost(A(2)) + A(9) * A(2)) + A(0);
         },
         [](const Args& a, Ptrs p) {
             return vorelAudioGetMelSpectrogram(p[0], p[1], a.i[0], a.i[1], a.i[2], a.i[3], a.i[4], a.i[5], a.i[6],
                                                a.i[7], a.f[0], a.i[8], a.f[1], a.f[2], a.i[9], a.i[10], a.i[11]);
         }},
        {"ConvertToMel", "ccc", {9, 5, 4}, {},
         [](const Args& a) {
             return std::vector<Buf>{{A(2) * A(1), true}, {A(0) * A(1), false}, {A(2) * A(0), false}};
         },
         [](const Args& a) { return a.i[0] < 1 || a.i[2] < 1 || a.i[0] <= a.i[2] || a.i[1] < 1; },
         [](const Args& a) { return A(0) * A(1) * A(2); },
         [](const Args& a, Ptrs p) { return vorelAudioConvertToMel(p[0], p[1], p[2], a.i[0], a.i[1], a.i[2]); }},
        {"LinerFilter", "ccccc", {64, 64, 3, 3, 2}, {},
         [](const Args& a) {
             return std::vector<Buf>{{A(0), true}, {A(1), false}, {A(2), false}, {A(3), false}, {A(4), true, true}};
         },
         [](const Args& a) { return a.i[0] < 1 || a.i[1] < 1 || a.i[2] < 1 || a.i[3] < 1; },
         [](const Args& a) { return (std::min(A(0), A(1)) + 1) * 4 * std::max(A(2), A(3)) + A(0); },
         [](const Args& a, Ptrs p) {
             return vorelAudioLinerFilter(p[0], p[1], p[2], p[3], p[4], a.i[0], a.i[1], a.i[2], a.i[3], a.i[4]);
         },
         0, 1},
        {"GetLinerFilterZiCoef", "ccc", {4, 3, 3}, {},
         [](const Args& a) { return std::vector<Buf>{{A(0), true}, {A(1), false}, {A(2), false}}; },
         [](const Args& a) { return a.i[0] < 1 || a.i[1] < 1 || a.i[2] < 1; },
         [](const Args& a) { return A(0) + 4 * std::pow(std::max(A(1), A(2)), 2); },
         [](const Args& a, Ptrs p) {
             return vorelAudioGetLinerFilterZiCoef(p[0], p[1], p[2], a.i[0], a.i[1], a.i[2]);
         }},
        {"FilterFilter", "ccccec", {64, 64, 3, 3, 1, 9}, {},
         [](const Args& a) { return std::vector<Buf>{{A(0), true}, {A(1), false}, {A(2), false}, {A(3), false}}; },
         [](const Args& a) {
             return a.i[0] < 1 || a.i[1] < 1 || a.i[2] < 1 || a.i[3] < 1 || bad(a.i[4], {0, 1, 2, 3}) || a.i[5] < 0;
         },
         [](const Args& a) {
             const double n = A(1) + (a.i[4] == 0 ? 0 : 2 * A(5));
             return n > INT_MAX ? 1 : (n + 1) * 8 * std::max(A(2), A(3)) + A(0);
         },
         [](const Args& a, Ptrs p) {
             return vorelAudioFilterFilter(p[0], p[1], p[2], p[3], a.i[0], a.i[1], a.i[2], a.i[3], a.i[4], a.i[5]);
         },
         0, 1},
        {"GetResampleLen", "ccc", {48000, 100, 16000}, {}, [](const Args&) { return std::vector<Buf>{{1, true}}; },
         [](const Args& a) { return a.i[0] < 1 || a.i[2] < 1 || a.i[1] < 1; }, [](const Args&) { return 1.0; },
         [](const Args& a, Ptrs p) { return vorelAudioGetResampleLen(ip(p[0]), a.i[0], a.i[1], a.i[2]); }},
        {"Resample", "cccc", {3, 150, 2, 100}, {},
         [](const Args& a) { return std::vector<Buf>{{A(1), true}, {A(3), false}}; },
         [](const Args& a) { return a.i[0] < 1 || a.i[1] < 1 || a.i[2] < 1 || a.i[3] < 1; },
         [](const Args& a) {
             const double g = std::gcd(a.i[0], a.i[2]), up = A(0) / g, down = A(2) / g;
             return (A(1) + 1) * 65 + A(3) + (up > 4067203 ? 0 : 65 * up + (down <= 16 * up ? 32 * down : 0));
         },
         [](const Args& a, Ptrs p) { return vorelAudioResample(p[0], p[1], a.i[0], a.i[1], a.i[2], a.i[3]); }, 0, 1},
        {"ComplexNorm", "c", {32}, {2.0f},
         [](const Args& a) { return std::vector<Buf>{{A(0), true}, {2 * A(0), false}}; },
         [](const Args& a) { return a.i[0] < 1 || a.f[0] <= 0; }, [](const Args& a) { return A(0); },
         [](const Args& a, Ptrs p) { return vorelAudioComplexNorm(p[0], p[1], a.i[0], a.f[0]); }},
        {"MagPhase", "cce", {9, 5, 0}, {1.0f},
         [](const Args& a) {
             return std::vector<Buf>{{A(0) * A(1), true}, {(a.i[2] == 1 ? 2 : 1) * A(0) * A(1), true},
                                     {2 * A(0) * A(1), false}};
         },
         [](const Args& a) { return a.i[0] < 1 || a.i[1] < 1 || a.f[0] < 0 || bad(a.i[2], {0, 1}); },
         [](const Args& a) { return 4 * A(0) * A(1); },
         [](const Args& a, Ptrs p) { return vorelAudioMagPhase(p[0], p[1], p[2], a.i[0], a.i[1], a.f[0], a.i[2]); }},
        {"ConvertPowerToDB", "c", {32}, {80.0f},
         [](const Args& a) { return std::vector<Buf>{{A(0), true}, {A(0), false}}; },
         [](const Args& a) { return a.i[0] < 1; }, [](const Args& a) { return A(0); },
         [](const Args& a, Ptrs p) { return vorelAudioConvertPowerToDB(p[0], p[1], a.i[0], a.f[0]); }, 0, 1},
        unary("Standardize", vorelAudioStandardize), unary("Log1p", vorelAudioLog1p),
        {"GetNonSilentPos", "ccc", {400, 16, 4}, {60.0f},
         [](const Args& a) { return std::vector<Buf>{{1, true}, {1, true}, {A(0), false}}; },
         [](const Args& a) { return a.i[0] < 1 || a.i[1] < 1 || a.i[2] < 0 || a.f[0] < 0; },
         [](const Args& a) { return A(0) + (A(0) < A(1) ? 0 : frames(A(0), A(2)) * A(1)); },
         [](const Args& a, Ptrs p) {
             return vorelAudioGetNonSilentPos(ip(p[0]), ip(p[1]), p[2], a.i[0], a.i[1], a.i[2], a.f[0]);
         }},
        {"FixFrameLen", "ccc", {9, 10, 7}, {0.0f},
         [](const Args& a) { return std::vector<Buf>{{A(0) * A(1), true}, {A(0) * A(2), false}}; },
         [](const Args& a) { return a.i[0] < 1 || a.i[1] < 1 || a.i[2] < 1; },
         [](const Args& a) { return A(0) * (A(1) + A(2)); },
         [](const Args& a, Ptrs p) { return vorelAudioFixFrameLen(p[0], p[1], a.i[0], a.i[1], a.i[2], a.f[0]); }},
    };
}
#undef A
// clang-format on

std::string describe(const Fn& fn, const Args& a, bool alias, int null_idx, bool wild) {
    std::ostringstream s;
    s << fn.name << "(ints";
    for (std::size_t k = 0; k < fn.idef.size(); ++k) s << ' ' << a.i[k];
    s << "; floats";
    for (std::size_t k = 0; k < fn.fdef.size(); ++k) s << ' ' << a.f[k];
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
    const auto start = std::chrono::steady_clock::now();
    const int status = fn.call(a, ptrs.data());
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const std::string what = describe(fn, a, alias, null_idx, wild);
    EXPECT_TRUE(status == 0 || status == -1 || status == -5 || status == -128) << what << " gave " << status;
    if (refused) {
        EXPECT_EQ(status, -1) << what;
    }
    EXPECT_LT(seconds, 30.0) << what;  // a hang, not a speed check
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
    const Fn fn = functions()[GetParam()];
    const std::size_t ni = fn.idef.size(), nf = fn.fdef.size();
    ASSERT_EQ(fn.kinds.size(), ni);
    Args def;
    std::copy(fn.idef.begin(), fn.idef.end(), def.i.begin());
    std::copy(fn.fdef.begin(), fn.fdef.end(), def.f.begin());
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

// An inaccessible reservation of a caller buffer too large to allocate: any access faults.
class Reserved {
public:
    explicit Reserved(double floats) : bytes_(static_cast<std::size_t>(floats * 4)) {
        void* p = mmap(nullptr, bytes_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        p_ = p == MAP_FAILED ? nullptr : static_cast<float*>(p);
    }
    ~Reserved() {
        if (p_ != nullptr) munmap(p_, bytes_);
    }
    Reserved(const Reserved&) = delete;
    Reserved& operator=(const Reserved&) = delete;
    float* get() const { return p_; }

private:
    std::size_t bytes_;
    float* p_;
};

// Huge but valid counts that the header promises to answer without touching the buffers.
TEST(BadInput, HugeValidCountsAnsweredWithoutTouchingBuffers) {
    const double n = INT_MAX;
    Reserved signal(n), wide(2 * n), spectrum(2 * 33 * 65536.0), coef(4);
    ASSERT_TRUE(signal.get() && wide.get() && spectrum.get() && coef.get());
    EXPECT_EQ(vorelAudioFFT(wide.get(), signal.get(), INT_MAX), VOREL_STATUS_OUT_OF_MEMORY);
    EXPECT_EQ(vorelAudioIFFT(wide.get(), wide.get(), INT_MAX), VOREL_STATUS_OUT_OF_MEMORY);
    EXPECT_EQ(vorelAudioResample(signal.get(), signal.get(), 4067209, INT_MAX, 1, INT_MAX), VOREL_STATUS_OUT_OF_MEMORY);
    EXPECT_EQ(vorelAudioFilterFilter(signal.get(), coef.get(), coef.get(), coef.get(), INT_MAX, 2, 3, 3,
                                     VOREL_AUDIO_PAD_TYPE_ODD, INT_MAX / 2),
              VOREL_STATUS_UNKNOWN_ERROR);
    // hop_n 0: no frame, so neither the signal nor the output is looked at.
    EXPECT_EQ(vorelAudioGetSpectrogram(spectrum.get(), signal.get(), INT_MAX, 64, 0, 64, 1, 65536, 1, 2.0f, 1), 0);
    EXPECT_EQ(vorelAudioGetMelSpectrogram(spectrum.get(), signal.get(), INT_MAX, 16000, 64, 0, 64, 1, 65536, 1, 2.0f, 1,
                                          0.0f, 8000.0f, 8, 0, 0),
              0);
    int start = 5, len = 5;
    EXPECT_EQ(vorelAudioGetNonSilentPos(&start, &len, signal.get(), INT_MAX, 16, 0, 60.0f), 0);
    EXPECT_EQ(start, -1);
    EXPECT_EQ(len, 0);
}

INSTANTIATE_TEST_SUITE_P(AllExported, BadInput, testing::Range<std::size_t>(0, 22),
                         [](const testing::TestParamInfo<std::size_t>& info) {
                             return std::string(functions()[info.param].name);
                         });

}  // namespace
