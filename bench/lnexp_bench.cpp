// Logarithm and exponential, against SLEEF's (1.0 ulp) in the widest vectors, VOLK's and a loop over the C library's.
#include <volk/volk.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "bench/native.h"
#include "bench/support.h"

namespace moxbench {
namespace {

constexpr int32_t kSizes[] = {64, 1024, 16384, 1 << 20};

template <class T, T (*function)(T)>
void loop(const T* src, T* dst, int32_t n) {
  for (int32_t i = 0; i < n; ++i) dst[i] = function(src[i]);
}

template <class T>
struct Exp {
  using Real = T;
  static constexpr const char* name = sizeof(T) == 4 ? "exp-f32" : "exp-f64";
  static T argument(T noise) { return 20 * noise; }
  static long double exact(T x) { return std::exp(static_cast<long double>(x)); }
};
template <class T>
struct Ln {
  using Real = T;
  static constexpr const char* name = sizeof(T) == 4 ? "ln-f32" : "ln-f64";
  static T argument(T noise) { return 10 * std::fabs(noise) + std::numeric_limits<T>::min(); }
  static long double exact(T x) { return std::log(static_cast<long double>(x)); }
};

// Every result is within `units` in the last place.
template <class Function>
std::string wrong(int32_t n, double units) {
  using T = typename Function::Real;
  const T *const src = array<T>(0), *const dst = array<T>(1);
  for (int32_t i = 0; i < n; ++i) {
    const long double exact = Function::exact(src[i]);
    const T size = std::fabs(static_cast<T>(exact));
    const T unit = std::nextafter(size, std::numeric_limits<T>::infinity()) - size;
    if (!(std::fabs(dst[i] - exact) <= units * unit)) return "wrong at element " + std::to_string(i);
  }
  return "";
}

template <class Function, class Call>
void addFunction(const char* contender, int32_t n, const mox::kernel::Kernels* kernels, Call call, double units = 1) {
  using T = typename Function::Real;
  T *const src = array<T>(0), *const dst = array<T>(1);
  add(
      caseName("lnexp", Function::name, n, contender), kernels,
      [=] {
        fillNoise(src, static_cast<size_t>(n));
        std::transform(src, src + n, src, Function::argument);
      },
      [=] { call(src, dst, n); }, [=] { return wrong<Function>(n, units); });
}

template <class Function>
using SleefOf = void (*)(const typename Function::Real*, typename Function::Real*, ptrdiff_t);

template <class Function, class Ours, class Libm>
void addAll(Ours ours, SleefOf<Function> sleef, SleefOf<Function> sleefAvx2, Libm libm) {
  for (const int32_t n : kSizes) {
    for (const auto* const kernels : kernelSets()) addFunction<Function>(kernels->name, n, kernels, ours);
    addFunction<Function>("sleef", n, nullptr, sleef);
    if (hasAvx2()) addFunction<Function>("sleef-avx2", n, nullptr, sleefAvx2);
    addFunction<Function>("libm", n, nullptr, libm);
    if constexpr (std::is_same_v<Function, Exp<float>>) {
      addFunction<Function>(
          "volk", n, nullptr,
          [](const float* src, float* dst, int32_t count) { volk_32f_exp_32f(dst, src, static_cast<unsigned>(count)); },
          4);
    }
  }
}

}  // namespace

void registerLnExp() {
  addAll<Exp<float>>(moxsbExp2, sleefExp, avx2::sleefExp, loop<float, expf>);
  addAll<Ln<float>>(moxsbLn2, sleefLn, avx2::sleefLn, loop<float, logf>);
  addAll<Exp<double>>(moxdbExp2, sleefExp, avx2::sleefExp, loop<double, ::exp>);
  addAll<Ln<double>>(moxdbLn2, sleefLn, avx2::sleefLn, loop<double, ::log>);
}

}  // namespace moxbench
