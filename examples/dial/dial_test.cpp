// Runs the program with noise made here.
#include <memory>
#include <random>

#include "program_test.h"

namespace {

const std::string kAll = "0123456789*#ABCD";

class Dial : public ProgramTest {
 protected:
  Dial() : ProgramTest(PROGRAM) {}
  void SetUp() override {
    ProgramTest::SetUp();
    record("noise.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 8000, 1, 40000,
           [bits = std::make_shared<std::mt19937>(5), normal = std::normal_distribution<float>(0, 0.1f)](
               int, int) mutable { return normal(*bits); });
  }
  void dial(const std::string& number, const std::string& decibels, const std::string& recordings = "noise.wav") {
    runWith(shellWord(number) + " " + decibels + " " + recordings + " picture.png",
            "cd " + shellWord(directory()) + "; ");
  }
  std::string read() const {
    const size_t at = out.find("read "), end = out.find(", at");
    return at == std::string::npos || end == std::string::npos ? "nothing printed" : out.substr(at + 5, end - at - 5);
  }
};

// White noise over 4 kHz may be 3 dB louder than the tones.
TEST_F(Dial, ReadsEveryKeyThroughNoise) {
  const auto reads = [&](const std::string& number, const char* decibels) {
    dial(number, decibels);
    EXPECT_EQ(code, 0) << out << err;
    EXPECT_EQ(read(), number);
    EXPECT_EQ(contents(in("picture.png")).substr(1, 3), "PNG");
  };
  for (const char* decibels : {"40", "3", "-3"}) reads(kAll + kAll, decibels);
  reads("1111", "-3");
  reads("D", "0");
}

// A hum and a whistle beside the keys' frequencies are not heard as keys, at any rate of the recording.
TEST_F(Dial, KeepsToTheKeysFrequencies) {
  const auto both = [low = tone(44100, 50), high = tone(44100, 2100)](int frame, int channel) {
    return low(frame, channel) + high(frame, channel);
  };
  record("hum.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 44100, 2, 44100, both);
  dial(kAll, "0", "hum.wav noise.wav");
  EXPECT_EQ(code, 0) << out << err;
  EXPECT_EQ(read(), kAll);
}

// What cannot be heard is not known.
TEST_F(Dial, TellsWhatItCouldNotRead) {
  dial(kAll, "-15");
  EXPECT_EQ(code, 1);
  EXPECT_LT(read().size(), kAll.size() / 2) << out;
  EXPECT_NE(err.find("not the number"), std::string::npos) << err;
  // Another pair of tones over those of the key: 5 is keyed, 1 is louder.
  record("one.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 8000, 1, 8000,
         [low = tone(8000, 697), high = tone(8000, 1209)](int i, int c) { return low(i, c) + high(i, c); });
  dial("5", "-20", "one.wav");
  EXPECT_EQ(code, 1);
  EXPECT_EQ(read(), "1");
}

TEST_F(Dial, RefusesBadInput) {
  const auto refused = [&](const std::string& number, const std::string& decibels, const std::string& recordings,
                           const std::string& why) {
    SCOPED_TRACE(why);
    const auto before = files();
    dial(number, decibels, recordings);
    EXPECT_EQ(code, 1);
    EXPECT_EQ(out, "");
    EXPECT_NE(err.find(why), std::string::npos) << err;
    EXPECT_TRUE(files() == before);
  };
  refused("", "0", "noise.wav", "no number");
  refused("12x", "0", "noise.wav", "no number");
  refused(std::string(41, '1'), "0", "noise.wav", "no number");
  refused("12", "loud", "noise.wav", "no ratio");
  refused("12", "nan", "noise.wav", "no ratio");
  refused("12", "0", "missing.wav", "No such file");
  record("quiet.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 8000, 1, 8000, [](int, int) { return 0.0f; });
  refused("12", "0", "noise.wav quiet.wav", "nothing to hear");
  store(in("picture.png"), contents(in("noise.wav")));
  refused("12", "0", "picture.png", "the recording itself");
}

}  // namespace
