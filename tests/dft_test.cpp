#include <algorithm>

#include "tests/transform_oracle.h"

using namespace moxtest;

namespace {

using Strings = std::vector<std::string>;

template <class C>
struct Api;
template <>
struct Api<MoxC> {
  using Real = float;
  static constexpr const char *kName = "moxcDft", *kGetter = "moxcGetDftTwdTbl", *kModule = "moxffts";
  static constexpr auto dft = moxcDft;
  static constexpr auto table = moxcGetDftTwdTbl;
  static constexpr auto freeTables = moxcFreeTwdTbls;
};
template <>
struct Api<MoxZ> {
  using Real = double;
  static constexpr const char *kName = "moxzDft", *kGetter = "moxzGetDftTwdTbl", *kModule = "moxfftd";
  static constexpr auto dft = moxzDft;
  static constexpr auto table = moxzGetDftTwdTbl;
  static constexpr auto freeTables = moxzFreeTwdTbls;
};

constexpr int32_t kDirections[] = {MOX_Forw, MOX_Inv, MOX_Inv | MOX_NoInvScale};

template <class C>
class Dft : public ::testing::Test {
 protected:
  // The sum as it is written: products and sums in double, one after the other.
  static std::vector<C> plain(const std::vector<C>& x, int32_t flags) {
    using Real = typename Api<C>::Real;
    const size_t n = x.size();
    const C* const w = Api<C>::table(static_cast<int32_t>(n));
    const double sign = flags & MOX_Forw ? 1 : -1;
    std::vector<C> out;
    for (size_t k = 0; k < n; ++k) {
      double re = 0, im = 0;
      for (size_t i = 0; i < n; ++i) {
        const double xr = x[i].re, xi = x[i].im, wr = w[k * i % n].re, wi = sign * static_cast<double>(w[k * i % n].im);
        re += xr * wr - xi * wi;
        im += xr * wi + xi * wr;
      }
      if (flags == MOX_Inv) {
        re *= 1.0 / static_cast<double>(n);
        im *= 1.0 / static_cast<double>(n);
      }
      out.push_back({static_cast<Real>(re), static_cast<Real>(im)});
    }
    return out;
  }
  static std::vector<C> library(const std::vector<C>& x, int32_t flags, Flush flush = Flush::AtEnd) {
    Guarded<C> in(x, flush);
    in.makeReadOnly();
    const Guarded<C> out(x.size(), flush);
    Api<C>::dft(in.data(), out.data(), static_cast<int32_t>(x.size()), flags);
    return out.values();
  }
};
using Types = ::testing::Types<MoxC, MoxZ>;
TYPED_TEST_SUITE(Dft, Types);

TYPED_TEST(Dft, IsThePlainSumBitForBit) {
  std::vector<size_t> lengths = {205, 256, 331};
  for (size_t n = 1; n <= 70; ++n) lengths.push_back(n);
  for (const size_t n : lengths) {
    SCOPED_TRACE(n);
    const auto x = noise<TypeParam>(n, static_cast<uint32_t>(n));
    for (const int32_t flags : kDirections) {
      const auto expected = this->plain(x, flags);
      forEachLevel([&] {
        EXPECT_TRUE(sameBits(this->library(x, flags), expected));
        EXPECT_TRUE(sameBits(this->library(x, flags, Flush::AtStart), expected));
      });
    }
  }
}

// Against the transform of the same length, whose roots are exact.
TYPED_TEST(Dft, IsTheTransform) {
  using Real = typename Api<TypeParam>::Real;
  for (const size_t n : {size_t{2}, size_t{8}, size_t{512}}) {
    const auto x = noise<TypeParam>(n, 2);
    auto exact = widened(x);
    transform(exact);
    const auto ours = widened(this->library(x, MOX_Forw));
    long double error = 0, norm = 0;
    for (size_t k = 0; k < n; ++k) {
      error += std::norm(ours[k] - exact[k]);
      norm += std::norm(exact[k]);
    }
    // Roots and results rounded once each; in float64 the sums, too, and angles of the table up to 2 pi n units off.
    const long double bound = sizeof(Real) == 4 ? 2 * kUnit<float> : (8 + static_cast<long double>(n)) * kUnit<double>;
    EXPECT_LT(std::sqrt(error / norm), bound) << n;
    const auto back = widened(this->library(this->library(x, MOX_Forw), MOX_Inv));
    for (size_t k = 0; k < n; ++k) EXPECT_LT(std::abs(back[k] - widened(x)[k]), 20 * bound) << k;
  }
}

TYPED_TEST(Dft, SharesItsTableWithTheTransformOfThatLength) {
  const auto x = noise<TypeParam>(8);
  Api<TypeParam>::freeTables();
  this->library(x, MOX_Forw);
  const auto* const table = Api<TypeParam>::table(8);
  if constexpr (std::is_same_v<TypeParam, MoxC>) {
    EXPECT_EQ(table, moxcGetFftTwdTbl(3));
  } else {
    EXPECT_EQ(table, moxzGetFftTwdTbl(3));
  }
}

TYPED_TEST(Dft, Reports) {
  using C = TypeParam;
  Reports reports;
  const std::string name = Api<C>::kName, getter = std::string(Api<C>::kGetter) + ": length<=0 (-5)",
                    trace = name + ": Bad pointer (-1)";
  const C x[3] = {{1, 2}, {3, 4}, {5, 6}};
  C out[3] = {{7, 7}, {7, 7}, {7, 7}};
  const auto call = [&](const C* in, C* to, int32_t length, int32_t flags) {
    Api<C>::dft(in, to, length, flags);
    for (const C& v : out) EXPECT_TRUE(sameBits(v, C{7, 7}));
    EXPECT_TRUE(reports.all().empty() || reports.all().back().file == Api<C>::kModule);
    return reports.take();
  };
  EXPECT_EQ(call(nullptr, nullptr, 3, MOX_Init), Strings{});
  EXPECT_EQ(call(x, out, 0, MOX_Forw), (Strings{getter, trace}));
  EXPECT_EQ(call(nullptr, nullptr, -1, MOX_Init), (Strings{getter, trace}));
  EXPECT_EQ(call(nullptr, nullptr, 3, 0), (Strings{name + ": inSamps==0 (-5)", name + ": outSamps==0 (-5)"}));
  EXPECT_EQ(call(x, out, 3, 0), Strings{name + ": no MOX_Forw or MOX_Inv (-5)"});
  EXPECT_EQ(call(x, out, 3, MOX_Forw | MOX_Inv | MOX_InBitRev | MOX_OutBitRev),
            Strings{name + ": MOX_Forw and MOX_Inv (-5)"});
  moxSetErrStatus(MOX_StsNoMem);
  EXPECT_EQ(call(x, out, 3, MOX_Forw), Strings{trace});
  reports.answer(0);  // a handler that goes on
  EXPECT_EQ(call(x, nullptr, 0, MOX_Forw),
            (Strings{getter, trace, name + ": length<=0 (-5)", name + ": outSamps==0 (-5)"}));
}

TEST(Dft16, IsTheFloatTransformTruncated) {
  constexpr int32_t n = 37;
  std::vector<MoxV> x;
  std::vector<MoxC> wide;
  for (const MoxC& v : noise<MoxC>(n, 4)) {
    x.push_back({static_cast<int16_t>(v.re * 20000), static_cast<int16_t>(v.im * 20000)});
    wide.push_back({static_cast<float>(x.back().re), static_cast<float>(x.back().im)});
  }
  forEachLevel([&] {
    for (const int32_t flags : kDirections) {
      std::vector<MoxC> expected(n);
      moxcDft(wide.data(), expected.data(), n, flags);
      float largest = 0;
      for (const MoxC& v : expected) largest = std::max({largest, std::abs(v.re), std::abs(v.im)});
      Guarded<MoxV> out(x, Flush::AtEnd);  // in place
      int32_t factor = 99;
      moxvDft(out.data(), out.data(), n, flags, MOX_AutoScale, &factor);
      EXPECT_EQ(moxGetErrStatus(), 0);
      const float unit = std::ldexp(1.0f, -factor);
      EXPECT_TRUE(largest * unit < 32768 && (factor == 0 || largest * unit >= 16384)) << factor;
      for (size_t k = 0; k < n; ++k) {
        EXPECT_EQ(out[k].re, static_cast<int16_t>(expected[k].re * unit));
        EXPECT_EQ(out[k].im, static_cast<int16_t>(expected[k].im * unit));
      }
    }
  });
}

TEST(Dft16, Reports) {
  Reports reports;
  const MoxV x[2] = {{1, 2}, {3, 4}};
  MoxV out[2] = {{7, 7}, {7, 7}};
  const auto call = [&](const MoxV* in, MoxV* to, int32_t length, int32_t flags, int32_t mode) {
    moxvDft(in, to, length, flags, mode, nullptr);
    for (const MoxV& v : out) EXPECT_TRUE(sameBits(v, MoxV{7, 7}));
    return reports.take();
  };
  EXPECT_EQ(call(nullptr, nullptr, 2, MOX_Init, 0), Strings{});
  EXPECT_EQ(call(nullptr, nullptr, 0, MOX_Init, 0),
            (Strings{"moxcGetDftTwdTbl: length<=0 (-5)", "moxvDft: Bad pointer for Twiddle Factors (-1)"}));
  EXPECT_EQ(call(nullptr, nullptr, 0, 0, 0),
            (Strings{"moxvDft: length<=0 (-5)", "moxvDft: inSamps==0 (-5)", "moxvDft: outSamps==0 (-5)"}));
  EXPECT_EQ(call(x, out, 2, 0, 0), Strings{"moxvDft: no MOX_Forw or MOX_Inv (-5)"});
  EXPECT_EQ(call(x, out, 2, MOX_Forw, MOX_AutoScale), Strings{"moxsbUndScaling: NULL==scalePtr (-5)"});
  moxSetErrStatus(MOX_StsNoMem);
  EXPECT_EQ(call(x, out, 2, MOX_Forw, 0), Strings{});
}

}  // namespace
