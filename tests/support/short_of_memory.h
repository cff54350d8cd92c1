// A process that runs out of memory.
#pragma once
#if !defined(_WIN32)
#  include <sys/resource.h>

#  include <cstdio>
#endif

namespace moxtest {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#  if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kSanitized = true;
#  else
constexpr bool kSanitized = false;
#  endif
#else
constexpr bool kSanitized = false;
#endif

#if !defined(_WIN32)
// Keeps the process from growing by more than 256 MiB.
class ShortOfMemory {
 public:
  ShortOfMemory() {
    getrlimit(RLIMIT_AS, &before_);
    long pages = 0;
    if (FILE* const f = std::fopen("/proc/self/statm", "r")) {
      if (std::fscanf(f, "%ld", &pages) != 1) pages = 0;
      std::fclose(f);
    }
    rlimit limit = before_;
    limit.rlim_cur = static_cast<rlim_t>(pages) * 4096 + (rlim_t{256} << 20);
    setrlimit(RLIMIT_AS, &limit);
  }
  ~ShortOfMemory() { setrlimit(RLIMIT_AS, &before_); }
  ShortOfMemory(const ShortOfMemory&) = delete;
  ShortOfMemory& operator=(const ShortOfMemory&) = delete;

 private:
  rlimit before_;
};
#else
struct ShortOfMemory {
  ShortOfMemory() {}  // no 32-bit process has room for what the tests ask for
};
#endif

}  // namespace moxtest
