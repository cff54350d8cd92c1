// Peers that are as fast as the flags that their users compile with: Eigen, and SLEEF in the widest vectors.
#pragma once
#include <complex>
#include <cstddef>
#include <cstdint>

namespace moxbench {

// dst = a op b, n elements
void eigenAdd(const float* a, const float* b, float* dst, ptrdiff_t n);
void eigenMpy(const float* a, const float* b, float* dst, ptrdiff_t n);
void eigenMpy(const double* a, const double* b, double* dst, ptrdiff_t n);
// (re, im) pairs
void eigenMpyComplex(const float* a, const float* b, float* dst, ptrdiff_t n);
void eigenMpyComplex(const double* a, const double* b, double* dst, ptrdiff_t n);

// Sums of a[i] b[i], no conjugation
float eigenDot(const float* a, const float* b, ptrdiff_t n);
double eigenDot(const double* a, const double* b, ptrdiff_t n);
std::complex<float> eigenDotComplex(const float* a, const float* b, ptrdiff_t n);
std::complex<double> eigenDotComplex(const double* a, const double* b, ptrdiff_t n);

void eigenSqrt(const float* src, float* dst, ptrdiff_t n);
void eigenSqrt(const double* src, double* dst, ptrdiff_t n);
float eigenMean(const float* src, ptrdiff_t n);
float eigenMeanPower(const float* src, ptrdiff_t n);
float eigenMax(const float* src, ptrdiff_t n);

// The nearest integer is not asked for: values are truncated.
void eigenToInt16(const float* src, float scale, int16_t* dst, ptrdiff_t n);
void eigenFromInt16(const int16_t* src, float scale, float* dst, ptrdiff_t n);
void eigenMagnitude(const float* src, float* dst, ptrdiff_t n);  // of (re, im) pairs

// atan2(im, re); mag (cos phase, sin phase) as pairs
void sleefPhase(const float* re, const float* im, float* dst, ptrdiff_t n);
void sleefToCartesian(const float* mag, const float* phase, float* dst, ptrdiff_t n);

void sleefExp(const float* src, float* dst, ptrdiff_t n);
void sleefExp(const double* src, double* dst, ptrdiff_t n);
void sleefLn(const float* src, float* dst, ptrdiff_t n);
void sleefLn(const double* src, double* dst, ptrdiff_t n);

}  // namespace moxbench
