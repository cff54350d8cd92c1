// The argument checks of the filters with finite impulse response: the first condition that holds is reported, alone.
#pragma once
#include "frame/check.h"

namespace mox {

struct Fault {
  bool holds;
  const char* text;
};

// Whether the function must return: after a report, or because the thread's status is negative.
template <class... Faults>
[[nodiscard]] inline bool refused(const Site& site, Faults... faults) {
  const char* text = nullptr;
  const bool faulty = ((faults.holds && (text = faults.text, true)) || ...);
  if (!faulty && context().status >= 0) [[likely]]
    return false;
  if (faulty) report(site, MOX_StsBadArg, text);
  return true;
}

inline Fault nullBuffer(bool holds) { return {holds, "Null buffer pointer"}; }

}  // namespace mox
