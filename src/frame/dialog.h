// Dialogs: what a command asks before it works, as a model without a window. A host's front end shows it, in a window,
// on a terminal, or not at all where options of a command line have the answers.
//
// A command tells its fields in its row (`context_command::fields`), so that they can be listed without running it. To
// ask, it makes a `dialog_model` of the same fields, puts in the defaults for the selection, and calls `show_dialog`:
//   dialog_model dialog{"Edit Gapless Info", {}, gapless_fields()};
//   dialog.field("delay").value = std::int64_t{576};
//   if (!show_dialog(dialog, "Could not initialize \"Edit Gapless Info\" dialog (")) return command_result::aborted;
//   const auto delay = dialog.number("delay");
#pragma once

#include "frame/service.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zelmora {

/// What a field takes, and as what its value is kept.
enum class field_kind {
  text,   ///< a line of text: std::string
  lines,  ///< text of any number of lines: std::string
  file,   ///< the path of a file that is there: std::string
  number, ///< std::int64_t
  yes_no, ///< bool
  choice, ///< one of a list: std::string, a choice's name
  choices ///< several of a list, or none: std::vector<std::string>, names in the list's order
};
/// "text", "yes_no": the kind's name for programs.
std::string_view field_kind_name(field_kind kind);

/// Unset is the first alternative: it has no answer, and a default that is unset must be answered, unless the field
/// says what it means to leave it so.
using field_value = std::variant<std::monostate, bool, std::int64_t, std::string, std::vector<std::string>>;

struct field_choice {
  std::string name;  ///< short and without commas: what an option takes
  std::string label; ///< what is shown of it
};

struct dialog_field {
  std::string option; ///< "delay": lower-case letters, digits and hyphens, and not beginning with "no-"
  std::string label;
  field_kind kind = field_kind::text;
  std::string help{};     ///< a sentence without its full stop
  std::int64_t least = 0; ///< of a number
  std::int64_t most = 0;
  std::vector<field_choice> choices{}; ///< may be known only when the dialog is shown, and empty until then
  std::string filter{};                ///< of a file: "Cue Sheets|*.cue"
  std::string unset{};                 ///< what no value means, such as "as it is"; empty where a value is needed
  field_value value{};                 ///< first the default, then the answer
  /// Raises what is wrong with `value`, in words for the user; is asked only for what the kind allows.
  std::function<void(const field_value& value)> check{};
};

/// A dialog from its making to its end. What is asked for by an option that no field has is a bug check.
struct dialog_model {
  std::string title;
  std::vector<std::string> messages; ///< lines above the fields
  std::vector<dialog_field> fields;
  /// Raises what is wrong with values that are good one by one.
  std::function<void(const dialog_model& dialog)> check{};

  dialog_field& field(std::string_view option);
  const dialog_field& field(std::string_view option) const;

  /// The values, by kind; nothing, or null, where one is unset.
  std::optional<std::int64_t> number(std::string_view option) const;
  std::optional<bool> yes_no(std::string_view option) const;
  const std::string* text(std::string_view option) const; ///< of text, lines, file and choice
  const std::vector<std::string>* choices(std::string_view option) const;
};

/// Shows dialogs. A host has one, or none where nobody could answer.
class dialog_host : public service_base {
 public:
  using interface_type = dialog_host;
  using interface_parent = service_base;
  static constexpr guid class_guid = "9D2C61B7-3E5A-4B0F-A6C4-70E1B2D95A13"_guid;

  /// Returns when the user has accepted values, which are in `dialog` then and have passed `check_dialog`; false when
  /// there was nothing but a cancel. What a front end raises, such as that a value is missing and there is nobody to
  /// ask, ends the command.
  virtual bool show(dialog_model& dialog) = 0;
};

/// As `dialog_host::show`. Where the host shows no dialogs, raises `failure` as a start failure.
bool show_dialog(dialog_model& dialog, std::string_view failure);

/// Raises `words`, in which a command says that it can't begin; `reason` follows where they end with an open
/// parenthesis.
[[noreturn]] void raise_start_failure(std::string_view words, std::string_view reason);

// --- for front ends --------------------------------------------------------------------------------------------------

/// Raises what is wrong with `text` as a value of `field`; `lines` are taken as they stand.
///   number "576"; yes_no "yes", "no"; choice "paranoid"; choices "id3v2,ape", none: ""; names in any case
field_value parse_field_value(const dialog_field& field, std::string_view text);
/// The opposite, on one line: of `lines` their number.
std::string format_field_value(const dialog_field& field);
/// Raises what is wrong with the value of one field, or that there is none.
void check_field(const dialog_field& field);
/// Raises what is wrong with one of the fields, or with all of them together.
void check_dialog(const dialog_model& dialog);

/// A value that a field does not take; the text is for the user.
class field_refusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

} // namespace zelmora
