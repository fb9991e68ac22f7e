// Process-wide cache of the radix-4 twiddles rearranged by column: for each stage whose
// columns run in vector lanes, the distinct values of column `start` are stored by column
// (value k of column s at k * quarter + s), so that consecutive columns load as one vector.
// A row of 12 floats holds six distinct values; its three -sin entries are the negated sin
// entries, and a float negates exactly, so the six values give back the row bit for bit at
// half the memory. The values are copies of the FftTable rows; only their places change.
#pragma once

#include <cstddef>
#include <vector>

namespace vorel::audio {

// The rearranged twiddles of the power of two n >= 16 in one direction, built once per process
// from that direction's FftTable value `table`, and remembered per thread.
const std::vector<float>& column_twiddles_of(std::size_t n, bool inverse, const std::vector<float>& table);

// The distinct values of a column, cos 2j, sin 2j, cos j, sin j, cos 3j, sin 3j, and the row's
// 12 floats as value (kRowSource) and sign (kRowNegated).
inline constexpr std::size_t kColumnValues = 6;
inline constexpr std::size_t kRowSource[12] = {0, 1, 1, 0, 2, 3, 3, 2, 5, 4, 4, 5};
inline constexpr bool kRowNegated[12] = {false, false, true, false, false, false,
                                         true,  false, true, false, false, false};

// Floats of the twiddles of one of the last two stages as sixteen lanes, whole rows: they are
// few, and read where they are used.
constexpr std::size_t kLastStageFloats = 12 * 16;

// Floats of the rearranged twiddles of n: kColumnValues per column of each stage with a
// quarter of at least 4, in stage order; then, from n = 64 on, the last two stages as sixteen
// lanes each (kLastStageFloats per stage, float c of lane l at 16 c + l).
std::size_t column_twiddle_floats(std::size_t n);

}  // namespace vorel::audio
