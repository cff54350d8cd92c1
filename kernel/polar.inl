// Magnitude and phase of complex values, and back.

#if MOX_VEC_BYTES == 64
MOX_INLINE Vec<float, 16> greater(Vec<float, 16> a, Vec<float, 16> b) { return _mm512_maskz_max_ps(0xffff, a, b); }
MOX_INLINE Vec<float, 16> less(Vec<float, 16> a, Vec<float, 16> b) { return _mm512_maskz_min_ps(0xffff, a, b); }
MOX_INLINE Vec<double, 8> greater(Vec<double, 8> a, Vec<double, 8> b) { return _mm512_maskz_max_pd(0xff, a, b); }
MOX_INLINE Vec<double, 8> less(Vec<double, 8> a, Vec<double, 8> b) { return _mm512_maskz_min_pd(0xff, a, b); }
MOX_INLINE Vec<float, 16> root(Vec<float, 16> v) { return _mm512_maskz_sqrt_ps(0xffff, v); }
MOX_INLINE Vec<double, 8> root(Vec<double, 8> v) { return _mm512_maskz_sqrt_pd(0xff, v); }
#elif MOX_VEC_BYTES == 32
MOX_INLINE Vec<float, 8> greater(Vec<float, 8> a, Vec<float, 8> b) { return _mm256_max_ps(a, b); }
MOX_INLINE Vec<float, 8> less(Vec<float, 8> a, Vec<float, 8> b) { return _mm256_min_ps(a, b); }
MOX_INLINE Vec<double, 4> greater(Vec<double, 4> a, Vec<double, 4> b) { return _mm256_max_pd(a, b); }
MOX_INLINE Vec<double, 4> less(Vec<double, 4> a, Vec<double, 4> b) { return _mm256_min_pd(a, b); }
MOX_INLINE Vec<float, 8> root(Vec<float, 8> v) { return _mm256_sqrt_ps(v); }
MOX_INLINE Vec<double, 4> root(Vec<double, 4> v) { return _mm256_sqrt_pd(v); }
#else
MOX_INLINE Vec<double, 2> greater(Vec<double, 2> a, Vec<double, 2> b) { return _mm_max_pd(a, b); }
MOX_INLINE Vec<double, 2> less(Vec<double, 2> a, Vec<double, 2> b) { return _mm_min_pd(a, b); }
MOX_INLINE Vec<double, 2> root(Vec<double, 2> v) { return _mm_sqrt_pd(v); }
#endif
MOX_INLINE Vec<float, 4> root(Vec<float, 4> v) { return _mm_sqrt_ps(v); }
#if MOX_VEC_BYTES == 64
MOX_INLINE Vec<float, 8> root(Vec<float, 8> v) { return _mm256_sqrt_ps(v); }
#endif

// 1/sqrt(s) to 22 bits, s in the range of float32.
template <class V>
MOX_INLINE V inverseRootEstimate(V s) {
#if MOX_VEC_BYTES == 16
  const Vec<float, 4> single = narrow(s), both = _mm_movelh_ps(single, single);  // no division by an unused 0
  return widenLow(1 / root(both));
#else
  return widen(1 / root(narrow(s)));
#endif
}

template <class V>
constexpr ElementOf<BitsVec<V>> kSignBit = ElementOf<BitsVec<V>>{1} << (8 * sizeof(ElementOf<V>) - 1);

template <class V>
MOX_INLINE V magnitudeOf(V x) {
  return fromBits<V>(bitsOf(x) & ~kSignBit<V>);
}

// c - a b, exact where the difference is a float of the set; a b is the rounded product of two values below 2^990.
template <class V>
MOX_INLINE V exactRest(V a, V b, V c) {
#if MOX_HAS_FMA
  return fnma(a, b, c);
#else
  const V p = a * b, splitA = a * 134217729.0, splitB = b * 134217729.0;  // 2^27 + 1
  const V a1 = splitA - (splitA - a), a2 = a - a1, b1 = splitB - (splitB - b), b2 = b - b1;
  return (c - p) - (((a1 * b1 - p) + a1 * b2 + a2 * b1) + a2 * b2);
#endif
}

// ---- phase
//
// With 0 <= m <= M the two magnitudes: atan(m/M) = atan g for m <= M/2, pi/4 + atan g otherwise, where
// g = m/M or (m - M) / (m + M), abs(g) <= 1/2. The phase is k pi/4 + atan g or k pi/4 - atan g, k = 0 ... 4, with the
// sign of the imaginary part; negative zeros count as positive ones.

template <class T>
struct PhaseData;

template <>
struct PhaseData<float> {
  static constexpr float kHigh = 0x1.921fbp-1f, kLow = 0x1.5110b4p-23f;  // pi/4; k kHigh is exact
  static constexpr float kTiny = 0x1p-126f;
  // Zero, or between these.
  static constexpr uint32_t kLeast = 0x0d800000, kLimit = 0x7e000000;  // 2^-100, 2^125
  // atan g - g = g^3 A(g^2)
  static constexpr float kA[] = {-0x1.555552p-2f, 0x1.999744p-3f,  -0x1.245028p-3f,
                                 0x1.c07146p-4f,  -0x1.4806b4p-4f, 0x1.3fbcfcp-5f};
  // Factors that bring every pair with an exponent beyond the limits between them.
  static constexpr float kSmall = 0x1p-20f, kLarge = 0x1p100f, kUp = 0x1p100f, kDown = 0x1p-60f, kSlightlyUp = 0x1p24f;
};

template <>
struct PhaseData<double> {
  static constexpr double kHigh = 0x1.921fb54442d18p-1, kLow = 0x1.1a62633145c07p-55;
  static constexpr double kTiny = 0x1p-1022;
  static constexpr uint32_t kLeast = 0x07b00000, kLimit = 0x7dd00000;  // 2^-900, 2^990
  static constexpr double kA[] = {-0x1.5555555555515p-2, 0x1.9999999990f6ap-3,  -0x1.24924921543f8p-3,
                                  0x1.c71c708dbebfp-4,   -0x1.745cf47dcb836p-4, 0x1.3b113919d976bp-4,
                                  -0x1.10f2f03bc4dcep-4, 0x1.dfe7046311ecbp-5,  -0x1.a38d99cec826ep-5,
                                  0x1.56d7b1c688193p-5,  -0x1.c11fcbeb18372p-6, 0x1.4afe3e9edabb5p-7};
  static constexpr double kSmall = 0x1p-20, kLarge = 0x1p900, kUp = 0x1p900, kDown = 0x1p-500, kSlightlyUp = 0x1p60;
};

// Both values zero or in the range of PhaseData.
template <class T>
struct InspectComplex {
  using U = BitsVec<Vec<T, kLanes<T>>>;
  Words most{}, least = ~Words{};
  MOX_INLINE void look(Pair<Vec<T, kLanes<T>>> v) {
    const U a = bitsOf(magnitudeOf(v.a)), b = bitsOf(magnitudeOf(v.b));
    most = greater(most, greater(reinterpret_cast<Words>(a), reinterpret_cast<Words>(b)));
    // Less 1, zero is above all.
    least = less(least, less(reinterpret_cast<Words>(a - 1), reinterpret_cast<Words>(b - 1)));
  }
  MOX_INLINE bool allPlain() const {
    using D = PhaseData<T>;
    const Words over = reinterpret_cast<Words>(most >= broadcast<Words>(D::kLimit));
    const Words under = reinterpret_cast<Words>(least < broadcast<Words>(D::kLeast - (sizeof(T) == 4)));
    return !anyElement<T>(over | under);
  }
};

// The phase of x + iy with its sign flipped by `sign`, for y's magnitude alone. Without kPrecise, the last bit is not
// worth its price: float64 on the way to float32.
template <class D, bool kPrecise, class V>
MOX_INLINE V phaseOf(V x, V y, BitsVec<V> sign) {
  using U = BitsVec<V>;
  const V zero{}, ax = magnitudeOf(x), ay = magnitudeOf(y), most = greater(ax, ay), least = less(ax, ay);
  const auto steep = ay > ax, wide = least + least > most, left = x < zero;
  const V added = wide ? least : zero;
  const V numerator = least - (wide ? most : zero);  // exact
  const V denominator = greater(most + added, broadcast<V>(D::kTiny));
  V g, rest;  // the quotient is g + rest
  if constexpr (kPrecise) {
    const V reciprocal = 1 / denominator;
    g = numerator * reciprocal;
    const V rounded = added - (denominator - most);  // off the denominator
    rest = fnma(g, rounded, exactRest(g, denominator, numerator)) * reciprocal;
  } else {
    g = numerator / denominator;
  }
  const V z = g * g, zz = z * z, cube = g * z;
  V low = cube * polynomial(z, zz, D::kA);
  if constexpr (kPrecise) low = fma(cube, polynomial(z, zz, D::kA), rest * (1 - z + zz));  // rest / (1 + z)
  const V side = left ? broadcast<V>(4) : zero;
  const V k = wide ? fma(side, broadcast<V>(0.5), broadcast<V>(1)) : (steep ? broadcast<V>(2) : side);
  const U turn = (reinterpret_cast<U>(steep) ^ reinterpret_cast<U>(left)) & kSignBit<V>;
  const V signedK = fromBits<V>(bitsOf(k) ^ turn), base = signedK * broadcast<V>(D::kHigh);
  const V sum = base + g, sumLow = g - (sum - base);
  const V phase = sum + (sumLow + fma(signedK, broadcast<V>(D::kLow), low));
  return fromBits<V>(bitsOf(phase) ^ turn ^ sign);
}

template <class T, class D = PhaseData<T>, bool kPrecise = true>
struct Phase {
  using Type = T;
  using Inspect = InspectComplex<T>;
  template <class V>
  MOX_INLINE static V plain(Pair<V> v) {
    return phaseOf<D, kPrecise>(v.a, v.b, reinterpret_cast<BitsVec<V>>(v.b < V{}) & kSignBit<V>);
  }

  // Works on the bits: comparisons of NaN must not raise a flag.
  template <class V>
  MOX_INLINE static V careful(Pair<V> v) {
    using U = BitsVec<V>;
    const U infinity = bitsOf(broadcast<V>(__builtin_huge_valf())), one = bitsOf(broadcast<V>(1));
    U ax = bitsOf(magnitudeOf(v.a)), ay = bitsOf(magnitudeOf(v.b));
    const U nan = reinterpret_cast<U>(ax > infinity) | reinterpret_cast<U>(ay > infinity);
    const U sign = (ay == 0 ? U{} : bitsOf(v.b)) & kSignBit<V>, left = bitsOf(v.a) & kSignBit<V>;
    // Infinities count as 1, what stands beside one as 0.
    const U infinite = reinterpret_cast<U>(ax == infinity) | reinterpret_cast<U>(ay == infinity);
    ax = (ax == infinity ? one : ax & ~infinite) & ~nan;
    ay = (ay == infinity ? one : ay & ~infinite) & ~nan;
    const U most = ax > ay ? ax : ay;
    const V factor = most < bitsOf(broadcast<V>(D::kSmall))    ? broadcast<V>(D::kUp)
                     : most >= bitsOf(broadcast<V>(D::kLarge)) ? broadcast<V>(D::kDown)
                                                               : broadcast<V>(D::kSlightlyUp);
    const V x = fromBits<V>(ax | left) * factor, y = fromBits<V>(ay) * factor;
    return fromBits<V>(bitsOf(phaseOf<D, kPrecise>(x, y, sign)) | (nan & ~kSignBit<V>));
  }
};

// ---- magnitude

struct NothingToInspect {
  template <class V>
  MOX_INLINE void look(V) {}
  MOX_INLINE bool allPlain() const { return true; }
};

// sqrt(x^2 + y^2) of float32 values in float64, rounded once. Squares are exact.
template <class V>
MOX_INLINE V magnitudeInFloat64(Pair<V> v) {
  const auto xl = widenedLow(v.a), yl = widenedLow(v.b), xh = widenedHigh(v.a), yh = widenedHigh(v.b);
  return narrowed(root(xl * xl + yl * yl), root(xh * xh + yh * yh));
}

#if MOX_HAS_FMA
// Of two values, the one of larger magnitude without its sign, and the other one, its sign left open. A NaN comes
// through in one of them.
#  if MOX_VEC_BYTES == 64
MOX_INLINE Pair<Vec<float, 16>> byMagnitude(Vec<float, 16> x, Vec<float, 16> y) {
  constexpr int exclusiveOr = 0x96;
  const Vec<float, 16> larger = _mm512_maskz_range_ps(0xffff, x, y, 0xb);  // takes a number before a quiet NaN
  const __m512i other = _mm512_ternarylogic_epi32(_mm512_castps_si512(x), _mm512_castps_si512(y),
                                                  _mm512_castps_si512(larger), exclusiveOr);
  return {larger, _mm512_castsi512_ps(other)};
}
// sqrt(s) to a unit from y, the estimate of 1/sqrt(s). (The root of 16 values takes 12 cycles, all the rest of a
// magnitude 14.)
MOX_INLINE Vec<float, 16> rootBy(Vec<float, 16> y, Vec<float, 16> s) {
  const Vec<float, 16> r = s * y;
  return fma(fnma(r, r, s), y * 0.5f, r);
}
// For s from `least` on sqrt(s) to a unit and 1/sqrt(s) to kInverseError, four times what the estimate claims.
constexpr float kInverseError = 0x1p-12f;
struct RootAndInverse {
  Vec<float, 16> root, inverse;
  __mmask16 valid;

  MOX_INLINE RootAndInverse(Vec<float, 16> s, float least)
      : valid(_mm512_cmp_ps_mask(s, _mm512_set1_ps(least), _CMP_GE_OQ)) {
    inverse = _mm512_maskz_rsqrt14_ps(valid, s);
    root = rootBy(inverse, s);
  }
  // Whether no s is below `least` or a NaN, and every a is its b (NaN never is).
  MOX_INLINE bool allAgree(Vec<float, 16> a, Vec<float, 16> b) const {
    const __mmask16 agree = _mm512_mask_cmp_ps_mask(valid, a, b, _CMP_EQ_OQ);
    return _kortestc_mask16_u8(agree, agree);
  }
};
#  else
MOX_INLINE Pair<Vec<float, 8>> byMagnitude(Vec<float, 8> x, Vec<float, 8> y) {
  const Vec<float, 8> a = magnitudeOf(x), b = magnitudeOf(y);
  return {greater(a, b), less(b, a)};  // of a NaN and a number, both take the second operand
}
constexpr float kInverseError = 0x1p-10f;
struct RootAndInverse {
  Vec<float, 8> root, inverse, valid;

  MOX_INLINE RootAndInverse(Vec<float, 8> s, float least)
      : root(_mm256_sqrt_ps(greater(broadcast<Vec<float, 8>>(least), s))),
        inverse(_mm256_rcp_ps(root)),
        valid(_mm256_cmp_ps(s, _mm256_set1_ps(least), _CMP_GE_OQ)) {}
  MOX_INLINE bool allAgree(Vec<float, 8> a, Vec<float, 8> b) const {
    return _mm256_movemask_ps(_mm256_and_ps(_mm256_cmp_ps(a, b, _CMP_EQ_OQ), valid)) == 0xff;
  }
};
#  endif
#endif

// The same by float32 arithmetic. With a >= b the two magnitudes, s is a^2 + b^2 rounded twice, and s + rest is that
// sum to 2^-47. With r its root to a unit, the root is r + c to 2^-46, c = (s + rest - r^2) / 2r, of which 1/r is known
// to kInverseError. Both ends are rounded: where they agree, the root rounds there, too, and so does float64's,
// whatever the estimate of 1/r was (it differs from processor to processor) and whatever unit it left r at. Where they
// do not, c being near half a unit, or something may underflow or has overflowed, float64 decides.
struct MagnitudeFloat {
  using Type = float;
  using Inspect = NothingToInspect;
#if MOX_HAS_FMA
  template <class V>
  MOX_INLINE static V plain(Pair<V> v) {
    constexpr float least = 0x1p-80f;
    const auto [a, b] = byMagnitude(v.a, v.b);
    const V p = a * a, s = fma(b, b, p), part = s - p;  // exact: p <= s <= 2p
    const V rest = fms(a, a, p) + fms(b, b, part);
    const RootAndInverse of(s, least);
    const V r = of.root, twice = fma(fnma(r, r, s), of.inverse, rest * of.inverse);
    const V above = fma(twice, broadcast<V>(0.5f + 0.5f * kInverseError), r);
    const V below = fma(twice, broadcast<V>(0.5f - 0.5f * kInverseError), r);
    if (of.allAgree(above, below)) [[likely]]
      return above;
    return magnitudeInFloat64(v);
  }
#else
  template <class V>
  MOX_INLINE static V plain(Pair<V> v) {
    return magnitudeInFloat64(v);
  }
#endif
  template <class V>
  MOX_INLINE static V careful(Pair<V> v) {
    return plain(v);
  }
};

// float64: the sum of squares is kept with its rest, 1/sqrt starts in float32 (division and root are exact to the last
// bit everywhere) and two corrections of the root follow, the last below one unit. No fused operation but those that
// are exact: the same bits on every set.
struct MagnitudeDouble {
  using Type = double;
  // The larger magnitude is in [2^-60, 2^59): its square is a float32, too.
  struct Inspect {
    Inspector<double, BitRange{0x7fffffff, 0x3c300000, 0x07700000}> larger{};
    template <class V>
    MOX_INLINE void look(Pair<V> v) {
      const Words a = reinterpret_cast<Words>(magnitudeOf(v.a)), b = reinterpret_cast<Words>(magnitudeOf(v.b));
      larger.look(reinterpret_cast<V>(greater(a, b)));
    }
    MOX_INLINE bool allPlain() const { return larger.allPlain(); }
  };

  template <class V>
  MOX_INLINE static V plain(Pair<V> v) {
    const V p = v.a * v.a, q = v.b * v.b, most = greater(p, q), least = less(p, q), s = most + least;
    const V rest = (least - (s - most)) - (exactRest(v.a, v.a, p) + exactRest(v.b, v.b, q));
    const V inverse = inverseRootEstimate(s), half = inverse * 0.5, r0 = s * inverse;
    const V r1 = r0 + exactRest(r0, r0, s) * half;
    return r1 + (exactRest(r1, r1, s) + rest) * half;
  }

  // Scaled by a power of two that makes the larger magnitude 1 to 4; subnormal ones 2^-51 to 2.
  template <class V>
  MOX_INLINE static V careful(Pair<V> v) {
    using U = BitsVec<V>;
    constexpr uint64_t infinity = uint64_t{0x7ff} << 52, highest = uint64_t{2045} << 52;
    const U ax = bitsOf(magnitudeOf(v.a)), ay = bitsOf(magnitudeOf(v.b)), most = ax > ay ? ax : ay;
    const U special = reinterpret_cast<U>(most == 0) | reinterpret_cast<U>(most >= infinity);
    U exponent = most & infinity;
    exponent = exponent > highest ? U{} + highest : exponent;
    const V factor = fromBits<V>((uint64_t{2046} << 52) - exponent), one = broadcast<V>(1);
    const V back = fromBits<V>(exponent == 0 ? U{} + (uint64_t{1} << 51) : exponent);
    const V r = plain(Pair<V>{choose(special, one, v.a) * factor, choose(special, one, v.b) * factor}) * back;
    const U nan = reinterpret_cast<U>(ax > infinity) | reinterpret_cast<U>(ay > infinity);
    const U instead = most == 0 ? most : infinity | (nan & ~kSignBit<V>);
    return choose(special, fromBits<V>(instead), r);
  }
};

// ---- both, and back

template <class M, class P>
struct ToPolar {
  using Type = typename M::Type;
  struct Inspect {
    typename M::Inspect magnitude{};
    typename P::Inspect phase{};
    template <class V>
    MOX_INLINE void look(Pair<V> v) {
      magnitude.look(v);
      phase.look(v);
    }
    MOX_INLINE bool allPlain() const { return magnitude.allPlain() && phase.allPlain(); }
  };
  template <class V>
  MOX_INLINE static Pair<V> plain(Pair<V> v) {
    return {M::plain(v), P::plain(v)};
  }
  template <class V>
  MOX_INLINE static Pair<V> careful(Pair<V> v) {
    return {M::careful(v), P::careful(v)};
  }
};

// magnitude (cos phase, sin phase)
template <class T, class D = TrigData<T>>
struct ToCartesian {
  using Type = T;
  struct Inspect {
    Inspector<T, BitRange{0x7fffffff, 0, sizeof(T) == 4 ? 0x7f800000 : 0x7ff00000}> magnitude{};
    InspectAngle<T> phase{};
    template <class V>
    MOX_INLINE void look(Pair<V> v) {
      magnitude.look(v.a);
      phase.look(v.b);
    }
    MOX_INLINE bool allPlain() const { return magnitude.allPlain() && phase.allPlain(); }
  };
  template <class V>
  MOX_INLINE static Pair<V> plain(Pair<V> v) {
    const Pair<Parts<V>> p = sinCosParts<D>(reducedAngle<D>(v.b));
    return {p.b.times(v.a), p.a.times(v.a)};
  }
  // An infinite magnitude times a part that is 0 would be NaN where its product with the whole is not.
  template <class V>
  MOX_INLINE static Pair<V> careful(Pair<V> v) {
    using U = BitsVec<V>;
    const Pair<Parts<V>> p = sinCosParts<D>(reducedCarefully<D>(v.b));
    const U infinite = reinterpret_cast<U>(bitsOf(magnitudeOf(v.a)) >= bitsOf(broadcast<V>(__builtin_huge_valf())));
    return {choose(infinite, v.a * p.b.value(), p.b.times(v.a)), choose(infinite, v.a * p.a.value(), p.a.times(v.a))};
  }
};

#if MOX_HAS_FMA
using SinCosSingle = SineCosine<float>;
using MagnitudeSingle = MagnitudeFloat;
using PhaseSingle = Phase<float>;
using ToCartesianSingle = ToCartesian<float>;
#else
struct TrigShort : TrigData<double> {
  static constexpr double kS[] = {0x1.5555554c68a62p-3, -0x1.11110863b457cp-7, 0x1.a00f79c41ebddp-13,
                                  -0x1.6cd0a839f2ea6p-19};
  static constexpr double kC[] = {-0x1.5555554f48bd3p-5, 0x1.6c16b892b9a56p-10, -0x1.a0111c166a75p-16,
                                  0x1.2429fc1c9efadp-22};
};
struct PhaseShort : PhaseData<double> {
  static constexpr double kA[] = {-0x1.5555550ef53dp-2, 0x1.99996064aca75p-3,  -0x1.248a603478787p-3,
                                  0x1.c61057c9ce265p-4, -0x1.6ab3d134955ebp-4, 0x1.08523e36840c2p-4,
                                  -0x1.e9d32bfad6cebp-6};
};
// Every finite float32 is in the range of PhaseData<double>.
struct InspectFinite {
  Inspector<float, BitRange{0x7fffffff, 0, 0x7f800000}> both{};
  MOX_INLINE void look(Pair<Vec<float, 4>> v) {
    both.look(v.a);
    both.look(v.b);
  }
  MOX_INLINE bool allPlain() const { return both.allPlain(); }
};
using SinCosSingle = InFloat64<SineCosine<double, TrigShort>, InspectAngle<float>>;
using MagnitudeSingle = MagnitudeFloat;
using PhaseSingle = InFloat64<Phase<double, PhaseShort, false>, InspectFinite>;
using ToCartesianSingle = InFloat64<ToCartesian<double, TrigShort>, ToCartesian<float>::Inspect>;
#endif
