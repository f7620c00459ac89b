#include "mpeg/stream_length.h"

#include <algorithm>
#include <cmath>

namespace zelmora {

using namespace zelmora_io;

namespace {

constexpr unsigned sampled_places = 8; ///< along the stream
constexpr unsigned frames_at_a_place = 8;
/// So many bytes before the end there are frames to be found; the last one isn't, nothing stands behind it.
constexpr std::uint64_t least_gap = 16384;

/// Some frames of a stream.
struct frame_sample {
  std::uint64_t frames = 0;
  std::uint64_t bytes = 0;
  bool has_one_rate = true;
  bool has_padding = false; ///< some of them
  bool has_gaps = false;    ///< places without frames
};

void take_sample_at(const mp3_stream& stream, byte_window& window, std::uint64_t from, frame_sample& sample,
                    abort_callback& abort) {
  const auto found = find_first_mpeg_frame(window, from, {0, stream.end}, abort);
  if (!found || !have_same_mpeg_format(found->header, stream.first)) { // by chance, or damage
    if (stream.end - from > least_gap) sample.has_gaps = true;
    return;
  }
  mpeg_frame_reader reader(window, {found->offset, stream.end, nullptr}, nullptr);
  for (unsigned i = 0; i < frames_at_a_place; ++i) {
    const auto frame = reader.next(abort);
    if (!frame || frame->is_behind_damage) break;
    ++sample.frames;
    sample.bytes += frame->header.frame_size;
    sample.has_padding = sample.has_padding || frame->header.has_padding;
    sample.has_one_rate = sample.has_one_rate && frame->header.bitrate == stream.first.bitrate;
  }
}

frame_sample take_sample(const mp3_stream& stream, byte_window& window, abort_callback& abort) {
  frame_sample sample;
  for (unsigned place = 0; place < sampled_places; ++place)
    take_sample_at(stream, window, stream.begin + stream.bytes() / sampled_places * place, sample, abort);
  // And the last few.
  take_sample_at(stream, window, stream.end - std::min(stream.bytes(), least_gap), sample, abort);
  return sample;
}

double average_frame_bytes(const mpeg_frame_header& first, const frame_sample& sample) {
  if (!sample.has_one_rate) return static_cast<double>(sample.bytes) / static_cast<double>(sample.frames);
  // Some encoders never pad: then a frame has less than its rate asks for.
  if (!sample.has_padding) return first.frame_size;
  return first.bitrate * 125.0 * first.samples / first.sample_rate;
}

void count_frames(mp3_stream& stream, byte_window& window, const mpeg_frame_index_ptr& index, abort_callback& abort) {
  auto range = stream.range(index);
  range.end = stream.tail.value_or(stream.end);
  mpeg_frame_reader reader(window, range, nullptr);
  std::uint64_t bytes = 0;
  while (const auto frame = reader.next(abort)) bytes += frame->header.frame_size;
  stream.frames = reader.number();
  stream.counted_bytes = bytes;
  stream.length_source = mp3_length_source::scan;
}

} // namespace

void measure_mp3_length(mp3_stream& stream, byte_window& window, const mpeg_frame_index_ptr& index,
                        mp3_counting counting, abort_callback& abort) {
  if (stream.has_length() || stream.end == file::unknown_size) return;
  const auto sample = take_sample(stream, window, abort);
  if (!sample.has_one_rate) {
    stream.is_vbr = true;
    stream.vbr.profile = "VBR";
  }
  const bool is_regular = sample.has_one_rate && !sample.has_gaps;
  if (!is_regular && counting == mp3_counting::allowed) {
    count_frames(stream, window, index, abort);
  } else {
    stream.frames = static_cast<std::uint64_t>(
        std::llround(static_cast<double>(stream.bytes()) / average_frame_bytes(stream.first, sample)));
    stream.length_source = is_regular ? mp3_length_source::cbr : mp3_length_source::estimate;
  }
  if (stream.frames == 0) throw exception_io_data();
}

} // namespace zelmora
