// Sums of products on the library's element types, by the active kernels: dot products and finite impulse responses.
// Nothing here checks, reports or allocates.
#pragma once
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "frame/element.h"
#include "kernel/kernels.h"
#include "moxa1.h"

namespace mox {

// The type of a sample through a tap: complex where one of them is.
template <class Sample, class Tap>
using FirResult = std::conditional_t<kComplex<Tap>, Tap, Sample>;

template <class T>
const kernel::Dot<RealOf<T>>& firDots() {
  if constexpr (sizeof(RealOf<T>) == 4) {
    return kernel::active->dot32;
  } else {
    return kernel::active->dot64;
  }
}
template <class T>
const kernel::Fir<RealOf<T>>& firBlocks() {
  if constexpr (sizeof(RealOf<T>) == 4) {
    return kernel::active->fir32;
  } else {
    return kernel::active->fir64;
  }
}

// The sum of taps[i] x[i], i < n, in float64, rounded once.
template <class Sample, class Tap>
FirResult<Sample, Tap> firDot(const Tap* taps, const Sample* x, size_t n) {
  using R = RealOf<Sample>;
  const auto& dots = firDots<Sample>();
  if constexpr (!kComplex<Sample> && !kComplex<Tap>) {
    return static_cast<R>(dots.real(taps, x, n));
  } else {
    double sum[2];
    if constexpr (kComplex<Sample> && kComplex<Tap>) {
      dots.complex(reals(taps), reals(x), n, sum);
    } else if constexpr (kComplex<Tap>) {
      dots.realComplex(x, reals(taps), n, sum);
    } else {
      dots.realComplex(taps, reals(x), n, sum);
    }
    return {static_cast<R>(sum[0]), static_cast<R>(sum[1])};
  }
}
inline int32_t firDot(const int16_t* taps, const int16_t* x, size_t n) {
  return kernel::active->dot16.real(taps, x, n);
}

// A signal: the block that a call was given and the samples before it, the newest of them at `newest`, the one before
// at newest[step]. With step 1 this is a delay line, with step -1 the end of an array.
template <class Sample>
struct FirInput {
  const Sample* block;
  const Sample* newest;
  ptrdiff_t step;
};

// periods * down samples through the filter to periods * up results, see kernel::Fir.
template <class Sample, class Tap>
void firBlock(const kernel::FirShape& shape, const Tap* taps, const FirInput<Sample>& input,
              FirResult<Sample, Tap>* out, size_t periods) {
  const auto& blocks = firBlocks<Sample>();
  const auto run = kComplex<Sample> ? (kComplex<Tap> ? blocks.complex : blocks.complexSamples)
                                    : (kComplex<Tap> ? blocks.complexTaps : blocks.real);
  run(shape, reals(taps), {reals(input.block), reals(input.newest), input.step}, reals(out), periods);
}

}  // namespace mox
