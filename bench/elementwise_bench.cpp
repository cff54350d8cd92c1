// Roots, thresholds and statistics, against Eigen and VOLK. Our sums are exact to 100 bits (mean) or run in float64.
#include <volk/volk.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numeric>

#include "bench/native.h"
#include "bench/support.h"

namespace moxbench {
namespace {

constexpr int32_t kSizes[] = {64, 1024, 16384, 1 << 20};

// Statistics leave their value in dst[0].
struct SqrtFloat {
  using Real = float;
  static constexpr const char* name = "sqrt-f32";
  static void ours(const float* src, float* dst, int32_t n) { moxsbSqrt2(src, dst, n); }
  static void contract(const float* src, float* dst, int32_t n) { contractSqrt(src, dst, n); }
  static void eigen(const float* src, float* dst, int32_t n) { eigenSqrt(src, dst, n); }
  static void volk(const float* src, float* dst, int32_t n) { volk_32f_sqrt_32f(dst, src, static_cast<unsigned>(n)); }
};
struct SqrtDouble {
  using Real = double;
  static constexpr const char* name = "sqrt-f64";
  static void ours(const double* src, double* dst, int32_t n) { moxdbSqrt2(src, dst, n); }
  static void contract(const double* src, double* dst, int32_t n) { contractSqrt(src, dst, n); }
  static void eigen(const double* src, double* dst, int32_t n) { eigenSqrt(src, dst, n); }
};
template <class Case>
bool right(const Case&, const typename Case::Real* src, const typename Case::Real* dst, int32_t n) {
  using Real = typename Case::Real;
  return std::equal(src, src + n, dst, [](Real x, Real root) {
    return std::fabs(root - std::sqrt(x)) <=
           3 * std::numeric_limits<Real>::epsilon() * root;  // Eigen's rounds more than once
  });
}

// n/2 complex values of positive parts
struct SqrtComplex {
  using Real = float;
  static constexpr const char* name = "sqrt-complex-f32";
  static void ours(const float* src, float* dst, int32_t n) {
    moxcbSqrt2(reinterpret_cast<const MoxC*>(src), reinterpret_cast<MoxC*>(dst), n / 2);
  }
  static void eigen(const float* src, float* dst, int32_t n) { eigenSqrtComplex(src, dst, n / 2); }
};
bool right(const SqrtComplex&, const float* src, const float* dst, int32_t n) {
  for (int32_t i = 0; i < n; i += 2) {
    const std::complex<double> exact = std::sqrt(std::complex<double>(src[i], src[i + 1]));
    if (!(std::abs(std::complex<double>(dst[i], dst[i + 1]) - exact) <= 1e-6 * std::abs(exact))) return false;
  }
  return true;
}

constexpr float kThresh = 0.5f;
struct Raise {
  using Real = float;
  static constexpr const char* name = "thresh-f32";
  static void ours(const float* src, float* dst, int32_t n) { moxsbThresh2(src, dst, n, kThresh, MOX_LT); }
  static void eigen(const float* src, float* dst, int32_t n) { eigenRaise(src, dst, n, kThresh); }
};
bool right(const Raise&, const float* src, const float* dst, int32_t n) {
  return std::equal(src, src + n, dst, [](float x, float y) { return y == std::max(x, kThresh); });
}
struct Abs {
  using Real = float;
  static constexpr const char* name = "abs-f32";
  static void ours(const float* src, float* dst, int32_t n) { moxsbAbs2(src, dst, n); }
  static void eigen(const float* src, float* dst, int32_t n) { eigenAbs(src, dst, n); }
};
bool right(const Abs&, const float* src, const float* dst, int32_t n) { return std::equal(src, src + n, dst); }

template <class T>
struct Mean {
  using Real = T;
  static constexpr const char* name = sizeof(T) == 4 ? "mean-f32" : "mean-f64";
  static void ours(const float* src, float* dst, int32_t n) { *dst = moxsMean(src, n); }
  static void ours(const double* src, double* dst, int32_t n) { *dst = moxdMean(src, n); }
  static void eigen(const T* src, T* dst, int32_t n) { *dst = eigenMean(src, n); }
};
template <class T>
struct MeanPower {
  using Real = T;
  static constexpr const char* name = sizeof(T) == 4 ? "mean-power-f32" : "mean-power-f64";
  static void ours(const float* src, float* dst, int32_t n) { *dst = moxsStdDev(src, n); }
  static void ours(const double* src, double* dst, int32_t n) { *dst = moxdStdDev(src, n); }
  static void contract(const T* src, T* dst, int32_t n) { *dst = contractMeanPower(src, n); }
  static void eigen(const T* src, T* dst, int32_t n) { *dst = eigenMeanPower(src, n); }
};
// All elements are positive: n roundings at most.
template <class T>
bool nearSum(long double sum, T found, int32_t n) {
  return std::fabs(static_cast<long double>(found) * n - sum) <= n * sum * std::numeric_limits<T>::epsilon();
}
template <class T>
bool right(const Mean<T>&, const T* src, const T* dst, int32_t n) {
  return nearSum(std::accumulate(src, src + n, 0.0L), *dst, n);
}
template <class T>
bool right(const MeanPower<T>&, const T* src, const T* dst, int32_t n) {
  return nearSum(std::inner_product(src, src + n, src, 0.0L), *dst, n);
}

template <class T>
struct Max {
  using Real = T;
  static constexpr const char* name = sizeof(T) == 4 ? "max-f32" : sizeof(T) == 8 ? "max-f64" : "max-int16";
  static void ours(const float* src, float* dst, int32_t n) { *dst = moxsMax(src, n); }
  static void ours(const double* src, double* dst, int32_t n) { *dst = moxdMax(src, n); }
  static void ours(const int16_t* src, int16_t* dst, int32_t n) { *dst = moxwMax(src, n); }
  static void eigen(const T* src, T* dst, int32_t n) { *dst = eigenMax(src, n); }
};
template <class T>
bool right(const Max<T>&, const T* src, const T* dst, int32_t n) {
  return *dst == *std::max_element(src, src + n);
}

template <class Case, class Call>
void addCase(const char* contender, int32_t n, const mox::kernel::Kernels* kernels, Call call) {
  using Real = typename Case::Real;
  Real *const src = array<Real>(0), *const dst = array<Real>(1);
  add(
      caseName("elementwise", Case::name, n, contender), kernels,
      [=] {
        if constexpr (std::is_same_v<Real, int16_t>) {
          float* const noise = array<float>(2);
          fillNoise(noise, static_cast<size_t>(n));
          std::transform(noise, noise + n, src, [](float x) { return static_cast<int16_t>(32767 * x); });
        } else {
          fillNoise(src, static_cast<size_t>(n));
          std::transform(src, src + n, src, [](Real x) { return std::fabs(x); });
        }
      },
      [=] { call(src, dst, n); }, [=] { return right(Case(), src, dst, n) ? "" : "wrong result"; });
}

template <class Case>
void addAll() {
  for (const int32_t n : kSizes) {
    for (const auto* const kernels : kernelSets())
      addCase<Case>(kernels->name, n, kernels,
                    [](const auto* src, auto* dst, int32_t count) { Case::ours(src, dst, count); });
    if constexpr (requires { Case::contract; }) addCase<Case>("contract-loop", n, nullptr, Case::contract);
    addCase<Case>("eigen", n, nullptr, Case::eigen);
    if constexpr (requires { Case::volk; }) addCase<Case>("volk", n, nullptr, Case::volk);
  }
}

}  // namespace

void registerElementwise() {
  addAll<SqrtFloat>();
  addAll<SqrtDouble>();
  addAll<SqrtComplex>();
  addAll<Raise>();
  addAll<Abs>();
  addAll<Mean<float>>();
  addAll<Mean<double>>();
  addAll<MeanPower<float>>();
  addAll<MeanPower<double>>();
  addAll<Max<float>>();
  addAll<Max<double>>();
  addAll<Max<int16_t>>();
}

}  // namespace moxbench
