// Transforms of two to four passes, as vectors of L complex values.
//
// Passes, forwards, through scratch in the table:
//   first:   columns of the whole input. L neighbouring blocks become the lanes of a group: scratch has a vector for
//            each place in them.
//   middle:  the same in every group of blocks, in place, one after the other, without thought of lanes
//   last:    the blocks themselves. Neighbours in lanes are neighbours in natural order.
// A pass of radix R over a block of length M takes columns n = 0 .. m-1, m = M/R, and puts output p of column n in
// place n + pm, times w_M^(pn).
//
// BackPasses, for what fills the first-level cache: the transposed network. The last pass comes first and scatters its
// results to the blocks, the others take their inputs times w_M^(pn) and end with the columns of the whole. From the
// second pass on all is in place, in the output if it is another array than the input. Those passes take their inputs
// in pairs: block p >= R/2 stands for p - R.

// The twiddles of all columns of a pass, L columns in a vector, as vectors [n / L][p - 1].
template <class V, bool Ready>
constexpr size_t twiddleElements(int columns, int R) {
  return static_cast<size_t>(kRootElements<V, Ready> * (R - 1) * columns);
}
template <class V, bool Ready>
void storePass(const Roots& roots, bool mapped, int M, int R, ElementOf<V>* to) {
  constexpr int L = sizeof(V) / sizeof(*to) / 2;
  for (int n = 0; n < M / R; n += L) {
    for (int p = 1; p < R; ++p, to += kRootElements<V, Ready>) {
      for (int lane = 0; lane < L; ++lane) {
        storeTwiddle<V, Ready>(roots, mapped, false, M, R, p, n + lane, lane, to);
      }
    }
  }
}

// The same of a pass that takes its inputs in pairs, as pairedButterfly() wants them.
template <class V, bool Ready>
constexpr size_t pairedElements(int columns, int R) {
  constexpr int L = sizeof(V) / sizeof(ElementOf<V>) / 2;
  return static_cast<size_t>(((R / 2 - 1) * kRootPairElements<V, Ready> + kRootElements<V, Ready>)*columns / L);
}
template <class V, bool Ready>
void storePairedPass(const Roots& roots, int M, int R, ElementOf<V>* to) {
  using T = ElementOf<V>;
  constexpr int L = sizeof(V) / sizeof(T) / 2;
  for (int n = 0; n < M / R; n += L) {
    for (int p = 1; p <= R / 2; ++p) {
      for (int lane = 0; lane < L; ++lane) {
        const auto k = static_cast<uint64_t>(p < R / 2 ? p : M - R / 2) * static_cast<uint64_t>(n + lane);
        const Root w = roots.at((k << roots.order()) / static_cast<uint64_t>(M));
        const T re = rounded<T>(w.re), im = rounded<T>(w.im);
        if (p < R / 2) {
          storeRootPair<V, Ready>(re, im, lane, to);
        } else {
          storeRoot<V, Ready>(re, im, lane, to);
        }
      }
      to += p < R / 2 ? kRootPairElements<V, Ready> : kRootElements<V, Ready>;
    }
  }
}

// The radices of first, middle (1: there is none) and last passes.
template <class T, int R0, int R1, int R2, int kLast>
struct Passes {
  static constexpr int N = R0 * R1 * R2 * kLast;
  static constexpr bool kMapped = std::is_same_v<T, float> && N <= 1024;
  static constexpr int L = kLanes<T> / 2;
  using V = Vec<T, 2 * L>;
  static_assert(R0 % L == 0 && (!kMapped || R2 == 1));

  // The table, in elements from its start. The lanes of a group may differ in type, so that in mapped transforms every
  // group has a table for the middle pass, else all have the same; factors are stored for mapped transforms only.
  static constexpr bool kReady = std::is_same_v<T, double> || N <= 256;
  static constexpr int kGroups = R0 / L;
  static constexpr int kMiddleTables = kMapped && R1 > 1 ? kGroups : 1;
  static constexpr size_t kFactorVectors0 = kMapped ? Factors<R0, V>::kCount : 0;
  static constexpr size_t kFactorVectors1 = kMapped ? Factors<R1, V>::kCount : 0;
  static constexpr size_t kFactorVectorsLast = kMapped ? Factors<kLast, V>::kCount : 0;
  static constexpr size_t kTwiddles0 = 0;
  static constexpr size_t kTwiddles1 = kTwiddles0 + twiddleElements<V, kReady>(N / R0 / L, R0);
  static constexpr size_t kTwiddles1Each = twiddleElements<V, kReady>(N / R0 / R1, R1);
  static constexpr size_t kTwiddles2 = kTwiddles1 + kMiddleTables * kTwiddles1Each;
  static constexpr size_t kFactors0 = kTwiddles2 + twiddleElements<V, kReady>(kLast, R2);
  static constexpr size_t kFactors1 = kFactors0 + 2 * L * kFactorVectors0;
  static constexpr size_t kFactorsLast = kFactors1 + 2 * L * kMiddleTables * kFactorVectors1;
  static constexpr size_t kFactorsEnd = kFactorsLast + 2 * kFactorVectorsLast * (N / kLast);

  // Scratch starts at a cache line. Between the groups is another one, so that equal places of them do not compete for
  // one set of the cache where they lie 4 KiB or more apart.
  static constexpr size_t kLine = 64 / sizeof(T);
  static constexpr size_t kScratch = (kFactorsEnd + kLine - 1) / kLine * kLine;
  static constexpr size_t kPitch = 2 * (N / R0) * L + (N / R0 * L * 2 * sizeof(T) >= 1024 ? kLine : 0);
  static constexpr uint64_t kElements = kScratch + kGroups * kPitch;

  // The element of scratch that the group of blocks q (of N / kLast, in natural order) .. q+L-1 begins with.
  static constexpr size_t place(size_t q) {
    const size_t p0 = q % R0, p1 = q / R0 % R1, p2 = q / (R0 * R1);
    return p0 / L * kPitch + 2 * L * kLast * (p1 * R2 + p2);
  }

  // Twiddles of one column in all lanes: vectors [n][p - 1].
  static void storeMiddle(const Roots& roots, int group, int M, int R, T* to) {
    for (int n = 0; n < M / R; ++n) {
      for (int p = 1; p < R; ++p, to += kRootElements<V, kReady>) {
        for (int lane = 0; lane < L; ++lane) {
          storeTwiddle<V, kReady>(roots, kMapped, plainAfter(false, R0, group * L + lane), M, R, p, n, lane, to);
        }
      }
    }
  }

  static void build(const Roots& roots, T* table) {
    storePass<V, kReady>(roots, kMapped, N, R0, table + kTwiddles0);
    for (int g = 0; g < kMiddleTables; ++g) {
      storeMiddle(roots, g, N / R0, R1, table + kTwiddles1 + static_cast<size_t>(g) * kTwiddles1Each);
    }
    storeMiddle(roots, 0, N / R0 / R1, R2, table + kTwiddles2);
    if constexpr (kMapped) {
      const Column types[L] = {Column::scaled};
      storeFactors<R0>(types, table + kFactors0);
      for (int g = 0; g < kMiddleTables; ++g) {
        storeBlockFactors<R1, L>(R0, g * L, table + kFactors1 + static_cast<size_t>(g) * 2 * L * kFactorVectors1);
      }
      for (int q = 0; q < N / kLast; q += L) {
        storeBlockFactors<kLast, L>(N / kLast, q,
                                    table + kFactorsLast + 2 * kFactorVectorsLast * static_cast<size_t>(q));
      }
    }
  }

  template <int R, int D>
  MOX_INLINE static void columnButterfly(V (&x)[R], bool exact, const T* factors) {
    if (!kMapped || exact) {
      butterfly<D>(x, factorsOf<R, V>(ExactFactors()));
    } else {
      butterfly<D>(x, factorsOf<R, V>(StoredFactors<T>{factors}));
    }
  }

  template <int D, class Io>
  MOX_INLINE static void first(const Io& io, T* table) {
    constexpr size_t m = N / R0;
    const T* twiddles = table + kTwiddles0;
    for (size_t n = 0; n < m; n += L) {
      V x[R0];
#pragma GCC unroll 32
      for (size_t j = 0; j < R0; ++j) x[j] = pinned(io.template get<V>(n + j * m));
      columnButterfly<R0, D>(x, n != 0, table + kFactors0);
      if (L > 1 || n > 0) {  // the twiddles of column 0 are 1: a fortieth of the whole at order 9
#pragma GCC unroll 32
        for (size_t p = 1; p < R0; ++p) {
          x[p] = timesRootAt<D, kReady>(x[p], twiddles + (p - 1) * kRootElements<V, kReady>);
        }
      }
      twiddles += (R0 - 1) * kRootElements<V, kReady>;
#pragma GCC unroll 32
      for (size_t p = 0; p < R0; p += L) {
        T* rows[L];
        V y[L];
#pragma GCC unroll 32
        for (size_t l = 0; l < L; ++l) rows[l] = table + kScratch + p / L * kPitch + 2 * L * (n + l), y[l] = x[p + l];
        storeTransposed(y, rows);
      }
    }
  }

  // m columns of a group.
  template <size_t m, int R, int D>
  MOX_INLINE static void columns(T* group, const T* twiddles, const T* factors) {
    for (size_t n = 0; n < m; ++n) {
      V x[R];
#pragma GCC unroll 32
      for (size_t j = 0; j < R; ++j) x[j] = pinned(load<V>(group + 2 * L * (n + j * m)));
      columnButterfly<R, D>(x, n != 0, factors);
      if (n > 0) {
#pragma GCC unroll 32
        for (size_t p = 1; p < R; ++p) {
          x[p] = timesRootAt<D, kReady>(x[p], twiddles + (p - 1) * kRootElements<V, kReady>);
        }
      }
      twiddles += (R - 1) * kRootElements<V, kReady>;
#pragma GCC unroll 32
      for (size_t p = 0; p < R; ++p) store(group + 2 * L * (n + p * m), x[p]);
    }
  }

  template <int D>
  MOX_NOINLINE static void middle(T* table) {
    constexpr size_t M = N / R0;
    for (size_t g = 0; g < kGroups; ++g) {
      const size_t i = kMiddleTables > 1 ? g : 0;
      T* const group = table + kScratch + g * kPitch;
      columns<M / R1, R1, D>(group, table + kTwiddles1 + i * kTwiddles1Each,
                             table + kFactors1 + i * 2 * L * kFactorVectors1);
      if constexpr (R2 > 1) {
        for (size_t p = 0; p < R1; ++p) {
          columns<kLast, R2, D>(group + p * 2 * L * (M / R1), table + kTwiddles2, nullptr);
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
      for (size_t j = 0; j < R; ++j) x[j] = pinned(load<V>(blocks + 2 * L * j));
      columnButterfly<R, D>(x, false, table + kFactorsLast + 2 * kFactorVectorsLast * q);
#pragma GCC unroll 32
      for (size_t k = 0; k < R; ++k) io.put(q + k * stride, x[k]);
    }
  }

  template <int D, class Io>
  MOX_INLINE static void run(const Io& io, T* table) {
    first<D>(io, table);
    if constexpr (R1 > 1) middle<D>(table);
    last<D>(io, table);
  }
};

template <class T, int R0, int R1, int R2, int kLast>
struct BackPasses {
  static constexpr int N = R0 * R1 * R2 * kLast;
  static constexpr int L = kLanes<T> / 2;
  using V = Vec<T, 2 * L>;
  static_assert(kLast % L == 0 && R0 % L == 0 && R1 > 1);
  // Where the output alone fills the cache, the scattered stores wait for their lines, which are prefetched (order 11
  // of float64: 4.4 and 3.8 us), and blocks that share lines of the input go through the first passes together and
  // before the others (3.5 and 3.4 us).
  static constexpr bool kLarge = 2 * N * sizeof(T) >= 32768;
  static constexpr bool kAtLine = 2 * N * sizeof(T) != 16384;  // see workIn()
  static constexpr size_t kLine = 64 / sizeof(T);
  static constexpr size_t kTogether = kLarge && kLine / 2 < R0 ? kLine / 2 : R0;
  static constexpr size_t kAhead = kTogether < R0 ? R0 : L;  // to the columns whose blocks are prefetched
  static constexpr size_t kStride = N / kLast;               // between the values of a column of the first pass

  // The table, in elements from its start. The columns of the whole are too many for ready twiddles.
  static constexpr bool kReady = false, kReadyMiddle = std::is_same_v<T, double>;
  static constexpr size_t kTwiddles0 = 0;
  static constexpr size_t kTwiddles1 = kTwiddles0 + pairedElements<V, kReady>(N / R0, R0);
  static constexpr size_t kTwiddles2 = kTwiddles1 + pairedElements<V, kReadyMiddle>(N / R0 / R1, R1);
  static constexpr size_t kTwiddlesEnd = kTwiddles2 + (R2 > 1 ? pairedElements<V, kReadyMiddle>(kLast, R2) : 0);
  static constexpr size_t kScratch = (kTwiddlesEnd + kLine - 1) / kLine * kLine;
  static constexpr uint64_t kElements = kScratch + 2 * N + kWorkRoom / sizeof(T);

  // The element that the block of column q of the first pass begins with: q = p0 + R0 (p1 + R1 p2) mod kStride, where
  // p >= R/2 counts as p - R.
  static constexpr size_t place(size_t q) {
    const size_t q1 = (q + R0 / 2) / R0, q2 = (q1 + R1 / 2) / R1;
    return 2 * kLast * ((q % R0 * R1 + q1 % R1) * R2 + q2 % R2);
  }
  // Of lane l of the columns q, q+1, ...; q is a multiple of L.
  MOX_INLINE static size_t place(size_t q, size_t l) {
    constexpr size_t alike = R0 / 2;  // columns that differ in p0 alone
    return place(q + l / alike * alike) + place(l % alike);
  }
  // From this column on that sum is negative, and its block begins with the last value of the column.
  static constexpr size_t kTurned = R0 / 2 + R0 * (R1 / 2 - 1 + R1 * (R2 > 1 ? R2 / 2 - 1 : 0));
  MOX_INLINE static void turn(V (&x)[kLast], size_t q) {
    if (q + L <= kTurned) return;
    const V last = x[kLast - 1];
    if constexpr (L > R0 / 2) {
      if (q < kTurned) {
#pragma GCC unroll 32
        for (size_t k = kLast - 1; k > 0; --k) x[k] = joinedHalves(x[k], x[k - 1]);
        x[0] = joinedHalves(x[0], last);
        return;
      }
    }
#pragma GCC unroll 32
    for (size_t k = kLast - 1; k > 0; --k) x[k] = x[k - 1];
    x[0] = last;
  }

  static void build(const Roots& roots, T* table) {
    storePairedPass<V, kReady>(roots, N, R0, table + kTwiddles0);
    storePairedPass<V, kReadyMiddle>(roots, N / R0, R1, table + kTwiddles1);
    if constexpr (R2 > 1) storePairedPass<V, kReadyMiddle>(roots, kLast * R2, R2, table + kTwiddles2);
  }

  MOX_INLINE static void prefetchBlock(const T* block) {
    if constexpr (kLarge) {
#pragma GCC unroll 32
      for (size_t j = 0; j < kLast; j += kLine / 2) __builtin_prefetch(block + 2 * j, 1);
    }
  }

  // Ends column vectors of the first pass: lane l goes to the block at blocks[l].
  template <int D>
  MOX_INLINE static void firstEnd(V (&x)[kLast], T* const (&blocks)[L]) {
    butterfly<D>(x, factorsOf<kLast, V>(ExactFactors()));
#pragma GCC unroll 32
    for (size_t j = 0; j < kLast; j += L) {
      T* rows[L];
      V y[L];
#pragma GCC unroll 32
      for (size_t l = 0; l < L; ++l) rows[l] = blocks[l] + 2 * j, y[l] = x[j + l];
      if constexpr (kLarge) {
        storeTransposedFar(y, rows);
      } else {
        storeTransposed(y, rows);
      }
    }
  }

  // Columns q .. q+L-1.
  template <int D, class Io>
  MOX_INLINE static void firstColumns(const Io& io, T* to, size_t q) {
    if (q >= kStride) __builtin_unreachable();  // what get() asks about the index is settled for every k
    V x[kLast];
#pragma GCC unroll 32
    for (size_t k = 0; k < kLast; ++k) x[k] = pinned(io.template get<V>(q + k * kStride));
    turn(x, q);
    T* blocks[L];
#pragma GCC unroll 32
    for (size_t l = 0; l < L; ++l) {
      blocks[l] = to + place(q, l);
      prefetchBlock(to + place(q + kAhead, l));
    }
    firstEnd<D>(x, blocks);
  }

  template <int D, class Io>
  MOX_INLINE static void firstMirrored(const Io& io, T* to) {
    // Vectors together with their mirror images; by themselves those with the columns 0 and kStride / 2, which are
    // their own images, and the one with the images of the columns that column 0 has at its side.
    constexpr size_t kSingle[] = {0, kStride / 2, kStride - L};
    for (const size_t q : kSingle) firstColumns<D>(io, to, q);
    for (size_t q = L; q < kStride / 2; q += L) {
      if (q >= kStride / 2) __builtin_unreachable();  // see above
      V x[kLast], y[kLast];
#pragma GCC unroll 32
      for (size_t k = 0; k < kLast; ++k) io.template getMirrored<V>(q + k * kStride, x[k], y[(kLast - k) % kLast]);
      turn(x, q);  // y is turned by its places
      T *blocks[L], *mirrored[L];
#pragma GCC unroll 32
      for (size_t l = 0; l < L; ++l) {
        blocks[l] = to + place(q, l);
        mirrored[l] = to + (l == 0 ? place(kStride - q) : place(kStride - q - L, L - l));
        prefetchBlock(to + place(q + L, l));
        prefetchBlock(to + (l == 0 ? place(kStride - q - L) : place(kStride - q - 2 * L, L - l)));
      }
      firstEnd<D>(x, blocks);
      firstEnd<D>(y, mirrored);
    }
  }

  template <size_t m, int R, int D, bool Ready, bool kPrefetch, class Io>
  MOX_INLINE static void columns(const T* from, const Io& to, const T* twiddles) {
    for (size_t n = 0; n < m; n += L) {
      V x[R];
#pragma GCC unroll 32
      for (size_t p = 0; p < R; ++p) x[p] = pinned(load<V>(from + 2 * (n + p * m)));
      pairedButterfly<D, Ready>(x, twiddles);
#pragma GCC unroll 32
      for (size_t j = 0; j < R; ++j) to.put(n + j * m, x[j]);
      if constexpr (kPrefetch) {  // the last lines that the next vectors go to
#pragma GCC unroll 32
        for (size_t j = 0; j < R; ++j) to.prefetch(n + 2 * L - 1 + j * m);
      }
      twiddles += pairedElements<V, Ready>(L, R);
    }
  }

  template <size_t m, int R, int D>
  MOX_INLINE static void columnsInPlace(T* block, const T* twiddles) {
    columns<m, R, D, kReadyMiddle, false>(block, PackedIo<T>{block, block}, twiddles);
  }

  template <int D>
  MOX_NOINLINE static void middle(T* work, const T* table) {
    constexpr size_t M = N / R0;
    for (size_t p = 0; p < kTogether; ++p, work += 2 * M) {
      if constexpr (R2 > 1) {
        for (size_t i = 0; i < R1; ++i) columnsInPlace<kLast, R2, D>(work + i * 2 * (M / R1), table + kTwiddles2);
      }
      columnsInPlace<M / R1, R1, D>(work, table + kTwiddles1);
    }
  }

  template <int D, class Io>
  MOX_INLINE static void run(const Io& io, T* table) {
    T* const work = io.template work<kAtLine>(table + kScratch);
    if constexpr (Io::kMirrored) {
      firstMirrored<D>(io, work);
      for (size_t p0 = 0; p0 < R0; p0 += kTogether) middle<D>(work + p0 * 2 * (N / R0), table);
    } else {
      for (size_t p0 = 0; p0 < R0; p0 += kTogether) {
        for (size_t r = p0; r < kStride; r += R0) {
          for (size_t q = r; q < r + kTogether; q += L) firstColumns<D>(io, work, q);
        }
        middle<D>(work + p0 * 2 * (N / R0), table);
      }
    }
    columns<N / R0, R0, D, kReady, kLarge>(work, io, table + kTwiddles0);
  }
};
