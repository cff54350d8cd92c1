// Functions of vectors applied to whole arrays. Most values take a plain form, a few outliers (NaN, infinities,
// subnormals, overflow) a careful one of about twice the length.
//
// The hot loop must hold no call and no branch to the careful form: the compiler would keep the constants in memory
// (GCC 12: 903 against 583 ns for 1024 float64 exponentials). So a block's inputs are inspected first, and the whole
// block then takes one form or the other. Both give the same bits where the plain one is valid: no result depends on
// its neighbours.
//
// A function F has a Type, plain(in), careful(in) and look(inspector, in), where `in` and the results are a vector or
// a Pair of them. Sources and destinations are the same arrays or disjoint.

constexpr size_t kBlock = 1024;

template <class V>
struct Pair {
  V a, b;
};

// A float32 function evaluated in float64, to a few bits more than float32 has, and rounded once: what a set without
// fused multiply-add uses. What the inspection takes for plain must be plain in float64, too.
#if !MOX_HAS_FMA
MOX_INLINE Pair<Vec<double, 2>> widenedLow(Pair<Vec<float, 4>> v) { return {widenedLow(v.a), widenedLow(v.b)}; }
MOX_INLINE Pair<Vec<double, 2>> widenedHigh(Pair<Vec<float, 4>> v) { return {widenedHigh(v.a), widenedHigh(v.b)}; }
MOX_INLINE Pair<Vec<float, 4>> narrowed(Pair<Vec<double, 2>> low, Pair<Vec<double, 2>> high) {
  return {narrowed(low.a, high.a), narrowed(low.b, high.b)};
}
template <class F, class Inspection>
struct InFloat64 {
  using Type = float;
  using Inspect = Inspection;
  template <class V>
  MOX_INLINE static auto plain(V v) {
    return narrowed(F::plain(widenedLow(v)), F::plain(widenedHigh(v)));
  }
  template <class V>
  MOX_INLINE static auto careful(V v) {
    return narrowed(F::careful(widenedLow(v)), F::careful(widenedHigh(v)));
  }
};
#endif

// ---- where vectors come from and go to

template <class T>
using Full = Vec<T, kLanes<T>>;

template <class T>
struct FromOne {
  const T* p;
  MOX_INLINE Full<T> at(size_t i) const { return load<Full<T>>(p + i); }
  MOX_INLINE Full<T> few(size_t n) const { return loadFew(p, n); }
  MOX_INLINE void prefetch(size_t i) const { __builtin_prefetch(p + i); }
  MOX_INLINE void advance(size_t n) { p += n; }
};
template <class T>
struct ToOne {
  T* p;
  MOX_INLINE void put(size_t i, Full<T> v) const { store(p + i, v); }
  MOX_INLINE void putFew(size_t n, Full<T> v) const { storeFew(p, v, n); }
  MOX_INLINE void advance(size_t n) { p += n; }
};

template <class T>
struct FromTwo {
  const T *p, *q;
  MOX_INLINE Pair<Full<T>> at(size_t i) const { return {load<Full<T>>(p + i), load<Full<T>>(q + i)}; }
  MOX_INLINE Pair<Full<T>> few(size_t n) const { return {loadFew(p, n), loadFew(q, n)}; }
  MOX_INLINE void prefetch(size_t i) const {
    __builtin_prefetch(p + i);
    __builtin_prefetch(q + i);
  }
  MOX_INLINE void advance(size_t n) { p += n, q += n; }
};
template <class T>
struct ToTwo {
  T *p, *q;
  MOX_INLINE void put(size_t i, Pair<Full<T>> v) const {
    store(p + i, v.a);
    store(q + i, v.b);
  }
  MOX_INLINE void putFew(size_t n, Pair<Full<T>> v) const {
    storeFew(p, v.a, n);
    storeFew(q, v.b, n);
  }
  MOX_INLINE void advance(size_t n) { p += n, q += n; }
};

// The even and the odd elements of two vectors, and back.
#if MOX_VEC_BYTES == 64
MOX_INLINE Pair<Vec<float, 16>> unzipped(Vec<float, 16> v, Vec<float, 16> w) {
  const __m512i even = _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
  const __m512i odd = _mm512_setr_epi32(1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
  return {_mm512_permutex2var_ps(v, even, w), _mm512_permutex2var_ps(v, odd, w)};
}
MOX_INLINE Pair<Vec<double, 8>> unzipped(Vec<double, 8> v, Vec<double, 8> w) {
  const __m512i even = _mm512_setr_epi64(0, 2, 4, 6, 8, 10, 12, 14);
  const __m512i odd = _mm512_setr_epi64(1, 3, 5, 7, 9, 11, 13, 15);
  return {_mm512_permutex2var_pd(v, even, w), _mm512_permutex2var_pd(v, odd, w)};
}
MOX_INLINE Pair<Vec<float, 16>> zipped(Pair<Vec<float, 16>> p) {
  const __m512i low = _mm512_setr_epi32(0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
  const __m512i high = _mm512_setr_epi32(8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
  return {_mm512_permutex2var_ps(p.a, low, p.b), _mm512_permutex2var_ps(p.a, high, p.b)};
}
MOX_INLINE Pair<Vec<double, 8>> zipped(Pair<Vec<double, 8>> p) {
  const __m512i low = _mm512_setr_epi64(0, 8, 1, 9, 2, 10, 3, 11), high = _mm512_setr_epi64(4, 12, 5, 13, 6, 14, 7, 15);
  return {_mm512_permutex2var_pd(p.a, low, p.b), _mm512_permutex2var_pd(p.a, high, p.b)};
}
#elif MOX_VEC_BYTES == 32
MOX_INLINE Pair<Vec<float, 8>> unzipped(Vec<float, 8> v, Vec<float, 8> w) {
  const __m256 low = _mm256_permute2f128_ps(v, w, 0x20), high = _mm256_permute2f128_ps(v, w, 0x31);
  return {_mm256_shuffle_ps(low, high, 0x88), _mm256_shuffle_ps(low, high, 0xdd)};
}
MOX_INLINE Pair<Vec<double, 4>> unzipped(Vec<double, 4> v, Vec<double, 4> w) {
  const __m256d low = _mm256_permute2f128_pd(v, w, 0x20), high = _mm256_permute2f128_pd(v, w, 0x31);
  return {_mm256_unpacklo_pd(low, high), _mm256_unpackhi_pd(low, high)};
}
// (Integer interleaves: those of floats have one port, these two.)
MOX_INLINE Pair<Vec<float, 8>> zipped(Pair<Vec<float, 8>> p) {
  const __m256i a = _mm256_castps_si256(p.a), b = _mm256_castps_si256(p.b);
  const __m256 low = _mm256_castsi256_ps(_mm256_unpacklo_epi32(a, b));
  const __m256 high = _mm256_castsi256_ps(_mm256_unpackhi_epi32(a, b));
  return {_mm256_permute2f128_ps(low, high, 0x20), _mm256_permute2f128_ps(low, high, 0x31)};
}
MOX_INLINE Pair<Vec<double, 4>> zipped(Pair<Vec<double, 4>> p) {
  const __m256i a = _mm256_castpd_si256(p.a), b = _mm256_castpd_si256(p.b);
  const __m256d low = _mm256_castsi256_pd(_mm256_unpacklo_epi64(a, b));
  const __m256d high = _mm256_castsi256_pd(_mm256_unpackhi_epi64(a, b));
  return {_mm256_permute2f128_pd(low, high, 0x20), _mm256_permute2f128_pd(low, high, 0x31)};
}
#else
MOX_INLINE Pair<Vec<float, 4>> unzipped(Vec<float, 4> v, Vec<float, 4> w) {
  return {_mm_shuffle_ps(v, w, 0x88), _mm_shuffle_ps(v, w, 0xdd)};
}
MOX_INLINE Pair<Vec<double, 2>> unzipped(Vec<double, 2> v, Vec<double, 2> w) {
  return {_mm_unpacklo_pd(v, w), _mm_unpackhi_pd(v, w)};
}
MOX_INLINE Pair<Vec<float, 4>> zipped(Pair<Vec<float, 4>> p) {
  return {_mm_unpacklo_ps(p.a, p.b), _mm_unpackhi_ps(p.a, p.b)};
}
MOX_INLINE Pair<Vec<double, 2>> zipped(Pair<Vec<double, 2>> p) {
  return {_mm_unpacklo_pd(p.a, p.b), _mm_unpackhi_pd(p.a, p.b)};
}
#endif

// The same from memory. With 32-byte vectors the halves are put together by loads, which spares the one shuffle unit.
#if MOX_VEC_BYTES == 32
MOX_INLINE Pair<Vec<float, 8>> loadUnzipped(const float* p) {
  const __m256 low = _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(p)), _mm_loadu_ps(p + 8), 1);
  const __m256 high = _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(p + 4)), _mm_loadu_ps(p + 12), 1);
  return {_mm256_shuffle_ps(low, high, 0x88), _mm256_shuffle_ps(low, high, 0xdd)};
}
MOX_INLINE Pair<Vec<double, 4>> loadUnzipped(const double* p) {
  const __m256d low = _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(p)), _mm_loadu_pd(p + 4), 1);
  const __m256d high = _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(p + 2)), _mm_loadu_pd(p + 6), 1);
  return {_mm256_unpacklo_pd(low, high), _mm256_unpackhi_pd(low, high)};
}
#else
template <class T>
MOX_INLINE Pair<Full<T>> loadUnzipped(const T* p) {
  return unzipped(load<Full<T>>(p), load<Full<T>>(p + kLanes<T>));
}
#endif

// n complex values as 2n reals.
template <class T>
struct FromComplex {
  static constexpr size_t N = kLanes<T>;
  const T* p;
  MOX_INLINE Pair<Full<T>> at(size_t i) const { return loadUnzipped(p + 2 * i); }
  MOX_INLINE Pair<Full<T>> few(size_t n) const {
    const Full<T> ones = broadcast<Full<T>>(1);
    if (2 * n < N) return unzipped(loadFew(p, 2 * n), ones);
    return unzipped(load<Full<T>>(p), 2 * n == N ? ones : loadFew(p + N, 2 * n - N));
  }
  MOX_INLINE void prefetch(size_t i) const {
    __builtin_prefetch(p + 2 * i);
    __builtin_prefetch(p + 2 * i + N);
  }
  MOX_INLINE void advance(size_t n) { p += 2 * n; }
};
template <class T>
struct ToComplex {
  static constexpr size_t N = kLanes<T>;
  T* p;
  MOX_INLINE void put(size_t i, Pair<Full<T>> v) const {
    const Pair<Full<T>> z = zipped(v);
    store(p + 2 * i, z.a);
    store(p + 2 * i + N, z.b);
  }
  MOX_INLINE void putFew(size_t n, Pair<Full<T>> v) const {
    const Pair<Full<T>> z = zipped(v);
    if (2 * n < N) return storeFew(p, z.a, 2 * n);
    store(p, z.a);
    if (2 * n > N) storeFew(p + N, z.b, 2 * n - N);
  }
  MOX_INLINE void advance(size_t n) { p += 2 * n; }
};

// ---- the loops

template <class F, class From>
MOX_INLINE bool allPlain(From from, size_t n) {
  constexpr size_t N = kLanes<typename F::Type>;
  typename F::Inspect inspect{};
  for (size_t i = 0; i + N < n; i += N) inspect.look(from.at(i));
  inspect.look(from.at(n - N));
  return inspect.allPlain();
}

template <class F, bool Careful, class V>
MOX_INLINE auto valueOf(V x) {
  if constexpr (Careful) {
    return F::careful(x);
  } else {
    return F::plain(x);
  }
}

// n elements, at least one vector. The last vector overlaps the one before; in place, its input is gone after the loop.
// Meanwhile the elements `ahead` are fetched into the cache: else the next inspection would wait for memory.
template <class F, bool Careful, class From, class To>
MOX_INLINE void evaluate(From from, To to, size_t n, size_t ahead) {
  constexpr size_t N = kLanes<typename F::Type>;
  const auto last = valueOf<F, Careful>(from.at(n - N));
  for (size_t i = 0; i + N < n; i += N) {
    from.prefetch(i + ahead);
    to.put(i, valueOf<F, Careful>(from.at(i)));
  }
  to.put(n - N, last);
}

template <class F, class From, class To>
MOX_NOINLINE void carefulBlock(From from, To to, size_t n) {
  evaluate<F, true>(from, to, n, 0);
}

template <class F, class From, class To>
MOX_NOINLINE void mapBlock(From from, To to, size_t n, size_t ahead) {
  if (!allPlain<F>(from, n)) return carefulBlock<F>(from, to, n);
  evaluate<F, false>(from, to, n, ahead);
}

template <class F, class From, class To>
MOX_NOINLINE void mapFew(From from, To to, size_t n) {
  const auto x = from.few(n);
  typename F::Inspect inspect{};
  inspect.look(x);
  to.putFew(n, inspect.allPlain() ? F::plain(x) : F::careful(x));
}

template <class F, class From, class To>
MOX_INLINE void mapFunction(From from, To to, size_t n) {
  constexpr size_t N = kLanes<typename F::Type>;
  if (n < N) return mapFew<F>(from, to, n);
  for (; n >= kBlock + N; n -= kBlock) {
    mapBlock<F>(from, to, kBlock, kBlock);
    from.advance(kBlock);
    to.advance(kBlock);
  }
  mapBlock<F>(from, to, n, 0);
}
