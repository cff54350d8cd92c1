#include "canvas.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <memory>

#include "recording.h"

namespace {

// matplotlib's table (CC0), every 17th of its 256 colours.
constexpr uint32_t kMagma[] = {0x000004, 0x0b0924, 0x20114b, 0x3b0f70, 0x57157e, 0x721f81, 0x8c2981, 0xa8327d,
                               0xc43c75, 0xde4968, 0xf1605d, 0xfa7f5e, 0xfe9f6d, 0xfebf84, 0xfddea0, 0xfcfdbf};
constexpr int kLastColour = static_cast<int>(std::size(kMagma)) - 1;

}  // namespace

uint32_t magma(double t) {
  const double place = std::clamp(t, 0.0, 1.0) * kLastColour;
  const int below = std::min(static_cast<int>(place), kLastColour - 1);
  uint32_t mixed = 0;
  for (int shift = 16; shift >= 0; shift -= 8) {
    const double a = kMagma[below] >> shift & 255, b = kMagma[below + 1] >> shift & 255;
    mixed |= static_cast<uint32_t>(std::lround(a + (b - a) * (place - below))) << shift;
  }
  return mixed;
}

Canvas::Canvas(int width, int height)
    : surface_(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height)), c_(cairo_create(surface_)) {
  grey(1);
  cairo_paint(c_);
  cairo_set_line_width(c_, 1);
}
Canvas::~Canvas() {
  cairo_destroy(c_);
  cairo_surface_destroy(surface_);
}

void Canvas::font(double size, bool bold) {
  cairo_select_font_face(c_, "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                         bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
  cairo_set_font_size(c_, size);
}

double Canvas::width(const std::string& text) {
  cairo_text_extents_t extents;
  cairo_text_extents(c_, text.c_str(), &extents);
  return extents.x_advance;
}

void Canvas::text(const std::string& text, double x, double y, Align align) {
  const double shift = align == Align::Left ? 0 : align == Align::Centre ? width(text) / 2 : width(text);
  cairo_move_to(c_, std::round(x - shift), y);
  cairo_show_text(c_, text.c_str());
}

void Canvas::textUpwards(const std::string& text, double x, double centre) {
  cairo_save(c_);
  cairo_translate(c_, x, centre + width(text) / 2);
  cairo_rotate(c_, -std::acos(0.0));
  cairo_move_to(c_, 0, 0);
  cairo_show_text(c_, text.c_str());
  cairo_restore(c_);
}

void Canvas::line(double x0, double y0, double x1, double y1) {
  cairo_move_to(c_, x0 + 0.5, y0 + 0.5);
  cairo_line_to(c_, x1 + 0.5, y1 + 0.5);
  cairo_stroke(c_);
}

void Canvas::frame(int x, int y, int width, int height) {
  cairo_rectangle(c_, x - 0.5, y - 0.5, width + 1, height + 1);
  cairo_stroke(c_);
}

void Canvas::polyline(const std::vector<double>& x, const std::vector<double>& y, double thickness) {
  cairo_save(c_);
  cairo_set_line_width(c_, thickness);
  cairo_new_path(c_);
  for (size_t i = 0; i < x.size(); ++i) cairo_line_to(c_, x[i], y[i]);
  cairo_stroke(c_);
  cairo_restore(c_);
}

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

Photograph readPng(const std::string& path) {
  const std::string name = printable(path);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
  if (!file) throw Failure(name + ": " + std::strerror(errno));
  const auto destroy = [](cairo_surface_t* surface) { cairo_surface_destroy(surface); };
  const std::unique_ptr<cairo_surface_t, decltype(destroy)> surface(cairo_image_surface_create_from_png_stream(
      [](void* from, unsigned char* bytes, unsigned count) {
        return std::fread(bytes, 1, count, static_cast<std::FILE*>(from)) == count ? CAIRO_STATUS_SUCCESS
                                                                                   : CAIRO_STATUS_READ_ERROR;
      },
      file.get()));
  if (const cairo_status_t status = cairo_surface_status(surface.get())) {
    throw Failure(name + ": not a PNG file, or damaged (" + cairo_status_to_string(status) + ")");
  }
  // Whatever the file holds (8 bits, transparency, floating point) becomes 0xffrrggbb on white.
  Photograph photo{cairo_image_surface_get_width(surface.get()), cairo_image_surface_get_height(surface.get()), {}};
  const std::unique_ptr<cairo_surface_t, decltype(destroy)> flat(
      cairo_image_surface_create(CAIRO_FORMAT_RGB24, photo.width, photo.height));
  cairo_t* const c = cairo_create(flat.get());
  cairo_set_source_rgb(c, 1, 1, 1);
  cairo_paint(c);
  cairo_set_source_surface(c, surface.get(), 0, 0);
  cairo_paint(c);
  const cairo_status_t status = cairo_status(c);
  cairo_destroy(c);
  if (status) throw Failure(name + ": " + cairo_status_to_string(status));
  cairo_surface_flush(flat.get());
  const unsigned char* row = cairo_image_surface_get_data(flat.get());
  photo.pixels.resize(static_cast<size_t>(photo.width) * static_cast<size_t>(photo.height));
  for (int y = 0; y < photo.height; ++y, row += cairo_image_surface_get_stride(flat.get())) {
    std::memcpy(photo.pixels.data() + static_cast<size_t>(y) * static_cast<size_t>(photo.width), row,
                static_cast<size_t>(photo.width) * 4);
  }
  for (uint32_t& pixel : photo.pixels) pixel &= 0xffffff;
  return photo;
}
