// Repairs of MP3 files as edits of their bytes. Frames that hold audio are never changed.
#pragma once

#include "frame/rewrite.h"
#include "mpeg/mp3_survey.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zelmora {

/// The samples to leave out at both ends; what is not given stays as the file has it.
struct mp3_gapless {
  std::optional<std::uint32_t> delay;   ///< [samples]
  std::optional<std::uint32_t> padding; ///< [samples]
};

struct mp3_repair {
  std::vector<file_edit> edits;   ///< none where all is right
  std::string summary;            ///< what they do, on one line
  std::vector<std::string> notes; ///< what the user should know beyond that
};

/// A header that tells what the frames of `source` are: a new one where it has none or a wrong one. Raises
/// `exception_io_data` for streams that can't have one.
mp3_repair fix_mp3_header(zelmora_io::file& source, abort_callback& abort);

/// The same, and nothing left but frames and tags.
mp3_repair rebuild_mp3_stream(zelmora_io::file& source, abort_callback& abort);

/// A header with those values. Raises `exception_io_data` when they leave nothing to play, or one is given alone and
/// the other not known.
mp3_repair set_mp3_gapless(zelmora_io::file& source, const mp3_gapless& wanted, abort_callback& abort);

/// Makes the edits that `find` comes up with for the file at `path`, as `apply_edits` does.
mp3_repair repair_mp3_file(std::string_view path,
                           const std::function<mp3_repair(zelmora_io::file& source, abort_callback& abort)>& find,
                           abort_callback& abort);

} // namespace zelmora
