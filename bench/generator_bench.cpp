// Windows, tones and triangles, against a cosine of SLEEF's (1.0 ulp) for every element in the widest vectors, a window
// kept in a table (VOLK), liquid-dsp's oscillator and plain loops.
#include <liquid/liquid.h>
#include <volk/volk.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "bench/native.h"
#include "bench/support.h"

namespace moxbench {
namespace {

constexpr int32_t kSizes[] = {64, 1024, 16384, 1 << 20};
constexpr double kTwoPi = 6.283185307179586;

template <class T>
constexpr const char* kSuffix = sizeof(T) == 4   ? "-f32"
                                : sizeof(T) == 8 ? "-f64"
                                                 : "-int16";

// ---- windows: the array is filled again before each, or it would fade away

template <class T, class Call>
void addWindow(const char* name, const char* contender, int32_t n, const mox::kernel::Kernels* kernels,
               double (*weight)(double turn), double slack, Call call) {
  T *const src = array<T>(0), *const vec = array<T>(1);
  const size_t size = static_cast<size_t>(n);
  add(
      caseName("window", (std::string(name) + kSuffix<T>).c_str(), n, contender), kernels,
      [=] {
        if constexpr (std::is_same_v<T, int16_t>) {
          for (int32_t i = 0; i < n; ++i) src[i] = static_cast<int16_t>(i * 77);
        } else {
          fillNoise(src, size);
        }
      },
      [=] {
        std::copy_n(src, size, vec);
        call(vec, n);
      },
      [=]() -> std::string {
        for (int32_t i = 0; i < n; ++i) {
          const double exact = static_cast<double>(src[i]) * weight(static_cast<double>(i) / (n - 1));
          if (!(std::fabs(static_cast<double>(vec[i]) - exact) <= slack)) {
            return "wrong at element " + std::to_string(i);
          }
        }
        return "";
      });
}

double hannWeight(double turn) { return 0.5 - 0.5 * std::cos(kTwoPi * turn); }
double blackmanWeight(double turn) { return 0.42 - 0.5 * std::cos(kTwoPi * turn) + 0.08 * std::cos(2 * kTwoPi * turn); }

void registerWindows(int32_t n) {
  for (const auto* const kernels : kernelSets()) {
    addWindow<float>("hann", kernels->name, n, kernels, hannWeight, 1e-6, moxsWinHann);
    addWindow<double>("hann", kernels->name, n, kernels, hannWeight, 1e-13, moxdWinHann);
    addWindow<int16_t>("hann", kernels->name, n, kernels, hannWeight, 1, moxwWinHann);
    addWindow<float>("blackman", kernels->name, n, kernels, blackmanWeight, 1e-6, moxsWinBlackmanStd);
  }
  // float32 angles, and so weights, are good to 2e-7 turns.
  addWindow<float>("hann", "sleef", n, nullptr, hannWeight, 1e-6,
                   [](float* vec, int32_t count) { sleefHann(vec, static_cast<float>(kTwoPi / (count - 1)), count); });
  addWindow<double>("hann", "sleef", n, nullptr, hannWeight, 1e-13,
                    [](double* vec, int32_t count) { sleefHann(vec, kTwoPi / (count - 1), count); });
  const auto table = std::make_shared<std::vector<float>>(static_cast<size_t>(n));
  for (int32_t i = 0; i < n; ++i) {
    (*table)[static_cast<size_t>(i)] = static_cast<float>(hannWeight(static_cast<double>(i) / (n - 1)));
  }
  addWindow<float>("hann", "volk-kept", n, nullptr, hannWeight, 1e-6, [=](float* vec, int32_t count) {
    volk_32f_x2_multiply_32f(vec, vec, table->data(), static_cast<unsigned>(count));
  });
}

// ---- tones

constexpr double kFrequency = 0x1.9p-7;  // exact in float32

template <class T, class Call>
void addTone(const char* contender, int32_t n, const mox::kernel::Kernels* kernels, double slack, Call call) {
  T* const dst = array<T>(0);
  add(
      caseName("tone", (std::string("tone") + kSuffix<T>).c_str(), n, contender), kernels, [] {}, [=] { call(dst, n); },
      [=]() -> std::string {
        for (int32_t i = 0; i < n; ++i) {
          const double exact = std::cos(kTwoPi * std::fmod(kFrequency * i, 1.0) + 1);
          if (!(std::fabs(static_cast<double>(dst[i]) - exact) <= slack)) {
            return "wrong at sample " + std::to_string(i);
          }
        }
        return "";
      });
}

// The recurrence, as a program would have it.
template <class T>
void plainTone(T* dst, int32_t n) {
  const double w = kTwoPi * kFrequency, twoCos = 2 * std::cos(w);
  double y1 = std::cos(1 - w), y2 = std::cos(1 - 2 * w);
  for (int32_t i = 0; i < n; ++i) {
    const double y = twoCos * y1 - y2;
    y2 = y1;
    y1 = y;
    dst[i] = static_cast<T>(y);
  }
}

void registerTones(int32_t n) {
  for (const auto* const kernels : kernelSets()) {
    MoxsToneState single;
    MoxdToneState twice;
    moxsToneInit(static_cast<float>(kFrequency), 1, 1, &single);
    moxdToneInit(kFrequency, 1, 1, &twice);
    addTone<float>(kernels->name, n, kernels, 1e-6, [=](float* dst, int32_t count) {
      MoxsToneState state = single;
      moxsbTone(&state, dst, count);
    });
    addTone<double>(kernels->name, n, kernels, 1e-12, [=](double* dst, int32_t count) {
      MoxdToneState state = twice;
      moxdbTone(&state, dst, count);
    });
  }
  // Its float32 angles are the coarser the farther they are from 0.
  addTone<float>("sleef", n, nullptr, 1e-6 * n, [](float* dst, int32_t count) {
    sleefTone(dst, static_cast<float>(kTwoPi * kFrequency), 1.0f, count);
  });
  addTone<double>("sleef", n, nullptr, 1e-15 * n,
                  [](double* dst, int32_t count) { sleefTone(dst, kTwoPi * kFrequency, 1.0, count); });
  addTone<float>("plain-f64", n, nullptr, 1e-6, plainTone<float>);
  addTone<double>("plain-f64", n, nullptr, 1e-9, plainTone<double>);
  // liquid's oscillator reads a table of its own: its samples are good to 1e-2 only.
  const std::shared_ptr<nco_crcf_s> nco(nco_crcf_create(LIQUID_NCO), nco_crcf_destroy);
  addTone<float>("liquid-nco", n, nullptr, 2e-2, [=](float* dst, int32_t count) {
    nco_crcf_set_phase(nco.get(), 1);
    nco_crcf_set_frequency(nco.get(), static_cast<float>(kTwoPi * kFrequency));
    for (int32_t i = 0; i < count; ++i) {
      dst[i] = nco_crcf_cos(nco.get());
      nco_crcf_step(nco.get());
    }
  });
}

// ---- triangles, of 1000 to -1000; each waits for the sum before

constexpr double kAsymmetry = 0.3;

// The two comparisons of every step, as a program would have them.
template <class T>
void plainTriangle(T* dst, int32_t n) {
  const double mag = 1000, down = kTwoPi / 2 + kAsymmetry, up = kTwoPi / 2 - kAsymmetry;
  const double downStep = -2 * kTwoPi * mag * kFrequency / down, upStep = 2 * kTwoPi * mag * kFrequency / up;
  double value = mag, step = downStep;
  for (int32_t i = 0; i < n; ++i) {
    dst[i] = static_cast<T>(value);
    value += step;
    if (value > mag) value = (value - mag) * (-up / down) + mag, step = downStep;
    if (value < -mag) value = (value + mag) * (-down / up) - mag, step = upStep;
  }
}

template <class T, class Run>
void addTriangle(const char* contender, int32_t n, const mox::kernel::Kernels* kernels, Run run) {
  T* const dst = array<T>(1);
  add(
      caseName("triangle", (std::string("triangle") + kSuffix<T>).c_str(), n, contender), kernels,
      [=] { std::fill_n(dst, n, T{}); }, [=] { run(dst, n); },
      [=]() -> std::string {
        const double down = (kTwoPi / 2 + kAsymmetry) / kTwoPi;  // of a period
        for (int32_t i = 0; i < n; ++i) {
          const double place = std::fmod(kFrequency * i, 1.0);
          const double exact = 1000 * (place < down ? 1 - 2 * place / down : 2 * (place - down) / (1 - down) - 1);
          if (!(std::fabs(static_cast<double>(dst[i]) - exact) <= (std::is_same_v<T, int16_t> ? 1.01 : 1e-3))) {
            return "wrong at sample " + std::to_string(i);
          }
        }
        return "";
      });
}

void registerTriangles(int32_t n) {
  for (const auto* const kernels : kernelSets()) {
    MoxsTrnglState single;
    MoxdTrnglState twice;
    moxsTrnglInit(static_cast<float>(kFrequency), 0, 1000, static_cast<float>(kAsymmetry), &single);
    moxdTrnglInit(kFrequency, 0, 1000, kAsymmetry, &twice);
    addTriangle<float>(kernels->name, n, kernels, [=](float* dst, int32_t count) {
      MoxsTrnglState state = single;
      moxsbTrngl(&state, dst, count);
    });
    addTriangle<double>(kernels->name, n, kernels, [=](double* dst, int32_t count) {
      MoxdTrnglState state = twice;
      moxdbTrngl(&state, dst, count);
    });
    addTriangle<int16_t>(kernels->name, n, kernels, [=](int16_t* dst, int32_t count) {
      MoxsTrnglState state = single;
      moxwbTrngl(&state, dst, count);
    });
  }
  addTriangle<float>("loop", n, nullptr, plainTriangle<float>);
  addTriangle<double>("loop", n, nullptr, plainTriangle<double>);
  addTriangle<int16_t>("loop", n, nullptr, plainTriangle<int16_t>);
}

}  // namespace

void registerGenerators() {
  for (const int32_t n : kSizes) registerWindows(n);
  for (const int32_t n : kSizes) registerTones(n);
  for (const int32_t n : {1024, 16384}) registerTriangles(n);
}

}  // namespace moxbench
