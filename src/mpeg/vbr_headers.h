// What encoders write into a first frame that holds no audio: how many frames and bytes follow, and what to cut away at
// both ends. Sources: "MP3 Info Tag revision 1" (gabriel.mp3-tech.org/mp3infotag.html) for Xing, Info and the LAME
// extension; "MPEG Audio Frame Header" (codeproject.com/Articles/8295) for VBRI.
#pragma once

#include "codecs/mpeg_frame_header.h"
#include "frame/exceptions.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace zelmora {

class VBRIParseError : public zelmora_io::exception_io_data { // NOLINT(readability-identifier-naming): "VBRI" is a name
 public:
  VBRIParseError() : exception_io_data("VBRI header is damaged") {}
};

/// Hundredths of the time, in 1/256 of the bytes.
using xing_seek_table = std::array<std::uint8_t, 100>;

/// CRC-16 (polynomial 0x8005, bits reflected) of the frames behind the one with the header, and how many bytes those
/// have together with it. Tools that change frames afterwards leave it as it is.
struct mpeg_music_checksum {
  std::uint32_t bytes = 0;
  std::uint16_t crc = 0;
};

struct mpeg_vbr_info {
  enum header_kind { none, xing, vbri };
  header_kind kind = none;
  std::optional<std::uint32_t> frames; ///< without the one that tells it
  std::optional<std::uint32_t> bytes;  ///< with that one
  bool is_vbr = false;
  std::optional<std::uint32_t> delay;   ///< silence that the encoder put in front [samples]
  std::optional<std::uint32_t> padding; ///< and behind
  std::size_t encoder_offset = 0;       ///< of the encoder's text, in the frame [bytes]
  std::string tool;                     ///< the encoder
  std::string profile;                  ///< "CBR", "ABR", "VBR V2"...
  std::optional<std::uint32_t> quality;
  std::optional<xing_seek_table> table;
  std::optional<mpeg_music_checksum> music; ///< of all that the encoder made
  std::uint8_t method = 0;                  ///< revision and method of the LAME extension
  std::uint8_t lowpass = 0;                 ///< [100 Hz]
};

/// What follows the name, in this order.
enum xing_flags : std::uint32_t { xing_has_frames = 1, xing_has_bytes = 2, xing_has_table = 4, xing_has_quality = 8 };

/// The LAME extension, which begins with the encoder's text [bytes].
namespace lame_extension {
inline constexpr std::size_t size = 36;
inline constexpr std::size_t text_size = 9;
inline constexpr std::size_t method_offset = 9;
inline constexpr std::size_t lowpass_offset = 10;
inline constexpr std::size_t delays_offset = 21;
inline constexpr std::size_t delays_size = 3;      ///< 12 bits each
inline constexpr std::size_t checksum_offset = 34; ///< of all of the frame before it
inline constexpr std::size_t music_offset = 28;    ///< a size of 4 bytes, and a checksum of 2
inline constexpr std::uint32_t longest_delay = 0xFFF;
} // namespace lame_extension

/// Where "Xing" or "Info" stands in a frame [bytes].
std::size_t xing_offset(const mpeg_frame_header& header);

/// From the bytes of a first frame; none when they don't hold such a header.
std::optional<mpeg_vbr_info> read_xing(std::span<const std::byte> frame);
/// Raises `VBRIParseError` when it isn't whole.
std::optional<mpeg_vbr_info> read_vbri(std::span<const std::byte> frame);

} // namespace zelmora
