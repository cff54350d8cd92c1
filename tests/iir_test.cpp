#include <algorithm>
#include <cmath>
#include <complex>
#include <numeric>

#include "tests/support/short_of_memory.h"
#include "tests/support/support.h"
#include "tests/support/wide.h"

using namespace moxtest;

namespace {

using Strings = std::vector<std::string>;

// Samples S, taps T, results and delay line O.
template <class S_, class T_, class O_>
struct Form {
  using S = S_;
  using T = T_;
  using O = O_;
  const char* letters;
  void (*initTaps)(int32_t, T*, int32_t, IirTapState*);
  void (*initBiquads)(int32_t, T*, int32_t, IirTapState*);
  void (*initDelay)(const IirTapState*, O*, IirDlyState*);
  O (*one)(const IirTapState*, const IirDlyState*, S);
  void (*block)(const IirTapState*, const IirDlyState*, const S*, O*, int32_t);
  int32_t (*objectInit)(int32_t, const T*, int32_t, IirState*);
  int32_t (*objectInitBiquads)(int32_t, const T*, int32_t, IirState*);
  O (*objectOne)(IirState*, S);
  int32_t (*objectBlock)(IirState*, const S*, O*, int32_t);
  std::string name(const char* operation) const { return std::string("mox") + letters + operation; }
};

template <class Check>
void forEachForm(Check check) {
  check(Form<float, float, float>{"s", moxsIirlInit, moxsIirlInitBq, moxsIirlInitDlyl, moxsIirl, moxsbIirl, moxsIirInit,
                                  moxsIirInitBq, moxsIir, moxsbIir});
  check(Form<double, double, double>{"d", moxdIirlInit, moxdIirlInitBq, moxdIirlInitDlyl, moxdIirl, moxdbIirl,
                                     moxdIirInit, moxdIirInitBq, moxdIir, moxdbIir});
  check(Form<MoxC, MoxC, MoxC>{"c", moxcIirlInit, moxcIirlInitBq, moxcIirlInitDlyl, moxcIirl, moxcbIirl, moxcIirInit,
                               moxcIirInitBq, moxcIir, moxcbIir});
  check(Form<MoxZ, MoxZ, MoxZ>{"z", moxzIirlInit, moxzIirlInitBq, moxzIirlInitDlyl, moxzIirl, moxzbIirl, moxzIirInit,
                               moxzIirInitBq, moxzIir, moxzbIir});
  check(Form<float, MoxC, MoxC>{"sc", moxcIirlInit, moxcIirlInitBq, moxcIirlInitDlyl, moxscIirl, moxscbIirl,
                                moxscIirInit, moxscIirInitBq, moxscIir, moxscbIir});
  check(Form<MoxC, float, MoxC>{"cs", moxsIirlInit, moxsIirlInitBq, moxcIirlInitDlyl, moxcsIirl, moxcsbIirl,
                                moxcsIirInit, moxcsIirInitBq, moxcsIir, moxcsbIir});
  check(Form<double, MoxZ, MoxZ>{"dz", moxzIirlInit, moxzIirlInitBq, moxzIirlInitDlyl, moxdzIirl, moxdzbIirl,
                                 moxdzIirInit, moxdzIirInitBq, moxdzIir, moxdzbIir});
  check(Form<MoxZ, double, MoxZ>{"zd", moxdIirlInit, moxdIirlInitBq, moxzIirlInitDlyl, moxzdIirl, moxzdbIirl,
                                 moxzdIirInit, moxzdIirInitBq, moxzdIir, moxzdbIir});
}

struct Shape {
  bool biquads;
  int32_t size;  // order or sections
  int32_t order() const { return biquads ? 2 * size : size; }
};
const Shape kShapes[] = {{false, 0}, {false, 1},  {false, 2},  {false, 3},  {false, 4},  {false, 5},  {false, 8},
                         {false, 9}, {false, 30}, {false, 16}, {false, 41}, {false, 64}, {false, 65}, {true, 1},
                         {true, 2},  {true, 3},   {true, 4},   {true, 5},   {true, 8},   {true, 13}};
constexpr Shape kLong[] = {{false, 150}, {true, 70}};  // more delay values than stay in float64 over a block

// The coefficients of a filter as Init wants them: biquads with poles of size 0.3 to 0.97, direct forms with feedback
// that adds up to less than one.
template <class T>
std::vector<T> coefficients(Shape shape) {
  std::mt19937 bits(static_cast<uint32_t>(7 * shape.size + shape.biquads));
  const auto uniform = [&](double from, double to) {
    return from + (to - from) * (static_cast<double>(bits()) / 4294967296.0);
  };
  const auto any = [&](long double size) {
    const double angle = uniform(0, 6.28);
    return Traits<T>::complex ? std::polar(size, static_cast<long double>(angle)) : Wide(angle < 3 ? size : -size);
  };
  std::vector<T> taps;
  if (shape.biquads) {
    for (int32_t k = 0; k < shape.size; ++k) {
      const Wide p = std::polar<long double>(uniform(0.3, 0.97), uniform(0.1, 3)), a0 = any(uniform(0.5, 2));
      const Wide q = Traits<T>::complex ? std::polar<long double>(uniform(0.3, 0.97), uniform(0, 6)) : std::conj(p);
      const Wide b0 = any(uniform(0.1, 0.4));
      for (const Wide c : {b0, b0 * any(1.5), b0 * any(0.8), a0, -(p + q) * a0, p * q * a0}) {
        taps.push_back(narrowed<T>(c));
      }
    }
  } else {
    const Wide a0 = any(uniform(0.5, 2));
    for (int32_t i = 0; i <= shape.size; ++i) taps.push_back(narrowed<T>(any(uniform(0.1, 1))));
    taps.push_back(narrowed<T>(a0));
    for (int32_t i = 0; i < shape.size; ++i) taps.push_back(narrowed<T>(a0 * any(uniform(0.2, 0.95) / shape.size)));
  }
  return taps;
}

// The recursion on prepared taps, step by step.
struct Model {
  Shape shape;
  std::vector<Wide> taps, delay;
  long double largest = 0;  // of all that was added up
  template <class T>
  Model(Shape s, const T* prepared) : shape(s), delay(static_cast<size_t>(s.order())) {
    const size_t count = static_cast<size_t>(s.biquads ? 4 * s.size + 1 : 2 * s.size + 1);
    std::transform(prepared, prepared + count, std::back_inserter(taps), [](T t) { return widened(t); });
  }
  Wide next(Wide x) {
    const size_t n = delay.size();
    Wide y;
    if (shape.biquads) {
      y = taps[0] * x;
      for (size_t k = 0; k < n / 2; ++k) {
        const Wide* const t = &taps[1 + 4 * k];
        Wide* const d = &delay[2 * k];
        const Wide w = y - t[0] * d[0] - t[1] * d[1];
        y = w + t[2] * d[0] + t[3] * d[1];
        d[1] = d[0];
        d[0] = w;
        largest = std::max({largest, std::abs(w), std::abs(y)});
      }
    } else {
      y = taps[0] * x + (n ? delay[0] : 0);
      for (size_t i = 1; i <= n; ++i) delay[i - 1] = taps[i] * x - taps[n + i] * y + (i < n ? delay[i] : 0);
    }
    largest = std::max(largest, std::abs(y));
    return y;
  }
  template <class O>
  void store() {
    for (Wide& d : delay) d = widened(narrowed<O>(d));
  }
};

template <class O>
void expectNear(const std::vector<Wide>& expected, const O* found, long double work, const char* what) {
  using R = typename Traits<O>::Real;
  const long double unit = sizeof(R) == 4 ? 0x1p-24L : 0x1p-53L;
  for (size_t i = 0; i < expected.size(); ++i) {
    const Wide y = widened(found[i]);
    ASSERT_LE(std::abs(y.real() - expected[i].real()), unit * std::abs(expected[i].real()) + work) << what << " " << i;
    ASSERT_LE(std::abs(y.imag() - expected[i].imag()), unit * std::abs(expected[i].imag()) + work) << what << " " << i;
  }
}

// How the samples of one signal are handed over.
const std::vector<int> kSplits[] = {
    {1, 1, 1, 2, 1, 3, 1}, {23, 24, 25, 1, 40}, {0, 300, 7, 1, 257, 64}, {1500, 31}, {1040}, {2, 8, 9, 10, 11, 12, 13}};

template <class F>
void checkAgainstModel(const F& form, Shape shape, const std::vector<int>& split, Flush flush) {
  using S = typename F::S;
  using T = typename F::T;
  using O = typename F::O;
  const size_t total = static_cast<size_t>(std::accumulate(split.begin(), split.end(), 0));
  const Guarded<T> taps(coefficients<T>(shape), flush);
  const Guarded<O> delay(static_cast<size_t>(shape.order()), flush), out(total, flush);
  Guarded<S> in(noise<S>(total, 5), flush);
  in.makeReadOnly();
  IirTapState tapState;
  IirDlyState delayState;
  (shape.biquads ? form.initBiquads : form.initTaps)(1, taps.data(), shape.size, &tapState);
  std::fill_n(delay.data(), delay.size(), makeValue<O>(1, 1));
  form.initDelay(&tapState, delay.data(), &delayState);

  Model model(shape, taps.data());
  std::vector<Wide> expected;
  const bool kept = shape.order() <= 128 || sizeof(typename Traits<O>::Real) == 8;
  size_t at = 0;
  for (const int n : split) {
    if (n == 1) {
      out[at] = form.one(&tapState, &delayState, in[at]);
    } else {
      form.block(&tapState, &delayState, in.data() + at, out.data() + at, n);
    }
    for (int i = 0; i < n; ++i) expected.push_back(model.next(widened(in[at + static_cast<size_t>(i)])));
    if (kept) model.store<O>();
    at += static_cast<size_t>(n);
  }
  // Roundings in float64, amplified; where the delay line is rounded in between, roundings to float32.
  const long double work = model.largest * (kept ? 0x1p-42L : 0x1p-17L);
  expectNear(expected, out.data(), work, "result");
  expectNear(model.delay, delay.data(), work, "delay value");
}

TEST(Iir, FollowsTheRecursion) {
  forEachLevel([] {
    forEachForm([](auto form) {
      SCOPED_TRACE(form.letters);
      for (const Shape shape : kShapes) {
        SCOPED_TRACE(std::string(shape.biquads ? "sections " : "order ") + std::to_string(shape.size));
        int which = 0;
        for (const auto& split : kSplits)
          checkAgainstModel(form, shape, split, ++which % 2 ? Flush::AtEnd : Flush::AtStart);
      }
      for (const Shape shape : kLong) checkAgainstModel(form, shape, {1, 1200}, Flush::AtEnd);
    });
  });
}

// Integrators, resonances without damping, growing ones: none may be lost, none may grow faster.
TEST(Iir, PolesOnAndOutsideTheUnitCircle) {
  forEachLevel([] {
    const float sections[][6] = {{1, 0, 0, 1, -1, 0},           {1, 1, 0, 1, -2, 1}, {1, 0, 0, 1, -1.5f, 1},
                                 {1, 0, 0, 1, -1.998f, 1.002f}, {1, 0, 1, 1, 0, -1}, {1, 0, 0, 1, 1.9999f, 0.99995f},
                                 {1, 1, 1, 1, 0.25f, -1.25f},   {1, 0, 0, 1, 0, 0}};
    for (const auto& section : sections) {
      SCOPED_TRACE(std::to_string(section[4]) + " " + std::to_string(section[5]));
      float taps[6], delay[2];
      std::copy_n(section, 6, taps);
      IirTapState tapState;
      IirDlyState delayState;
      moxsIirlInitBq(0, taps, 1, &tapState);
      moxsIirlInitDlyl(&tapState, delay, &delayState);
      Model model({true, 1}, taps);
      const auto in = noise<float>(300, 8);
      std::vector<float> out(300);
      moxsbIirl(&tapState, &delayState, in.data(), out.data(), 300);
      std::vector<Wide> expected;
      for (const float x : in) expected.push_back(model.next(x));
      expectNear(expected, out.data(), model.largest * 0x1p-40L, "result");
      expectNear(model.delay, delay, model.largest * 0x1p-40L, "delay value");
    }
  });
}

// What a call leaves and returns does not depend on how float64 samples are split, nor on the processor.
TEST(Iir, SameBits) {
  forEachForm([](auto form) {
    using F = decltype(form);
    using O = typename F::O;
    SCOPED_TRACE(form.letters);
    for (const Shape shape : kShapes) {
      SCOPED_TRACE(std::string(shape.biquads ? "sections " : "order ") + std::to_string(shape.size));
      std::vector<std::vector<O>> fused;
      for (const std::string& level : levels()) {
        const ForcedLevel forced(level);
        std::vector<std::vector<O>> results;
        for (const auto& split : {std::vector<int>{777}, {776, 1}, {1, 1, 1, 400, 30, 344}}) {
          auto taps = coefficients<typename F::T>(shape);
          std::vector<O> delay(static_cast<size_t>(shape.order())), out(777);
          const auto in = noise<typename F::S>(777, 6);
          IirTapState tapState;
          IirDlyState delayState;
          (shape.biquads ? form.initBiquads : form.initTaps)(0, taps.data(), shape.size, &tapState);
          form.initDelay(&tapState, delay.data(), &delayState);
          size_t at = 0;
          for (const int n : split) {
            if (n == 1) {
              out[at] = form.one(&tapState, &delayState, in[at]);
            } else {
              form.block(&tapState, &delayState, in.data() + at, out.data() + at, n);
            }
            at += static_cast<size_t>(n);
          }
          out.insert(out.end(), delay.begin(), delay.end());
          results.push_back(out);
        }
        if constexpr (sizeof(typename Traits<O>::Real) == 8) {
          EXPECT_TRUE(sameBits(results[0], results[1]));
          EXPECT_TRUE(sameBits(results[0], results[2]));
        }
        if (level == "sse2") continue;
        if (fused.empty()) fused = results;
        for (size_t i = 0; i < fused.size(); ++i) EXPECT_TRUE(sameBits(fused[i], results[i])) << level;
      }
    }
  });
}

TEST(Iir, InPlaceAndInFrontOfAnInfinity) {
  forEachLevel([] {
    forEachForm([](auto form) {
      using F = decltype(form);
      using O = typename F::O;
      if constexpr (std::is_same_v<typename F::S, O>) {
        for (const Shape shape : {Shape{true, 3}, Shape{false, 3}, Shape{false, 15}}) {
          auto taps = coefficients<typename F::T>(shape);
          std::vector<O> delay(static_cast<size_t>(shape.order())), out(700), inPlace = noise<O>(700, 6);
          const auto in = inPlace;
          IirTapState tapState;
          IirDlyState delayState;
          (shape.biquads ? form.initBiquads : form.initTaps)(0, taps.data(), shape.size, &tapState);
          form.initDelay(&tapState, delay.data(), &delayState);
          form.block(&tapState, &delayState, in.data(), out.data(), 700);
          form.initDelay(&tapState, delay.data(), &delayState);
          form.block(&tapState, &delayState, inPlace.data(), inPlace.data(), 700);
          EXPECT_TRUE(sameBits(out, inPlace)) << form.letters;
          // Results before it are what they were.
          auto spoilt = in;
          spoilt[333] = makeValue<O>(INFINITY, 0);
          form.initDelay(&tapState, delay.data(), &delayState);
          form.block(&tapState, &delayState, spoilt.data(), inPlace.data(), 700);
          EXPECT_TRUE(std::equal(out.begin(), out.begin() + 333, inPlace.begin(), [](const O& a, const O& b) {
            return sameBits(a, b);
          })) << form.letters;
          EXPECT_FALSE(std::isfinite(widened(inPlace[333]).real()));
          EXPECT_FALSE(std::isfinite(widened(inPlace[699]).real()));
        }
      }
    });
  });
}

TEST(Iir, InitPreparesTheTaps) {
  forEachForm([](auto form) {
    using T = typename decltype(form)::T;
    SCOPED_TRACE(form.letters);
    const auto values = [](std::initializer_list<int> list) {
      std::vector<T> v;
      for (const int x : list) v.push_back(makeValue<T>(static_cast<typename Traits<T>::Real>(x), 0));
      return v;
    };
    const auto expectTaps = [](const std::vector<T>& taps, std::initializer_list<double> expected) {
      size_t i = 0;
      for (const double x : expected) EXPECT_EQ(widened(taps[i++]), Wide(x));
    };
    IirTapState state;
    auto taps = values({2, 4, 6, 4, 8, 12});
    form.initTaps(1, taps.data(), 2, &state);
    expectTaps(taps, {0.5, 1, 1.5, 2, 3, 12});
    EXPECT_TRUE(state.order == 2 && state.taps == taps.data() && state.iirType == 1 && state.isBiquad == 0);

    taps = values({2, 6, 10, 4, 8, 12, 8, 8, 16, 2, 4, 6});
    form.initBiquads(0, taps.data(), 2, &state);
    expectTaps(taps, {2, 2, 3, 3, 5, 2, 3, 1, 2, 2, 4, 6});
    EXPECT_TRUE(state.order == 4 && state.taps == taps.data() && state.iirType == 0 && state.isBiquad == 1);

    // Half prepared: what was before the zero, but for the gain.
    Reports reports;
    taps = values({2, 6, 10, 4, 8, 12, 8, 8, 16, 0, 4, 6});
    state = {};
    form.initBiquads(1, taps.data(), 2, &state);
    expectTaps(taps, {2, 2, 3, 3, 5, 12, 8, 8, 16, 0, 4, 6});
    EXPECT_TRUE(state.order == 4 && state.taps == taps.data() && state.iirType == 1 && state.isBiquad == 1);
    EXPECT_EQ(reports.all()[0].condition, "taps[1*6+3] equals zero");
  });
  // (1 + 2i) / (0.5i) = 4 - 2i
  MoxC taps[] = {{1, 2}, {0, 0.5f}};
  IirTapState state;
  moxcIirlInit(0, taps, 0, &state);
  EXPECT_EQ(widened(taps[0]), Wide(4, -2));
}

// ---- reports

template <class Body>
void leavesAlone(IirTapState& taps, IirDlyState& delay, Body body) {
  const IirTapState tapsBefore = taps;
  const IirDlyState delayBefore = delay;
  body();
  EXPECT_EQ(std::memcmp(&taps, &tapsBefore, sizeof taps), 0);
  EXPECT_EQ(std::memcmp(&delay, &delayBefore, sizeof delay), 0);
}

TEST(Iir, BadCallsOfTheLowLevel) {
  Reports reports;
  forEachForm([&](auto form) {
    using F = decltype(form);
    using T = typename F::T;
    using O = typename F::O;
    SCOPED_TRACE(form.letters);
    const std::string tapLetter(1, form.letters[std::strlen(form.letters) - 1]);
    const std::string init = "mox" + tapLetter + "IirlInit: ", bq = "mox" + tapLetter + "IirlInitBq: ";
    const T one = makeValue<T>(1, 0), zero = makeValue<T>(-0.0f, 0);
    T taps[12];
    std::fill_n(taps, 12, one);
    IirTapState state = {};
    IirDlyState delay = {};
    leavesAlone(state, delay, [&] {
      form.initTaps(2, nullptr, -1, nullptr);
      moxSetErrStatus(0);
      form.initBiquads(-1, nullptr, 0, nullptr);
      moxSetErrStatus(0);
      form.initTaps(2, taps, 1, &state);
      moxSetErrStatus(0);
      taps[2] = zero;
      form.initTaps(1, taps, 1, &state);
      EXPECT_EQ(reports.take(),
                (Strings{init + "tapStPtr==0 (-5)", init + "taps==0 (-5)", init + "order < 0 (-5)",
                         init + "iirType is out of range (-5)", bq + "tapStPtr==0 (-5)", bq + "taps==0 (-5)",
                         bq + "numQuads <= 0 (-5)", bq + "iirType is out of range (-5)",
                         init + "iirType is out of range (-5)", init + "taps[order+1] equals zero (-5)"}));
      for (const int32_t many : {1 << 30, INT32_MAX}) {  // the record's order would not fit
        form.initBiquads(1, taps, many, &state);
        EXPECT_EQ(reports.take(), (Strings{bq + "numQuads is out of range (-5)"}));
      }
      moxSetErrStatus(-4);
      form.initTaps(1, taps, 0, &state);
      form.initBiquads(1, taps, 1, &state);
      EXPECT_EQ(reports.take(), Strings{});
    });
    taps[2] = one;
    taps[0] = taps[3] = zero;
    form.initBiquads(0, taps, 1, &state);
    taps[0] = one;
    form.initBiquads(0, taps, 1, &state);
    EXPECT_EQ(reports.take(), (Strings{bq + "taps[0*6] equals zero (-5)"}));  // the second: the status
    form.initBiquads(0, taps, 1, &state);
    EXPECT_EQ(reports.take(), (Strings{bq + "taps[0*6+3] equals zero (-5)"}));
    taps[3] = one;

    const std::string single = form.name("Iirl: "), block = form.name("bIirl: ");
    const typename F::S in[2] = {};
    O out[2] = {makeValue<O>(7, 7), makeValue<O>(7, 7)}, line[2] = {out[0], out[0]};
    form.initBiquads(0, taps, 1, &state);
    form.initDelay(&state, line, &delay);
    EXPECT_EQ(widened(line[0]) + widened(line[1]), Wide(0));
    leavesAlone(state, delay, [&] {
      form.initDelay(nullptr, nullptr, nullptr);
      moxSetErrStatus(0);
      form.initDelay(&state, nullptr, &delay);
      const std::string dlyl = reports.all()[0].function + ": ";
      EXPECT_EQ(reports.take(), (Strings{dlyl + "tapStPtr==0 (-5)", dlyl + "dlyStPtr==0 (-5)", dlyl + "dlyl==0 (-5)"}));
      EXPECT_EQ(widened(form.one(nullptr, nullptr, in[0])), Wide(0));
      moxSetErrStatus(0);
      form.block(nullptr, nullptr, nullptr, nullptr, -1);
      moxSetErrStatus(0);
      form.block(&state, &delay, in, out, -1);
      EXPECT_EQ(reports.all()[0].file, "moxiirl");
      EXPECT_EQ(reports.take(),
                (Strings{single + "tapStPtr==0 (-5)", single + "dlyStPtr==0 (-5)", block + "tapStPtr==0 (-5)",
                         block + "dlyStPtr==0 (-5)", block + "inSamps==0 (-5)", block + "outSamps==0 (-5)",
                         block + "numIters < 0 (-5)"}));
    });
    delay.dlyl = nullptr;
    state.isBiquad = 2;
    leavesAlone(state, delay, [&] {
      form.one(&state, &delay, in[0]);
      moxSetErrStatus(0);
      form.block(&state, &delay, in, out, -1);
      moxSetErrStatus(0);
      form.initDelay(&state, line, &delay);
      const std::string noTaps = "structure *tapStPtr wasn't initialized (-5)";
      const std::string noDelay = "structure *dlyStPtr wasn't initialized (-5)";
      EXPECT_EQ(reports.all()[5].condition, "structure *tapStPtr wasn't initialized");
      Strings found = reports.take();
      found.pop_back();
      EXPECT_EQ(found, (Strings{single + noTaps, single + noDelay, block + noTaps, block + noDelay,
                                block + "numIters < 0 (-5)"}));
    });
    // Order 0 needs no delay line, a count of 0 does nothing, an old failure stops everything.
    form.initTaps(0, taps, 0, &state);
    form.initDelay(&state, nullptr, &delay);
    EXPECT_EQ(widened(form.one(&state, &delay, makeValue<typename F::S>(3, 0))), widened(taps[0]) * Wide(3));
    form.block(&state, &delay, in, out, 0);
    EXPECT_EQ(reports.take(), Strings{});
    moxSetErrStatus(-4);
    EXPECT_EQ(widened(form.one(&state, &delay, makeValue<typename F::S>(3, 0))), Wide(0));
    form.block(&state, &delay, in, out, 2);
    EXPECT_EQ(widened(out[1]).real(), 7);
    EXPECT_EQ(reports.take(), Strings{});
  });
}

// ---- the object

TEST(IirObject, IsTheLowLevelOnItsOwnMemory) {
  forEachForm([](auto form) {
    using F = decltype(form);
    using O = typename F::O;
    SCOPED_TRACE(form.letters);
    for (const Shape shape : kShapes) {
      const auto tapVals = coefficients<typename F::T>(shape);
      auto taps = tapVals;
      std::vector<O> delay(static_cast<size_t>(shape.order())), expected(100), found(100);
      const auto in = noise<typename F::S>(100, 9);
      IirTapState tapState;
      IirDlyState delayState;
      (shape.biquads ? form.initBiquads : form.initTaps)(1, taps.data(), shape.size, &tapState);
      form.initDelay(&tapState, delay.data(), &delayState);
      form.block(&tapState, &delayState, in.data(), expected.data(), 99);
      expected[99] = form.one(&tapState, &delayState, in[99]);

      IirState state = {};
      auto passed = tapVals;
      EXPECT_EQ((shape.biquads ? form.objectInitBiquads : form.objectInit)(1, passed.data(), shape.size, &state), 0);
      EXPECT_TRUE(sameBits(passed, tapVals));
      EXPECT_TRUE(state.tapSt.order == shape.order() && state.tapSt.iirType == 1 && state.initMark == 31725);
      const size_t used = shape.biquads ? 6 * static_cast<size_t>(shape.size) : 2 * static_cast<size_t>(shape.size) + 2;
      EXPECT_EQ(state.dlySt.dlyl, static_cast<typename F::T*>(state.tapSt.taps) + used);
      EXPECT_EQ(form.objectBlock(&state, in.data(), found.data(), 99), 0);
      found[99] = form.objectOne(&state, in[99]);
      EXPECT_TRUE(sameBits(expected, found));
      EXPECT_EQ(moxIirFree(&state), 0);
      EXPECT_EQ(state.initMark, 0);
    }
  });
}

TEST(IirObject, BadCalls) {
  Reports reports;
  forEachForm([&](auto form) {
    using F = decltype(form);
    using T = typename F::T;
    SCOPED_TRACE(form.letters);
    const std::string init = form.name("IirInit: "), bq = form.name("IirInitBq: ");
    const std::string single = form.name("Iir: "), block = form.name("bIir: "), low = form.name("bIirl: ");
    const std::string tapLetter(1, form.letters[std::strlen(form.letters) - 1]);
    const std::string again = "IIR filter state structure is already initialized! Use moxIirFree to free it (-5)";
    const std::string notReady = "IIR filter wasn't initialized (-5)";
    std::vector<T> taps(12, makeValue<T>(1, 0));
    IirState state = {};
    EXPECT_EQ(form.objectInit(-1, nullptr, -1, nullptr), -5);
    EXPECT_EQ(form.objectInitBiquads(2, nullptr, 0, nullptr), -5);
    EXPECT_EQ(reports.all()[0].file, "moxiirh");
    EXPECT_EQ(reports.take(), (Strings{init + "statePtr==0 (-5)", init + "tapVals==0 (-5)", bq + "statePtr==0 (-5)",
                                       bq + "tapVals==0 (-5)"}));
    state.initMark = 31725;
    form.objectInit(-1, taps.data(), -1, &state);
    moxSetErrStatus(0);
    form.objectInitBiquads(2, taps.data(), 0, &state);
    EXPECT_EQ(reports.take(), (Strings{init + "order < 0 (-5)", init + "iirType is out of range (-5)", init + again,
                                       bq + "numQuads <= 0 (-5)", bq + "iirType is out of range (-5)", bq + again}));
    state.initMark = 0;
    const typename F::S in[2] = {};
    typename F::O out[2];
    EXPECT_EQ(widened(form.objectOne(&state, in[0])), Wide(0));
    moxSetErrStatus(0);
    EXPECT_EQ(form.objectBlock(&state, in, out, 2), -5);
    moxSetErrStatus(0);
    form.objectOne(nullptr, in[0]);
    form.objectBlock(nullptr, in, out, 2);
    EXPECT_EQ(reports.take(),
              (Strings{single + notReady, block + notReady, single + "statePtr==0 (-5)", block + "statePtr==0 (-5)"}));
    // What the low level refuses is followed by a trace; a refused Init owns nothing.
    taps[9] = makeValue<T>(0, 0);
    EXPECT_EQ(form.objectInitBiquads(0, taps.data(), 2, &state), -5);
    EXPECT_EQ(state.initMark, 0);
    EXPECT_EQ(reports.take(),
              (Strings{"mox" + tapLetter + "IirlInitBq: taps[1*6+3] equals zero (-5)", bq + "(null) (-1)"}));
    taps[3] = taps[9];
    EXPECT_EQ(form.objectInit(0, taps.data(), 2, &state), -5);
    EXPECT_EQ(state.initMark, 0);
    EXPECT_EQ(reports.take(),
              (Strings{"mox" + tapLetter + "IirlInit: taps[order+1] equals zero (-5)", init + "(null) (-1)"}));
    EXPECT_EQ(form.objectInitBiquads(0, taps.data(), 1 << 30, &state), -4);
    EXPECT_EQ(reports.take(), Strings{bq + "insufficiency of memory for IIR filter state (-4)"});
    EXPECT_EQ(form.objectInit(0, taps.data(), 1, &state), 0);
    EXPECT_EQ(form.objectBlock(&state, in, nullptr, -1), -5);
    moxSetErrStatus(0);
    EXPECT_EQ(form.objectBlock(&state, in, out, -1), -5);
    EXPECT_EQ(reports.take(), (Strings{low + "outSamps==0 (-5)", block + "(null) (-1)", low + "numIters < 0 (-5)",
                                       block + "(null) (-1)"}));
    moxSetErrStatus(-4);  // does not keep the memory from its owner
    EXPECT_EQ(moxIirFree(&state), -4);
    EXPECT_EQ(state.initMark, 0);
    EXPECT_EQ(moxIirFree(&state), -5);
    EXPECT_EQ(moxIirFree(nullptr), -5);
    EXPECT_EQ(reports.take(), (Strings{"moxIirFree: " + notReady, "moxIirFree: statePtr==0 (-5)"}));
  });
}

TEST(IirObject, WithoutMemory) {
  if (kSanitized) GTEST_SKIP() << "the sanitizer's allocator ends the process";
  Reports reports;
  forEachForm([&](auto form) {
    using T = typename decltype(form)::T;
    const ShortOfMemory limit;
    const T one = makeValue<T>(1, 0);
    IirState state = {};
    EXPECT_EQ(form.objectInit(0, &one, INT32_MAX, &state), -4);
    moxSetErrStatus(0);
    EXPECT_EQ(form.objectInitBiquads(0, &one, INT32_MAX, &state), -4);
    EXPECT_EQ(state.initMark, 0);
    EXPECT_EQ(reports.take(), (Strings{form.name("IirInit: insufficiency of memory for IIR filter state (-4)"),
                                       form.name("IirInitBq: insufficiency of memory for IIR filter state (-4)")}));
  });
}

}  // namespace
