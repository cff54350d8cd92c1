// A picture to draw on, in pixels from the top left, and PNG files.
#pragma once
#include <cairo.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

enum class Align { Left, Centre, Right };

class Canvas {
 public:
  Canvas(int width, int height);  // white
  ~Canvas();
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;

  void grey(double value) { colour(value, value, value); }
  void colour(double red, double green, double blue) { cairo_set_source_rgb(c_, red, green, blue); }
  void font(double size, bool bold = false);
  double width(const std::string& text);
  // y is the base line.
  void text(const std::string& text, double x, double y, Align align);
  void textUpwards(const std::string& text, double x, double centre);
  // One pixel wide, through the centres of pixels.
  void line(double x0, double y0, double x1, double y1);
  // Around so many pixels.
  void frame(int x, int y, int width, int height);
  void polyline(const std::vector<double>& x, const std::vector<double>& y, double thickness);
  // Row by row, from the top left; colours are 0xrrggbb.
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
  // The file is written whole or not at all. Throws Failure.
  void write(const std::string& path) const;

 private:
  cairo_surface_t* surface_;
  cairo_t* c_;
};

// "magma" of matplotlib for t in 0 ... 1: equal steps look equally large, in grey too.
uint32_t magma(double t);

// A photograph, 0xrrggbb row by row; transparent pixels are on white.
struct Photograph {
  int width, height;
  std::vector<uint32_t> pixels;
};
// Throws Failure for whatever is no complete PNG file.
Photograph readPng(const std::string& path);
