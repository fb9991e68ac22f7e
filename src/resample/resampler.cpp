// The converter: walks the step sequences of the pair's filter over the zero-padded input,
// one 65-tap dot product in double per output sample.
#include "resample/resampler.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "errors/checks.h"
#include "resample/resample_filter_table.h"

namespace vorel::audio {

namespace {

using Coef = ResampleFilterTable::Coef;
using Steps = ResampleFilterTable::Steps;
using Row = ResampleFilterTable::Row;

struct Filter {
    const Coef& coef;
    const Steps& diff;
    const Steps& kiro;
};

// Where the walk stands: output index, element of the padded input, step in the sequences.
struct Walk {
    std::int64_t n = 0;
    std::int64_t pos = 0;
    std::size_t i = 0;
};

double exact_len(int dst_sample_rate, int src_sample_n, int src_sample_rate) {
    return std::ceil(static_cast<double>(dst_sample_rate) / static_cast<double>(src_sample_rate) *
                     static_cast<double>(src_sample_n));
}

// The walk stops one input step early, while 65 elements would still be there: pos reaching
// src_n - 1 ends it. Equal rates therefore give src_n - 1 samples.
bool walk_ended(std::int64_t pos, std::int64_t src_n) {
    return pos + resample_tap_n >= src_n + 2 * resample_half_tap_n;
}

float dot_taps(const Row& row, const float* x) {
    double sum = 0.0;
    for (int j = 0; j < resample_tap_n; ++j)
        sum += row[resample_tap_n - 1 - j] * static_cast<double>(x[j]);
    return static_cast<float>(sum);
}

void run_plain(float* dst, const std::vector<float>& padded, std::int64_t src_n,
               std::int64_t limit, const Filter& f, Walk& w) {
    while (w.n < limit && !walk_ended(w.pos, src_n)) {
        dst[w.n] = dot_taps(f.coef[f.kiro[w.i]], padded.data() + w.pos);
        ++w.n;
        w.pos += f.diff[w.i];
        if (++w.i == f.kiro.size()) w.i = 0;
    }
}

// Lanes: sixteen outputs at once, lane l taking output n0 + l * span + s. A span is a whole
// number of cycles of the sequences, so all lanes use the same row at the same s, and their
// inputs start span_down apart. Each lane keeps its own double sum in the plain order, so the
// result is the plain one to the bit. The inputs of a block are widened once into a chunk with
// the lanes side by side, so one tap meets sixteen samples in eight vector products; eight
// independent sums also hide the latency of the additions, which bounds a single sum.
typedef double v2d __attribute__((vector_size(16)));

constexpr int lane_n = 16;
constexpr std::int64_t min_span = 128;  // outputs per lane, to spread the widening of a block
constexpr std::int64_t max_input_per_output = 16;  // beyond this, widening costs more than it saves

v2d load2(const double* p) {
    v2d v;
    __builtin_memcpy(&v, p, sizeof v);
    return v;
}

void dot_taps_lanes(const Row& row, const double* z, float* out) {
    constexpr int pair_n = lane_n / 2;
    v2d acc[pair_n];
#pragma GCC unroll 8
    for (int q = 0; q < pair_n; ++q) acc[q] = v2d{0.0, 0.0};
    for (int j = 0; j < resample_tap_n; ++j) {
        const double t = row[resample_tap_n - 1 - j];
        const v2d c = {t, t};
        const double* x = z + j * lane_n;
#pragma GCC unroll 8
        for (int q = 0; q < pair_n; ++q) acc[q] = acc[q] + c * load2(x + 2 * q);
    }
#pragma GCC unroll 16
    for (int l = 0; l < lane_n; ++l) out[l] = static_cast<float>(acc[l / 2][l % 2]);
}

void run_lanes(float* dst, const std::vector<float>& padded, std::int64_t src_n,
               std::int64_t limit, const Filter& f, Walk& w) {
    const std::int64_t up = static_cast<std::int64_t>(f.kiro.size());
    std::int64_t down = 0;
    for (int d : f.diff) down += d;
    if (down > max_input_per_output * up) return;

    const std::int64_t cycles = std::max<std::int64_t>(1, (min_span + up - 1) / up);
    const std::int64_t span = cycles * up;
    const std::int64_t span_down = cycles * down;
    const std::int64_t last_off = span_down - f.diff[up - 1];  // input offset of a lane's last output
    const std::int64_t extent = last_off + resample_tap_n;
    auto block_fits = [&] {
        return w.n + lane_n * span <= limit &&
               !walk_ended(w.pos + (lane_n - 1) * span_down + last_off, src_n);
    };
    if (!block_fits()) return;

    std::vector<double> chunk(static_cast<std::size_t>(extent * lane_n));
    float out[lane_n];
    do {
        for (std::int64_t k = 0; k < extent; ++k)
            for (int l = 0; l < lane_n; ++l)
                chunk[k * lane_n + l] = padded[w.pos + l * span_down + k];
        std::int64_t off = 0;
        std::size_t i = 0;
        for (std::int64_t s = 0; s < span; ++s) {
            dot_taps_lanes(f.coef[f.kiro[i]], chunk.data() + off * lane_n, out);
            for (int l = 0; l < lane_n; ++l) dst[w.n + l * span + s] = out[l];
            off += f.diff[i];
            if (++i == f.kiro.size()) i = 0;
        }
        w.n += lane_n * span;
        w.pos += lane_n * span_down;
    } while (block_fits());
}

void resample_with(bool lanes, float* dst, const float* src, int dst_sample_rate, int dst_n,
                   int src_sample_rate, int src_n) {
    const Filter f{ResampleFilterTable::instance().ref_coef(dst_sample_rate, src_sample_rate),
                   ResampleFilterTable::instance().ref_diff(dst_sample_rate, src_sample_rate),
                   ResampleFilterTable::instance().ref_kiro(dst_sample_rate, src_sample_rate)};

    // Copied before any store, so dst may be src.
    // Each element written once: the margins zeroed, the signal copied.
    const std::size_t padded_n = static_cast<std::size_t>(src_n) + 2 * resample_half_tap_n;
    std::vector<float> padded;
    padded.reserve(padded_n);
    padded.assign(resample_half_tap_n, 0.0f);
    padded.insert(padded.end(), src, src + src_n);
    padded.resize(padded_n, 0.0f);

    const double len = exact_len(dst_sample_rate, src_n, src_sample_rate);
    const std::int64_t limit = len < dst_n ? static_cast<std::int64_t>(len) : dst_n;
    Walk w;
    if (lanes) run_lanes(dst, padded, src_n, limit, f, w);
    run_plain(dst, padded, src_n, limit, f, w);
    std::fill(dst + w.n, dst + dst_n, 0.0f);
}

}  // namespace

int get_resample_len(int dst_sample_rate, int src_sample_n, int src_sample_rate) {
    const double len = exact_len(dst_sample_rate, src_sample_n, src_sample_rate);
    require(len <= static_cast<double>(INT_MAX), "Invalid src_sample_n value.");
    return static_cast<int>(len);
}

void resample(float* dst, const float* src, int dst_sample_rate, int dst_n, int src_sample_rate,
              int src_n) {
    resample_with(true, dst, src, dst_sample_rate, dst_n, src_sample_rate, src_n);
}

void resample_plain(float* dst, const float* src, int dst_sample_rate, int dst_n,
                    int src_sample_rate, int src_n) {
    resample_with(false, dst, src, dst_sample_rate, dst_n, src_sample_rate, src_n);
}

}  // namespace vorel::audio
