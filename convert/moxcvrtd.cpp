// Conversion of float64 and complex float64 vectors.
#include "convert/conversion.h"

using namespace mox;

using Convert = Here<"moxcvrtd">;

// Some functions report under another name than their own.
static constexpr Site under(const char* function, Site site) { return {site.module, function, site.line}; }

extern "C" {

void moxdbFloatToInt(const double* src, void* dst, int32_t len, int32_t intSize, int32_t flags) {
  floatToInt(src, dst, len, intSize, flags, Convert());
}
void moxdbIntToFloat(const void* src, double* dst, int32_t len, int32_t intSize, int32_t flags) {
  intToFloat(src, dst, len, intSize, flags, Convert());
}
void moxdbFloatToFix(const double* src, void* dst, int32_t len, int32_t fixSize, int32_t fractBits, int32_t flags) {
  floatToFix(src, dst, len, fixSize, fractBits, flags, Convert());
}
void moxdbFixToFloat(const void* src, double* dst, int32_t len, int32_t fixSize, int32_t fractBits, int32_t flags) {
  fixToFloat(src, dst, len, fixSize, fractBits, flags, Convert());
}

void moxdbFloatToS7Fix(const double* src, int8_t* dst, int32_t len, int32_t flags) {
  floatToFormat<7>(src, dst, len, flags, Convert());
}
void moxdbFloatToS15Fix(const double* src, int16_t* dst, int32_t len, int32_t flags) {
  floatToFormat<15>(src, dst, len, flags, under("moxdbFloaToS15Fix", Convert()));
}
void moxdbFloatToS31Fix(const double* src, int32_t* dst, int32_t len, int32_t flags) {
  floatToFormat<31>(src, dst, len, flags, under("moxdbFloaToS31Fix", Convert()));
}
void moxdbFloatToS1516Fix(const double* src, int32_t* dst, int32_t len, int32_t flags) {
  floatToFormat<16>(src, dst, len, flags, Convert());
}
void moxdbS7FixToFloat(const int8_t* src, double* dst, int32_t len) { formatToFloat<7>(src, dst, len, Convert()); }
void moxdbS15FixToFloat(const int16_t* src, double* dst, int32_t len) { formatToFloat<15>(src, dst, len, Convert()); }
void moxdbS31FixToFloat(const int32_t* src, double* dst, int32_t len) { formatToFloat<31>(src, dst, len, Convert()); }
void moxdbS1516FixToFloat(const int32_t* src, double* dst, int32_t len) { formatToFloat<16>(src, dst, len, Convert()); }

void moxzbReal(const MoxZ* src, double* dst, int32_t len) { realPart(src, dst, len, Convert()); }
void moxzbImag(const MoxZ* src, double* dst, int32_t len) { imaginaryPart(src, dst, len, Convert()); }
void moxzbCplxTo2Real(const MoxZ* src, double* dstReal, double* dstImag, int32_t len) {
  split(src, dstReal, dstImag, len, Convert());
}
void moxzb2RealToCplx(const double* srcReal, const double* srcImag, MoxZ* dst, int32_t len) {
  join(srcReal, srcImag, dst, len, Convert());
}

void moxzbCartToPolar(const MoxZ* src, double* mag, double* phase, int32_t len) {
  cartToPolar(src, mag, phase, len, Convert());
}
void moxdbrCartToPolar(const double* srcReal, const double* srcImag, double* mag, double* phase, int32_t len) {
  cartToPolar(srcReal, srcImag, mag, phase, len, under("moxdbrPolarToCart", Convert()));
}
void moxzbPolarToCart(const double* mag, const double* phase, MoxZ* dst, int32_t len) {
  polarToCart(mag, phase, dst, len, Convert());
}
void moxdbrPolarToCart(const double* mag, const double* phase, double* dstReal, double* dstImag, int32_t len) {
  polarToCart(mag, phase, dstReal, dstImag, len, Convert());
}

void moxzbMag(const MoxZ* src, double* mag, int32_t len) { magnitudes(src, mag, len, Convert()); }
void moxdbrMag(const double* srcReal, const double* srcImag, double* mag, int32_t len) {
  magnitudes(srcReal, srcImag, mag, len, Convert());
}
void moxzbPhase(const MoxZ* src, double* phase, int32_t len) { phases(src, phase, len, Convert()); }
void moxdbrPhase(const double* srcReal, const double* srcImag, double* phase, int32_t len) {
  phases(srcReal, srcImag, phase, len, Convert());
}

}  // extern "C"
