// The Windows module under the eyes of its loader, and its message boxes.
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/support.h"

namespace {

using testing::Eq;

std::string folder() {
  char path[MAX_PATH];
  GetModuleFileNameA(nullptr, path, MAX_PATH);
  const std::string program = path;
  return program.substr(0, program.rfind('\\') + 1);
}

// A copy of the module's file: another module, with a slot and records of its own.
class ModuleCopy {
 public:
  ModuleCopy() : path_(folder() + "moxa1_copy_" + std::to_string(GetCurrentProcessId()) + ".dll") {
    CopyFileA((folder() + "moxa1.dll").c_str(), path_.c_str(), FALSE);
  }
  ~ModuleCopy() {
    unload();
    DeleteFileA(path_.c_str());
  }
  ModuleCopy(const ModuleCopy&) = delete;
  ModuleCopy& operator=(const ModuleCopy&) = delete;

  bool load() { return (module_ = LoadLibraryA(path_.c_str())) != nullptr; }
  void unload() {
    if (module_) FreeLibrary(module_);
    module_ = nullptr;
  }
  template <class F>
  F* get(const char* name) const {
    return reinterpret_cast<F*>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
  }

 private:
  std::string path_;
  HMODULE module_ = nullptr;
};
#define GET(module, function) (module).get<decltype(function)>(#function)

// Set once, waited for by any number of threads. (std::atomic::wait was seen to miss a wake-up with MinGW GCC 12.)
class Event {
 public:
  ~Event() { CloseHandle(event_); }
  void set() { SetEvent(event_); }
  void wait() { WaitForSingleObject(event_, INFINITE); }

 private:
  HANDLE event_ = CreateEventA(nullptr, TRUE, FALSE, nullptr);
};

// ---- message boxes

struct Box {
  std::string caption, text;
  std::vector<int> buttons;
  bool topmost;
};

std::string textOf(HWND window) {
  char text[1024];
  GetWindowTextA(window, text, sizeof(text));
  return text;
}

BOOL CALLBACK addChild(HWND child, LPARAM box) {
  auto& b = *reinterpret_cast<Box*>(box);
  char kind[16];
  GetClassNameA(child, kind, sizeof(kind));
  if (lstrcmpiA(kind, "Static") == 0) b.text += textOf(child);
  if (lstrcmpiA(kind, "Button") == 0) b.buttons.push_back(GetDlgCtrlID(child));
  return TRUE;
}

BOOL CALLBACK takeBox(HWND window, LPARAM found) {
  char kind[16];
  GetClassNameA(window, kind, sizeof(kind));
  if (lstrcmpA(kind, "#32770") != 0 || !IsWindowVisible(window)) return TRUE;
  *reinterpret_cast<HWND*>(found) = window;
  return FALSE;
}

constexpr int kOnly = 0;  // the only button, whose id depends on the system

// Answers the message boxes of one thread, in order, as a user would: from outside.
class User {
 public:
  // With `echo` it writes every box to the standard error stream, all but the caption of the last, the system's own.
  explicit User(std::vector<int> answers, bool echo = false)
      : asking_(GetCurrentThreadId()), thread_([this, answers = std::move(answers), echo] {
          for (size_t i = 0; i < answers.size(); ++i) answer(answers[i], echo, i + 1 == answers.size());
        }) {}
  ~User() {
    if (thread_.joinable()) thread_.join();
  }
  User(const User&) = delete;
  User& operator=(const User&) = delete;

  const std::vector<Box>& boxes() {
    if (thread_.joinable()) thread_.join();
    return boxes_;
  }

 private:
  void answer(int button, bool echo, bool last) {
    HWND window = nullptr;
    for (int wait = 0; !window && wait < 2000; ++wait) {
      EnumThreadWindows(asking_, takeBox, reinterpret_cast<LPARAM>(&window));
      Sleep(5);
    }
    if (!window) return;
    Box box{textOf(window), "", {}, (GetWindowLongA(window, GWL_EXSTYLE) & WS_EX_TOPMOST) != 0};
    EnumChildWindows(window, addChild, reinterpret_cast<LPARAM>(&box));
    std::sort(box.buttons.begin(), box.buttons.end());
    if (echo) {
      std::fprintf(stderr, "%s|%s\n", last ? "" : box.caption.c_str(), box.text.c_str());
      std::fflush(stderr);
    }
    boxes_.push_back(box);
    PostMessageA(window, WM_COMMAND, static_cast<WPARAM>(button == kOnly ? box.buttons.front() : button), 0);
    while (IsWindow(window)) Sleep(1);
  }

  DWORD asking_;
  std::vector<Box> boxes_;
  std::thread thread_;
};

const std::string kLeaf = "\n\nErrMode=MOX_ErrorModeLeaf\n\nTerminate the application?";
const std::string kParent = "\n\nErrMode=MOX_ErrorModeParent\n\nContinue?";

struct Shown {
  int32_t status;
  const char *function, *condition, *file;
  int32_t line;
  std::string text;  // without the question
};

TEST(Box, AsksAndGoesOn) {
  const moxtest::Reports mode;
  const std::string x300(300, 'x');
  const Shown shown[] = {
      {-5, "moxF", "n<=0", "moxarith", 1105, "in function [moxarith:1105]:moxF():\n n<=0"},
      {-1, "moxF", "n<=0", "moxarith", 1105, "called from [moxarith:1105]:moxF():\n n<=0"},
      {-8, "moxF", "x, 3", "moxarith", 1105, "called from [moxarith:1105]:\n moxF(x, 3)"},
      {-4, nullptr, nullptr, nullptr, -7, "in function [:0]:<unknown>():\n "},
      {12, "%s%s", "%n", "%d", 1, "in function [%d:1]:%s%s():\n %n"},
      {-5, "moxF", x300.c_str(), "moxm", 1, "in function [moxm:1]:moxF():\n " + x300},
      {-5, x300.c_str(), "c", "moxm", 1, "in function [moxm:1]:" + x300},
  };
  for (const bool leaf : {true, false}) {
    for (const Shown& s : shown) {
      moxSetErrMode(leaf ? MOX_ErrModeLeaf : MOX_ErrModeParent);
      moxSetErrStatus(-7);  // the caption names this, not the status passed in
      User user({leaf ? IDNO : IDOK});
      EXPECT_EQ(moxGuiBoxReport(s.status, s.function, s.condition, s.file, s.line), s.status);
      ASSERT_EQ(user.boxes().size(), 1u);
      const Box& box = user.boxes()[0];
      EXPECT_EQ(box.text, (s.text + (leaf ? kLeaf : kParent)).substr(0, 199));
      EXPECT_EQ(box.caption, "ELK Library Error: Iteration convergence failed");
      EXPECT_EQ(box.buttons, (leaf ? std::vector<int>{IDYES, IDNO} : std::vector<int>{IDOK, IDCANCEL}));
      EXPECT_TRUE(box.topmost);
      EXPECT_EQ(moxGetErrStatus(), -7);
    }
  }
}

TEST(Box, IsWhatANewThreadStartsWith) {
  std::thread([] {
    User user({IDNO, IDNO});
    moxsbZero(nullptr, 0);
    EXPECT_EQ(moxGetErrStatus(), MOX_StsBadArg);
    ASSERT_EQ(user.boxes().size(), 2u);
    EXPECT_EQ(user.boxes()[0].text, "in function [moxarith:1105]:moxsbZero():\n n<=0" + kLeaf);
    EXPECT_EQ(user.boxes()[1].text, "in function [moxarith:1105]:moxsbZero():\n dst==0" + kLeaf);
    EXPECT_EQ(user.boxes()[1].caption, "ELK Library Error: Bad argument");
    moxSetErrMode(MOX_ErrModeSilent);
    moxcbZero(nullptr, 0);  // nobody is there to answer
  }).join();
}

[[noreturn]] void askToEnd(int32_t mode, int answer) {
  moxSetErrMode(mode);
  const User user({answer, kOnly}, true);
  moxGuiBoxReport(-2, "f", "c", "m", 1);
  std::_Exit(99);
}
// What FatalAppExit leaves as the exit code is the system's choice.
bool ended(int code) { return code != 99; }

TEST(BoxDeathTest, EndsTheProcess) {
  const std::string end = "|ELK Library:\nterminating the application\n";
  const std::string report = "ELK Library Error: No Error|in function [m:1]:f():\n c";
  EXPECT_EXIT(askToEnd(MOX_ErrModeLeaf, IDYES), ended, Eq(report + kLeaf + "\n" + end));
  EXPECT_EXIT(askToEnd(MOX_ErrModeParent, IDCANCEL), ended, Eq(report + kParent + "\n" + end));
}

// ---- the module and its loader

TEST(WindowsModule, GivesEveryNameOfItsList) {
  ModuleCopy copy;
  ASSERT_TRUE(copy.load());
  std::ifstream list(folder() + "moxa1.def");
  size_t names = 0;
  for (std::string name; list >> name;) {
    if (name.compare(0, 3, "mox") != 0 || name == "moxa1") continue;
    EXPECT_NE(copy.get<void>(name.c_str()), nullptr) << name;
    ++names;
  }
  EXPECT_GT(names, 0u);
}

// The blocks of the process heap that are as large as a record.
ptrdiff_t records() {
  ptrdiff_t count = 0;
  const HANDLE heap = GetProcessHeap();
  HeapLock(heap);
  PROCESS_HEAP_ENTRY entry = {};
  while (HeapWalk(heap, &entry)) count += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) && entry.cbData == 1400;
  HeapUnlock(heap);
  return count;
}

// The thread-local storage slots that are left, taken while the object lives.
class AllSlots {
 public:
  AllSlots() {
    for (DWORD slot = TlsAlloc(); slot != TLS_OUT_OF_INDEXES; slot = TlsAlloc()) slots_.push_back(slot);
  }
  ~AllSlots() { release(slots_.size()); }
  AllSlots(const AllSlots&) = delete;
  AllSlots& operator=(const AllSlots&) = delete;
  size_t count() const { return slots_.size(); }
  void release(size_t n) {
    for (; n > 0; --n) {
      TlsFree(slots_.back());
      slots_.pop_back();
    }
  }

 private:
  std::vector<DWORD> slots_;
};

TEST(WindowsModule, EveryThreadHasARecordWhileItLives) {
  ModuleCopy copy;
  const ptrdiff_t before = records();
  ASSERT_TRUE(copy.load());
  EXPECT_EQ(records(), before + 1);
  constexpr int kThreads = 20;
  std::atomic<int> wrong{0}, ready{0};
  Event go;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      if (GET(copy, moxGetErrStatus)() != 0 || GET(copy, moxGetErrMode)() != MOX_ErrModeLeaf) ++wrong;
      GET(copy, moxSetErrStatus)(-3);
      ++ready;
      go.wait();
    });
  }
  while (ready < kThreads) Sleep(1);
  EXPECT_EQ(records(), before + 1 + 2 * kThreads);  // this program's own module counts, too
  go.set();
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(records(), before + 1);
  EXPECT_EQ(GET(copy, moxGetErrStatus)(), 0);
  copy.unload();
  EXPECT_EQ(records(), before);
}

TEST(WindowsModule, ThousandLoadsLeaveNothing) {
  ModuleCopy copy;
  ASSERT_TRUE(copy.load());
  copy.unload();
  const ptrdiff_t recordsBefore = records();
  const size_t slotsBefore = AllSlots().count();
  DWORD handlesBefore = 0, handles = 0;
  GetProcessHandleCount(GetCurrentProcess(), &handlesBefore);
  for (int i = 0; i < 1000; ++i) {
    ASSERT_TRUE(copy.load()) << i;
    ASSERT_EQ(GET(copy, moxGetErrStatus)(), 0);
    GET(copy, moxSetErrStatus)(-3);
    copy.unload();
  }
  EXPECT_EQ(records(), recordsBefore);
  EXPECT_EQ(AllSlots().count(), slotsBefore);
  GetProcessHandleCount(GetCurrentProcess(), &handles);
  EXPECT_LT(handles, handlesBefore + 20);
}

TEST(WindowsModule, RefusesToLoadWithoutASlot) {
  ModuleCopy copy;
  const ptrdiff_t recordsBefore = records();
  const size_t slotsBefore = AllSlots().count();
  {
    AllSlots slots;
    EXPECT_FALSE(copy.load());
    EXPECT_EQ(GetLastError(), DWORD{ERROR_DLL_INIT_FAILED});
    slots.release(slotsBefore / 2);
    ASSERT_TRUE(copy.load());
    EXPECT_EQ(GET(copy, moxGetErrStatus)(), 0);
    copy.unload();
  }
  EXPECT_EQ(AllSlots().count(), slotsBefore);
  EXPECT_EQ(records(), recordsBefore);
}

TEST(WindowsModule, ThreadsMayOutliveIt) {
  ModuleCopy copy;
  ASSERT_TRUE(copy.load());
  Event called, unloaded;
  std::thread survivor([&] {
    GET(copy, moxSetErrMode)(MOX_ErrModeSilent);
    void* const record = GET(copy, moxUndContext)();
    called.set();
    unloaded.wait();
    EXPECT_EQ(LocalFree(record), nullptr);  // left alone, so it is still a block of its own
  });
  called.wait();
  copy.unload();
  unloaded.set();
  survivor.join();
}

[[noreturn]] void callFromAnEarlierThread() {
  ModuleCopy copy;
  Event started, loaded;
  std::thread early([&] {
    started.set();
    loaded.wait();
    const User user({kOnly, kOnly}, true);
    GET(copy, moxGetErrStatus)();
    std::_Exit(99);
  });
  started.wait();
  copy.load();
  loaded.set();
  early.join();
  std::_Exit(99);
}

TEST(WindowsModuleDeathTest, ThreadFromBeforeTheLoadEndsTheProcess) {
  EXPECT_EXIT(callFromAnEarlierThread(), ended,
              Eq("NULL|pMoxContext\n|ELK Library error:\nBad ELK Context\nTerminating the application\n"));
}

}  // namespace
