// Not-in-place forms that stand for a copy and a call in place. Whatever the inner call has to report it reports under
// its own name, and a trace under the outer name follows. It is made for these reports alone, when it is known to
// fail, so that nothing is written before.
#pragma once
#include "frame/check.h"

namespace mox {

template <class... Args>
struct InnerCall {
  void(MOX_CALL* call)(Args...);
  const char* trace;

  void operator()(Site outer, Args... args) const {
    call(args...);
    if (context().status < 0) report(outer, MOX_StsBackTrace, trace);
  }
};
template <class T>
using InnerOnOne = InnerCall<T*, int32_t, int32_t>;
template <class T>
using InnerOnTwo = InnerCall<T*, T*, int32_t, int32_t>;

template <class T>
struct Inner;
template <>
struct Inner<float> {
  static constexpr InnerOnOne<float> packedToSignal = {moxsCcsFftl, "out moxsCcsFftl"};
  static constexpr InnerOnTwo<float> twoToSpectra = {moxsReal2Fft, "out moxsReal2Fft"};
  static constexpr InnerOnTwo<float> parts = {moxcrFft, "out moxcrFft"};
};
template <>
struct Inner<double> {
  static constexpr InnerOnOne<double> packedToSignal = {moxdCcsFftl, "out moxdCcsFftl"};
  static constexpr InnerOnTwo<double> twoToSpectra = {moxdReal2Fft, "out moxdReal2Fft"};
  static constexpr InnerOnTwo<double> parts = {moxzrFft, "out moxzrFft"};
};

}  // namespace mox
