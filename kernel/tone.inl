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

// Where arcs begin; the last one of the stretch before stands first.
struct Arcs {
  double re[1 + kArcs], im[1 + kArcs];
};
// A vector of values of arc k, from its place j on.
MOX_INLINE Pair<Full<double>> arcValues(const Circle& c, const Arcs& arcs, size_t k, size_t j) {
  using V = Full<double>;
  return product({broadcast<V>(arcs.re[k]), broadcast<V>(arcs.im[k])}, {load<V>(c.cosine + j), load<V>(c.sine + j)});
}
template <size_t P, class T>
MOX_INLINE void putArc(const Circle& c, const Arcs& arcs, size_t k, T* out) {
#pragma GCC unroll 4
  for (size_t j = 0; j < kArc; j += kLanes<double>) {
    const Pair<Full<double>> v = arcValues(c, arcs, k, j);
    if constexpr (P == 1) {
      narrowTo(out + j, v.a);
    } else {
      const Pair<Full<double>> z = zipped(v);
      narrowTo(out + 2 * j, z.a);
      narrowTo(out + 2 * j + kLanes<double>, z.b);
    }
  }
}
// A stretch.
template <size_t P, class T>
MOX_INLINE void putArcs(const Circle& c, const Arcs& arcs, T* out, size_t count) {
  size_t k = 1;
  for (; count >= kArc; count -= kArc, out += P * kArc) putArc<P>(c, arcs, k++, out);
  if (count == 0) return;
  T some[P * kArc];
  putArc<P>(c, arcs, k, some);
  __builtin_memcpy(out, some, P * count * sizeof(T));
}
template <size_t P>
MOX_INLINE void putArcs(const Circle& c, const Arcs& arcs, int16_t* out, size_t count) {
  double stretch[P * kStretch];
  for (size_t k = 0; k * kArc < count; ++k) putArc<P>(c, arcs, 1 + k, stretch + P * kArc * k);
  putReals(stretch, out, P * count);
}
// Value i of the stretch as it was put, before its rounding to T; -1 is the last one of the stretch before.
template <size_t P>
MOX_INLINE void valueOfArcs(const Circle& c, const Arcs& arcs, ptrdiff_t i, double* value) {
  constexpr size_t L = kLanes<double>;
  const size_t place = static_cast<size_t>(i + static_cast<ptrdiff_t>(kArc)), k = place / kArc, j = place % kArc;
  const Pair<Full<double>> v = arcValues(c, arcs, k, j - j % L);
  double lanes[2 * L];
  store(lanes, v.a);
  store(lanes + L, v.b);
  for (size_t p = 0; p < P; ++p) value[p] = lanes[p * L + j % L];
}

// Below, building a table takes longer than the recurrence.
constexpr size_t kFewSamples = 48;
// The sine of a step below which two neighbours say nothing of the quadrature.
constexpr double kLeastSine = 0x1p-100;
// Steps from z, before the second part of m w is too large to be rounded.
constexpr size_t kSection = size_t{1} << 20;

// As the recurrence would, without its errors: z e^(i m w), z the last value and, of a real tone, its quadrature.
template <size_t P, class T>
void tone(double frequency, double twoCos, double* history, T* out, size_t n) {
  using V = Full<double>;
  if (n < kFewSamples) return recurrence<P>(twoCos, history, out, n);
  const double high = upper22Bits(frequency);
  const Circle circle({high, frequency - high});
  const double c = circle.cosine[1], s = circle.sine[1];
  if (s < kLeastSine) return recurrence<P>(twoCos, history, out, n);
  double quadrature = history[1];
  if (P == 1) {
    // (y[-2] - y[-1] cos w) / sin w; the cosine is near 1 or -1 where precision is short.
    const double y = c < 0 ? -history[0] : history[0], rest = s * s / (1 + (c < 0 ? -c : c));
    quadrature = ((history[1] - y) + y * rest) / s;
  }
  Pair<V> z = {broadcast<V>(history[0]), broadcast<V>(quadrature)};
  Arcs arcs = {};
  size_t count = 0, section = 0;
  for (size_t i = 0; i < n; i += count) {
    double re[kArcs], im[kArcs];
    if (i - section == kSection) {
      circlePoints(static_cast<int32_t>(kSection), 0, circle.turn, 1, re, im);
      z = product(z, {load<V>(re), load<V>(im)});
      section = i;
    }
    count = n - i < kStretch ? n - i : kStretch;
    arcs.re[0] = arcs.re[kArcs];
    arcs.im[0] = arcs.im[kArcs];
    circlePoints(static_cast<int32_t>(i - section) + 1, kArc, circle.turn, (count + kArc - 1) / kArc, re, im);
    for (size_t k = 0; k * kArc < count; k += kLanes<double>) {
      const Pair<V> begin = product(z, {load<V>(re + k), load<V>(im + k)});
      store(arcs.re + 1 + k, begin.a);
      store(arcs.im + 1 + k, begin.b);
    }
    putArcs<P>(circle, arcs, out + P * i, count);
  }
  valueOfArcs<P>(circle, arcs, static_cast<ptrdiff_t>(count) - 1, history);
  valueOfArcs<P>(circle, arcs, static_cast<ptrdiff_t>(count) - 2, history + P);
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
