// Text that can be written as it stands: nearly all there is, so that finding it out must cost next to nothing.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace zelmora::cli {

/// Whether `text` holds nothing but printable ASCII, and none of `excluded`. Looks at eight bytes at a time, by the
/// borrow that tells a zero byte in a word.
template <char... excluded>
bool is_plain(std::string_view text) {
  constexpr std::uint64_t ones = 0x0101010101010101;
  constexpr std::uint64_t tops = 0x8080808080808080;
  const auto has_zero = [](std::uint64_t word) { return (word - ones) & ~word & tops; };
  const auto is_special = [&](std::uint64_t word) {
    const std::uint64_t controls = (word - ones * 0x20) & ~word & tops;
    return (word & tops) | controls | has_zero(word ^ (ones * 0x7F)) | (has_zero(word ^ (ones * excluded)) | ... | 0);
  };
  std::uint64_t found = 0;
  for (std::size_t at = 0; at < text.size(); at += sizeof(std::uint64_t)) {
    std::uint64_t word = ones * ' ';
    std::memcpy(&word, text.data() + at, std::min(text.size() - at, sizeof word));
    found |= is_special(word);
  }
  return found == 0;
}

} // namespace zelmora::cli
