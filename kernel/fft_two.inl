// Two real signals x, y of N = 2^order values through one complex transform, Z that of x + i y:
//   X[k] = (Z[k] + conj Z[N-k]) / 2,  Y[k] = (Z[k] - conj Z[N-k]) / 2i     k = 0 .. N/2, Z[N] = Z[0]
//   Z[k] = X[k] + i Y[k],  Z[N-k] = conj X[k] + i conj Y[k]
// Z stands as its real parts in one array and its imaginary parts in the other, X and Y as N/2 + 1 complex values each
// in the same arrays. Values k go to places 2k and back; only the upper halves of the parts are in the way of that and
// go through scratch. There, index N/2 stands for element N.

template <class T, int L>
struct TwoSignals {
  using V = Vec<T, L>;

  struct Backwards {
    static constexpr int at(int i) { return L - 1 - i; }
  };
  template <int upper>
  struct Zip {
    static constexpr int at(int i) { return upper * L / 2 + i / 2 + i % 2 * L; }
  };
  template <int odd>
  struct Unzip {
    static constexpr int at(int i) { return 2 * i + odd; }
  };
  template <class Order, int... I>
  MOX_INLINE static V shuffle(V a, V b, std::integer_sequence<int, I...>) {
    return __builtin_shufflevector(a, b, Order::at(I)...);
  }
  template <class Order>
  MOX_INLINE static V shuffle(V a, V b) {
    return shuffle<Order>(a, b, std::make_integer_sequence<int, L>());
  }
  MOX_INLINE static void storePairs(T* p, V re, V im) {
    store(p, shuffle<Zip<0>>(re, im));
    store(p + L, shuffle<Zip<1>>(re, im));
  }

  // Values k .. k+L-1, k = 0 last.
  MOX_INLINE static void split(T* x, T* y, size_t half, const T* upperX, const T* upperY) {
    const V factor = broadcast<V>(T(0.5));
    for (size_t k = half; k > 0;) {
      k -= L;
      const size_t mirror = half - k - L + 1;
      const V re = load<V>(x + k), im = load<V>(y + k), u = load<V>(upperX + mirror), v = load<V>(upperY + mirror);
      const V mirrorRe = shuffle<Backwards>(u, u), mirrorIm = shuffle<Backwards>(v, v);
      storePairs(x + 2 * k, (re + mirrorRe) * factor, (im - mirrorIm) * factor);
      storePairs(y + 2 * k, (im + mirrorIm) * factor, (mirrorRe - re) * factor);
    }
  }
  MOX_INLINE static void join(const T* xIn, const T* yIn, T* re, T* im, size_t half, T* upperRe, T* upperIm) {
    for (size_t k = 0; k < half; k += L) {
      const V a = load<V>(xIn + 2 * k), b = load<V>(xIn + 2 * k + L);
      const V c = load<V>(yIn + 2 * k), d = load<V>(yIn + 2 * k + L);
      const V xRe = shuffle<Unzip<0>>(a, b), xIm = shuffle<Unzip<1>>(a, b);
      const V yRe = shuffle<Unzip<0>>(c, d), yIm = shuffle<Unzip<1>>(c, d);
      const V u = xRe + yIm, v = yRe - xIm;
      store(re + k, xRe - yIm);
      store(im + k, xIm + yRe);
      store(upperRe + half - k - L + 1, shuffle<Backwards>(u, u));
      store(upperIm + half - k - L + 1, shuffle<Backwards>(v, v));
    }
  }
};

// Single values.
template <class T>
struct TwoSignals<T, 1> {
  static void split(T* x, T* y, size_t half, const T* upperX, const T* upperY) {
    for (size_t k = half; k-- > 0;) {
      const T re = x[k], im = y[k], mirrorRe = upperX[half - k], mirrorIm = upperY[half - k];
      x[2 * k] = (re + mirrorRe) / 2;
      x[2 * k + 1] = (im - mirrorIm) / 2;
      y[2 * k] = (im + mirrorIm) / 2;
      y[2 * k + 1] = (mirrorRe - re) / 2;
    }
  }
  static void join(const T* xIn, const T* yIn, T* re, T* im, size_t half, T* upperRe, T* upperIm) {
    for (size_t k = 0; k < half; ++k) {
      const T xRe = xIn[2 * k], xIm = xIn[2 * k + 1], yRe = yIn[2 * k], yIm = yIn[2 * k + 1];
      re[k] = xRe - yIm;
      im[k] = xIm + yRe;
      upperRe[half - k] = xRe + yIm;
      upperIm[half - k] = yRe - xIm;
    }
  }
};

template <class T>
constexpr int kTwoLanes = (kVecBytes < 32 ? kVecBytes : 32) / static_cast<int>(sizeof(T));

// `scratch` has room for N + 2 values.
template <class T>
MOX_NOINLINE void splitThrough(T* x, T* y, size_t half, T* scratch) {
  T* const upperX = scratch;
  T* const upperY = scratch + half + 1;
  __builtin_memcpy(upperX, x + half, half * sizeof(T));
  __builtin_memcpy(upperY, y + half, half * sizeof(T));
  upperX[half] = x[0];
  upperY[half] = y[0];
  if (half >= static_cast<size_t>(kTwoLanes<T>)) {
    TwoSignals<T, kTwoLanes<T>>::split(x, y, half, upperX, upperY);
  } else {
    TwoSignals<T, 1>::split(x, y, half, upperX, upperY);
  }
  x[2 * half] = upperX[0];
  y[2 * half] = upperY[0];
  x[1] = x[2 * half + 1] = y[1] = y[2 * half + 1] = 0;
}

template <class T>
MOX_NOINLINE void joinThrough(const T* xIn, const T* yIn, T* re, T* im, size_t half, T* scratch) {
  T* const upperRe = scratch;
  T* const upperIm = scratch + half + 1;
  const T x0 = xIn[0], y0 = yIn[0], xMiddle = xIn[2 * half], yMiddle = yIn[2 * half];
  if (half >= static_cast<size_t>(kTwoLanes<T>)) {
    TwoSignals<T, kTwoLanes<T>>::join(xIn, yIn, re, im, half, upperRe, upperIm);
  } else {
    TwoSignals<T, 1>::join(xIn, yIn, re, im, half, upperRe, upperIm);
  }
  upperRe[0] = xMiddle;
  upperIm[0] = yMiddle;
  __builtin_memcpy(re + half, upperRe, half * sizeof(T));
  __builtin_memcpy(im + half, upperIm, half * sizeof(T));
  re[0] = x0;
  im[0] = y0;
}

// The scratch of the complex transform, which is over or yet to come; on the stack while that has none.
template <class T, int Order>
constexpr bool kTwoOnStack = Order<2 || kRegisterRows<T, Order>> 0;

template <class T, int Order>
MOX_INLINE T* twoScratch(T* table) {
  if constexpr (Order < kFirstSweepOrder) {
    return table + static_cast<size_t>(Kernel<T, Order>::kScratch);
  } else {
    return table + static_cast<size_t>(kSweepPlan<T, Order>.scratch);
  }
}

template <class T, int Order>
void splitTwo(T* x, T* y, T* table) {
  constexpr size_t half = (size_t{1} << Order) / 2;
  if constexpr (kTwoOnStack<T, Order>) {
    T scratch[2 * half + 2];
    splitThrough(x, y, half, scratch);
  } else {
    splitThrough(x, y, half, twoScratch<T, Order>(table));
  }
}

template <class T, int Order>
void joinTwo(const T* x, const T* y, T* re, T* im, T* table) {
  constexpr size_t half = (size_t{1} << Order) / 2;
  if constexpr (kTwoOnStack<T, Order>) {
    T scratch[2 * half + 2];
    joinThrough(x, y, re, im, half, scratch);
  } else {
    joinThrough(x, y, re, im, half, twoScratch<T, Order>(table));
  }
}

template <class T, int Order>
constexpr void setTwo(Fft<T>& fft) {
  fft.splitTwo[Order + 1] = splitTwo<T, Order + 1>;
  fft.joinTwo[Order + 1] = joinTwo<T, Order + 1>;
}

template <class T, int... Orders>
constexpr void setTwos(Fft<T>& fft, std::integer_sequence<int, Orders...>) {
  (setTwo<T, Orders>(fft), ...);
}
