#include "frame/guid.h"

#include <fmt/core.h>

namespace zelmora {

std::string to_string(const guid& id) {
  const auto& b = id.bytes;
  return fmt::format(
      "{:02X}{:02X}{:02X}{:02X}-{:02X}{:02X}-{:02X}{:02X}-{:02X}{:02X}-{:02X}{:02X}{:02X}{:02X}{:02X}{:02X}", b[3],
      b[2], b[1], b[0], b[5], b[4], b[7], b[6], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
}

} // namespace zelmora
