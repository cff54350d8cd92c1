// echo NEAR FAR... OUTPUT.png: one recorded voice's echo taken out of another's microphone.
//
// The far talker (the recordings FAR, one after the other, twice) comes out of a loudspeaker in a small room and
// returns through the microphone, in which the near talker (NEAR) speaks towards the end. An LMS filter learns the room
// from the loudspeaker's signal and the microphone's, and what it predicts is subtracted. Draws the levels, how far the
// echo is reduced over time (the echo return loss enhancement), and the learned response of the room beside the true
// one; prints the reduction reached.
#include <moxa1.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <random>
#include <utility>

#include "narrowband.h"
#include "plot.h"
#include "recording.h"

namespace {

constexpr int kTaps = 384;            // 48 ms
constexpr size_t kWindow = 1024;      // of the curves, 128 ms
constexpr double kNearStart = 0.8;    // of the far talker's length
constexpr double kNoiseLevel = 1e-4;  // of the microphone, rms: -80 dB

double power(const float* signal, size_t n) {
  return static_cast<double>(moxsDotProd(signal, signal, static_cast<int32_t>(n))) / static_cast<double>(n);
}
double decibels(double power) { return 10 * std::log10(std::max(power, 1e-12)); }

// A way of 4 ms from loudspeaker to microphone, then echoes that fade by 60 dB in 0.12 s; together 10 dB below the
// loudspeaker.
std::vector<float> roomResponse() {
  std::mt19937 random(1);
  std::vector<double> response(kTaps);
  double energy = 0;
  for (size_t i = 32; i < response.size(); ++i) {
    const double noise = static_cast<double>(random()) / 2147483648.0 - 1;
    const double fade = std::pow(10, -3.0 * static_cast<double>(i - 32) / (0.12 * kTelephoneRate));
    response[i] = i == 32 ? 1.2 : noise * fade;
    energy += response[i] * response[i];
  }
  std::vector<float> result(response.size());
  std::transform(response.begin(), response.end(), result.begin(),
                 [=](double x) { return static_cast<float>(x * std::sqrt(0.1 / energy)); });
  return result;
}

std::vector<float> filtered(const std::vector<float>& signal, const std::vector<float>& response) {
  FirState filter{};
  moxsFirInit(response.data(), static_cast<int32_t>(response.size()), nullptr, &filter);
  check();
  std::vector<float> result(signal.size());
  moxsbFir(&filter, signal.data(), result.data(), static_cast<int32_t>(signal.size()));
  moxFirFree(&filter);
  check();
  return result;
}

struct Scene {
  std::vector<float> loudspeaker, echo, near, microphone, room;
  size_t nearStart, nearEnd;  // samples
};

Scene makeScene(const std::string& nearFile, const std::vector<std::string>& farFiles) {
  const auto voice = [](const std::string& file) {
    const Sound sound = readSound(file);
    std::vector<float> samples = toTelephoneRate(sound.samples, sound.rate);
    if (samples.size() < kWindow) throw Failure(printable(file) + ": the recording is too short");
    return samples;
  };
  Scene scene;
  for (int round = 0; round < 2; ++round) {
    for (const auto& file : farFiles) {
      const std::vector<float> samples = voice(file);
      scene.loudspeaker.insert(scene.loudspeaker.end(), samples.begin(), samples.end());
    }
  }
  if (power(scene.loudspeaker.data(), scene.loudspeaker.size()) == 0) throw Failure("the far talker is silent");
  scene.room = roomResponse();
  scene.echo = filtered(scene.loudspeaker, scene.room);

  const size_t n = scene.loudspeaker.size();
  const std::vector<float> samples = voice(nearFile);
  scene.nearStart = static_cast<size_t>(kNearStart * static_cast<double>(n));
  scene.nearEnd = std::min(n, scene.nearStart + samples.size());
  scene.near.resize(n);
  std::copy_n(samples.begin(), scene.nearEnd - scene.nearStart,
              scene.near.begin() + static_cast<std::ptrdiff_t>(scene.nearStart));
  std::mt19937 random(2);
  scene.microphone.resize(n);
  for (float& value : scene.microphone) {
    value = static_cast<float>((static_cast<double>(random()) / 2147483648.0 - 1) * std::sqrt(3.0) * kNoiseLevel);
  }
  moxsbAdd2(scene.echo.data(), scene.microphone.data(), static_cast<int32_t>(n));
  moxsbAdd2(scene.near.data(), scene.microphone.data(), static_cast<int32_t>(n));
  check();
  return scene;
}

struct Cancelled {
  std::vector<float> residual, taps;
};

// Normalised LMS: the step is divided by the loudspeaker's energy within the filter. It is zero, and the filter rests,
// while the microphone hears more than an echo could be (and 0.1 s after), and while the loudspeaker is quiet. What of
// the near talker comes through is an outlier among the errors: those beyond 1.1 times their usual size are cut to it.
Cancelled cancel(const Scene& scene) {
  constexpr float kStep = 0.5f, kLoudestEcho = 0.6f, kOutlier = 1.1f, kForget = 1.0f / 2400;
  // Of normally distributed errors, the mean of what is left of |error| / size is this.
  constexpr float kUsual = 0.60665f;
  const std::vector<float> nothing(kTaps);
  LmsState filter{};
  moxsLmsInit(0, nothing.data(), kTaps, nullptr, 0, 0, 0, &filter);
  check();
  const size_t n = scene.loudspeaker.size();
  const double mean = power(scene.loudspeaker.data(), n), quiet = 1e-3 * mean * kTaps;
  Cancelled result{std::vector<float>(n), std::vector<float>(kTaps)};
  auto size = static_cast<float>(std::sqrt(mean));
  size_t rest = 0;
  for (size_t i = 0; i < n; ++i) {
    // The adaptation of this call pairs the last error with the samples that it came from.
    float step = 0;
    if (const size_t held = std::min<size_t>(i, kTaps); held > 0) {
      const float* const window = scene.loudspeaker.data() + i - held;
      const auto count = static_cast<int32_t>(held);
      const float energy = moxsDotProd(window, window, count);
      const float loudest = std::max(moxsMax(window, count), -moxsMin(window, count));
      if (std::fabs(scene.microphone[i - 1]) > kLoudestEcho * loudest) rest = kTelephoneRate / 10;
      if (rest > 0) {
        --rest;
      } else if (energy > quiet) {
        const float error = moxsLmsGetErrVal(&filter), usable = std::min(std::fabs(error), kOutlier * size);
        moxsLmsSetErrVal(std::copysign(usable, error), &filter);
        size += kForget * (usable / kUsual - size);
        step = kStep / energy;
      }
    }
    moxsLmsSetStep(step, &filter);
    const float predicted = moxsLmsDes(&filter, scene.loudspeaker[i], scene.microphone[i]);
    result.residual[i] = scene.microphone[i] - predicted;
  }
  moxsLmsGetTaps(&filter, result.taps.data());
  moxLmsFree(&filter);
  check();
  return result;
}

void run(const std::string& nearFile, const std::vector<std::string>& farFiles, const std::string& output) {
  for (const auto& file : farFiles) {
    std::error_code ignored;
    if (std::filesystem::equivalent(file, output, ignored) || std::filesystem::equivalent(nearFile, output, ignored)) {
      throw Failure(printable(output) + ": is a recording itself");
    }
  }
  const Scene scene = makeScene(nearFile, farFiles);
  const Cancelled cancelled = cancel(scene);

  const size_t n = scene.echo.size();
  std::vector<float> left(n);  // of the echo, and the microphone's noise
  moxsbSub3(cancelled.residual.data(), scene.near.data(), left.data(), static_cast<int32_t>(n));
  check();
  std::vector<double> seconds, microphone, residual, loss;
  for (size_t end = kWindow; end <= n; end += kWindow / 4) {
    const size_t start = end - kWindow;
    seconds.push_back(static_cast<double>(start + kWindow / 2) / kTelephoneRate);
    microphone.push_back(decibels(power(scene.microphone.data() + start, kWindow)));
    residual.push_back(decibels(power(cancelled.residual.data() + start, kWindow)));
    const double echo = power(scene.echo.data() + start, kWindow);
    // In pauses there is no echo to reduce.
    loss.push_back(echo < 1e-6 ? NAN : decibels(echo) - decibels(power(left.data() + start, kWindow)));
  }
  std::vector<double> milliseconds, truth, learned;
  double error = 0, energy = 0;
  for (size_t i = 0; i < kTaps; ++i) {
    milliseconds.push_back(1000.0 * static_cast<double>(i) / kTelephoneRate);
    truth.push_back(scene.room[i]);
    learned.push_back(cancelled.taps[i]);
    error += std::pow(truth.back() - learned.back(), 2);
    energy += truth.back() * truth.back();
  }
  // Over the last two seconds.
  const size_t last = std::min<size_t>(n, 2 * kTelephoneRate);
  const double reached =
      decibels(power(scene.echo.data() + n - last, last)) - decibels(power(left.data() + n - last, last));

  Plot plot(1000, 960);
  plot.data("levels", {seconds, microphone, residual});
  plot.data("loss", {seconds, loss});
  plot.data("room", {milliseconds, truth, learned});
  const double nearFrom = static_cast<double>(scene.nearStart) / kTelephoneRate;
  const double nearTo = static_cast<double>(scene.nearEnd) / kTelephoneRate;
  plot.add("set datafile missing 'nan'\nset multiplot layout 3,1\nset lmargin 10\nset key top left horizontal");
  plot.add(format("set xrange [0:%g]", static_cast<double>(n) / kTelephoneRate));
  plot.add(
      format("set object 1 rectangle from %g, graph 0 to %g, graph 1 behind fillcolor '#f3efe2' fillstyle "
             "solid noborder\nset label 1 'near talker' at %g, graph 0.06 front",
             nearFrom, nearTo, nearFrom + 0.1));
  plot.add(
      "set xlabel 'time (s)'\nset ylabel 'level (dB)'\nset title 'The microphone before and after'\n"
      "plot $levels using 1:2 with lines linewidth 1.5 linecolor '#3b4cc0' title 'microphone', "
      "'' using 1:3 with lines linewidth 1.5 linecolor '#b40426' title 'echo taken out'\n"
      "set ylabel 'dB'\nset title 'Echo return loss enhancement'\n"
      "plot $loss with lines linewidth 1.5 linecolor '#222222' notitle\n"
      "unset object 1\nunset label 1\nset xrange [0:30]\n"
      "set xlabel 'time (ms)'\nset ylabel 'response'\nset title 'The room'\nset key top right\n"
      "plot $room using 1:2 with lines linewidth 4 linecolor '#b9c3ea' title 'true', "
      "'' using 1:3 with lines linewidth 1 linecolor '#b40426' title 'learned'");
  plot.write(output);
  std::printf("%s: %.1f s, final echo return loss enhancement %.1f dB, response off by %.1f dB\n",
              printable(output).c_str(), static_cast<double>(n) / kTelephoneRate, reached,
              10 * std::log10(error / energy));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: echo NEAR FAR... OUTPUT.png\n");
    return 2;
  }
  moxSetErrMode(MOX_ErrModeSilent);
  try {
    run(argv[1], {argv + 2, argv + argc - 1}, argv[argc - 1]);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "echo: %s\n", failure.what());
    return 1;
  }
  return 0;
}
