// Runs the program on recordings made here.
#include "program_test.h"

namespace {

class Hall : public ProgramTest {
 protected:
  Hall() : ProgramTest(PROGRAM) {}
  void run(const std::string& voice, const std::string& response) {
    runWith(shellWord(in(voice)) + " " + shellWord(in(response)) + " " + shellWord(in("hall.wav")) + " " +
            shellWord(in("hall.png")));
  }
  // Full scale is 1.
  std::vector<float> sound(const std::string& name, SF_INFO& info) {
    info = {};
    SNDFILE* const file = sf_open(in(name).c_str(), SFM_READ, &info);
    EXPECT_NE(file, nullptr);
    if (!file) return {};
    std::vector<float> samples(static_cast<size_t>(info.frames * info.channels));
    sf_readf_float(file, samples.data(), info.frames);
    sf_close(file);
    return samples;
  }
};

// Two echoes on the left, a later one on the right.
TEST_F(Hall, EveryChannelIsAConvolution) {
  record("click.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 8000, 1, 1000, [](int i, int) { return i == 10 ? 0.5f : 0.0f; });
  record("echoes.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 8000, 2, 3000, [](int i, int channel) {
    if (channel == 0) return i == 100 ? 0.25f : i == 700 ? -0.125f : 0.0f;
    return i == 2000 ? 0.1f : 0.0f;
  });
  run("click.wav", "echoes.wav");
  ASSERT_EQ(code, 0) << err;
  SF_INFO info;
  const std::vector<float> heard = sound("hall.wav", info);
  EXPECT_EQ(info.samplerate, 8000);
  EXPECT_EQ(info.channels, 2);
  ASSERT_EQ(info.frames, 3999);
  const float peak = static_cast<float>(std::pow(10, -0.05));
  for (size_t i = 0; i < 3999; ++i) {
    ASSERT_NEAR(heard[2 * i], i == 110 ? peak : i == 710 ? -peak / 2 : 0, 1e-4) << i;
    ASSERT_NEAR(heard[2 * i + 1], i == 2010 ? peak * 0.4f : 0, 1e-4) << i;
  }
  EXPECT_EQ(contents(in("hall.png")).substr(1, 3), "PNG");
}

// Noise that fades by 60 dB in 0.5 s, at another rate than the voice.
TEST_F(Hall, KnowsItsReverberationTime) {
  uint32_t state = 1;
  record("fading.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 44100, 1, 44100, [&](int i, int) {
    state = state * 1664525u + 1013904223u;
    return static_cast<float>(static_cast<int32_t>(state) * 0x1p-32 * std::pow(10, -3 * i / (0.5 * 44100)));
  });
  record("voice.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 16000, 1, 16000, tone(16000, 700));
  run("voice.wav", "fading.wav");
  ASSERT_EQ(code, 0) << err;
  EXPECT_NEAR(figure("reverberation time of "), 0.5, 0.03);
  SF_INFO info;
  sound("hall.wav", info);
  EXPECT_EQ(info.frames, 31999);
}

TEST_F(Hall, RefusesBadInput) {
  record("good.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 8000, 1, 800, tone(8000, 1000));
  record("silent.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 8000, 1, 800, [](int, int) { return 0.0f; });
  const auto refused = [&](const char* voice, const char* response, const char* why) {
    SCOPED_TRACE(why);
    const auto before = files();
    run(voice, response);
    EXPECT_EQ(code, 1);
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
    EXPECT_NE(err.find(why), std::string::npos) << err;
    EXPECT_TRUE(files() == before);
  };
  refused("missing.wav", "good.wav", "No such file");
  refused("good.wav", "missing.wav", "No such file");
  refused("silent.wav", "good.wav", "silent");
  refused("good.wav", "silent.wav", "silent");
  store(in("hall.wav"), contents(in("good.wav")));
  refused("hall.wav", "good.wav", "a recording itself");
}

}  // namespace
