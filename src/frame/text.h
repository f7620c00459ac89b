// Text is UTF-8 inside. Comparison without case follows Unicode simple case folding (utf8proc).
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zelmora {

namespace kiv {
/// The UTF-8 string class.
using string8 = std::string;
} // namespace kiv

/// Compares without case: below, equal to or above 0. Bytes that are no UTF-8 compare by value, above all characters.
int stricmp_utf8(std::string_view a, std::string_view b);
/// As `stricmp_utf8`, over the first characters of `text` that `prefix` has: whether `text` begins with it.
bool has_prefix_utf8(std::string_view text, std::string_view prefix);
/// The upper-case form of one code point.
char32_t uCharUpper(char32_t character);
/// The case-folded form of `text`, by which equal names compare equal.
std::string fold_utf8(std::string_view text);

/// Code points from this on are no characters: `invalid_byte_base + b` stands for a byte `b` that is no UTF-8.
inline constexpr char32_t invalid_byte_base = 0x110000;
/// Takes one code point off the front of `text`, which is not empty.
char32_t take_code_point(std::string_view& text);
/// The opposite of `take_code_point`, those single bytes among it.
void append_code_point(std::string& out, char32_t character);

bool is_ascii(std::string_view text);
bool is_valid_utf8(std::string_view text);
/// `text` with U+FFFD in the place of each byte that is no UTF-8.
std::string repair_utf8(std::string_view text);
/// Whether all of `text` is ASCII that a terminal shows as it stands.
bool is_printable_ascii(std::string_view text);
/// `text` fit for one line of a terminal: control characters and bytes that are no UTF-8 become \n, \t or \xNN.
std::string escape_for_display(std::string_view text);

/// Comparison without case in which only A to Z have two forms: for names that are ASCII by definition.
bool ascii_equal(std::string_view a, std::string_view b);
constexpr char ascii_lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

/// The part of `path` after the last dot of its last element, without the dot; empty when there is none.
std::string_view path_extension(std::string_view path);
/// The part of `path` after its last separator.
std::string_view path_file_name(std::string_view path);
/// Whether `item` stands, in any case, in a list such as "WAV;WAVE;W64".
bool list_contains(std::string_view list, std::string_view item);
/// `type` cut at the first ';', trailing blanks stripped: "audio/wav; codecs=1" is "audio/wav".
std::string_view content_type_essence(std::string_view type);

/// A decimal number at the start of `text` as the C library reads it in the "C" locale, with the length it took; 0 and
/// length 0 when there is none.
struct parsed_number {
  double value = 0;
  std::size_t length = 0;
};
parsed_number parse_decimal(std::string_view text);
/// An integer that is the whole of `text`.
std::optional<std::int64_t> parse_integer(std::string_view text);
/// `value` in the shortest decimal form that reads back the same.
std::string format_shortest(double value);

} // namespace zelmora
