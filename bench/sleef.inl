// SLEEF's functions (1.0 ulp) on arrays, in the vectors that the including source is compiled for. n is a multiple of
// their elements.

namespace {

#if defined(__AVX512F__)
using Floats = __m512;
using Doubles = __m512d;
Floats exp(Floats x) { return Sleef_expf16_u10(x); }
Floats cosine(Floats x) { return Sleef_cosf16_u10(x); }
Floats ln(Floats x) { return Sleef_logf16_u10(x); }
Floats phase(Floats im, Floats re) { return Sleef_atan2f16_u10(im, re); }
auto sinCos(Floats x) { return Sleef_sincosf16_u10(x); }
Doubles exp(Doubles x) { return Sleef_expd8_u10(x); }
Doubles cosine(Doubles x) { return Sleef_cosd8_u10(x); }
Doubles ln(Doubles x) { return Sleef_logd8_u10(x); }
#elif defined(__AVX2__)
using Floats = __m256;
using Doubles = __m256d;
Floats exp(Floats x) { return Sleef_expf8_u10(x); }
Floats cosine(Floats x) { return Sleef_cosf8_u10(x); }
Floats ln(Floats x) { return Sleef_logf8_u10(x); }
Floats phase(Floats im, Floats re) { return Sleef_atan2f8_u10(im, re); }
auto sinCos(Floats x) { return Sleef_sincosf8_u10(x); }
Doubles exp(Doubles x) { return Sleef_expd4_u10(x); }
Doubles cosine(Doubles x) { return Sleef_cosd4_u10(x); }
Doubles ln(Doubles x) { return Sleef_logd4_u10(x); }
#else
using Floats = __m128;
using Doubles = __m128d;
Floats exp(Floats x) { return Sleef_expf4_u10(x); }
Floats cosine(Floats x) { return Sleef_cosf4_u10(x); }
Floats ln(Floats x) { return Sleef_logf4_u10(x); }
Floats phase(Floats im, Floats re) { return Sleef_atan2f4_u10(im, re); }
auto sinCos(Floats x) { return Sleef_sincosf4_u10(x); }
Doubles exp(Doubles x) { return Sleef_expd2_u10(x); }
Doubles cosine(Doubles x) { return Sleef_cosd2_u10(x); }
Doubles ln(Doubles x) { return Sleef_logd2_u10(x); }
#endif

template <class V, class T>
void map(const T* src, T* dst, ptrdiff_t n, V (*function)(V)) {
  for (ptrdiff_t i = 0; i < n; i += static_cast<ptrdiff_t>(sizeof(V) / sizeof(T))) {
    V v;
    std::memcpy(&v, src + i, sizeof v);
    v = function(v);
    std::memcpy(dst + i, &v, sizeof v);
  }
}

// dst[i] = function(cos(step i + phase), dst[i]);
template <class V, class T, class Function>
void mapCosine(T* dst, T step, T phase, ptrdiff_t n, Function function) {
  constexpr ptrdiff_t kStep = static_cast<ptrdiff_t>(sizeof(V) / sizeof(T));
  V i, v;
  for (ptrdiff_t k = 0; k < kStep; ++k) i[k] = static_cast<T>(k);
  for (ptrdiff_t k = 0; k < n; k += kStep) {
    std::memcpy(&v, dst + k, sizeof v);
    v = function(cosine(step * i + phase), v);
    std::memcpy(dst + k, &v, sizeof v);
    i += static_cast<T>(kStep);
  }
}
template <class V, class T>
void hann(T* vec, T step, ptrdiff_t n) {
  mapCosine<V>(vec, step, T{0}, n, [](V c, V v) { return v * (T(0.5) - T(0.5) * c); });
}
template <class V, class T>
void tone(T* dst, T step, T phase, ptrdiff_t n) {
  mapCosine<V>(dst, step, phase, n, [](V c, V) { return c; });
}

}  // namespace

void sleefPhase(const float* re, const float* im, float* dst, ptrdiff_t n) {
  constexpr ptrdiff_t kStep = sizeof(Floats) / sizeof(float);
  for (ptrdiff_t i = 0; i < n; i += kStep) {
    Floats x, y;
    std::memcpy(&x, re + i, sizeof x);
    std::memcpy(&y, im + i, sizeof y);
    x = phase(y, x);
    std::memcpy(dst + i, &x, sizeof x);
  }
}
void sleefToCartesian(const float* mag, const float* phases, float* dst, ptrdiff_t n) {
  constexpr ptrdiff_t kStep = sizeof(Floats) / sizeof(float);
  for (ptrdiff_t i = 0; i < n; i += kStep) {
    Floats m, p;
    std::memcpy(&m, mag + i, sizeof m);
    std::memcpy(&p, phases + i, sizeof p);
    const auto both = sinCos(p);
    const Floats re = both.y * m, im = both.x * m;
    for (ptrdiff_t k = 0; k < kStep; ++k) {
      dst[2 * (i + k)] = re[k];
      dst[2 * (i + k) + 1] = im[k];
    }
  }
}

void sleefExp(const float* src, float* dst, ptrdiff_t n) { map<Floats>(src, dst, n, exp); }
void sleefExp(const double* src, double* dst, ptrdiff_t n) { map<Doubles>(src, dst, n, exp); }
void sleefLn(const float* src, float* dst, ptrdiff_t n) { map<Floats>(src, dst, n, ln); }
void sleefLn(const double* src, double* dst, ptrdiff_t n) { map<Doubles>(src, dst, n, ln); }

void sleefHann(float* vec, float step, ptrdiff_t n) { hann<Floats>(vec, step, n); }
void sleefHann(double* vec, double step, ptrdiff_t n) { hann<Doubles>(vec, step, n); }
void sleefTone(float* dst, float step, float phase, ptrdiff_t n) { tone<Floats>(dst, step, phase, n); }
void sleefTone(double* dst, double step, double phase, ptrdiff_t n) { tone<Doubles>(dst, step, phase, n); }
