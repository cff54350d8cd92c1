// The random records of the caller's between calls: what the modules of random numbers share.
#pragma once
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "frame/element.h"
#include "kernel/kernels.h"
#include "moxa1.h"

namespace mox {

// Truncated; what no int32_t holds counts as the least one.
template <class R>
int32_t seedOf(R seed) {
  const double value = seed;
  return value > -0x1p31 - 1 && value < 0x1p31 ? static_cast<int32_t>(value) : INT32_MIN;
}

// The generator's words stand in every record as the kernels have them: copies would cost a single call 9 of 15 ns.
template <class State>
kernel::DrawState& drawsOf(State& state) {
  constexpr size_t begin = offsetof(State, lcg);
  static_assert(offsetof(State, borrow) - begin == offsetof(kernel::DrawState, borrow));
  static_assert(offsetof(State, hist0) - begin == offsetof(kernel::DrawState, hist));
  static_assert(offsetof(State, hist2) - begin == offsetof(kernel::DrawState, hist[2]));
  return *reinterpret_cast<kernel::DrawState*>(&state.lcg);
}

template <class State>
void startDraws(int32_t seed, int32_t borrow, State& state) {
  uint32_t seeding = static_cast<uint32_t>(seed);
  const auto next = [&] {
    seeding = seeding * 214013 + 2531011;
    return static_cast<int32_t>(seeding >> 16 & 0x7fff);
  };
  state.lcg = 0x436cbae9;
  state.borrow = borrow;
  state.hist0 = seed;
  state.hist1 = next();
  state.hist2 = next();
  state.seedState = static_cast<int32_t>(seeding);
}

template <class T>
const kernel::Random<T>& randomOf() {
  if constexpr (std::is_same_v<T, float>) {
    return kernel::active->random32;
  } else {
    return kernel::active->random64;
  }
}

template <class R, class State>
void startUniform(R seed, R low, R high, State& state) {
  const double width = static_cast<double>(high) - low;
  state.mid = static_cast<R>(low + 0.5 * width);
  state.scale = static_cast<R>(width * 0x1p-32);
  startDraws(seedOf(seed), 0, state);
  double first[5];
  kernel::active->random64.uniform(drawsOf(state), 0, 0, first, 5);
}

// n values in float64 or rounded to float32.
template <class T, class State>
void uniformValues(State& state, T* dst, size_t n) {
  randomOf<T>().uniform(drawsOf(state), state.mid, state.scale, dst, n);
}

// int16 values are those of a block in floating point, rounded to nearest, ties to even, and limited. fill(values, n)
// makes n of them.
template <class R, class Fill>
void int16Values(int16_t* dst, size_t n, const kernel::Conversion<R>& conversion, Fill fill) {
  constexpr auto nearest = static_cast<size_t>(kernel::Rounding::nearest);
  constexpr auto int16 = static_cast<size_t>(kernel::IntegerType::int16);
  constexpr size_t kBlock = 512;
  R values[kBlock];
  for (size_t m; n > 0; n -= m, dst += m) {
    m = n < kBlock ? n : kBlock;
    fill(values, m);
    conversion.toIntegers[nearest][int16](values, dst, m, 1, kernel::OutOfRange::saturate);
  }
}

}  // namespace mox
