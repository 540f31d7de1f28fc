#pragma once

// Transforms of real frames, one frame a lane, in two passes over memory each. Part of the kernels; see
// Lanes.hpp.

#include "Preprocessor/Chunk/ChunkTables.hpp"
#include "Preprocessor/Chunk/SmallDft.hpp"

namespace velmor {
namespace {

/// The step from N complex numbers to the spectrum of 2N real ones, for the bins k and N - k. The numbers
/// were halved beforehand by the window.
template <class Emit>
VELMOR_INLINE void emitPair(const float (&turn)[2], C<F> a, C<F> b, std::size_t k, std::size_t mirrored,
                            const Emit& emit) {
    const C<F> even{a.re + b.re, a.im - b.im};
    const C<F> odd = times(C<F>{a.im + b.im, b.re - a.re}, turn[0], -turn[1]);
    emit(k, even + odd);
    emit(mirrored, C<F>{even.re - odd.re, odd.im - even.im});
}

template <std::size_t Q>
VELMOR_INLINE void transformRowHere(const C<F>* row, C<F> (&x)[Q]) {
    VELMOR_UNROLL
    for (std::size_t i = 0; i < Q; ++i) x[i] = row[i];
    dft<-1, float>(x);
}
/// Long rows do not fit into registers, so a call costs nothing and saves code.
__attribute__((noinline)) void transformLongRow(const C<F>* row, C<F> (&x)[20]) {
    transformRowHere(row, x);
}

template <std::size_t Q>
VELMOR_INLINE void transformRow(const C<F>* row, C<F> (&x)[Q]) {
    if constexpr (Q == 20)
        transformLongRow(row, x);
    else
        transformRowHere(row, x);
}

/// Windowed frames to spectra: emit(bin, value) once for every bin (twice, the same, for the middle one). A
/// frame is the samples of `first` followed by those of `second`, N of each. `buffer` has room for N complex
/// numbers.
template <std::size_t P, std::size_t Q, class Emit>
VELMOR_INLINE void forward(const TransformTables<float, P, Q>& tables, const float* window, const F* first,
                           const F* second, C<F>* buffer, const Emit& emit) {
    constexpr std::size_t N = P * Q;
    for (std::size_t column = 0; column < Q; ++column) {
        C<F> x[P];
        VELMOR_UNROLL
        for (std::size_t i = 0; i < P; ++i) {
            const std::size_t k = 2 * (Q * i + column);
            const F* half = i < P / 2 ? first + k : second + k - N;
            x[i] = {half[0] * window[k], half[1] * window[k + 1]};
        }
        dft<-1, float>(x);
        buffer[column] = x[0];
        VELMOR_UNROLL
        for (std::size_t row = 1; row < P; ++row) {
            const float(&w)[2] = tables.twiddle[column][row];
            buffer[row * Q + column] = times(x[row], w[0], -w[1]);
        }
    }
    C<F> x[Q];  // bins row, row + P, row + 2P ...
    C<F> y[Q];
    transformRow(buffer, x);
    emit(0, C<F>{2.0F * (x[0].re + x[0].im), F{}});
    emit(N, C<F>{2.0F * (x[0].re - x[0].im), F{}});
    for (std::size_t i = 1; i <= Q / 2; ++i)
        emitPair(tables.turn[P * i], x[i], x[Q - i], P * i, N - P * i, emit);
    transformRow(buffer + P / 2 * Q, x);
    for (std::size_t i = 0; i < Q / 2; ++i) {
        const std::size_t k = P / 2 + P * i;
        emitPair(tables.turn[k], x[i], x[Q - 1 - i], k, N - k, emit);
    }
    for (std::size_t row = 1; row < P / 2; ++row) {
        transformRow(buffer + row * Q, x);
        transformRow(buffer + (P - row) * Q, y);
        VELMOR_UNROLL
        for (std::size_t i = 0; i < Q; ++i) {
            const std::size_t k = row + P * i;
            emitPair(tables.turn[k], x[i], y[Q - 1 - i], k, N - k, emit);
        }
    }
}

/// The step back: from the bins k and N - k of a real frame to two of N complex numbers.
VELMOR_INLINE void joinPair(const double (&turn)[2], C<D> bin, C<D> mirrored, C<D>& a, C<D>& b) {
    const C<D> even{bin.re + mirrored.re, bin.im - mirrored.im};
    const C<D> odd = times(C<D>{bin.re - mirrored.re, bin.im + mirrored.im}, turn[0], turn[1]);
    a = {even.re - odd.im, even.im + odd.re};
    b = {even.re + odd.im, odd.re - even.im};
}

/// Spectra to frames, unscaled: take(bin) gives a value of bins 0 ... N; emit(k, value) gets samples 2k and
/// 2k + 1 as one complex number. The imaginary parts of the first and last bin must be zero.
template <std::size_t P, std::size_t Q, class Take, class Emit>
VELMOR_INLINE void inverse(const TransformTables<double, P, Q>& tables, C<D>* buffer, const Take& take,
                           const Emit& emit) {
    constexpr std::size_t N = P * Q;
    const auto putColumn = [&](std::size_t column, C<D>(&x)[P]) {
        dft<1, double>(x);
        buffer[column] = x[0];
        VELMOR_UNROLL
        for (std::size_t row = 1; row < P; ++row) {
            const double(&w)[2] = tables.twiddle[column][row];
            buffer[row * Q + column] = times(x[row], w[0], w[1]);
        }
    };
    C<D> x[P];  // bins column, column + Q, column + 2Q ...
    C<D> y[P];
    C<D> unused;
    joinPair(tables.turn[0], take(0), take(N), x[0], unused);
    VELMOR_UNROLL
    for (std::size_t i = 1; i < P / 2; ++i)
        joinPair(tables.turn[Q * i], take(Q * i), take(N - Q * i), x[i], x[P - i]);
    joinPair(tables.turn[N / 2], take(N / 2), take(N / 2), x[P / 2], unused);
    putColumn(0, x);
    VELMOR_UNROLL
    for (std::size_t i = 0; i < P / 2; ++i) {
        const std::size_t k = Q / 2 + Q * i;
        joinPair(tables.turn[k], take(k), take(N - k), x[i], x[P - 1 - i]);
    }
    putColumn(Q / 2, x);
    for (std::size_t column = 1; column < Q / 2; ++column) {
        VELMOR_UNROLL
        for (std::size_t i = 0; i < P; ++i) {
            const std::size_t k = column + Q * i;
            joinPair(tables.turn[k], take(k), take(N - k), x[i], y[P - 1 - i]);
        }
        putColumn(column, x);
        putColumn(Q - column, y);
    }
    for (std::size_t row = 0; row < P; ++row) {
        C<D> z[Q];
        VELMOR_UNROLL
        for (std::size_t i = 0; i < Q; ++i) z[i] = buffer[row * Q + i];
        dft<1, double>(z);
        VELMOR_UNROLL
        for (std::size_t i = 0; i < Q; ++i) emit(row + P * i, z[i]);
    }
}

}  // namespace
}  // namespace velmor
