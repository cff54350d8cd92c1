// Random numbers, float32 and float64, against the generators that a C or C++ program would take: GSL (Mersenne
// twister; ziggurat) and the standard library (Mersenne twister; polar method). `single` makes the values by calls for
// one.
#include <gsl/gsl_randist.h>
#include <gsl/gsl_rng.h>

#include <cmath>
#include <memory>
#include <random>

#include "bench/support.h"

namespace moxbench {
namespace {

constexpr int32_t kSizes[] = {64, 1024, 16384};

template <class T>
T* out() {
  return array<T>(0);
}

// Mean and mean square are within six standard deviations of what they should be.
template <class T>
std::string wrong(int32_t n, double square, double squareDeviation) {
  double sum = 0, squares = 0;
  for (int32_t i = 0; i < n; ++i) {
    sum += out<T>()[i];
    squares += double{out<T>()[i]} * out<T>()[i];
  }
  const double off = 6 / std::sqrt(n);
  return std::fabs(sum / n) <= off * std::sqrt(square) && std::fabs(squares / n - square) <= off * squareDeviation
             ? ""
             : "wrong distribution";
}

template <class T>
struct Uniform {  // between -1 and 1
  static constexpr const char* name = sizeof(T) == 4 ? "uniform-f32" : "uniform-f64";
  static constexpr const char* single = sizeof(T) == 4 ? "uniform-single-f32" : "uniform-single-f64";
  static std::string check(int32_t n) { return wrong<T>(n, 1.0 / 3, 0.3); }
  using State = std::conditional_t<sizeof(T) == 4, MoxsRandUniState, MoxdRandUniState>;
  static void init(MoxsRandUniState* state) { moxsRandUniInit(1, -1, 1, state); }
  static void init(MoxdRandUniState* state) { moxdRandUniInit(1, -1, 1, state); }
  static void block(MoxsRandUniState* state, float* dst, int32_t n) { moxsbRandUni(state, dst, n); }
  static void block(MoxdRandUniState* state, double* dst, int32_t n) { moxdbRandUni(state, dst, n); }
  static float one(MoxsRandUniState* state) { return moxsRandUni(state); }
  static double one(MoxdRandUniState* state) { return moxdRandUni(state); }
  static double gsl(const gsl_rng* rng) { return 2 * gsl_rng_uniform(rng) - 1; }
  using Standard = std::uniform_real_distribution<T>;
  static Standard standard() { return Standard(-1, 1); }
};
template <class T>
struct Gaussian {
  static constexpr const char* name = sizeof(T) == 4 ? "gaussian-f32" : "gaussian-f64";
  static constexpr const char* single = sizeof(T) == 4 ? "gaussian-single-f32" : "gaussian-single-f64";
  static std::string check(int32_t n) { return wrong<T>(n, 1, std::sqrt(2)); }
  using State = std::conditional_t<sizeof(T) == 4, MoxsRandGausState, MoxdRandGausState>;
  static void init(MoxsRandGausState* state) { moxsRandGausInit(1, 0, 1, state); }
  static void init(MoxdRandGausState* state) { moxdRandGausInit(1, 0, 1, state); }
  static void block(MoxsRandGausState* state, float* dst, int32_t n) { moxsbRandGaus(state, dst, n); }
  static void block(MoxdRandGausState* state, double* dst, int32_t n) { moxdbRandGaus(state, dst, n); }
  static float one(MoxsRandGausState* state) { return moxsRandGaus(state); }
  static double one(MoxdRandGausState* state) { return moxdRandGaus(state); }
  static double gsl(const gsl_rng* rng) { return gsl_ran_gaussian_ziggurat(rng, 1); }
  using Standard = std::normal_distribution<T>;
  static Standard standard() { return Standard(0, 1); }
};

template <class T, class Kind>
void addKind() {
  for (const int32_t n : kSizes) {
    const auto enter = [=](const char* name, const char* contender, const mox::kernel::Kernels* kernels, auto run) {
      add(
          caseName("random", name, n, contender), kernels, [] {}, run, [=] { return Kind::check(n); });
    };
    const auto state = std::make_shared<typename Kind::State>();
    Kind::init(state.get());
    for (const auto* const kernels : kernelSets()) {
      enter(Kind::name, kernels->name, kernels, [=] { Kind::block(state.get(), out<T>(), n); });
      enter(Kind::single, kernels->name, kernels, [=] {
        for (int32_t i = 0; i < n; ++i) out<T>()[i] = Kind::one(state.get());
      });
    }
    const std::shared_ptr<gsl_rng> rng(gsl_rng_alloc(gsl_rng_mt19937), gsl_rng_free);
    const auto twister = std::make_shared<std::mt19937>();
    for (const char* const name : {Kind::name, Kind::single}) {
      enter(name, "gsl", nullptr, [=] {
        for (int32_t i = 0; i < n; ++i) out<T>()[i] = static_cast<T>(Kind::gsl(rng.get()));
      });
      enter(name, "std", nullptr, [=, standard = Kind::standard()]() mutable {
        for (int32_t i = 0; i < n; ++i) out<T>()[i] = standard(*twister);
      });
    }
  }
}

}  // namespace

void registerRandom() {
  addKind<float, Uniform<float>>();
  addKind<double, Uniform<double>>();
  addKind<float, Gaussian<float>>();
  addKind<double, Gaussian<double>>();
}

}  // namespace moxbench
