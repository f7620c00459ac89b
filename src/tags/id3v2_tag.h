// ID3v2 tags whole: bytes to `file_info` and back. Where a tag stands in a file is the affair of others.
// Sources: id3.org, "ID3 tag version 2.2.0", "2.3.0", "2.4.0 - Main Structure" and "- Native Frames".
#pragma once

#include "frame/file_info.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zelmora {

/// Length of an ID3v2 header [bytes].
inline constexpr std::size_t id3v2_header_size = 10;

/// The whole size of the tag whose first 10 bytes these are, header and footer included [bytes]; 0 when they are none.
std::uint64_t id3v2_tag_size(std::span<const std::byte> header);

/// Adds the fields, gains, SoundCheck information and "tagtype" of the tag that `tag` begins with to `info`. A frame
/// that can't be read is left out; a tag that can't raises `exception_io_data`.
void read_id3v2(std::span<const std::byte> tag, file_info& info);

enum class id3v2_padding : bool {
  none,
  configured, ///< as "tagging.id3.usePadding" says
};

struct id3v2_write_options {
  unsigned version = 0; ///< 3 or 4; 0 keeps the old tag's, or takes the configured one
  id3v2_padding padding = id3v2_padding::configured;
};

/// A tag that says what `info` says, in place of `old_tag` (empty when there is none), which took `old_size` bytes of
/// the file. Frames of the old tag that still hold are kept byte for byte. The result has `old_size` bytes when it fits
/// there and padding allows; with nothing to say it is empty. Raises `exception_io_data` for what could not be read
/// back: a tag or a frame that would be too large, or have too many values.
std::vector<std::byte> write_id3v2(std::span<const std::byte> old_tag, std::uint64_t old_size, const file_info& info,
                                   const id3v2_write_options& options = {});

} // namespace zelmora
