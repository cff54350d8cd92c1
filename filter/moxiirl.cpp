// Recursive filters on records and buffers of the caller's: direct forms and cascades of second-order sections.
#include <algorithm>
#include <cstdio>

#include "frame/check.h"
#include "frame/element.h"
#include "kernel/kernels.h"

namespace mox {
namespace {

using IirLow = Here<"moxiirl">;

constexpr const char kNoTaps[] = "structure *tapStPtr wasn't initialized";
constexpr const char kNoDelay[] = "structure *dlyStPtr wasn't initialized";
constexpr const char kNoType[] = "iirType is out of range";
constexpr const char kTooManyQuads[] = "numQuads is out of range";
constexpr int32_t kMostQuads = INT32_MAX / 2;  // two delay values each, which the record counts in an int32

bool isBadType(int32_t iirType) { return static_cast<uint32_t>(iirType) > 1; }
bool isBlank(const IirTapState& taps) { return taps.taps == nullptr || static_cast<uint32_t>(taps.isBiquad) > 1; }
bool isBlank(const IirDlyState& delay, const IirTapState& taps) { return taps.order > 0 && delay.dlyl == nullptr; }
size_t delayLength(const IirTapState& taps) { return static_cast<size_t>(std::max(taps.order, 0)); }

// ---- coefficients, in place

// v divided by one value again and again. Complex values are multiplied by its reciprocal.
template <class T>
struct Divisor {
  T divisor;
  explicit Divisor(T v) : divisor(v) {}
  T of(T v) const { return v / divisor; }
};
template <>
struct Divisor<MoxC> {
  MoxC reciprocal;
  explicit Divisor(MoxC v) : reciprocal(moxcDiv({1, 0}, v)) {}
  MoxC of(MoxC v) const { return moxcMpy(v, reciprocal); }
};
template <>
struct Divisor<MoxZ> {
  MoxZ reciprocal;
  explicit Divisor(MoxZ v) : reciprocal(moxzDiv({1, 0}, v)) {}
  MoxZ of(MoxZ v) const { return moxzMpy(v, reciprocal); }
};

// The product of quotients. Real ones run in float64.
template <class T>
struct Gain {
  double product = 1;
  void multiply(T b0, T a0) { product *= double{b0} / double{a0}; }
  T value() const { return static_cast<T>(product); }
};
template <>
struct Gain<MoxC> {
  MoxC product = {1, 0};
  void multiply(MoxC b0, MoxC a0) { product = moxcMpy(product, Divisor<MoxC>(a0).of(b0)); }
  MoxC value() const { return product; }
};
template <>
struct Gain<MoxZ> {
  MoxZ product = {1, 0};
  void multiply(MoxZ b0, MoxZ a0) { product = moxzMpy(product, Divisor<MoxZ>(a0).of(b0)); }
  MoxZ value() const { return product; }
};

template <class T>
void init(int32_t iirType, T* taps, int32_t order, IirTapState* tapStPtr, Site site = IirLow()) {
  if (rejected(site, BAD_IF(tapStPtr==0), BAD_IF(taps==0), BAD_IF(order < 0),
                                                                  check(isBadType(iirType), [] { return kNoType; }))) {
    return;
  }
  const size_t n = static_cast<size_t>(order);
  if (isZero(taps[n + 1])) {
    report(site, MOX_StsBadArg, "taps[order+1] equals zero");
    return;
  }
  const Divisor<T> a0(taps[n + 1]);
  for (size_t i = 0; i <= n; ++i) taps[i] = a0.of(taps[i]);
  for (size_t i = 1; i <= n; ++i) taps[n + i] = a0.of(taps[n + 1 + i]);
  *tapStPtr = {order, taps, iirType, 0};
}

template <class T>
void initBiquads(int32_t iirType, T* taps, int32_t numQuads, IirTapState* tapStPtr, Site site = IirLow()) {
  if (rejected(site, BAD_IF(tapStPtr==0),
                            BAD_IF(taps==0), BAD_IF(numQuads <= 0), check(isBadType(iirType), [] { return kNoType; }),
                                                    check(numQuads > kMostQuads, [] { return kTooManyQuads; }))) {
    return;
  }
  *tapStPtr = {2 * numQuads, taps, iirType, 1};
  Gain<T> gain;
  for (int32_t k = 0; k < numQuads; ++k) {
    const T* const from = taps + 6 * static_cast<size_t>(k);
    const T b0 = from[0], b1 = from[1], b2 = from[2], a0 = from[3], a1 = from[4], a2 = from[5];
    if (isZero(b0) || isZero(a0)) {
      char text[40];
      std::snprintf(text, sizeof text, isZero(b0) ? "taps[%d*6] equals zero" : "taps[%d*6+3] equals zero",
                    static_cast<int>(k));
      report(site, MOX_StsBadArg, text);
      return;
    }
    gain.multiply(b0, a0);
    const Divisor<T> byA0(a0), byB0(b0);
    T* const to = taps + 1 + 4 * static_cast<size_t>(k);
    to[0] = byA0.of(a1);
    to[1] = byA0.of(a2);
    to[2] = byB0.of(b1);
    to[3] = byB0.of(b2);
  }
  taps[0] = gain.value();
}

template <class T>
void initDelay(const IirTapState* tapStPtr, T* dlyl, IirDlyState* dlyStPtr, Site site = IirLow()) {
  if (rejected(site, BAD_IF(tapStPtr==0), BAD_IF(dlyStPtr==0))) return;
  if (rejected(site, check(isBlank(*tapStPtr), [] { return kNoTaps; }),
               check(tapStPtr->order > 0 && dlyl == nullptr, [] { return "dlyl==0"; }))) {
    return;
  }
  dlyStPtr->dlyl = dlyl;
  std::fill_n(dlyl, delayLength(*tapStPtr), T{});
}

// ---- filtering: samples S, taps T, results O

template <class R>
const kernel::Iir<R>& kernels() {
  if constexpr (sizeof(R) == 4) {
    return kernel::active->iir32;
  } else {
    return kernel::active->iir64;
  }
}

template <class S, class T, class O>
void run(const IirTapState& taps, const IirDlyState& delay, const S* in, O* out, size_t n) {
  using Kernels = kernel::Iir<RealOf<S>>;
  constexpr auto kForm = kComplex<S> ? (kComplex<T> ? &Kernels::complex : &Kernels::realTaps)
                                     : (kComplex<T> ? &Kernels::realSamples : &Kernels::real);
  const typename Kernels::Form& form = kernels<RealOf<S>>().*kForm;
  const size_t length = delayLength(taps);
  (taps.isBiquad ? form.biquads : form.direct)(reals(static_cast<const T*>(taps.taps)),
                                               taps.isBiquad ? length / 2 : length, reals(static_cast<O*>(delay.dlyl)),
                                               reals(in), reals(out), n);
}

template <class T, class O, class S>
O filter(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, S samp, Site site = IirLow()) {
  if (rejected(site, BAD_IF(tapStPtr==0), BAD_IF(dlyStPtr==0))) return O{};
  if (rejected(site, check(isBlank(*tapStPtr), [] { return kNoTaps; }),
               check(isBlank(*dlyStPtr, *tapStPtr), [] { return kNoDelay; }))) {
    return O{};
  }
  O result;
  run<S, T>(*tapStPtr, *dlyStPtr, &samp, &result, 1);
  return result;
}

template <class T, class S, class O>
void filterBlock(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, const S* inSamps, O* outSamps,
                 int32_t numIters, Site site = IirLow()) {
  if (rejected(site, BAD_IF(tapStPtr==0), BAD_IF(dlyStPtr==0), BAD_IF(inSamps==0), BAD_IF(outSamps==0))) return;
  if (rejected(site, check(isBlank(*tapStPtr), [] { return kNoTaps; }),
               check(isBlank(*dlyStPtr, *tapStPtr), [] { return kNoDelay; }), BAD_IF(numIters < 0))) {
    return;
  }
  if (numIters > 0) run<S, T>(*tapStPtr, *dlyStPtr, inSamps, outSamps, static_cast<size_t>(numIters));
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxsIirlInit(int32_t iirType, float* taps, int32_t order, IirTapState* tapStPtr) {
  init(iirType, taps, order, tapStPtr);
}
void moxdIirlInit(int32_t iirType, double* taps, int32_t order, IirTapState* tapStPtr) {
  init(iirType, taps, order, tapStPtr);
}
void moxcIirlInit(int32_t iirType, MoxC* taps, int32_t order, IirTapState* tapStPtr) {
  init(iirType, taps, order, tapStPtr);
}
void moxzIirlInit(int32_t iirType, MoxZ* taps, int32_t order, IirTapState* tapStPtr) {
  init(iirType, taps, order, tapStPtr);
}

void moxsIirlInitBq(int32_t iirType, float* taps, int32_t numQuads, IirTapState* tapStPtr) {
  initBiquads(iirType, taps, numQuads, tapStPtr);
}
void moxdIirlInitBq(int32_t iirType, double* taps, int32_t numQuads, IirTapState* tapStPtr) {
  initBiquads(iirType, taps, numQuads, tapStPtr);
}
void moxcIirlInitBq(int32_t iirType, MoxC* taps, int32_t numQuads, IirTapState* tapStPtr) {
  initBiquads(iirType, taps, numQuads, tapStPtr);
}
void moxzIirlInitBq(int32_t iirType, MoxZ* taps, int32_t numQuads, IirTapState* tapStPtr) {
  initBiquads(iirType, taps, numQuads, tapStPtr);
}

void moxsIirlInitDlyl(const IirTapState* tapStPtr, float* dlyl, IirDlyState* dlyStPtr) {
  initDelay(tapStPtr, dlyl, dlyStPtr);
}
void moxdIirlInitDlyl(const IirTapState* tapStPtr, double* dlyl, IirDlyState* dlyStPtr) {
  initDelay(tapStPtr, dlyl, dlyStPtr);
}
void moxcIirlInitDlyl(const IirTapState* tapStPtr, MoxC* dlyl, IirDlyState* dlyStPtr) {
  initDelay(tapStPtr, dlyl, dlyStPtr);
}
void moxzIirlInitDlyl(const IirTapState* tapStPtr, MoxZ* dlyl, IirDlyState* dlyStPtr) {
  initDelay(tapStPtr, dlyl, dlyStPtr);
}

float moxsIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, float samp) {
  return filter<float, float>(tapStPtr, dlyStPtr, samp);
}
double moxdIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, double samp) {
  return filter<double, double>(tapStPtr, dlyStPtr, samp);
}
MoxC moxcIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, MoxC samp) {
  return filter<MoxC, MoxC>(tapStPtr, dlyStPtr, samp);
}
MoxZ moxzIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, MoxZ samp) {
  return filter<MoxZ, MoxZ>(tapStPtr, dlyStPtr, samp);
}
MoxC moxscIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, float samp) {
  return filter<MoxC, MoxC>(tapStPtr, dlyStPtr, samp);
}
MoxC moxcsIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, MoxC samp) {
  return filter<float, MoxC>(tapStPtr, dlyStPtr, samp);
}
MoxZ moxdzIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, double samp) {
  return filter<MoxZ, MoxZ>(tapStPtr, dlyStPtr, samp);
}
MoxZ moxzdIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, MoxZ samp) {
  return filter<double, MoxZ>(tapStPtr, dlyStPtr, samp);
}

void moxsbIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, const float* inSamps, float* outSamps,
               int32_t numIters) {
  filterBlock<float>(tapStPtr, dlyStPtr, inSamps, outSamps, numIters);
}
void moxdbIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, const double* inSamps, double* outSamps,
               int32_t numIters) {
  filterBlock<double>(tapStPtr, dlyStPtr, inSamps, outSamps, numIters);
}
void moxcbIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, const MoxC* inSamps, MoxC* outSamps,
               int32_t numIters) {
  filterBlock<MoxC>(tapStPtr, dlyStPtr, inSamps, outSamps, numIters);
}
void moxzbIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, const MoxZ* inSamps, MoxZ* outSamps,
               int32_t numIters) {
  filterBlock<MoxZ>(tapStPtr, dlyStPtr, inSamps, outSamps, numIters);
}
void moxscbIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, const float* inSamps, MoxC* outSamps,
                int32_t numIters) {
  filterBlock<MoxC>(tapStPtr, dlyStPtr, inSamps, outSamps, numIters);
}
void moxcsbIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, const MoxC* inSamps, MoxC* outSamps,
                int32_t numIters) {
  filterBlock<float>(tapStPtr, dlyStPtr, inSamps, outSamps, numIters);
}
void moxdzbIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, const double* inSamps, MoxZ* outSamps,
                int32_t numIters) {
  filterBlock<MoxZ>(tapStPtr, dlyStPtr, inSamps, outSamps, numIters);
}
void moxzdbIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, const MoxZ* inSamps, MoxZ* outSamps,
                int32_t numIters) {
  filterBlock<double>(tapStPtr, dlyStPtr, inSamps, outSamps, numIters);
}

}  // extern "C"
