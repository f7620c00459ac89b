// Edits of fields, and what they change. The four gains are fields of one value, under the names of
// `replaygain_field`.
#pragma once

#include "cli/tag_operands.h"
#include "frame/abort_callback.h"
#include "frame/file_info.h"
#include "frame/replaygain_text.h"

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace zelmora::cli {

/// The gains, in the order in which they are shown.
inline constexpr std::array gain_field_names{replaygain_field::track_gain, replaygain_field::track_peak,
                                             replaygain_field::album_gain, replaygain_field::album_peak};

/// A change of one field.
struct tag_edit {
  enum class kind {
    set,          ///< `values` become the field's; without any it goes
    add,          ///< `values` follow those that it has
    remove,       ///< the whole field goes
    remove_values ///< every value that is one of `values` goes
  };

  kind what = kind::set;
  std::string name;
  std::vector<std::string> values;
};

/// The edits that `fields` ask for, their files read. Values that `set` gives for one name become one edit; empty ones
/// give nothing, so that "NAME=" removes. A gain without a number raises `usage_error`, a file that can't be read or
/// holds no UTF-8 text `exception_io` with its name in the message.
std::vector<tag_edit> make_edits(tag_action action, const std::vector<field_operand>& fields, abort_callback& abort);

void apply(const tag_edit& edit, file_info& info);

/// A field that differs.
struct field_change {
  std::string name;
  std::vector<std::string> old_values; ///< none when the field is new
  std::vector<std::string> new_values; ///< none when it goes
};

/// Every field whose values or their order differ, names compared without case: those of `before` first, then the new
/// ones, then gains, which are compared as the text that tags hold.
std::vector<field_change> difference(const file_info& before, const file_info& after);

/// "  - NAME=VALUE" and "  + NAME=VALUE" lines: what the two lists have in common at their ends is left out.
void append_text(std::string& out, const field_change& change);

/// "NAME=VALUE", as `set` takes it back but for control characters, which are shown as \n or \xNN.
void append_assignment(std::string& out, std::string_view name, std::string_view value);

} // namespace zelmora::cli
