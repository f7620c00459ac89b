#include "mpeg/vbr_header_writer.h"

#include "frame/bytes.h"

#include <algorithm>
#include <fmt/core.h>
#include <limits>

namespace zelmora {

using namespace zelmora_io;

namespace {

using frame_head = std::array<std::byte, mpeg_header_size>;

constexpr std::byte padding_bit{0x02};
constexpr std::uint8_t revision = 0x10; ///< 1, in the high half

/// Layer 3 without checksum at 64 kbit/s, whatever the stream has; its rate and channels.
frame_head make_head(std::span<const std::byte, mpeg_header_size> first) {
  const auto header = parse_mpeg_header(first);
  if (!header) throw exception_io_data();
  if (header->version == mpeg_version::mpeg2_5)
    throw exception_io_unsupported_feature("Writing MPEG-2.5 headers not supported");
  const bool is_mpeg1 = header->version == mpeg_version::mpeg1;
  constexpr std::byte version_and_sync{0xF0};
  constexpr std::byte sample_rate{0x0C};
  return {first[0], (first[1] & version_and_sync) | (is_mpeg1 ? std::byte{0x0B} : std::byte{0x03}),
          (first[2] & sample_rate) | (is_mpeg1 ? std::byte{0x50} : std::byte{0x80}), first[3]};
}

/// What stands in front of the LAME extension, at most [bytes].
std::size_t largest_front(const mpeg_frame_header& header) {
  return xing_offset(header) + 5 * sizeof(std::uint32_t) + sizeof(xing_seek_table);
}

mpeg_frame_header fit_head(frame_head& head) {
  const auto header = *parse_mpeg_header(head);
  if (largest_front(header) + lame_extension::size <= header.frame_size) return header;
  head[2] |= padding_bit;
  return *parse_mpeg_header(head);
}

/// A frame that is filled from front to back; what is skipped is zero.
class frame_bytes {
 public:
  explicit frame_bytes(std::size_t size) : bytes_(size) {}

  void skip_to(std::size_t position) { position_ = position; }
  void put(std::span<const std::byte> data) {
    if (data.size() > bytes_.size() - position_) uBugCheck("the header is larger than its frame");
    std::ranges::copy(data, bytes_.begin() + static_cast<std::ptrdiff_t>(position_));
    position_ += data.size();
  }
  template <std::unsigned_integral T>
  void be(T value) {
    std::array<std::byte, sizeof(T)> raw;
    store_be(raw.data(), value);
    put(raw);
  }
  std::size_t position() const noexcept { return position_; }
  std::vector<std::byte> take() { return std::move(bytes_); }

 private:
  std::vector<std::byte> bytes_;
  std::size_t position_ = 0;
};

std::uint32_t cut_delay(std::uint64_t value, std::string_view name, const vbr_header_log& log) {
  if (value <= lame_extension::longest_delay) return static_cast<std::uint32_t>(value);
  log(fmt::format("{} too big, truncating from {} to {}", name, value, lame_extension::longest_delay));
  return lame_extension::longest_delay;
}

void put_xing(frame_bytes& out, const vbr_header_record& record) {
  out.put(as_byte_span(record.is_vbr ? "Xing" : "Info"));
  const std::uint32_t flags = xing_has_frames | xing_has_bytes | (record.table ? xing_has_table : 0u) |
                              (record.quality ? xing_has_quality : 0u);
  out.be(flags);
  out.be(record.frames);
  // Readers take 0 for unknown.
  const bool is_told = std::in_range<std::uint32_t>(record.bytes);
  out.be(is_told ? static_cast<std::uint32_t>(record.bytes) : 0u);
  if (record.table) out.put(std::as_bytes(std::span(*record.table)));
  if (record.quality) out.be(*record.quality);
}

void put_lame_extension(frame_bytes& out, const vbr_header_record& record, const vbr_header_log& log) {
  const auto begin = out.position();
  const auto& text = record.encoder.size() <= lame_extension::text_size ? record.encoder : std::string();
  out.put(as_byte_span(fmt::format("{:<{}}", text, lame_extension::text_size)));
  out.be(static_cast<std::uint8_t>(record.method | revision));
  out.be(record.lowpass);
  const auto delay = cut_delay(record.delay, "delay", log);
  const auto padding = cut_delay(record.padding, "padding", log);
  out.skip_to(begin + lame_extension::delays_offset);
  out.be(static_cast<std::uint8_t>(delay >> 4));
  out.be(static_cast<std::uint16_t>(delay << 12 | padding));
}

} // namespace

std::uint32_t vbr_header_size(std::span<const std::byte, mpeg_header_size> first) {
  auto head = make_head(first);
  return fit_head(head).frame_size;
}

std::vector<std::byte> write_vbr_header(std::span<const std::byte, mpeg_header_size> first,
                                        const vbr_header_record& record, const vbr_header_log& log) {
  auto head = make_head(first);
  const auto header = fit_head(head);
  frame_bytes out(header.frame_size);
  out.put(head);
  out.skip_to(xing_offset(header));
  put_xing(out, record);
  put_lame_extension(out, record, log);
  return out.take();
}

std::uint64_t padding_of(std::uint64_t held, std::uint64_t delay, std::uint64_t length, const vbr_header_log& log) {
  const auto used = checked_add(delay, length);
  if (used <= held) return held - used;
  log(fmt::format("padding too small, truncating from -{} to 0", used - held));
  return 0;
}

xing_seek_table make_seek_table(std::uint64_t bytes, const std::function<std::uint64_t(std::uint64_t i)>& offset_of) {
  constexpr std::uint64_t most = 255;
  xing_seek_table table{};
  for (std::size_t i = 0; i < table.size(); ++i)
    table[i] = static_cast<std::uint8_t>(std::min(checked_mul(offset_of(i), most) / bytes, most));
  return table;
}

} // namespace zelmora
