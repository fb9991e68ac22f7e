// The feature functions over complex spectra: norms of a flat array, and the magnitude/phase
// split of a spectrum, row by row. The norm itself lives in common/complex_norm.h.
#pragma once

#include <cstddef>
#include <vector>

#include "common/complex_norm.h"
#include "simd/isa.h"

namespace vorel::audio {

// dst[i] = powf(re*re + im*im, power * 0.5f) for the first n complex values of src (2n floats).
// Always the libm's powf bits, also for power 1 or 2: a square root could differ in the last
// bit. n below 1 writes nothing.
void complex_norm_1d_core(float* dst, const float* src, int n, float power);

// phase[i] = atan2f(src[2i + 1], src[2i]) for i < n, by the replica of atan2f of level `isa`
// when its guard passed. phase must not overlap src.
void phase_angles(float* phase, const float* src, std::size_t n, simd::Isa isa = simd::best_isa());

// The same angles as unit phasors: phase[2i] = cos, phase[2i + 1] = sin of the angle, both from
// the libm's one call sincosf.
void phase_phasors(float* phase, const float* src, std::size_t n, simd::Isa isa = simd::best_isa());

// mag gets the norms of the first mag.size() values of src. phase gets atan2f(im, re) per
// value when phase_form is false, or the unit phasor (cos, sin) of that angle, two floats
// per value, when it is true.
void magphase_1d(std::vector<float>& mag, std::vector<float>& phase, const std::vector<float>& src, float power,
                 bool phase_form);

// magphase_1d row by row over freq_n rows of frame_n complex cells (row stride frame_n). When an
// output overlaps src, each row is copied to scratch before its outputs are written, as in the
// plain row-by-row form; rows finished before a failure stay in the outputs.
void magphase_2d(float* dst_mag, float* dst_phase, const float* src, int freq_n, int frame_n, float power,
                 bool phase_form, simd::Isa isa = simd::best_isa());

}  // namespace vorel::audio
