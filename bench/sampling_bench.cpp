// Up- and down-sampling of float32, against a loop (compiled for this processor), `copy`, a memcpy of as many bytes as
// are read and written in all, and, as more are written than read upwards, `fill-copy`, a memset and a memcpy of as
// many of each. Sizes are those of the array at the higher rate.
#include <cstring>

#include "bench/native.h"
#include "bench/support.h"

namespace moxbench {
namespace {

constexpr int32_t kSizes[] = {1024, 16384, 1 << 20};
constexpr int32_t kFactors[] = {2, 3, 4, 8};
constexpr int32_t kPhase = 1;

float* high() { return array<float>(0); }
float* low() { return array<float>(1); }

bool isSample(int32_t i, int32_t factor) { return i % factor == kPhase; }

std::string wrongUp(int32_t factor, int32_t n) {
  for (int32_t i = 0; i < n * factor; ++i) {
    if (high()[i] != (isSample(i, factor) ? low()[i / factor] : 0)) return "wrong element";
  }
  return "";
}
std::string wrongDown(int32_t factor, int32_t n) {
  for (int32_t i = 0; i < n; ++i) {
    if (low()[i] != high()[i * factor + kPhase]) return "wrong element";
  }
  return "";
}

// n elements at the lower rate.
void addFactor(int32_t factor, int32_t n) {
  const std::string name = std::to_string(factor) + "-f32";
  const int32_t size = n * factor;
  const auto up = [=](const char* contender, const mox::kernel::Kernels* kernels, auto run) {
    add(
        caseName("sampling", ("up-" + name).c_str(), size, contender), kernels,
        [=] { fillNoise(low(), static_cast<size_t>(n)); }, run, [=] { return wrongUp(factor, n); });
  };
  const auto down = [=](const char* contender, const mox::kernel::Kernels* kernels, auto run) {
    add(
        caseName("sampling", ("down-" + name).c_str(), size, contender), kernels,
        [=] { fillNoise(high(), static_cast<size_t>(size)); }, run, [=] { return wrongDown(factor, n); });
  };
  for (const auto* const kernels : kernelSets()) {
    up(kernels->name, kernels, [=] { moxsUpSample(factor, kPhase, low(), n, high()); });
    down(kernels->name, kernels, [=] { moxsDownSample(factor, kPhase, high(), size, low()); });
  }
  up("loop", nullptr, [=] { loopUpSample(factor, kPhase, low(), n, high()); });
  down("loop", nullptr, [=] { loopDownSample(factor, kPhase, high(), n, low()); });
  add(
      caseName("sampling", ("up-" + name).c_str(), size, "fill-copy"), nullptr, [] {},
      [=] {
        const size_t samples = static_cast<size_t>(n), zeros = static_cast<size_t>(size - n);
        std::memset(high(), 0, zeros * sizeof(float));
        std::memcpy(high() + zeros, low(), samples * sizeof(float));
      },
      [] { return ""; });
  for (const char* const direction : {"up-", "down-"}) {
    add(
        caseName("sampling", (direction + name).c_str(), size, "copy"), nullptr, [] {},
        [=] { std::memcpy(low(), high(), static_cast<size_t>(n + size) * sizeof(float) / 2); }, [] { return ""; });
  }
}

}  // namespace

void registerSampling() {
  for (const int32_t factor : kFactors) {
    for (const int32_t size : kSizes) addFactor(factor, size / factor);
  }
}

}  // namespace moxbench
