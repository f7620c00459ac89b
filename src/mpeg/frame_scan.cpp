#include "mpeg/frame_scan.h"

#include <algorithm>
#include <array>

namespace zelmora {

using zelmora_io::file;

namespace {

constexpr std::size_t scan_block = 16384; ///< searched at once [bytes]
constexpr std::uint64_t search_limit = 1'048'576;
constexpr std::uint64_t search_limit_of_streams = 32'768;
constexpr std::size_t last_block = 4096; ///< searched first from the end: it holds a frame [bytes]
/// A search from the end gives up: preallocated files end in far more that is no audio [bytes].
constexpr std::uint64_t backward_limit = std::uint64_t{4} << 20;
constexpr std::size_t look_ahead = 2885;              ///< the largest frame, and the header behind it [bytes]
constexpr std::size_t overlap = mpeg_header_size - 1; ///< so that a header across two blocks is seen

/// Whether a frame of the same stream stands behind that one.
bool is_confirmed(byte_window& window, std::uint64_t offset, const mpeg_frame_header& frame, const mpeg_search& search,
                  abort_callback& abort) {
  const auto end = offset + frame.frame_size;
  if (end == search.end_of_frames) return true;
  if (window.size() != file::unknown_size && end > window.size()) return false;
  const auto behind = window.at(end, mpeg_header_size, abort);
  if (behind.size() < mpeg_header_size) return false;
  const auto next = parse_mpeg_header(behind);
  return next && belong_together(*next, frame);
}

/// The next offset in [at, end) where a header may begin; `end` when there is none.
std::uint64_t next_sync(byte_window& window, std::uint64_t at, std::uint64_t end, abort_callback& abort) {
  const auto bytes = window.at(at, static_cast<std::size_t>(end - at), abort);
  return at + static_cast<std::uint64_t>(std::ranges::find(bytes, std::byte{0xFF}) - bytes.begin());
}

} // namespace

mpeg_search search_of_opening(const byte_window& window) {
  return {window.can_seek() ? search_limit : search_limit_of_streams};
}

std::optional<found_mpeg_frame> find_first_mpeg_frame(byte_window& window, std::uint64_t from,
                                                      const mpeg_search& search, abort_callback& abort) {
  // The usual case needs no block.
  if (const auto header = parse_mpeg_header(window.at(from, mpeg_header_size, abort)))
    if (is_confirmed(window, from, *header, search, abort)) return found_mpeg_frame{from, *header};
  for (auto block = from;; block += scan_block - overlap) {
    abort.check();
    const auto held = std::min(window.at(block, scan_block + look_ahead, abort).size(), scan_block);
    if (held < mpeg_header_size) return std::nullopt;
    const auto end = block + held - overlap;
    for (auto at = next_sync(window, block, end, abort); at < end; at = next_sync(window, at + 1, end, abort)) {
      const auto header = parse_mpeg_header(window.at(at, mpeg_header_size, abort));
      if (header && is_confirmed(window, at, *header, search, abort)) return found_mpeg_frame{at, *header};
    }
    if (held < scan_block || block + held - from > search.limit) return std::nullopt;
  }
}

namespace {

/// Headers that a search from the end has met. A lone one may be a part of what a frame holds; one that another frame
/// ends in front of is none.
class frames_from_the_end {
 public:
  explicit frames_from_the_end(std::uint64_t end_of_audio) : end_of_audio_(end_of_audio) {}

  /// Where the last frame ends, once that is known.
  std::optional<std::uint64_t> add(std::uint64_t offset, std::uint64_t end) {
    if (end == end_of_audio_ || met_[end % met_.size()].offset == end)
      return end == end_of_audio_ ? end : met_[end % met_.size()].end;
    met_[offset % met_.size()] = {offset, end};
    if (last_.end == 0) last_ = {offset, end};
    return std::nullopt;
  }
  /// The end of the last header, when no frame is in front of that.
  std::optional<std::uint64_t> lone(std::uint64_t offset) const {
    return last_.end != 0 && last_.offset - offset >= 2 * look_ahead ? last() : std::nullopt;
  }
  std::optional<std::uint64_t> last() const { return last_.end != 0 ? std::optional(last_.end) : std::nullopt; }

 private:
  struct place {
    std::uint64_t offset = 0; // [bytes]
    std::uint64_t end = 0;
  };
  std::uint64_t end_of_audio_;
  place last_;                    ///< that with the highest offset
  std::array<place, 4096> met_{}; ///< by their offset: more than a frame has bytes
};

} // namespace

std::optional<std::uint64_t> find_last_mpeg_frame_end(byte_window& window, const found_mpeg_frame& first,
                                                      std::uint64_t end_of_audio, abort_callback& abort) {
  frames_from_the_end frames(end_of_audio);
  auto size = last_block;
  for (auto block_end = end_of_audio; block_end >= first.offset + mpeg_header_size;) {
    const auto begin = block_end - std::min<std::uint64_t>(block_end - first.offset, size);
    const auto bytes = window.at(begin, static_cast<std::size_t>(block_end - begin), abort);
    for (auto i = bytes.size() < mpeg_header_size ? 0 : bytes.size() - overlap; i-- > 0;) {
      if (bytes[i] != std::byte{0xFF}) continue;
      const auto header = parse_mpeg_header(bytes.subspan(i));
      if (!header || header->sample_rate != first.header.sample_rate || header->layer != first.header.layer) continue;
      const auto offset = begin + i;
      if (offset + header->frame_size > end_of_audio) continue;
      if (const auto end = frames.add(offset, offset + header->frame_size)) return end;
    }
    if (begin == first.offset) break;
    if (const auto end = frames.lone(begin)) return end;
    if (end_of_audio - begin > backward_limit) return end_of_audio;
    abort.check();
    block_end = begin + overlap;
    size = scan_block;
  }
  return frames.last();
}

} // namespace zelmora
