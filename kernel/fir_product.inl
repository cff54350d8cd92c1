// Products of polynomials in float64, for fast convolution (overlap-save).
//
// A stretch of M = 2^order complex values z and the taps are polynomials modulo X^M - i, whose product is that of the
// filter but for what wraps around, and that is thrown away. A stretch of 2M real values is z[n] = x[n] + i x[n + M]:
// real polynomials modulo X^2M + 1. With Y = X^2 the modulus splits again and again,
//   Y^2J - w^2 = (Y^J - w)(Y^J + w),  a + w b and a - w b the parts of a polynomial with halves a and b,
// down to polynomials of two coefficients modulo X^2 - w, which are multiplied as such: one step more each way would
// cost more than that. No part of it needs a permutation; parts that have been split go their ways one after the other,
// so that long stretches stay in the nearer caches.
//
// The bound, in u = 2^-53 and 2-norms. A level that splits errs by 5.5 u of its result at most: each part of a + w b is
// rounded four times, which a - w b inherits, rounded once more, and a twiddle is off by 0.8 u. A pair of levels that
// joins errs by 5.2 u, a single one by 4.2 u, the products by 13 u of the factors'. Every output is the sum of products
// with the taps h, so by Cauchy-Schwarz errors in the parts of the signal x and of h contribute 5.5 q u |x| |h| each, q
// the number of levels, and what comes later (2.6 q + 2 + 9) u |x| H, where H is no less than the filter's response
// anywhere.

// Values of M complex ones, parts apart. Neighbours 2j, 2j + 1, the coefficients at the end, stay neighbours.
struct FirParts {
  FirVec re, im;
};
struct FirTwiddle {
  FirVec re, im;
};
MOX_INLINE FirTwiddle firTwiddle(const double* p) { return {broadcast<FirVec>(p[0]), broadcast<FirVec>(p[1])}; }
MOX_INLINE FirTwiddle firTwiddles(const double* p) { return {load<FirVec>(p), load<FirVec>(p + kFirLanes)}; }

// c - a b, as fnma(): GCC would negate a twiddle once for all its uses, an operation more.
#if MOX_VEC_BYTES == 64
MOX_INLINE FirVec firMinus(FirVec a, FirVec b, FirVec c) { return _mm512_fnmadd_pd(a, b, c); }
#elif MOX_VEC_BYTES == 32
MOX_INLINE FirVec firMinus(FirVec a, FirVec b, FirVec c) { return _mm256_fnmadd_pd(a, b, c); }
#else
MOX_INLINE FirVec firMinus(FirVec a, FirVec b, FirVec c) { return fnma(a, b, c); }
#endif

// a + w b, a - w b
MOX_INLINE void firSplit(FirParts& a, FirParts& b, const FirTwiddle& w) {
  const FirVec two = broadcast<FirVec>(2);
  const FirVec re = firMinus(w.im, b.im, fma(w.re, b.re, a.re)), im = fma(w.im, b.re, fma(w.re, b.im, a.im));
  b = {fma(two, a.re, -re), fma(two, a.im, -im)};
  a = {re, im};
}
// a + i w b, a - i w b
MOX_INLINE void firSplitTurned(FirParts& a, FirParts& b, const FirTwiddle& w) {
  const FirVec two = broadcast<FirVec>(2);
  const FirVec re = firMinus(w.re, b.im, firMinus(w.im, b.re, a.re)), im = fma(w.re, b.re, firMinus(w.im, b.im, a.im));
  b = {fma(two, a.re, -re), fma(two, a.im, -im)};
  a = {re, im};
}
// x conj w
MOX_INLINE FirParts firTimesConj(const FirParts& x, const FirTwiddle& w) {
  return {fma(w.im, x.im, w.re * x.re), firMinus(w.im, x.re, w.re * x.im)};
}
// The reverse of firSplit, times 2.
MOX_INLINE void firJoin(FirParts& a, FirParts& b, const FirTwiddle& w) {
  const FirParts d = {a.re - b.re, a.im - b.im};
  a = {a.re + b.re, a.im + b.im};
  b = firTimesConj(d, w);
}

// Two levels: the quarters of a polynomial modulo Y^4J - w^2 to the parts modulo Y^J - v, + v, - i v, + i v, w = v^2;
// and back, times 4. The three twiddles are w, v, v w.
struct FirFour {
  FirTwiddle w, v, vw;
};
MOX_INLINE FirFour firFour(const double* p) { return {firTwiddle(p), firTwiddle(p + 2), firTwiddle(p + 4)}; }
MOX_INLINE FirFour firFours(const double* p) {
  return {firTwiddles(p), firTwiddles(p + 2 * kFirLanes), firTwiddles(p + 4 * kFirLanes)};
}
MOX_INLINE void firSplit(FirParts (&x)[4], const FirFour& t) {
  firSplit(x[0], x[2], t.w);
  firSplit(x[1], x[3], t.w);
  firSplit(x[0], x[1], t.v);
  firSplitTurned(x[2], x[3], t.v);
}
MOX_INLINE void firJoin(FirParts (&x)[4], const FirFour& t) {
  const FirParts s0 = {x[0].re + x[1].re, x[0].im + x[1].im}, d0 = {x[0].re - x[1].re, x[0].im - x[1].im};
  const FirParts s1 = {x[2].re + x[3].re, x[2].im + x[3].im}, d1 = {x[2].re - x[3].re, x[2].im - x[3].im};
  x[0] = {s0.re + s1.re, s0.im + s1.im};
  x[1] = firTimesConj({d0.re + d1.im, d0.im - d1.re}, t.v);
  x[2] = firTimesConj({s0.re - s1.re, s0.im - s1.im}, t.w);
  x[3] = firTimesConj({d0.re - d1.im, d0.im + d1.re}, t.vw);
}

// The levels, from the last one up: two pairs on polynomials of kFirSmallest values, a single one on two of these where
// the number of levels is odd, and pairs.
constexpr size_t kFirSmallest = 32;
constexpr bool firHasSingle(int order) { return order % 2 == 0; }
constexpr int firPairs(int order) { return (order - 5) / 2; }  // the upper ones
MOX_INLINE size_t firParts(int order, int pair) { return size_t{1} << (2 * (firPairs(order) - 1 - pair)); }

// Twiddles: of the last pair in vectors, `kFirNodes` polynomials side by side, of the others one polynomial after the
// other. Pairs are counted upwards.
constexpr size_t kFirNodes = static_cast<size_t>(kFirLanes) / 2;
constexpr size_t kFirFours = 8;  // elements of a FirFour
struct FirTable {
  const double *last, *smallest, *singles, *pairs, *first;  // first: of the uppermost pair
};
constexpr size_t firLastElements(int order) { return size_t{3} << (order - 1); }
constexpr size_t firSmallestElements(int order) { return kFirFours << (order - 5); }
constexpr size_t firSingleElements(int order) { return firHasSingle(order) ? size_t{2} << (order - 6) : 0; }
MOX_INLINE size_t firPairElements(int order) {
  size_t n = 0;
  for (int pair = 0; pair < firPairs(order); ++pair) n += kFirFours * firParts(order, pair);
  return n;
}
MOX_INLINE size_t firTableElements(int order) {
  return firLastElements(order) + firSmallestElements(order) + firSingleElements(order) + firPairElements(order);
}
MOX_INLINE FirTable firTable(int order, const double* last) {
  const double* const smallest = last + firLastElements(order);
  const double* const singles = smallest + firSmallestElements(order);
  const double* const pairs = singles + firSingleElements(order);
  return {last, smallest, singles, pairs, pairs + firPairElements(order) - kFirFours};
}

// ---- the last pair of levels, and the products

// Four vectors of the coefficients of kFirNodes polynomials of eight, to four of all their first pairs, second pairs
// ... and back.
#if MOX_VEC_BYTES == 32
MOX_INLINE void firGather(FirVec (&x)[4]) {
  FirVec early[2] = {x[0], x[2]}, late[2] = {x[1], x[3]};
  transpose(early);
  transpose(late);
  x[0] = early[0];
  x[1] = early[1];
  x[2] = late[0];
  x[3] = late[1];
}
MOX_INLINE void firSpread(FirVec (&x)[4]) {
  FirVec early[2] = {x[0], x[1]}, late[2] = {x[2], x[3]};
  transpose(early);
  transpose(late);
  x[0] = early[0];
  x[1] = late[0];
  x[2] = early[1];
  x[3] = late[1];
}
#else
MOX_INLINE void firGather([[maybe_unused]] FirVec (&x)[4]) {
#  if MOX_VEC_BYTES == 64
  transpose(x);
#  endif
}
MOX_INLINE void firSpread(FirVec (&x)[4]) { firGather(x); }
#endif
template <bool Gather>
MOX_INLINE void firExchange(FirParts (&x)[4]) {
  FirVec re[4] = {x[0].re, x[1].re, x[2].re, x[3].re}, im[4] = {x[0].im, x[1].im, x[2].im, x[3].im};
  if constexpr (Gather) {
    firGather(re);
    firGather(im);
  } else {
    firSpread(re);
    firSpread(im);
  }
#pragma GCC unroll 4
  for (int k = 0; k < 4; ++k) x[k] = {re[k], im[k]};
}

// The response: for each vector of polynomials h0 + h1 X the vectors (h0, h0) and (w h1, h1), parts apart.
constexpr size_t kFirFactors = 4 * kFirLanes;

// (a0 + a1 X)(h0 + h1 X) modulo X^2 - w
struct FirProducts {
  static constexpr bool kJoins = true;
  const double* response;
  MOX_INLINE void operator()(size_t unit, FirParts (&x)[4], const FirTwiddle&) const {
#pragma GCC unroll 4
    for (size_t k = 0; k < 4; ++k) {
      const double* const h = response + (4 * unit + k) * kFirFactors;
      const FirVec re = load<FirVec>(h), im = load<FirVec>(h + kFirLanes);
      const FirVec crossRe = load<FirVec>(h + 2 * kFirLanes), crossIm = load<FirVec>(h + 3 * kFirLanes);
      const FirParts a = x[k], b = {swapParts(a.re), swapParts(a.im)};
      x[k].re = firMinus(b.im, crossIm, fma(b.re, crossRe, firMinus(a.im, im, a.re * re)));
      x[k].im = fma(b.im, crossRe, fma(b.re, crossIm, fma(a.im, re, a.re * im)));
    }
  }
};
struct FirRecord {
  static constexpr bool kJoins = false;
  double* response;
  double scale;
  MOX_INLINE static FirVec mixed(FirVec even, FirVec odd) {
    FirVec v = even;
#pragma GCC unroll 4
    for (int i = 1; i < kFirLanes; i += 2) v[i] = odd[i];
    return v;
  }
  MOX_INLINE void operator()(size_t unit, FirParts (&x)[4], const FirTwiddle& v) const {
    const FirVec factor = broadcast<FirVec>(scale);
    const FirTwiddle roots[4] = {v, {-v.re, -v.im}, {-v.im, v.re}, {v.im, -v.re}};
#pragma GCC unroll 4
    for (size_t k = 0; k < 4; ++k) {
      const FirVec re = x[k].re * factor, im = x[k].im * factor;
      const FirVec oddRe = imagParts(re), oddIm = imagParts(im);
      const FirVec turnedRe = firMinus(oddIm, roots[k].im, oddRe * roots[k].re);
      const FirVec turnedIm = fma(oddRe, roots[k].im, oddIm * roots[k].re);
      double* const h = response + (4 * unit + k) * kFirFactors;
      store(h, realParts(re));
      store(h + kFirLanes, realParts(im));
      store(h + 2 * kFirLanes, mixed(turnedRe, oddRe));
      store(h + 3 * kFirLanes, mixed(turnedIm, oddIm));
    }
  }
};

MOX_INLINE FirParts firLoad(const double* re, const double* im, size_t at) {
  return {pinned(load<FirVec>(re + at)), pinned(load<FirVec>(im + at))};
}
MOX_INLINE void firStore(double* re, double* im, size_t at, const FirParts& x) {
  store(re + at, x.re);
  store(im + at, x.im);
}

// A level on two times `Count` vectors.
template <bool Join, size_t Count>
MOX_INLINE void firLevel(FirParts (&a)[Count], FirParts (&b)[Count], const FirTwiddle& w) {
#pragma GCC unroll 4
  for (size_t k = 0; k < Count; ++k) {
    if constexpr (Join) {
      firJoin(a[k], b[k], w);
    } else {
      firSplit(a[k], b[k], w);
    }
  }
}
// A level on a polynomial of 2 `half` values, in place.
template <bool Join>
MOX_INLINE void firPass2(double* re, double* im, size_t half, const double* twiddle) {
  const FirTwiddle w = firTwiddle(twiddle);
  for (size_t n = 0; n < half; n += kFirLanes) {
    FirParts a[1] = {firLoad(re, im, n)}, b[1] = {firLoad(re, im, n + half)};
    firLevel<Join>(a, b, w);
    firStore(re, im, n, a[0]);
    firStore(re, im, n + half, b[0]);
  }
}
// A pair of levels on a polynomial of 4 `quarter` values, in place.
template <bool Join>
MOX_INLINE void firPass4(double* re, double* im, size_t quarter, const double* twiddles) {
  const FirFour t = firFour(twiddles);
  for (size_t n = 0; n < quarter; n += kFirLanes) {
    FirParts x[4];
#pragma GCC unroll 4
    for (size_t k = 0; k < 4; ++k) x[k] = firLoad(re, im, n + k * quarter);
    if constexpr (Join) {
      firJoin(x, t);
    } else {
      firSplit(x, t);
    }
#pragma GCC unroll 4
    for (size_t k = 0; k < 4; ++k) firStore(re, im, n + k * quarter, x[k]);
  }
}

// Two polynomials of kFirSmallest values, b and b + 1, step by step together: each is one chain of operations.
template <bool Single, class End>
MOX_INLINE void firSmallest(const FirTable& t, size_t b, double* re, double* im, const End& end) {
  constexpr size_t kUnit = 4 * kFirLanes, kEach = kFirSmallest / kUnit, kTogether = kEach == 1 ? 2 : 1;
  const double* const twiddles = t.smallest + b * kFirFours;
  const double* const last = t.last + b * kEach * 6 * kFirLanes;
  const double* const single = t.singles + b;
  if constexpr (kEach > 1) {
    if constexpr (Single) firPass2<false>(re, im, kFirSmallest, single);
    for (size_t k = 0; k < 2; ++k) {
      firPass4<false>(re + k * kFirSmallest, im + k * kFirSmallest, kFirSmallest / 4, twiddles + k * kFirFours);
    }
  }
  for (size_t u = 0; u < 2 * kEach; u += kTogether) {
    FirParts x[kTogether][4];
    const auto each = [&](auto step) {
#pragma GCC unroll 2
      for (size_t i = 0; i < kTogether; ++i) step(i, x[i]);
    };
    const auto lasts = [&](size_t i) { return firFours(last + (u + i) * 6 * kFirLanes); };
    each([&](size_t i, FirParts(&v)[4]) {
#pragma GCC unroll 4
      for (size_t k = 0; k < 4; ++k) v[k] = firLoad(re, im, (u + i) * kUnit + k * kFirLanes);
    });
    if constexpr (kEach == 1) {
      if constexpr (Single) firLevel<false>(x[0], x[kTogether - 1], firTwiddle(single));
      each([&](size_t i, FirParts(&v)[4]) { firSplit(v, firFour(twiddles + i * kFirFours)); });
    }
    each([&](size_t, FirParts(&v)[4]) { firExchange<true>(v); });
    each([&](size_t i, FirParts(&v)[4]) { firSplit(v, lasts(i)); });
    each([&](size_t i, FirParts(&v)[4]) { end(b * kEach + u + i, v, lasts(i).v); });
    if constexpr (!End::kJoins) continue;
    each([&](size_t i, FirParts(&v)[4]) { firJoin(v, lasts(i)); });
    each([&](size_t, FirParts(&v)[4]) { firExchange<false>(v); });
    if constexpr (kEach == 1) {
      each([&](size_t i, FirParts(&v)[4]) { firJoin(v, firFour(twiddles + i * kFirFours)); });
      if constexpr (Single) firLevel<true>(x[0], x[kTogether - 1], firTwiddle(single));
    }
    each([&](size_t i, FirParts(&v)[4]) {
#pragma GCC unroll 4
      for (size_t k = 0; k < 4; ++k) firStore(re, im, (u + i) * kUnit + k * kFirLanes, v[k]);
    });
  }
  if constexpr (kEach > 1 && End::kJoins) {
    for (size_t k = 0; k < 2; ++k) {
      firPass4<true>(re + k * kFirSmallest, im + k * kFirSmallest, kFirSmallest / 4, twiddles + k * kFirFours);
    }
    if constexpr (Single) firPass2<true>(re, im, kFirSmallest, single);
  }
}

// Polynomials below a pair, of `quarter` values each, the first of them number b; `pair` is -1 below the last one.
template <bool Single, class End>
MOX_NOINLINE void firFourth(const FirTable& t, int order, int pair, size_t b, size_t quarter, double* re, double* im,
                            const End& end) {
  if (pair < 0) {
    const size_t each = quarter / kFirSmallest;
    for (size_t k = 0; k < 4 * each; k += 2) {
      firSmallest<Single>(t, b * each + k, re + k * kFirSmallest, im + k * kFirSmallest, end);
    }
    return;
  }
  const double* twiddles = t.pairs + b * kFirFours;
  for (int k = 0; k < pair; ++k) twiddles += kFirFours * firParts(order, k);
  for (size_t k = 0; k < 4; ++k, re += quarter, im += quarter, twiddles += kFirFours) {
    firPass4<false>(re, im, quarter / 4, twiddles);
    firFourth<Single>(t, order, pair - 1, 4 * (b + k), quarter / 4, re, im, end);
    if constexpr (End::kJoins) firPass4<true>(re, im, quarter / 4, twiddles);
  }
}

// ---- the whole, from float32 and back

// 2M samples x, as z[n] = x[n] + i x[n + M].
struct FirRealIo {
  const float* x;
  float* y;
  size_t half;
  MOX_INLINE FirParts get(size_t n) const {
    return {wide(x + n, static_cast<FirVec*>(nullptr)), wide(x + n + half, static_cast<FirVec*>(nullptr))};
  }
  MOX_INLINE void put(size_t n, const FirParts& v) const {
    firStore(y + n, v.re);
    firStore(y + n + half, v.im);
  }
};
// M complex samples.
struct FirComplexIo {
  const float* x;
  float* y;
  size_t half;
  MOX_INLINE FirParts get(size_t n) const {
    const float* const p = x + 2 * n;
#if MOX_VEC_BYTES == 64
    const Vec<float, 16> v = load<Vec<float, 16>>(p);
    const Vec<float, 16> w = __builtin_shufflevector(v, v, 0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15);
    return {widen(__builtin_shufflevector(w, w, 0, 1, 2, 3, 4, 5, 6, 7)),
            widen(__builtin_shufflevector(w, w, 8, 9, 10, 11, 12, 13, 14, 15))};
#elif MOX_VEC_BYTES == 32
    const Vec<float, 4> a = load<Vec<float, 4>>(p), b = load<Vec<float, 4>>(p + 4);
    return {widen(__builtin_shufflevector(a, b, 0, 2, 4, 6)), widen(__builtin_shufflevector(a, b, 1, 3, 5, 7))};
#else
    const Vec<float, 4> a = load<Vec<float, 4>>(p);
    return {widenLow(__builtin_shufflevector(a, a, 0, 2, 1, 3)), widenLow(__builtin_shufflevector(a, a, 1, 3, 0, 2))};
#endif
  }
  MOX_INLINE void put(size_t n, const FirParts& v) const {
    float* const p = y + 2 * n;
#if MOX_VEC_BYTES == 64
    const Vec<float, 8> re = narrow(v.re), im = narrow(v.im);
    store<Vec<float, 8>>(p, __builtin_shufflevector(re, im, 0, 8, 1, 9, 2, 10, 3, 11));
    store<Vec<float, 8>>(p + 8, __builtin_shufflevector(re, im, 4, 12, 5, 13, 6, 14, 7, 15));
#elif MOX_VEC_BYTES == 32
    const Vec<float, 4> re = narrow(v.re), im = narrow(v.im);
    store<Vec<float, 4>>(p, __builtin_shufflevector(re, im, 0, 4, 1, 5));
    store<Vec<float, 4>>(p + 4, __builtin_shufflevector(re, im, 2, 6, 3, 7));
#else
    store<Vec<float, 4>>(p, _mm_unpacklo_ps(narrow(v.re), narrow(v.im)));
#endif
  }
};
template <size_t S>
using FirIo = std::conditional_t<S == 1, FirRealIo, FirComplexIo>;

template <bool Single, class Io, class End>
MOX_NOINLINE void firWhole(const FirTable& t, int order, double* re, double* im, const Io& io, const End& end) {
  const size_t quarter = (size_t{1} << order) / 4;
  const int pair = firPairs(order) - 1;
  const FirFour first = firFour(t.first);
  for (size_t n = 0; n < quarter; n += kFirLanes) {
    FirParts x[4];
#pragma GCC unroll 4
    for (size_t k = 0; k < 4; ++k) x[k] = io.get(n + k * quarter);
    firSplit(x, first);
#pragma GCC unroll 4
    for (size_t k = 0; k < 4; ++k) firStore(re, im, n + k * quarter, x[k]);
  }
  firFourth<Single>(t, order, pair - 1, 0, quarter, re, im, end);
  if constexpr (!End::kJoins) return;
  for (size_t n = 0; n < quarter; n += kFirLanes) {
    FirParts x[4];
#pragma GCC unroll 4
    for (size_t k = 0; k < 4; ++k) x[k] = firLoad(re, im, n + k * quarter);
    firJoin(x, first);
#pragma GCC unroll 4
    for (size_t k = 0; k < 4; ++k) io.put(n + k * quarter, x[k]);
  }
}

constexpr size_t kFirApart = 64;  // real from imaginary parts, beyond M: their lines would meet in the cache

template <class Io, class End>
MOX_INLINE void firTransformed(int order, const double* table, double* work, const Io& io, const End& end) {
  const FirTable t = firTable(order, table);
  double *const re = work, *const im = re + (size_t{1} << order) + kFirApart;
  if (firHasSingle(order)) {
    firWhole<true>(t, order, re, im, io, end);
  } else {
    firWhole<false>(t, order, re, im, io, end);
  }
}

void firBuildTable(int order, const Roots& roots, double* table) {
  // e^(2 pi i (1 + 4 k) / 2^bits), k the number of a polynomial, its bits in reverse
  const auto put = [&](size_t b, int depth, int bits, uint64_t times, double* to, size_t apart) {
    uint64_t k = 0;
    for (int i = 0; i < depth; ++i) k |= (b >> i & 1) << (depth - 1 - i);
    const Root w = roots.at(times * (1 + 4 * k) << (roots.order() - bits));
    to[0] = rounded<double>(w.re);
    to[apart] = rounded<double>(-w.im);
  };
  const auto putFour = [&](size_t b, int depth, double* to, size_t apart) {
    put(b, depth, depth + 3, 1, to, apart);
    put(b, depth, depth + 4, 1, to + 2 * apart, apart);
    put(b, depth, depth + 4, 3, to + 4 * apart, apart);
  };
  double* to = table;
  for (size_t b = 0; b < size_t{1} << (order - 3); ++b) {
    double* const vectors = to + b / kFirNodes * 6 * kFirLanes + b % kFirNodes * 2;
    putFour(b, order - 3, vectors, kFirLanes);
    for (size_t k = 0; k < 6; ++k) vectors[k * kFirLanes + 1] = vectors[k * kFirLanes];
  }
  to += size_t{3} << (order - 1);
  for (size_t b = 0; b < size_t{1} << (order - 5); ++b, to += kFirFours) putFour(b, order - 5, to, 1);
  const int above = firHasSingle(order) ? order - 6 : order - 5;
  if (firHasSingle(order)) {
    for (size_t b = 0; b < size_t{1} << above; ++b, to += 2) put(b, above, above + 3, 1, to, 1);
  }
  for (int pair = 0; pair < firPairs(order); ++pair) {
    for (size_t b = 0; b < firParts(order, pair); ++b, to += kFirFours) putFour(b, above - 2 * (pair + 1), to, 1);
  }
}

constexpr double firFastError(int order, double norm, double response) {
  const double levels = order - 1;
  return 1.01 * 0x1p-53 * (11 * levels * norm + (2.6 * levels + 11) * response);
}
