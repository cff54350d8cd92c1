// phone INPUT OUTPUT.png: a recording as a telephone exchange hears it.
//
// The recording is filtered and brought to 8 kHz by one polyphase filter, a cascade of biquads takes away what lies
// below 300 Hz, and both companding laws take it to 8 bits a sample and back. Draws the power spectra before and after
// and what each law adds; prints the signal-to-noise ratio of both.
#include <moxa1.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <filesystem>

#include "narrowband.h"
#include "plot.h"
#include "recording.h"

namespace {

// Butterworth, order 4, as two sections b0 b1 b2 a0 a1 a2.
std::vector<float> highPassed(const std::vector<float>& signal, double corner) {
  const double w = 2 * std::acos(-1.0) * corner / kTelephoneRate;
  std::vector<float> coefficients;
  for (const double q : {0.54119610014619698, 1.30656296487637653}) {
    const double alpha = std::sin(w) / (2 * q), c = std::cos(w);
    for (const double value : {(1 + c) / 2, -(1 + c), (1 + c) / 2, 1 + alpha, -2 * c, 1 - alpha}) {
      coefficients.push_back(static_cast<float>(value));
    }
  }
  IirState filter{};
  moxsIirInitBq(0, coefficients.data(), 2, &filter);
  check();
  std::vector<float> result(signal.size());
  moxsbIir(&filter, signal.data(), result.data(), static_cast<int32_t>(signal.size()));
  moxIirFree(&filter);
  check();
  return result;
}

// Mean power per hertz in dB, of windows of about 32 ms that overlap by half; a full-scale sine has a power of 1/2.
struct Spectrum {
  std::vector<double> kilohertz, decibels;
};
Spectrum spectrumOf(const std::vector<float>& signal, int rate) {
  const int order = std::clamp(static_cast<int>(std::lround(std::log2(0.032 * rate))), 5, 14);
  const size_t size = size_t{1} << order, bins = size / 2 + 1;
  std::vector<float> window(size), block(size), ccs(size + 2), power(bins), sum(bins);
  double energy = 0;
  for (size_t i = 0; i < size; ++i) {
    const double value = 0.5 - 0.5 * std::cos(2 * std::acos(-1.0) * static_cast<double>(i) / static_cast<double>(size));
    window[i] = static_cast<float>(value);
    energy += value * value;
  }
  size_t windows = 0;
  for (size_t start = 0; windows == 0 || start + size <= signal.size(); start += size / 2, ++windows) {
    std::fill(block.begin(), block.end(), 0.0f);
    std::copy_n(signal.begin() + static_cast<std::ptrdiff_t>(start), std::min(size, signal.size() - start),
                block.begin());
    moxsbMpy2(window.data(), block.data(), static_cast<int32_t>(size));
    moxsRealFftNip(block.data(), ccs.data(), order, MOX_Forw);
    moxcbMag(reinterpret_cast<const MoxC*>(ccs.data()), power.data(), static_cast<int32_t>(bins));
    moxsbSqr1(power.data(), static_cast<int32_t>(bins));
    moxsbAdd2(power.data(), sum.data(), static_cast<int32_t>(bins));
    check();
  }
  Spectrum result;
  for (size_t bin = 0; bin < bins; ++bin) {
    const double density = 2.0 * sum[bin] / (static_cast<double>(windows) * energy * rate);
    result.kilohertz.push_back(static_cast<double>(bin) * rate / static_cast<double>(size) / 1000);
    result.decibels.push_back(10 * std::log10(std::max(density, 1e-12)));
  }
  return result;
}

using Encode = void(MOX_CALL*)(const int16_t*, uint8_t*, int32_t);
using Decode = void(MOX_CALL*)(const uint8_t*, int16_t*, int32_t);

struct Law {
  std::vector<float> heard, noise;
  double snr;  // dB
};
Law throughLaw(const std::vector<int16_t>& words, Encode encode, Decode decode) {
  const auto n = static_cast<int32_t>(words.size());
  std::vector<uint8_t> codes(words.size());
  std::vector<int16_t> back(words.size());
  encode(words.data(), codes.data(), n);
  decode(codes.data(), back.data(), n);
  Law law{std::vector<float>(words.size()), std::vector<float>(words.size()), 0};
  std::vector<float> sent(words.size());
  moxsbS15FixToFloat(words.data(), sent.data(), n);
  moxsbS15FixToFloat(back.data(), law.heard.data(), n);
  moxsbSub3(law.heard.data(), sent.data(), law.noise.data(), n);
  check();
  double signal = 0, noise = 0;
  for (size_t i = 0; i < words.size(); ++i) {
    signal += static_cast<double>(sent[i]) * sent[i];
    noise += static_cast<double>(law.noise[i]) * law.noise[i];
  }
  law.snr = noise > 0 ? 10 * std::log10(signal / noise) : INFINITY;
  return law;
}

void run(const std::string& input, const std::string& output) {
  std::error_code ignored;
  if (std::filesystem::equivalent(input, output, ignored)) {
    throw Failure(printable(output) + ": is the recording itself");
  }
  const Sound sound = readSound(input);
  const std::vector<float> narrow = highPassed(toTelephoneRate(sound.samples, sound.rate), 300);
  if (narrow.empty()) throw Failure(printable(input) + ": the recording is too short");
  std::vector<int16_t> words(narrow.size());
  moxsbFloatToS15Fix(narrow.data(), words.data(), static_cast<int32_t>(words.size()), MOX_RoundNearest | MOX_Saturate);
  check();
  if (std::all_of(words.begin(), words.end(), [](int16_t word) { return word == 0; })) {
    throw Failure(printable(input) + ": nothing of it is in the band of the telephone");
  }
  const Law a = throughLaw(words, moxwbLinToALaw, moxwbALawToLin);
  const Law mu = throughLaw(words, moxwbLinToMuLaw, moxwbMuLawToLin);

  Plot plot(1000, 720);
  const auto add = [&](const char* name, const std::vector<float>& signal, int rate) {
    const Spectrum spectrum = spectrumOf(signal, rate);
    plot.data(name, {spectrum.kilohertz, spectrum.decibels});
  };
  add("before", sound.samples, sound.rate);
  add("after", a.heard, kTelephoneRate);
  add("anoise", a.noise, kTelephoneRate);
  add("munoise", mu.noise, kTelephoneRate);
  plot.add(
      "set multiplot layout 2,1\n"
      "set ylabel 'power (dB/Hz)'\n"
      "set lmargin 10\n"
      "set key top right\n"
      "set title 'Speech at the recording''s rate, and at the other end of the line'");
  plot.add(format("set xrange [0:%g]", sound.rate / 2000.0));
  plot.add(
      "set xlabel 'frequency (kHz)'\n"
      "plot $before with lines linewidth 1.5 linecolor '#3b4cc0' title 'recording', "
      "$after with lines linewidth 1.5 linecolor '#b40426' title 'after 8 kHz, 8 bits'\n"
      "set title 'The band of the telephone, and what the companding laws add to it'\n"
      "set xrange [0:4]");
  plot.add(
      "plot $after with lines linewidth 1.5 linecolor '#b40426' title 'after 8 kHz, 8 bits', " +
      format("$anoise with lines linewidth 1.5 linecolor '#444444' title 'noise of A-law (%.1f dB below)', ", a.snr) +
      format("$munoise with lines linewidth 1.5 linecolor '#d98d00' title 'noise of mu-law (%.1f dB below)'", mu.snr));
  plot.write(output);
  std::printf("%s: %.3f s from %d Hz to %d Hz; signal-to-noise ratio %.2f dB with A-law, %.2f dB with mu-law\n",
              printable(output).c_str(), static_cast<double>(sound.samples.size()) / sound.rate, sound.rate,
              kTelephoneRate, a.snr, mu.snr);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: phone INPUT OUTPUT.png\n");
    return 2;
  }
  moxSetErrMode(MOX_ErrModeSilent);
  try {
    run(argv[1], argv[2]);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "phone: %s\n", failure.what());
    return 1;
  }
  return 0;
}
