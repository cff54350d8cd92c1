// spectrogram INPUT OUTPUT.png: the levels of a recording over time and frequency, as a picture.
//
// The recording is cut into overlapping windows of about 40 ms; each is multiplied by a Hann window and transformed
// with moxsRealFftNip. The mean power of all windows that fall into a column of the picture becomes that column's
// levels in decibels.
#include <moxa1.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "picture.h"
#include "recording.h"

namespace {

// The library's functions leave what went wrong in the thread's status.
void check() {
  if (moxGetErrStatus() < 0) throw Failure(moxErrorStr(moxGetErrStatus()));
}

// A window is the power of two nearest to 40 ms and to at least 256 samples, shorter where the recording is not eight
// of them long; never shorter than 64 or longer than 32768.
int windowOrder(const Recording& recording) {
  const double samples =
      std::min(std::max(0.04 * recording.rate(), 256.0), static_cast<double>(recording.frames()) / 8);
  return std::clamp(static_cast<int>(std::lround(std::log2(samples))), 6, 15);
}

// Samples -> spectrum levels of windows of 2^order samples.
class Spectrum {
 public:
  explicit Spectrum(int order)
      : order_(order),
        window_(size_t{1} << order),
        product_(window_.size()),
        magnitudes_(window_.size() / 2 + 1),
        spectrum_(magnitudes_.size()) {
    const double turn = 2 * std::acos(-1.0) / static_cast<double>(window_.size());
    for (size_t i = 0; i < window_.size(); ++i) {
      window_[i] = static_cast<float>(0.5 - 0.5 * std::cos(turn * static_cast<double>(i)));
    }
  }

  int bins() const { return static_cast<int>(window_.size() / 2) + 1; }

  // sum[bin] += |X[bin]|^2, scaled so that a sine of amplitude 1 counts 1.
  void addPower(const float* samples, std::vector<float>& sum) {
    moxsbMpy3(samples, window_.data(), product_.data(), static_cast<int32_t>(window_.size()));
    moxsRealFftNip(product_.data(), &spectrum_.data()->re, order_, MOX_Forw);
    check();  // moxcbMag clears the status
    const auto bins = static_cast<int32_t>(sum.size());
    moxcbMag(spectrum_.data(), magnitudes_.data(), bins);
    // A sine: amplitude/2 * the window's mean, 1/2 * N.
    moxsbMpy1(4 / static_cast<float>(window_.size()), magnitudes_.data(), bins);
    moxsbSqr1(magnitudes_.data(), bins);
    moxsbAdd2(magnitudes_.data(), sum.data(), bins);
    check();
  }

 private:
  int order_;
  std::vector<float> window_, product_, magnitudes_;
  std::vector<MoxC> spectrum_;
};

// levels[i] = 10 log10(power[i] / count)
void toDecibels(const std::vector<float>& power, int64_t count, float* levels) {
  const auto n = static_cast<int32_t>(power.size());
  moxsbThresh2(power.data(), levels, n, 1e-20f, MOX_LT);
  moxsbLn1(levels, n);
  moxsbMpy1(static_cast<float>(10 / std::log(10.0)), levels, n);
  moxsbAdd1(static_cast<float>(-10 * std::log10(static_cast<double>(count))), levels, n);
  check();
}

struct Analysis {
  int order;
  int64_t spectra;
  std::vector<float> levels;  // [column * bins + bin]
};

// Window number i is centred at sample i * hop; before the first and after the last sample there is silence.
Analysis analyse(Recording& recording) {
  const int order = windowOrder(recording);
  Spectrum spectrum(order);
  const int64_t size = int64_t{1} << order, frames = recording.frames();
  const int64_t hop = std::clamp<int64_t>(frames / kPictureColumns, 1, size / 2);
  const auto bins = static_cast<size_t>(spectrum.bins());
  Analysis result{.order = order, .spectra = 0, .levels = std::vector<float>(kPictureColumns * bins)};

  std::vector<float> samples(static_cast<size_t>(size), 0.0f);
  recording.read(samples.data() + size / 2, static_cast<size_t>(size / 2));
  std::vector<float> power(bins);
  int64_t window = 0;
  for (int64_t column = 0; column < kPictureColumns; ++column) {
    float* const levels = result.levels.data() + static_cast<size_t>(column) * bins;
    std::fill(power.begin(), power.end(), 0.0f);
    int64_t count = 0;
    for (; window * hop * kPictureColumns < (column + 1) * frames; ++window, ++count) {
      spectrum.addPower(samples.data(), power);
      std::copy(samples.begin() + hop, samples.end(), samples.begin());
      recording.read(samples.data() + size - hop, static_cast<size_t>(hop));
    }
    result.spectra += count;
    if (count == 0) {  // fewer samples than columns; never the first one
      std::copy(levels - bins, levels, levels);
    } else {
      toDecibels(power, count, levels);
    }
  }
  return result;
}

struct Peak {
  double bin;
  float level;
};

// The loudest point above the two bins that a constant offset fills, its place refined by a parabola through the
// levels of its neighbours.
Peak loudest(const std::vector<float>& levels, size_t bins) {
  Peak peak{0, -1000};
  for (size_t start = 0; start < levels.size(); start += bins) {
    const float* const spectrum = levels.data() + start;
    const float* const top = std::max_element(spectrum + 2, spectrum + bins - 1);
    if (*top <= peak.level) continue;
    const double before = top[-1], here = top[0], after = top[1], bend = before - 2 * here + after;
    const double shift = bend < 0 ? std::clamp((before - after) / (2 * bend), -0.5, 0.5) : 0;
    peak = {static_cast<double>(top - spectrum) + shift, *top};
  }
  return peak;
}

std::string format(const char* pattern, auto... values) {
  char text[256];
  std::snprintf(text, sizeof text, pattern, values...);
  return text;
}

void run(const std::string& input, const std::string& output) {
  namespace fs = std::filesystem;
  std::error_code ignored;
  if (fs::equivalent(input, output, ignored)) throw Failure(printable(output) + ": is the recording itself");
  if (fs::exists(output, ignored) && !fs::is_regular_file(output, ignored)) {
    throw Failure(printable(output) + ": is there and is not a file");
  }
  Recording recording(input);
  const Analysis analysis = analyse(recording);
  const size_t size = size_t{1} << analysis.order, bins = size / 2 + 1;

  const double seconds = recording.seconds(), rate = recording.rate();
  const std::string length = seconds < 0.1   ? format("%.3g ms", 1000 * seconds)
                             : seconds < 120 ? format("%.4g s", seconds)
                                             : format("%.1f min", seconds / 60);
  const std::string channels = recording.channels() == 1   ? "mono"
                               : recording.channels() == 2 ? "stereo"
                                                           : format("%d channels", recording.channels());
  writePicture({.title = printable(fs::path(input).filename()),
                .subtitle = length + ", " + format("%g", rate / 1000) + " kHz, " + channels + ", windows of " +
                            format("%.3g ms", 1000 * static_cast<double>(size) / rate),
                .seconds = seconds,
                .nyquist = rate / 2,
                .bins = static_cast<int>(bins),
                .levels = analysis.levels},
               output);

  const Peak peak = loudest(analysis.levels, bins);
  const std::string sound = peak.level <= kSilence ? "silent"
                                                   : format("loudest at %.1f Hz (%.1f dB)",
                                                            peak.bin * rate / static_cast<double>(size), peak.level);
  std::printf("%s: %.6g s, %d Hz, %s, %s, %lld frames, %lld spectra of %zu samples\n", printable(output).c_str(),
              seconds, recording.rate(), channels.c_str(), sound.c_str(), static_cast<long long>(recording.frames()),
              static_cast<long long>(analysis.spectra), size);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: spectrogram INPUT OUTPUT.png\n");
    return 2;
  }
  // Failures of the library are read from its status, not shown by its handler.
  moxSetErrMode(MOX_ErrModeSilent);
  try {
    run(argv[1], argv[2]);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "spectrogram: %s\n", failure.what());
    return 1;
  }
  return 0;
}
