// Text in the encodings that tags are written in, to UTF-8 and back. None of these raise: what can't be converted is
// replaced.
#pragma once

#include <string>
#include <string_view>

namespace zelmora {

/// Text in the system code page, as the host knows it ("system.codePage"); Windows-1252 under a host that knows none,
/// or one that iconv(3) doesn't. Characters that it lacks become "?", bytes that mean nothing U+FFFD; but where each
/// byte is a character, as in Windows-1252, an undefined byte from 0x80 to 0x9F becomes the C1 control of that number,
/// as under Windows, and comes back from it. ASCII is taken to be what it is in ASCII.
std::string from_system_code_page(std::string_view bytes);
std::string to_system_code_page(std::string_view utf8);

/// Code page 20127: characters above 0x7F become "?".
std::string to_us_ascii(std::string_view utf8);

/// ISO 8859-1. Characters that it lacks become "?".
std::string from_latin1(std::string_view bytes);
std::string to_latin1(std::string_view utf8);

/// Native-endian UTF-16. Lone surrogates and bytes that are no UTF-8 become U+FFFD.
std::u16string to_utf16(std::string_view utf8);
std::string from_utf16(std::u16string_view units);

} // namespace zelmora
