// The magnitude/phase split of complex spectra; the norm itself lives in common/complex_norm.h.
#pragma once

#include <cstddef>
#include <vector>

#include "common/complex_norm.h"
#include "simd/isa.h"

namespace vorel::audio {

// dst[i] = powf(re*re + im*im, power * 0.5f) for the first n complex values of src; n below 1
// writes nothing.
void complex_norm_1d_core(float* dst, const float* src, int n, float power);

// phase[i] = atan2f(src[2i + 1], src[2i]) for i < n, by the replica of atan2f of level `isa`
// when its guard passed. phase must not overlap src.
void phase_angles(float* phase, const float* src, std::size_t n, simd::Isa isa = simd::best_isa());

// The same angles as unit phasors by sincosf: phase[2i] = cos, phase[2i + 1] = sin.
void phase_phasors(float* phase, const float* src, std::size_t n, simd::Isa isa = simd::best_isa());

// One row: mag gets the norms of the first mag.size() values of src; phase gets the angles of the
// first phase.size() values, or with phase_form the phasors (cos, sin) of the first mag.size().
void magphase_1d(std::vector<float>& mag, std::vector<float>& phase, const std::vector<float>& src, float power,
                 bool phase_form);

// Row by row over freq_n rows of frame_n complex cells (row stride frame_n): the norms into
// dst_mag, and into dst_phase atan2f(im, re) per cell, or with phase_form its unit phasor
// (cos, sin), two floats per cell. When an output overlaps src, each row is copied to scratch
// before its outputs are written; rows finished before a failure stay in the outputs.
void magphase_2d(float* dst_mag, float* dst_phase, const float* src, int freq_n, int frame_n, float power,
                 bool phase_form, simd::Isa isa = simd::best_isa());

}  // namespace vorel::audio
