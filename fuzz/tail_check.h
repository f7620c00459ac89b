// What must hold for any bytes that claim to be the end of a file with tags.
#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace zelmora::fuzz {

// Each reads `data`, writes what was read and reads that. Returns what is wrong, empty for nothing.

/// With APE tags as what is written; and `data` as nothing but items.
std::string check_ape(std::span<const std::byte> data);
/// With ID3v1 as what is written; and Lyrics3 blocks wherever one may end.
std::string check_id3v1_lyrics3(std::span<const std::byte> data);

} // namespace zelmora::fuzz
