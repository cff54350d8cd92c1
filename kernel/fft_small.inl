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
