// Orders 0 to 3 on their own, and transforms that fit the registers.

template <class T>
struct Order0 {
  static constexpr uint64_t kElements = 1;  // never nothing: it is allocated
  static void build(const Roots&, T*) {}

  template <int D, class Io>
  MOX_INLINE static void run(const Io& io, const T*) {
    io.one();
  }
};

// Two values in a vector.
struct Order1 {
  static constexpr uint64_t kElements = 1;  // never nothing: it is allocated
  static void build(const Roots&, float*) {}

  template <int D, class Io>
  MOX_INLINE static void run(const Io& io, const float*) {
    using V = Vec<float, 4>;
    const V x = io.template get<V>(0);
    const V x0 = __builtin_shufflevector(x, x, 0, 1, 0, 1), x1 = __builtin_shufflevector(x, x, 2, 3, 2, 3);
    io.put(0, fma(x1, V{1, 1, -1, -1}, x0));
  }
};

// Two vectors of two.
struct Order2 {
  static constexpr uint64_t kElements = 1;  // never nothing: it is allocated
  static void build(const Roots&, float*) {}

  template <int D, class Io>
  MOX_INLINE static void run(const Io& io, const float*) {
    using V = Vec<float, 4>;
    const V a = io.template get<V>(0), b = io.template get<V>(2);
    const V s = a + b, d = a - b;
    const V even = __builtin_shufflevector(s, d, 0, 1, 4, 5);  // x0 + x2, x0 - x2
    const V odd = __builtin_shufflevector(s, d, 2, 3, 7, 6);   // x1 + x3, x1 - x3 with its parts exchanged
    const V turn = {1, 1, D, -D};
    io.put(0, fma(odd, turn, even));
    io.put(2, fnma(odd, turn, even));
  }
};

#if MOX_VEC_BYTES >= 32
// Two vectors of four: radix 2, then order 2 of the sums in the lower halves and of the differences in the upper ones.
struct Order3 {
  using V = Vec<float, 8>;
  static constexpr uint64_t kElements = kRootElements<V, true>;
  static void build(const Roots& roots, float* table) { storeTwiddles<V, true>(roots, true, false, 8, 2, 1, 0, table); }

  template <int D, class Io>
  MOX_INLINE static void run(const Io& io, const float* table) {
    const V a = io.template get<V>(0), b = io.template get<V>(4);
    const V x = a + b, y = timesRootAt<D, true>(a - b, table);
    const V lower = _mm256_permute2f128_ps(x, y, 0x20), upper = _mm256_permute2f128_ps(x, y, 0x31);
    const V s = lower + upper, d = lower - upper;
    const V even = lowerPairs(s, d);
    const V odd = __builtin_shufflevector(s, d, 2, 3, 11, 10, 6, 7, 15, 14);
    const V turn = {1, 1, D, -D, 1, 1, D, -D};
    const V p = fma(odd, turn, even), q = fnma(odd, turn, even);
    io.put(0, __builtin_shufflevector(p, p, 0, 1, 4, 5, 2, 3, 6, 7));
    io.put(4, __builtin_shufflevector(q, q, 0, 1, 4, 5, 2, 3, 6, 7));
  }
};
#endif

#if MOX_VEC_BYTES >= 32
// Radix 8 by halves in vectors of L values.
template <int L>
struct HalvedOrder3;

template <>
struct HalvedOrder3<2> {
  using V = Vec<double, 4>;
  static constexpr uint64_t kElements = 1;  // never nothing: it is allocated
  static void build(const Roots&, double*) {}

  template <int D, class Io>
  MOX_INLINE static void run(const Io& io, const double*) {
    V y[4];
    getHalves(io, 0, 4, y[0], y[1]);
    getHalves(io, 2, 6, y[2], y[3]);
    halvedButterfly<D>(y, broadcast<V>(kHalfRoot));
#  pragma GCC unroll 4
    for (size_t k = 0; k < 4; ++k) io.put(2 * k, y[k]);
  }
};
#endif
#if MOX_VEC_BYTES == 64
// Here there are two columns in a vector: what each level makes of one column and of the other stands side by side.
template <>
struct HalvedOrder3<4> {
  using V = Vec<double, 8>;
  static constexpr uint64_t kElements = 1;  // never nothing: it is allocated
  static void build(const Roots&, double*) {}

  template <int D, class Io>
  MOX_INLINE static void run(const Io& io, const double*) {
    constexpr double half = kHalfRoot;
    V x, y;
    getHalves(io, 0, 4, x, y);
    y = __builtin_shufflevector(y, y, 0, 1, 2, 3, 5, 4, 6, 7);
    const V turn = {1, 1, 1, 1, D, -D, 1, 1};
    const V s = fma(y, turn, x), d = fnma(y, turn, x);
    const V even = evenQuarters(s, d);
    const V odd = __builtin_shufflevector(s, d, 2, 3, 14, 15, 11, 10, 14, 15);
    const V sum = __builtin_shufflevector(s, s, 7, 6, 7, 6, 7, 6, 7, 6);
    const V a = _mm512_mask3_fmadd_pd(sum, V{0, 0, D, -D, 0, 0, -D, D}, odd, 0xcc);
    const V c = {1, 1, half, half, D, -D, -half, -half};
    io.put(0, fma(a, c, even));
    io.put(4, fnma(a, c, even));
  }
};
#endif

// R rows of C values: radix R down the rows, twiddles, transposes, radix C. A row is K vectors of L values.
template <class T, int R, int C>
struct Small {
  static constexpr int N = R * C;
  static constexpr bool kMapped = std::is_same_v<T, float> && N >= 8;
  static constexpr int kMost = kLanes<T> / 2 < R ? kLanes<T> / 2 : R;
  static constexpr int L = C < kMost ? C : kMost, K = C / L;
  using V = Vec<T, 2 * L>;
  static constexpr bool kReady = std::is_same_v<T, double>;
  static constexpr int kStep = kRootElements<V, kReady>;

  // The table: twiddles, then factors of the butterflies of L rows each.
  static constexpr int kFactors = (R - 1) * K * kStep;
  static constexpr int kFactorElements = kMapped ? Factors<C, V>::kCount * 2 * L : 0;
  static constexpr uint64_t kElements = kFactors + R / L * kFactorElements;

  static void build(const Roots& roots, T* table) {
    for (int p = 1; p < R; ++p) {
      for (int n = 0; n < C; n += L, table += kStep) {
        storeTwiddles<V, kReady>(roots, kMapped, false, N, R, p, n, table);
      }
    }
    if constexpr (kMapped) {
      for (int q = 0; q < R; q += L, table += kFactorElements) storeBlockFactors<C, L>(R, q, table);
    }
  }

  template <int D>
  MOX_INLINE static void rowButterfly(V (&y)[C], const T* factors) {
    if constexpr (kFactorElements > 0) {
      butterfly<D>(y, factorsOf<C, V>(StoredFactors<T>{factors}));
    } else {
      butterfly<D>(y, factorsOf<C, V>(ExactFactors()));
    }
  }

  template <int D, class Io>
  MOX_INLINE static void run(const Io& io, const T* table) {
    V x[K][R];
#pragma GCC unroll 16
    for (int k = 0; k < K; ++k) {
#pragma GCC unroll 16
      for (int j = 0; j < R; ++j) x[k][j] = io.template get<V>(static_cast<size_t>(j * C + k * L));
      if (kMapped && k == 0) {
        butterfly<D>(x[k], factorsOf<R, V>(ScaledColumn0()));
      } else {
        butterfly<D>(x[k], factorsOf<R, V>(ExactFactors()));
      }
      if constexpr (C > 1) {
#pragma GCC unroll 16
        for (int p = 1; p < R; ++p) x[k][p] = timesRootAt<D, kReady>(x[k][p], table + ((p - 1) * K + k) * kStep);
      }
    }
#pragma GCC unroll 16
    for (int q = 0; q < R; q += L) {
      V y[C];
#pragma GCC unroll 16
      for (int k = 0; k < K; ++k) {
        V t[L];
#pragma GCC unroll 16
        for (int l = 0; l < L; ++l) t[l] = x[k][q + l];
        transpose(t);
#pragma GCC unroll 16
        for (int l = 0; l < L; ++l) y[k * L + l] = t[l];
      }
      rowButterfly<D>(y, table + kFactors + q / L * kFactorElements);
#pragma GCC unroll 16
      for (int k = 0; k < C; ++k) io.put(static_cast<size_t>(q + R * k), y[k]);
    }
  }
};

#if MOX_VEC_BYTES == 64
// Radix 8 by halves down the rows of C values, twiddles, radix C: Small<float, 8, C> with fewer shuffles and in whole
// vectors.
template <int C>
struct Halved {
  static constexpr int N = 8 * C;
  using V = Vec<float, 16>;
  static constexpr bool kReady = true;
  static constexpr int kStep = kRootElements<V, kReady>;

  // The table: twiddles, of all outputs by columns, then factors.
  static constexpr int kFactors = C * kStep;
  static constexpr uint64_t kElements = kFactors + Factors<C, V>::kCount * 16;

  static void build(const Roots& roots, float* table) {
    for (int n = 0; n < C; ++n, table += kStep) {
      for (int p = 0; p < 8; ++p) storeTwiddle<V, kReady>(roots, true, false, N, 8, p, n, p, table);
    }
    storeBlockFactors<C, 8>(8, 0, table);
  }

  // Outputs 2k and 2k+1 of four columns, from y[k], to all outputs of one column each.
  MOX_INLINE static void gather(const V (&y)[4], V* columns) {
    using W = Vec<double, 8>;
    const W a = reinterpret_cast<W>(lowerPairs(y[0], y[1])), b = reinterpret_cast<W>(lowerPairs(y[2], y[3]));
    const W c = reinterpret_cast<W>(upperPairs(y[0], y[1])), d = reinterpret_cast<W>(upperPairs(y[2], y[3]));
    columns[0] = reinterpret_cast<V>(__builtin_shufflevector(a, b, 0, 4, 1, 5, 8, 12, 9, 13));
    columns[1] = reinterpret_cast<V>(__builtin_shufflevector(c, d, 0, 4, 1, 5, 8, 12, 9, 13));
    columns[2] = reinterpret_cast<V>(__builtin_shufflevector(a, b, 2, 6, 3, 7, 10, 14, 11, 15));
    columns[3] = reinterpret_cast<V>(__builtin_shufflevector(c, d, 2, 6, 3, 7, 10, 14, 11, 15));
  }

  // Of all outputs but the first of a column: a product with 1 is not for nothing, it changes zeros and infinities, and
  // those are to be the same ones as in other sets.
  template <int D>
  MOX_INLINE static V timesTwiddles(V v, const float* twiddles) {
    const V re = load<V>(twiddles), cross = swapParts(v) * load<V>(twiddles + 16);
    return D > 0 ? _mm512_mask_fmaddsub_ps(v, 0xfffc, re, cross) : _mm512_mask_fmsubadd_ps(v, 0xfffc, re, cross);
  }

  template <int D, class Io>
  MOX_INLINE static void run(const Io& io, const float* table) {
    V x[C];
    const V exact = broadcast<V>(static_cast<float>(kHalfRoot));
    V scaled = exact;
    scaled[0] = scaled[1] = static_cast<float>(kScaledHalfRoot);
    if constexpr (C == 4) {
      V y[4];
      getHalves(io, 0, N / 2, y[0], y[1]);
      getHalves(io, 8, N / 2 + 8, y[2], y[3]);
      halvedButterfly<D>(y, scaled);
      gather(y, x);
    } else {
#  pragma GCC unroll 16
      for (size_t n = 0; n < C; n += 8) {
        V y[4], z[4];
#  pragma GCC unroll 16
        for (size_t j = 0; j < 4; ++j) getHalves(io, n + C * j, n + C * j + N / 2, y[j], z[j]);
        halvedButterfly<D>(y, n == 0 ? scaled : exact);
        gather(y, x + n);
        halvedButterfly<D>(z, exact);
        gather(z, x + n + 4);
      }
    }
#  pragma GCC unroll 16
    for (int n = 0; n < C; ++n) x[n] = timesTwiddles<D>(x[n], table + n * kStep);
    butterfly<D>(x, factorsOf<C, V>(StoredFactors<float>{table + kFactors}));
#  pragma GCC unroll 16
    for (size_t k = 0; k < C; ++k) io.put(8 * k, x[k]);
  }
};
#endif
