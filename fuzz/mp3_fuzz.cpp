#include "input_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return zelmora::fuzz::run_input_target(data, size, "fuzz.mp3");
}
