// Bytes for the tests of codecs.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <span>
#include <vector>

namespace zelmora::test {

using bytes = std::vector<std::byte>;

inline bytes to_bytes(std::initializer_list<int> values) {
  bytes result;
  for (const int value : values) result.push_back(static_cast<std::byte>(value));
  return result;
}

} // namespace zelmora::test
