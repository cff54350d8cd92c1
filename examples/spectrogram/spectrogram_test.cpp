// Runs the program on recordings made here, and looks at its exit code, its words, its files and its picture.
#include <cairo.h>

#include <limits>

#include "program_test.h"

namespace {

// Where the plot lies in the picture.
constexpr int kLeft = 78, kTop = 54, kColumns = 1000, kRows = 512;

class Spectrogram : public ProgramTest {
 protected:
  Spectrogram() : ProgramTest(PROGRAM) {}

  // The brightness (sum of red, green and blue) of every pixel of the plot, [row * kColumns + column].
  std::vector<int> plot(const std::string& name) {
    std::vector<int> pixels;
    cairo_surface_t* const picture = cairo_image_surface_create_from_png(in(name).c_str());
    EXPECT_EQ(cairo_surface_status(picture), CAIRO_STATUS_SUCCESS);
    EXPECT_GE(cairo_image_surface_get_width(picture), kLeft + kColumns);
    EXPECT_GE(cairo_image_surface_get_height(picture), kTop + kRows);
    if (!::testing::Test::HasFailure()) {
      for (int row = 0; row < kRows; ++row) {
        const unsigned char* const line =
            cairo_image_surface_get_data(picture) + (kTop + row) * cairo_image_surface_get_stride(picture) + kLeft * 4;
        for (int column = 0; column < kColumns; ++column) {
          pixels.push_back(line[column * 4] + line[column * 4 + 1] + line[column * 4 + 2]);
        }
      }
    }
    cairo_surface_destroy(picture);
    return pixels;
  }
};

// A tone of 3 kHz from 1 s to 2 s of 4 s: at its place in time and frequency, and found as the loudest.
TEST_F(Spectrogram, ShowsATone) {
  const Signal sine = tone(16000, 3000);
  const Signal burst = [&](int frame, int channel) {
    return frame >= 16000 && frame < 32000 ? sine(frame, channel) : 0.0f;
  };
  struct {
    const char* name;
    int format, channels;
    double tolerance;  // dB
  } const recordings[] = {{"int16.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 0.05},
                          {"float.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 0.05},
                          {"stereo.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 2, 0.05},
                          {"lossy.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS, 1, 1}};
  for (const auto& r : recordings) {
    SCOPED_TRACE(r.name);
    record(r.name, r.format, 16000, r.channels, 64000, burst);
    run(r.name, "tone.png");
    ASSERT_EQ(code, 0) << err;
    EXPECT_EQ(err, "");
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 1) << out;
    EXPECT_NEAR(figure("loudest at "), 3000, 1);
    EXPECT_NEAR(figure("Hz ("), -6.02, r.tolerance);
    EXPECT_NE(out.find(" 64000 frames"), std::string::npos) << out;
    EXPECT_NE(out.find(": 4 s, 16000 Hz"), std::string::npos) << out;

    const std::vector<int> pixels = plot("tone.png");
    ASSERT_FALSE(pixels.empty());
    const int middle = 375;  // 1.5 s
    const auto line = [&](int row) { return pixels.data() + row * kColumns; };
    int brightest = 0;
    for (int row = 0; row < kRows; ++row) {
      if (line(row)[middle] > line(brightest)[middle]) brightest = row;
    }
    EXPECT_NEAR(brightest, kRows * (1 - 3000.0 / 8000), 2);
    const int* const shown = line(brightest);
    const int half = shown[middle] / 2;
    for (const int column : {0, 100, 235, 515, 700, 999}) EXPECT_LT(shown[column], half) << column;
    for (const int column : {260, 300, 400, 490}) EXPECT_GT(shown[column], half) << column;
  }
}

TEST_F(Spectrogram, TakesAnyLengthRateAndChannels) {
  struct {
    int rate, channels, frames;
  } const recordings[] = {{48000, 1, 1},  {48000, 2, 63},     {44100, 1, 1000},   {8000, 6, 1999},
                          {100, 1, 5000}, {192000, 2, 96000}, {1000, 1, 1000000}, {384000, 1, 40000}};
  for (const auto& r : recordings) {
    SCOPED_TRACE(r.frames);
    record("any.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, r.rate, r.channels, r.frames, tone(r.rate, r.rate / 5.0));
    run("any.wav", "any.png");
    ASSERT_EQ(code, 0) << err;
    EXPECT_FALSE(plot("any.png").empty());
    EXPECT_NE(out.find(", " + std::to_string(r.frames) + " frames"), std::string::npos) << out;
    if (r.frames >= 1000) {
      EXPECT_NEAR(figure("loudest at ") / r.rate, 0.2, 0.001);
    }
  }
}

TEST_F(Spectrogram, MixesChannels) {
  const Signal sine = tone(8000, 1000);
  record("opposite.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 8000, 2, 8000,
         [&](int frame, int channel) { return channel == 0 ? sine(frame, 0) : -sine(frame, 0); });
  run("opposite.wav", "silent.png");
  EXPECT_EQ(code, 0) << err;
  EXPECT_NE(out.find("silent"), std::string::npos) << out;
  for (const int pixel : plot("silent.png")) ASSERT_LT(pixel, 8);
}

// Programs that write to a pipe leave a length there that means none: all ones in WAV, zero in the 36 bits of FLAC.
TEST_F(Spectrogram, TakesFilesOfUnknownLength) {
  record("piped.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 8000, 1, 8000, tone(8000, 1000));
  std::string bytes = contents(in("piped.wav"));
  for (const char* const chunk : {"RIFF", "data"}) bytes.replace(bytes.find(chunk) + 4, 4, 4, '\xff');
  store(in("piped.wav"), bytes);

  record("piped.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 8000, 1, 8000, tone(8000, 1000));
  bytes = contents(in("piped.flac"));
  bytes[21] &= '\xf0';
  bytes.replace(22, 4, 4, '\0');
  store(in("piped.flac"), bytes);

  for (const char* const name : {"piped.wav", "piped.flac"}) {
    SCOPED_TRACE(name);
    run(name, "piped.png");
    EXPECT_EQ(code, 0) << err;
    EXPECT_NE(out.find(" 8000 frames"), std::string::npos) << out;
    EXPECT_NEAR(figure("loudest at "), 1000, 1);
  }
}

TEST_F(Spectrogram, TakesAnyName) {
  const std::string name = "it's \xff\xc3\n" + std::string(180, 'n') + ".wav";
  record(name, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 8000, 1, 8000, tone(8000, 1000));
  run(name, "named\n.png");
  EXPECT_EQ(code, 0) << err;
  EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 1) << out;
  EXPECT_FALSE(plot("named\n.png").empty());
}

TEST_F(Spectrogram, RefusesBadInput) {
  store(in("picture.png"), "an earlier picture");
  expectRefused("missing.wav", "picture.png", "No such file");
  expectRefused("missing\n.wav", "picture.png", "No such file");
  store(in("empty.wav"), "");
  expectRefused("empty.wav", "picture.png", "empty");
  store(in("text.wav"), "These are the times that try men's souls.\n");
  expectRefused("text.wav", "picture.png", "not a recording");
  fs::create_directory(in("folder.wav"));
  expectRefused("folder.wav", "picture.png", "directory");

  record("header.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 8000, 1, 0, tone(8000, 1000));
  expectRefused("header.wav", "picture.png", "no samples");
  record("nan.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 8000, 1, 8000,
         [](int frame, int) { return frame == 7777 ? std::numeric_limits<float>::quiet_NaN() : 0.0f; });
  expectRefused("nan.wav", "picture.png", "not finite");
}

TEST_F(Spectrogram, RefusesWhatIsCutOff) {
  store(in("picture.png"), "an earlier picture");
  std::map<std::string, int> formats = {{"cut.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16},
                                        {"cut24.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24},
                                        {"cut.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16},
                                        {"cut.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16},
                                        {"cut.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS}};
  for (const auto& [name, format] : formats) {
    record(name, format, 16000, 2, 64000, tone(16000, 1000));
    const std::string bytes = contents(in(name));
    for (const size_t left : {bytes.size() / 2, bytes.size() - 1}) {
      SCOPED_TRACE(name + ", " + std::to_string(left) + " of " + std::to_string(bytes.size()));
      store(in(name), bytes.substr(0, left));
      expectRefused(name, "picture.png", "cut off");
    }
  }
}

TEST_F(Spectrogram, RefusesBadOutput) {
  record("good.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 8000, 1, 8000, tone(8000, 1000));
  expectRefused("good.wav", "nowhere/picture.png", "No such file or directory");
  fs::create_directory(in("folder.png"));
  expectRefused("good.wav", "folder.png", "not a file");
  expectRefused("good.wav", "good.wav", "the recording itself");
  store(in("picture.png"), "an earlier picture");
  // The file system takes 4 KiB and no more.
  expectRefused("good.wav", "picture.png", "cannot write", "trap '' XFSZ; ulimit -f 8; ");
  runWith(shellWord(in("good.wav")));
  EXPECT_EQ(code, 2);
  EXPECT_EQ(err, "usage: spectrogram INPUT OUTPUT.png\n");
}

}  // namespace
