// Writes the raw draws of the random generator to standard output, 32 bits each, until the reader closes its end:
//
//   random-stream [SEED] | dieharder -a -g 200
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "moxa1.h"

int main(int argc, char** argv) {
  // Between these bounds a value is its draw.
  MoxdRandUniState state;
  moxdRandUniInit(argc > 1 ? std::atof(argv[1]) : 1, -0x1p31, 0x1p31, &state);

  std::vector<double> values(1 << 14);
  std::vector<int32_t> draws(values.size());
  do {
    moxdbRandUni(&state, values.data(), static_cast<int32_t>(values.size()));
    std::transform(values.begin(), values.end(), draws.begin(), [](double v) { return static_cast<int32_t>(v); });
  } while (std::fwrite(draws.data(), sizeof(int32_t), draws.size(), stdout) == draws.size());
}
