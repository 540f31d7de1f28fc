#pragma once

// Vectors of VELMOR_LANES frames, in the compilers' own vector types.
//
// Included, with the headers that build on it, once for each width into sources that are compiled for
// different processors. Everything is therefore in an unnamed namespace and calls nothing from the standard
// library: a function that the linker could merge with another source's copy might contain instructions this
// processor lacks.

#include <cstddef>
#include <cstdint>
#include <utility>

#if defined(__clang__)
#define VELMOR_UNROLL _Pragma("unroll")
#else
#define VELMOR_UNROLL _Pragma("GCC unroll 32")
#endif
#define VELMOR_INLINE inline __attribute__((always_inline))

namespace velmor {
namespace {

constexpr std::size_t kLanes = VELMOR_LANES;
constexpr std::size_t kHalf = kLanes / 2;

typedef float Floats __attribute__((vector_size(4 * kLanes)));  // a number of each frame
typedef std::int32_t Integers __attribute__((vector_size(4 * kLanes)));
typedef std::uint8_t Bytes __attribute__((vector_size(4 * kLanes)));  // four of each frame
typedef float HalfFloats __attribute__((vector_size(4 * kHalf)));     // of half of the frames,
typedef double Doubles __attribute__((vector_size(8 * kHalf)));       // as wide as Floats in bytes

template <class V>
VELMOR_INLINE V load(const void* from) {
    V v;
    __builtin_memcpy(&v, from, sizeof v);
    return v;
}

template <class V>
VELMOR_INLINE void store(void* to, V v) {
    __builtin_memcpy(to, &v, sizeof v);
}

template <class V>
struct Complex {
    V re, im;
};
template <class V>
VELMOR_INLINE Complex<V> operator+(Complex<V> a, Complex<V> b) {
    return {a.re + b.re, a.im + b.im};
}
template <class V>
VELMOR_INLINE Complex<V> operator-(Complex<V> a, Complex<V> b) {
    return {a.re - b.re, a.im - b.im};
}
/// Times i or -i.
template <int Sign, class V>
VELMOR_INLINE Complex<V> turn(Complex<V> a) {
    if constexpr (Sign < 0)
        return {a.im, -a.re};
    else
        return {-a.im, a.re};
}
template <class V, class S>
VELMOR_INLINE Complex<V> times(Complex<V> a, S cosine, S sine) {
    return {a.re * cosine - a.im * sine, a.re * sine + a.im * cosine};
}

template <std::size_t S, std::size_t... L>
VELMOR_INLINE void exchange(Floats& a, Floats& b, std::index_sequence<L...>) {
    const Floats low = __builtin_shufflevector(a, b, ((L & S) != 0 ? kLanes + L - S : L)...);
    const Floats high = __builtin_shufflevector(a, b, ((L & S) != 0 ? kLanes + L : L + S)...);
    a = low;
    b = high;
}

/// Afterwards lane j of v[i] is what lane i of v[j] was.
template <std::size_t S = kLanes / 2>
VELMOR_INLINE void transpose(Floats (&v)[kLanes]) {
    VELMOR_UNROLL
    for (std::size_t i = 0; i < kLanes; ++i)
        if ((i & S) == 0) exchange<S>(v[i], v[i + S], std::make_index_sequence<kLanes>());
    if constexpr (S > 1) transpose<S / 2>(v);
}

/// out[k] gets sample k of every lane, `count` of them; the lanes' samples start `stride` apart.
__attribute__((noinline)) void toLanes(const float* from, std::size_t count, std::size_t stride,
                                       Floats* out) {
    for (std::size_t k = 0; k < count; k += kLanes) {
        Floats v[kLanes];
        VELMOR_UNROLL
        for (std::size_t lane = 0; lane < kLanes; ++lane) v[lane] = load<Floats>(from + lane * stride + k);
        transpose(v);
        VELMOR_UNROLL
        for (std::size_t i = 0; i < kLanes; ++i) out[k + i] = v[i];
    }
}

/// The way back: the lanes' samples, `stride` apart, get what `from` holds.
__attribute__((noinline)) void fromLanes(const Floats* from, std::size_t count, std::size_t stride,
                                         float* to) {
    for (std::size_t k = 0; k < count; k += kLanes) {
        Floats v[kLanes];
        VELMOR_UNROLL
        for (std::size_t i = 0; i < kLanes; ++i) v[i] = from[k + i];
        transpose(v);
        VELMOR_UNROLL
        for (std::size_t lane = 0; lane < kLanes; ++lane) store(to + lane * stride + k, v[lane]);
    }
}

template <std::size_t... L>
VELMOR_INLINE Floats join(HalfFloats low, HalfFloats high, std::index_sequence<L...>) {
    return __builtin_shufflevector(low, high, L...);
}

/// Two halves of the frames, rounded to single precision.
VELMOR_INLINE Floats narrow(Doubles low, Doubles high) {
    return join(__builtin_convertvector(low, HalfFloats), __builtin_convertvector(high, HalfFloats),
                std::make_index_sequence<kLanes>());
}

}  // namespace
}  // namespace velmor
