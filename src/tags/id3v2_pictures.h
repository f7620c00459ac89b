// Pictures in ID3v2 tags.
#pragma once

#include "frame/album_art.h"
#include "tags/id3v2_tag.h"

namespace zelmora {

/// The pictures that `tag` shows: of each kind the first. One of type "other" stands in for a missing front cover.
/// Raises `exception_io_data` for a tag that can't be read; a picture that can't be is left out.
album_art_set read_id3v2_pictures(std::span<const std::byte> tag);

/// As `write_id3v2`, for the pictures: frames whose picture is wanted stay as they are, those of kinds that show
/// another or none go, and all other frames stay. Raises `exception_album_art_unsupported_entry` for kinds that have no
/// type.
std::vector<std::byte> write_id3v2_pictures(std::span<const std::byte> old_tag, std::uint64_t old_size,
                                            const album_art_set& pictures, const id3v2_write_options& options = {});

} // namespace zelmora
