#include "tests/support/support.h"

namespace moxtest {

std::vector<std::string> levels() { return {"loaded"}; }
ForcedLevel::ForcedLevel(const std::string&) {}
ForcedLevel::~ForcedLevel() {}

}  // namespace moxtest
