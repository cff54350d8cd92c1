#include "tests/support/allocations.h"

#include <atomic>
#include <cstddef>
#include <new>
#if defined(_WIN32)
#  include <windows.h>
#else
#  include <pthread.h>
#endif

namespace moxtest {
namespace {

// No thread-local variable: MinGW's take their memory from malloc.
#if defined(_WIN32)
DWORD self() { return GetCurrentThreadId(); }
#else
pthread_t self() { return pthread_self(); }
#endif

constinit std::atomic<Allocations*> watch = nullptr;
decltype(self()) watcher;

Allocations* watching() {
  Allocations* const w = watch.load();
  return w && watcher == self() ? w : nullptr;
}

}  // namespace

Allocations::Allocations(int64_t fail, int64_t more) : fail_(fail), more_(more) {
  watcher = self();
  watch = this;
}
Allocations::~Allocations() { watch = nullptr; }

bool Allocations::next(size_t bytes) {
  const int64_t number = asked_++;
  bytes_ += bytes;
  return number < fail_ || number - fail_ > more_;
}

}  // namespace moxtest

using moxtest::watching;

// The linker sends every call of malloc and its like here (--wrap).
extern "C" {

void* __real_malloc(size_t bytes);
void* __real_calloc(size_t n, size_t bytes);
void* __real_realloc(void* block, size_t bytes);
void __real_free(void* block);
void* __wrap_malloc(size_t bytes);
void* __wrap_calloc(size_t n, size_t bytes);
void* __wrap_realloc(void* block, size_t bytes);
void __wrap_free(void* block);

void* __wrap_malloc(size_t bytes) {
  auto* const w = watching();
  if (!w) return __real_malloc(bytes);
  void* const block = w->next(bytes) ? __real_malloc(bytes) : nullptr;
  w->took(block != nullptr);
  return block;
}
void* __wrap_calloc(size_t n, size_t bytes) {
  auto* const w = watching();
  if (!w) return __real_calloc(n, bytes);
  void* const block = w->next(n * bytes) ? __real_calloc(n, bytes) : nullptr;
  w->took(block != nullptr);
  return block;
}
void* __wrap_realloc(void* block, size_t bytes) {
  auto* const w = watching();
  if (!w) return __real_realloc(block, bytes);
  void* const moved = w->next(bytes) ? __real_realloc(block, bytes) : nullptr;
  w->took(moved && !block);
  return moved;
}
void __wrap_free(void* block) {
  auto* const w = watching();
  if (w && block) w->gave();
  __real_free(block);
}

}  // extern "C"

// Where the standard C++ library is linked statically its calls come here, too; what it takes for the strings of tests
// goes past the watch.
void* operator new(size_t bytes) {
  if (void* const block = __real_malloc(bytes ? bytes : 1)) return block;
  throw std::bad_alloc();
}
void operator delete(void* block) noexcept { __real_free(block); }
void operator delete(void* block, size_t) noexcept { __real_free(block); }
