// Cutting or filling each row of a spectrogram at its end.
#include "features/frame_fit.h"

#include <algorithm>
#include <cstddef>

namespace vorel::audio {

void fix_frame_len(float* dst, const float* src, int freq_n, int dst_frame_n, int src_frame_n, float pad_value) {
    // Row offsets are formed in size_t: freq_n * frame_n can pass INT_MAX.
    const std::size_t dst_row = static_cast<std::size_t>(dst_frame_n);
    const std::size_t src_row = static_cast<std::size_t>(src_frame_n);
    const std::size_t kept = std::min(dst_row, src_row);
    for (std::size_t f = 0; f < static_cast<std::size_t>(freq_n); ++f) {
        float* out = dst + f * dst_row;
        std::copy_n(src + f * src_row, kept, out);
        std::fill(out + kept, out + dst_row, pad_value);
    }
}

}  // namespace vorel::audio
