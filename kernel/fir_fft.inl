// Long filters on blocks of float32: fast convolution, see fir_product.inl.
//
// A transform spreads its rounding over the whole stretch, so an output that is small beside its neighbours would come
// out worse than from its own products. Each output is therefore compared with a bound of that error, and formed from
// its products where the bound is above 2^-26 of it; so are those of a stretch with infinities and NaN.

constexpr double kFirFastAccepted = 0x1p-26;

// ---- blocks

// Of n values, a multiple of 64: no less than their 2-norm, and no more than a thousandth above it. The sum is the same
// on every set.
double firNorm(const float* x, size_t n) {
  using V = Vec<float, kLanes<float>>;
  constexpr int kVectors = 64 / kLanes<float>;
  V sums[kVectors] = {};
  for (size_t i = 0; i < n; i += 64) {
#pragma GCC unroll 16
    for (int k = 0; k < kVectors; ++k) {
      const V v = load<V>(x + i + static_cast<size_t>(k * kLanes<float>));
      sums[k] = fma(v, v, sums[k]);
    }
  }
  float lanes[64];
#pragma GCC unroll 16
  for (int k = 0; k < kVectors; ++k) store(lanes + k * kLanes<float>, sums[k]);
  for (int half = 32; half > 0; half /= 2) {
    for (int k = 0; k < half; ++k) lanes[k] += lanes[k + half];
  }
  double sum = lanes[0];
  if (!(sum >= 0x1p-90 && sum <= 0x1p+120)) {  // squares may have left the range of float32
    sum = 0;
    for (size_t i = 0; i < n; ++i) sum += double{x[i]} * x[i];
  }
  return __builtin_sqrt(sum) * (1 + 0x1p-11);
}

// A bit for each value that is not at least as large as the bound.
#if MOX_VEC_BYTES == 64
MOX_INLINE unsigned firBelow(Vec<float, 16> v, Vec<float, 16> bound) {
  return _mm512_cmp_ps_mask(_mm512_abs_ps(v), bound, _CMP_NGE_UQ);
}
#elif MOX_VEC_BYTES == 32
MOX_INLINE unsigned firBelow(Vec<float, 8> v, Vec<float, 8> bound) {
  const __m256 size = _mm256_andnot_ps(_mm256_set1_ps(-0.0f), v);
  return static_cast<unsigned>(_mm256_movemask_ps(_mm256_cmp_ps(size, bound, _CMP_NGE_UQ)));
}
#else
MOX_INLINE unsigned firBelow(Vec<float, 4> v, Vec<float, 4> bound) {
  return static_cast<unsigned>(_mm_movemask_ps(_mm_cmpnge_ps(_mm_andnot_ps(_mm_set1_ps(-0.0f), v), bound)));
}
#endif
MOX_INLINE bool firBelow(float y, float least) { return !(y >= least || y <= -least); }

// Copies n values; how many are below.
MOX_INLINE size_t firDelivered(const float* y, float* out, size_t n, float least) {
  using V = Vec<float, kLanes<float>>;
  const V bound = broadcast<V>(least);
  unsigned any = 0;
  size_t i = 0;
  for (; i + kLanes<float> <= n; i += kLanes<float>) {
    const V v = load<V>(y + i);
    store(out + i, v);
    any |= firBelow(v, bound);
  }
  for (; i < n; ++i) {
    out[i] = y[i];
    any |= firBelow(y[i], least);
  }
  size_t below = 0;
  for (i = 0; any && i < n; ++i) below += firBelow(y[i], least);
  return below;
}

// The output whose oldest sample is at x, from its products.
template <size_t S, bool ComplexTaps>
MOX_INLINE void firFastExact(size_t count, const float* taps, const float* x, float* out) {
  if constexpr (S == 1) {
    *out = static_cast<float>(dotReal(taps, x, count));
  } else {
    double sum[2];
    if constexpr (ComplexTaps) {
      dotComplex(taps, x, count, sum);
    } else {
      dotRealComplex(taps, x, count, sum);
    }
    out[0] = static_cast<float>(sum[0]);
    out[1] = static_cast<float>(sum[1]);
  }
}

template <size_t S, bool ComplexTaps>
void firFastBlock(const FirPlan& plan, const FirShape& shape, const float* taps, const FirSignal<float>& signal,
                  float* out, size_t n) {
  const size_t old = plan.count - 1, smaller = (size_t{2} << plan.order) / S - old;
  for (size_t done = 0; done < n;) {
    const int larger = n - done > 2 * smaller, order = plan.order + larger;
    const FirStretch& stretch = plan.stretches[larger];
    const size_t values = size_t{2} << order, length = values / S, step = length - old;
    const size_t m = n - done < step ? n - done : step;
    if (m < plan.least) {
      FirSignal<float> rest = signal;
      // Not the first stretch of a block: its history is the block's.
      if (done > 0) rest = {signal.input + done * S, signal.input + (done - 1) * S, -1};
      firBlock<S, ComplexTaps, float, float>(shape, taps, rest, out + done * S, n - done);
      return;
    }
    // The last stretch reaches farther back than it has to, so that it is whole.
    const size_t back = done > 0 ? step - m : 0, before = old + back;
    const float* x = plan.line;
    if (done >= before && m + before == length) {
      x = signal.input + (done - before) * S;
    } else {
      const size_t history = done < before ? before - done : 0, fresh = before + m - history;
      __builtin_memcpy(plan.line, signal.newest + S - history * S, history * S * sizeof(float));
      __builtin_memcpy(plan.line + history * S, signal.input + (done + m - fresh) * S, fresh * S * sizeof(float));
      for (size_t i = (before + m) * S; i < values; ++i) plan.line[i] = 0;
    }
    firTransformed(order, stretch.table, plan.work, FirIo<S>{x, plan.results, values / 2},
                   FirProducts{stretch.response});

    // Compared after rounding.
    const float least = static_cast<float>(stretch.bound * firNorm(x, values) / kFirFastAccepted * (1 + 0x1p-20));
    float* const to = out + done * S;
    const float* const results = plan.results + before * S;
    constexpr size_t kTogether = 64 * S;
    for (size_t i = 0; i < m * S; i += kTogether) {
      const size_t some = m * S - i < kTogether ? m * S - i : kTogether;
      const size_t below = firDelivered(results + i, to + i, some, least);
      if (below == 0) continue;
      const size_t first = done + i / S;
      if (below > 16 && first >= old) {
        const FirSignal<float> here = {signal.input + first * S, signal.input + first * S - S, -1};
        firBlock<S, ComplexTaps, float, float>(shape, taps, here, to + i, some / S);
        continue;
      }
      for (size_t k = i; k < i + some; k += S) {
        if (firBelow(results[k], least) || firBelow(results[k + S - 1], least)) {
          firFastExact<S, ComplexTaps>(plan.count, taps, x + back * S + k, to + k);
        }
      }
    }
    done += m;
  }
}

// ---- plans

template <class T>
MOX_INLINE T* firPart(double* memory, size_t& at, size_t elements) {
  T* const part = memory ? reinterpret_cast<T*>(memory + at) : nullptr;
  at += (elements * sizeof(T) + 63) / 64 * 8;
  return part;
}

size_t firPlanLayout(FirPlan& plan, double* memory) {
  size_t at = 0;
  for (int larger = 0; larger < 2; ++larger) {
    const int order = plan.order + larger;
    plan.stretches[larger].table = firPart<double>(memory, at, firTableElements(order));
    plan.stretches[larger].response = firPart<double>(memory, at, size_t{4} << order);
  }
  const size_t values = size_t{2} << plan.order;
  plan.work = firPart<double>(memory, at, 2 * values + kFirApart);
  plan.line = firPart<float>(memory, at, 2 * values);
  plan.results = firPart<float>(memory, at, 2 * values);
  return at;
}

void firPlanTables(const FirPlan& plan, const Roots& roots) {
  for (int larger = 0; larger < 2; ++larger) firBuildTable(plan.order + larger, roots, plan.stretches[larger].table);
}

// sqrt(2) times the largest norm of a pair (h0, h1): |h0| + |h1| and no less than |h0 + w h1|.
MOX_INLINE double firLargest(const double* response, size_t values) {
  double largest = 0;
  for (size_t i = 0; i < 4 * values; i += kFirFactors) {
    for (size_t k = i; k < i + kFirLanes; ++k) {
      const double* const h = response + k;
      double square = 0;
      for (size_t part = 0; part < 4; ++part) square += h[part * kFirLanes] * h[part * kFirLanes];
      largest = square > largest ? square : largest;
    }
  }
  return __builtin_sqrt(2 * largest);
}

template <size_t S, bool ComplexTaps>
void firPlanTaps(FirPlan& plan, const float* taps) {
  constexpr size_t kTapReals = ComplexTaps ? 2 : 1;
  const size_t n = plan.count, all = size_t{4} << plan.order;
  for (size_t i = 0; i < all; ++i) plan.line[i] = 0;
  double squares = 0;
  for (size_t k = 0; k < n; ++k) {
    for (size_t part = 0; part < kTapReals; ++part) {
      const float tap = taps[(n - 1 - k) * kTapReals + part];
      plan.line[k * S + part] = tap;
      squares += double{tap} * tap;
    }
  }
  for (int larger = 0; larger < 2; ++larger) {
    FirStretch& stretch = plan.stretches[larger];
    const int order = plan.order + larger;
    const size_t values = size_t{1} << order;
    // Joining doubles as many times as there are levels.
    const double scale = 2 / static_cast<double>(values);
    firTransformed(order, stretch.table, plan.work, FirIo<S>{plan.line, nullptr, values},
                   FirRecord{stretch.response, scale});
    stretch.bound = firFastError(order, __builtin_sqrt(squares), firLargest(stretch.response, values) / scale);
  }
}

template <size_t S, bool ComplexTaps>
constexpr FirFast firFastOf() {
  return {.layout = firPlanLayout,
          .buildTable = firPlanTables,
          .setTaps = firPlanTaps<S, ComplexTaps>,
          .block = firFastBlock<S, ComplexTaps>};
}
