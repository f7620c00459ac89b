#include "frame/text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <fmt/core.h>
#include <utf8proc.h>

namespace zelmora {

namespace {

/// The lower-case form, by way of the upper: so that forms with one capital (sigma, long s) meet.
char32_t fold_code_point(char32_t c) {
  if (c < 0x80) return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c;
  if (c >= invalid_byte_base) return c;
  return static_cast<char32_t>(utf8proc_tolower(utf8proc_toupper(static_cast<utf8proc_int32_t>(c))));
}

} // namespace

char32_t take_code_point(std::string_view& text) {
  const auto first = static_cast<unsigned char>(text.front());
  if (first < 0x80) {
    text.remove_prefix(1);
    return first;
  }
  utf8proc_int32_t code_point = 0;
  const auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                       static_cast<utf8proc_ssize_t>(text.size()), &code_point);
  if (length <= 0) {
    text.remove_prefix(1);
    return invalid_byte_base + first;
  }
  text.remove_prefix(static_cast<std::size_t>(length));
  return static_cast<char32_t>(code_point);
}

void append_code_point(std::string& out, char32_t c) {
  if (c >= invalid_byte_base) {
    out.push_back(static_cast<char>(c - invalid_byte_base));
    return;
  }
  if (c < 0x80) {
    out.push_back(static_cast<char>(c));
    return;
  }
  utf8proc_uint8_t encoded[4];
  const auto length = utf8proc_encode_char(static_cast<utf8proc_int32_t>(c), encoded);
  out.append(reinterpret_cast<const char*>(encoded), static_cast<std::size_t>(length));
}

int stricmp_utf8(std::string_view a, std::string_view b) {
  while (!a.empty() && !b.empty()) {
    const auto x = fold_code_point(take_code_point(a));
    const auto y = fold_code_point(take_code_point(b));
    if (x != y) return x < y ? -1 : 1;
  }
  return static_cast<int>(!a.empty()) - static_cast<int>(!b.empty());
}

bool has_prefix_utf8(std::string_view text, std::string_view prefix) {
  while (!prefix.empty()) {
    if (text.empty() || fold_code_point(take_code_point(text)) != fold_code_point(take_code_point(prefix)))
      return false;
  }
  return true;
}

char32_t uCharUpper(char32_t character) {
  if (character >= invalid_byte_base) return character;
  return static_cast<char32_t>(utf8proc_toupper(static_cast<utf8proc_int32_t>(character)));
}

std::string fold_utf8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) append_code_point(out, fold_code_point(take_code_point(text)));
  return out;
}

bool is_valid_utf8(std::string_view text) {
  while (!text.empty())
    if (take_code_point(text) >= invalid_byte_base) return false;
  return true;
}

std::string repair_utf8(std::string_view text) {
  constexpr char32_t replacement = 0xFFFD;
  if (is_valid_utf8(text)) return std::string(text);
  std::string out;
  while (!text.empty()) {
    const auto c = take_code_point(text);
    append_code_point(out, c >= invalid_byte_base ? replacement : c);
  }
  return out;
}

bool is_ascii(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

bool is_printable_ascii(std::string_view text) {
  // Eight characters at a time: the top bit of a byte says that it is above 0x7F, below 0x20 (by borrowing) or 0x7F. A
  // borrow or a carry spoils only the byte above one that is marked already.
  constexpr std::uint64_t each = 0x0101010101010101;
  constexpr std::size_t width = sizeof(std::uint64_t);
  std::uint64_t marks = 0;
  const auto mark = [&marks](const char* from) {
    std::uint64_t word = 0;
    std::memcpy(&word, from, width);
    marks |= word | (word - 0x20 * each) | (word + each);
  };
  if (text.size() < width) return std::ranges::all_of(text, [](char c) { return c >= 0x20 && c <= 0x7E; });
  const char* const last = text.data() + text.size() - width;
  for (const char* at = text.data(); at < last; at += width) mark(at);
  mark(last);
  return (marks & 0x80 * each) == 0;
}

namespace {

/// Characters that reorder the ones around them (Unicode bidirectional controls): in a path they can hide what it says.
bool is_reordering(char32_t c) { return (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069); }

} // namespace

std::string escape_for_display(std::string_view text) {
  if (is_printable_ascii(text)) return std::string(text);
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const auto c = take_code_point(text);
    if (c == '\n')
      out += "\\n";
    else if (c == '\r')
      out += "\\r";
    else if (c == '\t')
      out += "\\t";
    else if (c < 0x20 || c == 0x7F)
      out += fmt::format("\\x{:02X}", static_cast<unsigned>(c));
    else if ((c >= 0x80 && c < 0xA0) || is_reordering(c))
      out += fmt::format("\\u{:04X}", static_cast<unsigned>(c));
    else if (c >= invalid_byte_base)
      out += fmt::format("\\x{:02X}", static_cast<unsigned>(c - invalid_byte_base));
    else
      append_code_point(out, c);
  }
  return out;
}

bool ascii_equal(std::string_view a, std::string_view b) {
  return a.size() == b.size() &&
         std::ranges::equal(a, b, [](char x, char y) { return ascii_lower(x) == ascii_lower(y); });
}

std::string_view path_file_name(std::string_view path) {
  const auto separator = path.rfind('/');
  return separator == std::string_view::npos ? path : path.substr(separator + 1);
}

std::string_view path_extension(std::string_view path) {
  const auto name = path_file_name(path);
  const auto dot = name.rfind('.');
  return dot == std::string_view::npos ? std::string_view() : name.substr(dot + 1);
}

bool list_contains(std::string_view list, std::string_view item) {
  while (!list.empty()) {
    const auto separator = list.find(';');
    if (stricmp_utf8(list.substr(0, separator), item) == 0) return true;
    list.remove_prefix(separator == std::string_view::npos ? list.size() : separator + 1);
  }
  return false;
}

std::string_view content_type_essence(std::string_view type) {
  type = type.substr(0, type.find(';'));
  const auto last = type.find_last_not_of(" \t");
  return type.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

parsed_number parse_decimal(std::string_view text) {
  const auto start = std::min(text.find_first_not_of(" \t\n\r\v\f"), text.size());
  const char* first = text.data() + start;
  const char* const last = text.data() + text.size();
  if (first != last && *first == '+') ++first;
  parsed_number result;
  const auto [end, error] = std::from_chars(first, last, result.value);
  if (error == std::errc::invalid_argument) return {};
  result.length = static_cast<std::size_t>(end - text.data());
  return result;
}

std::optional<std::int64_t> parse_integer(std::string_view text) {
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::string format_shortest(double value) { return fmt::format("{}", value); }

} // namespace zelmora
