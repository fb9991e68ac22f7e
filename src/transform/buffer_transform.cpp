// The transform of a caller buffer runs on a copy with the cached table of its length. The
// whole working set is asked for first, so that a length beyond the machine's memory is
// refused before the caller's buffers are read or written.
#include "transform/buffer_transform.h"

#include <algorithm>
#include <vector>

#include "common/memory_budget.h"
#include "transform/fft.h"
#include "transform/fft_table.h"
#include "transform/general_transform.h"
#include "transform/pow2_kernels.h"

namespace vorel::audio {

namespace {

std::size_t complex_floats(int n) { return 2 * static_cast<std::size_t>(n); }

void require_working_set(int n) { require_memory(complex_floats(n) * sizeof(float) + fft_work_bytes(n)); }

// Powers of two from 16 on skip the vector and the copy: they load straight into the split
// layout and their bit reversal writes dst. Other lengths with a plan at this level run it
// between the caller's buffers.
bool direct(int n) { return is_pow2(n) && n >= 16; }

// The table of n in one direction, remembered per thread and direction.
const std::vector<float>& table_of(int n, bool inverse) {
    using Table = std::vector<float>;
    if (inverse)
        return remembered<int, Table>(n, [n]() -> const Table& { return FftTable::instance().ref_inv_table(n); });
    return remembered<int, Table>(n, [n]() -> const Table& { return FftTable::instance().ref_table(n); });
}

}  // namespace

void fft_into(float* dst, const float* src, int n) {
    require_working_set(n);
    if (direct(n)) return pow2_transform_to(dst, src, Pow2Input::real, n, table_of(n, false), false);
    if (!is_pow2(n) && general_transform_to(dst, src, true, static_cast<std::size_t>(n), table_of(n, false), false))
        return;
    std::vector<float> data(complex_floats(n));
    fft_pre_process(data, src, n);
    fft(data, n, table_of(n, false));
    std::copy(data.begin(), data.end(), dst);
}

void ifft_into(float* dst, const float* src, int n) {
    require_working_set(n);
    if (direct(n)) return pow2_transform_to(dst, src, Pow2Input::interleaved, n, table_of(n, true), true);
    if (!is_pow2(n) && general_transform_to(dst, src, false, static_cast<std::size_t>(n), table_of(n, true), true))
        return;
    std::vector<float> data(src, src + complex_floats(n));
    ifft(data, n, table_of(n, true));
    std::copy(data.begin(), data.end(), dst);
}

}  // namespace vorel::audio
