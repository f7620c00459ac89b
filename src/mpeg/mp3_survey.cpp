#include "mpeg/mp3_survey.h"

#include "frame/bit_reader.h"
#include "mpeg/frame_protection.h"
#include "tags/trailing_tags.h"

#include <algorithm>
#include <fmt/core.h>

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

/// What a frame of layer 3 uses of the bytes for bits, its own and those that frames before it have left. Source:
/// ISO/IEC 11172-3, 2.4.1.7, main_data_begin and part2_3_length; ISO/IEC 13818-3, 2.4.1.7.
struct bit_use {
  std::uint64_t from_before = 0; ///< [bytes]
  std::uint64_t all = 0;         ///< [bytes]
};

bit_use read_bit_use(const mpeg_frame& frame, byte_window& window, abort_callback& abort) {
  const auto& header = frame.header;
  const bool is_mpeg1 = header.version == mpeg_version::mpeg1;
  const bool is_mono = header.channels == 1;
  const unsigned private_bits = is_mpeg1 ? (is_mono ? 5 : 3) : (is_mono ? 1 : 2);
  const unsigned shared_bits = is_mpeg1 ? 4u * header.channels : 0; // scfsi
  const unsigned granules = is_mpeg1 ? 2 : 1;
  constexpr unsigned length_bits = 12;
  const unsigned other_bits = is_mpeg1 ? 47 : 51;

  const auto offset = frame.offset + mpeg_side_info_offset(header);
  bit_reader in(window.at(offset, mpeg_side_info_size(header), abort));
  const auto from_before = in.read(is_mpeg1 ? 9 : 8);
  in.read(private_bits + shared_bits);
  std::uint64_t bits = 0;
  for (unsigned i = 0; i < granules * header.channels; ++i) {
    bits += in.read(length_bits);
    in.read(other_bits / 2);
    in.read(other_bits - other_bits / 2);
  }
  return {from_before, (bits + 7) / 8};
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
    add_gap({head.is_cut ? frame.offset : head.size, frame.offset});
    mpeg_frame_reader reader(window_, {audio_begin(survey_), tail, nullptr}, nullptr);
    while (const auto next = reader.next(abort)) {
      if (next->offset + next->header.frame_size > tail) {
        ++survey_.incomplete;
        break;
      }
      take(*next, abort);
    }
    add_gap({expected_, tail});
    if (survey_.places.count() == 0) throw exception_io_data("No frames of MPEG audio found");
  }

 private:
  void take(const mpeg_frame& frame, abort_callback& abort) {
    if (survey_.places.count() == 0) {
      begin_with(frame, abort);
    } else {
      survey_.is_vbr = survey_.is_vbr || frame.header.bitrate != survey_.first.bitrate;
      if (gaps_ == mp3_gaps::kept) survey_.size += frame.offset - expected_;
      add_gap({expected_, frame.offset});
    }
    check_bits(frame, abort);
    survey_.places.add(survey_.size);
    survey_.size += frame.header.frame_size;
    expected_ = frame.offset + frame.header.frame_size;
  }

  void begin_with(const mpeg_frame& frame, abort_callback& abort) {
    expect_layer_3(frame.header);
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
    if (frame.header.layer != 3) return;
    const auto use = read_bit_use(frame, window_, abort);
    if (frame.is_behind_damage && use.from_before != bits_left_) bits_held_ = 0;
    if (use.from_before > bits_held_ && survey_.unfounded++ == 0) survey_.first_unfounded = survey_.places.count();
    const auto own = mpeg_main_data_size(frame.header);
    bits_held_ += own;
    bits_left_ = use.from_before + own - std::min(use.from_before + own, use.all);
  }

  byte_window& window_;
  mp3_gaps gaps_;
  mp3_survey& survey_;
  std::uint64_t expected_ = 0;  ///< where the next frame should begin [bytes]
  std::uint64_t bits_held_ = 0; ///< by the frames since the last damage [bytes]
  std::uint64_t bits_left_ = 0; ///< by the frame before, for those that follow [bytes]
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
  expect_layer_3(survey.start.frame.header);
  survey.has_header_frame = holds_header(survey.start, window, abort);
  const auto tail = scan_trailing_tags(source, tail_use::remove, abort, audio_begin(survey)).begin;
  surveyor(window, gaps, survey).run(tail, abort);
  return survey;
}

} // namespace zelmora
