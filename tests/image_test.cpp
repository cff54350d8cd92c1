// Two-dimensional convolution and filtering.
#include <algorithm>
#include <cmath>
#include <limits>

#include "tests/support/support.h"

using namespace moxtest;

namespace {

template <class T>
struct Calls;
template <>
struct Calls<float> {
  static constexpr auto line = moxsConv;
  static constexpr auto conv = moxsConv2D;
  static constexpr auto filter = moxsFilter2D;
};
template <>
struct Calls<double> {
  static constexpr auto line = moxdConv;
  static constexpr auto conv = moxdConv2D;
  static constexpr auto filter = moxdFilter2D;
};

template <class T>
class TwoDimensional : public ::testing::Test {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(TwoDimensional, Types);

struct Shape {
  int rows, cols, tapRows, tapCols;
  size_t image() const { return static_cast<size_t>(rows) * static_cast<size_t>(cols); }
  size_t taps() const { return static_cast<size_t>(tapRows) * static_cast<size_t>(tapCols); }
  int fullRows() const { return rows + tapRows - 1; }
  int fullCols() const { return cols + tapCols - 1; }
  size_t full() const { return static_cast<size_t>(fullRows()) * static_cast<size_t>(fullCols()); }
};
std::ostream& operator<<(std::ostream& out, const Shape& s) {
  return out << s.rows << "x" << s.cols << " * " << s.tapRows << "x" << s.tapCols;
}

// Values of at most 3: every product and every sum is exact in float64, and transforms are off by far less than the 1/2
// that would tell a missing, doubled or misplaced product.
template <class T>
std::vector<T> smallIntegers(size_t n, uint32_t seed) {
  std::mt19937 bits(seed);
  std::vector<T> v(n);
  for (T& x : v) x = static_cast<T>(static_cast<int>(bits() % 7) - 3);
  return v;
}

// Rows and columns from (top, left) on of the convolution.
template <class T>
std::vector<double> reference(const Shape& s, const std::vector<T>& x, const std::vector<T>& h, int top, int left,
                              int rows, int cols) {
  std::vector<double> y;
  for (int r = top; r < top + rows; ++r) {
    for (int c = left; c < left + cols; ++c) {
      double sum = 0;
      for (int i = std::max(0, r - s.rows + 1); i < std::min(s.tapRows, r + 1); ++i) {
        for (int j = std::max(0, c - s.cols + 1); j < std::min(s.tapCols, c + 1); ++j) {
          sum += static_cast<double>(h[static_cast<size_t>(i * s.tapCols + j)]) *
                 static_cast<double>(x[static_cast<size_t>((r - i) * s.cols + c - j)]);
        }
      }
      y.push_back(sum);
    }
  }
  return y;
}
template <class T>
std::vector<double> fullReference(const Shape& s, const std::vector<T>& x, const std::vector<T>& h) {
  return reference(s, x, h, 0, 0, s.fullRows(), s.fullCols());
}
template <class T>
std::vector<double> filterReference(const Shape& s, const std::vector<T>& x, const std::vector<T>& h) {
  return reference(s, x, h, s.tapRows / 2, s.tapCols / 2, s.rows, s.cols);
}

template <class T>
std::vector<double> rounded(const std::vector<T>& y) {
  std::vector<double> all;
  for (const T v : y) all.push_back(std::nearbyint(static_cast<double>(v)) + 0.0);
  return all;
}

// Direct sums of every tail of vectors, rows and stretches of taps; single rows and columns; every way through
// transforms: of everything, of blocks on the image or (exchanged) on the kernel, with odd and even overlaps, last
// blocks beyond the image.
const Shape kShapes[] = {{1, 1, 1, 1},      {5, 7, 3, 3},    {16, 16, 16, 16}, {40, 90, 5, 7},    {37, 61, 1, 7},
                         {50, 33, 7, 1},    {7, 7, 40, 90},  {1, 40, 1, 5},    {40, 1, 5, 1},     {2, 3, 6, 7},
                         {3, 17, 17, 3},    {17, 17, 8, 8},  {64, 50, 9, 31},  {100, 130, 8, 2},  {31, 9, 60, 64},
                         {33, 65, 33, 65},  {2, 300, 8, 20}, {300, 2, 20, 8},  {130, 120, 33, 5}, {20, 1, 1, 20},
                         {150, 150, 12, 15}};

TYPED_TEST(TwoDimensional, EveryProductInItsPlace) {
  using T = TypeParam;
  forEachLevel([&] {
    uint32_t seed = 1;
    for (const Shape& s : kShapes) {
      SCOPED_TRACE(::testing::Message() << s);
      const auto x = smallIntegers<T>(s.image(), ++seed), h = smallIntegers<T>(s.taps(), ++seed);
      for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
        Guarded<T> image(x, flush), taps(h, flush), full(s.full(), flush), same(s.image(), flush);
        image.makeReadOnly();
        taps.makeReadOnly();
        Calls<T>::conv(image.data(), s.cols, s.rows, taps.data(), s.tapCols, s.tapRows, full.data());
        EXPECT_EQ(rounded(full.values()), fullReference(s, x, h));
        Calls<T>::filter(image.data(), s.cols, s.rows, taps.data(), s.tapCols, s.tapRows, same.data());
        EXPECT_EQ(rounded(same.values()), filterReference(s, x, h));
      }
    }
  });
}

// Kernels beyond a stretch of taps, and images where Filter2D takes blocks.
TYPED_TEST(TwoDimensional, LargeKernels) {
  using T = TypeParam;
  forEachLevel([] {
    for (const Shape& s : {Shape{30, 40, 35, 70}, Shape{9, 100, 20, 65}, Shape{120, 140, 21, 40}, Shape{200, 3, 90, 2},
                           Shape{90, 100, 64, 17}}) {
      SCOPED_TRACE(::testing::Message() << s);
      const auto x = smallIntegers<T>(s.image(), 1), h = smallIntegers<T>(s.taps(), 2);
      std::vector<T> same(s.image());
      Calls<T>::filter(x.data(), s.cols, s.rows, h.data(), s.tapCols, s.tapRows, same.data());
      EXPECT_EQ(rounded(same), filterReference(s, x, h));
    }
  });
}

// Direct sums are those of float64, rounded once.
TYPED_TEST(TwoDimensional, DirectSumsAreRoundedOnce) {
  using T = TypeParam;
  forEachLevel([&] {
    for (const int size : {3, 5, 7}) {
      const Shape s = {60, 45, size, size};
      const auto x = noise<T>(s.image(), 1), h = noise<T>(s.taps(), 2);
      std::vector<T> y(s.full());
      Calls<T>::conv(x.data(), s.cols, s.rows, h.data(), s.tapCols, s.tapRows, y.data());
      const auto exact = fullReference(s, x, h);
      // Every addition of either sum is off by half a unit of at most 2^6 (all |products| < 1), and there are size^2.
      const double sums = size * size * 0x1p-48;
      for (size_t i = 0; i < y.size(); ++i) {
        const double half = sizeof(T) == 4 ? std::abs(exact[i]) * 0x1p-24 : 0;
        ASSERT_NEAR(static_cast<double>(y[i]), exact[i], half + sums) << i;
      }
    }
  });
}

// What the text of the header promises: the same bits with every width of fused multiply-add.
TYPED_TEST(TwoDimensional, SameBitsOnEverySetWithFusedMultiplyAdd) {
  using T = TypeParam;
  std::vector<std::vector<T>> first;
  for (const std::string& level : levels()) {
    if (level == "sse2") continue;
    SCOPED_TRACE(level);
    const ForcedLevel forced(level);
    std::vector<std::vector<T>> all;
    for (const Shape& s : kShapes) {
      const auto x = noise<T>(s.image(), 3), h = noise<T>(s.taps(), 4);
      std::vector<T> full(s.full()), same(s.image());
      Calls<T>::conv(x.data(), s.cols, s.rows, h.data(), s.tapCols, s.tapRows, full.data());
      Calls<T>::filter(x.data(), s.cols, s.rows, h.data(), s.tapCols, s.tapRows, same.data());
      all.insert(all.end(), {full, same});
    }
    if (first.empty()) first = all;
    for (size_t i = 0; i < all.size(); ++i) EXPECT_TRUE(sameBits(all[i], first[i])) << kShapes[i / 2];
  }
}

// Single rows and single columns are the one-dimensional convolution, bit for bit.
TYPED_TEST(TwoDimensional, SingleRowsAndColumns) {
  using T = TypeParam;
  forEachLevel([] {
    const int lengths[][2] = {{1, 1}, {5, 3}, {3, 5}, {16, 16}, {40, 7}, {7, 40}, {50, 20}, {300, 30}, {200, 150}};
    for (const auto& [n, m] : lengths) {
      const auto x = noise<T>(static_cast<size_t>(n), 1), h = noise<T>(static_cast<size_t>(m), 2);
      std::vector<T> line(x.size() + h.size() - 1), row(line.size()), column(line.size());
      Calls<T>::line(x.data(), n, h.data(), m, line.data());
      Calls<T>::conv(x.data(), n, 1, h.data(), m, 1, row.data());
      Calls<T>::conv(x.data(), 1, n, h.data(), 1, m, column.data());
      EXPECT_TRUE(sameBits(row, line)) << n << " * " << m;
      EXPECT_TRUE(sameBits(column, line)) << n << " * " << m;
    }
  });
}

TYPED_TEST(TwoDimensional, InfinitiesMeetWhatTheyAreMultipliedWithOnly) {
  using T = TypeParam;
  forEachLevel([] {
    for (const Shape& s : {Shape{20, 30, 3, 5}, Shape{20, 30, 1, 5}}) {
      for (const bool inTaps : {false, true}) {
        std::vector<T> x(s.image(), T{1}), h(s.taps(), T{1}), y(s.full());
        (inTaps ? h : x).back() = std::numeric_limits<T>::infinity();
        Calls<T>::conv(x.data(), s.cols, s.rows, h.data(), s.tapCols, s.tapRows, y.data());
        const int firstRow = (inTaps ? s.tapRows : s.rows) - 1, firstCol = (inTaps ? s.tapCols : s.cols) - 1;
        for (int r = 0; r < s.fullRows(); ++r) {
          for (int c = 0; c < s.fullCols(); ++c) {
            const T value = y[static_cast<size_t>(r * s.fullCols() + c)];
            ASSERT_EQ(std::isinf(value), r >= firstRow && c >= firstCol) << s << " at " << r << ", " << c;
            ASSERT_FALSE(std::isnan(value)) << s << " at " << r << ", " << c;
          }
        }
      }
    }
  });
}

std::vector<int16_t> integers(size_t n, uint32_t seed, unsigned limit) {
  std::mt19937 bits(seed);
  std::vector<int16_t> v(n);
  for (int16_t& x : v) x = static_cast<int16_t>(static_cast<int>(bits() % (2 * limit)) - static_cast<int>(limit));
  return v;
}

// The exact sums fit float32, so the scale modes have one right answer.
TEST(TwoDimensional16, SumsAndScaleModes) {
  forEachLevel([] {
    for (const Shape& s : {Shape{20, 30, 3, 5}, Shape{1, 9, 1, 2}, Shape{5, 5, 6, 7}}) {
      SCOPED_TRACE(::testing::Message() << s);
      const auto x = integers(s.image(), 1, 300), h = integers(s.taps(), 2, 1000);
      for (const bool full : {true, false}) {
        const auto sums = full ? fullReference(s, x, h) : filterReference(s, x, h);
        for (const int mode : {0, 1, 2, 3, 4}) {
          int32_t factor = 5, used = mode >= 2 ? 5 : 0;
          Guarded<int16_t> y(sums.size(), Flush::AtEnd);
          if (full) {
            moxwConv2D(x.data(), s.cols, s.rows, h.data(), s.tapCols, s.tapRows, y.data(), mode, &factor);
          } else {
            moxwFilter2D(x.data(), s.cols, s.rows, h.data(), s.tapCols, s.tapRows, y.data(), mode, &factor);
          }
          if (mode == 4) {
            double most = 0;
            for (const double v : sums) most = std::max(most, std::abs(v));
            used = std::max(0, std::ilogb(most) - 14);
          }
          EXPECT_EQ(factor, mode == 4 ? used : 5);
          for (size_t i = 0; i < sums.size(); ++i) {
            double v = std::trunc(std::ldexp(sums[i], -used));
            if (mode & 1) v = std::clamp(v, -32768.0, 32767.0);
            ASSERT_EQ(y[i], static_cast<int16_t>(static_cast<int64_t>(v))) << "mode " << mode << " at " << i;
          }
        }
      }
    }
  });
}

// Transforms are off, too, but not in the integers.
TEST(TwoDimensional16, SumsThroughTransformsAreIntegers) {
  const Shape s = {100, 90, 31, 25};
  const auto x = smallIntegers<int16_t>(s.image(), 1), h = smallIntegers<int16_t>(s.taps(), 2);
  std::vector<int16_t> full(s.full()), same(s.image());
  moxwConv2D(x.data(), s.cols, s.rows, h.data(), s.tapCols, s.tapRows, full.data(), MOX_NoScale, nullptr);
  EXPECT_EQ(rounded(full), fullReference(s, x, h));
  moxwFilter2D(x.data(), s.cols, s.rows, h.data(), s.tapCols, s.tapRows, same.data(), MOX_NoScale, nullptr);
  EXPECT_EQ(rounded(same), filterReference(s, x, h));
}

TEST(TwoDimensionalReports, TheFirstFaultAlone) {
  Reports reports;
  const float x[4] = {1, 2, 3, 4};
  float y[16] = {7};
  const int16_t w[4] = {1, 2, 3, 4};
  int16_t v[16] = {7};
  const auto expect = [&](const char* module, const std::string& report) {
    ASSERT_EQ(reports.all().size(), 1u);
    EXPECT_EQ(reports.all()[0].file, module);
    EXPECT_EQ(reports.take(), std::vector<std::string>{report});
    EXPECT_EQ(y[0], 7.0f);
    EXPECT_EQ(v[0], 7);
  };
  const std::string null = ": \nNull pointer to data buffer\n (-5)";
  for (int fault = 0; fault < 7; ++fault) {
    const int sizes[] = {2, 2, 2, 2};
    const auto size = [&](int i) { return fault == 3 + i ? (i % 2 ? -3 : 0) : sizes[i]; };
    const std::string text = fault < 3 ? null : ": \nBad value of data buffer size\n (-5)";
    moxsConv2D(fault == 0 ? nullptr : x, size(0), size(1), fault == 1 ? nullptr : x, size(2), size(3),
               fault == 2 ? nullptr : y);
    expect("moxcnv2d", "moxsConv2D" + text);
    moxwConv2D(fault == 0 ? nullptr : w, size(0), size(1), fault == 1 ? nullptr : w, size(2), size(3),
               fault == 2 ? nullptr : v, 0, nullptr);
    expect("moxcnv2d", "moxwConv2D" + text);
    const char* const texts[] = {"Null SRC buffer pointer", "Null SRC buffer pointer", "Null DST buffer pointer",
                                 "Invalid number of cols",  "Inlalid number of rows",  "Invalid number of cols",
                                 "Inlalid number of rows"};
    const std::string filterText = std::string(": ") + texts[fault] + " (-5)";
    moxsFilter2D(fault == 0 ? nullptr : x, size(0), size(1), fault == 1 ? nullptr : x, size(2), size(3),
                 fault == 2 ? nullptr : y);
    expect("moxfir2", "moxsFilter2D" + filterText);
    moxwFilter2D(fault == 0 ? nullptr : w, size(0), size(1), fault == 1 ? nullptr : w, size(2), size(3),
                 fault == 2 ? nullptr : v, 0, nullptr);
    expect("moxfir2", "moxwFilter2D" + filterText);
  }
  // Several faults.
  moxdConv2D(nullptr, 0, 0, nullptr, 0, 0, nullptr);
  expect("moxcnv2d", "moxdConv2D" + null);
  moxdFilter2D(nullptr, 0, 0, nullptr, 0, 0, nullptr);
  expect("moxfir2", "moxdFilter2D: Null SRC buffer pointer (-5)");
  moxsFilter2D(x, 2, 0, x, 0, 2, y);
  expect("moxfir2", "moxsFilter2D: Inlalid number of rows (-5)");

  // The scaling step refuses.
  moxwConv2D(w, 2, 2, w, 2, 2, v, 4, nullptr);
  expect("undscale", "moxsbUndScaling: NULL==scalePtr (-5)");
  moxwFilter2D(w, 2, 2, w, 2, 2, v, 5, nullptr);
  expect("undscale", "moxsbUndScaling: Unknown scale mode (-5)");

  // A negative status stays and ends the call.
  moxSetErrStatus(MOX_StsNoMem);
  moxsConv2D(x, 2, 2, x, 2, 2, y);
  moxsFilter2D(x, 2, 2, x, 2, 2, y);
  moxwConv2D(w, 2, 2, w, 2, 2, v, 0, nullptr);
  EXPECT_EQ(moxGetErrStatus(), MOX_StsNoMem);
  EXPECT_EQ(reports.all().size(), 0u);
  EXPECT_EQ(y[0], 7.0f);
  EXPECT_EQ(v[0], 7);
}

}  // namespace
