// The one way from wider results back to int16: scale modes and scale factors, for every int16 family.
#pragma once
#include <cstdint>

namespace mox {

// Whether mode and factor are good: clears the thread's status first, reports under `function` what is wrong. So a
// function that reaches its scaling step leaves a clean status behind.
bool scaleIsGood(const char* function, int32_t mode, const int32_t* scalePtr);

// Results are multiplied by 2^-factor: modes 0 (wrap) and 1 (saturate) with factor 0, 2 (wrap) and 3 (saturate) with
// *scalePtr, 0 when it is null, 4 with the least factor >= 0 that fits, written to *scalePtr. Floats truncate to 64-bit
// integers, then keep their low 16 bits or, in the saturating modes, are limited before; integers shift, rounding down.
// The vector forms return false after a report, and then have written nothing; the scalar form returns 0.
int16_t scaledToInt16(int32_t value, int32_t mode, int32_t* scalePtr);
bool scaledToInt16(const int32_t* src, int16_t* dst, int64_t n, int32_t mode, int32_t* scalePtr);
bool scaledToInt16(const float* src, int16_t* dst, int64_t n, int32_t mode, int32_t* scalePtr);
// Two arrays with one factor.
bool scaledToInt16(const float* srcA, const float* srcB, int16_t* dstA, int16_t* dstB, int64_t n, int32_t mode,
                   int32_t* scalePtr);

}  // namespace mox
