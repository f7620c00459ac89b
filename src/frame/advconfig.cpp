#include "frame/advconfig.h"

#include "frame/exceptions.h"
#include "frame/text.h"

#include <algorithm>
#include <fmt/core.h>
#include <mutex>

namespace zelmora {

namespace {

/// Two choices made at once must not end with both set, or none.
constinit std::mutex choice_lock;

bool is_choice_of(const advconfig_entry& entry, const guid& group) {
  return entry.kind() == advconfig_kind::radio && entry.place().parent == group;
}

std::string text_of(bool value) { return value ? "yes" : "no"; }

} // namespace

void advconfig_entry::refuse(std::string_view text, std::string_view wanted) const {
  throw kiv::exception_invalid_params(fmt::format("{} takes {}, not \"{}\"", place().key, wanted, text));
}

void advconfig_branch::set_text(std::string_view) { throw kiv::exception_invalid_params("a heading has no value"); }

void advconfig_checkbox::set(bool value) {
  if (!value || radio_ == is_radio::no) return value_.set(value);
  const std::scoped_lock lock(choice_lock);
  for (auto& sibling : enumerate_services<advconfig_entry>())
    if (sibling.get() != this && is_choice_of(*sibling, place().parent)) sibling->clear_choice();
  value_.set(true);
}

std::string advconfig_checkbox::get_text() const { return text_of(get()); }
std::string advconfig_checkbox::get_default_text() const { return text_of(initial_); }

void advconfig_checkbox::set_text(std::string_view text) {
  for (const auto* yes : {"yes", "true", "on", "1"})
    if (ascii_equal(text, yes)) return set(true);
  for (const auto* no : {"no", "false", "off", "0"}) {
    if (!ascii_equal(text, no)) continue;
    if (radio_ == is_radio::yes && get())
      throw kiv::exception_invalid_params(
          fmt::format("{} is the choice of its group; set another one instead", place().key));
    return set(false);
  }
  refuse(text, "yes or no");
}

void advconfig_integer::set(std::uint64_t value) {
  if (value < least_ || value > most_)
    refuse(fmt::format("{}", value), fmt::format("a number from {} to {}", least_, most_));
  value_.set(value);
}

void settle_radio_groups() {
  const auto entries = enumerate_services<advconfig_entry>();
  const auto first_with = [&](const guid& group, std::string (advconfig_entry::*text)() const) {
    return std::ranges::find_if(
        entries, [&](const auto& entry) { return is_choice_of(*entry, group) && ((*entry).*text)() == text_of(true); });
  };
  for (const auto& entry : entries) {
    if (entry->kind() != advconfig_kind::radio) continue;
    const auto& group = entry->place().parent;
    auto chosen = first_with(group, &advconfig_entry::get_text);
    if (chosen == entries.end()) chosen = first_with(group, &advconfig_entry::get_default_text);
    if (chosen != entries.end()) (*chosen)->set_text(text_of(true));
  }
}

std::string advconfig_integer::get_text() const { return fmt::format("{}", get()); }
std::string advconfig_integer::get_default_text() const { return fmt::format("{}", initial_); }

void advconfig_integer::set_text(std::string_view text) {
  const auto value = parse_integer(text);
  if (!value || *value < 0) refuse(text, fmt::format("a number from {} to {}", least_, most_));
  set(static_cast<std::uint64_t>(*value));
}

} // namespace zelmora
