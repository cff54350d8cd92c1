// Floating point to integers and back, complex arrays to their parts and back, polar form of int16 values.

// ---- rounding to int32, whatever the thread's rounding mode. All elements are in the range of the result.

// kWords elements: one vector of float32, two of float64.
using Doubles = Vec<double, kLanes<double>>;
using DoublePair = Pair<Doubles>;

#if MOX_VEC_BYTES == 64
template <Rounding R>
constexpr int kRoundingMode = (R == Rounding::nearest ? _MM_FROUND_TO_NEAREST_INT
                               : R == Rounding::zero  ? _MM_FROUND_TO_ZERO
                               : R == Rounding::down  ? _MM_FROUND_TO_NEG_INF
                                                      : _MM_FROUND_TO_POS_INF) |
                              _MM_FROUND_NO_EXC;
template <Rounding R, bool Unsigned>
MOX_INLINE Int32s integers(Floats v) {
  if constexpr (Unsigned) {
    return reinterpret_cast<Int32s>(_mm512_maskz_cvt_roundps_epu32(0xffff, v, kRoundingMode<R>));
  } else {
    return reinterpret_cast<Int32s>(_mm512_maskz_cvt_roundps_epi32(0xffff, v, kRoundingMode<R>));
  }
}
template <Rounding R, bool Unsigned>
MOX_INLINE __m256i integersOf(Doubles v) {
  if constexpr (Unsigned) {
    return _mm512_maskz_cvt_roundpd_epu32(0xff, v, kRoundingMode<R>);
  } else {
    return _mm512_maskz_cvt_roundpd_epi32(0xff, v, kRoundingMode<R>);
  }
}
template <Rounding R, bool Unsigned>
MOX_INLINE Int32s integers(DoublePair v) {
  const __m256i low = integersOf<R, Unsigned>(v.a), high = integersOf<R, Unsigned>(v.b);
  return reinterpret_cast<Int32s>(_mm512_maskz_inserti32x8(0xffff, _mm512_castsi256_si512(low), high, 1));
}
#else
// The loops run under the rounding mode in question: before AVX-512 a conversion cannot name its own, and a separate
// rounding costs two operations (138 against 113 ns for 1024 float32 to int16).
MOX_INLINE Int32s isAtLeast(Floats v, float x) { return v >= x; }
#  if MOX_VEC_BYTES == 32
template <Rounding R>
MOX_INLINE Int32s signedIntegers(Floats v) {
  return reinterpret_cast<Int32s>(R == Rounding::zero ? _mm256_cvttps_epi32(v) : _mm256_cvtps_epi32(v));
}
template <Rounding R>
MOX_INLINE Int32s signedIntegers(DoublePair v) {
  const __m128i low = R == Rounding::zero ? _mm256_cvttpd_epi32(v.a) : _mm256_cvtpd_epi32(v.a);
  const __m128i high = R == Rounding::zero ? _mm256_cvttpd_epi32(v.b) : _mm256_cvtpd_epi32(v.b);
  return reinterpret_cast<Int32s>(_mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1));
}
MOX_INLINE Int32s isAtLeast(DoublePair v, double x) {
  const auto low = reinterpret_cast<__m256>(v.a >= x), high = reinterpret_cast<__m256>(v.b >= x);
  return reinterpret_cast<Int32s>(
      _mm256_permute4x64_epi64(_mm256_castps_si256(_mm256_shuffle_ps(low, high, 0x88)), 0xd8));
}
#  else
template <Rounding R>
MOX_INLINE Int32s signedIntegers(Floats v) {
  return reinterpret_cast<Int32s>(R == Rounding::zero ? _mm_cvttps_epi32(v) : _mm_cvtps_epi32(v));
}
template <Rounding R>
MOX_INLINE Int32s signedIntegers(DoublePair v) {
  const __m128i low = R == Rounding::zero ? _mm_cvttpd_epi32(v.a) : _mm_cvtpd_epi32(v.a);
  const __m128i high = R == Rounding::zero ? _mm_cvttpd_epi32(v.b) : _mm_cvtpd_epi32(v.b);
  return reinterpret_cast<Int32s>(_mm_unpacklo_epi64(low, high));
}
MOX_INLINE Int32s isAtLeast(DoublePair v, double x) {
  const auto low = reinterpret_cast<__m128>(v.a >= x), high = reinterpret_cast<__m128>(v.b >= x);
  return reinterpret_cast<Int32s>(_mm_shuffle_ps(low, high, 0x88));
}
#  endif
// Less 2^31 from kLarge up, which is exact. Below 2^31 truncation must not meet a negative value; roundings that may
// reach 2^31 must not come from below, for the signed conversion would overflow.
template <Rounding R>
constexpr float kLarge = R == Rounding::zero ? 0x1p31f : 0x1p30f;
template <Rounding R, class V>
MOX_INLINE V centred(V v) {
  return v - (v >= broadcast<V>(kLarge<R>) ? broadcast<V>(0x1p31f) : V{});
}
template <Rounding R>
MOX_INLINE DoublePair centred(DoublePair v) {
  return {centred<R>(v.a), centred<R>(v.b)};
}

template <Rounding R, bool Unsigned, class V>
MOX_INLINE Int32s integers(V v) {
  if constexpr (Unsigned) {
    return signedIntegers<R>(centred<R>(v)) ^ (isAtLeast(v, kLarge<R>) << 31);
  } else {
    return signedIntegers<R>(v);
  }
}
#endif

// The thread's rounding mode for a while. Arithmetic that relies on it belongs in a function that is not inlined: the
// compiler moves it past a change of state.
constexpr unsigned kStateOf[] = {_MM_ROUND_NEAREST, _MM_ROUND_TOWARD_ZERO, _MM_ROUND_DOWN, _MM_ROUND_UP};
MOX_INLINE bool roundsTo(Rounding r) { return (_mm_getcsr() & _MM_ROUND_MASK) == kStateOf[static_cast<int>(r)]; }
MOX_INLINE unsigned enterRounding(Rounding r) {
  const unsigned state = _mm_getcsr(), mode = kStateOf[static_cast<int>(r)];
  if ((state & _MM_ROUND_MASK) != mode) [[unlikely]]
    _mm_setcsr((state & ~static_cast<unsigned>(_MM_ROUND_MASK)) | mode);
  return state;
}
MOX_INLINE void leaveRounding(Rounding r, unsigned state) {
  if ((state & _MM_ROUND_MASK) != kStateOf[static_cast<int>(r)]) [[unlikely]]
    _mm_setcsr(state | (_mm_getcsr() & _MM_EXCEPT_MASK));
}

// ---- ranges

template <class I>
constexpr bool kSignedInteger = static_cast<I>(-1) < static_cast<I>(1);
template <class I>
constexpr double kHighest = kSignedInteger<I> ? (uint64_t{1} << (8 * sizeof(I) - 1)) - 1.0
                                              : (uint64_t{1} << (8 * sizeof(I))) - 1.0;
template <class I>
constexpr double kLowest = kSignedInteger<I> ? -kHighest<I> - 1 : 0;

constexpr double sizeOfBound(double x) { return x < 0 ? -x : x; }
// The T of largest magnitude that does not exceed a bound, or does not reach it.
template <class T>
constexpr T upTo(double bound) {
  const T t = static_cast<T>(bound);
  return sizeOfBound(t) > sizeOfBound(bound) ? __builtin_bit_cast(T, __builtin_bit_cast(BitsOf<T>, t) - 1) : t;
}
template <class T>
constexpr T inside(double bound) {
  const T t = static_cast<T>(bound);
  return sizeOfBound(t) >= sizeOfBound(bound) ? __builtin_bit_cast(T, __builtin_bit_cast(BitsOf<T>, t) - 1) : t;
}

// Integers I from values of type T: those from low to high round to an I. The tie below the lowest I is out.
template <class T, class I, Rounding R>
struct IntegerRange {
  static constexpr T low = R == Rounding::nearest ? inside<T>(kLowest<I> - 0.5)
                           : R == Rounding::down  ? upTo<T>(kLowest<I>)
                                                  : inside<T>(kLowest<I> - 1);
  static constexpr T high = R == Rounding::nearest ? inside<T>(kHighest<I> + 0.5)
                            : R == Rounding::up    ? upTo<T>(kHighest<I>)
                                                   : inside<T>(kHighest<I> + 1);
};

// v limited to a range. The order of the operands makes NaN the lower end.
#if MOX_VEC_BYTES == 64
MOX_INLINE Floats limited(Floats v, float low, float high) {
  return _mm512_maskz_min_ps(0xffff, _mm512_maskz_max_ps(0xffff, v, _mm512_set1_ps(low)), _mm512_set1_ps(high));
}
MOX_INLINE Doubles limited(Doubles v, double low, double high) {
  return _mm512_maskz_min_pd(0xff, _mm512_maskz_max_pd(0xff, v, _mm512_set1_pd(low)), _mm512_set1_pd(high));
}
using Differences = uint32_t;
MOX_INLINE Differences differences(Floats a, Floats b) { return _mm512_cmp_ps_mask(a, b, _CMP_NEQ_UQ); }
MOX_INLINE Differences differences(Doubles a, Doubles b) { return _mm512_cmp_pd_mask(a, b, _CMP_NEQ_UQ); }
MOX_INLINE bool any(Differences d) { return d != 0; }
#elif MOX_VEC_BYTES == 32
MOX_INLINE Floats limited(Floats v, float low, float high) {
  return _mm256_min_ps(_mm256_max_ps(v, _mm256_set1_ps(low)), _mm256_set1_ps(high));
}
MOX_INLINE Doubles limited(Doubles v, double low, double high) {
  return _mm256_min_pd(_mm256_max_pd(v, _mm256_set1_pd(low)), _mm256_set1_pd(high));
}
using Differences = Floats;
MOX_INLINE Differences differences(Floats a, Floats b) { return _mm256_cmp_ps(a, b, _CMP_NEQ_UQ); }
MOX_INLINE Differences differences(Doubles a, Doubles b) { return _mm256_castpd_ps(_mm256_cmp_pd(a, b, _CMP_NEQ_UQ)); }
MOX_INLINE bool any(Differences d) { return _mm256_movemask_ps(d) != 0; }
#else
MOX_INLINE Floats limited(Floats v, float low, float high) {
  return _mm_min_ps(_mm_max_ps(v, _mm_set1_ps(low)), _mm_set1_ps(high));
}
MOX_INLINE Doubles limited(Doubles v, double low, double high) {
  return _mm_min_pd(_mm_max_pd(v, _mm_set1_pd(low)), _mm_set1_pd(high));
}
using Differences = Floats;
MOX_INLINE Differences differences(Floats a, Floats b) { return _mm_cmpneq_ps(a, b); }
MOX_INLINE Differences differences(Doubles a, Doubles b) { return _mm_castpd_ps(_mm_cmpneq_pd(a, b)); }
MOX_INLINE bool any(Differences d) { return _mm_movemask_ps(d) != 0; }
#endif
MOX_INLINE DoublePair limited(DoublePair v, double low, double high) {
  return {limited(v.a, low, high), limited(v.b, low, high)};
}
MOX_INLINE Differences merged(Differences a, Differences b) {
#if MOX_VEC_BYTES == 64
  return a | b;
#else
  return reinterpret_cast<Differences>(reinterpret_cast<Uint32s>(a) | reinterpret_cast<Uint32s>(b));
#endif
}
MOX_INLINE Differences differences(const DoublePair& a, const DoublePair& b) {
  return merged(differences(a.a, b.a), differences(a.b, b.b));
}

// ---- floating point to integers

MOX_INLINE Floats wordsOfReals(const float* p) { return load<Floats>(p); }
MOX_INLINE DoublePair wordsOfReals(const double* p) { return {load<Doubles>(p), load<Doubles>(p + kLanes<double>)}; }
MOX_INLINE Floats times(Floats v, float scale) { return v * scale; }
MOX_INLINE DoublePair times(DoublePair v, double scale) { return {v.a * scale, v.b * scale}; }

// A range divided by the scale that follows it: what is out of range is limited before it could overflow.
template <class T>
struct Limits {
  T low, high, scale;
};
template <class T>
MOX_INLINE auto limited(const T* p, const Limits<T>& limits) {
  return limited(wordsOfReals(p), limits.low, limits.high);
}

// Four vectors in order; all elements are in the range of the destination's type.
MOX_INLINE void storeInts(int32_t* dst, Int32s v0, Int32s v1, Int32s v2, Int32s v3) {
  store(dst, v0);
  store(dst + kWords, v1);
  store(dst + 2 * kWords, v2);
  store(dst + 3 * kWords, v3);
}
MOX_INLINE void storeInts(uint32_t* dst, Int32s v0, Int32s v1, Int32s v2, Int32s v3) {
  storeInts(reinterpret_cast<int32_t*>(dst), v0, v1, v2, v3);
}
#if MOX_VEC_BYTES == 16
MOX_INLINE __m128i shorts(Int32s a, Int32s b) {
  return _mm_packs_epi32(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b));
}
template <class I>
MOX_INLINE void storeShorts(I* dst, Int32s a, Int32s b) {
  if constexpr (kSignedInteger<I>) {
    store(dst, reinterpret_cast<Vec<I, 8>>(shorts(a, b)));
  } else {
    store(dst, reinterpret_cast<Vec<I, 8>>(shorts((a << 16) >> 16, (b << 16) >> 16)));
  }
}
template <class I>
MOX_INLINE void storeBytes(I* dst, Int32s v0, Int32s v1, Int32s v2, Int32s v3) {
  const __m128i low = shorts(v0, v1), high = shorts(v2, v3);
  store(dst,
        reinterpret_cast<Vec<I, 16>>(kSignedInteger<I> ? _mm_packs_epi16(low, high) : _mm_packus_epi16(low, high)));
}
#elif MOX_VEC_BYTES == 32
template <class I>
MOX_INLINE void storeShorts(I* dst, Int32s a, Int32s b) {
  const __m256i x = reinterpret_cast<__m256i>(a), y = reinterpret_cast<__m256i>(b);
  const __m256i packed = kSignedInteger<I> ? _mm256_packs_epi32(x, y) : _mm256_packus_epi32(x, y);
  store(dst, reinterpret_cast<Vec<I, 16>>(_mm256_permute4x64_epi64(packed, 0xd8)));
}
template <class I>
MOX_INLINE void storeBytes(I* dst, Int32s v0, Int32s v1, Int32s v2, Int32s v3) {
  const __m256i low = _mm256_packs_epi32(reinterpret_cast<__m256i>(v0), reinterpret_cast<__m256i>(v1));
  const __m256i high = _mm256_packs_epi32(reinterpret_cast<__m256i>(v2), reinterpret_cast<__m256i>(v3));
  const __m256i packed = kSignedInteger<I> ? _mm256_packs_epi16(low, high) : _mm256_packus_epi16(low, high);
  const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
  store(dst, reinterpret_cast<Vec<I, 32>>(_mm256_permutevar8x32_epi32(packed, order)));
}
#else
template <class I>
MOX_INLINE void storeShorts(I* dst, Int32s a, Int32s b) {
  const __m512i x = reinterpret_cast<__m512i>(a), y = reinterpret_cast<__m512i>(b);
  const __m512i packed = kSignedInteger<I> ? _mm512_packs_epi32(x, y) : _mm512_packus_epi32(x, y);
  const __m512i order = _mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7);
  store(dst, reinterpret_cast<Vec<I, 32>>(_mm512_maskz_permutexvar_epi64(0xff, order, packed)));
}
template <class I>
MOX_INLINE void storeBytes(I* dst, Int32s v0, Int32s v1, Int32s v2, Int32s v3) {
  const __m512i low = _mm512_packs_epi32(reinterpret_cast<__m512i>(v0), reinterpret_cast<__m512i>(v1));
  const __m512i high = _mm512_packs_epi32(reinterpret_cast<__m512i>(v2), reinterpret_cast<__m512i>(v3));
  const __m512i packed = kSignedInteger<I> ? _mm512_packs_epi16(low, high) : _mm512_packus_epi16(low, high);
  const __m512i order = _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
  store(dst, reinterpret_cast<Vec<I, 64>>(_mm512_maskz_permutexvar_epi32(0xffff, order, packed)));
}
#endif
template <class I>
MOX_INLINE void storeInts(I* dst, Int32s v0, Int32s v1, Int32s v2, Int32s v3) {
  if constexpr (sizeof(I) == 2) {
    storeShorts(dst, v0, v1);
    storeShorts(dst + 2 * kWords, v2, v3);
  } else {
    storeBytes(dst, v0, v1, v2, v3);
  }
}

constexpr size_t kConvertChunk = 4 * kWords;

template <class I>
constexpr bool kUpperToo = sizeof(I) == 4 && !kSignedInteger<I>;  // above int32

// Of what stands at p, limited.
template <class T, class I, Rounding R>
MOX_INLINE Int32s integersFrom(const T* p, const Limits<T>& limits) {
  const Int32s r = integers<R, kUpperToo<I>>(times(limited(p, limits), limits.scale));
  // float32 has no value that rounds to the highest I of 32 bits.
  if constexpr (sizeof(T) == 4 && sizeof(I) == 4) {
    const Int32s highest = Int32s{} + static_cast<int32_t>(static_cast<uint32_t>(kHighest<I>));
    return wordsOfReals(p) > limits.high ? highest : r;
  } else {
    return r;
  }
}

// Whether the four vectors at p are in range: first, where that costs less, by the largest pattern of bits without the
// sign, since no range reaches farther upwards than downwards (with the sign, where there is no downwards).
template <class T, class I>
MOX_INLINE bool isWithin(const T* p, const Limits<T>& limits) {
  const T *const p1 = p + kWords, *const p2 = p1 + kWords, *const p3 = p2 + kWords;
#if MOX_VEC_BYTES >= 32
  if constexpr (sizeof(T) == 4) {
    const auto size = [](const T* q) __attribute__((always_inline)) {
      return bitsOf(wordsOfReals(q)) & (kSignedInteger<I> ? 0x7fffffff : 0xffffffff);
    };
    const Words largest = greater(greater(size(p), size(p1)), greater(size(p2), size(p3)));
    if (!anyAbove<T>(largest, __builtin_bit_cast(uint32_t, limits.high))) [[likely]]
      return true;
  }
#endif
  const auto d0 = differences(wordsOfReals(p), limited(p, limits));
  const auto d1 = differences(wordsOfReals(p1), limited(p1, limits));
  const auto d2 = differences(wordsOfReals(p2), limited(p2, limits));
  const auto d3 = differences(wordsOfReals(p3), limited(p3, limits));
  return !any(merged(merged(d0, d1), merged(d2, d3)));
}

// One chunk. With kTest nothing is stored and the result is false when an element is out of range.
template <class T, class I, Rounding R, bool kTest>
MOX_INLINE bool convertChunk(const T* src, I* dst, const Limits<T>& limits) {
  if constexpr (kTest) {
    if (!isWithin<T, I>(src, limits)) [[unlikely]]
      return false;
  }
  const auto at = [&](const T* p) __attribute__((always_inline)) {
    if constexpr (kTest) {
      return integers<R, kUpperToo<I>>(times(wordsOfReals(p), limits.scale));
    } else {
      return integersFrom<T, I, R>(p, limits);
    }
  };
  const T *const p1 = src + kWords, *const p2 = p1 + kWords, *const p3 = p2 + kWords;
  const Int32s i0 = at(src), i1 = at(p1), i2 = at(p2), i3 = at(p3);
  storeInts(dst, i0, i1, i2, i3);
  return true;
}

// The first `bytes` of a chunk, a multiple of 4, into an aligned one, zeros behind: by vectors, so that whoever loads
// vectors from there need not wait for narrower stores.
MOX_INLINE void copyIn(char* to, size_t size, const char* from, size_t bytes) {
  for (size_t i = 0; i < size; i += kVecBytes) {
    Vec<int32_t, kWords> words = {};
    if (i + kVecBytes <= bytes) {
      __builtin_memcpy(&words, from + i, sizeof words);
    } else if (i < bytes) {
#if MOX_VEC_BYTES == 64
      const __mmask16 some = static_cast<__mmask16>((1u << (bytes - i) / 4) - 1);
      words = reinterpret_cast<Int32s>(_mm512_maskz_loadu_epi32(some, from + i));
#elif MOX_VEC_BYTES == 32
      const Vec<int32_t, 8> places = {0, 4, 8, 12, 16, 20, 24, 28};
      const auto some = places < broadcast<Vec<int32_t, 8>>(static_cast<int32_t>(bytes - i));
      words = reinterpret_cast<Int32s>(
          _mm256_maskload_epi32(reinterpret_cast<const int*>(from + i), reinterpret_cast<__m256i>(some)));
#else
      for (size_t k = 0; k < (bytes - i) / 4; ++k) words[k] = loadOne(reinterpret_cast<const int32_t*>(from + i) + k);
#endif
    }
    __builtin_memcpy(to + i, &words, sizeof words);
  }
}
MOX_INLINE void copyOut(char* to, const char* from, size_t bytes) {
  size_t i = 0;
#pragma GCC unroll 1
  for (; i + kVecBytes <= bytes; i += kVecBytes) __builtin_memcpy(to + i, from + i, kVecBytes);
#if MOX_VEC_BYTES == 64
  _mm512_mask_storeu_epi8(to + i, (__mmask64{1} << (bytes - i)) - 1, _mm512_load_si512(from + i));
#else
#  if MOX_VEC_BYTES == 32
  if (bytes & 16) __builtin_memcpy(to + i, from + i, 16), i += 16;
#  endif
  if (bytes & 8) __builtin_memcpy(to + i, from + i, 8), i += 8;
  if (bytes & 4) __builtin_memcpy(to + i, from + i, 4), i += 4;
  if (bytes & 2) __builtin_memcpy(to + i, from + i, 2), i += 2;
  if (bytes & 1) to[i] = from[i];
#endif
}

// Whole chunks up to the first that is refused, and `further` from there; the rest.
template <class T, class I>
using Convert = size_t (*)(const T* src, I* dst, size_t n, T low, T high, T scale, OutOfRange action, bool further);

// A chunk that is short or has elements out of range. (One for all roundings: `limit` converts what is limited.)
template <class T, class I>
MOX_NOINLINE size_t convertSome(Convert<T, I> limit, Limits<T> limits, const T* src, I* dst, size_t n,
                                OutOfRange action) {
  alignas(kVecBytes) T some[kConvertChunk];
  alignas(kVecBytes) I results[kConvertChunk];
  copyIn(reinterpret_cast<char*>(some), sizeof some, reinterpret_cast<const char*>(src), n * sizeof(T));
  limit(some, results, kConvertChunk, limits.low, limits.high, limits.scale, OutOfRange::saturate, false);
  if (action == OutOfRange::saturate || isWithin<T, I>(some, limits)) {
    copyOut(reinterpret_cast<char*>(dst), reinterpret_cast<const char*>(results), n * sizeof(I));
    return n;
  }
  for (size_t i = 0; i < n; ++i) {
    if (some[i] >= limits.low && some[i] <= limits.high) {
      storeOne(dst + i, results[i]);
    } else if (action == OutOfRange::stop) {
      return i;
    }
  }
  return n;
}

template <class T, class I, Rounding R>
size_t convertRest(const T* src, I* dst, size_t n, size_t i, Limits<T> limits, OutOfRange action);

template <class T, class I, Rounding R, bool kTest>
MOX_NOINLINE MOX_NOCLONE size_t convertAll(const T* src, I* dst, size_t n, T low, T high, T scale, OutOfRange action,
                                           bool further) {
  const Limits<T> limits = {low, high, scale};
  size_t i = 0;
  while (i + kConvertChunk <= n && convertChunk<T, I, R, kTest>(src + i, dst + i, limits)) i += kConvertChunk;
  if (i == n) return n;
  if (n - i < kConvertChunk) {
    return i + convertSome<T, I>(convertAll<T, I, R, false>, limits, src + i, dst + i, n - i, action);
  }
  if constexpr (kTest) {
    if (further) return convertRest<T, I, R>(src, dst, n, i, limits, action);
  }
  return i;
}

// From element i on, where convertAll() met one that is out of range.
template <class T, class I, Rounding R>
MOX_NOINLINE size_t convertRest(const T* src, I* dst, size_t n, size_t i, Limits<T> limits, OutOfRange action) {
  while (i < n) {
    const size_t some = n - i < kConvertChunk ? n - i : kConvertChunk;
    const size_t done = convertSome<T, I>(convertAll<T, I, R, false>, limits, src + i, dst + i, some, action);
    i += done;
    if (done < some) break;
    i += convertAll<T, I, R, true>(src + i, dst + i, n - i, limits.low, limits.high, limits.scale, action, false);
  }
  return i;
}

template <class T, class I, Rounding R>
size_t toIntegers(const T* src, void* to, size_t n, T scale, OutOfRange action);

// Where the thread rounds otherwise.
template <class T, class I, Rounding R>
MOX_NOINLINE size_t toIntegersByState(const T* src, void* to, size_t n, T scale, OutOfRange action) {
  const unsigned state = enterRounding(R);
  const size_t done = toIntegers<T, I, R>(src, to, n, scale, action);
  leaveRounding(R, state);
  return done;
}

template <class T, class I, Rounding R>
size_t toIntegers(const T* src, void* to, size_t n, T scale, OutOfRange action) {
  if constexpr (kVecBytes < 64 && R != Rounding::zero) {
    if (!roundsTo(R)) [[unlikely]]
      return toIntegersByState<T, I, R>(src, to, n, scale, action);
  }
  using Whole = IntegerRange<T, I, R>;
  constexpr BitsOf<T> oneTwice = 2 * __builtin_bit_cast(BitsOf<T>, T{1});
  const T inverse = __builtin_bit_cast(T, oneTwice - __builtin_bit_cast(BitsOf<T>, scale));
  const T low = Whole::low * inverse, high = Whole::high * inverse;
  I* const dst = static_cast<I*>(to);
  if (action == OutOfRange::saturate) {
    return convertAll<T, I, R, false>(src, dst, n, low, high, scale, action, false);
  }
  return convertAll<T, I, R, true>(src, dst, n, low, high, scale, action, true);
}

// ---- integers to floating point

MOX_INLINE float realOf(int32_t v, float) { return static_cast<float>(v); }
MOX_INLINE double realOf(int32_t v, double) { return v; }
// Rounded once: both parts are exact.
MOX_INLINE float realOf(uint32_t v, float) {
  return static_cast<float>(static_cast<int32_t>(v >> 16)) * 65536 +
         static_cast<float>(static_cast<int32_t>(v & 0xffff));
}
MOX_INLINE double realOf(uint32_t v, double) { return static_cast<int32_t>(v ^ 0x80000000) + 0x1p31; }

// int16 in whole vectors: what GCC makes of the loop below does not store to cache lines.
struct ScaledShorts {
  static constexpr int kPeriod = 1;
  const int16_t* a;
  float scale;
  template <class V>
  MOX_INLINE V at(size_t i) const {
    const __m128i* const p = reinterpret_cast<const __m128i*>(a + i);
#if MOX_VEC_BYTES == 64
    if constexpr (sizeof(V) == 64) {
      const __m256i shorts = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
      return V(_mm512_maskz_cvtepi32_ps(0xffff, _mm512_maskz_cvtepi16_epi32(0xffff, shorts))) * scale;
    }
#endif
#if MOX_VEC_BYTES >= 32
    if constexpr (sizeof(V) == 32) return V(_mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(_mm_loadu_si128(p)))) * scale;
#endif
    if constexpr (sizeof(V) == 16) {
      const __m128i shorts = _mm_loadl_epi64(p), words = _mm_unpacklo_epi16(shorts, shorts);
      return V(_mm_cvtepi32_ps(_mm_srai_epi32(words, 16))) * scale;
    }
  }
  MOX_INLINE float one(size_t i) const { return static_cast<float>(a[i]) * scale; }
};

// int32 likewise: a loop of one vector took 50 or 85 ns for 1024 elements with AVX2, by where it was placed.
struct ScaledInts {
  static constexpr int kPeriod = 1;
  const int32_t* a;
  float scale;
  template <class V>
  MOX_INLINE V at(size_t i) const {
    return __builtin_convertvector((load<Vec<int32_t, sizeof(V) / 4>>(a + i)), V) * scale;
  }
  MOX_INLINE float one(size_t i) const { return static_cast<float>(loadOne(a + i)) * scale; }
};

template <class I, class T>
MOX_NOINLINE void scaledReals(const I* src, T* dst, size_t n, T scale) {
  if constexpr (std::is_same_v<I, int32_t> && std::is_same_v<T, float>) {
    return mapAll<float>(dst, n, ScaledInts{src, scale});
  }
  using Wide = std::conditional_t<std::is_same_v<I, uint32_t>, uint32_t, int32_t>;
  MOX_SAME_OR_APART
  for (size_t i = 0; i < n; ++i) storeOne(dst + i, realOf(static_cast<Wide>(loadOne(src + i)), T{}) * scale);
}

template <class I, class T>
void fromIntegers(const void* from, T* dst, size_t n, T scale) {
  const I* const src = static_cast<const I*>(from);
  if constexpr (std::is_same_v<I, int16_t> && std::is_same_v<T, float>) {
    return mapAll<float>(dst, n, ScaledShorts{src, scale});
  }
  // float32 rounds; in float64, 2^31 - 2^31 is -0 when rounding down.
  constexpr bool rounds = sizeof(I) == 4;
  const unsigned state = rounds ? enterRounding(Rounding::nearest) : 0;
  scaledReals(src, dst, n, scale);
  if (rounds) leaveRounding(Rounding::nearest, state);
}

template <Rounding R, class T>
constexpr void addToIntegers(Conversion<T>& c) {
  auto& row = c.toIntegers[static_cast<int>(R)];
  row[static_cast<int>(IntegerType::int8)] = toIntegers<T, int8_t, R>;
  row[static_cast<int>(IntegerType::uint8)] = toIntegers<T, uint8_t, R>;
  row[static_cast<int>(IntegerType::int16)] = toIntegers<T, int16_t, R>;
  row[static_cast<int>(IntegerType::uint16)] = toIntegers<T, uint16_t, R>;
  row[static_cast<int>(IntegerType::int32)] = toIntegers<T, int32_t, R>;
  row[static_cast<int>(IntegerType::uint32)] = toIntegers<T, uint32_t, R>;
}
template <class T>
constexpr Conversion<T> conversionKernels() {
  Conversion<T> c = {.toIntegers = {},
                     .fromIntegers = {fromIntegers<int8_t, T>, fromIntegers<uint8_t, T>, fromIntegers<int16_t, T>,
                                      fromIntegers<uint16_t, T>, fromIntegers<int32_t, T>, fromIntegers<uint32_t, T>}};
  addToIntegers<Rounding::nearest>(c);
  addToIntegers<Rounding::zero>(c);
  addToIntegers<Rounding::down>(c);
  addToIntegers<Rounding::up>(c);
  return c;
}

// ---- complex arrays and their parts, whatever their bits

// Stores Part::of(the pair at i), for which the destination of one part may begin where the source does: no store comes
// before the loads of the elements that it covers.
template <class Part, class T, class From, class To>
MOX_INLINE void moveParts(const From& from, const To& to, size_t n) {
  constexpr size_t N = kLanes<T>;
  if (n < N) return to.putFew(n, Part::of(from.few(n)));
  const auto last = Part::of(from.at(n - N));
  for (size_t i = 0; i + N < n; i += N) to.put(i, Part::of(from.at(i)));
  to.put(n - N, last);
}
struct RealPart {
  template <class V>
  MOX_INLINE static V of(Pair<V> v) {
    return v.a;
  }
};
struct ImaginaryPart {
  template <class V>
  MOX_INLINE static V of(Pair<V> v) {
    return v.b;
  }
};
struct BothParts {
  template <class V>
  MOX_INLINE static Pair<V> of(Pair<V> v) {
    return v;
  }
};
#if MOX_VEC_BYTES == 32
// For one of the parts: the load that doubles elements leaves one operation to the one shuffle unit, and no halves to
// put together. (For both it was slower.)
struct FromComplexDoubled : FromComplex<float> {
  MOX_INLINE Pair<Floats> at(size_t i) const {
    const __m256i order = _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7);
    const Floats v = load<Floats>(p + 2 * i), w = load<Floats>(p + 2 * i + kWords);
    const __m256 even = _mm256_blend_ps(v, _mm256_moveldup_ps(w), 0xaa);
    const __m256 odd = _mm256_blend_ps(_mm256_movehdup_ps(v), w, 0xaa);
    return {_mm256_permutevar8x32_ps(even, order), _mm256_permutevar8x32_ps(odd, order)};
  }
};
template <class T>
using FromComplexPart = std::conditional_t<sizeof(T) == 4, FromComplexDoubled, FromComplex<T>>;
#else
template <class T>
using FromComplexPart = FromComplex<T>;
#endif
template <class Part, class T>
void partOfComplex(const T* src, T* dst, size_t n) {
  moveParts<Part, T>(FromComplexPart<T>{src}, ToOne<T>{dst}, n);
}
template <class T>
void separated(const T* src, T* re, T* im, size_t n) {
  moveParts<BothParts, T>(FromComplex<T>{src}, ToTwo<T>{re, im}, n);
}
template <class T>
void joined(const T* re, const T* im, T* dst, size_t n) {
  moveParts<BothParts, T>(FromTwo<T>{re, im}, ToComplex<T>{dst}, n);
}

// int16: a complex value is a word with the real part in its lower half.
using Shorts = Vec<int16_t, 2 * kWords>;
MOX_INLINE Int32s wordsAt(const int16_t* src) { return reinterpret_cast<Int32s>(load<Shorts>(src)); }
// The words of kWords values in two arrays.
MOX_INLINE Int32s joinedWords(const int16_t* re, const int16_t* im) {
#if MOX_VEC_BYTES == 16
  const __m128i r = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(re));
  return reinterpret_cast<Int32s>(_mm_unpacklo_epi16(r, _mm_loadl_epi64(reinterpret_cast<const __m128i*>(im))));
#elif MOX_VEC_BYTES == 32
  const __m256i r = _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(re)));
  const __m256i i = _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(im)));
  return reinterpret_cast<Int32s>(_mm256_or_si256(r, _mm256_slli_epi32(i, 16)));
#else
  const __m512i r = _mm512_maskz_cvtepu16_epi32(0xffff, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(re)));
  const __m512i i = _mm512_maskz_cvtepu16_epi32(0xffff, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(im)));
  return reinterpret_cast<Int32s>(r) | (reinterpret_cast<Int32s>(i) << 16);
#endif
}

struct RealHalf {
  MOX_INLINE static Int32s of(Int32s words) { return words; }
};
struct ImaginaryHalf {
  MOX_INLINE static Int32s of(Int32s words) { return words >> 16; }
};

// floor(sqrt(re^2 + im^2)): the float32 root, whatever the rounding mode and the estimate, is off by less than 1/16.
// 2^31 counts as such.
struct Magnitude16 {
  MOX_INLINE static Int32s of(Int32s words) {
#if MOX_VEC_BYTES == 16
    const __m128i squares = _mm_madd_epi16(reinterpret_cast<__m128i>(words), reinterpret_cast<__m128i>(words));
    const Floats found = root(magnitudeOf(Floats(_mm_cvtepi32_ps(squares))));
#elif MOX_VEC_BYTES == 32
    const __m256i squares = _mm256_madd_epi16(reinterpret_cast<__m256i>(words), reinterpret_cast<__m256i>(words));
    const Floats found = root(magnitudeOf(Floats(_mm256_cvtepi32_ps(squares))));
#else
    const __m512i both = reinterpret_cast<__m512i>(words), squares = _mm512_madd_epi16(both, both);
    const __m512i atLeast1 = _mm512_maskz_max_epu32(0xffff, squares, _mm512_set1_epi32(1));
    const Floats real = _mm512_maskz_cvtepu32_ps(0xffff, atLeast1);
    const Floats found = rootBy(_mm512_maskz_rsqrt14_ps(0xffff, real), real);
#endif
    const Uint32s t = reinterpret_cast<Uint32s>(truncated(found + 0.0625f));
    const Int32s rest = reinterpret_cast<Int32s>(reinterpret_cast<Uint32s>(squares) - t * t);
    return reinterpret_cast<Int32s>(t) + (rest < 0);
  }
};

// dst[i] = Op of value i, two vectors at a time; fewer values through copies.
template <class Op>
void mapWords(const int16_t* src, int16_t* dst, size_t n) {
  constexpr size_t step = 2 * kWords;
  size_t i = 0;
  for (; i + step <= n; i += step)
    storeLowHalves(dst + i, Op::of(wordsAt(src + 2 * i)), Op::of(wordsAt(src + 2 * (i + kWords))));
  if (i == n) return;
  int16_t some[2 * step] = {}, results[step];
  __builtin_memcpy(some, src + 2 * i, (n - i) * 2 * sizeof(int16_t));
  storeLowHalves(results, Op::of(wordsAt(some)), Op::of(wordsAt(some + 2 * kWords)));
  __builtin_memcpy(dst + i, results, (n - i) * sizeof(int16_t));
}

void separated16(const int16_t* src, int16_t* re, int16_t* im, size_t n) {
  constexpr size_t step = 2 * kWords;
  size_t i = 0;
  for (; i + step <= n; i += step) {
    const Int32s v0 = wordsAt(src + 2 * i), v1 = wordsAt(src + 2 * (i + kWords));
    storeLowHalves(re + i, v0, v1);
    storeLowHalves(im + i, v0 >> 16, v1 >> 16);
  }
  for (; i < n; ++i) {
    re[i] = src[2 * i];
    im[i] = src[2 * i + 1];
  }
}

void joined16(const int16_t* re, const int16_t* im, int16_t* dst, size_t n) {
  size_t i = 0;
  for (; i + kWords <= n; i += kWords) store(dst + 2 * i, reinterpret_cast<Shorts>(joinedWords(re + i, im + i)));
  for (; i < n; ++i) {
    dst[2 * i] = re[i];
    dst[2 * i + 1] = im[i];
  }
}

void magnitude16(const int16_t* re, const int16_t* im, int16_t* dst, size_t n) {
  constexpr size_t step = 2 * kWords;
  size_t i = 0;
  for (; i + step <= n; i += step) {
    const Int32s v0 = joinedWords(re + i, im + i), v1 = joinedWords(re + i + kWords, im + i + kWords);
    storeLowHalves(dst + i, Magnitude16::of(v0), Magnitude16::of(v1));
  }
  if (i == n) return;
  int16_t some[2 * step] = {}, results[step];
  joined16(re + i, im + i, some, n - i);
  mapWords<Magnitude16>(some, results, step);
  __builtin_memcpy(dst + i, results, (n - i) * sizeof(int16_t));
}

// atan2(im, re) 16383/pi truncated toward zero. Only multiples of pi/4 have rational tangents and a rational share of
// pi, so no value before truncation is an integer but those of im = 0, and none comes closer to one than 2^-31.5.
// float32 knows them to 2^-7, whatever the rounding mode; where that does not do, float64 does, to 2^-35. The factor in
// float64 is two units more than 16383/pi, so that pi cannot end below 16383.
constexpr float kPhase16 = 0x1.45edfp12f;
constexpr double kPhase16Precise = 0x1.45edef108115ep12;
constexpr size_t kPhase16Block = 256;

// The phases of the elements of `index`, into dst at the same places.
MOX_NOINLINE void phasesPrecise(const float* re, const float* im, const uint16_t* index, size_t n, int16_t* dst) {
  double x[kPhase16Block], y[kPhase16Block];
  for (size_t i = 0; i < n; ++i) {
    x[i] = static_cast<double>(re[index[i]]);
    y[i] = static_cast<double>(im[index[i]]);
  }
  mapTwo<Phase<double>>(x, y, x, n);
  for (size_t i = 0; i < n; ++i) {
    dst[index[i]] = static_cast<int16_t>(static_cast<int32_t>(x[i] * kPhase16Precise));
  }
}

// Bit k is set where v[k] is within 2^-6 of an integer and not 0.
MOX_INLINE uint32_t undecided(Floats v) {
  const Floats rest = magnitudeOf(v - __builtin_convertvector(truncated(v), Floats));
  const Floats off = magnitudeOf(rest - 0.5f);
#if MOX_VEC_BYTES == 64
  const uint32_t close = _mm512_cmp_ps_mask(off, _mm512_set1_ps(0.5f - 0x1p-6f), _CMP_GT_OQ);
  return close & _mm512_cmp_ps_mask(v, _mm512_setzero_ps(), _CMP_NEQ_OQ);
#elif MOX_VEC_BYTES == 32
  const __m256 close = _mm256_cmp_ps(off, _mm256_set1_ps(0.5f - 0x1p-6f), _CMP_GT_OQ);
  return static_cast<uint32_t>(
      _mm256_movemask_ps(_mm256_and_ps(close, _mm256_cmp_ps(v, _mm256_setzero_ps(), _CMP_NEQ_OQ))));
#else
  const __m128 close = _mm_cmpgt_ps(off, _mm_set1_ps(0.5f - 0x1p-6f));
  return static_cast<uint32_t>(_mm_movemask_ps(_mm_and_ps(close, _mm_cmpneq_ps(v, _mm_setzero_ps()))));
#endif
}

// n <= kPhase16Block; the arrays have kPhase16Block elements.
void phases16(const float* re, const float* im, int16_t* dst, size_t n) {
  alignas(64) float v[kPhase16Block];
  mapTwo<PhaseSingle>(re, im, v, n);
  for (size_t i = n; i % kWords != 0; ++i) v[i] = 0;
  uint16_t index[kPhase16Block];
  size_t count = 0;
  for (size_t i = 0; i < n; i += kWords) {
    const Floats scaled = load<Floats>(v + i) * kPhase16;
    store(v + i, scaled);
    for (uint32_t bits = undecided(scaled); bits != 0; bits &= bits - 1) {
      index[count++] = static_cast<uint16_t>(i + static_cast<size_t>(__builtin_ctz(bits)));
    }
  }
  for (size_t i = 0; i < n; ++i) dst[i] = static_cast<int16_t>(static_cast<int32_t>(v[i]));
  if (count != 0) phasesPrecise(re, im, index, count, dst);
}
void phase16(const int16_t* re, const int16_t* im, int16_t* dst, size_t n) {
  float x[kPhase16Block], y[kPhase16Block];
  for (size_t i = 0; i < n; i += kPhase16Block) {
    const size_t some = n - i < kPhase16Block ? n - i : kPhase16Block;
    for (size_t j = 0; j < some; ++j) {
      x[j] = re[i + j];
      y[j] = im[i + j];
    }
    phases16(x, y, dst + i, some);
  }
}
void phase16Complex(const int16_t* src, int16_t* dst, size_t n) {
  float x[kPhase16Block], y[kPhase16Block];
  for (size_t i = 0; i < n; i += kPhase16Block) {
    const size_t some = n - i < kPhase16Block ? n - i : kPhase16Block;
    for (size_t j = 0; j < some; ++j) {
      x[j] = src[2 * (i + j)];
      y[j] = src[2 * (i + j) + 1];
    }
    phases16(x, y, dst + i, some);
  }
}

template <class T>
constexpr Separation<T> separationKernels() {
  return {.real = partOfComplex<RealPart, T>,
          .imaginary = partOfComplex<ImaginaryPart, T>,
          .split = separated<T>,
          .join = joined<T>};
}
template <>
constexpr Separation<int16_t> separationKernels() {
  return {.real = mapWords<RealHalf>, .imaginary = mapWords<ImaginaryHalf>, .split = separated16, .join = joined16};
}

constexpr Polar16 polar16Kernels() {
  return {
      .magnitude = magnitude16,
      .magnitudeComplex = mapWords<Magnitude16>,
      .phase = phase16,
      .phaseComplex = phase16Complex,
  };
}
