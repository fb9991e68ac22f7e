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

// Forward: n real samples to all n bins, unscaled. Inverse: n complex bins to n complex
// samples, divided by n. src is read whole before dst is written, so they may share a buffer.
void transform_into(float* dst, const float* src, int n, bool inverse) {
    require_working_set(n);
    const std::vector<float>& table = table_of(n, inverse);
    // Powers of two, and other lengths with a plan at this level, run between the caller's buffers.
    if (is_pow2(n))
        return pow2_transform_to(dst, src, inverse ? Pow2Input::interleaved : Pow2Input::real, n, table, inverse);
    if (general_transform_to(dst, src, !inverse, static_cast<std::size_t>(n), table, inverse)) return;
    std::vector<float> data(complex_floats(n));
    if (inverse) {
        std::copy(src, src + data.size(), data.begin());
        ifft(data, n, table);
    } else {
        fft_pre_process(data, src, n);
        fft(data, n, table);
    }
    std::copy(data.begin(), data.end(), dst);
}

int transform_call(float* dst, const float* src, int fft_n, bool inverse) {
    if (dst == nullptr || src == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(fft_n >= 1, "Invalid fft_n size.");
        transform_into(dst, src, fft_n, inverse);
    });
}

}  // namespace
}  // namespace vorel::audio

using namespace vorel::audio;

extern "C" int vorelAudioFFT(float* dst, const float* src, int fft_n) { return transform_call(dst, src, fft_n, false); }

extern "C" int vorelAudioIFFT(float* dst, const float* src, int fft_n) { return transform_call(dst, src, fft_n, true); }
