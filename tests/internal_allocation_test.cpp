// What functions ask for when they need memory. When they get none: the documented report, nothing written, nothing
// kept; the next call works.
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

}  // namespace
