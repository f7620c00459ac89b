#include "mpeg/frame_reader.h"

#include "frame/bytes.h"
#include "tags/ape_tag.h"
#include "tags/id3v1.h"
#include "tags/id3v2_tag.h"

#include <utility>

namespace zelmora {

namespace {

constexpr std::uint32_t least_frame = 5; ///< a header and something behind it [bytes]
constexpr std::uint32_t largest_frame = 16384;

/// How far frames are searched for behind damage in a file [bytes].
constexpr std::uint64_t garbage_limit = std::uint64_t{64} << 20;

bool is_ape_header(std::span<const std::byte> bytes) { return starts_with(bytes, "APET"); }

/// The whole size of an APE tag by its header, which stands in front of its items [bytes].
std::uint64_t ape_size_by_header(std::span<const std::byte> header) {
  constexpr std::size_t size_offset = 12;
  if (header.size() < ape_footer_size) return header.size();
  return std::uint64_t{load_le<std::uint32_t>(header.data() + size_offset)} + ape_footer_size;
}

} // namespace

mpeg_frame_reader::mpeg_frame_reader(byte_window& window, range what, mpeg_event_sink sink)
    : window_(window), range_(std::move(what)), sink_(std::move(sink)), position_(range_.begin) {}

void mpeg_frame_reader::seek(const mpeg_frame_index::entry& known) {
  number_ = known.frame;
  position_ = range_.begin + known.offset;
  sample_ = known.sample;
  is_behind_damage_ = false;
  is_known_ = true;
}

std::optional<mpeg_frame> mpeg_frame_reader::next(abort_callback& abort) {
  const auto header = read_header(abort);
  if (!header) return std::nullopt;
  mpeg_frame found{number_++, position_, sample_, *header, std::exchange(is_behind_damage_, false), is_damaged_};
  position_ += header->frame_size;
  sample_ += is_damaged_ ? range_.format->samples : header->samples;
  is_behind_damage_ = is_damaged_;
  if (is_damaged_) return found;
  last_ = header;
  const bool is_due = found.number < indexed_ || found.number - indexed_ > mpeg_frame_index::spacing;
  if (range_.index && is_due) {
    range_.index->add({found.number, found.offset - range_.begin, found.sample});
    indexed_ = found.number;
  }
  return found;
}

std::optional<mpeg_frame_header> mpeg_frame_reader::read_header(abort_callback& abort) {
  std::optional<std::uint64_t> garbage;
  while (position_ < range_.end) {
    const auto bytes = window_.at(position_, mpeg_header_size, abort);
    if (bytes.size() < mpeg_header_size) return std::nullopt;
    if (starts_with(bytes, "TAG")) {
      if (!garbage) garbage = position_;
      position_ += id3v1_size;
      continue;
    }
    const auto header = parse_mpeg_header(bytes);
    const auto what = header ? judge(*header, abort) : verdict::no_frame;
    // A part of a frame at the end is none.
    const bool is_cut =
        range_.end_of_frames != zelmora_io::file::unknown_size && header && header->frame_size > range_.end - position_;
    if (what != verdict::no_frame && is_cut) return std::nullopt;
    if (what != verdict::no_frame) {
      is_damaged_ = what == verdict::damaged_frame;
      if (garbage) tell(mpeg_event::id3_garbage, *garbage);
      return header;
    }
    if (!resynchronise(abort)) return std::nullopt;
  }
  return std::nullopt;
}

/// A header of another format than the stream's is a new stream when another follows, and damage when the stream goes
/// on behind its frame.
mpeg_frame_reader::verdict mpeg_frame_reader::judge(const mpeg_frame_header& header, abort_callback& abort) {
  if (header.frame_size < least_frame || header.frame_size > largest_frame) return verdict::no_frame;
  if (std::exchange(is_known_, false) || !range_.format || belong_together(header, *range_.format))
    return verdict::frame;
  if (last_ && belong_together(header, *last_)) return verdict::frame;
  const auto next = parse_mpeg_header(window_.at(position_ + header.frame_size, mpeg_header_size, abort));
  if (!next) return verdict::no_frame;
  if (belong_together(*next, header)) return verdict::frame;
  return belong_together(*next, *range_.format) ? verdict::damaged_frame : verdict::no_frame;
}

/// The frame right behind a tag that begins with `bytes`. Pictures in a tag hold whatever looks like frames.
std::optional<found_mpeg_frame> mpeg_frame_reader::find_behind_tag(std::span<const std::byte> bytes,
                                                                   abort_callback& abort) {
  const auto size = is_ape_header(bytes) ? ape_size_by_header(bytes) : id3v2_tag_size(bytes);
  if (size == 0 || !window_.can_seek() || size >= window_.size() - position_) return std::nullopt;
  const auto behind = position_ + size;
  auto found = find_first_mpeg_frame(window_, behind, {0, range_.end_of_frames}, abort);
  if (found && found->offset != behind) found.reset(); // The tag may claim too much.
  return found;
}

/// Goes on behind bytes that are no frame. False at the end of the stream.
bool mpeg_frame_reader::resynchronise(abort_callback& abort) {
  const auto damaged = position_;
  const auto head = window_.at(damaged, ape_footer_size, abort);
  const bool is_tail = window_.can_seek() && is_ape_header(head);
  auto found = find_behind_tag(head, abort);
  if (!found) {
    auto search = search_of_opening(window_);
    if (window_.size() != zelmora_io::file::unknown_size) search.limit = garbage_limit;
    search.end_of_frames = range_.end_of_frames;
    found = find_first_mpeg_frame(window_, damaged + 1, search, abort);
  }
  if (found && found->offset >= range_.end) found.reset();
  if (!found && (is_tail || damaged >= range_.end_of_frames)) return false;
  tell(mpeg_event::stream_error, damaged);
  if (!found) {
    tell(mpeg_event::resync_failed, damaged);
    return false;
  }
  if (!parse_mpeg_header(window_.at(found->offset, mpeg_header_size, abort))) {
    tell(mpeg_event::parser_error, found->offset);
    return false;
  }
  position_ = found->offset;
  is_behind_damage_ = true;
  tell(mpeg_event::resync_done, found->offset);
  return true;
}

} // namespace zelmora
