#include "picture.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "canvas.h"

namespace {

// The plot inside the picture, in pixels.
constexpr int kLeft = 78, kTop = 54, kRight = 122, kBottom = 60;
constexpr int kRows = 512;
constexpr int kWidth = kLeft + kPictureColumns + kRight, kHeight = kTop + kRows + kBottom;
constexpr int kLegendLeft = kLeft + kPictureColumns + 28, kLegendWidth = 18;

struct Scale {
  double low, high;
  double position(double level) const { return (level - low) / (high - low); }
};

// A row shows the loudest of the bins that fall into it, or the level between two bins where rows are finer than bins.
float levelOfRow(const float* levels, int bins, int row) {
  const double perRow = static_cast<double>(bins - 1) / kRows;
  const double low = (kRows - 1 - row) * perRow, high = low + perRow, centre = low + perRow / 2;
  const int below = std::min(static_cast<int>(centre), bins - 2);
  const double fraction = centre - below;
  auto level = static_cast<float>(levels[below] * (1 - fraction) + levels[below + 1] * fraction);
  for (int bin = static_cast<int>(std::ceil(low)); bin <= high; ++bin) level = std::max(level, levels[bin]);
  return level;
}

// From the loudest pixel down to where the quietest tenth ends, but no less than 50 and no more than 80 dB. Silence
// is as dark as the background of a full-scale recording.
Scale scaleFor(std::vector<float> levels) {
  const float loudest = *std::max_element(levels.begin(), levels.end());
  const auto tenth = levels.begin() + static_cast<std::ptrdiff_t>(levels.size() / 10);
  std::nth_element(levels.begin(), tenth, levels.end());
  const double high = loudest <= kSilence ? 0 : std::ceil(loudest / 5) * 5;
  const double low = std::clamp(std::floor(*tenth / 10.0) * 10, high - 80, high - 50);
  return {low, high};
}

// The step among 1, 2, 5 times a power of ten that divides `range` into at most `parts`.
double niceStep(double range, int parts) {
  const double least = range / parts, power = std::pow(10, std::floor(std::log10(least)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= least * (1 - 1e-9)) return factor * power;
  }
  return 10 * power;
}

std::string decimals(double value, double step) {
  const int digits = std::max(0, -static_cast<int>(std::floor(std::log10(step) + 1e-9)));
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", digits, std::fabs(value));
  return (value < 0 ? "−" : "") + std::string(text);
}

struct Axis {
  std::string name;
  double step;     // between two marks, in the axis' base unit
  double perUnit;  // base units per unit shown; 0: hours, minutes and seconds

  std::string label(double value) const {
    if (perUnit != 0) return decimals(value / perUnit, step / perUnit);
    const auto t = std::llround(value);
    char text[64];
    if (step < 60) {
      std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", t / 3600, t / 60 % 60, t % 60);
    } else {
      std::snprintf(text, sizeof text, "%lld:%02lld", t / 3600, t / 60 % 60);
    }
    return step < 60 && t < 3600 ? text + 2 : text;
  }
};

Axis timeAxis(double seconds) {
  if (seconds < 0.1) return {"time (ms)", niceStep(seconds, 10), 1e-3};
  if (seconds <= 120) return {"time (s)", niceStep(seconds, 10), 1};
  for (const int step : {15, 30}) {
    if (step * 12 >= seconds) return {"time (min:s)", static_cast<double>(step), 0};
  }
  if (seconds <= 3 * 3600) {
    const double minutes = seconds / 60 <= 12 ? 1 : niceStep(seconds / 60, 12);
    return {"time (min)", minutes * 60, 60};
  }
  double step = 900;
  for (const double next : {1800., 3600., 7200., 10800., 21600., 43200., 86400.}) {
    if (step * 12 < seconds) step = next;
  }
  while (step * 12 < seconds) step *= 2;
  return {"time (h:min)", step, 0};
}

Axis frequencyAxis(double nyquist) {
  return nyquist < 2000 ? Axis{"frequency (Hz)", niceStep(nyquist, 10), 1}
                        : Axis{"frequency (kHz)", niceStep(nyquist, 12), 1000};
}

// The title, shortened from its end until it leaves room.
std::string fitted(Canvas& canvas, std::string title, double room) {
  if (canvas.width(title) <= room) return title;
  while (!title.empty() && canvas.width(title + "…") > room) {
    while ((title.back() & 0xc0) == 0x80) title.pop_back();
    title.pop_back();
  }
  return title + "…";
}

constexpr double kInk = 0.13, kFaint = 0.42;

void drawTimeAxis(Canvas& canvas, double seconds) {
  const Axis axis = timeAxis(seconds);
  const int bottom = kTop + kRows;
  for (int i = 0; i * axis.step <= seconds * (1 + 1e-9); ++i) {
    const double x = std::round(kLeft + i * axis.step / seconds * (kPictureColumns - 1));
    canvas.line(x, bottom + 1, x, bottom + 5);
    canvas.text(axis.label(i * axis.step), x, bottom + 21, Align::Centre);
  }
  canvas.text(axis.name, kLeft + kPictureColumns / 2.0, bottom + 45, Align::Centre);
}

void drawFrequencyAxis(Canvas& canvas, double nyquist) {
  const Axis axis = frequencyAxis(nyquist);
  for (int i = 0; i * axis.step <= nyquist * (1 + 1e-9); ++i) {
    const double y = std::round(kTop + (1 - i * axis.step / nyquist) * (kRows - 1));
    canvas.line(kLeft - 6, y, kLeft - 2, y);
    canvas.text(axis.label(i * axis.step), kLeft - 11, y + 5, Align::Right);
  }
  canvas.textUpwards(axis.name, 24, kTop + kRows / 2.0);
}

void drawLegend(Canvas& canvas, const Scale& scale) {
  canvas.fill(kLegendLeft, kTop, kLegendWidth, kRows,
              [](int, int y) { return magma(static_cast<double>(kRows - 1 - y) / (kRows - 1)); });
  canvas.frame(kLegendLeft, kTop, kLegendWidth, kRows);
  const int right = kLegendLeft + kLegendWidth;
  for (double level = std::ceil(scale.low / 10) * 10; level <= scale.high; level += 10) {
    const double y = std::round(kTop + (1 - scale.position(level)) * (kRows - 1));
    canvas.line(right + 1, y, right + 5, y);
    canvas.text(decimals(level, 1), right + 42, y + 5, Align::Right);
  }
  canvas.textUpwards("level (dB, full-scale sine = 0)", kWidth - 12, kTop + kRows / 2.0);
}

}  // namespace

void writePicture(const Picture& picture, const std::string& path) {
  std::vector<float> pixels(size_t{kPictureColumns} * kRows);
  const float* levels = picture.levels.data();
  for (size_t column = 0; column < kPictureColumns; ++column, levels += picture.bins) {
    for (int row = 0; row < kRows; ++row) {
      pixels[static_cast<size_t>(row) * kPictureColumns + column] = levelOfRow(levels, picture.bins, row);
    }
  }
  const Scale scale = scaleFor(pixels);

  Canvas canvas(kWidth, kHeight);
  canvas.fill(kLeft, kTop, kPictureColumns, kRows,
              [&, pixel = pixels.begin()](int, int) mutable { return magma(scale.position(*pixel++)); });
  canvas.grey(kInk);
  canvas.frame(kLeft, kTop, kPictureColumns, kRows);
  canvas.font(14);
  drawTimeAxis(canvas, picture.seconds);
  drawFrequencyAxis(canvas, picture.nyquist);
  drawLegend(canvas, scale);

  const double titleLine = kTop - 18;
  canvas.grey(kFaint);
  canvas.text(picture.subtitle, kLeft + kPictureColumns, titleLine, Align::Right);
  const double room = kPictureColumns - canvas.width(picture.subtitle) - 30;
  canvas.grey(kInk);
  canvas.font(18, true);
  canvas.text(fitted(canvas, picture.title, room), kLeft, titleLine, Align::Left);
  canvas.write(path);
}
