// Adaptive filters that follow a desired signal over 4096 samples, against spandsp (float32 sums) and a plain loop with
// float64 sums.
#include <cmath>
#include <cstdint>
#include <memory>

#include "bench/plain_filters.h"
#include "bench/support.h"
// spandsp's headers need the types of the others, and each other in this order.
#include <spandsp/telephony.h>

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

void fill() {
  fillNoise(in(), kSamples);
  for (int t = 0; t < kSamples; ++t) {
    desired()[t] = 0;
    for (int i = 0; i < 8 && i <= t; ++i) desired()[t] += kEcho[i] * in()[t - i];
  }
}

// In the last quarter the filter has found the echo but for 5 % of its power. (spandsp's leakage of 1e-4 costs it 2 %
// with 256 taps, whose adaptation has not ended, either.)
std::string wrong() {
  double echo = 0, rest = 0;
  for (int t = kSamples * 3 / 4; t < kSamples; ++t) {
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

}  // namespace

void registerLms() {
  for (const int32_t n : kTaps) {
    for (const float leak : {0.0f, 1e-4f}) {
      const char* const name = leak > 0 ? "leaky-f32" : "desired-f32";
      const auto enter = [=](const char* contender, const mox::kernel::Kernels* kernels, auto run) {
        const auto filter = std::make_shared<Filter>(n, leak);
        add(
            caseName("lms", name, n, contender), kernels, fill, [=] { run(*filter); }, wrong);
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
  }
}

}  // namespace moxbench
