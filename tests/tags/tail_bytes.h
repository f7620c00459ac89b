// APE, Lyrics3 and ID3v1 blocks put together by hand, one field at a time.
#pragma once

#include "id3v2_bytes.h"

#include <fmt/core.h>

namespace zelmora::test {

inline bytes le_size(std::uint64_t value) {
  bytes result(4);
  store_le(result.data(), static_cast<std::uint32_t>(value));
  return result;
}

/// Flags as the format numbers them: bit 0 read-only, bits 1 and 2 the type.
inline bytes ape_item_bytes(std::string_view key, std::string_view value, unsigned flags = 0) {
  return le_size(value.size()) + le_size(flags) + to_bytes(key) + to_bytes({0}) + to_bytes(value);
}

inline constexpr unsigned ape_header_flags = 0xA0000000;
inline constexpr unsigned ape_footer_flags = 0x80000000;

inline bytes ape_edge(std::uint64_t size, std::uint64_t count, unsigned flags, unsigned version = 2000) {
  return to_bytes("APETAGEX")                          // magic
         + le_size(version) + le_size(size)            // size: items and footer
         + le_size(count) + le_size(flags) + bytes(8); // reserved
}

/// A whole tag; `count` may lie.
inline bytes ape_bytes(const bytes& items, std::uint64_t count, unsigned version = 2000) {
  const auto size = items.size() + 32;
  return ape_edge(size, count, ape_header_flags, version) + items + ape_edge(size, count, ape_footer_flags, version);
}

struct id3v1_fields {
  std::string_view title = {};
  std::string_view artist = {};
  std::string_view album = {};
  std::string_view date = {};
  std::string_view comment = {};
  int track = 0;
  int genre = 255;
};

inline bytes id3v1_bytes(const id3v1_fields& fields) {
  const auto padded = [](std::string_view text, std::size_t width) {
    auto result = to_bytes(text);
    result.resize(width);
    return result;
  };
  auto block = to_bytes("TAG") + padded(fields.title, 30) + padded(fields.artist, 30) + padded(fields.album, 30) +
               padded(fields.date, 4) + padded(fields.comment, 30) + to_bytes({fields.genre});
  if (fields.track != 0) block[126] = std::byte(fields.track);
  return block;
}

inline bytes lyrics3_field(std::string_view id, std::string_view value) {
  return to_bytes(fmt::format("{}{:05}{}", id, value.size(), value));
}
inline bytes lyrics3_bytes(const bytes& fields) {
  const auto block = to_bytes("LYRICSBEGIN") + fields;
  return block + to_bytes(fmt::format("{:06}LYRICS200", block.size()));
}

} // namespace zelmora::test
