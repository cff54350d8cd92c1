// Two-dimensional convolution by its products, in float64.
//
// A block of results is formed from a window of the image that is widened once, a stretch of the taps at a time. Every
// load of the window serves kPlaneRows rows of results: with one row of results at a time (fir.inl) loads that cross
// cache lines are the limit. Every result adds its products in an order that depends on the taps' shape alone, and is
// the same on every set.

constexpr int kPlaneRows = 4;
// Vectors of results in one row at a time, as many as there are registers.
constexpr int kPlaneVectors = sizeof(void*) == 4 ? 1 : kVecBytes == 64 ? 4 : kVecBytes == 32 ? 3 : 2;

constexpr size_t kPlaneTapRows = 16, kPlaneTapCols = 64;  // a stretch of the taps
constexpr size_t kPlaneBlockRows = 16;                    // a block of results has so many rows,
constexpr size_t kPlaneSums = 1024;                       // and so many sums where the taps have several stretches
constexpr size_t kPlaneWindow = 4096;                     // a stretch of the image
static_assert((kPlaneBlockRows + kPlaneTapRows - 1) * (kPlaneSums / kPlaneBlockRows + kPlaneTapCols - 1) <=
              kPlaneWindow);

// sums[v] += taps[v - Lo] times a row of the window, v = Lo ... Hi, for all columns of the taps: the next one is
// `tapRows` further and takes the window one value to the left.
template <int Lo, int Hi, int V, int W>
MOX_INLINE void planeRow(FirVec (&sums)[V][W], const double* taps, size_t tapRows, size_t tapCols, const double* w) {
  for (; tapCols > 0; --tapCols, taps += tapRows, --w) {
    FirVec x[W];
#pragma GCC unroll 8
    for (int k = 0; k < W; ++k) x[k] = load<FirVec>(w + k * kFirLanes);
#pragma GCC unroll 8
    for (int v = Lo; v <= Hi; ++v) {
      const FirVec tap = broadcast<FirVec>(taps[v - Lo]);
#pragma GCC unroll 8
      for (int k = 0; k < W; ++k) sums[v][k] = fma(x[k], tap, sums[v][k]);
    }
  }
}

// V rows of W vectors. Row s of the window, `pitch` values after the one before, holds what row v of the results meets
// with row tapRows - 1 - s + v of the taps; only the rows from `first` to `last` - 1 are there. taps[j tapRows + i] is
// that of row i and column j.
template <int V, int W, class Out>
MOX_INLINE void planeTile(const double* taps, size_t tapRows, size_t tapCols, const double* w, size_t pitch,
                          size_t first, size_t last, const double* before, size_t beforePitch, Out* out,
                          size_t outPitch) {
  FirVec sums[V][W] = {};
  if (before) {
#pragma GCC unroll 8
    for (int v = 0; v < V; ++v) {
#pragma GCC unroll 8
      for (int k = 0; k < W; ++k) {
        sums[v][k] = load<FirVec>(before + static_cast<size_t>(v) * beforePitch + k * kFirLanes);
      }
    }
  }
  const size_t all = tapRows + V - 1;
  if (last > all) last = all;
  for (size_t s = first; s < last; ++s) {
    const size_t lo = s + 1 > tapRows ? s + 1 - tapRows : 0;
    const size_t hi = s < V - 1 ? s : V - 1;
    const double* const t = taps + (tapRows - 1 + lo - s);
    const double* const x = w + s * pitch;
    if constexpr (V == 4) {
      switch (4 * lo + hi) {
        case 0:
          planeRow<0, 0>(sums, t, tapRows, tapCols, x);
          break;
        case 1:
          planeRow<0, 1>(sums, t, tapRows, tapCols, x);
          break;
        case 2:
          planeRow<0, 2>(sums, t, tapRows, tapCols, x);
          break;
        case 3:
          planeRow<0, 3>(sums, t, tapRows, tapCols, x);
          break;
        case 5:
          planeRow<1, 1>(sums, t, tapRows, tapCols, x);
          break;
        case 6:
          planeRow<1, 2>(sums, t, tapRows, tapCols, x);
          break;
        case 7:
          planeRow<1, 3>(sums, t, tapRows, tapCols, x);
          break;
        case 10:
          planeRow<2, 2>(sums, t, tapRows, tapCols, x);
          break;
        case 11:
          planeRow<2, 3>(sums, t, tapRows, tapCols, x);
          break;
        default:
          planeRow<3, 3>(sums, t, tapRows, tapCols, x);
      }
    } else {
      planeRow<0, 0>(sums, t, tapRows, tapCols, x);
    }
  }
#pragma GCC unroll 8
  for (int v = 0; v < V; ++v) {
#pragma GCC unroll 8
    for (int k = 0; k < W; ++k) firStore(out + static_cast<size_t>(v) * outPitch + k * kFirLanes, sums[v][k]);
  }
}

// n columns of V rows; whole vectors of the window may be read.
template <int V, class Out>
MOX_NOINLINE void planeRows(const double* taps, size_t tapRows, size_t tapCols, const double* w, size_t pitch,
                            size_t first, size_t last, const double* before, size_t beforePitch, Out* out,
                            size_t outPitch, size_t n) {
  constexpr int W = kPlaneVectors;
  constexpr size_t kTile = W * kFirLanes;
  size_t c = 0;
  for (; c + kTile <= n; c += kTile) {
    planeTile<V, W>(taps, tapRows, tapCols, w + c, pitch, first, last, before ? before + c : nullptr, beforePitch,
                    out + c, outPitch);
  }
  for (; c + kFirLanes <= n; c += kFirLanes) {
    planeTile<V, 1>(taps, tapRows, tapCols, w + c, pitch, first, last, before ? before + c : nullptr, beforePitch,
                    out + c, outPitch);
  }
  if (c == n) return;
  double start[V * kFirLanes];
  Out end[V * kFirLanes];
  for (size_t i = 0; before && i < V * kFirLanes; ++i) {
    const size_t column = c + i % kFirLanes;
    start[i] = column < n ? before[i / kFirLanes * beforePitch + column] : 0;
  }
  planeTile<V, 1>(taps, tapRows, tapCols, w + c, pitch, first, last, before ? start : nullptr, kFirLanes, end,
                  kFirLanes);
  for (size_t v = 0; v < V; ++v) {
    for (size_t k = c; k < n; ++k) out[v * outPitch + k] = end[v * kFirLanes + k - c];
  }
}

// `rows` rows, n columns; the taps are one stretch.
template <class Out>
void planeStretch(const double* taps, size_t tapRows, size_t tapCols, const double* w, size_t pitch, size_t first,
                  size_t last, const double* before, size_t beforePitch, Out* out, size_t outPitch, size_t rows,
                  size_t n) {
  for (size_t r = 0; r < rows;) {
    const bool many = tapRows > 1 && r + kPlaneRows <= rows;
    const size_t from = first > r ? first - r : 0, to = last > r ? last - r : 0;
    const double* const at = before ? before + r * beforePitch : nullptr;
    if (tapRows == 1) {
      const size_t count = from == 0 && to > 0 ? tapCols : 0;
      firSlide<Out>(taps, count, w + r * pitch, 1, at, out + r * outPitch, n);
    } else if (many) {
      planeRows<kPlaneRows>(taps, tapRows, tapCols, w + r * pitch, pitch, from, to, at, beforePitch, out + r * outPitch,
                            outPitch, n);
    } else {
      planeRows<1>(taps, tapRows, tapCols, w + r * pitch, pitch, from, to, at, beforePitch, out + r * outPitch,
                   outPitch, n);
    }
    r += many ? kPlaneRows : 1;
  }
}

// As planeDirect(), where infinities and NaN among the taps must not meet the zeros beside the image.
template <class T>
MOX_NOINLINE void planeClipped(const Plane<T>& image, const Plane<T>& taps, size_t top, size_t left, T* out,
                               size_t rows, size_t cols) {
  for (size_t r = top; r < top + rows; ++r) {
    for (size_t c = left; c < left + cols; ++c) {
      double sum = 0;
      for (size_t i = 0; i < taps.rows && i <= r; ++i) {
        if (r - i >= image.rows) continue;
        for (size_t j = 0; j < taps.cols && j <= c; ++j) {
          if (c - j >= image.cols) continue;
          sum = fma(double{taps.values[i * taps.cols + j]}, double{image.values[(r - i) * image.cols + (c - j)]}, sum);
        }
      }
      *out++ = static_cast<T>(sum);
    }
  }
}

// A stretch of the taps, turned: tap (i, j) at to[j rows + i]. False where one is infinite or NaN.
template <class T>
bool planeTaps(const Plane<T>& taps, size_t i0, size_t rows, size_t j0, size_t cols, double* to) {
  double all = 0;
  for (size_t i = 0; i < rows; ++i) {
    const T* const row = taps.values + (i0 + i) * taps.cols + j0;
    for (size_t j = 0; j < cols; ++j) {
      to[j * rows + i] = row[j];
      all += double{row[j]} - double{row[j]};
    }
  }
  return all == 0;
}

// Columns `from` to from + n - 1 of the image, zero where it has none.
template <class T>
void planeWindowRow(const T* row, size_t cols, ptrdiff_t from, size_t n, double* to) {
  for (; from < 0 && n > 0; ++from, --n) *to++ = 0;
  const size_t at = static_cast<size_t>(from), there = at >= cols ? 0 : cols - at < n ? cols - at : n;
  firWiden(row + (there > 0 ? at : 0), there, to);
  for (size_t k = there; k < n; ++k) to[k] = 0;
}

template <class T>
void planeDirect(const Plane<T>& image, const Plane<T>& taps, size_t top, size_t left, T* out, size_t rows,
                 size_t cols) {
  alignas(64) double window[kPlaneWindow], held[kPlaneTapRows * kPlaneTapCols], sums[kPlaneSums];
  const bool split = taps.rows > kPlaneTapRows || taps.cols > kPlaneTapCols;
  const size_t mostRows = taps.rows < kPlaneTapRows ? taps.rows : kPlaneTapRows;
  const size_t mostCols = taps.cols < kPlaneTapCols ? taps.cols : kPlaneTapCols;
  // The columns of a block, with room for the rest of the last vector.
  constexpr size_t kRound = 8 * kPlaneVectors;
  size_t width = kPlaneSums / kPlaneBlockRows;
  if (!split) width = (kPlaneWindow / (kPlaneBlockRows + mostRows - 1) - (mostCols - 1)) / kRound * kRound;
  if (!split && !planeTaps(taps, 0, mostRows, 0, mostCols, held)) {
    return planeClipped(image, taps, top, left, out, rows, cols);
  }
  for (size_t c = 0; c < cols; c += width) {
    const size_t n = cols - c < width ? cols - c : width;
    for (size_t r = 0; r < rows; r += kPlaneBlockRows) {
      const size_t m = rows - r < kPlaneBlockRows ? rows - r : kPlaneBlockRows;
      T* const to = out + r * cols + c;
      bool begun = false;
      for (size_t i0 = 0; i0 < taps.rows; i0 += kPlaneTapRows) {
        const size_t tapRows = taps.rows - i0 < kPlaneTapRows ? taps.rows - i0 : kPlaneTapRows;
        // Row s of the window is row `oldest` + s of the image.
        const ptrdiff_t oldest = static_cast<ptrdiff_t>(top + r) - static_cast<ptrdiff_t>(i0 + tapRows - 1);
        const ptrdiff_t end = static_cast<ptrdiff_t>(image.rows) - oldest;
        const size_t all = m + tapRows - 1;
        const size_t first = oldest < 0 ? static_cast<size_t>(-oldest) : 0;
        const size_t last = end < 0 ? 0 : static_cast<size_t>(end) < all ? static_cast<size_t>(end) : all;
        for (size_t j0 = 0; j0 < taps.cols; j0 += kPlaneTapCols) {
          const size_t tapCols = taps.cols - j0 < kPlaneTapCols ? taps.cols - j0 : kPlaneTapCols;
          const bool final = i0 + tapRows == taps.rows && j0 + tapCols == taps.cols;
          const size_t pitch = ((n + 7) & ~size_t{7}) + tapCols - 1;
          const ptrdiff_t from = static_cast<ptrdiff_t>(left + c) - static_cast<ptrdiff_t>(j0 + tapCols - 1);
          const bool meets =
              first < last && from + static_cast<ptrdiff_t>(pitch) > 0 && from < static_cast<ptrdiff_t>(image.cols);
          if (!meets && !final) continue;
          if (split && !planeTaps(taps, i0, tapRows, j0, tapCols, held)) {
            return planeClipped(image, taps, top, left, out, rows, cols);
          }
          for (size_t s = first; s < last; ++s) {
            const T* const row = image.values + static_cast<size_t>(oldest + static_cast<ptrdiff_t>(s)) * image.cols;
            planeWindowRow(row, image.cols, from, pitch, window + s * pitch);
          }
          const double* const w = window + tapCols - 1;
          const double* const before = begun ? sums : nullptr;
          if (final) {
            planeStretch<T>(held, tapRows, tapCols, w, pitch, first, last, before, width, to, cols, m, n);
          } else {
            planeStretch<double>(held, tapRows, tapCols, w, pitch, first, last, before, width, sums, width, m, n);
          }
          begun = true;
        }
      }
    }
  }
}
