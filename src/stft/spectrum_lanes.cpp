// Frames into lanes, the lane transform, and the norm scaling of the kept bins.
#include "stft/spectrum_lanes.h"

#include <algorithm>

#include "simd/isa.h"
#include "simd/lanes.h"
#include "simd/vec.h"
#include "stft/framing.h"
#include "stft/spectrogram.h"
#include "transform/fft.h"
#include "vorel_audio.h"

namespace vorel::audio {

static_assert(kFrameLanes % 8 == 0, "frames are loaded in groups of four or eight");

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
      factors_(place_window(ws[parts.weight], n_, window)),
      isa_(isa) {
    std::uint32_t* element = ws[parts.element];
    for (std::size_t j = 0; j < n_; ++j) element[lanes_.plan().in_pos[j]] = static_cast<std::uint32_t>(j);
    for (std::size_t l = 0; l < kFrameLanes; ++l) segs_[l] = &ws[parts.segs[l]];
}

void SpectrumLanes::transform(const float* src, int sample_n, int hop_n, int center, int64_t first) {
    const float* frames[kFrameLanes];
    for (std::size_t l = 0; l < kFrameLanes; ++l) {
        frames[l] = frame_at(*segs_[l], src, sample_n, (first + static_cast<int64_t>(l)) * hop_n, center);
    }
    // Prefetch what the group after next reaches: the hardware finds frames this far apart late.
    const int64_t ahead_lo = std::clamp<int64_t>((first + 2 * kFrameLanes - 1) * hop_n + n_, 0, sample_n);
    const int64_t ahead_hi = std::clamp<int64_t>((first + 3 * kFrameLanes - 1) * hop_n + n_, 0, sample_n);
    for (int64_t i = ahead_lo; i < ahead_hi; i += 16) __builtin_prefetch(src + i);
    // The short form of a mixed-radix length reads no imaginary part; it is exact while all stays
    // finite, otherwise the full transform runs on a fresh load.
    load(frames, is_pow2(static_cast<int>(n_)));
    if (!lanes_.transform_real(false)) {
        load(frames, true);
        lanes_.transform(false);
    }
    if (norm_type_ != VOREL_AUDIO_NORM_TYPE_TORCH && norm_type_ != VOREL_AUDIO_NORM_TYPE_SCIPY) return;
    for (std::size_t k = 0; k <= n_ / 2; ++k) {
        float* p = lanes_.out(k);
        for (std::size_t f = 0; f < kLaneStride; ++f) p[f] = p[f] * factor_;
    }
}

namespace {

// The windowed input, each sample stored at its lane element; samples outside the window are 0.
struct LoadJob {
    float* data;
    const std::uint32_t* elements;  // lane element of each frame sample
    const float* weight;
    std::size_t n, begin, end;
    const float* const* frames;
    bool imaginary;  // also zero the imaginary parts
};

// Floats [f0, f1) of the elements of frame samples [i0, i1) to +0.0, by vectors (a fill costs more).
template <class V>
VOREL_INLINE void zero_lanes(float* data, const std::uint32_t* elements, std::size_t i0, std::size_t i1, std::size_t f0,
                             std::size_t f1) {
    for (std::size_t i = i0; i < i1; ++i)
        for (std::size_t f = f0; f < f1; f += simd::kLanes<V>) simd::store(data + kLaneStride * elements[i] + f, V{});
}

// W samples of all frames at a time, groups of W frames transposed so each sample's come together.
template <class V>
VOREL_INLINE void load_lanes(const LoadJob& job) {
    constexpr std::size_t W = simd::kLanes<V>;
    // Locals, since the stores through float pointers could otherwise alias the job.
    float* const data = job.data;
    const std::uint32_t* const elements = job.elements;
    const float* const weight = job.weight;
    const std::size_t n = job.n, begin = job.begin, end = job.end;
    const float* frames[kFrameLanes];
    for (std::size_t l = 0; l < kFrameLanes; ++l) frames[l] = job.frames[l];
    zero_lanes<V>(data, elements, 0, begin, 0, kFrameLanes);
    zero_lanes<V>(data, elements, end, n, 0, kFrameLanes);
    if (job.imaginary) zero_lanes<V>(data, elements, 0, n, kFrameLanes, kLaneStride);
    std::size_t i = begin;
    if constexpr (W == 4 || W == 8) {
        for (; i + W <= end; i += W) {
            for (std::size_t g = 0; g < kFrameLanes; g += W) {
                V v[W];
                for (std::size_t s = 0; s < W; ++s) v[s] = simd::load<V>(frames[g + s] + i);
                if constexpr (W == 4)
                    lanes::transpose4<1>(v[0], v[1], v[2], v[3]);
                else
                    simd::transpose8(v);
                for (std::size_t s = 0; s < W; ++s)
                    simd::store(data + kLaneStride * elements[i + s] + g, v[s] * simd::broadcast<V>(weight[i + s]));
            }
        }
    }
    for (; i < end; ++i)
        for (std::size_t l = 0; l < kFrameLanes; ++l) data[kLaneStride * elements[i] + l] = frames[l][i] * weight[i];
}

void load_scalar(const LoadJob& job) { load_lanes<float>(job); }
VOREL_TARGET_SSE2 void load_sse2(const LoadJob& job) { load_lanes<simd::float4>(job); }
VOREL_TARGET_AVX2 void load_avx2(const LoadJob& job) { load_lanes<simd::float8>(job); }

constexpr simd::IsaBuilds<void (*)(const LoadJob&)> kLoads{load_scalar, load_sse2, load_avx2, nullptr};

}  // namespace

void SpectrumLanes::load(const float* const* frames, bool imaginary) {
    kLoads(isa_)({lanes_.in(0), element_, weight_, n_, factors_.begin, factors_.end, frames, imaginary});
}

}  // namespace vorel::audio
