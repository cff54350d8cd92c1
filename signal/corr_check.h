// The checks of correlations of every type: the first that holds is reported alone.
#pragma once
#include "frame/check.h"

namespace mox {

inline bool refusedAutoCorr(const Site& site, const void* src, int32_t len, const void* dst, int32_t nLags) {
  return refused(site, Fault{!src, "Null SRC buffer pointer"}, Fault{!dst, "Null DST buffer pointer"},
                 Fault{len < 1, "Invalid SRC buffer length"}, Fault{nLags < 1 || nLags > len, "Invalid LAG value"});
}
inline bool refusedCrossCorr(const Site& site, const void* srcA, int32_t lenA, const void* srcB, int32_t lenB,
                             const void* dst, int32_t loLag, int32_t hiLag) {
  return refused(site, Fault{!srcA || !srcB, "Null SRC buffer pointer"}, Fault{!dst, "Null DST buffer pointer"},
                 Fault{lenA < 1 || lenB < 1, "Invalid SRC buffer length"}, Fault{loLag > hiLag, "Invalid LAG value"});
}

}  // namespace mox
