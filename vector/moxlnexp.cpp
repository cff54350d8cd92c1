// Natural logarithm and exponential of floating-point vectors.
#include "frame/check.h"
#include "kernel/kernels.h"

namespace mox {
namespace {

using LnExp = Here<"moxlnexp">;

template <class T>
const kernel::Elementary<T>& elementary() {
  if constexpr (sizeof(T) == 4) {
    return kernel::active->elementary32;
  } else {
    return kernel::active->elementary64;
  }
}

template <class T>
void ln1(T* vec, int32_t len, Site site = LnExp()) {
  if (rejected(site, BAD_IF(len<=0), BAD_IF(vec==0))) return;
  elementary<T>().ln(vec, vec, static_cast<size_t>(len));
}

template <class T>
void ln2(const T* src, T* dst, int32_t len, Site site = LnExp()) {
  if (rejected(site, BAD_IF(len<=0), BAD_IF(src==0), BAD_IF(dst==0))) return;
  elementary<T>().ln(src, dst, static_cast<size_t>(len));
}

template <class T>
void exp1(T* vec, int32_t len, Site site = LnExp()) {
  if (rejected(site, BAD_IF(len<=0), BAD_IF(vec==0))) return;
  elementary<T>().exp(vec, vec, static_cast<size_t>(len));
}

template <class T>
void exp2(const T* src, T* dst, int32_t len, Site site = LnExp()) {
  if (rejected(site, BAD_IF(len<=0), BAD_IF(src==0), BAD_IF(dst==0))) return;
  elementary<T>().exp(src, dst, static_cast<size_t>(len));
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxsbLn1(float* vec, int32_t len) { ln1(vec, len); }
void moxdbLn1(double* vec, int32_t len) { ln1(vec, len); }
void moxsbLn2(const float* src, float* dst, int32_t len) { ln2(src, dst, len); }
void moxdbLn2(const double* src, double* dst, int32_t len) { ln2(src, dst, len); }

void moxsbExp1(float* vec, int32_t len) { exp1(vec, len); }
void moxdbExp1(double* vec, int32_t len) { exp1(vec, len); }
void moxsbExp2(const float* src, float* dst, int32_t len) { exp2(src, dst, len); }
void moxdbExp2(const double* src, double* dst, int32_t len) { exp2(src, dst, len); }

}  // extern "C"
