#include <cmath>

#include "tests/support/support.h"

using namespace moxtest;

namespace {

struct Function {
  const char* name;
  void (*one)(int16_t*, int32_t, int32_t, int32_t*);
  void (*two)(const int16_t*, int16_t*, int32_t, int32_t, int32_t*);
  void (*onFloats)(const float*, float*, int32_t);
  long double (*exact)(long double);
};
const Function kFunctions[] = {
    {"moxwbLn", moxwbLn1, moxwbLn2, moxsbLn2, [](long double x) { return std::log(x); }},
    {"moxwbExp", moxwbExp1, moxwbExp2, moxsbExp2, [](long double x) { return std::exp(x); }}};

constexpr int32_t kAll = 65536;
std::vector<int16_t> allValues() {
  std::vector<int16_t> v(kAll);
  for (int32_t i = 0; i < kAll; ++i) v[static_cast<size_t>(i)] = static_cast<int16_t>(i - 32768);
  return v;
}

int16_t truncated(long double v) {
  if (std::isnan(v)) return 32767;
  return static_cast<int16_t>(std::fmin(std::fmax(v, -32768.0L), 32767.0L));
}

// Whether the scaling, which subtracts from the exponent field, stays inside of it.
bool scalable(long double v, int factor) {
  const long double size = std::fabs(std::ldexp(v, -factor));
  return factor == 0 || v == 0 ||
         (std::isfinite(static_cast<float>(v)) && size >= 0x1p-126L && size < 0x1p127L && std::fabs(v) >= 0x1p-126L);
}

// The float32 result may be one unit off, times 2^-factor, limited, truncated.
TEST(LnExp16, EveryValueSaturated) {
  forEachLevel([] {
    const std::vector<int16_t> x = allValues();
    for (const Function& f : kFunctions) {
      for (int32_t factor : {0, 3, -5, -11}) {
        SCOPED_TRACE(std::string(f.name) + " factor " + std::to_string(factor));
        const int32_t mode = factor ? MOX_FixScaleSat : MOX_NoScaleSat;
        std::vector<int16_t> y(x.size());
        f.two(x.data(), y.data(), kAll, mode, &factor);
        for (size_t i = 0; i < x.size(); ++i) {
          const long double exact = f.exact(x[i]);
          if (!scalable(exact, factor)) continue;
          const float below = std::nextafter(static_cast<float>(exact), -INFINITY);
          const float above = std::nextafter(static_cast<float>(exact), INFINITY);
          ASSERT_GE(y[i], truncated(std::ldexp(static_cast<long double>(below), -factor))) << x[i];
          ASSERT_LE(y[i], truncated(std::ldexp(static_cast<long double>(above), -factor))) << x[i];
        }
      }
    }
  });
}

TEST(LnExp16, EveryValueWrapped) {
  forEachLevel([] {
    const std::vector<int16_t> x = allValues();
    for (const Function& f : kFunctions) {
      SCOPED_TRACE(f.name);
      std::vector<float> values(x.begin(), x.end());
      f.onFloats(values.data(), values.data(), kAll);
      std::vector<int16_t> y = x, shifted = x;
      f.one(y.data(), kAll, MOX_NoScale, nullptr);
      int32_t factor = -4;
      f.one(shifted.data(), kAll, MOX_FixScale, &factor);
      const auto low16 = [](float v) {
        return std::fabs(v) < 0x1p63f ? static_cast<int16_t>(static_cast<int64_t>(v)) : int16_t{0};  // NaN: 0
      };
      for (size_t i = 0; i < x.size(); ++i) {
        ASSERT_EQ(y[i], low16(values[i])) << x[i];
        if (!scalable(values[i], factor)) continue;
        ASSERT_EQ(shifted[i], low16(values[i] * 16)) << x[i];
      }
    }
  });
}

TEST(LnExp16, OneFactorForAll) {
  forEachLevel([] {
    std::vector<int16_t> x = {1, 2, 10, 12, -3, 0};  // e^12 = 162754.79
    int32_t factor = 99;
    moxwbExp1(x.data(), 6, MOX_AutoScale, &factor);
    EXPECT_EQ(factor, 3);
    EXPECT_EQ(x, (std::vector<int16_t>{0, 0, 2753, 20344, 0, 0}));
    moxwbLn1(x.data() + 2, 2, MOX_AutoScale, &factor);
    EXPECT_EQ(factor, 0);
    EXPECT_EQ(x[3], 9);
  });
}

// dst may lie anywhere across src; nothing outside is touched, whatever the length.
TEST(LnExp16, LengthsAndOverlap) {
  forEachLevel([] {
    for (const Function& f : kFunctions) {
      for (size_t n = 1; n < 80; ++n) {
        for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
          std::vector<int16_t> x(n), expected(n);
          for (size_t i = 0; i < n; ++i) x[i] = static_cast<int16_t>(i * 37 % 101 - 20);
          const int32_t count = static_cast<int32_t>(n);
          int32_t factor = -6;
          for (size_t i = 0; i < n; ++i) f.two(&x[i], &expected[i], 1, MOX_FixScaleSat, &factor);
          Guarded<int16_t> src(x, flush), dst(n, flush);
          src.makeReadOnly();
          f.two(src.data(), dst.data(), count, MOX_FixScaleSat, &factor);
          ASSERT_TRUE(sameBits(dst.values(), expected)) << f.name << n;
          std::vector<int16_t> across = x;
          across.push_back(0);
          f.two(across.data(), across.data() + 1, count, MOX_FixScaleSat, &factor);
          EXPECT_EQ(across[0], x[0]);
          across.erase(across.begin());
          ASSERT_TRUE(sameBits(across, expected)) << f.name << n;
        }
      }
    }
  });
}

TEST(LnExp16, BadArguments) {
  int16_t x = 5, y = 6;
  int32_t factor = 16;
  Reports reports;
  for (const Function& f : kFunctions) {
    const std::string name = f.name;
    f.one(nullptr, 0, MOX_NoScale, nullptr);
    f.two(nullptr, nullptr, -1, MOX_NoScale, nullptr);
    f.two(&x, nullptr, 1, 99, nullptr);  // the mode is looked at last
    for (const Report& r : reports.all()) EXPECT_EQ(r.file, "moxlnexw");
    EXPECT_EQ(reports.take(),
              (std::vector<std::string>{name + "1: len<=0 (-5)", name + "1: vec==0 (-5)", name + "2: len<=0 (-5)",
                                        name + "2: src==0 (-5)", name + "2: dst==0 (-5)", name + "2: dst==0 (-5)"}));
    f.one(&x, 1, 5, nullptr);
    f.two(&x, &y, 1, MOX_FixScale, &factor);
    EXPECT_EQ(reports.all().size(), 1u);  // the first one's status is still there: no work, no second report
    EXPECT_EQ(reports.all()[0].file, "undscale");
    EXPECT_EQ(reports.take(), (std::vector<std::string>{"moxsbUndScaling: Unknown scale mode (-5)"}));
    f.two(&x, &y, 1, MOX_FixScale, &factor);
    EXPECT_EQ(reports.take(), (std::vector<std::string>{"moxsbUndScaling: (factor>15) || (factor<-14) (-5)"}));
    f.one(&x, 1, MOX_AutoScale, nullptr);
    EXPECT_EQ(reports.take(), (std::vector<std::string>{"moxsbUndScaling: NULL==scalePtr (-5)"}));
    EXPECT_EQ(x, 5);
    EXPECT_EQ(y, 6);
    moxSetErrStatus(3);  // not a failure: cleared by the scaling step
    f.two(&x, &y, 1, MOX_NoScale, nullptr);
    EXPECT_EQ(moxGetErrStatus(), 0);
    EXPECT_NE(y, 6);
    y = 6;
  }
}

}  // namespace
