// Functions of vectors applied to whole arrays. Most values take a plain form, a few outliers (NaN, infinities,
// subnormals, overflow) a careful one of about twice the length.
//
// The hot loop must hold no call and no branch to the careful form: the compiler would keep the constants in memory
// (GCC 12: 903 against 583 ns for 1024 float64 exponentials). So a block's inputs are inspected first, and the whole
// block then takes one form or the other. Both give the same bits where the plain one is valid: no result depends on
// its neighbours.
//
// A function F has a Type, plain(in), careful(in) and look(inspector, in), where `in` and the results are a vector or
// a Pair of them. Sources and destinations are the same arrays or disjoint.

constexpr size_t kBlock = 1024;

template <class V>
struct Pair {
  V a, b;
};

// ---- where vectors come from and go to

template <class T>
struct FromOne {
  using V = Vec<T, kLanes<T>>;
  const T* p;
  MOX_INLINE V at(size_t i) const { return load<V>(p + i); }
  MOX_INLINE V few(size_t n) const { return loadFew(p, n); }
  MOX_INLINE void prefetch(size_t i) const { __builtin_prefetch(p + i); }
  MOX_INLINE void advance(size_t n) { p += n; }
};
template <class T>
struct ToOne {
  using V = Vec<T, kLanes<T>>;
  T* p;
  MOX_INLINE void put(size_t i, V v) const { store(p + i, v); }
  MOX_INLINE void putFew(size_t n, V v) const { storeFew(p, v, n); }
  MOX_INLINE void advance(size_t n) { p += n; }
};

// ---- the loops

template <class F, class From>
MOX_INLINE bool allPlain(From from, size_t n) {
  constexpr size_t N = kLanes<typename F::Type>;
  typename F::Inspect inspect;
  for (size_t i = 0; i + N < n; i += N) inspect.look(from.at(i));
  inspect.look(from.at(n - N));
  return inspect.allPlain();
}

template <class F, bool Careful, class V>
MOX_INLINE auto valueOf(V x) {
  if constexpr (Careful) {
    return F::careful(x);
  } else {
    return F::plain(x);
  }
}

// n elements, at least one vector. The last vector overlaps the one before; in place, its input is gone after the loop.
// Meanwhile the elements `ahead` are fetched into the cache: else the next inspection would wait for memory.
template <class F, bool Careful, class From, class To>
MOX_INLINE void evaluate(From from, To to, size_t n, size_t ahead) {
  constexpr size_t N = kLanes<typename F::Type>;
  const auto last = valueOf<F, Careful>(from.at(n - N));
  for (size_t i = 0; i + N < n; i += N) {
    from.prefetch(i + ahead);
    to.put(i, valueOf<F, Careful>(from.at(i)));
  }
  to.put(n - N, last);
}

template <class F, class From, class To>
MOX_NOINLINE void carefulBlock(From from, To to, size_t n) {
  evaluate<F, true>(from, to, n, 0);
}

template <class F, class From, class To>
MOX_NOINLINE void mapBlock(From from, To to, size_t n, size_t ahead) {
  if (!allPlain<F>(from, n)) return carefulBlock<F>(from, to, n);
  evaluate<F, false>(from, to, n, ahead);
}

template <class F, class From, class To>
MOX_NOINLINE void mapFew(From from, To to, size_t n) {
  const auto x = from.few(n);
  typename F::Inspect inspect;
  inspect.look(x);
  to.putFew(n, inspect.allPlain() ? F::plain(x) : F::careful(x));
}

template <class F, class From, class To>
MOX_INLINE void mapFunction(From from, To to, size_t n) {
  constexpr size_t N = kLanes<typename F::Type>;
  if (n < N) return mapFew<F>(from, to, n);
  for (; n >= kBlock + N; n -= kBlock) {
    mapBlock<F>(from, to, kBlock, kBlock);
    from.advance(kBlock);
    to.advance(kBlock);
  }
  mapBlock<F>(from, to, n, 0);
}
