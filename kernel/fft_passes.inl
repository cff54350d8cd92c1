// Transforms of two or three passes through scratch in the table.
//   pass 0:  columns of the whole input, which goes to scratch
//   middle:  the same in every block of scratch, in place
//   last:    blocks that are neighbours in natural order, transposed so that a vector has a value of each of them
// A pass of radix R over a block of length M takes vectors of columns n = 0 .. m-1, m = M/R, and puts output p of
// column n in place n + pm, times w_M^(pn).

template <class T, int R0, int R1, int R2 = 1>
struct Passes {
  static constexpr int N = R0 * R1 * R2, kR0 = R0;
  static T* scratch(T* t) { return t + kScratch; }
  static constexpr int kLast = R2 > 1 ? R2 : R1;
  static constexpr bool kMapped = std::is_same_v<T, float> && N <= 1024;
  static constexpr int L = kLanes<T> / 2;
  using V = Vec<T, 2 * L>;
  static_assert(kLast % L == 0 && kLast >= L);

  // The table, in elements from its start. Twiddles stand as [n / L][p - 1][n % L]; the blocks of a middle pass have
  // two tables, for the scaled and the plain type; factors are stored for mapped transforms only.
  static constexpr int kMiddleTypes = R2 == 1 ? 0 : kMapped ? 2 : 1;
  static constexpr int kFactorVectors0 = kMapped ? Factors<R0, V>::kCount : 0;
  static constexpr int kFactorVectors1 = kMapped ? Factors<R1, V>::kCount * kMiddleTypes : 0;
  static constexpr int kFactorVectorsLast = kMapped ? Factors<kLast, V>::kCount : 0;

  static constexpr int twiddleElements(int M, int R) { return 2 * (R - 1) * (M / R); }
  static constexpr size_t kTwiddles0 = 0;
  static constexpr size_t kTwiddles1 = kTwiddles0 + twiddleElements(N, R0);
  static constexpr size_t kTwiddles1Each = twiddleElements(N / R0, R1);
  static constexpr size_t kFactors0 = kTwiddles1 + kMiddleTypes * kTwiddles1Each;
  static constexpr size_t kFactors1 = kFactors0 + 2 * L * kFactorVectors0;
  static constexpr size_t kFactorsLast = kFactors1 + 2 * L * kFactorVectors1;
  static constexpr size_t kScratch = kFactorsLast + 2 * kFactorVectorsLast * (N / kLast);
  static constexpr uint64_t kElements = kScratch + uint64_t{2} * N;

  // The place of block q (of N / kLast, in natural order) in scratch, counted in blocks.
  static constexpr size_t place(size_t q) { return R2 > 1 ? q % R0 * R1 + q / R0 : q; }

  static void storeTwiddles(const Roots& roots, bool plain, int M, int R, T* to) {
    for (int n0 = 0; n0 < M / R; n0 += L) {
      for (int p = 1; p < R; ++p) {
        for (int n = n0; n < n0 + L; ++n) {
          storeTwiddle(roots, kMapped && scaledTwiddle(plain, M, R, p, n), M, p, n, to);
          to += 2;
        }
      }
    }
  }

  // Factors for L columns or blocks; the column types come from typeOf(lane).
  template <int R>
  static void storeFactors(const Column (&types)[L], T* to) {
    for (int i = 0; i < Factors<R, V>::kCount; ++i) {
      for (const Column type : types) {
        to[0] = static_cast<T>(factorValue<R>(i, type));
        to[1] = alternatingFactor<R>(i) ? -to[0] : to[0];
        to += 2;
      }
    }
  }

  static void build(const Roots& roots, T* table) {
    storeTwiddles(roots, false, N, R0, table + kTwiddles0);
    for (int plain = 0; plain < kMiddleTypes; ++plain) {
      storeTwiddles(roots, plain, N / R0, R1, table + kTwiddles1 + static_cast<size_t>(plain) * kTwiddles1Each);
    }
    if constexpr (kMapped) {
      Column types[L] = {Column::scaled};
      storeFactors<R0>(types, table + kFactors0);
      if constexpr (R2 > 1) {
        storeFactors<R1>(types, table + kFactors1);
        types[0] = Column::plain;
        storeFactors<R1>(types, table + kFactors1 + 2 * L * Factors<R1, V>::kCount);
      }
      for (int q = 0; q < N / kLast; q += L) {
        for (int l = 0; l < L; ++l) {
          types[l] = plainAfter(false, N / kLast, q + l) ? Column::plain : Column::scaled;
        }
        storeFactors<kLast>(types, table + kFactorsLast + static_cast<size_t>(2 * kFactorVectorsLast * q));
      }
    }
  }

  template <int M, int R, int D, class Io>
  MOX_INLINE static void columns(const Io& from, T* to, const T* twiddles, const T* factors) {
    constexpr size_t m = M / R;
    for (size_t n = 0; n < m; n += L) {
      V x[R];
#pragma GCC unroll 32
      for (size_t j = 0; j < R; ++j) x[j] = from.template get<V>(n + j * m);
      if (kMapped && n == 0) {
        butterfly<D>(x, factorsOf<R, V>(StoredFactors<T>{factors}));
      } else {
        butterfly<D>(x, factorsOf<R, V>(ExactFactors()));
      }
      store(to + 2 * n, x[0]);
#pragma GCC unroll 32
      for (size_t p = 1; p < R; ++p) {
        store(to + 2 * (n + p * m), timesRootAt<D>(x[p], twiddles + 2 * (p - 1) * L));
      }
      twiddles += 2 * (R - 1) * L;
    }
  }

  template <int D>
  MOX_NOINLINE static void middle(T* table) {
    constexpr int M = N / R0;
    for (int p = 0; p < R0; ++p) {
      const size_t type = kMapped && plainAfter(false, R0, p) ? 1 : 0;
      T* const block = table + kScratch + static_cast<size_t>(2 * M * p);
      columns<M, R1, D>(PackedIo<T>{block, block}, block, table + kTwiddles1 + type * kTwiddles1Each,
                        table + kFactors1 + type * 2 * L * (kFactorVectors1 / 2));
    }
  }

  template <int D, class Io>
  MOX_INLINE static void last(const Io& io, const T* table) {
    constexpr int R = kLast;
    constexpr size_t stride = N / R;
    for (size_t q = 0; q < stride; q += L) {
      const T* const blocks = table + kScratch + 2 * R * place(q);
      V x[R];
#pragma GCC unroll 32
      for (size_t j = 0; j < R; j += L) {
        const T* rows[L];
        V y[L];
#pragma GCC unroll 32
        for (size_t l = 0; l < L; ++l) rows[l] = blocks + 2 * (R * place(l) + j);
        loadTransposed(rows, y);
#pragma GCC unroll 32
        for (size_t l = 0; l < L; ++l) x[j + l] = y[l];
      }
      if constexpr (kMapped) {
        const T* const factors = table + kFactorsLast + 2 * kFactorVectorsLast * q;
        butterfly<D>(x, factorsOf<R, V>(StoredFactors<T>{factors}));
      } else {
        butterfly<D>(x, factorsOf<R, V>(ExactFactors()));
      }
#pragma GCC unroll 32
      for (size_t k = 0; k < R; ++k) io.put(q + k * stride, x[k]);
    }
  }

  template <int D, class Io>
  MOX_INLINE static void run(const Io& io, T* table) {
    columns<N, R0, D>(io, table + kScratch, table + kTwiddles0, table + kFactors0);
    if constexpr (R2 > 1) middle<D>(table);
    last<D>(io, table);
  }
};
