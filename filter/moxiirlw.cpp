// Recursive filters on int16 records and buffers of the caller's, through float32 copies.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "frame/check.h"
#include "frame/float_array.h"
#include "frame/undscale.h"
#include "moxa1.h"

namespace mox {
namespace {

using IirLow16 = Here<"moxiirlw">;

constexpr const char kNoTaps[] = "structure *tapStPtr wasn't initialized";
constexpr const char kNoDelay[] = "structure *dlyStPtr wasn't initialized";
constexpr const char kNoType[] = "iirType is out of range";
constexpr const char kNoMemory[] = "No memory for working array";

bool isBadType(int32_t iirType) { return static_cast<uint32_t>(iirType) > 1; }
bool isBlank(const IirTapState& taps) { return taps.taps == nullptr || static_cast<uint32_t>(taps.isBiquad) > 1; }
bool isBlank(const IirDlyState& delay, const IirTapState& taps) { return taps.order > 0 && delay.dlyl == nullptr; }
size_t delayLength(const IirTapState& taps) { return static_cast<size_t>(std::max(taps.order, 0)); }

int16_t truncated(float v) { return static_cast<int16_t>(std::clamp(v, -32768.0f, 32767.0f)); }

// What int16 taps make of int16 samples are whole numbers, infinities or NaN, which gives 0.
int16_t limited(float v) { return std::isnan(v) ? int16_t{0} : truncated(v); }

// ---- coefficients: divided in float32, truncated when they are back in the caller's array

void init(int32_t iirType, int16_t* taps, int32_t order, IirTapState* tapStPtr, Site site = IirLow16()) {
  if (rejected(site, BAD_IF(tapStPtr==0), BAD_IF(taps==0), BAD_IF(order<0),
                                                                  check(isBadType(iirType), [] { return kNoType; }))) {
    return;
  }
  const size_t n = static_cast<size_t>(order);
  if (taps[n + 1] == 0) {
    report(site, MOX_StsBadArg, "taps[order+1] equals zero");
    return;
  }
  const FloatArray work(taps, 2 * uint64_t{n} + 2);
  if (!work.get()) {
    report(site, MOX_StsNoMem, kNoMemory);
    return;
  }
  IirTapState prepared;
  moxsIirlInit(iirType, work.get(), order, &prepared);
  std::transform(work.get(), work.get() + 2 * n + 2, taps, truncated);
  *tapStPtr = {order, taps, iirType, 0};
}

void initBiquads(int32_t iirType, int16_t* taps, int32_t numQuads, IirTapState* tapStPtr, Site site = IirLow16()) {
  if (rejected(site, BAD_IF(tapStPtr==0), BAD_IF(taps==0), BAD_IF(numQuads<=0),
                                                                  check(isBadType(iirType), [] { return kNoType; }))) {
    return;
  }
  const uint64_t count = 6 * static_cast<uint64_t>(numQuads);
  // More delay values than the record counts are more than there is memory for.
  const FloatArray work(taps, numQuads <= INT32_MAX / 2 ? count : UINT64_MAX);
  if (!work.get()) {
    report(site, MOX_StsNoMem, kNoMemory);
    return;
  }
  *tapStPtr = {2 * numQuads, taps, iirType, 1};
  for (int32_t k = 0; k < numQuads; ++k) {
    const int16_t* const section = taps + 6 * static_cast<size_t>(k);
    if (section[0] == 0 || section[3] == 0) {
      char text[40];
      std::snprintf(text, sizeof text, section[0] == 0 ? "taps[%d*6] equals zero" : "taps[%d*6+3] equals zero",
                    static_cast<int>(k));
      report(site, MOX_StsBadArg, text);
      return;
    }
  }
  IirTapState prepared;
  moxsIirlInitBq(iirType, work.get(), numQuads, &prepared);
  std::transform(work.get(), work.get() + static_cast<size_t>(count), taps, truncated);
}

void initDelay(const IirTapState* tapStPtr, int16_t* dlyl, IirDlyState* dlyStPtr, Site site = IirLow16()) {
  if (rejected(site, BAD_IF(tapStPtr==0), BAD_IF(dlyStPtr==0))) return;
  if (rejected(site, check(isBlank(*tapStPtr), [] { return kNoTaps; }),
               check(tapStPtr->order > 0 && dlyl == nullptr, [] { return "dlyl==0"; }))) {
    return;
  }
  dlyStPtr->dlyl = dlyl;
  std::fill_n(dlyl, delayLength(*tapStPtr), int16_t{0});
}

// ---- filtering

void run(const IirTapState& tapSt, const IirDlyState& dlySt, const int16_t* in, int16_t* out, int32_t n,
         int32_t scaleMode, int32_t* scalePtr, const Site& site) {
  if (!scaleIsGood("moxsbUndScaling", scaleMode, scalePtr)) return;
  const size_t order = delayLength(tapSt);
  int16_t* const dlyl = static_cast<int16_t*>(dlySt.dlyl);
  const FloatArray taps(static_cast<const int16_t*>(tapSt.taps), 2 * uint64_t{order} + 1), delay(dlyl, order);
  const FloatArray samples(in, static_cast<size_t>(n));
  if (!taps.get() || !delay.get() || !samples.get()) {
    report(site, MOX_StsNoMem, kNoMemory);
    return;
  }
  const IirTapState floatTaps = {tapSt.order, taps.get(), tapSt.iirType, tapSt.isBiquad};
  const IirDlyState floatDelay = {delay.get()};
  moxsbIirl(&floatTaps, &floatDelay, samples.get(), samples.get(), n);
  scaledToInt16(samples.get(), out, n, scaleMode, scalePtr);
  std::transform(delay.get(), delay.get() + order, dlyl, limited);
}

int16_t filter(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, int16_t samp, int32_t scaleMode,
               int32_t* scalePtr, Site site = IirLow16()) {
  if (rejected(site, BAD_IF(tapStPtr==0), BAD_IF(dlyStPtr==0))) return 0;
  if (rejected(site, check(isBlank(*tapStPtr), [] { return kNoTaps; }),
               check(isBlank(*dlyStPtr, *tapStPtr), [] { return kNoDelay; }))) {
    return 0;
  }
  int16_t result = 0;
  run(*tapStPtr, *dlyStPtr, &samp, &result, 1, scaleMode, scalePtr, site);
  return result;
}

void filterBlock(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, const int16_t* inSamps, int16_t* outSamps,
                 int32_t numIters, int32_t scaleMode, int32_t* scalePtr, Site site = IirLow16()) {
  if (rejected(site, BAD_IF(tapStPtr==0), BAD_IF(dlyStPtr==0), BAD_IF(inSamps==0), BAD_IF(outSamps==0))) return;
  if (rejected(site, check(isBlank(*tapStPtr), [] { return kNoTaps; }),
               check(isBlank(*dlyStPtr, *tapStPtr), [] { return kNoDelay; }), BAD_IF(numIters < 0))) {
    return;
  }
  if (numIters > 0) run(*tapStPtr, *dlyStPtr, inSamps, outSamps, numIters, scaleMode, scalePtr, site);
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxwIirlInit(int32_t iirType, int16_t* taps, int32_t order, IirTapState* tapStPtr) {
  init(iirType, taps, order, tapStPtr);
}
void moxwIirlInitBq(int32_t iirType, int16_t* taps, int32_t numQuads, IirTapState* tapStPtr) {
  initBiquads(iirType, taps, numQuads, tapStPtr);
}
void moxwIirlInitDlyl(const IirTapState* tapStPtr, int16_t* dlyl, IirDlyState* dlyStPtr) {
  initDelay(tapStPtr, dlyl, dlyStPtr);
}
int16_t moxwIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, int16_t samp, int32_t scaleMode,
                 int32_t* scalePtr) {
  return filter(tapStPtr, dlyStPtr, samp, scaleMode, scalePtr);
}
void moxwbIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, const int16_t* inSamps, int16_t* outSamps,
               int32_t numIters, int32_t scaleMode, int32_t* scalePtr) {
  filterBlock(tapStPtr, dlyStPtr, inSamps, outSamps, numIters, scaleMode, scalePtr);
}

}  // extern "C"
