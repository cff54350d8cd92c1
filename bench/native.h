// Peers that are as fast as the flags that their users compile with: Eigen, SLEEF in the widest vectors, inline
// functions and plain loops.
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

// Plain loops under this library's contract, which Eigen and VOLK do not keep: float32 products and sums in float64 (16
// sums side by side), and roots of them, rounded once; roots rounded correctly. Complex values are (re, im) pairs.
float contractDot(const float* a, const float* b, ptrdiff_t n);
std::complex<float> contractDotComplex(const float* a, const float* b, ptrdiff_t n);
float contractMeanPower(const float* src, ptrdiff_t n);
double contractMeanPower(const double* src, ptrdiff_t n);
void contractMpyComplex(const float* a, const float* b, float* dst, ptrdiff_t n);
void contractMagnitude(const float* src, float* dst, ptrdiff_t n);
void contractSqrt(const float* src, float* dst, ptrdiff_t n);
void contractSqrt(const double* src, double* dst, ptrdiff_t n);

// int16: limited to 16 bits, or shifted down and limited
void loopAddSaturated(const int16_t* a, const int16_t* b, int16_t* dst, ptrdiff_t n);
void loopAddShifted(const int16_t* a, const int16_t* b, int16_t* dst, ptrdiff_t n, int shift);
void loopMpyShifted(const int16_t* a, const int16_t* b, int16_t* dst, ptrdiff_t n, int shift);
void loopMpyComplexShifted(const int16_t* a, const int16_t* b, int16_t* dst, ptrdiff_t n, int shift);

// To and from every factor-th place, n elements at the lower rate
void loopUpSample(ptrdiff_t factor, ptrdiff_t phase, const float* src, ptrdiff_t n, float* dst);
void loopDownSample(ptrdiff_t factor, ptrdiff_t phase, const float* src, ptrdiff_t n, float* dst);

// spandsp's inline functions on arrays
void spandspEncodeA(const int16_t* src, uint8_t* dst, ptrdiff_t n);
void spandspDecodeA(const uint8_t* src, int16_t* dst, ptrdiff_t n);
void spandspEncodeMu(const int16_t* src, uint8_t* dst, ptrdiff_t n);
void spandspDecodeMu(const uint8_t* src, int16_t* dst, ptrdiff_t n);

void eigenSqrt(const float* src, float* dst, ptrdiff_t n);
void eigenSqrt(const double* src, double* dst, ptrdiff_t n);
void eigenSqrtComplex(const float* src, float* dst, ptrdiff_t n);
void eigenAbs(const float* src, float* dst, ptrdiff_t n);
void eigenRaise(const float* src, float* dst, ptrdiff_t n, float thresh);
float eigenMean(const float* src, ptrdiff_t n);
double eigenMean(const double* src, ptrdiff_t n);
float eigenMeanPower(const float* src, ptrdiff_t n);
double eigenMeanPower(const double* src, ptrdiff_t n);
float eigenMax(const float* src, ptrdiff_t n);
double eigenMax(const double* src, ptrdiff_t n);
int16_t eigenMax(const int16_t* src, ptrdiff_t n);

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

// Loops between transforms, on `bins` (re, im) pairs: x = |x|^2 factor; conj(a) b factor; sum += conj(a[k]) (a[k] +
// (-1)^k next[k]); sum += |a|^2.
void nativePower(float* x, float factor, ptrdiff_t bins);
void nativePower(double* x, double factor, ptrdiff_t bins);
void nativeConjProduct(const float* a, const float* b, float factor, float* dst, ptrdiff_t bins);
void nativeConjProduct(const double* a, const double* b, double factor, double* dst, ptrdiff_t bins);
void nativeAddNeighbours(const float* a, const float* next, float* sum, ptrdiff_t bins);
void nativeAddNeighbours(const double* a, const double* next, double* sum, ptrdiff_t bins);
void nativeAddPower(const float* a, float* sum, ptrdiff_t bins);
void nativeAddPower(const double* a, double* sum, ptrdiff_t bins);

// vec[i] *= 0.5 - 0.5 cos(step i), dst[i] = cos(step i + phase): a cosine for every element
void sleefHann(float* vec, float step, ptrdiff_t n);
void sleefHann(double* vec, double step, ptrdiff_t n);
void sleefTone(float* dst, float step, float phase, ptrdiff_t n);
void sleefTone(double* dst, double step, double phase, ptrdiff_t n);

// The same in the vectors of AVX2.
namespace avx2 {
void sleefPhase(const float* re, const float* im, float* dst, ptrdiff_t n);
void sleefToCartesian(const float* mag, const float* phase, float* dst, ptrdiff_t n);
void sleefExp(const float* src, float* dst, ptrdiff_t n);
void sleefExp(const double* src, double* dst, ptrdiff_t n);
void sleefLn(const float* src, float* dst, ptrdiff_t n);
void sleefLn(const double* src, double* dst, ptrdiff_t n);
}  // namespace avx2

}  // namespace moxbench
