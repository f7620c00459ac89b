#include "mpeg/vbr_headers.h"

#include "frame/bytes.h"
#include "mpeg/layer3_side_info.h"

#include <algorithm>
#include <fmt/core.h>
#include <string_view>

namespace zelmora {

namespace {

constexpr unsigned method_abr = 2;
constexpr unsigned method_abr_two_pass = 9;

constexpr std::size_t vbri_offset = 36;
constexpr std::size_t vbri_least_size = 40;

bool is_printable(char c) { return static_cast<unsigned char>(c) >= 32 && static_cast<unsigned char>(c) <= 127; }

/// The text before the first zero byte; empty when that, or what is behind it, is none.
std::string encoder_text(std::string_view raw) {
  const auto text = raw.substr(0, raw.find('\0'));
  if (!std::ranges::all_of(text, is_printable)) return {};
  if (raw.find_first_not_of('\0', text.size()) != std::string_view::npos) return {};
  return std::string(text);
}

std::string without_fill(std::string text) {
  text.erase(text.find_last_not_of("\t ._") + 1); // npos + 1 is 0
  return text;
}

std::string_view as_text(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::string profile_name(const mpeg_vbr_info& info, bool is_abr) {
  if (!info.is_vbr) return "CBR";
  if (is_abr) return "ABR";
  if (info.quality && *info.quality >= 1 && *info.quality <= 100)
    return fmt::format("VBR V{}", 10 - (*info.quality + 9) / 10);
  return "VBR";
}

/// `rest` is all of the frame from the encoder's text on.
void read_lame_extension(std::span<const std::byte> rest, mpeg_vbr_info& info) {
  info.method = std::to_integer<std::uint8_t>(rest[lame_extension::method_offset]);
  const unsigned method = info.method & 0x0F;
  const bool is_abr = info.is_vbr && (method == method_abr || method == method_abr_two_pass);
  info.profile = profile_name(info, is_abr);
  info.tool = without_fill(encoder_text(as_text(rest.first(lame_extension::text_size))));
  if (rest.size() > lame_extension::lowpass_offset)
    info.lowpass = std::to_integer<std::uint8_t>(rest[lame_extension::lowpass_offset]);
  if (rest.size() < lame_extension::delays_offset + lame_extension::delays_size) return;
  const auto delays = rest.subspan(lame_extension::delays_offset, lame_extension::delays_size);
  const auto middle = std::to_integer<std::uint32_t>(delays[1]);
  info.delay = std::to_integer<std::uint32_t>(delays[0]) << 4 | middle >> 4;
  info.padding = (middle & 0x0F) << 8 | std::to_integer<std::uint32_t>(delays[2]);
  if (rest.size() < lame_extension::size) return;
  be_reader music(rest.subspan(lame_extension::music_offset));
  info.music.emplace();
  info.music->bytes = music.be32();
  info.music->crc = music.be16();
}

void read_encoder(std::span<const std::byte> rest, mpeg_vbr_info& info) {
  const bool has_method = rest.size() > lame_extension::method_offset;
  if (has_method && std::to_integer<unsigned>(rest[lame_extension::method_offset]) >> 4 <= 1)
    return read_lame_extension(rest, info);
  info.profile = info.is_vbr ? "VBR" : "CBR";
  const auto raw = as_text(rest);
  const auto text = raw.substr(0, raw.find('\0'));
  if (std::ranges::all_of(text, is_printable)) info.tool = without_fill(std::string(text));
}

} // namespace

std::size_t xing_offset(const mpeg_frame_header& header) {
  auto as_layer_3 = header;
  as_layer_3.layer = 3;
  return mpeg_header_size + mpeg_side_info_size(as_layer_3);
}

std::optional<mpeg_vbr_info> read_xing(std::span<const std::byte> frame) {
  const auto header = parse_mpeg_header(frame);
  if (!header) return std::nullopt;
  be_reader in(frame);
  try {
    in.skip(xing_offset(*header));
    const auto name = in.be32();
    if (name != fourcc("Xing") && name != fourcc("Info")) return std::nullopt;
    mpeg_vbr_info info;
    info.kind = mpeg_vbr_info::xing;
    info.is_vbr = name == fourcc("Xing");
    const auto flags = in.be32();
    if ((flags & xing_has_frames) == 0) return std::nullopt;
    info.frames = in.be32();
    if (*info.frames <= 1 || *info.frames > 0x7FFFFFFF) return std::nullopt;
    if ((flags & xing_has_bytes) != 0) info.bytes = in.be32();
    if ((flags & xing_has_table) != 0) {
      const auto table = in.take(sizeof(xing_seek_table));
      std::ranges::transform(table, info.table.emplace().begin(),
                             [](std::byte b) { return std::to_integer<std::uint8_t>(b); });
    }
    if ((flags & xing_has_quality) != 0) info.quality = in.be32();
    info.encoder_offset = in.position();
    read_encoder(in.take(in.remaining()), info);
    return info;
  } catch (const zelmora_io::exception_io_data_truncation&) {
    return std::nullopt;
  }
}

std::optional<mpeg_vbr_info> read_vbri(std::span<const std::byte> frame) {
  if (frame.size() < vbri_least_size) return std::nullopt;
  be_reader in(frame);
  in.skip(vbri_offset);
  if (in.be32() != fourcc("VBRI")) return std::nullopt;
  if (!parse_mpeg_header(frame)) throw VBRIParseError(); // has no sample rate
  try {
    mpeg_vbr_info info;
    info.kind = mpeg_vbr_info::vbri;
    info.is_vbr = true;
    info.profile = "VBR";
    in.skip(2 + 2 + 2); // version, delay, quality
    info.bytes = in.be32();
    info.frames = in.be32();
    in.skip(2 + 2 + 2 + 2); // seek table: entries, scale, size of one, frames of one
    return info;
  } catch (const zelmora_io::exception_io_data_truncation&) {
    throw VBRIParseError();
  }
}

} // namespace zelmora
