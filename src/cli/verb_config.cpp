// `zel config`: the settings of the plug-in.
#include "cli/json_writer.h"
#include "cli/verbs.h"
#include "frame/text.h"
#include "host/console_log.h"

#include <algorithm>
#include <fmt/core.h>

namespace zelmora::cli {

namespace {

const char* kind_name(advconfig_kind kind) {
  switch (kind) {
  case advconfig_kind::branch: return "branch";
  case advconfig_kind::checkbox: return "checkbox";
  case advconfig_kind::radio: return "radio";
  case advconfig_kind::string: return "string";
  case advconfig_kind::integer: break;
  }
  return "integer";
}

bool is_branch(const host::setting_row& row) { return row.entry->kind() == advconfig_kind::branch; }

/// A key that no setting has, or a value that one does not take.
class setting_failure : public std::runtime_error {
 public:
  setting_failure(std::string key, const std::string& message) : std::runtime_error(message), key_(std::move(key)) {}
  const std::string& key() const noexcept { return key_; }

 private:
  std::string key_;
};

service_ptr_t<advconfig_entry> setting_of(const std::string& key) {
  auto entry = host::find_setting(key);
  if (!entry) throw setting_failure(key, "There is no such setting");
  return entry;
}

void set_value(const std::string& key, advconfig_entry& entry, const std::string& value) {
  try {
    entry.set_text(value);
  } catch (const kiv::exception_invalid_params& failure) {
    // "KEY takes ...": the key stands before every message of ours.
    std::string_view message = failure.what();
    const auto subject = fmt::format("{} ", entry.place().key);
    if (message.starts_with(subject)) message.remove_prefix(subject.size());
    throw setting_failure(key, std::string(message));
  }
}

/// One choice of a group always stands, so the default of a choice is that of its group.
void reset_radio(const std::string& key, const advconfig_entry& entry) {
  for (const auto& row : host::list_settings()) {
    const bool sibling =
        row.entry->kind() == advconfig_kind::radio && row.entry->place().parent == entry.place().parent;
    if (sibling && row.entry->get_default_text() == "yes") set_value(key, *row.entry, "yes");
  }
}

void reset_value(const std::string& key, advconfig_entry& entry) {
  if (entry.kind() == advconfig_kind::radio)
    reset_radio(key, entry);
  else
    set_value(key, entry, entry.get_default_text());
}

void list_json(standard_output& out) {
  std::vector<std::string> branch;
  for (const auto& row : host::list_settings()) {
    branch.resize(row.depth);
    const auto& place = row.entry->place();
    if (is_branch(row)) {
      branch.emplace_back(place.label);
      continue;
    }
    std::string line;
    append_json(line, {std::string(place.key), std::string(place.label), kind_name(row.entry->kind()),
                       row.entry->get_text(), row.entry->get_default_text(), branch});
    out.write(line);
  }
}

void list_text(standard_output& out) {
  for (const auto& row : host::list_settings()) {
    const auto& place = row.entry->place();
    out.write(fmt::format("{:{}}{}\n", "", row.depth * 2, escape_for_display(place.label)));
    if (is_branch(row)) continue;
    const auto value = row.entry->get_text();
    const auto standard = row.entry->get_default_text();
    out.write(fmt::format("{:{}}{} = {}{}\n", "", row.depth * 2 + 4, place.key, escape_for_display(value),
                          value == standard ? "" : fmt::format("  * default: {}", escape_for_display(standard))));
  }
}

void change(const config_options& options, program_context& context) {
  // All keys are looked up before the first is changed.
  std::vector<service_ptr_t<advconfig_entry>> entries;
  for (const auto& key : options.keys) entries.push_back(setting_of(key));
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (options.action == config_action::set)
      set_value(options.keys[i], *entries[i], options.values[i]);
    else
      reset_value(options.keys[i], *entries[i]);
  }
  if (options.keys.empty())
    for (const auto& row : host::list_settings())
      if (!is_branch(row)) reset_value(std::string(row.entry->place().key), *row.entry);
  context.host.save_configuration(context.abort);
}

/// The host goes on without a configuration that it can't read; whoever looks at settings is to know.
void tell_damage(const host::host_instance& host) {
  const auto& path = host.configuration_path();
  for (const auto& line : host::recent_console_lines())
    if (line.starts_with(path + ": ")) return print_error(path, "warning: " + line.substr(path.size() + 2));
}

} // namespace

exit_status run_config(const config_options& options, program_context& context) {
  tell_damage(context.host);
  try {
    switch (options.action) {
    case config_action::list: options.json ? list_json(context.out) : list_text(context.out); break;
    case config_action::get:
      for (const auto& key : options.keys) context.out.write(setting_of(key)->get_text() + '\n');
      break;
    case config_action::set:
    case config_action::reset: change(options, context); break;
    }
  } catch (const setting_failure& failure) {
    print_error(failure.key(), failure.what());
    return exit_status::failed;
  }
  return exit_status::done;
}

} // namespace zelmora::cli
