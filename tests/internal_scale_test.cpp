#include <bit>
#include <cmath>

#include "frame/undscale.h"
#include "tests/support/support.h"

using namespace moxtest;
using mox::scaledToInt16;

namespace {

constexpr float kInf = INFINITY;

// The contract on one value, by arithmetic instead of bit operations where it allows.
int16_t low16(int64_t v) { return static_cast<int16_t>(static_cast<uint16_t>(v)); }
float lowered(float x, int factor) {
  const uint32_t bits = std::bit_cast<uint32_t>(x);
  return bits << 1 == 0 ? x : std::bit_cast<float>(bits - (static_cast<uint32_t>(factor) << 23));
}
int16_t wrapped(float x, int factor) {
  const float y = lowered(x, factor);
  return std::isnan(y) || std::fabs(y) >= 0x1p63f ? int16_t{0} : low16(static_cast<int64_t>(y));
}
int16_t saturated(float x, int factor) {
  const float y = lowered(x, factor);
  if (std::isnan(y)) return std::signbit(y) ? INT16_MIN : INT16_MAX;
  return static_cast<int16_t>(std::fmin(std::fmax(y, -32768.0f), 32767.0f));
}
int16_t wrapped(int32_t v, int factor) {
  return low16(factor >= 0 ? int64_t{v} >> factor : int64_t{v} * (1 << -factor));
}
int16_t saturated(int32_t v, int factor) {
  const int32_t s = factor >= 0 ? v >> factor : static_cast<int32_t>(static_cast<uint32_t>(v) << -factor);
  return static_cast<int16_t>(std::min(std::max(s, -32768), 32767));
}

template <class T>
void expectEveryMode(const std::vector<T>& values) {
  const int32_t n = static_cast<int32_t>(values.size());
  Guarded<T> src(values, Flush::AtEnd);
  src.makeReadOnly();
  Guarded<int16_t> dst(values.size());
  for (int32_t factor : {0, 1, 5, 15, -1, -14}) {
    for (const int32_t mode : {MOX_NoScale, MOX_NoScaleSat, MOX_FixScale, MOX_FixScaleSat}) {
      const int32_t used = mode < MOX_FixScale ? 0 : factor;
      ASSERT_TRUE(scaledToInt16(src.data(), dst.data(), n, mode, &factor));
      for (size_t i = 0; i < values.size(); ++i) {
        const int16_t want = mode % 2 == 1 ? saturated(values[i], used) : wrapped(values[i], used);
        ASSERT_EQ(dst[i], want) << "element " << i << " of " << n << ": " << values[i] << ", mode " << mode
                                << ", factor " << factor;
      }
    }
  }
}

TEST(Scaling, FloatsOfEveryExponent) {
  std::vector<float> values;
  for (uint64_t bits = 0; bits < uint64_t{1} << 32; bits += 65521)
    values.push_back(std::bit_cast<float>(static_cast<uint32_t>(bits)));
  for (const float x :
       {0.0f,     0.9f,           1.0f,     2.7f,     32766.9f, 32767.0f,      32767.4f,       32767.99f,
        32768.0f, 32769.0f,       65535.9f, 65536.0f, 98304.5f, 2147483648.0f, 0x1.fffffep31f, 0x1.fffffep38f,
        0x1p39f,  0x1.fffffep62f, 0x1p63f,  0x1p100f, kInf,     std::nanf(""), 1e-40f}) {
    values.push_back(x);
    values.push_back(-x);
  }
  forEachLevel([&] { expectEveryMode(values); });
}

TEST(Scaling, Integers) {
  std::vector<int32_t> values;
  for (int64_t v = INT32_MIN; v <= INT32_MAX; v += 65521) values.push_back(static_cast<int32_t>(v));
  for (const int32_t v : {0, 1, 181, 32767, 32768, 40000, 65535, 65536, INT32_MAX}) {
    values.push_back(v);
    values.push_back(-v);
  }
  values.push_back(INT32_MIN);
  forEachLevel([&] { expectEveryMode(values); });
}

TEST(Scaling, ShortVectorsTouchOnlyTheirArrays) {
  forEachLevel([] {
    for (size_t n = 1; n < 70; ++n) {
      for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
        std::vector<float> values = noise<float>(n, static_cast<uint32_t>(n));
        for (float& x : values) x *= 1e5f;
        Guarded<float> src(values, flush);
        src.makeReadOnly();
        Guarded<int16_t> dst(n, flush);
        int32_t factor = -7;
        ASSERT_TRUE(scaledToInt16(src.data(), dst.data(), static_cast<int32_t>(n), MOX_AutoScale, &factor));
        float largest = 0;
        for (const float x : values) largest = std::fmax(largest, std::fabs(x));
        EXPECT_EQ(factor, largest <= 32767 ? 0 : std::ilogb(largest) - 14);
        for (size_t i = 0; i < n; ++i) ASSERT_EQ(dst[i], wrapped(values[i], factor));
      }
    }
  });
}

TEST(Scaling, TheFactorOfModeFour) {
  forEachLevel([] {
    const auto factorOf = [](auto values) {
      int32_t factor = 99;
      std::vector<int16_t> dst(values.size());
      EXPECT_TRUE(
          scaledToInt16(values.data(), dst.data(), static_cast<int32_t>(values.size()), MOX_AutoScale, &factor));
      return factor;
    };
    EXPECT_EQ(factorOf(std::vector<float>{1, 100000.0f, -3}), 2);
    EXPECT_EQ(factorOf(std::vector<float>{-32768.0f}), 0);
    EXPECT_EQ(factorOf(std::vector<float>{32767.5f}), 0);
    EXPECT_EQ(factorOf(std::vector<float>{32768.0f}), 1);
    EXPECT_EQ(factorOf(std::vector<float>{kInf, 0}), 114);
    EXPECT_EQ(factorOf(std::vector<int32_t>{32768}), 1);
    EXPECT_EQ(factorOf(std::vector<int32_t>{-32769}), 1);
    EXPECT_EQ(factorOf(std::vector<int32_t>{5, INT32_MIN, 7}), 17);
    // A tie of +32768 (too large) and -32768 (fits): the last element decides for odd n, the first for even.
    EXPECT_EQ(factorOf(std::vector<float>{32768.0f, 0, -32768.0f}), 0);
    EXPECT_EQ(factorOf(std::vector<float>{-32768.0f, 0, 32768.0f}), 1);
    EXPECT_EQ(factorOf(std::vector<float>{32768.0f, -32768.0f}), 1);
    EXPECT_EQ(factorOf(std::vector<float>{-32768.0f, 32768.0f}), 0);
    std::vector<float> longer(100, 1.0f);
    longer[37] = -32768.0f;
    longer[90] = 32768.0f;
    EXPECT_EQ(factorOf(longer), 0);
    std::swap(longer[37], longer[90]);
    EXPECT_EQ(factorOf(longer), 1);
  });
  int32_t factor = 0;
  int16_t a[2], b[2];
  const float large[2] = {-1e6f, 0}, small[2] = {3, 1};
  EXPECT_TRUE(scaledToInt16(large, small, a, b, 2, MOX_AutoScale, &factor));
  EXPECT_EQ(factor, 0);  // 3 > -1e6
  EXPECT_TRUE(scaledToInt16(small, large, a, b, 2, MOX_AutoScale, &factor));
  EXPECT_EQ(factor, 0);
  const float positive[2] = {1e6f, 0};
  EXPECT_TRUE(scaledToInt16(small, positive, a, b, 2, MOX_AutoScale, &factor));
  EXPECT_EQ(factor, 5);
  EXPECT_EQ(b[0], 31250);
  EXPECT_EQ(a[0], 0);
}

TEST(Scaling, ScalarForm) {
  int32_t factor = 1;
  EXPECT_EQ(scaledToInt16(40000, MOX_NoScale, nullptr), -25536);
  EXPECT_EQ(scaledToInt16(40000, MOX_NoScaleSat, nullptr), 32767);
  EXPECT_EQ(scaledToInt16(40000, MOX_FixScale, &factor), 20000);
  EXPECT_EQ(scaledToInt16(40000, MOX_FixScale, nullptr), -25536);
  EXPECT_EQ(scaledToInt16(40000, MOX_AutoScale, &factor), 20000);
  EXPECT_EQ(factor, 1);
  EXPECT_EQ(scaledToInt16(-5, MOX_AutoScale, &factor), -5);
  EXPECT_EQ(factor, 0);
}

TEST(Scaling, Reports) {
  Reports reports;
  const float f[2] = {1, 2};
  const int32_t ints[2] = {1, 2};
  int16_t dst[2] = {77, 77}, other[2] = {77, 77};
  int32_t factor = 16;
  moxSetErrStatus(MOX_StsNoMem);  // the step clears what was there
  EXPECT_TRUE(scaledToInt16(f, other, 2, MOX_NoScale, nullptr));
  EXPECT_EQ(moxGetErrStatus(), MOX_StsOk);
  EXPECT_FALSE(scaledToInt16(static_cast<const float*>(nullptr), dst, 0, 9, nullptr));
  EXPECT_FALSE(scaledToInt16(ints, static_cast<int16_t*>(nullptr), 2, MOX_NoScale, nullptr));
  EXPECT_FALSE(scaledToInt16(f, f, dst, nullptr, 2, MOX_NoScale, nullptr));
  EXPECT_FALSE(scaledToInt16(f, f, dst, dst, -1, MOX_NoScale, nullptr));
  EXPECT_FALSE(scaledToInt16(f, dst, 2, 5, &factor));
  EXPECT_EQ(scaledToInt16(3, -1, &factor), 0);
  EXPECT_FALSE(scaledToInt16(ints, dst, 2, MOX_FixScaleSat, &factor));
  factor = -15;
  EXPECT_FALSE(scaledToInt16(ints, dst, 2, MOX_FixScale, &factor));
  EXPECT_FALSE(scaledToInt16(f, dst, 2, MOX_AutoScale, nullptr));
  std::vector<int32_t> lines;
  for (const Report& r : reports.all()) {
    lines.push_back(r.line);
    EXPECT_EQ(r.file, "undscale");
  }
  EXPECT_EQ(lines, (std::vector<int32_t>{154, 157, 161, 161, 134, 134, 128, 128, 123}));
  EXPECT_EQ(reports.take(),
            (std::vector<std::string>{
                "moxsbUndScaling: Null buffer pointer (-5)", "moxibUndScaling: Null buffer pointer (-5)",
                "moxsbUndScaling2: Null buffer pointer (-5)", "moxsbUndScaling2: Invalid buffer length (-5)",
                "moxsbUndScaling: Unknown scale mode (-5)", "moxiUndScaling: Unknown scale mode (-5)",
                "moxibUndScaling: (factor>15) || (factor<-14) (-5)",
                "moxibUndScaling: (factor>15) || (factor<-14) (-5)", "moxsbUndScaling: NULL==scalePtr (-5)"}));
  EXPECT_EQ(dst[0], 77);
  EXPECT_EQ(dst[1], 77);
}

}  // namespace
