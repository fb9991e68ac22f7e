// Detection of the non-silent range of a signal from the levels of its frames.
#pragma once

#include <cstdint>

namespace vorel::audio {

// Bound on the reads of one pass, frames x win_n (about a second); beyond it std::bad_alloc.
inline constexpr std::uint64_t nonsilent_max_reads = std::uint64_t{1} << 30;

// Frames of win_n samples centred on t * hop_n, reflect-padded and unweighted, are measured
// by their mean square in double (floored at 1e-10); a frame is non-silent when its level
// against the loudest frame, 10 log10(p) - 10 log10(peak), is strictly above -thr_db.
// Writes the sample range from the first to past the last non-silent frame, clipped to
// sample_n, or -1 and 0 when there is none (also when there are no frames). Throws for a
// negative thr_db. Keeps win_n floats of scratch and reads at most twice frames x win_n.
void detect_nonsilent_pos(int* start_pos, int* nonsilent_len, const float* src, int sample_n, int win_n, int hop_n,
                          float thr_db);

}  // namespace vorel::audio
