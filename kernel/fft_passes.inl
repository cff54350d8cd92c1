// Transforms of two to four passes.
//
// Forwards, through scratch in the table:
//   first:   columns of the whole input, which goes to scratch
//   middle:  the same in every block of scratch, in place, one block after the other
//   last:    blocks that are neighbours in natural order, transposed so that a vector has a value of each of them
// A pass of radix R over a block of length M takes vectors of columns n = 0 .. m-1, m = M/R, and puts output p of
// column n in place n + pm, times w_M^(pn).
//
// Backwards, the transposed network with the same twiddles, for what fills the first-level cache: the last pass comes
// first and scatters its results to the blocks, the others take their inputs times w_M^(pn) and end with the columns of
// the whole. From the second pass on all is in place, in the output if it is another array than the input.

// The radices of first, middle (1: there is none) and last passes.
template <class T, int R0, int R1, int R2, int kLast>
struct Passes {
  static constexpr int N = R0 * R1 * R2 * kLast;
  static constexpr bool kMapped = std::is_same_v<T, float> && N <= 1024;
  static constexpr int L = kLanes<T> / 2;
  using V = Vec<T, 2 * L>;
  // With input, scratch, output and twiddles beyond the first-level cache.
  static constexpr bool kBackwards = !kMapped && 2 * N * sizeof(T) >= 16384;
  // Where the output alone fills it, the scattered stores wait for their lines (order 11 of float64: 4.4 and 3.8 us).
  static constexpr bool kPrefetch = kBackwards && 2 * N * sizeof(T) >= 32768;
  static_assert(kLast % L == 0 && (!kMapped || R2 == 1));
  static_assert(!kBackwards || R1 > 1);

  // The table, in elements from its start. Twiddles stand as vectors [n / L][p - 1]; the blocks of a middle pass have
  // two tables, for the scaled and the plain type; factors are stored for mapped transforms only.
  static constexpr int kMiddleTypes = kMapped ? 2 : 1;
  static constexpr size_t kFactorVectors0 = kMapped ? Factors<R0, V>::kCount : 0;
  static constexpr size_t kFactorVectors1 = kMapped ? Factors<R1, V>::kCount : 0;
  static constexpr size_t kFactorVectorsLast = kMapped ? Factors<kLast, V>::kCount : 0;

  // Ready twiddles where the cache has room for them.
  static constexpr bool kReadyMiddle = std::is_same_v<T, double>, kReady = kReadyMiddle && !kBackwards;
  template <bool Ready>
  static constexpr size_t twiddleElements(int M, int R) {
    return static_cast<size_t>(kRootElements<V, Ready> * (R - 1) * (M / R / L));
  }
  static constexpr size_t kTwiddles0 = 0;
  static constexpr size_t kTwiddles1 = kTwiddles0 + twiddleElements<kReady>(N, R0);
  static constexpr size_t kTwiddles1Each = twiddleElements<kReadyMiddle>(N / R0, R1);
  static constexpr size_t kTwiddles2 = kTwiddles1 + kMiddleTypes * kTwiddles1Each;
  static constexpr size_t kFactors0 = kTwiddles2 + twiddleElements<kReadyMiddle>(N / R0 / R1, R2);
  static constexpr size_t kFactors1 = kFactors0 + 2 * L * kFactorVectors0;
  static constexpr size_t kFactorsLast = kFactors1 + 2 * L * kMiddleTypes * kFactorVectors1;
  static constexpr size_t kFactorsEnd = kFactorsLast + 2 * kFactorVectorsLast * (N / kLast);

  // Scratch starts at a cache line. Between the R0 blocks of the first pass is another one, so that equal places of
  // them do not compete for one set of the cache where they lie 4 KiB or more apart.
  static constexpr size_t kLine = 64 / sizeof(T);
  static constexpr size_t kScratch = (kFactorsEnd + kLine - 1) / kLine * kLine;
  static constexpr size_t kPitch = 2 * (N / R0) + (!kBackwards && N / R0 * 2 * sizeof(T) >= 1024 ? kLine : 0);
  static constexpr uint64_t kElements = kScratch + R0 * kPitch;

  // The element of scratch that block q (of N / kLast, in natural order) begins with.
  static constexpr size_t place(size_t q) {
    const size_t p0 = q % R0, p1 = q / R0 % R1, p2 = q / (R0 * R1);
    return p0 * kPitch + 2 * kLast * (p1 * R2 + p2);
  }

  template <bool Ready>
  static void storePass(const Roots& roots, bool plain, int M, int R, T* to) {
    for (int n = 0; n < M / R; n += L) {
      for (int p = 1; p < R; ++p, to += kRootElements<V, Ready>)
        storeTwiddles<V, Ready>(roots, kMapped, plain, M, R, p, n, to);
    }
  }

  // Factors for L columns or blocks.
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
    storePass<kReady>(roots, false, N, R0, table + kTwiddles0);
    for (int plain = 0; plain < kMiddleTypes; ++plain) {
      storePass<kReadyMiddle>(roots, plain, N / R0, R1,
                              table + kTwiddles1 + static_cast<size_t>(plain) * kTwiddles1Each);
    }
    storePass<kReadyMiddle>(roots, false, N / R0 / R1, R2, table + kTwiddles2);
    if constexpr (kMapped) {
      Column types[L] = {Column::scaled};
      storeFactors<R0>(types, table + kFactors0);
      storeFactors<R1>(types, table + kFactors1);
      types[0] = Column::plain;
      storeFactors<R1>(types, table + kFactors1 + 2 * L * kFactorVectors1);
      for (int q = 0; q < N / kLast; q += L) {
        for (int l = 0; l < L; ++l) {
          types[l] = plainAfter(false, N / kLast, q + l) ? Column::plain : Column::scaled;
        }
        storeFactors<kLast>(types, table + kFactorsLast + 2 * kFactorVectorsLast * static_cast<size_t>(q));
      }
    }
  }

  // m columns of a block. Output p goes to `pitch` elements after output p - 1.
  template <size_t m, int R, size_t pitch, int D, bool Ready, class Io>
  MOX_INLINE static void columns(const Io& from, T* to, const T* twiddles, const T* factors) {
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
      if (L == 1 && n == 0) {  // the twiddles of column 0 are 1: a fortieth of the whole at order 9
#pragma GCC unroll 32
        for (size_t p = 1; p < R; ++p) store(to + p * pitch, x[p]);
        twiddles += (R - 1) * kRootElements<V, Ready>;
        continue;
      }
#pragma GCC unroll 32
      for (size_t p = 1; p < R; ++p) {
        store(to + 2 * n + p * pitch, timesRootAt<D, Ready>(x[p], twiddles + (p - 1) * kRootElements<V, Ready>));
      }
      twiddles += (R - 1) * kRootElements<V, Ready>;
    }
  }

  // Backwards.
  template <size_t m, int R, int D, bool Ready, class Io>
  MOX_INLINE static void columnsBack(const T* from, const Io& to, const T* twiddles) {
    for (size_t n = 0; n < m; n += L) {
      V x[R];
      x[0] = load<V>(from + 2 * n);
#pragma GCC unroll 32
      for (size_t p = 1; p < R; ++p) {
        x[p] = timesRootAt<D, Ready>(load<V>(from + 2 * (n + p * m)), twiddles + (p - 1) * kRootElements<V, Ready>);
      }
      butterfly<D>(x, factorsOf<R, V>(ExactFactors()));
#pragma GCC unroll 32
      for (size_t j = 0; j < R; ++j) to.put(n + j * m, x[j]);
      twiddles += (R - 1) * kRootElements<V, Ready>;
    }
  }

  template <size_t m, int R, int D>
  MOX_INLINE static void columnsInPlace(T* block, const T* twiddles, const T* factors) {
    columns<m, R, 2 * m, D, kReadyMiddle>(PackedIo<T>{block, block}, block, twiddles, factors);
  }

  template <int D>
  MOX_NOINLINE static void middle(T* table) {
    constexpr size_t M = N / R0;
    for (int p = 0; p < R0; ++p) {
      const size_t type = kMapped && plainAfter(false, R0, p) ? 1 : 0;
      T* const block = table + kScratch + static_cast<size_t>(p) * kPitch;
      columnsInPlace<M / R1, R1, D>(block, table + kTwiddles1 + type * kTwiddles1Each,
                                    table + kFactors1 + type * 2 * L * kFactorVectors1);
      if constexpr (R2 > 1) {
        for (size_t i = 0; i < R1; ++i) {
          columnsInPlace<M / R1 / R2, R2, D>(block + i * 2 * (M / R1), table + kTwiddles2, nullptr);
        }
      }
    }
  }

  template <int D, class Io>
  MOX_INLINE static void last(const Io& io, const T* table) {
    constexpr int R = kLast;
    constexpr size_t stride = N / R;
    for (size_t q = 0; q < stride; q += L) {
      const T* const blocks = table + kScratch + place(q);
      V x[R];
#pragma GCC unroll 32
      for (size_t j = 0; j < R; j += L) {
        const T* rows[L];
        V y[L];
#pragma GCC unroll 32
        for (size_t l = 0; l < L; ++l) rows[l] = blocks + place(l) + 2 * j;
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
  MOX_INLINE static void lastBack(const Io& io, T* to) {
    constexpr int R = kLast;
    constexpr size_t stride = N / R;
    for (size_t q = 0; q < stride; q += L) {
      V x[R];
#pragma GCC unroll 32
      for (size_t k = 0; k < R; ++k) x[k] = io.template get<V>(q + k * stride);
      butterfly<D>(x, factorsOf<R, V>(ExactFactors()));
      T* const blocks = to + place(q);
      if constexpr (kPrefetch) {
#pragma GCC unroll 32
        for (size_t l = 0; l < L; ++l) {
#pragma GCC unroll 32
          for (size_t j = 0; j < R; j += kLine / 2) __builtin_prefetch(to + place(q + L) + place(l) + 2 * j, 1);
        }
      }
#pragma GCC unroll 32
      for (size_t j = 0; j < R; j += L) {
        T* rows[L];
        V y[L];
#pragma GCC unroll 32
        for (size_t l = 0; l < L; ++l) rows[l] = blocks + place(l) + 2 * j, y[l] = x[j + l];
        storeTransposed(y, rows);
      }
    }
  }

  template <int D>
  MOX_NOINLINE static void middleBack(T* work, const T* table) {
    constexpr size_t M = N / R0;
    for (size_t p = 0; p < R0; ++p) {
      T* const block = work + p * kPitch;
      if constexpr (R2 > 1) {
        for (size_t i = 0; i < R1; ++i) {
          T* const inner = block + i * 2 * (M / R1);
          columnsBack<M / R1 / R2, R2, D, kReadyMiddle>(inner, PackedIo<T>{inner, inner}, table + kTwiddles2);
        }
      }
      columnsBack<M / R1, R1, D, kReadyMiddle>(block, PackedIo<T>{block, block}, table + kTwiddles1);
    }
  }

  // Input from scratch, in natural order without gaps, is fine where kPitch leaves none.
  template <int D, class From, class To>
  MOX_INLINE static void forwards(const From& from, const To& to, T* table) {
    columns<N / R0, R0, kPitch, D, kReady>(from, table + kScratch, table + kTwiddles0, table + kFactors0);
    if constexpr (R1 > 1) middle<D>(table);
    last<D>(to, table);
  }

  template <int D, class Io>
  MOX_INLINE static void run(const Io& io, T* table) {
    if constexpr (kBackwards) {
      T* const work = io.work(table + kScratch);
      lastBack<D>(io, work);
      middleBack<D>(work, table);
      columnsBack<N / R0, R0, D, kReady>(work, io, table + kTwiddles0);
    } else {
      forwards<D>(io, io, table);
    }
  }
};
