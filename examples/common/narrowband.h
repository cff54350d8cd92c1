// Recordings at the sampling rate of the telephone.
#pragma once
#include <string>
#include <vector>

constexpr int kTelephoneRate = 8000;

// A windowed-sinc low-pass filter: `taps` values whose sum is `gain`; cutoff in cycles per sample.
std::vector<float> lowPass(int taps, double cutoff, double gain);

// `signal` at 8 kHz instead of `rate`, by a polyphase filter that passes to 3.6 kHz. Its delay is taken out.
std::vector<float> toTelephoneRate(const std::vector<float>& signal, int rate);

// All samples of a recording, mixed to one channel.
struct Sound {
  std::vector<float> samples;
  int rate;
};
Sound readSound(const std::string& path);

// Throws Failure when a call of the library left a negative status.
void check();
