// Transforms of float64 signals.
#include "transform/complex_fft.h"
#include "transform/dft.h"
#include "transform/real_fft.h"
#include "transform/two_real_fft.h"

using namespace mox;

extern "C" {

void moxzFft(MoxZ* samps, int32_t order, int32_t flags) { fft<double>(samps, order, flags); }
void moxzFftNip(const MoxZ* inSamps, MoxZ* outSamps, int32_t order, int32_t flags) {
  fftNip<double>(inSamps, outSamps, order, flags);
}
void moxzrFft(double* reSamps, double* imSamps, int32_t order, int32_t flags) {
  partsFft(reSamps, imSamps, order, flags);
}
void moxzrFftNip(const double* reInSamps, const double* imInSamps, double* reOutSamps, double* imOutSamps,
                 int32_t order, int32_t flags) {
  partsFftNip(reInSamps, imInSamps, reOutSamps, imOutSamps, order, flags);
}

void moxdRealFft(double* samps, int32_t order, int32_t flags) { realInPlace<SignalToCcs>(samps, order, flags); }
void moxdRealFftNip(const double* inSamps, double* outSamps, int32_t order, int32_t flags) {
  realNip<SignalToCcs>(inSamps, outSamps, order, flags);
}
void moxdCcsFft(double* samps, int32_t order, int32_t flags) { realInPlace<CcsToSignal>(samps, order, flags); }
void moxdCcsFftNip(const double* inSamps, double* outSamps, int32_t order, int32_t flags) {
  realNip<CcsToSignal>(inSamps, outSamps, order, flags);
}
void moxdRealFftl(double* samps, int32_t order, int32_t flags) { realInPlace<SignalToPacked>(samps, order, flags); }
void moxdRealFftlNip(const double* inSamps, double* outSamps, int32_t order, int32_t flags) {
  realNip<SignalToPacked>(inSamps, outSamps, order, flags);
}
void moxdCcsFftl(double* samps, int32_t order, int32_t flags) { realInPlace<PackedToSignal>(samps, order, flags); }
void moxdCcsFftlNip(const double* inSamps, double* outSamps, int32_t order, int32_t flags) {
  packedToSignalNip(inSamps, outSamps, order, flags);
}

void moxdReal2Fft(double* xSamps, double* ySamps, int32_t order, int32_t flags) {
  twoInPlace<TwoToSpectra>(xSamps, ySamps, order, flags);
}
void moxdReal2FftNip(const double* xInSamps, const double* yInSamps, double* xOutSamps, double* yOutSamps,
                     int32_t order, int32_t flags) {
  twoNip<TwoToSpectra>(xInSamps, yInSamps, xOutSamps, yOutSamps, order, flags);
}
void moxdCcs2Fft(double* xSamps, double* ySamps, int32_t order, int32_t flags) {
  twoInPlace<TwoToSignals>(xSamps, ySamps, order, flags);
}
void moxdCcs2FftNip(const double* xInSamps, const double* yInSamps, double* xOutSamps, double* yOutSamps, int32_t order,
                    int32_t flags) {
  twoNip<TwoToSignals>(xInSamps, yInSamps, xOutSamps, yOutSamps, order, flags);
}

void moxzDft(const MoxZ* inSamps, MoxZ* outSamps, int32_t length, int32_t flags) {
  dft<double>(inSamps, outSamps, length, flags);
}

void moxdMpyRCPack2(const double* src, double* dst, int32_t order) { mpyPackedInPlace(src, dst, Layout::pack, order); }
void moxdMpyRCPack3(const double* srcA, const double* srcB, double* dst, int32_t order) {
  mpyPackedTo(srcA, srcB, dst, Layout::pack, order);
}
void moxdMpyRCPerm2(const double* src, double* dst, int32_t order) { mpyPackedInPlace(src, dst, Layout::perm, order); }
void moxdMpyRCPerm3(const double* srcA, const double* srcB, double* dst, int32_t order) {
  mpyPackedTo(srcA, srcB, dst, Layout::perm, order);
}

}  // extern "C"
