// Failing allocations, in programs with the static library.
#pragma once
#include <cstddef>
#include <cstdint>

namespace moxtest {

// One object at a time watches what the thread that made it takes from malloc, calloc and realloc and gives back: in
// this program's own code and the static libraries, so not in the standard C++ library.
class Allocations {
 public:
  // The allocation with number `fail` and the `more` that follow return null; counted from 0, none by default.
  explicit Allocations(int64_t fail = INT64_MAX, int64_t more = 0);
  ~Allocations();
  Allocations(const Allocations&) = delete;
  Allocations& operator=(const Allocations&) = delete;

  int64_t asked() const { return asked_; }  // how many allocations there were, failed ones among them
  size_t bytes() const { return bytes_; }   // and how much they asked for together
  int64_t live() const { return live_; }    // blocks not yet given back

  bool next(size_t bytes);  // whether the next allocation may succeed
  void took(bool block) { live_ += block; }
  void gave() { --live_; }

 private:
  int64_t fail_, more_, asked_ = 0, live_ = 0;
  size_t bytes_ = 0;
};

}  // namespace moxtest
