// Finite impulse response filters on two records of the caller's, taps and delay line.
#include <algorithm>
#include <cstring>

#include "filter/delay_line.h"
#include "filter/fir_check.h"
#include "frame/sums.h"
#include "frame/undscale.h"

namespace mox {
namespace {

using LowLevel = Here<"moxfirl">;

#if UINTPTR_MAX == UINT32_MAX
static_assert(sizeof(FirTapState) == 32 && sizeof(FirDlyState) == 12);
#endif

template <class T>
T* tapsOf(const FirTapState* tapSt) {
  return static_cast<T*>(tapSt->taps);
}
template <class T>
T* dlylOf(const FirDlyState* dlySt) {
  return static_cast<T*>(dlySt->dlyl);
}

// ---- the records

void init(void* taps, int32_t tapsLen, FirTapState* tapSt, Site site = LowLevel()) {
  if (refused(site, nullBuffer(!taps || !tapSt), Fault{tapsLen < 1, "Invalid array length"})) return;
  *tapSt = {taps, tapsLen, 1, 0, 1, 0, 0, 1};
}

void initMr(void* taps, int32_t tapsLen, int32_t upFactor, int32_t upPhase, int32_t downFactor, int32_t downPhase,
            FirTapState* tapSt, Site site = LowLevel()) {
  if (refused(site, nullBuffer(!taps || !tapSt), Fault{tapsLen < 1, "Invalid array length"},
              Fault{upPhase < 0 || downPhase < 0, "Invalid phase value"},
              Fault{upFactor <= upPhase || downFactor <= downPhase, "Invalid factor value"})) {
    return;
  }
  *tapSt = {taps, tapsLen, upFactor, upPhase, downFactor, downPhase, upFactor > 1 || downFactor > 1, 1};
}

void initDlyl(const FirTapState* tapSt, void* dlyl, FirDlyState* dlySt, Site site = LowLevel()) {
  if (refused(site, nullBuffer(!tapSt || !dlyl || !dlySt))) return;
  *dlySt = {dlyl, tapSt->isMultiRate ? (tapSt->len - 1) / tapSt->upFactor + 1 : tapSt->len, 0};
}

template <class T>
void setTaps(const T* src, FirTapState* tapSt, Site site = LowLevel()) {
  if (refused(site, nullBuffer(!tapSt))) return;
  T* const taps = tapsOf<T>(tapSt);
  const size_t bytes = static_cast<size_t>(tapSt->len) * sizeof(T);
  if (!src) {
    std::memset(static_cast<void*>(taps), 0, bytes);
  } else if (src != taps) {
    std::memmove(taps, src, bytes);
  }
  tapSt->isFilterMode = 1;
}

template <class T>
void getTaps(FirTapState* tapSt, T* dst, Site site = LowLevel()) {
  if (refused(site, nullBuffer(!tapSt || !dst))) return;
  const T* const taps = tapsOf<T>(tapSt);
  if (dst != taps) std::memmove(dst, taps, static_cast<size_t>(tapSt->len) * sizeof(T));
  tapSt->isFilterMode = 0;
}

// Samples of the delay line that the caller sees.
size_t visible(const FirTapState* tapSt, const FirDlyState* dlySt) {
  return static_cast<size_t>(tapSt->isMultiRate ? dlySt->len : dlySt->len - 1);
}

template <class T>
void setDlyl(const FirTapState* tapSt, const T* src, FirDlyState* dlySt, Site site = LowLevel()) {
  if (refused(site, nullBuffer(!dlySt || !tapSt))) return;
  T* const dlyl = dlylOf<T>(dlySt);
  const size_t n = visible(tapSt, dlySt);
  if (!src) {
    std::memset(static_cast<void*>(dlyl), 0, n * sizeof(T));
  } else if (src != dlyl) {
    std::reverse_copy(src, src + n, dlyl);
  } else if (dlySt->isFilterMode != 1) {
    std::reverse(dlyl, dlyl + n);
  }
  dlySt->isFilterMode = 1;
}

template <class T>
void getDlyl(const FirTapState* tapSt, FirDlyState* dlySt, T* dst, Site site = LowLevel()) {
  if (refused(site, nullBuffer(!tapSt || !dlySt || !dst)) || dlySt->isFilterMode == 0) return;
  T* const dlyl = dlylOf<T>(dlySt);
  const size_t n = visible(tapSt, dlySt);
  if (dst != dlyl) {
    std::reverse_copy(dlyl, dlyl + n, dst);
  } else {
    std::reverse(dlyl, dlyl + n);
  }
  dlySt->isFilterMode = 0;
}

// ---- filtering

template <class Tap, class Sample>
FirResult<Sample, Tap> filter(const FirTapState* tapSt, FirDlyState* dlySt, Sample samp, Site site = LowLevel()) {
  if (refused(site, nullBuffer(!tapSt || !dlySt))) return {};
  Sample* const dlyl = dlylOf<Sample>(dlySt);
  const size_t len = static_cast<size_t>(dlySt->len);
  shiftIn(samp, dlyl, len);
  return firDot(tapsOf<Tap>(tapSt), dlyl, len);
}

bool blockRefused(const Site& site, const FirTapState* tapSt, const FirDlyState* dlySt, const void* input,
                  const void* output, int32_t numIters) {
  const bool null = !tapSt || !dlySt || !input || !output;
  return refused(site, nullBuffer(null),
                 Fault{!null && (dlySt->isFilterMode != 1 || tapSt->isFilterMode != 1), "Not filter mode"},
                 Fault{numIters < 1, "Invalid array length"});
}

kernel::FirShape shapeOf(const FirTapState* tapSt) {
  const auto field = [](int32_t v) { return static_cast<size_t>(v); };
  if (!tapSt->isMultiRate) return {field(tapSt->len), 1, 0, 1, 0, false};
  return {field(tapSt->len),        field(tapSt->upFactor),  field(tapSt->upPhase),
          field(tapSt->downFactor), field(tapSt->downPhase), false};
}

template <class Tap, class Sample>
void filterBlock(const FirTapState* tapSt, FirDlyState* dlySt, const Sample* input, FirResult<Sample, Tap>* output,
                 int32_t numIters, Site site = LowLevel()) {
  if (blockRefused(site, tapSt, dlySt, input, output, numIters)) return;
  const kernel::FirShape shape = shapeOf(tapSt);
  const size_t periods = static_cast<size_t>(numIters);
  Sample* const dlyl = dlylOf<Sample>(dlySt);
  firBlock<Sample, Tap>(shape, tapsOf<Tap>(tapSt), {input, dlyl, 1}, output, periods);
  shiftIn(input, periods * shape.down, dlyl, static_cast<size_t>(dlySt->len));
}

// ---- int16

int16_t filter16(const FirTapState* tapSt, FirDlyState* dlySt, int16_t samp, int32_t scaleMode, int32_t* scalePtr,
                 Site site = LowLevel()) {
  if (refused(site, nullBuffer(!tapSt || !dlySt))) return 0;
  int16_t* const dlyl = dlylOf<int16_t>(dlySt);
  const size_t len = static_cast<size_t>(dlySt->len);
  shiftIn(samp, dlyl, len);
  const int32_t sum = firDot(tapsOf<int16_t>(tapSt), dlyl, len);
  // The other modes, saturation and the automatic factor among them, are not for this function.
  return (scaleMode & MOX_FixScale) != 0 ? scaledToInt16(sum, scaleMode, scalePtr) : static_cast<int16_t>(sum);
}

// n values in float32; null where there is no memory for them.
class FloatCopy {
 public:
  explicit FloatCopy(int64_t n) : values_(n <= INT32_MAX ? moxsMalloc(static_cast<int32_t>(n)) : nullptr) {}
  FloatCopy(const int16_t* src, int64_t n) : FloatCopy(n) {
    for (int64_t i = 0; values_ && i < n; ++i) values_[i] = src[i];
  }
  ~FloatCopy() { moxFree(values_); }
  FloatCopy(const FloatCopy&) = delete;
  FloatCopy& operator=(const FloatCopy&) = delete;
  float* get() const { return values_; }

 private:
  float* values_;
};

void filterBlock16(const FirTapState* tapSt, FirDlyState* dlySt, const int16_t* input, int16_t* output,
                   int32_t numIters, int32_t scaleMode, int32_t* scalePtr, Site site = LowLevel()) {
  if (blockRefused(site, tapSt, dlySt, input, output, numIters)) return;
  const kernel::FirShape shape = shapeOf(tapSt);
  const size_t periods = static_cast<size_t>(numIters);
  int16_t* const dlyl = dlylOf<int16_t>(dlySt);
  const int64_t samples = int64_t{numIters} * static_cast<int64_t>(shape.down);
  const int64_t results = int64_t{numIters} * static_cast<int64_t>(shape.up);
  // The last place of a delay line without a sample yet is not read, and need not hold a number.
  const FloatCopy in(input, samples), out(results), taps(tapsOf<int16_t>(tapSt), tapSt->len), history(dlyl, dlySt->len);
  if (!in.get() || !out.get() || !taps.get() || !history.get()) {
    report(site, MOX_StsNoMem, "Memory problem");
    return;
  }
  firBlock<float, float>(shape, taps.get(), {in.get(), history.get(), 1}, out.get(), periods);
  if (!scaledToInt16(out.get(), output, static_cast<int32_t>(results), scaleMode, scalePtr)) return;
  shiftIn(input, static_cast<size_t>(samples), dlyl, static_cast<size_t>(dlySt->len));
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxsFirlInit(float* taps, int32_t tapsLen, FirTapState* tapStPtr) { init(taps, tapsLen, tapStPtr); }
void moxcFirlInit(MoxC* taps, int32_t tapsLen, FirTapState* tapStPtr) { init(taps, tapsLen, tapStPtr); }
void moxdFirlInit(double* taps, int32_t tapsLen, FirTapState* tapStPtr) { init(taps, tapsLen, tapStPtr); }
void moxzFirlInit(MoxZ* taps, int32_t tapsLen, FirTapState* tapStPtr) { init(taps, tapsLen, tapStPtr); }
void moxwFirlInit(int16_t* taps, int32_t tapsLen, FirTapState* tapStPtr) { init(taps, tapsLen, tapStPtr); }

void moxsFirlInitMr(float* taps, int32_t tapsLen, int32_t upFactor, int32_t upPhase, int32_t downFactor,
                    int32_t downPhase, FirTapState* tapStPtr) {
  initMr(taps, tapsLen, upFactor, upPhase, downFactor, downPhase, tapStPtr);
}
void moxcFirlInitMr(MoxC* taps, int32_t tapsLen, int32_t upFactor, int32_t upPhase, int32_t downFactor,
                    int32_t downPhase, FirTapState* tapStPtr) {
  initMr(taps, tapsLen, upFactor, upPhase, downFactor, downPhase, tapStPtr);
}
void moxdFirlInitMr(double* taps, int32_t tapsLen, int32_t upFactor, int32_t upPhase, int32_t downFactor,
                    int32_t downPhase, FirTapState* tapStPtr) {
  initMr(taps, tapsLen, upFactor, upPhase, downFactor, downPhase, tapStPtr);
}
void moxzFirlInitMr(MoxZ* taps, int32_t tapsLen, int32_t upFactor, int32_t upPhase, int32_t downFactor,
                    int32_t downPhase, FirTapState* tapStPtr) {
  initMr(taps, tapsLen, upFactor, upPhase, downFactor, downPhase, tapStPtr);
}
void moxwFirlInitMr(int16_t* taps, int32_t tapsLen, int32_t upFactor, int32_t upPhase, int32_t downFactor,
                    int32_t downPhase, FirTapState* tapStPtr) {
  initMr(taps, tapsLen, upFactor, upPhase, downFactor, downPhase, tapStPtr);
}

void moxsFirlInitDlyl(const FirTapState* tapStPtr, float* dlyl, FirDlyState* dlyStPtr) {
  initDlyl(tapStPtr, dlyl, dlyStPtr);
}
void moxcFirlInitDlyl(const FirTapState* tapStPtr, MoxC* dlyl, FirDlyState* dlyStPtr) {
  initDlyl(tapStPtr, dlyl, dlyStPtr);
}
void moxdFirlInitDlyl(const FirTapState* tapStPtr, double* dlyl, FirDlyState* dlyStPtr) {
  initDlyl(tapStPtr, dlyl, dlyStPtr);
}
void moxzFirlInitDlyl(const FirTapState* tapStPtr, MoxZ* dlyl, FirDlyState* dlyStPtr) {
  initDlyl(tapStPtr, dlyl, dlyStPtr);
}
void moxwFirlInitDlyl(const FirTapState* tapStPtr, int16_t* dlyl, FirDlyState* dlyStPtr) {
  initDlyl(tapStPtr, dlyl, dlyStPtr);
}

void moxsFirlSetTaps(const float* taps, FirTapState* tapStPtr) { setTaps(taps, tapStPtr); }
void moxcFirlSetTaps(const MoxC* taps, FirTapState* tapStPtr) { setTaps(taps, tapStPtr); }
void moxdFirlSetTaps(const double* taps, FirTapState* tapStPtr) { setTaps(taps, tapStPtr); }
void moxzFirlSetTaps(const MoxZ* taps, FirTapState* tapStPtr) { setTaps(taps, tapStPtr); }
void moxwFirlSetTaps(const int16_t* taps, FirTapState* tapStPtr) { setTaps(taps, tapStPtr); }

void moxsFirlGetTaps(FirTapState* tapStPtr, float* taps) { getTaps(tapStPtr, taps); }
void moxcFirlGetTaps(FirTapState* tapStPtr, MoxC* taps) { getTaps(tapStPtr, taps); }
void moxdFirlGetTaps(FirTapState* tapStPtr, double* taps) { getTaps(tapStPtr, taps); }
void moxzFirlGetTaps(FirTapState* tapStPtr, MoxZ* taps) { getTaps(tapStPtr, taps); }
void moxwFirlGetTaps(FirTapState* tapStPtr, int16_t* taps) { getTaps(tapStPtr, taps); }

void moxsFirlSetDlyl(const FirTapState* tapStPtr, const float* dlyl, FirDlyState* dlyStPtr) {
  setDlyl(tapStPtr, dlyl, dlyStPtr);
}
void moxcFirlSetDlyl(const FirTapState* tapStPtr, const MoxC* dlyl, FirDlyState* dlyStPtr) {
  setDlyl(tapStPtr, dlyl, dlyStPtr);
}
void moxdFirlSetDlyl(const FirTapState* tapStPtr, const double* dlyl, FirDlyState* dlyStPtr) {
  setDlyl(tapStPtr, dlyl, dlyStPtr);
}
void moxzFirlSetDlyl(const FirTapState* tapStPtr, const MoxZ* dlyl, FirDlyState* dlyStPtr) {
  setDlyl(tapStPtr, dlyl, dlyStPtr);
}
void moxwFirlSetDlyl(const FirTapState* tapStPtr, const int16_t* dlyl, FirDlyState* dlyStPtr) {
  setDlyl(tapStPtr, dlyl, dlyStPtr);
}

void moxsFirlGetDlyl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, float* dlyl) {
  getDlyl(tapStPtr, dlyStPtr, dlyl);
}
void moxcFirlGetDlyl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, MoxC* dlyl) {
  getDlyl(tapStPtr, dlyStPtr, dlyl);
}
void moxdFirlGetDlyl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, double* dlyl) {
  getDlyl(tapStPtr, dlyStPtr, dlyl);
}
void moxzFirlGetDlyl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, MoxZ* dlyl) {
  getDlyl(tapStPtr, dlyStPtr, dlyl);
}
void moxwFirlGetDlyl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, int16_t* dlyl) {
  getDlyl(tapStPtr, dlyStPtr, dlyl);
}

float moxsFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, float samp) {
  return filter<float>(tapStPtr, dlyStPtr, samp);
}
MoxC moxcFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, MoxC samp) {
  return filter<MoxC>(tapStPtr, dlyStPtr, samp);
}
double moxdFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, double samp) {
  return filter<double>(tapStPtr, dlyStPtr, samp);
}
MoxZ moxzFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, MoxZ samp) {
  return filter<MoxZ>(tapStPtr, dlyStPtr, samp);
}
MoxC moxscFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, float samp) {
  return filter<MoxC>(tapStPtr, dlyStPtr, samp);
}
MoxC moxcsFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, MoxC samp) {
  return filter<float>(tapStPtr, dlyStPtr, samp);
}
MoxZ moxdzFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, double samp) {
  return filter<MoxZ>(tapStPtr, dlyStPtr, samp);
}
MoxZ moxzdFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, MoxZ samp) {
  return filter<double>(tapStPtr, dlyStPtr, samp);
}
int16_t moxwFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, int16_t samp, int32_t scaleMode,
                 int32_t* scalePtr) {
  return filter16(tapStPtr, dlyStPtr, samp, scaleMode, scalePtr);
}

void moxsbFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, const float* inSamps, float* outSamps,
               int32_t numIters) {
  filterBlock<float>(tapStPtr, dlyStPtr, inSamps, outSamps, numIters);
}
void moxcbFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, const MoxC* inSamps, MoxC* outSamps,
               int32_t numIters) {
  filterBlock<MoxC>(tapStPtr, dlyStPtr, inSamps, outSamps, numIters);
}
void moxdbFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, const double* inSamps, double* outSamps,
               int32_t numIters) {
  filterBlock<double>(tapStPtr, dlyStPtr, inSamps, outSamps, numIters);
}
void moxzbFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, const MoxZ* inSamps, MoxZ* outSamps,
               int32_t numIters) {
  filterBlock<MoxZ>(tapStPtr, dlyStPtr, inSamps, outSamps, numIters);
}
void moxscbFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, const float* inSamps, MoxC* outSamps,
                int32_t numIters) {
  filterBlock<MoxC>(tapStPtr, dlyStPtr, inSamps, outSamps, numIters);
}
void moxcsbFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, const MoxC* inSamps, MoxC* outSamps,
                int32_t numIters) {
  filterBlock<float>(tapStPtr, dlyStPtr, inSamps, outSamps, numIters);
}
void moxdzbFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, const double* inSamps, MoxZ* outSamps,
                int32_t numIters) {
  filterBlock<MoxZ>(tapStPtr, dlyStPtr, inSamps, outSamps, numIters);
}
void moxzdbFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, const MoxZ* inSamps, MoxZ* outSamps,
                int32_t numIters) {
  filterBlock<double>(tapStPtr, dlyStPtr, inSamps, outSamps, numIters);
}
void moxwbFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, const int16_t* inSamps, int16_t* outSamps,
               int32_t numIters, int32_t scaleMode, int32_t* scalePtr) {
  filterBlock16(tapStPtr, dlyStPtr, inSamps, outSamps, numIters, scaleMode, scalePtr);
}

}  // extern "C"
