// Metadata made up from a seed, for properties that hold for any of it.
#pragma once

#include "frame/file_info.h"

#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace zelmora::test {

using meta_list = std::map<std::string, std::vector<std::string>>;

/// Lower-case names and their values.
meta_list list_meta(const file_info& info);

class info_generator {
 public:
  explicit info_generator(unsigned seed) : random_(seed) {}

  /// Any of it: all of Unicode, empty values, long ones, many of them, names that mean something to a format.
  file_info_impl wild();
  /// Values and names without anything that a format could take for its own; the gains have as many digits as are kept.
  file_info_impl tame();

 private:
  std::size_t below(std::size_t limit) { return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random_); }
  std::string wild_text();
  std::string tame_text();
  replaygain_info gains();

  std::mt19937 random_;
};

} // namespace zelmora::test
