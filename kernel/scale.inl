// From float32 and int32 to int16 by a power of two.

constexpr int kWords = kLanes<int32_t>;
using Int32s = Vec<int32_t, kWords>;
using Uint32s = Vec<uint32_t, kWords>;
using Floats = Vec<float, kWords>;

// The low 16 bits of two vectors of int32, in order.
#if MOX_VEC_BYTES == 16
MOX_INLINE void storeLowHalves(int16_t* dst, Int32s v0, Int32s v1) {
  store(dst, reinterpret_cast<Vec<int16_t, 8>>(_mm_packs_epi32(reinterpret_cast<__m128i>((v0 << 16) >> 16),
                                                               reinterpret_cast<__m128i>((v1 << 16) >> 16))));
}
#elif MOX_VEC_BYTES == 32
MOX_INLINE void storeLowHalves(int16_t* dst, Int32s v0, Int32s v1) {
  const __m256i packed =
      _mm256_packus_epi32(reinterpret_cast<__m256i>(v0 & 0xffff), reinterpret_cast<__m256i>(v1 & 0xffff));
  store(dst, reinterpret_cast<Vec<int16_t, 16>>(_mm256_permute4x64_epi64(packed, 0xd8)));
}
#else
MOX_INLINE void storeLowHalves(int16_t* dst, Int32s v0, Int32s v1) {
  store(dst, reinterpret_cast<Vec<int16_t, 16>>(_mm512_maskz_cvtepi32_epi16(0xffff, reinterpret_cast<__m512i>(v0))));
  store(dst + 16,
        reinterpret_cast<Vec<int16_t, 16>>(_mm512_maskz_cvtepi32_epi16(0xffff, reinterpret_cast<__m512i>(v1))));
}
#endif

// Two vectors of int32, limited.
#if MOX_VEC_BYTES == 16
MOX_INLINE void storeSaturated(int16_t* dst, Int32s v0, Int32s v1) {
  store(dst, reinterpret_cast<Vec<int16_t, 8>>(
                 _mm_packs_epi32(reinterpret_cast<__m128i>(v0), reinterpret_cast<__m128i>(v1))));
}
#elif MOX_VEC_BYTES == 32
MOX_INLINE void storeSaturated(int16_t* dst, Int32s v0, Int32s v1) {
  const __m256i packed = _mm256_packs_epi32(reinterpret_cast<__m256i>(v0), reinterpret_cast<__m256i>(v1));
  store(dst, reinterpret_cast<Vec<int16_t, 16>>(_mm256_permute4x64_epi64(packed, 0xd8)));
}
#else
MOX_INLINE void storeSaturated(int16_t* dst, Int32s v0, Int32s v1) {
  store(dst, reinterpret_cast<Vec<int16_t, 16>>(_mm512_maskz_cvtsepi32_epi16(0xffff, reinterpret_cast<__m512i>(v0))));
  store(dst + 16,
        reinterpret_cast<Vec<int16_t, 16>>(_mm512_maskz_cvtsepi32_epi16(0xffff, reinterpret_cast<__m512i>(v1))));
}
#endif

// Toward zero whatever the thread's rounding mode; out of range and NaN give INT32_MIN.
#if MOX_VEC_BYTES == 16
MOX_INLINE Int32s truncated(Floats v) { return reinterpret_cast<Int32s>(_mm_cvttps_epi32(v)); }
#elif MOX_VEC_BYTES == 32
MOX_INLINE Int32s truncated(Floats v) { return reinterpret_cast<Int32s>(_mm256_cvttps_epi32(v)); }
#else
MOX_INLINE Int32s truncated(Floats v) { return reinterpret_cast<Int32s>(_mm512_maskz_cvttps_epi32(0xffff, v)); }
#endif

// The integral part as a float.
#if MOX_VEC_BYTES == 16
MOX_INLINE Floats integralPart(Floats v) {
  const Int32s large = (reinterpret_cast<Int32s>(v) & 0x7fffffff) >= 0x4b000000;  // 2^23 and up is integral
  return large ? v : Floats(_mm_cvtepi32_ps(reinterpret_cast<__m128i>(truncated(v))));
}
#elif MOX_VEC_BYTES == 32
MOX_INLINE Floats integralPart(Floats v) { return _mm256_round_ps(v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC); }
#else
MOX_INLINE Floats integralPart(Floats v) {
  return _mm512_maskz_roundscale_ps(0xffff, v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
}
#endif

// The exponent field less `factor`; zeros stay. Nothing guards the field's ends.
MOX_INLINE Floats exponentLowered(Floats v, int32_t factor) {
  const Uint32s bits = reinterpret_cast<Uint32s>(v), step = Uint32s{} + (static_cast<uint32_t>(factor) << 23);
  return reinterpret_cast<Floats>(bits - ((bits << 1) != 0 ? step : Uint32s{}));
}

// The low 16 bits of the integral part.
struct WrapFloats {
  MOX_INLINE static void put(int16_t* dst, Floats v0, Floats v1, int32_t factor) {
    const Floats x0 = exponentLowered(v0, factor), x1 = exponentLowered(v1, factor);
    const Int32s size0 = reinterpret_cast<Int32s>(x0) & 0x7fffffff, size1 = reinterpret_cast<Int32s>(x1) & 0x7fffffff;
    const Int32s beyond = (size0 >= 0x4f000000) | (size1 >= 0x4f000000);  // 2^31 and up
    if (!anyBit(reinterpret_cast<Words>(beyond))) [[likely]]
      return storeLowHalves(dst, truncated(x0), truncated(x1));
    storeLowHalves(dst, truncated(remainder(x0)), truncated(remainder(x1)));
  }
  // The value modulo 2^16, of any finite float: multiples of 2^16 are taken off exactly.
  MOX_INLINE static Floats remainder(Floats x) { return x - integralPart(x * 0x1p-16f) * 0x1p16f; }
};

// Limited as by comparing bit patterns, which take a NaN for a large number of its sign: the first limit is on the
// patterns, the second takes its second operand where there is a NaN.
#if MOX_VEC_BYTES == 16
MOX_INLINE Floats atLeast(Floats a, Floats b) { return _mm_max_ps(a, b); }
#elif MOX_VEC_BYTES == 32
MOX_INLINE Floats atLeast(Floats a, Floats b) { return _mm256_max_ps(a, b); }
#else
MOX_INLINE Floats atLeast(Floats a, Floats b) { return _mm512_maskz_max_ps(0xffff, a, b); }
#endif
struct SaturateFloats {
  MOX_INLINE static Int32s of(Floats v, int32_t factor) {
    const Int32s bits = reinterpret_cast<Int32s>(exponentLowered(v, factor)), limit = Int32s{} + 0x47800000;  // 2^16
    return truncated(atLeast(reinterpret_cast<Floats>(bits > limit ? limit : bits), Floats{} - 0x1p16f));
  }
  MOX_INLINE static void put(int16_t* dst, Floats v0, Floats v1, int32_t factor) {
    storeSaturated(dst, of(v0, factor), of(v1, factor));
  }
};

// v / 2^factor rounded down, or v * 2^-factor modulo 2^32.
MOX_INLINE Int32s shifted(Int32s v, int32_t factor) {
  return factor >= 0 ? v >> factor : reinterpret_cast<Int32s>(reinterpret_cast<Uint32s>(v) << -factor);
}
struct WrapInts {
  MOX_INLINE static void put(int16_t* dst, Int32s v0, Int32s v1, int32_t factor) {
    storeLowHalves(dst, shifted(v0, factor), shifted(v1, factor));
  }
};
struct SaturateInts {
  MOX_INLINE static void put(int16_t* dst, Int32s v0, Int32s v1, int32_t factor) {
    storeSaturated(dst, shifted(v0, factor), shifted(v1, factor));
  }
};

// Two vectors' worth.
template <class Op, class T>
MOX_INLINE void twoToInt16(const T* src, int16_t* dst, int32_t factor) {
  using V = Vec<T, kWords>;
  Op::put(dst, load<V>(src), load<V>(src + kWords), factor);
}

// Fewer than two vectors go through a copy of their own.
template <class Op, class T>
void toInt16(const T* src, int16_t* dst, size_t n, int32_t factor) {
  constexpr size_t step = 2 * kWords;
  size_t i = 0;
  for (; i + step <= n; i += step) twoToInt16<Op>(src + i, dst + i, factor);
  if (i == n) return;
  if (n >= step) return twoToInt16<Op>(src + n - step, dst + n - step, factor);
  T some[step] = {};
  int16_t results[step];
  __builtin_memcpy(some, src, n * sizeof(T));
  twoToInt16<Op>(some, results, factor);
  __builtin_memcpy(dst, results, n * sizeof(int16_t));
}

MOX_INLINE uint32_t sizeOf(float x) {
  uint32_t bits;
  __builtin_memcpy(&bits, &x, sizeof bits);
  return bits & 0x7fffffff;
}
MOX_INLINE uint32_t sizeOf(int32_t x) { return x < 0 ? 0u - static_cast<uint32_t>(x) : static_cast<uint32_t>(x); }
MOX_INLINE Uint32s sizesOf(Floats v) { return reinterpret_cast<Uint32s>(v) & 0x7fffffffu; }
MOX_INLINE Uint32s sizesOf(Int32s v) {
  const Uint32s u = reinterpret_cast<Uint32s>(v);
  return v < 0 ? -u : u;
}

// The index of the element of largest magnitude. Of several the last element wins if it is one and n is odd, else the
// first. (Float bits without their sign order like the magnitudes, NaN above all.)
template <class T>
size_t indexOfLargest(const T* src, size_t n) {
  using V = Vec<T, kWords>;
  uint32_t largest = 0;
  size_t i = 0;
  if (n >= kWords) {
    Uint32s most = sizesOf(load<V>(src + n - kWords));
    for (; i + kWords <= n; i += kWords) {
      const Uint32s size = sizesOf(load<V>(src + i));
      most = size > most ? size : most;
    }
    for (int k = 0; k < kWords; ++k) largest = most[k] > largest ? most[k] : largest;
  } else {
    for (; i < n; ++i) largest = sizeOf(src[i]) > largest ? sizeOf(src[i]) : largest;
  }
  if (n % 2 == 1 && sizeOf(src[n - 1]) == largest) return n - 1;
  for (i = 0; i + kWords <= n; i += kWords) {
    const Int32s found = sizesOf(load<V>(src + i)) == largest;
    bool any = false;
    for (int k = 0; k < kWords; ++k) any |= found[k] != 0;
    if (any) break;
  }
  while (sizeOf(src[i]) != largest) ++i;
  return i;
}

void int16ToFloats(const int16_t* __restrict src, float* __restrict dst, size_t n) {
  for (size_t i = 0; i < n; ++i) dst[i] = src[i];
}

constexpr Scale scaleKernels() {
  return {
      .floatsWrapped = toInt16<WrapFloats, float>,
      .floatsSaturated = toInt16<SaturateFloats, float>,
      .intsWrapped = toInt16<WrapInts, int32_t>,
      .intsSaturated = toInt16<SaturateInts, int32_t>,
      .toFloats = int16ToFloats,
      .indexOfLargestFloat = indexOfLargest<float>,
      .indexOfLargestInt = indexOfLargest<int32_t>,
  };
}
