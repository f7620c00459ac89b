// The operands of `zel tag`: which of them name fields, and which are paths.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zelmora::cli {

enum class tag_action { show, set, add, remove, clear, copy };

/// "title=x", "lyrics=@words.txt" or, for `remove`, "title".
struct field_operand {
  enum class origin { none, text, file };

  std::string name;
  origin value_from = origin::none;
  std::string value; ///< the text, or the path of the file that holds it
};

struct tag_operands {
  std::vector<field_operand> fields;
  std::vector<std::string> paths;
};

/// What stands on both sides of a "--".
struct marked_operands {
  std::vector<std::string> before;
  std::vector<std::string> after;
  bool has_mark = false;
};

/// For `set` and `add` the leading operands NAME=VALUE are fields, where NAME has no slash; for `remove` the first
/// operand, those NAME=VALUE that follow it, and before a "--" all. The rest is paths. A field of a name that none can
/// have, a text that is no UTF-8, an @ without a file, or a field that may as well be a path raises `usage_error`.
tag_operands split_tag_operands(tag_action action, marked_operands operands);

} // namespace zelmora::cli
