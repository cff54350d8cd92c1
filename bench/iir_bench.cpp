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

// A filter of ours, the plain loop's and liquid-dsp's.
struct Filter {
  Filter(std::vector<float> coefficients, size_t n, size_t delays)
      : size(n), given(std::move(coefficients)), taps(given), delay(delays), plain(delays) {}
  ~Filter() { iirfilt_rrrf_destroy(liquid); }
  Filter(const Filter&) = delete;
  Filter& operator=(const Filter&) = delete;
  void reset() {
    moxsIirlInitDlyl(&tapState, delay.data(), &delayState);
    std::fill(plain.begin(), plain.end(), 0);
    iirfilt_rrrf_reset(liquid);
  }

  size_t size;  // sections, or order
  std::vector<float> given, taps, delay;
  std::vector<double> plain;
  IirTapState tapState;
  IirDlyState delayState;
  iirfilt_rrrf liquid = nullptr;
};

struct Cascade : Filter {
  static constexpr const char* kName = "biquads-f32";
  static constexpr auto kPlain = plainBiquads;
  explicit Cascade(int32_t n) : Filter(cascade(n), static_cast<size_t>(n), 2 * static_cast<size_t>(n)) {
    moxsIirlInitBq(0, taps.data(), n, &tapState);
    std::vector<float> b, a;
    for (size_t k = 0; k < size; ++k) {
      b.insert(b.end(), &given[6 * k], &given[6 * k] + 3);
      a.insert(a.end(), &given[6 * k] + 3, &given[6 * k] + 6);
    }
    liquid = iirfilt_rrrf_create_sos(b.data(), a.data(), static_cast<unsigned>(n));
  }
};

// Ours and the plain loop round once; liquid-dsp at every operation, which its poles amplify.
std::string wrong(const Cascade& c, bool roundsOnce) {
  const float *const in = array<float>(0), *const out = array<float>(1);
  std::vector<long double> d(2 * c.size);
  for (int32_t i = 0; i < kSamples; ++i) {
    long double v = in[i];
    for (size_t k = 0; k < c.size; ++k) {
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

// Pole pairs at 0.5 side by side: coefficients as Init wants them.
std::vector<float> direct(int32_t order) {
  std::vector<double> a = {1};
  for (int32_t k = 0; k < order / 2; ++k) {
    const double angle = 3.14159265358979 * (k + 0.5) / (order / 2);
    const double section[] = {1, -std::cos(angle), 0.25};
    std::vector<double> product(a.size() + 2);
    for (size_t i = 0; i < a.size(); ++i) {
      for (size_t j = 0; j < 3; ++j) product[i + j] += a[i] * section[j];
    }
    a = product;
  }
  std::vector<float> taps;
  for (int32_t i = 0; i <= order; ++i) taps.push_back(1 / static_cast<float>(i + 2));
  for (const double c : a) taps.push_back(static_cast<float>(c));
  return taps;
}

struct Direct : Filter {
  static constexpr const char* kName = "direct-f32";
  static constexpr auto kPlain = plainDirect;
  explicit Direct(int32_t n) : Filter(direct(n), static_cast<size_t>(n), static_cast<size_t>(n)) {
    const unsigned count = static_cast<unsigned>(n) + 1;
    liquid = iirfilt_rrrf_create(given.data(), count, given.data() + count, count);
    moxsIirlInit(0, taps.data(), n, &tapState);
  }
};

std::string wrong(const Direct& c, bool roundsOnce) {
  const float *const in = array<float>(0), *const out = array<float>(1);
  std::vector<long double> y(kSamples);
  for (size_t n = 0; n < y.size(); ++n) {
    long double sum = 0;
    for (size_t i = 0; i <= c.size && i <= n; ++i) {
      sum += static_cast<long double>(c.taps[i]) * in[n - i];
      if (i > 0) sum -= c.taps[c.size + i] * y[n - i];
    }
    y[n] = sum;
    if (std::abs(out[n] - sum) > (roundsOnce ? 1e-6L : 1e-4L)) return "wrong at sample " + std::to_string(n);
  }
  return "";
}

template <class Form>
void registerForm(int32_t n) {
  const auto c = std::make_shared<Form>(n);
  const auto enter = [&](const char* contender, const mox::kernel::Kernels* kernels, auto run, bool roundsOnce) {
    add(
        caseName("iir", Form::kName, n, contender), kernels,
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
      [=] { iirfilt_rrrf_execute_block(c->liquid, array<float>(0), static_cast<unsigned>(kSamples), array<float>(1)); },
      false);
  enter(
      "plain-f64", nullptr,
      [=] { Form::kPlain(c->taps.data(), c->size, c->plain.data(), array<float>(0), array<float>(1), kSamples); },
      true);
}

}  // namespace

void registerIir() {
  for (const int32_t n : kSections) registerForm<Cascade>(n);
  for (const int32_t n : kOrders) registerForm<Direct>(n);
}

}  // namespace moxbench
