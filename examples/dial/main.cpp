// dial NUMBER DECIBELS RECORDING... OUTPUT.png: a telephone number in tones, read back through other people's voices.
//
// The number is keyed as a telephone does it, a tone of the key's row and one of its column (ITU-T Q.23) for 80 ms, and
// the recordings talk over it, that many decibels below the tones. The receiver measures the eight frequencies in
// blocks of 205 samples with the Goertzel algorithm. Draws the line and what the receiver saw; prints what it read. The
// exit code is 1 where that is not the number.
#include <moxa1.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>

#include "narrowband.h"
#include "plot.h"
#include "recording.h"

namespace {

constexpr size_t kFrequencies = 8;
constexpr std::array<float, kFrequencies> kHertz = {697, 770, 852, 941, 1209, 1336, 1477, 1633};  // rows, columns
const std::string kKeys = "123A456B789C*0#D";
constexpr size_t kOn = 640, kOff = 640, kEdge = 1600;  // samples
constexpr float kLevel = 0.25f;                        // of each tone

constexpr size_t kBlock = 205, kHop = 102;
// A key is heard in a block where its two tones hold a tenth of the power, neither more than 8 dB above the other, and
// each 4 dB above the others of its group. It counts when it was heard for three blocks, and again after as many
// without.
constexpr double kShare = 0.1, kTwist = 6.3, kAbove = 2.5;
constexpr int kBlocks = 3;

// ---- the sender

std::vector<float> tone(float hertz, size_t n) {
  MoxsToneState state;
  moxsToneInit(hertz / kTelephoneRate, 4.712389f, kLevel, &state);
  std::vector<float> samples(n);
  moxsbTone(&state, samples.data(), static_cast<int32_t>(n));
  check();
  return samples;
}

std::vector<float> keyed(const std::string& number) {
  std::vector<float> line(2 * kEdge + number.size() * (kOn + kOff) - kOff);
  size_t at = kEdge;
  for (const char key : number) {
    const size_t place = kKeys.find(key);
    for (const size_t frequency : {place / 4, 4 + place % 4}) {
      moxsbAdd2(tone(kHertz[frequency], kOn).data(), line.data() + at, static_cast<int32_t>(kOn));
    }
    at += kOn + kOff;
  }
  check();
  return line;
}

double power(const std::vector<float>& signal) {
  const auto n = static_cast<int32_t>(signal.size());
  const double sum = moxsDotProd(signal.data(), signal.data(), n);
  check();
  return sum / n;
}

// All recordings at once, at the same power each, from the beginning again where they end.
std::vector<float> voices(const std::vector<std::string>& paths, size_t n) {
  std::vector<float> sum(n);
  for (const std::string& path : paths) {
    const Sound sound = readSound(path);
    std::vector<float> voice = toTelephoneRate(sound.samples, sound.rate);
    if (voice.empty() || power(voice) == 0) throw Failure(printable(path) + ": there is nothing to hear");
    moxsbMpy1(static_cast<float>(std::sqrt(1 / power(voice))), voice.data(), static_cast<int32_t>(voice.size()));
    for (size_t at = 0; at < n; at += voice.size()) {
      moxsbAdd2(voice.data(), sum.data() + at, static_cast<int32_t>(std::min(voice.size(), n - at)));
    }
  }
  check();
  return sum;
}

// ---- the receiver

struct Block {
  std::array<double, kFrequencies> shares;  // of the block's power
  char key;                                 // or 0
};

class Receiver {
 public:
  Receiver() {
    for (size_t i = 0; i < kFrequencies; ++i) moxsGoertzInit(kHertz[i] / kTelephoneRate, &bins_[i]);
    check();
  }
  Block hear(const float* samples) {
    constexpr auto n = static_cast<int32_t>(kBlock);
    const double energy = moxsDotProd(samples, samples, n);
    Block block{};
    for (size_t i = 0; i < kFrequencies; ++i) {
      moxsGoertzReset(&bins_[i]);
      const MoxC y = moxsbGoertz(&bins_[i], samples, n);
      // a tone alone: |y| = amplitude n / 2, energy = amplitude^2 n / 2
      block.shares[i] = energy > 0 ? 2.0 / n * (double{y.re} * y.re + double{y.im} * y.im) / energy : 0;
    }
    check();
    block.key = decided(block.shares);
    return block;
  }

 private:
  static char decided(const std::array<double, kFrequencies>& shares) {
    const auto row = std::max_element(shares.begin(), shares.begin() + 4);
    const auto column = std::max_element(shares.begin() + 4, shares.end());
    const auto clear = [](auto first, auto last, auto largest) {
      return std::all_of(first, last, [&](const double& s) { return &s == &*largest || s * kAbove < *largest; });
    };
    if (*row + *column < kShare || *row > kTwist * *column || *column > kTwist * *row) return 0;
    if (!clear(shares.begin(), shares.begin() + 4, row) || !clear(shares.begin() + 4, shares.end(), column)) return 0;
    return kKeys[static_cast<size_t>(4 * (row - shares.begin()) + (column - shares.begin() - 4))];
  }
  std::array<MoxsGoertzState, kFrequencies> bins_;
};

struct Reading {
  std::string number;
  std::vector<double> seconds;  // of each key
  std::vector<Block> blocks;
};
double blockSeconds(size_t block) { return (static_cast<double>(block * kHop) + kBlock / 2.0) / kTelephoneRate; }

Reading heard(const std::vector<float>& line) {
  Receiver receiver;
  Reading reading;
  char last = 0;
  int times = 0, without = kBlocks;
  for (size_t at = 0; at + kBlock <= line.size(); at += kHop) {
    const Block block = receiver.hear(line.data() + at);
    times = block.key && block.key == last ? times + 1 : block.key ? 1 : 0;
    if (times == kBlocks && (without >= kBlocks || reading.number.back() != block.key)) {
      reading.number += block.key;
      reading.seconds.push_back(blockSeconds(reading.blocks.size() - 1));
    }
    without = block.key && times >= kBlocks ? 0 : without + (block.key == 0);
    last = block.key;
    reading.blocks.push_back(block);
  }
  return reading;
}

// ---- the picture

void draw(const std::vector<float>& line, const Reading& reading, const std::string& title, const std::string& output) {
  Plot plot(1000, 640);
  std::vector<double> time, least, largest;
  constexpr size_t kColumn = 16;
  for (size_t at = 0; at + kColumn <= line.size(); at += kColumn) {
    const auto [low, high] = std::minmax_element(line.begin() + static_cast<std::ptrdiff_t>(at),
                                                 line.begin() + static_cast<std::ptrdiff_t>(at + kColumn));
    time.push_back(static_cast<double>(at) / kTelephoneRate);
    least.push_back(double{*low});
    largest.push_back(double{*high});
  }
  plot.data("line", {time, least, largest});
  std::vector<double> x, y, level;
  for (size_t frequency = 0; frequency < kFrequencies; ++frequency) {
    for (size_t block = 0; block < reading.blocks.size(); ++block) {
      x.push_back(blockSeconds(block));
      y.push_back(static_cast<double>(frequency));
      level.push_back(10 * std::log10(std::max(reading.blocks[block].shares[frequency], 1e-4)));
    }
  }
  plot.data("shares", {x, y, level});
  std::vector<double> keyTime, keyRow, keyColumn;
  for (size_t block = 0; block < reading.blocks.size(); ++block) {
    if (!reading.blocks[block].key) continue;
    const size_t place = kKeys.find(reading.blocks[block].key);
    keyTime.push_back(blockSeconds(block));
    keyRow.push_back(static_cast<double>(place / 4));
    keyColumn.push_back(static_cast<double>(4 + place % 4));
  }
  plot.data("keys", {keyTime, keyRow, keyColumn});

  plot.add("set multiplot\nset lmargin at screen 0.09\nset rmargin at screen 0.88\nunset key");
  plot.add(format("set xrange [0:%g]\n", static_cast<double>(line.size()) / kTelephoneRate) +
           "set tmargin at screen 0.87\nset bmargin at screen 0.68\nset format x ''\nset ylabel 'line'\n"
           "set yrange [-1.2:1.2]\nset ytics -1,0.5,1\nset title offset 0,1.2 '" +
           title + "'");
  for (size_t i = 0; i < reading.number.size(); ++i) {
    plot.add(format("set label %zu '{/:Bold=18 %c}' at %g, graph 1.1 center textcolor '#b40426'", i + 1,
                    reading.number[i], reading.seconds[i]));
  }
  plot.add(
      "plot $line using 1:2:3 with filledcurves linecolor '#3b4cc0'\n"
      "unset for [i=1:100] label i\nunset title\nunset grid\n"
      "set arrow 1 from graph 0, first 3.5 to graph 1, first 3.5 nohead front linecolor '#ffffff' dashtype 3\n"
      "set tmargin at screen 0.65\nset bmargin at screen 0.1\nset format x '%g'\nset xlabel 'time (s)'\n"
      "set ylabel 'frequency (Hz)'\nset yrange [-0.5:7.5]\nset cbrange [-30:0]\n"
      "set cblabel 'share of the power (dB)'\nset colorbox user origin 0.9,0.1 size 0.02,0.55\n"
      "set palette defined (0 '#000004', 0.25 '#3b0f70', 0.5 '#b5367a', 0.75 '#fb8761', 1 '#fcfdbf')");
  std::string ticks = "set ytics (";
  for (size_t i = 0; i < kFrequencies; ++i)
    ticks += format("'%.0f' %zu%s", static_cast<double>(kHertz[i]), i, i < 7 ? ", " : ")");
  plot.add(ticks);
  std::string command = "plot $shares using 1:2:3 with image";
  if (!keyTime.empty()) {
    for (const char* column : {"2", "3"}) {
      command += format(", $keys using 1:%s with points pointtype 7 pointsize 0.5 linecolor '#00c8a0'", column);
    }
  }
  plot.add(command);
  plot.write(output);
}

void expectNumber(const std::string& number) {
  if (number.empty() || number.size() > 40 || number.find_first_not_of(kKeys) != std::string::npos) {
    throw Failure(printable(number) + ": no number of 1 to 40 of the keys 0-9, *, # and A-D");
  }
}

bool run(const std::string& number, const std::string& decibels, const std::vector<std::string>& recordings,
         const std::string& output) {
  expectNumber(number);
  char* end = nullptr;
  const double snr = std::strtod(decibels.c_str(), &end);
  if (decibels.empty() || *end || !(std::abs(snr) <= 100))
    throw Failure(printable(decibels) + ": no ratio in decibels");
  for (const std::string& recording : recordings) {
    std::error_code ignored;
    if (std::filesystem::equivalent(recording, output, ignored)) {
      throw Failure(printable(output) + ": is the recording itself");
    }
  }
  std::vector<float> line = keyed(number), background = voices(recordings, line.size());
  const double tones = double{kLevel} * kLevel;  // two of half the square
  const double gain = std::sqrt(tones / power(background) * std::pow(10, -snr / 10));
  moxsbMpy1(static_cast<float>(gain), background.data(), static_cast<int32_t>(line.size()));
  moxsbAdd2(background.data(), line.data(), static_cast<int32_t>(line.size()));
  check();

  const Reading reading = heard(line);
  draw(line, reading, format("A number in tones, and voices over it: signal-to-noise ratio %.3g dB", snr), output);
  std::printf("%s: dialled %s, read %s, at %.1f dB\n", printable(output).c_str(), number.c_str(),
              reading.number.c_str(), snr);
  return reading.number == number;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5) {
    std::fprintf(stderr, "usage: dial NUMBER DECIBELS RECORDING... OUTPUT.png\n");
    return 2;
  }
  moxSetErrMode(MOX_ErrModeSilent);
  try {
    if (!run(argv[1], argv[2], {argv + 3, argv + argc - 1}, argv[argc - 1])) throw Failure("that is not the number");
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "dial: %s\n", failure.what());
    return 1;
  }
  return 0;
}
