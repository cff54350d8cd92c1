// Numbers that do not depend on the caller's floating-point state.
#pragma once
#if defined(__SSE__)
#  include <xmmintrin.h>
#else
#  include <cfenv>
#endif

namespace mox {

// Rounding to nearest, subnormals kept, no traps: while the object lives. The caller's state and its exception flags
// come back at the end. Arithmetic that relies on it belongs in a function that is not inlined: the compiler moves
// additions past a change of state.
#if defined(__SSE__)
class DefaultFloatState {
 public:
  DefaultFloatState() : saved_(_mm_getcsr()) { _mm_setcsr(0x1f80); }
  ~DefaultFloatState() { _mm_setcsr(saved_); }
  DefaultFloatState(const DefaultFloatState&) = delete;
  DefaultFloatState& operator=(const DefaultFloatState&) = delete;

 private:
  unsigned saved_;
};
#else
class DefaultFloatState {
 public:
  DefaultFloatState() {
    std::fegetenv(&saved_);
    std::fesetenv(FE_DFL_ENV);
  }
  ~DefaultFloatState() { std::fesetenv(&saved_); }
  DefaultFloatState(const DefaultFloatState&) = delete;
  DefaultFloatState& operator=(const DefaultFloatState&) = delete;

 private:
  std::fenv_t saved_;
};
#endif

}  // namespace mox
