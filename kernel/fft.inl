// The transforms of one set, gathered. An order's table is one block: what its complex transform wants, then, from a
// multiple of 64 bytes on, what the real transform of the next order wants.

// Each on its own: a later file builds on the earlier ones.
#include "kernel/fft_io.inl"

#include "kernel/fft_radix.inl"

#include "kernel/fft_small.inl"

#include "kernel/fft_passes.inl"

#include "kernel/fft_orders.inl"

#include "kernel/fft_sweeps.inl"

template <class T>
uint64_t complexTableBytes(int order) {
  if (order >= kFirstSweepOrder) return sweepTableBytes<T>(order);
  return tableMaker<T>(order).elements * sizeof(T);
}

template <class T, int Order>
constexpr uint64_t complexTableBytesOf() {
  if constexpr (Order >= kFirstSweepOrder) {
    return sweepTableBytes<T>(Order);
  } else {
    return Kernel<T, Order>::kElements * sizeof(T);
  }
}

template <class T>
void buildComplex(int order, const Roots& roots, T* table) {
  if (order >= kFirstSweepOrder) {
    sweepBuild(order, roots, table);
  } else {
    tableMaker<T>(order).build(roots, table);
  }
}

template <class T, int Order>
constexpr void setOrder(Fft<T>& fft) {
  if constexpr (Order >= kFirstSweepOrder) {
    fft.forward[Order] = sweepForward<T, Order>;
    fft.inverse[Order] = sweepInverse<T, Order>;
    fft.split[Order] = sweepSplit<T, Order>;
  } else {
    fft.forward[Order] = packedForward<T, Order>;
    fft.inverse[Order] = packedInverse<T, Order>;
    fft.split[Order] = splitForward<T, Order>;
  }
}

template <class T, int... Orders>
constexpr void setOrders(Fft<T>& fft, std::integer_sequence<int, Orders...>) {
  (setOrder<T, Orders>(fft), ...);
}

// Larger arrays than half of the address space cannot exist.
template <class T>
constexpr int kLargestOrder = sizeof(size_t) == 8 ? 31
                              : sizeof(T) == 4    ? 27
                                                  : 26;

template <class T>
constexpr Fft<T> complexKernels() {
  Fft<T> fft{};
  setOrders(fft, std::make_integer_sequence<int, kLargestOrder<T> + 1>{});
  return fft;
}
template <class T>
constexpr Fft<T> kComplexFft = complexKernels<T>();

#include "kernel/fft_real.inl"
#include "kernel/fft_two.inl"

template <class T>
uint64_t tableBytes(int order) {
  return afterComplex(complexTableBytes<T>(order)) + realTableBytes<T>(order);
}

template <class T>
void build(int order, const Roots& roots, T* table) {
  buildComplex(order, roots, table);
  realBuild(order, roots, table + static_cast<size_t>(afterComplex(complexTableBytes<T>(order)) / sizeof(T)));
}

// Complex orders that have a real transform: of the next order, 31 at most.
template <class T>
constexpr int kRealOrders = kLargestOrder<T> == 31 ? 31 : kLargestOrder<T> + 1;

// ---- products of spectra

template <class T>
struct SpectraMap {
  static constexpr int kPeriod = 2;
  const T *a, *b;
  template <class V>
  MOX_INLINE V at(size_t i) const {
    return timesRoot<1>(load<V>(a + i), load<V>(b + i));
  }
};

template <class T>
void multiplySpectra(const T* a, T* dst, size_t n) {
  const SpectraMap<T> map = {a, dst};
  constexpr int L = kLanes<T>;
  if (2 * n >= L) return mapWith<T, L>(dst, 2 * n, map);
  if constexpr (L > 8) {
    if (2 * n >= 8) return mapWith<T, 8>(dst, 2 * n, map);
  }
  if constexpr (L > 4) mapWith<T, 4>(dst, 2 * n, map);
}

template <class T>
constexpr Fft<T> fftKernels() {
  Fft<T> fft = kComplexFft<T>;
  fft.multiply = multiplySpectra<T>;
  fft.tableBytes = tableBytes<T>;
  fft.build = build<T>;
  setTwos(fft, std::make_integer_sequence<int, kLargestOrder<T>>{});
  setReals(fft, std::make_integer_sequence<int, kRealOrders<T>>{});
  return fft;
}
