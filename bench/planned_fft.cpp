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

// Times one call per iteration, counting n points per call.
template <class Call>
void run_timed(benchmark::State& state, size_t n, void* out, Call call) {
    for (auto _ : state) {
        call();
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

std::vector<Complex> complex_signal(size_t n) {
    const std::vector<float> s = signal(2 * n);
    std::vector<Complex> x(n);
    for (size_t i = 0; i < n; ++i) x[i] = {s[2 * i], s[2 * i + 1]};
    return x;
}

void BM_PlannedFFTFloat(benchmark::State& state) {
    const auto n = static_cast<unsigned>(state.range(0));
    FFT plan(n, true);
    const std::vector<float> x = signal(n);
    std::vector<Complex> out(n);
    run_timed(state, n, out.data(), [&] { plan.exec(x.data(), out.data()); });
}

// Args: length, forward (1) or inverse (0).
void BM_PlannedFFTComplex(benchmark::State& state) {
    const auto n = static_cast<unsigned>(state.range(0));
    FFT plan(n, state.range(1) != 0);
    const std::vector<Complex> x = complex_signal(n);
    std::vector<Complex> out(n);
    run_timed(state, n, out.data(), [&] { plan.exec(x.data(), out.data()); });
}

// The exported core: real input forward, complex input inverse.
void BM_CoreFFT(benchmark::State& state) {
    const auto n = static_cast<int>(state.range(0));
    const std::vector<float> x = signal(n);
    std::vector<float> out(2 * size_t(n));
    run_timed(state, n, out.data(), [&] { vorelAudioFFT(out.data(), x.data(), n); });
}

void BM_CoreIFFT(benchmark::State& state) {
    const auto n = static_cast<int>(state.range(0));
    const std::vector<float> x = signal(2 * size_t(n));
    std::vector<float> out(2 * size_t(n));
    run_timed(state, n, out.data(), [&] { vorelAudioIFFT(out.data(), x.data(), n); });
}

// Primes from 13 on lose accuracy and from 233 on cannot be planned by the choosing
// constructor, so the chirp lengths stay at 7 and 11.
const std::vector<int64_t> lengths = {7, 11, 256, 360, 400, 512, 1000, 1024, 4096};

void float_lengths(benchmark::internal::Benchmark* b) {
    for (int64_t n : lengths) b->Arg(n);
}

void complex_lengths(benchmark::internal::Benchmark* b) {
    for (int64_t forward : {1, 0})
        for (int64_t n : lengths) b->Args({n, forward});
}

}  // namespace

BENCHMARK(BM_PlannedFFTFloat)->Apply(float_lengths);
BENCHMARK(BM_PlannedFFTComplex)->Apply(complex_lengths);
BENCHMARK(BM_CoreFFT)->Apply(float_lengths);
BENCHMARK(BM_CoreIFFT)->Apply(float_lengths);
