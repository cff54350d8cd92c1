#include <gtest/gtest.h>

#include <cstdio>

#include "moxa1.h"

// Sanitized programs: a failing allocation is something that the tests ask for.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  // A report that no test expects must fail loudly, not open a box.
  moxSetErrMode(MOX_ErrModeParent);
  moxRedirectError(moxStdErrReport);
  std::printf("%s\n", moxGetLibVersion());
  return RUN_ALL_TESTS();
}
