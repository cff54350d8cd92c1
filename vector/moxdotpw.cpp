// Dot products of int16 vectors, real, complex and mixed: 32-bit sums that wrap, then one scaling step.
#include "frame/check.h"
#include "frame/undscale.h"
#include "kernel/kernels.h"

namespace mox {
namespace {

// The first check that fails reports, alone, each under a line of its own; the thread's status is not looked at.
bool unusable(const char* function, int32_t line, const void* srcA, const void* srcB, int32_t len) {
  constexpr const char* module = "moxdotpw";
  if (!srcA) return report({module, function, line}, MOX_StsBadArg, "Null buffer pointer"), true;
  if (!srcB) return report({module, function, line + 1}, MOX_StsBadArg, "Null buffer pointer"), true;
  if (len < 0) return report({module, function, line + 2}, MOX_StsBadArg, "Invalid value"), true;
  return false;
}

const kernel::Dot16& dot() { return kernel::active->dot16; }

// Both parts with one factor; (0, 0) when the scaling step refuses.
MoxV scaled(const int32_t (&sum)[2], int32_t scaleMode, int32_t* scalePtr) {
  MoxV result = {0, 0};
  scaledToInt16(sum, &result.re, 2, scaleMode, scalePtr);
  return result;
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

int16_t moxwDotProd(const int16_t* srcA, const int16_t* srcB, int32_t len, int32_t scaleMode, int32_t* scalePtr) {
  if (unusable("moxwDotProd", 10, srcA, srcB, len)) return 0;
  return scaledToInt16(dot().real(srcA, srcB, static_cast<size_t>(len)), scaleMode, scalePtr);
}

MoxV moxvDotProd(const MoxV* srcA, const MoxV* srcB, int32_t len, int32_t scaleMode, int32_t* scalePtr) {
  if (unusable("moxvDotProd", 20, srcA, srcB, len)) return {0, 0};
  int32_t sum[2];
  dot().complex(&srcA->re, &srcB->re, static_cast<size_t>(len), sum);
  return scaled(sum, scaleMode, scalePtr);
}

MoxV moxwvDotProd(const int16_t* srcA, const MoxV* srcB, int32_t len, int32_t scaleMode, int32_t* scalePtr) {
  if (unusable("moxwvDotProd", 30, srcA, srcB, len)) return {0, 0};
  int32_t sum[2];
  dot().realComplex(srcA, &srcB->re, static_cast<size_t>(len), sum);
  return scaled(sum, scaleMode, scalePtr);
}

MoxV moxvwDotProd(const MoxV* srcA, const int16_t* srcB, int32_t len, int32_t scaleMode, int32_t* scalePtr) {
  if (unusable("moxvwDotProd", 40, srcA, srcB, len)) return {0, 0};
  int32_t sum[2];
  dot().realComplex(srcB, &srcA->re, static_cast<size_t>(len), sum);
  return scaled(sum, scaleMode, scalePtr);
}

}  // extern "C"
