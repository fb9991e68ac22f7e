// Mel analysis timings: building a filter bank, fetching a cached one, the mel spectrogram of
// speech-model front ends, and the filter bank product on a ready spectrogram.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "mel/mel_filter_bank.h"
#include "vorel_audio.h"

namespace {

std::vector<float> signal(int n) {
    std::vector<float> x(n);
    for (int i = 0; i < n; ++i) x[i] = 0.5f * std::sin(0.031f * i) + 0.25f * std::sin(0.0007f * i * (i % 977));
    return x;
}

// Building one bank without the cache: 80 bands over 201 bins.
void BM_FilterBankBuild(benchmark::State& state) {
    const int freq_n = static_cast<int>(state.range(0)), mel_n = static_cast<int>(state.range(1));
    for (auto _ : state) {
        vorel::audio::MelMatrix fb(mel_n, std::vector<float>(freq_n, 0.0f));
        vorel::audio::create_fb_matrix(fb, freq_n, 0.0f, 8000.0f, mel_n, 16000, 1, false);
        benchmark::DoNotOptimize(fb.data());
    }
}
BENCHMARK(BM_FilterBankBuild)->Args({201, 80})->Args({1025, 128});

// The exported call once the bank is cached: a lookup and a copy.
void BM_GetFBMatrix(benchmark::State& state) {
    std::vector<float> out(80 * 201);
    for (auto _ : state) {
        vorelAudioGetFBMatrix(out.data(), 201, 0.0f, 8000.0f, 80, 16000, 1, 0);
        benchmark::DoNotOptimize(out.data());
    }
}
BENCHMARK(BM_GetFBMatrix);

// Arguments: seconds of 16 kHz audio, fft_n, hop_n, mel_n, mel_formula.
void BM_MelSpectrogram(benchmark::State& state) {
    const int sample_n = 16000 * static_cast<int>(state.range(0));
    const int fft_n = static_cast<int>(state.range(1)), hop_n = static_cast<int>(state.range(2));
    const int mel_n = static_cast<int>(state.range(3)), formula = static_cast<int>(state.range(4));
    const std::vector<float> x = signal(sample_n);
    int frames = 0;
    vorelAudioGetFrameLen(&frames, sample_n, fft_n, hop_n, 1);
    std::vector<float> out(static_cast<std::size_t>(mel_n) * frames);
    for (auto _ : state) {
        vorelAudioGetMelSpectrogram(out.data(), x.data(), sample_n, 16000, fft_n, hop_n, fft_n, 1, frames, 1, 2.0f, 0,
                                    0.0f, 8000.0f, mel_n, formula == 0, formula);
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["frames"] = frames;
}
// Speech-model front end (slaney, area norm), 30 s and 60 s; 512 / hop 128 / 128 htk bands.
BENCHMARK(BM_MelSpectrogram)
    ->Args({30, 400, 160, 80, 0})
    ->Args({60, 400, 160, 80, 0})
    ->Args({60, 512, 128, 128, 1})
    ->Unit(benchmark::kMillisecond);

// 201 bins by 3000 frames into 80 bands.
void BM_ConvertToMel(benchmark::State& state) {
    const int freq_n = 201, frame_n = 3000, mel_n = 80;
    std::vector<float> fb(mel_n * freq_n), spectrum(signal(freq_n * frame_n)), out(mel_n * frame_n);
    vorelAudioGetFBMatrix(fb.data(), freq_n, 0.0f, 8000.0f, mel_n, 16000, 1, 0);
    for (float& v : spectrum) v = v * v;
    for (auto _ : state) {
        vorelAudioConvertToMel(out.data(), spectrum.data(), fb.data(), freq_n, frame_n, mel_n);
        benchmark::DoNotOptimize(out.data());
    }
}
BENCHMARK(BM_ConvertToMel)->Unit(benchmark::kMicrosecond);

}  // namespace
