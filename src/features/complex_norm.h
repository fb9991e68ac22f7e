// Norms of complex values raised to a power, and the magnitude/phase split of a spectrum row.
#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

namespace vorel::audio {

// powf(re*re + im*im, exponent), exponent being power * 0.5f: the norm of one value.
inline float complex_norm(float re, float im, float exponent) {
    const float sq = re * re + im * im;
    return powf(sq, exponent);
}

// dst[i] = powf(re*re + im*im, power * 0.5f) for the first n complex values of src (2n floats).
// Always powf, also for power 1 or 2: a square root or a plain product could differ in the
// last bit. n below 1 writes nothing.
void complex_norm_1d_core(float* dst, const float* src, int n, float power);

// The norms of the first dst.size() complex values of src; src may be longer.
void complex_norm_1d(std::vector<float>& dst, const std::vector<float>& src, float power);

// In place over an interleaved spectrum: each pair becomes (norm, +0.0).
void complex_norm_1d(std::vector<float>& comp, float power);
// The same over the first pair_n pairs of data only (callers that drop the upper bins).
void complex_norm_pairs(float* data, std::size_t pair_n, float power);

// mag gets the norms of the first mag.size() values of src. phase gets atan2f(im, re) per
// value when phase_form is false, or the unit phasor (cos, sin) of that angle, two floats
// per value, when it is true.
void magphase_1d(std::vector<float>& mag, std::vector<float>& phase, const std::vector<float>& src,
                 float power, bool phase_form);


// magphase_1d row by row over freq_n rows of frame_n complex cells (row stride frame_n), with
// one row of scratch; rows finished before a failure stay in the outputs.
void magphase_2d(float* dst_mag, float* dst_phase, const float* src, int freq_n, int frame_n,
                 float power, bool phase_form);

}  // namespace vorel::audio
