#include "mpeg/seek_start.h"

#include "mpeg/frame_protection.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <iterator>

namespace zelmora {

namespace {

/// Frames before the wanted one that are decoded in any case.
constexpr std::uint64_t least_warm_up = 10;
/// The frames right before the wanted one whose samples it is mixed with, and that must find their bits as well.
constexpr std::uint64_t overlapping_frames = 2;
/// A frame may hold as little as a byte of other frames' bits.
constexpr std::size_t most_warm_up = 1024;

struct passed_frame {
  std::uint64_t number;
  std::uint64_t offset;    // [bytes]
  std::uint64_t main_data; // [bytes]
};

std::uint64_t main_data_size(const mpeg_frame_header& header) {
  const auto before = mpeg_header_size + (header.has_crc ? 2 : 0) + mpeg_side_info_size(header);
  return header.frame_size > before ? header.frame_size - before : 0;
}

std::uint64_t reservoir_size(const mpeg_frame_header& header) {
  if (header.layer != 3) return 0;
  return header.version == mpeg_version::mpeg1 ? 511 : 255;
}

/// The last of `passed` from which on the reservoir of the frames before `wanted` fills up.
std::optional<mpeg_seek_start> choose_start(const std::deque<passed_frame>& passed, std::uint64_t wanted,
                                            std::uint64_t reservoir) {
  std::uint64_t filled = 0;
  for (const auto& frame : std::ranges::subrange(passed.rbegin(), passed.rend())) {
    if (frame.number + overlapping_frames < wanted) filled += frame.main_data;
    if (frame.number + least_warm_up <= wanted && filled >= reservoir)
      return mpeg_seek_start{frame.number, frame.offset};
  }
  return std::nullopt;
}

std::optional<mpeg_seek_start> find_exactly(const mp3_stream& stream, byte_window& window,
                                            const mpeg_frame_index_ptr& index, std::uint64_t wanted,
                                            abort_callback& abort) {
  mpeg_frame_reader reader(window, stream.range(index), nullptr);
  for (auto from = wanted - least_warm_up;;) {
    const auto known = index->find(from).value_or(mpeg_frame_index::entry{});
    if (known.frame != 0 && !parse_mpeg_header(window.at(stream.begin + known.offset, mpeg_header_size, abort))) {
      index->clear(); // The file has changed, and kept its size and time.
      continue;
    }
    reader.seek(known.frame, stream.begin + known.offset);
    std::deque<passed_frame> passed;
    while (reader.number() < wanted) {
      const auto frame = reader.next(abort);
      if (!frame) return std::nullopt;
      passed.push_back({frame->number, frame->offset, main_data_size(frame->header)});
      if (passed.size() > most_warm_up) passed.pop_front();
    }
    if (auto start = choose_start(passed, wanted, reservoir_size(stream.first))) return start;
    if (known.frame == 0 || passed.size() == most_warm_up)
      return mpeg_seek_start{passed.front().number, passed.front().offset};
    from = known.frame - 1;
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

std::optional<mpeg_seek_start> find_roughly(const mp3_stream& stream, byte_window& window, std::uint64_t wanted,
                                            abort_callback& abort) {
  if (!stream.has_length() || wanted >= stream.frames) return std::nullopt;
  const auto from = wanted - least_warm_up;
  const auto frames = static_cast<double>(stream.frames);
  const auto part = part_of_bytes(stream, static_cast<double>(from) / frames);
  const auto target = stream.begin + static_cast<std::uint64_t>(part * static_cast<double>(stream.bytes()));
  const auto found = find_first_mpeg_frame(window, target, abort);
  if (!found) return std::nullopt;
  if (stream.is_vbr) return mpeg_seek_start{from, found->offset};
  const auto before = static_cast<double>(found->offset - stream.begin) / static_cast<double>(stream.bytes());
  return mpeg_seek_start{static_cast<std::uint64_t>(std::llround(before * frames)), found->offset};
}

} // namespace

std::optional<mpeg_seek_start> find_mpeg_seek_start(const mp3_stream& stream, byte_window& window,
                                                    const mpeg_frame_index_ptr& index, std::uint64_t wanted,
                                                    mpeg_seek_way way, abort_callback& abort) {
  if (wanted <= least_warm_up) return mpeg_seek_start{0, stream.begin};
  if (way == mpeg_seek_way::exact) return find_exactly(stream, window, index, wanted, abort);
  return find_roughly(stream, window, wanted, abort);
}

} // namespace zelmora
