#include "mpeg_repair_check.h"
#include "verdict.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return zelmora::fuzz::run_check(data, size, zelmora::fuzz::check_mpeg_repair);
}
