#pragma once

// Transforms of real frames, one frame a lane, in two passes over memory each. Part of the kernels; see
// Lanes.hpp.

#include "Preprocessor/Fast/ChunkTables.hpp"
#include "Preprocessor/Fast/SmallDft.hpp"

namespace velmor {
namespace {

/// The step from N complex numbers to the spectrum of 2N real ones, for the bins k and N - k. The numbers
/// were halved beforehand by the window.
template <class Emit>
VELMOR_INLINE void emitPair(const float (&turn)[2], Complex<Floats> a, Complex<Floats> b, std::size_t k,
                            std::size_t mirrored, const Emit& emit) {
    const Complex<Floats> even{a.re + b.re, a.im - b.im};
    const Complex<Floats> odd = times(Complex<Floats>{a.im + b.im, b.re - a.re}, turn[0], -turn[1]);
    emit(k, even + odd);
    emit(mirrored, Complex<Floats>{even.re - odd.re, odd.im - even.im});
}

/// A small transform, out of line: the numbers are in memory before and after, so a call costs little, and
/// the code is there once.
template <int Sign, class S, std::size_t Points, class V>
__attribute__((noinline)) void transformInPlace(Complex<V>* values) {
    Complex<V> x[Points];
    VELMOR_UNROLL
    for (std::size_t i = 0; i < Points; ++i) x[i] = values[i];
    dft<Sign, S>(x);
    VELMOR_UNROLL
    for (std::size_t i = 0; i < Points; ++i) values[i] = x[i];
}

/// A transformed column, turned by its twiddle factors, to where the rows want it.
template <int Sign, std::size_t P, std::size_t Q, class S, class V>
VELMOR_INLINE void putColumn(const TransformTables<S, P, Q>& tables, std::size_t column, Complex<V>* x,
                             Complex<V>* buffer) {
    transformInPlace<Sign, S, P>(x);
    buffer[column] = x[0];
    for (std::size_t row = 1; row < P; ++row) {
        const S(&w)[2] = tables.twiddle[column][row];
        buffer[row * Q + column] = times(x[row], w[0], S(Sign) * w[1]);
    }
}

/// Windowed frames to spectra: emit(bin, value) once for every bin (twice, the same, for the middle one). A
/// frame is the samples of `first` followed by those of `second`, N of each. `buffer` has room for N complex
/// numbers.
template <std::size_t P, std::size_t Q, class Emit>
VELMOR_INLINE void forward(const TransformTables<float, P, Q>& tables, const float* window,
                           const Floats* first, const Floats* second, Complex<Floats>* buffer,
                           const Emit& emit) {
    constexpr std::size_t N = P * Q;
    for (std::size_t column = 0; column < Q; ++column) {
        Complex<Floats> x[P];
        for (std::size_t i = 0; i < P; ++i) {
            const std::size_t k = 2 * (Q * i + column);
            const Floats* half = i < P / 2 ? first + k : second + k - N;
            x[i] = {half[0] * window[k], half[1] * window[k + 1]};
        }
        putColumn<-1>(tables, column, x, buffer);
    }
    for (std::size_t row = 0; row <= P / 2; ++row) {  // row i of the bins is row + P i
        Complex<Floats>* x = buffer + row * Q;
        Complex<Floats>* mirrored = row == 0 || row == P / 2 ? x : buffer + (P - row) * Q;
        transformInPlace<-1, float, Q>(x);
        if (mirrored != x) transformInPlace<-1, float, Q>(mirrored);
        if (row == 0) {
            emit(0, Complex<Floats>{2.0F * (x[0].re + x[0].im), Floats{}});
            emit(N, Complex<Floats>{2.0F * (x[0].re - x[0].im), Floats{}});
        }
        const std::size_t past = row == 0 ? Q / 2 + 1 : row == P / 2 ? Q / 2 : Q;
        const std::size_t last = row == 0 ? Q : Q - 1;
        for (std::size_t i = row == 0 ? 1 : 0; i < past; ++i) {
            const std::size_t k = row + P * i;
            emitPair(tables.turn[k], x[i], mirrored[last - i], k, N - k, emit);
        }
    }
}

/// The step back: from the bins k and N - k of a real frame to two of N complex numbers. In the
/// middle they are the same one, and b's value, which is put first, gives way to a's.
VELMOR_INLINE void joinPair(const double (&turn)[2], Complex<Doubles> bin, Complex<Doubles> mirrored,
                            Complex<Doubles>& a, Complex<Doubles>& b) {
    const Complex<Doubles> even{bin.re + mirrored.re, bin.im - mirrored.im};
    const Complex<Doubles> odd =
        times(Complex<Doubles>{bin.re - mirrored.re, bin.im + mirrored.im}, turn[0], turn[1]);
    b = {even.re + odd.im, odd.re - even.im};
    a = {even.re - odd.im, even.im + odd.re};
}

/// Spectra to frames, unscaled: take(bin) gives a value of bins 0 ... N; emit(k, value) gets samples 2k and
/// 2k + 1 as one complex number. The imaginary parts of the first and last bin must be zero.
template <std::size_t P, std::size_t Q, class Take, class Emit>
VELMOR_INLINE void inverse(const TransformTables<double, P, Q>& tables, Complex<Doubles>* buffer,
                           const Take& take, const Emit& emit) {
    constexpr std::size_t N = P * Q;
    for (std::size_t column = 0; column <= Q / 2; ++column) {  // its bins are column + Q i
        Complex<Doubles> x[P + 1];  // bin N is joined with bin 0 and needed no more
        Complex<Doubles> y[P];
        const bool alone = column == 0 || column == Q / 2;
        Complex<Doubles>* mirrored = alone ? x : y;
        const std::size_t past = column == 0 ? P / 2 + 1 : column == Q / 2 ? P / 2 : P;
        const std::size_t last = column == 0 ? P : P - 1;
        for (std::size_t i = 0; i < past; ++i) {
            const std::size_t k = column + Q * i;
            joinPair(tables.turn[k], take(k), take(N - k), x[i], mirrored[last - i]);
        }
        putColumn<1>(tables, column, x, buffer);
        if (!alone) putColumn<1>(tables, Q - column, y, buffer);
    }
    for (std::size_t row = 0; row < P; ++row) {
        Complex<Doubles>* z = buffer + row * Q;
        transformInPlace<1, double, Q>(z);
        for (std::size_t i = 0; i < Q; ++i) emit(row + P * i, z[i]);
    }
}

}  // namespace
}  // namespace velmor
