// Time per call of the exported forward and inverse FFT, for powers of two and for lengths
// that take the mixed-radix path (400, 1000).
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "vorel_audio.h"

namespace {

std::vector<float> test_signal(std::size_t count) {
    std::vector<float> x(count);
    for (std::size_t i = 0; i < count; ++i) x[i] = static_cast<float>(std::sin(0.37 * i) + 0.25 * std::cos(1.3 * i));
    return x;
}

template <int (*Transform)(float*, const float*, int)>
void run(benchmark::State& state, std::size_t src_floats_per_bin) {
    const int n = static_cast<int>(state.range(0));
    const std::vector<float> src = test_signal(src_floats_per_bin * n);
    std::vector<float> dst(2 * static_cast<std::size_t>(n));
    for (auto _ : state) {
        if (Transform(dst.data(), src.data(), n) != VOREL_STATUS_SUCCESS) state.SkipWithError("transform failed");
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_vorelAudioFFT(benchmark::State& state) { run<vorelAudioFFT>(state, 1); }
void BM_vorelAudioIFFT(benchmark::State& state) { run<vorelAudioIFFT>(state, 2); }

}  // namespace

BENCHMARK(BM_vorelAudioFFT)->Arg(256)->Arg(400)->Arg(512)->Arg(1024)->Arg(2048)->Arg(4096)->Arg(1000);
BENCHMARK(BM_vorelAudioIFFT)->Arg(256)->Arg(400)->Arg(512)->Arg(1024)->Arg(2048)->Arg(4096)->Arg(1000);

#ifdef VOREL_BENCH_FFTW
// The same lengths with FFTW (single precision, one thread, planned with FFTW_MEASURE), as a
// peer: complex-to-complex like the exported transform, and real-to-half-complex.
#include <fftw3.h>

namespace {

// Executes a plan on its own buffers until the timer is satisfied, then frees it.
void run_fftw(benchmark::State& state, fftwf_plan plan) {
    for (auto _ : state) {
        fftwf_execute(plan);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
    fftwf_destroy_plan(plan);
}

void BM_fftw_c2c(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const std::vector<float> src = test_signal(2 * static_cast<std::size_t>(n));
    auto* in = fftwf_alloc_complex(n);
    auto* out = fftwf_alloc_complex(n);
    fftwf_plan plan = fftwf_plan_dft_1d(n, in, out, FFTW_FORWARD, FFTW_MEASURE);
    for (int i = 0; i < n; ++i) in[i][0] = src[2 * i], in[i][1] = src[2 * i + 1];
    run_fftw(state, plan);
    fftwf_free(in);
    fftwf_free(out);
}

void BM_fftw_r2c(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const std::vector<float> src = test_signal(n);
    float* in = fftwf_alloc_real(n);
    auto* out = fftwf_alloc_complex(n / 2 + 1);
    fftwf_plan plan = fftwf_plan_dft_r2c_1d(n, in, out, FFTW_MEASURE);
    for (int i = 0; i < n; ++i) in[i] = src[i];
    run_fftw(state, plan);
    fftwf_free(in);
    fftwf_free(out);
}

}  // namespace

BENCHMARK(BM_fftw_c2c)->Arg(256)->Arg(400)->Arg(512)->Arg(1024)->Arg(2048)->Arg(4096)->Arg(1000);
BENCHMARK(BM_fftw_r2c)->Arg(256)->Arg(400)->Arg(512)->Arg(1024)->Arg(2048)->Arg(4096)->Arg(1000);
#endif
