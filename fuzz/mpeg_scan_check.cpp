#include "mpeg_scan_check.h"

#include "frame/memory_file.h"
#include "mpeg/frame_protection.h"
#include "mpeg/frame_reader.h"
#include "mpeg/frame_scan.h"
#include "mpeg/vbr_headers.h"
#include "verdict.h"

#include <algorithm>

namespace zelmora::fuzz {

namespace {

using bytes = std::span<const std::byte>;

void expect(bool holds, const char* otherwise) {
  if (!holds) throw violation{otherwise};
}

/// The frame at `offset` when another of its stream stands behind it.
std::optional<mpeg_frame_header> confirmed_at(bytes data, std::uint64_t offset) {
  if (offset > data.size()) return std::nullopt;
  const auto rest = data.subspan(offset);
  const auto header = parse_mpeg_header(rest);
  if (!header || header->frame_size > rest.size()) return std::nullopt;
  const auto next = parse_mpeg_header(rest.subspan(header->frame_size));
  if (!next || !have_same_mpeg_format(*header, *next) || next->channels != header->channels) return std::nullopt;
  return header;
}

void check_header_frame(bytes frame) {
  if (const auto xing = read_xing(frame)) {
    expect(xing->frames && *xing->frames > 1 && *xing->frames <= 0x7FFFFFFF, "a header that counts nothing");
    expect(xing->delay.has_value() == xing->padding.has_value(), "a delay without a padding");
    expect(xing->delay.value_or(0) <= 4095 && xing->padding.value_or(0) <= 4095, "a delay beyond 12 bits");
    expect(std::ranges::all_of(xing->tool, [](char c) { return c >= 32; }), "an encoder that is no text");
    expect(xing->is_vbr || xing->profile == "CBR", "a profile of the other kind");
  }
  try {
    if (const auto vbri = read_vbri(frame)) expect(vbri->is_vbr && vbri->frames && vbri->bytes, "VBRI without numbers");
  } catch (const VBRIParseError&) {
    // It says so.
  }
}

/// Reads all frames over damage, each a step further on.
void check_reader(byte_window& window, bytes data, std::uint64_t begin, std::uint64_t end, abort_callback& abort) {
  mpeg_frame_reader reader(window, {begin, end, nullptr}, nullptr);
  std::uint64_t least = begin;
  std::uint64_t number = 0;
  while (const auto frame = reader.next(abort)) {
    expect(frame->offset >= least && frame->offset < data.size(), "a frame that overlaps the one before");
    expect(frame->number == number++, "frames out of count");
    expect(parse_mpeg_header(data.subspan(frame->offset)) == frame->header, "another header than the file's");
    least = frame->offset + mpeg_header_size;
    const auto rest = data.subspan(frame->offset);
    check_mpeg_frame(rest.first(std::min<std::size_t>(rest.size(), frame->header.frame_size)), frame->header);
  }
  expect(!reader.next(abort), "a frame behind the end");
}

void check(bytes data) {
  abort_callback_dummy abort;
  byte_window window(service_new<memory_file>(data));
  const auto first = find_first_mpeg_frame(window, 0, abort);
  if (!first) return;
  expect(confirmed_at(data, first->offset) == first->header, "a first frame without a neighbour");
  for (std::uint64_t i = 0; i < first->offset; ++i) expect(!confirmed_at(data, i), "a frame before the first");
  check_header_frame(data.subspan(first->offset));
  const auto end = find_last_mpeg_frame_end(window, *first, data.size(), abort);
  expect(end && *end > first->offset && *end <= data.size(), "no last frame where there is a first");
  check_reader(window, data, first->offset, *end, abort);
  check_reader(window, data, first->offset, zelmora_io::file::unknown_size, abort);
}

} // namespace

std::string check_mpeg_scan(std::span<const std::byte> data) {
  return verdict_of([&] {
    check_header_frame(data);
    check(data);
  });
}

} // namespace zelmora::fuzz
