#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/support.h"
#if defined(_WIN32)
#  include <malloc.h>
#elif defined(__GLIBC__)
#  include <malloc.h>
#  include <pthread.h>
#endif

namespace {

using testing::Eq;
using testing::ExitedWithCode;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

template <class Body>
void onNewThread(Body body) {
  std::thread(body).join();
}

int32_t MOX_CALL answer77(int32_t, const char*, const char*, const char*, int32_t) { return 77; }

// The address that the library itself has for moxGuiBoxReport: an import stub of the program would differ.
MoxErrorHandler boxHandler() {
  const MoxErrorHandler before = moxRedirectError(nullptr);
  return moxRedirectError(before);
}

TEST(Frame, NewThreadStartsFreshAndKeepsToItself) {
  const moxtest::Reports reports;  // the main thread: a handler of its own, mode parent
  moxSetErrStatus(MOX_StsNoConv);
  onNewThread([] {
    EXPECT_EQ(moxGetErrStatus(), MOX_StsOk);
    EXPECT_EQ(moxGetErrMode(), MOX_ErrModeLeaf);
    EXPECT_EQ(moxRedirectError(answer77), boxHandler());
    moxSetErrStatus(-3);
    moxSetErrMode(MOX_ErrModeSilent);
  });
  EXPECT_EQ(moxGetErrStatus(), MOX_StsNoConv);
  EXPECT_EQ(moxGetErrMode(), MOX_ErrModeParent);
}

TEST(Frame, ModeAndStatusTakeEveryValue) {
  onNewThread([] {
    for (const int32_t value : {0, 1, 2, 3, -1, 5, INT_MIN, INT_MAX}) {
      moxSetErrMode(value);
      moxSetErrStatus(value / 2);
      EXPECT_EQ(moxGetErrMode(), value);
      EXPECT_EQ(moxGetErrStatus(), value / 2);
    }
  });
}

TEST(Frame, RecordBeginsWithItsFixedWords) {
  onNewThread([] {
    const auto* const record = static_cast<const char*>(moxUndContext());
    moxSetErrStatus(-4);
    moxSetErrMode(2);
    int32_t words[3], fifth;
    MoxErrorHandler handler;
    std::memcpy(words, record, sizeof(words));
    std::memcpy(&handler, record + (sizeof(void*) == 4 ? 12 : 16), sizeof(handler));
    std::memcpy(&fifth, record + (sizeof(void*) == 4 ? 16 : 24), sizeof(fifth));
    EXPECT_EQ(words[0], 0x00020300);
    EXPECT_EQ(words[1], -4);
    EXPECT_EQ(words[2], 2);
    EXPECT_EQ(handler, boxHandler());
    EXPECT_EQ(fifth, 32);
    EXPECT_EQ(moxUndContext(), record);
  });
}

TEST(Frame, ErrorStoresStatusAndAsksHandler) {
  moxtest::Reports reports;
  struct Case {
    int32_t status, stored;
    bool called;
  };
  for (const Case& c : {Case{0, 0, false}, Case{-1, 9, true}, Case{-8, 9, true}, Case{-2, -2, true}, Case{-7, -7, true},
                        Case{-9, -9, true}, Case{5, 5, true}, Case{INT_MIN, INT_MIN, true}}) {
    SCOPED_TRACE(c.status);
    moxSetErrStatus(9);
    const size_t before = reports.all().size();
    EXPECT_EQ(moxError(c.status, "f", "c", "m", 3), c.status);
    EXPECT_EQ(moxGetErrStatus(), c.stored);
    EXPECT_EQ(reports.all().size() - before, c.called ? 1u : 0u);
  }
  EXPECT_EQ(reports.all().back().line, 3);
  EXPECT_EQ(reports.all().back().file, "m");
  reports.answer(42);
  EXPECT_EQ(moxError(MOX_StsBadArg, nullptr, nullptr, nullptr, -1), 42);
  EXPECT_EQ(moxError(MOX_StsOk, "f", "c", "m", 3), 0);

  // Silence is a matter of the standard handlers.
  reports.take();
  moxSetErrMode(MOX_ErrModeSilent);
  moxError(MOX_StsNoMem, "moxF", "p==0", "moxm", 1);
  EXPECT_EQ(reports.take(), std::vector<std::string>{"moxF: p==0 (-4)"});
}

TEST(Frame, RedirectReturnsTheHandlerBefore) {
  onNewThread([] {
    const MoxErrorHandler box = moxRedirectError(answer77);
    EXPECT_EQ(moxError(-2, "f", nullptr, nullptr, 0), 77);
    EXPECT_EQ(moxRedirectError(nullptr), &answer77);
    EXPECT_EQ(moxRedirectError(answer77), box);
    EXPECT_NE(box, nullptr);
  });
}

TEST(Frame, StatusTexts) {
  const char* const texts[] = {"No Error",      "Backtrace",    "Unknown error",        "Internal error (bad state)",
                               "Out of memory", "Bad argument", "Unsupported function", "Iteration convergence failed",
                               "Autotrace call"};
  for (int32_t i = 0; i < 9; ++i) EXPECT_STREQ(moxErrorStr(-i), texts[i]);
  const char* const mine = moxErrorStr(-9);
  EXPECT_STREQ(mine, "Unknown error code -9");
  onNewThread([mine] { EXPECT_NE(moxErrorStr(5), mine); });
  EXPECT_STREQ(mine, "Unknown error code -9");
  EXPECT_EQ(moxErrorStr(5), mine);
  EXPECT_STREQ(mine, "Unknown status code 5");
  EXPECT_STREQ(moxErrorStr(INT_MIN), "Unknown error code -2147483648");
}

struct Printed {
  int32_t status;
  const char *function, *condition, *file;
  int32_t line;
  const char* text;
};
const Printed kPrinted[] = {
    {-5, "moxsbZero", "n<=0", "moxarith", 1105,
     "\nELK Library Error: Bad argument \n\tin function [moxarith:1105]:moxsbZero(): n<=0\n"},
    {-1, "moxF", "inner", "moxm", 7, "\tcalled from [moxm:7]:moxF(): inner\n"},
    {-8, "moxF", "x, 3", "moxm", 7, "\tcalled from [moxm:7]:moxF(x, 3)\n"},
    {-4, nullptr, nullptr, nullptr, 0, "\nELK Library Error: Out of memory \n\tin function:<unknown>\n"},
    {-3, "f", nullptr, nullptr, -2, "\nELK Library Error: Internal error (bad state) \n\tin function:f\n"},
    {-2, "f", "", "m", -2, "\nELK Library Error: Unknown error \n\tin function [m:-2]:f(): \n"},
    {-8, nullptr, nullptr, nullptr, 5, "\tcalled from [(null):5]:<unknown>\n"},
    {-77, "%s", "%n", "%d", 1, "\nELK Library Error: Unknown error code -77 \n\tin function [%d:1]:%s(): %n\n"},
    {6, "f", "c", "m", 1, "\nELK Library Error: Unknown status code 6 \n\tin function [m:1]:f(): c\n"},
};

// The handlers that print: two where there are no message boxes.
std::vector<MoxErrorHandler> printers() {
#if defined(_WIN32)
  return {moxStdErrReport};
#else
  return {moxStdErrReport, moxGuiBoxReport};
#endif
}

TEST(Frame, PrintedReports) {
  const moxtest::Reports mode;
  for (const MoxErrorHandler print : printers()) {
    for (const Printed& p : kPrinted) {
      moxSetErrStatus(-6);  // the text names the status passed in
      CaptureStderr();
      EXPECT_EQ(print(p.status, p.function, p.condition, p.file, p.line), p.status);
      EXPECT_EQ(GetCapturedStderr(), p.text);
      EXPECT_EQ(moxGetErrStatus(), -6);
    }
  }
}

TEST(Frame, SilentModesShowNothing) {
  const moxtest::Reports mode;
  for (const int32_t silent : {int32_t{MOX_ErrModeSilent}, 3, -1, 0x10000, INT_MIN}) {
    moxSetErrMode(silent);
    for (const MoxErrorHandler handler : {moxStdErrReport, moxNulDevReport, moxGuiBoxReport}) {
      CaptureStderr();
      EXPECT_EQ(handler(-5, "f", "c", "m", 1), -5);
      EXPECT_EQ(GetCapturedStderr(), "");
    }
  }
  moxSetErrMode(MOX_ErrModeParent);
  CaptureStderr();
  EXPECT_EQ(moxNulDevReport(-5, "f", "c", "m", 1), -5);
  EXPECT_EQ(GetCapturedStderr(), "");
}

// A fresh thread: mode leaf; what it prints last is that it ends the process.
[[noreturn]] void reportAsLeaf(MoxErrorHandler handler) {
  onNewThread([handler] {
    moxRedirectError(handler);
    moxsbZero(nullptr, 0);
  });
  std::_Exit(99);
}

TEST(FrameDeathTest, LeafReportEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const std::string text =
      "\nELK Library Error: Bad argument \n\tin function [moxarith:1105]:moxsbZero(): n<=0\n"
      "ELK Library Error\nErrMode=MOX_ErrModeLeaf\nterminating the application";
  for (const MoxErrorHandler print : printers()) EXPECT_EXIT(reportAsLeaf(print), ExitedWithCode(1), Eq(text));
  EXPECT_EXIT(reportAsLeaf(moxNulDevReport), ExitedWithCode(1), Eq(""));
}

TEST(Frame, EveryFailedCheckReportsAndTheStatusSticks) {
  moxtest::Reports reports;
  float x[2] = {1, 2};
  moxsbSet(5, nullptr, -1);
  EXPECT_EQ(moxGetErrStatus(), MOX_StsBadArg);
  moxsbSet(5, x, 2);  // no failed check: no report, but no work either
  EXPECT_EQ(x[0], 1);
  EXPECT_EQ(reports.take(), (std::vector<std::string>{"moxsbSet: n<=0 (-5)", "moxsbSet: dst==0 (-5)"}));
  moxSetErrStatus(5);  // positive: no failure
  moxsbSet(5, x, 1);
  EXPECT_EQ(x[0], 5);
  EXPECT_EQ(x[1], 2);
}

// ---- memory

template <class T>
void checkBlocks(T*(MOX_CALL* allocate)(int32_t), int32_t elementSize) {
  SCOPED_TRACE(elementSize);
  std::vector<T*> blocks;
  for (int32_t n = 0; n < 70; ++n) {
    T* const p = allocate(n);
    blocks.push_back(p);
    ASSERT_NE(p, nullptr);
    const auto address = reinterpret_cast<uintptr_t>(p);
    const auto raw = reinterpret_cast<uintptr_t*>(p)[-1];
    EXPECT_EQ(address % 8, 0u);
    EXPECT_EQ(address, (raw + 11) / 8 * 8);
    const auto bytes = static_cast<size_t>(n) * static_cast<size_t>(elementSize);
#if defined(_WIN32)
    EXPECT_EQ(_msize(reinterpret_cast<void*>(raw)), bytes + 12);
#elif defined(__GLIBC__)
    EXPECT_GE(malloc_usable_size(reinterpret_cast<void*>(raw)), bytes + 12);
#endif
    std::memset(p, 0xee, bytes);
  }
  for (T* const p : blocks) moxFree(p);
}

TEST(Memory, BlocksAreAlignedAndKnowTheirRawAddress) {
  checkBlocks(moxMalloc, 1);
  checkBlocks(moxsMalloc, 4);
  checkBlocks(moxdMalloc, 8);
  checkBlocks(moxcMalloc, 8);
  checkBlocks(moxzMalloc, 16);
  checkBlocks(moxwMalloc, 2);
  checkBlocks(moxvMalloc, 4);
  checkBlocks(moxiMalloc, 4);
  checkBlocks(moxjMalloc, 8);
}

TEST(Memory, FailureIsSilent) {
  const moxtest::Reports reports;
  moxSetErrStatus(-7);
  EXPECT_EQ(moxMalloc(-1000), nullptr);
  EXPECT_EQ(moxzMalloc(-1000), nullptr);
  EXPECT_EQ(moxwMalloc(INT_MIN / 4), nullptr);
  if (sizeof(void*) == 4) {
    EXPECT_EQ(moxzMalloc(0x10000001), nullptr);  // 16 bytes modulo 2^32
    EXPECT_EQ(moxcMalloc(INT_MAX), nullptr);
  }
  moxFree(nullptr);
  moxFree(moxdMalloc(3));  // does its work, whatever the status
  EXPECT_EQ(moxGetErrStatus(), -7);
  EXPECT_TRUE(reports.all().empty());
}

TEST(Memory, SmallNegativeSizesGiveEmptyBlocks) {
  for (int32_t length = -20; length < 0; ++length) moxFree(moxMalloc(length));
}

TEST(Version, Text) { EXPECT_STREQ(moxGetLibVersion(), "moxa1.dll, v 3.1 [3.01.02, 04/11/96], build Apr 11 1996"); }

// ---- threads

TEST(Frame, ThreadsNeverMeet) {
  constexpr int kThreads = 16, kRounds = 2000;
  std::atomic<int> arrived{0}, wrong{0};
  const auto meet = [&](int total) {
    ++arrived;
    while (arrived < total) std::this_thread::yield();
  };
  std::vector<std::thread> threads;
  std::vector<void*> records(kThreads);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      meet(kThreads);  // first calls race
      if (moxGetErrStatus() != 0 || moxGetErrMode() != 0) ++wrong;
      records[static_cast<size_t>(t)] = moxUndContext();
      moxRedirectError(t % 2 ? answer77 : moxNulDevReport);
      moxSetErrMode(t + 3);
      for (int round = 0; round < kRounds; ++round) {
        const int32_t status = -100 - t - 16 * round;
        if (moxError(status, "f", "c", "m", 1) != (t % 2 ? 77 : status)) ++wrong;
        if (moxErrorStr(status) != "Unknown error code " + std::to_string(status)) ++wrong;
        if (moxGetErrStatus() != status || moxGetErrMode() != t + 3) ++wrong;
        void* const block = moxMalloc(round);
        std::memset(block, t, static_cast<size_t>(round));
        moxFree(block);
      }
      meet(2 * kThreads);  // all records live at once
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  std::sort(records.begin(), records.end());
  EXPECT_EQ(std::unique(records.begin(), records.end()), records.end());
}

#if defined(__GLIBC__)
TEST(Frame, RecordsEndWithTheirThreads) {
  const auto churn = [](int threads) {
    for (int i = 0; i < threads; ++i) onNewThread([] { moxSetErrStatus(-2); });
  };
  churn(10);
  const auto before = mallinfo2().uordblks;
  churn(500);
  const auto after = mallinfo2().uordblks;
  EXPECT_LT(after, before + 100 * 1024);  // 500 records are 1.1 MB
}

// A key's destructor may run after the library's own: the call finds a fresh record, and that one is freed, too.
TEST(Frame, CallsAfterTheRecordIsGone) {
  static std::atomic<int> late;
  late = 0;
  static pthread_key_t key;
  ASSERT_EQ(pthread_key_create(&key,
                               [](void* rounds) {
                                 late += moxGetErrStatus() == 0 && moxGetErrMode() == 0;
                                 const auto left = reinterpret_cast<uintptr_t>(rounds) - 1;
                                 if (left) pthread_setspecific(key, reinterpret_cast<void*>(left));
                               }),
            0);
  onNewThread([] {
    moxSetErrMode(MOX_ErrModeSilent);
    pthread_setspecific(key, reinterpret_cast<void*>(uintptr_t{2}));
  });
  pthread_key_delete(key);
  EXPECT_EQ(late, 2);
}
#endif

}  // namespace
