// Text in ID3v2 frames: an encoding byte and strings behind it. Section 4.2 of the native frames.
#pragma once

#include "tags/id3v2_format.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zelmora::id3parser {

enum class text_encoding : std::uint8_t {
  eight_bit = 0, ///< read: the system code page; written: US-ASCII
  utf16_bom = 1,
  utf16_be = 2,
  utf8 = 3,
};

/// Whether text that is not what its encoding says is read as what it probably is, or raises `parseError`.
enum class strictness : bool { lenient, strict };

/// Strings end with a zero, the last with the frame; a frame with more of them is damaged.
inline constexpr std::size_t terminator_limit = 1024;

/// Goes through the strings of one frame, front to back.
class string_cursor {
 public:
  /// `body` begins behind the encoding byte (and the language, where there is one).
  string_cursor(text_encoding encoding, std::span<const std::byte> body, strictness rule);

  /// The next string; none at the end. Terminators in a row are one. Only a first string can be empty.
  std::optional<std::string> next();
  /// An odd last byte of two-byte text is no string.
  bool is_at_end() const;
  /// Leaves the next string out without decoding it.
  void skip();
  /// What follows to the last byte, undecoded.
  std::span<const std::byte> rest() const { return body_.subspan(position_); }

 private:
  std::span<const std::byte> take_raw();

  text_encoding encoding_;
  std::span<const std::byte> body_;
  strictness rule_;
  std::size_t position_ = 0;
};

/// The strings of a text frame. Raises `parseError` when there is no encoding byte, or an unknown one.
string_cursor text_of(const frame& source, strictness rule);
/// As `text_of`, for frames with a language: their first string is a description.
string_cursor described_text_of(const frame& source, strictness rule);
/// How many strings a text frame has, the empty ones between others included.
std::size_t count_strings(const frame& source);

/// `text` as `encoding` has it, with its terminator. UTF-16 big-endian is never written: `writeError`.
void append_string(std::vector<std::byte>& out, text_encoding encoding, std::string_view text);

/// A text frame of these strings. Raises `writeError` for more than can be read back.
frame make_text_frame(std::uint32_t id, text_encoding encoding, std::span<const std::string> strings);
/// A `COMM` or `USLT` in English.
frame make_described_frame(std::uint32_t id, text_encoding encoding, std::string_view description,
                           std::string_view text);

/// An attached picture as it stands in a frame.
struct picture_view {
  std::string_view mime;
  unsigned type = 0; ///< 0 to 20
  std::span<const std::byte> data;
};
picture_view parse_picture(const frame& source);
frame make_picture_frame(std::string_view mime, unsigned type, std::span<const std::byte> data);

/// Makes `source` a tag of `version`, 3 or 4. Frames whose text can't be carried over are left out, and so is whatever
/// isn't a picture, a comment or lyrics.
void set_version(tag& source, unsigned version);

} // namespace zelmora::id3parser
