// A-law and mu-law companding, ITU-T G.711. A code's segment and mantissa are exponent and mantissa of a float32 that
// holds the (shifted) magnitude exactly, so no table and no shift by a variable is needed, and rounding never happens.

MOX_INLINE int32_t floatBits(int32_t v) { return __builtin_bit_cast(int32_t, static_cast<float>(v)); }
MOX_INLINE int32_t fromFloatBits(int32_t bits) { return static_cast<int32_t>(__builtin_bit_cast(float, bits)); }

// Without the inversion of the even bits: sign (1 for v >= 0), segment, mantissa.
struct ALaw {
  static constexpr int16_t kLargest = 32767;
  MOX_INLINE static uint8_t encode(int32_t magnitude, int32_t negative) {  // negative: 0 or -1
    const int32_t m = magnitude < kLargest ? magnitude : kLargest;
    const int32_t first = (m - 256) >> 31;  // segment 0 has the step of segment 1, without its leading one
    const int32_t code = (floatBits(m + (256 & first)) >> 19) - (134 << 4) - (16 & first);
    return static_cast<uint8_t>(code | (~negative & 0x80));
  }
  // The same in two steps: what becomes a float32, and the code of its upper bits.
  template <class V>
  MOX_INLINE static V raised(V m) {
    return m + (256 & (m < 256));
  }
  template <class V>
  MOX_INLINE static V code(V upper, V m) {
    return upper - (134 << 4) - (16 & (m < 256));
  }
  // ((2 m + 33) 2^(s + 2)) in segments s from 1, that of s = 1 less 256 in segment 0
  MOX_INLINE static int32_t decode(int32_t code) {
    const int32_t segment = code >> 4 & 7, first = (segment - 1) >> 31;
    const int32_t m = fromFloatBits((134 + segment - first) << 23 | (2 * (code & 15) + 1) << 18) - (256 & first);
    return code & 0x80 ? m : -m;
  }
};

// All bits inverted.
struct MuLaw {
  static constexpr int16_t kLargest = 32635;
  MOX_INLINE static uint8_t encode(int32_t magnitude, int32_t negative) {
    const int32_t m = magnitude < kLargest ? magnitude : kLargest;
    const int32_t code = 127 - ((floatBits(m + 131) >> 19) - (134 << 4));
    return static_cast<uint8_t>(code | (~negative & 0x80));
  }
  template <class V>
  MOX_INLINE static V raised(V m) {
    return m + 131;
  }
  template <class V>
  MOX_INLINE static V code(V upper, V) {
    return 127 + (134 << 4) - upper;
  }
  // (2 m + 33) 2^(s + 2) - 132
  MOX_INLINE static int32_t decode(int32_t code) {
    const int32_t inverted = ~code;
    const int32_t m = fromFloatBits((134 + (inverted >> 4 & 7)) << 23 | (2 * (inverted & 15) + 1) << 18) - 132;
    return code & 0x80 ? m : -m;
  }
};

template <class Law>
MOX_INLINE uint8_t encodeInt16(int32_t v) {
  const int32_t negative = v >> 31;
  return Law::encode((v ^ negative) - negative, negative);
}
// A-law takes the upper half of the magnitude, mu-law the magnitude of the upper half.
MOX_INLINE uint8_t encoded(int32_t v, ALaw) {
  const int32_t negative = v >> 31;
  const uint32_t magnitude =
      (static_cast<uint32_t>(v) ^ static_cast<uint32_t>(negative)) - static_cast<uint32_t>(negative);
  return ALaw::encode(static_cast<int32_t>(magnitude >> 16), negative);
}
MOX_INLINE uint8_t encoded(int32_t v, MuLaw) { return encodeInt16<MuLaw>(v >> 16); }
template <class Law>
MOX_INLINE uint8_t encoded(int16_t v, Law) {
  return encodeInt16<Law>(v);
}

MOX_INLINE void setLinear(int16_t& to, int32_t v) { to = static_cast<int16_t>(v); }
MOX_INLINE void setLinear(int32_t& to, int32_t v) { to = v << 16; }
MOX_INLINE void setLinear(float& to, int32_t v) { to = static_cast<float>(v) * 0x1p-15f; }
MOX_INLINE void setLinear(double& to, int32_t v) { to = v * 0x1p-15; }

template <class Law, class T>
void encodeAll(const T* __restrict src, uint8_t* __restrict dst, size_t n) {
  for (size_t i = 0; i < n; ++i) dst[i] = encoded(src[i], Law{});
}
template <class Law, class T>
void decodeAll(const uint8_t* __restrict src, T* __restrict dst, size_t n) {
  for (size_t i = 0; i < n; ++i) setLinear(dst[i], Law::decode(src[i]));
}

// int16 samples stay 16 bits wide but for the conversion.
using Samples = Vec<int16_t, kLanes<int16_t>>;

// Two vectors of values from 0 to 255, as bytes.
#if MOX_VEC_BYTES == 16
MOX_INLINE void storeCodes(uint8_t* dst, Samples v0, Samples v1) {
  store(dst, reinterpret_cast<Vec<uint8_t, 16>>(
                 _mm_packus_epi16(reinterpret_cast<__m128i>(v0), reinterpret_cast<__m128i>(v1))));
}
#elif MOX_VEC_BYTES == 32
MOX_INLINE void storeCodes(uint8_t* dst, Samples v0, Samples v1) {
  const __m256i packed = _mm256_packus_epi16(reinterpret_cast<__m256i>(v0), reinterpret_cast<__m256i>(v1));
  store(dst, reinterpret_cast<Vec<uint8_t, 32>>(_mm256_permute4x64_epi64(packed, 0xd8)));
}
#else
MOX_INLINE void storeCodes(uint8_t* dst, Samples v0, Samples v1) {
  store(dst, reinterpret_cast<Vec<uint8_t, 32>>(_mm512_maskz_cvtepi16_epi8(~0u, reinterpret_cast<__m512i>(v0))));
  store(dst + 32, reinterpret_cast<Vec<uint8_t, 32>>(_mm512_maskz_cvtepi16_epi8(~0u, reinterpret_cast<__m512i>(v1))));
}
#endif

// Of values below 2^15.
MOX_INLINE Int32s upperFloatBits(Int32s v) {
  return reinterpret_cast<Int32s>(__builtin_convertvector(v, Floats)) >> 19;
}
template <class Law>
MOX_INLINE Samples encodedVector(Samples v) {
  const Samples negated = minusSaturated(Samples{}, v), size = v > negated ? v : negated;
  const Samples largest = Samples{} + Law::kLargest, m = size < largest ? size : largest;
  const Samples raised = Law::raised(m);
  const Samples upper =
      packed(upperFloatBits(joinedLow(raised, Samples{})), upperFloatBits(joinedHigh(raised, Samples{})));
  return Law::code(upper, m) | (~(v >> 15) & 0x80);
}
template <class Law>
MOX_INLINE void encodeTwo(const int16_t* src, uint8_t* dst) {
  storeCodes(dst, encodedVector<Law>(load<Samples>(src)), encodedVector<Law>(load<Samples>(src + kLanes<int16_t>)));
}
template <class Law>
void encodeInt16s(const int16_t* src, uint8_t* dst, size_t n) {
  constexpr size_t step = 2 * kLanes<int16_t>;
  if (n < step) {
    for (size_t i = 0; i < n; ++i) dst[i] = encodeInt16<Law>(src[i]);
    return;
  }
  for (size_t i = 0; i + step < n; i += step) encodeTwo<Law>(src + i, dst + i);
  encodeTwo<Law>(src + n - step, dst + n - step);
}

// Limited, NaN to the negative end, and truncated to int16.
template <class Law, class T>
void encodeReals(const T* src, uint8_t* dst, size_t n) {
  if (n < 24) {  // what a conversion by vectors costs at least
    constexpr T limit = Law::kLargest;
    for (size_t i = 0; i < n; ++i) {
      const T y = src[i] * T{32768}, above = y > -limit ? y : -limit;
      dst[i] = encodeInt16<Law>(static_cast<int32_t>(above < limit ? above : limit));
    }
    return;
  }
  int16_t samples[kBlock];
  for (size_t i = 0; i < n; i += kBlock) {
    const size_t some = n - i < kBlock ? n - i : kBlock;
    toIntegers<T, int16_t, Rounding::zero>(src + i, samples, some, T{32768}, OutOfRange::saturate);
    encodeInt16s<Law>(samples, dst + i, some);
  }
}

#if MOX_VEC_BYTES >= 32
using Codes = Vec<uint8_t, kVecBytes>;
#  if MOX_VEC_BYTES == 64
// In an order that the two halves of joined bytes put right.
MOX_INLINE Codes codesAt(const uint8_t* p) {
  const __m512i order = _mm512_setr_epi64(0, 4, 1, 5, 2, 6, 3, 7), v = reinterpret_cast<__m512i>(load<Codes>(p));
  return reinterpret_cast<Codes>(_mm512_maskz_permutexvar_epi64(0xff, order, v));
}
MOX_INLINE __m512i lookedUp(const int8_t* table, Codes index) {
  return _mm512_shuffle_epi8(_mm512_load_si512(table), reinterpret_cast<__m512i>(index));
}
// a[2k] b[2k] + a[2k+1] b[2k+1] where even and odd places come from two vectors each; the lower, the upper half.
MOX_INLINE Samples productsLow(__m512i a0, __m512i a1, __m512i b0, __m512i b1) {
  return reinterpret_cast<Samples>(_mm512_maddubs_epi16(_mm512_unpacklo_epi8(a0, a1), _mm512_unpacklo_epi8(b0, b1)));
}
MOX_INLINE Samples productsHigh(__m512i a0, __m512i a1, __m512i b0, __m512i b1) {
  return reinterpret_cast<Samples>(_mm512_maddubs_epi16(_mm512_unpackhi_epi8(a0, a1), _mm512_unpackhi_epi8(b0, b1)));
}
#  else
MOX_INLINE Codes codesAt(const uint8_t* p) {
  return reinterpret_cast<Codes>(_mm256_permute4x64_epi64(reinterpret_cast<__m256i>(load<Codes>(p)), 0xd8));
}
MOX_INLINE __m256i lookedUp(const int8_t* table, Codes index) {
  const __m256i entries = _mm256_load_si256(reinterpret_cast<const __m256i*>(table));
  return _mm256_shuffle_epi8(entries, reinterpret_cast<__m256i>(index));
}
MOX_INLINE Samples productsLow(__m256i a0, __m256i a1, __m256i b0, __m256i b1) {
  return reinterpret_cast<Samples>(_mm256_maddubs_epi16(_mm256_unpacklo_epi8(a0, a1), _mm256_unpacklo_epi8(b0, b1)));
}
MOX_INLINE Samples productsHigh(__m256i a0, __m256i a1, __m256i b0, __m256i b1) {
  return reinterpret_cast<Samples>(_mm256_maddubs_epi16(_mm256_unpackhi_epi8(a0, a1), _mm256_unpackhi_epi8(b0, b1)));
}
#  endif

// What a code stands for is (x f + y g) 2^kShift, x and y unsigned bytes by its mantissa, f and g signed ones by its
// sign and segment s. A-law: (2 m + 33) 2^(s - 1) - 0, of s = 0: (2 m + 33) - 32. mu-law: (2 m + 33) 2^s - 33, which is
// (2 m + 33) (2^s - 1) + 2 m, as 2^7 is no signed byte.
// Every 16 bytes look up in their own.
template <class Law>
struct Decoding {
  alignas(kVecBytes) int8_t x[kVecBytes], y[kVecBytes], f[kVecBytes], g[kVecBytes];
};
constexpr Decoding<ALaw> decoding(ALaw) {
  Decoding<ALaw> d{};
  for (int k = 0; k < kVecBytes; ++k) {
    const int segment = k & 7, sign = k & 8 ? 1 : -1;
    d.x[k] = static_cast<int8_t>(2 * (k & 15) + 33);
    d.y[k] = 32;
    d.f[k] = static_cast<int8_t>(sign * (segment > 1 ? 1 << (segment - 1) : 1));
    d.g[k] = static_cast<int8_t>(segment == 0 ? -sign : 0);
  }
  return d;
}
constexpr Decoding<MuLaw> decoding(MuLaw) {
  Decoding<MuLaw> d{};
  for (int k = 0; k < kVecBytes; ++k) {
    const int mantissa = 15 - (k & 15), segment = 7 - (k & 7), sign = k & 8 ? 1 : -1;
    d.x[k] = static_cast<int8_t>(2 * mantissa + 33);
    d.y[k] = static_cast<int8_t>(2 * mantissa);
    d.f[k] = static_cast<int8_t>(sign * ((1 << segment) - 1));
    d.g[k] = static_cast<int8_t>(sign);
  }
  return d;
}
template <class Law>
constexpr Decoding<Law> kDecoding = decoding(Law{});
constexpr int decodedShift(ALaw) { return 3; }
constexpr int decodedShift(MuLaw) { return 2; }

template <class Law>
MOX_INLINE void decodeVector(const uint8_t* src, int16_t* dst) {
  constexpr const Decoding<Law>& tables = kDecoding<Law>;
  constexpr int shift = decodedShift(Law{});
  const Codes code = codesAt(src), low = code & 15;
  const Codes high = reinterpret_cast<Codes>(reinterpret_cast<Samples>(code) >> 4) & 15;
  const auto x = lookedUp(tables.x, low), y = lookedUp(tables.y, low);
  const auto f = lookedUp(tables.f, high), g = lookedUp(tables.g, high);
  store(dst, productsLow(x, y, f, g) << shift);
  store(dst + kLanes<int16_t>, productsHigh(x, y, f, g) << shift);
}
// Less than a vector. (A function of its own: an aligned frame costs all that hold one.)
template <class Law>
MOX_NOINLINE void decodeFew(const uint8_t* src, int16_t* dst, size_t n) {
  uint8_t some[kVecBytes];
  int16_t results[kVecBytes];
  store(some, Codes{});
  __builtin_memcpy(some, src, n);
  decodeVector<Law>(some, results);
  __builtin_memcpy(dst, results, n * sizeof(int16_t));
}
template <class Law>
void decodeInt16s(const uint8_t* src, int16_t* dst, size_t n) {
  constexpr size_t L = kVecBytes;
  if (n < L) return decodeFew<Law>(src, dst, n);
  for (size_t i = 0; i + L < n; i += L) {
    if (L == 64) __builtin_prefetch(src + i + 8 * L);  // from memory 105 us for 2^20 codes, without 114
    decodeVector<Law>(src + i, dst + i);
  }
  decodeVector<Law>(src + n - L, dst + n - L);
}
#else
template <class Law>
void decodeInt16s(const uint8_t* src, int16_t* dst, size_t n) {
  decodeAll<Law, int16_t>(src, dst, n);
}
#endif

template <class Law>
constexpr Companding compandingKernels() {
  return {
      .encode16 = encodeInt16s<Law>,
      .encodeInt = encodeAll<Law, int32_t>,
      .encode32 = encodeReals<Law, float>,
      .encode64 = encodeReals<Law, double>,
      .decode16 = decodeInt16s<Law>,
      .decodeInt = decodeAll<Law, int32_t>,
      .decode32 = decodeAll<Law, float>,
      .decode64 = decodeAll<Law, double>,
  };
}
