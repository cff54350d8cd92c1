// Finite impulse response filters that own copies of their taps and of their history.
#include "filter/fir_state.h"
#include "frame/float_state.h"
#include "frame/sums.h"
#include "kernel/roots.h"

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

// ---- long filters: a plan behind the taps, on the first multiple of 64 bytes

struct Fast {
  const kernel::FirFast* kernels;  // of the set that made the plan; null for filters without one
  kernel::FirPlan plan;
};

// Between these a single-rate filter with float32 taps has room for Fast; below, and for results too few in a call (see
// `least`), the products are faster, above, a stretch would have more than 2^18 values.
constexpr int32_t kFewestFastTaps = 20, kMostFastTaps = 1 << 16;

template <class Tap, class Sample>
const kernel::FirFast* fastKernels(int32_t tapsLen) {
  const auto& kernels = *kernel::active;
  if constexpr (std::is_same_v<Tap, float> && std::is_same_v<Sample, float>) {
    return tapsLen >= 56 ? &kernels.firFastReal : nullptr;
  } else if constexpr (std::is_same_v<Tap, float> && std::is_same_v<Sample, MoxC>) {
    return tapsLen >= 48 ? &kernels.firFastComplexSamples : nullptr;
  } else if constexpr (std::is_same_v<Tap, MoxC> && std::is_same_v<Sample, MoxC>) {
    return &kernels.firFastComplex;
  } else {
    return nullptr;
  }
}

template <class Tap>
bool fastFits(int32_t tapsLen, bool multiRate) {
  return sizeof(RealOf<Tap>) == sizeof(float) && !multiRate && tapsLen >= kFewestFastTaps && tapsLen <= kMostFastTaps;
}

template <class Tap>
Fast* fastOf(const FirState* state) {
  if (!fastFits<Tap>(state->tapsLen, state->isMultiRate != 0)) return nullptr;
  const uintptr_t end = reinterpret_cast<uintptr_t>(static_cast<Tap*>(state->tapsBuf) + state->tapsLen);
  return reinterpret_cast<Fast*>((end + 63) & ~uintptr_t{63});
}

constexpr size_t kFastBytes = (sizeof(Fast) + 63) / 64 * 64;

template <class Tap>
void planTaps(const FirState* state) {
  if constexpr (sizeof(RealOf<Tap>) == sizeof(float)) {
    Fast* const fast = fastOf<Tap>(state);
    if (fast && fast->kernels) fast->kernels->setTaps(fast->plan, reals(static_cast<const Tap*>(state->tapsBuf)));
  }
}

// The smaller stretches are of twice the taps, of few taps up to 8 times: a block of some thousand samples should not
// be mostly their ends.
template <class Tap, class Sample>
kernel::FirPlan planOf(int32_t tapsLen) {
  kernel::FirPlan plan = {};
  plan.count = firField(tapsLen);
  size_t length = 256;
  while (length < 2 * plan.count || length < std::min<size_t>(8 * plan.count, 512)) length *= 2;
  const size_t values = kComplex<Sample> ? length : length / 2;
  while (size_t{1} << plan.order < values) ++plan.order;
  // The time of a value in a stretch, for each of the 2^order and their logarithm, over that of 4 products: between
  // what AVX2 and AVX-512 make of it.
  constexpr size_t kWeight = kComplex<Tap> ? 7 : kComplex<Sample> ? 13 : 28;
  plan.least = (kWeight * firField(plan.order) << plan.order) / (4 * plan.count);
  return plan;
}

// ---- the record

template <class Tap, class Sample>
void build(const Tap* taps, int32_t tapsLen, const Sample* history, const FirFactors& f, FirState* state,
           const Site& site) {
  constexpr int64_t kLeast = 127;  // so many samples at least between two copies of the history
  const bool multiRate = f.up > 1 || f.down > 1;
  int64_t bufLen = std::max<int64_t>(tapsLen - 1, kLeast) + 1, dlyLen = tapsLen - 1;
  if (multiRate) {
    dlyLen = (tapsLen - 1) / f.up + 1;
    bufLen = (std::max(dlyLen, kLeast) + f.down - 1) / f.down * f.down;
  }
  Fast made = {};
  size_t more = 0;
  if (fastFits<Tap>(tapsLen, multiRate)) {
    more = 64 + kFastBytes;
    made.kernels = fastKernels<Tap, Sample>(tapsLen);
    if (made.kernels) {
      made.plan = planOf<Tap, Sample>(tapsLen);
      more += made.kernels->layout(made.plan, nullptr) * sizeof(double);
    }
  }
  if (!buildFir<Tap, Sample>(state, tapsLen, f, bufLen, bufLen + dlyLen, site, more)) return;
  if (more > 0) {
    Fast* const fast = fastOf<Tap>(state);
    if (made.kernels) {
      made.kernels->layout(made.plan, reinterpret_cast<double*>(reinterpret_cast<char*>(fast) + kFastBytes));
      const DefaultFloatState floatState;
      const kernel::Roots roots(made.plan.order + 2);
      if (!roots.ok()) {
        firFailure(state, site);
        return;
      }
      made.kernels->buildTable(made.plan, roots);
    }
    *fast = made;
  }
  storeTaps(taps, state);
  planTaps<Tap>(state);
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

template <class Tap>
void setTaps(const Tap* taps, FirState* state, Site site = Object()) {
  if (refused(site, nullState(state), uninitialized(state))) return;
  storeTaps(taps, state);
  planTaps<Tap>(state);
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
  const Tap* const taps = static_cast<const Tap*>(state->tapsBuf);
  const FirInput<Sample> signal = {input, history + state->dlyLen - 1, -1};
  bool fast = false;
  if constexpr (sizeof(RealOf<Tap>) == sizeof(float)) {
    const Fast* const own = fastOf<Tap>(state);
    fast = own && own->kernels && periods >= own->plan.least;
    if (fast) {
      own->kernels->block(own->plan, shape, reals(taps), {reals(input), reals(signal.newest), -1}, reals(output),
                          periods);
    }
  }
  if (!fast) firBlock<Sample, Tap>(shape, taps, signal, output, periods);
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

void moxsFirSetTaps(const float* taps, FirState* statePtr) { setTaps(taps, statePtr); }
void moxcFirSetTaps(const MoxC* taps, FirState* statePtr) { setTaps(taps, statePtr); }
void moxdFirSetTaps(const double* taps, FirState* statePtr) { setTaps(taps, statePtr); }
void moxzFirSetTaps(const MoxZ* taps, FirState* statePtr) { setTaps(taps, statePtr); }

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
