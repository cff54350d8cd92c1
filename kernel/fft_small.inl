// Orders 0 to 2 on their own, and transforms that fit the registers.

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

// R rows of C values: radix R down the rows, twiddles, transposes, radix C. One vector is one row.
template <class T, int R, int C>
struct Small {
  static constexpr int N = R * C;
  static constexpr bool kMapped = std::is_same_v<T, float> && N >= 8;
  using V = Vec<T, 2 * C>;
  static constexpr bool kReady = std::is_same_v<T, double>;
  static constexpr int kStep = kRootElements<V, kReady>;
  static constexpr uint64_t kElements = (R - 1) * kStep;

  static void build(const Roots& roots, T* table) {
    for (int p = 1; p < R; ++p, table += kStep) storeTwiddles<V, kReady>(roots, kMapped, false, N, R, p, 0, table);
  }

  template <int D, class Io>
  MOX_INLINE static void run(const Io& io, const T* table) {
    V x[R];
#pragma GCC unroll 16
    for (int j = 0; j < R; ++j) x[j] = io.template get<V>(static_cast<size_t>(j) * C);
    using First = std::conditional_t<kMapped, ScaledColumn0, ExactFactors>;
    butterfly<D>(x, factorsOf<R, V>(First()));
    if constexpr (C > 1) {
#pragma GCC unroll 16
      for (int p = 1; p < R; ++p) x[p] = timesRootAt<D, kReady>(x[p], table + (p - 1) * kStep);
    }
#pragma GCC unroll 16
    for (int q = 0; q < R; q += C) {
      V y[C];
#pragma GCC unroll 16
      for (int n = 0; n < C; ++n) y[n] = x[q + n];
      transpose(y);
      butterfly<D>(y, factorsOf<C, V>(ExactFactors()));
#pragma GCC unroll 16
      for (int k = 0; k < C; ++k) io.put(static_cast<size_t>(q + R * k), y[k]);
    }
  }
};
