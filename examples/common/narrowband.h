// Recordings, at their own sampling rate or another one, that of the telephone above all.
#pragma once
#include <string>
#include <vector>

constexpr int kTelephoneRate = 8000;

// A windowed-sinc low-pass filter: `taps` values whose sum is `gain`; cutoff in cycles per sample.
std::vector<float> lowPass(int taps, double cutoff, double gain);

// `signal` at `newRate` instead of `rate`, by a polyphase filter that passes to 0.45 of the lower one. Its delay is
// taken out.
std::vector<float> toRate(const std::vector<float>& signal, int rate, int newRate);
inline std::vector<float> toTelephoneRate(const std::vector<float>& signal, int rate) {
  return toRate(signal, rate, kTelephoneRate);
}

// All samples of a recording, mixed to one channel.
struct Sound {
  std::vector<float> samples;
  int rate;
};
Sound readSound(const std::string& path);

// Throws Failure when a call of the library left a negative status.
void check();
