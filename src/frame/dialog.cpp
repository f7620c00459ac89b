#include "frame/dialog.h"

#include "frame/exceptions.h"
#include "frame/text.h"

#include <algorithm>
#include <fmt/core.h>

namespace zelmora {

namespace {

constexpr std::string_view kind_names[]{"text", "lines", "file", "number", "yes_no", "choice", "choices"};
static_assert(std::size(kind_names) == static_cast<std::size_t>(field_kind::choices) + 1);

std::int64_t parse_number(const dialog_field& field, std::string_view text) {
  const auto number = parse_integer(text);
  if (!number || *number < field.least || *number > field.most)
    throw field_refusal(fmt::format("\"{}\" is not a number from {} to {}", text, field.least, field.most));
  return *number;
}

bool parse_yes_no(std::string_view text) {
  for (const std::string_view yes : {"yes", "y"})
    if (ascii_equal(text, yes)) return true;
  for (const std::string_view no : {"no", "n"})
    if (ascii_equal(text, no)) return false;
  throw field_refusal(fmt::format("\"{}\" is neither yes nor no", text));
}

const field_choice& find_choice(const dialog_field& field, std::string_view text) {
  const auto found = std::ranges::find_if(
      field.choices, [&](const field_choice& choice) { return stricmp_utf8(choice.name, text) == 0; });
  if (found != field.choices.end()) return *found;
  std::string names;
  for (const auto& choice : field.choices) names.append(names.empty() ? "" : ", ").append(choice.name);
  throw field_refusal(fmt::format("\"{}\" is none of {}", text, names));
}

std::string parse_choice(const dialog_field& field, std::string_view text) { return find_choice(field, text).name; }

std::vector<std::string> parse_choices(const dialog_field& field, std::string_view text) {
  std::vector<bool> chosen(field.choices.size());
  while (!text.empty()) {
    const auto end = std::min(text.find(','), text.size());
    auto name = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    while (name.starts_with(' ')) name.remove_prefix(1);
    while (name.ends_with(' ')) name.remove_suffix(1);
    chosen[static_cast<std::size_t>(&find_choice(field, name) - field.choices.data())] = true;
  }
  std::vector<std::string> result;
  for (std::size_t i = 0; i < chosen.size(); ++i)
    if (chosen[i]) result.push_back(field.choices[i].name);
  return result;
}

std::string parse_text(const dialog_field& field, std::string_view text) {
  if (!is_valid_utf8(text) && field.kind != field_kind::file) throw field_refusal("The text is no UTF-8");
  if (text.empty() && field.kind == field_kind::file) throw field_refusal("A file is needed");
  return std::string(text);
}

std::string list_names(const std::vector<std::string>& names) {
  std::string result;
  for (const auto& name : names) result.append(result.empty() ? "" : ",").append(name);
  return result;
}

std::string format_text(const dialog_field& field, const std::string& text) {
  if (field.kind != field_kind::lines) return text;
  const auto ends = std::ranges::count(text, '\n');
  const auto lines = ends + (text.empty() || text.ends_with('\n') ? 0 : 1);
  return lines == 1 ? "1 line" : fmt::format("{} lines", lines);
}

template <class T>
const T* value_as(const dialog_field& field) {
  const auto* const value = std::get_if<T>(&field.value);
  if (value == nullptr && !std::holds_alternative<std::monostate>(field.value)) uBugCheck("a field of another kind");
  return value;
}

template <class T>
std::optional<T> copied(const T* value) {
  return value == nullptr ? std::nullopt : std::optional<T>(*value);
}

} // namespace

std::string_view field_kind_name(field_kind kind) { return kind_names[static_cast<std::size_t>(kind)]; }

dialog_field& dialog_model::field(std::string_view option) {
  const auto found = std::ranges::find(fields, option, &dialog_field::option);
  if (found == fields.end()) uBugCheck("no such field");
  return *found;
}
const dialog_field& dialog_model::field(std::string_view option) const {
  return const_cast<dialog_model*>(this)->field(option);
}

std::optional<std::int64_t> dialog_model::number(std::string_view option) const {
  return copied(value_as<std::int64_t>(field(option)));
}
std::optional<bool> dialog_model::yes_no(std::string_view option) const {
  return copied(value_as<bool>(field(option)));
}
const std::string* dialog_model::text(std::string_view option) const { return value_as<std::string>(field(option)); }
const std::vector<std::string>* dialog_model::choices(std::string_view option) const {
  return value_as<std::vector<std::string>>(field(option));
}

void raise_start_failure(std::string_view words, std::string_view reason) {
  throw std::runtime_error(words.ends_with('(') ? fmt::format("{}{})", words, reason) : std::string(words));
}

bool show_dialog(dialog_model& dialog, std::string_view failure) {
  service_ptr_t<dialog_host> host;
  try {
    host = service_single<dialog_host>();
  } catch (const exception_service_not_found& reason) {
    raise_start_failure(failure, reason.what());
  }
  return host->show(dialog);
}

field_value parse_field_value(const dialog_field& field, std::string_view text) {
  switch (field.kind) {
  case field_kind::number: return parse_number(field, text);
  case field_kind::yes_no: return parse_yes_no(text);
  case field_kind::choice: return parse_choice(field, text);
  case field_kind::choices: return parse_choices(field, text);
  case field_kind::text:
  case field_kind::lines:
  case field_kind::file: break;
  }
  return parse_text(field, text);
}

std::string format_field_value(const dialog_field& field) {
  struct formatter {
    const dialog_field& field;
    std::string operator()(std::monostate) const { return field.unset; }
    std::string operator()(bool value) const { return value ? "yes" : "no"; }
    std::string operator()(std::int64_t value) const { return fmt::format("{}", value); }
    std::string operator()(const std::string& value) const { return format_text(field, value); }
    std::string operator()(const std::vector<std::string>& value) const { return list_names(value); }
  };
  return std::visit(formatter{field}, field.value);
}

void check_field(const dialog_field& field) {
  if (std::holds_alternative<std::monostate>(field.value)) {
    if (field.unset.empty()) throw field_refusal("A value is needed");
    return;
  }
  if (field.check) field.check(field.value);
}

void check_dialog(const dialog_model& dialog) {
  for (const auto& field : dialog.fields) check_field(field);
  if (dialog.check) dialog.check(dialog);
}

} // namespace zelmora
