// The converter: the pair's step sequences walked over the zero-padded input, in lanes.
#include "resample/resampler.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <vector>

#include "common/working_set.h"
#include "errors/checks.h"
#include "resample/resample_filter_table.h"
#include "resample/resample_lanes.h"

namespace vorel::audio {

namespace {

using Row = ResampleFilterTable::Row;
constexpr int lane_n = resample_lane_n;

struct Filter {
    const ResampleFilterTable::Coef& coef;
    const ResampleFilterTable::Steps& diff;
    const ResampleFilterTable::Steps& kiro;
    std::int64_t up, down;  // a cycle of the sequences: outputs, and input elements advanced
};

// Where the walk stands: output index, element of the padded input, step in the sequences.
struct Walk {
    std::int64_t n = 0;
    std::int64_t pos = 0;
    std::size_t i = 0;
};

// The signal as the walk sees it: padded element i is x[i - 32] inside the signal, else zero.
struct Source {
    const float* x;
    std::int64_t n;
};

void copy_padded(const Source& s, std::int64_t first, std::int64_t count, float* out) {
    for (std::int64_t k = 0; k < count; ++k) {
        const std::int64_t i = first + k - resample_half_tap_n;
        out[k] = i >= 0 && i < s.n ? s.x[i] : 0.0f;
    }
}

double exact_len(int dst_sample_rate, int src_sample_n, int src_sample_rate) {
    return std::ceil(static_cast<double>(dst_sample_rate) / static_cast<double>(src_sample_rate) *
                     static_cast<double>(src_sample_n));
}

// The walk stops one input step early (pos reaching src_n - 1): equal rates give src_n - 1 samples.
bool walk_ended(std::int64_t pos, std::int64_t src_n) {
    return pos + resample_tap_n >= src_n + 2 * resample_half_tap_n;
}

float dot_taps(const Row& row, const float* x) {
    double sum = 0.0;
    for (int j = 0; j < resample_tap_n; ++j) sum += row[resample_tap_n - 1 - j] * static_cast<double>(x[j]);
    return static_cast<float>(sum);
}

// window holds the padded input from element `first` on.
void run_plain(float* dst, const std::vector<float>& window, std::int64_t first, std::int64_t src_n, std::int64_t limit,
               const Filter& f, Walk& w) {
    while (w.n < limit && !walk_ended(w.pos, src_n)) {
        dst[w.n] = dot_taps(f.coef[f.kiro[w.i]], window.data() + (w.pos - first));
        ++w.n;
        w.pos += f.diff[w.i];
        if (++w.i == f.kiro.size()) w.i = 0;
    }
}

// Lanes: the first 16 x block_n x span outputs are cut into sixteen runs of block_n spans, one
// per lane, and block b computes span b of every run. A span is whole cycles of the sequences,
// so all lanes use the same row at the same s.
constexpr std::int64_t min_span = 128;             // outputs per lane, to spread the widening of a block
constexpr std::int64_t max_input_per_output = 16;  // beyond this, widening costs more than it saves

struct LanePlan {
    std::int64_t span = 0;
    std::int64_t span_down = 0;
    std::int64_t extent = 0;  // padded inputs one lane reads in a block
    std::int64_t block_n = 0;
};

LanePlan plan_lanes(const Filter& f, std::int64_t src_n, std::int64_t limit) {
    LanePlan p;
    if (f.down > max_input_per_output * f.up) return p;

    const std::int64_t cycles = std::max<std::int64_t>(1, (min_span + f.up - 1) / f.up);
    p.span = cycles * f.up;
    p.span_down = cycles * f.down;
    const std::int64_t last_off = p.span_down - f.diff[f.up - 1];  // input of a lane's last output
    p.extent = last_off + resample_tap_n;
    std::int64_t n = 0, pos = 0;
    while (n + lane_n * p.span <= limit && !walk_ended(pos + (lane_n - 1) * p.span_down + last_off, src_n)) {
        ++p.block_n;
        n += lane_n * p.span;
        pos += lane_n * p.span_down;
    }
    return p;
}

// Scratch of the lane blocks, allocated before anything is written: the kernel's chunk, and
// padded copies of the signal's ends for lanes that reach into the padding.
struct LaneScratch {
    WorkingSet ws;
    double* chunk = nullptr;
    float *head = nullptr, *tail = nullptr;
    std::int64_t tail_first = 0;  // element of the padded input where `tail` starts

    LaneScratch(const LanePlan& p, const Source& s) {
        if (p.block_n == 0) return;
        const auto end_n = static_cast<std::size_t>(p.extent + resample_half_tap_n);
        const Part<double> chunk_part = ws.part<double>(std::min(p.extent, resample_chunk_rows) * lane_n);
        const Part<float> head_part = ws.part<float>(end_n), tail_part = ws.part<float>(end_n);
        ws.allocate();
        chunk = ws[chunk_part], head = ws[head_part], tail = ws[tail_part];
        copy_padded(s, 0, end_n, head);
        tail_first = s.n + 2 * resample_half_tap_n - static_cast<std::int64_t>(end_n);
        copy_padded(s, tail_first, end_n, tail);
    }
    // Lane input from element `first` of the padded input on, `extent` elements long.
    const float* lane_input(const Source& s, std::int64_t first, std::int64_t extent) const {
        if (first < resample_half_tap_n) return head + first;
        if (first + extent > s.n + resample_half_tap_n) return tail + (first - tail_first);
        return s.x + (first - resample_half_tap_n);
    }
};

void run_lanes(ResampleLaneKernel kernel, float* dst, const Source& s, const LanePlan& p, LaneScratch& scratch,
               const Filter& f, Walk& w) {
    ResampleLaneBlock b{};
    b.extent = p.extent;
    b.chunk = scratch.chunk;
    b.coef = f.coef.data();
    b.kiro = f.kiro.data();
    b.diff = f.diff.data();
    b.up = f.up;
    b.span = p.span;
    b.lane_stride = p.block_n * p.span;
    for (std::int64_t block = 0; block < p.block_n; ++block) {
        for (int l = 0; l < lane_n; ++l)
            b.lane_src[l] = scratch.lane_input(s, (l * p.block_n + block) * p.span_down, p.extent);
        b.dst = dst + block * p.span;
        kernel(b);
    }
    w.n = lane_n * p.block_n * p.span;
    w.pos = lane_n * p.block_n * p.span_down;
}

bool overlap(const float* a, std::int64_t a_n, const float* b, std::int64_t b_n) {
    const auto a0 = reinterpret_cast<std::uintptr_t>(a);
    const auto b0 = reinterpret_cast<std::uintptr_t>(b);
    return a0 < b0 + b_n * sizeof(float) && b0 < a0 + a_n * sizeof(float);
}

}  // namespace

int get_resample_len(int dst_sample_rate, int src_sample_n, int src_sample_rate) {
    const double len = exact_len(dst_sample_rate, src_sample_n, src_sample_rate);
    require(len <= static_cast<double>(INT_MAX), "Invalid src_sample_n value.");
    return static_cast<int>(len);
}

void resample(float* dst, const float* src, int dst_sample_rate, int dst_n, int src_sample_rate, int src_n,
              simd::Isa isa) {
    // Everything is allocated, and the input copied where dst overlaps it, before the first store.
    const ResampleLaneKernel kernel = resample_lane_kernel(isa);
    ResampleFilterTable& table = ResampleFilterTable::instance();
    const ResampleFilterTable::Coef& coef = table.ref_coef(dst_sample_rate, src_sample_rate);
    const ResampleFilterTable::Steps& diff = table.ref_diff(dst_sample_rate, src_sample_rate);
    const Filter f{coef, diff, table.ref_kiro(dst_sample_rate, src_sample_rate), static_cast<std::int64_t>(diff.size()),
                   std::accumulate(diff.begin(), diff.end(), std::int64_t{0})};
    const double len = exact_len(dst_sample_rate, src_n, src_sample_rate);
    const std::int64_t limit = len < dst_n ? static_cast<std::int64_t>(len) : dst_n;

    const LanePlan plan = kernel ? plan_lanes(f, src_n, limit) : LanePlan{};
    std::vector<float> own;
    Source s{src, src_n};
    if (plan.block_n > 0 && overlap(dst, dst_n, src, src_n)) {
        own.assign(src, src + src_n);
        s.x = own.data();
    }
    LaneScratch scratch(plan, s);
    // The plain walk finishes from where the blocks stop, on a padded window no longer than the
    // rest of the input nor than the outputs still wanted reach (up outputs advance down).
    const std::int64_t first = plan.block_n * lane_n * plan.span_down;
    const std::int64_t rest_n = std::max<std::int64_t>(limit - plan.block_n * lane_n * plan.span, 0);
    const std::int64_t reach = (rest_n + f.up - 1) / f.up * f.down + resample_tap_n;
    const std::int64_t padded_n = static_cast<std::int64_t>(src_n) + 2 * resample_half_tap_n;
    std::vector<float> window(static_cast<std::size_t>(std::min(padded_n - first, reach)));
    copy_padded(s, first, static_cast<std::int64_t>(window.size()), window.data());

    Walk w;
    run_lanes(kernel, dst, s, plan, scratch, f, w);
    run_plain(dst, window, first, src_n, limit, f, w);
    std::fill(dst + w.n, dst + dst_n, 0.0f);
}

}  // namespace vorel::audio
