// Dispatch of the transform core: powers of two take the radix-4 path, every other length
// the mixed-radix one, and the inverse divides by the length at the end.
#include "transform/fft.h"

#include "transform/fft_kernels.h"

namespace vorel::audio {

bool is_pow2(int n) { return n > 0 && (n & (n - 1)) == 0; }

void fft_pre_process(std::vector<float>& data, const float* src, int n) {
    for (std::size_t k = 0; k < static_cast<std::size_t>(n > 0 ? n : 0); ++k) {
        data[2 * k] = src[k];
        data[2 * k + 1] = 0.0f;
    }
}

void fft(std::vector<float>& data, int n, const std::vector<float>& table) {
    std::vector<float> scratch;
    fft(data, n, table, scratch);
}

void ifft(std::vector<float>& data, int n, const std::vector<float>& table) {
    std::vector<float> scratch;
    ifft(data, n, table, scratch);
}

void fft(std::vector<float>& data, int n, const std::vector<float>& table, std::vector<float>& scratch) {
    if (is_pow2(n))
        fft_pow2(data, n, table);
    else
        fft_general(data, n, table, scratch);
}

void ifft(std::vector<float>& data, int n, const std::vector<float>& table, std::vector<float>& scratch) {
    if (is_pow2(n)) {
        ifft_pow2(data, n, table);
    } else {
        fft_general(data, n, table, scratch);
        divide_by_length(data.data(), static_cast<std::size_t>(n));
    }
}

void divide_by_length(float* data, std::size_t n) {
    const float length = static_cast<float>(n);
    for (std::size_t k = 0; k < 2 * n; ++k) data[k] = data[k] / length;
}

std::size_t fft_work_bytes(int n) {
    const std::size_t len = static_cast<std::size_t>(n > 0 ? n : 0);
    const std::size_t floats = is_pow2(n) ? 3 * len : 4 * len;
    return floats * sizeof(float);
}

}  // namespace vorel::audio
