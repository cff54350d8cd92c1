// Adaptive filters that follow a desired signal over 4096 samples, against spandsp (float32 sums) and a plain loop with
// float64 sums.
#include <spandsp/telephony.h>

#include <spandsp/vector_float.h>

#include <cmath>
#include <memory>

#include "bench/plain_filters.h"
#include "bench/support.h"

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

// After 4096 samples the filter has found the echo.
std::string wrong() {
  for (int t = kSamples - 100; t < kSamples; ++t) {
    if (!(std::abs(out()[t] - desired()[t]) < 0.01f)) return "wrong at sample " + std::to_string(t);
  }
  return "";
}

struct Filter {
  explicit Filter(int32_t n)
      : size(static_cast<size_t>(n)), step(0.5f / static_cast<float>(n)), taps(size), line(size) {
    moxsLmsInit(0, nullptr, n, nullptr, step, 0, 0, &state);
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
    const auto enter = [n](const char* contender, const mox::kernel::Kernels* kernels, auto run) {
      const auto filter = std::make_shared<Filter>(n);
      add(
          caseName("lms", "desired-f32", n, contender), kernels, fill, [=] { run(*filter); }, wrong);
    };
    for (const auto* const kernels : kernelSets()) {
      enter(kernels->name, kernels, [](Filter& f) { moxsbLmsDes(&f.state, in(), desired(), out(), kSamples); });
    }
    enter("spandsp", nullptr, [](Filter& f) { f.spandsp(); });
    enter("plain", nullptr, [](Filter& f) {
      plainLms(f.taps.data(), f.line.data(), f.size, f.step, &f.error, in(), desired(), out(), kSamples);
    });
  }
}

}  // namespace moxbench
