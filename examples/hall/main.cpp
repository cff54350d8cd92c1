// hall VOICE RESPONSE OUTPUT.wav OUTPUT.png: a recording as it sounds in a concert hall.
//
// RESPONSE is what a hall makes of a single click, one channel for each ear, at any sampling rate. Every channel is
// convolved with the recording; the result is written as sound, at the recording's rate. Draws the waveform and the
// spectrogram before and after, and the time that filters of 16 taps up to the response's length take: as sums of
// products, and as convolutions by transforms. Prints the hall's reverberation time, and both times at full length.
#include <moxa1.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <exception>
#include <filesystem>
#include <functional>

#include "narrowband.h"
#include "plot.h"
#include "recording.h"

namespace {

using Channels = std::vector<std::vector<float>>;

int32_t count(const std::vector<float>& v) { return static_cast<int32_t>(v.size()); }

double largest(const std::vector<float>& v) {
  return std::max(std::fabs(static_cast<double>(moxsMax(v.data(), count(v)))),
                  std::fabs(static_cast<double>(moxsMin(v.data(), count(v)))));
}

Channels readChannels(const std::string& path, int rate) {
  Recording recording(path);
  if (recording.frames() > int64_t{1} << 22) throw Failure(printable(path) + ": too long for a response");
  const auto frames = static_cast<size_t>(recording.frames()), channels = static_cast<size_t>(recording.channels());
  std::vector<float> interleaved(frames * channels);
  recording.readFrames(interleaved.data(), frames);
  Channels result;
  for (size_t c = 0; c < channels; ++c) {
    std::vector<float> channel(frames);
    for (size_t i = 0; i < frames; ++i) channel[i] = interleaved[i * channels + c];
    result.push_back(toRate(channel, recording.rate(), rate));
    if (result.back().empty() || largest(result.back()) == 0) throw Failure(printable(path) + ": a silent response");
  }
  return result;
}

std::vector<float> convolved(const std::vector<float>& x, const std::vector<float>& h) {
  std::vector<float> y(x.size() + h.size() - 1);
  moxsConv(x.data(), count(x), h.data(), count(h), y.data());
  check();
  return y;
}

// Seconds in which sound fades by 60 dB: thrice the time from -5 to -25 dB of the energy yet to come (Schroeder).
double reverberationTime(const std::vector<float>& response, int rate) {
  std::vector<double> left(response.size() + 1);
  for (size_t i = response.size(); i > 0; --i) left[i - 1] = left[i] + std::pow(response[i - 1], 2);
  const auto reached = [&](double decibels) {
    const double level = left[0] * std::pow(10, decibels / 10);
    return static_cast<double>(std::find_if(left.begin(), left.end(), [=](double x) { return x < level; }) -
                               left.begin());
  };
  return 3 * (reached(-25) - reached(-5)) / rate;
}

// 16-bit, interleaved, 1 dB below full scale.
void writeSound(const std::string& path, const Channels& channels, int rate) {
  double peak = 0;
  for (const auto& channel : channels) peak = std::max(peak, largest(channel));
  std::vector<int16_t> samples(channels.size() * channels[0].size());
  for (size_t c = 0; c < channels.size(); ++c) {
    std::vector<float> channel = channels[c];
    std::vector<int16_t> words(channel.size());
    moxsbMpy1(static_cast<float>(std::pow(10, -0.05) / std::max(peak, 1e-30)), channel.data(), count(channel));
    moxsbFloatToS15Fix(channel.data(), words.data(), count(channel), MOX_RoundNearest | MOX_Saturate);
    check();
    for (size_t i = 0; i < words.size(); ++i) samples[i * channels.size() + c] = words[i];
  }
  SF_INFO info{};
  info.samplerate = rate;
  info.channels = static_cast<int>(channels.size());
  info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
  const std::string part = path + ".part";
  SNDFILE* const file = sf_open(part.c_str(), SFM_WRITE, &info);
  if (!file) throw Failure(printable(path) + ": cannot write: " + printable(sf_strerror(nullptr)));
  const auto frames = static_cast<sf_count_t>(channels[0].size());
  bool complete = sf_writef_short(file, samples.data(), frames) == frames;
  complete = sf_close(file) == 0 && complete;
  std::error_code error;
  if (complete) std::filesystem::rename(part, path, error);
  if (!complete || error) {
    std::error_code ignored;
    std::filesystem::remove(part, ignored);
    throw Failure(printable(path) + ": cannot write");
  }
}

// ---- what it costs

// The least processor time in milliseconds, of about a tenth of a second.
double timeOf(const std::function<void()>& work) {
  const auto now = [] {
    timespec t;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return 1e3 * static_cast<double>(t.tv_sec) + 1e-6 * static_cast<double>(t.tv_nsec);
  };
  double least = INFINITY, all = 0;
  for (int i = 0; i < 2 || (all < 100 && i < 1000); ++i) {
    const double start = now();
    work();
    const double time = now() - start;
    least = std::min(least, time);
    all += time;
  }
  return least;
}

struct Costs {
  std::vector<double> taps, sums, transforms;  // milliseconds
};

Costs measure(const std::vector<float>& voice, const std::vector<float>& response) {
  Costs costs;
  std::vector<float> out(voice.size() + response.size());
  for (size_t n = 16;; n = std::min(2 * n, response.size())) {
    n = std::min(n, response.size());
    std::vector<float> taps(response.begin(), response.begin() + static_cast<std::ptrdiff_t>(n)), line(n);
    FirTapState tapState;
    FirDlyState lineState;
    moxsFirlInit(taps.data(), count(taps), &tapState);
    moxsFirlInitDlyl(&tapState, line.data(), &lineState);
    moxsFirlSetDlyl(&tapState, nullptr, &lineState);
    costs.taps.push_back(static_cast<double>(n));
    costs.sums.push_back(timeOf([&] { moxsbFirl(&tapState, &lineState, voice.data(), out.data(), count(voice)); }));
    costs.transforms.push_back(
        timeOf([&] { moxsConv(voice.data(), count(voice), response.data(), static_cast<int32_t>(n), out.data()); }));
    check();
    if (n == response.size()) return costs;
  }
}

// ---- the picture

// Levels in dB of windows of about 21 ms, as rows time, kilohertz, level, a window after the other.
std::string spectrogram(const std::vector<float>& signal, int rate, double highest) {
  constexpr int kColumns = 420;
  const int order = std::clamp(static_cast<int>(std::lround(std::log2(0.021 * rate))), 5, 14);
  const size_t size = size_t{1} << order;
  std::vector<float> window(size), block(size), ccs(size + 2), level(size / 2 + 1);
  for (size_t i = 0; i < size; ++i) {
    const double turn = 2 * std::acos(-1.0) * static_cast<double>(i) / static_cast<double>(size);
    window[i] = static_cast<float>((2 - 2 * std::cos(turn)) / static_cast<double>(size));  // a full-scale sine: 0 dB
  }
  std::string rows;
  for (int column = 0; column < kColumns; ++column) {
    const auto middle = static_cast<int64_t>(static_cast<double>(signal.size()) * (column + 0.5) / kColumns);
    const int64_t start = middle - static_cast<int64_t>(size / 2);
    for (size_t i = 0; i < size; ++i) {
      const int64_t at = start + static_cast<int64_t>(i);
      block[i] = at >= 0 && at < static_cast<int64_t>(signal.size()) ? signal[static_cast<size_t>(at)] : 0;
    }
    moxsbMpy2(window.data(), block.data(), static_cast<int32_t>(size));
    moxsRealFftNip(block.data(), ccs.data(), order, MOX_Forw);
    check();
    moxcbMag(reinterpret_cast<const MoxC*>(ccs.data()), level.data(), static_cast<int32_t>(level.size()));
    for (size_t bin = 0; bin < level.size(); ++bin) {
      const double kilohertz = static_cast<double>(bin) * rate / static_cast<double>(size) / 1000;
      if (kilohertz > highest) break;
      rows += format("%.5f %.4f %.1f\n", static_cast<double>(middle) / rate, kilohertz,
                     20 * std::log10(std::max(static_cast<double>(level[bin]), 1e-6)));
    }
  }
  return rows;
}

// The envelope: the least and the largest sample of each of many stretches.
std::vector<std::vector<double>> envelope(const std::vector<float>& signal, int rate, double scale) {
  constexpr size_t kStretches = 1200;
  std::vector<std::vector<double>> columns(3);
  const size_t length = signal.size() / kStretches + 1;
  for (size_t start = 0; start < signal.size(); start += length) {
    const auto n = static_cast<int32_t>(std::min(length, signal.size() - start));
    columns[0].push_back(static_cast<double>(start) / rate);
    columns[1].push_back(scale * static_cast<double>(moxsMin(signal.data() + start, n)));
    columns[2].push_back(scale * static_cast<double>(moxsMax(signal.data() + start, n)));
  }
  return columns;
}

void draw(const std::string& path, const std::vector<float>& voice, const std::vector<float>& heard, int rate,
          const Costs& costs) {
  Plot plot(1300, 860);
  const double seconds = static_cast<double>(heard.size()) / rate, highest = std::min(10.0, rate / 2000.0);
  plot.data("voice", envelope(voice, rate, 1 / std::max(largest(voice), 1e-30)));
  plot.data("heard", envelope(heard, rate, 1 / std::max(largest(heard), 1e-30)));
  plot.data("costs", {costs.taps, costs.sums, costs.transforms});
  // Both against their own loudest sample.
  const auto add = [&](const char* name, std::vector<float> signal) {
    moxsbMpy1(static_cast<float>(1 / std::max(largest(signal), 1e-30)), signal.data(), count(signal));
    check();
    plot.add(std::string("$") + name + " << END_OF_DATA\n" + spectrogram(signal, rate, highest) + "END_OF_DATA");
  };
  std::vector<float> padded(voice);
  padded.resize(heard.size());
  add("before", padded);
  add("after", heard);
  plot.add(
      "set multiplot layout 2,2\n"
      "set lmargin 9\nset rmargin 9\nset bmargin 3.5\nset key top right");
  plot.add(format("set xrange [0:%g]", seconds));
  plot.add(
      "set xlabel 'time (s)'\nset ylabel 'amplitude'\nset yrange [-1.1:1.1]\nset title 'The voice, and the hall'\n"
      "plot $heard using 1:2:3 with filledcurves linecolor '#b9c3ea' title 'in the hall', "
      "$voice using 1:2:3 with filledcurves linecolor '#3b4cc0' title 'the recording'\n"
      "set yrange [*:*]\nset xlabel 'response (samples)' offset 0,0.4\nset ylabel 'time (ms)'\n"
      "set logscale xy\nset xrange [*:*]\nset format '%g'\nset autoscale xfix\nset key top left\n"
      "set title 'What the convolution costs'\n"
      "plot $costs using 1:2 with linespoints pointtype 7 pointsize 0.6 linewidth 1.5 linecolor '#b40426' title "
      "'sums of products', '' using 1:3 with linespoints pointtype 7 pointsize 0.6 linewidth 1.5 linecolor '#3b4cc0' "
      "title 'moxsConv'\n"
      "unset logscale\nset format '% h'\nunset grid\nunset key\nset border 15\n"
      "set palette defined (0 '#000004', 1 '#1b0c41', 2 '#4a0c6b', 3 '#781c6d', 4 '#a52c60', 5 '#cf4446', "
      "6 '#ed6925', 7 '#fb9b06', 8 '#f7d13d', 9 '#fcffa4')\n"
      "set cbrange [-100:-20]\nset cblabel 'dB'");
  plot.add(format("set xrange [0:%g]\nset yrange [0:%g]", seconds, highest));
  plot.add(
      "set xlabel 'time (s)'\nset ylabel 'frequency (kHz)'\nset title 'The recording'\n"
      "plot $before using 1:2:3 with image\n"
      "set title 'In the hall'\nplot $after using 1:2:3 with image");
  plot.write(path);
}

void run(const std::string& voiceFile, const std::string& responseFile, const std::string& soundFile,
         const std::string& picture) {
  for (const auto& input : {voiceFile, responseFile}) {
    for (const auto& output : {soundFile, picture}) {
      std::error_code ignored;
      if (std::filesystem::equivalent(input, output, ignored)) {
        throw Failure(printable(output) + ": is a recording itself");
      }
    }
  }
  const Sound voice = readSound(voiceFile);
  if (largest(voice.samples) == 0) throw Failure(printable(voiceFile) + ": the recording is silent");
  const Channels hall = readChannels(responseFile, voice.rate);
  Channels heard;
  for (const auto& response : hall) heard.push_back(convolved(voice.samples, response));

  // For long recordings, a part of them.
  std::vector<float> part(voice.samples);
  part.resize(std::min<size_t>(part.size(), 1 << 17));
  const Costs costs = measure(part, hall[0]);
  draw(picture, voice.samples, heard[0], voice.rate, costs);
  writeSound(soundFile, heard, voice.rate);
  std::printf(
      "%s: %.2f s of sound in a hall with a reverberation time of %.2f s; %zu samples by %zu take %.2f ms, as "
      "sums of products %.0f ms\n",
      printable(soundFile).c_str(), static_cast<double>(heard[0].size()) / voice.rate,
      reverberationTime(hall[0], voice.rate), part.size(), hall[0].size(), costs.transforms.back(), costs.sums.back());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: hall VOICE RESPONSE OUTPUT.wav OUTPUT.png\n");
    return 2;
  }
  moxSetErrMode(MOX_ErrModeSilent);
  try {
    run(argv[1], argv[2], argv[3], argv[4]);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "hall: %s\n", failure.what());
    return 1;
  }
  return 0;
}
