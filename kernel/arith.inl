// Element-wise arithmetic. Every loop takes the widest vectors; what a whole number of vectors leaves over is covered by a
// first and a last vector that overlap the others. Both are computed before anything is stored, so that the loops work
// in place, and stored after the loop, which has meanwhile written the same values to the overlap.

// dst[i] = map at i, for n >= N values. A map with period 2 is asked for vectors at even positions only.
template <class T, int N, class Map>
MOX_INLINE void mapWith(T* dst, size_t n, const Map& map) {
  using V = Vec<T, N>;
  const V first = map.template at<V>(0), last = map.template at<V>(n - N);
  // Aligned stores: a 64-byte vector at any other address costs two cache lines.
  size_t i = (sizeof(V) - reinterpret_cast<uintptr_t>(dst) % sizeof(V)) % sizeof(V) / sizeof(T);
  if (map.kPeriod == 2) i &= ~size_t{1};
  for (; i + 4 * N <= n; i += 4 * N) {
    const V v0 = map.template at<V>(i), v1 = map.template at<V>(i + N);
    const V v2 = map.template at<V>(i + 2 * N), v3 = map.template at<V>(i + 3 * N);
    store(dst + i, v0);
    store(dst + i + N, v1);
    store(dst + i + 2 * N, v2);
    store(dst + i + 3 * N, v3);
  }
  for (; i + N <= n; i += N) store(dst + i, map.template at<V>(i));
  store(dst, first);
  store(dst + n - N, last);
}

// The same for any n: the widest vectors that fit, single values below one vector of 16 bytes (a map without single values
// never has fewer).
template <class T, class Map>
MOX_INLINE void mapAll(T* dst, size_t n, const Map& map) {
  constexpr int L = kLanes<T>, S = 16 / sizeof(T);
  if (n >= L) return mapWith<T, L>(dst, n, map);
  if constexpr (L > 2 * S) {
    if (n >= 2 * S) return mapWith<T, 2 * S>(dst, n, map);
  }
  if constexpr (L > S) {
    if (n >= S) return mapWith<T, S>(dst, n, map);
  }
  if constexpr (requires { map.one(n); }) {
    for (size_t i = 0; i < n; ++i) storeOne(dst + i, map.one(i));
  }
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
struct Second {
  template <class V>
  MOX_INLINE static V of(V, V b) {
    return b;
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

// op(a[i], even or odd)
template <class T, class Op>
struct PairMap {
  static constexpr int kPeriod = 2;
  const T* a;
  T even, odd;
  template <class V>
  MOX_INLINE V at(size_t i) const {
    V pattern;
#pragma GCC unroll 16
    for (int k = 0; k < static_cast<int>(sizeof(V) / sizeof(T)); ++k) pattern[k] = k & 1 ? odd : even;
    if constexpr (std::is_same_v<Op, Second>) {
      return pattern;  // a is the destination, not yet written
    } else {
      return Op::of(load<V>(a + i), pattern);
    }
  }
  MOX_INLINE T one(size_t i) const {
    const T val = i & 1 ? odd : even;
    if constexpr (std::is_same_v<Op, Second>) {
      return val;
    } else {
      return Op::of(a[i], val);
    }
  }
};

template <class T, class Op>
void zip(const T* a, const T* b, T* dst, size_t n) {
  mapAll<T>(dst, n, ZipMap<T, Op>{a, b});
}
template <class T, class Op>
void withPair(T even, T odd, T* dst, size_t n) {
  mapAll<T>(dst, n, PairMap<T, Op>{dst, even, odd});
}
template <class T>
void scaleBy(T val, T* dst, size_t n) {
  mapAll<T>(dst, n, PairMap<T, Times>{dst, val, val});
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
    V signs{};
#pragma GCC unroll 16
    for (int k = 1; k < static_cast<int>(sizeof(V) / sizeof(U)); k += 2) signs[k] = kSign;
    return load<V>(a + i) ^ signs;
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

// ---- complex products: re = ar br - ai bi, im = ar bi + ai br

// float32: products of widened values are exact in float64, so each part is rounded to float64 once and then to float32,
// whether the set has fused multiply-add or not.
struct Wide {
  template <class V>
  MOX_INLINE static V re(V ar, V ai, V br, V bi) {
    return fma(ar, br, -(ai * bi));
  }
  template <class V>
  MOX_INLINE static V im(V ar, V ai, V br, V bi) {
    return fma(ar, bi, ai * br);
  }
};

// F reals of a split into their even (re) and odd (im) values within 16-byte lanes, and back: two vectors hold F complex.
template <int F>
struct Lanes;
template <>
struct Lanes<4> {
  using V = Vec<float, 4>;
  using W = Vec<double, 2>;
  MOX_INLINE static V even(V a, V b) { return __builtin_shufflevector(a, b, 0, 2, 4, 6); }
  MOX_INLINE static V odd(V a, V b) { return __builtin_shufflevector(a, b, 1, 3, 5, 7); }
  MOX_INLINE static V mixLow(V re, V im) { return __builtin_shufflevector(re, im, 0, 4, 1, 5); }
  MOX_INLINE static V mixHigh(V re, V im) { return __builtin_shufflevector(re, im, 2, 6, 3, 7); }
  MOX_INLINE static W low(V v) { return widenLow(v); }
  MOX_INLINE static W high(V v) { return widenLow(__builtin_shufflevector(v, v, 2, 3, 2, 3)); }
  MOX_INLINE static V narrowed(W low, W high) {
    return __builtin_shufflevector(narrow(low), narrow(high), 0, 1, 4, 5);
  }
};
#if MOX_VEC_BYTES >= 32
template <>
struct Lanes<8> {
  using V = Vec<float, 8>;
  using W = Vec<double, 4>;
  MOX_INLINE static V even(V a, V b) { return __builtin_shufflevector(a, b, 0, 2, 8, 10, 4, 6, 12, 14); }
  MOX_INLINE static V odd(V a, V b) { return __builtin_shufflevector(a, b, 1, 3, 9, 11, 5, 7, 13, 15); }
  MOX_INLINE static V mixLow(V re, V im) { return __builtin_shufflevector(re, im, 0, 8, 1, 9, 4, 12, 5, 13); }
  MOX_INLINE static V mixHigh(V re, V im) { return __builtin_shufflevector(re, im, 2, 10, 3, 11, 6, 14, 7, 15); }
  MOX_INLINE static W low(V v) { return widen(__builtin_shufflevector(v, v, 0, 1, 2, 3)); }
  MOX_INLINE static W high(V v) { return widen(__builtin_shufflevector(v, v, 4, 5, 6, 7)); }
  MOX_INLINE static V narrowed(W low, W high) {
    return __builtin_shufflevector(narrow(low), narrow(high), 0, 1, 2, 3, 4, 5, 6, 7);
  }
};
constexpr int kWideLanes = 8;  // 64-byte conversions are slower than two of 32
#else
constexpr int kWideLanes = 4;
#endif

// The products of F complex values from `i`, left in a pair of vectors.
template <int F>
struct WideProducts {
  using L = Lanes<F>;
  typename L::V low, high;

  MOX_INLINE void set(typename L::W re0, typename L::W re1, typename L::W im0, typename L::W im1) {
    const auto re = L::narrowed(re0, re1), im = L::narrowed(im0, im1);
    low = L::mixLow(re, im);
    high = L::mixHigh(re, im);
  }
  MOX_INLINE void put(float* dst) const {
    store(dst, low);
    store(dst + F, high);
  }
};

struct ComplexZip {
  const float *a, *b;
  template <int F>
  MOX_INLINE WideProducts<F> at(size_t i) const {
    using L = Lanes<F>;
    using V = typename L::V;
    const V a0 = load<V>(a + 2 * i), a1 = load<V>(a + 2 * i + F), b0 = load<V>(b + 2 * i), b1 = load<V>(b + 2 * i + F);
    const V ar = L::even(a0, a1), ai = L::odd(a0, a1), br = L::even(b0, b1), bi = L::odd(b0, b1);
    const auto arl = L::low(ar), arh = L::high(ar), ail = L::low(ai), aih = L::high(ai);
    const auto brl = L::low(br), brh = L::high(br), bil = L::low(bi), bih = L::high(bi);
    WideProducts<F> p;
    p.set(Wide::re(arl, ail, brl, bil), Wide::re(arh, aih, brh, bih), Wide::im(arl, ail, brl, bil),
          Wide::im(arh, aih, brh, bih));
    return p;
  }
  MOX_INLINE void one(float* dst, size_t i) const {
    const double ar = a[2 * i], ai = a[2 * i + 1], br = b[2 * i], bi = b[2 * i + 1];
    dst[2 * i] = static_cast<float>(ar * br - ai * bi);
    dst[2 * i + 1] = static_cast<float>(ar * bi + ai * br);
  }
};

struct ComplexScale {
  const float* a;
  double br, bi;
  template <int F>
  MOX_INLINE WideProducts<F> at(size_t i) const {
    using L = Lanes<F>;
    using V = typename L::V;
    using W = typename L::W;
    const V a0 = load<V>(a + 2 * i), a1 = load<V>(a + 2 * i + F);
    const V ar = L::even(a0, a1), ai = L::odd(a0, a1);
    const W re = broadcast<W>(br), im = broadcast<W>(bi);
    const W arl = L::low(ar), arh = L::high(ar), ail = L::low(ai), aih = L::high(ai);
    WideProducts<F> p;
    p.set(Wide::re(arl, ail, re, im), Wide::re(arh, aih, re, im), Wide::im(arl, ail, re, im),
          Wide::im(arh, aih, re, im));
    return p;
  }
  MOX_INLINE void one(float* dst, size_t i) const {
    const double ar = a[2 * i], ai = a[2 * i + 1];
    dst[2 * i] = static_cast<float>(ar * br - ai * bi);
    dst[2 * i + 1] = static_cast<float>(ar * bi + ai * br);
  }
};

template <int F, class Products>
MOX_INLINE void multiplyBy(float* dst, size_t n, const Products& products) {
  const auto last = products.template at<F>(n - F);
  for (size_t i = 0; i + F < n; i += F) products.template at<F>(i).put(dst + 2 * i);
  last.put(dst + 2 * (n - F));
}

template <class Products>
MOX_INLINE void multiplyAll(float* dst, size_t n, const Products& products) {
  if (n >= kWideLanes) return multiplyBy<kWideLanes>(dst, n, products);
  if constexpr (kWideLanes > 4) {
    if (n >= 4) return multiplyBy<4>(dst, n, products);
  }
  for (size_t i = n; i-- > 0;) products.one(dst, i);
}

void mpyComplex(const float* a, const float* b, float* dst, size_t n) { multiplyAll(dst, n, ComplexZip{a, b}); }
void scaleComplex(float re, float im, float* dst, size_t n) { multiplyAll(dst, n, ComplexScale{dst, re, im}); }

// float64: every product rounded, then the sum; no fused operation, so that every processor gives the same bits.
MOX_INLINE Vec<double, 2> evens(Vec<double, 2> v) { return __builtin_shufflevector(v, v, 0, 0); }
MOX_INLINE Vec<double, 2> odds(Vec<double, 2> v) { return __builtin_shufflevector(v, v, 1, 1); }
MOX_INLINE Vec<double, 2> swapped(Vec<double, 2> v) { return __builtin_shufflevector(v, v, 1, 0); }
#if MOX_VEC_BYTES >= 32
MOX_INLINE Vec<double, 4> evens(Vec<double, 4> v) { return __builtin_shufflevector(v, v, 0, 0, 2, 2); }
MOX_INLINE Vec<double, 4> odds(Vec<double, 4> v) { return __builtin_shufflevector(v, v, 1, 1, 3, 3); }
MOX_INLINE Vec<double, 4> swapped(Vec<double, 4> v) { return __builtin_shufflevector(v, v, 1, 0, 3, 2); }
#endif
#if MOX_VEC_BYTES == 64
MOX_INLINE Vec<double, 8> evens(Vec<double, 8> v) { return __builtin_shufflevector(v, v, 0, 0, 2, 2, 4, 4, 6, 6); }
MOX_INLINE Vec<double, 8> odds(Vec<double, 8> v) { return __builtin_shufflevector(v, v, 1, 1, 3, 3, 5, 5, 7, 7); }
MOX_INLINE Vec<double, 8> swapped(Vec<double, 8> v) { return __builtin_shufflevector(v, v, 1, 0, 3, 2, 5, 4, 7, 6); }
#endif

// (ar br - ai bi, ai br + ar bi), with the odd product's sign turned by its bit.
template <class V>
MOX_INLINE V complexProduct(V a, V b) {
  using Bits = Vec<uint64_t, sizeof(V) / 8>;
  Bits signs{};
#pragma GCC unroll 8
  for (int k = 0; k < static_cast<int>(sizeof(V) / 8); k += 2) signs[k] = uint64_t{1} << 63;
  const V cross = odds(a) * swapped(b);
  return evens(a) * b + reinterpret_cast<V>(reinterpret_cast<Bits>(cross) ^ signs);
}

struct ComplexZip64 {
  static constexpr int kPeriod = 2;
  const double *a, *b;
  template <class V>
  MOX_INLINE V at(size_t i) const {
    return complexProduct(load<V>(a + i), load<V>(b + i));
  }
};

struct ComplexScale64 {
  static constexpr int kPeriod = 2;
  const double* a;
  double re, im;
  template <class V>
  MOX_INLINE V at(size_t i) const {
    V b;
#pragma GCC unroll 8
    for (int k = 0; k < static_cast<int>(sizeof(V) / 8); ++k) b[k] = k & 1 ? im : re;
    return complexProduct(load<V>(a + i), b);
  }
};

void mpyComplex(const double* a, const double* b, double* dst, size_t n) {
  mapAll<double>(dst, 2 * n, ComplexZip64{a, b});
}
void scaleComplex(double re, double im, double* dst, size_t n) {
  mapAll<double>(dst, 2 * n, ComplexScale64{dst, re, im});
}

template <class T>
constexpr Arith<T> arithKernels() {
  return {
      .add = zip<T, Plus>,
      .sub = zip<T, Minus>,
      .mpy = zip<T, Times>,
      .setPair = withPair<T, Second>,
      .addPair = withPair<T, Plus>,
      .subPair = withPair<T, Minus>,
      .scale = scaleBy<T>,
      .mpyComplex = mpyComplex,
      .scaleComplex = scaleComplex,
      .conj = conj<T>,
      .conjFlip = conjFlip<T>,
  };
}
