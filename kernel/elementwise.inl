// Square roots, thresholds, inverses, absolute values and statistics. Comparisons are made on bit patterns: as signed
// integers, those of non-negative floats order like the values, those of negative ones in reverse, -0.0 below +0.0.

template <class V>
using SignedBits =
    Vec<std::conditional_t<sizeof(ElementOf<V>) == 4, int32_t, int64_t>, sizeof(V) / sizeof(ElementOf<V>)>;
template <class V>
using UnsignedBits = Vec<BitsOf<ElementOf<V>>, sizeof(V) / sizeof(ElementOf<V>)>;

MOX_INLINE Vec<float, 4> squareRoot(Vec<float, 4> v) { return _mm_sqrt_ps(v); }
MOX_INLINE Vec<double, 2> squareRoot(Vec<double, 2> v) { return _mm_sqrt_pd(v); }
#if MOX_VEC_BYTES >= 32
MOX_INLINE Vec<float, 8> squareRoot(Vec<float, 8> v) { return _mm256_sqrt_ps(v); }
MOX_INLINE Vec<double, 4> squareRoot(Vec<double, 4> v) { return _mm256_sqrt_pd(v); }
#endif
#if MOX_VEC_BYTES == 64
MOX_INLINE Vec<float, 16> squareRoot(Vec<float, 16> v) { return _mm512_maskz_sqrt_ps(0xffff, v); }
// The instruction takes 24 cycles, steps from an estimate of 1/sqrt 14. r is off by a unit at most; the root is r + c,
// of which 1/2r is known to 2^-27: where r plus a little more and a little less than c round to the same value, that is
// the root, rounded, whatever the estimate was. Elsewhere, and where something might overflow or underflow, the
// instruction decides. (Of float32 it takes 12 cycles, no more than steps.)
MOX_INLINE Vec<double, 8> squareRoot(Vec<double, 8> v) {
  using V = Vec<double, 8>;
  constexpr uint64_t least = uint64_t{0x2ff} << 52, limit = uint64_t{0x4ff} << 52;  // 2^-256, 2^256
  const __m512i offset = reinterpret_cast<__m512i>(bitsOf(v) - least);
  const __mmask8 inRange = _mm512_cmplt_epu64_mask(offset, _mm512_set1_epi64(limit - least));
  const V y = _mm512_maskz_rsqrt14_pd(inRange, v), half = y * 0.5, r0 = v * y;
  const V e = fnma(r0, half, broadcast<V>(0.5)), r1 = fma(r0, e, r0), h = fma(half, e, half);
  const V r = fma(fnma(r1, r1, v), h, r1), c = fnma(r, r, v) * h;
  const V above = fma(c, broadcast<V>(1 + 0x1p-25), r), below = fma(c, broadcast<V>(1 - 0x1p-25), r);
  if (_mm512_mask_cmp_pd_mask(inRange, above, below, _CMP_EQ_OQ) != 0xff) [[unlikely]]
    return _mm512_maskz_sqrt_pd(0xff, v);
  return above;
}
#endif

template <class V>
constexpr auto kSignBitOf = BitsOf<ElementOf<V>>{1} << (8 * sizeof(ElementOf<V>) - 1);

template <class V>
MOX_INLINE V withoutSign(V v) {
  return reinterpret_cast<V>(reinterpret_cast<UnsignedBits<V>>(v) & ~kSignBitOf<V>);
}

// op(a[i]), single values through a vector of 16 bytes.
template <class T, class Op>
struct UnaryMap {
  static constexpr int kPeriod = 1;
  const T* a;
  Op op;
  template <class V>
  MOX_INLINE V at(size_t i) const {
    return op.of(load<V>(a + i));
  }
  MOX_INLINE T one(size_t i) const { return op.of(broadcast<Vec<T, 16 / sizeof(T)>>(a[i]))[0]; }
};
template <class T, class Op>
MOX_INLINE void mapUnary(const T* src, T* dst, size_t n, const Op& op) {
  mapAll<T>(dst, n, UnaryMap<T, Op>{src, op});
}

// ---- real

// Negative values, -0.0 and negative NaN stay.
template <class T>
struct RootMap {
  static constexpr int kPeriod = 1;
  using Order = SignedBits<Full<T>>;
  const T* src;
  Order* most;  // how far a bit pattern lies beyond that of -0.0, at most
  MOX_INLINE Full<T> of(Full<T> v) const {
    const Order order = reinterpret_cast<Order>(reinterpret_cast<UnsignedBits<Full<T>>>(v) - kSignBitOf<Full<T>>);
    *most = *most > order ? *most : order;
    return order >= 0 ? v : squareRoot(withoutSign(v));
  }
  template <class V>
  MOX_INLINE V at(size_t i) const {
    return of(load<V>(src + i));
  }
};
template <class T>
bool rootAll(const T* src, T* dst, size_t n) {
  typename RootMap<T>::Order most{};
  const RootMap<T> map{src, &most};
  if (n >= kLanes<T>) {
    mapWith<T, kLanes<T>>(dst, n, map);
  } else {
    storeFew(dst, map.of(loadFew(src, n)), n);
  }
  return anyElement<T>(reinterpret_cast<Words>(most > 0));
}

// Below (above) a threshold that is not negative lies what is less (greater) as a signed integer; with a negative one,
// what is greater (less) as an unsigned one.
template <template <class> class Bits, bool Less, class T>
struct Limit {
  T thresh;
  template <class V>
  MOX_INLINE V of(V v) const {
    const V t = broadcast<V>(thresh);
    const Bits<V> bits = reinterpret_cast<Bits<V>>(v), limit = reinterpret_cast<Bits<V>>(t);
    return reinterpret_cast<V>((Less ? bits < limit : bits > limit) ? limit : bits);
  }
};
template <bool Below, class T>
void limitAll(const T* src, T* dst, size_t n, T thresh) {
  if (__builtin_bit_cast(BitsOf<T>, thresh) >> (8 * sizeof(T) - 1)) {
    mapUnary(src, dst, n, Limit<UnsignedBits, !Below, T>{thresh});
  } else {
    mapUnary(src, dst, n, Limit<SignedBits, Below, T>{thresh});
  }
}
template <class T>
void raiseAll(const T* src, T* dst, size_t n, T thresh) {
  limitAll<true>(src, dst, n, thresh);
}
template <class T>
void lowerAll(const T* src, T* dst, size_t n, T thresh) {
  limitAll<false>(src, dst, n, thresh);
}

// 1/x where |x| > thresh, else +-floor with the sign of x.
template <class T>
struct InverseOrFloor {
  T thresh, floor;
  template <class V>
  MOX_INLINE V of(V v) const {
    const UnsignedBits<V> bits = reinterpret_cast<UnsignedBits<V>>(v), sign = bits & kSignBitOf<V>;
    const V t = broadcast<V>(thresh), one = broadcast<V>(1);
    const auto above = (bits ^ sign) > reinterpret_cast<UnsignedBits<V>>(t);
    const V limit = reinterpret_cast<V>(reinterpret_cast<UnsignedBits<V>>(broadcast<V>(floor)) | sign);
    return above ? one / (above ? v : one) : limit;  // no lane divides by zero
  }
};
template <class T>
void invertAll(const T* src, T* dst, size_t n, T thresh, T floor) {
  mapUnary(src, dst, n, InverseOrFloor<T>{thresh, floor});
}

struct Magnitude {
  template <class V>
  MOX_INLINE V of(V v) const {
    return withoutSign(v);
  }
};
template <class T>
void absAll(const T* src, T* dst, size_t n) {
  mapUnary(src, dst, n, Magnitude{});
}

// ---- complex, in float64: both places of a pair hold |x|^2

template <class V>
MOX_INLINE V squaredMagnitudes(V v) {
  const V squares = v * v;
  return squares + swapParts(squares);
}

MOX_INLINE bool anyLane(Vec<int64_t, 2> mask) { return _mm_movemask_pd(reinterpret_cast<__m128d>(mask)) != 0; }
#if MOX_VEC_BYTES >= 32
MOX_INLINE bool anyLane(Vec<int64_t, 4> mask) { return _mm256_movemask_pd(reinterpret_cast<__m256d>(mask)) != 0; }
#endif
#if MOX_VEC_BYTES == 64
MOX_INLINE bool anyLane(Vec<int64_t, 8> mask) { return _mm512_movepi64_mask(reinterpret_cast<__m512i>(mask)) != 0; }
#endif

// The parts other than zero of float64 elements whose |x|^2 is lost to overflow or underflow.
template <class V>
MOX_INLINE SignedBits<V> beyondSquares(V v) {
  const V square = squaredMagnitudes(v);
  return ((square < 0x1p-900) & (v != 0)) | (square > 0x1p1000);
}

// Every element at a scale of its own, a power of four that brings its larger component to 1/2 ... 2 (a subnormal one
// to less).
template <class V>
struct OwnScale {
  V v, scale, root;  // v is scaled; root = 1 / sqrt(scale)
};
template <class V>
MOX_INLINE OwnScale<V> atOwnScale(V v) {
  using U = UnsignedBits<V>;
  const V a = withoutSign(v), b = swapParts(a);
  const U most = reinterpret_cast<U>(a > b ? a : b) >> 52 | 1, exponent = most > 2045 ? U{} + 2045 : most;
  const V scale = reinterpret_cast<V>((2046 - exponent) << 52);
  return {v * scale, scale, reinterpret_cast<V>(((exponent + 1023) >> 1) << 52)};
}

// Op::of() computes an element from its |x|^2; where that is lost, Op::careful() does at the element's own scale.
// (Its neighbours keep to of(): no result depends on them. float32 in float64 never needs it.)
template <class V, class Op>
MOX_NOINLINE V whereBeyond(const Op& op, V v) {
  const SignedBits<V> parts = beyondSquares(v);
  const V either = swapParts(reinterpret_cast<V>(parts));
  return (parts | reinterpret_cast<SignedBits<V>>(either)) ? op.careful(v) : op.of(v);
}
template <class R, class Op>
struct ComplexMap {
  const R* a;
  Op op;
  template <class V>
  MOX_INLINE V at(size_t i) const {
    const V v = wide(a + i, static_cast<V*>(nullptr));
    if constexpr (sizeof(R) == sizeof(double)) {
      if (anyLane(beyondSquares(v))) [[unlikely]]
        return whereBeyond(op, v);
    }
    return op.of(v);
  }
};
template <class R, class Op>
struct CarefulMap {
  const R* a;
  Op op;
  template <class V>
  MOX_INLINE V at(size_t i) const {
    return op.careful(wide(a + i, static_cast<V*>(nullptr)));
  }
};
// A threshold far out leaves no room for its ratio to an |x| whose square is in range.
template <class R, class Op>
MOX_INLINE void mapComplex(const R* src, R* dst, size_t n, const Op& op, double thresh) {
  if constexpr (sizeof(R) == sizeof(double)) {
    if (thresh != 0 && (thresh < 0x1p-400 || thresh > 0x1p400)) [[unlikely]]
      return multiplyAll(dst, 2 * n, CarefulMap<R, Op>{src, op});
  }
  multiplyAll(dst, 2 * n, ComplexMap<R, Op>{src, op});
}

// All bits set in even (Part = 0) or odd (Part = 1) places.
template <class V, int Part>
MOX_INLINE SignedBits<V> inPart() {
  return Alternating<int64_t>(Part == 0 ? -1 : 0, Part == 0 ? 0 : -1).template vector<SignedBits<V>>();
}

// (sqrt(m/2 + re/2), +-sqrt(m/2 - re/2)), m = |x|; negative where im is, with -0.0 not.
struct ComplexRoot {
  template <class V>
  MOX_INLINE V of(V v) const {
    const V half = squareRoot(squaredMagnitudes(v)) * 0.5, re = realParts(v) * 0.5;
    const SignedBits<V> odd = inPart<V, 1>();
    const V root = squareRoot(odd ? half - re : half + re);
    const auto negative = odd & (reinterpret_cast<UnsignedBits<V>>(v) > kSignBitOf<V>);
    return negative ? V{} - root : root;
  }
  template <class V>
  MOX_INLINE V careful(V v) const {
    const OwnScale<V> x = atOwnScale(v);
    return of(x.v) * x.root;
  }
};
template <class R>
void rootComplex(const R* src, R* dst, size_t n) {
  mapComplex(src, dst, n, ComplexRoot{}, 0);
}

// v scaled to magnitude t, where |v|^2 = square is not zero.
template <class V>
MOX_INLINE V scaledTo(V v, V square, double t) {
  const V one = broadcast<V>(1);
  return v * (broadcast<V>(t) / squareRoot(square == 0 ? one : square));
}
struct RaiseComplex {
  double thresh;
  template <class V>
  MOX_INLINE V raised(V v, V square) const {
    return square == 0 ? (inPart<V, 0>() ? broadcast<V>(thresh) : v) : scaledTo(v, square, thresh);
  }
  template <class V>
  MOX_INLINE V of(V v) const {
    const V square = squaredMagnitudes(v);
    const double limit = thresh * thresh, least = thresh > 0 ? 0x1p-1000 : 0;  // zero is below any thresh
    return square < (limit > least ? limit : least) ? raised(v, square) : v;
  }
  template <class V>
  MOX_INLINE V careful(V v) const {
    const OwnScale<V> x = atOwnScale(v);
    const V square = squaredMagnitudes(x.v);
    return squareRoot(square) < x.scale * thresh ? raised(x.v, square) : v;
  }
};
struct LowerComplex {
  double thresh;
  template <class V>
  MOX_INLINE V of(V v) const {
    const V square = squaredMagnitudes(v);
    return square > thresh * thresh ? scaledTo(v, square, thresh) : v;
  }
  template <class V>
  MOX_INLINE V careful(V v) const {
    const OwnScale<V> x = atOwnScale(v);
    const V square = squaredMagnitudes(x.v);
    return squareRoot(square) > x.scale * thresh ? scaledTo(x.v, square, thresh) : v;
  }
};
// conj(x) / |x|^2 where |x| > thresh, else conj(x) scaled to magnitude floor, (floor, 0) for zero.
struct InverseOrFloorComplex {
  double thresh, floor;
  template <class V>
  MOX_INLINE static V conjugate(V v) {
    return reinterpret_cast<V>(reinterpret_cast<UnsignedBits<V>>(v) ^
                               (reinterpret_cast<UnsignedBits<V>>(inPart<V, 1>()) & kSignBitOf<V>));
  }
  template <class V>
  MOX_INLINE V low(V conj, V square) const {
    return square == 0 ? (inPart<V, 0>() ? broadcast<V>(floor) : V{}) : scaledTo(conj, square, floor);
  }
  template <class V>
  MOX_INLINE static V inverse(V conj, V square) {
    const V one = broadcast<V>(1);
    return conj * (one / (square == 0 ? one : square));
  }
  template <class V>
  MOX_INLINE V of(V v) const {
    const V square = squaredMagnitudes(v), conj = conjugate(v);
    return square > thresh * thresh ? inverse(conj, square) : low(conj, square);
  }
  template <class V>
  MOX_INLINE V careful(V v) const {
    const OwnScale<V> x = atOwnScale(v);
    const V square = squaredMagnitudes(x.v), conj = conjugate(x.v);
    return squareRoot(square) > x.scale * thresh ? inverse(conj, square) * x.scale : low(conj, square);
  }
};
template <class R>
void raiseComplex(const R* src, R* dst, size_t n, R thresh) {
  mapComplex(src, dst, n, RaiseComplex{thresh}, thresh);
}
template <class R>
void lowerComplex(const R* src, R* dst, size_t n, R thresh) {
  mapComplex(src, dst, n, LowerComplex{thresh}, thresh);
}
template <class R>
void invertComplex(const R* src, R* dst, size_t n, R thresh, R floor) {
  mapComplex(src, dst, n, InverseOrFloorComplex{thresh, floor}, thresh);
}

// ---- extremes

struct Less {
  template <class V>
  MOX_INLINE static V of(V a, V b) {
    return b < a ? b : a;
  }
};
struct Greater {
  template <class V>
  MOX_INLINE static V of(V a, V b) {
    return b > a ? b : a;
  }
};

// The one of N elements that the order puts before the others.
template <class Order, class U, int N>
MOX_INLINE U firstOf(Vec<U, N> v) {
  if constexpr (sizeof(v) == 16) {
    U found = v[0];
    for (int k = 1; k < N; ++k) found = Order::of(found, U{v[k]});
    return found;
  } else {
    using Half = Vec<U, N / 2>;
    U a[N];
    store(a, v);
    return firstOf<Order, U, N / 2>(Order::of(load<Half>(a), load<Half>(a + N / 2)));
  }
}

#if MOX_VEC_BYTES == 32
// Of n long words, at least kSpan: AVX2 has no such operation on 64 bits (176 and 80 ns for 1024), so the upper halves
// are looked through first, then the lower ones in those spans where the upper half that was found occurs.
constexpr size_t kSpan = 64;
template <class Order, class U>
MOX_INLINE U firstByHalves(const U* p, size_t n) {
  using Half = std::conditional_t<std::is_signed_v<U>, int32_t, uint32_t>;
  using H = Vec<Half, 8>;
  using W = Vec<uint32_t, 8>;
  constexpr size_t kSpans = 32;
  H tops[kSpans];
  U found = loadOne(p);
  for (size_t first = 0; first < n; first += kSpans * kSpan) {
    const size_t rest = (n - first + kSpan - 1) / kSpan, spans = rest < kSpans ? rest : kSpans;
    const auto at = [&](size_t b) __attribute__((always_inline)) {  // the last span overlaps the one before
      const size_t i = first + b * kSpan;
      return reinterpret_cast<const Half*>(p + (i + kSpan <= n ? i : n - kSpan));
    };
    H all = load<H>(at(0));
    for (size_t b = 0; b < spans; ++b) {
      const Half* const q = at(b);
      H top[4];
#  pragma GCC unroll 4
      for (size_t k = 0; k < 4; ++k) top[k] = load<H>(q + 8 * k);
#  pragma GCC unroll 3
      for (size_t i = 4; i < kSpan / 4; i += 4) {
#  pragma GCC unroll 4
        for (size_t k = 0; k < 4; ++k) top[k] = Order::of(top[k], load<H>(q + 8 * (i + k)));
      }
      tops[b] = Order::of(Order::of(top[0], top[1]), Order::of(top[2], top[3]));
      all = Order::of(all, tops[b]);
    }
    const Half upper = Order::of(Order::of(Half{all[1]}, Half{all[3]}), Order::of(Half{all[5]}, Half{all[7]}));
    const W none = broadcast<W>(Order::of(0u, ~0u) == 0 ? ~0u : 0u);
    W lower = none;
    for (size_t b = 0; b < spans; ++b) {
      const auto here = reinterpret_cast<Vec<int64_t, 4>>(tops[b] == broadcast<H>(upper));
      if (!anyLane(here)) continue;
      for (size_t i = 0; i < 2 * kSpan; i += 8) {
        const H v = load<H>(at(b) + i), same = reinterpret_cast<H>(v == broadcast<H>(upper));
        const W both = reinterpret_cast<W>(__builtin_shufflevector(same, same, 1, 1, 3, 3, 5, 5, 7, 7));
        lower = Order::of(lower, (reinterpret_cast<W>(v) & both) | (none & ~both));
      }
    }
    const uint32_t low =
        Order::of(Order::of(uint32_t{lower[0]}, uint32_t{lower[2]}), Order::of(uint32_t{lower[4]}, uint32_t{lower[6]}));
    found = Order::of(found, static_cast<U>(static_cast<uint64_t>(static_cast<uint32_t>(upper)) << 32 | low));
  }
  return found;
}
#endif

// Of n words, n > 0.
template <class Order, class U>
MOX_INLINE U firstOf(const U* p, size_t n) {
  constexpr int N = kLanes<U>;
#if MOX_VEC_BYTES == 32
  if constexpr (sizeof(U) == 8) {
    if (n >= 4 * kSpan) return firstByHalves<Order>(p, n);
  }
#endif
  constexpr size_t kChains = 4;
  using V = Vec<U, N>;
  size_t i = 0;
  if (n >= N) {
    V found[kChains];
    for (size_t k = 0; k < kChains; ++k) found[k] = load<V>(p + n - N);
    for (; i + kChains * N <= n; i += kChains * N) {
#pragma GCC unroll 4
      for (size_t k = 0; k < kChains; ++k) found[k] = Order::of(found[k], load<V>(p + i + k * N));
    }
    for (; i + N <= n; i += N) found[0] = Order::of(found[0], load<V>(p + i));
    return firstOf<Order, U, N>(Order::of(Order::of(found[0], found[1]), Order::of(found[2], found[3])));
  }
  U found = loadOne(p);
  for (; i < n; ++i) found = Order::of(found, loadOne(p + i));
  return found;
}

// Of all-negative patterns the least as a signed number is the one nearest to zero.
template <class T>
T largest(const T* src, size_t n) {
  using S = std::conditional_t<sizeof(T) == 4, int32_t, int64_t>;
  const S* const patterns = reinterpret_cast<const S*>(src);
  S found = firstOf<Greater>(patterns, n);
  if (found < 0) found = firstOf<Less>(patterns, n);
  return __builtin_bit_cast(T, found);
}
// As unsigned numbers, negative patterns lie above the others, the farthest from zero on top.
template <class T>
T smallest(const T* src, size_t n) {
  using U = BitsOf<T>;
  const U* const patterns = reinterpret_cast<const U*>(src);
  U found = firstOf<Greater>(patterns, n);
  if (!(found >> (8 * sizeof(T) - 1))) found = firstOf<Less>(patterns, n);
  return __builtin_bit_cast(T, found);
}
int16_t largest16(const int16_t* src, size_t n) { return firstOf<Greater>(src, n); }
int16_t smallest16(const int16_t* src, size_t n) { return firstOf<Less>(src, n); }

// ---- sums in float64: 32 lanes, element i in lane i mod 32, folded by halves

constexpr size_t kSumLanes = 32;

// Every addition's rounding error is kept (Knuth): lanes hold sum and error.
template <class V>
MOX_INLINE void addCompensated(V& sum, V& error, V x) {
  const V s = sum + x, part = s - sum;
  error += (sum - (s - part)) + (x - part);
  sum = s;
}
template <class V>
MOX_INLINE void addCompensated(V& sum, V& error, V otherSum, V otherError) {
  addCompensated(sum, error, otherSum);
  error += otherError;
}
template <class V>
MOX_INLINE void foldCompensated(V sum, V error, double* hiLo) {
  if constexpr (sizeof(V) == sizeof(Vec<double, 2>)) {
    hiLo[0] = sum[0];
    hiLo[1] = error[0];
    addCompensated(hiLo[0], hiLo[1], double{sum[1]}, double{error[1]});
  } else {
    auto s = lowerLanes(sum), e = lowerLanes(error);
    addCompensated(s, e, upperLanes(sum), upperLanes(error));
    foldCompensated(s, e, hiLo);
  }
}
template <class V, int N>
MOX_INLINE void foldAllCompensated(V (&s)[N], V (&e)[N], double* hiLo) {
#pragma GCC unroll 8
  for (int half = N / 2; half > 0; half /= 2) {
#pragma GCC unroll 16
    for (int k = 0; k < half; ++k) addCompensated(s[k], e[k], s[k + half], e[k + half]);
  }
  foldCompensated(s[0], e[0], hiLo);
}

// hiLo = sum and what its roundings left.
template <class T>
void sumAll(const T* src, size_t n, double* hiLo) {
  using V = Vec<double, kLanes<double>>;
  constexpr int kWidth = kLanes<double>, kVectors = kSumLanes / kWidth;
  V s[kVectors] = {}, e[kVectors] = {};
  size_t i = 0;
  for (; i + kSumLanes <= n; i += kSumLanes) {
#pragma GCC unroll 16
    for (int v = 0; v < kVectors; ++v) addCompensated(s[v], e[v], wide(src + i + v * kWidth, static_cast<V*>(nullptr)));
  }
  Lanes sums(s), errors(e);
  for (size_t k = 0; i < n; ++i, ++k) addCompensated(sums.at[k], errors.at[k], double{src[i]});
  V allSums[kVectors], allErrors[kVectors];
  sums.storeTo(allSums);
  errors.storeTo(allErrors);
  foldAllCompensated(allSums, allErrors, hiLo);
}

template <class T>
double sumOfSquares(const T* src, size_t n) {
  using V = SumVec<T>;
  constexpr int kWidth = kSumWidth<T>, kVectors = kSumLanes / kWidth;
  V s[kVectors] = {};
  size_t i = 0;
  for (; i + kSumLanes <= n; i += kSumLanes) {
#pragma GCC unroll 16
    for (int v = 0; v < kVectors; ++v) {
      const V x = summands(src + i + v * kWidth);
      s[v] = fma(x, x, s[v]);
    }
  }
  Vec<double, 2> pair;
  if (i < n) {
    Lanes lanes(s);
    for (size_t k = 0; i < n; ++i, ++k) lanes.at[k] = fma(double{src[i]}, double{src[i]}, lanes.at[k]);
    pair = lanes.folded();
  } else {
    pair = lanesFolded(s);
  }
  return pair[0] + pair[1];
}

// ---- the mean, where a quick sum decides how it rounds
//
// A sum with a bound of its error: where the mean rounds to the same value at both ends, that is the exact mean,
// rounded. Bounds come from the sum of the squares: by Cauchy's inequality sums of c values are at most
// sqrt(c squares).

template <class T>
struct MeanData;
// float32: rounded sums in float64. Of 4096 values on 8 lanes or more, each lane's error is below 512 2^-53 of the sum
// of its magnitudes, all together below 2^-37 sqrt(squares).
template <>
struct MeanData<float> {
  static constexpr size_t kBlock = 4096;
  static constexpr double kError = 0x1p-36, kLeast = 0x1p-100, kLimit = 0x1p100;
};
// float64: a lane begins at 1.5 grid and stays between grid and 2 grid, so what each addition takes is a multiple of
// grid 2^-52, and what it leaves behind is exact. These rests are summed on their own: of 2048 values on 8 lanes or
// more, 256 additions of at most 256 2^-53 grid each.
template <>
struct MeanData<double> {
  static constexpr size_t kBlock = 2048;
  static constexpr double kError = 0x1p-85, kLeast = 0x1p-900, kLimit = 0x1p900;
};

struct PartialSum {
  double high, low, squares;
};

// 2^(k + p), 2^2k > x being the least such power.
MOX_INLINE double rootBound(double x, int p = 0) {
  const uint64_t exponent = __builtin_bit_cast(uint64_t, x) >> 52;  // that of 2^2k: 1 or 2 more
  return __builtin_bit_cast(double, ((exponent + 1025) / 2 + static_cast<uint64_t>(p)) << 52);
}

constexpr size_t kMeanVectors = 4;
template <class V>
MOX_INLINE double totalOf(V (&v)[kMeanVectors]) {
  const Vec<double, 2> pair = lanesFolded(v);
  return pair[0] + pair[1];
}

constexpr size_t kMeanStep = kMeanVectors * kLanes<double>;

MOX_INLINE PartialSum partialSum(const double* src, size_t n, double grid) {
  using V = Vec<double, kLanes<double>>;
  constexpr size_t N = kLanes<double>;
  V sums[kMeanVectors], rests[kMeanVectors] = {}, squares[kMeanVectors] = {};
  const V start = broadcast<V>(1.5 * grid), one = broadcast<V>(1);  // AVX2 adds on fewer units than it fuses on
  for (V& v : sums) v = start;
  const auto take = [&](const double* p) __attribute__((always_inline)) {
#pragma GCC unroll 4
    for (size_t k = 0; k < kMeanVectors; ++k) {
      const V x = load<V>(p + k * N), s = fma(x, one, sums[k]);
      rests[k] += x - (s - sums[k]);
      squares[k] = fma(x, x, squares[k]);
      sums[k] = s;
    }
  };
  size_t i = 0;
  for (; i + kMeanStep <= n; i += kMeanStep) take(src + i);
  if (i < n) {
    double some[kMeanStep];
    for (size_t k = 0; k < kMeanVectors; ++k) store(some + k * N, V{});
    __builtin_memcpy(some, src + i, (n - i) * sizeof(double));
    take(some);
  }
  for (V& v : sums) v -= start;
  return {totalOf(sums), totalOf(rests), totalOf(squares)};
}

MOX_INLINE PartialSum partialSum(const float* src, size_t n, double) {
  using F = Vec<float, kVecBytes >= 32 ? 8 : 4>;
  using V = DotVec;
  constexpr size_t N = kDotWidth;
  constexpr size_t kStep = 2 * kMeanVectors * N, kFloats = sizeof(F) / sizeof(float);
  V sums[2 * kMeanVectors] = {};
  F squares[kStep / kFloats] = {};
  const auto take = [&](const float* p) __attribute__((always_inline)) {
#pragma GCC unroll 8
    for (size_t k = 0; k < 2 * kMeanVectors; ++k) sums[k] += widened(p + k * N);
#pragma GCC unroll 8
    for (size_t k = 0; k < kStep / kFloats; ++k) {
      const F x = load<F>(p + k * kFloats);
      squares[k] = fma(x, x, squares[k]);
    }
  };
  size_t i = 0;
  for (; i + kStep <= n; i += kStep) take(src + i);
  if (i < n) {
    float some[kStep];
    for (size_t k = 0; k < kStep; k += kFloats) store(some + k, F{});
    __builtin_memcpy(some, src + i, (n - i) * sizeof(float));
    take(some);
  }
#pragma GCC unroll 8
  for (size_t k = 1; k < kStep / kFloats; ++k) squares[0] += squares[k];
  float all[kFloats];
  store(all, squares[0]);
  const Vec<double, 2> total = lanesFolded(widened(all) + widened(all + N)), pair = lanesFolded(sums);
  return {pair[0] + pair[1], 0, total[0] + total[1]};
}

template <class T>
bool meanOf(const T* src, size_t n, T* mean) {
  using D = MeanData<T>;
  const double count = static_cast<double>(n), inverse = 1 / count;
  double high = 0, low = 0, most = 0, blocks = 0;
  // From four samples: a guess that is checked. 256 times the power that they suggest is within 2^m.
  double grid = 0;
  if constexpr (sizeof(T) == 8) {
    const double a = src[0], b = src[n / 4], c = src[n / 2], d = src[n - 1 - n / 4];
    grid = rootBound((a * a + b * b) + (c * c + d * d) + D::kLeast, 15);
  }
  while (n > 0) {
    const size_t some = n < D::kBlock ? n : D::kBlock;
    PartialSum part = partialSum(src, some, grid);
    if (!(part.squares >= D::kLeast && part.squares <= D::kLimit)) return false;
    if constexpr (sizeof(T) == 8) {
      if (part.squares > grid * grid * 0x1p-14) [[unlikely]] {
        grid = rootBound(part.squares, 10);
        part = partialSum(src, some, grid);
      }
    }
    if (blocks == 0) {
      high = part.high;
      low = part.low;
    } else {
      double rest = part.low;
      addCompensated(high, rest, part.high);
      low += rest;
    }
    most = part.squares > most ? part.squares : most;
    blocks += 1;
    src += some;
    n -= some;
  }
  const double bound = sizeof(T) == 8 ? grid : rootBound(most);
  const double error = bound * D::kError * blocks * (1 + blocks * 0x1p-7) * inverse;
  const double q = high * inverse;
  using V = Vec<double, 2>;
  const double rest = exactRest(broadcast<V>(q), broadcast<V>(count), broadcast<V>(high))[0] + low;
  const double c = rest * inverse, wide = error + (c < 0 ? -c : c) * 0x1p-48;
  const T above = static_cast<T>(q + (c + wide)), below = static_cast<T>(q + (c - wide));
  *mean = above;
  return above == below;
}

// ---- int16

bool sqrt16(const int16_t* src, int16_t* dst, size_t n) {
  int32_t signs = 0;
  MOX_SAME_OR_APART
  for (size_t i = 0; i < n; ++i) {
    // Masks: a selection around the conversion stops GCC's vectors (960 against 150 ns for 1024).
    const int32_t x = src[i], negative = x >> 31;
    const float root = __builtin_sqrtf(static_cast<float>(x & ~negative));
    dst[i] = static_cast<int16_t>(static_cast<int32_t>(root) | (x & negative));
    signs |= negative;
  }
  return signs != 0;
}

template <class Order>
void limit16(const int16_t* src, int16_t* dst, size_t n, int16_t thresh) {
  mapAll<int16_t>(dst, n, PairMap<int16_t, Order>{src, {thresh, thresh}});
}

// |-32768| saturates.
void abs16(const int16_t* src, int16_t* dst, size_t n) {
  MOX_SAME_OR_APART
  for (size_t i = 0; i < n; ++i) {
    const int32_t x = src[i], size = x < 0 ? -x : x;
    dst[i] = static_cast<int16_t>(size > 32767 ? 32767 : size);
  }
}

int64_t sum16(const int16_t* src, size_t n) {
  int64_t sum = 0;
  for (size_t i = 0; i < n;) {
    const size_t end = n - i > 32768 ? i + 32768 : n;  // fits in 31 bits
    int32_t part = 0;
    for (; i < end; ++i) part += src[i];
    sum += part;
  }
  return sum;
}
uint64_t sumOfSquares16(const int16_t* src, size_t n) {
  uint64_t sum = 0;
  for (size_t i = 0; i < n; ++i) sum += static_cast<uint32_t>(src[i] * src[i]);
  return sum;
}

template <class T>
constexpr Elementwise<T> elementwiseKernels() {
  return {
      .sqrt = rootAll<T>,
      .raise = raiseAll<T>,
      .lower = lowerAll<T>,
      .invert = invertAll<T>,
      .abs = absAll<T>,
      .sqrtComplex = rootComplex<T>,
      .raiseComplex = raiseComplex<T>,
      .lowerComplex = lowerComplex<T>,
      .invertComplex = invertComplex<T>,
      .largest = largest<T>,
      .smallest = smallest<T>,
      .mean = meanOf<T>,
      .sum = sumAll<T>,
      .sumOfSquares = sumOfSquares<T>,
  };
}
constexpr Elementwise16 elementwise16Kernels() {
  return {
      .sqrt = sqrt16,
      .raise = limit16<Greater>,
      .lower = limit16<Less>,
      .abs = abs16,
      .largest = largest16,
      .smallest = smallest16,
      .sum = sum16,
      .sumOfSquares = sumOfSquares16,
  };
}
