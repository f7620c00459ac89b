#include "tags/id3v1.h"

#include "frame/text.h"
#include "tags/genres.h"
#include "tags/text_encoding.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace zelmora {

using namespace zelmora_io;

namespace {

constexpr std::string_view magic = "TAG";

struct text_field {
  std::string_view name;
  std::size_t offset;
  std::size_t width; ///< [bytes]
};
constexpr std::string_view comment = "comment";
constexpr std::array text_fields{
    text_field{"title", 3, 30}, text_field{"artist", 33, 30}, text_field{"album", 63, 30},
    text_field{"date", 93, 4},  text_field{comment, 97, 30},
};

// ID3v1.1: the last two bytes of the comment are a zero and the track number.
constexpr std::string_view tracknumber = "tracknumber";
constexpr std::size_t track_mark_offset = 125;
constexpr std::size_t track_offset = 126;
constexpr std::size_t comment_width_with_track = 28;
constexpr unsigned highest_track = 127;

constexpr std::string_view genre = "genre";
constexpr std::size_t genre_offset = 127;
constexpr std::uint8_t no_genre = 255;

/// Up to the first zero byte, without the blanks behind it that others fill the field with.
std::string_view stored_text(std::span<const std::byte> block, const text_field& field) {
  const auto bytes = block.subspan(field.offset, field.width);
  std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  text = text.substr(0, text.find('\0'));
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

/// The decimal number that `text` begins with, when it can be stored; else 0.
unsigned storable_track(std::string_view text) {
  unsigned value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value <= highest_track ? value : 0;
}

bool fits(std::string_view name, std::string_view value) {
  if (ascii_equal(name, tracknumber)) {
    const auto track = storable_track(value);
    return track != 0 && std::to_string(track) == value;
  }
  if (ascii_equal(name, genre)) return id3v1_genre_index(value).has_value();
  for (const auto& field : text_fields) {
    if (!ascii_equal(name, field.name)) continue;
    const auto width = field.name == comment ? comment_width_with_track : field.width;
    return value.size() <= width && is_ascii(value);
  }
  return false;
}

} // namespace

void decode_id3v1(std::span<const std::byte> block, file_info& info) {
  if (block.size() != id3v1_size || !starts_with(block, magic)) throw exception_tag_not_found();
  for (const auto& field : text_fields)
    if (const auto text = stored_text(block, field); !text.empty())
      info.meta_set(field.name, from_system_code_page(text));
  const auto track = std::to_integer<unsigned>(block[track_offset]);
  if (block[track_mark_offset] == std::byte{0} && track != 0) info.meta_set(tracknumber, std::to_string(track));
  const auto name = id3v1_genre_name(std::to_integer<std::uint8_t>(block[genre_offset]));
  if (!name.empty()) info.meta_set(genre, name);
  info.info_set(info_field::tagtype, "id3v1");
}

id3v1_block encode_id3v1(const file_info& info) {
  id3v1_block block{};
  std::memcpy(block.data(), magic.data(), magic.size());
  const auto* const track = info.meta_get(tracknumber);
  for (const auto& field : text_fields) {
    const auto* const value = info.meta_get(field.name);
    if (value == nullptr) continue;
    const bool is_short = field.name == comment && track != nullptr;
    const auto text = to_system_code_page(*value);
    std::memcpy(&block[field.offset], text.data(),
                std::min(text.size(), is_short ? comment_width_with_track : field.width));
  }
  if (track != nullptr) block[track_offset] = std::byte(storable_track(*track));
  const auto* const name = info.meta_get(genre);
  block[genre_offset] = std::byte(name == nullptr ? no_genre : id3v1_genre_index(*name).value_or(no_genre));
  return block;
}

bool id3v1_sufficient(const file_info& info) {
  if (info.get_replaygain() != replaygain_info{}) return false;
  for (std::size_t i = 0; i < info.meta_get_count(); ++i)
    if (info.meta_enum_value_count(i) != 1 || !fits(info.meta_enum_name(i), info.meta_enum_value(i, 0))) return false;
  return true;
}

void id3v1_truncate(file_info& info) {
  const auto block = encode_id3v1(info);
  info.meta_remove_all();
  info.set_replaygain({});
  decode_id3v1(block, info);
}

void skip_id3v1(file& source, std::uint64_t& end, abort_callback& abort) {
  if (end < id3v1_size) throw exception_tag_not_found();
  std::array<std::byte, magic.size()> start;
  source.seek(end - id3v1_size, abort);
  source.read_object(start.data(), start.size(), abort);
  if (!starts_with(start, magic)) throw exception_tag_not_found();
  end -= id3v1_size;
}

} // namespace zelmora
