// What the argument checks of the filters with finite impulse response have in common.
#pragma once
#include "frame/check.h"

namespace mox {

inline Fault nullBuffer(bool holds) { return {holds, "Null buffer pointer"}; }

}  // namespace mox
