// A spectrogram as a picture: time to the right, frequency upwards, level as colour, with axes and a legend.
#pragma once
#include <string>
#include <vector>

constexpr int kPictureColumns = 1000;  // across the plot
constexpr float kSilence = -150;       // dB; a 24-bit recording ends at -144

struct Picture {
  std::string title, subtitle;
  double seconds;  // width of the plot
  double nyquist;  // height of the plot, in Hz
  int bins;        // from 0 to nyquist
  // levels[column * bins + bin] in dB, kPictureColumns columns
  std::vector<float> levels;
};

// Writes a PNG file, whole or not at all. Throws Failure.
void writePicture(const Picture& picture, const std::string& path);
