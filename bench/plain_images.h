// Two-dimensional convolution as an application would write it, compiled for this processor.
#pragma once
#include <cstddef>

namespace moxbench {

// y[r][c] = sum of h[i][j] x[r - i][c - j], (n + k - 1)^2 results; the sums run in double.
void loopConv2D(const float* x, size_t n, const float* h, size_t k, float* y);
void loopConv2D(const double* x, size_t n, const double* h, size_t k, double* y);

}  // namespace moxbench
