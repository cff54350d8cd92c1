// Values on a circle at equal steps, z e^(i m w).
//
// m = 32 k + j, or less for few values: the table holds e^(i j w), 0 <= j < 32, one value is evaluated for every k, and
// a product puts the two together: no error grows with m. Nothing is fused, so that every set gives the same bits.

// A step of at most half a turn. The first part has 22 bits, its products with m < 2^31 are exact.
struct Turn {
  double high, low;
};

MOX_INLINE double upper22Bits(double x) {
  return __builtin_bit_cast(double, __builtin_bit_cast(uint64_t, x) & 0xffffffff80000000);
}

// c[0] + c[1] x + ... + c[5] x^5, unfused.
template <class V>
MOX_INLINE V polynomialUnfused(V x, const ElementOf<V> (&c)[6]) {
  const V z = x * x;
  return ((c[4] * z + c[2]) * z + c[0]) + ((c[5] * z + c[3]) * z + c[1]) * x;
}

// Cosine and sine of m steps, m step = q + r quarters of a turn, abs(r) <= 1/2. m `low` is rounded to 2^-53 of itself.
template <class V>
MOX_INLINE Pair<V> onCircle(V m, Turn turn) {
  using D = TrigData<double>;
  using U = BitsVec<V>;
  const V y = m * (4 * turn.high), rest = m * (4 * turn.low), t = y + rest + D::kRound;
  const V x = ((y - (t - D::kRound)) + rest) * 0x1.921fb54442d18p0, z = x * x;
  const V sine = x - x * z * polynomialUnfused(z, D::kS);
  const V cosine = 1 - (z * 0.5 + z * z * polynomialUnfused(z, D::kC));
  const U q = bitsOf(t), odd = U{} - (q & 1), sign = broadcast<U>(uint64_t{1} << 63);
  return {fromBits<V>(bitsOf(choose(odd, sine, cosine)) ^ (((q + 1) << 62) & sign)),
          fromBits<V>(bitsOf(choose(odd, cosine, sine)) ^ ((q << 62) & sign))};
}

// n, n + 1, n + 2 ...
constexpr double kPlaces[] = {0, 1, 2, 3, 4, 5, 6, 7};
template <class V>
MOX_INLINE V ascending(double n) {
  return n + load<V>(kPlaces);
}

// Values are made in arcs of 32 and stretches of 256.
constexpr size_t kArc = 32, kArcs = 8, kStretch = kArc * kArcs;

// e^(i (first + step m) w), m = 0 ... count - 1 and on to a full vector, as re[] and im[].
MOX_INLINE void circlePoints(int32_t first, size_t step, Turn turn, size_t count, double* re, double* im) {
  using V = Full<double>;
  const double each = static_cast<int32_t>(step), ahead = each * kLanes<double>;
  V m = first + each * ascending<V>(0);
  for (size_t i = 0; i < count; i += kLanes<double>) {
    const Pair<V> p = onCircle(m, turn);
    store(re + i, p.a);
    store(im + i, p.b);
    m += ahead;
  }
}

// e^(i j w), 0 <= j < kSize.
template <size_t kSize>
struct Circle {
  double cosine[kSize], sine[kSize];
  MOX_INLINE void set(Turn turn) { circlePoints(0, 1, turn, kSize, cosine, sine); }
};
