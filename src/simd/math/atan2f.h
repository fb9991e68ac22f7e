// atan2f as the platform libm computes it: float arithmetic, never fused. The quotient |y/x| is
// reduced to one of five intervals around 0, 0.5, 1, 1.5 and infinity, atan of the reduced
// value comes from an odd polynomial split into two halves, and the quadrant is restored from
// the signs with pi held as a high and a low part.
#pragma once

#include <cstdint>

#include "simd/math/lanes.h"

namespace vorel::audio::simd::math {

// atan2f(y, x) per lane; NaN, infinite or zero x, infinite y and x == 1 (the libm returns
// atanf(y) there) are marked special. A zero y is answered in lanes.
template <class V, class T = LaneTypes<kLanes<V>>, class F = typename T::F, class I = typename T::I>
VOREL_INLINE V atan2f_lanes(V yv, V xv, I& special) {
    const F x = to_lanes(xv);
    const F y = to_lanes(yv);
    const I hx = bits<I>(x);
    const I hy = bits<I>(y);
    const I ix = hx & 0x7fffffff;
    const I iy = hy & 0x7fffffff;
    // ix, iy, it lie in [0, 2^31) and k in [-255, 255]: every comparison below is the sign of a
    // difference that cannot overflow.
    special = less(0x7f7fffff, ix) | less(0x7f7fffff, iy) | (hx == 0x3f800000) | less(ix, 1);
    const float pi = 3.1415927410e+00f, pi_lo = -8.7422776573e-08f, pi_o_2 = 1.5707963705e+00f;
    const F tiny = splat<F>(1.0e-30f);
    const I x_neg = hx >> 31;

    // atanf(|y/x|), with |y/x| beyond 2^60 and below 2^-60 (for negative x) set directly.
    const F t = bits<F>(bits<I>(y / x) & 0x7fffffff);
    const I it = bits<I>(t);
    const I id_none = less(it, 0x3ee00000);  // |t| < 0.4375
    // The reduction interval 0..3 (below 0.6875, 1.1875, 2.4375, beyond) picks the reduced
    // quotient's terms and atan's value at the interval's point from four-entry tables. The
    // libm's forms are products by 2, 1, 1.5 and 0 and sums with the constants: 2t - 1, t - 1,
    // t - 1.5, -1 over 2 + t, t + 1, 1 + 1.5t, t + 0 (t >= +0, so t + 0 is t), each product by 2,
    // 1 or 0 exact, so every lane rounds as the libm does.
    const I id = 3 + less(it, 0x3f300000) + less(it, 0x3f980000) + less(it, 0x401c0000);
    const F num = pick4<F>(id, 2.0f, 1.0f, 1.0f, 0.0f) * t + pick4<F>(id, -1.0f, -1.0f, -1.5f, -1.0f);
    const F den = pick4<F>(id, 1.0f, 1.0f, 1.5f, 1.0f) * t + pick4<F>(id, 2.0f, 1.0f, 1.0f, 0.0f);
    const F a = select(id_none, t, num / den);
    const F z2 = a * a;
    const F w = z2 * z2;
    const F s1 = z2 * (splat<F>(3.3333334327e-01f) +
                       w * (splat<F>(1.4285714924e-01f) +
                            w * (splat<F>(9.0908870101e-02f) +
                                 w * (splat<F>(6.6610731184e-02f) +
                                      w * (splat<F>(4.9768779427e-02f) + w * splat<F>(1.6285819933e-02f))))));
    const F s2 = w * (splat<F>(-2.0000000298e-01f) +
                      w * (splat<F>(-1.1111110449e-01f) +
                           w * (splat<F>(-7.6918758452e-02f) +
                                w * (splat<F>(-5.8335702866e-02f) + w * splat<F>(-3.6531571299e-02f)))));
    const F hi = pick4<F>(id, 4.6364760399e-01f, 7.8539812565e-01f, 9.8279368877e-01f, 1.5707962513e+00f);
    const F lo = pick4<F>(id, 5.0121582440e-09f, 3.7748947079e-08f, 3.4473217170e-08f, 7.5497894159e-08f);
    const F as = a * (s1 + s2);
    F at = select(id_none, select(less(it, 0x31000000), a, a - as), hi - ((as - lo) - a));
    // From 2^25 on atanf returns its constant without reduction.
    at = select(~less(it, 0x4c000000), splat<F>(1.5707962513e+00f) + splat<F>(7.5497894159e-08f), at);

    const I k = (iy - ix) >> 23;
    F z = select(less(60, k), splat<F>(pi_o_2) + splat<F>(0.5f) * splat<F>(pi_lo),
                 select(x_neg & less(k, -60), splat<F>(0.0f), at));
    // The libm's negative-y results are the negatives of the positive-y ones: -z, (z - pi_lo) - pi
    // = -(pi - (z - pi_lo)) and -pi - tiny = -(pi + tiny) all round symmetrically to nearest, and
    // none is a zero of the opposite sign (pi - (z - pi_lo) >= pi/2). So the result for |y| is
    // formed and y's sign bit put on it: +-0 for y = +-0 and positive x, +-pi for negative x.
    F r = select(x_neg, splat<F>(pi) - (z - splat<F>(pi_lo)), z);
    r = select(less(iy, 1), select(x_neg, splat<F>(pi) + tiny, splat<F>(0.0f)), r);
    r = bits<F>(bits<I>(r) | (hy & static_cast<std::int32_t>(0x80000000)));
    return from_lanes<V>(r);
}

}  // namespace vorel::audio::simd::math
