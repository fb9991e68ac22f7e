// Periodic Hann and Hamming windows, built once per length under the table's lock.
#include "stft/window_table.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "common/process_table.h"
#include "vorel_audio.h"

namespace vorel::audio {

WindowTable& WindowTable::instance() {
    static WindowTable inst;
    return inst;
}

const std::vector<float>& WindowTable::ref_table(int n, int win_type) {
    auto& map = win_type == VOREL_AUDIO_WIN_TYPE_HAMMING ? hamming : hann;
    return lock_build_find(lock, map, n, [&] { init_window(n, win_type); });
}

void WindowTable::init_window(int n, int win_type) {
    const bool is_hamming = win_type == VOREL_AUDIO_WIN_TYPE_HAMMING;
    auto& map = is_hamming ? hamming : hann;
    if (map.find(n) != map.end()) return;
    // Built whole in a local first: a failed allocation leaves no half-built entry behind.
    std::vector<float> window(n > 0 ? static_cast<std::size_t>(n) : 0, 0.0f);
    for (int k = 0; k < n; ++k) {
        // The angle is formed in double, then the cosine is taken of its float rounding.
        const double a = (static_cast<double>(k) * 6.283185307179586) / static_cast<double>(n);
        const float c = cosf(static_cast<float>(a));
        window[k] = is_hamming ? c * -0.46f + 0.54f : 0.5f - c * 0.5f;
    }
    map.emplace(n, std::move(window));
}

void copy_window(float* dst, int n, int win_type) {
    const std::vector<float>& window = WindowTable::instance().ref_table(n, win_type);
    std::copy(window.begin(), window.end(), dst);
}

}  // namespace vorel::audio
