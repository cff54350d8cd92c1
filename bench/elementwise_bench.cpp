// Square roots and statistics, against Eigen and VOLK. Our sums are exact to 100 bits (mean) or run in float64.
#include <volk/volk.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "bench/native.h"
#include "bench/support.h"

namespace moxbench {
namespace {

constexpr int32_t kSizes[] = {64, 1024, 16384};

// Statistics leave their value in dst[0].
struct SqrtFloat {
  using Real = float;
  static constexpr const char* name = "sqrt-f32";
  static void ours(const float* src, float* dst, int32_t n) { moxsbSqrt2(src, dst, n); }
  static void eigen(const float* src, float* dst, int32_t n) { eigenSqrt(src, dst, n); }
  static void volk(const float* src, float* dst, int32_t n) { volk_32f_sqrt_32f(dst, src, static_cast<unsigned>(n)); }
};
struct SqrtDouble {
  using Real = double;
  static constexpr const char* name = "sqrt-f64";
  static void ours(const double* src, double* dst, int32_t n) { moxdbSqrt2(src, dst, n); }
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

struct Mean {
  using Real = float;
  static constexpr const char* name = "mean-f32";
  static void ours(const float* src, float* dst, int32_t n) { *dst = moxsMean(src, n); }
  static void eigen(const float* src, float* dst, int32_t n) { *dst = eigenMean(src, n); }
};
struct MeanPower {
  using Real = float;
  static constexpr const char* name = "mean-power-f32";
  static void ours(const float* src, float* dst, int32_t n) { *dst = moxsStdDev(src, n); }
  static void eigen(const float* src, float* dst, int32_t n) { *dst = eigenMeanPower(src, n); }
};
// All elements are positive: n roundings at most.
bool nearSum(double sum, const float* found, int32_t n) {
  return std::fabs(double{*found} * n - sum) <= n * sum * std::numeric_limits<float>::epsilon();
}
bool right(const Mean&, const float* src, const float* dst, int32_t n) {
  double sum = 0;
  for (int32_t i = 0; i < n; ++i) sum += src[i];
  return nearSum(sum, dst, n);
}
bool right(const MeanPower&, const float* src, const float* dst, int32_t n) {
  double sum = 0;
  for (int32_t i = 0; i < n; ++i) sum += static_cast<double>(src[i]) * src[i];
  return nearSum(sum, dst, n);
}

struct Max {
  using Real = float;
  static constexpr const char* name = "max-f32";
  static void ours(const float* src, float* dst, int32_t n) { *dst = moxsMax(src, n); }
  static void eigen(const float* src, float* dst, int32_t n) { *dst = eigenMax(src, n); }
};
bool right(const Max&, const float* src, const float* dst, int32_t n) {
  return *dst == *std::max_element(src, src + n);
}

template <class Case, class Call>
void addCase(const char* contender, int32_t n, const mox::kernel::Kernels* kernels, Call call) {
  using Real = typename Case::Real;
  Real *const src = array<Real>(0), *const dst = array<Real>(1);
  add(
      caseName("elementwise", Case::name, n, contender), kernels,
      [=] {
        fillNoise(src, static_cast<size_t>(n));
        std::transform(src, src + n, src, [](Real x) { return std::fabs(x); });
      },
      [=] { call(src, dst, n); }, [=] { return right(Case(), src, dst, n) ? "" : "wrong result"; });
}

template <class Case>
void addAll() {
  for (const int32_t n : kSizes) {
    for (const auto* const kernels : kernelSets()) addCase<Case>(kernels->name, n, kernels, Case::ours);
    addCase<Case>("eigen", n, nullptr, Case::eigen);
    if constexpr (requires { Case::volk; }) addCase<Case>("volk", n, nullptr, Case::volk);
  }
}

}  // namespace

void registerElementwise() {
  addAll<SqrtFloat>();
  addAll<SqrtDouble>();
  addAll<Mean>();
  addAll<MeanPower>();
  addAll<Max>();
}

}  // namespace moxbench
