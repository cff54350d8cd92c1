// Dot products of arrays in L1, L2, L3 and memory, against Eigen, OpenBLAS and VOLK. Ours sum in float64.
#include <cblas.h>
#include <volk/volk.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>

#include "bench/native.h"
#include "bench/support.h"

namespace moxbench {
namespace {

constexpr int32_t kSizes[] = {64, 1024, 16384, 1 << 20};

template <class T>
using Sum = std::complex<T>;

struct Float {
  using Real = float;
  static constexpr const char* name = "real-f32";
  static constexpr int parts = 1;
  static Sum<float> ours(const float* a, const float* b, int32_t n) { return moxsDotProd(a, b, n); }
  static Sum<float> contract(const float* a, const float* b, int32_t n) { return contractDot(a, b, n); }
  static Sum<float> eigen(const float* a, const float* b, int32_t n) { return eigenDot(a, b, n); }
  static Sum<float> openblas(const float* a, const float* b, int32_t n) { return cblas_sdot(n, a, 1, b, 1); }
  static Sum<float> volk(const float* a, const float* b, int32_t n) {
    float sum;
    volk_32f_x2_dot_prod_32f(&sum, a, b, static_cast<unsigned>(n));
    return sum;
  }
};

struct Double {
  using Real = double;
  static constexpr const char* name = "real-f64";
  static constexpr int parts = 1;
  static Sum<double> ours(const double* a, const double* b, int32_t n) { return moxdDotProd(a, b, n); }
  static Sum<double> eigen(const double* a, const double* b, int32_t n) { return eigenDot(a, b, n); }
  static Sum<double> openblas(const double* a, const double* b, int32_t n) { return cblas_ddot(n, a, 1, b, 1); }
};

struct ComplexFloat {
  using Real = float;
  static constexpr const char* name = "complex-f32";
  static constexpr int parts = 2;
  static Sum<float> ours(const float* a, const float* b, int32_t n) {
    const MoxC sum = moxcDotProd(reinterpret_cast<const MoxC*>(a), reinterpret_cast<const MoxC*>(b), n);
    return {sum.re, sum.im};
  }
  static Sum<float> contract(const float* a, const float* b, int32_t n) { return contractDotComplex(a, b, n); }
  static Sum<float> eigen(const float* a, const float* b, int32_t n) { return eigenDotComplex(a, b, n); }
  static Sum<float> openblas(const float* a, const float* b, int32_t n) {
    Sum<float> sum;
    cblas_cdotu_sub(n, a, 1, b, 1, &sum);
    return sum;
  }
  static Sum<float> volk(const float* a, const float* b, int32_t n) {
    lv_32fc_t sum;
    volk_32fc_x2_dot_prod_32fc(&sum, reinterpret_cast<const lv_32fc_t*>(a), reinterpret_cast<const lv_32fc_t*>(b),
                               static_cast<unsigned>(n));
    return sum;
  }
};

struct ComplexDouble {
  using Real = double;
  static constexpr const char* name = "complex-f64";
  static constexpr int parts = 2;
  static Sum<double> ours(const double* a, const double* b, int32_t n) {
    const MoxZ sum = moxzDotProd(reinterpret_cast<const MoxZ*>(a), reinterpret_cast<const MoxZ*>(b), n);
    return {sum.re, sum.im};
  }
  static Sum<double> eigen(const double* a, const double* b, int32_t n) { return eigenDotComplex(a, b, n); }
  static Sum<double> openblas(const double* a, const double* b, int32_t n) {
    Sum<double> sum;
    cblas_zdotu_sub(n, a, 1, b, 1, &sum);
    return sum;
  }
};

// A sum of n products in any order, products rounded as well, is within 2n u of the sum of their sizes; each part of a
// complex one holds 2n products. u is that of the peers' sums.
template <class Case>
std::string wrong(Sum<typename Case::Real> found, int32_t n) {
  using Real = typename Case::Real;
  const Real *const a = array<Real>(0), *const b = array<Real>(1);
  Sum<long double> exact = 0;
  long double sizes = 0;
  for (ptrdiff_t i = 0; i < ptrdiff_t{n} * Case::parts; i += Case::parts) {
    const Real imA = Case::parts == 2 ? a[i + 1] : Real{0}, imB = Case::parts == 2 ? b[i + 1] : Real{0};
    const Sum<long double> x(a[i], imA), y(b[i], imB);
    exact += x * y;
    sizes += std::abs(x) * std::abs(y);
  }
  const long double u = std::numeric_limits<Real>::epsilon() / 2;
  const long double bound = 2 * Case::parts * static_cast<long double>(n) * u * sizes;
  return std::abs(Sum<long double>(found.real(), found.imag()) - exact) <= bound ? "" : "wrong sum";
}

template <class Case, class Call>
void addCase(const char* contender, int32_t n, const mox::kernel::Kernels* kernels, Call call) {
  using Real = typename Case::Real;
  static Sum<Real> sum;
  Real *const a = array<Real>(0), *const b = array<Real>(1);
  add(
      caseName("dotprod", Case::name, n, contender), kernels,
      [=] {
        const size_t reals = static_cast<size_t>(n) * Case::parts;
        fillNoise(a, reals + 1);
        std::copy_n(a + 1, reals, b);
      },
      [=] { sum = call(a, b, n); }, [=] { return wrong<Case>(sum, n); });
}

template <class Case>
void addAll() {
  for (const int32_t n : kSizes) {
    for (const auto* const kernels : kernelSets()) addCase<Case>(kernels->name, n, kernels, Case::ours);
    if constexpr (requires { Case::contract; }) addCase<Case>("contract-loop", n, nullptr, Case::contract);
    addCase<Case>("eigen", n, nullptr, Case::eigen);
    addCase<Case>("openblas", n, nullptr, Case::openblas);
    if constexpr (requires { Case::volk; }) addCase<Case>("volk", n, nullptr, Case::volk);
  }
}

}  // namespace

void registerDotProd() {
  addAll<Float>();
  addAll<Double>();
  addAll<ComplexFloat>();
  addAll<ComplexDouble>();
}

}  // namespace moxbench
