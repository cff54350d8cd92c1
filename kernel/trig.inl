// Sine and cosine of any argument.
//
// x = n pi/2 + r - rest, abs(r) <= pi/4, where `rest` is what r has rounded off: sin = r - (r^3 S(r^2) + rest cos r),
// and cos = w - (r^4 C(r^2) - r rest + (1 - r^2/2 - w) (-1)), w = 1 - r^2/2 rounded. Each is a leading part minus a
// small one. n mod 4 chooses and signs them; then they are subtracted, or multiplied by a magnitude with one more
// rounding.
//
// pi/2 comes in parts of as many bits as let the products with n, and the remainder where it is small, be exact. All
// parts are positive and the rests negated, so that sin(-0) keeps its sign.

// The low bits of `quadrant` are those of n.
template <class V>
struct Angle {
  BitsVec<V> quadrant;
  V r, rest;
};

template <class T>
struct TrigData;

template <>
struct TrigData<float> {
  static constexpr float kRound = 0x1.8p23f, kPerTurn = 0x1.45f306p-1f;  // 2/pi
  static constexpr float kPi2[] = {0x1.921fb4p0f, 0x1.444p-24f, 0x1.68c234p-39f};
  static constexpr BitRange kPlain = {0x7fffffff, 0, 0x46000000};  // abs(x) < 2^13: n has 13 bits, pi's second word 11
  // r - sin r = r^3 S(r^2), 1 - r^2/2 - cos r = r^4 C(r^2)
  static constexpr float kS[] = {0x1.555546p-3f, -0x1.110778p-7f, 0x1.9953e2p-13f};
  static constexpr float kC[] = {-0x1.55554ap-5f, 0x1.6c0c2ep-10f, -0x1.99eac2p-16f};
};

template <>
struct TrigData<double> {
  static constexpr double kRound = 0x1.8p52, kPerTurn = 0x1.45f306dc9c883p-1;
#if MOX_HAS_FMA
  static constexpr double kPi2[] = {0x1.921fb54442d18p0, 0x1.1a626331p-54, 0x1.1701b839a252p-88};
#else
  static constexpr double kPi2[] = {0x1.921fb544p0, 0x1.0b4611a6p-34, 0x1.3198a2ep-69, 0x1.b839a252049c1p-104};
#endif
  static constexpr BitRange kPlain = {0x7fffffff, 0, 0x41300000};  // abs(x) < 2^20: n has 20 bits, pi's summands 33
  static constexpr double kS[] = {0x1.5555555555548p-3,   -0x1.111111110f756p-7, 0x1.a01a019bf0bacp-13,
                                  -0x1.71de355d7a053p-19, 0x1.ae5e530a84616p-26, -0x1.5d8dc11a9cff8p-33};
  static constexpr double kC[] = {-0x1.555555555554cp-5, 0x1.6c16c16c1521bp-10,  -0x1.a01a019cbea13p-16,
                                  0x1.27e4f811ed655p-22, -0x1.1ee9f0a428415p-29, 0x1.8fb0c4e498cbap-37};
};

template <class D, class V>
MOX_INLINE Angle<V> reducedAngle(V x) {
  const V t = fma(x, broadcast<V>(D::kPerTurn), broadcast<V>(D::kRound)), n = t - broadcast<V>(D::kRound);
#if MOX_HAS_FMA
  const V a = fma(n, broadcast<V>(-D::kPi2[0]), x);  // exact
  const V r = fma(n, broadcast<V>(-D::kPi2[1]), a);  // what it rounds off is exact in the next line
  return {bitsOf(t), r, fma(n, broadcast<V>(D::kPi2[2]), fma(n, broadcast<V>(D::kPi2[1]), r - a))};
#else
  const V p1 = n * D::kPi2[1], p2 = n * D::kPi2[2];  // exact
  const V a = x - n * D::kPi2[0], b = a - p1, r = b - p2;
  return {bitsOf(t), r, (((b - a) + p1) + ((r - b) + p2)) + n * D::kPi2[3]};
#endif
}

// A value high - low, its sign bit flipped by `sign`.
template <class V>
struct Parts {
  V high, low;
  BitsVec<V> sign;
  MOX_INLINE V value() const { return fromBits<V>(bitsOf(high - low) ^ sign); }
  MOX_INLINE V times(V magnitude) const {
    const V m = fromBits<V>(bitsOf(magnitude) ^ sign);
#if MOX_HAS_FMA
    return fms(m, high, m * low);
#else
    return m * (high - low);  // two products would round twice, too
#endif
  }
};

// a where the mask is set, b elsewhere.
template <class V>
MOX_INLINE V choose(BitsVec<V> mask, V a, V b) {
  return fromBits<V>((bitsOf(a) & mask) | (bitsOf(b) & ~mask));
}

// sine and cosine
template <class D, class V>
MOX_INLINE Pair<Parts<V>> sinCosParts(Angle<V> angle) {
  using U = BitsVec<V>;
  constexpr int kTop = 8 * sizeof(ElementOf<V>) - 1;
  constexpr ElementOf<U> kSign = ElementOf<U>{1} << kTop;
  const V r = angle.r, z = r * r, zz = z * z, half = r * broadcast<V>(0.5), w = fnma(half, r, broadcast<V>(1));
  const V sineLow = fma(r * z, polynomial(z, zz, D::kS), angle.rest * w);
  const V cosineLow = fma(zz, polynomial(z, zz, D::kC), fnma(r, angle.rest, fms(half, r, 1 - w)));
  const U odd = U{} - (angle.quadrant & 1);
  const U sineSign = (angle.quadrant << (kTop - 1)) & kSign, cosineSign = sineSign ^ (odd & kSign);
  return {{choose(odd, w, r), choose(odd, cosineLow, sineLow), sineSign},
          {choose(odd, r, w), choose(odd, sineLow, cosineLow), cosineSign}};
}

// ---- huge arguments: n and the remainder from the bits of 2/pi, in integers, for every float64

struct ScalarAngle {
  uint32_t n;
  double r, rest;
};

// Two words of zeros, 2/pi = 0.a2f9836e... (hexadecimal).
constexpr uint32_t kTwoOverPi[] = {0,          0,          0xa2f9836e, 0x4e441529, 0xfc2757d1, 0xf534ddc0, 0xdb629599,
                                   0x3c439041, 0xfe5163ab, 0xdebbc561, 0xb7246e3a, 0x424dd2e0, 0x06492eea, 0x09d1921c,
                                   0xfe1deb1c, 0xb129a73e, 0xe88235f5, 0x2ebb4484, 0xe99c7026, 0xb45f7e41, 0x3991d639,
                                   0x835339f4, 0x9c845f8b, 0xbdf9283b, 0x1ff897ff, 0xde05980f, 0xef2f118b, 0x5a0a6d1f,
                                   0x6d367ecf, 0x27cb09b7, 0x4f463f66, 0x9e5fea2d, 0x7527bac7, 0xebe5f17b, 0x3d0739f7,
                                   0x8a5292ea, 0x6bfb5fb1, 0x1f8d5d08, 0x56033046};

// Exact; by way of the bits, since 32-bit code would take the x87 unit for it.
MOX_INLINE double toDouble(uint32_t word) {
  return __builtin_bit_cast(double, uint64_t{0x4330000000000000} | word) - 0x1p52;
}

// The upper half of the bits of x.
MOX_INLINE double upperHalf(double x) {
  return __builtin_bit_cast(double, __builtin_bit_cast(uint64_t, x) & 0xfffffffff8000000);
}

// abs(x) >= 2^13 or not finite.
MOX_NOINLINE ScalarAngle reducedHuge(double x) {
  const uint64_t bits = __builtin_bit_cast(uint64_t, x);
  const int exponent = static_cast<int>(bits >> 52) & 0x7ff;
  if (exponent == 0x7ff) return {0, x - x, 0};
  // x = M 2^E. Bits of 2/pi that stand for multiples of 4 after the product with 2^E are left out; 192 bits follow:
  // 53 to multiply with, up to 62 that cancel, and more than enough to keep.
  const uint64_t mantissa = (bits & 0x000fffffffffffff) | 0x0010000000000000;
  const int offset = exponent - 1075 - 2 + 64, word = offset / 32, shift = offset % 32;
  uint32_t f[7], p[6];
  for (int i = 0; i < 6; ++i) {
    const uint64_t two = uint64_t{kTwoOverPi[word + i]} << 32 | kTwoOverPi[word + i + 1];
    f[i] = static_cast<uint32_t>(two >> (32 - shift));
  }
  f[6] = 0;
  // p = M f mod 1, as a fraction of a turn
  const uint64_t m0 = mantissa & 0xffffffff, m1 = mantissa >> 32;
  uint64_t carry = 0;
  for (int i = 5; i >= 0; --i) {
    carry += m0 * f[i];
    p[i] = static_cast<uint32_t>(carry);
    carry >>= 32;
  }
  carry = 0;
  for (int i = 5; i >= 0; --i) {
    carry += p[i] + m1 * f[i + 1];
    p[i] = static_cast<uint32_t>(carry);
    carry >>= 32;
  }
  // The quarter, rounded to nearest, and the signed rest of it in four words.
  const uint32_t half = p[0] >> 29, flip = half & 1 ? 0xffffffff : 0;
  uint32_t n = (half + 1) >> 1;
  double g[4];
  for (int i = 0; i < 4; ++i) g[i] = toDouble((p[i] << 2 | p[i + 1] >> 30) ^ flip);
  // high + low = rest of the quarter: leading words may be zero.
  const double g0 = g[0] * 0x1p-32, g1 = g[1] * 0x1p-64, sum = g0 + g1;
  const double tail = (g1 - (sum - g0)) + (g[2] * 0x1p-96 + g[3] * 0x1p-128);
  const double high = sum + tail, low = tail - (high - sum);
  // times pi/2
  constexpr double kHigh = 0x1.921fb54442d18p0, kLow = 0x1.1a62633145c07p-54;
  const double a = upperHalf(high), b = high - a, c = upperHalf(kHigh), d = kHigh - c;
  const double product = high * kHigh, error = ((a * c - product) + a * d + b * c) + b * d;
  const double rest = error + (high * kLow + low * kHigh);
  const bool negative = (bits >> 63 != 0) != (flip != 0);
  const double r = product + rest, negatedRest = (r - product) - rest;
  if (bits >> 63) n = 0 - n;
  return {n, negative ? -r : r, negative ? -negatedRest : negatedRest};
}

template <class D, class V>
MOX_INLINE Angle<V> reducedCarefully(V x) {
  using T = ElementOf<V>;
  using U = BitsVec<V>;
  constexpr int N = sizeof(V) / sizeof(T);
  const U magnitude = bitsOf(x) & ((U{} - 1) >> 1);
  const U huge = reinterpret_cast<U>(magnitude >= (static_cast<ElementOf<U>>(D::kPlain.width) << 8 * (sizeof(T) - 4)));
  Angle<V> angle = reducedAngle<D>(fromBits<V>(bitsOf(x) & ~huge));
  for (int i = 0; i < N; ++i) {
    if (huge[i]) {
      const ScalarAngle one = reducedHuge(static_cast<double>(x[i]));
      const T r = static_cast<T>(one.r);
      angle.quadrant[i] = one.n;
      angle.r[i] = r;
      angle.rest[i] = static_cast<T>((static_cast<double>(r) - one.r) + one.rest);
    }
  }
  return angle;
}

// ---- the functions

template <class T>
using InspectAngle = Inspector<T, TrigData<T>::kPlain>;

template <class T, class D = TrigData<T>>
struct SineCosine {
  using Type = T;
  using Inspect = InspectAngle<T>;
  template <class V>
  MOX_INLINE static Pair<V> plain(V x) {
    return values(sinCosParts<D>(reducedAngle<D>(x)));
  }
  template <class V>
  MOX_INLINE static Pair<V> careful(V x) {
    return values(sinCosParts<D>(reducedCarefully<D>(x)));
  }
  template <class V>
  MOX_INLINE static Pair<V> values(const Pair<Parts<V>>& p) {
    return {p.a.value(), p.b.value()};
  }
};
