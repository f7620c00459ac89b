#include "mpeg_repair_check.h"

#include "frame/memory_file.h"
#include "mpeg/mp3_repair.h"
#include "support/test_services.h"
#include "tags/trailing_tags.h"
#include "verdict.h"

#include <algorithm>

namespace zelmora::fuzz {

namespace {

using bytes = std::span<const std::byte>;
using repair = mp3_repair (*)(zelmora_io::file&, abort_callback&);

void expect(bool holds, const char* otherwise) {
  if (!holds) throw violation{otherwise};
}

mp3_repair set_gapless(zelmora_io::file& source, abort_callback& abort) {
  return set_mp3_gapless(source, {576, 1000}, abort);
}

std::vector<std::byte> with_edits(bytes data, const mp3_repair& what) {
  std::vector<std::byte> result;
  std::uint64_t position = 0;
  for (const auto& edit : what.edits) {
    expect(edit.begin >= position && edit.end >= edit.begin && edit.end <= data.size(), "edits out of order");
    const auto kept = data.subspan(position, edit.begin - position);
    result.insert(result.end(), kept.begin(), kept.end());
    result.insert(result.end(), edit.content.begin(), edit.content.end());
    position = edit.end;
  }
  const auto rest = data.subspan(position);
  result.insert(result.end(), rest.begin(), rest.end());
  return result;
}

mp3_survey survey_of(bytes data) {
  abort_callback_dummy abort;
  const auto file = service_new<memory_file>(data);
  byte_window window(file);
  return survey_mp3(*file, window, mp3_gaps::dropped, abort);
}

/// The frames that hold audio, one behind the other.
std::vector<std::byte> audio_of(bytes data, const mp3_survey& survey) {
  std::vector<std::byte> result;
  auto position = survey.begin;
  const auto take_until = [&](std::uint64_t end) {
    if (position >= end) return;
    const auto part = data.subspan(position, end - position);
    result.insert(result.end(), part.begin(), part.end());
  };
  for (const auto& gap : survey.gaps) {
    if (gap.end <= survey.begin) continue;
    take_until(gap.begin);
    position = gap.end;
  }
  take_until(position + survey.size - std::min<std::uint64_t>(survey.size, result.size()));
  expect(result.size() == survey.size, "frames and gaps that are not all there is");
  return result;
}

/// Whether all of them are of one stream. Noise may hold what looks like a frame of another, and whether it is one is
/// told by what stands behind it.
bool is_one_stream(bytes frames) {
  const auto first = parse_mpeg_header(frames);
  while (!frames.empty()) {
    const auto header = parse_mpeg_header(frames);
    if (!header || !belong_together(*header, *first)) return false;
    frames = frames.subspan(header->frame_size);
  }
  return true;
}

/// [bytes]
std::uint64_t tail_size(bytes data) {
  abort_callback_dummy abort;
  const auto tail = scan_trailing_tags(*service_new<memory_file>(data), tail_use::remove, abort);
  return tail.end - tail.begin;
}

void check(bytes data, repair run) {
  abort_callback_dummy abort;
  mp3_repair found;
  try {
    found = run(*service_new<memory_file>(data), abort);
  } catch (const zelmora_io::exception_io&) {
    return; // it is refused, and stays what it is
  }
  const auto before = survey_of(data);
  const auto repaired = with_edits(data, found);
  const auto audio = audio_of(data, before);
  // Where other bytes go from behind the last frame, that may end in what is a tag there; what stands before the first
  // may look like a frame when that moves.
  const bool has_other_in_front = !before.gaps.empty() && before.gaps.front().end == before.start.frame.offset;
  if ((has_other_in_front && run != &rebuild_mp3_stream) || tail_size(repaired) != tail_size(data) ||
      !is_one_stream(audio))
    return;
  expect(audio_of(repaired, survey_of(repaired)) == audio, "a repair that changes audio");
  expect(run(*service_new<memory_file>(repaired), abort).edits.empty(), "a repair that leaves something to do");
}

} // namespace

std::string check_mpeg_repair(std::span<const std::byte> data) {
  test::attach_own_services();
  return verdict_of([&] {
    for (const repair run : {&fix_mp3_header, &rebuild_mp3_stream, &set_gapless}) check(data, run);
  });
}

} // namespace zelmora::fuzz
