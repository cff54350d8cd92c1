#include "recording.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace {

// libsndfile opens a file that is shorter than its header says as if the header were right about everything else, and
// notes the difference in its log: "data : 137090 (should be 8957)".
bool promisesMore(SNDFILE* file) {
  std::vector<char> log(1 << 16);
  sf_command(file, SFC_GET_LOG_INFO, log.data(), static_cast<int>(log.size()));
  for (const char* line = std::strtok(log.data(), "\n"); line; line = std::strtok(nullptr, "\n")) {
    char chunk[32];
    long long promised, present;
    if (std::sscanf(line, " %31[^:]: %lld (should be %lld", chunk, &promised, &present) != 3) continue;
    // Sizes around 2^31 and 2^32-1 stand in files that were written to a pipe, by programs that did not know the
    // length.
    const bool unknown = promised == 0xffffffff || (promised >= 0x7ffff000 && promised < 0x80001000);
    const bool samples = std::strncmp(chunk, "data", 4) == 0 || std::strncmp(chunk, "Data Size", 9) == 0 ||
                         std::strncmp(chunk, "SSND", 4) == 0 || std::strncmp(chunk, "riff", 4) == 0;
    if (samples && promised > present && !unknown) return true;
  }
  return false;
}

// Bytes of the UTF-8 sequence at s, 0 if there is none.
size_t utf8Length(const unsigned char* s, size_t n) {
  const size_t length = s[0] < 0x80 ? 1 : s[0] < 0xc2 ? 0 : s[0] < 0xe0 ? 2 : s[0] < 0xf0 ? 3 : s[0] < 0xf5 ? 4 : 0;
  if (length == 0 || length > n) return 0;
  for (size_t i = 1; i < length; ++i) {
    if ((s[i] & 0xc0) != 0x80) return 0;
  }
  // Overlong forms, surrogates, beyond U+10FFFF.
  if ((s[0] == 0xe0 && s[1] < 0xa0) || (s[0] == 0xed && s[1] > 0x9f)) return 0;
  if ((s[0] == 0xf0 && s[1] < 0x90) || (s[0] == 0xf4 && s[1] > 0x8f)) return 0;
  return length;
}

}  // namespace

std::string printable(const std::string& name) {
  std::string shown;
  for (size_t i = 0; i < name.size();) {
    const auto* const s = reinterpret_cast<const unsigned char*>(name.data()) + i;
    const size_t length = utf8Length(s, name.size() - i);
    if (length == 0 || s[0] < 0x20 || s[0] == 0x7f) {
      shown += '?';
      i += 1;
    } else {
      shown.append(name, i, length);
      i += length;
    }
  }
  return shown;
}

Recording::Recording(const std::string& path) : name_(printable(path)) {
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (!std::filesystem::exists(status)) throw Failure(name_ + ": " + (error ? error.message() : "no such file"));
  if (std::filesystem::is_directory(status)) throw Failure(name_ + ": is a directory");
  if (std::filesystem::is_regular_file(status) && std::filesystem::file_size(path, error) == 0 && !error) {
    throw Failure(name_ + ": the file is empty");
  }
  if (std::FILE* const readable = std::fopen(path.c_str(), "rb")) {
    std::fclose(readable);
  } else {
    throw Failure(name_ + ": " + std::strerror(errno));
  }

  open(path);
  const int container = info_.format & SF_FORMAT_TYPEMASK;
  const bool unknownLength = info_.frames == SF_COUNT_MAX;
  bool cutOff = promisesMore(file_.get());
  if (container == SF_FORMAT_OGG) {
    cutOff = unknownLength;  // no last page
  } else if (unknownLength || container == SF_FORMAT_MPEG) {
    // A FLAC file that was written to a pipe holds no length; that of an MP3 file may be a guess from its bit rate, a
    // little off.
    const int64_t expected = unknownLength ? 0 : info_.frames, counted = countFrames();
    cutOff = counted < expected - expected / 20;
    open(path);
    info_.frames = counted;
  }
  if (cutOff) throw Failure(name_ + ": the recording is cut off: its header promises more than there is");
  if (info_.frames <= 0) throw Failure(name_ + ": the recording holds no samples");
}

void Recording::open(const std::string& path) {
  info_ = {};
  file_.reset(sf_open(path.c_str(), SFM_READ, &info_));
  if (!file_) throw Failure(name_ + ": not a recording, or damaged (" + printable(sf_strerror(nullptr)) + ")");
}

int64_t Recording::countFrames() {
  constexpr sf_count_t kBlock = 1 << 14;
  interleaved_.resize(static_cast<size_t>(kBlock) * static_cast<size_t>(channels()));
  int64_t total = 0;
  while (const sf_count_t more = sf_readf_float(file_.get(), interleaved_.data(), kBlock)) total += more;
  return total;
}

void Recording::readFrames(float* interleaved, size_t n) {
  const auto channels = static_cast<size_t>(info_.channels);
  const auto wanted = static_cast<size_t>(std::min<int64_t>(static_cast<int64_t>(n), frames() - position_));
  for (size_t got = 0; got < wanted;) {
    const sf_count_t more =
        sf_readf_float(file_.get(), interleaved + got * channels, static_cast<sf_count_t>(wanted - got));
    if (more <= 0) {
      throw Failure(name_ + ": the recording is cut off after " + std::to_string(position_) + " of " +
                    std::to_string(frames()) + " frames");
    }
    got += static_cast<size_t>(more);
    position_ += more;
  }
  std::fill(interleaved + wanted * channels, interleaved + n * channels, 0.0f);
  if (!std::all_of(interleaved, interleaved + wanted * channels, [](float x) { return std::isfinite(x); })) {
    throw Failure(name_ + ": holds samples that are not finite numbers");
  }
}

void Recording::read(float* mono, size_t n) {
  const auto channels = static_cast<size_t>(info_.channels);
  interleaved_.resize(n * channels);
  readFrames(interleaved_.data(), n);
  for (size_t i = 0; i < n; ++i) {
    double sum = 0;
    for (size_t c = 0; c < channels; ++c) sum += interleaved_[i * channels + c];
    mono[i] = static_cast<float>(sum / static_cast<double>(channels));
  }
}
