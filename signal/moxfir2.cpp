// Filtering of images: the central part of the two-dimensional convolution.
#include "frame/check.h"
#include "frame/float_array.h"
#include "frame/undscale.h"
#include "signal/plane_conv.h"

namespace mox {
namespace {

using Filter2D = Here<"moxfir2">;

bool refusedFilter2D(const Site& site, bool src, int32_t cols, int32_t rows, bool kernel, int32_t kCols, int32_t kRows,
                     bool dst) {
  return refused(site, Fault{!src, "Null SRC buffer pointer"}, Fault{!kernel, "Null SRC buffer pointer"},
                 Fault{!dst, "Null DST buffer pointer"}, Fault{cols < 1, "Invalid number of cols"},
                 Fault{rows < 1, "Inlalid number of rows"}, Fault{kCols < 1, "Invalid number of cols"},
                 Fault{kRows < 1, "Inlalid number of rows"});
}

template <class T>
void filter(const Plane<T>& src, const Plane<T>& taps, T* dst) {
  const PlanePart center = {taps.rows / 2, taps.cols / 2, src.rows, src.cols};
  if (filter2DTakesTransforms<T>(src.rows, src.cols, taps.rows, taps.cols)) {
    const PlaneTransforms<T> transforms(filter2DOrders(taps.rows, taps.cols), taps);
    if (transforms) return transforms.run(src, center, dst);
  }
  convolveByProducts(src, taps, center, dst);
}

template <class T>
void filter2D(const T* src, int32_t cols, int32_t rows, const T* kernel, int32_t kCols, int32_t kRows, T* dst,
              Site site = Filter2D()) {
  if (refusedFilter2D(site, src, cols, rows, kernel, kCols, kRows, dst)) return;
  filter(planeOf(src, rows, cols), planeOf(kernel, kRows, kCols), dst);
}

void filter2D(const int16_t* src, int32_t cols, int32_t rows, const int16_t* kernel, int32_t kCols, int32_t kRows,
              int16_t* dst, int32_t scaleMode, int32_t* scalePtr, Site site = Filter2D()) {
  if (refusedFilter2D(site, src, cols, rows, kernel, kCols, kRows, dst)) return;
  const uint64_t results = elements(rows, cols);
  const FloatArray srcCopy(src, results), kernelCopy(kernel, elements(kRows, kCols)), dstCopy(results);
  if (!srcCopy.get() || !kernelCopy.get() || !dstCopy.get()) {
    report(site, MOX_StsNoMem, "Allocation failure");
    return;
  }
  filter(planeOf<float>(srcCopy.get(), rows, cols), planeOf<float>(kernelCopy.get(), kRows, kCols), dstCopy.get());
  roundSums(dstCopy.get(), results);
  scaledToInt16(dstCopy.get(), dst, static_cast<int64_t>(results), scaleMode, scalePtr);
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxsFilter2D(const float* src, int32_t cols, int32_t rows, const float* kernel, int32_t kCols, int32_t kRows,
                  float* dst) {
  filter2D(src, cols, rows, kernel, kCols, kRows, dst);
}
void moxdFilter2D(const double* src, int32_t cols, int32_t rows, const double* kernel, int32_t kCols, int32_t kRows,
                  double* dst) {
  filter2D(src, cols, rows, kernel, kCols, kRows, dst);
}
void moxwFilter2D(const int16_t* src, int32_t cols, int32_t rows, const int16_t* kernel, int32_t kCols, int32_t kRows,
                  int16_t* dst, int32_t scaleMode, int32_t* scalePtr) {
  filter2D(src, cols, rows, kernel, kCols, kRows, dst, scaleMode, scalePtr);
}

}  // extern "C"
