#include "bench/native.h"

#include <Eigen/Core>
#include <complex>
#include <cstring>

#include <immintrin.h>
#include <sleef.h>

namespace moxbench {
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

#if defined(__AVX512F__)
using Floats = __m512;
using Doubles = __m512d;
Floats exp(Floats x) { return Sleef_expf16_u10(x); }
Floats ln(Floats x) { return Sleef_logf16_u10(x); }
Doubles exp(Doubles x) { return Sleef_expd8_u10(x); }
Doubles ln(Doubles x) { return Sleef_logd8_u10(x); }
#elif defined(__AVX2__)
using Floats = __m256;
using Doubles = __m256d;
Floats exp(Floats x) { return Sleef_expf8_u10(x); }
Floats ln(Floats x) { return Sleef_logf8_u10(x); }
Doubles exp(Doubles x) { return Sleef_expd4_u10(x); }
Doubles ln(Doubles x) { return Sleef_logd4_u10(x); }
#else
using Floats = __m128;
using Doubles = __m128d;
Floats exp(Floats x) { return Sleef_expf4_u10(x); }
Floats ln(Floats x) { return Sleef_logf4_u10(x); }
Doubles exp(Doubles x) { return Sleef_expd2_u10(x); }
Doubles ln(Doubles x) { return Sleef_logd2_u10(x); }
#endif

// n is a multiple of the vector's elements.
template <class V, class T>
void map(const T* src, T* dst, ptrdiff_t n, V (*function)(V)) {
  for (ptrdiff_t i = 0; i < n; i += static_cast<ptrdiff_t>(sizeof(V) / sizeof(T))) {
    V v;
    std::memcpy(&v, src + i, sizeof v);
    v = function(v);
    std::memcpy(dst + i, &v, sizeof v);
  }
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

void eigenSqrt(const float* src, float* dst, ptrdiff_t n) { out(dst, n) = in(src, n).sqrt(); }
void eigenSqrt(const double* src, double* dst, ptrdiff_t n) { out(dst, n) = in(src, n).sqrt(); }
float eigenMean(const float* src, ptrdiff_t n) { return in(src, n).mean(); }
float eigenMeanPower(const float* src, ptrdiff_t n) { return in(src, n).square().mean(); }
float eigenMax(const float* src, ptrdiff_t n) { return in(src, n).maxCoeff(); }

void sleefExp(const float* src, float* dst, ptrdiff_t n) { map<Floats>(src, dst, n, exp); }
void sleefExp(const double* src, double* dst, ptrdiff_t n) { map<Doubles>(src, dst, n, exp); }
void sleefLn(const float* src, float* dst, ptrdiff_t n) { map<Floats>(src, dst, n, ln); }
void sleefLn(const double* src, double* dst, ptrdiff_t n) { map<Doubles>(src, dst, n, ln); }

}  // namespace moxbench
