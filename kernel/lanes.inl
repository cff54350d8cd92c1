// What functions of whole vectors need beyond arithmetic: vectors that a short array fills in part, halves in float64,
// bits, and tests of the bits of a whole array.

// The n values at p (0 < n < lanes), the other lanes 1.
template <class T>
MOX_INLINE Vec<T, kLanes<T>> loadFew(const T* p, size_t n);
// The first n lanes.
template <class T>
MOX_INLINE void storeFew(T* p, Vec<T, kLanes<T>> v, size_t n);

#if MOX_VEC_BYTES == 64
template <>
MOX_INLINE Vec<float, 16> loadFew(const float* p, size_t n) {
  return _mm512_mask_loadu_ps(_mm512_set1_ps(1), static_cast<__mmask16>((1u << n) - 1), p);
}
template <>
MOX_INLINE void storeFew(float* p, Vec<float, 16> v, size_t n) {
  _mm512_mask_storeu_ps(p, static_cast<__mmask16>((1u << n) - 1), v);
}
template <>
MOX_INLINE Vec<double, 8> loadFew(const double* p, size_t n) {
  return _mm512_mask_loadu_pd(_mm512_set1_pd(1), static_cast<__mmask8>((1u << n) - 1), p);
}
template <>
MOX_INLINE void storeFew(double* p, Vec<double, 8> v, size_t n) {
  _mm512_mask_storeu_pd(p, static_cast<__mmask8>((1u << n) - 1), v);
}
#elif MOX_VEC_BYTES == 32
MOX_INLINE Vec<int32_t, 8> fewOf(const float*, size_t n) {
  return Vec<int32_t, 8>{0, 1, 2, 3, 4, 5, 6, 7} < broadcast<Vec<int32_t, 8>>(static_cast<int32_t>(n));
}
MOX_INLINE Vec<int32_t, 8> fewOf(const double*, size_t n) {
  return Vec<int32_t, 8>{0, 0, 1, 1, 2, 2, 3, 3} < broadcast<Vec<int32_t, 8>>(static_cast<int32_t>(n));
}
template <>
MOX_INLINE Vec<float, 8> loadFew(const float* p, size_t n) {
  const __m256i mask = reinterpret_cast<__m256i>(fewOf(p, n));
  return _mm256_blendv_ps(_mm256_set1_ps(1), _mm256_maskload_ps(p, mask), _mm256_castsi256_ps(mask));
}
template <>
MOX_INLINE void storeFew(float* p, Vec<float, 8> v, size_t n) {
  _mm256_maskstore_ps(p, reinterpret_cast<__m256i>(fewOf(p, n)), v);
}
template <>
MOX_INLINE Vec<double, 4> loadFew(const double* p, size_t n) {
  const __m256i mask = reinterpret_cast<__m256i>(fewOf(p, n));
  return _mm256_blendv_pd(_mm256_set1_pd(1), _mm256_maskload_pd(p, mask), _mm256_castsi256_pd(mask));
}
template <>
MOX_INLINE void storeFew(double* p, Vec<double, 4> v, size_t n) {
  _mm256_maskstore_pd(p, reinterpret_cast<__m256i>(fewOf(p, n)), v);
}
#else
template <>
MOX_INLINE Vec<float, 4> loadFew(const float* p, size_t n) {
  return Vec<float, 4>{p[0], n > 1 ? p[1] : 1, n > 2 ? p[2] : 1, 1};
}
template <>
MOX_INLINE void storeFew(float* p, Vec<float, 4> v, size_t n) {
  p[0] = v[0];
  if (n > 1) p[1] = v[1];
  if (n > 2) p[2] = v[2];
}
template <>
MOX_INLINE Vec<double, 2> loadFew(const double* p, size_t) {
  return Vec<double, 2>{p[0], 1};
}
template <>
MOX_INLINE void storeFew(double* p, Vec<double, 2> v, size_t) {
  p[0] = v[0];
}
#endif

// ---- a float32 vector as two float64 vectors

#if MOX_VEC_BYTES == 64
MOX_INLINE Vec<double, 8> widenedLow(Vec<float, 16> v) {
  return _mm512_maskz_cvtps_pd(0xff, _mm512_castps512_ps256(v));
}
MOX_INLINE Vec<double, 8> widenedHigh(Vec<float, 16> v) {
  return _mm512_maskz_cvtps_pd(0xff, _mm512_maskz_extractf32x8_ps(0xff, v, 1));
}
MOX_INLINE Vec<float, 16> narrowed(Vec<double, 8> low, Vec<double, 8> high) {
  return _mm512_maskz_insertf32x8(0xffff, _mm512_castps256_ps512(narrow(low)), narrow(high), 1);
}
#elif MOX_VEC_BYTES == 32
MOX_INLINE Vec<double, 4> widenedLow(Vec<float, 8> v) { return _mm256_cvtps_pd(_mm256_castps256_ps128(v)); }
MOX_INLINE Vec<double, 4> widenedHigh(Vec<float, 8> v) { return _mm256_cvtps_pd(_mm256_extractf128_ps(v, 1)); }
MOX_INLINE Vec<float, 8> narrowed(Vec<double, 4> low, Vec<double, 4> high) {
  return _mm256_insertf128_ps(_mm256_castps128_ps256(narrow(low)), narrow(high), 1);
}
#else
MOX_INLINE Vec<double, 2> widenedLow(Vec<float, 4> v) { return widenLow(v); }
MOX_INLINE Vec<double, 2> widenedHigh(Vec<float, 4> v) { return widenLow(_mm_movehl_ps(v, v)); }
MOX_INLINE Vec<float, 4> narrowed(Vec<double, 2> low, Vec<double, 2> high) {
  return _mm_movelh_ps(narrow(low), narrow(high));
}
#endif

// ---- bits

template <class V>
using BitsVec = Vec<BitsOf<ElementOf<V>>, sizeof(V) / sizeof(ElementOf<V>)>;
template <class V>
MOX_INLINE BitsVec<V> bitsOf(V v) {
  return reinterpret_cast<BitsVec<V>>(v);
}
template <class V>
MOX_INLINE V fromBits(BitsVec<V> u) {
  return reinterpret_cast<V>(u);
}

using Words = Vec<uint32_t, kVecBytes / 4>;
#if MOX_VEC_BYTES == 64
MOX_INLINE Words greater(Words a, Words b) {
  return reinterpret_cast<Words>(
      _mm512_maskz_max_epu32(0xffff, reinterpret_cast<__m512i>(a), reinterpret_cast<__m512i>(b)));
}
MOX_INLINE Words less(Words a, Words b) {
  return reinterpret_cast<Words>(
      _mm512_maskz_min_epu32(0xffff, reinterpret_cast<__m512i>(a), reinterpret_cast<__m512i>(b)));
}
#elif MOX_VEC_BYTES == 32
MOX_INLINE Words greater(Words a, Words b) {
  return reinterpret_cast<Words>(_mm256_max_epu32(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(b)));
}
MOX_INLINE Words less(Words a, Words b) {
  return reinterpret_cast<Words>(_mm256_min_epu32(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(b)));
}
#else
MOX_INLINE Words greater(Words a, Words b) { return a > b ? a : b; }
MOX_INLINE Words less(Words a, Words b) { return a < b ? a : b; }
#endif

MOX_INLINE bool anyBit(Words m) {
#if MOX_VEC_BYTES == 64
  return _mm512_test_epi32_mask(reinterpret_cast<__m512i>(m), reinterpret_cast<__m512i>(m)) != 0;
#elif MOX_VEC_BYTES == 32
  return !_mm256_testz_si256(reinterpret_cast<__m256i>(m), reinterpret_cast<__m256i>(m));
#else
  return _mm_movemask_epi8(reinterpret_cast<__m128i>(m)) != 0;
#endif
}

// Whether a mask is set in any element of type T, looking at its upper 32 bits.
template <class T>
MOX_INLINE bool anyElement(Words mask) {
  if constexpr (sizeof(T) == 8) {
    using Longs = Vec<uint64_t, kVecBytes / 8>;
    mask = reinterpret_cast<Words>(reinterpret_cast<Longs>(mask) >> 32);
  }
  return anyBit(mask);
}

// Whether any word is above a bound, of an element of type T the upper one.
template <class T>
MOX_INLINE bool anyAbove(Words v, uint32_t bound) {
#if MOX_VEC_BYTES == 64
  constexpr __mmask16 upper = sizeof(T) == 8 ? 0xaaaa : 0xffff;
  return _mm512_mask_cmpgt_epu32_mask(upper, reinterpret_cast<__m512i>(v),
                                      reinterpret_cast<__m512i>(broadcast<Words>(bound))) != 0;
#else
  return anyElement<T>(reinterpret_cast<Words>(v > broadcast<Words>(bound)));
#endif
}

// Values whose upper 32 bits u satisfy (u & mask) - low < width, as unsigned numbers.
struct BitRange {
  uint32_t mask, low, width;
};

// Whether all values looked at were in a range. (Inspectors have no constructors: those that the compiler makes up
// itself are not part of the target region.)
template <class T, BitRange kRange>
struct Inspector {
  Words extreme{};
  MOX_INLINE void look(Vec<T, kLanes<T>> v) {
    const Words u = (reinterpret_cast<Words>(v) & broadcast<Words>(kRange.mask)) - broadcast<Words>(kRange.low);
    extreme = greater(extreme, u);
  }
  MOX_INLINE bool allPlain() const { return !anyAbove<T>(extreme, kRange.width - 1); }
};
