// Arithmetic on int16 with scale modes, against the loops that a C program would have instead, compiled for this
// processor, and VOLK.
#include <volk/volk.h>

#include <algorithm>
#include <cstdint>

#include "bench/native.h"
#include "bench/support.h"

namespace moxbench {
namespace {

constexpr int32_t kSizes[] = {64, 1024, 16384, 1 << 20};
constexpr int32_t kShift = 15;

int16_t limited(int32_t v) { return static_cast<int16_t>(std::clamp(v, -32768, 32767)); }
const MoxV* complexes(const int16_t* v) { return reinterpret_cast<const MoxV*>(v); }
MoxV* complexes(int16_t* v) { return reinterpret_cast<MoxV*>(v); }

// A sum, a difference ... of n values each: exact() says what stands at i.
struct AddSaturated {
  static constexpr const char* name = "add-saturated";
  static void ours(const int16_t* a, const int16_t* b, int16_t* dst, int32_t n) {
    moxwbAdd3(a, b, dst, n, MOX_NoScaleSat, nullptr);
  }
  static void loop(const int16_t* a, const int16_t* b, int16_t* dst, int32_t n) { loopAddSaturated(a, b, dst, n); }
  static int16_t exact(const int16_t* a, const int16_t* b, int32_t i) { return limited(a[i] + b[i]); }
};
// The loop does not look for a factor: it is given the one that the automatic mode finds.
struct AddAutomatic {
  static constexpr const char* name = "add-automatic";
  static void ours(const int16_t* a, const int16_t* b, int16_t* dst, int32_t n) {
    int32_t factor;
    moxwbAdd3(a, b, dst, n, MOX_AutoScale, &factor);
  }
  static void loop(const int16_t* a, const int16_t* b, int16_t* dst, int32_t n) { loopAddShifted(a, b, dst, n, 1); }
  static int16_t exact(const int16_t* a, const int16_t* b, int32_t i) {
    return static_cast<int16_t>((a[i] + b[i]) >> 1);
  }
};
struct MpyFixed {
  static constexpr const char* name = "mpy-fixed";
  static void ours(const int16_t* a, const int16_t* b, int16_t* dst, int32_t n) {
    int32_t factor = kShift;
    moxwbMpy3(a, b, dst, n, MOX_FixScaleSat, &factor);
  }
  static void loop(const int16_t* a, const int16_t* b, int16_t* dst, int32_t n) {
    loopMpyShifted(a, b, dst, n, kShift);
  }
  static int16_t exact(const int16_t* a, const int16_t* b, int32_t i) { return limited(a[i] * b[i] >> kShift); }
};
// n/2 complex values. VOLK's do not scale.
struct MpyComplex {
  static constexpr const char* name = "mpy-complex-unscaled";
  static void ours(const int16_t* a, const int16_t* b, int16_t* dst, int32_t n) {
    moxvbMpy3(complexes(a), complexes(b), complexes(dst), n / 2, MOX_NoScale, nullptr);
  }
  static void volk(const int16_t* a, const int16_t* b, int16_t* dst, int32_t n) {
    volk_16ic_x2_multiply_16ic(reinterpret_cast<lv_16sc_t*>(dst), reinterpret_cast<const lv_16sc_t*>(a),
                               reinterpret_cast<const lv_16sc_t*>(b), static_cast<unsigned>(n / 2));
  }
  static int16_t exact(const int16_t* a, const int16_t* b, int32_t i) {
    const int32_t k = i & ~1;
    return static_cast<int16_t>(i == k ? a[k] * b[k] - a[k + 1] * b[k + 1] : a[k] * b[k + 1] + a[k + 1] * b[k]);
  }
};
struct MpyComplexFixed {
  static constexpr const char* name = "mpy-complex-fixed";
  static void ours(const int16_t* a, const int16_t* b, int16_t* dst, int32_t n) {
    int32_t factor = kShift;
    moxvbMpy3(complexes(a), complexes(b), complexes(dst), n / 2, MOX_FixScaleSat, &factor);
  }
  static void loop(const int16_t* a, const int16_t* b, int16_t* dst, int32_t n) {
    loopMpyComplexShifted(a, b, dst, n / 2, kShift);
  }
  static int16_t exact(const int16_t* a, const int16_t* b, int32_t i) {
    const int64_t k = i & ~1;
    const int64_t v = i == k ? a[k] * b[k] - int64_t{a[k + 1]} * b[k + 1] : a[k] * b[k + 1] + int64_t{a[k + 1]} * b[k];
    return limited(static_cast<int32_t>(v >> kShift));
  }
};

template <class Case, class Call>
void addCase(const char* contender, int32_t n, const mox::kernel::Kernels* kernels, Call call) {
  int16_t *const a = array<int16_t>(0), *const b = array<int16_t>(1), *const dst = array<int16_t>(2);
  add(
      caseName("int16", Case::name, n, contender), kernels,
      [=] {
        float* const noise = array<float>(2);
        fillNoise(noise, static_cast<size_t>(n) + 1);
        // The unscaled products stay in 16 bits.
        const float size = std::is_same_v<Case, MpyComplex> ? 127 : 32767;
        std::transform(noise, noise + n, a, [=](float x) { return static_cast<int16_t>(size * x); });
        std::transform(noise + 1, noise + 1 + n, b, [=](float x) { return static_cast<int16_t>(size * x); });
      },
      [=] { call(a, b, dst, n); },
      [=] {
        for (int32_t i = 0; i < n; ++i) {
          if (dst[i] != Case::exact(a, b, i)) return "wrong at element " + std::to_string(i);
        }
        return std::string();
      });
}

template <class Case>
void addAll() {
  for (const int32_t n : kSizes) {
    for (const auto* const kernels : kernelSets()) addCase<Case>(kernels->name, n, kernels, Case::ours);
    if constexpr (requires { Case::loop; }) addCase<Case>("loop", n, nullptr, Case::loop);
    if constexpr (requires { Case::volk; }) addCase<Case>("volk", n, nullptr, Case::volk);
  }
}

}  // namespace

void registerInt16() {
  addAll<AddSaturated>();
  addAll<AddAutomatic>();
  addAll<MpyFixed>();
  addAll<MpyComplex>();
  addAll<MpyComplexFixed>();
}

}  // namespace moxbench
