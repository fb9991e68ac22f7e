// Prints the magnitude spectrum of a generated tone, the smallest use of the library.
#include <cmath>
#include <cstdio>
#include <vector>

#include "vorel_audio.h"

int main() {
    const int n = 64;
    const double pi = 3.141592653589793;
    std::vector<float> tone(n);
    for (int i = 0; i < n; ++i) tone[i] = static_cast<float>(std::sin(2.0 * pi * 5.0 * i / n));
    std::vector<float> spectrum(2 * n);
    if (int status = vorelAudioFFT(spectrum.data(), tone.data(), n); status != VOREL_STATUS_SUCCESS) {
        std::fprintf(stderr, "vorelAudioFFT failed with status %d\n", status);
        return 1;
    }
    std::printf("bin  magnitude   (a 5-cycle sine over %d samples)\n", n);
    for (int k = 0; k <= n / 2; ++k) {
        const float re = spectrum[2 * k], im = spectrum[2 * k + 1];
        std::printf("%3d  %9.4f\n", k, std::sqrt(re * re + im * im));
    }
    return 0;
}
