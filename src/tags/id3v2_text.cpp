#include "tags/id3v2_text.h"

#include "frame/text.h"
#include "tags/text_encoding.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace zelmora::id3parser {

namespace {

constexpr std::size_t language_size = 3;
constexpr std::string_view written_language = "eng";
constexpr char16_t byte_order_mark = 0xFEFF;
constexpr char16_t swapped_byte_order_mark = 0xFFFE;

bool is_wide(text_encoding encoding) {
  return encoding == text_encoding::utf16_bom || encoding == text_encoding::utf16_be;
}
std::size_t unit_size(text_encoding encoding) { return is_wide(encoding) ? 2 : 1; }

text_encoding read_encoding(std::span<const std::byte> payload) {
  if (payload.empty() || payload[0] > std::byte{3}) throw parseError();
  return static_cast<text_encoding>(payload[0]);
}

std::string_view characters(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// The size of the string that `body` begins with, without terminator; what is left over of a unit doesn't count.
std::size_t find_terminator(text_encoding encoding, std::span<const std::byte> body) {
  if (!is_wide(encoding)) {
    const auto* const end = body.empty() ? nullptr : std::memchr(body.data(), 0, body.size());
    return end == nullptr ? body.size() : static_cast<std::size_t>(static_cast<const std::byte*>(end) - body.data());
  }
  std::size_t i = 0;
  while (i + 2 <= body.size() && (body[i] != std::byte{0} || body[i + 1] != std::byte{0})) i += 2;
  return i;
}

template <std::endian order>
std::string decode_units(std::span<const std::byte> raw) {
  std::u16string units(raw.size() / 2, u'\0');
  for (std::size_t i = 0; i < units.size(); ++i) units[i] = load_bytes<std::uint16_t, order>(raw.data() + i * 2);
  return from_utf16(units);
}

std::string decode_utf16(std::span<const std::byte> raw, strictness rule) {
  if (raw.size() < 2) return {};
  const auto first = load_le<std::uint16_t>(raw.data());
  if (first == byte_order_mark) return decode_units<std::endian::little>(raw.subspan(2));
  if (first == swapped_byte_order_mark) return decode_units<std::endian::big>(raw.subspan(2));
  if (rule == strictness::strict) throw parseError();
  return decode_units<std::endian::little>(raw);
}

std::string decode(text_encoding encoding, std::span<const std::byte> raw, strictness rule) {
  const auto text = characters(raw);
  switch (encoding) {
  case text_encoding::eight_bit:
    if (rule == strictness::strict && std::ranges::any_of(text, [](char c) { return (c & 0x80) != 0; }))
      throw parseError();
    return from_system_code_page(text);
  case text_encoding::utf16_bom: return decode_utf16(raw, rule);
  case text_encoding::utf16_be: return decode_units<std::endian::big>(raw);
  case text_encoding::utf8:
    if (is_valid_utf8(text)) return std::string(text);
    if (rule == strictness::strict) throw parseError();
    return from_system_code_page(text);
  }
  throw parseError();
}

std::size_t count_terminators(text_encoding encoding, std::span<const std::byte> body) {
  std::size_t count = 0;
  const auto step = unit_size(encoding);
  for (auto end = find_terminator(encoding, body); end + step <= body.size(); end = find_terminator(encoding, body)) {
    ++count;
    body = body.subspan(end + step);
  }
  return count;
}

/// The text behind an encoding byte and a language.
std::span<const std::byte> described_body(std::span<const std::byte> payload) {
  if (payload.size() < 1 + language_size) throw parseError();
  return payload.subspan(1 + language_size);
}

void append_language(std::vector<std::byte>& out) {
  const auto language = as_byte_span(written_language);
  out.insert(out.end(), language.begin(), language.end());
}

/// A frame that holds an encoding byte so far.
frame begin_frame(std::uint32_t id, text_encoding encoding) {
  constexpr std::size_t usual_size = 64;
  frame result{id, {}};
  result.payload.reserve(usual_size);
  result.payload.push_back(static_cast<std::byte>(encoding));
  return result;
}

} // namespace

string_cursor::string_cursor(text_encoding encoding, std::span<const std::byte> body, strictness rule)
    : encoding_(encoding), body_(body), rule_(rule) {
  if (count_terminators(encoding, body_) > terminator_limit) throw parseError();
}

bool string_cursor::is_at_end() const { return position_ + unit_size(encoding_) > body_.size(); }

std::span<const std::byte> string_cursor::take_raw() {
  const auto raw = rest().first(find_terminator(encoding_, rest()));
  position_ += raw.size();
  if (is_at_end()) position_ = body_.size(); // An odd byte behind an unterminated string is no other one.
  const auto step = unit_size(encoding_);
  while (!is_at_end() && find_terminator(encoding_, rest()) == 0) position_ += step;
  return raw;
}

std::optional<std::string> string_cursor::next() {
  if (is_at_end()) return std::nullopt;
  return decode(encoding_, take_raw(), rule_);
}

void string_cursor::skip() { take_raw(); }

string_cursor text_of(const frame& source, strictness rule) {
  const std::span<const std::byte> payload = source.payload;
  const auto encoding = read_encoding(payload);
  return {encoding, payload.subspan(1), rule};
}

string_cursor described_text_of(const frame& source, strictness rule) {
  const auto encoding = read_encoding(source.payload);
  return {encoding, described_body(source.payload), rule};
}

std::size_t count_strings(const frame& source) {
  const std::span<const std::byte> payload = source.payload;
  const auto encoding = read_encoding(payload);
  const auto step = unit_size(encoding);
  const auto body = payload.subspan(1).first((payload.size() - 1) / step * step);
  if (body.empty()) return 0;
  const auto terminators = count_terminators(encoding, body);
  if (terminators > terminator_limit) throw parseError();
  const auto last = body.last(step);
  const bool is_terminated = std::ranges::all_of(last, [](std::byte b) { return b == std::byte{0}; });
  return terminators + (is_terminated ? 0 : 1);
}

void append_string(std::vector<std::byte>& out, text_encoding encoding, std::string_view text) {
  text = text.substr(0, text.find('\0')); // a zero ends the string, wherever it came from
  switch (encoding) {
  case text_encoding::eight_bit:
  case text_encoding::utf8: {
    const auto encoded = encoding == text_encoding::utf8 ? std::string(text) : to_us_ascii(text);
    const auto bytes = as_byte_span(encoded);
    out.insert(out.end(), bytes.begin(), bytes.end());
    out.push_back(std::byte{0});
    return;
  }
  case text_encoding::utf16_bom: {
    const auto units = to_utf16(text);
    std::array<std::byte, 2> unit;
    const auto put = [&](char16_t value) {
      store_le<std::uint16_t>(unit.data(), value);
      out.insert(out.end(), unit.begin(), unit.end());
    };
    put(byte_order_mark);
    for (const auto value : units) put(value);
    put(0);
    return;
  }
  case text_encoding::utf16_be: break;
  }
  throw writeError();
}

frame make_text_frame(std::uint32_t id, text_encoding encoding, std::span<const std::string> strings) {
  if (strings.size() > terminator_limit) throw writeError();
  auto result = begin_frame(id, encoding);
  for (const auto& text : strings) append_string(result.payload, encoding, text);
  return result;
}

frame make_described_frame(std::uint32_t id, text_encoding encoding, std::string_view description,
                           std::string_view text) {
  auto result = begin_frame(id, encoding);
  append_language(result.payload);
  append_string(result.payload, encoding, description);
  append_string(result.payload, encoding, text);
  return result;
}

picture_view parse_picture(const frame& source) {
  constexpr unsigned types = 21;
  const auto encoding = read_encoding(source.payload);
  auto rest = std::span<const std::byte>(source.payload).subspan(1);
  const auto take_text = [&rest](text_encoding of) {
    const auto size = find_terminator(of, rest);
    const auto whole = size + unit_size(of);
    if (whole > rest.size()) throw parseError();
    const auto text = characters(rest.first(size));
    rest = rest.subspan(whole);
    return text;
  };
  picture_view result;
  result.mime = take_text(text_encoding::eight_bit);
  if (rest.empty()) throw parseError();
  result.type = std::to_integer<unsigned>(rest[0]);
  if (result.type >= types) result.type = 0;
  rest = rest.subspan(1);
  take_text(encoding); // the description
  if (rest.empty()) throw parseError();
  result.data = rest;
  return result;
}

frame make_picture_frame(std::string_view mime, unsigned type, std::span<const std::byte> data) {
  auto result = begin_frame(fourcc("APIC"), text_encoding::eight_bit);
  auto& out = result.payload;
  append_string(out, text_encoding::eight_bit, mime);
  out.push_back(static_cast<std::byte>(type));
  out.push_back(std::byte{0});
  out.insert(out.end(), data.begin(), data.end());
  return result;
}

// --- versions ------------------------------------------------------------------------------------------------------

namespace {

/// Rewrites the text of a comment or of lyrics for versions that have no UTF-8. The language stays.
void make_readable_before_v4(frame& source) {
  const auto encoding = read_encoding(source.payload);
  if (encoding == text_encoding::eight_bit || encoding == text_encoding::utf16_bom) return;
  auto strings = described_text_of(source, strictness::lenient);
  auto converted = begin_frame(source.id, text_encoding::utf16_bom);
  converted.payload.insert(converted.payload.end(), source.payload.begin() + 1,
                           source.payload.begin() + 1 + language_size);
  while (const auto text = strings.next()) append_string(converted.payload, text_encoding::utf16_bom, *text);
  source = std::move(converted);
}

} // namespace

void set_version(tag& source, unsigned version) {
  if (source.version == version) return;
  source.version = version;
  const auto is_lost = [version](frame& f) {
    if (f.id == fourcc("APIC")) return false;
    if (f.id != fourcc("COMM") && f.id != fourcc("USLT")) return true;
    try {
      if (version < 4) make_readable_before_v4(f);
      return false;
    } catch (const parseError&) {
      return true;
    }
  };
  std::erase_if(source.frames, is_lost);
}

} // namespace zelmora::id3parser
