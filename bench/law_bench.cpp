// Companding of int16 samples, against spandsp.
#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "bench/native.h"
#include "bench/support.h"

namespace moxbench {
namespace {

constexpr int32_t kSizes[] = {64, 1024, 16384, 1 << 20};

struct Law {
  const char *encodeName, *decodeName;
  void (*encode)(const int16_t*, uint8_t*, int32_t);
  void (*decode)(const uint8_t*, int16_t*, int32_t);
};

template <void (*encode)(const int16_t*, uint8_t*, ptrdiff_t)>
void encodeAll(const int16_t* src, uint8_t* dst, int32_t n) {
  encode(src, dst, n);
}
template <void (*decode)(const uint8_t*, int16_t*, ptrdiff_t)>
void decodeAll(const uint8_t* src, int16_t* dst, int32_t n) {
  decode(src, dst, n);
}

constexpr const char *kEncodeA = "a-encode", *kDecodeA = "a-decode", *kEncodeMu = "mu-encode", *kDecodeMu = "mu-decode";
constexpr Law kOurs[] = {{kEncodeA, kDecodeA, moxwbLinToALaw, moxwbALawToLin},
                         {kEncodeMu, kDecodeMu, moxwbLinToMuLaw, moxwbMuLawToLin}};
constexpr Law kSpandsp[] = {{kEncodeA, kDecodeA, encodeAll<spandspEncodeA>, decodeAll<spandspDecodeA>},
                            {kEncodeMu, kDecodeMu, encodeAll<spandspEncodeMu>, decodeAll<spandspDecodeMu>}};

struct Arrays {
  int16_t *samples = array<int16_t>(0), *decoded = array<int16_t>(2);
  uint8_t* codes = array<uint8_t>(1);
};

// A code stands for a step of its sample's segment: at most 1/16 of the sample, 16 near zero; both laws end below 2^15.
std::string wrong(const Law& law, int32_t n) {
  const Arrays a;
  law.encode(a.samples, a.codes, n);
  law.decode(a.codes, a.decoded, n);
  for (int32_t i = 0; i < n; ++i) {
    if (std::abs(a.decoded[i] - a.samples[i]) > std::max(16, std::abs(a.samples[i]) / 16)) {
      return "wrong at element " + std::to_string(i);
    }
  }
  return "";
}

void addLaw(const Law& law, const char* contender, int32_t n, const mox::kernel::Kernels* kernels) {
  const Arrays a;
  const auto fill = [=] {
    float* const noise = array<float>(2);
    fillNoise(noise, static_cast<size_t>(n));
    for (int32_t i = 0; i < n; ++i) a.samples[i] = static_cast<int16_t>(32767 * noise[i]);
    law.encode(a.samples, a.codes, n);
  };
  const auto check = [=] { return wrong(law, n); };
  add(
      caseName("law", law.encodeName, n, contender), kernels, fill, [=] { law.encode(a.samples, a.codes, n); }, check);
  add(
      caseName("law", law.decodeName, n, contender), kernels, fill, [=] { law.decode(a.codes, a.decoded, n); }, check);
}

}  // namespace

void registerLaw() {
  for (const int32_t n : kSizes) {
    for (const int which : {0, 1}) {
      for (const auto* const kernels : kernelSets()) addLaw(kOurs[which], kernels->name, n, kernels);
      addLaw(kSpandsp[which], "spandsp", n, nullptr);
    }
  }
}

}  // namespace moxbench
