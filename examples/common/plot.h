// Pictures by gnuplot.
#pragma once
#include <string>
#include <vector>

// A gnuplot script, and what it draws.
class Plot {
 public:
  Plot(int width, int height);

  // Adds lines to the script.
  void add(const std::string& lines) { script_ += lines + "\n"; }
  // Names columns of equal length, so that the script can plot $name.
  void data(const std::string& name, const std::vector<std::vector<double>>& columns);
  // Runs the script. The picture gets its name when it is complete; throws Failure where there is none.
  void write(const std::string& path);

 private:
  std::string script_, terminal_;
};

// printf into a string.
std::string format(const char* pattern, ...) __attribute__((format(printf, 1, 2)));
