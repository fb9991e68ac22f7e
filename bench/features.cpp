// Throughput of the level conversions, silence detection and frame fitting.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "vorel_audio.h"

namespace {

constexpr int kLevelN = 10'000'000;

std::vector<float> random_powers(int n) {
    std::mt19937 gen(1);
    std::uniform_real_distribution<float> exponent(-12.0f, 2.0f);
    std::vector<float> v(n);
    for (auto& x : v) x = std::pow(10.0f, exponent(gen));
    return v;
}

// 60 s at 16 kHz: a minute of bursts between pauses.
std::vector<float> minute_of_audio() {
    std::mt19937 gen(2);
    std::normal_distribution<float> g(0.0f, 1.0f);
    std::vector<float> s(60 * 16000);
    for (std::size_t i = 0; i < s.size(); ++i) {
        const double t = i / 16000.0;
        const double env = std::max(0.0, std::sin(2 * M_PI * 0.5 * t));
        s[i] = static_cast<float>(env * std::sin(2 * M_PI * 200 * t)) + 1e-3f * g(gen);
    }
    return s;
}

template <class Call>
void run_levels(benchmark::State& state, Call call) {
    const auto src = random_powers(kLevelN);
    std::vector<float> dst(kLevelN);
    for (auto _ : state) {
        benchmark::DoNotOptimize(call(dst.data(), src.data(), kLevelN));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kLevelN));
}

void BM_ConvertPowerToDB(benchmark::State& state) {
    run_levels(state, [](float* d, const float* s, int n) { return vorelAudioConvertPowerToDB(d, s, n, 80.0f); });
}
void BM_Standardize(benchmark::State& state) { run_levels(state, vorelAudioStandardize); }
void BM_Log1p(benchmark::State& state) { run_levels(state, vorelAudioLog1p); }

// A 513 x 3000 complex spectrogram of random cells, a few of them exactly zero.
std::vector<float> random_spectrum(std::size_t cells) {
    std::mt19937 gen(3);
    std::normal_distribution<float> g(0.0f, 1.0f);
    std::vector<float> v(2 * cells);
    for (auto& x : v) x = g(gen);
    for (std::size_t i = 0; i < cells; i += 997) v[2 * i] = v[2 * i + 1] = 0.0f;
    return v;
}

constexpr int kFreqN = 513, kFrameN = 3000;

void BM_ComplexNorm(benchmark::State& state) {
    const std::size_t cells = static_cast<std::size_t>(kFreqN) * kFrameN;
    const auto src = random_spectrum(cells);
    std::vector<float> dst(cells);
    const float power = static_cast<float>(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(vorelAudioComplexNorm(dst.data(), src.data(), static_cast<int>(cells), power));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(cells));
}

void BM_MagPhase(benchmark::State& state) {
    const std::size_t cells = static_cast<std::size_t>(kFreqN) * kFrameN;
    const auto src = random_spectrum(cells);
    const int form = static_cast<int>(state.range(0));
    std::vector<float> mag(cells), phase((form + 1) * cells);
    for (auto _ : state) {
        benchmark::DoNotOptimize(vorelAudioMagPhase(mag.data(), phase.data(), src.data(), kFreqN, kFrameN, 1.0f, form));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(cells));
}

void BM_GetNonSilentPos(benchmark::State& state) {
    const auto s = minute_of_audio();
    const int win_n = static_cast<int>(state.range(0));
    const int hop_n = static_cast<int>(state.range(1));
    int start = 0, len = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            vorelAudioGetNonSilentPos(&start, &len, s.data(), static_cast<int>(s.size()), win_n, hop_n, 60.0f));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(s.size()));
}

void BM_FixFrameLen(benchmark::State& state) {
    const int freq_n = 128, src_frame_n = 3000;
    const int dst_frame_n = static_cast<int>(state.range(0));
    const std::vector<float> src(static_cast<std::size_t>(freq_n) * src_frame_n, 0.5f);
    std::vector<float> dst(static_cast<std::size_t>(freq_n) * dst_frame_n);
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            vorelAudioFixFrameLen(dst.data(), src.data(), freq_n, dst_frame_n, src_frame_n, -80.0f));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(dst.size()) * 4);
}

}  // namespace

BENCHMARK(BM_ConvertPowerToDB)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Standardize)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Log1p)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ComplexNorm)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MagPhase)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GetNonSilentPos)->Args({2048, 512})->Args({400, 160})->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FixFrameLen)->Arg(3000)->Arg(2000)->Arg(4000)->Unit(benchmark::kMicrosecond);
