// Two-dimensional convolution through transforms, block by block.
//
// A block is a torus of 2^p rows and 2^q columns. Its rows are transformed as real signals; what then stands in places
// 2k and 2k + 1 of every row is a column of complex values, but for the first one, whose parts are two real columns
// (X[0] and X[2^(q-1)] of every row). Columns go through their transform, the product and the way back a few at a time,
// in an array of their own, so that every cache line of the block is read once and written once.

// Columns at a time: a cache line of every row.
template <class T>
constexpr size_t kPlaneGroup = 32 / sizeof(T);
// Columns of at most so many bytes go through the transform, the product and the way back together: a step that begins
// with the values of the one before finds them in stores of other widths (AVX-512, 64 float32 rows: 113 against 78 ns).
constexpr size_t kPlaneBatchBytes = 8192;
// Behind every row of the block and every column: powers of two apart, all of them would share a few cache sets.
template <class T>
constexpr size_t kPlaneGap = 64 / sizeof(T);

template <class T>
struct PlaneLayout {
  size_t rows, cols;          // of the block
  size_t rowPitch, colPitch;  // reals
  size_t columns, group;      // complex columns of the block, and of those at a time
  size_t batch;               // columns that go through each of the three steps together
  MOX_INLINE explicit PlaneLayout(const PlanePlan<T>& plan)
      : rows(size_t{1} << plan.rowOrder),
        cols(size_t{1} << plan.colOrder),
        rowPitch(cols + kPlaneGap<T>),
        colPitch(2 * rows + kPlaneGap<T>),
        columns(cols / 2),
        group(columns < kPlaneGroup<T> ? columns : kPlaneGroup<T>),
        batch(2 * rows * sizeof(T) * group <= kPlaneBatchBytes || group < 2 ? group : 2) {}
};

template <class T>
uint64_t planeBlockElements(int rowOrder, int colOrder) {
  const uint64_t rows = uint64_t{1} << rowOrder, cols = uint64_t{1} << colOrder;
  return rows * (cols + kPlaneGap<T>)+kPlaneGroup<T> * (2 * rows + kPlaneGap<T>)+2 * cols;
}
template <class T>
uint64_t planeResponseElements(int rowOrder, int colOrder) {
  return (uint64_t{1} << colOrder) / 2 * ((uint64_t{2} << rowOrder) + kPlaneGap<T>);
}
// Within the block's array.
template <class T>
MOX_INLINE T* planeColumns(const PlanePlan<T>& plan, const PlaneLayout<T>& at) {
  return plan.block + at.rows * at.rowPitch;
}
template <class T>
MOX_INLINE T* planeLine(const PlanePlan<T>& plan, const PlaneLayout<T>& at) {
  return planeColumns(plan, at) + kPlaneGroup<T> * at.colPitch;
}

template <class T>
MOX_INLINE const Fft<T>& planeTransforms() {
  if constexpr (sizeof(T) == 4) {
    return table.fft32;
  } else {
    return table.fft64;
  }
}

// ---- rows and columns: 16 bytes, one complex float64 value or two of float32, of two rows at a time

template <class T>
constexpr size_t kPlaneTurned = 8 / sizeof(T);  // complex values in 16 bytes

MOX_INLINE void planeTurn(const double* row, const double* next, double* column, size_t) {
  store(column, load<Vec<double, 2>>(row));
  store(column + 2, load<Vec<double, 2>>(next));
}
MOX_INLINE void planeTurn(const float* row, const float* next, float* column, size_t pitch) {
  const Vec<float, 4> a = load<Vec<float, 4>>(row), b = load<Vec<float, 4>>(next);
  store(column, Vec<float, 4>(_mm_movelh_ps(a, b)));
  store(column + pitch, Vec<float, 4>(_mm_movehl_ps(b, a)));
}
MOX_INLINE void planeTurnBack(const double* column, size_t, double* row, double* next) {
  store(row, load<Vec<double, 2>>(column));
  store(next, load<Vec<double, 2>>(column + 2));
}
MOX_INLINE void planeTurnBack(const float* column, size_t pitch, float* row, float* next) {
  const Vec<float, 4> a = load<Vec<float, 4>>(column), b = load<Vec<float, 4>>(column + pitch);
  store(row, Vec<float, 4>(_mm_movelh_ps(a, b)));
  store(next, Vec<float, 4>(_mm_movehl_ps(b, a)));
}

// A group of columns from the block's first `rows` rows, an even number; zeros behind them.
template <class T>
void planeGather(const T* block, const PlaneLayout<T>& at, size_t rows, T* columns) {
  for (size_t k = 0; k < at.group; ++k) {
    T* const column = columns + k * at.colPitch;
    for (size_t i = 2 * rows; i < 2 * at.rows; ++i) column[i] = 0;
  }
  for (size_t r = 0; r < rows; r += 2) {
    const T* const row = block + r * at.rowPitch;
    for (size_t k = 0; k < at.group; k += kPlaneTurned<T>) {
      planeTurn(row + 2 * k, row + at.rowPitch + 2 * k, columns + k * at.colPitch + 2 * r, at.colPitch);
    }
  }
}
// Rows from `begin`, an even one, to `end` - 1, one more where that makes an odd number.
template <class T>
void planeScatter(const T* columns, const PlaneLayout<T>& at, size_t begin, size_t end, T* block) {
  for (size_t r = begin; r < end; r += 2) {
    T* const row = block + r * at.rowPitch;
    for (size_t k = 0; k < at.group; k += kPlaneTurned<T>) {
      planeTurnBack(columns + k * at.colPitch + 2 * r, at.colPitch, row + 2 * k, row + at.rowPitch + 2 * k);
    }
  }
}

// The product of the first column: x = A + i B and response = P + i Q, with real signals behind A, B, P, Q, give
// A P + i B Q.
template <class T>
void planeFirstProduct(T* x, const T* response, size_t n) {
  const T half = static_cast<T>(0.5);
  for (size_t k = 0, m = 0; k <= n / 2; ++k, m = n - k) {
    T* const z = x + 2 * k;
    T* const w = x + 2 * m;
    const T* const f = response + 2 * k;
    const T* const g = response + 2 * m;
    // A and i B, P and Q
    const T ar = half * (z[0] + w[0]), ai = half * (z[1] - w[1]), br = half * (z[0] - w[0]), bi = half * (z[1] + w[1]);
    const T pr = half * (f[0] + g[0]), pi = half * (f[1] - g[1]), qr = half * (f[1] + g[1]), qi = half * (g[0] - f[0]);
    const T apr = ar * pr - ai * pi, api = ar * pi + ai * pr, bqr = br * qr - bi * qi, bqi = br * qi + bi * qr;
    w[0] = apr - bqr;
    w[1] = bqi - api;
    z[0] = apr + bqr;
    z[1] = api + bqi;
  }
}

// ---- the taps, once, and blocks of results

// No overlap.
template <class T>
MOX_INLINE void planeCopy(const T* from, size_t n, T* to) {
  using V = Vec<T, kLanes<T>>;
  constexpr size_t L = kLanes<T>;
  size_t i = 0;
  for (; i + L <= n; i += L) store(to + i, load<V>(from + i));
  if (i == n) return;
  if (n >= L) return store(to + (n - L), load<V>(from + (n - L)));
  for (; i < n; ++i) to[i] = from[i];
}

// One dimension of a block: the torus begins with what the image has from the first place that the results reach back
// to, `lead` places before them; `count` places are there, the others are zero.
struct PlaneSpan {
  size_t begin, lead, count;
  MOX_INLINE PlaneSpan(size_t first, size_t n, size_t image, size_t reach)
      : begin(first - (first < reach ? first : reach)),
        lead(first - begin),
        count(image <= begin             ? 0
              : image - begin < lead + n ? image - begin
                                         : lead + n) {}
};

template <class T>
void planeSetTaps(const PlanePlan<T>& plan, const Plane<T>& taps) {
  const PlaneLayout<T> at(plan);
  const auto& fft = planeTransforms<T>();
  T *const line = planeLine(plan, at), *const columns = planeColumns(plan, at);
  for (size_t i = 0; i < at.cols; ++i) line[i] = 0;
  for (size_t r = 0; r < taps.rows; ++r) {
    for (size_t c = 0; c < taps.cols; ++c) line[c] = taps.values[r * taps.cols + c];
    fft.toSpectrum[0][plan.colOrder](line, plan.block + r * at.rowPitch, plan.rowTable, 1);
  }
  const size_t head = (taps.rows + 1) & ~size_t{1};
  if (head > taps.rows) {
    T* const row = plan.block + taps.rows * at.rowPitch;
    for (size_t i = 0; i < at.cols; ++i) row[i] = 0;
  }
  for (size_t g = 0; g < at.columns; g += at.group) {
    planeGather(plan.block + 2 * g, at, head, columns);
    for (size_t k = 0; k < at.group; ++k) {
      fft.forward[plan.rowOrder](columns + k * at.colPitch, plan.response + (g + k) * at.colPitch, plan.colTable, 1);
    }
  }
}

template <class T>
void planeBlock(const PlanePlan<T>& plan, const Plane<T>& image, size_t top, size_t left, T* out, size_t outPitch,
                size_t rows, size_t cols) {
  const PlaneLayout<T> at(plan);
  const auto& fft = planeTransforms<T>();
  T *const line = planeLine(plan, at), *const columns = planeColumns(plan, at);

  const PlaneSpan down(top, rows, image.rows, plan.tapRows - 1), across(left, cols, image.cols, plan.tapCols - 1);
  for (size_t i = across.count; i < at.cols; ++i) line[i] = 0;
  const size_t head = (down.count + 1) & ~size_t{1};
  for (size_t r = 0; r < down.count; ++r) {
    const T* source = image.values + (down.begin + r) * image.cols + across.begin;
    if (across.count < at.cols) {
      planeCopy(source, across.count, line);
      source = line;
    }
    fft.toSpectrum[0][plan.colOrder](source, plan.block + r * at.rowPitch, plan.rowTable, 1);
  }
  if (head > down.count) {
    T* const row = plan.block + down.count * at.rowPitch;
    for (size_t i = 0; i < at.cols; ++i) row[i] = 0;
  }

  const T colScale = static_cast<T>(1) / static_cast<T>(at.rows),
          rowScale = static_cast<T>(1) / static_cast<T>(at.cols);
  for (size_t g = 0; g < at.columns; g += at.group) {
    planeGather(plan.block + 2 * g, at, head, columns);
    for (size_t k = 0; k < at.group; k += at.batch) {
      T* const x = columns + k * at.colPitch;
      const T* const response = plan.response + (g + k) * at.colPitch;
      for (size_t i = 0; i < at.batch; ++i) {
        fft.forward[plan.rowOrder](x + i * at.colPitch, x + i * at.colPitch, plan.colTable, 1);
      }
      if (g + k == 0) planeFirstProduct(x, response, at.rows);
      for (size_t i = g + k == 0 ? 1 : 0; i < at.batch; ++i) {
        fft.multiply(response + i * at.colPitch, x + i * at.colPitch, at.rows);
      }
      for (size_t i = 0; i < at.batch; ++i) {
        fft.inverse[plan.rowOrder](x + i * at.colPitch, x + i * at.colPitch, plan.colTable, colScale);
      }
    }
    planeScatter(columns, at, down.lead & ~size_t{1}, down.lead + rows, plan.block + 2 * g);
  }

  // A line is copied behind the transform of the next one, as its places there are others than those of the stores.
  for (size_t r = 0; r <= rows; ++r) {
    if (r < rows) {
      const T* const row = plan.block + (down.lead + r) * at.rowPitch;
      fft.toSignal[1][plan.colOrder](row[0], row[1], row + 2, line + (r & 1) * at.cols, plan.rowTable, rowScale);
    }
    if (r > 0) planeCopy(line + (~r & 1) * at.cols + across.lead, cols, out + (r - 1) * outPitch);
  }
}

template <class T>
constexpr PlaneKernels<T> planeKernels() {
  return {.direct = planeDirect<T>,
          .blockElements = planeBlockElements<T>,
          .responseElements = planeResponseElements<T>,
          .setTaps = planeSetTaps<T>,
          .block = planeBlock<T>};
}
