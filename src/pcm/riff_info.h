// The INFO list of RIFF: pairs of a four-character code and a text.
//
// Source: Multimedia Programming Interface and Data Specifications 1.0 (1991), "INFO List Chunk". Texts are in the
// system's code page when they are read, since that is what programs wrote into them, and US-ASCII when they are
// written, since that is what everyone reads alike.
#pragma once

#include "frame/file_info.h"
#include "pcm/wave_chunks.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zelmora {

/// An INFO list larger than this is none: texts of that size belong elsewhere, and it would be read whole [bytes].
inline constexpr std::uint64_t max_info_list = 1024 * 1024;

/// One subchunk of an INFO list.
struct riff_info_item {
  riff_code code;
  std::vector<std::byte> bytes; ///< header, text and pad byte as they stand

  friend bool operator==(const riff_info_item&, const riff_info_item&) = default;
};

/// Takes apart the payload of a LIST, from "INFO" on. A text that would end behind the list ends with it; one that
/// would end behind the file, with `behind` bytes after the list, raises `exception_io_data_truncation`.
std::vector<riff_info_item> parse_riff_info(std::span<const std::byte> payload, std::uint64_t behind);

/// Adds the fields of `items` to `info`.
void read_riff_info(std::span<const riff_info_item> items, file_info& info);

/// Whether any of `items` maps to a field.
bool has_riff_info_fields(std::span<const riff_info_item> items);

/// `items` with the fields of `info` in the place of the old ones. What says the same as before is kept byte for byte,
/// as is every code without a field. Several values are joined by ", ".
std::vector<riff_info_item> update_riff_info(std::span<const riff_info_item> items, const file_info& info);

/// Whether `items` say all that `info` does: every field with all its values and characters, and there are no gains.
bool riff_info_holds(std::span<const riff_info_item> items, const file_info& info);

/// The payload of a LIST, from "INFO" on; empty when there are no items.
std::vector<std::byte> write_riff_info(std::span<const riff_info_item> items);

} // namespace zelmora
