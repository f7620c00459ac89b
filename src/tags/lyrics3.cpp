#include "tags/lyrics3.h"

#include "frame/text.h"
#include "tags/text_encoding.h"

#include <algorithm>
#include <array>

namespace zelmora {

using namespace zelmora_io;

namespace {

constexpr std::string_view block_begin = "LYRICSBEGIN";
constexpr std::string_view block_end = "LYRICS200";
constexpr std::size_t size_digits = 6; ///< in front of `block_end`
constexpr std::size_t trailer_size = size_digits + block_end.size();

constexpr std::size_t field_id_size = 3;
constexpr std::size_t field_size_digits = 5;

struct known_field {
  std::string_view id;
  std::string_view name;
};
constexpr std::array known_fields{
    known_field{"ETT", "title"},   known_field{"EAR", "artist"}, known_field{"EAL", "album"},
    known_field{"INF", "comment"}, known_field{"LYR", "lyrics"},
};

/// Digits are not looked at closely: what they add up to is compared with what is there.
std::size_t decimal(std::string_view digits) {
  std::size_t value = 0;
  for (const char c : digits) value = value * 10 + static_cast<unsigned char>(c - '0');
  return value;
}

void set_field(std::string_view id, std::string_view value, file_info& info) {
  const auto known = std::ranges::find(known_fields, id, &known_field::id);
  value = value.substr(0, value.find('\0'));
  if (known != known_fields.end() && !value.empty()) info.meta_set(known->name, from_system_code_page(value));
}

void read_fields(std::span<const std::byte> fields, file_info& info) {
  byte_reader<std::endian::native> in(fields);
  while (in.remaining() >= field_id_size + field_size_digits) {
    const auto id = in.text(field_id_size);
    const auto size = decimal(in.text(field_size_digits));
    if (size > in.remaining()) return;
    if (size != 0) set_field(id, in.text(size), info);
  }
}

} // namespace

void read_lyrics3(file& source, std::uint64_t& end, file_info* info, abort_callback& abort) {
  if (end < trailer_size) throw exception_tag_not_found();
  std::array<char, trailer_size> trailer;
  source.seek(end - trailer_size, abort);
  source.read_object(trailer.data(), trailer.size(), abort);
  const std::string_view text(trailer.data(), trailer.size());
  if (text.substr(size_digits) != block_end) throw exception_tag_not_found();
  const auto size = decimal(text.substr(0, size_digits));
  if (size < block_begin.size() || size + trailer_size > end) throw exception_tag_not_found();

  const auto begin = end - trailer_size - size;
  std::vector<std::byte> block(info == nullptr ? block_begin.size() : size);
  source.seek(begin, abort);
  source.read_object(block.data(), block.size(), abort);
  if (!starts_with(block, block_begin)) throw exception_tag_not_found();
  if (info != nullptr) {
    read_fields(std::span(block).subspan(block_begin.size()), *info);
    info->info_set(info_field::tagtype, "lyrics3");
  }
  end = begin;
}

} // namespace zelmora
