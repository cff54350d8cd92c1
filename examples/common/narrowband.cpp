#include "narrowband.h"

#include <moxa1.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "recording.h"

void check() {
  if (moxGetErrStatus() < 0) throw Failure(moxErrorStr(moxGetErrStatus()));
}

std::vector<float> lowPass(int taps, double cutoff, double gain) {
  const double pi = std::acos(-1.0), middle = (taps - 1) / 2.0;
  std::vector<double> h(static_cast<size_t>(taps));
  for (int i = 0; i < taps; ++i) {
    const double t = i - middle, turn = 2 * pi * (i + 0.5) / taps;
    const double sinc = t == 0 ? 2 * cutoff : std::sin(2 * pi * cutoff * t) / (pi * t);
    h[static_cast<size_t>(i)] = sinc * (0.42 - 0.5 * std::cos(turn) + 0.08 * std::cos(2 * turn));
  }
  const double sum = std::accumulate(h.begin(), h.end(), 0.0);
  std::vector<float> result(h.size());
  std::transform(h.begin(), h.end(), result.begin(), [=](double x) { return static_cast<float>(x * gain / sum); });
  return result;
}

std::vector<float> toRate(const std::vector<float>& signal, int rate, int newRate) {
  const int common = std::gcd(rate, newRate);
  const int up = newRate / common, down = rate / common;
  if (up == down) return signal;

  // At the rate that both have in common with their factors, the narrower of the two bands; the transition takes a
  // twentieth of its rate (0.4 kHz for the telephone) on both sides of it.
  const double narrower = std::min(rate, newRate), fine = static_cast<double>(rate) * up;
  const int half = static_cast<int>(std::lround(5.5 / 2 * fine / (0.1 * narrower)));
  const std::vector<float> taps = lowPass(2 * half + 1, 0.45 * narrower / fine, up);

  FirState filter{};
  moxsFirInitMr(taps.data(), static_cast<int32_t>(taps.size()), nullptr, up, 0, down, half % down, &filter);
  check();
  // Whole periods, and the samples that come out late.
  const size_t late = static_cast<size_t>(half / down);
  const size_t wanted = signal.size() * static_cast<size_t>(up) / static_cast<size_t>(down);
  const size_t periods = (wanted + late) / static_cast<size_t>(up) + 1;
  std::vector<float> in(signal), out(periods * static_cast<size_t>(up));
  in.resize(periods * static_cast<size_t>(down));
  moxsbFir(&filter, in.data(), out.data(), static_cast<int32_t>(periods));
  moxFirFree(&filter);
  check();
  out.erase(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(late));
  out.resize(wanted);
  return out;
}

Sound readSound(const std::string& path) {
  Recording recording(path);
  constexpr int64_t kLongest = int64_t{1} << 28;
  if (recording.frames() > kLongest) throw Failure(printable(path) + ": the recording is too long");
  Sound sound{std::vector<float>(static_cast<size_t>(recording.frames())), recording.rate()};
  recording.read(sound.samples.data(), sound.samples.size());
  return sound;
}
