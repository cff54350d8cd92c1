#include "transform/flags.h"

#include <algorithm>
#include <array>

namespace mox {
namespace {

// Two flags of which exactly one must be set.
struct Pair {
  int32_t first, second;
  const char *both, *neither;
};
constexpr Pair kDirection = {MOX_Forw, MOX_Inv, "MOX_Forw and MOX_Inv", "no MOX_Forw or MOX_Inv"};
constexpr Pair kInPacking = {MOX_InRCPack, MOX_InRCPerm, "MOX_InRCPack and MOX_InRCPerm",
                             "no MOX_InRCPack or MOX_InRCPerm"};
constexpr Pair kOutPacking = {MOX_OutRCPack, MOX_OutRCPerm, "MOX_OutRCPack and MOX_OutRCPerm",
                              "no MOX_OutRCPack or MOX_OutRCPerm"};

const char* fault(int32_t flags, const Pair& pair) {
  const bool first = flags & pair.first, second = flags & pair.second;
  if (first != second) return nullptr;
  return first ? pair.both : pair.neither;
}

const char* bitOrderFault(int32_t flags) {
  const bool in = flags & MOX_InBitRev, out = flags & MOX_OutBitRev, none = flags & MOX_NoBitRev;
  if (in && out) return "MOX_InBitRev and MOX_OutBitRev";
  if (in && none) return "MOX_InBitRev and MOX_NoBitRev";
  if (out && none) return "MOX_OutBitRev and MOX_NoBitRev";
  return nullptr;
}

// The texts of the faults in the order of their reports; null where there is none.
std::array<const char*, 4> faultTexts(int32_t flags, FlagRules rules) {
  return {fault(flags, kDirection), rules.bitOrder ? bitOrderFault(flags) : nullptr,
          rules.inPacking ? fault(flags, kInPacking) : nullptr, rules.outPacking ? fault(flags, kOutPacking) : nullptr};
}

}  // namespace

int32_t flagFaults(Site site, int32_t flags, FlagRules rules) {
  int32_t count = 0;
  for (const char* const text : faultTexts(flags, rules)) {
    if (!text) continue;
    report(site, MOX_StsBadArg, text);
    ++count;
  }
  return count;
}

bool flagsFit(int32_t flags, FlagRules rules) {
  return std::ranges::all_of(faultTexts(flags, rules), [](const char* text) { return !text; });
}

}  // namespace mox
