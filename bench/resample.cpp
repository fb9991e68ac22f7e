// Sample-rate conversion of 60 s of audio for common rate pairs: the first call of a pair
// (which builds its filter, once per process) and warm calls. "out_ns" is ns per output sample.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "vorel_audio.h"

namespace {

std::vector<float> test_signal(int rate) {
    std::vector<float> x(static_cast<size_t>(rate) * 60);
    for (size_t i = 0; i < x.size(); ++i)
        x[i] = 0.5f * std::sin(0.001f * static_cast<float>(i % 100000)) +
               0.25f * std::sin(0.37f * static_cast<float>(i % 7919));
    return x;
}

void run(benchmark::State& state, int dst_rate, int src_rate) {
    const auto x = test_signal(src_rate);
    int n = 0;
    vorelAudioGetResampleLen(&n, dst_rate, static_cast<int>(x.size()), src_rate);
    std::vector<float> y(n);
    for (auto _ : state) {
        const int status = vorelAudioResample(y.data(), x.data(), dst_rate, n, src_rate, static_cast<int>(x.size()));
        benchmark::DoNotOptimize(status);
        benchmark::DoNotOptimize(y.data());
    }
    state.counters["out_ns"] = benchmark::Counter(
        static_cast<double>(n), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_Resample(benchmark::State& state) {
    run(state, static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
}

void BM_GetResampleLen(benchmark::State& state) {
    int n = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(vorelAudioGetResampleLen(&n, 16000, 2646000, 44100));
        benchmark::DoNotOptimize(n);
    }
}

}  // namespace

// Registered first, one iteration each: the only call of the process that builds the pair.
BENCHMARK(BM_Resample)
    ->Name("Resample/first_call")
    ->Args({16000, 44100})
    ->Args({16000, 48000})
    ->Args({22050, 16000})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Resample)
    ->Name("Resample/warm")
    ->Args({16000, 44100})
    ->Args({16000, 48000})
    ->Args({22050, 16000})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GetResampleLen);
