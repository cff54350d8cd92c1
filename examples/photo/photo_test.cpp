// Runs the program on photographs made here.
#include <cairo.h>

#include <random>

#include "program_test.h"

namespace {

class Photo : public ProgramTest {
 protected:
  Photo() : ProgramTest(PROGRAM) {}

  // Discs of any size, colour and transparency.
  void paint(const std::string& name, int width, int height, int discs, cairo_format_t format = CAIRO_FORMAT_ARGB32) {
    cairo_surface_t* const surface = cairo_image_surface_create(format, width, height);
    cairo_t* const c = cairo_create(surface);
    std::mt19937 bits(7);
    const auto upTo = [&](double limit) { return limit * static_cast<double>(bits()) / 4294967296.0; };
    for (int i = 0; i < discs; ++i) {
      cairo_set_source_rgba(c, upTo(1), upTo(1), upTo(1), 0.3 + upTo(0.7));
      const double x = upTo(width), y = upTo(height);
      cairo_arc(c, x, y, 1 + upTo(9), 0, 7);
      cairo_fill(c);
    }
    cairo_destroy(c);
    ASSERT_EQ(cairo_surface_write_to_png(surface, in(name).c_str()), CAIRO_STATUS_SUCCESS);
    cairo_surface_destroy(surface);
  }
};

TEST_F(Photo, FindsTheShiftAndChangesTheDetail) {
  const struct {
    int width, height;
    cairo_format_t format;
  } photos[] = {{64, 64, CAIRO_FORMAT_ARGB32},
                {333, 250, CAIRO_FORMAT_RGB24},
                {90, 401, CAIRO_FORMAT_ARGB32},
                {700, 130, CAIRO_FORMAT_RGB24}};
  for (const auto& photo : photos) {
    SCOPED_TRACE(::testing::Message() << photo.width << " x " << photo.height);
    paint("discs.png", photo.width, photo.height, photo.width * photo.height / 60, photo.format);
    run("discs.png", "page.png");
    ASSERT_EQ(code, 0) << err;
    const std::string shift = std::to_string(photo.width / 7) + " " + std::to_string(photo.height / 9);
    EXPECT_NE(out.find("found " + shift + ", true " + shift), std::string::npos) << out;
    EXPECT_LT(figure("blurred to "), 0.16);
    EXPECT_GT(figure("sharpened to "), 1.5);
    EXPECT_EQ(contents(in("page.png")).substr(1, 3), "PNG");
  }
}

TEST_F(Photo, RefusesBadInput) {
  expectRefused("missing.png", "page.png", "No such file");
  store(in("text.png"), "These are the times that try men's souls.\n");
  expectRefused("text.png", "page.png", "not a PNG file");
  paint("good.png", 80, 80, 100);
  store(in("cut.png"), contents(in("good.png")).substr(0, 400));
  expectRefused("cut.png", "page.png", "not a PNG file");
  paint("small.png", 63, 64, 100);
  expectRefused("small.png", "page.png", "less than 64 x 64");
  paint("empty.png", 80, 80, 0);
  expectRefused("empty.png", "page.png", "shows nothing");
  expectRefused("good.png", "good.png", "the photograph itself");
  expectRefused("good.png", "nowhere/page.png", "No such file");
}

}  // namespace
