#include "frame/context.h"

#include <cstdio>
#include <cstdlib>

#if defined(_WIN32)
#  include "frame/fatal.h"
#else
#  include <pthread.h>
#endif

namespace mox {

// What every record starts as.
constinit const Context initialContext = {.format = 0x00020300,
                                          .status = MOX_StsOk,
                                          .mode = MOX_ErrModeLeaf,
                                          .handler = moxGuiBoxReport,
                                          .fifth = 32,
                                          .countC = 0,
                                          .countZ = 0,
                                          .countV = 0,
                                          .lengthsC = {},
                                          .lengthsZ = {},
                                          .lengthsV = {},
                                          .tablesC = {},
                                          .tablesZ = {},
                                          .tablesV = {},
                                          .fftC = {},
                                          .fftZ = {},
                                          .fftV = {},
                                          .bitRev = {},
                                          .message = {}};

#if defined(_WIN32)

// The entry point alone changes these two; the loader runs it under its lock.
static int32_t attachCount = 0;
static DWORD slot = 0;

static BOOL attachThread() {
  auto* const record = static_cast<Context*>(LocalAlloc(LPTR, sizeof(Context)));
  if (!record) return FALSE;
  TlsSetValue(slot, record);
  *record = initialContext;
  return TRUE;
}

// Releases the record alone: the tables stay. A call that comes later finds no record instead of a freed one.
static void detachThread() {
  if (void* const record = TlsGetValue(slot)) {
    LocalFree(record);
    TlsSetValue(slot, nullptr);
  }
}

static BOOL attachProcess() {
  if (attachCount == 0) {
    const DWORD fresh = TlsAlloc();
    if (fresh == TLS_OUT_OF_INDEXES) return FALSE;
    slot = fresh;
  }
  ++attachCount;
  return attachThread();
}

static void detachProcess() {
  // After a refused attach the loader detaches, too: there is no slot, and its number may be somebody else's.
  if (attachCount == 0) return;
  --attachCount;
  detachThread();
  if (attachCount == 0) TlsFree(slot);
}

Context& context() {
  if (void* const record = TlsGetValue(slot)) [[likely]]
    return *static_cast<Context*>(record);
  MessageBoxA(nullptr, "pMoxContext", "NULL", MB_OK);
  fatalExit("ELK Library error:\nBad ELK Context\nTerminating the application", "Win32S: Fatal Application Exit",
            MB_OK);
}

#else

constinit thread_local const Context* currentContext = &initialContext;

// Its destructor frees the record when a thread ends. Destructors of other keys may call the library afterwards: the
// call makes a new record, and the system comes round again.
static pthread_key_t key;
static bool keyMade = false;

static void freeContext(void* record) {
  currentContext = &initialContext;
  std::free(record);
}

[[gnu::constructor(101)]] static void makeKey() { keyMade = pthread_key_create(&key, freeContext) == 0; }

// At dlclose, and after all other destructors at exit: no thread may call freeContext once it is unmapped.
[[gnu::destructor(101)]] static void deleteKey() {
  if (keyMade) pthread_key_delete(key);
  keyMade = false;
  if (currentContext != &initialContext) freeContext(const_cast<Context*>(currentContext));
}

Context& makeContext() {
  auto* const record = static_cast<Context*>(std::malloc(sizeof(Context)));
  if (!record) {
    std::fputs("ELK Library error:\nBad ELK Context\nTerminating the application\n", stderr);
    std::exit(1);
  }
  *record = initialContext;
  currentContext = record;
  if (keyMade) pthread_setspecific(key, record);
  return *record;
}

#endif

}  // namespace mox

extern "C" {

void* moxUndContext() { return &mox::context(); }

#if defined(_WIN32)
BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
  switch (reason) {
    case DLL_PROCESS_ATTACH:
      return mox::attachProcess();
    case DLL_THREAD_ATTACH:
      return mox::attachThread();
    case DLL_THREAD_DETACH:
      mox::detachThread();
      return TRUE;
    case DLL_PROCESS_DETACH:
      mox::detachProcess();
      return TRUE;
    default:
      return TRUE;
  }
}
#endif

}  // extern "C"
