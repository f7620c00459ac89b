#include "frame/file_info.h"

#include "frame/audio_chunk.h"
#include "frame/text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fmt/core.h>
#include <unordered_map>
#include <utility>

namespace zelmora {

const std::string* file_info::meta_get(std::string_view name, std::size_t n) const {
  const auto field = meta_find(name);
  return field == npos || n >= meta_enum_value_count(field) ? nullptr : &meta_enum_value(field, n);
}

const std::string* file_info::info_get(std::string_view name) const {
  const auto field = info_find(name);
  return field == npos ? nullptr : &info_enum_value(field);
}

void file_info::info_set_int(std::string_view name, std::int64_t value) {
  std::array<char, std::numeric_limits<std::int64_t>::digits10 + 2> text;
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
  info_set(name, {text.data(), end});
}

std::int64_t file_info::info_get_int(std::string_view name) const {
  const auto* text = info_get(name);
  return text == nullptr ? 0 : parse_integer(*text).value_or(0);
}

void file_info::info_set_channel_mask(std::uint32_t mask) {
  if (mask == 0 || mask == channel_mask_stereo || mask == channel_mask_mono)
    return info_remove(info_field::channel_mask);
  info_set(info_field::channel_mask, fmt::format("0x{:X}", mask));
}

void file_info::info_set_wfx(std::uint32_t rate, std::uint32_t channels, std::uint32_t mask) {
  info_set_int(info_field::samplerate, rate);
  info_set_int(info_field::channels, channels);
  info_set_channel_mask(channel_config_count(mask) == channels ? mask : 0);
}

file_info::wfx file_info::info_get_wfx() const {
  const auto number = [this](std::string_view name) {
    const auto value = info_get_int(name);
    return std::in_range<std::uint32_t>(value) ? static_cast<std::uint32_t>(value) : 0u;
  };
  wfx result{number(info_field::samplerate), number(info_field::channels), 0};
  if (const auto* text = info_get(info_field::channel_mask); text != nullptr && has_prefix_utf8(*text, "0x")) {
    const char* const last = text->data() + text->size();
    if (std::from_chars(text->data() + 2, last, result.mask, 16).ptr != last) result.mask = 0;
  }
  if (channel_config_count(result.mask) != result.channels) result.mask = channel_config_guess(result.channels);
  return result;
}

std::int64_t file_info::info_get_decoded_bps() const {
  const auto decoded = info_get_int(info_field::decoded_bitspersample);
  return decoded != 0 ? decoded : info_get_int(info_field::bitspersample);
}

unsigned file_info::info_get_usable_bps() const {
  constexpr std::int64_t widest = 256;
  const auto bits = info_get_decoded_bps();
  return bits >= 1 && bits <= widest ? static_cast<unsigned>(bits) : 0;
}

bool file_info::has_same_meta(const file_info& other) const {
  if (meta_get_count() != other.meta_get_count()) return false;
  for (std::size_t i = 0; i < meta_get_count(); ++i) {
    const auto field = other.meta_find(meta_enum_name(i));
    if (field == npos || meta_enum_value_count(i) != other.meta_enum_value_count(field)) return false;
    for (std::size_t n = 0; n < meta_enum_value_count(i); ++n)
      if (meta_enum_value(i, n) != other.meta_enum_value(field, n)) return false;
  }
  return true;
}

void file_info::copy_meta(const file_info& other) {
  if (&other == this) return;
  meta_remove_all();
  for (std::size_t i = 0; i < other.meta_get_count(); ++i)
    for (std::size_t n = 0; n < other.meta_enum_value_count(i); ++n)
      meta_add(other.meta_enum_name(i), other.meta_enum_value(i, n));
}

void file_info::copy(const file_info& other) {
  if (&other == this) return;
  set_length(other.get_length());
  set_replaygain(other.get_replaygain());
  copy_meta(other);
  while (info_get_count() != 0) info_remove(std::string(info_enum_name(info_get_count() - 1)));
  for (std::size_t i = 0; i < other.info_get_count(); ++i) info_set(other.info_enum_name(i), other.info_enum_value(i));
}

bool file_info::is_valid_field_name(std::string_view name) {
  constexpr std::string_view forbidden = "=%<>";
  return !name.empty() && std::ranges::all_of(name, [&](char c) {
    return c >= 0x20 && c <= 0x7E && forbidden.find(c) == std::string_view::npos;
  });
}

// ---------------------------------------------------------------------------------------------------------------------

/// Folded name to position. Dropped whenever positions move, and built again when it is next asked for.
struct file_info_impl::name_index : std::unordered_map<std::string, std::size_t> {};

namespace {

/// Up to this many fields, comparing each name costs less than hashing one.
constexpr std::size_t linear_search_limit = 24;

/// Names are ASCII by rule; what breaks the rule compares as text.
bool same_name(std::string_view a, std::string_view b) {
  if (a.size() == b.size() && ascii_equal(a, b)) return true;
  return (!is_printable_ascii(a) || !is_printable_ascii(b)) && stricmp_utf8(a, b) == 0;
}

/// As many technical fields as most formats have.
constexpr std::size_t usual_fields = 12;

} // namespace

file_info_impl::file_info_impl() = default;
file_info_impl::~file_info_impl() = default;
file_info_impl::file_info_impl(file_info_impl&&) noexcept = default;
file_info_impl::file_info_impl(const file_info_impl& other)
    : file_info(other), length_(other.length_), gains_(other.gains_), meta_(other.meta_), info_(other.info_) {}
file_info_impl::file_info_impl(const file_info& other) { copy(other); }

file_info_impl& file_info_impl::operator=(file_info_impl other) noexcept {
  length_ = other.length_;
  gains_ = other.gains_;
  meta_.swap(other.meta_);
  info_.swap(other.info_);
  meta_index_.reset();
  return *this;
}

std::size_t file_info_impl::meta_get_count() const { return meta_.size(); }
const std::string& file_info_impl::meta_enum_name(std::size_t field) const { return meta_.at(field).name; }
std::size_t file_info_impl::meta_enum_value_count(std::size_t field) const { return meta_.at(field).values.size(); }
const std::string& file_info_impl::meta_enum_value(std::size_t field, std::size_t n) const {
  return meta_.at(field).values.at(n);
}

std::size_t file_info_impl::meta_find(std::string_view name) const {
  if (meta_.size() <= linear_search_limit) {
    const auto found = std::ranges::find_if(meta_, [&](const meta_field& f) { return same_name(f.name, name); });
    return found == meta_.end() ? npos : static_cast<std::size_t>(found - meta_.begin());
  }
  if (!meta_index_) {
    meta_index_ = std::make_unique<name_index>();
    for (std::size_t i = 0; i < meta_.size(); ++i) meta_index_->try_emplace(fold_utf8(meta_[i].name), i);
  }
  const auto found = meta_index_->find(fold_utf8(name));
  return found == meta_index_->end() ? npos : found->second;
}

std::size_t file_info_impl::meta_find_or_add(std::string_view name) {
  if (const auto field = meta_find(name); field != npos) return field;
  meta_.push_back({std::string(name), {}});
  if (meta_index_) meta_index_->try_emplace(fold_utf8(name), meta_.size() - 1);
  return meta_.size() - 1;
}

void file_info_impl::meta_add(std::string_view name, std::string_view value) {
  meta_[meta_find_or_add(name)].values.emplace_back(value);
}

void file_info_impl::meta_set(std::string_view name, std::string_view value) {
  std::string kept(value); // `value` may point into the field itself
  auto& values = meta_[meta_find_or_add(name)].values;
  values.clear();
  values.push_back(std::move(kept));
}

void file_info_impl::meta_remove_field(std::string_view name) {
  const auto field = meta_find(name);
  if (field == npos) return;
  meta_.erase(meta_.begin() + static_cast<std::ptrdiff_t>(field));
  meta_index_.reset();
}

void file_info_impl::meta_remove_all() {
  meta_.clear();
  meta_index_.reset();
}

std::size_t file_info_impl::info_get_count() const { return info_.size(); }
const std::string& file_info_impl::info_enum_name(std::size_t field) const { return info_.at(field).name; }
const std::string& file_info_impl::info_enum_value(std::size_t field) const { return info_.at(field).value; }

std::size_t file_info_impl::info_find(std::string_view name) const {
  const auto found = std::ranges::find_if(info_, [&](const technical_field& f) { return ascii_equal(f.name, name); });
  return found == info_.end() ? npos : static_cast<std::size_t>(found - info_.begin());
}

void file_info_impl::info_set(std::string_view name, std::string_view value) {
  const auto field = info_find(name);
  if (field != npos) {
    info_[field].value = value;
    return;
  }
  if (info_.empty()) info_.reserve(usual_fields);
  auto& added = info_.emplace_back();
  added.name = name;
  added.value = value;
}

void file_info_impl::info_remove(std::string_view name) {
  const auto field = info_find(name);
  if (field != npos) info_.erase(info_.begin() + static_cast<std::ptrdiff_t>(field));
}

} // namespace zelmora
