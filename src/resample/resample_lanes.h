// The lane kernels of the converter: one block of sixteen lanes at a time, each lane summing
// its outputs in the plain order, in SSE2, AVX2 and AVX-512 builds of the same code.
#pragma once

#include <cstdint>

#include "resample/resample_filter_table.h"

namespace vorel::audio {

inline constexpr int resample_lane_n = 16;

// Rows of sixteen doubles in a kernel's chunk: enough for the inputs of a few outputs in
// flight, with room to widen ahead of them.
inline constexpr std::int64_t resample_chunk_rows = 512;

// Lane l computes dst[l * lane_stride + s] for s in [0, span), span being whole cycles of the
// step sequences, so that every lane uses the same row at the same s. Lane l reads `extent`
// consecutive elements of the padded input from lane_src[l]; chunk holds
// min(extent, resample_chunk_rows) x 16 doubles of scratch, 64-byte aligned.
struct ResampleLaneBlock {
    const float* lane_src[resample_lane_n];
    std::int64_t extent;
    double* chunk;
    const ResampleFilterTable::Row* coef;
    const int* kiro;
    const int* diff;
    std::int64_t up;
    std::int64_t span;
    float* dst;
    std::int64_t lane_stride;
};

using ResampleLaneKernel = void (*)(const ResampleLaneBlock&);

void resample_lanes_sse2(const ResampleLaneBlock& block);
void resample_lanes_avx2(const ResampleLaneBlock& block);    // only where avx2_supported()
void resample_lanes_avx512(const ResampleLaneBlock& block);  // only where avx512_supported()

bool avx2_supported();
bool avx512_supported();

// The fastest kernel this CPU runs, chosen once.
ResampleLaneKernel best_resample_lane_kernel();

}  // namespace vorel::audio
