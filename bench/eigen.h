// Eigen's part of the arithmetic benchmarks: dst = a op b, n elements.
#pragma once
#include <cstddef>

namespace moxbench {

void eigenAdd(const float* a, const float* b, float* dst, ptrdiff_t n);
void eigenMpy(const float* a, const float* b, float* dst, ptrdiff_t n);
void eigenMpy(const double* a, const double* b, double* dst, ptrdiff_t n);
// (re, im) pairs
void eigenMpyComplex(const float* a, const float* b, float* dst, ptrdiff_t n);
void eigenMpyComplex(const double* a, const double* b, double* dst, ptrdiff_t n);

}  // namespace moxbench
