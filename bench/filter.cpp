// Throughput of the three filter entry points on a minute of 16 kHz audio, and the
// zero-phase filter over 10 M samples, reported per sample.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "vorel_audio.h"

namespace {

constexpr int minute_16k = 60 * 16000;

std::vector<float> noise(int n) {
    std::vector<float> x(n);
    unsigned s = 12345u;
    for (float& v : x) {
        s = s * 1664525u + 1013904223u;
        v = static_cast<float>(s >> 8) / 16777216.0f - 0.5f;
    }
    return x;
}

struct Design {
    std::vector<float> b, a;
};

// Butterworth low-pass coefficients at a quarter of the Nyquist rate (cutoff 0.25),
// and a 64-tap windowed-sinc FIR at the same cutoff.
Design butter4() {
    return {{0.010209480791203138f, 0.04083792316481255f, 0.061256884747218826f, 0.04083792316481255f,
             0.010209480791203138f},
            {1.0f, -1.9684277869385185f, 1.7358607092088867f, -0.7244708295073626f, 0.12038959989624451f}};
}

Design butter8() {
    return {{0.00010791128473110382f, 0.0008632902778488306f, 0.003021515972470907f, 0.006043031944941814f,
             0.007553789931177268f, 0.006043031944941814f, 0.003021515972470907f, 0.0008632902778488306f,
             0.00010791128473110382f},
            {1.0f, -3.983784273174194f, 7.536234110120898f, -8.599815064801398f, 6.400154060347637f,
             -3.1560252607305648f, 1.0016965795512833f, -0.1863424776774852f, 0.015507615254986878f}};
}

Design fir64() {
    Design d{std::vector<float>(64), {1.0f}};
    double sum = 0.0;
    for (int k = 0; k < 64; ++k) {
        const double t = k - 31.5;
        const double sinc = std::sin(M_PI * 0.25 * t) / (M_PI * t);
        const double hann = 0.5 - 0.5 * std::cos(2.0 * M_PI * (k + 0.5) / 64.0);
        d.b[k] = static_cast<float>(sinc * hann);
        sum += d.b[k];
    }
    for (float& v : d.b) v = static_cast<float>(v / sum);
    return d;
}

Design design(int which) {
    if (which == 4) return butter4();
    if (which == 8) return butter8();
    return fir64();
}

// A design (range 0) and a noise signal of range 1 samples with room for the output.
struct Run {
    explicit Run(const benchmark::State& state)
        : d(design(static_cast<int>(state.range(0)))),
          n(static_cast<int>(state.range(1))),
          x(noise(n)),
          y(x.size()),
          nb(static_cast<int>(d.b.size())),
          na(static_cast<int>(d.a.size())) {}
    Design d;
    int n;
    std::vector<float> x, y;
    int nb, na;
};

void BM_LinerFilter(benchmark::State& state) {
    Run r(state);
    std::vector<float> zi(std::max(r.nb, r.na) - 1);
    for (auto _ : state) {
        vorelAudioLinerFilter(r.y.data(), r.x.data(), r.d.b.data(), r.d.a.data(), zi.data(), r.n, r.n, r.nb, r.na,
                              static_cast<int>(zi.size()));
        benchmark::DoNotOptimize(r.y.data());
    }
    state.SetItemsProcessed(state.iterations() * r.n);
}

void BM_FilterFilter(benchmark::State& state) {
    Run r(state);
    const int pad = static_cast<int>(state.range(2));
    for (auto _ : state) {
        vorelAudioFilterFilter(r.y.data(), r.x.data(), r.d.b.data(), r.d.a.data(), r.n, r.n, r.nb, r.na,
                               VOREL_AUDIO_PAD_TYPE_ODD, pad);
        benchmark::DoNotOptimize(r.y.data());
    }
    state.SetItemsProcessed(state.iterations() * r.n);
}

void BM_GetLinerFilterZiCoef(benchmark::State& state) {
    const Design d = butter8();
    std::vector<float> zi(8);
    for (auto _ : state) {
        vorelAudioGetLinerFilterZiCoef(zi.data(), d.b.data(), d.a.data(), 8, 9, 9);
        benchmark::DoNotOptimize(zi.data());
    }
}

}  // namespace

// Arguments: design (4 and 8 for the Butterworth orders, 64 for the FIR), samples.
BENCHMARK(BM_LinerFilter)
    ->Args({4, minute_16k})
    ->Args({8, minute_16k})
    ->Args({64, minute_16k})
    ->Args({4, 10000000})
    ->Unit(benchmark::kMillisecond);
// Arguments: design, samples, odd padding at each end (3 * max(len(b), len(a)), and 15).
BENCHMARK(BM_FilterFilter)
    ->Args({4, minute_16k, 15})
    ->Args({8, minute_16k, 27})
    ->Args({64, minute_16k, 192})
    ->Args({4, 10000000, 15})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GetLinerFilterZiCoef);
