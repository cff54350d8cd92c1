// The kernels of the orders below the two-sweep ones.

constexpr int kFirstSweepOrder = 13;

// The kernel of an order. Sets with fused multiply-add have the same radices, so they give the same bits.
template <class T, int Order, bool Fma>
struct KernelOf;
template <class T, bool Fma>
struct KernelOf<T, 0, Fma> : Order0<T> {};
template <bool Fma>
struct KernelOf<float, 1, Fma> : Order1 {};
template <bool Fma>
struct KernelOf<float, 2, Fma> : Order2 {};
#if MOX_VEC_BYTES >= 32
template <>
struct KernelOf<float, 3, true> : Order3 {};
#endif
template <>
struct KernelOf<float, 3, false> : Small<float, 2, 4> {};
template <bool Fma>
struct KernelOf<float, 4, Fma> : Small<float, 4, 4> {};
#if MOX_VEC_BYTES == 64
template <>
struct KernelOf<float, 5, true> : Halved<4> {};
template <>
struct KernelOf<float, 7, true> : Halved<16> {};
#else
template <>
struct KernelOf<float, 5, true> : Small<float, 8, 4> {};
template <>
struct KernelOf<float, 7, true> : Passes<float, 8, 1, 1, 16> {};
#endif
template <>
struct KernelOf<float, 6, true> : Small<float, 8, 8> {};
template <>
struct KernelOf<float, 5, false> : Small<float, 4, 8> {};
template <>
struct KernelOf<float, 6, false> : Passes<float, 8, 1, 1, 8> {};
template <>
struct KernelOf<float, 7, false> : Passes<float, 8, 1, 1, 16> {};
template <bool Fma>
struct KernelOf<float, 8, Fma> : Passes<float, 8, 4, 1, 8> {};
template <bool Fma>
struct KernelOf<float, 9, Fma> : Passes<float, 8, 8, 1, 8> {};
template <>
struct KernelOf<float, 10, true> : Passes<float, 8, 8, 1, 16> {};
template <>
struct KernelOf<float, 10, false> : Passes<float, 8, 16, 1, 8> {};
template <bool Fma>
struct KernelOf<float, 11, Fma> : BackPasses<float, 8, 8, 4, 8> {};
template <bool Fma>
struct KernelOf<float, 12, Fma> : BackPasses<float, 8, 8, 8, 8> {};
template <bool Fma>
struct KernelOf<double, 1, Fma> : Small<double, 2, 1> {};
template <bool Fma>
struct KernelOf<double, 2, Fma> : Small<double, 4, 1> {};
#if MOX_VEC_BYTES >= 32
template <>
struct KernelOf<double, 3, true> : HalvedOrder3<kVecBytes / 16> {};
#endif
template <>
struct KernelOf<double, 4, true> : Small<double, 4, 4> {};
template <>
struct KernelOf<double, 5, true> : Small<double, 4, 8> {};
template <>
struct KernelOf<double, 6, true> : Small<double, 8, 8> {};
template <>
struct KernelOf<double, 3, false> : Small<double, 8, 1> {};
template <>
struct KernelOf<double, 4, false> : Small<double, 16, 1> {};
template <>
struct KernelOf<double, 5, false> : Passes<double, 8, 1, 1, 4> {};
template <>
struct KernelOf<double, 6, false> : Passes<double, 8, 1, 1, 8> {};
template <>
struct KernelOf<double, 7, true> : Passes<double, 8, 1, 1, 16> {};
template <>
struct KernelOf<double, 7, false> : BackPasses<double, 4, 4, 1, 8> {};
template <bool Fma>
struct KernelOf<double, 8, Fma> : BackPasses<double, 8, 4, 1, 8> {};
template <bool Fma>
struct KernelOf<double, 9, Fma> : BackPasses<double, 8, 8, 1, 8> {};
template <bool Fma>
struct KernelOf<double, 10, Fma> : BackPasses<double, 8, 8, 1, 16> {};
template <bool Fma>
struct KernelOf<double, 11, Fma> : BackPasses<double, 8, 8, 4, 8> {};
template <bool Fma>
struct KernelOf<double, 12, Fma> : BackPasses<double, 8, 8, 8, 8> {};

template <class T, int Order>
using Kernel = KernelOf<T, Order, kHasFma>;

template <class T, int Order>
void packedForward(const T* in, T* out, T* table, T) {
  Kernel<T, Order>::template run<1>(PackedIo<T>{in, out}, table);
}
template <class T, int Order>
void packedInverse(const T* in, T* out, T* table, T scale) {
  Kernel<T, Order>::template run<-1>(ScaledIo<T>{in, out, scale}, table);
}
template <class T, int Order>
void splitForward(const T* inRe, const T* inIm, T* outRe, T* outIm, T* table, T scale) {
  Kernel<T, Order>::template run<1>(SplitIo<T>{inRe, inIm, outRe, outIm, scale}, table);
}

// The size of an order's table in elements, and its making.
struct TableMaker {
  uint64_t elements;
  void (*build)(const Roots& roots, void* table);
};
template <class T, int Order>
void buildTable(const Roots& roots, void* table) {
  Kernel<T, Order>::build(roots, static_cast<T*>(table));
}
template <class T, int... Orders>
TableMaker tableMaker(int order, std::integer_sequence<int, Orders...>) {
  static constexpr TableMaker makers[] = {{Kernel<T, Orders>::kElements, buildTable<T, Orders>}...};
  return makers[order];
}
template <class T>
TableMaker tableMaker(int order) {
  return tableMaker<T>(order, std::make_integer_sequence<int, kFirstSweepOrder>{});
}
