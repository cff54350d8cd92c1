// Element-wise arithmetic. Every loop takes the widest vectors; what a whole number of vectors leaves over is covered
// by a first and a last vector that overlap the others. Both are computed before anything is stored, so that the loops
// work in place, and stored after the loop, which has meanwhile written the same values to the overlap.

// dst[i] = map at i, for K N <= n <= 2 K N values: K vectors from the first on, K up to the last.
template <int K, class T, int N, class Map>
MOX_INLINE void mapEnds(T* dst, size_t n, const Map& map) {
  using V = Vec<T, N>;
  T* const end = dst + n;
  V low[K], high[K];
#pragma GCC unroll 4
  for (int k = 0; k < K; ++k) {
    low[k] = map.template at<V>(static_cast<size_t>(k) * N);
    high[k] = map.template at<V>(n - static_cast<size_t>(K - k) * N);
  }
#pragma GCC unroll 4
  for (int k = 0; k < K; ++k) {
    store(dst + k * N, low[k]);
    store(end - (K - k) * N, high[k]);
  }
}

// The same for any n >= N. A map with period 2 is asked for vectors at even positions only.
template <class T, int N, class Map>
MOX_INLINE void mapWith(T* dst, size_t n, const Map& map) {
  using V = Vec<T, N>;
  // A few vectors need no loop (64 float32: 4 or 8).
  if (n <= 2 * N) return mapEnds<1, T, N>(dst, n, map);
  if (n <= 4 * N) return mapEnds<2, T, N>(dst, n, map);
  if constexpr (kVecBytes > 16 && kRegisters > 8) {
    if (n <= 8 * N) return mapEnds<4, T, N>(dst, n, map);
  }
  const V first = map.template at<V>(0), last = map.template at<V>(n - N);
  // Aligned stores: a 64-byte vector at any other address costs two cache lines.
  size_t i = (sizeof(V) - reinterpret_cast<uintptr_t>(dst) % sizeof(V)) % sizeof(V) / sizeof(T);
  if (map.kPeriod == 2) i &= ~size_t{1};
  // Each vector is stored before the next is loaded: beyond L1, loads of four and then their stores were slower
  // (float32 product with AVX2, 16384 elements: 2.81 and 1.86 us; 2^20: 566 and 431).
  constexpr int kTogether = kVecBytes == 32 && sizeof(T) > 2 ? 8 : 4;
  for (; i + kTogether * N <= n; i += kTogether * N) {
#pragma GCC unroll 8
    for (size_t k = 0; k < kTogether * N; k += N) store(dst + i + k, map.template at<V>(i + k));
  }
  for (; i + N <= n; i += N) store(dst + i, map.template at<V>(i));
  store(dst, first);
  store(dst + n - N, last);
}

// The same for any n: the widest vectors that fit, single values below one vector of 16 bytes.
template <class T, class Map>
MOX_INLINE void mapAll(T* dst, size_t n, const Map& map) {
  constexpr int L = kLanes<T>, S = 16 / sizeof(T);
  if (n >= L) return mapWith<T, L>(dst, n, map);
  if constexpr (L > 2 * S) {
    if (n >= 2 * S) return mapEnds<1, T, 2 * S>(dst, n, map);
  }
  if constexpr (L > S) {
    if (n >= S) return mapEnds<1, T, S>(dst, n, map);
  }
  for (size_t i = 0; i < n; ++i) storeOne(dst + i, map.one(i));
}

struct Plus {
  template <class V>
  MOX_INLINE static V of(V a, V b) {
    return a + b;
  }
};
struct Minus {
  template <class V>
  MOX_INLINE static V of(V a, V b) {
    return a - b;
  }
};
struct Times {
  template <class V>
  MOX_INLINE static V of(V a, V b) {
    return a * b;
  }
};

// op(a[i], b[i])
template <class T, class Op>
struct ZipMap {
  static constexpr int kPeriod = 1;
  const T *a, *b;
  template <class V>
  MOX_INLINE V at(size_t i) const {
    return Op::of(load<V>(a + i), load<V>(b + i));
  }
  MOX_INLINE T one(size_t i) const { return Op::of(a[i], b[i]); }
};

// One vector of any width with the even and the odd value in turn. As an array it stays in a register over a loop; put
// together at each use it does not (GCC 12: 254 against 25 ns for 1024 float32).
template <class T>
struct Alternating {
  T values[kLanes<T>];
  MOX_INLINE Alternating(T even, T odd) {
#pragma GCC unroll 16
    for (int k = 0; k < kLanes<T>; ++k) values[k] = k & 1 ? odd : even;
  }
  template <class V>
  MOX_INLINE V vector() const {
    return load<V>(values);
  }
};

// op(a[i], even or odd)
template <class T, class Op>
struct PairMap {
  static constexpr int kPeriod = 2;
  const T* a;
  Alternating<T> pair;
  template <class V>
  MOX_INLINE V at(size_t i) const {
    return Op::of(load<V>(a + i), pair.template vector<V>());
  }
  MOX_INLINE T one(size_t i) const { return Op::of(a[i], pair.values[i & 1]); }
};

template <class T>
struct SetMap {
  static constexpr int kPeriod = 2;
  Alternating<T> pair;
  template <class V>
  MOX_INLINE V at(size_t) const {
    return pair.template vector<V>();
  }
  MOX_INLINE T one(size_t i) const { return pair.values[i & 1]; }
};

template <class T, class Op>
void zip(const T* a, const T* b, T* dst, size_t n) {
  mapAll<T>(dst, n, ZipMap<T, Op>{a, b});
}
template <class T, class Op>
void withPair(T even, T odd, T* dst, size_t n) {
  mapAll<T>(dst, n, PairMap<T, Op>{dst, {even, odd}});
}
template <class T>
void setPair(T even, T odd, T* dst, size_t n) {
  mapAll<T>(dst, n, SetMap<T>{{even, odd}});
}
template <class T>
void scaleBy(T val, T* dst, size_t n) {
  mapAll<T>(dst, n, PairMap<T, Times>{dst, {val, val}});
}

// ---- copies

template <class T>
struct CopyMap {
  static constexpr int kPeriod = 1;
  const T* a;
  template <class V>
  MOX_INLINE V at(size_t i) const {
    return load<V>(a + i);
  }
  MOX_INLINE T one(size_t i) const { return loadOne(a + i); }
};

// Unsigned words, so that no floating-point register rule can touch the bits.
void copyWords(const uint32_t* src, uint32_t* dst, size_t n) { mapAll<uint32_t>(dst, n, CopyMap<uint32_t>{src}); }

// ---- conjugation, on the bits

template <class T>
using BitsOf = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;

// Source words (re, im, re, im ...) with the sign bit of every second one flipped.
template <class U>
struct ConjMap {
  static constexpr int kPeriod = 2;
  static constexpr U kSign = U{1} << (8 * sizeof(U) - 1);
  const U* a;
  template <class V>
  MOX_INLINE V at(size_t i) const {
    return load<V>(a + i) ^ Alternating<U>(0, kSign).template vector<V>();
  }
  MOX_INLINE U one(size_t i) const { return loadOne(a + i) ^ (i & 1 ? kSign : 0); }
};

template <class T>
void conj(const T* src, T* dst, size_t n) {
  using U = BitsOf<T>;
  mapAll<U>(reinterpret_cast<U*>(dst), 2 * n, ConjMap<U>{reinterpret_cast<const U*>(src)});
}

// Complex elements in reverse order.
MOX_INLINE Vec<uint64_t, 2> reversedPairs(Vec<uint64_t, 2> v, uint32_t) { return __builtin_shufflevector(v, v, 1, 0); }
MOX_INLINE Vec<uint64_t, 2> reversedPairs(Vec<uint64_t, 2> v, uint64_t) { return v; }
#if MOX_VEC_BYTES >= 32
MOX_INLINE Vec<uint64_t, 4> reversedPairs(Vec<uint64_t, 4> v, uint32_t) {
  return __builtin_shufflevector(v, v, 3, 2, 1, 0);
}
MOX_INLINE Vec<uint64_t, 4> reversedPairs(Vec<uint64_t, 4> v, uint64_t) {
  return __builtin_shufflevector(v, v, 2, 3, 0, 1);
}
#endif
#if MOX_VEC_BYTES == 64
MOX_INLINE Vec<uint64_t, 8> reversedPairs(Vec<uint64_t, 8> v, uint32_t) {
  return __builtin_shufflevector(v, v, 7, 6, 5, 4, 3, 2, 1, 0);
}
MOX_INLINE Vec<uint64_t, 8> reversedPairs(Vec<uint64_t, 8> v, uint64_t) {
  return __builtin_shufflevector(v, v, 6, 7, 4, 5, 2, 3, 0, 1);
}
#endif

template <class U>
struct ConjFlipMap {
  static constexpr int kPeriod = 2;
  const U* a;
  size_t n;  // words
  template <class V>
  MOX_INLINE V at(size_t i) const {
    constexpr size_t N = sizeof(V) / sizeof(U);
    const V v = ConjMap<U>{a}.template at<V>(n - N - i);
    return reinterpret_cast<V>(reversedPairs(reinterpret_cast<Vec<uint64_t, sizeof(V) / 8>>(v), U{}));
  }
  MOX_INLINE U one(size_t i) const { return ConjMap<U>{a}.one(n - 2 - (i & ~size_t{1}) + (i & 1)); }
};

template <class T>
void conjFlip(const T* src, T* dst, size_t n) {
  using U = BitsOf<T>;
  mapAll<U>(reinterpret_cast<U*>(dst), 2 * n, ConjFlipMap<U>{reinterpret_cast<const U*>(src), 2 * n});
}

// ---- complex products: (ar br - ai bi, ar bi + ai br), evaluated in float64 on interleaved values

// float32 is widened in the load: from memory the conversion needs no shuffle.
MOX_INLINE Vec<double, 2> wide(const float* p, Vec<double, 2>*) {
  return _mm_cvtps_pd(_mm_castpd_ps(_mm_load_sd(reinterpret_cast<const double*>(p))));
}
MOX_INLINE void narrowTo(float* p, Vec<double, 2> v) {
  _mm_store_sd(reinterpret_cast<double*>(p), _mm_castps_pd(_mm_cvtpd_ps(v)));
}
#if MOX_VEC_BYTES >= 32
MOX_INLINE Vec<double, 4> wide(const float* p, Vec<double, 4>*) { return widen(load<Vec<float, 4>>(p)); }
MOX_INLINE void narrowTo(float* p, Vec<double, 4> v) { store(p, narrow(v)); }
#endif
#if MOX_VEC_BYTES == 64
MOX_INLINE Vec<double, 8> wide(const float* p, Vec<double, 8>*) { return widen(load<Vec<float, 8>>(p)); }
MOX_INLINE void narrowTo(float* p, Vec<double, 8> v) { store(p, narrow(v)); }
#endif
template <class V>
MOX_INLINE V wide(const double* p, V*) {
  return load<V>(p);
}
template <class V>
MOX_INLINE void narrowTo(double* p, V v) {
  store(p, v);
}

// a - c in even, a + c in odd places; with `fused`, of the exact products a*b.
#if MOX_HAS_FMA
MOX_INLINE Vec<double, 2> minusPlus(Vec<double, 2> a, Vec<double, 2> c) { return _mm_addsub_pd(a, c); }
MOX_INLINE Vec<double, 4> minusPlus(Vec<double, 4> a, Vec<double, 4> c) { return _mm256_addsub_pd(a, c); }
MOX_INLINE Vec<double, 2> fusedMinusPlus(Vec<double, 2> a, Vec<double, 2> b, Vec<double, 2> c) {
  return _mm_fmaddsub_pd(a, b, c);
}
MOX_INLINE Vec<double, 4> fusedMinusPlus(Vec<double, 4> a, Vec<double, 4> b, Vec<double, 4> c) {
  return _mm256_fmaddsub_pd(a, b, c);
}
#  if MOX_VEC_BYTES == 64
MOX_INLINE Vec<double, 8> fusedMinusPlus(Vec<double, 8> a, Vec<double, 8> b, Vec<double, 8> c) {
  return _mm512_fmaddsub_pd(a, b, c);
}
MOX_INLINE Vec<double, 8> minusPlus(Vec<double, 8> a, Vec<double, 8> c) {
  return fusedMinusPlus(a, broadcast<Vec<double, 8>>(1), c);
}
#  endif
#else
MOX_INLINE Vec<double, 2> minusPlus(Vec<double, 2> a, Vec<double, 2> c) {
  const Vec<double, 2> low = a - c, high = a + c;
  return __builtin_shufflevector(low, high, 0, 3);
}
template <class V>
MOX_INLINE V fusedMinusPlus(V a, V b, V c) {
  return minusPlus(a * b, c);
}
#endif

// a*b - c in even, a*b + c in odd places. Widened float32 products are exact, so that fusing changes nothing; float64
// products are rounded before the sum. Either way every processor gives the same bits.
template <class R, class V>
MOX_INLINE V productMinusPlus(V a, V b, V c) {
  if constexpr (sizeof(R) == sizeof(float)) {
    return fusedMinusPlus(a, b, c);
  } else {
    return minusPlus(a * b, c);
  }
}

template <class R>
struct ProductMap {
  const R *a, *b;
  template <class V>
  MOX_INLINE V at(size_t i) const {
    const V x = wide(a + i, static_cast<V*>(nullptr)), y = wide(b + i, static_cast<V*>(nullptr));
    if constexpr (sizeof(R) == sizeof(double)) {
      return productMinusPlus<R>(realPartsAt<V>(a + i), y, imagParts(x) * swapParts(y));
    } else {
      return productMinusPlus<R>(realParts(x), y, imagParts(x) * swapParts(y));
    }
  }
};

// Times one value: (re, re ...) and (im, im ...).
template <class R>
struct ScaledMap {
  const R* a;
  Alternating<double> re, im;
  template <class V>
  MOX_INLINE V at(size_t i) const {
    const V x = wide(a + i, static_cast<V*>(nullptr));
    return productMinusPlus<R>(x, re.vector<V>(), swapParts(x) * im.vector<V>());
  }
};

// As mapWith, for n reals.
template <int N, class R, class Map>
MOX_INLINE void multiplyWith(R* dst, size_t n, const Map& map) {
  using V = Vec<double, N>;
  const V last = map.template at<V>(n - N);
  size_t i = 0;
  for (; i + 2 * N < n; i += 2 * N) {
    narrowTo(dst + i, map.template at<V>(i));
    narrowTo(dst + i + N, map.template at<V>(i + N));
  }
  if (i + N < n) narrowTo(dst + i, map.template at<V>(i));
  narrowTo(dst + n - N, last);
}

template <class R, class Map>
MOX_INLINE void multiplyAll(R* dst, size_t n, const Map& map) {
  // Conversions of four run on more ports than those of eight.
  constexpr int L = sizeof(R) == 4 && kVecBytes > 32 ? 4 : kLanes<double>;
  if (n >= L) return multiplyWith<L>(dst, n, map);
  if constexpr (L > 4) {
    if (n >= 4) return multiplyWith<4>(dst, n, map);
  }
  if constexpr (L > 2) multiplyWith<2>(dst, n, map);
}

#if MOX_VEC_BYTES == 64
// The float32 products of 16 values by float32 arithmetic, in 18 operations; conversions to float64 and back take 24.
// With p + e and q + f the two products and s + t their difference or sum before e and f, all exact, s + w is the value
// to 2^-44: where w is below a quarter of a unit of s, nothing can round otherwise, and where it is not, little is
// cancelled in it. Both ends of w (1 +- 2^-18) are rounded: where they agree, float64, rounded to float32, agrees. They
// do not near half a unit, and for what overflows or is no number. Below 2^-63 errors may underflow, and zeros lose
// their signs.
MOX_INLINE bool productsByFloat32(const float* a, const float* b, Vec<float, 16>& rounded) {
  using V = Vec<float, 16>;
  const V x = load<V>(a), turned = swapParts(x), re = realPartsAt<V>(b), im = imagPartsAt<V>(b), one = broadcast<V>(1);
  const V p = x * re, e = fms(x, re, p), q = turned * im, f = fms(turned, im, q);
  const V s = fmaAlternating<1>(p, one, q), part = s - p;
  const V t = fmaAlternating<1>(p - (s - part), one, fmaAlternating<-1>(q, one, part));
  const V w = t + fmaAlternating<1>(e, one, f);
  rounded = fma(w, broadcast<V>(1 + 0x1p-18f), s);
  const V other = fma(w, broadcast<V>(1 - 0x1p-18f), s);
  const __mmask16 large = _mm512_test_epi32_mask(_mm512_castps_si512(s), _mm512_set1_epi32(0x60000000));
  const __mmask16 agree = _mm512_mask_cmp_ps_mask(large, rounded, other, _CMP_EQ_OQ);
  return _kortestc_mask16_u8(agree, agree);
}
#endif

template <class R>
void mpyComplex(const R* a, const R* b, R* dst, size_t n) {
  n *= 2;
#if MOX_VEC_BYTES == 64
  if constexpr (sizeof(R) == sizeof(float)) {
    for (size_t run = 256; n >= 16;) {
      Vec<float, 16> v;
      size_t done = 16;
      if (productsByFloat32(a, b, v)) [[likely]] {
        store(dst, v);
      } else {  // zeros and small integers come in runs
        done = n < run ? n : run;
        multiplyAll(dst, done, ProductMap<R>{a, b});
        run *= 2;
      }
      a += done;
      b += done;
      dst += done;
      n -= done;
    }
    if (n == 0) return;
  }
#endif
  multiplyAll(dst, n, ProductMap<R>{a, b});
}
template <class R>
void scaleComplex(R re, R im, R* dst, size_t n) {
  multiplyAll(dst, 2 * n, ScaledMap<R>{dst, {re, re}, {im, im}});
}

template <class T>
constexpr Arith<T> arithKernels() {
  return {
      .add = zip<T, Plus>,
      .sub = zip<T, Minus>,
      .mpy = zip<T, Times>,
      .setPair = setPair<T>,
      .addPair = withPair<T, Plus>,
      .subPair = withPair<T, Minus>,
      .scale = scaleBy<T>,
      .mpyComplex = mpyComplex<T>,
      .scaleComplex = scaleComplex<T>,
      .conj = conj<T>,
      .conjFlip = conjFlip<T>,
  };
}
