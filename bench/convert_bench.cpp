// Conversions, parts of complex vectors and polar form, against VOLK, Eigen and SLEEF (polar form and phase, 1.0 ulp),
// and `copy`, a memcpy of as many bytes as are read and written. Magnitudes are evaluated in float64 here and in
// float32 by the peers.
#include <volk/volk.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "bench/native.h"
#include "bench/support.h"

namespace moxbench {
namespace {

constexpr int32_t kSizes[] = {64, 1024, 16384, 1 << 20};

// src holds noise; what a case reads besides is in `other`, its result in dst. `in` and `out` are the bytes per
// element.
struct Arrays {
  float *src = array<float>(0), *dst = array<float>(1), *other = array<float>(2);
};

template <class I>
I* as(float* p) {
  return reinterpret_cast<I*>(p);
}
lv_32fc_t* complexes(float* p) { return reinterpret_cast<lv_32fc_t*>(p); }

// Every case: its name, the bytes that it reads and writes per element, what fill() makes of the noise, the contenders
// and the largest error of element i.
struct FloatToInt16 {
  static constexpr const char* name = "f32-to-int16";
  static constexpr size_t bytes = 6;
  static void fill(const Arrays&, int32_t) {}
  static void ours(const Arrays& a, int32_t n) {
    moxsbFloatToS15Fix(a.src, as<int16_t>(a.dst), n, MOX_RoundNearest | MOX_Saturate);
  }
  static void volk(const Arrays& a, int32_t n) {
    volk_32f_s32f_convert_16i(as<int16_t>(a.dst), a.src, 32768, static_cast<unsigned>(n));
  }
  static void eigen(const Arrays& a, int32_t n) { eigenToInt16(a.src, 32768, as<int16_t>(a.dst), n); }
  static double error(const Arrays& a, int32_t i) {
    const float y = std::clamp(a.src[i] * 32768, -32768.0f, 32767.0f);
    return std::fabs(as<int16_t>(a.dst)[i] - static_cast<double>(y)) / 1.01;  // Eigen truncates
  }
};
// The same with elements out of range kept: tested, never taken.
struct FloatToInt16Kept : FloatToInt16 {
  static constexpr const char* name = "f32-to-int16-kept";
  static void fill(const Arrays& a, int32_t n) {
    std::transform(a.src, a.src + n, a.src, [](float x) { return 0.99f * x; });
  }
  static void ours(const Arrays& a, int32_t n) { moxsbFloatToS15Fix(a.src, as<int16_t>(a.dst), n, MOX_RoundNearest); }
};
struct Int16ToFloat {
  static constexpr const char* name = "int16-to-f32";
  static constexpr size_t bytes = 6;
  static void fill(const Arrays& a, int32_t n) {
    for (int32_t i = 0; i < n; ++i) as<int16_t>(a.other)[i] = static_cast<int16_t>(32767 * a.src[i]);
  }
  static void ours(const Arrays& a, int32_t n) { moxsbS15FixToFloat(as<int16_t>(a.other), a.dst, n); }
  static void volk(const Arrays& a, int32_t n) {
    volk_16i_s32f_convert_32f(a.dst, as<int16_t>(a.other), 32768, static_cast<unsigned>(n));
  }
  static void eigen(const Arrays& a, int32_t n) { eigenFromInt16(as<int16_t>(a.other), 0x1p-15f, a.dst, n); }
  static double error(const Arrays& a, int32_t i) {
    return std::fabs(as<int16_t>(a.other)[i] * 0x1p-15 - static_cast<double>(a.dst[i]));
  }
};
struct Int32ToFloat {
  static constexpr const char* name = "int32-to-f32";
  static constexpr size_t bytes = 8;
  static void fill(const Arrays& a, int32_t n) {
    for (int32_t i = 0; i < n; ++i) as<int32_t>(a.other)[i] = static_cast<int32_t>(1e6f * a.src[i]);
  }
  static void ours(const Arrays& a, int32_t n) { moxsbS1516FixToFloat(as<int32_t>(a.other), a.dst, n); }
  static void volk(const Arrays& a, int32_t n) {
    volk_32i_s32f_convert_32f(a.dst, as<int32_t>(a.other), 65536, static_cast<unsigned>(n));
  }
  static double error(const Arrays& a, int32_t i) {
    return std::fabs(as<int32_t>(a.other)[i] * 0x1p-16 - static_cast<double>(a.dst[i]));
  }
};

struct Real {
  static constexpr const char* name = "real-f32";
  static constexpr size_t bytes = 12;
  static void fill(const Arrays&, int32_t) {}
  static void ours(const Arrays& a, int32_t n) { moxcbReal(as<MoxC>(a.src), a.dst, n); }
  static void volk(const Arrays& a, int32_t n) {
    volk_32fc_deinterleave_real_32f(a.dst, complexes(a.src), static_cast<unsigned>(n));
  }
  static double error(const Arrays& a, int32_t i) { return a.dst[i] == a.src[2 * i] ? 0 : 1; }
};
struct Split {
  static constexpr const char* name = "split-f32";
  static constexpr size_t bytes = 16;
  static void fill(const Arrays&, int32_t) {}
  static void ours(const Arrays& a, int32_t n) { moxcbCplxTo2Real(as<MoxC>(a.src), a.dst, a.other, n); }
  static void volk(const Arrays& a, int32_t n) {
    volk_32fc_deinterleave_32f_x2(a.dst, a.other, complexes(a.src), static_cast<unsigned>(n));
  }
  static double error(const Arrays& a, int32_t i) {
    return a.dst[i] == a.src[2 * i] && a.other[i] == a.src[2 * i + 1] ? 0 : 1;
  }
};
struct Join {
  static constexpr const char* name = "join-f32";
  static constexpr size_t bytes = 16;
  static void fill(const Arrays& a, int32_t n) { std::copy(a.src + n, a.src + 2 * n, a.other); }
  static void ours(const Arrays& a, int32_t n) { moxcb2RealToCplx(a.src, a.other, as<MoxC>(a.dst), n); }
  static void volk(const Arrays& a, int32_t n) {
    volk_32f_x2_interleave_32fc(complexes(a.dst), a.src, a.other, static_cast<unsigned>(n));
  }
  static double error(const Arrays& a, int32_t i) {
    return a.dst[2 * i] == a.src[i] && a.dst[2 * i + 1] == a.other[i] ? 0 : 1;
  }
};
struct SplitInt16 {
  static constexpr const char* name = "split-int16";
  static constexpr size_t bytes = 8;
  static void fill(const Arrays&, int32_t) {}
  static void ours(const Arrays& a, int32_t n) {
    moxvbCplxTo2Real(as<MoxV>(a.src), as<int16_t>(a.dst), as<int16_t>(a.other), n);
  }
  static void volk(const Arrays& a, int32_t n) {
    volk_16ic_deinterleave_16i_x2(as<int16_t>(a.dst), as<int16_t>(a.other), as<lv_16sc_t>(a.src),
                                  static_cast<unsigned>(n));
  }
  static double error(const Arrays& a, int32_t i) {
    const MoxV x = as<MoxV>(a.src)[i];
    return as<int16_t>(a.dst)[i] == x.re && as<int16_t>(a.other)[i] == x.im ? 0 : 1;
  }
};

struct Magnitude {
  static constexpr const char* name = "magnitude-f32";
  static constexpr size_t bytes = 12;
  static void fill(const Arrays&, int32_t) {}
  static void ours(const Arrays& a, int32_t n) { moxcbMag(as<MoxC>(a.src), a.dst, n); }
  static void volk(const Arrays& a, int32_t n) {
    volk_32fc_magnitude_32f(a.dst, complexes(a.src), static_cast<unsigned>(n));
  }
  static void contract(const Arrays& a, int32_t n) { contractMagnitude(a.src, a.dst, n); }
  static void eigen(const Arrays& a, int32_t n) { eigenMagnitude(a.src, a.dst, n); }
  static double error(const Arrays& a, int32_t i) {
    return std::fabs(std::hypot(double{a.src[2 * i]}, double{a.src[2 * i + 1]}) - double{a.dst[i]}) * 0x1p21;
  }
};
struct MagnitudeInt16 {
  static constexpr const char* name = "magnitude-int16";
  static constexpr size_t bytes = 6;
  static void fill(const Arrays& a, int32_t n) {
    for (int32_t i = 0; i < 2 * n; ++i) as<int16_t>(a.other)[i] = static_cast<int16_t>(16000 * a.src[i]);
  }
  static void ours(const Arrays& a, int32_t n) { moxvbMag(as<MoxV>(a.other), as<int16_t>(a.dst), n); }
  static void volk(const Arrays& a, int32_t n) {
    volk_16ic_magnitude_16i(as<int16_t>(a.dst), as<lv_16sc_t>(a.other), static_cast<unsigned>(n));
  }
  static double error(const Arrays& a, int32_t i) {
    const MoxV x = as<MoxV>(a.other)[i];
    return std::fabs(std::hypot(x.re, x.im) - as<int16_t>(a.dst)[i]) / 2;
  }
};
struct Phase {
  static constexpr const char* name = "phase-f32";
  static constexpr size_t bytes = 12;
  static void fill(const Arrays& a, int32_t n) { std::copy(a.src + n, a.src + 2 * n, a.other); }
  static void ours(const Arrays& a, int32_t n) { moxsbrPhase(a.src, a.other, a.dst, n); }
  static void sleef(const Arrays& a, int32_t n) { sleefPhase(a.src, a.other, a.dst, n); }
  static void sleefAvx2(const Arrays& a, int32_t n) { avx2::sleefPhase(a.src, a.other, a.dst, n); }
  static double error(const Arrays& a, int32_t i) {
    return std::fabs(std::atan2(double{a.other[i]}, double{a.src[i]}) - double{a.dst[i]}) * 0x1p20;
  }
};
struct PhaseInt16 {
  static constexpr const char* name = "phase-int16";
  static constexpr size_t bytes = 6;
  static void fill(const Arrays& a, int32_t n) { MagnitudeInt16::fill(a, n); }
  static void ours(const Arrays& a, int32_t n) { moxvbPhase(as<MoxV>(a.other), as<int16_t>(a.dst), n); }
  static double error(const Arrays& a, int32_t i) {
    const MoxV x = as<MoxV>(a.other)[i];
    return std::fabs(std::atan2(x.im, x.re) * (16383 / 3.14159265358979324) - as<int16_t>(a.dst)[i]);
  }
};
struct ToCartesian {
  static constexpr const char* name = "polar-to-cartesian-f32";
  static constexpr size_t bytes = 16;
  static void fill(const Arrays& a, int32_t n) {
    std::transform(a.src + n, a.src + 2 * n, a.other, [](float x) { return 3.14159f * x; });
  }
  static void ours(const Arrays& a, int32_t n) { moxcbPolarToCart(a.src, a.other, as<MoxC>(a.dst), n); }
  static void sleef(const Arrays& a, int32_t n) { sleefToCartesian(a.src, a.other, a.dst, n); }
  static void sleefAvx2(const Arrays& a, int32_t n) { avx2::sleefToCartesian(a.src, a.other, a.dst, n); }
  static double error(const Arrays& a, int32_t i) {
    return std::max(std::fabs(a.src[i] * std::cos(double{a.other[i]}) - double{a.dst[2 * i]}),
                    std::fabs(a.src[i] * std::sin(double{a.other[i]}) - double{a.dst[2 * i + 1]})) *
           0x1p22;
  }
};

template <class Case>
void addCase(const char* contender, int32_t n, const mox::kernel::Kernels* kernels,
             void (*run)(const Arrays&, int32_t)) {
  const Arrays a;
  add(
      caseName("convert", Case::name, n, contender), kernels,
      [=] {
        fillNoise(a.src, 2 * static_cast<size_t>(n));
        Case::fill(a, n);
      },
      [=] { run(a, n); },
      [=] {
        for (int32_t i = 0; i < n; ++i) {
          if (!(Case::error(a, i) <= 1)) return "wrong at element " + std::to_string(i);
        }
        return std::string();
      });
}

template <class Case>
void addAll() {
  for (const int32_t n : kSizes) {
    for (const auto* const kernels : kernelSets()) addCase<Case>(kernels->name, n, kernels, Case::ours);
    if constexpr (requires { Case::contract; }) addCase<Case>("contract-loop", n, nullptr, Case::contract);
    if constexpr (requires { Case::volk; }) addCase<Case>("volk", n, nullptr, Case::volk);
    if constexpr (requires { Case::eigen; }) addCase<Case>("eigen", n, nullptr, Case::eigen);
    if constexpr (requires { Case::sleef; }) {
      addCase<Case>("sleef", n, nullptr, Case::sleef);
      if (hasAvx2()) addCase<Case>("sleef-avx2", n, nullptr, Case::sleefAvx2);
    }
    const Arrays a;
    add(
        caseName("convert", Case::name, n, "copy"), nullptr, [] {},
        [=] { std::memcpy(a.dst, a.src, static_cast<size_t>(n) * Case::bytes / 2); }, [] { return ""; });
  }
}

}  // namespace

void registerConvert() {
  addAll<FloatToInt16>();
  addAll<FloatToInt16Kept>();
  addAll<Int16ToFloat>();
  addAll<Int32ToFloat>();
  addAll<Real>();
  addAll<Split>();
  addAll<Join>();
  addAll<SplitInt16>();
  addAll<Magnitude>();
  addAll<MagnitudeInt16>();
  addAll<Phase>();
  addAll<PhaseInt16>();
  addAll<ToCartesian>();
}

}  // namespace moxbench
