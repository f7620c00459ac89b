// Settings of the codec bridge and of the inputs over decoder libraries.
#pragma once

#include <cstdint>
#include <string>

namespace zelmora {

/// libavcodec's level of compliance for streams that stray from their standard.
std::uint64_t get_ffmpeg_strict_level();
/// Folders in which correction files of hybrid formats are looked for beside the file's own; ";" stands between them.
std::string get_correction_file_folders();

} // namespace zelmora
