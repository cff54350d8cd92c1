#include "plot.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "recording.h"

std::string format(const char* pattern, ...) {
  char text[512];
  va_list values;
  va_start(values, pattern);
  std::vsnprintf(text, sizeof text, pattern, values);
  va_end(values);
  return text;
}

Plot::Plot(int width, int height)
    : terminal_(format("set terminal pngcairo size %d,%d font 'sans,11' background '#ffffff'\n", width, height)) {
  add("set encoding utf8\nset grid linetype 1 linewidth 0.5 linecolor '#d8d8d8'\nset border 3\nset tics nomirror out");
}

void Plot::data(const std::string& name, const std::vector<std::vector<double>>& columns) {
  script_ += "$" + name + " << END_OF_DATA\n";
  for (size_t row = 0; row < columns.front().size(); ++row) {
    for (const auto& column : columns) script_ += format("%.6g ", column[row]);
    script_ += "\n";
  }
  script_ += "END_OF_DATA\n";
}

void Plot::write(const std::string& path) {
  // gnuplot is told of no name from outside: it writes to its output.
  const std::string part = path + "." + std::to_string(getpid()) + ".part";
  std::string quoted = "'";
  for (const char c : part) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  quoted += "'";
  const auto failed = [&](const std::string& why) { return Failure(printable(path) + ": cannot write: " + why); };
  if (std::FILE* const writable = std::fopen(part.c_str(), "wbx")) {
    std::fclose(writable);
  } else {
    throw failed(std::strerror(errno));
  }
  bool complete = false;
  std::signal(SIGPIPE, SIG_IGN);  // a gnuplot that ends early is told by its exit code
  if (std::FILE* const gnuplot = popen(("gnuplot - 2>/dev/null >" + quoted).c_str(), "w")) {
    const std::string all = terminal_ + script_;
    complete = std::fwrite(all.data(), 1, all.size(), gnuplot) == all.size();
    complete = pclose(gnuplot) == 0 && complete;
  }
  std::error_code error;
  complete = complete && std::filesystem::file_size(part, error) > 0 && !error;
  if (complete) std::filesystem::rename(part, path, error);
  if (!complete || error) {
    std::error_code ignored;
    std::filesystem::remove(part, ignored);
    throw failed(error ? error.message() : "gnuplot made no picture");
  }
}
