#include "mpeg/mp3_stream.h"

#include "frame/bytes.h"
#include "tags/id3v2_tag.h"
#include "tags/trailing_tags.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>

namespace zelmora {

using namespace zelmora_io;

namespace {

/// Behind the ID3v2 tags of a stream that can't seek.
std::uint64_t skip_head_tags(byte_window& window, abort_callback& abort) {
  std::uint64_t offset = 0;
  for (;;) {
    const auto size = id3v2_tag_size(window.at(offset, id3v2_header_size, abort));
    if (size == 0) return offset;
    offset += size;
  }
}

/// Whether a header stands there that tells no bit rate, and so no size of its frame.
bool is_free_format(std::span<const std::byte> header) {
  constexpr std::uint32_t bitrate_bits = 0xF000;
  constexpr std::uint32_t any_bitrate = 0x1000;
  if (header.size() < mpeg_header_size) return false;
  const auto word = load_be<std::uint32_t>(header.data());
  std::array<std::byte, mpeg_header_size> with_bitrate;
  store_be(with_bitrate.data(), word | any_bitrate);
  return (word & bitrate_bits) == 0 && parse_mpeg_header(with_bitrate).has_value();
}

void find_end_of_frames(file& source, byte_window& window, mp3_stream& stream, abort_callback& abort) {
  if (window.size() == file::unknown_size) return;
  const found_mpeg_frame first{stream.begin, stream.first};
  const auto tail = scan_trailing_tags(source, tail_use::replace, abort, first.offset).begin;
  const auto end = find_last_mpeg_frame_end(window, first, tail, abort);
  if (!end) throw exception_io_data("No whole frame of MPEG audio found");
  stream.end = *end;
  stream.tail = tail;
}

std::optional<mpeg_vbr_info> read_header_frame(std::span<const std::byte> frame) {
  if (auto xing = read_xing(frame)) return xing;
  try {
    return read_vbri(frame);
  } catch (const VBRIParseError&) {
    return std::nullopt; // It is played, as players do that know nothing of such headers.
  }
}

/// The comment's hexadecimal words: 0, delay, padding, length, and others.
std::optional<apple_gapless_lengths> parse_apple_gapless(std::string_view text) {
  constexpr std::size_t delay_word = 1;
  constexpr std::size_t length_word = 3;
  std::array<std::uint64_t, length_word + 1> words{};
  for (auto& word : words) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), word, 16);
    if (failure != std::errc()) return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  }
  const apple_gapless_lengths found{words[delay_word], words[length_word]};
  constexpr auto most = std::numeric_limits<std::uint64_t>::max() / 2; // leaves room for a decoder's delay
  if (found.length == 0 || found.delay > most || found.length > most - found.delay) return std::nullopt;
  return found;
}

} // namespace

std::uint64_t usual_mpeg_decoder_delay(unsigned layer) {
  constexpr std::array<std::uint64_t, 3> delays{0, 481, 529};
  if (layer == 0 || layer > delays.size()) throw exception_io_data();
  return delays[layer - 1];
}

mp3_trim mp3_stream::trim(std::uint64_t decoder_delay) const {
  const auto held = frames * first.samples;
  mp3_trim result{decoder_delay, 0};
  std::uint64_t left_out = 0;
  if (vbr.delay && vbr.padding) {
    result.skip += *vbr.delay;
    left_out = *vbr.padding > decoder_delay ? *vbr.padding - decoder_delay : 0;
  } else if (apple) {
    result.skip += apple->delay;
    result.total = apple->length;
    return result;
  }
  if (!has_length()) return result;
  if (held <= result.skip + left_out) throw exception_io_data();
  result.total = held - result.skip - left_out;
  return result;
}

std::uint32_t mp3_stream::average_bitrate() const {
  if (!has_length() || end == file::unknown_size) return first.bitrate;
  const auto seconds = static_cast<double>(frames * first.samples) / first.sample_rate;
  return static_cast<std::uint32_t>(std::lround(static_cast<double>(bytes()) * 8 / seconds * 0.001));
}

mpeg_frame_reader::range mp3_stream::range(mpeg_frame_index_ptr index) const {
  mpeg_frame_reader::range result{begin, end, std::move(index), first};
  if (is_accurate()) {
    result.end = file::unknown_size;
  } else if (tail) {
    result.end = *tail;
    result.end_of_frames = end;
  }
  return result;
}

mp3_start find_mp3_start(file& source, byte_window& window, abort_callback& abort) {
  mp3_start start;
  std::uint64_t from = 0;
  if (window.can_seek()) {
    start.head = tag_processor::skip_id3v2(source, abort);
    if (!start.head.is_cut) from = start.head.size; // else audio may be within what it claims
  } else {
    from = skip_head_tags(window, abort);
  }
  const auto found = find_first_mpeg_frame(window, from, abort);
  if (!found) {
    const bool is_free = is_free_format(window.at(from, mpeg_header_size, abort));
    throw exception_io_data(is_free ? "MPEG audio of free format is not supported" : "No frames of MPEG audio found");
  }
  start.frame = *found;
  if (window.can_seek()) start.told = read_header_frame(window.at(found->offset, found->header.frame_size, abort));
  return start;
}

std::optional<apple_gapless_lengths> read_apple_lengths(file& source, abort_callback& abort) {
  const auto comment = tag_processor::read_apple_gapless(source, abort);
  return comment ? parse_apple_gapless(*comment) : std::nullopt;
}

mp3_stream parse_mp3_stream(file& source, byte_window& window, abort_callback& abort) {
  mp3_stream stream;
  auto [head, found, told] = find_mp3_start(source, window, abort);
  stream.head = head;
  stream.first = found.header;
  stream.begin = found.offset;
  if (!window.can_seek()) return stream;

  const bool has_end = told && told->kind == mpeg_vbr_info::xing && told->bytes.value_or(0) > 0;
  if (has_end)
    stream.end = found.offset + *told->bytes;
  else
    find_end_of_frames(source, window, stream, abort);
  if (told) {
    stream.header_frame = found;
    stream.begin += found.header.frame_size;
    const auto next = parse_mpeg_header(window.at(stream.begin, mpeg_header_size, abort));
    if (!next) throw exception_io_data("No frame of MPEG audio behind the one with the header");
    if (*told->frames == 0) throw exception_io_data("The header of the stream tells of no frames");
    stream.first = *next;
    stream.frames = *told->frames;
    stream.is_vbr = told->is_vbr;
    stream.length_source = mp3_length_source::header;
    stream.vbr = std::move(*told);
  } else {
    stream.vbr.profile = "CBR";
  }
  if (stream.end <= stream.begin) throw exception_io_data("The header of the stream tells of no bytes");
  if (!stream.is_accurate() && stream.head.size != 0) stream.apple = read_apple_lengths(source, abort);
  return stream;
}

} // namespace zelmora
