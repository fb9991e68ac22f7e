// Process-wide cache of the radix-4 twiddles rearranged by column: for each stage whose
// columns run in vector lanes, the 12 floats of column `start` are stored 12 apart-by-column
// (float c of column s at c * quarter + s), so that consecutive columns load as one vector.
// The values are copies of the FftTable rows; only their places change.
#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

namespace vorel::audio {

class ColumnTwiddleTable {
public:
    static ColumnTwiddleTable& instance();
    // The rearranged twiddles of the power of two n >= 16 in one direction, built from that
    // direction's FftTable value `table` if missing.
    const std::vector<float>& ref_columns(int n, bool inverse, const std::vector<float>& table);

private:
    ColumnTwiddleTable() = default;
    void init_columns(int n, bool inverse, const std::vector<float>& table);

    std::map<std::pair<int, bool>, std::vector<float>> columns;
    std::mutex lock;
};

// Floats of the twiddles of one of the last two stages as sixteen lanes.
constexpr std::size_t kLastStageFloats = 12 * 16;

// Floats of the rearranged twiddles of n: 12 per column of each stage with a quarter of at
// least 4, in stage order; then, from n = 64 on, the last two stages as sixteen lanes each
// (kLastStageFloats per stage, float c of lane l at 16 c + l).
std::size_t column_twiddle_floats(std::size_t n);

}  // namespace vorel::audio
