// What the items of APE tags mean: fields, gains and pictures, and how they become items again.
#pragma once

#include "frame/album_art.h"
#include "frame/file_info.h"
#include "tags/ape_tag.h"

namespace zelmora {

/// Adds the text items of `tag` to `info`: values to fields, gains to the gains, and the info field "tagtype". Names
/// that no field may have are left out; bytes that are no UTF-8 become U+FFFD.
void read_ape_fields(const ape_tag& tag, file_info& info);

/// Makes the writable text items say what `info` says. All other items keep their places; values that a read-only item
/// holds already are not said a second time.
void write_ape_fields(const file_info& info, std::vector<ape_item>& items);

/// The pictures: of several with one id, the first. An item that holds no bytes behind its file name is none.
album_art_set read_ape_pictures(std::span<const ape_item> items);

/// Makes `pictures` the ones that the items show; ids that no key stands for are left out. Answers whether that took a
/// change. A picture that is too large for an item raises `exception_album_art_unsupported_format`.
bool write_ape_pictures(const album_art_set& pictures, std::vector<ape_item>& items);

} // namespace zelmora
