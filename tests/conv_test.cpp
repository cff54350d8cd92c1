#include <algorithm>
#include <cmath>
#include <limits>

#include "tests/fir_oracle.h"

using namespace moxtest;

namespace {

template <class XType, class HType, class YType>
struct Form {
  using X = XType;
  using H = HType;
  using Y = YType;
  const char* letters;
  void(MOX_CALL* call)(const X*, int32_t, const H*, int32_t, Y*);
};
template <class Check>
void forEachForm(Check check) {
  check(Form<float, float, float>{"s", moxsConv});
  check(Form<double, double, double>{"d", moxdConv});
  check(Form<MoxC, MoxC, MoxC>{"c", moxcConv});
  check(Form<MoxZ, MoxZ, MoxZ>{"z", moxzConv});
  check(Form<MoxC, float, MoxC>{"cs", moxcsConv});
  check(Form<float, MoxC, MoxC>{"sc", moxscConv});
  check(Form<MoxZ, double, MoxZ>{"zd", moxzdConv});
  check(Form<double, MoxZ, MoxZ>{"dz", moxdzConv});
}

template <class T>
int32_t length(const std::vector<T>& v) {
  return static_cast<int32_t>(v.size());
}

struct Lengths {
  size_t x, h;
};

// The definition, result by result, and the sums of the products' sizes.
template <class X, class H>
struct Exact {
  std::vector<Parts> sum, size;
  Exact(const std::vector<X>& x, const std::vector<H>& h) : sum(x.size() + h.size() - 1), size(sum.size()) {
    for (size_t i = 0; i < x.size(); ++i) {
      const Parts a = parts(x[i]);
      for (size_t k = 0; k < h.size(); ++k) {
        const Parts b = parts(h[k]);
        sum[i + k].re += a.re * b.re - a.im * b.im;
        sum[i + k].im += a.re * b.im + a.im * b.re;
        size[i + k].re += std::fabs(a.re * b.re) + std::fabs(a.im * b.im);
        size[i + k].im += std::fabs(a.re * b.im) + std::fabs(a.im * b.re);
      }
    }
  }

  // Two roundings to float64 a product at most, then one.
  template <class Y>
  ::testing::AssertionResult isSummed(const std::vector<Y>& y, size_t terms) const {
    const long double unit = sizeof(typename Traits<Y>::Real) == 4 ? 0x1p-24L : 0;
    const long double sums = static_cast<long double>(2 * terms + 6) * 0x1p-53L;
    for (size_t n = 0; n < y.size(); ++n) {
      const Parts got = parts(y[n]);
      if (!(std::fabs(got.re - sum[n].re) <= sums * size[n].re + unit * std::fabs(sum[n].re)) ||
          !(std::fabs(got.im - sum[n].im) <= sums * size[n].im + unit * std::fabs(sum[n].im))) {
        return ::testing::AssertionFailure() << "result " << n << " is (" << got.re << ", " << got.im << "), not ("
                                             << sum[n].re << ", " << sum[n].im << ")";
      }
    }
    return ::testing::AssertionSuccess();
  }

  // The L2 norm of the errors over that of the results.
  template <class Y>
  double error(const std::vector<Y>& y) const {
    long double errors = 0, all = 0;
    for (size_t n = 0; n < y.size(); ++n) {
      const Parts got = parts(y[n]);
      errors += (got.re - sum[n].re) * (got.re - sum[n].re) + (got.im - sum[n].im) * (got.im - sum[n].im);
      all += sum[n].re * sum[n].re + sum[n].im * sum[n].im;
    }
    return static_cast<double>(std::sqrt(errors / all));
  }
};

template <class Form, class X = typename Form::X, class H = typename Form::H>
std::vector<typename Form::Y> convolved(const Form& form, const std::vector<X>& x, const std::vector<H>& h,
                                        Flush flush = Flush::AtEnd) {
  Guarded<X> xIn(x, flush);
  Guarded<H> hIn(h, flush);
  xIn.makeReadOnly();
  hIn.makeReadOnly();
  Guarded<typename Form::Y> y(x.size() + h.size() - 1, flush);
  form.call(xIn.data(), length(x), hIn.data(), length(h), y.data());
  return y.values();
}

TEST(Convolution, DirectSums) {
  forEachForm([](auto form) {
    using Calls = decltype(form);
    for (const Lengths& n : {Lengths{1, 1}, Lengths{1, 9}, Lengths{2, 2}, Lengths{3, 70}, Lengths{12, 12},
                             Lengths{1000, 12}, Lengths{11, 3000}}) {
      SCOPED_TRACE(::testing::Message() << form.letters << ": " << n.x << ", " << n.h);
      const auto x = noise<typename Calls::X>(n.x, 1);
      const auto h = noise<typename Calls::H>(n.h, 2);
      const Exact exact(x, h);
      std::vector<typename Calls::Y> first;
      forEachLevel([&] {
        for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
          const auto y = convolved(form, x, h, flush);
          EXPECT_TRUE(exact.isSummed(y, std::min(n.x, n.h)));
          if (first.empty()) first = y;
          // float32 products are exact in float64, fused or not.
          EXPECT_TRUE(sizeof(typename Traits<typename Calls::Y>::Real) == 8 || sameBits(y, first));
        }
      });
    }
  });
}

TEST(Convolution, TransformsOfEverythingAndOfBlocks) {
  forEachForm([](auto form) {
    using Calls = decltype(form);
    using Real = typename Traits<typename Calls::Y>::Real;
    const double unit = std::numeric_limits<Real>::epsilon() / 2;
    for (const Lengths& n : {Lengths{102, 102}, Lengths{128, 129}, Lengths{2000, 48}, Lengths{700, 512},
                             Lengths{511, 2600}, Lengths{9000, 100}, Lengths{127, 6000}, Lengths{1500, 1501}}) {
      SCOPED_TRACE(::testing::Message() << form.letters << ": " << n.x << ", " << n.h);
      const auto x = noise<typename Calls::X>(n.x, 1);
      const auto h = noise<typename Calls::H>(n.h, 2);
      const Exact exact(x, h);
      // Two transforms there and one back of 0.85 u sqrt(order) each, whose errors do not depend on each other; those
      // of float32 up to order 10 (real ones: 11), which blocks take, each differ from the exact map by half of the
      // energy, or less, of what their constant is off by.
      const double order = std::ceil(std::log2(static_cast<double>(n.x + n.h - 1)));
      const double constant = 0.70710700750350952 / std::sqrt(0.5) - 1;
      const double bound = 1.5 * unit * std::sqrt(order) + (sizeof(Real) == 4 ? 3 * std::sqrt(0.5) * constant : 0);
      std::vector<std::vector<typename Calls::Y>> fused;
      for (const std::string& level : levels()) {
        SCOPED_TRACE(level);
        const ForcedLevel forced(level);
        std::vector<typename Calls::Y> first;
        for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
          const auto y = convolved(form, x, h, flush);
          EXPECT_LE(exact.error(y), bound);
          if (first.empty()) first = y;
          EXPECT_TRUE(sameBits(y, first));
        }
        if (level != "sse2") fused.push_back(first);
      }
      for (const auto& y : fused) EXPECT_TRUE(sameBits(y, fused[0]));
    }
  });
}

TEST(Convolution, OperandsOfTwoTypesChangePlaces) {
  const auto same = [](const auto& one, const auto& other, Lengths n) {
    using Calls = std::decay_t<decltype(one)>;
    const auto x = noise<typename Calls::X>(n.x, 1);
    const auto h = noise<typename Calls::H>(n.h, 2);
    EXPECT_TRUE(sameBits(convolved(one, x, h), convolved(other, h, x)));
  };
  using CS = Form<MoxC, float, MoxC>;
  using SC = Form<float, MoxC, MoxC>;
  forEachLevel([&] {
    for (const Lengths& n : {Lengths{5, 90}, Lengths{90, 5}, Lengths{300, 301}, Lengths{100, 9000}}) {
      same(CS{"cs", moxcsConv}, SC{"sc", moxscConv}, n);
    }
  });
}

TEST(Convolution, InfinitiesStayWhereTheyBelong) {
  const float inf = std::numeric_limits<float>::infinity();
  forEachLevel([&] {
    for (const size_t at : {size_t{0}, size_t{4}, size_t{8}}) {
      std::vector<float> x(60, 1.0f), h(9, 0.5f);
      h[at] = -inf;
      std::vector<float> y = convolved(Form<float, float, float>{"s", moxsConv}, x, h);
      for (size_t n = 0; n < y.size(); ++n) EXPECT_EQ(y[n] == -inf, n >= at && n < at + x.size()) << n;
      EXPECT_TRUE(std::none_of(y.begin(), y.end(), [](float v) { return std::isnan(v); }));
      h[at] = 0.5f;
      x[at + 50] = inf;
      y = convolved(Form<float, float, float>{"s", moxsConv}, x, h);
      for (size_t n = 0; n < y.size(); ++n) EXPECT_EQ(y[n] == inf, n >= at + 50 && n < at + 50 + h.size()) << n;
    }
  });
}

// Sums below 2^24, exact in float32 as well.
TEST(Convolution, OfInt16ComesBackThroughTheScaleMode) {
  std::mt19937 bits(7);
  forEachLevel([&] {
    for (const Lengths& n : {Lengths{1, 1}, Lengths{50, 7}, Lengths{3, 900}}) {
      std::vector<int16_t> x(n.x), h(n.h);
      for (int16_t& v : x) v = static_cast<int16_t>(bits() % 4001 - 2000);
      for (int16_t& v : h) v = static_cast<int16_t>(bits() % 801 - 400);
      h[0] = 400;
      x[0] = 2000;
      std::vector<int32_t> exact(n.x + n.h - 1);
      int32_t largest = 0;
      for (size_t i = 0; i < n.x; ++i) {
        for (size_t k = 0; k < n.h; ++k) exact[i + k] += x[i] * h[k];
      }
      for (const int32_t v : exact) largest = std::max(largest, std::abs(v));
      int32_t needed = 0;
      while (largest >> needed > 32767) ++needed;
      for (const int32_t mode : {MOX_NoScale, MOX_NoScaleSat, MOX_FixScale, MOX_FixScaleSat, MOX_AutoScale}) {
        int32_t factor = mode == MOX_AutoScale ? -99 : 3;
        Guarded<int16_t> xIn(x, Flush::AtEnd), hIn(h, Flush::AtEnd);
        Guarded<int16_t> y(exact.size());
        moxwConv(xIn.data(), length(x), hIn.data(), length(h), y.data(), mode, &factor);
        EXPECT_EQ(factor, mode == MOX_AutoScale ? needed : 3);
        if (mode == MOX_NoScale || mode == MOX_NoScaleSat) factor = 0;
        for (size_t i = 0; i < exact.size(); ++i) {
          const int32_t scaled = exact[i] / (1 << factor);  // toward zero
          const bool saturates = mode == MOX_NoScaleSat || mode == MOX_FixScaleSat;
          ASSERT_EQ(y[i], static_cast<int16_t>(saturates ? std::clamp(scaled, -32768, 32767) : scaled))
              << "result " << i << ", mode " << mode;
        }
      }
    }
  });
}

TEST(Convolution, LongOnesOfInt16) {
  std::mt19937 bits(8);
  std::vector<int16_t> x(3000), h(200), y(3199);
  for (int16_t& v : x) v = static_cast<int16_t>(bits());
  for (int16_t& v : h) v = static_cast<int16_t>(bits());
  const Exact exact(std::vector<double>(x.begin(), x.end()), std::vector<double>(h.begin(), h.end()));
  int32_t factor = 0;
  moxwConv(x.data(), 3000, h.data(), 200, y.data(), MOX_AutoScale, &factor);
  long double largest = 0;
  for (const Parts& sum : exact.sum) largest = std::max(largest, std::fabs(sum.re));
  EXPECT_EQ(factor, std::ilogb(largest) - 14);
  // Truncation, and the float32 transforms' errors, far below a unit of the results.
  for (size_t n = 0; n < y.size(); ++n) {
    EXPECT_NEAR(static_cast<double>(y[n]), static_cast<double>(std::ldexp(exact.sum[n].re, -factor)), 1.1) << n;
  }
}

TEST(Convolution, BadCalls) {
  Reports reports;
  const auto check = [&](const std::string& name, const std::string& module, auto x, auto h, auto y, auto call) {
    const auto before = y;
    const auto expect = [&](const std::vector<const char*>& conditions) {
      std::vector<std::string> expected;
      for (const char* condition : conditions) expected.push_back(name + ": " + condition + " (-5)");
      for (const Report& r : reports.all()) {
        EXPECT_EQ(r.file, module);
        EXPECT_EQ(r.line, reports.all()[0].line);
      }
      EXPECT_EQ(reports.take(), expected);
      EXPECT_TRUE(sameBits(y, before));
    };
    call(nullptr, 3, h.data(), 2, y.data()), expect({"x==0"});
    call(x.data(), 0, h.data(), 2, y.data()), expect({"xLen<=0"});
    call(x.data(), 3, nullptr, 2, y.data()), expect({"h==0"});
    call(x.data(), 3, h.data(), -1, y.data()), expect({"hLen<=0"});
    call(x.data(), 3, h.data(), 2, nullptr), expect({"y==0"});
    call(nullptr, -1, nullptr, 0, nullptr), expect({"x==0", "xLen<=0", "h==0", "hLen<=0", "y==0"});
    // What another function left behind does not stop it.
    moxSetErrStatus(MOX_StsNoMem);
    call(x.data(), 3, h.data(), 2, y.data());
    EXPECT_EQ(moxGetErrStatus(), MOX_StsOk);
    EXPECT_TRUE(reports.take().empty());
    EXPECT_FALSE(sameBits(y, before));
  };
  forEachForm([&](auto form) {
    using Calls = decltype(form);
    using Y = typename Calls::Y;
    check(std::string("mox") + form.letters + "Conv",
          sizeof(typename Traits<Y>::Real) == sizeof(float) ? "moxconvs" : "moxconvd", noise<typename Calls::X>(3),
          noise<typename Calls::H>(2), std::vector<Y>(4, makeValue<Y>(7, 7)), form.call);
  });
  check("moxwConv", "moxconvw", std::vector<int16_t>{3, 4, 5}, std::vector<int16_t>{2, 1},
        std::vector<int16_t>{7, 7, 7, 7},
        [](const int16_t* x, int32_t xLen, const int16_t* h, int32_t hLen, int16_t* y) {
          moxwConv(x, xLen, h, hLen, y, MOX_NoScale, nullptr);
        });
  // Bad scale modes are found last.
  const int16_t one = 1;
  int16_t y = 7;
  int32_t factor = 16;
  moxwConv(&one, 1, &one, 1, &y, 5, nullptr);
  moxwConv(&one, 1, &one, 1, &y, MOX_FixScale, &factor);
  moxwConv(&one, 1, &one, 1, &y, MOX_AutoScale, nullptr);
  EXPECT_EQ(y, 7);
  EXPECT_EQ(reports.take(), (std::vector<std::string>{"moxsbUndScaling: Unknown scale mode (-5)",
                                                      "moxsbUndScaling: (factor>15) || (factor<-14) (-5)",
                                                      "moxsbUndScaling: NULL==scalePtr (-5)"}));
}

}  // namespace
