#include "picture.h"

#include <cairo.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

#include "recording.h"

namespace {

// The plot inside the picture, in pixels.
constexpr int kLeft = 78, kTop = 54, kRight = 122, kBottom = 60;
constexpr int kRows = 512;
constexpr int kWidth = kLeft + kPictureColumns + kRight, kHeight = kTop + kRows + kBottom;
constexpr int kLegendLeft = kLeft + kPictureColumns + 28, kLegendWidth = 18;

// "magma" of matplotlib (CC0), every 17th of its 256 colours: equal steps in level look equally large, in grey too.
constexpr uint32_t kMagma[] = {0x000004, 0x0b0924, 0x20114b, 0x3b0f70, 0x57157e, 0x721f81, 0x8c2981, 0xa8327d,
                               0xc43c75, 0xde4968, 0xf1605d, 0xfa7f5e, 0xfe9f6d, 0xfebf84, 0xfddea0, 0xfcfdbf};
constexpr int kLastColour = static_cast<int>(std::size(kMagma)) - 1;

// The colour of t in 0..1.
uint32_t colour(double t) {
  const double place = std::clamp(t, 0.0, 1.0) * kLastColour;
  const int below = std::min(static_cast<int>(place), kLastColour - 1);
  uint32_t mixed = 0;
  for (int shift = 16; shift >= 0; shift -= 8) {
    const double a = kMagma[below] >> shift & 255, b = kMagma[below + 1] >> shift & 255;
    mixed |= static_cast<uint32_t>(std::lround(a + (b - a) * (place - below))) << shift;
  }
  return mixed;
}

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

enum class Align { Left, Centre, Right };

class Canvas {
 public:
  Canvas() : surface_(cairo_image_surface_create(CAIRO_FORMAT_RGB24, kWidth, kHeight)), c_(cairo_create(surface_)) {
    grey(1);
    cairo_paint(c_);
    cairo_set_line_width(c_, 1);
  }
  ~Canvas() {
    cairo_destroy(c_);
    cairo_surface_destroy(surface_);
  }
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;

  void grey(double value) { cairo_set_source_rgb(c_, value, value, value); }
  void font(double size, bool bold = false) {
    cairo_select_font_face(c_, "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                           bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(c_, size);
  }
  double width(const std::string& text) {
    cairo_text_extents_t extents;
    cairo_text_extents(c_, text.c_str(), &extents);
    return extents.x_advance;
  }
  // y is the base line.
  void text(const std::string& text, double x, double y, Align align) {
    const double shift = align == Align::Left ? 0 : align == Align::Centre ? width(text) / 2 : width(text);
    cairo_move_to(c_, std::round(x - shift), y);
    cairo_show_text(c_, text.c_str());
  }
  void textUpwards(const std::string& text, double x, double centre) {
    cairo_save(c_);
    cairo_translate(c_, x, centre + width(text) / 2);
    cairo_rotate(c_, -std::acos(0.0));
    cairo_move_to(c_, 0, 0);
    cairo_show_text(c_, text.c_str());
    cairo_restore(c_);
  }
  // One pixel wide, through the centres of pixels.
  void line(double x0, double y0, double x1, double y1) {
    cairo_move_to(c_, x0 + 0.5, y0 + 0.5);
    cairo_line_to(c_, x1 + 0.5, y1 + 0.5);
    cairo_stroke(c_);
  }
  void frame(int x, int y, int width, int height) {
    cairo_rectangle(c_, x - 0.5, y - 0.5, width + 1, height + 1);
    cairo_stroke(c_);
  }
  // Row by row, from the top left.
  template <class Colour>
  void fill(int left, int top, int width, int height, Colour colourAt) {
    cairo_surface_flush(surface_);
    unsigned char* const data = cairo_image_surface_get_data(surface_);
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        const uint32_t pixel = colourAt(x, y);
        std::memcpy(data + (top + y) * cairo_image_surface_get_stride(surface_) + (left + x) * 4, &pixel, 4);
      }
    }
    cairo_surface_mark_dirty(surface_);
  }
  void write(const std::string& path) const;

 private:
  cairo_surface_t* surface_;
  cairo_t* c_;
};

// Into a file beside the target that takes its name when complete.
void Canvas::write(const std::string& path) const {
  if (const cairo_status_t status = cairo_status(c_)) throw Failure(cairo_status_to_string(status));
  const std::string part = path + "." + std::to_string(getpid()) + ".part";
  const auto failed = [&](int error) { return Failure(printable(path) + ": cannot write: " + std::strerror(error)); };

  std::FILE* const file = std::fopen(part.c_str(), "wbx");
  if (!file) throw failed(errno);
  errno = 0;
  const cairo_status_t status = cairo_surface_write_to_png_stream(
      surface_,
      [](void* to, const unsigned char* bytes, unsigned count) {
        return std::fwrite(bytes, 1, count, static_cast<std::FILE*>(to)) == count ? CAIRO_STATUS_SUCCESS
                                                                                  : CAIRO_STATUS_WRITE_ERROR;
      },
      file);
  bool complete = status == CAIRO_STATUS_SUCCESS;
  complete = std::fclose(file) == 0 && complete;
  complete = complete && std::rename(part.c_str(), path.c_str()) == 0;
  if (!complete) {
    const int error = errno ? errno : EIO;
    std::remove(part.c_str());
    throw failed(error);
  }
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
              [](int, int y) { return colour(static_cast<double>(kRows - 1 - y) / (kRows - 1)); });
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

  Canvas canvas;
  canvas.fill(kLeft, kTop, kPictureColumns, kRows,
              [&, pixel = pixels.begin()](int, int) mutable { return colour(scale.position(*pixel++)); });
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
