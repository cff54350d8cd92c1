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
MOX_INLINE Vec<double, 8> squareRoot(Vec<double, 8> v) { return _mm512_maskz_sqrt_pd(0xff, v); }
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

struct RootOrSame {  // negative values, -0.0 and negative NaN stay
  template <class V>
  MOX_INLINE V of(V v) const {
    return reinterpret_cast<UnsignedBits<V>>(v) >= kSignBitOf<V> ? v : squareRoot(withoutSign(v));
  }
};
template <class T>
void rootAll(const T* src, T* dst, size_t n) {
  mapUnary(src, dst, n, RootOrSame{});
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

// Of n words, n > 0.
template <class Order, class U>
MOX_INLINE U firstOf(const U* p, size_t n) {
  constexpr int N = kLanes<U>;
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
struct CompensatedSum {
  template <class T>
  using Vector = Vec<double, kLanes<double>>;
  template <class V>
  MOX_INLINE static void add(V& sum, V& error, V x) {
    const V s = sum + x, part = s - sum;
    error += (sum - (s - part)) + (x - part);
    sum = s;
  }
};
struct SquareSum {
  template <class T>
  using Vector = SumVec<T>;
  template <class V>
  MOX_INLINE static void add(V& sum, V&, V x) {
    sum = fma(x, x, sum);
  }
};

template <class V>
MOX_INLINE void addCompensated(V& sum, V& error, V otherSum, V otherError) {
  CompensatedSum::add(sum, error, otherSum);
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

// hiLo = sum and what its roundings left; SquareSum leaves 0 there.
template <class Sum, class T>
void sumAll(const T* src, size_t n, double* hiLo) {
  using V = typename Sum::template Vector<T>;
  constexpr int kWidth = sizeof(V) / sizeof(double), kVectors = kSumLanes / kWidth;
  V s[kVectors] = {}, e[kVectors] = {};
  size_t i = 0;
  for (; i + kSumLanes <= n; i += kSumLanes) {
#pragma GCC unroll 16
    for (int v = 0; v < kVectors; ++v) Sum::add(s[v], e[v], wide(src + i + v * kWidth, static_cast<V*>(nullptr)));
  }
  Lanes sums(s), errors(e);
  for (size_t k = 0; i < n; ++i, ++k) Sum::add(sums.at[k], errors.at[k], double{src[i]});
  V allSums[kVectors], allErrors[kVectors];
  sums.storeTo(allSums);
  errors.storeTo(allErrors);
  foldAllCompensated(allSums, allErrors, hiLo);
}

// ---- int16

void sqrt16(const int16_t* src, int16_t* dst, size_t n) {
  MOX_SAME_OR_APART
  for (size_t i = 0; i < n; ++i) {
    // Masks: a selection around the conversion stops GCC's vectors (960 against 150 ns for 1024).
    const int32_t x = src[i], negative = x >> 31;
    const float root = __builtin_sqrtf(static_cast<float>(x & ~negative));
    dst[i] = static_cast<int16_t>(static_cast<int32_t>(root) | (x & negative));
  }
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
      .sum = sumAll<CompensatedSum, T>,
      .sumOfSquares = sumAll<SquareSum, T>,
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
