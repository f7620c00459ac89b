// ID3v1 and ID3v1.1: 128 bytes of fixed fields, in the system code page. Source: id3.org, "ID3v1".
#pragma once

#include "frame/file.h"
#include "frame/file_info.h"

#include <array>
#include <cstddef>
#include <span>

namespace zelmora {

inline constexpr std::size_t id3v1_size = 128; ///< [bytes]
using id3v1_block = std::array<std::byte, id3v1_size>;

/// Sets the fields that `block` holds, and the info field "tagtype". What is no ID3v1 tag of 128 bytes raises
/// `exception_tag_not_found`.
void decode_id3v1(std::span<const std::byte> block, file_info& info);

/// The first values of what fits, cut at the fields' widths. The comment gives up two of its bytes to the track number
/// as soon as there is a field "tracknumber", whether or not its value (1 to 127) can be stored.
id3v1_block encode_id3v1(const file_info& info);

/// Whether an ID3v1 tag alone would keep all of `info`.
bool id3v1_sufficient(const file_info& info);

/// Leaves what an ID3v1 tag made of `info` would say of it.
void id3v1_truncate(file_info& info);

/// Moves `end` in front of the tag that ends there; without one raises `exception_tag_not_found`.
void skip_id3v1(zelmora_io::file& source, std::uint64_t& end, abort_callback& abort);

} // namespace zelmora
