#include "tests/support/support.h"

#if defined(_WIN32)
#  include <windows.h>
#else
#  include <sys/mman.h>
#  include <unistd.h>
#endif
#include <stdexcept>

namespace moxtest {
namespace {

thread_local std::vector<Report> collected;
thread_local bool answerSet = false;
thread_local int32_t answerValue = 0;

int32_t MOX_CALL collect(int32_t status, const char* function, const char* condition, const char* file, int32_t line) {
  collected.push_back(
      {status, function ? function : "(null)", condition ? condition : "(null)", file ? file : "(null)", line});
  return answerSet ? answerValue : status;
}

#if defined(_WIN32)
size_t pageSize() {
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  return info.dwPageSize;
}
void* reserve(size_t bytes) { return VirtualAlloc(nullptr, bytes, MEM_RESERVE, PAGE_NOACCESS); }
bool allow(void* p, size_t bytes) { return VirtualAlloc(p, bytes, MEM_COMMIT, PAGE_READWRITE) != nullptr; }
bool onlyRead(void* p, size_t bytes) {
  DWORD before;
  return VirtualProtect(p, bytes, PAGE_READONLY, &before) != 0;
}
void giveBack(void* p, size_t) { VirtualFree(p, 0, MEM_RELEASE); }
#else
size_t pageSize() { return static_cast<size_t>(sysconf(_SC_PAGESIZE)); }
void* reserve(size_t bytes) {
  void* const p = mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return p == MAP_FAILED ? nullptr : p;
}
bool allow(void* p, size_t bytes) { return mprotect(p, bytes, PROT_READ | PROT_WRITE) == 0; }
bool onlyRead(void* p, size_t bytes) { return mprotect(p, bytes, PROT_READ) == 0; }
void giveBack(void* p, size_t bytes) { munmap(p, bytes); }
#endif

}  // namespace

std::ostream& operator<<(std::ostream& out, const Report& r) {
  return out << r.function << " [" << r.file << ":" << r.line << "]: " << r.condition << " (" << r.status << ")";
}

Reports::Reports() : before_(moxRedirectError(collect)), mode_(moxGetErrMode()) {
  collected.clear();
  answerSet = false;
  moxSetErrMode(MOX_ErrModeParent);
  moxSetErrStatus(MOX_StsOk);
}

Reports::~Reports() {
  moxRedirectError(before_);
  moxSetErrMode(mode_);
  moxSetErrStatus(MOX_StsOk);
}

std::vector<std::string> Reports::take() {
  std::vector<std::string> lines;
  for (const Report& r : collected) {
    lines.push_back(r.function + ": " + r.condition + " (" + std::to_string(r.status) + ")");
  }
  collected.clear();
  moxSetErrStatus(MOX_StsOk);
  return lines;
}

const std::vector<Report>& Reports::all() const { return collected; }

void Reports::answer(int32_t value) {
  answerSet = true;
  answerValue = value;
}

GuardedBytes::GuardedBytes(size_t bytes, Flush flush) {
  const size_t page = pageSize();
  const size_t inner = (bytes + page - 1) / page * page + (bytes == 0 ? page : 0);
  total_ = inner + 2 * page;
  base_ = reserve(total_);
  char* const first = static_cast<char*>(base_) + page;
  if (!base_ || !allow(first, inner)) throw std::runtime_error("no memory for a guarded buffer");
  std::memset(first, 0xa5, inner);
  data_ = flush == Flush::AtStart ? first : first + inner - bytes;
}

GuardedBytes::~GuardedBytes() { giveBack(base_, total_); }

void GuardedBytes::makeReadOnly() {
  const size_t page = pageSize();
  if (!onlyRead(static_cast<char*>(base_) + page, total_ - 2 * page)) throw std::runtime_error("cannot protect memory");
}

}  // namespace moxtest
