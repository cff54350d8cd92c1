#include <cmath>

#include "tests/support/support.h"

using namespace moxtest;

namespace {

// Exact parts of one product: sums of two terms for complex operands.
struct Parts {
  long double re, im;
};
Parts parts(float x) { return {x, 0}; }
Parts parts(double x) { return {x, 0}; }
Parts parts(MoxC x) { return {x.re, x.im}; }
Parts parts(MoxZ x) { return {x.re, x.im}; }

template <class A, class B, class R>
struct Form {
  using TypeA = A;
  using TypeB = B;
  R (*call)(const A*, const B*, int32_t);
  const char* name;
};

template <class Check>
void forEachForm(Check check) {
  check(Form<float, float, float>{moxsDotProd, "moxsDotProd"});
  check(Form<double, double, double>{moxdDotProd, "moxdDotProd"});
  check(Form<MoxC, MoxC, MoxC>{moxcDotProd, "moxcDotProd"});
  check(Form<MoxZ, MoxZ, MoxZ>{moxzDotProd, "moxzDotProd"});
  check(Form<float, MoxC, MoxC>{moxscDotProd, "moxscDotProd"});
  check(Form<MoxC, float, MoxC>{moxcsDotProd, "moxcsDotProd"});
  check(Form<double, MoxZ, MoxZ>{moxdzDotProd, "moxdzDotProd"});
  check(Form<MoxZ, double, MoxZ>{moxzdDotProd, "moxzdDotProd"});
}

const int kLengths[] = {0, 1, 2, 3, 5, 15, 16, 17, 18, 31, 32, 33, 47, 48, 49, 100, 255, 256, 257, 1000, 4099};

TEST(DotProduct, WithinTheBoundOfItsSum) {
  forEachLevel([] {
    forEachForm([](auto form) {
      using A = typename decltype(form)::TypeA;
      using B = typename decltype(form)::TypeB;
      for (const int n : kLengths) {
        for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
          SCOPED_TRACE(std::string(form.name) + " " + std::to_string(n));
          const size_t size = static_cast<size_t>(n);
          Guarded<A> a(noise<A>(size, 1), flush);
          Guarded<B> b(noise<B>(size, 2), flush);
          a.makeReadOnly();
          b.makeReadOnly();
          long double re = 0, im = 0, sizeRe = 0, sizeIm = 0;
          for (size_t i = 0; i < size; ++i) {
            const Parts x = parts(a[i]), y = parts(b[i]);
            re += x.re * y.re - x.im * y.im;
            im += x.re * y.im + x.im * y.re;
            sizeRe += std::fabs(x.re * y.re) + std::fabs(x.im * y.im);
            sizeIm += std::fabs(x.re * y.im) + std::fabs(x.im * y.re);
          }
          const Parts got = parts(form.call(a.data(), b.data(), n));
          // n + 2 roundings to float64 on any path, then one to the result's type.
          const bool single = sizeof(typename Traits<A>::Real) == 4;
          const long double unit = single ? 0x1p-24L : 0x1p-53L, sums = (n + 2) * 0x1p-53L;
          EXPECT_LE(std::fabs(got.re - re), sums * sizeRe + unit * std::fabs(re));
          EXPECT_LE(std::fabs(got.im - im), sums * sizeIm + unit * std::fabs(im));
        }
      }
    });
  });
}

TEST(DotProduct, SameBitsOnEverySet) {
  // float32 products are exact, so sets without fused multiply-add agree, too.
  std::vector<std::vector<float>> results;
  forEachLevel([&] {
    for (const int n : kLengths) {
      const size_t size = static_cast<size_t>(n);
      const auto a = noise<MoxC>(size + 1, 3), b = noise<MoxC>(size + 1, 4);
      const auto x = noise<float>(size + 1, 5), y = noise<float>(size + 1, 6);
      const MoxC c = moxcDotProd(a.data(), b.data(), n), m = moxscDotProd(x.data(), a.data(), n);
      results.push_back({c.re, c.im, m.re, m.im, moxsDotProd(x.data(), y.data(), n)});
    }
  });
  for (size_t i = std::size(kLengths); i < results.size(); ++i) {
    EXPECT_TRUE(sameBits(results[i], results[i % std::size(kLengths)])) << kLengths[i % std::size(kLengths)];
  }
}

TEST(DotProduct, ShortSumsRunInElementOrder) {
  forEachLevel([] {
    const float large[] = {0x1p60f, 1, -0x1p60f, 1}, ones[] = {1, 1, 1, 1};
    EXPECT_EQ(moxsDotProd(large, ones, 4), 1);
    const MoxC i = {0, 1};
    EXPECT_EQ(moxcDotProd(&i, &i, 1).re, -1);  // no conjugation
  });
}

TEST(DotProduct, ChecksStopAtTheFirstAndIgnoreTheStatus) {
  Reports reports;
  forEachForm([&](auto form) {
    using A = typename decltype(form)::TypeA;
    using B = typename decltype(form)::TypeB;
    const std::vector<A> a = {makeValue<A>(3, 0)};
    const std::vector<B> b = {makeValue<B>(2, 0)};
    const std::string name = form.name;
    EXPECT_EQ(parts(form.call(nullptr, b.data(), -1)).re, 0);
    EXPECT_EQ(parts(form.call(a.data(), nullptr, 1)).re, 0);
    EXPECT_EQ(parts(form.call(a.data(), b.data(), -1)).re, 0);
    for (const Report& r : reports.all()) EXPECT_EQ(r.file, "moxdotp");
    EXPECT_EQ(reports.take(),
              (std::vector<std::string>{name + ": Null buffer pointer (-5)", name + ": Null buffer pointer (-5)",
                                        name + ": Invalid value (-5)"}));
    moxSetErrStatus(MOX_StsNoMem);
    EXPECT_EQ(parts(form.call(a.data(), b.data(), 1)).re, 6);
    EXPECT_EQ(parts(form.call(a.data(), b.data(), 0)).re, 0);
    EXPECT_EQ(reports.take(), std::vector<std::string>());
  });
}

// ---- int16

int32_t wrappedSum(int64_t v) { return static_cast<int32_t>(static_cast<uint32_t>(v)); }

TEST(DotProduct16, SumsWrapIn32Bits) {
  forEachLevel([] {
    for (const int n : kLengths) {
      const size_t size = static_cast<size_t>(n);
      std::mt19937 bits(static_cast<uint32_t>(n));
      std::vector<int16_t> values(6 * size);
      for (int16_t& v : values) v = bits() % 3 == 0 ? int16_t{-32768} : static_cast<int16_t>(bits());
      Guarded<int16_t> a(std::vector<int16_t>(values.begin(), values.begin() + n), Flush::AtEnd);
      Guarded<int16_t> b(std::vector<int16_t>(values.begin() + n, values.begin() + 2 * n), Flush::AtEnd);
      Guarded<int16_t> x(std::vector<int16_t>(values.begin() + 2 * n, values.begin() + 4 * n), Flush::AtStart);
      Guarded<int16_t> y(std::vector<int16_t>(values.begin() + 4 * n, values.end()), Flush::AtEnd);
      const MoxV *c = reinterpret_cast<const MoxV*>(x.data()), *d = reinterpret_cast<const MoxV*>(y.data());
      int64_t real = 0, re = 0, im = 0, mixedRe = 0, mixedIm = 0;
      for (size_t i = 0; i < size; ++i) {
        real += a[i] * b[i];
        re += int64_t{c[i].re} * d[i].re - int64_t{c[i].im} * d[i].im;
        im += int64_t{c[i].re} * d[i].im + int64_t{c[i].im} * d[i].re;
        mixedRe += a[i] * c[i].re;
        mixedIm += a[i] * c[i].im;
      }
      // Windows on all 32 bits of each sum.
      for (int32_t factor : {0, 5, 15}) {
        const auto scaled = [&](int64_t sum) {
          return static_cast<int16_t>(static_cast<uint16_t>(wrappedSum(sum) >> factor));
        };
        EXPECT_EQ(moxwDotProd(a.data(), b.data(), n, MOX_FixScale, &factor), scaled(real)) << n;
        const MoxV got = moxvDotProd(c, d, n, MOX_FixScale, &factor);
        EXPECT_EQ(got.re, scaled(re)) << n;
        EXPECT_EQ(got.im, scaled(im)) << n;
        const MoxV wv = moxwvDotProd(a.data(), c, n, MOX_FixScale, &factor),
                   vw = moxvwDotProd(c, a.data(), n, MOX_FixScale, &factor);
        EXPECT_TRUE(sameBits(wv, MoxV{scaled(mixedRe), scaled(mixedIm)})) << n;
        EXPECT_TRUE(sameBits(wv, vw)) << n;
      }
    }
  });
}

TEST(DotProduct16, ScalesLikeTheSharedStep) {
  Reports reports;
  const int16_t a[] = {200, 200};
  const MoxV c[] = {{200, 1}, {200, 0}};
  int32_t factor = -1;
  EXPECT_EQ(moxwDotProd(a, a, 2, MOX_AutoScale, &factor), 20000);
  EXPECT_EQ(factor, 2);
  EXPECT_EQ(moxwDotProd(a, a, 2, MOX_NoScaleSat, nullptr), 32767);
  EXPECT_TRUE(sameBits(moxwvDotProd(a, c, 2, MOX_AutoScale, &factor), MoxV{20000, 50}));
  EXPECT_EQ(factor, 2);
  moxSetErrStatus(MOX_StsNoMem);  // the scaling step clears it
  EXPECT_EQ(moxwDotProd(a, a, 1, MOX_NoScaleSat, nullptr), 32767);
  EXPECT_EQ(moxGetErrStatus(), MOX_StsOk);

  EXPECT_TRUE(sameBits(moxvDotProd(c, c, 2, MOX_AutoScale, nullptr), MoxV{0, 0}));
  EXPECT_EQ(moxwDotProd(a, a, 2, 5, &factor), 0);
  EXPECT_EQ(moxwDotProd(nullptr, nullptr, -1, 5, nullptr), 0);
  EXPECT_EQ(moxwDotProd(a, nullptr, -1, 5, nullptr), 0);
  EXPECT_EQ(moxwDotProd(a, a, -1, 5, nullptr), 0);
  ASSERT_EQ(reports.all().size(), 5u);
  EXPECT_EQ(reports.all()[2].file, "moxdotpw");
  EXPECT_NE(reports.all()[2].line, reports.all()[3].line);
  EXPECT_NE(reports.all()[3].line, reports.all()[4].line);
  EXPECT_EQ(reports.take(),
            (std::vector<std::string>{"moxibUndScaling: NULL==scalePtr (-5)", "moxiUndScaling: Unknown scale mode (-5)",
                                      "moxwDotProd: Null buffer pointer (-5)", "moxwDotProd: Null buffer pointer (-5)",
                                      "moxwDotProd: Invalid value (-5)"}));
  EXPECT_TRUE(sameBits(moxvDotProd(nullptr, c, 1, 0, nullptr), MoxV{0, 0}));
  EXPECT_TRUE(sameBits(moxwvDotProd(a, nullptr, 1, 0, nullptr), MoxV{0, 0}));
  EXPECT_TRUE(sameBits(moxvwDotProd(c, a, -1, 0, nullptr), MoxV{0, 0}));
  EXPECT_EQ(reports.take(),
            (std::vector<std::string>{"moxvDotProd: Null buffer pointer (-5)", "moxwvDotProd: Null buffer pointer (-5)",
                                      "moxvwDotProd: Invalid value (-5)"}));
}

}  // namespace
