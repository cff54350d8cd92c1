// What the modules know of their element types.
#pragma once
#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "moxa1.h"

namespace mox {

template <class T>
struct Element {
  using Real = T;
};
template <>
struct Element<MoxC> {
  using Real = float;
};
template <>
struct Element<MoxZ> {
  using Real = double;
};
template <>
struct Element<MoxV> {
  using Real = int16_t;
};

// The type of an element's parts: its own, or that of re and im.
template <class T>
using RealOf = typename Element<T>::Real;
template <class T>
constexpr bool kComplex = !std::is_same_v<T, RealOf<T>>;

// A vector as an array of parts.
template <class T>
const RealOf<T>* reals(const T* v) {
  return reinterpret_cast<const RealOf<T>*>(v);
}
template <class T>
RealOf<T>* reals(T* v) {
  return reinterpret_cast<RealOf<T>*>(v);
}
template <class T>
size_t realCount(int32_t n) {
  return static_cast<size_t>(n) * (kComplex<T> ? 2 : 1);
}

// The parts of one element in even and odd places: a real one in both.
template <class T>
RealOf<T> even(T v) {
  if constexpr (kComplex<T>) {
    return v.re;
  } else {
    return v;
  }
}
template <class T>
RealOf<T> odd(T v) {
  if constexpr (kComplex<T>) {
    return v.im;
  } else {
    return v;
  }
}

// By the bits but for the sign: a subnormal is not zero, also where the caller's thread takes it for zero in
// arithmetic.
inline bool isZero(float x) { return std::bit_cast<uint32_t>(x) << 1 == 0; }
inline bool isZero(double x) { return std::bit_cast<uint64_t>(x) << 1 == 0; }
inline bool isZero(MoxC x) { return isZero(x.re) && isZero(x.im); }
inline bool isZero(MoxZ x) { return isZero(x.re) && isZero(x.im); }

// Whether two arrays of n elements share memory without being the same. Kernels serve equal and disjoint arrays.
template <class T>
bool partlyOverlap(const T* src, const T* dst, int32_t n) {
  const uint64_t bytes = static_cast<uint64_t>(n) * sizeof(T);
  const uint64_t distance = uint64_t{reinterpret_cast<uintptr_t>(dst)} - reinterpret_cast<uintptr_t>(src);
  return distance + bytes - 1 < 2 * bytes - 1 && distance != 0;  // -bytes < distance < bytes
}

}  // namespace mox
