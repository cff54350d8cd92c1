#include "bench/plain_filters.h"

#include <cstring>

namespace moxbench {

void plainBiquads(const float* taps, size_t sections, double* delay, const float* in, float* out, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    double v = double{taps[0]} * in[i];
    for (size_t k = 0; k < sections; ++k) {
      const float* const t = taps + 1 + 4 * k;
      double* const d = delay + 2 * k;
      const double w = v - t[0] * d[0] - t[1] * d[1];
      v = w + t[2] * d[0] + t[3] * d[1];
      d[1] = d[0];
      d[0] = w;
    }
    out[i] = static_cast<float>(v);
  }
}

void plainLms(float* taps, float* line, size_t length, float step, double* error, const float* in, const float* desired,
              float* out, size_t n) {
  for (size_t t = 0; t < n; ++t) {
    const float gain = static_cast<float>(step * *error);
    for (size_t i = 0; i < length; ++i) taps[i] += gain * line[i];
    std::memmove(line + 1, line, (length - 1) * sizeof(float));
    line[0] = in[t];
    double y = 0;
    for (size_t i = 0; i < length; ++i) y += double{taps[i]} * line[i];
    out[t] = static_cast<float>(y);
    *error = desired[t] - y;
  }
}

}  // namespace moxbench
