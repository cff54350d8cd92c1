// Fixed-size vectors of one instruction set. Included once per set, inside that set's namespace and target region,
// after all headers; the set defines MOX_VEC_BYTES (16, 32 or 64) and MOX_HAS_FMA (0 or 1).
//
// A Vec is a compiler vector: + - * / and comparisons are the language's own. Everything else has a name here.

constexpr int kVecBytes = MOX_VEC_BYTES;
constexpr bool kHasFma = MOX_HAS_FMA;

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

template <class V>
MOX_INLINE void store(ElementOf<V>* p, V v) {
  __builtin_memcpy(p, &v, sizeof v);
}

template <class V>
MOX_INLINE V broadcast(ElementOf<V> x) {
  return x - V{};
}

// a*b + c with one rounding where the set has fused multiply-add, with two where it has not.
#if MOX_HAS_FMA
MOX_INLINE Vec<float, 4> fma(Vec<float, 4> a, Vec<float, 4> b, Vec<float, 4> c) { return _mm_fmadd_ps(a, b, c); }
MOX_INLINE Vec<double, 2> fma(Vec<double, 2> a, Vec<double, 2> b, Vec<double, 2> c) { return _mm_fmadd_pd(a, b, c); }
MOX_INLINE Vec<float, 8> fma(Vec<float, 8> a, Vec<float, 8> b, Vec<float, 8> c) { return _mm256_fmadd_ps(a, b, c); }
MOX_INLINE Vec<double, 4> fma(Vec<double, 4> a, Vec<double, 4> b, Vec<double, 4> c) {
  return _mm256_fmadd_pd(a, b, c);
}
#  if MOX_VEC_BYTES == 64
MOX_INLINE Vec<float, 16> fma(Vec<float, 16> a, Vec<float, 16> b, Vec<float, 16> c) {
  return _mm512_fmadd_ps(a, b, c);
}
MOX_INLINE Vec<double, 8> fma(Vec<double, 8> a, Vec<double, 8> b, Vec<double, 8> c) {
  return _mm512_fmadd_pd(a, b, c);
}
#  endif
#else
template <class V>
MOX_INLINE V fma(V a, V b, V c) {
  return a * b + c;
}
#endif

// Exact widening and rounding narrowing of the same number of elements. __builtin_convertvector between sizes is
// lowered in pieces by GCC 12 (217 against 94 ns for a dot product of 1024), so each pair is spelled out.
MOX_INLINE Vec<double, 2> widenLow(Vec<float, 4> v) { return _mm_cvtps_pd(v); }
MOX_INLINE Vec<float, 4> narrow(Vec<double, 2> v) { return _mm_cvtpd_ps(v); }  // upper half zero
#if MOX_VEC_BYTES >= 32
MOX_INLINE Vec<double, 4> widen(Vec<float, 4> v) { return _mm256_cvtps_pd(v); }
MOX_INLINE Vec<float, 4> narrow(Vec<double, 4> v) { return _mm256_cvtpd_ps(v); }
#endif
#if MOX_VEC_BYTES == 64
MOX_INLINE Vec<double, 8> widen(Vec<float, 8> v) { return _mm512_cvtps_pd(v); }
MOX_INLINE Vec<float, 8> narrow(Vec<double, 8> v) { return _mm512_cvtpd_ps(v); }
#endif
