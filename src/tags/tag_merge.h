// How the tags of one file become one `file_info`: the strongest tag gives the fields, weaker ones only gains and
// SoundCheck information. And how two records compare.
#pragma once

#include "frame/file_info.h"

namespace zelmora {

/// Replaces the fields of `out` by those of `source`; its gains take the place of those that aren't set, and of its
/// technical fields "tagtype" and SoundCheck's are copied.
void copy_tag(file_info& out, const file_info& source);

/// Adds what a weaker tag may add: gains that aren't set, SoundCheck fields that aren't there, and its "tagtype".
void merge_weaker_tag(file_info& out, const file_info& source);

/// Whether a tag holds anything but its own kind: a field or a gain.
bool has_tag_content(const file_info& info);

/// Whether two records hold the same fields, and gains that are written alike.
bool says_the_same(const file_info& a, const file_info& b);

/// The kinds that "tagtype" names.
struct tag_kinds_found {
  bool ape = false;
  bool id3v1 = false;
  bool id3v2 = false;
  friend bool operator==(const tag_kinds_found&, const tag_kinds_found&) = default;
};
tag_kinds_found parse_tag_type(std::string_view tag_type);

} // namespace zelmora
