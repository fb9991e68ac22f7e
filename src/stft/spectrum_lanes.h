// Short-time spectra of kFrameLanes consecutive frames at once, one frame per vector lane:
// each frame is cut and windowed as the per-frame path does, and the transform and the
// scaling do per lane exactly the per-frame operations, so every bin has the same bits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "stft/frame_ops.h"
#include "transform/fft_lanes.h"

namespace vorel::audio {

class SpectrumLanes {
public:
    // The tables must outlive the object (the process-wide caches keep theirs).
    SpectrumLanes(int fft_n, const std::vector<float>& fft_table, const std::vector<float>& window, int norm_type,
                  simd::Isa kernel = simd::best_isa());

    // Frames first .. first + kFrameLanes - 1, hop_n apart, cut as cut_frame cuts them.
    // Only the bins up to fft_n / 2 are scaled: the upper half is left for no caller.
    void transform(const float* src, int sample_n, int hop_n, int center, int64_t first);

    // Bin k of the last transform: kFrameLanes real parts, then kFrameLanes imaginary parts.
    const float* bin(std::size_t k) const { return result_ + kLaneStride * plan_.out_pos[k]; }

    // Working memory of an object for fft_n, besides the tables.
    static std::size_t work_bytes(int fft_n);

private:
    std::size_t n_;
    const std::vector<float>& fft_table_;
    int norm_type_;
    float factor_;
    simd::Isa kernel_;
    FrameLanePlan plan_;
    WindowFactors factors_;               // per frame sample
    std::vector<std::uint32_t> element_;  // the lane element that frame sample i starts in
    std::vector<std::vector<float>> segs_;  // frames that need padding, one per lane
    std::vector<float> data_, spare_;
    float* result_;
};

}  // namespace vorel::audio
