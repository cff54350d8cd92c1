template <class T>
constexpr Fft<T> fftKernels() {
  return {};
}
