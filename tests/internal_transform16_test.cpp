// What the transforms of int16 signals do without memory: the documented report, nothing written, nothing kept.
#include "tests/fft16_forms.h"
#include "tests/support/allocations.h"

using namespace moxtest;

namespace {

using Strings = std::vector<std::string>;

// Every allocation of `call` fails in turn; `untouched` says that it wrote nothing.
template <class Call, class Untouched>
void failEach(const Strings& expected, Call call, Untouched untouched) {
  Reports reports;
  int64_t asked = 1;
  for (int64_t fail = 0; fail < asked; ++fail) {
    {
      const Allocations watch(fail);
      call();
      asked = std::max(asked, watch.asked());
      EXPECT_EQ(watch.live(), 0);
    }
    EXPECT_EQ(reports.take(), expected);
    EXPECT_TRUE(untouched());
    const Allocations all;
    call();
    EXPECT_GE(all.asked(), asked);
    EXPECT_EQ(all.live(), 0);
    EXPECT_EQ(reports.take(), Strings{});
    asked = all.asked();
  }
}

TEST(NoMemory, TransformsOfInt16) {
  for (const Form16& form : forms16()) {
    for (const bool inPlace : {true, false}) {
      const std::string name = form.name + (inPlace ? "" : "Nip");
      SCOPED_TRACE(name);
      std::vector<std::vector<int16_t>> arrays;
      form.callRaw(arrays, 4, MOX_Init, 0, nullptr, inPlace, true);
      const std::vector<std::vector<int16_t>> before(2 * form.arrays, std::vector<int16_t>(34, 3));
      Strings expected = {name + ": No memory for work array (-4)"};
      if (name == "moxwRealFftNip") {
        expected = {"moxwRealFft: No memory for work array (-4)", name + ": out moxwRealFft (-1)"};
      }
      arrays = before;
      failEach(
          expected,
          [&] {
            arrays = before;
            form.callRaw(arrays, 4, MOX_Forw | form.flags[0], MOX_NoScale, nullptr, inPlace, false);
          },
          [&] { return arrays == before; });
      EXPECT_NE(arrays, before);
    }
  }
}

TEST(NoMemory, DftAndComponentsOfInt16) {
  const MoxV x[3] = {{1, 2}, {3, 4}, {5, 6}}, some[3] = {{9, 9}, {9, 9}, {9, 9}};
  MoxV out[3];
  moxvDft(nullptr, nullptr, 3, MOX_Init, 0, nullptr);
  failEach(
      {"moxvDft: No memory for work array (-4)"},
      [&] {
        std::memcpy(out, some, sizeof out);
        moxvDft(x, out, 3, MOX_Forw, MOX_NoScale, nullptr);
      },
      [&] { return std::memcmp(out, some, sizeof out) == 0; });
  MoxsGoertzState state;
  moxvGoertzInit(0.1f, &state);
  const MoxsGoertzState fresh = state;
  failEach(
      {"moxvbGoertz: No memory for working array (-4)"},
      [&] {
        state = fresh;
        moxvbGoertz(&state, x, 3, MOX_NoScale, nullptr);
      },
      [&] { return state.delay1.re == 0 && state.delay1.im == 0; });
  const int16_t reals[3] = {1, 2, 3};
  failEach(
      {"moxwbGoertz: No memory for working array (-4)"},
      [&] {
        state = fresh;
        moxwbGoertz(&state, reals, 3, MOX_NoScale, nullptr);
      },
      [&] { return state.delay1.re == 0; });
}

// A table that cannot be built: the getter's report, then the trace.
TEST(NoMemory, TablesOfDft) {
  Reports reports;
  MoxC x[5] = {}, out[5] = {{7, 7}};
  MoxV v[5] = {}, w[5] = {{7, 7}};
  moxcFreeTwdTbls();
  {
    const Allocations none(0);
    moxcDft(x, out, 5, MOX_Forw);
  }
  EXPECT_EQ(reports.take(), (Strings{"moxcGetDftTwdTbl: NULL Pointer (-4)", "moxcDft: Bad pointer (-1)"}));
  {
    const Allocations third(2);
    moxvDft(v, w, 5, MOX_Forw, MOX_NoScale, nullptr);
    EXPECT_EQ(third.live(), 0);
  }
  EXPECT_EQ(reports.take(), (Strings{"moxcGetDftTwdTbl: NULL Pointer (-4)", "moxcDft: Bad pointer (-1)"}));
  EXPECT_TRUE(out[0].re == 7 && w[0].re == 7);
  moxvDft(v, w, 5, MOX_Forw, MOX_NoScale, nullptr);
  EXPECT_TRUE(w[0].re == 0 && reports.take().empty());
}

}  // namespace
