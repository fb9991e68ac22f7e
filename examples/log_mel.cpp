// A log-mel spectrogram of a generated chirp: frame count, mel power spectrogram, then decibels
// relative to its peak, floored 80 dB below it. Prints the shape and a few values.
#include <cmath>
#include <cstdio>
#include <vector>

#include "vorel_audio.h"

namespace {

bool ok(int status, const char* what) {
    if (status == VOREL_STATUS_SUCCESS) return true;
    std::fprintf(stderr, "%s failed with status %d\n", what, status);
    return false;
}

}  // namespace

int main() {
    const int sample_rate = 16000, sample_n = sample_rate;  // one second
    const int fft_n = 512, hop_n = 160, win_n = 400, mel_n = 40;
    const int center = VOREL_AUDIO_CENTER_REFLECT;

    // A chirp from 200 Hz to 4 kHz: its energy climbs through the mel bands over time.
    const double pi = 3.141592653589793, f0 = 200.0, f1 = 4000.0;
    std::vector<float> signal(sample_n);
    for (int i = 0; i < sample_n; ++i) {
        const double t = static_cast<double>(i) / sample_rate;
        signal[i] = static_cast<float>(0.5 * std::sin(2.0 * pi * (f0 * t + 0.5 * (f1 - f0) * t * t)));
    }

    int frame_n = 0;
    if (!ok(vorelAudioGetFrameLen(&frame_n, sample_n, fft_n, hop_n, center), "vorelAudioGetFrameLen")) return 1;
    std::vector<float> mel(static_cast<std::size_t>(mel_n) * frame_n);
    if (!ok(vorelAudioGetMelSpectrogram(mel.data(), signal.data(), sample_n, sample_rate, fft_n, hop_n, win_n,
                                        VOREL_AUDIO_WIN_TYPE_HANN, frame_n, center, 2.0f, VOREL_AUDIO_NORM_TYPE_NONE,
                                        0.0f, sample_rate / 2.0f, mel_n, VOREL_AUDIO_MEL_NORM_AREA,
                                        VOREL_AUDIO_MEL_FORMULA_SLANEY),
            "vorelAudioGetMelSpectrogram"))
        return 1;
    // In place: decibels relative to the loudest cell, nothing below -80 dB.
    if (!ok(vorelAudioConvertPowerToDB(mel.data(), mel.data(), static_cast<int>(mel.size()), 80.0f),
            "vorelAudioConvertPowerToDB"))
        return 1;

    std::printf("log-mel spectrogram: %d bands x %d frames (dB relative to the peak)\n", mel_n, frame_n);
    std::printf("band ");
    for (int t = 0; t < frame_n; t += frame_n / 5) std::printf("  t=%-5d", t);
    std::printf("\n");
    for (int m = 0; m < mel_n; m += 8) {
        std::printf("%4d ", m);
        for (int t = 0; t < frame_n; t += frame_n / 5)
            std::printf(" %7.2f", mel[static_cast<std::size_t>(m) * frame_n + t]);
        std::printf("\n");
    }
    return 0;
}
