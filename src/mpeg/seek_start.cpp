#include "mpeg/seek_start.h"

#include "mpeg/layer3_side_info.h"

#include <algorithm>
#include <cmath>
#include <deque>

namespace zelmora {

namespace {

/// Frames before the wanted one that are decoded in any case.
constexpr std::uint64_t least_warm_up = 10;
/// The frames right before the wanted one whose samples it is mixed with, and that must find their bits as well.
constexpr std::uint64_t overlapping_frames = 2;
/// A frame may hold as little as a byte of other frames' bits.
constexpr std::size_t most_warm_up = 1024;

std::uint64_t reservoir_size(const mpeg_frame_header& header) {
  if (header.layer != 3) return 0;
  return header.version == mpeg_version::mpeg1 ? 511 : 255;
}

/// The last of `passed` from which on the reservoir of the frames before the last, the wanted one, fills up; as the
/// index would have it.
std::optional<mpeg_frame_index::entry> choose_start(const std::deque<mpeg_frame>& passed, std::uint64_t begin,
                                                    std::uint64_t reservoir) {
  const auto wanted = passed.back().number;
  std::uint64_t filled = 0;
  for (auto frame = passed.rbegin(); frame != passed.rend(); ++frame) {
    if (frame->number + overlapping_frames < wanted) filled += mpeg_main_data_size(frame->header);
    if (frame->number + least_warm_up <= wanted && filled >= reservoir)
      return mpeg_frame_index::entry{frame->number, frame->offset - begin, frame->sample};
  }
  return std::nullopt;
}

/// Reads from `known` on to the frame that holds sample `wanted`, the last of the answer; empty when there is none.
std::deque<mpeg_frame> read_up_to(mpeg_frame_reader& reader, const mpeg_frame_index::entry& known, std::uint64_t wanted,
                                  abort_callback& abort) {
  std::deque<mpeg_frame> passed;
  reader.seek(known);
  do {
    const auto frame = reader.next(abort);
    if (!frame) return {};
    passed.push_back(*frame);
    if (passed.size() > most_warm_up) passed.pop_front();
  } while (passed.back().sample + passed.back().header.samples <= wanted);
  return passed;
}

std::optional<mpeg_frame_index::entry> find_exactly(const mp3_stream& stream, byte_window& window,
                                                    const mpeg_frame_index_ptr& index, std::uint64_t wanted,
                                                    abort_callback& abort) {
  mpeg_frame_reader reader(window, stream.range(index), nullptr);
  for (auto from = wanted - least_warm_up * stream.first.samples;;) {
    const auto known = index->find_sample(from).value_or(mpeg_frame_index::entry{});
    if (known.frame != 0 && !parse_mpeg_header(window.at(stream.begin + known.offset, mpeg_header_size, abort))) {
      index->clear(); // The file has changed, and kept its size and time.
      continue;
    }
    const auto passed = read_up_to(reader, known, wanted, abort);
    if (passed.empty()) return std::nullopt;
    if (const auto start = choose_start(passed, stream.begin, reservoir_size(stream.first))) return start;
    const auto& first = passed.front();
    const bool is_all = known.frame == 0 || passed.size() == most_warm_up;
    if (is_all) return mpeg_frame_index::entry{first.number, first.offset - stream.begin, first.sample};
    from = known.sample - 1;
  }
}

/// How much of the bytes lies before the place at `part` [0, 1) of the time.
double part_of_bytes(const mp3_stream& stream, double part) {
  if (!stream.vbr.table) return part;
  const auto& table = *stream.vbr.table;
  const auto place = part * static_cast<double>(table.size());
  const auto i = std::min(static_cast<std::size_t>(place), table.size() - 1);
  const double here = table[i];
  const double next = i + 1 < table.size() ? table[i + 1] : 256.0;
  return (here + (next - here) * (place - static_cast<double>(i))) / 256.0;
}

std::optional<mpeg_frame_index::entry> find_roughly(const mp3_stream& stream, byte_window& window, std::uint64_t wanted,
                                                    abort_callback& abort) {
  const auto samples = stream.first.samples;
  if (!stream.has_length() || wanted / samples >= stream.frames) return std::nullopt;
  const auto from = wanted / samples - least_warm_up;
  const auto frames = static_cast<double>(stream.frames);
  const auto part = part_of_bytes(stream, static_cast<double>(from) / frames);
  const auto target = stream.begin + static_cast<std::uint64_t>(part * static_cast<double>(stream.bytes()));
  const auto found = find_first_mpeg_frame(window, target, abort);
  if (!found) return std::nullopt;
  const auto offset = found->offset - stream.begin;
  auto frame = from;
  if (!stream.is_vbr) {
    const auto before = static_cast<double>(offset) / static_cast<double>(stream.bytes());
    frame = static_cast<std::uint64_t>(std::llround(before * frames));
  }
  return mpeg_frame_index::entry{frame, offset, frame * samples};
}

} // namespace

std::optional<mpeg_frame_index::entry> find_mpeg_seek_start(const mp3_stream& stream, byte_window& window,
                                                            const mpeg_frame_index_ptr& index, std::uint64_t wanted,
                                                            mpeg_seek_way way, abort_callback& abort) {
  if (wanted / stream.first.samples <= least_warm_up) return mpeg_frame_index::entry{};
  const auto from = wanted / stream.first.samples - least_warm_up;
  const auto known = index->find(from);
  const bool is_near = known && from - known->frame <= 2 * mpeg_frame_index::spacing;
  if (way == mpeg_seek_way::exact || is_near) return find_exactly(stream, window, index, wanted, abort);
  return find_roughly(stream, window, wanted, abort);
}

} // namespace zelmora
