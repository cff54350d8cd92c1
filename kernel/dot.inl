// Dot products. float32 values are widened, so that their products are exact and the sums run in float64.
//
// Up to 16 elements are added in their order; longer ones run on 16 lanes, element i in lane i mod 16, which are then
// folded by halves: the same tree whatever the width of the vectors.

constexpr size_t kDotLanes = 16;

MOX_INLINE double fma(double a, double b, double c) { return kHasFma ? __builtin_fma(a, b, c) : a * b + c; }

// W doubles from W values.
constexpr int kDotWidth = kVecBytes >= 32 ? 4 : 2;  // one conversion of eight takes the time of two of four
using DotVec = Vec<double, kDotWidth>;
MOX_INLINE DotVec widened(const float* p) { return wide(p, static_cast<DotVec*>(nullptr)); }
MOX_INLINE DotVec widened(const double* p) { return load<DotVec>(p); }

// Sums of values that need no conversion take the widest vectors.
template <class T>
using SumVec = std::conditional_t<sizeof(T) == 4, DotVec, Vec<double, kLanes<double>>>;
template <class T>
constexpr int kSumWidth = sizeof(SumVec<T>) / sizeof(double);
template <class T>
MOX_INLINE SumVec<T> summands(const T* p) {
  return wide(p, static_cast<SumVec<T>*>(nullptr));
}

#if MOX_VEC_BYTES >= 32
MOX_INLINE Vec<double, 2> lowerLanes(Vec<double, 4> v) { return _mm256_castpd256_pd128(v); }
MOX_INLINE Vec<double, 2> upperLanes(Vec<double, 4> v) { return _mm256_extractf128_pd(v, 1); }
#endif
#if MOX_VEC_BYTES == 64
MOX_INLINE Vec<double, 4> lowerLanes(Vec<double, 8> v) { return __builtin_shufflevector(v, v, 0, 1, 2, 3); }
MOX_INLINE Vec<double, 4> upperLanes(Vec<double, 8> v) { return _mm512_maskz_extractf64x4_pd(0xff, v, 1); }
#endif
template <class V>
MOX_INLINE Vec<double, 2> lanesFolded(V v) {
  if constexpr (sizeof(V) == sizeof(Vec<double, 2>)) {
    return v;
  } else {
    return lanesFolded(lowerLanes(v) + upperLanes(v));
  }
}

// The sum of the first N vectors, by halves. (No loop: its array would live in memory.)
template <size_t N, class V, size_t... K>
MOX_INLINE void foldHalves(V* v, std::index_sequence<K...>) {
  ((v[K] += v[K + N / 2]), ...);
  if constexpr (N > 2) foldHalves<N / 2>(v, std::make_index_sequence<N / 4>());
}
template <class V, size_t N>
MOX_INLINE Vec<double, 2> lanesFolded(V (&v)[N]) {
  if constexpr (N > 1) foldHalves<N>(v, std::make_index_sequence<N / 2>());
  return lanesFolded(v[0]);
}

// The lanes of N vectors in an array, for what a whole number of rounds leaves over. (Taken back into the array that
// the loop sums in, they would keep that out of registers.)
template <class V, int N>
struct Lanes {
  static constexpr int kWidth = sizeof(V) / sizeof(double);
  double at[N * kWidth];
  MOX_INLINE explicit Lanes(const V (&v)[N]) {
#pragma GCC unroll 16
    for (int k = 0; k < N; ++k) store(at + k * kWidth, v[k]);
  }
  MOX_INLINE void storeTo(V (&v)[N]) const {
#pragma GCC unroll 16
    for (int k = 0; k < N; ++k) v[k] = load<V>(at + k * kWidth);
  }
  MOX_INLINE Vec<double, 2> folded() const {
    V v[N];
    storeTo(v);
    return lanesFolded(v);
  }
};

// The first `count` of the W summands at p, all of them if there are more, else zeros behind them; loaded by elements
// of S reals each. That serves the end of an array, and values that were stored a moment ago: a filter that gets its
// signal sample by sample reads back the latest ones, and a load that needs several stores waits until all of them have
// reached the cache (float32, 64 taps: 17.6 and 9.0 ns a sample).
template <size_t S>
MOX_INLINE Vec<double, 2> summandsOneByOne(const double* p, size_t count, Vec<double, 2>* v) {
  if constexpr (S == 2) return wide(p, v);
  const Vec<double, 2> first = pinned(static_cast<Vec<double, 2>>(_mm_load_sd(p)));
  return count > 1 ? _mm_unpacklo_pd(first, pinned(static_cast<Vec<double, 2>>(_mm_load_sd(p + 1)))) : first;
}
template <size_t S>
MOX_INLINE Vec<double, 2> summandsOneByOne(const float* p, size_t count, Vec<double, 2>* v) {
  if constexpr (S == 2) return wide(p, v);
  const double first = p[0], second = count > 1 ? p[1] : 0;
  return Vec<double, 2>{first, second};
}
#if MOX_VEC_BYTES >= 32
template <size_t S>
MOX_INLINE Vec<double, 4> summandsOneByOne(const double* p, size_t count, Vec<double, 4>*) {
  using Half = Vec<double, 2>;
  const Half low = summandsOneByOne<S>(p, count, static_cast<Half*>(nullptr));
  const Half high = count > 2 ? summandsOneByOne<S>(p + 2, count - 2, static_cast<Half*>(nullptr)) : Half{};
  return __builtin_shufflevector(low, high, 0, 1, 2, 3);
}
template <size_t S>
MOX_INLINE Vec<double, 4> summandsOneByOne(const float* p, size_t count, Vec<double, 4>*) {
  using V = Vec<float, 4>;
  if constexpr (S == 2) {
    const double* const pairs = reinterpret_cast<const double*>(p);
    return widen(reinterpret_cast<V>(summandsOneByOne<1>(pairs, count / 2, static_cast<Vec<double, 2>*>(nullptr))));
  }
  V v = pinned(static_cast<V>(_mm_load_ss(p)));
  if (count > 1) v = _mm_insert_ps(v, pinned(static_cast<V>(_mm_load_ss(p + 1))), 0x10);
  if (count > 2) v = _mm_insert_ps(v, pinned(static_cast<V>(_mm_load_ss(p + 2))), 0x20);
  if (count > 3) v = _mm_insert_ps(v, pinned(static_cast<V>(_mm_load_ss(p + 3))), 0x30);
  return widen(v);
}
#endif
#if MOX_VEC_BYTES == 64
template <size_t S, class T>
MOX_INLINE Vec<double, 8> summandsOneByOne(const T* p, size_t count, Vec<double, 8>*) {
  using Half = Vec<double, 4>;
  const Half low = summandsOneByOne<S>(p, count, static_cast<Half*>(nullptr));
  const Half high = count > 4 ? summandsOneByOne<S>(p + 4, count - 4, static_cast<Half*>(nullptr)) : Half{};
  return __builtin_shufflevector(low, high, 0, 1, 2, 3, 4, 5, 6, 7);
}
#endif
template <size_t S, class T>
MOX_INLINE SumVec<T> summandsOneByOne(const T* p, size_t count) {
  return summandsOneByOne<S>(p, count, static_cast<SumVec<T>*>(nullptr));
}

// All W summands, the last four of them one by one.
template <class T>
MOX_INLINE SumVec<T> latestSummands(const T* p) {
  constexpr int kWidth = kSumWidth<T>;
#if MOX_VEC_BYTES == 64
  if constexpr (kWidth == 8) {
    using Half = Vec<double, 4>;
    const Half high = summandsOneByOne<1>(p + 4, 4, static_cast<Half*>(nullptr));
    return __builtin_shufflevector(load<Half>(p), high, 0, 1, 2, 3, 4, 5, 6, 7);
  }
#endif
  if constexpr (kWidth == 4) return summandsOneByOne<1>(p, 4);
  return summands(p);  // a vector of two meets few stores
}

// Sums of n > 16 elements, Dot::kReals reals each in the lanes. add() adds vector v of a round, addLatest() the last of
// a round, addOneByOne() the first `count` values of a vector.
template <class Dot>
MOX_INLINE void dotRounds(Dot& dot, size_t n) {
  constexpr size_t kWidth = Dot::kWidth, kRound = kDotLanes * Dot::kReals, kVectors = Dot::kVectors;
  n *= Dot::kReals;
  size_t i = 0;
  for (; i + 2 * kRound <= n; i += kRound) {
#pragma GCC unroll 16
    for (size_t v = 0; v < kVectors; ++v) dot.add(v, i + v * kWidth);
  }
#pragma GCC unroll 16
  for (size_t v = 0; v + 1 < kVectors; ++v) dot.add(v, i + v * kWidth);
  dot.addLatest(kVectors - 1, i + kRound - kWidth);
  i += kRound;
  if (i == n) return;
#pragma GCC unroll 16
  for (size_t v = 0; v < kVectors; ++v) {
    const size_t at = i + v * kWidth;
    if (at < n) dot.addOneByOne(v, at, n - at);
  }
}

template <class T>
struct RealDot {
  static constexpr size_t kReals = 1, kWidth = kSumWidth<T>, kVectors = kDotLanes / kWidth;
  const T *a, *b;
  SumVec<T> sums[kVectors] = {};
  MOX_INLINE void add(size_t v, size_t i) { sums[v] = fma(summands(a + i), summands(b + i), sums[v]); }
  MOX_INLINE void addLatest(size_t v, size_t i) { sums[v] = fma(summands(a + i), latestSummands(b + i), sums[v]); }
  MOX_INLINE void addOneByOne(size_t v, size_t i, size_t count) {
    sums[v] = fma(summandsOneByOne<1>(a + i, count), summandsOneByOne<1>(b + i, count), sums[v]);
  }
};

template <class T>
double dotReal(const T* a, const T* b, size_t n) {
  if (n <= kDotLanes) {
    double sum = 0;
    for (size_t i = 0; i < n; ++i) sum = fma(double{a[i]}, double{b[i]}, sum);
    return sum;
  }
  RealDot<T> dot{a, b};
  dotRounds(dot, n);
  const Vec<double, 2> two = lanesFolded(dot.sums);
  return two[0] + two[1];
}

// In a lane two complex products each: of equal parts (re re, im im) and of crossed ones (re im, im re).
template <class T>
struct ComplexDot {
  static constexpr size_t kReals = 2, kWidth = kSumWidth<T>, kVectors = 2 * kDotLanes / kWidth;
  const T *a, *b;
  SumVec<T> equal[kVectors] = {}, crossed[kVectors] = {};
  MOX_INLINE void products(size_t v, SumVec<T> x, SumVec<T> y) {
    equal[v] = fma(x, y, equal[v]);
    crossed[v] = fma(x, swapParts(y), crossed[v]);
  }
  MOX_INLINE void add(size_t v, size_t i) { products(v, summands(a + i), summands(b + i)); }
  MOX_INLINE void addLatest(size_t v, size_t i) { add(v, i); }
  MOX_INLINE void addOneByOne(size_t v, size_t i, size_t count) {
    products(v, summandsOneByOne<2>(a + i, count), summandsOneByOne<2>(b + i, count));
  }
};

// With conj(a) in place of a the second of each has the other sign.
template <class T, bool Conj = false>
void dotComplex(const T* a, const T* b, size_t n, double* reIm) {
  if (n <= kDotLanes) {
    double re = 0, im = 0;
    for (size_t i = 0; i < 2 * n; i += 2) {
      const double ar = a[i], ai = a[i + 1], br = b[i], bi = b[i + 1];
      re += fma(ar, br, Conj ? ai * bi : -(ai * bi));
      im += fma(ar, bi, Conj ? -(ai * br) : ai * br);
    }
    reIm[0] = re;
    reIm[1] = im;
    return;
  }
  ComplexDot<T> dot{a, b};
  dotRounds(dot, n);
  const Vec<double, 2> e = lanesFolded(dot.equal), c = lanesFolded(dot.crossed);
  reIm[0] = Conj ? e[0] + e[1] : e[0] - e[1];
  reIm[1] = Conj ? c[0] - c[1] : c[0] + c[1];
}

// Every value twice, next to itself.
MOX_INLINE Vec<double, 2> twice(const float* p, Vec<double, 2>*) {
  return broadcast<Vec<double, 2>>(static_cast<double>(*p));
}
MOX_INLINE Vec<double, 2> twice(const double* p, Vec<double, 2>*) { return broadcast<Vec<double, 2>>(*p); }
#if MOX_VEC_BYTES >= 32
MOX_INLINE Vec<double, 4> spread(Vec<double, 2> v) { return __builtin_shufflevector(v, v, 0, 0, 1, 1); }
template <class T>
MOX_INLINE Vec<double, 4> twice(const T* p, Vec<double, 4>*) {
  return spread(wide(p, static_cast<Vec<double, 2>*>(nullptr)));
}
#endif
#if MOX_VEC_BYTES == 64
template <class T>
MOX_INLINE Vec<double, 8> twice(const T* p, Vec<double, 8>*) {
  const Vec<double, 4> v = wide(p, static_cast<Vec<double, 4>*>(nullptr));
  return __builtin_shufflevector(v, v, 0, 0, 1, 1, 2, 2, 3, 3);
}
#endif

// a real, b complex
template <class T>
void dotRealComplex(const T* a, const T* b, size_t n, double* reIm) {
  if (n <= kDotLanes) {
    double re = 0, im = 0;
    for (size_t i = 0; i < n; ++i) {
      re = fma(double{a[i]}, double{b[2 * i]}, re);
      im = fma(double{a[i]}, double{b[2 * i + 1]}, im);
    }
    reIm[0] = re;
    reIm[1] = im;
    return;
  }
  constexpr int kWidth = kSumWidth<T>, kVectors = 2 * kDotLanes / kWidth;
  SumVec<T> sums[kVectors] = {};
  size_t i = 0;
  for (; i + kDotLanes <= n; i += kDotLanes) {
#pragma GCC unroll 16
    for (int v = 0; v < kVectors; ++v) {
      const SumVec<T> x = twice(a + i + v * kWidth / 2, static_cast<SumVec<T>*>(nullptr));
      sums[v] = fma(x, summands(b + 2 * i + v * kWidth), sums[v]);
    }
  }
  Lanes lanes(sums);
  for (size_t k = 0; i < n; ++i, k += 2) {
    lanes.at[k] = fma(double{a[i]}, double{b[2 * i]}, lanes.at[k]);
    lanes.at[k + 1] = fma(double{a[i]}, double{b[2 * i + 1]}, lanes.at[k + 1]);
  }
  store(reIm, lanes.folded());
}

// ---- int16: sums modulo 2^32

int32_t dot16(const int16_t* a, const int16_t* b, size_t n) {
  using V = Vec<int16_t, kLanes<int16_t>>;
  Uint32s sums{};
  size_t i = 0;
  for (; i + kLanes<int16_t> <= n; i += kLanes<int16_t>) {
    sums += reinterpret_cast<Uint32s>(sumOfProducts(load<V>(a + i), load<V>(b + i)));
  }
  uint32_t sum = 0;
  for (int k = 0; k < kWords; ++k) sum += sums[k];
  for (; i < n; ++i) sum += static_cast<uint32_t>(a[i] * b[i]);
  return static_cast<int32_t>(sum);
}

template <bool Conj>
void dotComplex16(const int16_t* a, const int16_t* b, size_t n, int32_t* reIm) {
  using V = Vec<int16_t, kLanes<int16_t>>;
  const V odd = Alternating<int16_t>(0, -1).template vector<V>();
  Uint32s res{}, ims{};
  size_t i = 0;
  for (; i + kLanes<int16_t> <= 2 * n; i += kLanes<int16_t>) {
    const V x = load<V>(a + i), y = load<V>(b + i);
    const Uint32s words = reinterpret_cast<Uint32s>(y);
    const V swapped = reinterpret_cast<V>(words >> 16 | words << 16);
    // -b = (-b - 1) + 1, as the 16-bit -b may not fit
    const Uint32s ai = reinterpret_cast<Uint32s>(reinterpret_cast<Int32s>(x) >> 16);
    if constexpr (Conj) {
      res += reinterpret_cast<Uint32s>(sumOfProducts(x, y));
      ims += reinterpret_cast<Uint32s>(sumOfProducts(x, swapped ^ odd)) + ai;
    } else {
      res += reinterpret_cast<Uint32s>(sumOfProducts(x, y ^ odd)) + ai;
      ims += reinterpret_cast<Uint32s>(sumOfProducts(x, swapped));
    }
  }
  uint32_t re = 0, im = 0;
  for (int k = 0; k < kWords; ++k) {
    re += res[k];
    im += ims[k];
  }
  for (; i < 2 * n; i += 2) {
    const uint32_t second = static_cast<uint32_t>(a[i + 1] * b[i + 1]),
                   crossed = static_cast<uint32_t>(a[i + 1] * b[i]);
    re += static_cast<uint32_t>(a[i] * b[i]) + (Conj ? second : 0 - second);
    im += static_cast<uint32_t>(a[i] * b[i + 1]) + (Conj ? 0 - crossed : crossed);
  }
  reIm[0] = static_cast<int32_t>(re);
  reIm[1] = static_cast<int32_t>(im);
}

void dotRealComplex16(const int16_t* a, const int16_t* b, size_t n, int32_t* reIm) {
  uint32_t re = 0, im = 0;
  for (size_t i = 0; i < n; ++i) {
    re += static_cast<uint32_t>(a[i] * b[2 * i]);
    im += static_cast<uint32_t>(a[i] * b[2 * i + 1]);
  }
  reIm[0] = static_cast<int32_t>(re);
  reIm[1] = static_cast<int32_t>(im);
}

template <class T>
constexpr Dot<T> dotKernels() {
  return {.real = dotReal<T>,
          .complex = dotComplex<T>,
          .conjComplex = dotComplex<T, true>,
          .realComplex = dotRealComplex<T>};
}
constexpr Dot16 dot16Kernels() {
  return {.real = dot16,
          .complex = dotComplex16<false>,
          .conjComplex = dotComplex16<true>,
          .realComplex = dotRealComplex16};
}
