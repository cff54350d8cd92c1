// Convolution of int16, in float32.
#include "frame/check.h"
#include "frame/float_array.h"
#include "frame/undscale.h"

namespace mox {
namespace {

using Convolutions = Here<"moxconvw">;

void convolve(const int16_t* x, int32_t xLen, const int16_t* h, int32_t hLen, int16_t* y, int32_t scaleMode,
              int32_t* scalePtr, Site site = Convolutions()) {
  moxSetErrStatus(MOX_StsOk);
  if (rejected(site, BAD_IF(x==0), BAD_IF(xLen<=0), BAD_IF(h==0), BAD_IF(hLen<=0), BAD_IF(y==0))) return;
  const auto missing = [&](const FloatArray& copy, const char* text) {
    if (!copy.get()) report(site, MOX_StsNoMem, text);
    return !copy.get();
  };
  const FloatArray xCopy(x, static_cast<uint64_t>(xLen));
  if (missing(xCopy, "NULL pointer to float copy x")) return;
  const FloatArray hCopy(h, static_cast<uint64_t>(hLen));
  if (missing(hCopy, "NULL pointer to float copy h")) return;
  const int64_t yLen = int64_t{xLen} + hLen - 1;
  const FloatArray yCopy(static_cast<uint64_t>(yLen));
  if (missing(yCopy, "NULL pointer to float copy y")) return;
  moxsConv(xCopy.get(), xLen, hCopy.get(), hLen, yCopy.get());
  if (moxGetErrStatus() < 0) {
    report(site, MOX_StsBackTrace, nullptr);
    return;
  }
  // More results than an int32_t counts: a negative length, which the scaling refuses.
  scaledToInt16(yCopy.get(), y, static_cast<int32_t>(yLen), scaleMode, scalePtr);
}

}  // namespace
}  // namespace mox

extern "C" {

void moxwConv(const int16_t* x, int32_t xLen, const int16_t* h, int32_t hLen, int16_t* y, int32_t scaleMode,
              int32_t* scalePtr) {
  mox::convolve(x, xLen, h, hLen, y, scaleMode, scalePtr);
}

}  // extern "C"
