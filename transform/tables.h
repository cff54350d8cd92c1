// The extended tables of the transforms, cached per thread and order.
//
// N = 2^order. One zero-filled block holds 3N/2 + 4 complex values and, from the next multiple of 64 bytes on, the
// private table of the kernel set that was active when the block was made:
//
//   [0, N/2)    order < 11: the pairs e^(-2 pi i j / N), e^(-2 pi i 3j / N), j = 1 ... N/4
//               else: e^(-2 pi i k / N), k = 0 ... N/2 - 1
//   [N/2, N)    (cos(m phi), 1 - sin(m phi)) / 2, phi = pi / N, m = 1 ... N/2
//   [N, 3N/2)   e^(-i k phi), k = 0 ... N/2 - 1
#pragma once
#include "frame/context.h"

namespace mox {

// The table of one order, built on first use. Null when the status is negative, then or before: after "order<0",
// "order>31" or, where memory is short, "NULL Pointer" under these names.
MoxC* moxcUndGetFftTwdTbl_great(int32_t order);
MoxZ* moxzUndGetFftTwdTbl_great(int32_t order);

// The same for orders 0 to 31 and whatever the status is, without a report: null where memory is short.
template <class C>
C* extendedTable(int32_t order);

constexpr uint64_t extendedEntries(int32_t order) { return (uint64_t{3} << order) / 2 + 4; }

// Where the kernels' part of a block starts.
template <class C>
auto* kernelTable(C* extended, int32_t order) {
  const uintptr_t end = reinterpret_cast<uintptr_t>(extended + static_cast<size_t>(extendedEntries(order)));
  return reinterpret_cast<decltype(extended->re)*>((end + 63) & ~uintptr_t{63});
}

}  // namespace mox
