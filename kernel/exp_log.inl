// Exponential and natural logarithm.
//
// float32 is evaluated in float32 with fused multiply-add, in steps of tables that one permutation reads: 8 entries in
// a 32-byte register. A set without fma evaluates in float64 and rounds once. float64 uses no larger table than two
// values, since AVX2 has no permutation for more and gathers cost more than the polynomial they save.

// c[K] + c[K+S] x + c[K+2S] x^2 + ...
template <size_t K = 0, size_t S = 1, class V, size_t N>
MOX_INLINE V polynomial(V x, const ElementOf<V> (&c)[N]) {
  if constexpr (K + S >= N) {
    return broadcast<V>(c[K]);
  } else {
    return fma(polynomial<K + S, S>(x, c), x, broadcast<V>(c[K]));
  }
}

// c[0] + c[1] x + c[2] x^2 + ... in two chains, with the square given: as many operations, half the latency. The loops
// are bound by the number of operations that the processor can hold waiting.
template <class V, size_t N>
MOX_INLINE V polynomial(V x, V square, const ElementOf<V> (&c)[N]) {
  if constexpr (N <= 3) {
    return polynomial(x, c);
  } else {
    return fma(x, polynomial<1, 2>(square, c), polynomial<0, 2>(square, c));
  }
}

// ---- tables

// table[index mod 8]
#if MOX_VEC_BYTES == 64
MOX_INLINE Vec<float, 16> lookUp(const float (&table)[8], Vec<uint32_t, 16> index) {
  const __m512 entries = _mm512_maskz_broadcast_f32x8(0xffff, load<Vec<float, 8>>(table));
  return _mm512_maskz_permutexvar_ps(0xffff, reinterpret_cast<__m512i>(index), entries);
}
#elif MOX_VEC_BYTES == 32
MOX_INLINE Vec<float, 8> lookUp(const float (&table)[8], Vec<uint32_t, 8> index) {
  return _mm256_permutevar8x32_ps(load<Vec<float, 8>>(table), reinterpret_cast<__m256i>(index));
}
#endif

// table[index mod 2]
#if MOX_VEC_BYTES == 64
MOX_INLINE Vec<double, 8> lookUp(const double (&table)[2], Vec<uint64_t, 8> index) {
  const __m512d entries = _mm512_maskz_broadcast_f64x2(0xff, load<Vec<double, 2>>(table));
  return _mm512_maskz_permutexvar_pd(0xff, reinterpret_cast<__m512i>(index), entries);
}
#elif MOX_VEC_BYTES == 32
MOX_INLINE Vec<double, 4> lookUp(const double (&table)[2], Vec<uint64_t, 4> index) {
  const __m256d entries = _mm256_broadcast_pd(reinterpret_cast<const __m128d*>(table));
  return _mm256_permutevar_pd(entries, reinterpret_cast<__m256i>(index + index));  // looks at bit 1
}
#else
MOX_INLINE Vec<double, 2> lookUp(const double (&table)[2], Vec<uint64_t, 2> index) {
  using Bits = Vec<uint64_t, 2>;
  const Bits even = bitsOf(broadcast<Vec<double, 2>>(table[0])), odd = bitsOf(broadcast<Vec<double, 2>>(table[1]));
  return fromBits<Vec<double, 2>>(even ^ ((even ^ odd) & -(index & 1)));
}
#endif

// ---- e^x
//
// x = n ln2/S + r, n an integer, abs(r) <= ln2/(2S); e^x = 2^(n/S) e^r. The table holds 2^(j/S) rounded, T[j], and what
// is missing as a relative correction d[j]: e^x = 2^k T[j] (1 + (r + (d[j] + r^2 Q(r)))). Q(r) = (e^r - 1 - r) / r^2 is
// a minimax fit.

template <class T>
struct Steps {
  T value[sizeof(T) == 4 ? 8 : 2];
};
// The entries less their index times 2^-S of their exponent's unit: adding n there, all of its bits, leaves T[j] 2^k.
template <class T>
consteval Steps<T> lessIndex(Steps<T> t, int bits) {
  BitsOf<T> j = 0;
  for (T& v : t.value) v = __builtin_bit_cast(T, __builtin_bit_cast(BitsOf<T>, v) - (j++ << bits));
  return t;
}

template <class T>
struct ExpData;

template <>
struct ExpData<float> {
  static constexpr int kMantissa = 23, kStepBits = 3, kIndexAt = kMantissa - kStepBits;
  static constexpr float kSteps = 0x1.715476p+3f;                        // 8 / ln2
  static constexpr float kHigh = 0x1.62e43p-4f, kLow = -0x1.05c61p-32f;  // ln2 / 8
  static constexpr float kRound = 0x1.8p23f;
  static constexpr Steps<float> kT = lessIndex<float>(
      {1.0f, 0x1.172b84p0f, 0x1.306fep0f, 0x1.4bfdaep0f, 0x1.6a09e6p0f, 0x1.8ace54p0f, 0x1.ae89fap0f, 0x1.d5818ep0f},
      kIndexAt);
  static constexpr Steps<float> kD = {0,
                                      -0x1.9c0c22p-27f,
                                      0x1.125002p-25f,
                                      -0x1.0a355p-25f,
                                      0x1.26055cp-26f,
                                      0x1.67a1cap-28f,
                                      -0x1.f9c304p-27f,
                                      -0x1.a5217cp-28f};
  static constexpr float kQ[] = {0x1p-1f, 0x1.555b7ep-3f, 0x1.555a5ap-5f};
  static constexpr BitRange kPlain = {0x7fffffff, 0, 0x42ae0000};  // abs(x) < 87: the result is normal
  static constexpr float kLimit = 104;                             // beyond, it is 0 or infinity
};

template <>
struct ExpData<double> {
  static constexpr int kMantissa = 52, kStepBits = 1, kIndexAt = kMantissa - kStepBits;
  static constexpr double kSteps = 0x1.71547652b82fep+1;  // 2 / ln2
  // ln2 / 2; the first part has 42 bits, n has 11: their product is exact without fma, too.
  static constexpr double kHigh = 0x1.62e42fefa38p-2, kLow = 0x1.ef35793c7673p-46;
  static constexpr double kRound = 0x1.8p52;
  static constexpr Steps<double> kT = lessIndex<double>({1.0, 0x1.6a09e667f3bcdp0}, kIndexAt);
  static constexpr Steps<double> kD = {0, -0x1.3b3efbf5e2228p-54};
  static constexpr double kQ[] = {0x1p-1,
                                  0x1.555555555553cp-3,
                                  0x1.555555555553bp-5,
                                  0x1.111111113d791p-7,
                                  0x1.6c16c16c50502p-10,
                                  0x1.a019fc6762369p-13,
                                  0x1.a019fc95d3dacp-16,
                                  0x1.7218520f22ba8p-19,
                                  0x1.2812712aa888ep-22};
  static constexpr BitRange kPlain = {0x7fffffff, 0, 0x40862000};  // abs(x) < 708
  static constexpr double kLimit = 746;
};

template <class R, class D = ExpData<R>>
struct Exp {
  using Type = R;

  using Inspect = Inspector<R, D::kPlain>;

  // n in the low bits of `steps`, and e^r - 1 with the table's correction.
  template <class V>
  struct Reduced {
    BitsVec<V> steps;
    V p;
  };
  template <class V>
  MOX_INLINE static Reduced<V> reduced(V x) {
    const V t = fma(x, broadcast<V>(D::kSteps), broadcast<V>(D::kRound));
    const V n = t - broadcast<V>(D::kRound);
    const V r = fma(n, broadcast<V>(-D::kLow), fma(n, broadcast<V>(-D::kHigh), x));
    const V d = lookUp(D::kD.value, bitsOf(t));
    const V z = r * r;
    return {bitsOf(t), r + fma(z, polynomial(r, z, D::kQ), d)};
  }

  template <class V>
  MOX_INLINE static V plain(V x) {
    const Reduced<V> e = reduced(x);
    const V scale = fromBits<V>(bitsOf(lookUp(D::kT.value, e.steps)) + (e.steps << D::kIndexAt));
    return fma(scale, e.p, scale);
  }

  // Two factors for the power of two, so that only the last product rounds. Comparisons are made on the bits: those of
  // NaN must not raise a flag.
  template <class V>
  MOX_INLINE static V careful(V x) {
    using U = BitsVec<V>;
    constexpr ElementOf<U> sign = ElementOf<U>{1} << (8 * sizeof(R) - 1), bias = (sign >> 1 >> D::kMantissa) - 1;
    const U limit = bitsOf(broadcast<V>(D::kLimit)), infinity = broadcast<U>((2 * bias + 1) << D::kMantissa);
    const U magnitude = bitsOf(x) & ~sign;
    const U clamped = ((magnitude > limit) & (magnitude <= infinity)) ? limit : magnitude;
    const Reduced<V> e = reduced(fromBits<V>(clamped | (bitsOf(x) & sign)));
    const U index = e.steps & ((1 << D::kStepBits) - 1);
    const V t = fromBits<V>(bitsOf(lookUp(D::kT.value, e.steps)) + (index << D::kIndexAt));
    // The bias keeps n positive.
    const U n = (e.steps - bitsOf(broadcast<V>(D::kRound)) + (bias << (D::kStepBits + 2))) >> D::kStepBits;
    const U half = n >> 1;  // = k/2 + 2 bias
    const V one = fromBits<V>((half - bias) << D::kMantissa), other = fromBits<V>((n - half - bias) << D::kMantissa);
    return fma(t, e.p, t) * one * other;
  }
};

// ---- ln x

#if MOX_VEC_BYTES == 64
MOX_INLINE Vec<float, 16> toFloat(Vec<int32_t, 16> v) {
  return _mm512_maskz_cvtepi32_ps(0xffff, reinterpret_cast<__m512i>(v));
}
#elif MOX_VEC_BYTES == 32
MOX_INLINE Vec<float, 8> toFloat(Vec<int32_t, 8> v) { return _mm256_cvtepi32_ps(reinterpret_cast<__m256i>(v)); }
#endif

// Where x is zero, negative, infinite or NaN: -inf, NaN, inf, NaN in place of y.
template <class V>
MOX_INLINE V lnOfOutliers(V x, V y) {
  using R = ElementOf<V>;
  using U = BitsVec<V>;
  const U u = bitsOf(x), infinity = bitsOf(broadcast<V>(__builtin_huge_val()));
  constexpr ElementOf<U> sign = ElementOf<U>{1} << (8 * sizeof(R) - 1);
  const U nan = bitsOf(broadcast<V>(static_cast<R>(__builtin_nan(""))));
  U r = bitsOf(y);
  r = u > sign ? nan : r;
  r = u == infinity ? infinity : r;
  r = (u & ~sign) > infinity ? u | bitsOf(broadcast<V>(1)) : r;
  r = (u & ~sign) == 0 ? infinity | sign : r;
  return fromBits<V>(r);
}

// x = 2^k m, m in [0.71875, 1.4375); the upper three bits of m, rounded, give c of few bits with m c - 1 = r exact and
// abs(r) < 0.0704; ln x = (k ln2 - ln c) + r + r^2 P(r). c = 1 around 1.
struct LnFloat {
  using Type = float;
  static constexpr BitRange kPlain = {0xffffffff, 0x00800000, 0x7f000000};  // normal numbers
  using Inspect = Inspector<float, kPlain>;
  static constexpr float kC[8] = {1, 0.875f, 0.8125f, 0.75f, 1.3125f, 1.25f, 1.125f, 1.0625f};
  // -ln c in multiples of 2^-16, and the rest.
  static constexpr float kHigh[8] = {0,           0x1.1178p-3f, 0x1.a94p-3f, 0x1.2698p-2f, -0x1.1674p-2f,
                                     -0x1.c9p-3f, -0x1.e27p-4f, -0x1.f0ap-5f};
  static constexpr float kLow[8] = {0,
                                    0x1.d044fcp-20f,
                                    -0x1.2c3752p-19f,
                                    -0x1.deecb2p-18f,
                                    -0x1.cababap-18f,
                                    0x1.070cacp-20f,
                                    -0x1.db8abcp-22f,
                                    -0x1.86008cp-20f};
  static constexpr float kP[] = {-0x1p-1f, 0x1.555514p-2f, -0x1.fffd7p-3f, 0x1.9b4f52p-3f, -0x1.5988b4p-3f};

  // ln(2^scale x)
  template <class V, class I = Vec<int32_t, sizeof(V) / 4>>
  MOX_INLINE static V scaled(V x, I scale) {
    const BitsVec<V> u = bitsOf(x);
    const I k = reinterpret_cast<I>(u - 0x3f380000) >> 23;
    const V kf = toFloat(k + scale), m = fromBits<V>(u - reinterpret_cast<BitsVec<V>>(k << 23));
    const BitsVec<V> index = (u + 0x80000) >> 20;
    const V r = fma(m, lookUp(kC, index), broadcast<V>(-1));
    const V high = fma(kf, broadcast<V>(0x1.62e4p-1f), lookUp(kHigh, index));  // exact
    const V low = fma(kf, broadcast<V>(0x1.7f7d1cp-20f), lookUp(kLow, index));
    const V sum = high + r, rest = r - (sum - high);
    const V z = r * r;
    return sum + (rest + fma(z, polynomial(r, z, kP), low));
  }
  template <class V>
  MOX_INLINE static V plain(V x) {
    return scaled(x, Vec<int32_t, sizeof(V) / 4>{});
  }
  template <class V>
  MOX_INLINE static V careful(V x) {
    const auto small = bitsOf(x) < 0x00800000;
    return lnOfOutliers(x, scaled(small ? x * 0x1p23f : x, small & -23));
  }
};

// x = 2^k (1 + f), 1 + f in [sqrt(1/2), sqrt 2). With s = f / (2 + f) and z = s^2, ln(1 + f) = f - (h - s (h + z
// R(z))), h = f^2/2: the odd series of 2 atanh s, rearranged so that f, which is exact, enters last.
struct LnData {
  static constexpr BitRange kPlain = {0xffffffff, 0x00100000, 0x7fe00000};  // normal numbers
  static constexpr double kR[] = {0x1.555555555558fp-1, 0x1.9999999980aebp-2, 0x1.249249415d1f4p-2,
                                  0x1.c71c526c68ddap-3, 0x1.74662dc9a4963p-3, 0x1.39a33425d012ep-3,
                                  0x1.2ef896f4265d7p-3};
};

template <class D = LnData>
struct LnDouble {
  using Type = double;
  using Inspect = Inspector<double, D::kPlain>;

  template <class V>
  MOX_INLINE static V scaled(V x, V scale) {
    using U = BitsVec<V>;
    constexpr uint64_t low = 0x3fe6a09e667f3bcd;                   // sqrt(1/2)
    const U u = bitsOf(x) - low + (uint64_t{1023} << 52);          // exponent k + 1023
    const V biased = fromBits<V>((u >> 52) | 0x4330000000000000);  // 2^52 + k + 1023
    const V k = biased - (broadcast<V>(0x1p52 + 1023) - scale);
    const V f = fromBits<V>((u & 0x000fffffffffffff) + low) - 1;
    const V s = f / (f + 2), z = s * s, h = f * f * 0.5;
    // The first part of ln2 has 32 trailing zero bits.
    const V rest = fma(s, fma(z, polynomial(z, D::kR), h), k * 0x1.a39ef35793c76p-33);
    return fma(k, broadcast<V>(0x1.62e42feep-1), f - (h - rest));
  }
  template <class V>
  MOX_INLINE static V plain(V x) {
    return scaled(x, V{});
  }
  template <class V>
  MOX_INLINE static V careful(V x) {
    const auto small = bitsOf(x) < 0x0010000000000000;
    return lnOfOutliers(x, scaled(small ? x * 0x1p54 : x, small ? broadcast<V>(-54) : V{}));
  }
};

#if MOX_HAS_FMA
using ExpSingle = Exp<float>;
using LnSingle = LnFloat;
#else
struct ExpShort : ExpData<double> {
  static constexpr double kQ[] = {0x1.000000005c69ep-1, 0x1.55554dd270aebp-3, 0x1.55554b9187933p-5,
                                  0x1.114f949cf628bp-7, 0x1.6c6e468925a24p-10};
};
struct LnShort : LnData {
  static constexpr double kR[] = {0x1.5555554b92394p-1, 0x1.9999ebfa86788p-2, 0x1.245c0b572415cp-2,
                                  0x1.ddd8e231e9556p-3};
};
using ExpSingle = InFloat64<Exp<double, ExpShort>, Exp<float>::Inspect>;
using LnSingle = InFloat64<LnDouble<LnShort>, LnFloat::Inspect>;
#endif
