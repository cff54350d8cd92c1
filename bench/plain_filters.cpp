#include "bench/plain_filters.h"

#include <cmath>
#include <cstring>

namespace moxbench {
namespace {

template <class T>
void goertzel(T freq, const T* in, size_t n, T* y) {
  const double w = 6.283185307179586 * static_cast<double>(freq), cosW = std::cos(w), sinW = std::sin(w);
  const T c = static_cast<T>(2 * cosW);
  T d1 = 0, d2 = 0;
  for (size_t i = 0; i < n; ++i) {
    const double s =
        static_cast<double>(in[i]) + static_cast<double>(c) * static_cast<double>(d1) - static_cast<double>(d2);
    d2 = d1;
    d1 = static_cast<T>(s);
  }
  y[0] = static_cast<T>(cosW * static_cast<double>(d1) - static_cast<double>(d2));
  y[1] = static_cast<T>(sinW * static_cast<double>(d1));
}

template <class T>
void dft(const T* in, const T* w, T* out, size_t n) {
  for (size_t k = 0; k < n; ++k) {
    double re = 0, im = 0;
    for (size_t i = 0, m = 0; i < n; ++i) {
      const double xr = in[2 * i], xi = in[2 * i + 1], wr = w[2 * m], wi = w[2 * m + 1];
      re += xr * wr - xi * wi;
      im += xr * wi + xi * wr;
      m += k;
      if (m >= n) m -= n;
    }
    out[2 * k] = static_cast<T>(re);
    out[2 * k + 1] = static_cast<T>(im);
  }
}

}  // namespace

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

void plainDirect(const float* taps, size_t order, double* delay, const float* in, float* out, size_t n) {
  const float *const b = taps, *const a = taps + order;
  for (size_t i = 0; i < n; ++i) {
    const double x = in[i], y = delay[0] + b[0] * x;
    for (size_t k = 1; k < order; ++k) delay[k - 1] = delay[k] + b[k] * x - a[k] * y;
    delay[order - 1] = b[order] * x - a[order] * y;
    out[i] = static_cast<float>(y);
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

void plainGoertzel(float freq, const float* in, size_t n, float* y) { goertzel(freq, in, n, y); }
void plainGoertzel(double freq, const double* in, size_t n, double* y) { goertzel(freq, in, n, y); }
void plainDft(const float* in, const float* w, float* out, size_t n) { dft(in, w, out, n); }
void plainDft(const double* in, const double* w, double* out, size_t n) { dft(in, w, out, n); }

namespace {
template <class R>
void multiply(const R* h, R scale, R* x, size_t n) {
  for (size_t i = 0; i < 2 * n; i += 2) {
    const R re = x[i] * scale, im = x[i + 1] * scale;
    x[i] = re * h[i] - im * h[i + 1];
    x[i + 1] = re * h[i + 1] + im * h[i];
  }
}
}  // namespace

void multiplyScaled(const float* h, float scale, float* x, size_t n) { multiply(h, scale, x, n); }
void multiplyScaled(const double* h, double scale, double* x, size_t n) { multiply(h, scale, x, n); }

void converted(const float* from, float* to, size_t n) { std::memcpy(to, from, n * sizeof(float)); }
void converted(const float* from, double* to, size_t n) {
  for (size_t i = 0; i < n; ++i) to[i] = from[i];
}
void converted(const double* from, float* to, size_t n) {
  for (size_t i = 0; i < n; ++i) to[i] = static_cast<float>(from[i]);
}

}  // namespace moxbench
