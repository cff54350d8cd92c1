// One bin of a spectrum: s = (x + c d1) - d2 in float64, then d2 = d1 and d1 = s rounded to the state's type, sample by
// sample. Each step waits for the one before: that is what takes the time.
//
// float32: two of the four operations on that way are conversions. c d1 is exact, so v = c d1 + (x - d2), which waits
// for one addition less, differs from s by no more than three units in the last place of G and 1.5 of its own, G being
// the largest of |x|, |s|, |v|, |d1|, |d2| (|c| <= 2). Unless the boundary between two float32 values lies that near,
// both round to the same one. So runs of samples are taken through v, rounded by two operations on its bits; whether
// all of them were far enough from a boundary is looked at afterwards, and if not, the run is repeated as written.
// Per sample 2.4 ns in place of 6.9.

constexpr size_t kGoertzelRun = 32;
constexpr int64_t kRoundOff = (int64_t{1} << 29) - 1, kHalfUnit = int64_t{1} << 28;  // float64 bits below float32's
// |v| >= 2^-13 G: three units of G are 3 * 2^13 of v, and those and 1.5 are less than kNear.
constexpr double kLeastPart = 0x1p-13;
constexpr int64_t kNear = int64_t{1} << 15;

// One value of a real signal stands beside a zero.
template <int Parts>
MOX_INLINE Two goertzelValue(const float* p) {
  if constexpr (Parts == 2) return wide(p, static_cast<Two*>(nullptr));
  return Two{static_cast<double>(*p), 0};
}
template <int Parts>
MOX_INLINE Two goertzelValue(const double* p) {
  if constexpr (Parts == 2) return load<Two>(p);
  return _mm_load_sd(p);
}
template <int Parts, class T>
MOX_INLINE void putGoertzelValue(T* p, Two v) {
  if constexpr (Parts == 2) {
    narrowTo(p, v);
  } else {
    *p = static_cast<T>(v[0]);
  }
}

struct GoertzelDelays {
  Two d1, d2;
  MOX_INLINE void push(Two s) {
    d2 = d1;
    d1 = s;
  }
};
MOX_INLINE Two goertzelStep(Two c, Two x, const GoertzelDelays& d) { return (x + c * d.d1) - d.d2; }
MOX_INLINE Two goertzelRounded(Two s, const float*) { return _mm_cvtps_pd(_mm_cvtpd_ps(s)); }
MOX_INLINE Two goertzelRounded(Two s, const double*) { return s; }

template <int Parts, class T>
MOX_INLINE void goertzelPlain(Two c, GoertzelDelays& d, const T* x, size_t n) {
  for (size_t i = 0; i < n; ++i) d.push(goertzelRounded(goertzelStep(c, goertzelValue<Parts>(x + i * Parts), d), x));
}

// ---- runs through v

#if MOX_VEC_BYTES >= 32
MOX_INLINE DotVec lesserOf(DotVec a, DotVec b) { return _mm256_min_pd(a, b); }
MOX_INLINE DotVec greaterOf(DotVec a, DotVec b) { return _mm256_max_pd(a, b); }
#else
MOX_INLINE DotVec lesserOf(DotVec a, DotVec b) { return _mm_min_pd(a, b); }
MOX_INLINE DotVec greaterOf(DotVec a, DotVec b) { return _mm_max_pd(a, b); }
#endif
MOX_INLINE DotVec magnitudes(DotVec v) {
  return reinterpret_cast<DotVec>(reinterpret_cast<Vec<int64_t, kDotWidth>>(v) & INT64_MAX);
}

// Whether every v rounded to what s would have. `most` holds the largest magnitude of x and the delays in each part.
// (A NaN stays in all values that follow, and the minimum takes its second operand where one is.)
template <int Parts>
MOX_INLINE bool goertzelSafe(const double* v, const double* most) {
  using Bits = Vec<int64_t, kDotWidth>;
  DotVec least = broadcast<DotVec>(__builtin_huge_val()), largest{};
  Vec<int32_t, 2 * kDotWidth> near{};
#pragma GCC unroll 8
  for (size_t i = 0; i < kGoertzelRun * Parts; i += kDotWidth) {
    const DotVec values = load<DotVec>(v + i), size = magnitudes(values);
    least = lesserOf(least, size);
    largest = greaterOf(largest, size);
    // within kNear of a boundary: less than 2 kNear in the bits below float32's
    const Bits low = (reinterpret_cast<Bits>(values) + (kHalfUnit + kNear)) & (kRoundOff & ~(2 * kNear - 1));
    near |= reinterpret_cast<Vec<int32_t, 2 * kDotWidth>>(low) == 0;
  }
  bool safe = true;
#pragma GCC unroll 2
  for (int part = 0; part < Parts; ++part) {
    double bound = most[part];
    bool clear = true;
#pragma GCC unroll 4
    for (int k = part; k < kDotWidth; k += Parts) bound = largest[k] > bound ? largest[k] : bound;
#pragma GCC unroll 4
    for (int k = part; k < kDotWidth; k += Parts) {
      clear &= least[k] >= bound * kLeastPart && least[k] >= 0x1p-125 && near[2 * k] == 0;
    }
    safe &= (clear && bound < 0x1p126) || bound == 0;
  }
  return safe;
}

template <int Parts>
MOX_INLINE void goertzelRun(Two c, GoertzelDelays& d, const float* x) {
  using Bits = Vec<int64_t, 2>;
  double wideX[kGoertzelRun * Parts], values[kGoertzelRun * Parts], most[2];
  const GoertzelDelays before = d;
  DotVec largest{};
#pragma GCC unroll 8
  for (size_t i = 0; i < kGoertzelRun * Parts; i += kDotWidth) {
    const DotVec some = widened(x + i);
    store(wideX + i, some);
    largest = greaterOf(largest, magnitudes(some));
  }
#pragma GCC unroll 8
  for (size_t i = 0; i < kGoertzelRun; ++i) {
    const Two v = fma(c, d.d1, goertzelValue<Parts>(wideX + i * Parts) - d.d2);
    putGoertzelValue<Parts>(values + i * Parts, v);
    d.push(reinterpret_cast<Two>((reinterpret_cast<Bits>(v) + kHalfUnit) & ~kRoundOff));
  }
  for (int part = 0; part < Parts; ++part) {
    const double d1 = __builtin_fabs(before.d1[part]), d2 = __builtin_fabs(before.d2[part]);
    most[part] = d1 > d2 ? d1 : d2;
    for (int k = part; k < kDotWidth; k += Parts) most[part] = largest[k] > most[part] ? largest[k] : most[part];
  }
  if (goertzelSafe<Parts>(values, most)) [[likely]]
    return;
  d = before;
  goertzelPlain<Parts>(c, d, x, kGoertzelRun);
}

template <int Parts>
MOX_INLINE void goertzelAll(Two c, GoertzelDelays& d, const double* x, size_t n) {
  goertzelPlain<Parts>(c, d, x, n);
}
// The operations on bits round to nearest, ties aside, whatever the thread's rounding mode.
template <int Parts>
MOX_INLINE void goertzelAll(Two c, GoertzelDelays& d, const float* x, size_t n) {
  const bool nearest = n >= kGoertzelRun && (_mm_getcsr() & 0x6000) == 0;
  if (nearest && c[0] <= 2 && c[0] >= -2) {
    for (; n >= kGoertzelRun; n -= kGoertzelRun, x += kGoertzelRun * Parts) goertzelRun<Parts>(c, d, x);
  }
  goertzelPlain<Parts>(c, d, x, n);
}

// ---- a block: the last step also gives the result, from s before it is rounded

template <class T, int Parts>
void goertzel(const T* roots, T* delays, const T* x, size_t n, T* y) {
  const double cosW = roots[0], sinW = roots[1];
  const Two c = broadcast<Two>(static_cast<double>(roots[2]));
  GoertzelDelays d = {goertzelValue<Parts>(delays + 2), goertzelValue<Parts>(delays)};
  goertzelAll<Parts>(c, d, x, n - 1);
  const Two s = goertzelStep(c, goertzelValue<Parts>(x + (n - 1) * Parts), d);
  Two turned;
  if constexpr (Parts == 2) {
    turned = broadcast<Two>(cosW) * s + Two{-sinW, sinW} * swapParts(s);
  } else {
    turned = broadcast<Two>(s[0]) * Two{cosW, sinW};
  }
  putGoertzelValue<2>(y, turned - d.d1);
  d.push(s);
  putGoertzelValue<Parts>(delays, d.d2);
  putGoertzelValue<Parts>(delays + 2, d.d1);
}

template <class T>
constexpr Goertzel<T> goertzelKernels() {
  return {.real = goertzel<T, 1>, .complex = goertzel<T, 2>};
}
