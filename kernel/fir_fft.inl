// Long filters on blocks of float32: fast convolution (overlap-save) in float64.
//
// A transform spreads its rounding over the whole stretch, so an output that is small beside its neighbours would come
// out worse than from its own products. Each output is therefore compared with a bound of that error, and formed from
// its products where the bound is above 2^-26 of it; so are those of a stretch with infinities and NaN.
//
// The bound: a transform of order p errs by e = 8 p 2^-53 of its 2-norm at most (Higham, Accuracy and Stability of
// Numerical Algorithms, 24.1), so the two spectra contribute e |x|_2 |h|_2 each to every output, by Cauchy-Schwarz, and
// the way back e |y|_2 <= e |x|_2 |h|_1; the products of the spectra are inside the factor 8.

constexpr double firFastError(int order) { return 8 * order * 0x1p-53; }
constexpr double kFirFastAccepted = 0x1p-26;

// Real signals (S = 1) go through the table of half as many complex values.
template <size_t S>
MOX_INLINE int firTableOrder(int order) {
  return S == 1 ? order - 1 : order;
}
template <size_t S>
MOX_INLINE void firForward(int order, double* x, double* work) {
  if constexpr (S == 1) {
    table.fft64.toSpectrum[0][order](x, x, work, 1);
  } else {
    table.fft64.forward[order](x, x, work, 1);
  }
}
template <size_t S>
MOX_INLINE void firInverse(int order, double* x, double* work) {
  const double scale = 1.0 / static_cast<double>(size_t{1} << order);
  if constexpr (S == 1) {
    table.fft64.toSignal[1][order](x[0], x[1], x + 2, x, work, scale);
  } else {
    table.fft64.inverse[order](x, x, work, scale);
  }
}

// x *= response
template <size_t S>
void firFastProduct(double* x, const double* response, size_t n) {
  if constexpr (S == 1) {
    x[0] *= response[0];
    x[1] *= response[1];
    mpyComplex(x + 2, response + 2, x + 2, n / 2 - 1);
  } else {
    mpyComplex(x, response, x, n);
  }
}

MOX_INLINE double firSquares(const double* x, size_t n) {
  FirVec sums[4] = {};
  size_t i = 0;
  for (; i + 4 * kFirLanes <= n; i += 4 * kFirLanes) {
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
      const FirVec v = load<FirVec>(x + i + static_cast<size_t>(k * kFirLanes));
      sums[k] = fma(v, v, sums[k]);
    }
  }
  const FirVec all = (sums[0] + sums[1]) + (sums[2] + sums[3]);
  double sum = 0;
  for (int k = 0; k < kFirLanes; ++k) sum += all[k];
  for (; i < n; ++i) sum += x[i] * x[i];
  return sum;
}

MOX_INLINE bool firAccepted(double y, double least) { return y >= least || y <= -least; }

// Rounds n values; how many are smaller than `least`.
MOX_INLINE size_t firRounded(const double* y, float* out, size_t n, double least) {
  using Longs = Vec<int64_t, kFirLanes>;
  Longs accepted{};
  const FirVec bound = broadcast<FirVec>(least);
  size_t i = 0;
  for (; i + kFirLanes <= n; i += kFirLanes) {
    const FirVec v = load<FirVec>(y + i);
    firStore(out + i, v);
    accepted += reinterpret_cast<Longs>((v >= bound) | (v <= -bound));  // -1 each
  }
  size_t small = i;
  for (int k = 0; k < kFirLanes; ++k) small += static_cast<size_t>(accepted[k]);
  for (; i < n; ++i) {
    out[i] = static_cast<float>(y[i]);
    small += !firAccepted(y[i], least);
  }
  return small;
}

// The output whose oldest sample is at x, from its products.
template <size_t S, bool ComplexTaps>
MOX_INLINE void firFastExact(const FirPlan& plan, const double* x, float* out) {
  if constexpr (S == 1) {
    *out = static_cast<float>(dotReal(plan.taps, x, plan.count));
  } else {
    double sum[2];
    if constexpr (ComplexTaps) {
      dotComplex(plan.taps, x, plan.count, sum);
    } else {
      dotRealComplex(plan.taps, x, plan.count, sum);
    }
    out[0] = static_cast<float>(sum[0]);
    out[1] = static_cast<float>(sum[1]);
  }
}

template <size_t S, bool ComplexTaps>
void firFastBlock(const FirPlan& plan, const FirShape& shape, const float* taps, const FirSignal<float>& signal,
                  float* out, size_t n) {
  const size_t length = size_t{1} << plan.order, old = plan.count - 1, step = length - old;
  for (size_t done = 0; done < n;) {
    const size_t m = n - done < step ? n - done : step;
    if (m < plan.least) {
      FirSignal<float> rest = signal;
      // Not the first stretch of a block: its history is the block's.
      if (done > 0) rest = {signal.input + done * S, signal.input + (done - 1) * S, -1};
      firBlock<S, ComplexTaps, float, float>(shape, taps, rest, out + done * S, n - done);
      return;
    }
    double *const x = plan.samples, *const y = plan.work;
    const size_t have = (old + m) * S, all = length * S;
    firSamples<S>(signal, static_cast<ptrdiff_t>(done) - static_cast<ptrdiff_t>(old), old + m, x);
    for (size_t i = 0; i < have; ++i) y[i] = x[i];
    for (size_t i = have; i < all; ++i) y[i] = 0;
    const double size = __builtin_sqrt(firSquares(x, have));
    firForward<S>(plan.order, y, plan.table);
    firFastProduct<S>(y, plan.response, length);
    firInverse<S>(plan.order, y, plan.table);

    const double least = plan.bound * size / kFirFastAccepted;
    float* const to = out + done * S;
    const double* const results = y + old * S;
    constexpr size_t kTogether = 64 * S;
    for (size_t i = 0; i < m * S; i += kTogether) {
      const size_t some = m * S - i < kTogether ? m * S - i : kTogether;
      const size_t small = firRounded(results + i, to + i, some, least);
      if (small == 0) continue;
      const size_t first = done + i / S;
      if (small > 16 && first >= old) {
        const FirSignal<float> here = {signal.input + first * S, signal.input + first * S - S, -1};
        firBlock<S, ComplexTaps, float, float>(shape, taps, here, to + i, some / S);
        continue;
      }
      for (size_t k = i; k < i + some; k += S) {
        if (firAccepted(results[k], least) && firAccepted(results[k + S - 1], least)) continue;
        firFastExact<S, ComplexTaps>(plan, x + k, to + k);
      }
    }
    done += m;
  }
}

// ---- plans

MOX_INLINE double* firPart(double* memory, size_t& at, size_t doubles) {
  double* const part = memory ? memory + at : nullptr;
  at += (doubles + 7) & ~size_t{7};
  return part;
}

template <size_t S, bool ComplexTaps>
size_t firPlanLayout(FirPlan& plan, double* memory) {
  const size_t all = (size_t{1} << plan.order) * S;
  const uint64_t tableBytes = table.fft64.tableBytes(firTableOrder<S>(plan.order));
  size_t at = 0;
  plan.table = firPart(memory, at, static_cast<size_t>(tableBytes / sizeof(double)) + 1);
  plan.response = firPart(memory, at, all);
  plan.samples = firPart(memory, at, all);
  plan.work = firPart(memory, at, all);
  plan.taps = firPart(memory, at, plan.count * (ComplexTaps ? 2 : 1));
  return at;
}

template <size_t S, bool ComplexTaps>
void firPlanTaps(FirPlan& plan, const float* taps) {
  constexpr size_t kTapReals = ComplexTaps ? 2 : 1;
  const size_t n = plan.count, all = (size_t{1} << plan.order) * S;
  firWiden(taps, n * kTapReals, plan.taps);
  for (size_t i = 0; i < all; ++i) plan.response[i] = 0;
  double sizes = 0;
  for (size_t k = 0; k < n; ++k) {
    const double* const tap = plan.taps + (n - 1 - k) * kTapReals;
    double size = tap[0] < 0 ? -tap[0] : tap[0];
    plan.response[k * S] = tap[0];
    if constexpr (ComplexTaps) {
      plan.response[k * S + 1] = tap[1];
      size += tap[1] < 0 ? -tap[1] : tap[1];
    }
    sizes += size;
  }
  const double squares = firSquares(plan.taps, n * kTapReals);
  plan.bound = firFastError(plan.order) * (2 * __builtin_sqrt(squares) + sizes);
  firForward<S>(plan.order, plan.response, plan.table);
}

template <size_t S>
void firPlanTable(const FirPlan& plan, const Roots& roots) {
  table.fft64.build(firTableOrder<S>(plan.order), roots, plan.table);
}

template <size_t S, bool ComplexTaps>
constexpr FirFast firFastOf() {
  return {.layout = firPlanLayout<S, ComplexTaps>,
          .buildTable = firPlanTable<S>,
          .setTaps = firPlanTaps<S, ComplexTaps>,
          .block = firFastBlock<S, ComplexTaps>};
}
