#include <bit>
#include <cstdio>
#include <cstdlib>

#include "frame/check.h"
#include "frame/context.h"
#if defined(_WIN32)
#  include "frame/fatal.h"
#endif

namespace mox {
namespace {

constexpr const char* kTexts[] = {
    "No Error",      "Backtrace",    "Unknown error",        "Internal error (bad state)",
    "Out of memory", "Bad argument", "Unsupported function", "Iteration convergence failed",
    "Autotrace call"};

constexpr bool isTrace(int32_t status) { return status == MOX_StsBackTrace || status == MOX_StsAutoTrace; }

// Keeps the pieces of one report together when several threads report.
class StderrLock {
 public:
#if defined(_WIN32)
  StderrLock() { _lock_file(stderr); }
  ~StderrLock() { _unlock_file(stderr); }
#else
  StderrLock() { flockfile(stderr); }
  ~StderrLock() { funlockfile(stderr); }
#endif
  StderrLock(const StderrLock&) = delete;
  StderrLock& operator=(const StderrLock&) = delete;
};

void print(int32_t status, const char* function, const char* condition, const char* file, int32_t line) {
  const StderrLock lock;
  if (isTrace(status)) {
    std::fputs("\tcalled from", stderr);
  } else {
    std::fprintf(stderr, "\nELK Library Error: %s \n\tin function", moxErrorStr(status));
  }
  if (line > 0 || file) std::fprintf(stderr, " [%s:%d]", file ? file : "(null)", line);
  std::fprintf(stderr, ":%s", function ? function : "<unknown>");
  if (condition) std::fprintf(stderr, status == MOX_StsAutoTrace ? "(%s)" : "(): %s", condition);
  std::fputs("\n", stderr);
  std::fflush(stderr);
}

int32_t printAndReturn(int32_t status, const char* function, const char* condition, const char* file, int32_t line) {
  const int32_t mode = moxGetErrMode();
  if (mode != MOX_ErrModeLeaf && mode != MOX_ErrModeParent) return status;
  print(status, function, condition, file, line);
  if (mode == MOX_ErrModeLeaf) {
    std::fputs("ELK Library Error\nErrMode=MOX_ErrModeLeaf\nterminating the application", stderr);
    std::fflush(stderr);
    std::exit(1);
  }
  return status;
}

#if defined(_WIN32)
int32_t askAndReturn(int32_t status, const char* function, const char* condition, const char* file, int32_t line) {
  const int32_t mode = moxGetErrMode();
  if (mode != MOX_ErrModeLeaf && mode != MOX_ErrModeParent) return status;
  const bool leaf = mode == MOX_ErrModeLeaf;
  if (!function) function = "<unknown>";
  if (!condition) condition = "";
  if (!file) file = "";
  if (line < 0) line = 0;
  const char* const question = leaf ? "\n\nErrMode=MOX_ErrorModeLeaf\n\nTerminate the application?"
                                    : "\n\nErrMode=MOX_ErrorModeParent\n\nContinue?";
  char body[200], caption[100];
  if (status == MOX_StsAutoTrace) {
    std::snprintf(body, sizeof(body), "called from [%s:%d]:\n %s(%s)%s", file, line, function, condition, question);
  } else {
    std::snprintf(body, sizeof(body), "%s [%s:%d]:%s():\n %s%s",
                  status == MOX_StsBackTrace ? "called from" : "in function", file, line, function, condition,
                  question);
  }
  // The caption names the thread's status: above a trace stands the failure that it belongs to.
  std::snprintf(caption, sizeof(caption), "ELK Library Error: %s", moxErrorStr(moxGetErrStatus()));
  const int answer = MessageBoxA(nullptr, body, caption, MB_SYSTEMMODAL | (leaf ? MB_YESNO : MB_OKCANCEL));
  if (answer == (leaf ? IDYES : IDCANCEL)) {
    fatalExit("ELK Library:\nterminating the application", "Win32S: Application exit", MB_SYSTEMMODAL);
  }
  return status;
}
#endif

}  // namespace

int32_t report(Site site, int32_t status, const char* condition) {
  return moxError(status, site.function, condition, site.module, site.line);
}

void reportConditions(const char* module, const char* function, int32_t line, const char* const* conditions,
                      uint32_t failed) {
  for (; failed != 0; failed &= failed - 1) {
    moxError(MOX_StsBadArg, function, conditions[std::countr_zero(failed)], module, line);
  }
}

}  // namespace mox

extern "C" {

int32_t moxGetErrStatus() { return mox::context().status; }

void moxSetErrStatus(int32_t status) { mox::context().status = status; }

int32_t moxGetErrMode() { return mox::context().mode; }

void moxSetErrMode(int32_t mode) { mox::context().mode = mode; }

MoxErrorHandler moxRedirectError(MoxErrorHandler handler) {
  MoxErrorHandler& installed = mox::context().handler;
  const MoxErrorHandler before = installed;
  installed = handler ? handler : moxGuiBoxReport;
  return before;
}

int32_t moxError(int32_t status, const char* funcName, const char* context, const char* file, int32_t line) {
  if (!mox::isTrace(status)) moxSetErrStatus(status);
  if (status == MOX_StsOk) return MOX_StsOk;
  return mox::context().handler(status, funcName, context, file, line);
}

const char* moxErrorStr(int32_t status) {
  if (status <= MOX_StsOk && status >= MOX_StsAutoTrace) return mox::kTexts[-status];
  char(&text)[88] = mox::context().message;
  std::snprintf(text, sizeof(text), "Unknown %s code %d", status < 0 ? "error" : "status", status);
  return text;
}

int32_t moxStdErrReport(int32_t status, const char* funcName, const char* context, const char* file, int32_t line) {
  return mox::printAndReturn(status, funcName, context, file, line);
}

int32_t moxNulDevReport(int32_t status, const char*, const char*, const char*, int32_t) {
  if (moxGetErrMode() == MOX_ErrModeLeaf) std::exit(1);
  return status;
}

int32_t moxGuiBoxReport(int32_t status, const char* funcName, const char* context, const char* file, int32_t line) {
#if defined(_WIN32)
  return mox::askAndReturn(status, funcName, context, file, line);
#else
  return mox::printAndReturn(status, funcName, context, file, line);
#endif
}

}  // extern "C"
