// Builds and caches the polyphase filters and their step sequences.
#include "resample/resample_filter_table.h"

#include <cmath>
#include <new>
#include <numeric>
#include <optional>
#include <utility>

#include "common/process_table.h"

namespace vorel::audio {

namespace {

struct ReducedPair {
    int up;
    int down;
};

// The rates divided by their greatest common divisor.
ReducedPair reduce(int dst_sample_rate, int src_sample_rate) {
    const long long g = std::gcd(static_cast<long long>(dst_sample_rate), static_cast<long long>(src_sample_rate));
    return {static_cast<int>(dst_sample_rate / g), static_cast<int>(src_sample_rate / g)};
}

// Row r is the sinc cut at f, under a Blackman window of span 65, sampled at the offsets
// (r - c) / up + k - 32. The operations run in this order on purpose: the centre tap of the
// equal-rate filter comes out one rounding step below 1.0, and that is the filter.
void fill_row(ResampleFilterTable::Row& row, int r, int up, double f, double c) {
    const double p = (static_cast<double>(r) - c) / static_cast<double>(up);
    for (int k = 0; k < resample_tap_n; ++k) {
        const double t = p + static_cast<double>(k - resample_half_tap_n);
        double w = std::cos(t * 6.283185307179586 / 65.0) * 0.5 + 0.42;
        w = std::cos(t * 12.566370614359172 / 65.0) * 0.08 + w;
        double s;
        if (std::fabs(t) <= 2.220446049250313e-16) {
            s = f;
        } else {
            const double u = t * 3.141592653589793;
            s = std::sin(f * u) / u;
        }
        row[k] = w * s;
    }
}

ResampleFilterTable::Coef make_coef(ReducedPair pair) {
    const double f = pair.up <= pair.down ? static_cast<double>(pair.up) / static_cast<double>(pair.down) : 1.0;
    const double c = static_cast<double>(pair.up - 1) * 0.5;
    ResampleFilterTable::Coef coef(static_cast<std::size_t>(pair.up));
    for (int r = 0; r < pair.up; ++r) fill_row(coef[r], r, pair.up, f, c);
    return coef;
}

// kiro[i] is the row of step i, diff[i] the input advance after it; one cycle of up steps
// advances the input by down and returns to kiro[0]. 64-bit sums: v + down can pass INT_MAX.
void make_steps(ReducedPair pair, ResampleFilterTable::Steps& kiro, ResampleFilterTable::Steps& diff) {
    const long long up = pair.up;
    const long long down = pair.down;
    kiro.assign(static_cast<std::size_t>(up), 0);
    diff.assign(static_cast<std::size_t>(up), 0);
    long long v = (up - 1) / 2;
    kiro[0] = static_cast<int>(v);
    for (long long i = 0; i + 1 < up; ++i) {
        const long long q = (v + down) / up;
        diff[i] = static_cast<int>(q);
        v = v + down - q * up;
        kiro[i + 1] = static_cast<int>(v);
    }
    diff[up - 1] = static_cast<int>((kiro[up - 1] + down) / up);
}

// The index of the pair's filter, when it is built.
std::optional<unsigned> find_idx(const std::multimap<int, unsigned>& by_down, const std::map<unsigned, int>& up_by_idx,
                                 ReducedPair pair) {
    const auto [first, last] = by_down.equal_range(pair.down);
    for (auto it = first; it != last; ++it)
        if (up_by_idx.find(it->second)->second == pair.up) return it->second;
    return std::nullopt;
}

// Refuses a filter beyond the size bound before allocating it; 64-bit, so it cannot overflow.
void check_filter_size(int up) {
    const std::uint64_t per_row = sizeof(ResampleFilterTable::Row) + 2 * sizeof(int);
    if (static_cast<std::uint64_t>(up) * per_row > resample_filter_max_bytes) throw std::bad_alloc();
}

}  // namespace

ResampleFilterTable& ResampleFilterTable::instance() {
    static ResampleFilterTable inst;
    return inst;
}

void ResampleFilterTable::init_filter(int dst_sample_rate, int src_sample_rate) {
    const ReducedPair pair = reduce(dst_sample_rate, src_sample_rate);
    if (find_idx(idx_by_down_, up_by_idx_, pair)) return;

    // Every allocation happens in these one-entry maps; the merges below only relink nodes
    // and cannot fail, so a bad_alloc leaves the table as it was.
    check_filter_size(pair.up);
    const unsigned idx = next_idx_;
    std::map<unsigned, Coef> coef;
    coef.emplace(idx, make_coef(pair));
    std::map<unsigned, Steps> kiro;
    std::map<unsigned, Steps> diff;
    make_steps(pair, kiro[idx], diff[idx]);
    std::map<unsigned, int> up;
    up.emplace(idx, pair.up);
    std::multimap<int, unsigned> by_down;
    by_down.emplace(pair.down, idx);

    coef_.merge(coef);
    diff_.merge(diff);
    kiro_.merge(kiro);
    up_by_idx_.merge(up);
    idx_by_down_.merge(by_down);  // behind the filters already under this down
    next_idx_ = idx + 1;
}

unsigned ResampleFilterTable::detect_idx(int dst_sample_rate, int src_sample_rate) const {
    return find_idx(idx_by_down_, up_by_idx_, reduce(dst_sample_rate, src_sample_rate)).value_or(0);
}

template <class Map>
const typename Map::mapped_type& ResampleFilterTable::ref_entry(Map& map, int dst_sample_rate, int src_sample_rate) {
    // A pair's index is known only once its filter exists, so the build step also sets the
    // key that the find reads afterwards, still under the lock.
    unsigned idx = 0;
    return lock_build_find(mutex_, map, idx, [&] {
        init_filter(dst_sample_rate, src_sample_rate);
        idx = detect_idx(dst_sample_rate, src_sample_rate);
    });
}

const ResampleFilterTable::Coef& ResampleFilterTable::ref_coef(int dst_sample_rate, int src_sample_rate) {
    return ref_entry(coef_, dst_sample_rate, src_sample_rate);
}

const ResampleFilterTable::Steps& ResampleFilterTable::ref_diff(int dst_sample_rate, int src_sample_rate) {
    return ref_entry(diff_, dst_sample_rate, src_sample_rate);
}

const ResampleFilterTable::Steps& ResampleFilterTable::ref_kiro(int dst_sample_rate, int src_sample_rate) {
    return ref_entry(kiro_, dst_sample_rate, src_sample_rate);
}

unsigned ResampleFilterTable::filter_n() {
    std::lock_guard<std::mutex> guard(mutex_);
    return next_idx_;
}

}  // namespace vorel::audio
