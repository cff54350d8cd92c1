// Windows: float64 weights in stretches of 256, applied to both ends of an array.

// The weights of a stretch, upwards, and downwards in the last places.
struct Weights {
  double up[kStretch], down[kStretch];
};
MOX_INLINE Vec<double, 2> reversed(Vec<double, 2> v) { return __builtin_shufflevector(v, v, 1, 0); }
#if MOX_VEC_BYTES >= 32
MOX_INLINE Vec<double, 4> reversed(Vec<double, 4> v) { return __builtin_shufflevector(v, v, 3, 2, 1, 0); }
#endif
#if MOX_VEC_BYTES == 64
MOX_INLINE Vec<double, 8> reversed(Vec<double, 8> v) { return __builtin_shufflevector(v, v, 7, 6, 5, 4, 3, 2, 1, 0); }
#endif
MOX_INLINE void storeWeights(Weights* w, size_t i, Full<double> v) {
  store(w->up + i, v);
  store(w->down + kStretch - kLanes<double> - i, reversed(v));
}

// ---- weights `first` and on

struct LinearWeights {
  double slope;
  MOX_INLINE LinearWeights(const WindowShape& shape, int32_t) : slope(shape.a[0]) {}
  MOX_INLINE double middle(int32_t last) const { return last / 2 * slope; }
  MOX_NOINLINE void fill(int32_t first, size_t n, Weights* w) const {
    using V = Full<double>;
    V i = ascending<V>(first);
    for (size_t k = 0; k < n; k += kLanes<double>) {
      storeWeights(w, k, i * slope);
      i += kLanes<double>;
    }
  }
};

// cos(2 pi m turn), at most half a turn: the sine of x, a quarter less that. The polynomial is within 2^-61, the result
// within 1.6 * 2^-53, and 1 and -1 at the ends.
struct HalfTurnData {
  static constexpr double kEven[] = {-0x1.5555555555555p-3, -0x1.a01a01a015193p-13, -0x1.ae6454e4d852fp-26,
                                     -0x1.ae44aa24722c3p-41};
  static constexpr double kOdd[] = {0x1.11111111110cbp-7, 0x1.71de3a52c1c9ap-19, 0x1.6123d154a845bp-33,
                                    0x1.8851fd1ab23e7p-49};
};
template <class V>
MOX_INLINE V halfTurnCosine(V m, Turn turn) {
  const auto& e = HalfTurnData::kEven;
  const auto& o = HalfTurnData::kOdd;
  const V x = ((0.25 - m * turn.high) - m * turn.low) * 0x1.921fb54442d18p2, z = x * x, zz = z * z;
  const V even = ((e[3] * zz + e[2]) * zz + e[1]) * zz + e[0], odd = ((o[3] * zz + o[2]) * zz + o[1]) * zz + o[0];
  return x + x * (z * (even + odd * z));
}

// a0 - c (a1 + a2 c)
template <bool Quadratic>
struct CosineWeights {
  static constexpr size_t kDirect = 96;  // at most so many weights are evaluated one by one
  struct Curve {
    double a0, a1, a2;
    template <class V>
    MOX_INLINE V operator()(V c) const {
      if constexpr (Quadratic) {
        return a0 - c * (a1 + a2 * c);
      } else {
        return a0 - c * a1;
      }
    }
  } curve;
  Turn turn;
  Circle<kArc> circle;

  MOX_INLINE CosineWeights(const WindowShape& shape, int32_t last)
      : curve{shape.a[0], shape.a[1], shape.a[2]}, turn(part(last)) {
    if (last > static_cast<int32_t>(2 * kDirect)) circle.set(turn);
  }
  MOX_INLINE static Turn part(int32_t last) {
    const double whole = 1.0 / last, high = upper22Bits(whole);
    return {high, (1 - last * high) * whole};
  }
  MOX_INLINE double middle(int32_t) const { return curve.a0 + (Quadratic ? curve.a1 - curve.a2 : curve.a1); }
  MOX_NOINLINE void fill(int32_t first, size_t n, Weights* w) const {
    using V = Full<double>;
    const Curve weight = curve;  // in registers, whatever is stored
    if (first == 0 && n <= kDirect) {
      const Turn part = turn;
      V m = ascending<V>(0);
      for (size_t j = 0; j < n; j += kLanes<double>) {
        storeWeights(w, j, weight(halfTurnCosine(m, part)));
        m += kLanes<double>;
      }
      return;
    }
    double re[kArcs], im[kArcs];
    circlePoints(first, kArc, turn, (n + kArc - 1) / kArc, re, im);
    for (size_t k = 0; k * kArc < n; ++k) {
      const V p = broadcast<V>(re[k]), q = broadcast<V>(im[k]);
#pragma GCC unroll 4
      for (size_t j = 0; j < kArc; j += kLanes<double>) {
        storeWeights(w, k * kArc + j, weight(p * load<V>(circle.cosine + j) - q * load<V>(circle.sine + j)));
      }
    }
  }
};

// I0 as the polynomials 9.8.1 and 9.8.2 of Abramowitz and Stegun, Handbook of Mathematical Functions.
struct BesselData {
  static constexpr double kSmall[] = {1, 3.5156229, 3.0899424, 1.2067492, 0.2659732, 0.0360768, 0.0045813};
  static constexpr double kLarge[] = {0.39894228,  0.01328592, 0.00225319,  -0.00157565, 0.00916281,
                                      -0.02057706, 0.02635537, -0.01647633, 0.00392377};
};
template <bool Careful, class V>
MOX_INLINE V bessel(V x) {
  const V size = x < 0 ? -x : x, limit = broadcast<V>(3.75);
  const auto isSmall = size < limit;
  const V t = (isSmall ? size : V{}) * 0.26666666666666666, z = t * t, zz = z * z;
  const V u = size > limit ? size : limit, y = 3.75 / u;  // NaN is not small, and comes back by the exponential
  const V e = valueOf<Exp<double>, Careful>(isSmall ? limit : size);
  return isSmall ? polynomial(z, zz, BesselData::kSmall) : e / root(u) * polynomial(y, y * y, BesselData::kLarge);
}

// Careful: the exponential may overflow, for parameters far below zero.
template <bool Careful>
struct KaiserWeights {
  double alpha, last;
  Full<double> denominator;
  MOX_NOINLINE KaiserWeights(const WindowShape& shape, int32_t n) : alpha(shape.a[0]), last(n) {
    denominator = bessel<Careful>(broadcast<Full<double>>(alpha * last / 2));
  }
  MOX_INLINE double middle(int32_t) const { return denominator[0] / denominator[0]; }
  MOX_NOINLINE void fill(int32_t first, size_t n, Weights* w) const {
    using V = Full<double>;
    const V end = broadcast<V>(last);
    V i = ascending<V>(first);
    for (size_t k = 0; k < n; k += kLanes<double>) {
      const V inside = i < end ? i : end;
      storeWeights(w, k, bessel<Careful>(alpha * root(inside * (end - inside))) / denominator);
      i += kLanes<double>;
    }
  }
};

// ---- x[i] *= w[i]

MOX_INLINE void applyWeights(double* x, const double* w, size_t n) { zip<double, Times>(x, w, x, n); }

MOX_INLINE void applyWeights(float* x, const double* w, size_t n) {
  using V = Full<double>;  // here the widest conversions gain (1024 elements: 371 against 418 ns)
  constexpr size_t N = kLanes<double>;
  size_t i = 0;
#pragma GCC unroll 4
  for (; i + N <= n; i += N) narrowTo(x + i, wide(x + i, static_cast<V*>(nullptr)) * load<V>(w + i));
  for (; i < n; ++i) x[i] = static_cast<float>(double{x[i]} * w[i]);
}

// int16 in float64.
MOX_INLINE Doubles doublesOf(const int16_t* p) {
#if MOX_VEC_BYTES == 16
  int32_t two;
  __builtin_memcpy(&two, p, sizeof two);
  const __m128i v = _mm_cvtsi32_si128(two);
  return _mm_cvtepi32_pd(_mm_srai_epi32(_mm_unpacklo_epi16(v, v), 16));
#elif MOX_VEC_BYTES == 32
  return _mm256_cvtepi32_pd(_mm_cvtepi16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
#else
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  return _mm512_maskz_cvtepi32_pd(0xff, _mm256_cvtepi16_epi32(v));
#endif
}
// Toward zero; beyond 32 bits the low half is 0.
MOX_INLINE Int32s weighted(const int16_t* x, const double* w) {
  const DoublePair c = wordsOfReals(w);
  return integers<Rounding::zero, false>(DoublePair{doublesOf(x) * c.a, doublesOf(x + kLanes<double>) * c.b});
}
MOX_INLINE void applyWeights(int16_t* x, const double* w, size_t n) {
  constexpr size_t step = 2 * kWords;
  size_t i = 0;
  for (; i + step <= n; i += step)
    storeLowHalves(x + i, weighted(x + i, w + i), weighted(x + i + kWords, w + i + kWords));
  if (i == n) return;
  int16_t some[step] = {};
  double weights[step] = {};
  __builtin_memcpy(some, x + i, (n - i) * sizeof(int16_t));
  __builtin_memcpy(weights, w + i, (n - i) * sizeof(double));
  storeLowHalves(some, weighted(some, weights), weighted(some + kWords, weights + kWords));
  __builtin_memcpy(x + i, some, (n - i) * sizeof(int16_t));
}

// n elements, of two parts each with Complex.
template <bool Complex, class T>
MOX_NOINLINE void applyStretch(T* x, const double* w, size_t n) {
  if constexpr (Complex) {
    double twice[2 * kStretch];
    for (size_t i = 0; i < n; ++i) store(twice + 2 * i, broadcast<Vec<double, 2>>(w[i]));
    applyWeights(x, twice, 2 * n);
  } else {
    applyWeights(x, w, n);
  }
}

template <class W, bool Complex, class T>
MOX_NOINLINE void applyWindow(const WindowShape& shape, T* x, int32_t n) {
  constexpr size_t kParts = Complex ? 2 : 1;
  const W weights(shape, n - 1);
  const size_t half = static_cast<uint32_t>(n) / 2;
  T* const end = x + static_cast<size_t>(n) * kParts;
  Weights w;
  for (size_t i = 0; i < half; i += kStretch) {
    const size_t m = half - i < kStretch ? half - i : kStretch;
    weights.fill(static_cast<int32_t>(i), m, &w);
    applyStretch<Complex>(x + i * kParts, w.up, m);
    applyStretch<Complex>(end - (i + m) * kParts, w.down + kStretch - m, m);
  }
  if (n & 1) {
    const double middle = weights.middle(n - 1);
    for (int k = 0; k < 2; ++k) applyStretch<Complex>(x + half * kParts, &middle, 1);
  }
}

template <bool Complex, class T>
void windowOf(const WindowShape& shape, T* x, int32_t n) {
  switch (shape.kind) {
    case WindowShape::linear:
      return applyWindow<LinearWeights, Complex>(shape, x, n);
    case WindowShape::cosine:
      return shape.a[2] == 0 ? applyWindow<CosineWeights<false>, Complex>(shape, x, n)
                             : applyWindow<CosineWeights<true>, Complex>(shape, x, n);
    case WindowShape::kaiser: {
      const double largest = shape.a[0] * (n - 1) / 2;
      return largest > -700 ? applyWindow<KaiserWeights<false>, Complex>(shape, x, n)
                            : applyWindow<KaiserWeights<true>, Complex>(shape, x, n);
    }
  }
}

template <class T>
constexpr Window<T> windowKernels() {
  return {.real = windowOf<false, T>, .complex = windowOf<true, T>};
}
