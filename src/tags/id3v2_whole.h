// What those who read and write whole ID3v2 tags have in common.
#pragma once

#include "tags/id3v2_format.h"
#include "tags/id3v2_tag.h"

namespace zelmora {

/// `id3parser::parse`, raising `exception_io_data`.
id3parser::tag parse_id3v2(std::span<const std::byte> data, const id3parser::frame_filter& wanted,
                           id3parser::damaged_frames damaged = id3parser::damaged_frames::raise);
/// Whether frames of that id say something in fields.
bool is_field_frame(std::uint32_t id);
/// The tag that is to be replaced, with the frames that can be written again; one of version 0 for none, and for one
/// whose frames can't be found. Where a frame is so damaged that readers see no fields, there are none.
id3parser::tag parse_replaceable_id3v2(std::span<const std::byte> old_tag);
/// The version in which `old` is written anew.
unsigned choose_id3v2_version(const id3v2_write_options& options, const id3parser::tag& old);
/// `id3parser::serialize` by the settings, raising `exception_io_data`; without frames the result is empty.
std::vector<std::byte> serialize_id3v2(const id3parser::tag& made, std::uint64_t old_size, id3v2_padding padding);

} // namespace zelmora
