// Finite impulse response filters that own copies of their taps and of their history.
#include "filter/fir_core.h"
#include "filter/fir_state.h"

namespace mox {
namespace {

using Object = Here<"moxfirh">;

#if UINTPTR_MAX == UINT32_MAX
static_assert(sizeof(FirState) == 4 * 21 && sizeof(FirPhase) == 4 * 9);
#endif

template <class Sample>
Sample* historyOf(const FirState* state) {
  return static_cast<Sample*>(state->histPtr);
}

template <class Tap, class Sample>
void build(const Tap* taps, int32_t tapsLen, const Sample* history, const FirFactors& f, FirState* state,
           const Site& site) {
  constexpr int64_t kLeast = 127;  // so many samples at least between two copies of the history
  int64_t bufLen = std::max<int64_t>(tapsLen - 1, kLeast) + 1, dlyLen = tapsLen - 1;
  if (f.up > 1 || f.down > 1) {
    dlyLen = (tapsLen - 1) / f.up + 1;
    bufLen = (std::max(dlyLen, kLeast) + f.down - 1) / f.down * f.down;
  }
  if (!buildFir<Tap, Sample>(state, tapsLen, f, bufLen, bufLen + dlyLen, site)) return;
  storeTaps(taps, state);
  storeHistory(history, historyOf<Sample>(state), state->dlyLen);
}

template <class Tap, class Sample>
void init(const Tap* taps, int32_t tapsLen, const Sample* history, FirState* state, Site site = Object()) {
  if (refused(site, nullState(state), invalidValue(tapsLen < 1))) return;
  build(taps, tapsLen, history, {1, 0, 1, 0}, state, site);
}

template <class Tap, class Sample>
void initMr(const Tap* taps, int32_t tapsLen, const Sample* history, const FirFactors& f, FirState* state,
            Site site = Object()) {
  if (firFactorsRefused(site, state, tapsLen, f)) return;
  build(taps, tapsLen, history, f, state, site);
}

template <class Sample>
void setDlyl(const Sample* history, FirState* state, Site site = Object()) {
  if (refused(site, nullState(state), uninitialized(state))) return;
  storeHistory(history, historyOf<Sample>(state), state->dlyLen);
}

template <class Sample>
void getDlyl(const FirState* state, Sample* history, Site site = Object()) {
  if (refused(site, nullState(state), uninitialized(state), nullBuffer(!history))) return;
  std::memcpy(history, historyOf<Sample>(state), firField(state->dlyLen) * sizeof(Sample));
}

template <class Tap, class Sample>
FirResult<Sample, Tap> filter(FirState* state, Sample samp, Site site = Object()) {
  if (refused(site, nullState(state), uninitialized(state))) return {};
  Sample* history = historyOf<Sample>(state);
  history[state->dlyLen] = samp;
  const auto result = firDot(static_cast<const Tap*>(state->tapsBuf), history, firSampleTaps(state));
  if (++history == state->bufEnd) {
    history = static_cast<Sample*>(state->bufStart);
    std::memcpy(history, state->bufEnd, firField(state->dlyLen) * sizeof(Sample));
  }
  state->histPtr = history;
  return result;
}

template <class Tap, class Sample>
void filterBlock(FirState* state, const Sample* input, FirResult<Sample, Tap>* output, int32_t numIters,
                 Site site = Object()) {
  if (firBlockRefused(site, state, input, output, numIters)) return;
  const kernel::FirShape shape = firShape(state);
  const size_t periods = firField(numIters);
  const Sample* const history = historyOf<Sample>(state);
  firBlock<Sample, Tap>(shape, static_cast<const Tap*>(state->tapsBuf), {input, history + state->dlyLen - 1, -1},
                        output, periods);
  renewHistory(history, input, periods * shape.down, state);
  state->histPtr = state->bufStart;
}

// Whatever the thread's status is.
void free(FirState* state, Site site = Object()) {
  const Fault faults[] = {nullState(state), uninitialized(state)};
  for (const Fault& fault : faults) {
    if (fault.holds) {
      report(site, MOX_StsBadArg, fault.text);
      return;
    }
  }
  releaseFir(state);
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxsFirInit(const float* taps, int32_t tapsLen, const float* history, FirState* statePtr) {
  init(taps, tapsLen, history, statePtr);
}
void moxcFirInit(const MoxC* taps, int32_t tapsLen, const MoxC* history, FirState* statePtr) {
  init(taps, tapsLen, history, statePtr);
}
void moxdFirInit(const double* taps, int32_t tapsLen, const double* history, FirState* statePtr) {
  init(taps, tapsLen, history, statePtr);
}
void moxzFirInit(const MoxZ* taps, int32_t tapsLen, const MoxZ* history, FirState* statePtr) {
  init(taps, tapsLen, history, statePtr);
}
void moxscFirInit(const MoxC* taps, int32_t tapsLen, const float* history, FirState* statePtr) {
  init(taps, tapsLen, history, statePtr);
}
void moxcsFirInit(const float* taps, int32_t tapsLen, const MoxC* history, FirState* statePtr) {
  init(taps, tapsLen, history, statePtr);
}
void moxdzFirInit(const MoxZ* taps, int32_t tapsLen, const double* history, FirState* statePtr) {
  init(taps, tapsLen, history, statePtr);
}
void moxzdFirInit(const double* taps, int32_t tapsLen, const MoxZ* history, FirState* statePtr) {
  init(taps, tapsLen, history, statePtr);
}

void moxsFirInitMr(const float* taps, int32_t tapsLen, const float* history, int32_t upFactor, int32_t upPhase,
                   int32_t downFactor, int32_t downPhase, FirState* statePtr) {
  initMr(taps, tapsLen, history, {upFactor, upPhase, downFactor, downPhase}, statePtr);
}
void moxcFirInitMr(const MoxC* taps, int32_t tapsLen, const MoxC* history, int32_t upFactor, int32_t upPhase,
                   int32_t downFactor, int32_t downPhase, FirState* statePtr) {
  initMr(taps, tapsLen, history, {upFactor, upPhase, downFactor, downPhase}, statePtr);
}
void moxdFirInitMr(const double* taps, int32_t tapsLen, const double* history, int32_t upFactor, int32_t upPhase,
                   int32_t downFactor, int32_t downPhase, FirState* statePtr) {
  initMr(taps, tapsLen, history, {upFactor, upPhase, downFactor, downPhase}, statePtr);
}
void moxzFirInitMr(const MoxZ* taps, int32_t tapsLen, const MoxZ* history, int32_t upFactor, int32_t upPhase,
                   int32_t downFactor, int32_t downPhase, FirState* statePtr) {
  initMr(taps, tapsLen, history, {upFactor, upPhase, downFactor, downPhase}, statePtr);
}
void moxscFirInitMr(const MoxC* taps, int32_t tapsLen, const float* history, int32_t upFactor, int32_t upPhase,
                    int32_t downFactor, int32_t downPhase, FirState* statePtr) {
  initMr(taps, tapsLen, history, {upFactor, upPhase, downFactor, downPhase}, statePtr);
}
void moxcsFirInitMr(const float* taps, int32_t tapsLen, const MoxC* history, int32_t upFactor, int32_t upPhase,
                    int32_t downFactor, int32_t downPhase, FirState* statePtr) {
  initMr(taps, tapsLen, history, {upFactor, upPhase, downFactor, downPhase}, statePtr);
}
void moxdzFirInitMr(const MoxZ* taps, int32_t tapsLen, const double* history, int32_t upFactor, int32_t upPhase,
                    int32_t downFactor, int32_t downPhase, FirState* statePtr) {
  initMr(taps, tapsLen, history, {upFactor, upPhase, downFactor, downPhase}, statePtr);
}
void moxzdFirInitMr(const double* taps, int32_t tapsLen, const MoxZ* history, int32_t upFactor, int32_t upPhase,
                    int32_t downFactor, int32_t downPhase, FirState* statePtr) {
  initMr(taps, tapsLen, history, {upFactor, upPhase, downFactor, downPhase}, statePtr);
}

void moxsFirSetTaps(const float* taps, FirState* statePtr) { setFirTaps(taps, statePtr, Object()); }
void moxcFirSetTaps(const MoxC* taps, FirState* statePtr) { setFirTaps(taps, statePtr, Object()); }
void moxdFirSetTaps(const double* taps, FirState* statePtr) { setFirTaps(taps, statePtr, Object()); }
void moxzFirSetTaps(const MoxZ* taps, FirState* statePtr) { setFirTaps(taps, statePtr, Object()); }

void moxsFirGetTaps(const FirState* statePtr, float* taps) { getFirTaps(statePtr, taps, Object()); }
void moxcFirGetTaps(const FirState* statePtr, MoxC* taps) { getFirTaps(statePtr, taps, Object()); }
void moxdFirGetTaps(const FirState* statePtr, double* taps) { getFirTaps(statePtr, taps, Object()); }
void moxzFirGetTaps(const FirState* statePtr, MoxZ* taps) { getFirTaps(statePtr, taps, Object()); }

void moxsFirSetDlyl(const float* history, FirState* statePtr) { setDlyl(history, statePtr); }
void moxcFirSetDlyl(const MoxC* history, FirState* statePtr) { setDlyl(history, statePtr); }
void moxdFirSetDlyl(const double* history, FirState* statePtr) { setDlyl(history, statePtr); }
void moxzFirSetDlyl(const MoxZ* history, FirState* statePtr) { setDlyl(history, statePtr); }

void moxsFirGetDlyl(const FirState* statePtr, float* history) { getDlyl(statePtr, history); }
void moxcFirGetDlyl(const FirState* statePtr, MoxC* history) { getDlyl(statePtr, history); }
void moxdFirGetDlyl(const FirState* statePtr, double* history) { getDlyl(statePtr, history); }
void moxzFirGetDlyl(const FirState* statePtr, MoxZ* history) { getDlyl(statePtr, history); }

float moxsFir(FirState* statePtr, float samp) { return filter<float>(statePtr, samp); }
MoxC moxcFir(FirState* statePtr, MoxC samp) { return filter<MoxC>(statePtr, samp); }
double moxdFir(FirState* statePtr, double samp) { return filter<double>(statePtr, samp); }
MoxZ moxzFir(FirState* statePtr, MoxZ samp) { return filter<MoxZ>(statePtr, samp); }
MoxC moxscFir(FirState* statePtr, float samp) { return filter<MoxC>(statePtr, samp); }
MoxC moxcsFir(FirState* statePtr, MoxC samp) { return filter<float>(statePtr, samp); }
MoxZ moxdzFir(FirState* statePtr, double samp) { return filter<MoxZ>(statePtr, samp); }
MoxZ moxzdFir(FirState* statePtr, MoxZ samp) { return filter<double>(statePtr, samp); }

void moxsbFir(FirState* statePtr, const float* inSamps, float* outSamps, int32_t numIters) {
  filterBlock<float>(statePtr, inSamps, outSamps, numIters);
}
void moxcbFir(FirState* statePtr, const MoxC* inSamps, MoxC* outSamps, int32_t numIters) {
  filterBlock<MoxC>(statePtr, inSamps, outSamps, numIters);
}
void moxdbFir(FirState* statePtr, const double* inSamps, double* outSamps, int32_t numIters) {
  filterBlock<double>(statePtr, inSamps, outSamps, numIters);
}
void moxzbFir(FirState* statePtr, const MoxZ* inSamps, MoxZ* outSamps, int32_t numIters) {
  filterBlock<MoxZ>(statePtr, inSamps, outSamps, numIters);
}
void moxscbFir(FirState* statePtr, const float* inSamps, MoxC* outSamps, int32_t numIters) {
  filterBlock<MoxC>(statePtr, inSamps, outSamps, numIters);
}
void moxcsbFir(FirState* statePtr, const MoxC* inSamps, MoxC* outSamps, int32_t numIters) {
  filterBlock<float>(statePtr, inSamps, outSamps, numIters);
}
void moxdzbFir(FirState* statePtr, const double* inSamps, MoxZ* outSamps, int32_t numIters) {
  filterBlock<MoxZ>(statePtr, inSamps, outSamps, numIters);
}
void moxzdbFir(FirState* statePtr, const MoxZ* inSamps, MoxZ* outSamps, int32_t numIters) {
  filterBlock<double>(statePtr, inSamps, outSamps, numIters);
}

void moxFirFree(FirState* statePtr) { free(statePtr); }

}  // extern "C"
