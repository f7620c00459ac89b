// The command that changes which kinds of tags files have. What they say stays: each kind says all of it that it can.
#pragma once

#include "tags/tag_processor.h"

#include <string>

namespace zelmora {

/// Gives the file of MPEG audio at `path` tags of `kinds`, and of no other, that say what those it has say. Pictures
/// move along where one of `kinds` holds any. `tag_kinds::none` removes all tags.
void change_mp3_tag_kinds(const std::string& path, tag_kinds kinds, abort_callback& abort);

} // namespace zelmora
