#include "tags/id3v2_tag.h"

#include "frame/exceptions.h"
#include "frame/replaygain_text.h"
#include "frame/text.h"
#include "tags/id3v2_whole.h"
#include "tags/id3v2_writing.h"
#include "tags/soundcheck.h"
#include "tags/tag_settings.h"

#include <algorithm>
#include <fmt/core.h>

namespace zelmora {

using id3parser::tag;

namespace {

constexpr std::string_view album_artist_field = "album artist";

id3v2_context configured_context(unsigned version) {
  return {version, id3parser::strictness::lenient, id3v2_maps_tpe2_to_album_artist()};
}

/// All that a tag says, the album artist of a compilation included.
field_map read_all_fields(const tag& source) {
  auto fields = read_frame_fields(source.frames, configured_context(source.version));
  if (const auto artist = implied_album_artist(fields); !artist.empty())
    fields.insert_or_assign(std::string(album_artist_field), std::vector<std::string>{std::string(artist)});
  return fields;
}

std::optional<std::string> find_comment(const tag& source, std::string_view description) {
  for (const auto& f : source.frames)
    if (auto text = comment_text(f, description)) return text;
  return std::nullopt;
}

// --- from file_info ------------------------------------------------------------------------------------------------

std::string_view without_alias(std::string_view name) {
  const auto found =
      std::ranges::find_if(field_aliases, [&](const field_alias& row) { return ascii_equal(row.alias, name); });
  return found == field_aliases.end() ? name : found->field;
}

/// A zero byte, which ends a string in a frame, parts two values.
void add_values(field_map& out, std::string_view field, std::string_view text) {
  while (!text.empty()) {
    const auto value = text.substr(0, text.find('\0'));
    text.remove_prefix(std::min(value.size() + 1, text.size()));
    if (!value.empty()) out[std::string(field)].emplace_back(value);
  }
}

void add_meta_fields(field_map& out, const file_info& info) {
  for (std::size_t i = 0; i < info.meta_get_count(); ++i) {
    const auto name = without_alias(info.meta_enum_name(i));
    for (std::size_t n = 0; n < info.meta_enum_value_count(i); ++n) add_values(out, name, info.meta_enum_value(i, n));
  }
}

void add_gain_fields(field_map& out, const replaygain_info& gains) {
  using namespace replaygain_field;
  for (const auto name : {album_gain, album_peak, track_gain, track_peak})
    if (auto text = get_replaygain_field(gains, name); !text.empty())
      out.insert_or_assign(std::string(name), std::vector<std::string>{std::move(text)});
}

/// The SoundCheck comment to be written; nothing when the old one, if any, stands.
std::string wanted_soundcheck(const file_info& info) {
  const auto request = info.info_get_int(soundcheck_field::user_option);
  const auto source = request == 1   ? soundcheck_source::track_gain
                      : request == 2 ? soundcheck_source::album_gain
                                     : get_soundcheck_source();
  auto text = compute_soundcheck(info.get_replaygain(), source);
  if (!text.empty()) return text;
  const auto* const kept = info.info_get(soundcheck_field::raw);
  return kept == nullptr ? std::string() : *kept;
}

bool clears_soundcheck(const file_info& info) { return info.info_find(soundcheck_field::clear) != file_info::npos; }

field_map fields_of(const file_info& info) {
  field_map result;
  add_meta_fields(result, info);
  add_gain_fields(result, info.get_replaygain());
  if (!clears_soundcheck(info))
    if (auto text = wanted_soundcheck(info); !text.empty())
      result.insert_or_assign(std::string(soundcheck_comment_field), std::vector<std::string>{std::move(text)});
  return result;
}

// --- writing -------------------------------------------------------------------------------------------------------

/// What a compilation shows as its album artist, and no frame of `old` holds, is not written when it is only seen.
void drop_implied_album_artist(const tag& old, field_map& wanted) {
  auto artist = wanted.extract(std::string(album_artist_field));
  if (artist.empty()) return;
  const auto seen = implied_album_artist(read_frame_fields(old.frames, configured_context(old.version)));
  const bool is_implied = !seen.empty() && implied_album_artist(wanted) == seen;
  if (!is_implied || artist.mapped() != std::vector<std::string>{std::string(seen)}) wanted.insert(std::move(artist));
}

/// Whether `old` says `wanted` already, to the last value.
bool says_already(const tag& old, field_map wanted, const file_info& info) {
  const auto found = wanted.find(soundcheck_comment_field);
  const auto soundcheck = found == wanted.end() ? std::nullopt : std::optional(found->second.front());
  const auto old_soundcheck = find_comment(old, soundcheck_comment);
  if (clears_soundcheck(info) ? old_soundcheck.has_value() : soundcheck && soundcheck != old_soundcheck) return false;
  if (found != wanted.end()) wanted.erase(found);
  // Gains are compared as they are written: two texts of one value don't differ.
  auto fields = read_all_fields(old);
  replaygain_info gains;
  std::erase_if(fields,
                [&](const auto& entry) { return set_replaygain_field(gains, entry.first, entry.second.front()); });
  add_gain_fields(fields, gains);
  return std::ranges::equal(fields, wanted, [](const auto& a, const auto& b) {
    return ascii_equal(a.first, b.first) && a.second == b.second;
  });
}

} // namespace

std::uint64_t id3v2_tag_size(std::span<const std::byte> header) {
  constexpr std::byte high_bit{0x80};
  constexpr std::byte unknown_flags{0x0F};
  constexpr std::byte footer_flag{0x10};
  if (header.size() < id3v2_header_size || !starts_with(header, "ID3") || (header[5] & unknown_flags) != std::byte{0})
    return 0;
  std::uint64_t size = 0;
  for (const auto byte : header.subspan(6, 4)) {
    if ((byte & high_bit) != std::byte{0}) return 0;
    size = size << 7 | std::to_integer<std::uint64_t>(byte);
  }
  return size + id3v2_header_size + ((header[5] & footer_flag) != std::byte{0} ? id3v2_header_size : 0);
}

void read_id3v2(std::span<const std::byte> data, file_info& info) {
  const auto source = parse_id3v2(data, is_field_frame);
  auto gains = info.get_replaygain();
  for (const auto& [name, values] : read_all_fields(source)) {
    if (set_replaygain_field(gains, name, values.front())) continue;
    for (const auto& value : values) info.meta_add(name, value);
  }
  info.set_replaygain(gains);
  if (const auto text = find_comment(source, soundcheck_comment)) import_soundcheck(*text, info);
  info.info_set(info_field::tagtype, fmt::format("id3v2.{}", source.version));
}

std::vector<std::byte> write_id3v2(std::span<const std::byte> old_tag, std::uint64_t old_size, const file_info& info,
                                   const id3v2_write_options& options) {
  auto made = parse_replaceable_id3v2(old_tag);
  const auto version = choose_id3v2_version(options, made);
  auto fields = fields_of(info);
  if (made.version == version && old_tag.size() == old_size && says_already(made, fields, info))
    return {old_tag.begin(), old_tag.end()};
  drop_implied_album_artist(made, fields);
  if (clears_soundcheck(info))
    std::erase_if(made.frames, [](const auto& f) { return comment_text(f, soundcheck_comment).has_value(); });
  if (made.version == 0) made.version = version;
  set_version(made, version);
  try {
    rebuild_frames(made, std::move(fields), configured_context(version), configured_frame_options(version));
  } catch (const id3parser::writeError& failure) {
    throw zelmora_io::exception_io_data(failure.what());
  }
  return serialize_id3v2(made, old_size, options.padding);
}

} // namespace zelmora
