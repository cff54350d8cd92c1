// Cascades of second-order sections on blocks of 4096 samples, against liquid-dsp (float32 sums) and a plain float64
// loop.
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
}

}  // namespace moxbench
