// MP3 and its kin. A file is frames between tags: see `mp3_stream.h` for what it tells of itself, `mp3_playback.h` for
// its samples, and `tags/tag_processor.h` for its tags. Frames without a fixed rate are not read.
// Sources: ISO/IEC 11172-3, ISO/IEC 13818-3.
#include "mpeg/input_mp3.h"

#include "frame/component.h"
#include "frame/exceptions.h"
#include "frame/host_services.h"
#include "mpeg/stream_length.h"
#include "tags/id3v2_tag.h"

#include <array>
#include <fmt/core.h>
#include <utility>
#include <vector>

namespace zelmora {

using namespace zelmora_io;

namespace {

constexpr std::array<std::string_view, 3> codec_names{"MP1", "MP2", "MP3"};
constexpr std::array<std::string_view, 4> mode_names{"stereo", "joint stereo", "dual channel", "mono"};
constexpr std::array<std::string_view, 5> length_source_names{"", "header", "cbr", "scan", "estimate"};

/// Network streams often have no extension: nothing with a dot in the last part of the path, or only behind a "?".
bool is_stream_address(std::string_view path) {
  constexpr std::string_view scheme = "http://";
  if (!path.starts_with(scheme)) return false;
  const auto address = path.substr(scheme.size(), path.find('?') - scheme.size());
  const auto last_part = address.find('/') == std::string_view::npos ? "" : address.substr(address.rfind('/'));
  return last_part.find('.') == std::string_view::npos;
}

/// What the ends of a file show to be wrong.
std::vector<std::string> describe_defects(const mp3_stream& stream, std::uint64_t size) {
  std::vector<std::string> defects;
  if (stream.head.count > 1) defects.emplace_back("Multiple ID3v2 tags encountered");
  if (stream.head.is_cut) defects.emplace_back("The ID3v2 tag goes past the end of the file");
  if (stream.header_frame && size != file::unknown_size && stream.end != file::unknown_size && stream.end > size)
    defects.push_back(fmt::format("The file ends {} bytes before its header says", stream.end - size));
  return defects;
}

mp3_counting wanted_counting(file& source) {
  if (source.is_remote()) return mp3_counting::forgone;
  for (const auto& host : enumerate_services<describing_effort>())
    if (!host->allows_reading_all()) return mp3_counting::forgone;
  return mp3_counting::allowed;
}

} // namespace

void input_mp3::open(file_ptr file, std::string_view path, t_input_open_reason reason, abort_callback& abort) {
  file_ = std::move(file);
  path_ = path;
  input_open_file_helper(file_, path, reason, abort);
  if (reason == input_open_info_write && !file_->can_seek()) throw exception_tagging_unsupported();
  parse(abort);
  for (auto& text : describe_defects(stream_, window_->size())) gather_warning(std::move(text));
}

void input_mp3::parse(abort_callback& abort) {
  playback_.reset();
  window_ = std::make_unique<byte_window>(file_);
  stream_ = parse_mp3_stream(*file_, *window_, abort);
  index_.reset();
  if (!window_->can_seek()) return;
  const auto stats = file_->get_stats(abort);
  index_ = get_mpeg_frame_index({path_, stats.size, stats.timestamp});
}

/// After an edit, which is done and is not told as aborted.
void input_mp3::parse_again() {
  abort_callback_dummy no_abort;
  parse(no_abort);
}

void input_mp3::measure_length(abort_callback& abort) {
  measure_mp3_length(stream_, *window_, index_, wanted_counting(*file_), abort);
}

// --- what it is ------------------------------------------------------------------------------------------------------

void input_mp3::get_info(file_info& info, abort_callback& abort) {
  measure_length(abort);
  set_stream_info(info);
  if (!window_->can_seek()) return;
  const auto position = file_->get_position(abort);
  read_tags(info, abort);
  file_->seek(position, abort);
}

void input_mp3::read_tags(file_info& info, abort_callback& abort) {
  try {
    if (window_->size() != file::unknown_size)
      tag_processor::read(*file_, info, abort);
    else
      tag_processor::read_id3v2(*file_, info, abort); // There is no telling where a tail would be.
  } catch (const exception_io_data&) {
    // It has none.
  }
}

void input_mp3::set_stream_info(file_info& info) const {
  const auto& first = stream_.first;
  if (stream_.has_length()) {
    const auto samples = stream_.trim(usual_mpeg_decoder_delay(first.layer)).total;
    info.set_length(audio_math::samples_to_time(samples, first.sample_rate));
    info.info_set("length_source", length_source_names[static_cast<std::size_t>(stream_.length_source)]);
  }
  if (stream_.vbr.delay) info.info_set_int("enc_delay", *stream_.vbr.delay);
  if (stream_.vbr.padding) info.info_set_int("enc_padding", *stream_.vbr.padding);
  if (stream_.is_accurate()) info.info_set("mp3_accurate_length", "1");
  if (const auto rate = stream_.average_bitrate(); rate != 0) info.info_set_int(info_field::bitrate, rate);
  info.info_set(info_field::codec, codec_names[first.layer - 1u]);
  info.info_set(info_field::encoding, "lossy");
  info.info_set_int(info_field::channels, first.channels);
  info.info_set_int(info_field::samplerate, first.sample_rate);
  info.info_set("mp3_stereo_mode", mode_names[static_cast<std::size_t>(first.mode)]);
  if (!stream_.vbr.tool.empty()) info.info_set("tool", stream_.vbr.tool);
  if (!stream_.vbr.profile.empty()) info.info_set(info_field::codec_profile, stream_.vbr.profile);
}

t_filestats input_mp3::get_file_stats(abort_callback& abort) { return file_->get_stats(abort); }

// --- tags ------------------------------------------------------------------------------------------------------------

void input_mp3::retag(const file_info& info, abort_callback& abort) {
  file_info_impl current;
  read_tags(current, abort);
  tag_processor::write(file_, path_, info, choose_mp3_tag_kinds(current, stream_.head, info), abort);
  parse_again();
}

void input_mp3::remove_tags(abort_callback& abort) {
  tag_processor::remove_all(file_, path_, abort, apple_gapless::configured);
  parse_again();
}

// --- its samples -----------------------------------------------------------------------------------------------------

/// Null also where mp3gain has changed the volume of the frames, and says so.
const mpeg_music_checksum* input_mp3::find_music_checksum(abort_callback& abort) {
  if (!stream_.vbr.music) return nullptr;
  file_info_impl tags;
  read_tags(tags, abort);
  return tags.meta_get("MP3GAIN_UNDO") == nullptr ? &*stream_.vbr.music : nullptr;
}

void input_mp3::decode_initialize(std::uint32_t, std::uint32_t flags, abort_callback& abort) {
  playback_.reset();
  if (!window_->reaches(stream_.begin)) {
    file_->reopen(abort);
    parse(abort);
  }
  measure_length(abort);
  const auto way = file_->is_remote() ? mpeg_seek_way::estimate : mpeg_seek_way::exact;
  const bool is_testing = (flags & decode_flag_testing_integrity) != 0;
  playback_ = std::make_unique<mp3_playback>(
      mp3_playback::source{stream_, *window_, index_, way, is_testing,
                           is_testing ? find_music_checksum(abort) : nullptr,
                           [this](std::string_view text, unsigned severity) { log(text, severity); }},
      abort);
}

bool input_mp3::decode_run(audio_chunk& chunk, abort_callback& abort) { return playback_->run(chunk, abort); }
void input_mp3::decode_seek(double seconds, abort_callback& abort) { playback_->seek(seconds, abort); }
bool input_mp3::decode_can_seek() { return window_->can_seek(); }
bool input_mp3::decode_get_dynamic_info(file_info& info, double& time_delta) {
  return playback_->get_dynamic_info(info, time_delta);
}
bool input_mp3::decode_get_dynamic_info_track(file_info& info, double& time_delta) {
  if (window_->can_seek()) return false; // Its tags say it.
  std::string type;
  const bool has_type = !std::exchange(has_told_content_type_, true) && file_->get_content_type(type);
  if (has_type) info.info_set("content_type", type);
  const auto source = service_cast<file_dynamicinfo>(file_.get());
  return (source && source->get_dynamic_info(info, time_delta)) || has_type;
}
void input_mp3::decode_on_idle(abort_callback& abort) { file_->on_idle(abort); }

// --- what is ours ----------------------------------------------------------------------------------------------------

bool input_mp3::g_is_our_content_type(std::string_view type) {
  return list_contains("audio/mp3;audio/mpeg;audio/mpg;audio/x-mp3;audio/x-mpeg;audio/x-mpg", type);
}
bool input_mp3::g_is_our_extension(std::string_view extension) { return list_contains("MP3;MP2;MP1", extension); }
bool input_mp3::g_is_our_path(std::string_view path, std::string_view extension) {
  return g_is_our_extension(extension) || is_stream_address(path);
}
bool input_mp3::g_is_our_file_header(std::span<const std::byte> head) {
  // What the head is too short for is tried: other formats have ID3v2 tags as well, and frames may be large.
  std::size_t at = 0;
  if (const auto size = id3v2_tag_size(head.first(std::min(head.size(), id3v2_header_size))); size != 0) {
    if (size + mpeg_header_size > head.size()) return true;
    at = static_cast<std::size_t>(size);
  }
  const auto first = parse_mpeg_header(head.subspan(at));
  if (!first) return false;
  if (at + first->frame_size + mpeg_header_size > head.size()) return true;
  const auto second = parse_mpeg_header(head.subspan(at + first->frame_size));
  return second && have_same_mpeg_format(*first, *second);
}
guid input_mp3::g_get_guid() { return "BE201A57-47B5-4685-9383-607E8B3741B8"_guid; }
std::string_view input_mp3::g_get_name() { return "zelmora MPEG Decoder"; }

namespace {

service_factory_single_t<input_file_type_impl> layer_1_factory{"MPEG layer 1", "*.MP1"};
service_factory_single_t<input_file_type_impl> layer_2_factory{"MPEG layer 2", "*.MP2"};
service_factory_single_t<input_file_type_impl> layer_3_factory{"MPEG layer 3", "*.MP3"};
input_factory_t<input_mp3> input_factory;

} // namespace

} // namespace zelmora
