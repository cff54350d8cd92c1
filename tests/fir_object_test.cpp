#include <algorithm>
#include <climits>
#include <limits>

#include "tests/fir_oracle.h"
#include "tests/support/short_of_memory.h"

using namespace moxtest;

namespace {

template <class T>
struct TapCalls {
  void (*set)(const T*, FirState*);
  void (*get)(const FirState*, T*);
  void (*setHistory)(const T*, FirState*);
  void (*getHistory)(const FirState*, T*);
};
#define TAP_CALLS(l) \
  { mox##l##FirSetTaps, mox##l##FirGetTaps, mox##l##FirSetDlyl, mox##l##FirGetDlyl }
template <class T>
constexpr TapCalls<T> kOf;
template <>
constexpr TapCalls<float> kOf<float> = TAP_CALLS(s);
template <>
constexpr TapCalls<double> kOf<double> = TAP_CALLS(d);
template <>
constexpr TapCalls<MoxC> kOf<MoxC> = TAP_CALLS(c);
template <>
constexpr TapCalls<MoxZ> kOf<MoxZ> = TAP_CALLS(z);
template <>
constexpr TapCalls<int16_t> kOf<int16_t> = TAP_CALLS(w);

template <class S, class T, class R>
struct Form {
  using Sample = S;
  using Tap = T;
  using Result = R;
  const char* name;
  void (*init)(const T*, int32_t, const S*, FirState*);
  void (*initMr)(const T*, int32_t, const S*, int32_t, int32_t, int32_t, int32_t, FirState*);
  R (*one)(FirState*, S);
  void (*block)(FirState*, const S*, R*, int32_t);
  void (*lowBlock)(const FirTapState*, FirDlyState*, const S*, R*, int32_t);
};
#define FORM(l) #l, mox##l##FirInit, mox##l##FirInitMr, mox##l##Fir, mox##l##bFir, mox##l##bFirl
template <class Check>
void forEachForm(Check check) {
  check(Form<float, float, float>{FORM(s)});
  check(Form<double, double, double>{FORM(d)});
  check(Form<MoxC, MoxC, MoxC>{FORM(c)});
  check(Form<MoxZ, MoxZ, MoxZ>{FORM(z)});
  check(Form<float, MoxC, MoxC>{FORM(sc)});
  check(Form<MoxC, float, MoxC>{FORM(cs)});
  check(Form<double, MoxZ, MoxZ>{FORM(dz)});
  check(Form<MoxZ, double, MoxZ>{FORM(zd)});
}

// A record between pages that cannot be touched, freed at its end.
struct Object {
  Object() : record(1) { std::memset(static_cast<void*>(record.data()), 0, sizeof(FirState)); }
  ~Object() { free(); }
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  void free() {
    if (state()->self == state()) moxFirFree(state());
  }
  FirState* state() const { return record.data(); }
  FirState* operator->() const { return state(); }
  Guarded<FirState> record;
};

template <class Form>
void start(const Form& form, const Shape& f, const std::vector<typename Form::Tap>& taps,
           const std::vector<typename Form::Sample>& x, const Object& object) {
  if (f.multiRate()) {
    form.initMr(taps.data(), f.taps, x.data(), f.up, f.upPhase, f.down, f.downPhase, object.state());
  } else {
    form.init(taps.data(), f.taps, x.data(), object.state());
  }
}

template <class T>
std::vector<T> historyOf(const Object& object) {
  std::vector<T> history(static_cast<size_t>(object->dlyLen) + 1);
  kOf<T>.getHistory(object.state(), history.data());
  history.pop_back();
  return history;
}

template <class S>
std::vector<S> newest(const Shape& f, const std::vector<S>& x) {
  return std::vector<S>(x.end() - static_cast<ptrdiff_t>(f.history()), x.end());
}

// The low-level filter of the same definition, without history (silence).
template <class Form>
std::vector<typename Form::Result> lowLevel(const Form& form, const Shape& f, std::vector<typename Form::Tap> taps,
                                            const typename Form::Sample* x) {
  std::vector<typename Form::Sample> dlyl(f.history() + 1);
  FirTapState tapSt = {taps.data(), f.taps, f.up, f.upPhase, f.down, f.downPhase, f.multiRate(), 1};
  FirDlyState dlySt = {dlyl.data(), static_cast<int32_t>(f.history() + !f.multiRate()), 1};
  std::vector<typename Form::Result> out(f.out());
  form.lowBlock(&tapSt, &dlySt, x, out.data(), f.periods);
  return out;
}

// Long single-rate filters on float32 may go through a transform, whose results are as good as 2^-26 before they are
// rounded: sums of products of the same samples may then differ by one rounding.
constexpr long double kFastRounding = 0x1.4p-24L;
template <class Form>
bool mayBeFast(const Shape& f) {
  return !f.multiRate() && f.taps >= 20 && sizeof(typename Traits<typename Form::Result>::Real) == 4;
}
template <class R>
::testing::AssertionResult oneRoundingApart(const std::vector<R>& a, const std::vector<R>& b) {
  const auto close = [](long double x, long double y) {
    return x == y || std::fabs(x - y) <= 0x1p-23L * std::fabs(y) || (std::isnan(x) && std::isnan(y));
  };
  for (size_t i = 0; i < a.size(); ++i) {
    const Parts x = parts(a[i]), y = parts(b.at(i));
    if (!close(x.re, y.re) || !close(x.im, y.im)) {
      return ::testing::AssertionFailure() << i << ": " << x.re << ", " << x.im << " and " << y.re << ", " << y.im;
    }
  }
  return ::testing::AssertionSuccess();
}

TEST(FirObject, BlocksAndTheirParts) {
  forEachLevel([] {
    forEachForm([](auto form) {
      using Calls = decltype(form);
      using S = typename Calls::Sample;
      using R = typename Calls::Result;
      const Reports reports;
      uint32_t seed = 20;
      for (const Shape& f : kShapes) {
        SCOPED_TRACE(::testing::Message() << form.name << ": " << f);
        const auto taps = noise<typename Calls::Tap>(static_cast<size_t>(f.taps), ++seed);
        const auto x = noise<S>(f.history() + f.in(), ++seed);
        const Flush flush = seed % 4 < 2 ? Flush::AtStart : Flush::AtEnd;
        Guarded<S> in(std::vector<S>(x.end() - static_cast<ptrdiff_t>(f.in()), x.end()), flush);
        in.makeReadOnly();
        Guarded<R> out(f.out(), flush);

        Object whole;
        start(form, f, taps, x, whole);
        form.block(whole.state(), in.data(), out.data(), f.periods);
        const bool fast = mayBeFast<Calls>(f);
        EXPECT_TRUE(isFiltered(f, taps, x, out.values(), fast ? kFastRounding : 0x1p-24L));
        EXPECT_TRUE(sameBits(historyOf<S>(whole), newest(f, x)));

        Object split;
        start(form, f, taps, x, split);
        std::vector<R> pieces(f.out());
        std::mt19937 bits(seed);
        const size_t up = static_cast<size_t>(f.up), down = static_cast<size_t>(f.down);
        for (size_t at = 0; at < static_cast<size_t>(f.periods);) {
          const size_t n = std::min<size_t>(bits() % 60 + 1, static_cast<size_t>(f.periods) - at);
          form.block(split.state(), in.data() + at * down, pieces.data() + at * up, static_cast<int32_t>(n));
          at += n;
        }
        EXPECT_TRUE(fast ? oneRoundingApart(pieces, out.values()) : sameBits(pieces, out.values()));
        EXPECT_TRUE(sameBits(historyOf<S>(split), newest(f, x)));

        Object silent;
        start(form, f, taps, std::vector<S>(f.history() + 1), silent);
        form.block(silent.state(), in.data(), out.data(), f.periods);
        const std::vector<R> low = lowLevel(form, f, taps, in.data());
        EXPECT_TRUE(fast ? oneRoundingApart(out.values(), low) : sameBits(out.values(), low));
      }
      EXPECT_TRUE(reports.all().empty());
    });
  });
}

TEST(FirObject, LongFiltersOnSignalsOfEveryRange) {
  forEachLevel([] {
    forEachForm([](auto form) {
      using Calls = decltype(form);
      using S = typename Calls::Sample;
      using T = typename Calls::Tap;
      using R = typename Calls::Result;
      using Real = typename Traits<S>::Real;
      // How quiet a passage is beside loud ones in one transform, and the imaginary part beside the real one.
      struct Range {
        int taps;
        Real passage, imaginary;
      };
      for (const Range& range :
           {Range{20, static_cast<Real>(0x1p-30), 1}, Range{130, static_cast<Real>(0x1p-30), 1},
            Range{130, 1, static_cast<Real>(0x1p-30)}, Range{700, static_cast<Real>(0x1p-50), 1}}) {
        const int taps = range.taps;
        const Shape f = {taps, 1, 0, 1, 0, 3000};
        if (!mayBeFast<Calls>(f)) continue;
        SCOPED_TRACE(::testing::Message() << form.name << ": " << f);
        auto h = noise<T>(static_cast<size_t>(taps), 1);
        auto x = noise<S>(f.history() + f.in(), 2);
        // Loud and quiet passages, silence, one sample alone, at first in the history.
        const auto scale = [&](size_t from, size_t to, Real re, Real im) {
          for (size_t i = from; i < to; ++i)
            x[i] = makeValue<S>(static_cast<Real>(parts(x[i]).re) * re, static_cast<Real>(parts(x[i]).im) * im);
        };
        const Real loud = static_cast<Real>(0x1p60);
        scale(0, x.size(), 1, range.imaginary);
        scale(0, 40, loud, loud);
        scale(f.history() + 300, f.history() + 1400, range.passage, range.passage);
        scale(f.history() + 1700, x.size(), 0, 0);
        x[x.size() - 300] = makeValue<S>(1, 0);
        Object object;
        start(form, f, h, x, object);
        std::vector<R> out(f.out());
        form.block(object.state(), x.data() + f.history(), out.data(), f.periods);
        EXPECT_TRUE(isFiltered(f, h, x, out, kFastRounding));

        // Other taps, and samples that are no numbers.
        std::reverse(h.begin(), h.end());
        kOf<T>.set(h.data(), object.state());
        kOf<S>.setHistory(nullptr, object.state());
        x[f.history() + 777] = makeValue<S>(std::numeric_limits<Real>::infinity(), 0);
        x[f.history() + 2500] = makeValue<S>(std::numeric_limits<Real>::quiet_NaN(), 0);
        form.block(object.state(), x.data() + f.history(), out.data(), f.periods);
        EXPECT_TRUE(oneRoundingApart(out, lowLevel(form, f, h, x.data() + f.history())));
      }
    });
  });
}

// Blocks that end with a stretch, before and behind it, for stretches of all lengths that a filter could choose; sets
// with fused multiply-add give the same bits.
TEST(FirObject, LongFiltersOnBlocksOfEveryLength) {
  forEachForm([](auto form) {
    using Calls = decltype(form);
    using S = typename Calls::Sample;
    using R = typename Calls::Result;
    for (const int taps : {20, 56, 129, 513, 1025, 3000}) {
      Shape f = {taps, 1, 0, 1, 0, 0};
      if (!mayBeFast<Calls>(f)) return;
      SCOPED_TRACE(::testing::Message() << form.name << ": " << f);
      const auto h = noise<typename Calls::Tap>(static_cast<size_t>(taps), 1);
      const std::vector<S> silence(f.history());
      const auto x = noise<S>(20000, 2);
      f.periods = static_cast<int>(x.size());
      const std::vector<R> want = lowLevel(form, f, h, x.data());
      std::vector<int> lengths;
      for (int stretch = 256; stretch <= 8192; stretch *= 2) {
        const int step = stretch - taps + 1;
        if (stretch < 2 * taps || stretch > std::max(16 * taps, 1024)) continue;
        for (const int n : {step - 1, step, step + 1, 2 * step + 5}) lengths.push_back(n);
      }
      std::vector<std::vector<R>> fused;
      for (const std::string& level : levels()) {
        SCOPED_TRACE(level);
        const ForcedLevel forced(level);
        std::vector<std::vector<R>> results;
        for (const int n : lengths) {
          Object object;
          start(form, f, h, silence, object);
          const size_t values = static_cast<size_t>(n);
          Guarded<S> in(std::vector<S>(x.begin(), x.begin() + n), n % 2 == 0 ? Flush::AtStart : Flush::AtEnd);
          Guarded<R> out(values, n % 2 == 0 ? Flush::AtStart : Flush::AtEnd);
          form.block(object.state(), in.data(), out.data(), n);
          EXPECT_TRUE(oneRoundingApart(out.values(), std::vector<R>(want.begin(), want.begin() + n))) << n;
          results.push_back(out.values());
        }
        if (level.substr(0, 3) != "avx") continue;
        for (size_t i = 0; i < fused.size(); ++i) EXPECT_TRUE(sameBits(results[i], fused[i])) << lengths[i];
        fused = results;
      }
    }
  });
}

TEST(FirObject, SingleSamplesAmongBlocks) {
  forEachLevel([] {
    forEachForm([](auto form) {
      using Calls = decltype(form);
      using S = typename Calls::Sample;
      for (const int taps : {1, 2, 9, 64, 128, 129, 300}) {
        // Across the place where the history is copied back, more than once.
        const Shape f = {taps, 1, 0, 1, 0, 700};
        SCOPED_TRACE(::testing::Message() << form.name << ": " << f);
        const auto h = noise<typename Calls::Tap>(static_cast<size_t>(taps), 3);
        const auto x = noise<S>(f.history() + f.in(), 4);
        Object object;
        start(form, f, h, x, object);
        std::vector<typename Calls::Result> got(f.out());
        for (size_t i = 0; i < got.size();) {
          const S* const in = x.data() + f.history() + i;
          if (i == 450) {
            form.block(object.state(), in, got.data() + i, 37);
            i += 37;
          } else {
            got[i++] = form.one(object.state(), *in);
          }
        }
        EXPECT_TRUE(isFiltered(f, h, x, got));
        EXPECT_TRUE(sameBits(historyOf<S>(object), newest(f, x)));
      }
      // Not meant for it, but a multi-rate filter touches nothing but its own.
      Object object;
      const auto h = noise<typename Calls::Tap>(1000);
      form.initMr(h.data(), 1000, nullptr, 3, 2, 5, 1, object.state());
      for (int i = 0; i < 2000; ++i) form.one(object.state(), makeValue<S>(1, 1));
      const auto x = noise<S>(50, 7);
      std::vector<typename Calls::Result> out(30);
      form.block(object.state(), x.data(), out.data(), 10);
      EXPECT_TRUE(sameBits(historyOf<S>(object).back(), x.back()));
    });
  });
}

TEST(FirObject, TapsAndHistoryComeBack) {
  forEachForm([](auto form) {
    using Calls = decltype(form);
    using S = typename Calls::Sample;
    using T = typename Calls::Tap;
    for (const Shape& f : {Shape{11, 1, 0, 1, 0, 40}, Shape{1, 1, 0, 1, 0, 40}, Shape{11, 4, 3, 1, 0, 9},
                           Shape{3, 5, 0, 7, 6, 9}, Shape{20, 3, 1, 2, 0, 9}, Shape{8, 1, 0, 3, 1, 9}}) {
      SCOPED_TRACE(::testing::Message() << form.name << ": " << f);
      const auto taps = noise<T>(static_cast<size_t>(f.taps)), other = noise<T>(taps.size(), 5);
      const auto x = noise<S>(f.history() + f.in(), 6);
      Object object;
      start(form, f, other, noise<S>(f.history() + 1, 7), object);
      kOf<T>.set(taps.data(), object.state());
      kOf<S>.setHistory(x.data(), object.state());
      std::vector<T> back(taps.size());
      kOf<T>.get(object.state(), back.data());
      EXPECT_TRUE(sameBits(back, taps));
      EXPECT_TRUE(sameBits(historyOf<S>(object), std::vector<S>(x.begin(), x.begin() + object->dlyLen)));
      std::vector<typename Calls::Result> out(f.out());
      form.block(object.state(), x.data() + f.history(), out.data(), f.periods);
      EXPECT_TRUE(isFiltered(f, taps, x, out));

      kOf<T>.set(nullptr, object.state());
      kOf<T>.get(object.state(), back.data());
      EXPECT_TRUE(sameBits(back, std::vector<T>(back.size())));
      kOf<S>.setHistory(nullptr, object.state());
      EXPECT_TRUE(sameBits(historyOf<S>(object), std::vector<S>(f.history())));
    }
    // Null for both: a filter that says nothing.
    Object object;
    form.init(nullptr, 5, nullptr, object.state());
    EXPECT_TRUE(sameBits(form.one(object.state(), makeValue<S>(1, 1)), typename Calls::Result{}));
  });
}

TEST(FirObject, RecordAndPhaseTable) {
  const auto taps = noise<float>(200);
  Object object;
  std::memset(static_cast<void*>(object.state()), 0x5a, sizeof(FirState));
  moxsFirInit(taps.data(), 11, nullptr, object.state());
  EXPECT_EQ((std::vector<int32_t>{object->upFactor, object->upPhase, object->downFactor, object->downPhase,
                                  object->isMultiRate, object->tapsLen, object->tapsLen8, object->dlyLen,
                                  object->bufLen, object->pos16, object->tapsLen16}),
            (std::vector<int32_t>{1, 0, 1, 0, 0, 11, 8, 10, 128, 0, 0}));
  EXPECT_EQ(object->self, object.state());
  EXPECT_EQ(object->phaseTable, nullptr);
  EXPECT_EQ(object->histPtr, object->bufStart);
  EXPECT_EQ(object->bufEnd, static_cast<float*>(object->bufStart) + 128);
  EXPECT_EQ(static_cast<float*>(object->tapsBuf)[0], taps[10]);

  moxsFirInit(taps.data(), 200, nullptr, object.state());
  EXPECT_EQ(object->bufLen, 200);
  moxsFirInitMr(taps.data(), 11, nullptr, 1, 0, 1, 0, object.state());
  EXPECT_EQ(object->isMultiRate, 0);
  EXPECT_EQ(object->phaseTable, nullptr);
  moxsFirInitMr(taps.data(), 11, nullptr, 4, 3, 3, 2, object.state());
  EXPECT_EQ(object->isMultiRate, 1);
  EXPECT_EQ(object->dlyLen, 3);
  EXPECT_EQ(object->bufLen, 129);
  // Outputs at places 2, 5, 8, 11; inputs enter at 3, 7, 11.
  const std::vector<std::vector<int32_t>> want = {{3, 2, 1, 9, 2}, {2, 3, 1, 6, 3}, {1, 3, 2, 3, 3}, {0, 3, 3, 0, 3}};
  for (size_t e = 0; e < 4; ++e) {
    const FirPhase& p = object->phaseTable[e];
    EXPECT_EQ((std::vector<int32_t>{p.branch, p.len, p.start, p.offset, p.len2}), want[e]) << e;
    EXPECT_EQ(p.taps16, nullptr);
    for (const int32_t word : p.reserved) EXPECT_EQ(word, 0);
  }
  // Branch 1 is taps 1, 5, 9.
  for (int j = 0; j < 3; ++j)
    EXPECT_EQ(static_cast<float*>(object->tapsBuf)[3 + j], taps[static_cast<size_t>(9 - 4 * j)]);
  moxFirFree(object.state());
  EXPECT_EQ(object->self, nullptr);
  EXPECT_EQ(object->phaseTable, nullptr);
}

template <class T>
void badAccess(const std::string& letter, FirState* free, FirState* live) {
  Reports reports;
  T array[8] = {};
  const auto expect = [&](const char* function, const char* text) {
    EXPECT_EQ(reports.take(), std::vector<std::string>{"mox" + letter + "Fir" + function + ": " + text + " (-5)"});
  };
  const char *const null = "Null state pointer", *const raw = "Must have been initialized";
  kOf<T>.set(array, nullptr), expect("SetTaps", null);
  kOf<T>.set(array, free), expect("SetTaps", raw);
  kOf<T>.get(nullptr, nullptr), expect("GetTaps", null);
  kOf<T>.get(free, nullptr), expect("GetTaps", raw);
  kOf<T>.get(live, nullptr), expect("GetTaps", "Null buffer pointer");
  kOf<T>.setHistory(array, nullptr), expect("SetDlyl", null);
  kOf<T>.setHistory(array, free), expect("SetDlyl", raw);
  kOf<T>.getHistory(nullptr, nullptr), expect("GetDlyl", null);
  kOf<T>.getHistory(free, nullptr), expect("GetDlyl", raw);
  kOf<T>.getHistory(live, nullptr), expect("GetDlyl", "Null buffer pointer");
}

TEST(FirObject, BadCalls) {
  Object live, never;
  moxsFirInit(nullptr, 1, nullptr, live.state());
  badAccess<float>("s", never.state(), live.state());
  badAccess<MoxC>("c", never.state(), live.state());
  badAccess<double>("d", never.state(), live.state());
  badAccess<MoxZ>("z", never.state(), live.state());
  badAccess<int16_t>("w", never.state(), live.state());

  forEachForm([](auto form) {
    using Calls = decltype(form);
    using S = typename Calls::Sample;
    using R = typename Calls::Result;
    Reports reports;
    const std::string prefix = std::string("mox") + form.name;
    const auto expect = [&](const char* function, const char* text, int status = -5) {
      EXPECT_EQ(reports.all().empty() ? "" : reports.all()[0].file, "moxfirh");
      EXPECT_EQ(reports.take(),
                std::vector<std::string>{prefix + function + ": " + text + " (" + std::to_string(status) + ")"});
    };
    const auto taps = noise<typename Calls::Tap>(4);
    const auto x = noise<S>(8);
    std::vector<R> y(8, makeValue<R>(7, 7));
    const auto before = y;
    Object object;
    const auto initMr = [&](int32_t n, int32_t u, int32_t up, int32_t d, int32_t dp, FirState* state) {
      form.initMr(taps.data(), n, nullptr, u, up, d, dp, state);
    };
    form.init(taps.data(), 0, nullptr, nullptr), expect("FirInit", "Null state pointer");
    form.init(taps.data(), 0, nullptr, object.state()), expect("FirInit", "Invalid value");
    initMr(0, 0, 0, 0, 0, nullptr), expect("FirInitMr", "Null state pointer");
    initMr(4, 0, 0, 1, 0, object.state()), expect("FirInitMr", "Invalid value");
    initMr(4, 1, 0, 0, 0, object.state()), expect("FirInitMr", "Invalid value");
    initMr(4, 2, 2, 1, 0, object.state()), expect("FirInitMr", "Invalid value");
    initMr(4, 2, -1, 1, 0, object.state()), expect("FirInitMr", "Invalid value");
    initMr(4, 1, 0, 3, 3, object.state()), expect("FirInitMr", "Invalid value");
    initMr(4, 1, 0, 3, -1, object.state()), expect("FirInitMr", "Invalid value");
    initMr(0, 1, 0, 1, 0, object.state()), expect("FirInitMr", "Invalid value");
    EXPECT_EQ(object->tapsLen, 0);

    const S one = makeValue<S>(1, 1);
    EXPECT_TRUE(sameBits(form.one(nullptr, one), R{}));
    expect("Fir", "Null state pointer");
    EXPECT_TRUE(sameBits(form.one(object.state(), one), R{}));
    expect("Fir", "Must have been initialized");
    form.block(nullptr, nullptr, nullptr, 0), expect("bFir", "Null state pointer");
    form.block(object.state(), nullptr, nullptr, 0), expect("bFir", "Must have been initialized");
    form.init(taps.data(), 4, x.data(), object.state());
    form.block(object.state(), nullptr, y.data(), 0), expect("bFir", "Null buffer pointer");
    form.block(object.state(), x.data(), nullptr, 0), expect("bFir", "Null buffer pointer");
    form.block(object.state(), x.data(), y.data(), 0), expect("bFir", "Invalid value");
    // Under an earlier failure nothing happens, but a filter can be freed.
    moxSetErrStatus(MOX_StsNoMem);
    form.block(object.state(), x.data(), y.data(), 8);
    EXPECT_TRUE(sameBits(form.one(object.state(), one), R{}));
    moxSetErrStatus(MOX_StsOk);
    EXPECT_TRUE(sameBits(y, before));
    EXPECT_TRUE(sameBits(historyOf<S>(object), std::vector<S>(x.begin(), x.begin() + 3)));
    moxSetErrStatus(MOX_StsNoMem);
    moxFirFree(object.state());
    EXPECT_EQ(object->self, nullptr);
    EXPECT_TRUE(reports.take().empty());
  });

  Reports reports;
  moxFirFree(nullptr);
  moxFirFree(live.state());
  moxFirFree(live.state());
  EXPECT_EQ(reports.take(), (std::vector<std::string>{"moxFirFree: Null state pointer (-5)",
                                                      "moxFirFree: Must have been initialized (-5)"}));
}

TEST(FirObject, AllocationFailures) {
  if (kSanitized) GTEST_SKIP() << "the sanitizer's own memory does not fit";
  const ShortOfMemory shortage;
  Reports reports;
  Object object;
  const bool narrow = sizeof(void*) == 4;
  const auto expectFailure = [&](const char* function) {
    EXPECT_EQ(object->self, nullptr);
    EXPECT_EQ(reports.take(), std::vector<std::string>{std::string(function) + ": Allocation failure (-4)"});
  };
  for (int round = 0; round < 4; ++round) {
    moxdFirInit(nullptr, narrow ? 270000000 : 400000000, nullptr, object.state()), expectFailure("moxdFirInit");
    // The taps fit, the history does not.
    moxdzFirInit(nullptr, narrow ? 60000000 : 12000000, nullptr, object.state()), expectFailure("moxdzFirInit");
    moxwFirInit(nullptr, INT_MAX, nullptr, object.state()), expectFailure("moxwFirInit");
    // Only the phase table does not.
    moxsFirInitMr(nullptr, 4, nullptr, narrow ? INT_MAX : 60000000, 0, 1, 0, object.state());
    expectFailure("moxsFirInitMr");
    moxwFirInitMr(nullptr, 4, nullptr, narrow ? INT_MAX : 60000000, 0, 1, 0, object.state());
    expectFailure("moxwFirInitMr");
    // No count of elements wraps.
    moxcFirInitMr(nullptr, INT_MAX, nullptr, 1, 0, INT_MAX - 1, 0, object.state()), expectFailure("moxcFirInitMr");
  }
  // Nothing of all that is lost: this much fits.
  moxsFirInit(nullptr, 10000000, nullptr, object.state());
  EXPECT_EQ(object->self, object.state());
  EXPECT_TRUE(reports.take().empty());
}

}  // namespace
