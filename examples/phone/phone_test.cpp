// Runs the program on recordings made here.
#include "program_test.h"

namespace {

class Phone : public ProgramTest {
 protected:
  Phone() : ProgramTest(PROGRAM) {}
};

// A sine within the band keeps the distance that 8 bits of a logarithmic code allow, whatever the recording's rate.
TEST_F(Phone, CompandsATone) {
  for (const int rate : {8000, 11025, 16000, 44100, 48000, 96000}) {
    SCOPED_TRACE(rate);
    record("tone.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, rate, 1, 2 * rate, tone(rate, 1020));
    run("tone.wav", "tone.png");
    ASSERT_EQ(code, 0) << err;
    EXPECT_GT(figure("ratio "), 36);
    EXPECT_LT(figure("ratio "), 42);
    EXPECT_GT(figure("A-law, "), 36);
    EXPECT_LT(figure("A-law, "), 42);
    EXPECT_EQ(contents(in("tone.png")).substr(1, 3), "PNG");
  }
}

// Below and above the band there is nothing left.
TEST_F(Phone, KeepsToItsBand) {
  for (const double frequency : {3.0, 4400.0, 9000.0, 23000.0}) {
    SCOPED_TRACE(frequency);
    record("outside.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 48000, 1, 48000,
           [&, sine = tone(48000, frequency, 0.25)](int frame, int channel) {
             const double t = frame / 48000.0, edge = std::min(1.0, std::min(t, 1 - t) / 0.1);
             return static_cast<float>(std::pow(std::sin(std::acos(0.0) * edge), 4)) * sine(frame, channel);
           });
    expectRefused("outside.wav", "outside.png", "band of the telephone");
  }
}

TEST_F(Phone, RefusesBadInput) {
  expectRefused("missing.wav", "picture.png", "No such file");
  store(in("text.wav"), "These are the times that try men's souls.\n");
  expectRefused("text.wav", "picture.png", "not a recording");
  record("good.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 8000, 1, 8000, tone(8000, 1000));
  expectRefused("good.wav", "good.wav", "the recording itself");
  expectRefused("good.wav", "nowhere/picture.png", "No such file");
  expectRefused("good.wav", "picture.png", "no picture", "PATH=/nowhere; ");
}

}  // namespace
