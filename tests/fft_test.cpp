#include <functional>
#include <map>
#include <thread>

#include "tests/transform_oracle.h"
#if defined(__SSE__)
#  include <xmmintrin.h>
#endif

using namespace moxtest;

namespace {

template <class T>
struct Api;
#define MOX_FFT_API(letter, type, module_)                        \
  template <>                                                     \
  struct Api<type> {                                              \
    static constexpr const char* kName = "mox" #letter;           \
    static constexpr const char* kModule = module_;               \
    static constexpr auto fft = mox##letter##Fft;                 \
    static constexpr auto fftNip = mox##letter##FftNip;           \
    static constexpr auto parts = mox##letter##rFft;              \
    static constexpr auto partsNip = mox##letter##rFftNip;        \
    static constexpr auto bitRev1 = mox##letter##bBitRev1;        \
    static constexpr auto freeTables = mox##letter##FreeTwdTbls;  \
    static constexpr auto plainTable = mox##letter##GetFftTwdTbl; \
  };
MOX_FFT_API(c, float, "moxffts")
MOX_FFT_API(z, double, "moxfftd")

constexpr int kLargest = kSanitized ? 15 : 20;

template <class T>
class ComplexFft : public ::testing::Test {
 protected:
  using Element = ComplexOf<T>;
  using Elements = std::vector<Element>;

  static Elements swapped(Elements v) {
    for (Element& x : v) std::swap(x.re, x.im);
    return v;
  }
  static Elements nip(const Elements& x, int order, int32_t flags) {
    Elements y(x.size());
    Api<T>::fftNip(x.data(), y.data(), order, flags);
    return y;
  }
  static Elements inPlace(Elements x, int order, int32_t flags) {
    Api<T>::fft(x.data(), order, flags);
    return x;
  }
  struct Parts {
    std::vector<T> re, im;
    explicit Parts(const Elements& v) {
      for (const Element& x : v) {
        re.push_back(x.re);
        im.push_back(x.im);
      }
    }
    Elements joined() const {
      Elements v;
      for (size_t i = 0; i < re.size(); ++i) v.push_back({re[i], im[i]});
      return v;
    }
  };
  static Elements partsNip(const Elements& x, int order, int32_t flags) {
    const Parts in(x);
    Parts out(Elements(x.size()));
    Api<T>::partsNip(in.re.data(), in.im.data(), out.re.data(), out.im.data(), order, flags);
    return out.joined();
  }
  static Elements partsInPlace(const Elements& x, int order, int32_t flags) {
    Parts p(x);
    Api<T>::parts(p.re.data(), p.im.data(), order, flags);
    return p.joined();
  }
  static Elements permuted(Elements v, int order) {
    Api<T>::bitRev1(v.data(), order);
    return v;
  }
};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(ComplexFft, Precisions);

TYPED_TEST(ComplexFft, IsTheSumToRounding) {
  using T = TypeParam;
  for (int order = 0; order <= kLargest; ++order) {
    SCOPED_TRACE(order);
    struct Case {
      std::vector<ComplexOf<T>> x;
      std::vector<Wide> exact, back;
    };
    std::vector<Case> cases;
    for (uint32_t i = 0; i < draws(order); ++i) {
      const auto x = noise<ComplexOf<T>>(size_t{1} << order, i + 1);
      const auto exact = complexMap<T>(widened(x));
      // The map with the constant in it does not quite undo itself.
      cases.push_back(
          {x, exact, order > 10 ? widened(x) : scaled(complexMap<T>(exact, true), std::ldexp(1.0L, -order))});
    }
    forEachLevel([&] {
      Error<T> forward, parts, roundTrip;
      for (const Case& c : cases) {
        const auto spectrum = this->nip(c.x, order, MOX_Forw);
        forward.add(widened(spectrum), c.exact);
        parts.add(widened(this->partsNip(c.x, order, MOX_Forw)), c.exact);
        roundTrip.add(widened(this->nip(spectrum, order, MOX_Inv)), c.back);
      }
      EXPECT_LE(forward.perRootOf(order), 0.85);
      EXPECT_LE(parts.perRootOf(order), 0.85);
      EXPECT_LE(roundTrip.perRootOf(order), 1.25);
    });
  }
}

// An impulse at N/8 shows the constant, 3.8 units beside the root of one half, at every odd k.
TYPED_TEST(ComplexFft, HasTheFixedConstantInItsSmallFloat32Orders) {
  using T = TypeParam;
  forEachLevel([&] {
    for (int order = 3; order <= 13; ++order) {
      SCOPED_TRACE(order);
      const size_t n = size_t{1} << order;
      std::vector<ComplexOf<T>> x(n);
      x[n / 8] = {1, 0};
      const auto exact = complexMap<T>(widened(x));
      const auto spectrum = widened(this->nip(x, order, MOX_Forw));
      for (size_t k = 0; k < n; ++k) ASSERT_LE(std::abs(spectrum[k] - exact[k]), 1.5L * kUnit<T>) << k;
    }
  });
}

// Every other form follows from the forward transform not in place, bit for bit.
TYPED_TEST(ComplexFft, HasFormsThatAgreeInEveryBit) {
  using T = TypeParam;
  using C = ComplexOf<T>;
  forEachLevel([&] {
    for (int order = 0; order <= (kSanitized ? 13 : 17); ++order) {
      SCOPED_TRACE(order);
      const auto x = noise<C>(size_t{1} << order, 7);
      const auto forward = this->nip(x, order, MOX_Forw);
      auto inverse = this->swapped(this->nip(this->swapped(x), order, MOX_Forw));
      EXPECT_TRUE(sameBits(this->nip(x, order, MOX_Inv | MOX_NoInvScale), inverse));
      for (C& v : inverse) v = {std::ldexp(v.re, -order), std::ldexp(v.im, -order)};
      const auto partsForward = this->partsNip(x, order, MOX_Forw);
      auto partsInverse = this->swapped(this->partsNip(this->swapped(x), order, MOX_Forw));
      EXPECT_TRUE(sameBits(this->partsNip(x, order, MOX_Inv | MOX_NoInvScale), partsInverse));
      for (C& v : partsInverse) v = {std::ldexp(v.re, -order), std::ldexp(v.im, -order)};
      // Flags that complex transforms do not know change nothing.
      constexpr int32_t unknown = MOX_OutRCPack | MOX_OutRCPerm | MOX_InRCPack | MOX_InRCPerm | 0x4000;
      for (const int32_t direction : {MOX_Forw | MOX_NoInvScale, MOX_Forw | unknown, int32_t{MOX_Inv}}) {
        const auto& expected = direction & MOX_Forw ? forward : inverse;
        const auto& expectedParts = direction & MOX_Forw ? partsForward : partsInverse;
        for (const int32_t bits : {0, int32_t{MOX_NoBitRev}, int32_t{MOX_InBitRev}, int32_t{MOX_OutBitRev}}) {
          SCOPED_TRACE(direction | bits);
          const auto in = bits == MOX_InBitRev ? this->permuted(x, order) : x;
          const auto out = bits == MOX_OutBitRev ? this->permuted(expected, order) : expected;
          const auto parts = bits == MOX_OutBitRev ? this->permuted(expectedParts, order) : expectedParts;
          EXPECT_TRUE(sameBits(this->nip(in, order, direction | bits), out));
          EXPECT_TRUE(sameBits(this->inPlace(in, order, direction | bits), out));
          EXPECT_TRUE(sameBits(this->partsNip(in, order, direction | bits), parts));
          EXPECT_TRUE(sameBits(this->partsInPlace(in, order, direction | bits), parts));
        }
      }
    }
  });
}

TYPED_TEST(ComplexFft, TouchesNothingButItsArraysAtAnyAlignment) {
  using T = TypeParam;
  using C = ComplexOf<T>;
  forEachLevel([&] {
    for (int order = 0; order <= 15; ++order) {
      SCOPED_TRACE(order);
      const size_t n = size_t{1} << order;
      const auto x = noise<C>(n, 3);
      for (const int32_t flags : {int32_t{MOX_Forw}, MOX_Inv | MOX_InBitRev, MOX_Forw | MOX_OutBitRev}) {
        const auto expected = this->nip(x, order, flags);
        const auto expectedParts = this->partsNip(x, order, flags);
        for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
          Guarded<C> in(x, flush);
          in.makeReadOnly();
          const Guarded<C> out(n, flush);
          Api<T>::fftNip(in.data(), out.data(), order, flags);
          EXPECT_TRUE(sameBits(out.values(), expected));

          const typename TestFixture::Parts parts(x);
          Guarded<T> re(parts.re, flush), im(parts.im, flush);
          re.makeReadOnly();
          im.makeReadOnly();
          const Guarded<T> reOut(n, flush), imOut(n, flush);
          Api<T>::partsNip(re.data(), im.data(), reOut.data(), imOut.data(), order, flags);
          for (size_t i = 0; i < n; ++i) {
            ASSERT_TRUE(sameBits(C{reOut[i], imOut[i]}, expectedParts[i])) << i;
          }
        }
        // One real beyond every alignment but that of the element.
        std::vector<T> in(2 * n + 1), out(2 * n + 1);
        std::memcpy(in.data() + 1, x.data(), n * sizeof(C));
        Api<T>::fftNip(reinterpret_cast<const C*>(in.data() + 1), reinterpret_cast<C*>(out.data() + 1), order, flags);
        EXPECT_EQ(std::memcmp(out.data() + 1, expected.data(), n * sizeof(C)), 0);
        Api<T>::fft(reinterpret_cast<C*>(in.data() + 1), order, flags);
        EXPECT_EQ(std::memcmp(in.data() + 1, expected.data(), n * sizeof(C)), 0);
      }
    }
  });
}

TYPED_TEST(ComplexFft, HasTheSameBitsWithWiderVectors) {
  using T = TypeParam;
  for (int order = 0; order <= (kSanitized ? 14 : 18); ++order) {
    const size_t n = size_t{1} << order;
    // An impulse, whose zeros show their signs, too.
    std::vector<ComplexOf<T>> impulse(n, {T(0), T(-0.0)});
    impulse[n / 3].re = 1;
    for (const auto& x : {noise<ComplexOf<T>>(n, 11), impulse}) {
      std::vector<std::vector<ComplexOf<T>>> results, parts;
      forEachLevel([&] {
        results.push_back(this->nip(x, order, MOX_Inv));
        parts.push_back(this->partsNip(x, order, MOX_Inv));
      });
      for (size_t i = 2; i < results.size(); ++i) {
        EXPECT_TRUE(sameBits(results[i], results[i - 1])) << order;
        EXPECT_TRUE(sameBits(parts[i], parts[i - 1])) << order;
      }
    }
  }
}

TYPED_TEST(ComplexFft, LeavesOneValueAsItIs) {
  using C = ComplexOf<TypeParam>;
  const C tiny = {std::numeric_limits<TypeParam>::denorm_min(), -std::numeric_limits<TypeParam>::infinity()};
  for (const int32_t flags : {int32_t{MOX_Forw}, int32_t{MOX_Inv}, MOX_Inv | MOX_OutBitRev}) {
    EXPECT_TRUE(sameBits(this->nip({tiny}, 0, flags), {tiny}));
    EXPECT_TRUE(sameBits(this->inPlace({tiny}, 0, flags), {tiny}));
    EXPECT_TRUE(sameBits(this->partsNip({tiny}, 0, flags), {tiny}));
    EXPECT_TRUE(sameBits(this->partsInPlace({tiny}, 0, flags), {tiny}));
  }
}

#if defined(__SSE__)
// What a caller has done to rounding, subnormals, traps and the precision of the x87 does not get into the tables.
TYPED_TEST(ComplexFft, BuildsItsTablesInTheDefaultState) {
  using T = TypeParam;
  constexpr unsigned kUpAndFlushing = 0xdfc0, kTrapping = 0x0000;
  for (const int order : {3, 7, 10, 11, 13}) {
    const auto x = noise<ComplexOf<T>>(size_t{1} << order, 5);
    Api<T>::freeTables();
    const auto expected = this->nip(x, order, MOX_Forw);
    const auto root = Api<T>::plainTable(order)[3];
    for (const unsigned state : {kUpAndFlushing, kTrapping}) {
      Api<T>::freeTables();
      const unsigned before = _mm_getcsr();
      const uint16_t single = 0x007f | 0x0800;  // 24 bits, rounding up
      uint16_t control;
      asm volatile("fnstcw %0\n\tfldcw %1" : "=m"(control) : "m"(single));
      _mm_setcsr(state);
      Api<T>::fftNip(nullptr, nullptr, order, MOX_Init);
      const auto other = Api<T>::plainTable(order)[3];
      const unsigned after = _mm_getcsr();
      _mm_setcsr(before);
      asm volatile("fldcw %0" : : "m"(control));
      EXPECT_EQ(after, state);
      EXPECT_TRUE(sameBits(this->nip(x, order, MOX_Forw), expected)) << order;
      EXPECT_TRUE(sameBits(other, root)) << order;
    }
  }
}
#endif

TYPED_TEST(ComplexFft, RunsOnTwoThreadsAtOnce) {
  using T = TypeParam;
  const auto x = noise<ComplexOf<T>>(size_t{1} << 13, 9);
  const auto expected = this->nip(x, 13, MOX_Forw);
  int good[2] = {};
  const auto work = [&](int* count) {
    for (int i = 0; i < 20; ++i) *count += sameBits(this->nip(x, 13, MOX_Forw), expected) ? 1 : 0;
    Api<T>::freeTables();
  };
  std::thread other(work, &good[0]);
  work(&good[1]);
  other.join();
  EXPECT_EQ(good[0], 20);
  EXPECT_EQ(good[1], 20);
}

using Strings = std::vector<std::string>;

TYPED_TEST(ComplexFft, ReportsWhatIsWrong) {
  using T = TypeParam;
  using C = ComplexOf<T>;
  using A = Api<T>;
  const std::string name = A::kName, table = name + "UndGetFftTwdTbl_great: ";
  Reports reports;
  A::freeTables();
  const std::vector<C> before = noise<C>(4);
  std::vector<C> data = before, other = before;
  std::vector<T> re(4, 1), im(4, 2), reOut(4, 3), imOut(4, 4);
  struct Form {
    std::string name;
    std::function<void(int, int, int32_t)> call;  // null argument (0 none, 1 ...), order, flags
    Strings arguments;
  };
  const auto unless = [](bool null, auto* p) { return null ? nullptr : p; };
  const Form forms[] = {
      {name + "Fft",
       [&](int null, int order, int32_t flags) { A::fft(unless(null & 1, data.data()), order, flags); },
       {"samps==0"}},
      {name + "FftNip",
       [&](int null, int order, int32_t flags) {
         A::fftNip(unless(null & 1, data.data()), unless(null & 2, other.data()), order, flags);
       },
       {"inSamps==0", "outSamps==0"}},
      {name + "rFft",
       [&](int null, int order, int32_t flags) {
         A::parts(unless(null & 1, re.data()), unless(null & 2, im.data()), order, flags);
       },
       {"reSamps==0", "imSamps==0"}},
      {name + "rFftNip",
       [&](int null, int order, int32_t flags) {
         A::partsNip(unless(null & 1, re.data()), unless(null & 2, im.data()), unless(null & 4, reOut.data()),
                     unless(null & 8, imOut.data()), order, flags);
       },
       {"reInSamps==0", "imInSamps==0", "reOutSamps==0", "imOutSamps==0"}},
  };
  std::map<std::string, int32_t> lines;
  const auto take = [&] {
    for (const Report& r : reports.all()) {
      EXPECT_EQ(r.file, r.function + ": " == table ? "moxtwd" : A::kModule);
      EXPECT_EQ(lines.try_emplace(r.function, r.line).first->second, r.line) << r;
    }
    return reports.take();
  };
  for (const Form& f : forms) {
    const std::string prefix = f.name + ": ";
    const int all = (1 << f.arguments.size()) - 1;
    SCOPED_TRACE(f.name);
    const auto bad = [&](std::initializer_list<const char*> conditions) {
      Strings expected;
      for (const char* const c : conditions) expected.push_back(prefix + c + " (-5)");
      return expected;
    };
    // The table comes first and alone.
    f.call(all, -1, 0);
    EXPECT_EQ(take(), (Strings{table + "order<0 (-5)", prefix + "Bad pointer (-1)"}));
    f.call(0, 32, MOX_Forw | MOX_Init);
    EXPECT_EQ(take(), (Strings{table + "order>31 (-5)", prefix + "Bad pointer (-1)"}));
    // Null arrays together, one by one, and never with MOX_Init.
    Strings nulls;
    for (const std::string& a : f.arguments) nulls.push_back(prefix + a + " (-5)");
    f.call(all, 2, MOX_Forw | MOX_Inv);
    EXPECT_EQ(take(), nulls);
    for (size_t i = 0; i < nulls.size(); ++i) {
      f.call(1 << i, 2, MOX_Forw);
      EXPECT_EQ(take(), Strings{nulls[i]});
    }
    f.call(all, 2, MOX_Init);
    EXPECT_EQ(take(), Strings{});
    // Flags.
    f.call(0, 2, 0);
    EXPECT_EQ(take(), bad({"no MOX_Forw or MOX_Inv"}));
    f.call(0, 0, MOX_Forw | MOX_Inv | MOX_InBitRev | MOX_OutBitRev | MOX_NoBitRev);
    EXPECT_EQ(take(), bad({"MOX_Forw and MOX_Inv", "MOX_InBitRev and MOX_OutBitRev"}));
    f.call(0, 2, MOX_Forw | MOX_InBitRev | MOX_NoBitRev);
    EXPECT_EQ(take(), bad({"MOX_InBitRev and MOX_NoBitRev"}));
    f.call(0, 2, MOX_Inv | MOX_OutBitRev | MOX_NoBitRev);
    EXPECT_EQ(take(), bad({"MOX_OutBitRev and MOX_NoBitRev"}));
    // A status from before ends the call with a trace, whatever else is wrong and though the table is there.
    moxSetErrStatus(MOX_StsNoMem);
    f.call(all, 2, MOX_Forw);
    EXPECT_EQ(moxGetErrStatus(), MOX_StsNoMem);
    EXPECT_EQ(take(), Strings{prefix + "Bad pointer (-1)"});
    // A handler that answers 0 to the trace lets the function make its own checks, and no more.
    reports.answer(0);
    f.call(0, 40, MOX_Forw);
    EXPECT_EQ(take(), (Strings{table + "order>31 (-5)", prefix + "Bad pointer (-1)", prefix + "order>31 (-5)"}));
    f.call(all, -3, MOX_Init);
    EXPECT_EQ(take(), (Strings{table + "order<0 (-5)", prefix + "Bad pointer (-1)"}));
    moxSetErrStatus(MOX_StsBadFunc);
    f.call(0, 2, MOX_Forw);
    EXPECT_EQ(take(), Strings{prefix + "Bad pointer (-1)"});
    reports.answer(-1);
  }
  EXPECT_TRUE(sameBits(data, before));
  EXPECT_TRUE(sameBits(other, before));
  EXPECT_EQ(re, std::vector<T>(4, 1));
  EXPECT_EQ(im, std::vector<T>(4, 2));
  EXPECT_EQ(reOut, std::vector<T>(4, 3));
  EXPECT_EQ(imOut, std::vector<T>(4, 4));
}

}  // namespace
