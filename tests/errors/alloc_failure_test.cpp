// Allocation failure in every exported function: a replaced global operator new fails the
// k-th allocation of one call, for every k the call reaches. Each such call returns -5 and
// leaves its outputs as they were (a leak shows under the sanitizer build), and the call
// retried without failures gives the same bits as the same call in a fresh process, so no
// failure left a half-built cache entry behind.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "common/counting_new.h"
#include "fuzz/calls.h"
#include "vorel_audio.h"

namespace {

using fuzz::Args;
using fuzz::Fn;

// One representative call per function, in the order of fuzz::functions(), on shapes no other
// test of this program uses, so that the caches start cold and their builds are swept too.
struct Row {
    std::vector<int> i;
    std::vector<float> f;
};
const Row kRows[] = {
    {{1000}, {}},                                                                  // FFT: a mixed-radix length
    {{1536}, {}},                                                                  // IFFT
    {{1234, 2}, {}},                                                               // GetWindow
    {{1000, 64, 16, 1}, {}},                                                       // GetFrameLen
    {{700, 120, 50, 100, 1, 16, 1, 1}, {2.0f}},                                    // GetSpectrogram
    {{10, 61, 30, 1}, {}},                                                         // GetSampleLen
    {{9, 61, 30, 110, 2, 400, 1, 2}, {}},                                          // GetInverseSpectrogram
    {{77, 9, 11025, 1, 1}, {0.0f, 5000.0f}},                                       // GetFBMatrix
    {{3000, 11025, 200, 60, 190, 2, 64, 1, 1, 11, 1, 0}, {2.0f, 30.0f, 5000.0f}},  // GetMelSpectrogram
    {{41, 13, 7}, {}},                                                             // ConvertToMel
    {{300, 280, 4, 3, 3}, {}},                                                     // LinerFilter
    {{5, 6, 4}, {}},                                                               // GetLinerFilterZiCoef
    {{300, 280, 4, 3, 1, 20}, {}},                                                 // FilterFilter
    {{22050, 999, 11025}, {}},                                                     // GetResampleLen
    {{7, 400, 3, 180}, {}},                                                        // Resample: a pair of its own
    {{333}, {1.5f}},                                                               // ComplexNorm
    {{17, 19, 1}, {0.5f}},                                                         // MagPhase
    {{321}, {70.0f}},                                                              // ConvertPowerToDB
    {{322}, {}},                                                                   // Standardize
    {{323}, {}},                                                                   // Log1p
    {{3000, 100, 25}, {40.0f}},                                                    // GetNonSilentPos
    {{11, 20, 13}, {-1.0f}},                                                       // FixFrameLen
};

struct Call {
    const Fn& fn;
    Args a;
    std::vector<std::vector<std::uint32_t>> bufs;
    long seen = 0;  // allocations the last run made

    Call(const Fn& f, const Row& row) : fn(f) {
        std::copy(row.i.begin(), row.i.end(), a.i.begin());
        std::copy(row.f.begin(), row.f.end(), a.f.begin());
        std::uint32_t seed = 99;
        for (const fuzz::Buf& b : fn.bufs(a)) {
            std::vector<std::uint32_t> words(static_cast<std::size_t>(b.n));
            for (std::uint32_t& w : words) {
                seed = seed * 1664525u + 1013904223u;
                const float v = b.out ? -7.25f : static_cast<float>(seed >> 8) / 16777216.0f - 0.4f;
                std::memcpy(&w, &v, sizeof v);
            }
            bufs.push_back(std::move(words));
        }
    }
    int run(long fail_at) {
        std::vector<float*> p;
        for (auto& b : bufs) p.push_back(reinterpret_cast<float*>(b.data()));
        const counting_new::Watch watch(fail_at - 1);  // fail_at counts from 1; 0 arms nothing
        const int status = fn.call(a, p.data());
        seen = counting_new::allocations;
        return status;
    }
};

// The outputs of the call in a fresh process, read back through a pipe.
std::vector<std::vector<std::uint32_t>> fresh_process_outputs(const Fn& fn, const Row& row) {
    int fds[2];
    if (pipe(fds) != 0) return {};
    const pid_t pid = fork();
    if (pid == 0) {
        close(fds[0]);
        Call c(fn, row);
        const int status = c.run(0);
        bool ok = write(fds[1], &status, sizeof status) == sizeof status;
        for (const auto& b : c.bufs)
            ok = ok && write(fds[1], b.data(), b.size() * 4) == static_cast<ssize_t>(b.size() * 4);
        _exit(ok ? 0 : 1);
    }
    close(fds[1]);
    Call c(fn, row);
    int status = -99;
    bool ok = read(fds[0], &status, sizeof status) == sizeof status && status == 0;
    for (auto& b : c.bufs) {
        std::size_t got = 0;
        while (ok && got < b.size() * 4) {
            const ssize_t r = read(fds[0], reinterpret_cast<char*>(b.data()) + got, b.size() * 4 - got);
            ok = r > 0;
            got += r > 0 ? static_cast<std::size_t>(r) : 0;
        }
    }
    close(fds[0]);
    int child = 0;
    waitpid(pid, &child, 0);
    if (!ok) return {};
    return c.bufs;
}

class AllocFailure : public testing::TestWithParam<std::size_t> {};

TEST_P(AllocFailure, EveryFailingAllocationGivesMinusFiveAndNoTrace) {
    const Fn& fn = fuzz::functions()[GetParam()];
    const Row& row = kRows[GetParam()];
    const auto want = fresh_process_outputs(fn, row);
    ASSERT_FALSE(want.empty()) << fn.name << ": the fresh-process call failed";

    long k = 1;
    for (;; ++k) {
        ASSERT_LT(k, 10000) << fn.name;
        Call c(fn, row);
        const auto before = c.bufs;
        const int status = c.run(k);
        if (c.seen < k) {  // the call made fewer than k allocations: nothing failed
            EXPECT_EQ(status, 0) << fn.name;
            EXPECT_EQ(c.bufs, want) << fn.name << ": the retry differs from a fresh process";
            break;
        }
        EXPECT_EQ(status, VOREL_STATUS_OUT_OF_MEMORY) << fn.name << ", allocation " << k;
        EXPECT_EQ(c.bufs, before) << fn.name << ": outputs written before -5 at allocation " << k;
    }
    Call again(fn, row);
    EXPECT_EQ(again.run(0), 0);
    EXPECT_EQ(again.bufs, want) << fn.name << ": a warm-cache call differs";
    RecordProperty("injection_points", static_cast<int>(k - 1));
}

INSTANTIATE_TEST_SUITE_P(AllExported, AllocFailure, testing::Range<std::size_t>(0, std::size(kRows)),
                         [](const testing::TestParamInfo<std::size_t>& info) {
                             return std::string(fuzz::functions()[info.param].name);
                         });

}  // namespace
