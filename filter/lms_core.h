// Adaptive filters on the library's records: what the low level and the object share. Nothing here checks or reports.
#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "filter/delay_line.h"
#include "frame/element.h"
#include "frame/sums.h"
#include "kernel/kernels.h"
#include "moxa1.h"

namespace mox {

template <class R>
const kernel::Lms<R>& lmsKernels() {
  if constexpr (sizeof(R) == 4) {
    return kernel::active->lms32;
  } else {
    return kernel::active->lms64;
  }
}

inline size_t lmsLength(const LmsDlyState& delay) { return static_cast<size_t>(std::max(delay.len, 0)); }

// One sample a period, or the record's downFactor. Where the error's samples begin outside of the delay line, all of
// them count as outside.
inline kernel::LmsShape lmsShape(const LmsTapState& taps, const LmsDlyState& delay, bool multiRate) {
  const int64_t down = multiRate ? std::max(taps.downFactor, 1) : 1;
  const int64_t first = multiRate ? std::clamp<int64_t>(down - 1 - taps.downPhase, 0, down - 1) : 0;
  const int64_t length = static_cast<int64_t>(lmsLength(delay)), past = first + taps.errDly;
  return {.taps = static_cast<size_t>(std::max(taps.len, 0)),
          .length = static_cast<size_t>(length),
          .down = static_cast<size_t>(down),
          .first = static_cast<size_t>(std::min(first, length)),
          .past = static_cast<size_t>(past < 0 ? length : std::min(past, length)),
          .step = taps.step,
          .leak = taps.leak};
}

// See kernel::Lms; samples S through taps T.
template <class S, class T>
void lmsRun(const kernel::LmsShape& shape, const LmsTapState& taps, const LmsDlyState& delay, const S* in,
            const FirResult<S, T>* desired, FirResult<S, T>* out, double* error, size_t periods) {
  const auto& kernels = lmsKernels<RealOf<S>>();
  const auto run = kComplex<S> ? kernels.complex : kComplex<T> ? kernels.realSamples : kernels.real;
  run(shape, reals(static_cast<T*>(taps.taps)), reals(static_cast<S*>(delay.dlyl)), reals(in), reals(desired),
      reals(out), error, periods);
}

// Without adaptation: shape.down samples, one result.
template <class S, class T>
FirResult<S, T> lmsFilter(const kernel::LmsShape& shape, const LmsTapState& taps, const LmsDlyState& delay,
                          const S* in) {
  S* const dlyl = static_cast<S*>(delay.dlyl);
  shiftIn(in, shape.down, dlyl, shape.length);
  return firDot(static_cast<const T*>(taps.taps), dlyl + shape.first, std::min(shape.taps, shape.length - shape.first));
}

}  // namespace mox
