// Dialogs as questions on the terminal, one line a field. What options of the command line have answered is not asked;
// where there is no terminal, they and the defaults have to do.
#include "frame/dialog.h"
#include "frame/exceptions.h"
#include "frame/text.h"
#include "host/answers.h"
#include "host/jobs.h"
#include "host/terminal.h"
#include "host/text_file.h"

#include <algorithm>
#include <fmt/core.h>
#include <mutex>
#include <string>

namespace zelmora::host {

namespace {

/// What an answer consists of that is to be empty: an empty one takes the default.
constexpr std::string_view empty_answer = "-";

std::mutex given_lock;
std::vector<dialog_answer> given;

/// The value of the field as an option or a line of the terminal has it. Raises what is wrong with it.
field_value value_of_answer(const dialog_field& field, std::string_view answer) {
  if (field.kind != field_kind::lines || !answer.starts_with('@')) return parse_field_value(field, answer);
  answer.remove_prefix(1);
  if (answer.starts_with('@')) return parse_field_value(field, answer);
  return parse_field_value(field, read_text_file(std::string(answer), get_interrupt()));
}

/// Runs `work`; what it raises, an abort aside, goes to `on_failure` as a text.
template <class Work, class OnFailure>
bool try_or(Work work, OnFailure on_failure) {
  try {
    work();
    return true;
  } catch (const zelmora_io::exception_aborted&) {
    throw;
  } catch (const std::exception& failure) {
    on_failure(failure.what());
    return false;
  }
}

[[noreturn]] void raise_unanswered(const std::string& message) { throw dialog_unanswered(message); }

// --- without asking --------------------------------------------------------------------------------------------------

/// Puts the answers given beforehand into the fields, and answers which fields have none.
std::vector<dialog_field*> fill_given(dialog_model& dialog) {
  const std::scoped_lock lock(given_lock);
  std::vector<dialog_field*> open;
  for (auto& field : dialog.fields) {
    const auto answer = std::ranges::find(given, field.option, &dialog_answer::option);
    if (answer == given.end()) {
      open.push_back(&field);
      continue;
    }
    try_or(
        [&] {
          field.value = value_of_answer(field, answer->text);
          check_field(field);
        },
        [&](const char* reason) { raise_unanswered(fmt::format("--{}: {}", field.option, reason)); });
  }
  return open;
}

/// `open` keep their defaults. A dialog of which nobody has said anything is not accepted unseen.
void accept_defaults(const dialog_model& dialog, const std::vector<dialog_field*>& open) {
  if (get_answers() == answers::asked && !open.empty() && open.size() == dialog.fields.size()) {
    std::string options;
    for (const auto* field : open) options += fmt::format("--{}, ", field->option);
    raise_unanswered(fmt::format("there is no terminal to ask on: give {}or --yes for the defaults", options));
  }
  for (const auto* field : open)
    try_or([&] { check_field(*field); },
           [&](const char* reason) { raise_unanswered(fmt::format("--{}: {}", field->option, reason)); });
}

// --- asking ----------------------------------------------------------------------------------------------------------

std::string choice_names(const dialog_field& field) {
  std::string result;
  for (const auto& choice : field.choices) {
    if (!result.empty()) result += ", ";
    result += choice.name;
    if (!choice.label.empty() && choice.label != choice.name) result += fmt::format(" ({})", choice.label);
  }
  return result;
}

/// What may be answered.
std::string hint_of(const dialog_field& field) {
  switch (field.kind) {
  case field_kind::number: return fmt::format("{} to {}", field.least, field.most);
  case field_kind::yes_no: return "yes or no";
  case field_kind::choice: return choice_names(field);
  case field_kind::choices: return fmt::format("any of {}; {} for none", choice_names(field), empty_answer);
  case field_kind::lines: return fmt::format("one line, @FILE for the text of a file, {} for none", empty_answer);
  case field_kind::text: return fmt::format("{} for none", empty_answer);
  case field_kind::file: break;
  }
  return "a file";
}

bool can_be_empty(field_kind kind) {
  return kind == field_kind::text || kind == field_kind::lines || kind == field_kind::choices;
}

/// False when the user has had enough of it.
bool ask_field(dialog_field& field) {
  auto& screen = terminal::get();
  if (!field.help.empty()) screen.print_error_line(escape_for_display(field.help));
  const auto shown = format_field_value(field);
  const auto question =
      fmt::format("{} ({}){}: ", field.label, hint_of(field), shown.empty() ? "" : fmt::format(" [{}]", shown));
  for (std::string answer; screen.ask_line(question, answer);) {
    const auto kept = field.value;
    const auto fill = [&] {
      if (!answer.empty())
        field.value = value_of_answer(field, answer == empty_answer && can_be_empty(field.kind) ? "" : answer);
      check_field(field);
    };
    if (try_or(fill, [&](const char* reason) { screen.print_error_line(escape_for_display(reason)); })) return true;
    field.value = kept;
  }
  get_interrupt().check();
  return false;
}

bool ask_fields(const dialog_model& dialog, const std::vector<dialog_field*>& open) {
  auto& screen = terminal::get();
  screen.print_error_line(escape_for_display(dialog.title));
  for (const auto& message : dialog.messages) screen.print_error_line(escape_for_display(message));
  const auto check = [&] { check_dialog(dialog); };
  do {
    for (auto* const field : open)
      if (!ask_field(*field)) return false;
  } while (!try_or(check, [&](const char* reason) { screen.print_error_line(escape_for_display(reason)); }));
  return true;
}

class terminal_dialogs : public dialog_host {
 public:
  bool show(dialog_model& dialog) override {
    const auto open = fill_given(dialog);
    if (!open.empty() && get_answers() == answers::asked && terminal::can_ask()) return ask_fields(dialog, open);
    accept_defaults(dialog, open);
    try_or([&] { check_dialog(dialog); }, [](const char* reason) { raise_unanswered(reason); });
    return true;
  }
};

service_factory_single_t<terminal_dialogs> factory;

} // namespace

void set_dialog_answers(std::vector<dialog_answer> answers) {
  const std::scoped_lock lock(given_lock);
  given = std::move(answers);
}

} // namespace zelmora::host
