// Loops that a user would write: sums in float64, one sample after the other.
#pragma once
#include <cstddef>

namespace moxbench {

// Taps as moxsIirlInitBq leaves them, two delay values a section.
void plainBiquads(const float* taps, size_t sections, double* delay, const float* in, float* out, size_t n);

// One desired value a sample; the delay line newest sample first.
void plainLms(float* taps, float* line, size_t length, float step, double* error, const float* in, const float* desired,
              float* out, size_t n);

}  // namespace moxbench
