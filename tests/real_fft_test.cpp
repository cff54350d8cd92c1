#include <functional>

#include "tests/transform_oracle.h"

using namespace moxtest;

namespace {

using Strings = std::vector<std::string>;

template <class T>
struct Api;
#define MOX_REAL_FFT_API(letter, type, complexLetter, module_)          \
  template <>                                                           \
  struct Api<type> {                                                    \
    static constexpr const char* kName = "mox" #letter;                 \
    static constexpr const char* kComplexName = "mox" #complexLetter;   \
    static constexpr const char* kModule = module_;                     \
    static constexpr auto realFft = mox##letter##RealFft;               \
    static constexpr auto realFftNip = mox##letter##RealFftNip;         \
    static constexpr auto ccsFft = mox##letter##CcsFft;                 \
    static constexpr auto ccsFftNip = mox##letter##CcsFftNip;           \
    static constexpr auto realFftl = mox##letter##RealFftl;             \
    static constexpr auto realFftlNip = mox##letter##RealFftlNip;       \
    static constexpr auto ccsFftl = mox##letter##CcsFftl;               \
    static constexpr auto ccsFftlNip = mox##letter##CcsFftlNip;         \
    static constexpr auto real2Fft = mox##letter##Real2Fft;             \
    static constexpr auto real2FftNip = mox##letter##Real2FftNip;       \
    static constexpr auto ccs2Fft = mox##letter##Ccs2Fft;               \
    static constexpr auto ccs2FftNip = mox##letter##Ccs2FftNip;         \
    static constexpr auto mpyPack2 = mox##letter##MpyRCPack2;           \
    static constexpr auto mpyPack3 = mox##letter##MpyRCPack3;           \
    static constexpr auto mpyPerm2 = mox##letter##MpyRCPerm2;           \
    static constexpr auto mpyPerm3 = mox##letter##MpyRCPerm3;           \
    static constexpr auto freeTables = mox##complexLetter##FreeTwdTbls; \
  };
MOX_REAL_FFT_API(s, float, c, "moxffts")
MOX_REAL_FFT_API(d, double, z, "moxfftd")

constexpr int kLargest = kSanitized ? 15 : 20;
constexpr int32_t kOutPack = MOX_OutRCPack, kOutPerm = MOX_OutRCPerm, kInPack = MOX_InRCPack, kInPerm = MOX_InRCPerm;
constexpr int32_t kDirections[] = {MOX_Forw, MOX_Inv, MOX_Inv | MOX_NoInvScale};

template <class T>
class RealFft : public ::testing::Test {
 protected:
  using Reals = std::vector<T>;

  static std::vector<Wide> ofCcs(const Reals& ccs) {
    std::vector<Wide> v;
    for (size_t i = 0; i + 1 < ccs.size(); i += 2) v.emplace_back(ccs[i], ccs[i + 1]);
    return v;
  }
  static Reals packed(const Reals& ccs) {
    Reals v(ccs.begin() + 1, ccs.end() - 1);
    v[0] = ccs[0];
    return v;
  }
  static Reals permed(const Reals& ccs) {
    Reals v(ccs.begin(), ccs.end() - 2);
    v[1] = ccs[ccs.size() - 2];
    return v;
  }
  // A spectrum whose two real values have something in their imaginary slots, which nobody looks at.
  static Reals someCcs(size_t n, uint32_t seed) { return noise<T>(n + 2, seed); }
  static Reals withoutIdleSlots(Reals ccs) {
    ccs[1] = ccs.back() = 0;
    return ccs;
  }
  // Any transform not in place, and in place with `room` reals.
  template <class F>
  static Reals nip(F f, const Reals& in, size_t out, int order, int32_t flags) {
    Guarded<T> source(in, Flush::AtEnd);
    source.makeReadOnly();
    const Guarded<T> v(out);
    f(source.data(), v.data(), order, flags);
    return v.values();
  }
  template <class F>
  static Reals inPlace(F f, const Reals& in, size_t room, size_t out, int order, int32_t flags) {
    const Guarded<T> v(room);
    std::memcpy(v.data(), in.data(), in.size() * sizeof(T));
    f(v.data(), order, flags);
    return Reals(v.data(), v.data() + out);
  }
};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(RealFft, Precisions);

// X[0] ... X[N/2]. float64 has the plain sum for a yardstick where that is quick; float32 the map with its constant.
template <class T>
std::vector<Wide> spectrumOf(const std::vector<T>& x) {
  if (sizeof(T) == 4 || x.size() > 4096) return realMap<T>({x.begin(), x.end()});
  auto all = complexMap<T>(std::vector<Wide>(x.begin(), x.end()));
  all.resize(x.size() / 2 + 1);
  return all;
}

template <class T>
std::vector<Wide> widenedReals(const std::vector<T>& x) {
  return {x.begin(), x.end()};
}

TYPED_TEST(RealFft, IsTheSumToRounding) {
  using T = TypeParam;
  for (int order = 1; order <= kLargest; ++order) {
    SCOPED_TRACE(order);
    const size_t n = size_t{1} << order;
    const long double part = std::ldexp(1.0L, -order);
    struct Case {
      std::vector<T> x;
      std::vector<Wide> spectrum, back;
    };
    std::vector<Case> cases;
    for (uint32_t i = 0; i < draws(order); ++i) {
      const auto x = noise<T>(n, i + 1);
      const auto map = realMapBack<T>(realMap<T>({x.begin(), x.end()}));
      cases.push_back({x, spectrumOf(x), scaled(widenedReals(map), part)});
    }
    forEachLevel([&] {
      Error<T> forward, inverse, roundTrip;
      std::vector<T> ccs(n + 2), back(n);
      for (const Case& c : cases) {
        Api<T>::realFftNip(c.x.data(), ccs.data(), order, MOX_Inv);
        inverse.add(this->ofCcs(ccs), scaled(conjugated(c.spectrum), part));
        Api<T>::realFftNip(c.x.data(), ccs.data(), order, MOX_Forw);
        forward.add(this->ofCcs(ccs), c.spectrum);
        ASSERT_TRUE(sameBits(ccs[1], T{0}) && sameBits(ccs[n + 1], T{0}));
        Api<T>::ccsFftNip(ccs.data(), back.data(), order, MOX_Inv);
        roundTrip.add(widenedReals(back), c.back);
      }
      EXPECT_LE(forward.perRootOf(order), 0.85);
      EXPECT_LE(inverse.perRootOf(order), 0.85);
      EXPECT_LE(roundTrip.perRootOf(order), 1.25);
    });
  }
}

TYPED_TEST(RealFft, FromCcsIsTheSumToRounding) {
  using T = TypeParam;
  for (int order = 1; order <= 14; ++order) {
    SCOPED_TRACE(order);
    const size_t n = size_t{1} << order;
    struct Case {
      std::vector<T> ccs;
      std::vector<Wide> inverse, forward;
    };
    std::vector<Case> cases;
    for (uint32_t i = 0; i < draws(order); ++i) {
      const auto ccs = this->someCcs(n, i + 1);
      const auto spectrum = this->ofCcs(this->withoutIdleSlots(ccs));
      cases.push_back({ccs, widenedReals(realMapBack<T>(spectrum)), widenedReals(realMapBack<T>(spectrum, true))});
    }
    forEachLevel([&] {
      Error<T> forward, inverse, unscaled;
      std::vector<T> x(n);
      for (const Case& c : cases) {
        Api<T>::ccsFftNip(c.ccs.data(), x.data(), order, MOX_Forw);
        forward.add(widenedReals(x), c.forward);
        Api<T>::ccsFftNip(c.ccs.data(), x.data(), order, MOX_Inv);
        inverse.add(widenedReals(x), scaled(c.inverse, std::ldexp(1.0L, -order)));
        Api<T>::ccsFftNip(c.ccs.data(), x.data(), order, MOX_Inv | MOX_NoInvScale);
        unscaled.add(widenedReals(x), c.inverse);
      }
      EXPECT_LE(forward.perRootOf(order), 0.85);
      EXPECT_LE(inverse.perRootOf(order), 0.85);
      EXPECT_LE(unscaled.perRootOf(order), 0.85);
    });
  }
}

// All forms of one transform give the bits of its CCS form not in place, in guarded arrays, with the flags they do not
// know set.
TYPED_TEST(RealFft, HasFormsThatAgreeInEveryBit) {
  using T = TypeParam;
  using A = Api<T>;
  constexpr int32_t unknown = MOX_InBitRev | MOX_OutBitRev | MOX_NoBitRev;
  forEachLevel([&] {
    for (int order = 1; order <= (kSanitized ? 13 : 16); ++order) {
      SCOPED_TRACE(order);
      const size_t n = size_t{1} << order;
      const auto x = noise<T>(n, 31);
      const auto spectrum = this->someCcs(n, 32);
      for (const int32_t flags : kDirections) {
        SCOPED_TRACE(flags);
        const auto ccs = this->nip(A::realFftNip, x, n + 2, order, flags);
        EXPECT_TRUE(sameBits(this->inPlace(A::realFft, x, n + 2, n + 2, order, flags | unknown | kOutPack), ccs));
        const auto packed = this->packed(ccs), permed = this->permed(ccs);
        EXPECT_TRUE(sameBits(this->nip(A::realFftlNip, x, n, order, flags | kOutPack), packed));
        EXPECT_TRUE(sameBits(this->inPlace(A::realFftl, x, n, n, order, flags | kOutPack | unknown), packed));
        EXPECT_TRUE(sameBits(this->nip(A::realFftlNip, x, n, order, flags | kOutPerm | unknown), permed));
        EXPECT_TRUE(sameBits(this->inPlace(A::realFftl, x, n, n, order, flags | kOutPerm), permed));

        const auto y = this->nip(A::ccsFftNip, spectrum, n, order, flags);
        EXPECT_TRUE(sameBits(this->inPlace(A::ccsFft, spectrum, n + 2, n, order, flags | unknown), y));
        const auto inPacked = this->packed(spectrum), inPermed = this->permed(spectrum);
        EXPECT_TRUE(sameBits(this->nip(A::ccsFftlNip, inPacked, n, order, flags | kInPack), y));
        EXPECT_TRUE(sameBits(this->inPlace(A::ccsFftl, inPacked, n, n, order, flags | kInPack | unknown), y));
        EXPECT_TRUE(sameBits(this->nip(A::ccsFftlNip, inPermed, n, order, flags | kInPerm | unknown), y));
        EXPECT_TRUE(sameBits(this->inPlace(A::ccsFftl, inPermed, n, n, order, flags | kInPerm), y));
        // A form not in place may be given one array twice.
        const auto onto = [order](auto f) { return [f, order](T* v, int, int32_t g) { f(v, v, order, g); }; };
        EXPECT_TRUE(sameBits(this->inPlace(onto(A::realFftNip), x, n + 2, n + 2, order, flags), ccs));
        EXPECT_TRUE(sameBits(this->inPlace(onto(A::ccsFftNip), spectrum, n + 2, n, order, flags), y));
        EXPECT_TRUE(sameBits(this->inPlace(onto(A::ccsFftlNip), inPacked, n, n, order, flags | kInPack), y));
      }
    }
  });
}

TYPED_TEST(RealFft, WorksAtAnyAlignment) {
  using T = TypeParam;
  forEachLevel([&] {
    for (int order = 2; order <= (kSanitized ? 12 : 16); ++order) {
      const size_t n = size_t{1} << order;
      const auto x = noise<T>(n, 41), ccs = this->someCcs(n, 42);
      for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
        for (size_t shift = 0; shift < 3; ++shift) {
          const Guarded<T> in(n + 2 + shift, flush), out(n + 2 + shift, flush);
          T* const from = flush == Flush::AtStart ? in.data() : in.data() + shift;
          T* const to = flush == Flush::AtStart ? out.data() + shift : out.data();
          std::memcpy(from, x.data(), n * sizeof(T));
          Api<T>::realFftNip(from, to, order, MOX_Forw);
          EXPECT_TRUE(
              sameBits(std::vector<T>(to, to + n + 2), this->nip(Api<T>::realFftNip, x, n + 2, order, MOX_Forw)));
          std::memcpy(from, ccs.data(), (n + 2) * sizeof(T));
          Api<T>::ccsFftNip(from, to, order, MOX_Inv);
          EXPECT_TRUE(sameBits(std::vector<T>(to, to + n), this->nip(Api<T>::ccsFftNip, ccs, n, order, MOX_Inv)));
        }
      }
    }
  });
}

TYPED_TEST(RealFft, HasTheSameBitsWithWiderVectors) {
  using T = TypeParam;
  for (int order = 1; order <= (kSanitized ? 14 : 17); ++order) {
    const size_t n = size_t{1} << order;
    const auto x = noise<T>(n, 51), y = noise<T>(n, 52);
    std::vector<std::vector<T>> results;
    forEachLevel([&] {
      std::vector<T> all(3 * (n + 2) + n);
      T* const p = all.data();
      Api<T>::realFftNip(x.data(), p, order, MOX_Forw);
      Api<T>::real2FftNip(x.data(), y.data(), p + n + 2, p + 2 * (n + 2), order, MOX_Inv);
      Api<T>::ccsFftNip(p, p + 3 * (n + 2), order, MOX_Inv);
      results.push_back(all);
    });
    for (size_t i = 2; i < results.size(); ++i) EXPECT_TRUE(sameBits(results[i], results[i - 1])) << order;
  }
}

// ---- two signals

TYPED_TEST(RealFft, OfTwoSignalsIsTheSumToRounding) {
  using T = TypeParam;
  using A = Api<T>;
  for (int order = 1; order <= 14; ++order) {
    SCOPED_TRACE(order);
    const size_t n = size_t{1} << order;
    struct Case {
      std::vector<T> x, y, ccsX, ccsY;
      std::vector<Wide> spectrumX, spectrumY, signals;
    };
    for (const int32_t flags : kDirections) {
      SCOPED_TRACE(flags);
      const long double scale = flags == MOX_Inv ? std::ldexp(1.0L, -order) : 1;
      std::vector<Case> cases;
      for (uint32_t i = 0; i < draws(order); ++i) {
        Case c = {noise<T>(n, 4 * i),
                  noise<T>(n, 4 * i + 1),
                  this->someCcs(n, 4 * i + 2),
                  this->someCcs(n, 4 * i + 3),
                  {},
                  {},
                  {}};
        std::vector<Wide> z, joined(n);
        for (size_t k = 0; k < n; ++k) z.emplace_back(c.x[k], c.y[k]);
        const auto exact = scaled(complexMap<T>(z, flags & MOX_Inv), scale);
        const auto x = this->ofCcs(this->withoutIdleSlots(c.ccsX)), y = this->ofCcs(this->withoutIdleSlots(c.ccsY));
        for (size_t k = 0; k <= n / 2; ++k) {
          const Wide a = exact[k % n], b = std::conj(exact[(n - k) % n]);
          c.spectrumX.push_back((a + b) * 0.5L);
          c.spectrumY.push_back(times({0, -0.5L}, a - b));
          joined[(n - k) % n] = std::conj(x[k]) + times({0, 1}, std::conj(y[k]));
          joined[k] = x[k] + times({0, 1}, y[k]);
        }
        c.signals = scaled(complexMap<T>(joined, flags & MOX_Inv), scale);
        cases.push_back(c);
      }
      forEachLevel([&] {
        Error<T> spectra, signals;
        std::vector<T> x(n + 2), y(n + 2);
        for (const Case& c : cases) {
          A::real2FftNip(c.x.data(), c.y.data(), x.data(), y.data(), order, flags);
          spectra.add(this->ofCcs(x), c.spectrumX);
          spectra.add(this->ofCcs(y), c.spectrumY);
          A::ccs2FftNip(c.ccsX.data(), c.ccsY.data(), x.data(), y.data(), order, flags);
          std::vector<Wide> z;
          for (size_t k = 0; k < n; ++k) z.emplace_back(x[k], y[k]);
          signals.add(z, c.signals);
        }
        EXPECT_LE(spectra.perRootOf(order), 0.85);
        EXPECT_LE(signals.perRootOf(order), 0.85);
      });
    }
  }
}

TYPED_TEST(RealFft, OfTwoSignalsHasFormsThatAgreeInEveryBit) {
  using T = TypeParam;
  using A = Api<T>;
  forEachLevel([&] {
    for (int order = 1; order <= 14; ++order) {
      SCOPED_TRACE(order);
      const size_t n = size_t{1} << order;
      const auto x = noise<T>(n, 61), y = noise<T>(n, 62), ccsX = this->someCcs(n, 63), ccsY = this->someCcs(n, 64);
      for (const int32_t flags : kDirections) {
        // read-only sources, and room for not a value more
        const auto twoNip = [&](auto f, const std::vector<T>& a, const std::vector<T>& b, size_t room) {
          Guarded<T> inA(a, Flush::AtEnd), inB(b, Flush::AtEnd);
          inA.makeReadOnly();
          inB.makeReadOnly();
          const Guarded<T> outA(room), outB(room);
          f(inA.data(), inB.data(), outA.data(), outB.data(), order, flags | MOX_OutBitRev);
          auto both = outA.values();
          both.insert(both.end(), outB.data(), outB.data() + room);
          return both;
        };
        const auto twoInPlace = [&](auto f, const std::vector<T>& a, const std::vector<T>& b, size_t room) {
          const Guarded<T> inOutA(n + 2), inOutB(n + 2);
          std::memcpy(inOutA.data(), a.data(), a.size() * sizeof(T));
          std::memcpy(inOutB.data(), b.data(), b.size() * sizeof(T));
          f(inOutA.data(), inOutB.data());
          std::vector<T> both(inOutA.data(), inOutA.data() + room);
          both.insert(both.end(), inOutB.data(), inOutB.data() + room);
          return both;
        };
        const auto spectra = twoNip(A::real2FftNip, x, y, n + 2);
        for (const size_t idle : {size_t{1}, n + 1, n + 3, 2 * n + 3}) EXPECT_TRUE(sameBits(spectra[idle], T{0}));
        const auto to = [&](T* a, T* b) { A::real2Fft(a, b, order, flags | MOX_InBitRev); };
        const auto toOnto = [&](T* a, T* b) { A::real2FftNip(a, b, a, b, order, flags); };
        EXPECT_TRUE(sameBits(twoInPlace(to, x, y, n + 2), spectra));
        EXPECT_TRUE(sameBits(twoInPlace(toOnto, x, y, n + 2), spectra));
        const auto signals = twoNip(A::ccs2FftNip, ccsX, ccsY, n);
        const auto from = [&](T* a, T* b) { A::ccs2Fft(a, b, order, flags); };
        const auto fromOnto = [&](T* a, T* b) { A::ccs2FftNip(a, b, a, b, order, flags); };
        EXPECT_TRUE(sameBits(twoInPlace(from, ccsX, ccsY, n), signals));
        EXPECT_TRUE(sameBits(twoInPlace(fromOnto, ccsX, ccsY, n), signals));
      }
    }
  });
}

TYPED_TEST(RealFft, OfOneSampleLeavesItAsItIs) {
  using T = TypeParam;
  using A = Api<T>;
  const T tiny = -std::numeric_limits<T>::denorm_min();
  for (const int32_t direction : kDirections) {
    const int32_t flags = direction | kOutPerm | kInPack;
    for (const auto f : {A::realFft, A::ccsFft, A::realFftl, A::ccsFftl}) {
      std::vector<T> v = {tiny, 2, 3};
      f(v.data(), 0, flags);
      EXPECT_TRUE(sameBits(v, {tiny, 2, 3}));
    }
    for (const auto f : {A::realFftNip, A::ccsFftNip, A::realFftlNip, A::ccsFftlNip}) {
      std::vector<T> v = {1, 2, 3};
      f(&tiny, v.data(), 0, flags);
      EXPECT_TRUE(sameBits(v, {tiny, 2, 3}));
    }
    for (const auto f : {A::real2FftNip, A::ccs2FftNip}) {
      std::vector<T> v = {1, 2, 3}, w = v;
      const T five = 5;
      f(&tiny, &five, v.data(), w.data(), 0, flags);
      EXPECT_TRUE(sameBits(v, {tiny, 2, 3}));
      EXPECT_TRUE(sameBits(w, {5, 2, 3}));
    }
  }
}

// ---- products

TYPED_TEST(RealFft, SpectraMultiplyInBothLayouts) {
  using T = TypeParam;
  using A = Api<T>;
  forEachLevel([&] {
    for (int order = 0; order <= 11; ++order) {
      SCOPED_TRACE(order);
      const size_t n = size_t{1} << order;
      const auto a = noise<T>(n, 71), b = noise<T>(n, 72);
      for (const bool pack : {true, false}) {
        std::vector<T> expected(n);
        const size_t middle = pack ? n - 1 : std::min<size_t>(1, n - 1), bins = pack ? 1 : 2;
        expected[0] = a[0] * b[0];
        expected[middle] = a[middle] * b[middle];
        for (size_t i = bins; i + 1 < n - (pack ? 1 : 0); i += 2) {
          const double ar = a[i], ai = a[i + 1], br = b[i], bi = b[i + 1];
          expected[i] = static_cast<T>(ar * br - ai * bi);
          expected[i + 1] = static_cast<T>(ar * bi + ai * br);
        }
        for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
          Guarded<T> first(a, flush), second(b, flush);
          first.makeReadOnly();
          second.makeReadOnly();
          const Guarded<T> product(n, flush), updated(b, flush), square(a, flush);
          (pack ? A::mpyPack3 : A::mpyPerm3)(first.data(), second.data(), product.data(), order);
          EXPECT_TRUE(sameBits(product.values(), expected));
          (pack ? A::mpyPack2 : A::mpyPerm2)(first.data(), updated.data(), order);
          EXPECT_TRUE(sameBits(updated.values(), expected));
        }
      }
    }
  });
}

// ---- reports

// One call of a form: bits of `null` choose its null arrays.
struct Form {
  std::string name;
  std::function<void(int null, int order, int32_t flags)> call;
  Strings arguments;
  bool toSpectrum;
  std::string inner;  // of a form that stands for a copy and this call
};

template <class T>
class RealFftReports : public RealFft<T> {
 protected:
  using A = Api<T>;
  static constexpr size_t kRoom = 10;

  T* unless(int null, int bit, std::vector<T>& v) { return null & bit ? nullptr : v.data(); }
  Form one(const char* name, void (*f)(T*, int32_t, int32_t), bool toSpectrum) {
    return {std::string(A::kName) + name,
            [=, this](int null, int order, int32_t flags) { f(unless(null, 1, a), order, flags); },
            {"samps==0"},
            toSpectrum,
            ""};
  }
  Form oneNip(const char* name, void (*f)(const T*, T*, int32_t, int32_t), bool toSpectrum, std::string inner = "") {
    return {std::string(A::kName) + name,
            [=, this](int null, int order, int32_t flags) { f(unless(null, 1, a), unless(null, 2, b), order, flags); },
            {"inSamps==0", "outSamps==0"},
            toSpectrum,
            inner};
  }
  Form two(const char* name, void (*f)(T*, T*, int32_t, int32_t), bool toSpectrum) {
    return {std::string(A::kName) + name,
            [=, this](int null, int order, int32_t flags) { f(unless(null, 1, a), unless(null, 2, b), order, flags); },
            {"xSamps==0", "ySamps==0"},
            toSpectrum,
            ""};
  }
  Form twoNip(const char* name, void (*f)(const T*, const T*, T*, T*, int32_t, int32_t), bool toSpectrum,
              std::string inner) {
    return {std::string(A::kName) + name,
            [=, this](int null, int order, int32_t flags) {
              f(unless(null, 1, a), unless(null, 2, b), unless(null, 4, c), unless(null, 8, d), order, flags);
            },
            {"xInSamps==0", "yInSamps==0", "xOutSamps==0", "yOutSamps==0"},
            toSpectrum,
            inner};
  }
  Strings bad(const Form& f, const Strings& conditions) {
    Strings lines;
    for (const std::string& condition : conditions) lines.push_back(f.name + ": " + condition + " (-5)");
    return lines;
  }
  std::string line(const std::string& function, const char* text, int status) {
    return function + ": " + text + " (" + std::to_string(status) + ")";
  }

  const std::vector<T> before = noise<T>(kRoom);
  std::vector<T> a = before, b = before, c = before, d = before;
  const std::string letters = A::kName, complexName = A::kComplexName, getter = complexName + "UndGetFftTwdTbl_great";
  std::vector<Form> direct = {one("RealFft", A::realFft, true),   oneNip("RealFftNip", A::realFftNip, true),
                              one("CcsFft", A::ccsFft, false),    oneNip("CcsFftNip", A::ccsFftNip, false),
                              one("RealFftl", A::realFftl, true), oneNip("RealFftlNip", A::realFftlNip, true),
                              one("CcsFftl", A::ccsFftl, false),  two("Real2Fft", A::real2Fft, true),
                              two("Ccs2Fft", A::ccs2Fft, false)};
  std::vector<Form> copying = {oneNip("CcsFftlNip", A::ccsFftlNip, false, letters + "CcsFftl"),
                               twoNip("Real2FftNip", A::real2FftNip, true, letters + "Real2Fft"),
                               twoNip("Ccs2FftNip", A::ccs2FftNip, false, complexName + "rFft")};
};
TYPED_TEST_SUITE(RealFftReports, Precisions);

TYPED_TEST(RealFftReports, NameWhatIsWrong) {
  Reports reports;
  Api<TypeParam>::freeTables();
  for (const Form& f : this->direct) {
    SCOPED_TRACE(f.name);
    const bool isNip = f.arguments[0] == "inSamps==0", isTwo = f.arguments[0] == "xSamps==0";
    const bool isPacked = f.name.find("Fftl") != std::string::npos;
    const int all = (1 << f.arguments.size()) - 1;
    const int32_t packing = kOutPerm | kInPerm;
    const std::string trace = this->line(f.name, "Bad pointer", -1);
    // Orders beyond the tables.
    f.call(0, 33, MOX_Forw);
    EXPECT_EQ(reports.take(), (Strings{this->line(this->getter, "order>31", -5), trace}));
    f.call(all, 33, MOX_Init);
    EXPECT_EQ(reports.take(), isNip ? Strings{this->line(this->getter, "order>31", -5)}
                                    : (Strings{this->line(this->getter, "order>31", -5), trace}));
    if (isTwo) {
      f.call(0, -1, MOX_Forw);
      EXPECT_EQ(reports.take(), (Strings{this->line(this->getter, "order<0", -5), trace}));
    } else {
      f.call(0, INT32_MIN, MOX_Forw);
      EXPECT_EQ(reports.take(), this->bad(f, {"order<0"}));
      // Order 32 would have a table, of order 31; nobody wants it.
      f.call(0, 32, MOX_Forw);
      EXPECT_EQ(reports.take(), this->bad(f, {"order>31"}));
      f.call(all, 32, MOX_Init);
      EXPECT_EQ(reports.take(), this->bad(f, {"order>31"}));
    }
    // Arrays, never with MOX_Init.
    f.call(all, 3, 0);
    EXPECT_EQ(reports.take(), this->bad(f, f.arguments));
    for (size_t i = 0; i < f.arguments.size(); ++i) {
      f.call(1 << i, 3, MOX_Forw | packing);
      EXPECT_EQ(reports.take(), this->bad(f, {f.arguments[i]}));
    }
    f.call(all, 3, MOX_Init);
    EXPECT_EQ(reports.take(), Strings{});
    // Flags, at order 0 as well.
    const std::string side = f.toSpectrum ? "Out" : "In";
    const std::string neither = "no MOX_" + side + "RCPack or MOX_" + side + "RCPerm",
                      both = "MOX_" + side + "RCPack and MOX_" + side + "RCPerm";
    f.call(0, 3, MOX_Forw | MOX_Inv);
    EXPECT_EQ(reports.take(),
              this->bad(f, isPacked ? Strings{"MOX_Forw and MOX_Inv", neither} : Strings{"MOX_Forw and MOX_Inv"}));
    f.call(0, 0, kOutPack | kOutPerm | kInPack | kInPerm);
    EXPECT_EQ(reports.take(),
              this->bad(f, isPacked ? Strings{"no MOX_Forw or MOX_Inv", both} : Strings{"no MOX_Forw or MOX_Inv"}));
    if (isPacked) {
      f.call(0, 3, MOX_Forw | (f.toSpectrum ? kInPerm : kOutPerm));
      EXPECT_EQ(reports.take(), this->bad(f, {neither}));
    }
    // A status from before.
    moxSetErrStatus(MOX_StsBadFunc);
    f.call(0, 3, MOX_Forw | packing);
    EXPECT_EQ(moxGetErrStatus(), MOX_StsBadFunc);
    EXPECT_EQ(reports.take(), Strings{trace});
    if (!isTwo) {
      moxSetErrStatus(MOX_StsBadFunc);
      f.call(0, 1, MOX_Forw | packing);
      EXPECT_EQ(reports.take(), Strings{});
    }
    // A handler that answers the trace with 0.
    reports.answer(0);
    f.call(0, 33, MOX_Forw);
    EXPECT_EQ(reports.take(),
              (Strings{this->line(this->getter, "order>31", -5), trace, this->line(f.name, "order>31", -5)}));
    reports.answer(-1);
  }
  for (const auto* const v : {&this->a, &this->b}) EXPECT_TRUE(sameBits(*v, this->before));
}

TYPED_TEST(RealFftReports, OfFormsThatCopyNameTheInnerCallToo) {
  Reports reports;
  Api<TypeParam>::freeTables();
  for (const Form& f : this->copying) {
    SCOPED_TRACE(f.name);
    const bool isPacked = f.arguments.size() == 2;
    const int all = (1 << f.arguments.size()) - 1;
    const std::string trace = this->line(f.name, ("out " + f.inner).c_str(), -1);
    f.call(all, 32, MOX_Forw);
    Strings everything = {"order>31"};
    everything.insert(everything.end(), f.arguments.begin(), f.arguments.end());
    EXPECT_EQ(reports.take(), this->bad(f, everything));
    f.call(all, 3, MOX_Init);
    EXPECT_EQ(reports.take(), Strings{});
    f.call(all, 33, MOX_Init);
    EXPECT_EQ(reports.take(), Strings{this->line(this->getter, "order>31", -5)});
    Strings flagFaults = {this->line(f.inner, "MOX_Forw and MOX_Inv", -5)};
    if (isPacked) flagFaults.push_back(this->line(f.inner, "no MOX_InRCPack or MOX_InRCPerm", -5));
    flagFaults.push_back(trace);
    f.call(0, 3, MOX_Forw | MOX_Inv);
    EXPECT_EQ(reports.all().back().file, Api<TypeParam>::kModule);
    EXPECT_EQ(reports.take(), flagFaults);
    moxSetErrStatus(MOX_StsBadFunc);
    f.call(0, 3, MOX_Forw | kInPerm);
    EXPECT_EQ(reports.take(), Strings{});
  }
  for (const auto* const v : {&this->a, &this->b, &this->c, &this->d}) EXPECT_TRUE(sameBits(*v, this->before));
}

TYPED_TEST(RealFftReports, OfProductsNameWhatIsWrong) {
  using T = TypeParam;
  using Functions = Api<T>;
  Reports reports;
  T* const p = this->a.data();
  const struct {
    const char* name;
    void (*two)(const T*, T*, int32_t);
    void (*three)(const T*, const T*, T*, int32_t);
  } layouts[] = {{"MpyRCPack", Functions::mpyPack2, Functions::mpyPack3},
                 {"MpyRCPerm", Functions::mpyPerm2, Functions::mpyPerm3}};
  for (const auto& l : layouts) {
    const std::string two = this->letters + l.name + "2", three = this->letters + l.name + "3";
    const auto wrong = [&](const std::string& function, const Strings& conditions) {
      return this->bad({function, {}, {}, false, ""}, conditions);
    };
    l.two(nullptr, nullptr, -1);
    EXPECT_EQ(reports.take(), wrong(two, {"order<0", "src==0", "dst==0"}));
    l.two(p, p, 32);
    EXPECT_EQ(reports.take(), wrong(two, {"order>31"}));
    l.three(nullptr, p, p, 3);
    EXPECT_EQ(reports.take(), wrong(three, {"srcA==0"}));
    l.three(p, nullptr, nullptr, 32);
    EXPECT_EQ(reports.take(), wrong(three, {"order>31", "srcB==0", "dst==0"}));
    moxSetErrStatus(MOX_StsError);
    l.two(p, p, 3);
    l.three(p, p, p, 3);
    EXPECT_EQ(reports.take(), Strings{});
  }
  EXPECT_TRUE(sameBits(this->a, this->before));
}

}  // namespace
