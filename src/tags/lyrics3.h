// Lyrics3 v2: fields between "LYRICSBEGIN" and "LYRICS200", in the system code page. Read and removed, never written.
// Source: id3.org, "Lyrics3 v2.00".
#pragma once

#include "frame/file.h"
#include "frame/file_info.h"

namespace zelmora {

/// Moves `end` in front of the block that ends there; without one raises `exception_tag_not_found`. With `info`, sets
/// the fields that are known and the info field "tagtype"; fields from a damaged one on are left out.
void read_lyrics3(zelmora_io::file& source, std::uint64_t& end, file_info* info, abort_callback& abort);

} // namespace zelmora
