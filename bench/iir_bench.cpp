// Cascades of second-order sections and direct forms on blocks of 4096 samples, against liquid-dsp (float32 sums) and
// plain float64 loops.
#include <liquid/liquid.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "bench/plain_filters.h"
#include "bench/support.h"

namespace moxbench {
namespace {

constexpr int32_t kSamples = 4096;
constexpr int32_t kSections[] = {1, 2, 4, 8};
constexpr int32_t kOrders[] = {4, 8, 16, 32};

// Band stops side by side, poles at 0.9 to 0.98: coefficients as Init wants them.
std::vector<float> cascade(int32_t sections) {
  std::vector<float> taps;
  for (int32_t k = 0; k < sections; ++k) {
    const double radius = 0.9 + 0.01 * k, angle = 0.2 + 0.35 * k;
    for (const double c : {0.9, -1.8 * std::cos(angle), 0.9, 1.0, -2 * radius * std::cos(angle), radius * radius}) {
      taps.push_back(static_cast<float>(c));
    }
  }
  return taps;
}

struct Case {
  explicit Case(int32_t n) : sections(n), given(cascade(n)), taps(given), delay(2 * size()), plain(2 * size()) {
    moxsIirlInitBq(0, taps.data(), n, &tapState);
    std::vector<float> b, a;
    for (size_t k = 0; k < size(); ++k) {
      b.insert(b.end(), &given[6 * k], &given[6 * k] + 3);
      a.insert(a.end(), &given[6 * k] + 3, &given[6 * k] + 6);
    }
    liquid = iirfilt_rrrf_create_sos(b.data(), a.data(), static_cast<unsigned>(n));
  }
  ~Case() { iirfilt_rrrf_destroy(liquid); }
  Case(const Case&) = delete;
  Case& operator=(const Case&) = delete;
  size_t size() const { return static_cast<size_t>(sections); }
  void reset() {
    moxsIirlInitDlyl(&tapState, delay.data(), &delayState);
    std::fill(plain.begin(), plain.end(), 0);
    iirfilt_rrrf_reset(liquid);
  }

  int32_t sections;
  std::vector<float> given, taps, delay;
  std::vector<double> plain;
  IirTapState tapState;
  IirDlyState delayState;
  iirfilt_rrrf liquid;
};

// Ours and the plain loop round once; liquid-dsp at every operation, which its poles amplify.
std::string wrong(const Case& c, bool roundsOnce) {
  const float *const in = array<float>(0), *const out = array<float>(1);
  std::vector<long double> d(2 * c.size());
  for (int32_t i = 0; i < kSamples; ++i) {
    long double v = in[i];
    for (size_t k = 0; k < c.size(); ++k) {
      const float* const t = &c.given[6 * k];
      const long double w = v - t[4] * d[2 * k] - t[5] * d[2 * k + 1];
      v = t[0] * w + t[1] * d[2 * k] + t[2] * d[2 * k + 1];
      d[2 * k + 1] = d[2 * k];
      d[2 * k] = w;
    }
    if (std::abs(out[i] - v) > (roundsOnce ? 1e-5L : 1e-3L)) return "wrong at sample " + std::to_string(i);
  }
  return "";
}

// A direct form of pole pairs at 0.5 side by side.
struct Direct {
  explicit Direct(int32_t n) : order(n), taps(2 * size() + 2), delay(size()), plain(size()) {
    std::vector<double> a = {1};
    for (int32_t k = 0; k < n / 2; ++k) {
      const double angle = 3.14159265358979 * (k + 0.5) / (n / 2);
      const double section[] = {1, -std::cos(angle), 0.25};
      std::vector<double> product(a.size() + 2);
      for (size_t i = 0; i < a.size(); ++i) {
        for (size_t j = 0; j < 3; ++j) product[i + j] += a[i] * section[j];
      }
      a = product;
    }
    for (size_t i = 0; i <= size(); ++i) {
      taps[i] = 1 / static_cast<float>(i + 2);
      taps[size() + 1 + i] = static_cast<float>(a[i]);
    }
    given = taps;
    const unsigned count = static_cast<unsigned>(n) + 1;
    liquid = iirfilt_rrrf_create(given.data(), count, given.data() + count, count);
    moxsIirlInit(0, taps.data(), n, &tapState);
  }
  ~Direct() { iirfilt_rrrf_destroy(liquid); }
  Direct(const Direct&) = delete;
  Direct& operator=(const Direct&) = delete;
  size_t size() const { return static_cast<size_t>(order); }
  void reset() {
    moxsIirlInitDlyl(&tapState, delay.data(), &delayState);
    std::fill(plain.begin(), plain.end(), 0);
    iirfilt_rrrf_reset(liquid);
  }
  std::string wrong(bool roundsOnce) const {
    const float *const in = array<float>(0), *const out = array<float>(1);
    std::vector<long double> y(kSamples);
    for (size_t n = 0; n < y.size(); ++n) {
      long double sum = 0;
      for (size_t i = 0; i <= size() && i <= n; ++i) {
        sum += static_cast<long double>(taps[i]) * in[n - i];
        if (i > 0) sum -= taps[size() + i] * y[n - i];
      }
      y[n] = sum;
      if (std::abs(out[n] - sum) > (roundsOnce ? 1e-6L : 1e-4L)) return "wrong at sample " + std::to_string(n);
    }
    return "";
  }

  int32_t order;
  std::vector<float> given, taps, delay;
  std::vector<double> plain;
  IirTapState tapState;
  IirDlyState delayState;
  iirfilt_rrrf liquid;
};

}  // namespace

void registerIir() {
  for (const int32_t n : kSections) {
    const auto c = std::make_shared<Case>(n);
    const auto enter = [&](const char* contender, const mox::kernel::Kernels* kernels, auto run, bool roundsOnce) {
      add(
          caseName("iir", "biquads-f32", n, contender), kernels,
          [=] {
            fillNoise(array<float>(0), kSamples);
            c->reset();
          },
          run, [=] { return wrong(*c, roundsOnce); });
    };
    for (const auto* const kernels : kernelSets()) {
      enter(
          kernels->name, kernels,
          [=] { moxsbIirl(&c->tapState, &c->delayState, array<float>(0), array<float>(1), kSamples); }, true);
    }
    enter(
        "liquid", nullptr,
        [=] {
          iirfilt_rrrf_execute_block(c->liquid, array<float>(0), static_cast<unsigned>(kSamples), array<float>(1));
        },
        false);
    enter(
        "plain-f64", nullptr,
        [=] { plainBiquads(c->taps.data(), c->size(), c->plain.data(), array<float>(0), array<float>(1), kSamples); },
        true);
  }
  for (const int32_t n : kOrders) {
    const auto c = std::make_shared<Direct>(n);
    const auto enter = [&](const char* contender, const mox::kernel::Kernels* kernels, auto run, bool roundsOnce) {
      add(
          caseName("iir", "direct-f32", n, contender), kernels,
          [=] {
            fillNoise(array<float>(0), kSamples);
            c->reset();
          },
          run, [=] { return c->wrong(roundsOnce); });
    };
    for (const auto* const kernels : kernelSets()) {
      enter(
          kernels->name, kernels,
          [=] { moxsbIirl(&c->tapState, &c->delayState, array<float>(0), array<float>(1), kSamples); }, true);
    }
    enter(
        "liquid", nullptr,
        [=] {
          iirfilt_rrrf_execute_block(c->liquid, array<float>(0), static_cast<unsigned>(kSamples), array<float>(1));
        },
        false);
    enter(
        "plain-f64", nullptr,
        [=] { plainDirect(c->taps.data(), c->size(), c->plain.data(), array<float>(0), array<float>(1), kSamples); },
        true);
  }
}

}  // namespace moxbench
