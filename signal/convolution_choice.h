// Which of its methods a convolution takes: constant tables of what transforms cost, and the rule that reads them.
//
// Costs have no unit; only their ratios count. Rows that stand here as numbers are fixed, the others lie between them:
//
//   fft         2^k shape(k) g(k). shape(k) is what a value costs in a transform of order k, as measured; g is a
//               monotone cubic through the fixed rows.
//   product     fft[k] r(k): the way back is a transform, too. r is a monotone cubic through the fixed rows.
//   thresholds  a + b / (m - c) through the last two fixed rows at the start of a band and the first at its end. Direct
//               summation of n outputs costs m n, transforms cost c n + d: they break even at n = d / (m - c).
//
// float64 has no fixed rows: a value costs twice as much, and arrays outgrow the cache an order earlier.
// tools/convolution-cost prints the tables beside what is measured.
#pragma once
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace mox {

// ---- costs of transforms by order

constexpr int kCostOrders = 33;
using CostTable = std::array<float, kCostOrders>;

struct CostRow {
  int order;
  float cost;
};

// The cost of one value: constant as long as the arrays stay in the first level of cache, then rising with every order.
// Measured from order 7 to 19, with AVX-512, it is 0.85 to 1.4 times this.
struct CostShape {
  int lastInCache;  // order
  constexpr double at(int order) const {
    const double beyond = order > lastInCache ? order - lastInCache : 0;
    return 1 + 0.33 * beyond * beyond / (1 + beyond);
  }
};

// Hermite's cubic between rows, with slopes after Fritsch and Carlson (the weighted harmonic mean of the neighbouring
// differences): monotone where the rows are.
template <size_t N>
constexpr double throughRows(const std::array<double, N>& x, const std::array<double, N>& y, double at) {
  std::array<double, N> slope{};
  if constexpr (N == 2) {
    slope[0] = slope[1] = (y[1] - y[0]) / (x[1] - x[0]);
  } else {
    const auto difference = [&](size_t i) { return (y[i + 1] - y[i]) / (x[i + 1] - x[i]); };
    for (size_t i = 1; i + 1 < N; ++i) {
      const double left = difference(i - 1), right = difference(i);
      if (left * right <= 0) continue;
      const double before = x[i] - x[i - 1], after = x[i + 1] - x[i];
      slope[i] = 3 * (before + after) / ((2 * after + before) / left + (after + 2 * before) / right);
    }
    slope[0] = difference(0);
    slope[N - 1] = difference(N - 2);
  }
  size_t i = 0;
  while (i + 2 < N && at > x[i + 1]) ++i;
  const double width = x[i + 1] - x[i], t = (at - x[i]) / width, s = 1 - t;
  return (1 + 2 * t) * s * s * y[i] + t * s * s * width * slope[i] + t * t * (3 - 2 * t) * y[i + 1] -
         t * t * s * width * slope[i + 1];
}

// By precision and whether values are complex.
struct ConvTables {
  CostTable fft;      // a transform of 2^order values
  CostTable product;  // the way back from a spectrum, with its product
};

template <size_t F, size_t P>
constexpr ConvTables convTables(const std::array<CostRow, F>& fftRows, const std::array<CostRow, P>& productRows,
                                CostShape shape, bool float64) {
  const auto values = [](int order) { return static_cast<double>(uint64_t{1} << order); };
  std::array<double, F> fftOrders{}, g{};
  for (size_t i = 0; i < F; ++i) {
    const int order = fftRows[i].order;
    fftOrders[i] = order;
    g[i] = fftRows[i].cost / (values(order) * shape.at(order));
  }
  const auto fft = [&](int order, CostShape own) {
    return values(order) * own.at(order) * throughRows(fftOrders, g, order);
  };
  std::array<double, P> productOrders{}, r{};
  for (size_t i = 0; i < P; ++i) {
    const int order = productRows[i].order;
    productOrders[i] = order;
    r[i] = productRows[i].cost / fft(order, shape);
  }
  ConvTables tables{};
  for (int order = 0; order < kCostOrders; ++order) {
    const double cost = float64 ? 2 * fft(order, {shape.lastInCache - 1}) : fft(order, shape);
    tables.fft[static_cast<size_t>(order)] = static_cast<float>(cost);
    tables.product[static_cast<size_t>(order)] = static_cast<float>(cost * throughRows(productOrders, r, order));
  }
  return tables;
}

constexpr std::array<CostRow, 5> kRealFftRows = {
    {{0, 8.392334e-07f}, {1, 6.294250e-06f}, {10, 0.01082031f}, {20, 42.05286f}, {32, 2271081.0f}}};
constexpr std::array<CostRow, 4> kRealProductRows = {
    {{0, 2.937317e-06f}, {1, 7.972717e-06f}, {10, 0.01232422f}, {32, 2295184.0f}}};
constexpr std::array<CostRow, 3> kComplexFftRows = {{{0, 1.888e-06f}, {1, 6.294e-06f}, {32, 447383.0f}}};
constexpr std::array<CostRow, 2> kComplexProductRows = {{{0, 4.501e-06f}, {32, 409682.19f}}};

template <class R, bool kComplexValues>
constexpr ConvTables kCosts = kComplexValues ? convTables(kComplexFftRows, kComplexProductRows, {9}, sizeof(R) == 8)
                                             : convTables(kRealFftRows, kRealProductRows, {10}, sizeof(R) == 8);

// ---- thresholds

// Of the bands in which the choice looks at both lengths: start[0] is the threshold of m = first, end[kEnd - 1] that of
// m = last. Below `first` there is only direct summation, above `last` transforms are always considered.
template <size_t kStart, size_t kEnd>
struct ThresholdRows {
  int first, last;
  std::array<int32_t, kStart> start;
  std::array<int32_t, kEnd> end;
};

constexpr int kMostDirectTaps = 101;

struct ConvBand {
  int first, last;
  std::array<int32_t, kMostDirectTaps + 1> thresholds;  // by the shorter length
  constexpr bool direct(int64_t longer, int64_t shorter) const {
    return shorter < first || (shorter <= last && longer < thresholds[static_cast<size_t>(shorter)]);
  }
};

template <size_t kStart, size_t kEnd>
constexpr ConvBand bandOf(const ThresholdRows<kStart, kEnd>& rows) {
  const double m2 = rows.first + static_cast<int>(kStart) - 1, m1 = m2 - 1, m3 = rows.last - static_cast<int>(kEnd) + 1;
  const double t1 = rows.start[kStart - 2], t2 = rows.start[kStart - 1], t3 = rows.end[0];
  const double r = (t2 - t3) / (t1 - t2);
  const double c = ((m3 - m2) * m1 - r * m3) / ((m3 - m2) - r);
  const double b = (t1 - t2) * (m1 - c) * (m2 - c), a = t1 - b / (m1 - c);
  ConvBand band{rows.first, rows.last, {}};
  for (int m = rows.first; m <= rows.last; ++m) {
    const size_t fromStart = static_cast<size_t>(m - rows.first), toEnd = static_cast<size_t>(rows.last - m);
    band.thresholds[static_cast<size_t>(m)] = fromStart < kStart ? rows.start[fromStart]
                                              : toEnd < kEnd     ? rows.end[kEnd - 1 - toEnd]
                                                                 : static_cast<int32_t>(a + b / (m - c) + 0.5);
  }
  return band;
}

constexpr ConvBand kRealBand = bandOf<4, 4>({21, 101, {37905, 15889, 3737, 2233}, {105, 104, 103, 102}});
constexpr ConvBand kComplexBand = bandOf<3, 4>({13, 46, {3662, 984, 425}, {51, 50, 49, 48}});
constexpr ConvBand kRealTapsBand = bandOf<3, 4>({18, 87, {20224, 3695, 1274}, {92, 92, 90, 89}});
constexpr ConvBand kRealSamplesBand = bandOf<3, 4>({16, 87, {34612, 5524, 1718}, {95, 94, 93, 92}});

// ---- the choice

enum class ConvMethod { direct, blocks, whole };

struct ConvChoice {
  ConvMethod method;
  int selector;  // of the block size, 1 to 3
  friend constexpr bool operator==(const ConvChoice&, const ConvChoice&) = default;
};

// The tables that one pair of operand types reads.
struct ConvCosts {
  const ConvBand& band;
  const CostTable &taps, &samples;   // transforms of the operands of the whole-signal method
  const CostTable &block, &product;  // of a block, and the way back with its product
};

// Of 2 <= shorter <= longer.
constexpr ConvChoice chooseConvolution(const ConvCosts& costs, int64_t longer, int64_t shorter) {
  if (costs.band.direct(longer, shorter)) return {ConvMethod::direct, 0};
  const auto row = [](const CostTable& table, int order) {
    return static_cast<double>(table[static_cast<size_t>(order)]);
  };
  const int64_t results = longer + shorter - 1;
  const auto blockCost = [&](int order, int64_t step) {
    const int64_t blocks = (results + step - 1) / step;
    return (row(costs.block, order) + row(costs.product, order)) * static_cast<double>(blocks) + row(costs.taps, order);
  };
  const auto step = [&](int order) { return (int64_t{1} << order) - shorter + 1; };
  const int p = 1 + static_cast<int>(std::bit_width(static_cast<uint64_t>(shorter)));
  ConvChoice choice{ConvMethod::blocks, 1};
  double best = 0;
  if (longer > 32 * shorter) {
    choice.selector = 3;
    best = blockCost(p + 2, 2 * step(p + 2));
  } else {
    best = blockCost(p, step(p));
  }
  if (p + 1 < kCostOrders) {
    const double next = blockCost(p + 1, step(p + 1));
    if (next < best) {
      best = next;
      choice.selector = 2;
    }
  }
  const int q = static_cast<int>(std::bit_width(static_cast<uint64_t>(results)));
  const double whole = row(costs.taps, q) + row(costs.samples, q) + row(costs.product, q);
  if (!(whole > best)) return {ConvMethod::whole, 0};
  return choice;
}

// The least order whose transform holds all results.
constexpr int convWholeOrder(uint64_t results) { return static_cast<int>(std::bit_width(results - 1)); }

constexpr int convBlockOrder(uint64_t shorter, uint64_t longer, int selector) {
  const uint64_t results = longer + shorter - 1;
  int order = static_cast<int>(std::bit_width(shorter));
  for (int doublings = selector == 1 ? 1 : 2; doublings > 0 && (uint64_t{1} << order) < results; --doublings) ++order;
  return order;
}

}  // namespace mox
