// An input whose files are records in memory: tags can be read and written, and what was done to them is counted.
#pragma once

#include "frame/file_info.h"

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace zelmora::test {

struct note {
  std::vector<file_info_impl> subsongs{1};
  bool is_read_only = false; ///< opening for writing raises `exception_tagging_unsupported`
  int times_in_use = 0;      ///< so many openings for writing find it in use
  std::string commit_failure{};
  bool is_interrupted = false; ///< `commit` finds that the user has had enough
  int opened_for_writing = 0;
  int committed = 0;
  int cleared = 0;
  std::vector<std::size_t> set{}; ///< the positions of the subsongs that `set_info` was called for
};

/// What stands under paths such as "note://a.mp3", by path. The subsongs of a note are numbered from 1 when it has
/// several, so that a position is no number. Fill it before threads read it.
std::map<std::string, note, std::less<>>& notes();

} // namespace zelmora::test
