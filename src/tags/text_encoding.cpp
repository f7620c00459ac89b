#include "tags/text_encoding.h"

#include "frame/iconv_handle.h"
#include "frame/system_text.h"
#include "frame/text.h"

#include <algorithm>

namespace zelmora {

namespace {

constexpr char32_t replacement = 0xFFFD;
constexpr char lacking = '?';

// The C1 controls, U+0080 to U+009F: in Windows' code pages of one byte, undefined bytes stand for the control of their
// number ("Unicode Best Fit", unicode.org/Public/MAPPINGS/VENDORS/MICSFT/WindowsBestFit).
constexpr unsigned first_c1 = 0x80;
constexpr unsigned last_c1 = 0x9F;
constexpr bool is_c1(char32_t c) { return c >= first_c1 && c <= last_c1; }

/// Both directions of one code page.
class code_page {
 public:
  explicit code_page(std::string name) : name_(std::move(name)), decoder_("UTF-8", name_), encoder_(name_, "UTF-8") {
    if (is_open()) find_undefined();
  }

  const std::string& name() const noexcept { return name_; }
  bool is_open() const noexcept { return decoder_.is_open() && encoder_.is_open(); }

  std::string decode(std::string_view bytes) {
    std::string out;
    decoder_.reset();
    while (decoder_.convert(bytes, out) != iconv_handle::result::done) {
      const auto byte = static_cast<unsigned char>(bytes.front());
      append_code_point(out, is_undefined(byte) ? char32_t{byte} : replacement);
      bytes.remove_prefix(1);
    }
    decoder_.finish(out);
    return out;
  }

  std::string encode(std::string_view utf8) {
    std::string out;
    encoder_.reset();
    while (encoder_.convert(utf8, out) != iconv_handle::result::done) {
      const auto c = take_code_point(utf8);
      if (is_undefined(c)) {
        out.push_back(static_cast<char>(c));
      } else {
        std::string_view stand_in(&lacking, 1);
        encoder_.convert(stand_in, out);
      }
    }
    encoder_.finish(out);
    return out;
  }

 private:
  /// Takes down which of the C1 bytes mean nothing, unless bytes of the code page mean something only together.
  void find_undefined() {
    for (unsigned byte = first_c1; byte <= 0xFF; ++byte) {
      const char alone = static_cast<char>(byte);
      std::string_view text(&alone, 1);
      std::string out;
      decoder_.reset();
      const auto outcome = decoder_.convert(text, out);
      if (outcome == iconv_handle::result::cut_short) {
        undefined_ = 0;
        return;
      }
      if (outcome != iconv_handle::result::done && is_c1(byte)) undefined_ |= 1u << (byte - first_c1);
    }
  }
  bool is_undefined(char32_t c) const noexcept { return is_c1(c) && (undefined_ >> (c - first_c1) & 1u) != 0; }

  std::string name_;
  iconv_handle decoder_;
  iconv_handle encoder_;
  std::uint32_t undefined_ = 0; ///< bit n: 0x80 + n
};

/// Null under a host that knows no code page.
std::string system_code_page_name() {
  std::string name(default_code_page);
  for_each_service<system_text>([&](const auto& service) {
    name = service->get_code_page();
    return false;
  });
  return name;
}

/// This thread's converters, which stay open until another code page is chosen.
code_page& current_code_page() {
  thread_local code_page current{std::string(default_code_page)};
  thread_local std::string asked_for(default_code_page);
  if (auto name = system_code_page_name(); name != asked_for) {
    current = code_page(name);
    if (!current.is_open()) current = code_page(std::string(default_code_page));
    asked_for = std::move(name);
  }
  return current;
}

} // namespace

std::string from_system_code_page(std::string_view bytes) {
  if (is_ascii(bytes)) return std::string(bytes);
  auto& page = current_code_page();
  return page.is_open() ? page.decode(bytes) : from_latin1(bytes);
}

std::string to_system_code_page(std::string_view utf8) {
  if (is_ascii(utf8)) return std::string(utf8);
  auto& page = current_code_page();
  return page.is_open() ? page.encode(utf8) : to_latin1(utf8);
}

namespace {

/// One byte a character; those above `last` become "?".
std::string to_single_bytes(std::string_view utf8, char32_t last) {
  if (is_ascii(utf8)) return std::string(utf8);
  std::string out;
  out.reserve(utf8.size());
  while (!utf8.empty()) {
    const auto c = take_code_point(utf8);
    out.push_back(c <= last ? static_cast<char>(c) : lacking);
  }
  return out;
}

} // namespace

std::string to_us_ascii(std::string_view utf8) { return to_single_bytes(utf8, 0x7F); }
std::string to_latin1(std::string_view utf8) { return to_single_bytes(utf8, 0xFF); }

std::string from_latin1(std::string_view bytes) {
  if (is_ascii(bytes)) return std::string(bytes);
  std::string out;
  out.reserve(bytes.size() + bytes.size() / 8);
  for (const char c : bytes) append_code_point(out, static_cast<unsigned char>(c));
  return out;
}

namespace {

// RFC 2781, section 2: a character above U+FFFF is a high surrogate, then a low one, of ten bits each.
constexpr char32_t first_high = 0xD800;
constexpr char32_t first_low = 0xDC00;
constexpr char32_t past_surrogates = 0xE000;
constexpr char32_t first_in_pair = 0x10000;
constexpr bool is_high(char32_t unit) { return unit >= first_high && unit < first_low; }
constexpr bool is_low(char32_t unit) { return unit >= first_low && unit < past_surrogates; }

} // namespace

std::u16string to_utf16(std::string_view utf8) {
  std::u16string out;
  out.reserve(utf8.size());
  while (!utf8.empty()) {
    auto c = take_code_point(utf8);
    if (c >= invalid_byte_base) c = replacement;
    if (c < first_in_pair) {
      out.push_back(static_cast<char16_t>(c));
      continue;
    }
    c -= first_in_pair;
    out.push_back(static_cast<char16_t>(first_high + (c >> 10)));
    out.push_back(static_cast<char16_t>(first_low + (c & 0x3FF)));
  }
  return out;
}

std::string from_utf16(std::u16string_view units) {
  std::string out;
  out.reserve(units.size());
  for (std::size_t i = 0; i < units.size(); ++i) {
    char32_t c = units[i];
    if (is_high(c) && i + 1 < units.size() && is_low(units[i + 1]))
      c = first_in_pair + ((c - first_high) << 10) + (units[++i] - first_low);
    append_code_point(out, is_high(c) || is_low(c) ? replacement : c);
  }
  return out;
}

} // namespace zelmora
