// Two-dimensional convolution through transforms, block by block.
//
// A block is a torus of 2^p rows and 2^q columns. Its rows are transformed as real signals; what then stands in places
// 2k and 2k + 1 of every row is a column of complex values, but for the first one, whose parts are two real columns
// (X[0] and X[2^(q-1)] of every row). Columns go through their transform, the product and the way back a few at a time,
// in an array of their own, so that every cache line of the block is read once and written once.

constexpr size_t kPlaneGroup = 8;  // columns at a time
// Behind every row of the block and every column: powers of two apart, all of them would share a few cache sets.
template <class T>
constexpr size_t kPlaneGap = 64 / sizeof(T);

template <class T>
struct PlaneLayout {
  size_t rows, cols;          // of the block
  size_t rowPitch, colPitch;  // reals
  size_t columns, group;      // complex columns of the block, and of those at a time
  MOX_INLINE explicit PlaneLayout(const PlanePlan<T>& plan)
      : rows(size_t{1} << plan.rowOrder),
        cols(size_t{1} << plan.colOrder),
        rowPitch(cols + kPlaneGap<T>),
        colPitch(2 * rows + kPlaneGap<T>),
        columns(cols / 2),
        group(columns < kPlaneGroup ? columns : kPlaneGroup) {}
};

template <class T>
uint64_t planeBlockElements(int rowOrder, int colOrder) {
  const uint64_t rows = uint64_t{1} << rowOrder, cols = uint64_t{1} << colOrder;
  return rows * (cols + kPlaneGap<T>)+kPlaneGroup * (2 * rows + kPlaneGap<T>)+cols;
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
  return planeColumns(plan, at) + kPlaneGroup * at.colPitch;
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

// A group of columns from the block's rows 0 ... head - 1 and tail ... end, head and tail even; zeros between.
template <class T>
void planeGather(const T* block, const PlaneLayout<T>& at, size_t head, size_t tail, T* columns) {
  for (size_t k = 0; k < at.group; ++k) {
    T* const column = columns + k * at.colPitch;
    for (size_t i = 2 * head; i < 2 * tail; ++i) column[i] = 0;
  }
  for (size_t r = 0; r < at.rows; r += 2) {
    if (r == head) r = tail;
    if (r == at.rows) break;
    const T* const row = block + r * at.rowPitch;
    for (size_t k = 0; k < at.group; k += kPlaneTurned<T>) {
      planeTurn(row + 2 * k, row + at.rowPitch + 2 * k, columns + k * at.colPitch + 2 * r, at.colPitch);
    }
  }
}
// The first `rows` rows, one more where that is odd.
template <class T>
void planeScatter(const T* columns, const PlaneLayout<T>& at, size_t rows, T* block) {
  for (size_t r = 0; r < rows; r += 2) {
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

template <class T>
MOX_INLINE void planeCopy(const T* from, size_t n, T* to) {
  size_t i = 0;
  for (; i + kLanes<T> <= n; i += kLanes<T>) store(to + i, load<Vec<T, kLanes<T>>>(from + i));
  for (; i < n; ++i) to[i] = from[i];
}

// One dimension of a block: its results from place `begin` on stand at 0 of the torus, where `after` places of the
// image stand too. They also want the `room` places before, which come in at the torus' end; `before` of them are
// there.
struct PlaneSpan {
  size_t begin, after, room, before, torus;
  MOX_INLINE PlaneSpan(size_t first, size_t n, size_t image, size_t reach, size_t size)
      : begin(first),
        after(image <= first      ? 0
              : image - first < n ? image - first
                                  : n),
        room(first < reach ? first : reach),
        before(image - (first - room) < room ? image - (first - room) : room),
        torus(size) {}
  // The place of the image that stands at i of the torus, or none.
  MOX_INLINE size_t source(size_t i) const {
    if (i < after) return begin + i;
    const size_t k = i + room - torus;  // wraps before the room
    return k < before ? begin - room + k : kNone;
  }
  static constexpr size_t kNone = ~size_t{0};
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
    planeGather(plan.block + 2 * g, at, head, at.rows, columns);
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

  // Result (top, left) is at (0, 0) of the torus; what the image has above and to the left comes in at its end.
  const PlaneSpan down(top, rows, image.rows, plan.tapRows - 1, at.rows);
  const PlaneSpan across(left, cols, image.cols, plan.tapCols - 1, at.cols);
  for (size_t i = 0; i < at.cols; ++i) line[i] = 0;
  size_t head = (down.after + 1) & ~size_t{1}, tail = (at.rows - down.room) & ~size_t{1};
  if (head > tail) head = tail = at.rows;
  for (size_t r = 0; r < at.rows; ++r) {
    if (r == head) r = tail;
    if (r == at.rows) break;
    T* const row = plan.block + r * at.rowPitch;
    const size_t from = down.source(r);
    if (from == PlaneSpan::kNone) {
      for (size_t i = 0; i < at.cols; ++i) row[i] = 0;
      continue;
    }
    const T* const source = image.values + from * image.cols;
    if (across.after > 0) planeCopy(source + across.begin, across.after, line);
    planeCopy(source + (across.begin - across.room), across.before, line + (at.cols - across.room));
    fft.toSpectrum[0][plan.colOrder](line, row, plan.rowTable, 1);
  }

  const T colScale = static_cast<T>(1) / static_cast<T>(at.rows),
          rowScale = static_cast<T>(1) / static_cast<T>(at.cols);
  for (size_t g = 0; g < at.columns; g += at.group) {
    planeGather(plan.block + 2 * g, at, head, tail, columns);
    for (size_t k = 0; k < at.group; ++k) {
      T* const x = columns + k * at.colPitch;
      const T* const response = plan.response + (g + k) * at.colPitch;
      fft.forward[plan.rowOrder](x, x, plan.colTable, 1);
      if (g + k == 0) {
        planeFirstProduct(x, response, at.rows);
      } else {
        fft.multiply(response, x, at.rows);
      }
      fft.inverse[plan.rowOrder](x, x, plan.colTable, colScale);
    }
    planeScatter(columns, at, rows, plan.block + 2 * g);
  }

  for (size_t r = 0; r < rows; ++r) {
    const T* const row = plan.block + r * at.rowPitch;
    fft.toSignal[1][plan.colOrder](row[0], row[1], row + 2, line, plan.rowTable, rowScale);
    planeCopy(line, cols, out + r * outPitch);
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
