#include "frame/undscale.h"

#include <bit>

#include "frame/check.h"
#include "kernel/kernels.h"
#include "moxa1.h"

namespace mox {
namespace {

constexpr const char* kModule = "undscale";

bool bad(const char* function, int32_t line, const char* condition) {
  report({kModule, function, line}, MOX_StsBadArg, condition);
  return false;
}

// The first check that fails reports, alone.
bool bufferIsGood(const char* function, int32_t line, bool pointers, int64_t n) {
  if (!pointers) return bad(function, line, "Null buffer pointer");
  if (n < 1) return bad(function, line, "Invalid buffer length");
  return true;
}

bool saturates(int32_t mode) { return mode == MOX_NoScaleSat || mode == MOX_FixScaleSat; }

int32_t fixedFactor(int32_t mode, const int32_t* scalePtr) {
  const bool fixed = mode == MOX_FixScale || mode == MOX_FixScaleSat;
  return fixed && scalePtr ? *scalePtr : 0;
}

constexpr uint32_t kSign = 0x80000000, kLargest = 0x46FFFE00, kSmallest = 0x47000000;  // 32767.0, |-32768.0|
uint32_t magnitude(uint32_t floatBits) { return floatBits & ~kSign; }

// The factor of mode 4 for the element of largest magnitude: 0 from -32768.0 to 32767.0, else floor(log2 |x|) - 14.
int32_t autoFactor(uint32_t floatBits) {
  if (magnitude(floatBits) <= (floatBits & kSign ? kSmallest : kLargest)) return 0;
  return static_cast<int32_t>(magnitude(floatBits) >> 23) - 141;
}
int32_t autoFactor(int32_t value) {
  if (value >= -32768 && value <= 32767) return 0;
  const uint32_t size = value < 0 ? 0u - static_cast<uint32_t>(value) : static_cast<uint32_t>(value);
  return static_cast<int32_t>(std::bit_width(size)) - 1 - 14;
}

template <class T>
T largestElement(const T* src, int64_t n) {
  return src[kernel::active->scale.indexOfLargest(src, static_cast<size_t>(n))];
}
uint32_t largestBits(const float* src, int64_t n) { return std::bit_cast<uint32_t>(largestElement(src, n)); }

void reduce(const float* src, int16_t* dst, int64_t n, int32_t factor, bool saturate) {
  const auto& scale = kernel::active->scale;
  (saturate ? scale.floatsSaturated : scale.floatsWrapped)(src, dst, static_cast<size_t>(n), factor);
}
void reduce(const int32_t* src, int16_t* dst, int64_t n, int32_t factor, bool saturate) {
  const auto& scale = kernel::active->scale;
  (saturate ? scale.intsSaturated : scale.intsWrapped)(src, dst, static_cast<size_t>(n), factor);
}

}  // namespace

bool scaleIsGood(const char* function, int32_t mode, const int32_t* scalePtr) {
  moxSetErrStatus(MOX_StsOk);
  if (mode < MOX_NoScale || mode > MOX_AutoScale) {
    bad(function, 134, "Unknown scale mode");
  } else if (mode == MOX_AutoScale) {
    if (!scalePtr) bad(function, 123, "NULL==scalePtr");
  } else {
    const int32_t factor = fixedFactor(mode, scalePtr);
    if (factor > 15 || factor < -14) bad(function, 128, "(factor>15) || (factor<-14)");
  }
  return moxGetErrStatus() >= 0;
}

int16_t scaledToInt16(int32_t value, int32_t mode, int32_t* scalePtr) {
  if (!scaleIsGood("moxiUndScaling", mode, scalePtr)) return 0;
  int32_t factor = fixedFactor(mode, scalePtr);
  if (mode == MOX_AutoScale) *scalePtr = factor = autoFactor(value);
  int16_t result;
  reduce(&value, &result, 1, factor, saturates(mode));
  return result;
}

bool scaledToInt16(const int32_t* src, int16_t* dst, int64_t n, int32_t mode, int32_t* scalePtr) {
  constexpr const char* function = "moxibUndScaling";
  if (!bufferIsGood(function, 157, src && dst, n) || !scaleIsGood(function, mode, scalePtr)) return false;
  int32_t factor = fixedFactor(mode, scalePtr);
  if (mode == MOX_AutoScale) *scalePtr = factor = autoFactor(largestElement(src, n));
  reduce(src, dst, n, factor, saturates(mode));
  return true;
}

bool scaledToInt16(const float* src, int16_t* dst, int64_t n, int32_t mode, int32_t* scalePtr) {
  constexpr const char* function = "moxsbUndScaling";
  if (!bufferIsGood(function, 154, src && dst, n) || !scaleIsGood(function, mode, scalePtr)) return false;
  int32_t factor = fixedFactor(mode, scalePtr);
  if (mode == MOX_AutoScale) *scalePtr = factor = autoFactor(largestBits(src, n));
  reduce(src, dst, n, factor, saturates(mode));
  return true;
}

bool scaledToInt16(const float* srcA, const float* srcB, int16_t* dstA, int16_t* dstB, int64_t n, int32_t mode,
                   int32_t* scalePtr) {
  constexpr const char* function = "moxsbUndScaling2";
  if (!bufferIsGood(function, 161, srcA && srcB && dstA && dstB, n) || !scaleIsGood(function, mode, scalePtr)) {
    return false;
  }
  int32_t factor = fixedFactor(mode, scalePtr);
  if (mode == MOX_AutoScale) {
    // The signed values decide, so a large negative element can lose against a smaller positive one.
    const uint32_t a = largestBits(srcA, n), b = largestBits(srcB, n);
    *scalePtr = factor = autoFactor(std::bit_cast<float>(a) > std::bit_cast<float>(b) ? a : b);
  }
  reduce(srcA, dstA, n, factor, saturates(mode));
  reduce(srcB, dstB, n, factor, saturates(mode));
  return true;
}

}  // namespace mox
