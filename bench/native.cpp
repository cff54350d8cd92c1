#include "bench/native.h"

#include <Eigen/Core>
#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
// spandsp's headers need the integer types, and each other in this order.
#include <spandsp/telephony.h>

#include <spandsp/bit_operations.h>

#include <spandsp/g711.h>

#include <immintrin.h>
#include <sleef.h>

namespace moxbench {

#include "bench/sleef.inl"

namespace {

template <class T>
auto in(const T* values, ptrdiff_t n) {
  return Eigen::Map<const Eigen::Array<T, Eigen::Dynamic, 1>>(values, n);
}
template <class T>
auto out(T* values, ptrdiff_t n) {
  return Eigen::Map<Eigen::Array<T, Eigen::Dynamic, 1>>(values, n);
}
template <class T>
auto complexes(T* values) {
  return reinterpret_cast<std::complex<T>*>(values);
}
template <class T>
auto complexes(const T* values) {
  return reinterpret_cast<const std::complex<T>*>(values);
}

}  // namespace

void eigenAdd(const float* a, const float* b, float* dst, ptrdiff_t n) { out(dst, n) = in(a, n) + in(b, n); }
void eigenMpy(const float* a, const float* b, float* dst, ptrdiff_t n) { out(dst, n) = in(a, n) * in(b, n); }
void eigenMpy(const double* a, const double* b, double* dst, ptrdiff_t n) { out(dst, n) = in(a, n) * in(b, n); }
void eigenMpyComplex(const float* a, const float* b, float* dst, ptrdiff_t n) {
  out(complexes(dst), n) = in(complexes(a), n) * in(complexes(b), n);
}
void eigenMpyComplex(const double* a, const double* b, double* dst, ptrdiff_t n) {
  out(complexes(dst), n) = in(complexes(a), n) * in(complexes(b), n);
}

float eigenDot(const float* a, const float* b, ptrdiff_t n) { return in(a, n).matrix().dot(in(b, n).matrix()); }
double eigenDot(const double* a, const double* b, ptrdiff_t n) { return in(a, n).matrix().dot(in(b, n).matrix()); }
std::complex<float> eigenDotComplex(const float* a, const float* b, ptrdiff_t n) {
  return (in(complexes(a), n) * in(complexes(b), n)).sum();
}
std::complex<double> eigenDotComplex(const double* a, const double* b, ptrdiff_t n) {
  return (in(complexes(a), n) * in(complexes(b), n)).sum();
}

namespace {

constexpr ptrdiff_t kSums = 16;

// The sum of term(i), i = 0 ... n-1, in kSums sums.
template <class Term>
double sumOf(ptrdiff_t n, Term term) {
  double sums[kSums] = {};
  ptrdiff_t i = 0;
  for (; i + kSums <= n; i += kSums) {
    for (ptrdiff_t k = 0; k < kSums; ++k) sums[k] += term(i + k);
  }
  for (ptrdiff_t k = 0; i + k < n; ++k) sums[k] += term(i + k);
  return Eigen::Map<const Eigen::Array<double, kSums, 1>>(sums).sum();
}

}  // namespace

float contractDot(const float* a, const float* b, ptrdiff_t n) {
  return static_cast<float>(sumOf(n, [=](ptrdiff_t i) { return double{a[i]} * b[i]; }));
}
std::complex<float> contractDotComplex(const float* a, const float* b, ptrdiff_t n) {
  double re[kSums] = {}, im[kSums] = {};
  for (ptrdiff_t i = 0; i < n; ++i) {
    const double ar = a[2 * i], ai = a[2 * i + 1], br = b[2 * i], bi = b[2 * i + 1];
    re[i % kSums] += ar * br - ai * bi;
    im[i % kSums] += ar * bi + ai * br;
  }
  using Sums = Eigen::Map<const Eigen::Array<double, kSums, 1>>;
  return {static_cast<float>(Sums(re).sum()), static_cast<float>(Sums(im).sum())};
}
float contractMeanPower(const float* src, ptrdiff_t n) {
  return static_cast<float>(sumOf(n, [=](ptrdiff_t i) { return double{src[i]} * src[i]; }) / static_cast<double>(n));
}
double contractMeanPower(const double* src, ptrdiff_t n) {
  return sumOf(n, [=](ptrdiff_t i) { return src[i] * src[i]; }) / static_cast<double>(n);
}
void contractMpyComplex(const float* a, const float* b, float* dst, ptrdiff_t n) {
  for (ptrdiff_t i = 0; i < 2 * n; i += 2) {
    const double ar = a[i], ai = a[i + 1], br = b[i], bi = b[i + 1];
    dst[i] = static_cast<float>(ar * br - ai * bi);
    dst[i + 1] = static_cast<float>(ar * bi + ai * br);
  }
}
void contractMagnitude(const float* src, float* dst, ptrdiff_t n) {
  for (ptrdiff_t i = 0; i < n; ++i) {
    const double re = src[2 * i], im = src[2 * i + 1];
    dst[i] = static_cast<float>(std::sqrt(re * re + im * im));
  }
}
void contractSqrt(const float* src, float* dst, ptrdiff_t n) {
  for (ptrdiff_t i = 0; i < n; ++i) dst[i] = std::sqrt(src[i]);
}
void contractSqrt(const double* src, double* dst, ptrdiff_t n) {
  for (ptrdiff_t i = 0; i < n; ++i) dst[i] = std::sqrt(src[i]);
}

namespace {
int16_t limited(int32_t v) { return static_cast<int16_t>(std::clamp(v, -32768, 32767)); }
}  // namespace

void loopAddSaturated(const int16_t* a, const int16_t* b, int16_t* dst, ptrdiff_t n) {
  for (ptrdiff_t i = 0; i < n; ++i) dst[i] = limited(a[i] + b[i]);
}
void loopAddShifted(const int16_t* a, const int16_t* b, int16_t* dst, ptrdiff_t n, int shift) {
  for (ptrdiff_t i = 0; i < n; ++i) dst[i] = limited((a[i] + b[i]) >> shift);
}
void loopMpyShifted(const int16_t* a, const int16_t* b, int16_t* dst, ptrdiff_t n, int shift) {
  for (ptrdiff_t i = 0; i < n; ++i) dst[i] = limited(a[i] * b[i] >> shift);
}
void loopMpyComplexShifted(const int16_t* a, const int16_t* b, int16_t* dst, ptrdiff_t n, int shift) {
  for (ptrdiff_t i = 0; i < 2 * n; i += 2) {
    dst[i] = limited((a[i] * b[i] - a[i + 1] * b[i + 1]) >> shift);
    dst[i + 1] = limited((a[i] * b[i + 1] + a[i + 1] * b[i]) >> shift);
  }
}

void loopUpSample(ptrdiff_t factor, ptrdiff_t phase, const float* src, ptrdiff_t n, float* dst) {
  std::memset(dst, 0, static_cast<size_t>(n * factor) * sizeof(float));
  for (ptrdiff_t i = 0; i < n; ++i) dst[phase + factor * i] = src[i];
}
void loopDownSample(ptrdiff_t factor, ptrdiff_t phase, const float* src, ptrdiff_t n, float* dst) {
  for (ptrdiff_t i = 0; i < n; ++i) dst[i] = src[phase + factor * i];
}

void spandspEncodeA(const int16_t* src, uint8_t* dst, ptrdiff_t n) {
  for (ptrdiff_t i = 0; i < n; ++i) dst[i] = linear_to_alaw(src[i]);
}
void spandspDecodeA(const uint8_t* src, int16_t* dst, ptrdiff_t n) {
  for (ptrdiff_t i = 0; i < n; ++i) dst[i] = alaw_to_linear(src[i]);
}
void spandspEncodeMu(const int16_t* src, uint8_t* dst, ptrdiff_t n) {
  for (ptrdiff_t i = 0; i < n; ++i) dst[i] = linear_to_ulaw(src[i]);
}
void spandspDecodeMu(const uint8_t* src, int16_t* dst, ptrdiff_t n) {
  for (ptrdiff_t i = 0; i < n; ++i) dst[i] = ulaw_to_linear(src[i]);
}

void eigenSqrt(const float* src, float* dst, ptrdiff_t n) { out(dst, n) = in(src, n).sqrt(); }
void eigenSqrt(const double* src, double* dst, ptrdiff_t n) { out(dst, n) = in(src, n).sqrt(); }
void eigenSqrtComplex(const float* src, float* dst, ptrdiff_t n) {
  out(complexes(dst), n) = in(complexes(src), n).sqrt();
}
void eigenAbs(const float* src, float* dst, ptrdiff_t n) { out(dst, n) = in(src, n).abs(); }
void eigenRaise(const float* src, float* dst, ptrdiff_t n, float thresh) { out(dst, n) = in(src, n).max(thresh); }
float eigenMean(const float* src, ptrdiff_t n) { return in(src, n).mean(); }
double eigenMean(const double* src, ptrdiff_t n) { return in(src, n).mean(); }
float eigenMeanPower(const float* src, ptrdiff_t n) { return in(src, n).square().mean(); }
double eigenMeanPower(const double* src, ptrdiff_t n) { return in(src, n).square().mean(); }
float eigenMax(const float* src, ptrdiff_t n) { return in(src, n).maxCoeff(); }
double eigenMax(const double* src, ptrdiff_t n) { return in(src, n).maxCoeff(); }
int16_t eigenMax(const int16_t* src, ptrdiff_t n) { return in(src, n).maxCoeff(); }

void eigenToInt16(const float* src, float scale, int16_t* dst, ptrdiff_t n) {
  out(dst, n) = (in(src, n) * scale).max(-32768.0f).min(32767.0f).cast<int16_t>();
}
void eigenFromInt16(const int16_t* src, float scale, float* dst, ptrdiff_t n) {
  out(dst, n) = in(src, n).cast<float>() * scale;
}
void eigenMagnitude(const float* src, float* dst, ptrdiff_t n) { out(dst, n) = in(complexes(src), n).abs(); }

namespace {

template <class T>
void power(T* x, T factor, ptrdiff_t bins) {
  for (ptrdiff_t k = 0; k < bins; ++k) {
    x[2 * k] = (x[2 * k] * x[2 * k] + x[2 * k + 1] * x[2 * k + 1]) * factor;
    x[2 * k + 1] = 0;
  }
}
template <class T>
void conjProduct(const T* a, const T* b, T factor, T* dst, ptrdiff_t bins) {
  for (ptrdiff_t k = 0; k < bins; ++k) {
    const T re = a[2 * k] * b[2 * k] + a[2 * k + 1] * b[2 * k + 1];
    const T im = a[2 * k] * b[2 * k + 1] - a[2 * k + 1] * b[2 * k];
    dst[2 * k] = re * factor;
    dst[2 * k + 1] = im * factor;
  }
}
template <class T>
void addNeighbours(const T* a, const T* next, T* sum, ptrdiff_t bins) {
  const auto addOne = [=](ptrdiff_t k, T sign) {
    const T re = a[2 * k] + sign * next[2 * k], im = a[2 * k + 1] + sign * next[2 * k + 1];
    sum[2 * k] += a[2 * k] * re + a[2 * k + 1] * im;
    sum[2 * k + 1] += a[2 * k] * im - a[2 * k + 1] * re;
  };
  ptrdiff_t k = 0;
  for (; k + 1 < bins; k += 2) {
    addOne(k, 1);
    addOne(k + 1, -1);
  }
  if (k < bins) addOne(k, 1);
}
template <class T>
void addPower(const T* a, T* sum, ptrdiff_t bins) {
  for (ptrdiff_t k = 0; k < bins; ++k) sum[2 * k] += a[2 * k] * a[2 * k] + a[2 * k + 1] * a[2 * k + 1];
}

}  // namespace

void nativePower(float* x, float factor, ptrdiff_t bins) { power(x, factor, bins); }
void nativePower(double* x, double factor, ptrdiff_t bins) { power(x, factor, bins); }
void nativeConjProduct(const float* a, const float* b, float factor, float* dst, ptrdiff_t bins) {
  conjProduct(a, b, factor, dst, bins);
}
void nativeConjProduct(const double* a, const double* b, double factor, double* dst, ptrdiff_t bins) {
  conjProduct(a, b, factor, dst, bins);
}
void nativeAddNeighbours(const float* a, const float* next, float* sum, ptrdiff_t bins) {
  addNeighbours(a, next, sum, bins);
}
void nativeAddNeighbours(const double* a, const double* next, double* sum, ptrdiff_t bins) {
  addNeighbours(a, next, sum, bins);
}
void nativeAddPower(const float* a, float* sum, ptrdiff_t bins) { addPower(a, sum, bins); }
void nativeAddPower(const double* a, double* sum, ptrdiff_t bins) { addPower(a, sum, bins); }

}  // namespace moxbench
