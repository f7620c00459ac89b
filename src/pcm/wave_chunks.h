// Chunks of the three containers under one shape: a 16-byte identity and the size of the payload.
//
// RIFF (Multimedia Programming Interface and Data Specifications 1.0, 1991) and RF64 (EBU Tech 3306) write a
// four-character code and a 32-bit size, on 2-byte boundaries. Wave64 (Sony Pictures Digital, 2003) writes a GUID and a
// 64-bit size that counts the header too, on 8-byte boundaries.
#pragma once

#include "frame/file.h"
#include "frame/guid.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace zelmora {

enum class wave_container { riff = 0, wave64 = 1, rf64 = 2 };

namespace wave_chunk_id {
inline constexpr guid riff = "66666972-912E-11CF-A5D6-28DB04C10000"_guid;
inline constexpr guid wave = "65766177-ACF3-11D3-8CD1-00C04F8EDB8A"_guid;
inline constexpr guid fmt = "20746D66-ACF3-11D3-8CD1-00C04F8EDB8A"_guid;
inline constexpr guid data = "61746164-ACF3-11D3-8CD1-00C04F8EDB8A"_guid;
inline constexpr guid ds64 = "A4C36709-02FB-4525-8E68-A9BBC8C40816"_guid;
inline constexpr guid junk = "6B6E756A-ACF3-11D3-8CD1-00C04F8EDB8A"_guid;
/// Shares its GUID with the form identifier: in Wave64 a chunk of that name is the sample count.
inline constexpr guid fact = wave;
} // namespace wave_chunk_id

/// The identity of a RIFF code; the all-zero GUID for codes without a meaning here.
guid wave_chunk_id_of(std::string_view code);

/// A four-character code as it stands in a file, "fmt " for one.
struct riff_code {
  std::array<char, 4> text{};

  constexpr riff_code() = default;
  consteval riff_code(const char (&literal)[5]) : text{literal[0], literal[1], literal[2], literal[3]} {}
  explicit riff_code(std::string_view four) { std::copy_n(four.begin(), text.size(), text.begin()); }
  constexpr std::string_view view() const noexcept { return {text.data(), text.size()}; }
  friend bool operator==(const riff_code&, const riff_code&) = default;
};

namespace riff_codes {
inline constexpr riff_code riff = "RIFF";
inline constexpr riff_code data = "data";
inline constexpr riff_code junk = "JUNK";
inline constexpr riff_code list = "LIST";
inline constexpr riff_code info = "INFO"; ///< the form of a LIST
inline constexpr riff_code id3 = "id3 ";
} // namespace riff_codes

/// Taggers disagree on the case.
constexpr bool is_id3_code(const riff_code& code) { return code == riff_codes::id3 || code == riff_code("ID3 "); }

struct wave_chunk_header {
  guid id;
  riff_code code;         ///< what `id` was made of; zeros in Wave64
  std::uint64_t size = 0; ///< of the payload [bytes]
};

/// Bytes of a chunk's header.
constexpr std::uint64_t wave_header_size(wave_container container) {
  return container == wave_container::wave64 ? 24 : 8;
}
/// `position` on the next boundary on which chunks of the container begin; 2^64 - 1 when there is none.
std::uint64_t wave_align(std::uint64_t position, wave_container container);

/// Reads a chunk header; nothing when the file ends within it. A Wave64 size that does not cover its own header raises
/// `exception_io_data`.
std::optional<wave_chunk_header> read_wave_chunk_header(zelmora_io::file& file, wave_container container,
                                                        abort_callback& abort);

/// Which container a file that begins with these bytes is, by its first and its form identifier.
std::optional<wave_container> recognise_wave_container(std::span<const std::byte> head);

} // namespace zelmora
