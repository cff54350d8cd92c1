// Two-dimensional convolution and filtering: the choice of the method, and what happens without memory.
#include "signal/plane_choice.h"
#include "tests/support/allocations.h"
#include "tests/support/support.h"

using namespace moxtest;
using namespace mox;

namespace {

template <class T>
void expectConv2DRules() {
  const auto method = [](uint64_t xRows, uint64_t xCols, uint64_t hRows, uint64_t hCols) {
    const Conv2DMethod forward = chooseConv2D<T>(xRows, xCols, hRows, hCols).method;
    EXPECT_EQ(chooseConv2D<T>(hRows, hCols, xRows, xCols).method, forward);
    return forward;
  };
  EXPECT_EQ(method(16, 16, 16, 16), Conv2DMethod::direct);
  EXPECT_EQ(method(1, 16, 1, 16), Conv2DMethod::direct);
  EXPECT_EQ(method(100000, 100000, 7, 7), Conv2DMethod::direct);
  EXPECT_EQ(method(1, 100000, 1, 7), Conv2DMethod::direct);
  EXPECT_EQ(method(1, 17, 1, 8), Conv2DMethod::line);
  EXPECT_EQ(method(1, 16, 1, 17), Conv2DMethod::line);
  EXPECT_EQ(method(100000, 1, 9, 1), Conv2DMethod::line);
  // A row with a column is not one-dimensional.
  EXPECT_EQ(method(1, 100, 100, 1), Conv2DMethod::blocks);
  EXPECT_EQ(method(17, 17, 17, 17), Conv2DMethod::whole);
  EXPECT_EQ(method(2000, 2000, 8, 8), Conv2DMethod::blocks);
  EXPECT_EQ(method(8, 2000, 8, 8), Conv2DMethod::blocks);

  EXPECT_EQ(chooseConv2D<T>(17, 20, 17, 32).orders, (PlaneOrders{6, 6}));
  for (const uint64_t size : std::initializer_list<uint64_t>{8, 9, 31, 33, 100, 300}) {
    const Conv2DChoice choice = chooseConv2D<T>(2000, 3000, size, size);
    EXPECT_EQ(choice.method, Conv2DMethod::blocks);
    EXPECT_GE(uint64_t{1} << choice.orders.rows, size);
    EXPECT_GE(uint64_t{1} << choice.orders.cols, size);
    EXPECT_LT(choice.orders.rows, 12);
    EXPECT_LT(choice.orders.cols, 13);
  }
}

TEST(Conv2DChoice, Rules) {
  expectConv2DRules<float>();
  expectConv2DRules<double>();
}

TEST(Filter2DChoice, SmallKernelsAreSummed) {
  for (const uint64_t size : std::initializer_list<uint64_t>{3, 17, 256, 4000}) {
    for (uint64_t taps = 1; taps <= 9; ++taps) {
      EXPECT_FALSE(filter2DTakesTransforms<float>(size, size, taps, taps));
      EXPECT_FALSE(filter2DTakesTransforms<double>(size, size, taps, taps));
      EXPECT_FALSE(filter2DTakesTransforms<float>(size, size, 1, taps));
    }
  }
  EXPECT_TRUE(filter2DTakesTransforms<float>(512, 512, 31, 31));
  EXPECT_TRUE(filter2DTakesTransforms<double>(512, 512, 128, 128));
  EXPECT_FALSE(filter2DTakesTransforms<float>(8, 8, 128, 128));  // one block for few results
  EXPECT_EQ(filter2DOrders(31, 1), (PlaneOrders{6, 1}));
  EXPECT_EQ(filter2DOrders(32, 33), (PlaneOrders{6, 7}));
  // Sizes whose products no integer holds.
  EXPECT_TRUE(filter2DTakesTransforms<double>(INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX));
}

// call(dst) with every allocation failing in turn: whenArrayIsMissing where it says so, else the result of a call that
// gets all it asks for.
template <class T, class Call>
void failEachAllocation(size_t results, Call call, const std::vector<std::string>& reported, int64_t reporting) {
  Reports reports;
  std::vector<T> right(results);
  int64_t asked;
  {
    moxcFreeTwdTbls();
    const Allocations watch;
    call(right.data());
    moxcFreeTwdTbls();
    asked = watch.asked();
    EXPECT_EQ(watch.live(), 0);
  }
  ASSERT_EQ(reports.all().size(), 0u);
  ASSERT_GT(asked, 0);
  for (int64_t fail = 0; fail < asked; ++fail) {
    SCOPED_TRACE(fail);
    const bool refuses = fail < reporting;
    std::vector<T> y(results, T{7});
    moxcFreeTwdTbls();
    const Allocations watch(fail);
    call(y.data());
    moxcFreeTwdTbls();
    EXPECT_EQ(watch.live(), 0);
    EXPECT_EQ(reports.take(), refuses ? reported : std::vector<std::string>{});
    EXPECT_TRUE(sameBits(y, refuses ? std::vector<T>(results, T{7}) : right));
  }
}

// Integers: direct sums and transforms, rounded, are the same.
template <class T>
std::vector<T> steps(size_t n, int modulus) {
  std::vector<T> v(n);
  for (size_t i = 0; i < n; ++i) v[i] = static_cast<T>(static_cast<int>(i * i) % modulus);
  return v;
}

TEST(NoMemory, Conv2D) {
  const std::string text = ": \nMemory allocation problem\n (-4)";
  const auto x = steps<float>(40 * 50, 5), h = steps<float>(12 * 9, 3);
  const auto xw = steps<int16_t>(40 * 50, 5), hw = steps<int16_t>(12 * 9, 3);
  failEachAllocation<float>(
      51 * 58, [&](float* y) { moxsConv2D(x.data(), 50, 40, h.data(), 9, 12, y); }, {"moxsConv2D" + text}, INT64_MAX);
  failEachAllocation<int16_t>(
      51 * 58, [&](int16_t* y) { moxwConv2D(xw.data(), 50, 40, hw.data(), 9, 12, y, 0, nullptr); },
      {"moxwConv2D" + text}, INT64_MAX);
  failEachAllocation<int16_t>(
      42 * 52, [&](int16_t* y) { moxwConv2D(xw.data(), 50, 40, hw.data(), 3, 3, y, 0, nullptr); },
      {"moxwConv2D" + text}, INT64_MAX);
}

// Single rows: the reports of the one-dimensional convolution, then a trace.
TEST(NoMemory, Conv2DOfRows) {
  Reports reports;
  const auto x = steps<float>(200, 5), h = steps<float>(150, 3);
  std::vector<float> y(349);
  moxcFreeTwdTbls();
  {
    const Allocations none(0);
    moxsConv2D(x.data(), 200, 1, h.data(), 150, 1, y.data());
  }
  ASSERT_GT(reports.all().size(), 1u);
  EXPECT_EQ(reports.all()[0].status, MOX_StsNoMem);
  EXPECT_EQ(reports.all().back().function, "moxsConv2D");
  EXPECT_EQ(reports.all().back().status, MOX_StsBackTrace);
  EXPECT_EQ(moxGetErrStatus(), MOX_StsNoMem);
}

// Filter2D does without transforms: only the copies of int16 must be there.
TEST(NoMemory, Filter2D) {
  const auto x = steps<float>(100 * 120, 5), h = steps<float>(31 * 31, 3);
  const auto xw = steps<int16_t>(100 * 120, 5), hw = steps<int16_t>(31 * 31, 3);
  ASSERT_TRUE(filter2DTakesTransforms<float>(100, 120, 31, 31));
  const auto rounded = [](float* y) {
    for (size_t i = 0; i < 100 * 120; ++i) y[i] = static_cast<float>(static_cast<int>(y[i] + 0.5f));
  };
  failEachAllocation<float>(
      100 * 120,
      [&](float* y) {
        moxsFilter2D(x.data(), 120, 100, h.data(), 31, 31, y);
        rounded(y);
      },
      {}, 0);
  failEachAllocation<int16_t>(
      100 * 120, [&](int16_t* y) { moxwFilter2D(xw.data(), 120, 100, hw.data(), 31, 31, y, 0, nullptr); },
      {"moxwFilter2D: Allocation failure (-4)"}, 3);
}

// Sizes that no memory holds: the report, before anything is read.
TEST(NoMemory, SizesBeyondAllMemory) {
  Reports reports;
  const double x = 0;
  double y = 7;
  const int16_t w = 0;
  int16_t v = 7;
  for (const int32_t rows : {1 << 30, INT32_MAX}) {
    moxdConv2D(&x, INT32_MAX, rows, &x, INT32_MAX, rows, &y);
    EXPECT_EQ(reports.take(), std::vector<std::string>{"moxdConv2D: \nMemory allocation problem\n (-4)"});
    moxwConv2D(&w, INT32_MAX, rows, &w, INT32_MAX, rows, &v, 0, nullptr);
    EXPECT_EQ(reports.take(), std::vector<std::string>{"moxwConv2D: \nMemory allocation problem\n (-4)"});
    moxwFilter2D(&w, INT32_MAX, rows, &w, INT32_MAX, rows, &v, 0, nullptr);
    EXPECT_EQ(reports.take(), std::vector<std::string>{"moxwFilter2D: Allocation failure (-4)"});
  }
  EXPECT_EQ(y, 7.0);
  EXPECT_EQ(v, 7);
}

}  // namespace
