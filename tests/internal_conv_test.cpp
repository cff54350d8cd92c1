// Which method a convolution takes, and what its methods do when there is no memory.
#include <cmath>

#include "signal/convolution.h"
#include "tests/support/allocations.h"
#include "tests/support/support.h"

using namespace moxtest;
using namespace mox;

namespace {

constexpr ConvChoice kDirect = {ConvMethod::direct, 0}, kWhole = {ConvMethod::whole, 0};
constexpr ConvChoice blocks(int selector) { return {ConvMethod::blocks, selector}; }

template <class Tap, class Sample>
ConvChoice choice(int64_t longer, int64_t shorter) {
  return chooseConvolution(kConvCosts<Tap, Sample>, longer, shorter);
}

TEST(ConvolutionChoice, TablesAreSmoothBetweenTheirFixedRows) {
  const auto expectRow = [](const CostTable& table, size_t order, float cost) { EXPECT_EQ(table[order], cost); };
  const ConvTables &s = kCosts<float, false>, &c = kCosts<float, true>;
  expectRow(s.fft, 0, 8.392334e-07f), expectRow(s.fft, 1, 6.294250e-06f), expectRow(s.fft, 10, 0.01082031f);
  expectRow(s.fft, 20, 42.05286f), expectRow(s.fft, 32, 2271081.0f);
  expectRow(s.product, 0, 2.937317e-06f), expectRow(s.product, 1, 7.972717e-06f);
  expectRow(s.product, 10, 0.01232422f), expectRow(s.product, 32, 2295184.0f);
  expectRow(c.fft, 0, 1.888e-06f), expectRow(c.fft, 1, 6.294e-06f), expectRow(c.fft, 32, 447383.0f);
  expectRow(c.product, 0, 4.501e-06f), expectRow(c.product, 32, 409682.19f);
  for (const ConvTables& tables : {s, c, kCosts<double, false>, kCosts<double, true>}) {
    for (const CostTable& table : {tables.fft, tables.product}) {
      for (size_t k = 1; k < kCostOrders; ++k) {
        // Twice the length never costs less than twice as much, from order 2 on less than three times.
        EXPECT_GE(table[k], 2 * table[k - 1]) << k;
        EXPECT_LT(table[k], (k > 2 ? 3.0f : 10.0f) * table[k - 1]) << k;
      }
    }
  }
}

TEST(ConvolutionChoice, ThresholdsFallBetweenTheirFixedRows) {
  const auto check = [](const ConvBand& band, const std::vector<int32_t>& start, const std::vector<int32_t>& end) {
    const auto at = [&](int m) { return band.thresholds[static_cast<size_t>(m)]; };
    for (int i = 0; i < static_cast<int>(start.size()); ++i)
      EXPECT_EQ(at(band.first + i), start[static_cast<size_t>(i)]);
    for (int i = 0; i < static_cast<int>(end.size()); ++i) {
      EXPECT_EQ(at(band.last - i), end[end.size() - 1 - static_cast<size_t>(i)]);
    }
    for (int m = band.first + 1; m <= band.last; ++m) {
      EXPECT_LE(at(m), at(m - 1)) << m;
      EXPECT_GT(at(m), m) << m;
      // Ever more slowly, but for the rounding of the last rows.
      EXPECT_TRUE(m == band.first + 1 || at(m - 1) - at(m) <= at(m - 2) - at(m - 1) + 2) << m;
    }
  };
  check(kRealBand, {37905, 15889, 3737, 2233}, {105, 104, 103, 102});
  check(kComplexBand, {3662, 984, 425}, {51, 50, 49, 48});
  check(kRealTapsBand, {20224, 3695, 1274}, {92, 92, 90, 89});
  check(kRealSamplesBand, {34612, 5524, 1718}, {95, 94, 93, 92});
}

template <class Tap, class Sample>
void checkBand(int first, int last, int32_t firstThreshold, int32_t lastThreshold) {
  EXPECT_EQ((choice<Tap, Sample>(1, 1)), kDirect);
  EXPECT_EQ((choice<Tap, Sample>(INT32_MAX, first - 1)), kDirect);
  EXPECT_EQ((choice<Tap, Sample>(firstThreshold - 1, first)), kDirect);
  EXPECT_NE((choice<Tap, Sample>(firstThreshold, first)), kDirect);
  EXPECT_EQ((choice<Tap, Sample>(lastThreshold - 1, last)), kDirect);
  EXPECT_NE((choice<Tap, Sample>(lastThreshold, last)), kDirect);
  EXPECT_NE((choice<Tap, Sample>(last + 1, last + 1)), kDirect);
}

TEST(ConvolutionChoice, Bands) {
  checkBand<float, float>(21, 101, 37905, 102);
  checkBand<double, double>(21, 101, 37905, 102);
  checkBand<MoxC, MoxC>(13, 46, 3662, 48);
  checkBand<MoxZ, MoxZ>(13, 46, 3662, 48);
  checkBand<float, MoxC>(18, 87, 20224, 89);
  checkBand<double, MoxZ>(18, 87, 20224, 89);
  checkBand<MoxC, float>(16, 87, 34612, 92);
  checkBand<MoxZ, double>(16, 87, 34612, 92);
}

// With tables of a constant cost per value, F[k] = P[k] = 2^k, the choice follows from counting values.
TEST(ConvolutionChoice, TheLeastCost) {
  CostTable even{};
  for (size_t k = 0; k < kCostOrders; ++k) even[k] = static_cast<float>(uint64_t{1} << k);
  CostTable fft = even, product = even;
  const ConvCosts costs = {kRealBand, fft, fft, fft, product};
  const auto chosen = [&](int64_t longer, int64_t shorter) { return chooseConvolution(costs, longer, shorter); };
  // Shorter length 150: blocks of 512 take 363 samples at a time, those of 1024 875, those of 2048 then 2 * 1899.
  EXPECT_EQ(chosen(150, 150), kWhole);      // 3 * 512 each: a tie
  EXPECT_EQ(chosen(362, 150), kWhole);      // 511 results: 3 * 512 against 5 * 512
  EXPECT_EQ(chosen(363, 150), blocks(1));   // 512 results: 3 * 1024 against 5 * 512
  EXPECT_EQ(chosen(600, 150), kWhole);      // 3 * 1024 each, 7 * 512
  EXPECT_EQ(chosen(1000, 150), blocks(1));  // 9 * 512, 5 * 1024, 3 * 2048
  EXPECT_EQ(chosen(1600, 150), blocks(2));  // 11 * 512, 5 * 1024, 3 * 2048
  EXPECT_EQ(chosen(4800, 150), blocks(2));  // 29 * 512, 13 * 1024
  EXPECT_EQ(chosen(4801, 150), blocks(3));  // 5 * 2048, 13 * 1024
  fft[10] = 512;
  product[10] = 1536;
  EXPECT_EQ(chosen(1000, 150), blocks(1));  // 9 * 512 each
  product[10] = 1535;
  EXPECT_EQ(chosen(1000, 150), blocks(2));
  product[11] = NAN;  // no order among costs
  EXPECT_EQ(chosen(1000, 150), kWhole);

  // The operands' own transforms: those of everything in both, of the taps alone in blocks.
  CostTable dear = even;
  for (float& cost : dear) cost *= 4;
  EXPECT_EQ(chooseConvolution({kRealBand, even, dear, even, even}, 150, 150), blocks(1));
  EXPECT_EQ(chooseConvolution({kRealBand, dear, even, even, even}, 150, 150), kWhole);
  EXPECT_EQ(chooseConvolution({kRealBand, even, even, dear, even}, 363, 150), kWhole);
}

TEST(ConvolutionChoice, AnyLengths) {
  for (const int64_t longer : {int64_t{1} << 20, int64_t{1} << 30, int64_t{INT32_MAX}}) {
    for (int64_t shorter = 128; shorter <= longer; shorter *= 2) {
      EXPECT_NE((choice<float, float>(longer, shorter)), kDirect);
      EXPECT_NE((choice<MoxC, double>(longer, shorter)), kDirect);
    }
    EXPECT_EQ((choice<float, float>(longer, longer)), kWhole);
  }
}

TEST(ConvolutionChoice, LengthsOfTransforms) {
  EXPECT_EQ(convWholeOrder(511), 9);
  EXPECT_EQ(convWholeOrder(512), 9);
  EXPECT_EQ(convWholeOrder(513), 10);
  EXPECT_EQ(convWholeOrder(uint64_t{2} * INT32_MAX - 1), 32);
  // The power of two above 128 or 127; then doubled while some result is beyond.
  EXPECT_EQ(convBlockOrder(127, 1000, 1), 8);
  EXPECT_EQ(convBlockOrder(128, 1000, 1), 9);
  EXPECT_EQ(convBlockOrder(128, 1000, 2), 10);
  EXPECT_EQ(convBlockOrder(128, 1000, 3), 10);
  EXPECT_EQ(convBlockOrder(128, 129, 2), 8);
  EXPECT_EQ(convBlockOrder(128, 130, 1), 9);
  EXPECT_EQ(convBlockOrder(128, 130, 2), 9);
}

// The method that was chosen runs: it asks for two buffers of its length, in one piece, after its tables are there.
TEST(ConvolutionMemory, BuffersOfTheChosenLength) {
  const auto asked = [](int32_t xLen, int32_t hLen) {
    std::vector<float> x(static_cast<size_t>(xLen)), h(static_cast<size_t>(hLen)), y(x.size() + h.size());
    moxsConv(x.data(), xLen, h.data(), hLen, y.data());
    const Allocations watch;
    moxsConv(x.data(), xLen, h.data(), hLen, y.data());
    EXPECT_EQ(watch.live(), 0);
    return watch.bytes();
  };
  const auto buffers = [](int order) { return (size_t{8} << order) + 64; };
  EXPECT_EQ(asked(37904, 21), 0u);
  EXPECT_EQ(asked(21, 37904), 0u);
  EXPECT_EQ(asked(37905, 21), buffers(7));
  EXPECT_EQ(asked(200, 20), 0u);
  EXPECT_EQ(asked(101, 101), 0u);
  EXPECT_EQ(asked(102, 102), buffers(8));
  EXPECT_EQ(asked(300, 300), buffers(10));
  EXPECT_EQ(asked(100, 20000), buffers(9));
}

// Every allocation fails once: first those of the tables, then that of the buffers.
TEST(ConvolutionMemory, Shortages) {
  Reports reports;
  const std::string silent = ": (null) (-1)";
  const auto check = [&](const std::string& name, char method, auto call) {
    const ForcedLevel tables(levels()[0]);  // starts without tables
    using Lines = std::vector<std::string>;
    std::vector<Lines> seen;
    for (int64_t fail = 0;; ++fail) {
      ASSERT_LT(fail, 12);
      const Allocations none(fail);
      call();
      moxcFreeTwdTbls();
      moxzFreeTwdTbls();
      EXPECT_EQ(none.live(), 0) << fail;
      if (reports.all().empty()) break;
      seen.push_back(reports.take());
    }
    ASSERT_GE(seen.size(), 2u);
    const std::string inner = name + method;
    EXPECT_EQ(seen.back(), (Lines{inner + ": NULL Pointer (-4)", name + silent}));
    seen.pop_back();
    for (const Lines& lines : seen) {
      ASSERT_GE(lines.size(), 3u);
      EXPECT_NE(lines[0].find("NULL Pointer (-4)"), std::string::npos);
      EXPECT_EQ(Lines(lines.end() - 2, lines.end()), (Lines{inner + silent, name + silent}));
    }
  };
  const auto x = noise<MoxC>(5000), h = noise<MoxC>(300);
  std::vector<MoxC> y(5299);
  std::vector<MoxZ> xz(5000), hz(300), yz(5299);
  check("moxsConv", '1', [&] { moxsConv(&x[0].re, 300, &h[0].re, 300, &y[0].re); });
  check("moxsConv", '2', [&] { moxsConv(&x[0].re, 5000, &h[0].re, 300, &y[0].re); });
  check("moxcConv", '1', [&] { moxcConv(x.data(), 300, h.data(), 300, y.data()); });
  check("moxcConv", '2', [&] { moxcConv(x.data(), 300, h.data(), 40, y.data()); });
  check("moxcsConv", '2', [&] { moxcsConv(x.data(), 5000, &h[0].re, 300, y.data()); });
  check("moxscConv", '2', [&] { moxscConv(&x[0].re, 5000, h.data(), 300, y.data()); });
  check("moxzdConv", '1', [&] { moxzdConv(xz.data(), 300, &hz[0].re, 300, yz.data()); });
  check("moxdzConv", '2', [&] { moxdzConv(&xz[0].re, 5000, hz.data(), 300, yz.data()); });
  check("moxdConv", '2', [&] { moxdConv(&xz[0].re, 5000, &hz[0].re, 300, &yz[0].re); });
  check("moxzConv", '1', [&] { moxzConv(xz.data(), 300, hz.data(), 300, yz.data()); });
  for (const MoxC& v : y) ASSERT_TRUE(std::isfinite(v.re));

  // Exchanged, the other function reports, and the called one after it.
  moxcsConv(x.data(), 200, &h[0].re, 300, y.data());
  {
    const Allocations none(0);
    moxcsConv(x.data(), 200, &h[0].re, 300, y.data());
  }
  EXPECT_EQ(reports.take(),
            (std::vector<std::string>{"moxscConv1: NULL Pointer (-4)", "moxscConv" + silent, "moxcsConv" + silent}));
}

TEST(ConvolutionMemory, FloatCopiesOfInt16) {
  Reports reports;
  const std::vector<int16_t> x(400, 3), h(300, 2);
  const std::vector<int16_t> before(699, 7);
  std::vector<int16_t> y = before;
  const auto call = [&] { moxwConv(x.data(), 400, h.data(), 300, y.data(), MOX_NoScaleSat, nullptr); };
  call();
  y = before;
  const char* const texts[] = {"NULL pointer to float copy x (-4)", "NULL pointer to float copy h (-4)",
                               "NULL pointer to float copy y (-4)"};
  for (int64_t fail = 0; fail < 3; ++fail) {
    const Allocations none(fail);
    call();
    EXPECT_EQ(none.asked(), fail + 1);
    EXPECT_EQ(none.live(), 0);
    EXPECT_EQ(reports.take(), std::vector<std::string>{std::string("moxwConv: ") + texts[fail]});
  }
  {
    const Allocations none(3);
    call();
    EXPECT_EQ(none.live(), 0);
  }
  EXPECT_EQ(reports.take(), (std::vector<std::string>{"moxsConv1: NULL Pointer (-4)", "moxsConv: (null) (-1)",
                                                      "moxwConv: (null) (-1)"}));
  EXPECT_TRUE(sameBits(y, before));
  const Allocations some;
  call();
  EXPECT_EQ(some.live(), 0);
  EXPECT_EQ(y[0], 6);
  EXPECT_EQ(y[350], 1800);
}

}  // namespace
