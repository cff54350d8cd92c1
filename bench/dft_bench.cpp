// Single components (blocks), transforms of any length, and transforms of int16 samples. Against the loops that a user
// would write, compiled for this processor, and FFTW: for lengths that are no power of two it is what one takes
// instead; for int16 it runs between two conversions by Eigen.
#include <fftw3.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "bench/native.h"
#include "bench/plain_filters.h"
#include "bench/support.h"

namespace moxbench {
namespace {

template <class T>
std::string differs(const std::vector<double>& expected, const T* results, double bound) {
  for (size_t i = 0; i < expected.size(); ++i) {
    if (!(std::abs(static_cast<double>(results[i]) - expected[i]) <= bound)) return "wrong result " + std::to_string(i);
  }
  return "";
}

// ---- single components: samples in array 0, y in array 1

constexpr double kFreq = 0.0977;

// The sum itself, for a bound that knows of no recurrence: rounded steps wander by the square of their number at most.
template <class T>
std::string wrongComponent(int n, bool complex) {
  const T* const x = array<T>(0);
  const double angle = 6.283185307179586 * static_cast<double>(static_cast<T>(kFreq));
  double re = 0, im = 0;
  for (int k = 0; k < n; ++k) {
    const double c = std::cos(angle * (n - k)), s = std::sin(angle * (n - k));
    const double xr = complex ? x[2 * k] : x[k], xi = complex ? x[2 * k + 1] : 0;
    re += xr * c - xi * s;
    im += xr * s + xi * c;
  }
  return differs({re, im}, array<T>(1), std::numeric_limits<T>::epsilon() * std::pow(n, 2) / 4);
}

// Starts anew each time.
template <class State, class Init, class Block, class Sample>
void enterComponent(const char* name, int n, Init init, Block block, const Sample*) {
  using T = decltype(State::freq);
  for (const auto* const kernels : kernelSets()) {
    add(
        caseName("goertzel", name, n, kernels->name), kernels,
        [=] { fillNoise(array<T>(0), 2 * static_cast<size_t>(n)); },
        [=] {
          State state;
          init(static_cast<T>(kFreq), &state);
          const auto y = block(&state, reinterpret_cast<const Sample*>(array<T>(0)), n);
          array<T>(1)[0] = y.re;
          array<T>(1)[1] = y.im;
        },
        [=] { return wrongComponent<T>(n, sizeof(Sample) > sizeof(T)); });
  }
}
template <class T>
void enterPlainComponent(const char* name, int n) {
  add(
      caseName("goertzel", name, n, "loop"), nullptr, [=] { fillNoise(array<T>(0), 2 * static_cast<size_t>(n)); },
      [=] { plainGoertzel(static_cast<T>(kFreq), array<T>(0), static_cast<size_t>(n), array<T>(1)); },
      [=] { return wrongComponent<T>(n, false); });
}

// ---- any length: samples in array 0, results in array 1, roots in array 2

template <class T>
std::string wrongDft(int n) {
  const T* const x = array<T>(0);
  for (const int k : {0, 1, n / 3, n - 1}) {
    double re = 0, im = 0;
    for (int i = 0; i < n; ++i) {
      const double angle = -6.283185307179586 * static_cast<double>(static_cast<int64_t>(i) * k % n) / n,
                   c = std::cos(angle), s = std::sin(angle);
      const double xr = x[2 * i], xi = x[2 * i + 1];
      re += xr * c - xi * s;
      im += xr * s + xi * c;
    }
    const std::string fault = differs({re, im}, array<T>(1) + 2 * k, n * 4.0 * std::numeric_limits<T>::epsilon());
    if (!fault.empty()) return fault;
  }
  return "";
}

template <class T, class C>
void enterDft(const char* name, int n, void(MOX_CALL* dft)(const C*, C*, int32_t, int32_t)) {
  const auto fill = [=] {
    fillNoise(array<T>(0), 2 * static_cast<size_t>(n));
    for (int k = 0; k < n; ++k) {
      array<T>(2)[2 * k] = static_cast<T>(std::cos(6.283185307179586 * k / n));
      array<T>(2)[2 * k + 1] = static_cast<T>(-std::sin(6.283185307179586 * k / n));
    }
  };
  const auto wrong = [=] { return wrongDft<T>(n); };
  for (const auto* const kernels : kernelSets()) {
    add(
        caseName("dft", name, n, kernels->name), kernels, fill,
        [=] { dft(reinterpret_cast<const C*>(array<T>(0)), reinterpret_cast<C*>(array<T>(1)), n, MOX_Forw); }, wrong);
  }
  add(
      caseName("dft", name, n, "loop"), nullptr, fill,
      [=] { plainDft(array<T>(0), array<T>(2), array<T>(1), static_cast<size_t>(n)); }, wrong);
}

void enterFftwDft(int n) {
  static std::shared_ptr<std::remove_pointer_t<fftwf_plan>> plan;  // of the benchmark that runs
  add(
      caseName("dft", "c2c-f32", n, "fftw"), nullptr,
      [=] {
        plan.reset(fftwf_plan_dft_1d(n, reinterpret_cast<fftwf_complex*>(array<float>(0)),
                                     reinterpret_cast<fftwf_complex*>(array<float>(1)), FFTW_FORWARD, FFTW_MEASURE),
                   fftwf_destroy_plan);
        fillNoise(array<float>(0), 2 * static_cast<size_t>(n));
      },
      [] { fftwf_execute(plan.get()); }, [=] { return wrongDft<float>(n); });
}

// ---- int16: samples in array 0, results in array 1; the peer's floats in the upper half of both. Results have a
// factor of 2^-order, so that they fit.

int16_t* words(int which) { return reinterpret_cast<int16_t*>(array<float>(which)); }
float* floats(int which) { return array<float>(which) + kArrayBytes / sizeof(float) / 2; }

int shiftOf(int order) { return std::min(order, 15); }
void fillWords(size_t n) {
  fillNoise(floats(0), n);
  for (size_t i = 0; i < n; ++i) words(0)[i] = static_cast<int16_t>(floats(0)[i] * 32767);
}
std::string wrongWords(int order, bool complex) {
  const size_t n = size_t{1} << order;
  for (const size_t k : {size_t{0}, size_t{1}, n / 3}) {
    double re = 0, im = 0;
    for (size_t i = 0; i < n; ++i) {
      const double angle = -6.283185307179586 * static_cast<double>(i * k % n) / static_cast<double>(n);
      const double c = std::cos(angle), s = std::sin(angle);
      const double xr = words(0)[complex ? 2 * i : i], xi = complex ? words(0)[2 * i + 1] : 0;
      re += xr * c - xi * s;
      im += xr * s + xi * c;
    }
    const double scale = std::ldexp(1, -shiftOf(order));
    const std::string fault = differs({re * scale, im * scale}, words(1) + 2 * k, 1.01);
    if (!fault.empty()) return fault;
  }
  return "";
}

void enterInt16(int order) {
  const int n = 1 << order;
  for (const bool complex : {true, false}) {
    const char* const name = complex ? "c2c-w16" : "r2c-w16";
    const size_t reals = static_cast<size_t>(n) * (complex ? 2 : 1), results = complex ? reals : reals + 2;
    for (const auto* const kernels : kernelSets()) {
      add(
          caseName("fft16", name, n, kernels->name), kernels, [=] { fillWords(reals); },
          [=] {
            int32_t factor = shiftOf(order);
            if (complex) {
              moxvFftNip(reinterpret_cast<const MoxV*>(words(0)), reinterpret_cast<MoxV*>(words(1)), order, MOX_Forw,
                         MOX_FixScaleSat, &factor);
            } else {
              moxwRealFftNip(words(0), words(1), order, MOX_Forw, MOX_FixScaleSat, &factor);
            }
          },
          [=] { return wrongWords(order, complex); });
    }
    static std::shared_ptr<std::remove_pointer_t<fftwf_plan>> plan;
    add(
        caseName("fft16", name, n, "fftw"), nullptr,
        [=] {
          float* const in = floats(0);
          fftwf_complex* const out = reinterpret_cast<fftwf_complex*>(floats(1));
          plan.reset(complex
                         ? fftwf_plan_dft_1d(n, reinterpret_cast<fftwf_complex*>(in), out, FFTW_FORWARD, FFTW_MEASURE)
                         : fftwf_plan_dft_r2c_1d(n, in, out, FFTW_MEASURE),
                     fftwf_destroy_plan);
          fillWords(reals);
        },
        [=] {
          eigenFromInt16(words(0), 1, floats(0), static_cast<ptrdiff_t>(reals));
          fftwf_execute(plan.get());
          eigenToInt16(floats(1), std::ldexp(1.0f, -shiftOf(order)), words(1), static_cast<ptrdiff_t>(results));
        },
        [=] { return wrongWords(order, complex); });
  }
}

}  // namespace

void registerDft() {
  for (const int n : {205, 1024, 16384}) {
    enterComponent<MoxsGoertzState>("real-f32", n, moxsGoertzInit, moxsbGoertz, static_cast<const float*>(nullptr));
    enterPlainComponent<float>("real-f32", n);
    enterComponent<MoxsGoertzState>("complex-f32", n, moxcGoertzInit, moxcbGoertz, static_cast<const MoxC*>(nullptr));
    enterComponent<MoxdGoertzState>("real-f64", n, moxdGoertzInit, moxdbGoertz, static_cast<const double*>(nullptr));
    enterPlainComponent<double>("real-f64", n);
  }
  for (const int n : {60, 205, 1000}) {
    enterDft<float>("c2c-f32", n, moxcDft);
    enterFftwDft(n);
    enterDft<double>("c2c-f64", n, moxzDft);
  }
  for (const int order : {8, 10, 12, 16}) enterInt16(order);
}

}  // namespace moxbench
