// Genres by number.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace zelmora {

// Index to name, as bytes of ID3v1 and numbers in ID3v2 mean them. Sources: id3.org, "ID3v2.3.0", appendix A, and the
// list that Winamp added to; the spellings are this system's.

/// What ID3v1 names by a byte, 0 to 147; empty for others.
std::string_view id3v1_genre_name(std::uint64_t index);
/// The first of those indexes that has that name, in any case.
std::optional<std::uint8_t> id3v1_genre_index(std::string_view name);

/// What a number in an ID3v2 frame names, 0 to 125; empty for others.
std::string_view id3v2_genre_name(std::uint64_t index);

} // namespace zelmora
