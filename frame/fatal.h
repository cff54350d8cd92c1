// The end of a process that has nobody to report to. Windows only.
#pragma once
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <cstdlib>

namespace mox {

// Shows `text` and ends the process. Win32s has no FatalAppExit worth the name: there a box with a caption and a style
// of its own comes in its place, and exit code 1.
[[noreturn, gnu::cold]] inline void fatalExit(const char* text, const char* win32sCaption, UINT win32sStyle) {
  if ((GetVersion() & 0x80000000u) != 0) {
    MessageBoxA(nullptr, text, win32sCaption, win32sStyle);
  } else {
    FatalAppExitA(0, text);  // comes back where a debugger's user says so
  }
  std::exit(1);
}

}  // namespace mox
