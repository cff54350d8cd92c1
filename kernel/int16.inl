// Arithmetic on int16: exact 32-bit results, brought back to 16 bits element by element.

// ---- names for what the compiler's vectors lack

#define MOX_INT16_VECTORS(N, M, prefix)                                                                                \
  MOX_INLINE Vec<int16_t, N> plusSaturated(Vec<int16_t, N> a, Vec<int16_t, N> b) {                                     \
    return reinterpret_cast<Vec<int16_t, N>>(prefix##_adds_epi16(reinterpret_cast<M>(a), reinterpret_cast<M>(b)));     \
  }                                                                                                                    \
  MOX_INLINE Vec<int16_t, N> minusSaturated(Vec<int16_t, N> a, Vec<int16_t, N> b) {                                    \
    return reinterpret_cast<Vec<int16_t, N>>(prefix##_subs_epi16(reinterpret_cast<M>(a), reinterpret_cast<M>(b)));     \
  }                                                                                                                    \
  /* the upper halves of the products */                                                                               \
  MOX_INLINE Vec<int16_t, N> timesHigh(Vec<int16_t, N> a, Vec<int16_t, N> b) {                                         \
    return reinterpret_cast<Vec<int16_t, N>>(prefix##_mulhi_epi16(reinterpret_cast<M>(a), reinterpret_cast<M>(b)));    \
  }                                                                                                                    \
  /* a[2k] b[2k] + a[2k+1] b[2k+1], modulo 2^32 */                                                                     \
  MOX_INLINE Vec<int32_t, N / 2> sumOfProducts(Vec<int16_t, N> a, Vec<int16_t, N> b) {                                 \
    return reinterpret_cast<Vec<int32_t, N / 2>>(prefix##_madd_epi16(reinterpret_cast<M>(a), reinterpret_cast<M>(b))); \
  }                                                                                                                    \
  /* low + 65536 high: half of the elements each, in an order that packed() undoes */                                  \
  MOX_INLINE Vec<int32_t, N / 2> joinedLow(Vec<int16_t, N> low, Vec<int16_t, N> high) {                                \
    return reinterpret_cast<Vec<int32_t, N / 2>>(                                                                      \
        prefix##_unpacklo_epi16(reinterpret_cast<M>(low), reinterpret_cast<M>(high)));                                 \
  }                                                                                                                    \
  MOX_INLINE Vec<int32_t, N / 2> joinedHigh(Vec<int16_t, N> low, Vec<int16_t, N> high) {                               \
    return reinterpret_cast<Vec<int32_t, N / 2>>(                                                                      \
        prefix##_unpackhi_epi16(reinterpret_cast<M>(low), reinterpret_cast<M>(high)));                                 \
  }                                                                                                                    \
  /* saturates */                                                                                                      \
  MOX_INLINE Vec<int16_t, N> packed(Vec<int32_t, N / 2> v0, Vec<int32_t, N / 2> v1) {                                  \
    return reinterpret_cast<Vec<int16_t, N>>(prefix##_packs_epi32(reinterpret_cast<M>(v0), reinterpret_cast<M>(v1)));  \
  }
MOX_INT16_VECTORS(8, __m128i, _mm)
#if MOX_VEC_BYTES >= 32
MOX_INT16_VECTORS(16, __m256i, _mm256)
#endif
#if MOX_VEC_BYTES == 64
MOX_INT16_VECTORS(32, __m512i, _mm512)
#endif
#undef MOX_INT16_VECTORS

// Exact results of N int16 operands: two vectors of N/2.
template <class V>
struct Results {
  V v0, v1;
};
template <class V>
using ResultsOf = Results<Vec<int32_t, sizeof(V) / 4>>;

// The same number in a scalar or in every element.
template <class V>
MOX_INLINE V all(int32_t x) {
  return V{} + x;
}

// ---- operations: exact() on vectors and on single values, put() back together

// Sums, differences and products of single values: element k of the operands.
struct PerElement {
  template <class V>
  MOX_INLINE static Vec<int16_t, 2 * sizeof(V) / sizeof(int32_t)> put(Results<V> r) {
    return packed(r.v0, r.v1);
  }
};
struct Sum16 : PerElement {
  static constexpr bool kHalves = true;
  template <class V>
  MOX_INLINE static ResultsOf<V> exact(V a, V b) {
    const V as = a >> 15, bs = b >> 15;
    return {joinedLow(a, as) + joinedLow(b, bs), joinedHigh(a, as) + joinedHigh(b, bs)};
  }
  MOX_INLINE static int32_t exactOne(int32_t a, int32_t b) { return a + b; }
  template <class V>
  MOX_INLINE static V wrapped(V a, V b) {
    return reinterpret_cast<V>(reinterpret_cast<Vec<uint16_t, sizeof(V) / 2>>(a) +
                               reinterpret_cast<Vec<uint16_t, sizeof(V) / 2>>(b));
  }
  template <class V>
  MOX_INLINE static V saturated(V a, V b) {
    return plusSaturated(a, b);
  }
  // Half of the exact result, rounded down: it fits.
  template <class V>
  MOX_INLINE static V halved(V a, V b) {
    return wrapped<V>(a & b, (a ^ b) >> 1);
  }
};
struct Difference16 : PerElement {
  static constexpr bool kHalves = true;
  template <class V>
  MOX_INLINE static ResultsOf<V> exact(V a, V b) {
    const V as = a >> 15, bs = b >> 15;
    return {joinedLow(a, as) - joinedLow(b, bs), joinedHigh(a, as) - joinedHigh(b, bs)};
  }
  MOX_INLINE static int32_t exactOne(int32_t a, int32_t b) { return a - b; }
  template <class V>
  MOX_INLINE static V wrapped(V a, V b) {
    return reinterpret_cast<V>(reinterpret_cast<Vec<uint16_t, sizeof(V) / 2>>(a) -
                               reinterpret_cast<Vec<uint16_t, sizeof(V) / 2>>(b));
  }
  template <class V>
  MOX_INLINE static V saturated(V a, V b) {
    return minusSaturated(a, b);
  }
  template <class V>
  MOX_INLINE static V halved(V a, V b) {
    return wrapped<V>((a ^ b) >> 1, ~a & b);
  }
};
struct Product16 : PerElement {
  static constexpr bool kHalves = false;
  template <class V>
  MOX_INLINE static V wrapped(V a, V b) {
    return reinterpret_cast<V>(reinterpret_cast<Vec<uint16_t, sizeof(V) / 2>>(a) *
                               reinterpret_cast<Vec<uint16_t, sizeof(V) / 2>>(b));
  }
  template <class V>
  MOX_INLINE static ResultsOf<V> exact(V a, V b) {
    const V low = wrapped(a, b), high = timesHigh(a, b);
    return {joinedLow(low, high), joinedHigh(low, high)};
  }
  MOX_INLINE static int32_t exactOne(int32_t a, int32_t b) { return a * b; }
  template <class V>
  MOX_INLINE static V saturated(V a, V b) {
    const ResultsOf<V> r = exact(a, b);
    return packed(r.v0, r.v1);
  }
};

// ---- back to 16 bits: every element then holds its result in its low half, sign-extended

struct ShiftedDown {  // by factor 0..31, low 16 bits
  int32_t factor;
  template <class V>
  MOX_INLINE V of(V v) const {
    return (v >> factor << 16) >> 16;
  }
};
struct ShiftedUp {  // by 0..31, low 16 bits
  int32_t shift;
  template <class V>
  MOX_INLINE V of(V v) const {
    return (v << shift << 16) >> 16;
  }
};
struct ShiftedDownSaturated {
  int32_t factor;
  template <class V>
  MOX_INLINE V of(V v) const {
    const V s = v >> factor, low = all<V>(-32768), high = all<V>(32767), up = s < low ? low : s;
    return up > high ? high : up;
  }
};
// From a shift of two up every negative value saturates.
struct ShiftedUpSaturated {
  int32_t shift;
  template <class V>
  MOX_INLINE V of(V v) const {
    const V high = all<V>(32767 >> shift), low = all<V>(shift >= 2 ? 0 : -32768 >> shift);
    const V inside = v << shift;
    return v > high ? all<V>(32767) : v >= low ? inside : all<V>(-32768);
  }
};

// ---- loops

// The second operand: an array, or one value (one complex value, in even and odd places).
struct ArrayOperand {
  const int16_t* b;
  template <class V>
  MOX_INLINE V at(size_t i) const {
    return load<V>(b + i);
  }
  MOX_INLINE int16_t one(size_t i) const { return b[i]; }
};
struct PairOperand {
  Alternating<int16_t> pair;
  template <class V>
  MOX_INLINE V at(size_t) const {
    return pair.template vector<V>();
  }
  MOX_INLINE int16_t one(size_t i) const { return pair.values[i & 1]; }
};

// What put() makes the same of as of reduction.of(v): it limits.
template <class Reduction, class V>
MOX_INLINE V beforePut(const Reduction& reduction, V v) {
  return reduction.of(v);
}
template <class V>
MOX_INLINE V beforePut(const ShiftedDownSaturated& reduction, V v) {
  return v >> reduction.factor;
}

template <class Op, class Operand, class Reduction>
struct ReducedMap {
  static constexpr int kPeriod = 2;
  const int16_t* a;
  Operand b;
  Reduction reduction;
  template <class V>
  MOX_INLINE V at(size_t i) const {
    const auto r = Op::exact(load<V>(a + i), b.template at<V>(i));
    return Op::put(Results<decltype(r.v0 + r.v0)>{beforePut(reduction, r.v0), beforePut(reduction, r.v1)});
  }
  MOX_INLINE int16_t one(size_t i) const { return static_cast<int16_t>(reduction.of(Op::exactOne(a[i], b.one(i)))); }
};

// Factor 0 needs no 32-bit results.
template <class Op, class Operand, bool Saturate>
struct DirectMap {
  static constexpr int kPeriod = 2;
  const int16_t* a;
  Operand b;
  template <class V>
  MOX_INLINE V at(size_t i) const {
    const V x = load<V>(a + i), y = b.template at<V>(i);
    if constexpr (Saturate) {
      return Op::saturated(x, y);
    } else {
      return Op::wrapped(x, y);
    }
  }
  MOX_INLINE int16_t one(size_t i) const {
    const int32_t v = Op::exactOne(a[i], b.one(i));
    return static_cast<int16_t>(Saturate ? ShiftedDownSaturated{0}.of(v) : v);
  }
};

// Factor 1 where halves fit, saturated or not.
template <class Op, class Operand>
struct HalvedMap {
  static constexpr int kPeriod = 2;
  const int16_t* a;
  Operand b;
  template <class V>
  MOX_INLINE V at(size_t i) const {
    return Op::halved(load<V>(a + i), b.template at<V>(i));
  }
  MOX_INLINE int16_t one(size_t i) const { return static_cast<int16_t>(Op::exactOne(a[i], b.one(i)) >> 1); }
};

MOX_INLINE int32_t withinWord(int32_t shift) { return shift > 31 ? 31 : shift; }

template <class Op, class Operand>
MOX_INLINE void combineWith(const int16_t* a, const Operand& b, int16_t* dst, size_t n, bool saturate, int32_t factor) {
  if (factor == 0) {
    if (saturate) return mapAll<int16_t>(dst, n, DirectMap<Op, Operand, true>{a, b});
    return mapAll<int16_t>(dst, n, DirectMap<Op, Operand, false>{a, b});
  }
  if constexpr (Op::kHalves) {
    if (factor == 1) return mapAll<int16_t>(dst, n, HalvedMap<Op, Operand>{a, b});
  }
  if (factor > 0) {
    const int32_t down = withinWord(factor);
    if (saturate) {
      return mapAll<int16_t>(dst, n, ReducedMap<Op, Operand, ShiftedDownSaturated>{a, b, {down}});
    }
    return mapAll<int16_t>(dst, n, ReducedMap<Op, Operand, ShiftedDown>{a, b, {down}});
  }
  const int32_t up = factor < -31 ? 31 : -factor;
  if (saturate) return mapAll<int16_t>(dst, n, ReducedMap<Op, Operand, ShiftedUpSaturated>{a, b, {up}});
  mapAll<int16_t>(dst, n, ReducedMap<Op, Operand, ShiftedUp>{a, b, {up}});
}

template <class Op>
void combine(const int16_t* a, const int16_t* b, int16_t* dst, size_t n, bool saturate, int32_t factor) {
  combineWith<Op>(a, ArrayOperand{b}, dst, n, saturate, factor);
}
template <class Op>
void combinePair(int16_t even, int16_t odd, int16_t* dst, size_t n, bool saturate, int32_t factor) {
  combineWith<Op>(dst, PairOperand{{even, odd}}, dst, n, saturate, factor);
}

// ---- the factor of the automatic mode

// Least and largest of the exact results.
struct Range {
  int32_t least = 0, largest = 0;

  MOX_INLINE void include(int32_t v) {
    if (v < least) least = v;
    if (v > largest) largest = v;
  }
  template <class V>
  MOX_INLINE void includeAll(V low, V high) {
    for (int k = 0; k < static_cast<int>(sizeof(V) / sizeof(int32_t)); ++k) {
      include(low[k]);
      include(high[k]);
    }
  }
  // The least shift down that brings both into 16 bits.
  MOX_INLINE int32_t factor() const {
    int32_t f = 0;
    while (largest >> f > 32767 || least >> f < -32768) ++f;
    return f;
  }
};

// A result leaves 16 bits where bits are set.
template <class Op, class V>
MOX_INLINE V leaving(V a, V b) {
  return Op::saturated(a, b) ^ Op::wrapped(a, b);
}

// 1 if a result leaves 16 bits, which it then does by one bit, else 0. The first stretch with such a result ends the
// search.
template <class Op, class Operand>
MOX_INLINE int32_t halvingFactorWith(const int16_t* a, const Operand& b, size_t n) {
  constexpr size_t N = kLanes<int16_t>, kStretch = 16 * N;
  using V = Vec<int16_t, N>;
  if (n < N) {
    int32_t any = 0;
    for (size_t i = 0; i < n; ++i) {
      const int32_t v = Op::exactOne(a[i], b.one(i));
      any |= v ^ static_cast<int16_t>(v);
    }
    return any != 0;
  }
  const auto at = [&](size_t i) __attribute__((always_inline)) {
    return leaving<Op>(load<V>(a + i), b.template at<V>(i));
  };
  V leaves = at(n - N);
  for (size_t i = 0; i + N < n;) {
    const size_t end = n - N - i > kStretch ? i + kStretch : n - N;
    for (; i < end; i += N) leaves |= at(i);
    if (anyBit(reinterpret_cast<Words>(leaves))) return 1;
  }
  return anyBit(reinterpret_cast<Words>(leaves));
}

template <class Op, class Operand>
MOX_INLINE int32_t autoFactorWith(const int16_t* a, const Operand& b, size_t n) {
  if constexpr (Op::kHalves) return halvingFactorWith<Op>(a, b, n);
  using V = Vec<int16_t, kLanes<int16_t>>;
  Range range;
  Int32s low{}, high{};
  size_t i = 0;
  for (; i + kLanes<int16_t> <= n; i += kLanes<int16_t>) {
    const auto r = Op::exact(load<V>(a + i), b.template at<V>(i));
    low = r.v0 < low ? r.v0 : low;
    low = r.v1 < low ? r.v1 : low;
    high = r.v0 > high ? r.v0 : high;
    high = r.v1 > high ? r.v1 : high;
  }
  range.includeAll(low, high);
  for (; i < n; ++i) range.include(Op::exactOne(a[i], b.one(i)));
  return range.factor();
}
template <class Op>
int32_t autoFactor(const int16_t* a, const int16_t* b, size_t n) {
  return autoFactorWith<Op>(a, ArrayOperand{b}, n);
}

// Both at once: of short arrays, the second call took as long as the work.

// For K N <= n <= 2 K N values, in vectors as mapEnds() takes them, which stay in registers.
template <class Op, int K, class Operand>
MOX_INLINE int32_t automaticEnds(const int16_t* a, const Operand& b, int16_t* dst, size_t n) {
  constexpr size_t N = kLanes<int16_t>;
  using V = Vec<int16_t, N>;
  V x[2 * K], y[2 * K], leaves{};
  const auto place = [=](size_t k) { return k < K ? k * N : n - (2 * K - k) * N; };
#pragma GCC unroll 4
  for (size_t k = 0; k < 2 * K; ++k) {
    x[k] = load<V>(a + place(k));
    y[k] = b.template at<V>(place(k));
    leaves |= leaving<Op>(x[k], y[k]);
  }
  if (anyBit(reinterpret_cast<Words>(leaves))) {
#pragma GCC unroll 4
    for (size_t k = 0; k < 2 * K; ++k) store(dst + place(k), Op::halved(x[k], y[k]));
    return 1;
  }
#pragma GCC unroll 4
  for (size_t k = 0; k < 2 * K; ++k) store(dst + place(k), Op::wrapped(x[k], y[k]));
  return 0;
}

template <class Op, class Operand>
MOX_INLINE int32_t automaticWith(const int16_t* a, const Operand& b, int16_t* dst, size_t n) {
  if constexpr (Op::kHalves) {
    constexpr size_t N = kLanes<int16_t>;
    if (n >= N && n <= 2 * N) return automaticEnds<Op, 1>(a, b, dst, n);
    if (kRegisters > 8 && n >= N && n <= 4 * N) return automaticEnds<Op, 2>(a, b, dst, n);
  }
  const int32_t factor = autoFactorWith<Op>(a, b, n);
  if (factor == 0) {
    mapAll<int16_t>(dst, n, DirectMap<Op, Operand, false>{a, b});
  } else if constexpr (Op::kHalves) {
    mapAll<int16_t>(dst, n, HalvedMap<Op, Operand>{a, b});
  } else {
    mapAll<int16_t>(dst, n, ReducedMap<Op, Operand, ShiftedDownSaturated>{a, b, {factor}});  // all fit
  }
  return factor;
}
template <class Op>
int32_t automatic(const int16_t* a, const int16_t* b, int16_t* dst, size_t n) {
  return automaticWith<Op>(a, ArrayOperand{b}, dst, n);
}
template <class Op>
int32_t automaticPair(int16_t even, int16_t odd, int16_t* dst, size_t n) {
  return automaticWith<Op>(dst, PairOperand{{even, odd}}, dst, n);
}

// ---- complex products

// re = ar br - ai bi and im = ar bi + ai br of the N/2 complex values of two vectors. im could leave 32 bits only where
// ai br = 2^30 (both factors -32768): there the other term counts as 0, and `beyond` is set.
template <class V>
struct ComplexResults {
  using W = Vec<int32_t, sizeof(V) / 4>;
  W re, im, beyond;
};

// (im, re) of (re, im)
template <class V>
MOX_INLINE V exchanged(V v) {
#if MOX_VEC_BYTES == 32
  const __m256i places = _mm256_set_epi8(13, 12, 15, 14, 9, 8, 11, 10, 5, 4, 7, 6, 1, 0, 3, 2,  //
                                         13, 12, 15, 14, 9, 8, 11, 10, 5, 4, 7, 6, 1, 0, 3, 2);
  return reinterpret_cast<V>(_mm256_shuffle_epi8(reinterpret_cast<__m256i>(v), places));
#else
  using U = Vec<uint32_t, sizeof(V) / 4>;
  const U words = reinterpret_cast<U>(v);
  return reinterpret_cast<V>(words >> 16 | words << 16);
#endif
}

template <class V>
MOX_INLINE ComplexResults<V> complexExact(V a, V b) {
  using W = Vec<int32_t, sizeof(V) / 4>;
  using U = Vec<uint32_t, sizeof(V) / 4>;
  const V crossed = exchanged(b);
  // -bi may not fit in 16 bits, but -bi - 1 does: ar br + ai (-bi - 1) + ai
  const V turned = b ^ Alternating<int16_t>(0, -1).template vector<V>();
  const W re = reinterpret_cast<W>(reinterpret_cast<U>(sumOfProducts(a, turned)) +
                                   reinterpret_cast<U>(reinterpret_cast<W>(a) >> 16));
  const W beyond = reinterpret_cast<W>((a == -32768) & (crossed == -32768)) >> 31;
  return {re, beyond ? W{} + (1 << 30) : sumOfProducts(a, crossed), beyond};
}

// The low halves of re and im in turn.
template <class W>
MOX_INLINE auto complexPut(W re, W im) {
  return reinterpret_cast<Vec<int16_t, sizeof(W) / 2>>((re & 0xffff) | im << 16);
}
// The same, limited to 16 bits.
MOX_INLINE Vec<int16_t, kLanes<int16_t>> complexPutSaturated(Int32s re, Int32s im) {
  using V = Vec<int16_t, kLanes<int16_t>>;
  const V parts = packed(re, im);  // of 16 bytes each, those of re below those of im
#if MOX_VEC_BYTES == 16
  const __m128i v = reinterpret_cast<__m128i>(parts);
  return reinterpret_cast<V>(_mm_unpacklo_epi16(v, _mm_unpackhi_epi64(v, v)));
#else
  const __m128i places = _mm_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15);
#  if MOX_VEC_BYTES == 32
  return reinterpret_cast<V>(
      _mm256_shuffle_epi8(reinterpret_cast<__m256i>(parts), _mm256_broadcastsi128_si256(places)));
#  else
  return reinterpret_cast<V>(
      _mm512_shuffle_epi8(reinterpret_cast<__m512i>(parts), _mm512_maskz_broadcast_i32x4(0xffff, places)));
#  endif
#endif
}

// The automatic mode's: the part that left 32 bits counts as 2^31, which only factors from 17 bring back.
struct ShiftedDownBeyond {
  int32_t factor;
  template <class V>
  MOX_INLINE V of(V v) const {
    return v >> factor;
  }
};
template <class Reduction, class W>
MOX_INLINE W reducedImag(const Reduction& reduction, W im, W) {
  return reduction.of(im);
}
template <class W>
MOX_INLINE W reducedImag(const ShiftedDownBeyond& r, W im, W beyond) {
  return beyond ? all<W>(static_cast<int32_t>(0x80000000u >> r.factor)) : r.of(im);
}

// The low 16 bits as they are. Modulo 2^16, -bi always fits.
struct LowHalves {};

template <class Operand>
MOX_INLINE Vec<int16_t, kLanes<int16_t>> complexAt(const int16_t* a, const Operand& b, size_t i, LowHalves) {
  using V = Vec<int16_t, kLanes<int16_t>>;
  const V x = load<V>(a + i), y = b.template at<V>(i), crossed = exchanged(y);
  const V odd = Alternating<int16_t>(0, -1).template vector<V>();
  const Int32s re = sumOfProducts(x, (y ^ odd) - odd), im = sumOfProducts(x, crossed);
  // of the high half 0x4000 only where both factors are -32768
  const V beyond = timesHigh(x, crossed) == 0x4000;
  return reinterpret_cast<V>(re & 0xffff) | (reinterpret_cast<V>(im << 16) & ~beyond);
}
template <class Operand>
MOX_INLINE Vec<int16_t, kLanes<int16_t>> complexAt(const int16_t* a, const Operand& b, size_t i,
                                                   const ShiftedDownSaturated& reduction) {
  using V = Vec<int16_t, kLanes<int16_t>>;
  const ComplexResults<V> r = complexExact(load<V>(a + i), b.template at<V>(i));
  return complexPutSaturated(r.re >> reduction.factor, r.im >> reduction.factor);
}
template <class Operand, class Reduction>
MOX_INLINE Vec<int16_t, kLanes<int16_t>> complexAt(const int16_t* a, const Operand& b, size_t i,
                                                   const Reduction& reduction) {
  using V = Vec<int16_t, kLanes<int16_t>>;
  const ComplexResults<V> r = complexExact(load<V>(a + i), b.template at<V>(i));
  return complexPut(reduction.of(r.re), reducedImag(reduction, r.im, r.beyond));
}

// At most one vector of operands, with zeros behind.
struct PaddedOperand {
  int16_t values[kLanes<int16_t>] = {};
  MOX_INLINE PaddedOperand(const int16_t* from, size_t n) { __builtin_memcpy(values, from, n * sizeof(int16_t)); }
  template <class V>
  MOX_INLINE V at(size_t) const {
    return load<V>(values);
  }
};
MOX_INLINE PaddedOperand padded(const ArrayOperand& b, size_t from, size_t n) { return {b.b + from, n}; }
MOX_INLINE PairOperand padded(const PairOperand& b, size_t, size_t) { return b; }

// Less than a vector. (A function of its own: an aligned frame costs all that hold one.)
template <class Operand, class Reduction>
MOX_NOINLINE void complexFew(const int16_t* a, const Operand& b, int16_t* dst, size_t n, const Reduction& reduction) {
  const PaddedOperand some(a, n);
  const auto v = complexAt(some.values, padded(b, 0, n), 0, reduction);
  __builtin_memcpy(dst, &v, n * sizeof(int16_t));
}
template <class Operand, class Reduction>
MOX_INLINE void complexAll(const int16_t* a, const Operand& b, int16_t* dst, size_t n, const Reduction& reduction) {
  constexpr size_t L = kLanes<int16_t>;
  if (n < L) return complexFew(a, b, dst, n, reduction);
  const auto last = complexAt(a, b, n - L, reduction);
  for (size_t i = 0; i + L < n; i += L) store(dst + i, complexAt(a, b, i, reduction));
  store(dst + n - L, last);
}

template <class Operand>
MOX_INLINE void complexWith(const int16_t* a, const Operand& b, int16_t* dst, size_t n, bool saturate, int32_t factor) {
  const int32_t down = withinWord(factor), up = factor < -31 ? 31 : -factor;
  if (factor >= 0) {
    if (saturate) return complexAll(a, b, dst, n, ShiftedDownSaturated{down});
    if (factor == 0) return complexAll(a, b, dst, n, LowHalves{});
    return complexAll(a, b, dst, n, ShiftedDown{down});
  }
  if (saturate) return complexAll(a, b, dst, n, ShiftedUpSaturated{up});
  complexAll(a, b, dst, n, ShiftedUp{up});
}
void combineComplex(const int16_t* a, const int16_t* b, int16_t* dst, size_t n, bool saturate, int32_t factor) {
  complexWith(a, ArrayOperand{b}, dst, n, saturate, factor);
}
void combineComplexPair(int16_t re, int16_t im, int16_t* dst, size_t n, bool saturate, int32_t factor) {
  complexWith(dst, PairOperand{{re, im}}, dst, n, saturate, factor);
}

template <class Operand>
MOX_INLINE int32_t complexFactorWith(const int16_t* a, const Operand& b, size_t n) {
  using V = Vec<int16_t, kLanes<int16_t>>;
  constexpr size_t L = kLanes<int16_t>;
  Int32s low{}, high{}, beyond{};
  for (size_t i = 0; i < n; i += L) {
    ComplexResults<V> r;
    if (i + L <= n) {
      r = complexExact(load<V>(a + i), b.template at<V>(i));
    } else {
      r = complexExact(load<V>(PaddedOperand(a + i, n - i).values), padded(b, i, n - i).template at<V>(0));
    }
    low = r.re < low ? r.re : low;
    low = r.im < low ? r.im : low;
    high = r.re > high ? r.re : high;
    high = r.im > high ? r.im : high;
    beyond |= r.beyond;
  }
  Range range;
  range.includeAll(low, high);
  const int32_t factor = range.factor();
  bool anyBeyond = false;
  for (int k = 0; k < kWords; ++k) anyBeyond |= beyond[k] != 0;
  return anyBeyond && factor < 17 ? 17 : factor;
}
int32_t autoFactorComplex(const int16_t* a, const int16_t* b, size_t n) {
  return complexFactorWith(a, ArrayOperand{b}, n);
}
void shiftComplex(const int16_t* a, const int16_t* b, int16_t* dst, size_t n, int32_t factor) {
  complexAll(a, ArrayOperand{b}, dst, n, ShiftedDownBeyond{factor});
}
template <class Operand>
MOX_INLINE int32_t automaticComplexWith(const int16_t* a, const Operand& b, int16_t* dst, size_t n) {
  const int32_t factor = complexFactorWith(a, b, n);
  complexAll(a, b, dst, n, ShiftedDownBeyond{factor});
  return factor;
}
int32_t automaticComplex(const int16_t* a, const int16_t* b, int16_t* dst, size_t n) {
  return automaticComplexWith(a, ArrayOperand{b}, dst, n);
}
int32_t automaticComplexPair(int16_t re, int16_t im, int16_t* dst, size_t n) {
  return automaticComplexWith(dst, PairOperand{{re, im}}, dst, n);
}

// ---- moves and conjugates

void fillPair16(int16_t even, int16_t odd, int16_t* dst, size_t n) {
  mapAll<int16_t>(dst, n, SetMap<int16_t>{{even, odd}});
}
void copy16(const int16_t* src, int16_t* dst, size_t n) { mapAll<int16_t>(dst, n, CopyMap<int16_t>{src}); }

// 0 - im modulo 2^16 in odd places.
struct Conj16Map {
  static constexpr int kPeriod = 2;
  const int16_t* a;
  template <class V>
  MOX_INLINE V at(size_t i) const {
    using U = Vec<uint16_t, sizeof(V) / 2>;
    const U odd = Alternating<uint16_t>(0, 0xffff).template vector<U>();
    return reinterpret_cast<V>((reinterpret_cast<U>(load<V>(a + i)) ^ odd) - odd);
  }
  MOX_INLINE int16_t one(size_t i) const { return static_cast<int16_t>(i & 1 ? -a[i] : a[i]); }
};
void conj16(const int16_t* src, int16_t* dst, size_t n) { mapAll<int16_t>(dst, 2 * n, Conj16Map{src}); }

void conjFlip16(const int16_t* src, int16_t* dst, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    dst[2 * (n - 1 - i)] = src[2 * i];
    dst[2 * (n - 1 - i) + 1] = static_cast<int16_t>(-src[2 * i + 1]);
  }
}

template <class Op>
constexpr Int16Op int16Op() {
  return {
      .combine = combine<Op>,
      .combinePair = combinePair<Op>,
      .autoFactor = autoFactor<Op>,
      .automatic = automatic<Op>,
      .automaticPair = automaticPair<Op>,
  };
}

constexpr Int16 int16Kernels() {
  return {
      .add = int16Op<Sum16>(),
      .sub = int16Op<Difference16>(),
      .mpy = int16Op<Product16>(),
      .mpyComplex = {.combine = combineComplex,
                     .combinePair = combineComplexPair,
                     .autoFactor = autoFactorComplex,
                     .automatic = automaticComplex,
                     .automaticPair = automaticComplexPair},
      .shiftComplex = shiftComplex,
      .fillPair = fillPair16,
      .copy = copy16,
      .conj = conj16,
      .conjFlip = conjFlip16,
  };
}
