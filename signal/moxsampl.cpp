// Changes of the sampling rate by whole factors: zeros between samples, or every factor-th sample.
#include <bit>
#include <cstring>

#include "frame/check.h"
#include "kernel/kernels.h"

namespace mox {
namespace {

using Sampling = Here<"moxsampl">;

bool refusedSampling(const Site& site, int32_t factor, int32_t phase, const void* src, int32_t srcLen,
                     const void* dst) {
  return refused(site, Fault{factor < 1, "Invalid factor value"}, Fault{phase < 0, "Invalid phase value"},
                 Fault{factor <= phase, "Invalid factor value"}, Fault{srcLen < 1, "Invalid array length"},
                 Fault{!src || !dst, "Null buffer pointer"});
}

template <class T>
constexpr int kSizeIndex = std::countr_zero(sizeof(T)) - 1;

template <class T>
void copy(const T* src, T* dst, size_t n) {
  if (src != dst) std::memmove(dst, src, n * sizeof(T));
}

template <class T>
void upSample(int32_t factor, int32_t phase, const T* src, int32_t srcLen, T* dst, Site site = Sampling()) {
  if (refusedSampling(site, factor, phase, src, srcLen, dst)) return;
  const size_t n = static_cast<size_t>(srcLen);
  if (factor == 1) return copy(src, dst, n);
  kernel::active->sampling.up[kSizeIndex<T>](src, dst, n, static_cast<size_t>(factor), static_cast<size_t>(phase));
}

template <class T>
void downSample(int32_t factor, int32_t phase, const T* src, int32_t srcLen, T* dst, Site site = Sampling()) {
  if (refusedSampling(site, factor, phase, src, srcLen, dst) || phase >= srcLen) return;
  const size_t n = static_cast<size_t>((srcLen - phase - 1) / factor + 1);
  if (factor == 1) return copy(src, dst, n);
  kernel::active->sampling.down[kSizeIndex<T>](src + phase, dst, n, static_cast<size_t>(factor));
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxsUpSample(int32_t factor, int32_t phase, const float* src, int32_t srcLen, float* dst) {
  upSample(factor, phase, src, srcLen, dst);
}
void moxdUpSample(int32_t factor, int32_t phase, const double* src, int32_t srcLen, double* dst) {
  upSample(factor, phase, src, srcLen, dst);
}
void moxcUpSample(int32_t factor, int32_t phase, const MoxC* src, int32_t srcLen, MoxC* dst) {
  upSample(factor, phase, src, srcLen, dst);
}
void moxzUpSample(int32_t factor, int32_t phase, const MoxZ* src, int32_t srcLen, MoxZ* dst) {
  upSample(factor, phase, src, srcLen, dst);
}
void moxwUpSample(int32_t factor, int32_t phase, const int16_t* src, int32_t srcLen, int16_t* dst) {
  upSample(factor, phase, src, srcLen, dst);
}
void moxvUpSample(int32_t factor, int32_t phase, const MoxV* src, int32_t srcLen, MoxV* dst) {
  upSample(factor, phase, src, srcLen, dst);
}

void moxsDownSample(int32_t factor, int32_t phase, const float* src, int32_t srcLen, float* dst) {
  downSample(factor, phase, src, srcLen, dst);
}
void moxdDownSample(int32_t factor, int32_t phase, const double* src, int32_t srcLen, double* dst) {
  downSample(factor, phase, src, srcLen, dst);
}
void moxcDownSample(int32_t factor, int32_t phase, const MoxC* src, int32_t srcLen, MoxC* dst) {
  downSample(factor, phase, src, srcLen, dst);
}
void moxzDownSample(int32_t factor, int32_t phase, const MoxZ* src, int32_t srcLen, MoxZ* dst) {
  downSample(factor, phase, src, srcLen, dst);
}
void moxwDownSample(int32_t factor, int32_t phase, const int16_t* src, int32_t srcLen, int16_t* dst) {
  downSample(factor, phase, src, srcLen, dst);
}
void moxvDownSample(int32_t factor, int32_t phase, const MoxV* src, int32_t srcLen, MoxV* dst) {
  downSample(factor, phase, src, srcLen, dst);
}

}  // extern "C"
