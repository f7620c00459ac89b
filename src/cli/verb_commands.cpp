// `zel commands` and `zel run`: what the plug-in offers beyond reading and tags.
#include "cli/command_arguments.h"
#include "cli/json_writer.h"
#include "cli/path_list.h"
#include "cli/suggestions.h"
#include "cli/verbs.h"
#include "frame/context_command.h"
#include "frame/exceptions.h"
#include "frame/input.h"
#include "frame/text.h"
#include "host/answers.h"
#include "host/console_log.h"
#include "host/jobs.h"

#include <algorithm>
#include <fmt/core.h>

namespace zelmora::cli {

namespace {

struct listed_command {
  service_ptr_t<context_command_entry> entry;
  std::size_t index = 0;
  context_command_description description;
};

/// By group, then by name.
std::vector<listed_command> list_commands() {
  std::vector<listed_command> result;
  for (const auto& entry : enumerate_services<context_command_entry>())
    for (std::size_t i = 0; i < entry->get_command_count(); ++i) result.push_back({entry, i, entry->describe(i)});
  std::ranges::sort(result, [](const listed_command& a, const listed_command& b) {
    const auto groups = stricmp_utf8(a.description.group, b.description.group);
    return groups != 0 ? groups < 0 : stricmp_utf8(a.description.name, b.description.name) < 0;
  });
  return result;
}

listed_command find_command(const std::string& name) {
  auto commands = list_commands();
  std::vector<std::string> names;
  for (auto& command : commands) {
    if (stricmp_utf8(command.description.name, name) == 0) return std::move(command);
    names.push_back(command.description.name);
  }
  auto message = fmt::format("unknown command \"{}\"", escape_for_display(name));
  const auto nearest = nearest_names(name, names);
  for (std::size_t i = 0; i < nearest.size(); ++i)
    message +=
        fmt::format("{}\"{}\"{}", i == 0 ? "; did you mean " : " or ", nearest[i], i + 1 == nearest.size() ? "?" : "");
  throw usage_error(message, "run");
}

/// All tracks of all paths. What can't be opened is an item all the same: the command tells why it fails.
std::vector<media_item> select_items(const path_arguments& input, abort_callback& abort) {
  std::vector<media_item> result;
  path_list paths(input, abort);
  for (std::string path; paths.next(path);) {
    abort.check();
    std::vector<std::uint32_t> subsongs;
    try {
      const auto reader = input_entry::g_open_for_info_read(nullptr, path, nullptr, abort);
      for (std::uint32_t i = 0; i < reader->get_subsong_count(); ++i) subsongs.push_back(reader->get_subsong(i));
    } catch (const zelmora_io::exception_aborted&) {
      throw;
    } catch (const std::exception&) {
      subsongs = {0};
    }
    for (const auto subsong : subsongs) result.push_back({path, subsong});
  }
  return result;
}

/// While it lives, the program's token ends the host's jobs, and questions are answered as the options say.
class command_session {
 public:
  command_session(bool yes, std::vector<host::dialog_answer> answers, abort_callback& abort) {
    host::set_interrupt(&abort);
    if (yes) host::set_answers(host::answers::yes);
    host::set_dialog_answers(std::move(answers));
    host::set_console_listener([this](std::string_view line) { report_ += escape_for_display(line) + '\n'; });
  }
  ~command_session() {
    host::set_interrupt(nullptr);
    host::set_answers(host::answers::asked);
    host::set_dialog_answers({});
    host::set_console_listener(nullptr);
  }
  command_session(const command_session&) = delete;
  command_session& operator=(const command_session&) = delete;

  /// What the command has printed on the console: what it did to each file.
  const std::string& report() const noexcept { return report_; }

 private:
  std::string report_;
};

} // namespace

exit_status run_commands(const commands_options& options, program_context& context) {
  std::string text;
  if (!options.command.empty()) {
    const auto command = find_command(options.command).description;
    if (options.json)
      append_json(text, command);
    else
      text = command_help(command);
    context.out.write(text);
    return exit_status::done;
  }
  std::string_view group;
  const auto commands = list_commands();
  for (const auto& command : commands) {
    const auto& shown = command.description;
    if (options.json) {
      append_json(text, shown);
      continue;
    }
    if (group != shown.group) text += fmt::format("{}\n", shown.group);
    group = shown.group;
    text += fmt::format("  {}\n      {}\n", shown.name, shown.help);
  }
  context.out.write(text);
  return exit_status::done;
}

exit_status run_run(const run_options& options, program_context& context) {
  const auto command = find_command(options.command);
  const auto& name = command.description.name;
  auto arguments = split_command_arguments(command.description, options.arguments);
  auto input = options.input;
  input.paths.insert(input.paths.begin(), arguments.paths.begin(), arguments.paths.end());
  require_paths(input, help_subject(command.description));
  const auto items = select_items(input, context.abort);
  if (items.empty()) return exit_status::done; // an empty list
  if (!command.entry->is_offered(command.index, items, context.abort)) {
    print_error(name, "The command does not apply to what is selected");
    return exit_status::failed;
  }
  const command_session session(options.yes, std::move(arguments.answers), context.abort);
  try {
    const auto result = command.entry->run(command.index, items);
    context.out.write(session.report());
    switch (result) {
    case command_result::done: return exit_status::done;
    case command_result::some_failed: return exit_status::failed;
    case command_result::aborted: break;
    }
  } catch (const host::dialog_unanswered& missing) {
    throw usage_error(missing.what(), help_subject(command.description));
  }
  return exit_status::interrupted;
}

} // namespace zelmora::cli
