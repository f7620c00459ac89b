#include "mpeg/mp3_repair.h"

#include "frame/command_job.h"
#include "mpeg/frame_protection.h"
#include "mpeg/vbr_header_writer.h"
#include "tags/id3v1.h"
#include "tags/id3v2_tag.h"
#include "tags/trailing_tags.h"

#include <algorithm>
#include <fmt/core.h>

namespace zelmora {

using namespace zelmora_io;

namespace {

constexpr std::uint8_t method_unknown = 0;
constexpr std::uint8_t method_cbr = 1;
constexpr unsigned method_bits = 0x0F;

/// Readers look for delays only in headers whose encoder's text begins so.
constexpr std::string_view text_of_gapless = "LAME";

/// What a header tells of both ends.
struct known_delays {
  std::uint64_t delay = 0;
  std::uint64_t padding = 0;
  bool is_known = false;
};

known_delays told_delays(const mp3_survey& survey, const vbr_header_log& log) {
  const auto& told = survey.start.told;
  if (!told || !told->delay || !told->padding) return {};
  known_delays result{*told->delay, *told->padding, true};
  const auto frames = survey.places.count();
  // Where all bytes are there, their number is what was wrong.
  if (told->bytes == survey.start.frame.header.frame_size + survey.size) return result;
  if (*told->frames + 1 < frames) result.padding = 0; // the end that it was for is in the middle, another one joined
  if (*told->frames > frames) {                       // that end is gone
    const auto held = std::uint64_t{*told->frames} * survey.first.samples;
    const auto left_out = result.delay + result.padding;
    result.padding = padding_of(survey.samples, result.delay, held - std::min(held, left_out), log);
  }
  return result;
}

known_delays find_delays(file& source, const mp3_survey& survey, const vbr_header_log& log, abort_callback& abort) {
  const auto told = told_delays(survey, log);
  if (told.is_known || survey.start.head.size == 0) return told;
  const auto apple = read_apple_lengths(source, abort);
  if (!apple) return told;
  return {apple->delay, padding_of(survey.samples, apple->delay, apple->length, log), true};
}

known_delays override_delays(known_delays known, const mp3_gapless& wanted) {
  if (wanted.delay) known.delay = *wanted.delay;
  if (wanted.padding) known.padding = *wanted.padding;
  known.is_known = known.is_known || (wanted.delay && wanted.padding);
  return known;
}

/// Whether something is left to play. A decoder adds its own delay to that of the encoder.
bool leaves_samples(const mp3_survey& survey, const known_delays& known) {
  const auto decoder_delay = usual_mpeg_decoder_delay(survey.first.layer);
  const auto behind = std::max(known.padding, decoder_delay) - decoder_delay;
  return known.delay + decoder_delay + behind < survey.samples;
}

std::uint8_t method_of(const mp3_survey& survey) {
  const auto& told = survey.start.told;
  if (told && told->delay && told->is_vbr == survey.is_vbr)
    return static_cast<std::uint8_t>(told->method & method_bits);
  return survey.is_vbr ? method_unknown : method_cbr;
}

vbr_header_record make_record(const mp3_survey& survey, const known_delays& known) {
  vbr_header_record record;
  const auto header_size = vbr_header_size(survey.first_bytes);
  const auto frames = survey.places.count();
  record.is_vbr = survey.is_vbr;
  record.frames = checked_cast<std::uint32_t>(frames);
  record.bytes = header_size + survey.size;
  constexpr std::uint64_t hundredths = 100;
  record.table = make_seek_table(
      record.bytes, [&](std::uint64_t i) { return header_size + survey.places.find(frames * i / hundredths); });
  if (const auto& told = survey.start.told) {
    record.quality = told->quality;
    record.encoder = told->tool;
    record.lowpass = told->lowpass;
  }
  record.method = method_of(survey);
  if (known.is_known && record.encoder.empty()) record.encoder = text_of_gapless;
  record.delay = known.delay;
  record.padding = known.padding;
  return record;
}

/// Whether the header that is there tells what is so.
bool is_right(const mp3_survey& survey, const known_delays& known) {
  const auto& told = survey.start.told;
  const auto range = survey.header_range();
  const auto size = survey.start.frame.header.frame_size;
  if (!told || told->kind != mpeg_vbr_info::xing || size != range.end - range.begin) return false;
  const bool has_delays = !known.is_known || (told->delay == known.delay && told->padding == known.padding);
  // VBR of one rate is what silence gives.
  return (told->is_vbr || !survey.is_vbr) && told->frames == survey.places.count() && told->table && has_delays &&
         told->bytes == size + survey.size;
}

/// The edit that puts the right header there; none where it is.
std::optional<file_edit> header_edit(const mp3_survey& survey, const known_delays& known, const vbr_header_log& log) {
  if (survey.places.count() < 2) throw exception_io_data("A stream of one frame can't have a header");
  if (!leaves_samples(survey, known)) throw exception_io_data("Delay and padding leave nothing to play");
  if (is_right(survey, known)) return std::nullopt;
  const auto range = survey.header_range();
  return file_edit{range.begin, range.end, write_vbr_header(survey.first_bytes, make_record(survey, known), log)};
}

/// The edit of a header that is right but for its delays: what else LAME wrote there stays.
std::optional<file_edit> delays_edit(const mp3_survey& survey, const known_delays& known, byte_window& window,
                                     abort_callback& abort) {
  const auto& told = survey.start.told;
  if (!told || !told->delay || !leaves_samples(survey, known)) return std::nullopt;
  if (known.delay > lame_extension::longest_delay || known.padding > lame_extension::longest_delay) return std::nullopt;
  if (!is_right(survey, {*told->delay, *told->padding, true}) || is_right(survey, known)) return std::nullopt;
  const auto size = told->encoder_offset + lame_extension::size;
  const auto old = window.at(survey.start.frame.offset, size, abort);
  if (old.size() < size) return std::nullopt;

  std::vector<std::byte> frame(old.begin(), old.end());
  const auto checksum_at = told->encoder_offset + lame_extension::checksum_offset;
  const auto checksum = [&] {
    lame_checksum sum;
    sum.add(std::span(frame).first(checksum_at));
    return sum.value();
  };
  const bool has_checksum = load_be<std::uint16_t>(&frame[checksum_at]) == checksum();
  const auto at = told->encoder_offset + lame_extension::delays_offset;
  store_be(&frame[at], static_cast<std::uint8_t>(known.delay >> 4));
  store_be(&frame[at + 1], static_cast<std::uint16_t>(known.delay << 12 | known.padding));
  if (has_checksum) store_be(&frame[checksum_at], checksum());
  const auto begin = survey.start.frame.offset;
  return file_edit{begin + at, begin + size, {frame.begin() + static_cast<std::ptrdiff_t>(at), frame.end()}};
}

std::string describe_frames(const mp3_survey& survey) {
  return fmt::format("{} frames, {} bytes, {}", survey.places.count(), survey.size, survey.is_vbr ? "VBR" : "CBR");
}

/// A tag that stands in `gap`, away from where it should: ID3v2 behind other bytes in front of the frames, others in
/// front of zeros at the end. Empty when there is none.
byte_range find_displaced_tag(file& source, byte_window& window, const byte_range& gap, std::uint64_t first_frame,
                              abort_callback& abort) {
  constexpr std::size_t searched = 65536; // [bytes]
  const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(gap.end - gap.begin, searched));
  if (gap.end == first_frame) {
    const auto bytes = window.at(gap.begin, size, abort);
    for (std::size_t i = 0; i + id3v2_header_size <= bytes.size(); ++i) {
      const auto tag_size = id3v2_tag_size(bytes.subspan(i, id3v2_header_size));
      if (tag_size != 0 && tag_size <= gap.end - gap.begin - i) return {gap.begin + i, gap.begin + i + tag_size};
    }
  } else if (gap.end == window.size()) {
    const auto bytes = window.at(gap.end - size, size, abort);
    const auto last = std::find_if(bytes.rbegin(), bytes.rend(), [](std::byte b) { return b != std::byte{0}; });
    // A block of ID3v1 may end in zeros of its own.
    for (std::uint64_t spare = 0; spare <= id3v1_size; ++spare) {
      const auto end = std::min(gap.end - static_cast<std::uint64_t>(last - bytes.rbegin()) + spare, gap.end);
      const auto part = reader_limited(file_ptr(&source), 0, end, abort);
      const auto tail = scan_trailing_tags(*part, tail_use::remove, abort, gap.begin);
      if (tail.begin < end) return {tail.begin, end};
      if (end == gap.end) break;
    }
  }
  return {};
}

/// A survey and what comes of it.
class repairer {
 public:
  repairer(file& source, mp3_gaps gaps, abort_callback& abort)
      : source_(source), window_(file_ptr(&source)), survey_(survey_mp3(source, window_, gaps, abort)) {}

  void set_header(const mp3_gapless& wanted, abort_callback& abort) {
    const auto log = [&](const std::string& line) { result_.notes.push_back(line); };
    const auto known = override_delays(find_delays(source_, survey_, log, abort), wanted);
    const bool is_asked = wanted.delay || wanted.padding;
    if (is_asked && !known.is_known)
      throw exception_io_data("The file tells neither delay nor padding: both have to be given");
    auto edit = is_asked ? delays_edit(survey_, known, window_, abort) : std::nullopt;
    if (!edit) edit = header_edit(survey_, known, log);
    result_.summary = describe_frames(survey_) + (edit ? "; header written" : "; header is right");
    if (edit) result_.edits.push_back(std::move(*edit));
  }

  void drop_gaps(abort_callback& abort) {
    std::uint64_t dropped = 0;
    const auto drop = [&](std::uint64_t begin, std::uint64_t end) {
      if (begin == end) return;
      result_.edits.push_back({begin, end, {}});
      dropped += end - begin;
    };
    for (const auto& gap : survey_.gaps) {
      const auto tag = find_displaced_tag(source_, window_, gap, survey_.start.frame.offset, abort);
      if (tag.begin == tag.end) {
        drop(gap.begin, gap.end);
        continue;
      }
      drop(gap.begin, tag.begin);
      drop(tag.end, gap.end);
      result_.notes.push_back(fmt::format("A tag of {} bytes had strayed; it was kept", tag.end - tag.begin));
    }
    std::ranges::sort(result_.edits, {}, &file_edit::begin);
    if (dropped != 0) result_.summary += fmt::format("; {} bytes removed", dropped);
    if (survey_.incomplete != 0) result_.notes.emplace_back("The incomplete frame at the end was removed");
    if (survey_.unfounded != 0)
      result_.notes.push_back(
          fmt::format("Frame {}{} may not decode in full: it refers to bits that are lost", survey_.first_unfounded,
                      survey_.unfounded == 1 ? "" : fmt::format(", the first of {},", survey_.unfounded)));
  }

  mp3_repair take() { return std::move(result_); }

 private:
  file& source_;
  byte_window window_;
  mp3_survey survey_;
  mp3_repair result_;
};

} // namespace

mp3_repair fix_mp3_header(file& source, abort_callback& abort) {
  repairer work(source, mp3_gaps::kept, abort);
  work.set_header({}, abort);
  return work.take();
}

mp3_repair rebuild_mp3_stream(file& source, abort_callback& abort) {
  repairer work(source, mp3_gaps::dropped, abort);
  work.set_header({}, abort);
  work.drop_gaps(abort);
  return work.take();
}

mp3_repair set_mp3_gapless(file& source, const mp3_gapless& wanted, abort_callback& abort) {
  repairer work(source, mp3_gaps::kept, abort);
  work.set_header(wanted, abort);
  return work.take();
}

mp3_repair repair_mp3_file(std::string_view path,
                           const std::function<mp3_repair(file& source, abort_callback& abort)>& find,
                           abort_callback& abort) {
  auto target = open_for_edit(path, abort);
  auto found = find(*target, abort);
  apply_edits(target, path, found.edits, abort);
  return found;
}

} // namespace zelmora
