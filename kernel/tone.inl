// Tones and triangles.

// ---- float64 values to T

MOX_INLINE void putReals(const double* v, double* out, size_t n) { __builtin_memcpy(out, v, n * sizeof *v); }
MOX_INLINE void putReals(const double* v, float* out, size_t n) {
  for (size_t i = 0; i < n; ++i) out[i] = static_cast<float>(v[i]);
}
MOX_INLINE void putReals(const double* v, int16_t* out, size_t n) {
  toIntegers<double, int16_t, Rounding::nearest>(v, out, n, 1, OutOfRange::saturate);
}

// ---- tones

// y[k] = twoCos y[k-1] - y[k-2] for each of the parts; history: y[-1], y[-2].
template <size_t P, class T>
MOX_NOINLINE void recurrence(double twoCos, double* history, T* out, size_t n) {
  double y1[P], y2[P];
  for (size_t p = 0; p < P; ++p) y1[p] = history[p], y2[p] = history[P + p];
  for (size_t i = 0; i < n;) {
    double stretch[kStretch];
    const size_t m = n - i < kStretch / P ? n - i : kStretch / P;
    for (size_t k = 0; k < m; ++k) {
      for (size_t p = 0; p < P; ++p) {
        const double y = twoCos * y1[p] - y2[p];
        y2[p] = y1[p];
        stretch[P * k + p] = y1[p] = y;
      }
    }
    putReals(stretch, out + P * i, P * m);
    i += m;
  }
  for (size_t p = 0; p < P; ++p) history[p] = y1[p], history[P + p] = y2[p];
}

// Products of complex values stay in vectors of real and imaginary parts: from scalars GCC 12 makes a fused
// multiply-add with alternating signs, whatever it was told of contraction.
MOX_INLINE Pair<Full<double>> product(Pair<Full<double>> x, Pair<Full<double>> y) {
  return {x.a * y.a - x.b * y.b, x.b * y.a + x.a * y.b};
}

// The table of an arc of kSize places, and where arcs begin; the last one of the stretch before stands first.
template <size_t kSize>
struct Arcs {
  static constexpr size_t kReach = kSize * kArcs;
  Circle<kSize> circle;
  double re[1 + kArcs], im[1 + kArcs];

  MOX_INLINE Pair<Full<double>> begin(size_t k) const {
    return {broadcast<Full<double>>(re[k]), broadcast<Full<double>>(im[k])};
  }
  // A vector of values of an arc, from its place j on.
  MOX_INLINE Pair<Full<double>> values(Pair<Full<double>> from, size_t j) const {
    return product(from, {load<Full<double>>(circle.cosine + j), load<Full<double>>(circle.sine + j)});
  }
};
template <size_t P, class T>
MOX_INLINE void putPair(T* out, Pair<Full<double>> v) {
  if constexpr (P == 1) {
    narrowTo(out, v.a);
  } else {
    const Pair<Full<double>> z = zipped(v);
    narrowTo(out, z.a);
    narrowTo(out + kLanes<double>, z.b);
  }
}
// A stretch.
template <size_t P, class T, size_t kSize>
MOX_INLINE void putArcs(const Arcs<kSize>& arcs, T* out, size_t count) {
  constexpr size_t L = kLanes<double>;
  size_t k = 1;
  for (; count >= kSize; count -= kSize, ++k) {
    const Pair<Full<double>> from = arcs.begin(k);
#pragma GCC unroll 4
    for (size_t j = 0; j < kSize; j += L, out += P * L) putPair<P>(out, arcs.values(from, j));
  }
  if (count == 0) return;
  const Pair<Full<double>> from = arcs.begin(k);
  size_t j = 0;
  for (; j + L <= count; j += L, out += P * L) putPair<P>(out, arcs.values(from, j));
  count -= j;
  if (count == 0) return;
  T some[P * L];
  putPair<P>(some, arcs.values(from, j));
  for (size_t i = 0; i < P * count; ++i) out[i] = some[i];
}
template <size_t P, size_t kSize>
MOX_INLINE void putArcs(const Arcs<kSize>& arcs, int16_t* out, size_t count) {
  double stretch[P * Arcs<kSize>::kReach];
  putArcs<P>(arcs, stretch, count);
  putReals(stretch, out, P * count);
}
// Value i of the stretch as it was put, before its rounding to T; -1 is the last one of the stretch before.
template <size_t P, size_t kSize>
MOX_INLINE void valueOfArcs(const Arcs<kSize>& arcs, ptrdiff_t i, double* value) {
  constexpr size_t L = kLanes<double>;
  const size_t place = static_cast<size_t>(i + static_cast<ptrdiff_t>(kSize)), k = place / kSize, j = place % kSize;
  const Pair<Full<double>> v = arcs.values(arcs.begin(k), j - j % L);
  double lanes[2 * L];
  store(lanes, v.a);
  store(lanes + L, v.b);
  for (size_t p = 0; p < P; ++p) value[p] = lanes[p * L + j % L];
}

// Below, what is made first takes longer than the recurrence.
constexpr size_t kFewSamples = 48;
// The sine of a step below which two neighbours say nothing of the quadrature.
constexpr double kLeastSine = 0x1p-100;
// Steps from z, before the second part of m w is too large to be rounded.
constexpr size_t kSection = size_t{1} << 20;

// As the recurrence would, without its errors: z e^(i m w), z the last value and, of a real tone, its quadrature.
// Tables of kSize places.
template <size_t kSize, size_t P, class T>
MOX_NOINLINE void toneByArcs(double frequency, double twoCos, double* history, T* out, size_t n) {
  using V = Full<double>;
  constexpr size_t kReach = Arcs<kSize>::kReach;
  const double high = upper22Bits(frequency);
  const Turn turn = {high, frequency - high};
  double re[kArcs], im[kArcs];
  size_t count = n < kReach ? n : kReach;
  circlePoints(1, kSize, turn, (count + kSize - 1) / kSize, re, im);
  const double c = re[0], s = im[0];
  if (s < kLeastSine) return recurrence<P>(twoCos, history, out, n);
  double quadrature = history[1];
  if (P == 1) {
    // (y[-2] - y[-1] cos w) / sin w; the cosine is near 1 or -1 where precision is short.
    const double y = c < 0 ? -history[0] : history[0], rest = s * s / (1 + (c < 0 ? -c : c));
    quadrature = ((history[1] - y) + y * rest) / s;
  }
  Pair<V> z = {broadcast<V>(history[0]), broadcast<V>(quadrature)};
  // Behind what all else waits for.
  Arcs<kSize> arcs;
  arcs.circle.set(turn);
  arcs.re[kArcs] = arcs.im[kArcs] = 0;
  for (size_t i = 0, section = 0;;) {
    arcs.re[0] = arcs.re[kArcs];
    arcs.im[0] = arcs.im[kArcs];
    for (size_t k = 0; k * kSize < count; k += kLanes<double>) {
      const Pair<V> begin = product(z, {load<V>(re + k), load<V>(im + k)});
      store(arcs.re + 1 + k, begin.a);
      store(arcs.im + 1 + k, begin.b);
    }
    putArcs<P>(arcs, out + P * i, count);
    i += count;
    if (i == n) break;
    if (i - section == kSection) {
      circlePoints(static_cast<int32_t>(kSection), 0, turn, 1, re, im);
      z = product(z, {load<V>(re), load<V>(im)});
      section = i;
    }
    count = n - i < kReach ? n - i : kReach;
    circlePoints(static_cast<int32_t>(i - section) + 1, kSize, turn, (count + kSize - 1) / kSize, re, im);
  }
  valueOfArcs<P>(arcs, static_cast<ptrdiff_t>(count) - 1, history);
  valueOfArcs<P>(arcs, static_cast<ptrdiff_t>(count) - 2, history + P);
}

template <size_t P, class T>
void tone(double frequency, double twoCos, double* history, T* out, size_t n) {
  if (n < kFewSamples) return recurrence<P>(twoCos, history, out, n);
  if (n <= 8 * kArcs) return toneByArcs<8, P>(frequency, twoCos, history, out, n);
  if (n <= 16 * kArcs) return toneByArcs<16, P>(frequency, twoCos, history, out, n);
  toneByArcs<kArc, P>(frequency, twoCos, history, out, n);
}

// ---- triangles

// The two comparisons of every step, as they are: a step may take both turns.
MOX_INLINE void stepTriangle(const TriangleShape& shape, double& value, double& step) {
  value += step;
  if (value > shape.mag) [[unlikely]] {
    value = (value - shape.mag) * shape.downRatio + shape.mag;
    step = shape.downStep;
  }
  if (value < -shape.mag) [[unlikely]] {
    value = (value + shape.mag) * shape.upRatio - shape.mag;
    step = shape.upStep;
  }
}

template <size_t P, class T>
void triangle(const TriangleShape& given, double* values, double* steps, T* out, size_t n) {
  const TriangleShape shape = given;
  double value[P], step[P];
  for (size_t p = 0; p < P; ++p) value[p] = values[p], step[p] = steps[p];
  for (size_t i = 0; i < n;) {
    double stretch[kStretch];
    const size_t m = n - i < kStretch / P ? n - i : kStretch / P;
    for (size_t k = 0; k < m; ++k) {
      for (size_t p = 0; p < P; ++p) {
        stretch[P * k + p] = value[p];
        stepTriangle(shape, value[p], step[p]);
      }
    }
    putReals(stretch, out + P * i, P * m);
    i += m;
  }
  for (size_t p = 0; p < P; ++p) values[p] = value[p], steps[p] = step[p];
}

template <class T>
constexpr Generator<T> generatorKernels() {
  return {
      .tone = tone<1, T>,
      .toneComplex = tone<2, T>,
      .triangle = triangle<1, T>,
      .triangleComplex = triangle<2, T>,
  };
}
