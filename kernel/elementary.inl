// Elementary functions. (blank lines keep the order of the files: later ones build on earlier ones)
#include "kernel/partial.inl"

#include "kernel/map.inl"

#include "kernel/exp_log.inl"

template <class F, class T>
void mapArray(const T* src, T* dst, size_t n) {
  mapFunction<F>(FromOne<T>{src}, ToOne<T>{dst}, n);
}

template <class T>
constexpr Elementary<T> elementaryKernels();
template <>
constexpr Elementary<float> elementaryKernels() {
  return {.exp = mapArray<ExpSingle>, .ln = mapArray<LnSingle>};
}
template <>
constexpr Elementary<double> elementaryKernels() {
  return {.exp = mapArray<Exp<double>>, .ln = mapArray<LnDouble<>>};
}
