// Named values as ID3v2 frames. Old frames that still say what is to be said are kept byte for byte.
#pragma once

#include "tags/id3v2_reading.h"

namespace zelmora {

/// How new frames are made.
struct id3v2_frame_options {
  id3parser::text_encoding encoding = id3parser::text_encoding::utf8;
  bool compatible_dates = true;
  bool rating_as_text = false;
};

/// As the settings say, for a tag of `version`.
id3v2_frame_options configured_frame_options(unsigned version);

/// Makes the frames of `target`, whose version is 3 or 4, say `fields` and nothing else; frames that say nothing in
/// fields stay.
void rebuild_frames(id3parser::tag& target, field_map fields, const id3v2_context& context,
                    const id3v2_frame_options& options);

} // namespace zelmora
