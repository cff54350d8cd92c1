// dst = a op b for arrays in L1, L2, L3 and memory, against Eigen, VOLK and a copy of as many bytes as are read and
// written.
#include <volk/volk.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "bench/native.h"
#include "bench/support.h"

namespace moxbench {
namespace {

constexpr int32_t kSizes[] = {64, 1024, 16384, 1 << 20};

struct AddFloat {
  using Real = float;
  static constexpr const char* name = "add-f32";
  static constexpr int parts = 1;  // reals per element
  static double exact(const float* a, const float* b, int) { return static_cast<double>(*a) + *b; }
  static void ours(const float* a, const float* b, float* dst, int32_t n) { moxsbAdd3(a, b, dst, n); }
  static void eigen(const float* a, const float* b, float* dst, int32_t n) { eigenAdd(a, b, dst, n); }
  static void volk(const float* a, const float* b, float* dst, int32_t n) {
    volk_32f_x2_add_32f(dst, a, b, static_cast<unsigned>(n));
  }
};

struct MpyFloat {
  using Real = float;
  static constexpr const char* name = "mpy-f32";
  static constexpr int parts = 1;
  static double exact(const float* a, const float* b, int) { return static_cast<double>(*a) * *b; }
  static void ours(const float* a, const float* b, float* dst, int32_t n) { moxsbMpy3(a, b, dst, n); }
  static void eigen(const float* a, const float* b, float* dst, int32_t n) { eigenMpy(a, b, dst, n); }
  static void volk(const float* a, const float* b, float* dst, int32_t n) {
    volk_32f_x2_multiply_32f(dst, a, b, static_cast<unsigned>(n));
  }
};

struct MpyDouble {
  using Real = double;
  static constexpr const char* name = "mpy-f64";
  static constexpr int parts = 1;
  static double exact(const double* a, const double* b, int) { return *a * *b; }
  static void ours(const double* a, const double* b, double* dst, int32_t n) { moxdbMpy3(a, b, dst, n); }
  static void eigen(const double* a, const double* b, double* dst, int32_t n) { eigenMpy(a, b, dst, n); }
  static void volk(const double* a, const double* b, double* dst, int32_t n) {
    volk_64f_x2_multiply_64f(dst, a, b, static_cast<unsigned>(n));
  }
};

// The real or imaginary component of a product of two complex numbers.
template <class T>
double exactProduct(const T* a, const T* b, int part) {
  const double re = a[0], im = a[1];
  return part == 0 ? re * b[0] - im * b[1] : re * b[1] + im * b[0];
}

struct MpyComplexFloat {
  using Real = float;
  static constexpr const char* name = "mpy-complex-f32";
  static constexpr int parts = 2;
  static double exact(const float* a, const float* b, int part) { return exactProduct(a, b, part); }
  static void ours(const float* a, const float* b, float* dst, int32_t n) {
    moxcbMpy3(reinterpret_cast<const MoxC*>(a), reinterpret_cast<const MoxC*>(b), reinterpret_cast<MoxC*>(dst), n);
  }
  static void contract(const float* a, const float* b, float* dst, int32_t n) { contractMpyComplex(a, b, dst, n); }
  static void eigen(const float* a, const float* b, float* dst, int32_t n) { eigenMpyComplex(a, b, dst, n); }
  static void volk(const float* a, const float* b, float* dst, int32_t n) {
    volk_32fc_x2_multiply_32fc(reinterpret_cast<lv_32fc_t*>(dst), reinterpret_cast<const lv_32fc_t*>(a),
                               reinterpret_cast<const lv_32fc_t*>(b), static_cast<unsigned>(n));
  }
};

struct MpyComplexDouble {
  using Real = double;
  static constexpr const char* name = "mpy-complex-f64";
  static constexpr int parts = 2;
  static double exact(const double* a, const double* b, int part) { return exactProduct(a, b, part); }
  static void ours(const double* a, const double* b, double* dst, int32_t n) {
    moxzbMpy3(reinterpret_cast<const MoxZ*>(a), reinterpret_cast<const MoxZ*>(b), reinterpret_cast<MoxZ*>(dst), n);
  }
  static void eigen(const double* a, const double* b, double* dst, int32_t n) { eigenMpyComplex(a, b, dst, n); }
};

// Every result is within two units in the last place of a number of size 1 (the parts of the products cancel).
template <class Operation>
std::string wrong(int32_t n) {
  using Real = typename Operation::Real;
  const Real *const a = array<Real>(0), *const b = array<Real>(1), *const dst = array<Real>(2);
  for (int32_t i = 0; i < n; ++i) {
    for (int part = 0; part < Operation::parts; ++part) {
      const ptrdiff_t at = static_cast<ptrdiff_t>(i) * Operation::parts;
      const double error = std::fabs(dst[at + part] - Operation::exact(a + at, b + at, part));
      if (!(error <= 2 * std::numeric_limits<Real>::epsilon())) return "wrong at element " + std::to_string(i);
    }
  }
  return "";
}

template <class Operation, class Call>
void addOperation(const char* contender, int32_t n, const mox::kernel::Kernels* kernels, Call call) {
  using Real = typename Operation::Real;
  Real *const a = array<Real>(0), *const b = array<Real>(1), *const dst = array<Real>(2);
  add(
      caseName("arithmetic", Operation::name, n, contender), kernels,
      [=] {
        const size_t reals = static_cast<size_t>(n) * Operation::parts;
        fillNoise(a, reals + 1);
        std::copy_n(a + 1, reals, b);
      },
      [=] { call(a, b, dst, n); }, [=] { return wrong<Operation>(n); });
}

template <class Operation>
void addAll() {
  using Real = typename Operation::Real;
  for (const int32_t n : kSizes) {
    for (const auto* const kernels : kernelSets()) addOperation<Operation>(kernels->name, n, kernels, Operation::ours);
    if constexpr (requires { Operation::contract; })
      addOperation<Operation>("contract-loop", n, nullptr, Operation::contract);
    addOperation<Operation>("eigen", n, nullptr, Operation::eigen);
    if constexpr (requires { Operation::volk; }) addOperation<Operation>("volk", n, nullptr, Operation::volk);

    // Two arrays read and one written is the traffic of a copy of one and a half.
    const size_t bytes = static_cast<size_t>(n) * Operation::parts * sizeof(Real) * 3 / 2;
    Real *const from = array<Real>(0), *const to = array<Real>(2);
    add(
        caseName("arithmetic", Operation::name, n, "copy"), nullptr, [=] { fillNoise(from, bytes / sizeof(Real)); },
        [=] { std::memcpy(to, from, bytes); }, [=] { return std::memcmp(to, from, bytes) == 0 ? "" : "not a copy"; });
  }
}

}  // namespace

void registerArithmetic() {
  addAll<AddFloat>();
  addAll<MpyFloat>();
  addAll<MpyDouble>();
  addAll<MpyComplexFloat>();
  addAll<MpyComplexDouble>();
}

}  // namespace moxbench
