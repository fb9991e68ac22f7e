// The process-wide cache of polyphase filters, one per reduced rate pair up/down: up rows of 65
// windowed-sinc taps in double, and the row and input-advance sequences that walk them.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <mutex>
#include <vector>

namespace vorel::audio {

inline constexpr int resample_tap_n = 65;
inline constexpr int resample_half_tap_n = 32;

// A pair costs 528 bytes per row of up. Above this bound (up above 4067203) it is refused with
// std::bad_alloc before any allocation, so no build exhausts memory or holds the lock for long.
inline constexpr std::uint64_t resample_filter_max_bytes = std::uint64_t{1} << 31;

class ResampleFilterTable {
public:
    using Row = std::array<double, resample_tap_n>;
    using Coef = std::vector<Row>;
    using Steps = std::vector<int>;

    static ResampleFilterTable& instance();

    // The entry of the pair, its filter built on first use; valid without the lock.
    const Coef& ref_coef(int dst_sample_rate, int src_sample_rate);
    const Steps& ref_diff(int dst_sample_rate, int src_sample_rate);
    const Steps& ref_kiro(int dst_sample_rate, int src_sample_rate);

    // Number of filters built so far.
    unsigned filter_n();

private:
    ResampleFilterTable() = default;

    // Both need the caller to hold `mutex_`.
    void init_filter(int dst_sample_rate, int src_sample_rate);
    unsigned detect_idx(int dst_sample_rate, int src_sample_rate) const;

    template <class Map>
    const typename Map::mapped_type& ref_entry(Map& map, int dst_sample_rate, int src_sample_rate);

    std::multimap<int, unsigned> idx_by_down_;
    std::map<unsigned, int> up_by_idx_;
    std::map<unsigned, Coef> coef_;
    std::map<unsigned, Steps> diff_;
    std::map<unsigned, Steps> kiro_;
    unsigned next_idx_ = 0;
    std::mutex mutex_;
};

}  // namespace vorel::audio
