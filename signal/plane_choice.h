// Which method a two-dimensional convolution takes: rules on sizes, and constants of what transforms cost.
#pragma once
#include <algorithm>
#include <bit>
#include <cstdint>

namespace mox {

// Of a rectangle; UINT64_MAX where they are more than can be counted.
inline uint64_t elements(int64_t rows, int64_t cols) {
  uint64_t n;
  return __builtin_mul_overflow(static_cast<uint64_t>(rows), static_cast<uint64_t>(cols), &n) ? UINT64_MAX : n;
}

// 2^orderAbove(n) is the smallest power of two that is not below n > 0.
constexpr int orderAbove(uint64_t n) { return static_cast<int>(std::bit_width(n - 1)); }

// Transforms of 2^rows rows and 2^cols columns.
struct PlaneOrders {
  int rows, cols;
  friend constexpr bool operator==(const PlaneOrders&, const PlaneOrders&) = default;
};

// What a product of direct summation costs; the constants below are in units of a quarter of it.
constexpr double kProductCost = 4.0;

// A block there and back: each value, by the orders (columns take the product as well), and each row and column for its
// calls. Values cost a little more where the block and the response of the taps outgrow the second level of cache.
// Measured from 2^3 to 2^10 rows and columns, the geometric mean of AVX2 and AVX-512 at 114 units a nanosecond: 0.86 to
// 1.19 times this. (Direct summation does 110 units a nanosecond with AVX-512 and 75 with AVX2; where both are near, it
// is the more precise one.)
template <class T>
constexpr double blockCost(PlaneOrders orders) {
  const double rows = static_cast<double>(uint64_t{1} << orders.rows);
  const double cols = static_cast<double>(uint64_t{1} << orders.cols);
  const int order = orders.rows + orders.cols;
  const int inCache = sizeof(T) == 4 ? 16 : 15;  // 512 KiB in both arrays
  const double crowded = order > inCache ? 1 + 0.03 * (order - inCache) : 1;
  const double each = 18.5 * orders.rows + 6.5 * orders.cols;
  return rows * cols * (sizeof(T) / 4) * each * crowded + 750 * rows + 1100 * cols;
}
// The taps go through the same transforms one way.
template <class T>
constexpr double transformsCost(PlaneOrders orders, double blocks) {
  return (blocks + 0.5) * blockCost<T>(orders);
}

// Blocks of results that transforms give, which reach back over the taps.
constexpr double blocksOf(uint64_t results, int order, uint64_t taps) {
  const uint64_t block = (uint64_t{1} << order) - taps + 1;
  return static_cast<double>((results + block - 1) / block);
}

// ---- Conv2D

enum class Conv2DMethod {
  direct,  // summation
  line,    // the one-dimensional convolution
  whole,   // one transform of everything
  blocks   // of the larger operand, overlapping by the size of the smaller one
};
struct Conv2DChoice {
  Conv2DMethod method;
  PlaneOrders orders;
};

// The transforms of everything are the powers of two from twice the larger size on. Blocks are taken where the cheapest
// transforms of at most that size, by the costs above, cost less.
template <class T>
Conv2DChoice chooseConv2D(uint64_t xRows, uint64_t xCols, uint64_t hRows, uint64_t hCols) {
  const uint64_t mostRows = std::max(xRows, hRows), mostCols = std::max(xCols, hCols);
  if ((mostRows < 17 && mostCols < 17) || (xRows < 8 && xCols < 8) || (hRows < 8 && hCols < 8)) {
    return {Conv2DMethod::direct, {}};
  }
  if (mostRows == 1 || mostCols == 1) return {Conv2DMethod::line, {}};
  Conv2DChoice choice = {Conv2DMethod::whole, {orderAbove(2 * mostRows), orderAbove(2 * mostCols)}};
  double least = transformsCost<T>(choice.orders, 1);
  const bool exchange = xRows * xCols < hRows * hCols;
  const uint64_t tapRows = exchange ? xRows : hRows, tapCols = exchange ? xCols : hCols;
  const PlaneOrders all = choice.orders;
  for (int rows = std::max(orderAbove(tapRows), 1); rows <= std::min(all.rows, 31); ++rows) {
    const double down = blocksOf(xRows + hRows - 1, rows, tapRows);
    for (int cols = std::max(orderAbove(tapCols), 1); cols <= std::min(all.cols, 31); ++cols) {
      const double cost = transformsCost<T>({rows, cols}, down * blocksOf(xCols + hCols - 1, cols, tapCols));
      if (cost < least) {
        least = cost;
        choice = {Conv2DMethod::blocks, {rows, cols}};
      }
    }
  }
  return choice;
}

// ---- Filter2D: direct summation, or blocks of one size

constexpr PlaneOrders filter2DOrders(uint64_t kRows, uint64_t kCols) {
  return {1 + orderAbove(kRows), 1 + orderAbove(kCols)};
}
template <class T>
bool filter2DTakesTransforms(uint64_t rows, uint64_t cols, uint64_t kRows, uint64_t kCols) {
  const PlaneOrders orders = filter2DOrders(kRows, kCols);
  const double direct = static_cast<double>(kRows) * static_cast<double>(kCols) * static_cast<double>(rows) *
                        static_cast<double>(cols) * kProductCost;
  return transformsCost<T>(orders, blocksOf(rows, orders.rows, kRows) * blocksOf(cols, orders.cols, kCols)) < direct;
}

}  // namespace mox
