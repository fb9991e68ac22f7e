// Mel scales, the triangular filter bank builder and its process-wide cache.
#include "mel/mel_filter_bank.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <tuple>
#include <utility>

#include "common/memory_budget.h"
#include "common/process_table.h"
#include "vorel_audio.h"

namespace vorel::audio {

namespace {

// Constants by bit pattern: the results depend on their last bit.
constexpr float kMelPerHzLinear = std::bit_cast<float>(std::uint32_t{0x3C75C28F});  // 0.015
constexpr float kHzPerMelLinear = std::bit_cast<float>(std::uint32_t{0x42855555});  // 66.666664
constexpr float kLogStep = std::bit_cast<float>(std::uint32_t{0x3D8CCDBB});         // ln(6.4)/27
constexpr float kMelBreak = std::bit_cast<float>(std::uint32_t{0x41700001});        // 15.000001
constexpr float kInvHtkScale = std::bit_cast<float>(std::uint32_t{0x39CA09AB});     // 1/2595

// The weight of one bin in one triangle: a NaN on either side fails both tests and yields `lower`.
inline float triangle_weight(float lower, float upper_r, float upper_w) {
    if (lower < 0.0f) return 0.0f;
    const float upper = upper_r * upper_w;
    if (upper < 0.0f) return 0.0f;
    if (upper < lower) return upper;
    return lower;
}

// A float as the key orders it (see MelFilterBankParam): numbers by value, NaNs after them by bits.
std::tuple<bool, float, std::uint32_t> float_key(float f) {
    if (std::isnan(f)) return {true, 0.0f, std::bit_cast<std::uint32_t>(f)};
    return {false, f, 0};
}

}  // namespace

float hz_to_mel_slaney(float f) {
    if (f < 1000.0f) return f * kMelPerHzLinear;
    return std::log(f / 1000.0f) / kLogStep + 15.0f;
}

float mel_to_hz_slaney(float m) {
    // The + 0.0 turns a -0.0 input into +0.0.
    if (m >= kMelBreak) return std::exp((m + (-kMelBreak)) * kLogStep) * 1000.0f;
    return m * kHzPerMelLinear + 0.0f;
}

float hz_to_mel_htk(float f) { return std::log10(f / 700.0f + 1.0f) * 2595.0f; }

float mel_to_hz_htk(float m) { return (::exp10f(m * kInvHtkScale) + (-1.0f)) * 700.0f; }

void create_fb_matrix(MelMatrix& fb, int freq_n, float f_min, float f_max, int mel_n, int sample_rate, int mel_norm,
                      bool mel_formula) {
    float (*const to_mel)(float) = mel_formula ? hz_to_mel_htk : hz_to_mel_slaney;
    float (*const to_hz)(float) = mel_formula ? mel_to_hz_htk : mel_to_hz_slaney;
    const std::size_t bins = static_cast<std::size_t>(freq_n);
    const std::size_t edges = static_cast<std::size_t>(mel_n) + 2;

    // All scratch exists before the first weight is written.
    std::vector<float> freq(bins), edge(edges), inv_width(edges - 1), rel(edges);

    const float m_min = to_mel(f_min);
    const float m_max = to_mel(f_max);

    const float step = (static_cast<float>(sample_rate) * 0.5f) / (static_cast<float>(freq_n) + (-1.0f));
    for (std::size_t j = 0; j < bins; ++j) freq[j] = step * static_cast<float>(j);

    const float mel_step = (m_max - m_min) / ((static_cast<float>(mel_n) + 2.0f) + (-1.0f));
    for (std::size_t i = 0; i < edges; ++i) {
        const float offset = mel_step * static_cast<float>(i);
        edge[i] = to_hz(m_min + offset);
        if (i >= 1) inv_width[i - 1] = 1.0f / (edge[i] - edge[i - 1]);
    }

    // Bins outermost: the distances from one bin to every edge serve all bands.
    for (std::size_t j = 0; j < bins; ++j) {
        for (std::size_t k = 0; k < edges; ++k) rel[k] = edge[k] - freq[j];
        for (std::size_t m = 0; m + 2 < edges; ++m) {
            const float lower = inv_width[m] * (-rel[m]);
            fb[m][j] = triangle_weight(lower, rel[m + 2], inv_width[m + 1]);
        }
    }

    if (mel_norm == VOREL_AUDIO_MEL_NORM_NONE) return;
    for (std::size_t m = 0; m + 2 < edges; ++m) {
        const float area = 2.0f / (edge[m + 2] - edge[m]);
        for (float& w : fb[m]) w = area * w;
    }
}

bool MelFilterBankParam::operator<(const MelFilterBankParam& b) const {
    const auto key = [](const MelFilterBankParam& p) {
        return std::tuple(p.freq_n, float_key(p.f_min), float_key(p.f_max), p.mel_n, p.sample_rate, p.mel_norm,
                          p.mel_formula);
    };
    return key(*this) < key(b);
}

MFBTable& MFBTable::instance() {
    static MFBTable inst;
    return inst;
}

const MelMatrix& MFBTable::ref_table(int freq_n, float f_min, float f_max, int mel_n, int sample_rate, int mel_norm,
                                     bool mel_formula) {
    const MelFilterBankParam key{freq_n, f_min, f_max, mel_n, sample_rate, mel_norm, mel_formula};
    return lock_build_find(lock, table, key, [&] { init_mfb_table(key); });
}

void MFBTable::init_mfb_table(const MelFilterBankParam& key) {
    if (table.find(key) != table.end()) return;
    // A bank no machine could hold is refused before any page is touched. The bank is built
    // whole before insertion, so that a failed build leaves no entry behind.
    const std::size_t rows = static_cast<std::size_t>(key.mel_n);
    const std::size_t cols = static_cast<std::size_t>(key.freq_n);
    require_memory(rows * (cols * sizeof(float) + sizeof(std::vector<float>)) + (2 * cols + 3 * rows) * sizeof(float));
    MelMatrix fb(rows);
    for (std::vector<float>& row : fb) row.assign(cols, 0.0f);
    create_fb_matrix(fb, key.freq_n, key.f_min, key.f_max, key.mel_n, key.sample_rate, key.mel_norm, key.mel_formula);
    table.emplace(key, std::move(fb));
}

}  // namespace vorel::audio
