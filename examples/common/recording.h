// A recording in any format that libsndfile reads, mixed to one channel.
#pragma once
#include <sndfile.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

// What the user is told, in one line.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// A name from outside as it may be shown: control characters and bytes that are not UTF-8 become '?'.
std::string printable(const std::string& name);

class Recording {
 public:
  // Throws Failure for whatever is no complete recording, as far as the file's header and end tell.
  explicit Recording(const std::string& path);

  int rate() const { return info_.samplerate; }
  int channels() const { return info_.channels; }
  int64_t frames() const { return info_.frames; }
  double seconds() const { return static_cast<double>(frames()) / rate(); }

  // The next n samples, each the mean of its channels; zeros after the last one. Throws Failure where the file ends
  // before the number of frames that its header promises, or holds samples that are not finite.
  void read(float* mono, size_t n);
  // The same frames as they are, n times channels() samples.
  void readFrames(float* interleaved, size_t n);

 private:
  void open(const std::string& path);
  int64_t countFrames();

  std::string name_;
  SF_INFO info_{};
  std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> file_{nullptr, sf_close};
  int64_t position_ = 0;
  std::vector<float> interleaved_;
};
