// Frames into lanes, the lane transform, and the norm scaling of the kept bins.
#include "stft/spectrum_lanes.h"

#include "simd/lanes.h"
#include "stft/framing.h"
#include "stft/spectrogram.h"
#include "transform/fft.h"
#include "vorel_audio.h"

namespace vorel::audio {

static_assert(kFrameLanes % 4 == 0, "frames are loaded in groups of four");

SpectrumLanes::Parts SpectrumLanes::declare(WorkingSet& ws, std::size_t n) {
    Parts parts{FrameLanes::declare(ws, n), ws.part<std::uint32_t>(n), ws.part<float>(n), {}};
    for (VectorPart& seg : parts.segs) seg = ws.vector(n);
    return parts;
}

SpectrumLanes::SpectrumLanes(WorkingSet& ws, const Parts& parts, int fft_n, const std::vector<float>& fft_table,
                             const std::vector<float>& window, int norm_type, simd::Isa isa)
    : n_(static_cast<std::size_t>(fft_n)),
      norm_type_(norm_type),
      factor_(stft_norm_factor(norm_type, fft_n, window)),
      lanes_(ws, parts.lanes, n_, fft_table, isa),
      element_(ws[parts.element]),
      weight_(ws[parts.weight]),
      factors_(place_window(ws[parts.weight], n_, window)) {
    std::uint32_t* element = ws[parts.element];
    for (std::size_t j = 0; j < n_; ++j) element[lanes_.plan().in_pos[j]] = static_cast<std::uint32_t>(j);
    for (std::size_t l = 0; l < kFrameLanes; ++l) segs_[l] = &ws[parts.segs[l]];
}

void SpectrumLanes::transform(const float* src, int sample_n, int hop_n, int center, int64_t first) {
    using simd::float4;
    const float* frames[kFrameLanes];
    for (std::size_t l = 0; l < kFrameLanes; ++l) {
        const int64_t pos = (first + static_cast<int64_t>(l)) * hop_n;
        frames[l] = frame_inside(src, sample_n, n_, pos, center);
        if (frames[l] == nullptr) {
            cut_frame(*segs_[l], src, sample_n, pos, center);
            frames[l] = segs_[l]->data();
        }
    }
    // The short form of a mixed-radix length reads no imaginary part. It is exact while
    // everything stays finite; otherwise the full transform runs on a fresh load.
    load(frames, is_pow2(static_cast<int>(n_)));
    if (!lanes_.transform_real_half()) {
        load(frames, true);
        lanes_.transform(false);
    }
    if (norm_type_ != VOREL_AUDIO_NORM_TYPE_TORCH && norm_type_ != VOREL_AUDIO_NORM_TYPE_SCIPY) return;
    for (std::size_t k = 0; k <= n_ / 2; ++k) {
        float* p = lanes_.out(k);
        for (std::size_t f = 0; f < kLaneStride; ++f) p[f] = p[f] * factor_;
    }
}

void SpectrumLanes::load(const float* const* frames, bool imaginary) {
    using simd::float4;
    // The windowed real input of the transform, each sample stored to the lane element where
    // the transform's first step wants it. Samples outside the window are 0, not multiplied.
    // Locals, since the stores through float pointers could otherwise alias the members.
    float* const data = lanes_.in(0);
    const std::uint32_t* const elements = element_;
    const float* const weight = weight_;
    const std::size_t begin = factors_.begin, end = factors_.end;
    const auto element = [data, elements](std::size_t i) { return data + kLaneStride * elements[i]; };
    // Zeros by whole vectors: a fill of 8 or 16 floats per element as a string operation
    // costs more than the transform of the element.
    const float4 zero{};
    const std::size_t zeros_end = imaginary ? kLaneStride : kFrameLanes;
    for (std::size_t i = 0; i < n_; ++i) {
        const bool kept = i >= begin && i < end;
        for (std::size_t f = kept ? kFrameLanes : 0; f < zeros_end; f += 4) simd::store(element(i) + f, zero);
    }
    std::size_t i = begin;
    // Four samples of all frames at a time: a 4 x 4 transpose per group of four frames brings
    // each sample's frames together.
    for (; i + 4 <= end; i += 4) {
        float4 w[4];
        for (std::size_t s = 0; s < 4; ++s) w[s] = simd::broadcast<float4>(weight[i + s]);
        for (std::size_t g = 0; g < kFrameLanes; g += 4) {
            float4 v[4];
            for (std::size_t s = 0; s < 4; ++s) v[s] = simd::load<float4>(frames[g + s] + i);
            simd::transpose4(v[0], v[1], v[2], v[3]);
            for (std::size_t s = 0; s < 4; ++s) simd::store(element(i + s) + g, v[s] * w[s]);
        }
    }
    for (; i < end; ++i)
        for (std::size_t l = 0; l < kFrameLanes; ++l) element(i)[l] = frames[l][i] * weight[i];
}

}  // namespace vorel::audio
