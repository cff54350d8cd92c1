// Conversion of float32 and complex float32 vectors.
#include "convert/conversion.h"

using namespace mox;

using Convert = Here<"moxcvrts">;

// Some functions report under another name than their own.
static constexpr Site under(const char* function, Site site) { return {site.module, function, site.line}; }

extern "C" {

void moxsbFloatToInt(const float* src, void* dst, int32_t len, int32_t intSize, int32_t flags) {
  floatToInt(src, dst, len, intSize, flags, Convert());
}
void moxsbIntToFloat(const void* src, float* dst, int32_t len, int32_t intSize, int32_t flags) {
  intToFloat(src, dst, len, intSize, flags, Convert());
}
void moxsbFloatToFix(const float* src, void* dst, int32_t len, int32_t fixSize, int32_t fractBits, int32_t flags) {
  floatToFix(src, dst, len, fixSize, fractBits, flags, Convert());
}
void moxsbFixToFloat(const void* src, float* dst, int32_t len, int32_t fixSize, int32_t fractBits, int32_t flags) {
  fixToFloat(src, dst, len, fixSize, fractBits, flags, Convert());
}

void moxsbFloatToS7Fix(const float* src, int8_t* dst, int32_t len, int32_t flags) {
  floatToFormat<7>(src, dst, len, flags, Convert());
}
void moxsbFloatToS15Fix(const float* src, int16_t* dst, int32_t len, int32_t flags) {
  floatToFormat<15>(src, dst, len, flags, Convert());
}
void moxsbFloatToS31Fix(const float* src, int32_t* dst, int32_t len, int32_t flags) {
  floatToFormat<31>(src, dst, len, flags, Convert());
}
void moxsbFloatToS1516Fix(const float* src, int32_t* dst, int32_t len, int32_t flags) {
  floatToFormat<16>(src, dst, len, flags, Convert());
}
void moxsbS7FixToFloat(const int8_t* src, float* dst, int32_t len) { formatToFloat<7>(src, dst, len, Convert()); }
void moxsbS15FixToFloat(const int16_t* src, float* dst, int32_t len) { formatToFloat<15>(src, dst, len, Convert()); }
void moxsbS31FixToFloat(const int32_t* src, float* dst, int32_t len) { formatToFloat<31>(src, dst, len, Convert()); }
void moxsbS1516FixToFloat(const int32_t* src, float* dst, int32_t len) { formatToFloat<16>(src, dst, len, Convert()); }

void moxcbReal(const MoxC* src, float* dst, int32_t len) { realPart(src, dst, len, Convert()); }
void moxcbImag(const MoxC* src, float* dst, int32_t len) { imaginaryPart(src, dst, len, Convert()); }
void moxcbCplxTo2Real(const MoxC* src, float* dstReal, float* dstImag, int32_t len) {
  split(src, dstReal, dstImag, len, Convert());
}
void moxcb2RealToCplx(const float* srcReal, const float* srcImag, MoxC* dst, int32_t len) {
  join(srcReal, srcImag, dst, len, Convert());
}

void moxcbCartToPolar(const MoxC* src, float* mag, float* phase, int32_t len) {
  cartToPolar(src, mag, phase, len, Convert());
}
void moxsbrCartToPolar(const float* srcReal, const float* srcImag, float* mag, float* phase, int32_t len) {
  cartToPolar(srcReal, srcImag, mag, phase, len, under("moxsbrPolarToCart", Convert()));
}
void moxcbPolarToCart(const float* mag, const float* phase, MoxC* dst, int32_t len) {
  polarToCart(mag, phase, dst, len, Convert());
}
void moxsbrPolarToCart(const float* mag, const float* phase, float* dstReal, float* dstImag, int32_t len) {
  polarToCart(mag, phase, dstReal, dstImag, len, Convert());
}

void moxcbMag(const MoxC* src, float* mag, int32_t len) { magnitudes(src, mag, len, Convert()); }
void moxsbrMag(const float* srcReal, const float* srcImag, float* mag, int32_t len) {
  magnitudes(srcReal, srcImag, mag, len, Convert());
}
void moxcbPhase(const MoxC* src, float* phase, int32_t len) { phases(src, phase, len, Convert()); }
void moxsbrPhase(const float* srcReal, const float* srcImag, float* phase, int32_t len) {
  phases(srcReal, srcImag, phase, len, Convert());
}

}  // extern "C"
