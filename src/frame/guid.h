// The 16-byte identity of interfaces, services, settings and Wave64 chunks.
//
// Bytes are kept in the memory order of the Windows GUID record (three little-endian fields, then eight bytes),
// which is also the order in which Wave64 and WAVEFORMATEXTENSIBLE write them to a file.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zelmora {

struct guid {
  std::array<std::uint8_t, 16> bytes{};

  friend constexpr bool operator==(const guid&, const guid&) = default;
  friend constexpr auto operator<=>(const guid&, const guid&) = default;
};

/// Reads "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX", hexadecimal digits in either case; nothing else is accepted.
constexpr std::optional<guid> parse_guid(std::string_view text) {
  constexpr std::array<int, 16> position{6, 4, 2, 0, 11, 9, 16, 14, 19, 21, 24, 26, 28, 30, 32, 34};
  if (text.size() != 36) return std::nullopt;
  auto digit = [](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  };
  for (std::size_t dash : {8u, 13u, 18u, 23u})
    if (text[dash] != '-') return std::nullopt;
  guid result;
  for (std::size_t i = 0; i < result.bytes.size(); ++i) {
    const int high = digit(text[static_cast<std::size_t>(position[i])]);
    const int low = digit(text[static_cast<std::size_t>(position[i]) + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    result.bytes[i] = static_cast<std::uint8_t>(high * 16 + low);
  }
  return result;
}

/// "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX" in upper case.
std::string to_string(const guid& id);

inline namespace literals {
/// A GUID written in the source; a malformed one does not compile.
consteval guid operator""_guid(const char* text, std::size_t length) {
  return parse_guid(std::string_view(text, length)).value();
}
} // namespace literals

} // namespace zelmora
