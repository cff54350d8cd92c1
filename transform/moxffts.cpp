// Transforms of float32 signals.
#include "transform/complex_fft.h"
#include "transform/dft.h"
#include "transform/real_fft.h"
#include "transform/two_real_fft.h"

using namespace mox;

extern "C" {

void moxcFft(MoxC* samps, int32_t order, int32_t flags) { fft<float>(samps, order, flags); }
void moxcFftNip(const MoxC* inSamps, MoxC* outSamps, int32_t order, int32_t flags) {
  fftNip<float>(inSamps, outSamps, order, flags);
}
void moxcrFft(float* reSamps, float* imSamps, int32_t order, int32_t flags) {
  partsFft(reSamps, imSamps, order, flags);
}
void moxcrFftNip(const float* reInSamps, const float* imInSamps, float* reOutSamps, float* imOutSamps, int32_t order,
                 int32_t flags) {
  partsFftNip(reInSamps, imInSamps, reOutSamps, imOutSamps, order, flags);
}

void moxsRealFft(float* samps, int32_t order, int32_t flags) { realInPlace<SignalToCcs>(samps, order, flags); }
void moxsRealFftNip(const float* inSamps, float* outSamps, int32_t order, int32_t flags) {
  realNip<SignalToCcs>(inSamps, outSamps, order, flags);
}
void moxsCcsFft(float* samps, int32_t order, int32_t flags) { realInPlace<CcsToSignal>(samps, order, flags); }
void moxsCcsFftNip(const float* inSamps, float* outSamps, int32_t order, int32_t flags) {
  realNip<CcsToSignal>(inSamps, outSamps, order, flags);
}
void moxsRealFftl(float* samps, int32_t order, int32_t flags) { realInPlace<SignalToPacked>(samps, order, flags); }
void moxsRealFftlNip(const float* inSamps, float* outSamps, int32_t order, int32_t flags) {
  realNip<SignalToPacked>(inSamps, outSamps, order, flags);
}
void moxsCcsFftl(float* samps, int32_t order, int32_t flags) { realInPlace<PackedToSignal>(samps, order, flags); }
void moxsCcsFftlNip(const float* inSamps, float* outSamps, int32_t order, int32_t flags) {
  packedToSignalNip(inSamps, outSamps, order, flags);
}

void moxsReal2Fft(float* xSamps, float* ySamps, int32_t order, int32_t flags) {
  twoInPlace<TwoToSpectra>(xSamps, ySamps, order, flags);
}
void moxsReal2FftNip(const float* xInSamps, const float* yInSamps, float* xOutSamps, float* yOutSamps, int32_t order,
                     int32_t flags) {
  twoNip<TwoToSpectra>(xInSamps, yInSamps, xOutSamps, yOutSamps, order, flags);
}
void moxsCcs2Fft(float* xSamps, float* ySamps, int32_t order, int32_t flags) {
  twoInPlace<TwoToSignals>(xSamps, ySamps, order, flags);
}
void moxsCcs2FftNip(const float* xInSamps, const float* yInSamps, float* xOutSamps, float* yOutSamps, int32_t order,
                    int32_t flags) {
  twoNip<TwoToSignals>(xInSamps, yInSamps, xOutSamps, yOutSamps, order, flags);
}

void moxcDft(const MoxC* inSamps, MoxC* outSamps, int32_t length, int32_t flags) {
  dft<float>(inSamps, outSamps, length, flags);
}

void moxsMpyRCPack2(const float* src, float* dst, int32_t order) { mpyPackedInPlace(src, dst, Layout::pack, order); }
void moxsMpyRCPack3(const float* srcA, const float* srcB, float* dst, int32_t order) {
  mpyPackedTo(srcA, srcB, dst, Layout::pack, order);
}
void moxsMpyRCPerm2(const float* src, float* dst, int32_t order) { mpyPackedInPlace(src, dst, Layout::perm, order); }
void moxsMpyRCPerm3(const float* srcA, const float* srcB, float* dst, int32_t order) {
  mpyPackedTo(srcA, srcB, dst, Layout::perm, order);
}

}  // extern "C"
