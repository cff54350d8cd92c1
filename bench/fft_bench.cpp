// Transforms of 2^3 to 2^20 values in natural order, against FFTW with measured plans of the same kind.

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "bench/fftw.h"
#include "bench/support.h"

namespace moxbench {
namespace {

constexpr int kOrders[] = {3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20};

// Our interface by element type.
void complexTransform(const float* in, float* out, int order, int flags) {
  moxcFftNip(reinterpret_cast<const MoxC*>(in), reinterpret_cast<MoxC*>(out), order, flags);
}
void complexTransform(const double* in, double* out, int order, int flags) {
  moxzFftNip(reinterpret_cast<const MoxZ*>(in), reinterpret_cast<MoxZ*>(out), order, flags);
}
void complexTransform(float* samps, int order, int flags) { moxcFft(reinterpret_cast<MoxC*>(samps), order, flags); }
void complexTransform(double* samps, int order, int flags) { moxzFft(reinterpret_cast<MoxZ*>(samps), order, flags); }
void toSpectrum(const float* in, float* out, int order) { moxsRealFftNip(in, out, order, MOX_Forw); }
void toSpectrum(const double* in, double* out, int order) { moxdRealFftNip(in, out, order, MOX_Forw); }
void toSpectrum(float* samps, int order) { moxsRealFft(samps, order, MOX_Forw); }
void toSpectrum(double* samps, int order) { moxdRealFft(samps, order, MOX_Forw); }
void toSignal(const float* in, float* out, int order) { moxsCcsFftNip(in, out, order, MOX_Inv); }
void toSignal(const double* in, double* out, int order) { moxdCcsFftNip(in, out, order, MOX_Inv); }

enum class Kind { Forward, Inverse, ForwardInPlace, Spectrum, SpectrumInPlace, Signal };

constexpr const char* nameOf(Kind kind) {
  constexpr const char* names[] = {"c2c", "c2c-inverse", "c2c-inplace", "r2c", "r2c-inplace", "c2r"};
  return names[static_cast<int>(kind)];
}
constexpr bool isReal(Kind kind) { return kind >= Kind::Spectrum; }
constexpr bool isInPlace(Kind kind) { return kind == Kind::ForwardInPlace || kind == Kind::SpectrumInPlace; }

// Reals on the longer of both sides.
constexpr size_t realsOf(Kind kind, int order) {
  const size_t n = size_t{1} << order;
  return isReal(kind) ? n + 2 : 2 * n;
}
constexpr size_t outputsOf(Kind kind, int order) {
  return kind == Kind::Signal ? size_t{1} << order : realsOf(kind, order);
}

template <class T, Kind kind>
void ours(const T* in, T* out, int order) {
  if constexpr (kind == Kind::Forward) complexTransform(in, out, order, MOX_Forw);
  if constexpr (kind == Kind::Inverse) complexTransform(in, out, order, MOX_Inv);
  if constexpr (kind == Kind::ForwardInPlace) complexTransform(out, order, MOX_Forw);
  if constexpr (kind == Kind::Spectrum) toSpectrum(in, out, order);
  if constexpr (kind == Kind::SpectrumInPlace) toSpectrum(out, order);
  if constexpr (kind == Kind::Signal) toSignal(in, out, order);
}

template <class T>
class Plan {
 public:
  using Complex = typename Fftw<T>::Complex;
  Plan(Kind kind, int order, T* in, T* out, unsigned flags) : plan_(make(kind, order, in, out, flags)) {}
  ~Plan() { Fftw<T>::destroy(plan_); }
  Plan(const Plan&) = delete;
  Plan& operator=(const Plan&) = delete;
  void execute() const { Fftw<T>::execute(plan_); }

 private:
  static auto make(Kind kind, int order, T* in, T* out, unsigned flags) {
    const int n = 1 << order;
    if (isInPlace(kind)) in = out;
    switch (kind) {
      case Kind::Spectrum:
      case Kind::SpectrumInPlace:
        return Fftw<T>::toSpectrum(n, in, reinterpret_cast<Complex*>(out), flags);
      case Kind::Signal:
        return Fftw<T>::toSignal(n, reinterpret_cast<Complex*>(in), out, flags);
      default:
        return Fftw<T>::complex(n, reinterpret_cast<Complex*>(in), reinterpret_cast<Complex*>(out),
                                kind == Kind::Inverse ? FFTW_BACKWARD : FFTW_FORWARD, flags);
    }
  }
  typename Fftw<T>::Plan plan_;
};

template <class T>
using Wider = std::conditional_t<sizeof(T) == 4, double, long double>;

// One transform of one length, for all contenders: its input, what must come out (unscaled), and FFTW's plan.
template <class T>
class Case {
 public:
  Case(Kind kind, int order) : kind_(kind), order_(order) {}

  void fill() const {
    T* const in = isInPlace(kind_) ? array<T>(1) : array<T>(0);
    fillNoise(in, realsOf(kind_, order_));
    if (kind_ == Kind::Signal) in[1] = in[(size_t{1} << order_) + 1] = 0;  // spectra of real signals
  }

  const Plan<T>& plan() {
    if (!plan_) plan_ = std::make_unique<Plan<T>>(kind_, order_, array<T>(0), array<T>(1), FFTW_MEASURE);
    return *plan_;
  }

  // Whether array 1 holds the transform of what fill() put there, times scale.
  std::string wrong(double scale) {
    if (expected_.empty()) expect();
    const T* const result = array<T>(1);
    Wider<T> error = 0, norm = 0;
    for (size_t i = 0; i < outputsOf(kind_, order_); ++i) {
      const Wider<T> wanted = expected_[i] * static_cast<Wider<T>>(scale), off = result[i] - wanted;
      error += off * off;
      norm += wanted * wanted;
    }
    const double u = std::numeric_limits<T>::epsilon() / 2;
    // The float32 complex transforms of orders 3 to 10 use a rounded square root of one half, and the real ones of
    // twice the length are built on them.
    const bool roundedRoot = sizeof(T) == 4 && order_ - (isReal(kind_) ? 1 : 0) <= 10;
    const double limit = 0.85 * u * std::sqrt(order_) + (roundedRoot ? 3.2e-7 : 0);
    const double found = static_cast<double>(std::sqrt(error / norm));
    return found <= limit ? "" : "relative error " + std::to_string(found / u) + " u";
  }

 private:
  void expect() {
    const size_t reals = realsOf(kind_, order_);
    std::vector<Wider<T>> in(reals), out(reals);
    const Kind kind = kind_ == Kind::ForwardInPlace    ? Kind::Forward
                      : kind_ == Kind::SpectrumInPlace ? Kind::Spectrum
                                                       : kind_;
    const Plan<Wider<T>> plan(kind, order_, in.data(), out.data(), FFTW_ESTIMATE);
    std::vector<T> samples(reals);
    fillNoise(samples.data(), reals);
    if (kind == Kind::Signal) samples[1] = samples[reals - 1] = 0;
    std::copy(samples.begin(), samples.end(), in.begin());
    plan.execute();
    expected_ = out;
  }

  Kind kind_;
  int order_;
  std::unique_ptr<Plan<T>> plan_;
  std::vector<Wider<T>> expected_;
};

template <class T, Kind kind>
void addTransform(int order) {
  const auto shared = std::make_shared<Case<T>>(kind, order);
  const std::string kindAndType = std::string(nameOf(kind)) + (sizeof(T) == 4 ? "-f32" : "-f64");
  const auto name = [&](const char* contender) { return caseName("fft", kindAndType.c_str(), order, contender); };
  // What a transform makes of its own output neither grows nor vanishes when it is zero.
  const auto prepare = [order] {
    if (isInPlace(kind) || kind == Kind::Signal) {
      for (const int which : {0, 1}) std::fill_n(array<T>(which), realsOf(kind, order), T{0});
    }
  };

  for (const auto* const kernels : kernelSets()) {
    benchmark::RegisterBenchmark(name(kernels->name).c_str(), [=](benchmark::State& state) {
      use(kernels);
      shared->fill();
      T *const in = array<T>(0), *const out = array<T>(1);
      const bool scaled = kind == Kind::Inverse || kind == Kind::Signal;
      measure(
          state, [=] { ours<T, kind>(in, out, order); },
          [&] { return shared->wrong(scaled ? std::ldexp(1.0, -order) : 1.0); }, prepare);
    });
  }
  benchmark::RegisterBenchmark(name("fftw").c_str(), [=](benchmark::State& state) {
    const Plan<T>& plan = shared->plan();  // planning writes to the arrays
    shared->fill();
    measure(
        state, [&] { plan.execute(); }, [&] { return shared->wrong(1.0); }, prepare);
  });
}

template <class T>
void addAll() {
  for (const int order : kOrders) {
    addTransform<T, Kind::Forward>(order);
    addTransform<T, Kind::Inverse>(order);
    addTransform<T, Kind::ForwardInPlace>(order);
    addTransform<T, Kind::Spectrum>(order);
    addTransform<T, Kind::SpectrumInPlace>(order);
    addTransform<T, Kind::Signal>(order);
  }
}

}  // namespace

void registerFft() {
  addAll<float>();
  addAll<double>();
}

}  // namespace moxbench
