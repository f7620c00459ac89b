#include "cli/command_arguments.h"

#include "cli/help.h"
#include "cli/options.h"
#include "frame/text.h"

#include <algorithm>
#include <fmt/core.h>
#include <fmt/format.h>

namespace zelmora::cli {

namespace {

constexpr std::string_view negation = "no-";

[[noreturn]] void refuse(const context_command_description& command, const std::string& message) {
  throw usage_error(message, help_subject(command));
}

const dialog_field* find_field(const context_command_description& command, std::string_view option) {
  const auto found = std::ranges::find(command.fields, option, &dialog_field::option);
  return found == command.fields.end() ? nullptr : &*found;
}

[[noreturn]] void refuse_unknown(const context_command_description& command, std::string_view argument) {
  std::vector<std::string> options;
  for (const auto& field : command.fields) options.push_back("--" + field.option);
  refuse(command, fmt::format("unknown option \"{}\": \"{}\" {}", escape_for_display(argument), command.name,
                              options.empty() ? "has none" : fmt::format("has {}", fmt::join(options, ", "))));
}

/// What a value is checked for before files are opened; the text of a file shows later.
void check_answer(const context_command_description& command, const dialog_field& field, std::string_view text) {
  const bool names_file = field.kind == field_kind::lines && text.starts_with('@');
  const bool is_known_later =
      (field.kind == field_kind::choice || field.kind == field_kind::choices) && field.choices.empty();
  if (names_file || is_known_later) return;
  try {
    parse_field_value(field, text);
  } catch (const field_refusal& reason) {
    refuse(command, fmt::format("--{}: {}", field.option, escape_for_display(reason.what())));
  }
}

/// The arguments, one after the other.
class splitter {
 public:
  splitter(const context_command_description& command, const std::vector<std::string>& arguments)
      : command_(command), arguments_(arguments) {}

  command_arguments split() {
    while (next_ < arguments_.size()) {
      const auto& argument = arguments_[next_++];
      if (argument.size() > 2 && argument.starts_with("--"))
        take_option(argument);
      else if (argument.size() > 1 && argument.front() == '-')
        refuse_unknown(command_, argument);
      else
        result_.paths.push_back(argument);
    }
    return std::move(result_);
  }

 private:
  void take_option(const std::string& argument) {
    const auto sign = argument.find('=');
    const auto name = std::string_view(argument).substr(0, sign).substr(2);
    const auto* const field = find_field(command_, name);
    if (field == nullptr) {
      take_negation(argument, name);
    } else if (sign != std::string::npos) {
      answer(*field, argument.substr(sign + 1));
    } else if (field->kind == field_kind::yes_no) {
      answer(*field, "yes");
    } else {
      if (next_ == arguments_.size()) refuse(command_, fmt::format("--{} needs a value", name));
      answer(*field, arguments_[next_++]);
    }
  }

  void take_negation(const std::string& argument, std::string_view name) {
    const auto* const field = name.starts_with(negation) ? find_field(command_, name.substr(negation.size())) : nullptr;
    if (field == nullptr || field->kind != field_kind::yes_no) refuse_unknown(command_, argument);
    answer(*field, "no");
  }

  void answer(const dialog_field& field, std::string text) {
    check_answer(command_, field, text);
    std::erase_if(result_.answers, [&](const host::dialog_answer& earlier) { return earlier.option == field.option; });
    result_.answers.push_back({field.option, std::move(text)});
  }

  const context_command_description& command_;
  const std::vector<std::string>& arguments_;
  std::size_t next_ = 0;
  command_arguments result_;
};

std::string join_choices(const dialog_field& field, std::string_view separator) {
  std::string result;
  for (const auto& choice : field.choices) result.append(result.empty() ? "" : separator).append(choice.name);
  return result;
}

std::string argument_of(const dialog_field& field) {
  switch (field.kind) {
  case field_kind::text: return "TEXT";
  case field_kind::lines: return "TEXT|@FILE";
  case field_kind::file: return "FILE";
  case field_kind::number: return "N";
  case field_kind::choice: return field.choices.empty() ? "NAME" : join_choices(field, "|");
  case field_kind::choices: return "LIST";
  case field_kind::yes_no: break;
  }
  return {};
}

std::string text_of(const dialog_field& field) {
  auto text = field.label;
  if (!field.help.empty()) text += ": " + field.help;
  if (field.kind == field_kind::number) text += fmt::format("; {} to {}", field.least, field.most);
  if (field.kind == field_kind::choices && !field.choices.empty())
    text += fmt::format("; any of {}, with commas between", join_choices(field, ", "));
  if (const auto shown = format_field_value(field); !shown.empty()) text += fmt::format(" ({})", shown);
  return text;
}

} // namespace

std::string help_subject(const context_command_description& command) { return fmt::format("run \"{}\"", command.name); }

command_arguments split_command_arguments(const context_command_description& command,
                                          const std::vector<std::string>& arguments) {
  return splitter(command, arguments).split();
}

std::string command_help(const context_command_description& command) {
  verb_description page;
  page.name = help_subject(command);
  page.operands = "PATH...";
  page.summary = command.help;
  for (const auto& field : command.fields) {
    option_description option{{"--" + field.option}, argument_of(field), text_of(field)};
    if (field.kind == field_kind::yes_no) option.names.push_back("--no-" + field.option);
    page.options.push_back(std::move(option));
  }
  page.details = command.fields.empty() ? "It asks for nothing. The options are those of run."
                                        : "What no option tells is asked on the terminal. Without one it is as it "
                                          "stands, once an option or --yes is given. The options of run go as well.";
  return render_verb_help(page);
}

} // namespace zelmora::cli
