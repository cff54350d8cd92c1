#include "kernel/kernels.h"
#include "tests/support/support.h"

#if defined(_WIN32)
#  include <windows.h>

// Nobody but this program's own thread callback calls the entry point of a module that is part of the program.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID reserved);
static void NTAPI callEntryPoint(PVOID, DWORD reason, PVOID reserved) { DllMain(nullptr, reason, reserved); }
extern "C" [[gnu::section(".CRT$XLY"), gnu::used]] const PIMAGE_TLS_CALLBACK moxtestThreadCallback = callEntryPoint;
#endif

namespace moxtest {
namespace {

using mox::kernel::Level;
constexpr Level kLevels[] = {Level::sse2, Level::avx2, Level::avx512};

void freeTables() {
  moxcFreeTwdTbls();
  moxzFreeTwdTbls();
}
const mox::kernel::Kernels* loaded;

}  // namespace

std::vector<std::string> levels() {
  std::vector<std::string> names;
  for (const Level level : kLevels) {
    if (const auto* const kernels = mox::kernel::at(level)) names.emplace_back(kernels->name);
  }
  return names;
}

ForcedLevel::ForcedLevel(const std::string& name) {
  loaded = mox::kernel::active;
  freeTables();
  for (const Level level : kLevels) {
    const auto* const kernels = mox::kernel::at(level);
    if (kernels && kernels->name == name) mox::kernel::active = kernels;
  }
}

ForcedLevel::~ForcedLevel() {
  freeTables();
  mox::kernel::active = loaded;
}

}  // namespace moxtest
