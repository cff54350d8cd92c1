// The record that carries all mutable state of one thread.
#pragma once
#include <cstddef>
#include <cstdint>

#include "moxa1.h"

namespace mox {

// One element type's cache of plain twiddle tables is a count, 32 lengths and 32 tables, spread over the record.
constexpr int kCacheSlots = 32;
constexpr int kOrders = 32;

struct Context {
  uint32_t format;
  int32_t status;
  int32_t mode;
  MoxErrorHandler handler;
  int32_t fifth;

  int32_t countC, countZ, countV;  // used slots, 0..32
  int32_t lengthsC[kCacheSlots], lengthsZ[kCacheSlots], lengthsV[kCacheSlots];
  MoxC* tablesC[kCacheSlots];
  MoxZ* tablesZ[kCacheSlots];
  MoxV* tablesV[kCacheSlots];
  MoxC* fftC[kOrders];  // extended tables by order, or null
  MoxZ* fftZ[kOrders];
  MoxV* fftV[kOrders];       // stay null
  int32_t* bitRev[kOrders];  // bit-reversal tables by order, or null
  char message[88];          // moxErrorStr's text of an unknown code
};

#if UINTPTR_MAX == UINT32_MAX
static_assert(sizeof(Context) == 1400);
static_assert(offsetof(Context, status) == 4 && offsetof(Context, mode) == 8 && offsetof(Context, handler) == 12);
static_assert(offsetof(Context, fifth) == 16 && offsetof(Context, countC) == 20 && offsetof(Context, lengthsC) == 32);
static_assert(offsetof(Context, tablesC) == 416 && offsetof(Context, fftC) == 800);
static_assert(offsetof(Context, bitRev) == 4 * 296 && offsetof(Context, message) == 1312);
#endif

// The calling thread's record; never null. On Windows a thread without one (it ran before the module was loaded) ends
// the process. Elsewhere a thread has the record that all start as until it asks for its own; status() and
// clearStatus() do not ask, and so hold no call.
#if defined(_WIN32)
Context& context();
inline int32_t status() { return context().status; }
inline void clearStatus() { context().status = MOX_StsOk; }
#else
extern const Context initialContext;
extern constinit thread_local const Context* currentContext;
Context& makeContext();
inline Context& context() {
  const Context* const c = currentContext;
  if (c != &initialContext) [[likely]]
    return const_cast<Context&>(*c);
  return makeContext();
}
inline int32_t status() { return currentContext->status; }
// The record that all start as holds no other status.
inline void clearStatus() {
  if (currentContext->status != MOX_StsOk) [[unlikely]]
    const_cast<Context*>(currentContext)->status = MOX_StsOk;
}
#endif

}  // namespace mox
