// What the tests of every family share.
#pragma once
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "moxa1.h"

namespace moxtest {

// ---- kernel sets

// The sets that this program can force: all that this machine has in a program with the static library, and the one
// chosen at load (named "loaded") in a program with the shared library or the module.
std::vector<std::string> levels();

// Forces one set for the life of the object. Frees the calling thread's transform tables on both ends: a table belongs
// to the set that built it.
class ForcedLevel {
 public:
  explicit ForcedLevel(const std::string& name);
  ~ForcedLevel();
  ForcedLevel(const ForcedLevel&) = delete;
  ForcedLevel& operator=(const ForcedLevel&) = delete;
};

// Runs body once per set, with the set's name in every failure message.
template <class Body>
void forEachLevel(Body body) {
  for (const std::string& level : levels()) {
    SCOPED_TRACE(level);
    const ForcedLevel forced(level);
    body();
  }
}

// ---- reports

struct Report {
  int32_t status;
  std::string function, condition, file;
  int32_t line;
};
std::ostream& operator<<(std::ostream& out, const Report& report);

// Collects the calling thread's reports in place of a handler, and starts with a clear status. Restores handler, mode
// and a clear status at its end.
class Reports {
 public:
  Reports();
  ~Reports();
  Reports(const Reports&) = delete;
  Reports& operator=(const Reports&) = delete;

  // The reports since the last take(), as "function: condition (status)" each; clears them and the status.
  std::vector<std::string> take();
  const std::vector<Report>& all() const;
  // What the handler returns to moxError, -5 ... by default the status it was given.
  void answer(int32_t value);

 private:
  MoxErrorHandler before_;
  int32_t mode_;
};

// ---- arrays

// n elements that end (AtEnd) or begin (AtStart) flush against an unmapped page: the first access beyond them faults.
enum class Flush { AtStart, AtEnd };
class GuardedBytes {
 public:
  GuardedBytes(size_t bytes, Flush flush);
  ~GuardedBytes();
  GuardedBytes(const GuardedBytes&) = delete;
  GuardedBytes& operator=(const GuardedBytes&) = delete;
  void* data() const { return data_; }
  void makeReadOnly();

 private:
  void* base_;
  size_t total_;
  void* data_;
};

template <class T>
class Guarded {
 public:
  explicit Guarded(size_t n, Flush flush = Flush::AtEnd) : bytes_(n * sizeof(T), flush), size_(n) {}
  Guarded(const std::vector<T>& values, Flush flush) : Guarded(values.size(), flush) {
    if (!values.empty()) std::memcpy(data(), values.data(), values.size() * sizeof(T));
  }
  T* data() const { return static_cast<T*>(bytes_.data()); }
  size_t size() const { return size_; }
  T& operator[](size_t i) const { return data()[i]; }
  void makeReadOnly() { bytes_.makeReadOnly(); }
  std::vector<T> values() const { return std::vector<T>(data(), data() + size_); }

 private:
  GuardedBytes bytes_;
  size_t size_;
};

// Equal bit for bit (so NaN equals itself and -0.0 is not 0.0).
template <class T>
bool sameBits(const T& a, const T& b) {
  return std::memcmp(&a, &b, sizeof(T)) == 0;
}
template <class T>
::testing::AssertionResult sameBits(const std::vector<T>& a, const std::vector<T>& b) {
  if (a.size() != b.size()) return ::testing::AssertionFailure() << "sizes " << a.size() << " and " << b.size();
  for (size_t i = 0; i < a.size(); ++i) {
    if (!sameBits(a[i], b[i])) return ::testing::AssertionFailure() << "element " << i << " of " << a.size();
  }
  return ::testing::AssertionSuccess();
}

// ---- element types

template <class T>
struct Traits;  // Real, letter, complex
template <>
struct Traits<float> {
  using Real = float;
  static constexpr bool complex = false;
};
template <>
struct Traits<double> {
  using Real = double;
  static constexpr bool complex = false;
};
template <>
struct Traits<MoxC> {
  using Real = float;
  static constexpr bool complex = true;
};
template <>
struct Traits<MoxZ> {
  using Real = double;
  static constexpr bool complex = true;
};

template <class T>
T makeValue(typename Traits<T>::Real re, typename Traits<T>::Real im) {
  if constexpr (Traits<T>::complex) {
    return T{re, im};
  } else {
    return re;
  }
}

// n values uniform in (-1, 1), always the same for a seed.
template <class T>
std::vector<T> noise(size_t n, uint32_t seed = 1) {
  std::mt19937 bits(seed);
  const auto next = [&] {
    return static_cast<typename Traits<T>::Real>((static_cast<double>(bits()) - 2147483647.5) / 2147483648.0);
  };
  std::vector<T> v(n);
  for (T& x : v) {
    const auto re = next();
    x = makeValue<T>(re, Traits<T>::complex ? next() : re);
  }
  return v;
}

}  // namespace moxtest
