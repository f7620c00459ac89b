// ID3v2 frames as named values.
#pragma once

#include "frame/file_info.h"
#include "tags/id3v2_fields.h"
#include "tags/id3v2_text.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zelmora {

/// Orders names without case: they are ASCII, or compare by bytes.
struct field_name_less {
  using is_transparent = void;
  bool operator()(std::string_view a, std::string_view b) const;
};
/// Names and their values, none of which is empty.
using field_map = std::map<std::string, std::vector<std::string>, field_name_less>;

struct id3v2_context {
  unsigned version = 4;
  id3parser::strictness rule = id3parser::strictness::lenient;
  bool tpe2_is_album_artist = true;
};

/// What the setting makes `row` be called.
std::string_view id3v2_field_name(const id3v2_field_row& row, const id3v2_context& context);

/// Adds what `source` says. Raises `parseError` when it can't be read, or under the strict rule when it doesn't say it
/// in the way of its version; `out` may then hold a part of it.
void add_frame_fields(field_map& out, const id3parser::frame& source, const id3v2_context& context);

/// The fields of all frames; those that can't be read are left out.
template <class Frames>
field_map read_frame_fields(const Frames& frames, const id3v2_context& context) {
  field_map result;
  for (const id3parser::frame& source : frames) {
    try {
      add_frame_fields(result, source, context);
    } catch (const id3parser::parseError&) {
      // This one is left out.
    }
  }
  return result;
}

/// The album artist that a compilation has when no frame names one; empty otherwise.
std::string_view implied_album_artist(const field_map& fields);

/// The text of a comment frame whose description is `description` in any case; none when it is another frame or
/// unreadable.
std::optional<std::string> comment_text(const id3parser::frame& source, std::string_view description);
/// Whether a free text frame's name ends in a number in brackets: "FOO[2]".
bool has_numbered_name(const id3parser::frame& source);

} // namespace zelmora
