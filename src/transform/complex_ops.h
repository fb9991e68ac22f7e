// The arithmetic steps of the transforms, written once for a float and for vectors of
// independent floats (GCC vector extensions): a lane rounds exactly as the scalar does, so
// every caller, one element or many frames at a time, gets the same bits per element.
#pragma once

namespace vorel::audio {

// acc += x * w, each part of the product rounded before it is added.
template <class V>
inline __attribute__((always_inline)) void multiply_add(V& acc_re, V& acc_im, V x_re, V x_im, V w_re,
                                                        V w_im) {
    const V re = x_re * w_re - x_im * w_im;
    const V im = x_re * w_im + x_im * w_re;
    acc_re = acc_re + re;
    acc_im = acc_im + im;
}

// One radix-4 butterfly on four complex values A, B, C, D given as real and imaginary
// parts, with the twiddles t[0..11] of one table row. V is float or a vector; T alike.
template <bool Inverse, class V, class T>
inline __attribute__((always_inline)) void butterfly(V& ar, V& ai, V& br, V& bi, V& cr, V& ci, V& dr, V& di,
                                                     const T* t) {
    const V apc_r = ar + cr, apc_i = ai + ci;
    const V bpd_r = br + dr, bpd_i = bi + di;
    const V amc_r = ar - cr, amc_i = ai - ci;
    const V dmb_r = dr - br, dmb_i = di - bi;
    const V xr = apc_r - bpd_r, xi = apc_i - bpd_i;
    // (A - C) - i(B - D) and (A - C) + i(B - D); the inverse exchanges their places.
    const V minus_r = amc_r - dmb_i, minus_i = amc_i + dmb_r;
    const V plus_r = amc_r + dmb_i, plus_i = amc_i - dmb_r;
    const V yr = Inverse ? plus_r : minus_r, yi = Inverse ? plus_i : minus_i;
    const V zr = Inverse ? minus_r : plus_r, zi = Inverse ? minus_i : plus_i;
    ar = apc_r + bpd_r;
    ai = apc_i + bpd_i;
    // The twiddle of 2j goes to the second quarter and that of j to the third, so that a
    // plain bit reversal restores the order afterwards.
    br = xr * t[0] + xi * t[2];
    bi = xr * t[1] + xi * t[3];
    cr = yr * t[4] + yi * t[6];
    ci = yr * t[5] + yi * t[7];
    dr = zi * t[8] + zr * t[10];
    di = zi * t[9] + zr * t[11];
}

}  // namespace vorel::audio
