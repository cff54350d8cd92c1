// Full two-dimensional convolution.
#include "frame/check.h"
#include "frame/float_array.h"
#include "frame/undscale.h"
#include "signal/plane_conv.h"

namespace mox {
namespace {

using Convolution2D = Here<"moxcnv2d">;

bool outOfMemory(const Site& site) {
  report(site, MOX_StsNoMem, "\nMemory allocation problem\n");
  return false;
}

void convolveLine(const float* x, int32_t xLen, const float* h, int32_t hLen, float* y) {
  moxsConv(x, xLen, h, hLen, y);
}
void convolveLine(const double* x, int32_t xLen, const double* h, int32_t hLen, double* y) {
  moxdConv(x, xLen, h, hLen, y);
}

bool refusedConv2D(const Site& site, bool null, int32_t xCols, int32_t xRows, int32_t hCols, int32_t hRows) {
  return refused(site, Fault{null, "\nNull pointer to data buffer\n"},
                 Fault{xCols < 1 || xRows < 1 || hCols < 1 || hRows < 1, "\nBad value of data buffer size\n"});
}

// False after a report.
template <class T>
bool convolve(const Plane<T>& x, const Plane<T>& h, T* y, const Site& site) {
  // Columns as rows.
  if (x.cols == 1 && h.cols == 1 && (x.rows > 1 || h.rows > 1)) {
    return convolve(Plane<T>{x.values, 1, x.rows}, Plane<T>{h.values, 1, h.rows}, y, site);
  }
  const Conv2DChoice choice = chooseConv2D<T>(x.rows, x.cols, h.rows, h.cols);
  if (choice.method == Conv2DMethod::line) {
    convolveLine(x.values, static_cast<int32_t>(x.cols), h.values, static_cast<int32_t>(h.cols), y);
    if (context().status >= 0) return true;
    report(site, MOX_StsBackTrace, nullptr);
    return false;
  }
  // The smaller operand takes the part of the taps.
  const bool exchange = uint64_t{x.rows} * x.cols < uint64_t{h.rows} * h.cols;
  const Plane<T>&image = exchange ? h : x, &taps = exchange ? x : h;
  const PlanePart all = {0, 0, x.rows + h.rows - 1, x.cols + h.cols - 1};
  if (choice.method == Conv2DMethod::direct) {
    convolveByProducts(image, taps, all, y);
    return true;
  }
  const PlaneTransforms<T> transforms(choice.orders, taps);
  if (!transforms) return outOfMemory(site);
  if (choice.method == Conv2DMethod::whole) {
    transforms.run(image, all, all.rows, all.cols, y);
  } else {
    transforms.run(image, all, y);
  }
  return true;
}

template <class T>
void convolve2D(const T* x, int32_t xCols, int32_t xRows, const T* h, int32_t hCols, int32_t hRows, T* y,
                Site site = Convolution2D()) {
  if (refusedConv2D(site, !x || !h || !y, xCols, xRows, hCols, hRows)) return;
  convolve(planeOf(x, xRows, xCols), planeOf(h, hRows, hCols), y, site);
}

void convolve2D(const int16_t* x, int32_t xCols, int32_t xRows, const int16_t* h, int32_t hCols, int32_t hRows,
                int16_t* y, int32_t scaleMode, int32_t* scalePtr, Site site = Convolution2D()) {
  if (refusedConv2D(site, !x || !h || !y, xCols, xRows, hCols, hRows)) return;
  const uint64_t results = elements(int64_t{xRows} + hRows - 1, int64_t{xCols} + hCols - 1);
  const FloatArray xCopy(x, elements(xRows, xCols)), hCopy(h, elements(hRows, hCols)), yCopy(results);
  if (!xCopy.get() || !hCopy.get() || !yCopy.get()) {
    outOfMemory(site);
    return;
  }
  if (!convolve(planeOf(xCopy.get(), xRows, xCols), planeOf(hCopy.get(), hRows, hCols), yCopy.get(), site)) return;
  roundSums(yCopy.get(), results);
  scaledToInt16(yCopy.get(), y, static_cast<int64_t>(results), scaleMode, scalePtr);
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxsConv2D(const float* x, int32_t xCols, int32_t xRows, const float* h, int32_t hCols, int32_t hRows, float* y) {
  convolve2D(x, xCols, xRows, h, hCols, hRows, y);
}
void moxdConv2D(const double* x, int32_t xCols, int32_t xRows, const double* h, int32_t hCols, int32_t hRows,
                double* y) {
  convolve2D(x, xCols, xRows, h, hCols, hRows, y);
}
void moxwConv2D(const int16_t* x, int32_t xCols, int32_t xRows, const int16_t* h, int32_t hCols, int32_t hRows,
                int16_t* y, int32_t scaleMode, int32_t* scalePtr) {
  convolve2D(x, xCols, xRows, h, hCols, hRows, y, scaleMode, scalePtr);
}

}  // extern "C"
