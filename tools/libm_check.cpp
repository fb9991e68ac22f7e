// Exhaustive check of the libm replicas against the scalar functions, run by hand:
//   libm_check [log10f|log1pf|powf|atan2f|sincosf|powf_one|powf_half|powf_half16 ...] [--isa=avx2] [--pairs=N]
// One-argument functions (sincosf: both results): all 2^32 float inputs. powf: every float base under the exponents
// 0.5, 1, 1.5, 0.25, 2 and a few random ones. atan2f: structured pairs (every pairing of a list
// of signs, zeros, subnormals, infinities, NaN, table thresholds and huge ratios) and random
// pairs, 10^9 by default. powf_one: powf(x, 1.0f) against x over all non-negative patterns,
// +inf and every positive quiet NaN (negative quiet NaNs: x with its sign flipped). powf_half:
// the square-root shortcut for powf(x, 0.5f) against powf over all 2^32 patterns; powf_half16:
// its 16-lane form for sums of squares over every non-negative pattern and negative NaN. Two
// threads; prints counts, mismatches and wall time.
#include <algorithm>
#include <atomic>
#include <bit>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "simd/isa.h"
#include "simd/math/powf_half.h"
#include "simd/math/replicas.h"

namespace {

using namespace vorel::audio::simd;
using namespace vorel::audio::simd::math;

constexpr std::uint64_t kChunk = 1u << 20;
constexpr int kThreads = 2;

struct Tally {
    std::atomic<std::uint64_t> checked{0};
    std::atomic<std::uint64_t> mismatches{0};
    std::mutex print;
    int printed = 0;

    void report(const char* what, float a, float b, float got, float want) {
        mismatches.fetch_add(1);
        std::lock_guard lock(print);
        if (printed++ < 20)
            std::printf("  MISMATCH %s(%a [%08x], %a [%08x]) = %08x, libm %08x\n", what, a,
                        std::bit_cast<std::uint32_t>(a), b, std::bit_cast<std::uint32_t>(b),
                        std::bit_cast<std::uint32_t>(got), std::bit_cast<std::uint32_t>(want));
    }
};

bool differ(float a, float b) { return std::bit_cast<std::uint32_t>(a) != std::bit_cast<std::uint32_t>(b); }

// Runs body(first_pattern, count) over [0, total) in chunks on two threads.
template <class Body>
void parallel_chunks(std::uint64_t total, Body body) {
    std::atomic<std::uint64_t> next{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&] {
            for (;;) {
                const std::uint64_t first = next.fetch_add(kChunk);
                if (first >= total) return;
                body(first, std::min(kChunk, total - first));
            }
        });
    for (auto& t : threads) t.join();
}

void fill_patterns(std::vector<float>& in, std::uint64_t first, std::uint64_t n) {
    in.resize(n);
    for (std::uint64_t i = 0; i < n; ++i) in[i] = std::bit_cast<float>(static_cast<std::uint32_t>(first + i));
}

template <class Replica, class Scalar>
void check_unary(const char* name, Isa isa, Replica replica, Scalar scalar, Tally& tally) {
    parallel_chunks(1ull << 32, [&](std::uint64_t first, std::uint64_t n) {
        std::vector<float> in, got(n);
        fill_patterns(in, first, n);
        replica(isa, got.data(), in.data(), n);
        for (std::uint64_t i = 0; i < n; ++i) {
            const float want = scalar(in[i]);
            if (differ(got[i], want)) tally.report(name, in[i], 0.0f, got[i], want);
        }
        tally.checked.fetch_add(n);
    });
}

void check_sincosf(Isa isa, Tally& tally) {
    parallel_chunks(1ull << 32, [&](std::uint64_t first, std::uint64_t n) {
        std::vector<float> in, s(n), c(n);
        fill_patterns(in, first, n);
        sincosf_array(isa, s.data(), c.data(), in.data(), n);
        for (std::uint64_t i = 0; i < n; ++i) {
            float ws, wc;
            sincosf(in[i], &ws, &wc);
            if (differ(s[i], ws)) tally.report("sin of sincosf", in[i], 0.0f, s[i], ws);
            if (differ(c[i], wc)) tally.report("cos of sincosf", in[i], 0.0f, c[i], wc);
        }
        tally.checked.fetch_add(n);
    });
}

void check_powf(Isa isa, float y, Tally& tally) {
    parallel_chunks(1ull << 32, [&](std::uint64_t first, std::uint64_t n) {
        std::vector<float> in, got(n);
        fill_patterns(in, first, n);
        powf_array(isa, got.data(), in.data(), n, y);
        for (std::uint64_t i = 0; i < n; ++i) {
            const float want = powf(in[i], y);
            if (differ(got[i], want)) tally.report("powf", in[i], y, got[i], want);
        }
        tally.checked.fetch_add(n);
    });
}

// powf(x, 1) against x over +0 .. +inf and the positive quiet NaNs, and against x with its sign
// flipped over the negative quiet NaNs (the libm negates the square of a negative base under an
// odd exponent, NaN included).
void check_powf_one(Tally& tally) {
    const std::uint64_t positive = 0x7f800001ull;
    const std::uint64_t quiet = 1ull << 22;
    // Through a volatile: the compiler folds powf(x, 1.0f) to x.
    volatile float exponent_one = 1.0f;
    const float one = exponent_one;
    parallel_chunks(positive + 2 * quiet, [&](std::uint64_t first, std::uint64_t n) {
        for (std::uint64_t j = first; j < first + n; ++j) {
            std::uint32_t b;
            if (j < positive)
                b = static_cast<std::uint32_t>(j);
            else if (j < positive + quiet)
                b = 0x7fc00000u | static_cast<std::uint32_t>(j - positive);
            else
                b = 0xffc00000u | static_cast<std::uint32_t>(j - positive - quiet);
            const float x = std::bit_cast<float>(b);
            const float p = powf(x, one);
            const float want = (b >> 31) ? std::bit_cast<float>(b ^ 0x80000000u) : x;
            if (differ(p, want)) tally.report("powf_one", x, 1.0f, p, want);
        }
        tally.checked.fetch_add(n);
    });
}

// The 16-lane square-root rule for sums of squares over every non-negative pattern and every
// negative NaN (a NaN part keeps its sign in the sum): a special lane must hold its base, any other
// powf's bits. Counts the special lanes.
VOREL_TARGET_AVX512 std::uint32_t powf_half_sums16_at(const float* in, float* out) {
    return powf_half_sums_at<float16>(in, out);
}

void check_powf_half16(Tally& tally, std::atomic<std::uint64_t>& specials) {
    const std::uint64_t non_negative = 1ull << 31, negative_nan = 0x7fffffu;
    static volatile float half = 0.5f;
    const float y = half;
    parallel_chunks(non_negative + negative_nan, [&](std::uint64_t first, std::uint64_t n) {
        std::uint64_t marked = 0;
        for (std::uint64_t j0 = first; j0 < first + n; j0 += 16) {
            float in[16], out[16];
            for (std::uint64_t l = 0; l < 16; ++l) {
                const std::uint64_t j = std::min(j0 + l, first + n - 1);
                in[l] = std::bit_cast<float>(
                    static_cast<std::uint32_t>(j < non_negative ? j : 0xff800001u + (j - non_negative)));
            }
            const std::uint32_t special = powf_half_sums16_at(in, out);
            for (std::uint64_t l = 0; l < std::min<std::uint64_t>(16, first + n - j0); ++l) {
                const bool lane_special = special >> l & 1;
                marked += lane_special;
                const float want = lane_special ? in[l] : powf(in[l], y);
                if (differ(out[l], want)) tally.report("powf_half16", in[l], y, out[l], want);
            }
        }
        specials.fetch_add(marked);
        tally.checked.fetch_add(n);
    });
}

std::vector<float> structured_values() {
    std::vector<float> v;
    const std::uint32_t fixed[] = {0x00000000, 0x00000001, 0x00000003, 0x007fffff, 0x00800000, 0x00800001,
                                   0x0c000000, 0x1f800000, 0x31000000, 0x30ffffff, 0x3ee00000, 0x3edfffff,
                                   0x3f300000, 0x3f2fffff, 0x3f980000, 0x3f97ffff, 0x401c0000, 0x401bffff,
                                   0x3f800000, 0x3f7fffff, 0x3f800001, 0x40490fdb, 0x4c000000, 0x4bffffff,
                                   0x5e800000, 0x60000000, 0x7f7fffff, 0x7f800000, 0x7fc00000, 0x7f800001};
    for (std::uint32_t b : fixed) {
        v.push_back(std::bit_cast<float>(b));
        v.push_back(std::bit_cast<float>(b | 0x80000000u));
    }
    for (int e = -149; e <= 127; e += 3) {
        v.push_back(std::ldexp(1.0f, e));
        v.push_back(-std::ldexp(1.3f, e));
    }
    return v;
}

void check_atan2f(Isa isa, std::uint64_t pairs, Tally& tally) {
    const std::vector<float> s = structured_values();
    // Structured: every pairing of the list, each pair also scaled across the exponent range.
    const std::uint64_t structured = static_cast<std::uint64_t>(s.size()) * s.size() * 256;
    const std::uint64_t total = std::max(pairs, structured);
    parallel_chunks(total, [&](std::uint64_t first, std::uint64_t n) {
        std::vector<float> ys(n), xs(n), got(n);
        std::mt19937_64 gen(first * 0x9e3779b97f4a7c15ull + 1);
        for (std::uint64_t i = 0; i < n; ++i) {
            const std::uint64_t j = first + i;
            if (j < structured) {
                const std::uint64_t pair = j / 256, shift = j % 256;
                const float y = s[pair / s.size()], x = s[pair % s.size()];
                ys[i] = shift == 0 ? y
                                   : std::bit_cast<float>(std::bit_cast<std::uint32_t>(y) ^
                                                          static_cast<std::uint32_t>(gen() & 0x7fffff));
                xs[i] = shift == 0 ? x : std::ldexp(x, static_cast<int>(shift % 64) - 32);
            } else if (j % 2 == 0) {
                // Uniform bit patterns: every sign, exponent and class.
                const std::uint64_t r = gen();
                ys[i] = std::bit_cast<float>(static_cast<std::uint32_t>(r));
                xs[i] = std::bit_cast<float>(static_cast<std::uint32_t>(r >> 32));
            } else {
                // Spectrum-like pairs: both parts of similar size, any signs.
                const std::uint64_t r = gen();
                const std::uint32_t e = 0x30000000u + static_cast<std::uint32_t>((r >> 40) & 0x1fffffff);
                ys[i] = std::bit_cast<float>((e & 0x7fffffffu) | static_cast<std::uint32_t>(r & 0x80000000u));
                xs[i] = std::bit_cast<float>(((e + static_cast<std::uint32_t>(r & 0x07ffffff)) & 0x7fffffffu) |
                                             static_cast<std::uint32_t>((r << 1) & 0x80000000u));
            }
        }
        atan2f_array(isa, got.data(), ys.data(), xs.data(), n);
        for (std::uint64_t i = 0; i < n; ++i) {
            const float want = atan2f(ys[i], xs[i]);
            if (differ(got[i], want)) tally.report("atan2f", ys[i], xs[i], got[i], want);
        }
        tally.checked.fetch_add(n);
    });
}

template <class Run>
void timed(const std::string& label, Run run) {
    Tally tally;
    const auto start = std::chrono::steady_clock::now();
    run(tally);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::printf("%-24s checked %llu, mismatches %llu, %.1f s\n", label.c_str(),
                static_cast<unsigned long long>(tally.checked.load()),
                static_cast<unsigned long long>(tally.mismatches.load()), seconds);
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    Isa isa = best_isa();
    std::uint64_t pairs = 1'000'000'000ull;
    std::vector<std::string> names;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg.rfind("--isa=", 0) == 0) {
            if (!parse_isa(arg.substr(6), isa) || !isa_supported(isa)) {
                std::fprintf(stderr, "libm_check: level %s is unknown or not supported here\n", arg.c_str() + 6);
                return 2;
            }
        } else if (arg.rfind("--pairs=", 0) == 0) {
            pairs = std::strtoull(arg.c_str() + 8, nullptr, 10);
        } else {
            names.push_back(arg);
        }
    }
    if (names.empty()) names = {"log10f", "log1pf", "sincosf", "powf_one", "powf_half", "powf", "atan2f"};
    std::printf("level %s\n", isa_name(isa));
    for (const std::string& name : names) {
        if (name == "log10f") {
            timed("log10f", [&](Tally& t) {
                check_unary(
                    "log10f", isa, log10f_array, [](float x) { return log10f(x); }, t);
            });
        } else if (name == "log1pf") {
            timed("log1pf", [&](Tally& t) {
                check_unary(
                    "log1pf", isa, log1pf_array, [](float x) { return log1pf(x); }, t);
            });
        } else if (name == "sincosf") {
            timed("sincosf", [&](Tally& t) { check_sincosf(isa, t); });
        } else if (name == "powf_half") {
            timed("powf(x, 0.5) by sqrt", [&](Tally& t) {
                // Through a volatile: GCC vectorizes a loop of powf(x, 0.5f) into square roots.
                static volatile float half = 0.5f;
                const float y = half;
                check_unary(
                    "powf_half", isa, powf_half_array, [y](float x) { return powf(x, y); }, t);
            });
        } else if (name == "powf_half16") {
            if (!isa_supported(Isa::avx512)) {
                std::fprintf(stderr, "libm_check: powf_half16 needs AVX-512\n");
                return 2;
            }
            std::atomic<std::uint64_t> specials{0};
            timed("powf(x, 0.5) 16 lanes", [&](Tally& t) { check_powf_half16(t, specials); });
            std::printf("  special lanes %llu\n", static_cast<unsigned long long>(specials.load()));
        } else if (name == "powf_one") {
            timed("powf(x, 1) == x", [&](Tally& t) { check_powf_one(t); });
        } else if (name == "powf") {
            std::mt19937 gen(14);
            std::vector<float> ys = {0.5f, 1.0f, 1.5f, 0.25f, 2.0f};
            std::uniform_real_distribution<float> d(-4.0f, 4.0f);
            for (int i = 0; i < 3; ++i) ys.push_back(d(gen));
            for (float y : ys) timed("powf y=" + std::to_string(y), [&](Tally& t) { check_powf(isa, y, t); });
        } else if (name == "atan2f") {
            timed("atan2f", [&](Tally& t) { check_atan2f(isa, pairs, t); });
        } else {
            std::fprintf(stderr, "libm_check: unknown function %s\n", name.c_str());
            return 2;
        }
    }
    return 0;
}
