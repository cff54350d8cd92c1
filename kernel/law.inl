// A-law and mu-law companding, ITU-T G.711. A code's segment and mantissa are exponent and mantissa of a float32 that
// holds the (shifted) magnitude exactly, so no table and no shift by a variable is needed, and rounding never happens.

MOX_INLINE int32_t floatBits(int32_t v) { return __builtin_bit_cast(int32_t, static_cast<float>(v)); }
MOX_INLINE int32_t fromFloatBits(int32_t bits) { return static_cast<int32_t>(__builtin_bit_cast(float, bits)); }

// Without the inversion of the even bits: sign (1 for v >= 0), segment, mantissa.
struct ALaw {
  static constexpr int32_t kLargest = 32767;
  MOX_INLINE static uint8_t encode(int32_t magnitude, int32_t negative) {  // negative: 0 or -1
    const int32_t m = magnitude < kLargest ? magnitude : kLargest;
    const int32_t first = (m - 256) >> 31;  // segment 0 has the step of segment 1, without its leading one
    const int32_t code = (floatBits(m + (256 & first)) >> 19) - (134 << 4) - (16 & first);
    return static_cast<uint8_t>(code | (~negative & 0x80));
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
  static constexpr int32_t kLargest = 32635;
  MOX_INLINE static uint8_t encode(int32_t magnitude, int32_t negative) {
    const int32_t m = magnitude < kLargest ? magnitude : kLargest;
    const int32_t code = 127 - ((floatBits(m + 131) >> 19) - (134 << 4));
    return static_cast<uint8_t>(code | (~negative & 0x80));
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
  const uint32_t magnitude = (static_cast<uint32_t>(v) ^ static_cast<uint32_t>(negative)) - static_cast<uint32_t>(negative);
  return ALaw::encode(static_cast<int32_t>(magnitude >> 16), negative);
}
MOX_INLINE uint8_t encoded(int32_t v, MuLaw) { return encodeInt16<MuLaw>(v >> 16); }
template <class Law>
MOX_INLINE uint8_t encoded(int16_t v, Law) {
  return encodeInt16<Law>(v);
}
// Limits first, NaN to the negative end, then truncates.
template <class R, class Law>
MOX_INLINE uint8_t encodedReal(R x) {
  constexpr R limit = Law::kLargest;
  const R y = x * R(32768), above = y > -limit ? y : -limit;
  return encodeInt16<Law>(static_cast<int32_t>(above < limit ? above : limit));
}
template <class Law>
MOX_INLINE uint8_t encoded(float x, Law) {
  return encodedReal<float, Law>(x);
}
template <class Law>
MOX_INLINE uint8_t encoded(double x, Law) {
  return encodedReal<double, Law>(x);
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

template <class Law>
constexpr Companding compandingKernels() {
  return {
      .encode16 = encodeAll<Law, int16_t>,
      .encodeInt = encodeAll<Law, int32_t>,
      .encode32 = encodeAll<Law, float>,
      .encode64 = encodeAll<Law, double>,
      .decode16 = decodeAll<Law, int16_t>,
      .decodeInt = decodeAll<Law, int32_t>,
      .decode32 = decodeAll<Law, float>,
      .decode64 = decodeAll<Law, double>,
  };
}
