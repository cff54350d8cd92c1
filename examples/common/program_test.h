// What the tests of the example programs share: a folder of recordings made here, and a program's exit code, words and
// files.
#pragma once
#include <gtest/gtest.h>
#include <sndfile.h>
#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using Signal = std::function<float(int frame, int channel)>;

inline std::string contents(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void store(const fs::path& path, const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }

inline std::string shellWord(const std::string& text) {
  std::string result = "'";
  for (const char c : text) result += c == '\'' ? "'\\''" : std::string(1, c);
  return result + "'";
}

inline Signal tone(int rate, double frequency, double amplitude = 0.5) {
  const double step = 2 * std::acos(-1.0) * frequency / rate;
  return [=](int frame, int) { return static_cast<float>(amplitude * std::sin(step * frame)); };
}

class ProgramTest : public ::testing::Test {
 protected:
  explicit ProgramTest(std::string program) : program_(std::move(program)) {}
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "example-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    root_ = pattern;
    fs::create_directory(directory());
  }
  void TearDown() override { fs::remove_all(root_); }

  fs::path directory() const { return root_ / "files"; }
  fs::path in(const std::string& name) const { return directory() / name; }

  void record(const std::string& name, int format, int rate, int channels, int frames, const Signal& signal) {
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = channels;
    info.format = format;
    SNDFILE* const file = sf_open(in(name).c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr) << sf_strerror(nullptr);
    std::vector<float> samples;
    for (int i = 0; i < frames; ++i) {
      for (int c = 0; c < channels; ++c) samples.push_back(signal(i, c));
    }
    ASSERT_EQ(sf_writef_float(file, samples.data(), frames), frames);
    sf_close(file);
  }

  // Runs the program; code, out and err are what it left.
  void runWith(const std::string& arguments, const std::string& before = "") {
    const std::string command = before + "exec " + shellWord(program_) + " " + arguments + " >" +
                                shellWord(root_ / "out") + " 2>" + shellWord(root_ / "err");
    const int status = std::system(command.c_str());
    code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    out = contents(root_ / "out");
    err = contents(root_ / "err");
  }
  void run(const std::string& input, const std::string& output, const std::string& before = "") {
    runWith(shellWord(in(input)) + " " + shellWord(in(output)), before);
  }

  std::map<fs::path, std::string> files() const {
    std::map<fs::path, std::string> all;
    for (const auto& entry : fs::directory_iterator(directory())) {
      all[entry.path()] = entry.is_regular_file() ? contents(entry) : "";
    }
    return all;
  }

  // The run refuses with one line that says `why`, and changes no file.
  void expectRefused(const std::string& input, const std::string& output, const std::string& why,
                     const std::string& before = "") {
    const auto filesBefore = files();
    run(input, output, before);
    EXPECT_EQ(code, 1);
    EXPECT_EQ(out, "");
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
    EXPECT_EQ(err.rfind(fs::path(program_).filename().string() + ": ", 0), 0u) << err;
    EXPECT_NE(err.find(why), std::string::npos) << err;
    EXPECT_TRUE(files() == filesBefore);
  }

  // The number that follows `label` in the line of figures.
  double figure(const std::string& label) {
    const size_t at = out.find(label);
    EXPECT_NE(at, std::string::npos) << out;
    return at == std::string::npos ? NAN : std::atof(out.c_str() + at + label.size());
  }

  std::string program_;
  fs::path root_;
  int code = -1;
  std::string out, err;
};
