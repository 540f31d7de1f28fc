#pragma once

// Discrete Fourier transforms of 4 to 20 points that live in registers, in natural order at both ends,
// unscaled. Sign is that of the exponent: -1 forward, 1 back. Part of the kernels; see Lanes.hpp.

#include "Preprocessor/Fast/Lanes.hpp"

namespace velmor {
namespace {

template <int Sign, class V>
VELMOR_INLINE void dft4(Complex<V>& x0, Complex<V>& x1, Complex<V>& x2, Complex<V>& x3) {
    const Complex<V> a = x0 + x2;
    const Complex<V> b = x0 - x2;
    const Complex<V> c = x1 + x3;
    const Complex<V> d = turn<Sign>(x1 - x3);
    x0 = a + c;
    x1 = b + d;
    x2 = a - c;
    x3 = b - d;
}

template <int Sign, class S, class V>
VELMOR_INLINE void dft5(Complex<V>& x0, Complex<V>& x1, Complex<V>& x2, Complex<V>& x3, Complex<V>& x4) {
    constexpr S c1 = S(0.30901699437494745);  // cosines and sines of 72 and 144 degrees
    constexpr S s1 = S(0.9510565162951535);
    constexpr S c2 = S(-0.8090169943749475);
    constexpr S s2 = S(0.5877852522924731);
    const Complex<V> a = x1 + x4;
    const Complex<V> b = x2 + x3;
    const Complex<V> p = turn<Sign>(x1 - x4);
    const Complex<V> q = turn<Sign>(x2 - x3);
    const Complex<V> m{x0.re + (a.re * c1 + b.re * c2), x0.im + (a.im * c1 + b.im * c2)};
    const Complex<V> n{x0.re + (a.re * c2 + b.re * c1), x0.im + (a.im * c2 + b.im * c1)};
    const Complex<V> u{p.re * s1 + q.re * s2, p.im * s1 + q.im * s2};
    const Complex<V> v{p.re * s2 - q.re * s1, p.im * s2 - q.im * s1};
    x0 = x0 + (a + b);
    x1 = m + u;
    x4 = m - u;
    x2 = n + v;
    x3 = n - v;
}

template <int Sign, class S, class V>
VELMOR_INLINE void dft(Complex<V> (&x)[8]) {  // 2 x 4
    constexpr S h = S(0.7071067811865476);
    dft4<Sign>(x[0], x[2], x[4], x[6]);
    dft4<Sign>(x[1], x[3], x[5], x[7]);
    const Complex<V> o1 = x[3];
    const Complex<V> o3 = x[7];
    const Complex<V> odd[4] = {x[1], Complex<V>{(o1.re - S(Sign) * o1.im) * h, (o1.im + S(Sign) * o1.re) * h},
                               turn<Sign>(x[5]),
                               Complex<V>{(o3.re + S(Sign) * o3.im) * -h, (S(Sign) * o3.re - o3.im) * h}};
    const Complex<V> even[4] = {x[0], x[2], x[4], x[6]};
    VELMOR_UNROLL
    for (int k = 0; k < 4; ++k) {
        x[k] = even[k] + odd[k];
        x[k + 4] = even[k] - odd[k];
    }
}

template <int Sign, class S, class V>
VELMOR_INLINE void dft(Complex<V> (&x)[16]) {  // 4 x 4
    constexpr S c[10] = {S(1),
                         S(0.9238795325112867),
                         S(0.7071067811865476),
                         S(0.3826834323650898),
                         S(0),
                         S(0),
                         S(-0.7071067811865476),
                         S(0),
                         S(0),
                         S(-0.9238795325112867)};
    constexpr S s[10] = {S(0),
                         S(0.3826834323650898),
                         S(0.7071067811865476),
                         S(0.9238795325112867),
                         S(1),
                         S(0),
                         S(0.7071067811865476),
                         S(0),
                         S(0),
                         S(-0.3826834323650898)};
    VELMOR_UNROLL
    for (int i = 0; i < 4; ++i) dft4<Sign>(x[i], x[i + 4], x[i + 8], x[i + 12]);
    VELMOR_UNROLL
    for (int i = 1; i < 4; ++i) {
        VELMOR_UNROLL
        for (int k = 1; k < 4; ++k)
            x[i + 4 * k] =
                i * k == 4 ? turn<Sign>(x[i + 4 * k]) : times(x[i + 4 * k], c[i * k], S(Sign) * s[i * k]);
    }
    VELMOR_UNROLL
    for (int k = 0; k < 4; ++k) dft4<Sign>(x[4 * k], x[4 * k + 1], x[4 * k + 2], x[4 * k + 3]);
    VELMOR_UNROLL
    for (int k = 0; k < 4; ++k) {
        VELMOR_UNROLL
        for (int m = k + 1; m < 4; ++m) {
            const Complex<V> other = x[4 * k + m];
            x[4 * k + m] = x[4 * m + k];
            x[4 * m + k] = other;
        }
    }
}

/// 4 x 5 by the prime-factor method: inputs at 5 i + 4 j, outputs at 5 k + 16 m (mod 20), no factors in
/// between.
template <int Sign, class S, class V>
VELMOR_INLINE void dft(Complex<V> (&x)[20]) {
    VELMOR_UNROLL
    for (int j = 0; j < 5; ++j)
        dft4<Sign>(x[4 * j % 20], x[(5 + 4 * j) % 20], x[(10 + 4 * j) % 20], x[(15 + 4 * j) % 20]);
    Complex<V> y[20];
    VELMOR_UNROLL
    for (int k = 0; k < 4; ++k) {
        Complex<V> z[5] = {x[5 * k % 20], x[(5 * k + 4) % 20], x[(5 * k + 8) % 20], x[(5 * k + 12) % 20],
                           x[(5 * k + 16) % 20]};
        dft5<Sign, S>(z[0], z[1], z[2], z[3], z[4]);
        VELMOR_UNROLL
        for (int m = 0; m < 5; ++m) y[(5 * k + 16 * m) % 20] = z[m];
    }
    VELMOR_UNROLL
    for (int k = 0; k < 20; ++k) x[k] = y[k];
}

}  // namespace
}  // namespace velmor
