#include "bench/eigen.h"

#include <Eigen/Core>
#include <complex>

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

}  // namespace moxbench
