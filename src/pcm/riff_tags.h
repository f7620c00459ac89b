// Tags of RIFF WAVE files: an ID3v2 tag in an "id3 " chunk, and the INFO list.
//
// What is read, and which of the two is written when: docs/decisions/0008-tags-of-wav-files.md.
#pragma once

#include "frame/file_info.h"
#include "pcm/riff_destination.h"
#include "pcm/wav_parser.h"

#include <string_view>

namespace zelmora {

/// Adds the tags in `chunks` to `info`: the ID3v2 tag, or else the INFO list. One that is damaged counts as absent.
void read_riff_tags(zelmora_io::file& file, const riff_tag_chunks& chunks, file_info& info, abort_callback& abort);

/// Makes the tags of `file`, which `path` leads to and which is open for writing, say what `info` says. Tags that say
/// so already are not written. `file` may be another one afterwards; a failure leaves the old tags or the new. Raises
/// `exception_io_data` for chunks that can't be told apart, and for a file that would be too large.
void write_riff_tags(file_ptr& file, std::string_view path, const file_info& info, abort_callback& abort);

/// As `write_riff_tags`; removes the tags of both kinds.
void remove_riff_tags(file_ptr& file, std::string_view path, abort_callback& abort);

/// Brings the chunks of `file` to what `edit` says, in place where that is safe.
void run_riff_edit(file_ptr& file, std::string_view path, const riff_layout& layout, const riff_edit& edit,
                   abort_callback& abort);

} // namespace zelmora
