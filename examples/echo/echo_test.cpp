// Runs the program on recordings made here.
#include "program_test.h"

namespace {

class Echo : public ProgramTest {
 protected:
  Echo() : ProgramTest(PROGRAM) {}
};

// Noise excites every frequency: the room is learned, and the echo goes down to the microphone's own noise.
TEST_F(Echo, LearnsTheRoom) {
  uint32_t state = 1;
  const Signal noise = [&](int, int) {
    state = state * 1664525u + 1013904223u;
    return static_cast<float>(static_cast<int32_t>(state)) * 0x1p-33f;
  };
  record("far.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 8000, 1, 60000, noise);
  record("near.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 16000, 1, 16000, tone(16000, 700, 0.9));
  runWith(shellWord(in("near.wav")) + " " + shellWord(in("far.wav")) + " " + shellWord(in("echo.png")));
  ASSERT_EQ(code, 0) << err;
  EXPECT_GT(figure("enhancement "), 25);
  EXPECT_LT(figure("off by "), -25);
  EXPECT_EQ(contents(in("echo.png")).substr(1, 3), "PNG");
}

TEST_F(Echo, RefusesBadInput) {
  record("good.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 8000, 1, 8000, tone(8000, 1000));
  record("short.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 8000, 1, 100, tone(8000, 1000));
  record("silent.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 8000, 1, 8000, [](int, int) { return 0.0f; });
  const auto refused = [&](const char* near, const char* far, const char* why) {
    SCOPED_TRACE(why);
    runWith(shellWord(in(near)) + " " + shellWord(in(far)) + " " + shellWord(in("echo.png")));
    EXPECT_EQ(code, 1);
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
    EXPECT_NE(err.find(why), std::string::npos) << err;
    EXPECT_FALSE(fs::exists(in("echo.png")));
  };
  refused("missing.wav", "good.wav", "No such file");
  refused("good.wav", "missing.wav", "No such file");
  refused("good.wav", "short.wav", "too short");
  refused("good.wav", "silent.wav", "silent");
}

}  // namespace
