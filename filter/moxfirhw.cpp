// The filter object on int16: sums modulo 2^32, then the scale mode.
#include "filter/fir_state.h"
#include "frame/sums.h"
#include "frame/undscale.h"

namespace mox {
namespace {

using Object = Here<"moxfirhw">;

const int16_t* tapsOf(const FirState* state) { return static_cast<const int16_t*>(state->tapsBuf); }
int16_t* historyOf(const FirState* state) { return static_cast<int16_t*>(state->bufStart) + state->pos16; }

void build(const int16_t* taps, int32_t tapsLen, const int16_t* history, const FirFactors& f, FirState* state,
           const Site& site) {
  int64_t bufLen = tapsLen - 1, bufSize = 2 * std::max<int64_t>(1, bufLen);
  if (f.up > 1 || f.down > 1) {
    const int64_t dlyLen = (tapsLen - 1) / f.up + 1;
    bufLen = (f.down + dlyLen - 1) / f.down * f.down;
    bufSize = bufLen + dlyLen;
  }
  if (!buildFir<int16_t, int16_t>(state, tapsLen, f, bufLen, bufSize, site)) return;
  state->tapsLen16 = tapsLen;
  for (int32_t e = 0; state->phaseTable && e < f.up; ++e) {
    state->phaseTable[e].taps16 = static_cast<int16_t*>(state->tapsBuf) + state->phaseTable[e].offset;
  }
  storeTaps(taps, state);
  storeHistory(history, historyOf(state), state->dlyLen);
}

void init(const int16_t* taps, int32_t tapsLen, const int16_t* history, FirState* state, Site site = Object()) {
  if (refused(site, nullState(state), invalidValue(tapsLen < 1))) return;
  build(taps, tapsLen, history, {1, 0, 1, 0}, state, site);
}

void initMr(const int16_t* taps, int32_t tapsLen, const int16_t* history, const FirFactors& f, FirState* state,
            Site site = Object()) {
  if (firFactorsRefused(site, state, tapsLen, f)) return;
  build(taps, tapsLen, history, f, state, site);
}

void setTaps(const int16_t* taps, FirState* state, Site site = Object()) {
  if (refused(site, nullState(state), uninitialized(state))) return;
  storeTaps(taps, state);
}

void setDlyl(const int16_t* history, FirState* state, Site site = Object()) {
  if (refused(site, nullState(state), uninitialized(state))) return;
  storeHistory(history, historyOf(state), state->dlyLen);
}

void getDlyl(const FirState* state, int16_t* history, Site site = Object()) {
  if (refused(site, nullState(state), uninitialized(state), nullBuffer(!history))) return;
  std::memcpy(history, historyOf(state), firField(state->dlyLen) * sizeof(int16_t));
}

int16_t filter(FirState* state, int16_t samp, int32_t scaleMode, int32_t* scalePtr, Site site = Object()) {
  if (refused(site, nullState(state), uninitialized(state))) return 0;
  int16_t* const history = historyOf(state);
  history[state->dlyLen] = samp;
  const int32_t sum = firDot(tapsOf(state), history, firSampleTaps(state));
  // A filter of one tap has no places to slide over: it stays where it is.
  if (++state->pos16 >= state->bufLen) {
    std::memmove(state->bufStart, history + 1, firField(state->dlyLen) * sizeof(int16_t));
    state->pos16 = 0;
  }
  return scaledToInt16(sum, scaleMode, scalePtr);
}

// Sums to int16 one after another, times 2^-factor.
class Reduction {
 public:
  Reduction(int32_t scaleMode, const int32_t* scalePtr, int16_t* output)
      : automatic_(scaleMode == MOX_AutoScale),
        saturates_((scaleMode & MOX_NoScaleSat) != 0),
        factor_((scaleMode & MOX_FixScale) != 0 && scalePtr ? *scalePtr : 0),
        first_(output),
        next_(output) {}

  void add(int32_t sum) {
    int32_t v = shifted(sum);
    if (automatic_) {
      if (v < INT16_MIN || v > INT16_MAX) v = raise(v);
    } else if (saturates_) {
      v = std::clamp<int32_t>(v, INT16_MIN, INT16_MAX);
    }
    *next_++ = static_cast<int16_t>(v);
  }
  int32_t factor() const { return factor_; }

 private:
  int32_t shifted(int32_t v) const {
    if (factor_ > 0) return v >> std::min(factor_, 31);
    return factor_ > -32 ? static_cast<int32_t>(static_cast<uint32_t>(v) << -factor_) : 0;
  }

  // v has its largest bit at 15 or above; -2^31 counts as 2^31.
  [[gnu::cold]] int32_t raise(int32_t v) {
    const uint32_t size = v < 0 ? 0u - static_cast<uint32_t>(v) : static_cast<uint32_t>(v);
    const int32_t more = 31 - __builtin_clz(size) - 14;
    for (int16_t* y = first_; y != next_; ++y) *y = static_cast<int16_t>(*y >> std::min(more, 15));
    factor_ += more;
    return v >> more;
  }

  bool automatic_, saturates_;
  int32_t factor_;
  int16_t *first_, *next_;
};

void filterBlock(FirState* state, const int16_t* input, int16_t* output, int32_t numIters, int32_t scaleMode,
                 int32_t* scalePtr, Site site = Object()) {
  if (firBlockRefused(site, state, input, output, numIters) ||
      refused(site, Fault{scaleMode == MOX_AutoScale && !scalePtr, "NULL==scalePtr"})) {
    return;
  }
  const kernel::FirShape shape = firShape(state);
  const int16_t* history = historyOf(state);
  Reduction reduction(scaleMode, scalePtr, output);
  constexpr size_t kSums = 1024;
  int32_t sums[kSums];
  if (shape.up <= kSums) {
    const size_t atOnce = kSums / shape.up;
    for (size_t left = firField(numIters), n; left > 0; left -= n) {
      n = std::min(left, atOnce);
      kernel::active->fir16.real(shape, tapsOf(state), {input, history + state->dlyLen - 1, -1}, sums, n);
      for (size_t i = 0; i < n * shape.up; ++i) reduction.add(sums[i]);
      renewHistory(history, input, n * shape.down, state);
      history = static_cast<int16_t*>(state->bufStart);
      input += n * shape.down;
    }
  } else {
    // Periods too long for the array: output by output.
    const size_t dlyLen = firField(state->dlyLen);
    for (size_t left = firField(numIters); left > 0; --left) {
      for (size_t e = 0; e < shape.up; ++e) {
        const FirPhase& phase = state->phaseTable[e];
        const int16_t* const taps = static_cast<const int16_t*>(phase.taps16);
        // Of its samples so many are history.
        const size_t len = firField(phase.len), start = firField(phase.start);
        const size_t old = start < dlyLen ? std::min(dlyLen - start, len) : 0;
        uint32_t sum = static_cast<uint32_t>(firDot(taps, history + start, old));
        if (old < len) sum += static_cast<uint32_t>(firDot(taps + old, input + (start + old - dlyLen), len - old));
        reduction.add(static_cast<int32_t>(sum));
      }
      renewHistory(history, input, shape.down, state);
      history = static_cast<int16_t*>(state->bufStart);
      input += shape.down;
    }
  }
  state->pos16 = 0;
  if (scaleMode == MOX_AutoScale) *scalePtr = reduction.factor();
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxwFirInit(const int16_t* taps, int32_t tapsLen, const int16_t* history, FirState* statePtr) {
  init(taps, tapsLen, history, statePtr);
}
void moxwFirInitMr(const int16_t* taps, int32_t tapsLen, const int16_t* history, int32_t upFactor, int32_t upPhase,
                   int32_t downFactor, int32_t downPhase, FirState* statePtr) {
  initMr(taps, tapsLen, history, {upFactor, upPhase, downFactor, downPhase}, statePtr);
}
void moxwFirSetTaps(const int16_t* taps, FirState* statePtr) { setTaps(taps, statePtr); }
void moxwFirGetTaps(const FirState* statePtr, int16_t* taps) { getFirTaps(statePtr, taps, Object()); }
void moxwFirSetDlyl(const int16_t* history, FirState* statePtr) { setDlyl(history, statePtr); }
void moxwFirGetDlyl(const FirState* statePtr, int16_t* history) { getDlyl(statePtr, history); }
int16_t moxwFir(FirState* statePtr, int16_t samp, int32_t scaleMode, int32_t* scalePtr) {
  return filter(statePtr, samp, scaleMode, scalePtr);
}
void moxwbFir(FirState* statePtr, const int16_t* inSamps, int16_t* outSamps, int32_t numIters, int32_t scaleMode,
              int32_t* scalePtr) {
  filterBlock(statePtr, inSamps, outSamps, numIters, scaleMode, scalePtr);
}

}  // extern "C"
