// What checks of tags ask of what was read.
#pragma once

#include "frame/album_art.h"
#include "frame/file_info.h"

namespace zelmora::fuzz {

/// The same kinds of pictures with the same bytes, in any order.
bool same_pictures(const album_art_set& a, const album_art_set& b);

/// What a new ID3v2 tag makes of `info`.
file_info_impl through_id3v2(const file_info& info);

/// Whether `info` may have more values than an ID3v2 frame: those that go beyond are refused.
bool has_too_many_values(const file_info& info);

/// Whether `info` has that one title.
bool has_title(const file_info& info, std::string_view title);

} // namespace zelmora::fuzz
