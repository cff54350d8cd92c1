// What functions ask for when they need memory. When they get none: the documented report, nothing written, nothing
// kept; the next call works.
#include <algorithm>

#include "tests/support/allocations.h"
#include "tests/support/support.h"

using namespace moxtest;

namespace {

TEST(Memory, BlocksAreTwelveBytesLargerThanTheirElements) {
  const auto asked = [](auto allocate, int32_t n) {
    const Allocations watch;
    moxFree(allocate(n));
    EXPECT_EQ(watch.asked(), 1);
    EXPECT_EQ(watch.live(), 0);
    return watch.bytes();
  };
  EXPECT_EQ(asked(moxMalloc, 0), 12u);
  EXPECT_EQ(asked(moxMalloc, 5), 17u);
  EXPECT_EQ(asked(moxzMalloc, 1), 28u);
  EXPECT_EQ(asked(moxwMalloc, 3), 18u);
  EXPECT_EQ(asked(moxdMalloc, 7), 68u);
}

TEST(NoMemory, LnAndExpOfInt16) {
  using One = void (*)(int16_t*, int32_t, int32_t, int32_t*);
  using Two = void (*)(const int16_t*, int16_t*, int32_t, int32_t, int32_t*);
  Reports reports;
  const auto check = [&](const char* name, auto call) {
    std::vector<int16_t> dst = {3, 2, 1};
    {
      const Allocations none(0);
      call(dst.data());
      EXPECT_EQ(none.asked(), 1);
    }
    EXPECT_EQ(dst, (std::vector<int16_t>{3, 2, 1}));
    ASSERT_EQ(reports.all().size(), 1u);
    EXPECT_EQ(reports.all()[0].file, "moxlnexw");
    EXPECT_EQ(reports.take(), std::vector<std::string>{std::string(name) + ": No memory for working array (-4)"});
    const Allocations some;
    call(dst.data());
    EXPECT_EQ(some.live(), 0);
    EXPECT_NE(dst, (std::vector<int16_t>{3, 2, 1}));
  };
  const auto one = [](One f) { return [f](int16_t* vec) { f(vec, 3, MOX_NoScale, nullptr); }; };
  const int16_t src[] = {7, 8, 9};
  const auto two = [&](Two f) { return [f, &src](int16_t* dst) { f(src, dst, 3, MOX_NoScale, nullptr); }; };
  check("moxwbLn1", one(moxwbLn1));
  check("moxwbExp1", one(moxwbExp1));
  check("moxwbLn2", two(moxwbLn2));
  check("moxwbExp2", two(moxwbExp2));

  // What the scaling step refuses goes back, too.
  int16_t vec[] = {1, 2, 3};
  const Allocations refused;
  moxwbExp1(vec, 3, 9, nullptr);
  EXPECT_EQ(reports.take().size(), 1u);
  EXPECT_EQ(refused.asked(), 1);
  EXPECT_EQ(refused.live(), 0);
}

// What a recursive filter's call may write, but for the memory of an object.
struct IirMemory {
  int16_t taps[6], delay[2], out[3];
  IirTapState tapState;
  IirDlyState delayState;
  IirState object;

  std::string bytes() const { return {reinterpret_cast<const char*>(this), sizeof *this}; }
};

TEST(NoMemory, RecursiveFiltersOfInt16) {
  const int16_t in[3] = {100, -50, 7}, tapVals[6] = {4, 2, 2, 2, 4, -2};
  Reports reports;
  // One allocation after the other fails, with these reports.
  const auto check = [&](const std::vector<std::string>& failures, auto prepare, auto call) {
    for (size_t fail = 0; fail <= failures.size(); ++fail) {
      IirMemory memory = {};
      std::copy_n(tapVals, 6, memory.taps);
      prepare(memory);
      const std::string before = memory.bytes();
      const Allocations watch(static_cast<int64_t>(fail));
      call(memory);
      if (fail < failures.size()) {
        EXPECT_EQ(memory.bytes(), before);
        EXPECT_EQ(reports.take(), std::vector<std::string>{failures[fail] + " (-4)"});
      } else {
        EXPECT_NE(memory.bytes(), before);
        if (memory.object.initMark != 0) moxIirFree(&memory.object);
        EXPECT_EQ(reports.take(), std::vector<std::string>());
      }
      EXPECT_EQ(watch.live(), 0);
    }
  };
  const auto noArray = [](const char* name) { return std::string(name) + ": No memory for working array"; };
  const auto nothing = [](IirMemory&) {};
  const auto lowLevel = [](IirMemory& m) {
    moxwIirlInit(0, m.taps, 2, &m.tapState);
    moxwIirlInitDlyl(&m.tapState, m.delay, &m.delayState);
  };
  check({noArray("moxwIirlInit")}, nothing, [](IirMemory& m) { moxwIirlInit(0, m.taps, 2, &m.tapState); });
  check({noArray("moxwIirlInitBq")}, nothing, [](IirMemory& m) { moxwIirlInitBq(0, m.taps, 1, &m.tapState); });
  check(std::vector<std::string>(3, noArray("moxwIirl")), lowLevel,
        [](IirMemory& m) { m.out[0] = moxwIirl(&m.tapState, &m.delayState, 100, MOX_NoScale, nullptr); });
  check(std::vector<std::string>(3, noArray("moxwbIirl")), lowLevel,
        [&](IirMemory& m) { moxwbIirl(&m.tapState, &m.delayState, in, m.out, 3, MOX_NoScale, nullptr); });

  const std::string noState = "insufficiency of memory for IIR filter state";
  check({"moxwIirInit: " + noState}, nothing, [&](IirMemory& m) { moxwIirInit(0, tapVals, 2, &m.object); });
  check({"moxwIirInitBq: " + noState}, nothing, [&](IirMemory& m) { moxwIirInitBq(0, tapVals, 1, &m.object); });

  const std::string noCopy = "moxwbIir: insufficiency of memory for float copy ";
  IirState failed = {}, other = {};
  moxwIirInit(0, tapVals, 2, &failed);
  moxwIirInit(0, tapVals, 2, &other);
  std::vector<int16_t> after(3), expected(3);
  check({noCopy + "inSamps (IIR filter) ", noCopy + "outSamps (IIR filter) "}, nothing, [&](IirMemory& m) {
    moxwbIir(&failed, in, m.out, 3, MOX_NoScale, nullptr);
    after.assign(m.out, m.out + 3);
  });
  moxwbIir(&other, in, expected.data(), 3, MOX_NoScale, nullptr);
  EXPECT_EQ(after, expected);  // its delay line was left alone
  moxIirFree(&failed);
  moxIirFree(&other);
}

}  // namespace
