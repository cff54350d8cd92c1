// The argument checks of every exported function.
//
//   if (rejected(site, BAD_IF(n<=0), BAD_IF(dst==0))) return;
//
// tests all conditions, reports those that hold, in order, with their text as written, and says whether the function
// must return: when a condition held or the thread's status is negative. Where nothing is wrong it costs the
// comparisons, one read of the status and one branch.
#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "frame/context.h"

namespace mox {

// Where a report comes from: source module, exported function, line.
struct Site {
  const char* module;
  const char* function;
  int32_t line;
};

template <size_t N>
struct ModuleName {
  char text[N];
  consteval ModuleName(const char (&name)[N]) { std::copy_n(name, N, text); }
};

// Names the exported function in which it stands as a default argument: void f(..., Site site = Here<"moxarith">()).
template <ModuleName Module>
struct Here : Site {
  constexpr Here(const char* caller = __builtin_FUNCTION(), int callerLine = __builtin_LINE())
      : Site{Module.text, caller, callerLine} {}
};

// Reports one failure; the result is the handler's.
[[gnu::cold]] int32_t report(Site site, int32_t status, const char* condition);

// Reports the conditions whose bit is set in `failed`, lowest first, as bad arguments.
// (The site comes in parts: as a structure it would be put together on every call, failed or not.)
[[gnu::cold]] void reportConditions(const char* module, const char* function, int32_t line,
                                    const char* const* conditions, uint32_t failed);

template <class Text>
struct Check {
  bool failed;
};
template <class Text>
constexpr Check<Text> check(bool failed, Text) {
  return {failed};
}
#define BAD_IF(condition) ::mox::check((condition), [] { return #condition; })

template <class... Texts>
[[nodiscard]] inline bool rejected(Site site, Check<Texts>... checks) {
  const bool anyFailed = (... || __builtin_expect(checks.failed, false));
  if (!anyFailed && status() >= 0) [[likely]]
    return false;
  if (anyFailed) {
    static constexpr const char* conditions[] = {Texts{}()...};
    uint32_t failed = 0, bit = 1;
    ((failed |= checks.failed ? bit : 0, bit <<= 1), ...);
    reportConditions(site.module, site.function, site.line, conditions, failed);
  }
  return true;
}

// Where the first condition that holds is reported alone, under a text that is not the condition itself:
//
//   if (refused(site, Fault{!dst, "Null pointer to buffer"}, Fault{n < 1, "Bad number of items"})) return;
struct Fault {
  bool holds;
  const char* text;
};
template <class... Faults>
[[nodiscard]] inline bool refused(const Site& site, Faults... faults) {
  const char* text = nullptr;
  const bool faulty = ((faults.holds && (text = faults.text, true)) || ...);
  if (!faulty && status() >= 0) [[likely]]
    return false;
  if (faulty) report(site, MOX_StsBadArg, text);
  return true;
}

}  // namespace mox
