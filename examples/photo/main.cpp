// photo INPUT.png OUTPUT.png: a photograph blurred, sharpened, and found again.
//
// Two-dimensional filters blur and sharpen the photograph. Then two parts of it are cut out, the second one darker and
// noisy like another exposure: how far apart they were is where their correlation is largest, which is the convolution
// of one with the other reversed. Draws all of that; prints how much fine detail is left, and the shift.
#include <moxa1.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <random>

#include "canvas.h"
#include "recording.h"

namespace {

// Values row by row.
struct Image {
  int width, height;
  std::vector<float> values;

  Image(int w, int h) : width(w), height(h), values(static_cast<size_t>(w) * static_cast<size_t>(h)) {}
  float& at(int x, int y) {
    return values[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)];
  }
  float at(int x, int y) const { return const_cast<Image*>(this)->at(x, y); }
  float nearest(int x, int y) const { return at(std::clamp(x, 0, width - 1), std::clamp(y, 0, height - 1)); }
};

Image cutOut(const Image& image, int left, int top, int width, int height) {
  Image part(width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) part.at(x, y) = image.nearest(left + x, top + y);
  }
  return part;
}

void check() {
  if (moxGetErrStatus() < 0) throw Failure(moxErrorStr(moxGetErrStatus()));
}

// Beyond its edges the image goes on as it ends; the library would take it for zero there.
Image filtered(const Image& image, const Image& kernel) {
  const int radius = kernel.width / 2;
  const Image wide = cutOut(image, -radius, -radius, image.width + 2 * radius, image.height + 2 * radius);
  Image result(wide.width, wide.height);
  moxsFilter2D(wide.values.data(), wide.width, wide.height, kernel.values.data(), kernel.width, kernel.height,
               result.values.data());
  check();
  return cutOut(result, radius, radius, image.width, image.height);
}

// Adds `weight` times a Gaussian of the given deviation, whose sum is 1.
void addGaussian(Image& kernel, double deviation, double weight) {
  const int radius = kernel.width / 2;
  std::vector<double> values;
  double sum = 0;
  for (int y = -radius; y <= radius; ++y) {
    for (int x = -radius; x <= radius; ++x) {
      values.push_back(std::exp(-(x * x + y * y) / (2 * deviation * deviation)));
      sum += values.back();
    }
  }
  for (size_t i = 0; i < values.size(); ++i) kernel.values[i] += static_cast<float>(weight * values[i] / sum);
}

constexpr double kBlur = 5, kSharpen = 1.5, kAmount = 2.5;  // deviations in pixels; of what is added

Image blurKernel() {
  Image kernel(31, 31);
  addGaussian(kernel, kBlur, 1);
  return kernel;
}
// The image, and a multiple of what a blurred one lacks.
Image sharpenKernel() {
  Image kernel(11, 11);
  addGaussian(kernel, kSharpen, -kAmount);
  kernel.at(5, 5) += static_cast<float>(1 + kAmount);
  return kernel;
}
// What is smaller than some pixels: the difference of two Gaussians.
Image detailKernel() {
  Image kernel(13, 13);
  addGaussian(kernel, 0.8, 1);
  addGaussian(kernel, 2, -1);
  return kernel;
}

double rms(const Image& image) {
  return std::sqrt(moxsStdDev(image.values.data(), static_cast<int32_t>(image.values.size())));
}

struct Place {
  int x, y;
};
Place largest(const Image& image) {
  const auto at = std::max_element(image.values.begin(), image.values.end()) - image.values.begin();
  return {static_cast<int>(at % image.width), static_cast<int>(at / image.width)};
}

struct Colours {
  Image red, green, blue;
};
template <class Function>
Colours mapped(const Colours& photo, Function f) {
  return {f(photo.red), f(photo.green), f(photo.blue)};
}
uint32_t pixel(const Colours& photo, int x, int y) {
  const auto byte = [&](const Image& part) {
    return static_cast<uint32_t>(std::lround(255 * std::clamp(part.at(x, y), 0.0f, 1.0f)));
  };
  return byte(photo.red) << 16 | byte(photo.green) << 8 | byte(photo.blue);
}

Colours coloursOf(const Photograph& photo) {
  Colours parts{{photo.width, photo.height}, {photo.width, photo.height}, {photo.width, photo.height}};
  for (size_t i = 0; i < photo.pixels.size(); ++i) {
    const auto part = [&](int shift) { return static_cast<float>(photo.pixels[i] >> shift & 255) / 255; };
    parts.red.values[i] = part(16);
    parts.green.values[i] = part(8);
    parts.blue.values[i] = part(0);
  }
  return parts;
}
Image greyOf(const Colours& photo) {
  Image grey = photo.green;
  for (size_t i = 0; i < grey.values.size(); ++i) {
    grey.values[i] = 0.299f * photo.red.values[i] + 0.587f * photo.green.values[i] + 0.114f * photo.blue.values[i];
  }
  return grey;
}

// Of width x height pixels, the means of what falls into each.
Colours reduced(const Colours& photo, int width, int height) {
  return mapped(photo, [=](const Image& image) {
    Image small(width, height);
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        const int left = x * image.width / width, right = std::max(left + 1, (x + 1) * image.width / width);
        const int top = y * image.height / height, bottom = std::max(top + 1, (y + 1) * image.height / height);
        double sum = 0;
        for (int j = top; j < bottom; ++j) {
          for (int i = left; i < right; ++i) sum += image.at(i, j);
        }
        small.at(x, y) = static_cast<float>(sum / ((right - left) * (bottom - top)));
      }
    }
    return small;
  });
}

struct Search {
  Place first;        // where the first part was cut out
  int width, height;  // of both parts
  Place shift, found;
  Image correlation;  // no shift is at (width - 1, height - 1)
};

Search findShift(const Image& grey) {
  const int width = grey.width / 2, height = grey.height / 2;
  Search search{{grey.width / 8, grey.height / 8}, width,  height,
                {grey.width / 7, grey.height / 9}, {0, 0}, Image(2 * width - 1, 2 * height - 1)};
  const Image first = cutOut(grey, search.first.x, search.first.y, width, height);
  Image second = cutOut(grey, search.first.x + search.shift.x, search.first.y + search.shift.y, width, height);
  std::mt19937 bits(1);
  std::normal_distribution<float> noise(0, 0.02f);
  for (float& value : second.values) value = 0.8f * value + noise(bits);

  // Smooth light and shadow correlate with everything.
  const Image a = filtered(first, detailKernel());
  Image b = filtered(second, detailKernel());
  std::reverse(b.values.begin(), b.values.end());
  moxsConv2D(a.values.data(), width, height, b.values.data(), width, height, search.correlation.values.data());
  check();
  const Place peak = largest(search.correlation);
  search.found = {peak.x - (width - 1), peak.y - (height - 1)};
  return search;
}

// The part of the photograph, of one panel's size, that has the most detail.
Place richest(const Image& detail, int width, int height) {
  Image power = detail, box(width | 1, height | 1);
  moxsbSqr1(power.values.data(), static_cast<int32_t>(power.values.size()));
  std::fill(box.values.begin(), box.values.end(), 1.0f);
  Image sums(detail.width, detail.height);
  moxsFilter2D(power.values.data(), power.width, power.height, box.values.data(), box.width, box.height,
               sums.values.data());
  check();
  const Place middle = largest(sums);
  return {std::clamp(middle.x - width / 2, 0, detail.width - width),
          std::clamp(middle.y - height / 2, 0, detail.height - height)};
}

// ---- the picture: two rows of three panels

constexpr int kMargin = 20, kCaption = 32, kGap = 22, kRowGap = 6;
constexpr double kInk = 0.13, kFaint = 0.45;

class Page {
 public:
  Page(int panelWidth, int panelHeight)
      : w_(panelWidth),
        h_(panelHeight),
        canvas_(2 * kMargin + 3 * panelWidth + 2 * kGap, 2 * (kCaption + panelHeight) + kRowGap + kMargin) {}
  int left(int panel) const { return kMargin + panel % 3 * (w_ + kGap); }
  int top(int panel) const { return kCaption + panel / 3 * (h_ + kRowGap + kCaption); }
  Canvas& canvas() { return canvas_; }

  void caption(int panel, const std::string& text) {
    canvas_.grey(kInk);
    canvas_.font(12.5, true);
    canvas_.text(text, left(panel), top(panel) - 11, Align::Left);
  }
  void show(int panel, const Colours& photo, Place from, const std::string& text) {
    caption(panel, text);
    canvas_.fill(left(panel), top(panel), w_, h_, [&](int x, int y) { return pixel(photo, from.x + x, from.y + y); });
  }
  // A rectangle of the whole photograph in its reduced form.
  void mark(int panel, const Search& search, Place from, const Image& whole, const char* name, bool second) {
    const double across = static_cast<double>(w_) / whole.width, down = static_cast<double>(h_) / whole.height;
    const int x = left(panel) + static_cast<int>(from.x * across), y = top(panel) + static_cast<int>(from.y * down);
    const int width = static_cast<int>(search.width * across), height = static_cast<int>(search.height * down);
    for (int thick = 0; thick < 2; ++thick) {
      ink(second);
      canvas_.frame(x + thick, y + thick, width - 2 * thick, height - 2 * thick);
    }
    canvas_.font(13, true);
    if (second) {
      canvas_.text(name, x + width - 6, y + height - 7, Align::Right);
    } else {
      canvas_.text(name, x + 7, y + 17, Align::Left);
    }
  }
  void ink(bool second) { second ? canvas_.colour(1, 0.35, 0.3) : canvas_.colour(1, 1, 1); }

  // The largest value within each pixel; a ring around the peak.
  void showCorrelation(int panel, const Search& search) {
    const Image& image = search.correlation;
    const double peak = image.at(search.found.x + search.width - 1, search.found.y + search.height - 1);
    canvas_.fill(left(panel), top(panel), w_, h_, [&](int x, int y) {
      float most = 0;
      for (int j = y * image.height / h_; j <= (y + 1) * image.height / h_ - 1; ++j) {
        for (int i = x * image.width / w_; i <= (x + 1) * image.width / w_ - 1; ++i)
          most = std::max(most, image.at(i, j));
      }
      return magma(std::pow(most / peak, 0.6));
    });
    const auto x = [&](int shift) { return left(panel) + (shift + search.width - 1) * w_ / image.width; };
    const auto y = [&](int shift) { return top(panel) + (shift + search.height - 1) * h_ / image.height; };
    canvas_.grey(0.55);
    canvas_.line(x(0), top(panel), x(0), top(panel) + h_ - 1);
    canvas_.line(left(panel), y(0), left(panel) + w_ - 1, y(0));
    canvas_.grey(1);
    canvas_.frame(x(search.found.x) - 7, y(search.found.y) - 7, 15, 15);
  }

  // Through the peak, along its row and its column.
  void showSections(int panel, const Search& search) {
    constexpr int kReach = 24;
    const Image& image = search.correlation;
    const Place peak = {search.found.x + search.width - 1, search.found.y + search.height - 1};
    const double most = image.at(peak.x, peak.y);
    const int base = top(panel) + h_ - 22, height = h_ - 40;
    const double zero = base - 0.25 * height;
    const auto x = [&](int offset) { return left(panel) + (offset + kReach) * (w_ - 1.0) / (2 * kReach); };
    canvas_.grey(0.8);
    canvas_.line(left(panel), std::round(zero), left(panel) + w_ - 1, std::round(zero));
    canvas_.grey(kFaint);
    canvas_.font(12);
    for (int offset = -20; offset <= 20; offset += 10) {
      canvas_.line(std::round(x(offset)), base, std::round(x(offset)), base + 4);
      canvas_.text((offset > 0   ? "+"
                    : offset < 0 ? "−"
                                 : "") +
                       std::to_string(std::abs(offset)),
                   x(offset), base + 18, Align::Centre);
    }
    canvas_.line(left(panel), base, left(panel) + w_ - 1, base);
    for (const bool column : {false, true}) {
      std::vector<double> xs, ys;
      for (int offset = -kReach; offset <= kReach; ++offset) {
        const int i = column ? 0 : offset, j = column ? offset : 0;
        xs.push_back(x(offset));
        ys.push_back(zero - 0.75 * height * image.nearest(peak.x + i, peak.y + j) / most);
      }
      column ? canvas_.colour(0.71, 0.02, 0.15) : canvas_.colour(0.23, 0.30, 0.75);
      canvas_.polyline(xs, ys, 1.6);
      canvas_.font(12);
      canvas_.text(column ? "along its column" : "along its row", left(panel) + w_ - 4, top(panel) + (column ? 32 : 14),
                   Align::Right);
    }
  }

 private:
  int w_, h_;
  Canvas canvas_;
};

std::string pair(Place place) { return "(" + std::to_string(place.x) + ", " + std::to_string(place.y) + ")"; }

void run(const std::string& input, const std::string& output) {
  std::error_code ignored;
  if (std::filesystem::equivalent(input, output, ignored)) {
    throw Failure(printable(output) + ": is the photograph itself");
  }
  const Photograph file = readPng(input);
  if (file.width < 64 || file.height < 64) throw Failure(printable(input) + ": has less than 64 x 64 pixels");
  if (file.pixels.size() > INT32_MAX) throw Failure(printable(input) + ": is too large");
  const Colours photo = coloursOf(file);
  const Image grey = greyOf(photo), detail = filtered(grey, detailKernel());
  const double before = rms(detail);
  if (before < 1e-4) throw Failure(printable(input) + ": shows nothing");

  const Colours blurred = mapped(photo, [kernel = blurKernel()](const Image& part) { return filtered(part, kernel); });
  const Colours sharp = mapped(photo, [kernel = sharpenKernel()](const Image& part) { return filtered(part, kernel); });
  const double left = rms(filtered(greyOf(blurred), detailKernel())) / before;
  const double gained = rms(filtered(greyOf(sharp), detailKernel())) / before;
  const Search search = findShift(grey);

  const int width = std::min(file.width, 256), height = std::min({file.height, 256, width * file.height / file.width});
  const Place from = richest(detail, width, height);
  Page page(width, height);
  page.show(0, photo, from, "A part of the photograph");
  page.show(1, blurred, from, "Blurred: a Gaussian, 31 × 31 taps");
  page.show(2, sharp, from, "Sharpened: 11 × 11 taps");
  page.show(3, reduced(photo, width, height), {0, 0}, "Two parts, one dark and noisy");
  page.mark(3, search, search.first, grey, "first", false);
  page.mark(3, search, {search.first.x + search.shift.x, search.first.y + search.shift.y}, grey, "second", true);
  page.caption(4, "Their correlation by shift: " + pair(search.found));
  page.showCorrelation(4, search);
  page.caption(5, "Around its peak, in pixels");
  page.showSections(5, search);
  page.canvas().write(output);
  std::printf("%s: %d x %d; fine detail blurred to %.3f, sharpened to %.3f; shift found %d %d, true %d %d\n",
              printable(output).c_str(), file.width, file.height, left, gained, search.found.x, search.found.y,
              search.shift.x, search.shift.y);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: photo INPUT.png OUTPUT.png\n");
    return 2;
  }
  moxSetErrMode(MOX_ErrModeSilent);
  try {
    run(argv[1], argv[2]);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "photo: %s\n", failure.what());
    return 1;
  }
  return 0;
}
