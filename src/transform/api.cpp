// Exported entry points of the transform core: forward and inverse FFT of one buffer.
#include "errors/call_frame.h"
#include "errors/checks.h"
#include "transform/buffer_transform.h"
#include "vorel_audio.h"

using namespace vorel::audio;

extern "C" int vorelAudioFFT(float* dst, const float* src, int fft_n) {
    if (dst == nullptr || src == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(fft_n >= 1, "Invalid fft_n size.");
        fft_into(dst, src, fft_n);
    });
}

extern "C" int vorelAudioIFFT(float* dst, const float* src, int fft_n) {
    if (dst == nullptr || src == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(fft_n >= 1, "Invalid fft_n size.");
        ifft_into(dst, src, fft_n);
    });
}
