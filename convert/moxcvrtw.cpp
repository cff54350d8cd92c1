// Conversion of complex int16 vectors.
#include "convert/conversion.h"

using namespace mox;

using Convert = Here<"moxcvrtw">;

extern "C" {

void moxvbReal(const MoxV* src, int16_t* dst, int32_t len) { realPart(src, dst, len, Convert()); }
void moxvbImag(const MoxV* src, int16_t* dst, int32_t len) { imaginaryPart(src, dst, len, Convert()); }
void moxvbCplxTo2Real(const MoxV* src, int16_t* dstReal, int16_t* dstImag, int32_t len) {
  split(src, dstReal, dstImag, len, Convert());
}
void moxvb2RealToCplx(const int16_t* srcReal, const int16_t* srcImag, MoxV* dst, int32_t len) {
  join(srcReal, srcImag, dst, len, Convert());
}
void moxvbMag(const MoxV* src, int16_t* mag, int32_t len) { magnitudes(src, mag, len, Convert()); }
void moxwbrMag(const int16_t* srcReal, const int16_t* srcImag, int16_t* mag, int32_t len) {
  magnitudes(srcReal, srcImag, mag, len, Convert());
}
void moxvbPhase(const MoxV* src, int16_t* phase, int32_t len) { phases(src, phase, len, Convert()); }
void moxwbrPhase(const int16_t* srcReal, const int16_t* srcImag, int16_t* phase, int32_t len) {
  phases(srcReal, srcImag, phase, len, Convert());
}

}  // extern "C"
