// Facade plans of the planned engine on float and complex input: radix-2 (256 to 4096),
// Cooley-Tukey (360, 400, 1000) and Bluestein (7, 11) lengths, plans built outside the loop;
// beside them the exported transform core on the same lengths (real forward, complex inverse).
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "planned_fft/fft.h"
#include "vorel_audio.h"

namespace {

using vorel::audio::qentor::Complex;
using vorel::audio::qentor::FFT;

std::vector<float> signal(size_t n) {
    std::vector<float> x(n);
    for (size_t i = 0; i < n; ++i) x[i] = std::sin(0.37f * static_cast<float>(i)) + 0.01f * (i % 7);
    return x;
}

void BM_PlannedFFTFloat(benchmark::State& state) {
    const auto n = static_cast<unsigned>(state.range(0));
    FFT plan(n, true);
    const std::vector<float> x = signal(n);
    std::vector<Complex> out(n);
    for (auto _ : state) {
        plan.exec(x.data(), out.data());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void BM_PlannedFFTComplex(benchmark::State& state) {
    const auto n = static_cast<unsigned>(state.range(0));
    const bool forward = state.range(1) != 0;
    FFT plan(n, forward);
    const std::vector<float> s = signal(2 * n);
    std::vector<Complex> x(n), out(n);
    for (size_t i = 0; i < n; ++i) x[i] = {s[2 * i], s[2 * i + 1]};
    for (auto _ : state) {
        plan.exec(x.data(), out.data());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void BM_CoreFFT(benchmark::State& state) {
    const auto n = static_cast<int>(state.range(0));
    const std::vector<float> x = signal(n);
    std::vector<float> out(2 * size_t(n));
    for (auto _ : state) {
        vorelAudioFFT(out.data(), x.data(), n);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void BM_CoreIFFT(benchmark::State& state) {
    const auto n = static_cast<int>(state.range(0));
    const std::vector<float> x = signal(2 * size_t(n));
    std::vector<float> out(2 * size_t(n));
    for (auto _ : state) {
        vorelAudioIFFT(out.data(), x.data(), n);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

// Primes from 13 on lose accuracy and from 233 on cannot be planned by the choosing
// constructor, so the chirp lengths stay at 7 and 11.
const std::vector<int64_t> lengths = {7, 11, 256, 360, 400, 512, 1000, 1024, 4096};

void float_lengths(benchmark::internal::Benchmark* b) {
    for (int64_t n : lengths) b->Arg(n);
}

// Args: length, forward (1) or inverse (0).
void complex_lengths(benchmark::internal::Benchmark* b) {
    for (int64_t forward : {1, 0})
        for (int64_t n : lengths) b->Args({n, forward});
}

}  // namespace

BENCHMARK(BM_PlannedFFTFloat)->Apply(float_lengths);
BENCHMARK(BM_PlannedFFTComplex)->Apply(complex_lengths);
BENCHMARK(BM_CoreFFT)->Apply(float_lengths);
BENCHMARK(BM_CoreIFFT)->Apply(float_lengths);
