// Fixed-size vectors of one instruction set. Included once per set, inside that set's namespace and target region,
// after all headers; the set defines MOX_VEC_BYTES (16, 32 or 64) and MOX_HAS_FMA (0 or 1).
//
// A Vec is a compiler vector: + - * / and comparisons are the language's own. Everything else has a name here.

constexpr int kVecBytes = MOX_VEC_BYTES;
constexpr bool kHasFma = MOX_HAS_FMA;
#if defined(__x86_64__)
constexpr int kRegisters = kVecBytes == 64 ? 32 : 16;
#else
constexpr int kRegisters = 8;
#endif

template <class T, int N>
struct VecOf {
  typedef T type __attribute__((vector_size(sizeof(T) * N)));
};
template <class T, int N>
using Vec = typename VecOf<T, N>::type;

// Elements of the widest vector of this set.
template <class T>
constexpr int kLanes = kVecBytes / static_cast<int>(sizeof(T));

template <class V>
using ElementOf = std::remove_cv_t<std::remove_reference_t<decltype(std::declval<V&>()[0])>>;

template <class V>
MOX_INLINE V load(const ElementOf<V>* p) {
  V v;
  __builtin_memcpy(&v, p, sizeof v);
  return v;
}

// From a multiple of the vector's size: what instructions of 16 bytes take as an operand in memory.
template <class V>
MOX_INLINE V loadAligned(const ElementOf<V>* p) {
  return load<V>(static_cast<const ElementOf<V>*>(__builtin_assume_aligned(p, sizeof(V))));
}

template <class V>
MOX_INLINE void store(ElementOf<V>* p, V v) {
  __builtin_memcpy(p, &v, sizeof v);
}

#if MOX_VEC_BYTES >= 32
// Half a vector from memory in both halves: a load and no shuffle.
template <class V>
MOX_INLINE V loadTwice(const ElementOf<V>* p);
template <>
MOX_INLINE Vec<double, 4> loadTwice<Vec<double, 4>>(const double* p) {
  return _mm256_broadcast_pd(reinterpret_cast<const __m128d*>(p));
}
#endif
#if MOX_VEC_BYTES == 64
template <>
MOX_INLINE Vec<float, 16> loadTwice<Vec<float, 16>>(const float* p) {
  return _mm512_maskz_broadcast_f32x8(0xffff, _mm256_loadu_ps(p));
}
template <>
MOX_INLINE Vec<double, 8> loadTwice<Vec<double, 8>>(const double* p) {
  return _mm512_maskz_broadcast_f64x4(0xff, _mm256_loadu_pd(p));
}
#endif

// Keeps a loaded value in its register: GCC would rather load it again for its second use, and processors that do three
// vector operations a cycle are short of loads (float64, order 9, radix 8: 21.2 and 20.1 cycles for 8 vectors).
template <class V>
MOX_INLINE V pinned(V v) {
#if MOX_VEC_BYTES == 64
  asm("" : "+v"(v));
#elif defined(__x86_64__)  // else there are too few registers
  asm("" : "+x"(v));
#endif
  return v;
}

// One element, of memory that may hold another type.
template <class T>
MOX_INLINE T loadOne(const T* p) {
  T x;
  __builtin_memcpy(&x, p, sizeof x);
  return x;
}
template <class T>
MOX_INLINE void storeOne(T* p, T x) {
  __builtin_memcpy(p, &x, sizeof x);
}

template <class V>
MOX_INLINE V broadcast(ElementOf<V> x) {
  return x - V{};
}

// (x, -x, x, -x ...)
template <class V>
MOX_INLINE V alternating(ElementOf<V> x) {
  V v = broadcast<V>(x);
#pragma GCC unroll 16
  for (unsigned i = 1; i < sizeof(V) / sizeof(x); i += 2) v[i] = -x;
  return v;
}

// a*b + c with one rounding where the set has fused multiply-add, with two where it has not.
#if MOX_HAS_FMA
MOX_INLINE Vec<float, 4> fma(Vec<float, 4> a, Vec<float, 4> b, Vec<float, 4> c) { return _mm_fmadd_ps(a, b, c); }
MOX_INLINE Vec<double, 2> fma(Vec<double, 2> a, Vec<double, 2> b, Vec<double, 2> c) { return _mm_fmadd_pd(a, b, c); }
MOX_INLINE Vec<float, 8> fma(Vec<float, 8> a, Vec<float, 8> b, Vec<float, 8> c) { return _mm256_fmadd_ps(a, b, c); }
MOX_INLINE Vec<double, 4> fma(Vec<double, 4> a, Vec<double, 4> b, Vec<double, 4> c) { return _mm256_fmadd_pd(a, b, c); }
#  if MOX_VEC_BYTES == 64
MOX_INLINE Vec<float, 16> fma(Vec<float, 16> a, Vec<float, 16> b, Vec<float, 16> c) { return _mm512_fmadd_ps(a, b, c); }
MOX_INLINE Vec<double, 8> fma(Vec<double, 8> a, Vec<double, 8> b, Vec<double, 8> c) { return _mm512_fmadd_pd(a, b, c); }
#  endif
#else
template <class V>
MOX_INLINE V fma(V a, V b, V c) {
  return a * b + c;
}
#endif

// a*b - c, rounded like fma().
#if MOX_HAS_FMA
MOX_INLINE Vec<float, 8> fms(Vec<float, 8> a, Vec<float, 8> b, Vec<float, 8> c) { return _mm256_fmsub_ps(a, b, c); }
MOX_INLINE Vec<double, 4> fms(Vec<double, 4> a, Vec<double, 4> b, Vec<double, 4> c) { return _mm256_fmsub_pd(a, b, c); }
#  if MOX_VEC_BYTES == 64
MOX_INLINE Vec<float, 16> fms(Vec<float, 16> a, Vec<float, 16> b, Vec<float, 16> c) { return _mm512_fmsub_ps(a, b, c); }
MOX_INLINE Vec<double, 8> fms(Vec<double, 8> a, Vec<double, 8> b, Vec<double, 8> c) { return _mm512_fmsub_pd(a, b, c); }
#  endif
#else
template <class V>
MOX_INLINE V fms(V a, V b, V c) {
  return a * b - c;
}
#endif

// c - a*b, rounded like fma().
template <class V>
MOX_INLINE V fnma(V a, V b, V c) {
  if constexpr (kHasFma) return fma(-a, b, c);
  return c - a * b;  // shares the product with an fma()
}

// Exact widening and rounding narrowing of the same number of elements. __builtin_convertvector between sizes is
// lowered in pieces by GCC 12 (217 against 94 ns for a dot product of 1024), so each pair is spelled out.
MOX_INLINE Vec<double, 2> widenLow(Vec<float, 4> v) { return _mm_cvtps_pd(v); }
MOX_INLINE Vec<float, 4> narrow(Vec<double, 2> v) { return _mm_cvtpd_ps(v); }  // upper half zero
#if MOX_VEC_BYTES >= 32
MOX_INLINE Vec<double, 4> widen(Vec<float, 4> v) { return _mm256_cvtps_pd(v); }
MOX_INLINE Vec<float, 4> narrow(Vec<double, 4> v) { return _mm256_cvtpd_ps(v); }
#endif
#if MOX_VEC_BYTES == 64
MOX_INLINE Vec<double, 8> widen(Vec<float, 8> v) { return _mm512_maskz_cvtps_pd(0xff, v); }
MOX_INLINE Vec<float, 8> narrow(Vec<double, 8> v) { return _mm512_maskz_cvtpd_ps(0xff, v); }
#endif

// Vectors of complex values, (re, im) pairs.

// Exchanges the two parts of every value. Integer shuffles of 16 and 32 bytes, and integer interleaves below, have two
// ports on processors where those of floats have one.
MOX_INLINE Vec<float, 4> swapParts(Vec<float, 4> v) {
  return _mm_castsi128_ps(_mm_shuffle_epi32(_mm_castps_si128(v), 0xb1));
}
MOX_INLINE Vec<double, 2> swapParts(Vec<double, 2> v) {
  return _mm_castsi128_pd(_mm_shuffle_epi32(_mm_castpd_si128(v), 0x4e));
}
#if MOX_VEC_BYTES >= 32
MOX_INLINE Vec<float, 8> swapParts(Vec<float, 8> v) {
  return _mm256_castsi256_ps(_mm256_shuffle_epi32(_mm256_castps_si256(v), 0xb1));
}
MOX_INLINE Vec<double, 4> swapParts(Vec<double, 4> v) {
  return _mm256_castsi256_pd(_mm256_shuffle_epi32(_mm256_castpd_si256(v), 0x4e));
}
#endif
#if MOX_VEC_BYTES == 64
MOX_INLINE Vec<float, 16> swapParts(Vec<float, 16> v) {
  return __builtin_shufflevector(v, v, 1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14);
}
MOX_INLINE Vec<double, 8> swapParts(Vec<double, 8> v) { return __builtin_shufflevector(v, v, 1, 0, 3, 2, 5, 4, 7, 6); }
#endif

// The lower (upper) complex float32 value of every 16 bytes of a, then that of b.
MOX_INLINE Vec<float, 4> lowerPairs(Vec<float, 4> a, Vec<float, 4> b) {
  return _mm_castsi128_ps(_mm_unpacklo_epi64(_mm_castps_si128(a), _mm_castps_si128(b)));
}
MOX_INLINE Vec<float, 4> upperPairs(Vec<float, 4> a, Vec<float, 4> b) {
  return _mm_castsi128_ps(_mm_unpackhi_epi64(_mm_castps_si128(a), _mm_castps_si128(b)));
}
#if MOX_VEC_BYTES >= 32
MOX_INLINE Vec<float, 8> lowerPairs(Vec<float, 8> a, Vec<float, 8> b) {
  return _mm256_castsi256_ps(_mm256_unpacklo_epi64(_mm256_castps_si256(a), _mm256_castps_si256(b)));
}
MOX_INLINE Vec<float, 8> upperPairs(Vec<float, 8> a, Vec<float, 8> b) {
  return _mm256_castsi256_ps(_mm256_unpackhi_epi64(_mm256_castps_si256(a), _mm256_castps_si256(b)));
}
#endif

#if MOX_VEC_BYTES == 64
MOX_INLINE Vec<float, 16> lowerPairs(Vec<float, 16> a, Vec<float, 16> b) {
  return __builtin_shufflevector(a, b, 0, 1, 16, 17, 4, 5, 20, 21, 8, 9, 24, 25, 12, 13, 28, 29);
}
MOX_INLINE Vec<float, 16> upperPairs(Vec<float, 16> a, Vec<float, 16> b) {
  return __builtin_shufflevector(a, b, 2, 3, 18, 19, 6, 7, 22, 23, 10, 11, 26, 27, 14, 15, 30, 31);
}
#endif

// The real (imaginary) part of every value in both places.
MOX_INLINE Vec<float, 4> realParts(Vec<float, 4> v) { return __builtin_shufflevector(v, v, 0, 0, 2, 2); }
MOX_INLINE Vec<double, 2> realParts(Vec<double, 2> v) { return __builtin_shufflevector(v, v, 0, 0); }
#if MOX_VEC_BYTES >= 32
MOX_INLINE Vec<float, 8> realParts(Vec<float, 8> v) { return __builtin_shufflevector(v, v, 0, 0, 2, 2, 4, 4, 6, 6); }
MOX_INLINE Vec<double, 4> realParts(Vec<double, 4> v) {
  return _mm256_castsi256_pd(_mm256_shuffle_epi32(_mm256_castpd_si256(v), 0x44));
}
#endif
#if MOX_VEC_BYTES == 64
MOX_INLINE Vec<float, 16> realParts(Vec<float, 16> v) {
  return __builtin_shufflevector(v, v, 0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14);
}
MOX_INLINE Vec<double, 8> realParts(Vec<double, 8> v) { return __builtin_shufflevector(v, v, 0, 0, 2, 2, 4, 4, 6, 6); }
#endif
MOX_INLINE Vec<float, 4> imagParts(Vec<float, 4> v) { return __builtin_shufflevector(v, v, 1, 1, 3, 3); }
MOX_INLINE Vec<double, 2> imagParts(Vec<double, 2> v) { return __builtin_shufflevector(v, v, 1, 1); }
#if MOX_VEC_BYTES >= 32
MOX_INLINE Vec<float, 8> imagParts(Vec<float, 8> v) { return __builtin_shufflevector(v, v, 1, 1, 3, 3, 5, 5, 7, 7); }
MOX_INLINE Vec<double, 4> imagParts(Vec<double, 4> v) {
  return _mm256_castsi256_pd(_mm256_shuffle_epi32(_mm256_castpd_si256(v), 0xee));
}
#endif
#if MOX_VEC_BYTES == 64
MOX_INLINE Vec<float, 16> imagParts(Vec<float, 16> v) {
  return __builtin_shufflevector(v, v, 1, 1, 3, 3, 5, 5, 7, 7, 9, 9, 11, 11, 13, 13, 15, 15);
}
MOX_INLINE Vec<double, 8> imagParts(Vec<double, 8> v) { return __builtin_shufflevector(v, v, 1, 1, 3, 3, 5, 5, 7, 7); }
#endif

// a*b - c in the real and a*b + c in the imaginary parts (D = 1), or the reverse (D = -1), rounded like fma().
#if MOX_HAS_FMA
template <int D>
MOX_INLINE Vec<float, 4> fmaAlternating(Vec<float, 4> a, Vec<float, 4> b, Vec<float, 4> c) {
  return D > 0 ? _mm_fmaddsub_ps(a, b, c) : _mm_fmsubadd_ps(a, b, c);
}
template <int D>
MOX_INLINE Vec<double, 2> fmaAlternating(Vec<double, 2> a, Vec<double, 2> b, Vec<double, 2> c) {
  return D > 0 ? _mm_fmaddsub_pd(a, b, c) : _mm_fmsubadd_pd(a, b, c);
}
template <int D>
MOX_INLINE Vec<float, 8> fmaAlternating(Vec<float, 8> a, Vec<float, 8> b, Vec<float, 8> c) {
  return D > 0 ? _mm256_fmaddsub_ps(a, b, c) : _mm256_fmsubadd_ps(a, b, c);
}
template <int D>
MOX_INLINE Vec<double, 4> fmaAlternating(Vec<double, 4> a, Vec<double, 4> b, Vec<double, 4> c) {
  return D > 0 ? _mm256_fmaddsub_pd(a, b, c) : _mm256_fmsubadd_pd(a, b, c);
}
#  if MOX_VEC_BYTES == 64
template <int D>
MOX_INLINE Vec<float, 16> fmaAlternating(Vec<float, 16> a, Vec<float, 16> b, Vec<float, 16> c) {
  return D > 0 ? _mm512_fmaddsub_ps(a, b, c) : _mm512_fmsubadd_ps(a, b, c);
}
template <int D>
MOX_INLINE Vec<double, 8> fmaAlternating(Vec<double, 8> a, Vec<double, 8> b, Vec<double, 8> c) {
  return D > 0 ? _mm512_fmaddsub_pd(a, b, c) : _mm512_fmsubadd_pd(a, b, c);
}
#  endif
#else
template <int D>
MOX_INLINE Vec<float, 4> fmaAlternating(Vec<float, 4> a, Vec<float, 4> b, Vec<float, 4> c) {
  const Vec<float, 4> flipped = _mm_xor_ps(c, Vec<float, 4>{-0.0f, 0, -0.0f, 0});
  return D > 0 ? a * b + flipped : a * b - flipped;
}
template <int D>
MOX_INLINE Vec<double, 2> fmaAlternating(Vec<double, 2> a, Vec<double, 2> b, Vec<double, 2> c) {
  const Vec<double, 2> flipped = _mm_xor_pd(c, Vec<double, 2>{-0.0, 0});
  return D > 0 ? a * b + flipped : a * b - flipped;
}
#endif

// v w (D = 1) or v conj(w) (D = -1).
template <int D, class V>
MOX_INLINE V timesRoot(V v, V w) {
  return fmaAlternating<D>(v, realParts(w), swapParts(v) * imagParts(w));
}

// The real (imaginary) parts of the values at p, twice each. These loads duplicate for nothing where a shuffle would
// take a slot of the arithmetic units; the float64 one reads one element beyond the values.
template <class V>
MOX_INLINE V realPartsAt(const ElementOf<V>* p) {
  return realParts(load<V>(p));
}
template <class V>
MOX_INLINE V imagPartsAt(const ElementOf<V>* p) {
  return imagParts(load<V>(p));
}
#if MOX_VEC_BYTES >= 32
template <>
MOX_INLINE Vec<float, 8> realPartsAt<Vec<float, 8>>(const float* p) {
  return _mm256_moveldup_ps(load<Vec<float, 8>>(p));
}
template <>
MOX_INLINE Vec<float, 8> imagPartsAt<Vec<float, 8>>(const float* p) {
  return _mm256_movehdup_ps(load<Vec<float, 8>>(p));
}
template <>
MOX_INLINE Vec<double, 4> realPartsAt<Vec<double, 4>>(const double* p) {
  return _mm256_movedup_pd(load<Vec<double, 4>>(p));
}
template <>
MOX_INLINE Vec<double, 4> imagPartsAt<Vec<double, 4>>(const double* p) {
  return _mm256_movedup_pd(load<Vec<double, 4>>(p + 1));
}
#endif
#if MOX_VEC_BYTES == 64
template <>
MOX_INLINE Vec<float, 16> realPartsAt<Vec<float, 16>>(const float* p) {
  return _mm512_maskz_moveldup_ps(0xffff, load<Vec<float, 16>>(p));
}
template <>
MOX_INLINE Vec<float, 16> imagPartsAt<Vec<float, 16>>(const float* p) {
  return _mm512_maskz_movehdup_ps(0xffff, load<Vec<float, 16>>(p));
}
template <>
MOX_INLINE Vec<double, 8> realPartsAt<Vec<double, 8>>(const double* p) {
  return _mm512_maskz_movedup_pd(0xff, load<Vec<double, 8>>(p));
}
template <>
MOX_INLINE Vec<double, 8> imagPartsAt<Vec<double, 8>>(const double* p) {
  return _mm512_maskz_movedup_pd(0xff, load<Vec<double, 8>>(p + 1));
}
#endif

// The roots of one vector in a table: (re, im) pairs, or ready, which is twice as much to load but spares float64 the
// misaligned load: (re, re) pairs and then (im, im) pairs; (-im, im) without fused multiply-add, whose alternating form
// brings the signs, and which always wants them ready.
template <class V, bool Ready>
constexpr int kRootElements = (Ready || !kHasFma ? 2 : 1) * static_cast<int>(sizeof(V) / sizeof(ElementOf<V>));

template <class V, bool Ready>
void storeRoot(ElementOf<V> re, ElementOf<V> im, int lane, ElementOf<V>* w) {
  constexpr int n = sizeof(V) / sizeof(re);
  w += 2 * lane;
  w[0] = re;
  w[1] = im;
  if constexpr (kRootElements<V, Ready> == 2 * n) {
    w[1] = re;
    w[n] = kHasFma ? im : -im;
    w[n + 1] = im;
  }
}

// timesRoot() with the roots in a table at a multiple of the vector's size; of two values where `swapped` has not the
// parts of v: v Re w + i u Im w, where swapped = swapParts(u).
template <int D, bool Ready, class V>
MOX_INLINE V timesRootAt(V v, V swapped, const ElementOf<V>* w) {
  constexpr int n = sizeof(V) / sizeof(*w);
  if constexpr (!kHasFma) {
    const V cross = swapped * loadAligned<V>(w + n);
    return D > 0 ? v * loadAligned<V>(w) + cross : v * loadAligned<V>(w) - cross;
  } else if constexpr (Ready) {
    return fmaAlternating<D>(v, load<V>(w), swapped * load<V>(w + n));
  } else {
    return fmaAlternating<D>(v, realPartsAt<V>(w), swapped * imagPartsAt<V>(w));
  }
}
template <int D, bool Ready, class V>
MOX_INLINE V timesRootAt(V v, const ElementOf<V>* w) {
  return timesRootAt<D, Ready>(v, swapParts(v), w);
}

// A root from a table, and -i times that: without fused multiply-add another root, for its signs, else the same one.
template <class V, bool Ready>
constexpr int kRootPairElements = (kHasFma ? 1 : 2) * kRootElements<V, Ready>;

template <class V, bool Ready>
void storeRootPair(ElementOf<V> re, ElementOf<V> im, int lane, ElementOf<V>* w) {
  storeRoot<V, Ready>(re, im, lane, w);
  if (!kHasFma) storeRoot<V, Ready>(im, -re, lane, w + kRootElements<V, Ready>);
}

// timesRootAt() of two values with -i w instead, from a root and -i times that.
template <int D, bool Ready, class V>
MOX_INLINE V timesTurnedRootAt(V v, V swapped, const ElementOf<V>* w) {
  constexpr int n = sizeof(V) / sizeof(*w);
  if constexpr (!kHasFma) {
    return timesRootAt<D, Ready>(v, swapped, w + kRootElements<V, Ready>);
  } else if constexpr (Ready) {
    return fmaAlternating<-D>(v, load<V>(w + n), swapped * load<V>(w));
  } else {
    return fmaAlternating<-D>(v, imagPartsAt<V>(w), swapped * realPartsAt<V>(w));
  }
}

// a - i b (D = 1) or a + i b (D = -1); exact products, one rounding.
template <int D, class V>
MOX_INLINE V minusI(V a, V b) {
  return fmaAlternating<-D>(a, broadcast<V>(1), swapParts(b));
}

// The pairs (re[0], im[0]), (re[1], im[1]), ... that fill V, and the reverse.
template <class V>
MOX_INLINE V interleaved(const ElementOf<V>* re, const ElementOf<V>* im);
MOX_INLINE void deinterleave(Vec<double, 2> v, double* re, double* im) {
  *re = v[0];
  *im = v[1];
}
template <>
MOX_INLINE Vec<double, 2> interleaved<Vec<double, 2>>(const double* re, const double* im) {
  return Vec<double, 2>{*re, *im};
}
MOX_INLINE void deinterleave(Vec<float, 4> v, float* re, float* im) {
  const Vec<float, 4> parts = __builtin_shufflevector(v, v, 0, 2, 1, 3);
  _mm_storel_pi(reinterpret_cast<__m64*>(re), parts);
  _mm_storeh_pi(reinterpret_cast<__m64*>(im), parts);
}
template <>
MOX_INLINE Vec<float, 4> interleaved<Vec<float, 4>>(const float* re, const float* im) {
  const Vec<float, 4> r = _mm_loadl_pi(Vec<float, 4>{}, reinterpret_cast<const __m64*>(re));
  const Vec<float, 4> i = _mm_loadl_pi(Vec<float, 4>{}, reinterpret_cast<const __m64*>(im));
  return _mm_unpacklo_ps(r, i);
}
#if MOX_VEC_BYTES >= 32
// Two halves from memory, or to it: that leaves the port of the crossing shuffles free.
MOX_INLINE Vec<double, 4> loadHalves(const double* low, const double* high) {
  return _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(low)), _mm_loadu_pd(high), 1);
}
MOX_INLINE Vec<float, 8> loadHalves(const float* low, const float* high) {
  return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(low)), _mm_loadu_ps(high), 1);
}
MOX_INLINE void storeHalves(Vec<double, 4> v, double* low, double* high) {
  _mm_storeu_pd(low, _mm256_castpd256_pd128(v));
  _mm_storeu_pd(high, _mm256_extractf128_pd(v, 1));
}
MOX_INLINE void storeHalves(Vec<float, 8> v, float* low, float* high) {
  _mm_storeu_ps(low, _mm256_castps256_ps128(v));
  _mm_storeu_ps(high, _mm256_extractf128_ps(v, 1));
}

template <>
MOX_INLINE Vec<float, 8> interleaved<Vec<float, 8>>(const float* re, const float* im) {
  const Vec<float, 8> v = loadHalves(re, im);
  return __builtin_shufflevector(v, v, 0, 4, 1, 5, 2, 6, 3, 7);
}
template <>
MOX_INLINE Vec<double, 4> interleaved<Vec<double, 4>>(const double* re, const double* im) {
  const Vec<double, 4> v = loadHalves(re, im);
  return __builtin_shufflevector(v, v, 0, 2, 1, 3);
}
MOX_INLINE void deinterleave(Vec<float, 8> v, float* re, float* im) {
  storeHalves(__builtin_shufflevector(v, v, 0, 2, 4, 6, 1, 3, 5, 7), re, im);
}
MOX_INLINE void deinterleave(Vec<double, 4> v, double* re, double* im) {
  storeHalves(__builtin_shufflevector(v, v, 0, 2, 1, 3), re, im);
}
#endif
#if MOX_VEC_BYTES == 64
template <>
MOX_INLINE Vec<float, 16> interleaved<Vec<float, 16>>(const float* re, const float* im) {
  const Vec<float, 16> r = _mm512_castps256_ps512(_mm256_loadu_ps(re));
  const Vec<float, 16> i = _mm512_castps256_ps512(_mm256_loadu_ps(im));
  return __builtin_shufflevector(r, i, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
}
template <>
MOX_INLINE Vec<double, 8> interleaved<Vec<double, 8>>(const double* re, const double* im) {
  const Vec<double, 8> r = _mm512_castpd256_pd512(_mm256_loadu_pd(re));
  const Vec<double, 8> i = _mm512_castpd256_pd512(_mm256_loadu_pd(im));
  return __builtin_shufflevector(r, i, 0, 8, 1, 9, 2, 10, 3, 11);
}
MOX_INLINE void deinterleave(Vec<float, 16> v, float* re, float* im) {
  const Vec<float, 16> w = __builtin_shufflevector(v, v, 0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15);
  store<Vec<float, 8>>(re, __builtin_shufflevector(w, w, 0, 1, 2, 3, 4, 5, 6, 7));
  store<Vec<float, 8>>(im, __builtin_shufflevector(w, w, 8, 9, 10, 11, 12, 13, 14, 15));
}
MOX_INLINE void deinterleave(Vec<double, 8> v, double* re, double* im) {
  const Vec<double, 8> w = __builtin_shufflevector(v, v, 0, 2, 4, 6, 1, 3, 5, 7);
  store<Vec<double, 4>>(re, __builtin_shufflevector(w, w, 0, 1, 2, 3));
  store<Vec<double, 4>>(im, __builtin_shufflevector(w, w, 4, 5, 6, 7));
}
#endif
