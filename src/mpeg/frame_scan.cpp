#include "mpeg/frame_scan.h"

#include <algorithm>

namespace zelmora {

using zelmora_io::file;

namespace {

constexpr std::size_t scan_block = 16384; ///< searched at once [bytes]
constexpr std::uint64_t search_limit = 1'048'576;
constexpr std::uint64_t search_limit_of_streams = 32'768;
constexpr std::size_t last_block = 4096; ///< searched first from the end: it holds a frame [bytes]
constexpr std::uint64_t backward_limit = std::uint64_t{64} << 20;
constexpr std::size_t look_ahead = 2885;              ///< the largest frame, and the header behind it [bytes]
constexpr std::size_t overlap = mpeg_header_size - 1; ///< so that a header across two blocks is seen

enum class confirmation { confirmed, refuted, beyond_the_end };

/// Whether a frame of the same stream stands behind that one.
confirmation confirm(byte_window& window, std::uint64_t offset, const mpeg_frame_header& frame, abort_callback& abort) {
  const auto end = offset + frame.frame_size;
  if (window.size() != file::unknown_size && end > window.size()) return confirmation::beyond_the_end;
  const auto behind = window.at(end, mpeg_header_size, abort);
  if (behind.size() < mpeg_header_size) return confirmation::beyond_the_end;
  const auto next = parse_mpeg_header(behind);
  return next && belong_together(*next, frame) ? confirmation::confirmed : confirmation::refuted;
}

/// The next offset in [at, end) where a header may begin; `end` when there is none.
std::uint64_t next_sync(byte_window& window, std::uint64_t at, std::uint64_t end, abort_callback& abort) {
  const auto bytes = window.at(at, static_cast<std::size_t>(end - at), abort);
  return at + static_cast<std::uint64_t>(std::ranges::find(bytes, std::byte{0xFF}) - bytes.begin());
}

} // namespace

std::optional<found_mpeg_frame> find_first_mpeg_frame(byte_window& window, std::uint64_t from, abort_callback& abort) {
  const auto limit = window.can_seek() ? search_limit : search_limit_of_streams;
  // The usual case needs no block.
  if (const auto header = parse_mpeg_header(window.at(from, mpeg_header_size, abort)))
    if (confirm(window, from, *header, abort) == confirmation::confirmed) return found_mpeg_frame{from, *header};
  for (auto block = from;; block += scan_block - overlap) {
    abort.check();
    const auto held = std::min(window.at(block, scan_block + look_ahead, abort).size(), scan_block);
    if (held < mpeg_header_size) return std::nullopt;
    const auto end = block + held - overlap;
    for (auto at = next_sync(window, block, end, abort); at < end; at = next_sync(window, at + 1, end, abort)) {
      const auto header = parse_mpeg_header(window.at(at, mpeg_header_size, abort));
      if (!header) continue;
      const auto seen = confirm(window, at, *header, abort);
      if (seen == confirmation::confirmed) return found_mpeg_frame{at, *header};
      if (seen == confirmation::beyond_the_end) break;
    }
    if (held < scan_block || block + held - from > limit) return std::nullopt;
  }
}

std::optional<std::uint64_t> find_last_mpeg_frame_end(byte_window& window, const found_mpeg_frame& first,
                                                      std::uint64_t end_of_audio, abort_callback& abort) {
  auto size = last_block;
  for (auto block_end = end_of_audio; block_end >= first.offset + mpeg_header_size;) {
    const auto begin = block_end - std::min<std::uint64_t>(block_end - first.offset, size);
    const auto bytes = window.at(begin, static_cast<std::size_t>(block_end - begin), abort);
    for (auto i = bytes.size() < mpeg_header_size ? 0 : bytes.size() - overlap; i-- > 0;) {
      if (bytes[i] != std::byte{0xFF}) continue;
      const auto header = parse_mpeg_header(bytes.subspan(i));
      if (!header || header->sample_rate != first.header.sample_rate || header->layer != first.header.layer) continue;
      const auto end = begin + i + header->frame_size;
      if (end <= end_of_audio) return end;
    }
    if (begin == first.offset) break;
    if (end_of_audio - begin > backward_limit) return end_of_audio;
    abort.check();
    block_end = begin + overlap;
    size = scan_block;
  }
  return std::nullopt;
}

} // namespace zelmora
