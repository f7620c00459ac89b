// Bytes put together by hand.
#pragma once

#include "frame/bytes.h"

#include <cstddef>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zelmora::test {

using bytes = std::vector<std::byte>;

inline bytes to_bytes(std::string_view text) {
  const auto span = as_byte_span(text);
  return {span.begin(), span.end()};
}
inline bytes to_bytes(std::initializer_list<int> values) {
  bytes result;
  for (const int value : values) result.push_back(static_cast<std::byte>(value));
  return result;
}
inline std::string to_text(std::span<const std::byte> data) {
  return {reinterpret_cast<const char*>(data.data()), data.size()};
}
inline bytes operator+(bytes a, const bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

} // namespace zelmora::test
