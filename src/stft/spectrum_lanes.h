// Spectra of kFrameLanes consecutive frames, one per lane, each bin with the per-frame bits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "stft/frame_lanes.h"
#include "stft/frame_ops.h"

namespace vorel::audio {

class SpectrumLanes {
public:
    struct Parts {
        FrameLanes::Parts lanes;
        Part<std::uint32_t> element;
        Part<float> weight;
        VectorPart segs[kFrameLanes];
    };
    static Parts declare(WorkingSet& ws, std::size_t n);

    // The tables must outlive the object (the process-wide caches keep theirs).
    SpectrumLanes(WorkingSet& ws, const Parts& parts, int fft_n, const std::vector<float>& fft_table,
                  const std::vector<float>& window, int norm_type, simd::Isa isa);

    // Frames first .. first + kFrameLanes - 1, hop_n apart, cut as cut_frame cuts them.
    // Only the bins up to fft_n / 2 are scaled: the upper half is left for no caller.
    void transform(const float* src, int sample_n, int hop_n, int center, int64_t first);

    // Bin k of the last transform: kFrameLanes real parts, then kFrameLanes imaginary parts.
    const float* bin(std::size_t k) const { return lanes_.out(k); }

private:
    // The windowed frames into the lanes; the imaginary parts (+0.0) only when read.
    void load(const float* const* frames, bool imaginary);

    std::size_t n_;
    int norm_type_;
    float factor_;
    FrameLanes lanes_;
    const std::uint32_t* element_;  // the lane element that frame sample i starts in
    const float* weight_;           // per frame sample
    WindowFactors factors_;
    std::vector<float>* segs_[kFrameLanes];  // frames that need padding, one per lane
    simd::Isa isa_;
};

}  // namespace vorel::audio
