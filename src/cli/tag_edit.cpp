#include "cli/tag_edit.h"

#include "cli/messages.h"
#include "cli/options.h"
#include "frame/exceptions.h"
#include "frame/filesystem.h"
#include "frame/text.h"
#include "host/text_file.h"

#include <algorithm>
#include <cmath>
#include <fmt/core.h>

namespace zelmora::cli {

namespace {

std::string value_of(const field_operand& field, abort_callback& abort) {
  return field.value_from == field_operand::origin::file ? host::read_text_file(field.value, abort) : field.value;
}

/// A number that is all of the text but for a unit; reading would take anything else for 0.
bool is_gain_text(std::string_view text) {
  const auto number = parse_decimal(text);
  if (number.length == 0 || !std::isfinite(number.value)) return false;
  auto unit = text.substr(number.length);
  unit.remove_prefix(std::min(unit.find_first_not_of(' '), unit.size()));
  return unit.empty() || ascii_equal(unit, "dB");
}

tag_edit& edit_of(std::vector<tag_edit>& edits, tag_edit::kind what, const std::string& name) {
  const auto found =
      std::ranges::find_if(edits, [&](const tag_edit& e) { return e.what == what && ascii_equal(e.name, name); });
  if (found != edits.end()) return *found;
  edits.push_back({what, name, {}});
  return edits.back();
}

tag_edit::kind kind_of(tag_action action, const field_operand& field) {
  if (action == tag_action::set) return tag_edit::kind::set;
  if (action == tag_action::add) return tag_edit::kind::add;
  return field.value_from == field_operand::origin::none ? tag_edit::kind::remove : tag_edit::kind::remove_values;
}

void check_gain(const std::string& name, const std::string& value) {
  if (!is_gain_text(value))
    throw usage_error(fmt::format("the value of {} is no number: \"{}\"", name, escape_for_display(value)), "tag");
}

} // namespace

std::vector<tag_edit> make_edits(tag_action action, const std::vector<field_operand>& fields, abort_callback& abort) {
  std::vector<tag_edit> result;
  for (const auto& field : fields) {
    const auto what = kind_of(action, field);
    auto& edit = edit_of(result, what, field.name);
    if (field.value_from == field_operand::origin::none) continue;
    auto value = value_of(field, abort);
    if (value.empty() && what == tag_edit::kind::set) continue;
    if (value.empty() && what == tag_edit::kind::add)
      throw usage_error(fmt::format("there is no value to add to {}", field.name), "tag");
    if (is_replaygain_field(field.name)) check_gain(field.name, value);
    edit.values.push_back(std::move(value));
  }
  return result;
}

// --- applying --------------------------------------------------------------------------------------------------------

namespace {

bool is_one_of(const std::vector<std::string>& values, std::string_view value) {
  return std::ranges::find(values, value) != values.end();
}

std::vector<std::string> values_of(const file_info& info, std::string_view name) {
  std::vector<std::string> result;
  const auto field = info.meta_find(name);
  if (field == file_info::npos) return result;
  for (std::size_t n = 0; n < info.meta_enum_value_count(field); ++n) result.push_back(info.meta_enum_value(field, n));
  return result;
}

void set_values(file_info& info, std::string_view name, const std::vector<std::string>& values) {
  if (values.empty()) return info.meta_remove_field(name);
  info.meta_set(name, values.front());
  for (std::size_t n = 1; n < values.size(); ++n) info.meta_add(name, values[n]);
}

void unset_gain(replaygain_info& gains, std::string_view name) {
  constexpr replaygain_info unset;
  if (ascii_equal(name, replaygain_field::track_gain)) gains.track_gain = unset.track_gain;
  if (ascii_equal(name, replaygain_field::track_peak)) gains.track_peak = unset.track_peak;
  if (ascii_equal(name, replaygain_field::album_gain)) gains.album_gain = unset.album_gain;
  if (ascii_equal(name, replaygain_field::album_peak)) gains.album_peak = unset.album_peak;
}

/// The text that `value` has once it is stored.
std::string stored_text(std::string_view name, std::string_view value) {
  replaygain_info gains;
  set_replaygain_field(gains, name, value);
  return get_replaygain_field(gains, name);
}

void apply_to_gains(const tag_edit& edit, file_info& info) {
  auto gains = info.get_replaygain();
  const auto has_value = [&](const std::string& value) {
    return stored_text(edit.name, value) == get_replaygain_field(gains, edit.name);
  };
  switch (edit.what) {
  case tag_edit::kind::set:
  case tag_edit::kind::add:
    // One value is all that there is room for.
    if (edit.values.empty())
      unset_gain(gains, edit.name);
    else
      set_replaygain_field(gains, edit.name, edit.values.back());
    break;
  case tag_edit::kind::remove: unset_gain(gains, edit.name); break;
  case tag_edit::kind::remove_values:
    if (std::ranges::any_of(edit.values, has_value)) unset_gain(gains, edit.name);
    break;
  }
  info.set_replaygain(gains);
}

} // namespace

void apply(const tag_edit& edit, file_info& info) {
  if (is_replaygain_field(edit.name)) return apply_to_gains(edit, info);
  switch (edit.what) {
  case tag_edit::kind::set: set_values(info, edit.name, edit.values); break;
  case tag_edit::kind::add:
    for (const auto& value : edit.values) info.meta_add(edit.name, value);
    break;
  case tag_edit::kind::remove: info.meta_remove_field(edit.name); break;
  case tag_edit::kind::remove_values: {
    auto values = values_of(info, edit.name);
    const auto kept = values.size();
    std::erase_if(values, [&](const std::string& value) { return is_one_of(edit.values, value); });
    if (values.size() != kept) set_values(info, edit.name, values);
    break;
  }
  }
}

// --- differences -----------------------------------------------------------------------------------------------------

std::vector<field_change> difference(const file_info& before, const file_info& after) {
  std::vector<field_change> result;
  for (std::size_t i = 0; i < before.meta_get_count(); ++i) {
    const auto& name = before.meta_enum_name(i);
    field_change change{name, values_of(before, name), values_of(after, name)};
    if (change.old_values != change.new_values) result.push_back(std::move(change));
  }
  for (std::size_t i = 0; i < after.meta_get_count(); ++i) {
    const auto& name = after.meta_enum_name(i);
    if (before.meta_find(name) == file_info::npos) result.push_back({name, {}, values_of(after, name)});
  }
  for (const auto name : gain_field_names) {
    auto old_text = get_replaygain_field(before.get_replaygain(), name);
    auto new_text = get_replaygain_field(after.get_replaygain(), name);
    if (old_text == new_text) continue;
    auto& change = result.emplace_back();
    change.name = name;
    if (!old_text.empty()) change.old_values.push_back(std::move(old_text));
    if (!new_text.empty()) change.new_values.push_back(std::move(new_text));
  }
  return result;
}

void append_assignment(std::string& out, std::string_view name, std::string_view value) {
  append_display(out, name);
  out += value.starts_with('@') ? "=@" : "=";
  append_display(out, value);
}

void append_text(std::string& out, const field_change& change) {
  const auto& from = change.old_values;
  const auto& to = change.new_values;
  const auto shorter = std::min(from.size(), to.size());
  std::size_t head = 0;
  while (head < shorter && from[head] == to[head]) ++head;
  std::size_t tail = 0;
  while (tail < shorter - head && from[from.size() - 1 - tail] == to[to.size() - 1 - tail]) ++tail;
  const auto append = [&](const char* mark, const std::vector<std::string>& values) {
    for (std::size_t n = head; n < values.size() - tail; ++n) {
      out += mark;
      append_assignment(out, change.name, values[n]);
      out += '\n';
    }
  };
  append("  - ", from);
  append("  + ", to);
}

} // namespace zelmora::cli
