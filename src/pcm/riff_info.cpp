#include "pcm/riff_info.h"

#include "frame/bytes.h"
#include "frame/exceptions.h"
#include "frame/text.h"
#include "tags/text_encoding.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <utility>

namespace zelmora {

using namespace zelmora_io;

namespace {

struct field_row {
  std::string_view field;
  riff_code code;
};

constexpr std::array<field_row, 14> field_table{{
    {"album", "IPRD"},
    {"artist", "IART"},
    {"genre", "IGNR"},
    {"comment", "ICMT"},
    {"copyright", "ICOP"},
    {"engineer", "IENG"},
    {"language", "ILNG"},
    {"title", "INAM"},
    {"writer", "IWRI"},
    {"tracknumber", "ITRK"},
    {"country", "ICNT"},
    {"medium", "IMED"},
    {"source", "ISRC"},
    {"date", "ICRD"},
}};

/// The row of `code` in the table.
std::optional<std::size_t> find_row(const riff_code& code) {
  const auto row = std::ranges::find(field_table, code, &field_row::code);
  if (row == field_table.end()) return std::nullopt;
  return static_cast<std::size_t>(row - field_table.begin());
}

constexpr std::size_t item_header = 8;
constexpr std::string_view value_separator = ", ";

std::string text_of(const riff_info_item& item) {
  le_reader in(item.bytes);
  in.skip(4);
  const auto size = std::min<std::size_t>(in.le32(), in.remaining());
  const auto text = in.text(size);
  return from_system_code_page(text.substr(0, text.find('\0')));
}

riff_info_item make_item(const riff_code& code, std::string_view value) {
  auto text = to_us_ascii(value.substr(0, value.find('\0')));
  text.push_back('\0');
  riff_info_item item{code, {}};
  item.bytes.resize(item_header + text.size() + text.size() % 2);
  std::ranges::copy(as_byte_span(code.view()), item.bytes.begin());
  store_le(item.bytes.data() + 4, checked_cast<std::uint32_t>(text.size()));
  std::ranges::copy(as_byte_span(text), item.bytes.begin() + item_header);
  return item;
}

std::string join_values(const file_info& info, std::size_t field) {
  std::string joined;
  for (std::size_t n = 0; n < info.meta_enum_value_count(field); ++n) {
    if (n != 0) joined += value_separator;
    joined += info.meta_enum_value(field, n);
  }
  return joined;
}

bool same_values(const file_info& a, const file_info& b, std::string_view field) {
  const auto in_a = a.meta_find(field);
  const auto in_b = b.meta_find(field);
  if (in_a == file_info::npos || in_b == file_info::npos) return in_a == in_b;
  if (a.meta_enum_value_count(in_a) != b.meta_enum_value_count(in_b)) return false;
  for (std::size_t n = 0; n < a.meta_enum_value_count(in_a); ++n)
    if (a.meta_enum_value(in_a, n) != b.meta_enum_value(in_b, n)) return false;
  return true;
}

} // namespace

std::vector<riff_info_item> parse_riff_info(std::span<const std::byte> payload, std::uint64_t behind) {
  le_reader in(payload);
  if (in.text(4) != riff_codes::info.view()) throw exception_io_data();
  std::vector<riff_info_item> items;
  while (in.remaining() >= item_header) {
    const auto start = in.position();
    const riff_code code(in.text(4));
    const std::size_t size = in.le32();
    if (size > in.remaining() + behind) throw exception_io_data_truncation();
    const auto kept = std::min(size, in.remaining());
    in.skip(std::min(size + size % 2, in.remaining()));
    const auto bytes = payload.subspan(start, in.position() - start);
    auto& item = items.emplace_back(riff_info_item{code, {bytes.begin(), bytes.end()}});
    store_le(item.bytes.data() + 4, static_cast<std::uint32_t>(kept));
  }
  return items;
}

void read_riff_info(std::span<const riff_info_item> items, file_info& info) {
  for (const auto& item : items) {
    const auto n = find_row(item.code);
    if (!n) continue;
    if (const auto text = text_of(item); !text.empty()) info.meta_add(field_table[*n].field, text);
  }
}

bool has_riff_info_fields(std::span<const riff_info_item> items) {
  return std::ranges::any_of(items, [](const riff_info_item& item) { return find_row(item.code).has_value(); });
}

std::vector<riff_info_item> update_riff_info(std::span<const riff_info_item> items, const file_info& info) {
  file_info_impl old;
  read_riff_info(items, old);
  std::array<bool, field_table.size()> is_same{};
  std::ranges::transform(field_table, is_same.begin(),
                         [&](const field_row& row) { return same_values(old, info, row.field); });
  std::array<bool, field_table.size()> is_done{};
  std::vector<riff_info_item> result;
  const auto write = [&](const field_row& row) {
    const auto field = info.meta_find(row.field);
    if (field == file_info::npos) return;
    if (const auto value = join_values(info, field); !value.empty()) result.push_back(make_item(row.code, value));
  };
  for (const auto& item : items) {
    const auto n = find_row(item.code);
    if (!n || is_same[*n])
      result.push_back(item);
    else if (!std::exchange(is_done[*n], true))
      write(field_table[*n]);
  }
  for (std::size_t n = 0; n < field_table.size(); ++n)
    if (!is_done[n] && !is_same[n]) write(field_table[n]);
  return result;
}

bool riff_info_holds(std::span<const riff_info_item> items, const file_info& info) {
  file_info_impl held;
  read_riff_info(items, held);
  if (info.get_replaygain() != replaygain_info{} || info.meta_get_count() != held.meta_get_count()) return false;
  for (std::size_t field = 0; field < info.meta_get_count(); ++field)
    if (!same_values(info, held, info.meta_enum_name(field))) return false;
  return true;
}

std::vector<std::byte> write_riff_info(std::span<const riff_info_item> items) {
  if (items.empty()) return {};
  std::vector<std::byte> payload;
  const auto append = [&](std::span<const std::byte> bytes) {
    payload.insert(payload.end(), bytes.begin(), bytes.end());
    if (payload.size() % 2 != 0) payload.push_back({});
  };
  append(as_byte_span(riff_codes::info.view()));
  for (const auto& item : items) append(item.bytes);
  return payload;
}

} // namespace zelmora
