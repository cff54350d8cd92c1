// Natural logarithm and exponential of int16 vectors: through float32 and one scaling step.
#include <cstdlib>

#include "frame/check.h"
#include "frame/undscale.h"
#include "kernel/kernels.h"

namespace mox {
namespace {

using LnExp16 = Here<"moxlnexw">;

using Function = void (*)(const float* src, float* dst, size_t n);
Function ln() { return kernel::active->elementary32.ln; }
Function exp() { return kernel::active->elementary32.exp; }

void throughFloats(Function function, const int16_t* src, int16_t* dst, int32_t len, int32_t scaleMode,
                   int32_t* scalePtr, const Site& site) {
  const size_t n = static_cast<size_t>(len);
  auto* const values = static_cast<float*>(std::calloc(n, sizeof(float)));
  if (!values) {
    report(site, MOX_StsNoMem, "No memory for working array");
    return;
  }
  kernel::active->scale.toFloats(src, values, n);
  function(values, values, n);
  scaledToInt16(values, dst, len, scaleMode, scalePtr);
  std::free(values);
}

void apply1(Function function, int16_t* vec, int32_t len, int32_t scaleMode, int32_t* scalePtr, Site site = LnExp16()) {
  if (rejected(site, BAD_IF(len<=0), BAD_IF(vec==0))) return;
  throughFloats(function, vec, vec, len, scaleMode, scalePtr, site);
}

void apply2(Function function, const int16_t* src, int16_t* dst, int32_t len, int32_t scaleMode, int32_t* scalePtr,
            Site site = LnExp16()) {
  if (rejected(site, BAD_IF(len<=0), BAD_IF(src==0), BAD_IF(dst==0))) return;
  throughFloats(function, src, dst, len, scaleMode, scalePtr, site);
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxwbLn1(int16_t* vec, int32_t len, int32_t scaleMode, int32_t* scalePtr) {
  apply1(ln(), vec, len, scaleMode, scalePtr);
}
void moxwbLn2(const int16_t* src, int16_t* dst, int32_t len, int32_t scaleMode, int32_t* scalePtr) {
  apply2(ln(), src, dst, len, scaleMode, scalePtr);
}
void moxwbExp1(int16_t* vec, int32_t len, int32_t scaleMode, int32_t* scalePtr) {
  apply1(exp(), vec, len, scaleMode, scalePtr);
}
void moxwbExp2(const int16_t* src, int16_t* dst, int32_t len, int32_t scaleMode, int32_t* scalePtr) {
  apply2(exp(), src, dst, len, scaleMode, scalePtr);
}

}  // extern "C"
