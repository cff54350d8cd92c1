// Dot products of float32 and float64 vectors, real, complex and mixed.
#include "frame/check.h"
#include "kernel/kernels.h"

namespace mox {
namespace {

using DotProduct = Here<"moxdotp">;

// The first check that fails reports, alone; the thread's status is not looked at.
bool unusable(const Site& site, const void* srcA, const void* srcB, int32_t len) {
  if (!srcA || !srcB) return report(site, MOX_StsBadArg, "Null buffer pointer"), true;
  if (len < 0) return report(site, MOX_StsBadArg, "Invalid value"), true;
  return false;
}

const kernel::Dot<float>& dot(float) { return kernel::active->dot32; }
const kernel::Dot<double>& dot(double) { return kernel::active->dot64; }

template <class T>
T real(const T* srcA, const T* srcB, int32_t len, Site site = DotProduct()) {
  if (unusable(site, srcA, srcB, len)) return 0;
  return static_cast<T>(dot(T{}).real(srcA, srcB, static_cast<size_t>(len)));
}

template <class C>
C complex(const C* srcA, const C* srcB, int32_t len, Site site = DotProduct()) {
  if (unusable(site, srcA, srcB, len)) return {0, 0};
  using R = decltype(C::re);
  double sum[2];
  dot(R{}).complex(&srcA->re, &srcB->re, static_cast<size_t>(len), sum);
  return {static_cast<R>(sum[0]), static_cast<R>(sum[1])};
}

// The order of the arguments does not show in the result, only in the checks.
template <class R, class C>
C mixed(const R* reals, const C* complexes, int32_t len, Site site) {
  if (unusable(site, reals, complexes, len)) return {0, 0};
  double sum[2];
  dot(R{}).realComplex(reals, &complexes->re, static_cast<size_t>(len), sum);
  return {static_cast<R>(sum[0]), static_cast<R>(sum[1])};
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

float moxsDotProd(const float* srcA, const float* srcB, int32_t len) { return real(srcA, srcB, len); }
double moxdDotProd(const double* srcA, const double* srcB, int32_t len) { return real(srcA, srcB, len); }
MoxC moxcDotProd(const MoxC* srcA, const MoxC* srcB, int32_t len) { return complex(srcA, srcB, len); }
MoxZ moxzDotProd(const MoxZ* srcA, const MoxZ* srcB, int32_t len) { return complex(srcA, srcB, len); }
MoxC moxscDotProd(const float* srcA, const MoxC* srcB, int32_t len) { return mixed(srcA, srcB, len, DotProduct()); }
MoxC moxcsDotProd(const MoxC* srcA, const float* srcB, int32_t len) { return mixed(srcB, srcA, len, DotProduct()); }
MoxZ moxdzDotProd(const double* srcA, const MoxZ* srcB, int32_t len) { return mixed(srcA, srcB, len, DotProduct()); }
MoxZ moxzdDotProd(const MoxZ* srcA, const double* srcB, int32_t len) { return mixed(srcB, srcA, len, DotProduct()); }

}  // extern "C"
