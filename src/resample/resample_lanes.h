// The lane kernels of the converter: sixteen lanes of outputs, each summed in the plain order.
#pragma once

#include <cstdint>

#include "resample/resample_filter_table.h"
#include "simd/isa.h"

namespace vorel::audio {

inline constexpr int resample_lane_n = 16;

// Rows of sixteen doubles in a kernel's chunk: a few outputs' inputs, with room to widen ahead.
inline constexpr std::int64_t resample_chunk_rows = 512;

// Lane l computes dst[l * lane_stride + s] for s in [0, span) (whole cycles of the steps) from
// `extent` padded inputs at lane_src[l]; chunk holds min(extent, resample_chunk_rows) x 16
// doubles of scratch, 64-byte aligned.
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

// The block kernel built for `isa`, or null at Isa::scalar.
ResampleLaneKernel resample_lane_kernel(simd::Isa isa);

}  // namespace vorel::audio
