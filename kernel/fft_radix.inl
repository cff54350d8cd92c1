// Butterflies: transforms of R vectors of complex values, x[j] to X[p] = sum of x[j] w_R^(jp), in natural order, and
// the transposes between them.
//
// In float32 transforms of orders 3 to 10 one radix-2 level after the other makes even and odd halves of blocks. A
// block is plain (P) or scaled (S); the whole transform is S:
//   S of length L: even half S, odd half P with the twiddles at n = L/8 and 3L/8 times s = 0.70710700750350952 sqrt(2)
//   P of length L: both halves S, exact twiddles
// A radix-R pass over a block with columns n = 0 .. m-1 takes log2 R levels at once. Scaled twiddles of levels with
// L < 8m are twiddles of the pass; those of the others are factors inside the butterfly in column 0, so factors are
// vectors there, with one value per column or block.

constexpr double kScaledHalfRoot = 0.70710700750350952;
constexpr double kHalfRoot = 0.70710678118654752440;  // cos(pi/4)
constexpr double kCos8 = 0.92387953251128675613;      // cos(pi/8)
constexpr double kTan8 = 0.41421356237309504880;

// The factors of the butterfly of radix R, in the order of the members' numbers.
template <int R, class V>
struct Factors {
  static constexpr int kCount = 0;
};

template <class V>
struct Factors<8, V> {
  static constexpr int kCount = 1;
  V half;  // of the odd outputs
};

template <class V>
struct Factors<16, V> {
  static constexpr int kCount = 4;
  V odd;             // of the odd outputs
  V half;            // of the outputs 2 mod 4
  V cos8, cos8Turn;  // of the outputs 3 mod 4; the latter (c, -c)
};

template <int R, class V, class Source>
MOX_INLINE Factors<R, V> factorsOf(const Source& source) {
  if constexpr (R == 8) {
    return {source.template at<R, V>(0)};
  } else if constexpr (R == 16) {
    return {source.template at<R, V>(0), source.template at<R, V>(1), source.template at<R, V>(2),
            source.template at<R, V>(3)};
  } else {
    return {};
  }
}

// Factor i, of a real part, in a column that is not the first, or of an unscaled transform (exact), or in column 0 of a
// block.
enum class Column { exact, scaled, plain };

template <int R>
constexpr double factorValue(int i, Column column) {
  if (R == 8) return column == Column::scaled ? kScaledHalfRoot : kHalfRoot;
  const double row3 = column == Column::plain ? kScaledHalfRoot / kHalfRoot : 1;
  switch (i) {
    case 0:
      return column == Column::scaled ? kScaledHalfRoot : kHalfRoot;
    case 1:
      return column == Column::exact ? kHalfRoot : kScaledHalfRoot;
    default:
      return kCos8 * row3;
  }
}

// Is it of the other sign in the imaginary part?
template <int R>
constexpr bool alternatingFactor(int i) {
  return R == 16 && i == 3;
}

struct ExactFactors {
  template <int R, class V>
  MOX_INLINE V at(int i) const {
    const ElementOf<V> value = static_cast<ElementOf<V>>(factorValue<R>(i, Column::exact));
    return alternatingFactor<R>(i) ? alternating<V>(value) : broadcast<V>(value);
  }
};

// Of a vector of columns 0, 1, ... of a scaled block.
struct ScaledColumn0 {
  template <int R, class V>
  MOX_INLINE V at(int i) const {
    V v = ExactFactors().at<R, V>(i);
    v[0] = static_cast<ElementOf<V>>(factorValue<R>(i, Column::scaled));
    v[1] = alternatingFactor<R>(i) ? -v[0] : v[0];
    return v;
  }
};

// Vectors one after the other.
template <class T>
struct StoredFactors {
  const T* p;
  template <int R, class V>
  MOX_INLINE V at(int i) const {
    return load<V>(p + static_cast<size_t>(i) * (sizeof(V) / sizeof(T)));
  }
};

// What a block becomes: the type of block p of the R that a pass makes of it.
constexpr bool plainAfter(bool plain, int radix, int p) {
  for (int bit = 1; bit < radix; bit *= 2) plain = (p & bit) && !plain;
  return plain;
}

// Is the twiddle w_M^(pn) of a radix-R pass over a block of length M one of the scaled ones?
constexpr bool scaledTwiddle(bool plain, int M, int R, int p, int n) {
  const int m = M / R;
  int length = M;
  for (int bit = 1; bit < R; bit *= 2, length /= 2) {
    if ((p & bit) && !plain && length >= 8 && length < 8 * m &&
        (n % m == (length / 8) % m || n % m == 3 * length / 8 % m)) {
      return true;
    }
    plain = (p & bit) && !plain;
  }
  return false;
}

// One lane of the twiddles w_M^(pn) in a pass of the transform that the roots are of.
template <class V, bool Ready>
void storeTwiddle(const Roots& roots, bool mapped, bool plain, int M, int R, int p, int n, int lane, ElementOf<V>* to) {
  constexpr DoubleDouble sqrt2 = {0x1.6a09e667f3bcdp+0, -0x1.bdd3413b26456p-54};
  Root w = roots.at((static_cast<uint64_t>(p) * static_cast<uint64_t>(n) << roots.order()) / static_cast<uint64_t>(M));
  if (mapped && scaledTwiddle(plain, M, R, p, n)) {
    const DoubleDouble s = DoubleDouble{kScaledHalfRoot, 0} * sqrt2;
    w = {w.re * s, w.im * s};
  }
  storeRoot<V, Ready>(rounded<ElementOf<V>>(w.re), rounded<ElementOf<V>>(w.im), lane, to);
}

// Those of one vector, n = n0 ...
template <class V, bool Ready>
void storeTwiddles(const Roots& roots, bool mapped, bool plain, int M, int R, int p, int n0, ElementOf<V>* to) {
  constexpr int L = sizeof(V) / sizeof(*to) / 2;
  for (int lane = 0; lane < L; ++lane) {
    storeTwiddle<V, Ready>(roots, mapped, plain, M, R, p, n0 + lane, lane, to);
  }
}

// Factors for L columns or blocks.
template <int R, class T, size_t L>
void storeFactors(const Column (&types)[L], T* to) {
  for (int i = 0; i < Factors<R, T>::kCount; ++i) {
    for (const Column type : types) {
      to[0] = static_cast<T>(factorValue<R>(i, type));
      to[1] = alternatingFactor<R>(i) ? -to[0] : to[0];
      to += 2;
    }
  }
}
// Of blocks q .. q+L-1 of the `blocks` that there are.
template <int R, int L, class T>
void storeBlockFactors(int blocks, int q, T* to) {
  Column types[L];
  for (int l = 0; l < L; ++l) types[l] = plainAfter(false, blocks, q + l) ? Column::plain : Column::scaled;
  storeFactors<R>(types, to);
}

template <int D, class V>
MOX_INLINE void radix4(V& x0, V& x1, V& x2, V& x3) {
  const V s0 = x0 + x2, d0 = x0 - x2, s1 = x1 + x3, d1 = x1 - x3;
  x0 = s0 + s1;
  x1 = minusI<D>(d0, d1);
  x2 = s0 - s1;
  x3 = minusI<-D>(d0, d1);
}

// The four-point transform of x0, x1 w_8, x2 w_8^2, x3 w_8^3, with c for cos(pi/4).
template <int D, class V>
MOX_INLINE void oddRadix4(V& x0, V& x1, V& x2, V& x3, V c) {
  const V s = x1 - x3, t = x1 + x3;
  const V a = minusI<D>(s, t), b = minusI<-D>(s, t);
  const V u = minusI<D>(x0, x2), v = minusI<-D>(x0, x2);
  x0 = fma(c, a, u);
  x1 = fnma(c, b, v);
  x2 = fnma(c, a, u);
  x3 = fma(c, b, v);
}

template <int D, class V>
MOX_INLINE void butterfly(V (&)[1], const Factors<1, V>&) {}

template <int D, class V>
MOX_INLINE void butterfly(V (&x)[2], const Factors<2, V>&) {
  const V a = x[0], b = x[1];
  x[0] = a + b;
  x[1] = a - b;
}

template <int D, class V>
MOX_INLINE void butterfly(V (&x)[4], const Factors<4, V>&) {
  radix4<D>(x[0], x[1], x[2], x[3]);
}

template <int D, class V>
MOX_INLINE void butterfly(V (&x)[8], const Factors<8, V>& f) {
  V s0 = x[0] + x[4], s1 = x[1] + x[5], s2 = x[2] + x[6], s3 = x[3] + x[7];
  V d0 = x[0] - x[4], d1 = x[1] - x[5], d2 = x[2] - x[6], d3 = x[3] - x[7];
  radix4<D>(s0, s1, s2, s3);
  oddRadix4<D>(d0, d1, d2, d3, f.half);
  x[0] = s0;
  x[2] = s1;
  x[4] = s2;
  x[6] = s3;
  x[1] = d0;
  x[3] = d1;
  x[5] = d2;
  x[7] = d3;
}

// Four rows of four. w_16 = c (1 - i t), w_16^3 = c (t - i), w_16^9 = -c (1 - i t) with c = cos(pi/8), t = tan(pi/8),
// and w_16^2, w_16^6 are (1 -+ i) times a factor: all factors enter the fused additions of the second stage.
template <int D, class V>
MOX_INLINE void butterfly(V (&x)[16], const Factors<16, V>& f) {
  using T = ElementOf<V>;
#pragma GCC unroll 4
  for (int k = 0; k < 4; ++k) radix4<D>(x[k], x[k + 4], x[k + 8], x[k + 12]);
  V r0[4] = {x[0], x[1], x[2], x[3]}, r2[4] = {x[8], x[9], x[10], x[11]};
  radix4<D>(r0[0], r0[1], r0[2], r0[3]);
  oddRadix4<D>(r2[0], r2[1], r2[2], r2[3], f.half);

  const V t = broadcast<V>(static_cast<T>(kTan8)), turn = alternating<V>(static_cast<T>(D * kTan8));
  const V z1 = minusI<D>(x[6], x[6]);
  const V a1 = fma(f.odd, z1, x[4]), b1 = fnma(f.odd, z1, x[4]);
  const V g1 = fma(swapParts(x[5]), turn, x[5]), h1 = fmaAlternating<-D>(x[7], t, swapParts(x[7]));
  const V s1 = g1 + h1, d1 = swapParts(g1 - h1);

  const V z3 = minusI<-D>(x[14], x[14]);
  const V a3 = fnma(f.odd, z3, x[12]), b3 = fma(f.odd, z3, x[12]);
  const V h3 = fmaAlternating<-D>(x[13], t, swapParts(x[13])), g3 = fma(swapParts(x[15]), turn, x[15]);
  const V s3 = h3 - g3, d3 = swapParts(h3 + g3);

  const V cos8 = broadcast<V>(static_cast<T>(kCos8)), cos8Turn = alternating<V>(static_cast<T>(D * kCos8));
  x[0] = r0[0];
  x[4] = r0[1];
  x[8] = r0[2];
  x[12] = r0[3];
  x[1] = fma(cos8, s1, a1);
  x[5] = fma(cos8Turn, d1, b1);
  x[9] = fnma(cos8, s1, a1);
  x[13] = fnma(cos8Turn, d1, b1);
  x[2] = r2[0];
  x[6] = r2[1];
  x[10] = r2[2];
  x[14] = r2[3];
  x[3] = fma(f.cos8, s3, a3);
  x[7] = D > 0 ? fma(f.cos8Turn, d3, b3) : fnma(f.cos8Turn, d3, b3);
  x[11] = fnma(f.cos8, s3, a3);
  x[15] = D > 0 ? fnma(f.cos8Turn, d3, b3) : fma(f.cos8Turn, d3, b3);
}

// Radices 4 and 8 of x[p] w^p, where p >= R/2 stands for p - R: their inputs come in pairs,
//   a = x[p] w^p + x[-p] w^-p = s Re w^p + i t Im w^p,    s, t = x[p] +- x[-p],
//   b = -i (x[p] w^p - x[-p] w^-p) = s Im w^p - i t Re w^p,
//   X[j] = x[0] + (-1)^j x[R/2] w^(-R/2) + sum over 0 < p < R/2 of a cos(2 pi jp/R) + b sin(2 pi jp/R),
// and one exchange of parts serves both of a pair and its butterflies: without pairs it takes three.
// The roots are those of the pairs w, w^2 ..., then w^(-R/2).
template <int D, bool Ready, class V>
MOX_INLINE void twiddlePair(V& a, V& b, const ElementOf<V>* root) {
  const V s = a + b, t = swapParts(a - b);
  a = timesRootAt<D, Ready>(s, t, root);
  b = timesTurnedRootAt<D, Ready>(s, t, root);
}

template <int D, bool Ready, class V>
MOX_INLINE void pairedButterfly(V (&x)[4], const ElementOf<V>* roots) {
  constexpr int next = kRootPairElements<V, Ready>;
  V a = x[1], b = x[3];
  twiddlePair<D, Ready>(a, b, roots);
  const V y = timesRootAt<D, Ready>(x[2], roots + next);
  const V s = x[0] + y, d = x[0] - y;
  x[0] = s + a;
  x[1] = d + b;
  x[2] = s - a;
  x[3] = d - b;
}

template <int D, bool Ready, class V>
MOX_INLINE void pairedButterfly(V (&x)[8], const ElementOf<V>* roots) {
  constexpr int next = kRootPairElements<V, Ready>;
  V a1 = x[1], b1 = x[7], a2 = x[2], b2 = x[6], a3 = x[3], b3 = x[5];
  twiddlePair<D, Ready>(a1, b1, roots);
  twiddlePair<D, Ready>(a2, b2, roots + next);
  twiddlePair<D, Ready>(a3, b3, roots + 2 * next);
  const V y = timesRootAt<D, Ready>(x[4], roots + 3 * next);
  const V half = broadcast<V>(static_cast<ElementOf<V>>(kHalfRoot));
  const V s = x[0] + y, d = x[0] - y;
  const V s0 = s + a2, s2 = s - a2, a = a1 + a3, b = b1 - b3;
  x[0] = s0 + a;
  x[2] = s2 + b;
  x[4] = s0 - a;
  x[6] = s2 - b;
  const V c = a1 - a3, e = b1 + b3;
  const V d1 = fma(half, c, d), d3 = fnma(half, c, d), e1 = fma(half, e, b2), e3 = fnma(half, e, b2);
  x[1] = d1 + e1;
  x[3] = d3 - e3;
  x[5] = d3 + e3;
  x[7] = d1 - e1;
}

#if MOX_VEC_BYTES >= 32
// The lower (upper) halves of two vectors.
MOX_INLINE Vec<double, 4> lowerHalves(Vec<double, 4> a, Vec<double, 4> b) { return _mm256_permute2f128_pd(a, b, 0x20); }
MOX_INLINE Vec<double, 4> upperHalves(Vec<double, 4> a, Vec<double, 4> b) { return _mm256_permute2f128_pd(a, b, 0x31); }
#endif
#if MOX_VEC_BYTES == 64
MOX_INLINE Vec<double, 8> lowerHalves(Vec<double, 8> a, Vec<double, 8> b) {
  return __builtin_shufflevector(a, b, 0, 1, 2, 3, 8, 9, 10, 11);
}
MOX_INLINE Vec<double, 8> upperHalves(Vec<double, 8> a, Vec<double, 8> b) {
  return __builtin_shufflevector(a, b, 4, 5, 6, 7, 12, 13, 14, 15);
}
MOX_INLINE Vec<float, 16> lowerHalves(Vec<float, 16> a, Vec<float, 16> b) {
  return __builtin_shufflevector(a, b, 0, 1, 2, 3, 4, 5, 6, 7, 16, 17, 18, 19, 20, 21, 22, 23);
}
MOX_INLINE Vec<float, 16> upperHalves(Vec<float, 16> a, Vec<float, 16> b) {
  return __builtin_shufflevector(a, b, 8, 9, 10, 11, 12, 13, 14, 15, 24, 25, 26, 27, 28, 29, 30, 31);
}
#endif

// Columns of L rows of L values each: x[n] gets the value n of every row.

MOX_INLINE void transpose(Vec<double, 2> (&)[1]) {}
MOX_INLINE void transpose(Vec<float, 4> (&x)[2]) {
  const Vec<float, 4> a = x[0], b = x[1];
  x[0] = lowerPairs(a, b);
  x[1] = upperPairs(a, b);
}
#if MOX_VEC_BYTES >= 32
MOX_INLINE void transpose(Vec<double, 4> (&x)[2]) {
  const Vec<double, 4> a = x[0], b = x[1];
  x[0] = _mm256_permute2f128_pd(a, b, 0x20);
  x[1] = _mm256_permute2f128_pd(a, b, 0x31);
}
MOX_INLINE void transpose(Vec<float, 8> (&x)[4]) {
  const __m256 a = _mm256_permute2f128_ps(x[0], x[2], 0x20), b = _mm256_permute2f128_ps(x[1], x[3], 0x20);
  const __m256 c = _mm256_permute2f128_ps(x[0], x[2], 0x31), d = _mm256_permute2f128_ps(x[1], x[3], 0x31);
  x[0] = lowerPairs(a, b);
  x[1] = upperPairs(a, b);
  x[2] = lowerPairs(c, d);
  x[3] = upperPairs(c, d);
}
#endif
#if MOX_VEC_BYTES == 64
// Quarters 0 and 2 (even) or 1 and 3 (odd) of both vectors.
MOX_INLINE Vec<double, 8> evenQuarters(Vec<double, 8> a, Vec<double, 8> b) {
  return __builtin_shufflevector(a, b, 0, 1, 4, 5, 8, 9, 12, 13);
}
MOX_INLINE Vec<double, 8> oddQuarters(Vec<double, 8> a, Vec<double, 8> b) {
  return __builtin_shufflevector(a, b, 2, 3, 6, 7, 10, 11, 14, 15);
}
MOX_INLINE void transpose(Vec<double, 8> (&x)[4]) {
  using V = Vec<double, 8>;
  const V a = lowerHalves(x[0], x[1]), b = lowerHalves(x[2], x[3]);
  const V c = upperHalves(x[0], x[1]), d = upperHalves(x[2], x[3]);
  x[0] = evenQuarters(a, b);
  x[1] = oddQuarters(a, b);
  x[2] = evenQuarters(c, d);
  x[3] = oddQuarters(c, d);
}
MOX_INLINE Vec<float, 16> joinedHalves(Vec<float, 16> lower, Vec<float, 16> upper) {
  return _mm512_mask_blend_ps(0xff00, lower, upper);
}
// Two columns of even and odd rows, values in quarters, to one column of all rows each.
MOX_INLINE void mergeRows(Vec<double, 8> even, Vec<double, 8> odd, Vec<float, 16>& first, Vec<float, 16>& second) {
  first = reinterpret_cast<Vec<float, 16>>(__builtin_shufflevector(even, odd, 0, 8, 2, 10, 4, 12, 6, 14));
  second = reinterpret_cast<Vec<float, 16>>(__builtin_shufflevector(even, odd, 1, 9, 3, 11, 5, 13, 7, 15));
}
MOX_INLINE void transpose(Vec<float, 16> (&x)[8]) {
  using V = Vec<double, 8>;
  V lower[4], upper[4];  // of the rows (0, 2), (1, 3), (4, 6), (5, 7)
#  pragma GCC unroll 4
  for (int i = 0; i < 4; ++i) {
    const int row = i / 2 * 4 + i % 2;
    const V r = reinterpret_cast<V>(x[row]), s = reinterpret_cast<V>(x[row + 2]);
    lower[i] = lowerHalves(r, s);
    upper[i] = upperHalves(r, s);
  }
  mergeRows(evenQuarters(lower[0], lower[2]), evenQuarters(lower[1], lower[3]), x[0], x[1]);
  mergeRows(oddQuarters(lower[0], lower[2]), oddQuarters(lower[1], lower[3]), x[2], x[3]);
  mergeRows(evenQuarters(upper[0], upper[2]), evenQuarters(upper[1], upper[3]), x[4], x[5]);
  mergeRows(oddQuarters(upper[0], upper[2]), oddQuarters(upper[1], upper[3]), x[6], x[7]);
}
#endif

// The same with rows in memory.
template <class V, int L>
MOX_INLINE void loadTransposed(const ElementOf<V>* const (&rows)[L], V (&x)[L]) {
#pragma GCC unroll 8
  for (int l = 0; l < L; ++l) x[l] = load<V>(rows[l]);
  transpose(x);
}
#if MOX_VEC_BYTES >= 32
template <>
MOX_INLINE void loadTransposed(const double* const (&rows)[2], Vec<double, 4> (&x)[2]) {
  x[0] = loadHalves(rows[0], rows[1]);
  x[1] = loadHalves(rows[0] + 2, rows[1] + 2);
}
template <>
MOX_INLINE void loadTransposed(const float* const (&rows)[4], Vec<float, 8> (&x)[4]) {
#  pragma GCC unroll 2
  for (int n = 0; n < 4; n += 2) {
    const Vec<float, 8> a = loadHalves(rows[0] + 2 * n, rows[2] + 2 * n);
    const Vec<float, 8> b = loadHalves(rows[1] + 2 * n, rows[3] + 2 * n);
    x[n] = lowerPairs(a, b);
    x[n + 1] = upperPairs(a, b);
  }
}
#endif

// The transpose of x to rows in memory, with more stores than rows where shuffles are what binds.
template <class V, int L>
MOX_INLINE void storeTransposed(V (&x)[L], ElementOf<V>* const (&rows)[L]) {
  transpose(x);
#pragma GCC unroll 8
  for (int l = 0; l < L; ++l) store(rows[l], x[l]);
}
#if MOX_VEC_BYTES >= 32
template <>
MOX_INLINE void storeTransposed(Vec<double, 4> (&x)[2], double* const (&rows)[2]) {
  storeHalves(x[0], rows[0], rows[1]);
  storeHalves(x[1], rows[0] + 2, rows[1] + 2);
}
template <>
MOX_INLINE void storeTransposed(Vec<float, 8> (&x)[4], float* const (&rows)[4]) {
#  pragma GCC unroll 2
  for (int n = 0; n < 4; n += 2) {
    storeHalves(lowerPairs(x[n], x[n + 1]), rows[0] + 2 * n, rows[2] + 2 * n);
    storeHalves(upperPairs(x[n], x[n + 1]), rows[1] + 2 * n, rows[3] + 2 * n);
  }
}
#endif

#if MOX_VEC_BYTES == 16
// Without the shuffles, whose ports are those of the additions (order 10 of float32: 1610 and 1530 ns).
template <>
MOX_INLINE void storeTransposed(Vec<float, 4> (&x)[2], float* const (&rows)[2]) {
  _mm_storel_pi(reinterpret_cast<__m64*>(rows[0]), x[0]);
  _mm_storel_pi(reinterpret_cast<__m64*>(rows[0] + 2), x[1]);
  _mm_storeh_pi(reinterpret_cast<__m64*>(rows[1]), x[0]);
  _mm_storeh_pi(reinterpret_cast<__m64*>(rows[1] + 2), x[1]);
}
#endif

// The same where the rows are not in the first-level cache, with fewer stores.
template <class V, int L>
MOX_INLINE void storeTransposedFar(V (&x)[L], ElementOf<V>* const (&rows)[L]) {
  storeTransposed(x, rows);
}
#if MOX_VEC_BYTES >= 32
template <>
MOX_INLINE void storeTransposedFar(Vec<double, 4> (&x)[2], double* const (&rows)[2]) {
  store<Vec<double, 4>>(rows[0], _mm256_permute2f128_pd(x[0], x[1], 0x20));
  _mm_storeu_pd(rows[1], _mm256_extractf128_pd(x[0], 1));
  _mm_storeu_pd(rows[1] + 2, _mm256_extractf128_pd(x[1], 1));
}
#endif

#if MOX_VEC_BYTES >= 32
// Radix 8 by halves of vectors: sums of the first level stay below, where radix4() makes the outputs 2k of them,
// differences above, where oddRadix4() makes the outputs 2k+1. Half a transpose is done by this, without shuffles where
// the input comes from memory.

// (lowerRe, lowerIm) pairs below, (upperRe, upperIm) pairs above.
template <class V>
MOX_INLINE V byHalves(ElementOf<V> lowerRe, ElementOf<V> lowerIm, ElementOf<V> upperRe, ElementOf<V> upperIm) {
  constexpr unsigned n = sizeof(V) / sizeof(lowerRe);
  V v{};
#  pragma GCC unroll 16
  for (unsigned i = 0; i < n; i += 2) {
    v[i] = i < n / 2 ? lowerRe : upperRe;
    v[i + 1] = i < n / 2 ? lowerIm : upperIm;
  }
  return v;
}

// Pairs of each half of re and im.
MOX_INLINE void interleaveHalves(Vec<double, 4> re, Vec<double, 4> im, Vec<double, 4>& first, Vec<double, 4>& second) {
  first = __builtin_shufflevector(re, im, 0, 4, 2, 6);
  second = __builtin_shufflevector(re, im, 1, 5, 3, 7);
}
// The parts of the values in the upper half exchanged.
MOX_INLINE Vec<double, 4> swapUpperParts(Vec<double, 4> v) { return _mm256_permute_pd(v, 0x6); }
// c below, a*b + c above; a below, c - a*b above.
#  if MOX_VEC_BYTES == 32
MOX_INLINE Vec<double, 4> fmaAbove(Vec<double, 4> a, Vec<double, 4> b, Vec<double, 4> c) {
  return _mm256_blend_pd(c, fma(a, b, c), 0xc);
}
MOX_INLINE Vec<double, 4> fnmaAbove(Vec<double, 4> a, Vec<double, 4> b, Vec<double, 4> c) {
  return _mm256_blend_pd(a, fnma(a, b, c), 0xc);
}
#  else
MOX_INLINE Vec<double, 4> fmaAbove(Vec<double, 4> a, Vec<double, 4> b, Vec<double, 4> c) {
  return _mm256_mask3_fmadd_pd(a, b, c, 0xc);
}
MOX_INLINE Vec<double, 4> fnmaAbove(Vec<double, 4> a, Vec<double, 4> b, Vec<double, 4> c) {
  return _mm256_mask_fnmadd_pd(a, 0xc, b, c);
}
MOX_INLINE void interleaveHalves(Vec<double, 8> re, Vec<double, 8> im, Vec<double, 8>& first, Vec<double, 8>& second) {
  first = __builtin_shufflevector(re, im, 0, 8, 1, 9, 4, 12, 5, 13);
  second = __builtin_shufflevector(re, im, 2, 10, 3, 11, 6, 14, 7, 15);
}
MOX_INLINE void interleaveHalves(Vec<float, 16> re, Vec<float, 16> im, Vec<float, 16>& first, Vec<float, 16>& second) {
  first = __builtin_shufflevector(re, im, 0, 16, 1, 17, 2, 18, 3, 19, 8, 24, 9, 25, 10, 26, 11, 27);
  second = __builtin_shufflevector(re, im, 4, 20, 5, 21, 6, 22, 7, 23, 12, 28, 13, 29, 14, 30, 15, 31);
}
// GCC would take a shuffle across lanes.
MOX_INLINE Vec<float, 16> swapUpperParts(Vec<float, 16> v) {
  return _mm512_maskz_permutevar_ps(0xffff, v, _mm512_setr_epi32(0, 1, 2, 3, 0, 1, 2, 3, 1, 0, 3, 2, 1, 0, 3, 2));
}
MOX_INLINE Vec<float, 16> fmaAbove(Vec<float, 16> a, Vec<float, 16> b, Vec<float, 16> c) {
  return _mm512_mask3_fmadd_ps(a, b, c, 0xff00);
}
MOX_INLINE Vec<float, 16> fnmaAbove(Vec<float, 16> a, Vec<float, 16> b, Vec<float, 16> c) {
  return _mm512_mask_fnmadd_ps(a, 0xff00, b, c);
}
#  endif

// The first level of the values at i, i+1, ... and j, j+1, ..., two vectors of half as many columns.
template <class V, class Io>
MOX_INLINE void getHalves(const Io& io, size_t i, size_t j, V& first, V& second) {
  if constexpr (requires { io.template getTwice<V>(i); }) {
    constexpr size_t next = sizeof(V) / sizeof(ElementOf<V>) / 4;
    const V sign = byHalves<V>(1, 1, -1, -1);
    first = fma(io.template getTwice<V>(j), sign, io.template getTwice<V>(i));
    second = fma(io.template getTwice<V>(j + next), sign, io.template getTwice<V>(i + next));
  } else {
    const V a = io.template get<V>(i), b = io.template get<V>(j);
    const V sum = a + b, difference = a - b;
    first = lowerHalves(sum, difference);
    second = upperHalves(sum, difference);
  }
}
template <class V, class T>
MOX_INLINE void getHalves(const SplitIo<T>& io, size_t i, size_t j, V& first, V& second) {
  const V sign = byHalves<V>(1, 1, -1, -1);
  const V re = fma(loadTwice<V>(io.inRe + j), sign, loadTwice<V>(io.inRe + i));
  const V im = fma(loadTwice<V>(io.inIm + j), sign, loadTwice<V>(io.inIm + i));
  interleaveHalves(re, im, first, second);
}

// The other levels: y[k] to the outputs 2k and 2k+1.
template <int D, class V>
MOX_INLINE void halvedButterfly(V (&y)[4], V half) {
  using T = ElementOf<V>;
  const V turn = byHalves<V>(1, 1, D, -D), sign = byHalves<V>(1, 1, -1, -1);
  const V y2 = swapUpperParts(y[2]);
  const V u = fma(y2, turn, y[0]), v = fnma(y2, turn, y[0]);
  const V s = fma(y[3], sign, y[1]), t = swapParts(fnma(y[3], sign, y[1]));
  const V a = fmaAbove(t, turn, s), b = fnmaAbove(t, turn, s);
  const V c = lowerHalves(byHalves<V>(T(1), T(1), T(0), T(0)), half);
  const V d = lowerHalves(byHalves<V>(D, -D, T(0), T(0)), -half);
  y[0] = fma(a, c, u);
  y[1] = fma(b, d, v);
  y[2] = fnma(a, c, u);
  y[3] = fnma(b, d, v);
}
#endif
