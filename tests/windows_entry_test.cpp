// The module's entry point, called as the loader would call it. The process is attached once, by the program itself.
#include <windows.h>

#include <thread>
#include <vector>

#include "tests/support/support.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID reserved);

namespace {

BOOL enter(DWORD reason) { return DllMain(nullptr, reason, nullptr); }

// All thread-local storage slots that are left.
class AllSlots {
 public:
  AllSlots() {
    for (DWORD slot = TlsAlloc(); slot != TLS_OUT_OF_INDEXES; slot = TlsAlloc()) slots_.push_back(slot);
  }
  ~AllSlots() {
    for (const DWORD slot : slots_) TlsFree(slot);
  }
  AllSlots(const AllSlots&) = delete;
  AllSlots& operator=(const AllSlots&) = delete;
  size_t count() const { return slots_.size(); }

 private:
  std::vector<DWORD> slots_;
};

// The tests leave the thread attached, with a fresh record: the handler and the mode of the program's start again.
class Entry : public testing::Test {
 protected:
  ~Entry() override {
    moxSetErrMode(MOX_ErrModeParent);
    moxRedirectError(moxStdErrReport);
  }
};

TEST_F(Entry, DetachGivesTheSlotBackAndAttachStartsFresh) {
  moxSetErrStatus(-5);
  const size_t before = AllSlots().count();
  EXPECT_TRUE(enter(DLL_PROCESS_DETACH));
  EXPECT_EQ(AllSlots().count(), before + 1);
  EXPECT_TRUE(enter(DLL_PROCESS_ATTACH));
  EXPECT_EQ(AllSlots().count(), before);
  EXPECT_EQ(moxGetErrStatus(), 0);
  EXPECT_EQ(moxGetErrMode(), MOX_ErrModeLeaf);
}

TEST_F(Entry, SecondAttachReusesTheSlot) {
  const size_t before = AllSlots().count();
  moxSetErrStatus(-5);
  void* const first = moxUndContext();
  EXPECT_TRUE(enter(DLL_PROCESS_ATTACH));
  EXPECT_NE(moxUndContext(), first);
  EXPECT_EQ(moxGetErrStatus(), 0);
  EXPECT_TRUE(enter(DLL_PROCESS_DETACH));
  EXPECT_EQ(AllSlots().count(), before);  // the first attach still holds it
  EXPECT_TRUE(enter(DLL_THREAD_ATTACH));
  EXPECT_EQ(moxGetErrStatus(), 0);
  LocalFree(first);
}

TEST_F(Entry, RefusedAttachChangesNothing) {
  ASSERT_TRUE(enter(DLL_PROCESS_DETACH));
  {
    const AllSlots none;
    ASSERT_GT(none.count(), 0u);
    EXPECT_FALSE(enter(DLL_PROCESS_ATTACH));
    EXPECT_TRUE(enter(DLL_PROCESS_DETACH));  // the loader's answer to the refusal
    EXPECT_FALSE(enter(DLL_PROCESS_ATTACH));
  }
  const size_t before = AllSlots().count();
  EXPECT_TRUE(enter(DLL_PROCESS_ATTACH));
  EXPECT_EQ(AllSlots().count(), before - 1);
  EXPECT_TRUE(enter(DLL_PROCESS_DETACH));  // the count was 1: the slot is free again
  EXPECT_EQ(AllSlots().count(), before);
  ASSERT_TRUE(enter(DLL_PROCESS_ATTACH));
}

TEST_F(Entry, ThreadDetachTwiceIsHarmless) {
  std::thread([] {
    EXPECT_TRUE(enter(DLL_THREAD_DETACH));
    EXPECT_TRUE(enter(DLL_THREAD_DETACH));
  }).join();  // the callback of the thread's end is the third
  EXPECT_TRUE(enter(DLL_THREAD_DETACH));
  EXPECT_TRUE(enter(DLL_THREAD_ATTACH));
}

TEST_F(Entry, OtherReasonsDoNothing) {
  moxSetErrStatus(-5);
  void* const record = moxUndContext();
  for (const DWORD reason : {4u, 5u, 0x80000000u, 0xffffffffu}) EXPECT_TRUE(enter(reason));
  EXPECT_EQ(moxUndContext(), record);
  EXPECT_EQ(moxGetErrStatus(), -5);
  moxSetErrStatus(0);
}

}  // namespace
