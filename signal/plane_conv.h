// Two-dimensional convolution y[r][c] = sum over i, j of taps[i][j] image[r - i][c - j], whole or in part, by its
// products or through transforms. Nothing here checks or reports.
#pragma once
#include <algorithm>

#include "kernel/kernels.h"
#include "signal/aligned_array.h"
#include "signal/plane_choice.h"
#include "transform/call.h"

namespace mox {

using kernel::Plane;

template <class T>
const kernel::PlaneKernels<T>& planeKernels() {
  if constexpr (sizeof(T) == 4) {
    return kernel::active->plane32;
  } else {
    return kernel::active->plane64;
  }
}

template <class T>
Plane<T> planeOf(const T* values, int32_t rows, int32_t cols) {
  return {values, static_cast<size_t>(rows), static_cast<size_t>(cols)};
}

// A part of the convolution: `rows` rows from `top` on, `cols` columns from `left` on.
struct PlanePart {
  size_t top, left, rows, cols;
};

template <class T>
void convolveByProducts(const Plane<T>& image, const Plane<T>& taps, const PlanePart& part, T* y) {
  planeKernels<T>().direct(image, taps, part.top, part.left, y, part.rows, part.cols);
}

// Sums of integers are integers: takes away what transforms leave beside them. Above 2^22 float32 has no room for it.
inline void roundSums(float* y, uint64_t n) {
  for (uint64_t i = 0; i < n; ++i) {
    const float v = y[i];
    const bool fits = v > -0x1p22f && v < 0x1p22f;
    const float small = fits ? v : 0;
    const float whole = static_cast<float>(static_cast<int32_t>(small + (small < 0 ? -0.5f : 0.5f)));
    y[i] = fits ? whole : v;
  }
}

// Tables and work arrays of transforms of 2^rowOrder rows and 2^colOrder columns.
template <class T>
class PlaneTransforms {
 public:
  PlaneTransforms(PlaneOrders orders, const Plane<T>& taps)
      : plan_{.rowOrder = orders.rows,
              .colOrder = orders.cols,
              .tapRows = taps.rows,
              .tapCols = taps.cols,
              .rowTable = nullptr,
              .colTable = nullptr,
              .block = nullptr,
              .response = nullptr} {
    if (orders.rows > 31 || orders.cols > 31) return;
    const uint64_t block = planeKernels<T>().blockElements(orders.rows, orders.cols);
    const uint64_t response = planeKernels<T>().responseElements(orders.rows, orders.cols);
    plan_.rowTable = table(orders.cols - 1);
    plan_.colTable = table(orders.rows);
    if (!plan_.rowTable || !plan_.colTable) return;
    // One array, since malloc would give two large ones back to the system and take page faults to get them again.
    memory_.allocate(block + response);
    if (!memory_.get()) return;
    plan_.block = memory_.get();
    plan_.response = plan_.block + static_cast<size_t>(block);
    planeKernels<T>().setTaps(plan_, taps);
  }

  // False where there was no memory.
  explicit operator bool() const { return memory_.get() != nullptr; }

  // In blocks of at most so many rows and columns, see kernel::PlaneKernels.
  void run(const Plane<T>& image, const PlanePart& part, size_t blockRows, size_t blockCols, T* y) const {
    for (size_t r = 0; r < part.rows; r += blockRows) {
      const size_t rows = std::min(blockRows, part.rows - r);
      for (size_t c = 0; c < part.cols; c += blockCols) {
        const size_t cols = std::min(blockCols, part.cols - c);
        planeKernels<T>().block(plan_, image, part.top + r, part.left + c, y + r * part.cols + c, part.cols, rows,
                                cols);
      }
    }
  }
  // In blocks as large as the transforms give them.
  void run(const Plane<T>& image, const PlanePart& part, T* y) const {
    const size_t blockRows = (size_t{1} << plan_.rowOrder) - plan_.tapRows + 1;
    const size_t blockCols = (size_t{1} << plan_.colOrder) - plan_.tapCols + 1;
    run(image, part, blockRows, blockCols, y);
  }

 private:
  static T* table(int order) {
    auto* const extended = extendedTable<ComplexOf<T>>(order);
    return extended ? kernelTable(extended, order) : nullptr;
  }

  kernel::PlanePlan<T> plan_;
  AlignedArray<T> memory_;
};

}  // namespace mox
