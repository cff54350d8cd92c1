// Any order: decimation in frequency by two in scratch, digits turned round on the way out.
// Table: the roots w^k, k < N/2; scratch of N values.

template <class T>
struct Complex {
  T re, im;
};

// A block of the float32 map for orders 3 to 10 is plain or takes the rounded constant (see kernels.h): the odd half of
// such a block is plain and its even half is not; both halves of a plain block are not.
template <class T, int D, bool Map>
void halve(Complex<T>* x, size_t m, const Complex<T>* roots, size_t stride, bool plain) {
  if (m == 1) return;
  const size_t half = m / 2;
  for (size_t n = 0; n < half; ++n) {
    const Complex<T> a = x[n], b = x[n + half];
    Complex<T> w = roots[n * stride];
    if (Map && !plain && m >= 8 && (n == m / 8 || n == 3 * m / 8)) {
      w = {n == m / 8 ? T(0.70710700750350952) : T(-0.70710700750350952), T(-0.70710700750350952)};
    }
    const Complex<T> d = {a.re - b.re, a.im - b.im};
    x[n] = {a.re + b.re, a.im + b.im};
    x[n + half] = {d.re * w.re - D * (d.im * w.im), d.im * w.re + D * (d.re * w.im)};
  }
  halve<T, D, Map>(x, half, roots, 2 * stride, false);
  halve<T, D, Map>(x + half, half, roots, 2 * stride, !plain);
}

template <class T, int Order, int D>
Complex<T>* plainFft(T* table) {
  constexpr size_t N = size_t{1} << Order;
  const Complex<T>* roots = reinterpret_cast<const Complex<T>*>(table);
  Complex<T>* x = reinterpret_cast<Complex<T>*>(table) + N;
  halve<T, D, std::is_same_v<T, float> && Order >= 3 && Order <= 10>(x, N, roots, 1, false);
  return x;
}

template <class T, int Order>
size_t reversed(size_t k) {
  size_t r = 0;
  for (int b = 0; b < Order; ++b) r |= (k >> b & 1) << (Order - 1 - b);
  return r;
}

template <class T, int Order, int D>
void plainPacked(const T* in, T* out, T* table, T scale) {
  constexpr size_t N = size_t{1} << Order;
  Complex<T>* scratch = reinterpret_cast<Complex<T>*>(table) + N;
  for (size_t n = 0; n < N; ++n) scratch[n] = {in[2 * n], in[2 * n + 1]};
  const Complex<T>* x = plainFft<T, Order, D>(table);
  if (D > 0) scale = 1;
  for (size_t k = 0; k < N; ++k) {
    const Complex<T> v = x[reversed<T, Order>(k)];
    out[2 * k] = v.re * scale;
    out[2 * k + 1] = v.im * scale;
  }
}

template <class T, int Order>
void plainSplit(const T* inRe, const T* inIm, T* outRe, T* outIm, T* table, T scale) {
  constexpr size_t N = size_t{1} << Order;
  Complex<T>* scratch = reinterpret_cast<Complex<T>*>(table) + N;
  for (size_t n = 0; n < N; ++n) scratch[n] = {inRe[n], inIm[n]};
  const Complex<T>* x = plainFft<T, Order, 1>(table);
  for (size_t k = 0; k < N; ++k) {
    const Complex<T> v = x[reversed<T, Order>(k)];
    outRe[k] = v.re * scale;
    outIm[k] = v.im * scale;
  }
}

template <class T>
constexpr uint64_t plainTableBytes(int order) {
  return (uint64_t{4} * sizeof(T)) << order;
}

template <class T>
void plainBuild(int order, const Roots& roots, T* table) {
  const uint64_t half = (uint64_t{1} << order) / 2;
  for (uint64_t k = 0; k < half; ++k) roots.store<T>(k, table + 2 * k);
}
