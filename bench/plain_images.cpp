#include "bench/plain_images.h"

#include <cstring>
#include <vector>

namespace moxbench {
namespace {

// 32 neighbouring sums stay in registers; the image is widened once, with zeros beside it.
typedef double Eight __attribute__((vector_size(64)));
constexpr size_t kVectors = 4, kBlock = 8 * kVectors;

template <class T>
void convolve(const T* x, size_t n, const T* h, size_t k, T* y) {
  const size_t m = n + k - 1, pitch = m + k + kBlock;
  static std::vector<double> image;
  image.assign(n * pitch, 0);
  for (size_t r = 0; r < n; ++r) {
    for (size_t c = 0; c < n; ++c) image[r * pitch + k - 1 + c] = static_cast<double>(x[r * n + c]);
  }
  for (size_t r = 0; r < m; ++r) {
    const size_t first = r < n ? 0 : r - n + 1, last = r < k ? r : k - 1;
    for (size_t c = 0; c < m; c += kBlock) {
      Eight sums[kVectors] = {};
      for (size_t i = first; i <= last; ++i) {
        const double* w = image.data() + (r - i) * pitch + k - 1 + c;
        for (size_t j = 0; j < k; ++j, --w) {
          const double tap = static_cast<double>(h[i * k + j]);
          for (size_t v = 0; v < kVectors; ++v) {
            Eight values;
            std::memcpy(&values, w + 8 * v, sizeof values);
            sums[v] += tap * values;
          }
        }
      }
      for (size_t s = 0; s < kBlock && c + s < m; ++s) y[r * m + c + s] = static_cast<T>(sums[s / 8][s % 8]);
    }
  }
}

}  // namespace

void loopConv2D(const float* x, size_t n, const float* h, size_t k, float* y) { convolve(x, n, h, k, y); }
void loopConv2D(const double* x, size_t n, const double* h, size_t k, double* y) { convolve(x, n, h, k, y); }

}  // namespace moxbench
