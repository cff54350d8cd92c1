// Adaptive filters that follow a desired signal over 4096 samples, against spandsp (float32 sums) and a plain loop with
// float64 sums.
#include <cmath>
#include <cstdint>
#include <memory>

#include "bench/plain_filters.h"
#include "bench/support.h"
// spandsp's headers need the types of the others, and each other in this order.
#include <spandsp/telephony.h>

#include <spandsp/complex.h>

#include <spandsp/complex_vector_float.h>
#include <spandsp/vector_float.h>

namespace moxbench {
namespace {

constexpr int32_t kSamples = 4096;
constexpr int32_t kTaps[] = {16, 64, 256};

// The signals: noise, and what an echo of eight paths makes of it.
constexpr float kEcho[8] = {0.5f, 0, -0.3f, 0.1f, 0, 0, 0.2f, -0.1f};
float* in() { return array<float>(0); }
float* desired() { return array<float>(1); }
float* out() { return array<float>(2); }

// The signals of samples of `parts` values.
void fill(int parts) {
  fillNoise(in(), static_cast<size_t>(kSamples * parts));
  for (int t = 0; t < kSamples * parts; ++t) {
    desired()[t] = 0;
    for (int i = 0; i < 8 && i * parts <= t; ++i) desired()[t] += kEcho[i] * in()[t - i * parts];
  }
}

// In the last quarter the filter has found the echo but for 5 % of its power. (spandsp's leakage of 1e-4 costs it 2 %
// with 256 taps, whose adaptation has not ended, either.)
std::string wrong(int parts) {
  double echo = 0, rest = 0;
  for (int t = kSamples * parts * 3 / 4; t < kSamples * parts; ++t) {
    const double off = double{out()[t]} - desired()[t];
    echo += double{desired()[t]} * desired()[t];
    rest += off * off;
  }
  return rest <= 0.05 * echo ? "" : "no echo found";
}

struct Filter {
  Filter(int32_t n, float leak)
      : size(static_cast<size_t>(n)), step(0.5f / static_cast<float>(n)), taps(size), line(size) {
    moxsLmsInit(0, nullptr, n, nullptr, step, leak, 0, &state);
  }
  ~Filter() { moxLmsFree(&state); }
  Filter(const Filter&) = delete;
  Filter& operator=(const Filter&) = delete;

  void spandsp() {
    const int n = static_cast<int>(size);
    for (int t = 0; t < kSamples; ++t) {
      line[static_cast<size_t>(at)] = in()[t];
      const float y = vec_circular_dot_prodf(line.data(), taps.data(), n, at);
      out()[t] = y;
      vec_circular_lmsf(line.data(), taps.data(), n, at, (desired()[t] - y) * step);
      at = at > 0 ? at - 1 : n - 1;
    }
  }

  size_t size;
  float step;
  std::vector<float> taps, line;
  double error = 0;
  int at = 0;
  LmsState state = {};
};

struct ComplexFilter {
  explicit ComplexFilter(int32_t n)
      : size(static_cast<size_t>(n)), step(0.25f / static_cast<float>(n)), taps(size), line(size) {
    moxcLmsInit(0, nullptr, n, nullptr, step, 0, 0, &state);
  }
  ~ComplexFilter() { moxLmsFree(&state); }
  ComplexFilter(const ComplexFilter&) = delete;
  ComplexFilter& operator=(const ComplexFilter&) = delete;

  void spandsp() {
    const int n = static_cast<int>(size);
    auto* const x = reinterpret_cast<complexf_t*>(line.data());
    auto* const h = reinterpret_cast<complexf_t*>(taps.data());
    for (int t = 0; t < kSamples; ++t) {
      line[static_cast<size_t>(at)] = {in()[2 * t], in()[2 * t + 1]};
      const complexf_t y = cvec_circular_dot_prodf(x, h, n, at);
      out()[2 * t] = y.re;
      out()[2 * t + 1] = y.im;
      const complexf_t gain = {(desired()[2 * t] - y.re) * step, (desired()[2 * t + 1] - y.im) * step};
      cvec_circular_lmsf(x, h, n, at, &gain);
      at = at > 0 ? at - 1 : n - 1;
    }
  }
  void ours() {
    const auto values = [](float* p) { return reinterpret_cast<MoxC*>(p); };
    moxcbLmsDes(&state, values(in()), values(desired()), values(out()), kSamples);
  }

  size_t size;
  float step;
  std::vector<MoxC> taps, line;
  int at = 0;
  LmsState state = {};
};

}  // namespace

void registerLms() {
  for (const int32_t n : kTaps) {
    for (const float leak : {0.0f, 1e-4f}) {
      const char* const name = leak > 0 ? "leaky-f32" : "desired-f32";
      const auto enter = [=](const char* contender, const mox::kernel::Kernels* kernels, auto run) {
        const auto filter = std::make_shared<Filter>(n, leak);
        add(
            caseName("lms", name, n, contender), kernels, [] { fill(1); }, [=] { run(*filter); },
            [] { return wrong(1); });
      };
      for (const auto* const kernels : kernelSets()) {
        enter(kernels->name, kernels, [](Filter& f) { moxsbLmsDes(&f.state, in(), desired(), out(), kSamples); });
      }
      enter("spandsp", nullptr, [](Filter& f) { f.spandsp(); });
      if (leak > 0) continue;
      enter("plain", nullptr, [](Filter& f) {
        plainLms(f.taps.data(), f.line.data(), f.size, f.step, &f.error, in(), desired(), out(), kSamples);
      });
    }
    const auto enterComplex = [=](const char* contender, const mox::kernel::Kernels* kernels, auto run) {
      const auto filter = std::make_shared<ComplexFilter>(n);
      add(
          caseName("lms", "complex-f32", n, contender), kernels, [] { fill(2); }, [=] { run(*filter); },
          [] { return wrong(2); });
    };
    for (const auto* const kernels : kernelSets()) {
      enterComplex(kernels->name, kernels, [](ComplexFilter& f) { f.ours(); });
    }
    enterComplex("spandsp", nullptr, [](ComplexFilter& f) { f.spandsp(); });
  }
}

}  // namespace moxbench
