// Exported entry points of the transform core: forward and inverse FFT of one buffer, with the
// cached table of its length. The whole working set is asked for first, so that a length beyond
// the machine's memory is refused before the caller's buffers are read or written.
#include <algorithm>
#include <vector>

#include "common/memory_budget.h"
#include "errors/call_frame.h"
#include "errors/checks.h"
#include "transform/fft.h"
#include "transform/fft_table.h"
#include "transform/general_transform.h"
#include "transform/pow2_kernels.h"
#include "vorel_audio.h"

namespace vorel::audio {

namespace {

std::size_t complex_floats(int n) { return 2 * static_cast<std::size_t>(n); }

void require_working_set(int n) { require_memory(complex_floats(n) * sizeof(float) + fft_work_bytes(n)); }

// The table of n in one direction, remembered per thread and direction.
const std::vector<float>& table_of(int n, bool inverse) {
    using Table = std::vector<float>;
    if (inverse)
        return remembered<int, Table>(n, [n]() -> const Table& { return FftTable::instance().ref_inv_table(n); });
    return remembered<int, Table>(n, [n]() -> const Table& { return FftTable::instance().ref_table(n); });
}

// n real samples to 2 n floats of spectrum, all bins, unscaled. src is read whole before dst
// is written, so the two may share a buffer of 2 n floats.
void fft_into(float* dst, const float* src, int n) {
    require_working_set(n);
    // Powers of two, and other lengths with a plan at this level, run between the caller's buffers.
    if (is_pow2(n)) return pow2_transform_to(dst, src, Pow2Input::real, n, table_of(n, false), false);
    if (general_transform_to(dst, src, true, static_cast<std::size_t>(n), table_of(n, false), false)) return;
    std::vector<float> data(complex_floats(n));
    fft_pre_process(data, src, n);
    fft(data, n, table_of(n, false));
    std::copy(data.begin(), data.end(), dst);
}

// 2 n floats of spectrum to 2 n floats of complex signal, divided by n. src may be dst.
void ifft_into(float* dst, const float* src, int n) {
    require_working_set(n);
    if (is_pow2(n)) return pow2_transform_to(dst, src, Pow2Input::interleaved, n, table_of(n, true), true);
    if (general_transform_to(dst, src, false, static_cast<std::size_t>(n), table_of(n, true), true)) return;
    std::vector<float> data(src, src + complex_floats(n));
    ifft(data, n, table_of(n, true));
    std::copy(data.begin(), data.end(), dst);
}

}  // namespace
}  // namespace vorel::audio

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
