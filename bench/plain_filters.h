// Loops that a user would write: sums in float64, one sample (one output) after the other.
#pragma once
#include <cstddef>

namespace moxbench {

// Taps as moxsIirlInitBq leaves them, two delay values a section.
void plainBiquads(const float* taps, size_t sections, double* delay, const float* in, float* out, size_t n);

// Taps as moxsIirlInit leaves them, `order` delay values.
void plainDirect(const float* taps, size_t order, double* delay, const float* in, float* out, size_t n);

// One desired value a sample; the delay line newest sample first.
void plainLms(float* taps, float* line, size_t length, float step, double* error, const float* in, const float* desired,
              float* out, size_t n);

// y of one bin after n real samples: steps in float64, the state in the samples' type.
void plainGoertzel(float freq, const float* in, size_t n, float* y);
void plainGoertzel(double freq, const double* in, size_t n, double* y);

// (re, im) pairs; w are the n roots of unity.
void plainDft(const float* in, const float* w, float* out, size_t n);
void plainDft(const double* in, const double* w, double* out, size_t n);

// x *= h scale: n complex values.
void multiplyScaled(const float* h, float scale, float* x, size_t n);
void multiplyScaled(const double* h, double scale, double* x, size_t n);

// Copies n values to the other type or the same.
void converted(const float* from, float* to, size_t n);
void converted(const float* from, double* to, size_t n);
void converted(const double* from, float* to, size_t n);

}  // namespace moxbench
