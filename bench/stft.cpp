// Short-time analysis and complex-spectrum costs on speech-sized inputs: 60 s at 16 kHz.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "vorel_audio.h"

namespace {

std::vector<float> minute_of_audio() {
    std::vector<float> x(60 * 16000);
    for (size_t i = 0; i < x.size(); ++i)
        x[i] = static_cast<float>(0.5 * std::sin(0.173 * i) + 0.25 * std::sin(0.0091 * i));
    return x;
}

int frames_of(int sample_n, int fft_n, int hop_n) {
    int n = 0;
    vorelAudioGetFrameLen(&n, sample_n, fft_n, hop_n, 1);
    return n;
}

// Args: fft_n, hop_n, win_n, power (x10).
void BM_Spectrogram(benchmark::State& state) {
    const int fft_n = state.range(0), hop_n = state.range(1), win_n = state.range(2);
    const float power = state.range(3) / 10.0f;
    const std::vector<float> x = minute_of_audio();
    const int n = static_cast<int>(x.size());
    const int frames = frames_of(n, fft_n, hop_n);
    std::vector<float> dst(2 * size_t(fft_n / 2 + 1) * frames);
    for (auto _ : state) {
        vorelAudioGetSpectrogram(dst.data(), x.data(), n, fft_n, hop_n, win_n, 1, frames, 1, power, 0);
        benchmark::DoNotOptimize(dst.data());
    }
    state.counters["frames/s"] = benchmark::Counter(static_cast<double>(frames),
                                                    benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_Spectrogram)
    ->Args({400, 160, 400, 0})
    ->Args({400, 160, 400, 20})
    ->Args({512, 128, 512, 0})
    ->Args({512, 128, 400, 10})
    ->Unit(benchmark::kMillisecond);

// Args: fft_n, hop_n.
void BM_InverseSpectrogram(benchmark::State& state) {
    const int fft_n = state.range(0), hop_n = state.range(1);
    const std::vector<float> x = minute_of_audio();
    const int n = static_cast<int>(x.size());
    const int frames = frames_of(n, fft_n, hop_n);
    const int freq_n = fft_n / 2 + 1;
    std::vector<float> spectrum(2 * size_t(freq_n) * frames);
    vorelAudioGetSpectrogram(spectrum.data(), x.data(), n, fft_n, hop_n, fft_n, 1, frames, 1, 0.0f, 0);
    int sample_n = 0;
    vorelAudioGetSampleLen(&sample_n, frames, freq_n, hop_n, 1);
    std::vector<float> out(sample_n);
    for (auto _ : state) {
        vorelAudioGetInverseSpectrogram(out.data(), spectrum.data(), frames, freq_n, hop_n, fft_n, 1, sample_n, 1, 0);
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["frames/s"] = benchmark::Counter(static_cast<double>(frames),
                                                    benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_InverseSpectrogram)->Args({400, 160})->Args({512, 128})->Unit(benchmark::kMillisecond);

void BM_SampleLen(benchmark::State& state) {
    int n = 0;
    for (auto _ : state) {
        vorelAudioGetSampleLen(&n, 6001, 201, 160, 1);
        benchmark::DoNotOptimize(n);
    }
}
BENCHMARK(BM_SampleLen);

// Cached windows: the cost of a lookup and copy.
void BM_Window(benchmark::State& state) {
    std::vector<float> w(state.range(0));
    for (auto _ : state) {
        vorelAudioGetWindow(w.data(), static_cast<int>(w.size()), 2);
        benchmark::DoNotOptimize(w.data());
    }
}
BENCHMARK(BM_Window)->Arg(400)->Arg(512);

std::vector<float> spectrum(size_t cells) {
    std::vector<float> s(2 * cells);
    for (size_t i = 0; i < s.size(); ++i) s[i] = static_cast<float>(std::sin(0.37 * i) * 3.0);
    return s;
}

void BM_MagPhase(benchmark::State& state) {
    const int freq_n = 513, frame_n = 3000, form = state.range(0);
    const std::vector<float> src = spectrum(size_t(freq_n) * frame_n);
    std::vector<float> mag(size_t(freq_n) * frame_n), phase((form + 1) * mag.size());
    for (auto _ : state) {
        vorelAudioMagPhase(mag.data(), phase.data(), src.data(), freq_n, frame_n, 1.0f, form);
        benchmark::DoNotOptimize(phase.data());
    }
}
BENCHMARK(BM_MagPhase)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_ComplexNorm(benchmark::State& state) {
    const int n = 513 * 3000;
    const std::vector<float> src = spectrum(n);
    std::vector<float> dst(n);
    for (auto _ : state) {
        vorelAudioComplexNorm(dst.data(), src.data(), n, 2.0f);
        benchmark::DoNotOptimize(dst.data());
    }
}
BENCHMARK(BM_ComplexNorm)->Unit(benchmark::kMillisecond);

}  // namespace
