#include "mpeg/mp3_survey.h"

#include "mpeg/layer3_side_info.h"
#include "tags/trailing_tags.h"

#include <algorithm>
#include <fmt/core.h>
#include <limits>
#include <optional>
#include <utility>

namespace zelmora {

using namespace zelmora_io;

namespace {

constexpr std::size_t most_places = 262'144;
/// A file with more is noise in which frames happen to be.
constexpr std::size_t most_gaps = 1'048'576;

/// Also one that tells too little, or nothing that can be.
bool holds_header(const mp3_start& start, byte_window& window, abort_callback& abort) {
  if (start.told) return true;
  const auto& header = start.frame.header;
  if (header.layer != 3) return false;
  const auto bytes = window.at(start.frame.offset + xing_offset(header), sizeof(std::uint32_t), abort);
  return starts_with(bytes, "Xing") || starts_with(bytes, "Info");
}

void expect_layer_3(const mpeg_frame_header& header) {
  if (header.layer != 3)
    throw exception_io_data(fmt::format("Expected MPEG layer 3 (\"MP3\"), found layer {}", header.layer));
}

/// Behind the frame with the header, if there is one [bytes].
std::uint64_t audio_begin(const mp3_survey& survey) {
  const auto& frame = survey.start.frame;
  return frame.offset + (survey.has_header_frame ? frame.header.frame_size : 0);
}

/// Goes through the frames once.
class surveyor {
 public:
  surveyor(byte_window& window, mp3_gaps gaps, mp3_survey& survey) : window_(window), gaps_(gaps), survey_(survey) {}

  void run(std::uint64_t tail, abort_callback& abort) {
    const auto& [head, frame, told] = survey_.start;
    add_gap({head.size, frame.offset});
    // The reader gives up where nothing follows for long. What does all the same is audio as well.
    for (auto from = std::optional(audio_begin(survey_)); from; from = find_beyond(tail, abort)) {
      mpeg_frame_reader reader(window_, {*from, tail, nullptr, frame.header}, nullptr);
      if (!read_all(reader, tail, abort)) break;
      position_ = std::max(reader.position(), *from + 1);
    }
    add_gap({expected_, tail});
    if (survey_.places.count() == 0) throw exception_io_data("No frames of MPEG audio found");
  }

 private:
  /// False at the end of all frames.
  bool read_all(mpeg_frame_reader& reader, std::uint64_t tail, abort_callback& abort) {
    while (const auto frame = reader.next(abort)) {
      if (frame->offset + frame->header.frame_size > tail) {
        ++survey_.incomplete;
        return false;
      }
      take(*frame, abort);
    }
    return true;
  }

  /// The next frame of the stream behind what the reader has searched.
  std::optional<std::uint64_t> find_beyond(std::uint64_t tail, abort_callback& abort) {
    constexpr auto no_limit = std::numeric_limits<std::uint64_t>::max();
    for (auto from = position_; from < tail;) {
      const auto found = find_first_mpeg_frame(window_, from, {no_limit, tail}, abort);
      if (!found || found->offset >= tail) break;
      if (belong_together(found->header, survey_.start.frame.header)) {
        is_behind_gap_ = true;
        return found->offset;
      }
      from = found->offset + 1;
    }
    return std::nullopt;
  }

  void take(const mpeg_frame& frame, abort_callback& abort) {
    if (!frame.is_damaged) expect_layer_3(frame.header);
    // Header frames of files that were joined are none of this one's, and play as silence.
    if (is_header(frame, abort)) return;
    if (survey_.places.count() == 0) {
      begin_with(frame, abort);
    } else {
      survey_.is_vbr = survey_.is_vbr || (!frame.is_damaged && frame.header.bitrate != survey_.first.bitrate);
      if (gaps_ == mp3_gaps::kept) survey_.size += frame.offset - expected_;
      add_gap({expected_, frame.offset});
    }
    check_bits(frame, abort);
    survey_.places.add(survey_.size);
    survey_.size += frame.header.frame_size;
    survey_.samples += frame.is_damaged ? survey_.first.samples : frame.header.samples;
    expected_ = frame.offset + frame.header.frame_size;
  }

  bool is_header(const mpeg_frame& frame, abort_callback& abort) {
    if (gaps_ == mp3_gaps::kept && survey_.places.count() != 0) return false;
    return read_xing(window_.at(frame.offset, frame.header.frame_size, abort)).has_value();
  }

  void begin_with(const mpeg_frame& frame, abort_callback& abort) {
    survey_.begin = frame.offset;
    survey_.first = frame.header;
    std::ranges::copy(window_.at(frame.offset, mpeg_header_size, abort), survey_.first_bytes.begin());
  }

  void add_gap(const byte_range& gap) {
    if (gap.begin >= gap.end) return;
    if (survey_.gaps.size() == most_gaps) throw exception_io_data("Too many bytes that are no MPEG audio");
    survey_.gaps.push_back(gap);
  }

  /// Notes a frame whose bits begin in bytes that no frame is left of. What lies between two frames has taken nothing
  /// from the second when that begins to read where the first has ended.
  void check_bits(const mpeg_frame& frame, abort_callback& abort) {
    const bool is_behind_damage = std::exchange(is_behind_gap_, frame.is_damaged) || frame.is_behind_damage;
    if (frame.header.layer != 3 || frame.is_damaged) return;
    const auto side_info =
        window_.at(frame.offset + mpeg_side_info_offset(frame.header), mpeg_side_info_size(frame.header), abort);
    const auto use = read_mpeg_bit_use(frame.header, side_info);
    if (is_behind_damage && use.from_before != reservoir_.left()) reservoir_.lose();
    if (use.from_before > reservoir_.held() && survey_.unfounded++ == 0)
      survey_.first_unfounded = survey_.places.count();
    reservoir_.take(frame.header, use);
  }

  byte_window& window_;
  mp3_gaps gaps_;
  mp3_survey& survey_;
  std::uint64_t position_ = 0; ///< what is before it has been searched [bytes]
  bool is_behind_gap_ = false; ///< or behind a frame that can't be decoded
  std::uint64_t expected_ = 0; ///< where the next frame should begin [bytes]
  mpeg_bit_reservoir reservoir_;
};

} // namespace

void mpeg_frame_places::add(std::uint64_t offset) {
  if (count_++ % step_ != 0) return;
  if (offsets_.size() == most_places) {
    for (std::size_t i = 0; i < most_places / 2; ++i) offsets_[i] = offsets_[2 * i];
    offsets_.resize(most_places / 2);
    step_ *= 2; // this frame is one of those kept, since the old step divides the number of places
  }
  offsets_.push_back(offset);
}

std::uint64_t mpeg_frame_places::find(std::uint64_t frame) const {
  if (frame >= count_) uBugCheck("no such frame");
  return offsets_[frame / step_];
}

mp3_survey survey_mp3(file& source, byte_window& window, mp3_gaps gaps, abort_callback& abort) {
  source.ensure_seekable();
  mp3_survey survey;
  survey.start = find_mp3_start(source, window, abort);
  // In a file that grew, it would claim the audio.
  if (survey.start.head.is_cut) throw exception_io_data("The ID3v2 tag goes past the end of the file");
  expect_layer_3(survey.start.frame.header);
  survey.has_header_frame = holds_header(survey.start, window, abort);
  const auto tail = scan_trailing_tags(source, tail_use::remove, abort, audio_begin(survey)).begin;
  surveyor(window, gaps, survey).run(tail, abort);
  return survey;
}

} // namespace zelmora
