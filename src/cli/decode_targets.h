// Which file each decoded path becomes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zelmora::cli {

struct decode_target {
  std::string output;
  std::string refusal; ///< why the path is not decoded; empty when it is
};

/// "music/a.flac" becomes "a.wav", "tone://440,2" becomes "tone-440,2.wav".
std::string output_name(std::string_view path, std::string_view extension);

/// Whether both lead to one existing file.
bool is_same_file(const std::string& a, const std::string& b);

/// One target in `directory` for each path, in their order. No target is that of an earlier path, nor any of the files
/// that are yet to be read.
std::vector<decode_target> plan_targets(const std::vector<std::string>& paths, const std::string& directory,
                                        std::string_view extension);

} // namespace zelmora::cli
