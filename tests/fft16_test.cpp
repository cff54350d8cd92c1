#include "tests/fft16_forms.h"

#include <algorithm>
#include <cmath>

using namespace moxtest;

namespace {

using Strings = std::vector<std::string>;
using Ints = std::vector<int16_t>;
using Floats = std::vector<float>;

Ints samples(size_t n, uint32_t seed, int size) {
  Ints v;
  for (const float x : noise<float>(n, seed)) v.push_back(static_cast<int16_t>(x * static_cast<float>(size)));
  return v;
}

// Truncated, in mode 4 with the least factor for `deciding`, in the others limited with the factor given.
Ints reduced(const Floats& values, float deciding, int32_t mode, int32_t& factor) {
  if (mode == MOX_AutoScale) {
    const bool fits = deciding >= -32768 && deciding <= 32767;
    factor = fits ? 0 : std::ilogb(deciding) - 14;
  }
  Ints v;
  for (const float x : values) {
    const float scaled = std::ldexp(x, -factor);
    v.push_back(mode == MOX_AutoScale ? static_cast<int16_t>(static_cast<int64_t>(scaled))
                                      : static_cast<int16_t>(std::clamp(scaled, -32768.0f, 32767.0f)));
  }
  return v;
}
float largest(const Floats& v) {
  return *std::max_element(v.begin(), v.end(), [](float a, float b) { return std::abs(a) < std::abs(b); });
}

// All flag words of a form that mean something.
std::vector<int32_t> flagWords(const Form16& form) {
  std::vector<int32_t> words;
  for (const int32_t direction : {int32_t{MOX_Forw}, int32_t{MOX_Inv}, MOX_Inv | MOX_NoInvScale}) {
    for (const int32_t more : form.flags) words.push_back(direction | more);
  }
  return words;
}

TEST(Fft16, IsTheFloatTransformTruncated) {
  for (const Form16& form : forms16()) {
    SCOPED_TRACE(form.name);
    for (int32_t order = 1; order <= 11; ++order) {
      SCOPED_TRACE(order);
      std::vector<Ints> in(form.arrays);
      for (size_t i = 0; i < form.arrays; ++i) in[i] = samples(form.in(order), static_cast<uint32_t>(7 + i), 30000);
      for (const int32_t flags : flagWords(form)) {
        for (const int32_t mode : {int32_t{MOX_FixScaleSat}, int32_t{MOX_AutoScale}}) {
          forEachLevel([&] {
            std::vector<Floats> wide;
            for (const Ints& v : in) wide.emplace_back(v.begin(), v.end());
            for (Floats& v : wide) v.resize(std::max(form.in(order), form.out(order)));
            form.runFloat(wide, order, flags);
            for (Floats& v : wide) v.resize(form.out(order));
            // Of two arrays that with the greater of the two largest elements decides, their signs included.
            float deciding = largest(wide[0]);
            if (form.arrays == 2 && !(deciding > largest(wide[1]))) deciding = largest(wide[1]);
            int32_t expectedFactor = 2;
            std::vector<Ints> expected;
            for (const Floats& v : wide) expected.push_back(reduced(v, deciding, mode, expectedFactor));

            for (const bool inPlace : {true, false}) {
              int32_t factor = 2;
              const std::vector<Ints> out = form.run(in, order, flags, mode, &factor, inPlace);
              EXPECT_EQ(factor, expectedFactor);
              ASSERT_EQ(out, expected) << "flags " << flags << " mode " << mode << (inPlace ? " in place" : "");
              EXPECT_EQ(moxGetErrStatus(), 0);
            }
          });
        }
      }
    }
  }
}

TEST(Fft16, OrderZeroIsTheIdentity) {
  for (const Form16& form : forms16()) {
    SCOPED_TRACE(form.name);
    const std::vector<Ints> in(form.arrays, samples(form.in(0), 3, 30000));
    for (const bool inPlace : {true, false}) {
      // One sample; the factor is not looked at.
      std::vector<Ints> out = form.run(in, 0, MOX_Inv | form.flags[0], 9, nullptr, inPlace);
      for (size_t i = 0; i < form.arrays; ++i) {
        EXPECT_EQ(out[i][0], in[i][0]);
        if (form.in(0) == 2 && form.out(0) == 2) {
          EXPECT_EQ(out[i][1], in[i][1]);
        }
      }
      EXPECT_EQ(moxGetErrStatus(), 0);
    }
  }
}

TEST(Fft16, Impulses) {
  MoxV x[4] = {{100, 0}, {0, 0}, {0, 0}, {0, 0}};
  moxvFft(x, 2, MOX_Forw, MOX_NoScale, nullptr);
  for (const MoxV& v : x) EXPECT_TRUE(sameBits(v, MoxV{100, 0}));
  MoxV y[4];
  moxvFftNip(x, y, 2, MOX_Inv | MOX_NoInvScale, MOX_NoScaleSat, nullptr);
  EXPECT_TRUE(sameBits(y[0], MoxV{400, 0}));
  moxvFft(x, 2, MOX_Inv, MOX_NoScale, nullptr);
  EXPECT_TRUE(sameBits(x[0], MoxV{100, 0}));
  for (int k = 1; k < 4; ++k) EXPECT_TRUE(sameBits(x[k], MoxV{0, 0}) && sameBits(y[k], MoxV{0, 0}));
}

TEST(Fft16, Reports) {
  Reports reports;
  for (const Form16& form : forms16()) {
    const std::string table = "moxcUndGetFftTwdTbl_great: ", pointer = "Bad pointer for Twiddle Factors (-1)";
    const bool real = form.real;
    for (const bool inPlace : {true, false}) {
      const std::string name = form.name + (inPlace ? "" : "Nip"), trace = name + ": " + pointer;
      const bool inner = name == "moxwRealFftNip";
      SCOPED_TRACE(name);
      std::vector<Ints> arrays(2 * form.arrays, Ints(20, 7));
      // Arrays are read and written as `null` says; nothing is written.
      const auto call = [&](int32_t order, int32_t flags, int32_t mode, bool null) {
        form.callRaw(arrays, order, flags, mode, nullptr, inPlace, null);
        for (const Ints& v : arrays) EXPECT_EQ(v, Ints(20, 7));
        if (!reports.all().empty() && !inner) {
          EXPECT_TRUE(reports.all().back().file == "moxfftw" || reports.all().back().file == "undscale");
        }
        return reports.take();
      };
      const auto under = [&](const std::string& text) {
        if (!inner) return Strings{name + ": " + text};
        return Strings{"moxwRealFft: " + text, "moxwRealFftNip: out moxwRealFft (-1)"};
      };
      Strings nulls;
      for (const std::string& array : form.arrayNames(inPlace)) nulls.push_back(name + ": " + array + "==0 (-5)");
      const int32_t good = MOX_Forw | form.flags[0];

      EXPECT_EQ(call(3, MOX_Init, 0, true), Strings{});
      EXPECT_EQ(call(3, 0, 0, true), nulls);
      EXPECT_EQ(call(3, form.flags[0], 0, false), under("no MOX_Forw or MOX_Inv (-5)"));
      EXPECT_EQ(call(0, good | MOX_Inv, 0, false), under("MOX_Forw and MOX_Inv (-5)"));
      if (form.flags[0] != 0) {
        const std::string packing = form.flags[0] == MOX_OutRCPack ? "Out" : "In";
        EXPECT_EQ(call(3, MOX_Forw, 0, false), under("no MOX_" + packing + "RCPack or MOX_" + packing + "RCPerm (-5)"));
      } else if (form.flags.size() > 1) {
        EXPECT_EQ(call(3, good | MOX_InBitRev | MOX_OutBitRev, 0, false), under("MOX_InBitRev and MOX_OutBitRev (-5)"));
      }
      const std::string scaling = form.arrays == 2 ? "moxsbUndScaling2" : "moxsbUndScaling";
      Strings unscaled = {scaling + ": NULL==scalePtr (-5)"};
      if (inner) unscaled.push_back("moxwRealFftNip: out moxwRealFft (-1)");
      EXPECT_EQ(call(2, good, MOX_AutoScale, false), unscaled);
      // Orders: that of the table is refused first, but for real signals of order 32.
      if (real) {
        EXPECT_EQ(call(-1, good, 0, false), Strings{name + ": order<0 (-5)"});
        EXPECT_EQ(call(32, good, 0, false), Strings{name + ": order>31 (-5)"});
        EXPECT_EQ(call(32, MOX_Init, 0, false), Strings{name + ": order>31 (-5)"});
        EXPECT_EQ(call(33, good, 0, false),
                  inner ? Strings{name + ": order>31 (-5)"} : (Strings{table + "order>31 (-5)", trace}));
      } else {
        EXPECT_EQ(call(-1, good, 0, false), (Strings{table + "order<0 (-5)", trace}));
        EXPECT_EQ(call(32, MOX_Init, 0, false), (Strings{table + "order>31 (-5)", trace}));
      }
      // A failure from before.
      moxSetErrStatus(MOX_StsNoMem);
      EXPECT_EQ(call(3, good, 0, false), inner ? Strings{} : Strings{trace});
    }
  }
}

// ---- products of packed spectra

struct Product {
  const char* name;
  bool perm;
  void(MOX_CALL* to)(const int16_t*, const int16_t*, int16_t*, int32_t, int32_t, int32_t*);
  void(MOX_CALL* inPlace)(const int16_t*, int16_t*, int32_t, int32_t, int32_t*);
};
const Product kProducts[] = {{"Pack", false, moxwMpyRCPack3, moxwMpyRCPack2},
                             {"Perm", true, moxwMpyRCPerm3, moxwMpyRCPerm2}};

// One of the two real products: the first bit that is shifted out rounds.
int16_t realProduct(int64_t p, int32_t mode, int32_t f) {
  if (mode < 2) f = 0;
  if (f > 0) p = ((p & 1) + (p >> 1)) >> (f - 1);
  if (f < 0) p = static_cast<int32_t>(p << -f);
  return static_cast<int16_t>(mode % 2 == 1 ? std::clamp<int64_t>(p, -32768, 32767) : p);
}
int32_t realFactor(int64_t p) {
  int32_t f = 0;
  while (p >> f > 32767 || p >> f < -32768) ++f;
  return f;
}

TEST(Fft16, ProductsOfPackedSpectra) {
  for (const Product& product : kProducts) {
    SCOPED_TRACE(product.name);
    for (int32_t order = 0; order <= 6; ++order) {
      for (uint32_t seed = 1; seed <= 8; ++seed) {
        const size_t n = size_t{1} << order, bins = product.perm ? 2 : 1, complexes = order >= 2 ? n / 2 - 1 : 0;
        const size_t middle = order == 0 ? 0 : product.perm ? 1 : n - 1;
        Ints a = samples(n, seed, seed % 2 == 0 ? 32767 : 300), b = samples(n, seed + 20, seed % 3 == 0 ? 32767 : 100);
        if (seed == 8) a[0] = b[0] = a[n - 1] = b[n / 2] = -32768;
        const auto complexPart = [&](int32_t mode, int32_t* factor) {
          std::vector<MoxV> x(complexes), y(complexes), z(complexes);
          if (complexes == 0) return z;
          std::memcpy(x.data(), a.data() + bins, complexes * sizeof(MoxV));
          std::memcpy(y.data(), b.data() + bins, complexes * sizeof(MoxV));
          moxvbMpy3(x.data(), y.data(), z.data(), static_cast<int32_t>(complexes), mode, factor);
          return z;
        };
        const int64_t first = a[0] * b[0], second = a[middle] * b[middle];
        const auto check = [&](int32_t mode, int32_t factorIn) {
          SCOPED_TRACE(testing::Message() << "order " << order << " mode " << mode << " factor " << factorIn);
          int32_t expectedFactor = factorIn;
          std::vector<MoxV> z;
          Ints expected(n);
          if (mode == MOX_AutoScale) {
            int32_t least = std::max(realFactor(first), realFactor(second));
            z = complexPart(mode, &expectedFactor);
            if (complexes == 0 || expectedFactor < least) {
              expectedFactor = least;
              z = complexPart(MOX_FixScale, &least);
            }
            expected[0] = static_cast<int16_t>(first >> expectedFactor);
            expected[middle] = static_cast<int16_t>(second >> expectedFactor);
          } else {
            z = complexPart(mode, &expectedFactor);
            expected[0] = realProduct(first, mode, factorIn);
            expected[middle] = realProduct(second, mode, factorIn);
          }
          if (!z.empty()) std::memcpy(expected.data() + bins, z.data(), complexes * sizeof(MoxV));
          forEachLevel([&] {
            const Guarded<int16_t> x(a, Flush::AtEnd), y(b, Flush::AtStart), to(n, Flush::AtEnd);
            int32_t factor = factorIn;
            product.to(x.data(), y.data(), to.data(), order, mode, &factor);
            EXPECT_EQ(to.values(), expected);
            EXPECT_EQ(factor, expectedFactor);
            factor = factorIn;
            product.inPlace(y.data(), x.data(), order, mode, &factor);
            EXPECT_EQ(x.values(), expected);
          });
        };
        for (const int32_t mode : {0, 1, 4}) check(mode, 3);
        for (const int32_t factor : {-14, -2, -1, 0, 1, 2, 9, 15}) {
          check(MOX_FixScale, factor);
          check(MOX_FixScaleSat, factor);
        }
      }
    }
  }
}

// One factor for all: the real products and those between them.
TEST(Fft16, TheFactorOfAProductIsThatOfItsLargest) {
  int32_t factor = 0;
  const auto product = [&](Ints a, const Ints& b) {
    moxwMpyRCPack2(b.data(), a.data(), 2, MOX_AutoScale, &factor);
    return a;
  };
  EXPECT_EQ(product({200, 1, 1, 4}, {200, 2, 0, 3}), (Ints{20000, 1, 1, 6}));  // 40000, (2, 2), 12
  EXPECT_EQ(factor, 1);
  EXPECT_EQ(product({2, 200, 0, 4}, {5, 1000, 0, 3}), (Ints{1, 25000, 0, 1}));  // 10, (200000, 0), 12
  EXPECT_EQ(factor, 3);
  EXPECT_EQ(product({200, 1, 1, -300}, {200, 2, 0, 400}), (Ints{10000, 0, 0, -30000}));  // the last one decides
  EXPECT_EQ(factor, 2);
}

TEST(Fft16, ReportsOfProducts) {
  Reports reports;
  int16_t x[4] = {1, 2, 3, 4};
  for (const Product& product : kProducts) {
    const std::string two = std::string("moxwMpyRC") + product.name + "2: ",
                      three = std::string("moxwMpyRC") + product.name + "3: ";
    product.inPlace(nullptr, nullptr, -1, MOX_AutoScale, nullptr);
    EXPECT_EQ(reports.take(), (Strings{two + "order<0 (-5)", two + "src==0 (-5)", two + "dst==0 (-5)"}));
    product.to(nullptr, nullptr, nullptr, 32, MOX_AutoScale, nullptr);
    EXPECT_EQ(reports.take(), (Strings{three + "order>31 (-5)", three + "srcA==0 (-5)", three + "srcB==0 (-5)",
                                       three + "dst==0 (-5)"}));
    product.inPlace(x, x, 2, MOX_AutoScale, nullptr);
    EXPECT_EQ(reports.take(), Strings{two + "scaleFactor==0 (-5)"});
    product.to(x, x, x, 2, MOX_AutoScale, nullptr);
    EXPECT_EQ(reports.take(), Strings{three + "scaleFactor==0 (-5)"});
    moxSetErrStatus(MOX_StsNoMem);
    product.inPlace(x, x, 2, MOX_NoScale, nullptr);
    EXPECT_EQ(reports.take(), Strings{});
    EXPECT_TRUE(x[0] == 1 && x[3] == 4);
  }
}

}  // namespace
