// The comment "iTunSMPB" of ID3v2, by which Apple's encoders tell the delay and padding that players cut away. It is no
// description of the music: without it a track isn't gapless any more.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace zelmora {

/// A tag with that comment of `old_tag` and nothing else, in the configured version, in place of `old_size` bytes.
/// Empty when there is none, or `old_tag` can't be read.
std::vector<std::byte> keep_apple_gapless(std::span<const std::byte> old_tag, std::uint64_t old_size);

/// The text of that comment; none when there is none, or `tag` can't be read.
std::optional<std::string> read_apple_gapless(std::span<const std::byte> tag);

} // namespace zelmora
