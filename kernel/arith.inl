template <class T> constexpr Arith<T> arithKernels() { return {}; }
