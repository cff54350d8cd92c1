// Symmetric windows, applied in place.
#include "frame/check.h"
#include "frame/element.h"
#include "kernel/kernels.h"

namespace mox {
namespace {

using Win = Here<"moxwin">;
using kernel::WindowShape;

const kernel::Window<float>& kernelOf(float) { return kernel::active->window32; }
const kernel::Window<double>& kernelOf(double) { return kernel::active->window64; }
const kernel::Window<int16_t>& kernelOf(int16_t) { return kernel::active->window16; }

template <class T>
void apply(const WindowShape& shape, T* vec, int32_t n) {
  const auto& window = kernelOf(RealOf<T>{});
  (kComplex<T> ? window.complex : window.real)(shape, reals(vec), n);
}

bool isBad(Site site, const void* vec, int32_t n) {
  return refused(site, Fault{!vec, "Null pointer to buffer"}, Fault{n < 3, "Bad number of items"});
}

template <class T>
void bartlett(T* vec, int32_t n, Site site = Win()) {
  if (isBad(site, vec, n)) return;
  apply({WindowShape::linear, {2.0 / (n - 1), 0, 0}}, vec, n);
}

template <class T>
void hann(T* vec, int32_t n, Site site = Win()) {
  if (isBad(site, vec, n)) return;
  apply({WindowShape::cosine, {0.5, 0.5, 0}}, vec, n);
}

template <class T>
void hamming(T* vec, int32_t n, Site site = Win()) {
  if (isBad(site, vec, n)) return;
  apply({WindowShape::cosine, {0.54, 0.46, 0}}, vec, n);
}

// (alpha + 1)/2 - c/2 - alpha/2 (2 c^2 - 1)
template <class T>
void blackman(T* vec, int32_t n, float parameter, Site site = Win()) {
  if (isBad(site, vec, n)) return;
  const double alpha = parameter;
  apply({WindowShape::cosine, {alpha + 0.5, 0.5, alpha}}, vec, n);
}

template <class T>
void kaiser(T* vec, int32_t n, float parameter, Site site = Win()) {
  const double alpha = parameter;
  if (refused(site, Fault{!vec, "Null pointer to buffer"}, Fault{n < 3, "Bad number of items"},
              Fault{0.5 * (static_cast<double>(n) - 1) * alpha > 308.0, "Huge window parameter"})) {
    return;
  }
  apply({WindowShape::kaiser, {alpha, 0, 0}}, vec, n);
}

constexpr float kStandardAlpha = -0.16f;

float optimalAlpha(int32_t n) {
  if (n < 3) return 0;  // which the window reports
  const double angles[] = {3.141592653589793 / (n - 1), 6.283185307179586 / (n - 1)};
  double sines[2], cosines[2];
  kernel::active->elementary64.sinCos(angles, sines, cosines, 2);
  const double ratio = sines[0] / sines[1];
  return static_cast<float>(0.0 - ratio * ratio);
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxsWinBartlett(float* vec, int32_t n) { bartlett(vec, n); }
void moxcWinBartlett(MoxC* vec, int32_t n) { bartlett(vec, n); }
void moxdWinBartlett(double* vec, int32_t n) { bartlett(vec, n); }
void moxzWinBartlett(MoxZ* vec, int32_t n) { bartlett(vec, n); }
void moxwWinBartlett(int16_t* vec, int32_t n) { bartlett(vec, n); }
void moxvWinBartlett(MoxV* vec, int32_t n) { bartlett(vec, n); }

void moxsWinHann(float* vec, int32_t n) { hann(vec, n); }
void moxcWinHann(MoxC* vec, int32_t n) { hann(vec, n); }
void moxdWinHann(double* vec, int32_t n) { hann(vec, n); }
void moxzWinHann(MoxZ* vec, int32_t n) { hann(vec, n); }
void moxwWinHann(int16_t* vec, int32_t n) { hann(vec, n); }
void moxvWinHann(MoxV* vec, int32_t n) { hann(vec, n); }

void moxsWinHamming(float* vec, int32_t n) { hamming(vec, n); }
void moxcWinHamming(MoxC* vec, int32_t n) { hamming(vec, n); }
void moxdWinHamming(double* vec, int32_t n) { hamming(vec, n); }
void moxzWinHamming(MoxZ* vec, int32_t n) { hamming(vec, n); }
void moxwWinHamming(int16_t* vec, int32_t n) { hamming(vec, n); }
void moxvWinHamming(MoxV* vec, int32_t n) { hamming(vec, n); }

void moxsWinBlackman(float* vec, int32_t n, float alpha) { blackman(vec, n, alpha); }
void moxcWinBlackman(MoxC* vec, int32_t n, float alpha) { blackman(vec, n, alpha); }
void moxdWinBlackman(double* vec, int32_t n, float alpha) { blackman(vec, n, alpha); }
void moxzWinBlackman(MoxZ* vec, int32_t n, float alpha) { blackman(vec, n, alpha); }
void moxwWinBlackman(int16_t* vec, int32_t n, float alpha) { blackman(vec, n, alpha); }
void moxvWinBlackman(MoxV* vec, int32_t n, float alpha) { blackman(vec, n, alpha); }

void moxsWinBlackmanStd(float* vec, int32_t n) { moxsWinBlackman(vec, n, kStandardAlpha); }
void moxcWinBlackmanStd(MoxC* vec, int32_t n) { moxcWinBlackman(vec, n, kStandardAlpha); }
void moxdWinBlackmanStd(double* vec, int32_t n) { moxdWinBlackman(vec, n, kStandardAlpha); }
void moxzWinBlackmanStd(MoxZ* vec, int32_t n) { moxzWinBlackman(vec, n, kStandardAlpha); }
void moxwWinBlackmanStd(int16_t* vec, int32_t n) { moxwWinBlackman(vec, n, kStandardAlpha); }
void moxvWinBlackmanStd(MoxV* vec, int32_t n) { moxvWinBlackman(vec, n, kStandardAlpha); }

void moxsWinBlackmanOpt(float* vec, int32_t n) { moxsWinBlackman(vec, n, optimalAlpha(n)); }
void moxcWinBlackmanOpt(MoxC* vec, int32_t n) { moxcWinBlackman(vec, n, optimalAlpha(n)); }
void moxdWinBlackmanOpt(double* vec, int32_t n) { moxdWinBlackman(vec, n, optimalAlpha(n)); }
void moxzWinBlackmanOpt(MoxZ* vec, int32_t n) { moxzWinBlackman(vec, n, optimalAlpha(n)); }
void moxwWinBlackmanOpt(int16_t* vec, int32_t n) { moxwWinBlackman(vec, n, optimalAlpha(n)); }
void moxvWinBlackmanOpt(MoxV* vec, int32_t n) { moxvWinBlackman(vec, n, optimalAlpha(n)); }

void moxsWinKaiser(float* vec, int32_t n, float alpha) { kaiser(vec, n, alpha); }
void moxcWinKaiser(MoxC* vec, int32_t n, float alpha) { kaiser(vec, n, alpha); }
void moxdWinKaiser(double* vec, int32_t n, float alpha) { kaiser(vec, n, alpha); }
void moxzWinKaiser(MoxZ* vec, int32_t n, float alpha) { kaiser(vec, n, alpha); }
void moxwWinKaiser(int16_t* vec, int32_t n, float alpha) { kaiser(vec, n, alpha); }
void moxvWinKaiser(MoxV* vec, int32_t n, float alpha) { kaiser(vec, n, alpha); }

}  // extern "C"
