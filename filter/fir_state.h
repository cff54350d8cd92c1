// The record of a filter object: its buffers, its taps in internal order, its history. Samples, taps and results may be
// of any type that the loops at the end of a block know.
#pragma once
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "filter/fir_check.h"
#include "kernel/kernels.h"
#include "moxa1.h"

namespace mox {

struct FirFactors {
  int32_t up, upPhase, down, downPhase;
};

inline size_t firField(int32_t value) { return static_cast<size_t>(value); }

// ---- checks

inline Fault nullState(const FirState* state) { return {!state, "Null state pointer"}; }
inline Fault uninitialized(const FirState* state) {
  return {state && state->self != state, "Must have been initialized"};
}
inline Fault invalidValue(bool holds) { return {holds, "Invalid value"}; }

// ---- buffers

// n elements, and `more` bytes behind them.
template <class T>
T* allocateFir(int64_t n, size_t more = 0) {
  if (n > static_cast<int64_t>((PTRDIFF_MAX - more) / sizeof(T))) return nullptr;
  return static_cast<T*>(std::malloc(static_cast<size_t>(n) * sizeof(T) + more));
}

inline void releaseFir(FirState* state) {
  std::free(state->tapsBuf);
  std::free(state->bufStart);
  std::free(state->phaseTable);
  state->phaseTable = nullptr;
  std::fill_n(state->reserved, 4, 0);
  state->self = nullptr;
}

inline bool firFailure(FirState* state, const Site& site) {
  releaseFir(state);
  report(site, MOX_StsNoMem, "Allocation failure");
  return false;
}

// Polyphase branch b holds taps b, b + up, b + 2 up ...; in tapsBuf the branches stand one after another, each
// reversed.
struct FirBranch {
  int32_t count, start;
};
inline FirBranch firBranch(const FirState* state, int32_t branch) {
  const int32_t least = state->tapsLen / state->upFactor, longer = state->tapsLen % state->upFactor;
  return {least + (branch < longer), branch * least + std::min(branch, longer)};
}

// Output e of every period: its branch, and where its samples begin in the history buffer in the first period.
inline void fillPhaseTable(FirState* state) {
  const int64_t up = state->upFactor;
  int64_t place = int64_t{state->downPhase} - state->upPhase;
  for (int64_t e = 0; e < up; ++e, place += state->downFactor) {
    const int32_t branch = static_cast<int32_t>((place + up) % up);
    const int64_t entered = place < 0 ? 0 : place / up + 1;
    const FirBranch b = firBranch(state, branch);
    state->phaseTable[e] = {branch,  b.count, static_cast<int32_t>(entered + state->dlyLen - b.count), b.start, b.count,
                            nullptr, {}};
  }
}

// A record with buffers of its own; bufLen and bufSize (elements) are those of the history buffer, behind the taps are
// `more` bytes.
template <class Tap, class Sample>
bool buildFir(FirState* state, int32_t tapsLen, const FirFactors& f, int64_t bufLen, int64_t bufSize, const Site& site,
              size_t more = 0) {
  if (state->self == state) releaseFir(state);
  const bool multiRate = f.up > 1 || f.down > 1;
  *state = {};
  state->upFactor = f.up;
  state->upPhase = f.upPhase;
  state->downFactor = f.down;
  state->downPhase = f.downPhase;
  state->isMultiRate = multiRate;
  state->tapsLen = tapsLen;
  state->tapsLen8 = tapsLen & ~7;
  state->dlyLen = multiRate ? (tapsLen - 1) / f.up + 1 : tapsLen - 1;
  state->bufLen = static_cast<int32_t>(bufLen);
  Sample* buffer = nullptr;
  if (bufLen <= INT32_MAX) {
    state->tapsBuf = allocateFir<Tap>(tapsLen, more);
    state->bufStart = buffer = allocateFir<Sample>(bufSize);
    if (multiRate) state->phaseTable = allocateFir<FirPhase>(f.up);
  }
  if (!state->tapsBuf || !buffer || (multiRate && !state->phaseTable)) return firFailure(state, site);
  state->histPtr = buffer;
  state->bufEnd = buffer + bufLen;
  if (multiRate) fillPhaseTable(state);
  state->self = state;
  return true;
}

// ---- taps

// Calls visit(place in natural order, place in tapsBuf) for every tap.
template <class Visit>
void forEachTap(const FirState* state, Visit visit) {
  const int32_t branches = std::min(state->upFactor, state->tapsLen);
  for (int32_t r = 0; r < branches; ++r) {
    const FirBranch b = firBranch(state, r);
    for (int32_t j = 0; j < b.count; ++j) {
      visit(firField(r) + firField(j) * firField(state->upFactor), firField(b.start + b.count - 1 - j));
    }
  }
}

template <class Tap>
void storeTaps(const Tap* taps, FirState* state) {
  Tap* const own = static_cast<Tap*>(state->tapsBuf);
  if (!taps) {
    std::memset(static_cast<void*>(own), 0, firField(state->tapsLen) * sizeof(Tap));
  } else {
    forEachTap(state, [=](size_t natural, size_t internal) { own[internal] = taps[natural]; });
  }
}

template <class Tap>
void getFirTaps(const FirState* state, Tap* taps, const Site& site) {
  if (refused(site, nullState(state), uninitialized(state), nullBuffer(!taps))) return;
  const Tap* const own = static_cast<const Tap*>(state->tapsBuf);
  forEachTap(state, [=](size_t natural, size_t internal) { taps[natural] = own[internal]; });
}

// ---- history

template <class Sample>
void storeHistory(const Sample* history, Sample* own, int32_t dlyLen) {
  const size_t bytes = firField(dlyLen) * sizeof(Sample);
  if (!history) {
    std::memset(static_cast<void*>(own), 0, bytes);
  } else {
    std::memcpy(own, history, bytes);
  }
}

// The newest samples after a block of n become the history at bufStart.
template <class Sample>
void renewHistory(const Sample* history, const Sample* block, size_t n, const FirState* state) {
  Sample* const start = static_cast<Sample*>(state->bufStart);
  const size_t len = firField(state->dlyLen), kept = n < len ? len - n : 0;
  std::memmove(start, history + (len - kept), kept * sizeof(Sample));
  std::memcpy(start + kept, block + n - (len - kept), (len - kept) * sizeof(Sample));
}

// ---- filtering

inline kernel::FirShape firShape(const FirState* state) {
  return {firField(state->tapsLen),    firField(state->upFactor),  firField(state->upPhase),
          firField(state->downFactor), firField(state->downPhase), true};
}

// Taps of a single sample's sum. A multi-rate record is not meant for it: then no more than there is history for.
inline size_t firSampleTaps(const FirState* state) {
  return firField(state->isMultiRate ? std::min(state->tapsLen, state->dlyLen) : state->tapsLen);
}

inline bool firBlockRefused(const Site& site, const FirState* state, const void* input, const void* output,
                            int32_t numIters) {
  return refused(site, nullState(state), uninitialized(state), nullBuffer(!input || !output),
                 invalidValue(numIters < 1));
}

inline bool firFactorsRefused(const Site& site, const FirState* state, int32_t tapsLen, const FirFactors& f) {
  return refused(site, nullState(state),
                 invalidValue(f.up < 1 || f.down < 1 || f.upPhase < 0 || f.upPhase >= f.up || f.downPhase < 0 ||
                              f.downPhase >= f.down || tapsLen < 1));
}

}  // namespace mox
