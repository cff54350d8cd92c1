// Elementary functions. (blank lines keep the order of the files: later ones build on earlier ones)
#include "kernel/lanes.inl"

#include "kernel/map.inl"

#include "kernel/exp_log.inl"

#include "kernel/trig.inl"

#include "kernel/polar.inl"

template <class F, class T>
void mapArray(const T* src, T* dst, size_t n) {
  mapFunction<F>(FromOne<T>{src}, ToOne<T>{dst}, n);
}
template <class F, class T>
void mapToTwo(const T* src, T* a, T* b, size_t n) {
  mapFunction<F>(FromOne<T>{src}, ToTwo<T>{a, b}, n);
}
template <class F, class T>
void mapTwo(const T* a, const T* b, T* dst, size_t n) {
  mapFunction<F>(FromTwo<T>{a, b}, ToOne<T>{dst}, n);
}
template <class F, class T>
void mapTwoToTwo(const T* a, const T* b, T* c, T* d, size_t n) {
  mapFunction<F>(FromTwo<T>{a, b}, ToTwo<T>{c, d}, n);
}
template <class F, class T>
void mapComplex(const T* src, T* dst, size_t n) {
  mapFunction<F>(FromComplex<T>{src}, ToOne<T>{dst}, n);
}
template <class F, class T>
void mapComplexToTwo(const T* src, T* a, T* b, size_t n) {
  mapFunction<F>(FromComplex<T>{src}, ToTwo<T>{a, b}, n);
}
template <class F, class T>
void mapTwoToComplex(const T* a, const T* b, T* dst, size_t n) {
  mapFunction<F>(FromTwo<T>{a, b}, ToComplex<T>{dst}, n);
}

template <class T, class ExpF, class LnF, class SinCosF, class MagnitudeF, class PhaseF, class ToCartesianF>
constexpr Elementary<T> elementaryTable() {
  using ToPolarF = ToPolar<MagnitudeF, PhaseF>;
  return {
      .exp = mapArray<ExpF>,
      .ln = mapArray<LnF>,
      .sinCos = mapToTwo<SinCosF>,
      .magnitude = mapTwo<MagnitudeF>,
      .magnitudeComplex = mapComplex<MagnitudeF>,
      .phase = mapTwo<PhaseF>,
      .phaseComplex = mapComplex<PhaseF>,
      .toPolar = mapTwoToTwo<ToPolarF>,
      .toPolarComplex = mapComplexToTwo<ToPolarF>,
      .toCartesian = mapTwoToTwo<ToCartesianF>,
      .toCartesianComplex = mapTwoToComplex<ToCartesianF>,
  };
}

template <class T>
constexpr Elementary<T> elementaryKernels();
template <>
constexpr Elementary<float> elementaryKernels() {
  return elementaryTable<float, ExpSingle, LnSingle, SinCosSingle, MagnitudeSingle, PhaseSingle, ToCartesianSingle>();
}
template <>
constexpr Elementary<double> elementaryKernels() {
  return elementaryTable<double, Exp<double>, LnDouble<>, SineCosine<double>, MagnitudeDouble, Phase<double>,
                         ToCartesian<double>>();
}
