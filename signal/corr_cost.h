// Which method a correlation takes: sums of products, or transforms where those cost less by a count of operations.
//
// The counts are those of real operations, whatever the precision. Real data: an operation of a sum is a product, an
// addition and their two loads, 4 together; two real transforms share a complex one, and then have to be separated.
// Other data changes four counts:
//
//   sums        two products for one where one sequence is complex, 8; four where both are, 16
//   transforms  a complex one of full length for each sequence, and nothing to separate
//   products    of spectra, on twice as many values
//   copies      of two parts for one
#pragma once
#include <algorithm>
#include <bit>
#include <cstdint>

namespace mox::corrcost {

enum class Data { real, mixed, complex };

constexpr int64_t pow2(int64_t n) { return n < 2 ? 1 : static_cast<int64_t>(std::bit_ceil(static_cast<uint64_t>(n))); }
constexpr int64_t log2(int64_t n) { return n < 2 ? 0 : 63 - std::countl_zero(static_cast<uint64_t>(n)); }
constexpr int64_t fft(int64_t n) { return log2(n) * n / 2 * 24; }
constexpr int64_t post(int64_t n) { return n == 1 ? 8 : 8 + (n / 2 - 1) * 40; }
constexpr int64_t pre(int64_t n) { return n == 1 ? 8 : 8 + (n / 2 - 1) * 36; }
constexpr int64_t mul(int64_t n) { return 8 * n; }
constexpr int64_t fewerFft(int64_t n) { return fft(n) / 4 * 3; }  // exact
constexpr int64_t blocksOf(int64_t n, int64_t size) { return (n + size - 1) / size; }
constexpr int64_t ofSum(Data data) { return data == Data::real ? 4 : data == Data::mixed ? 8 : 16; }

// Lags 0 to nLags - 1, 1 <= nLags <= len. (Costs of sums reach 2^66: they are compared in float64, which rounds what is
// far above any cost of transforms.)
constexpr bool autoByTransform(int64_t len, int64_t nLags, Data data) {
  const int64_t p = pow2(nLags), blocks = blocksOf(len, p);
  const int64_t terms = nLags * len - nLags * (nLags - 1) / 2;
  const int64_t cost = data == Data::real ? fft(p) + blocks * (6 * p + fft(p) + post(p) + 14 * p) + pre(p)
                                          : fft(2 * p) + blocks * (12 * p + fft(2 * p) + 28 * p);
  return static_cast<double>(cost) < static_cast<double>(ofSum(data)) * static_cast<double>(terms);
}

// nLags lags of a first sequence of lenA values with any second one, 1 <= nLags <= 2^32.
constexpr bool crossByTransform(int64_t nLags, int64_t lenA, Data data) {
  const int64_t p = pow2(nLags), n = 2 * p, blocks = blocksOf(lenA, p);
  const double sums = static_cast<double>(nLags) * static_cast<double>(ofSum(data) * lenA);
  const int64_t cost = data == Data::real ? fewerFft(p) + blocks * (fewerFft(n) + 2 * mul(p) + 14 * p) + pre(p)
                                          : fewerFft(n) + blocks * (2 * fewerFft(n) + 2 * mul(n) + 28 * p);
  return static_cast<double>(cost) < sums;
}

}  // namespace mox::corrcost
