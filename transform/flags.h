// The flag word of the transforms.
#pragma once
#include "frame/check.h"

namespace mox {

// What a transform looks at besides the direction.
struct FlagRules {
  bool bitOrder = false, inPacking = false, outPacking = false;
};

// Reports every fault of the flag word as a bad argument of `site`. @return their number.
int32_t flagFaults(Site site, int32_t flags, FlagRules rules);

// Whether flagFaults would find none.
bool flagsFit(int32_t flags, FlagRules rules);

}  // namespace mox
