#include "mpeg/mp3_playback.h"

#include "frame/exceptions.h"
#include "frame/input.h"

#include <algorithm>
#include <fmt/core.h>
#include <utility>

namespace zelmora {

using namespace zelmora_io;

namespace {

/// Asked of a decoder: how late it gives a sample. Ours answer 0 and have the usual delay.
constexpr guid property_decoder_delay = "7AD5E747-CBF3-487D-884F-D93CF8B86EB0"_guid;

const guid& owner_of(unsigned layer) {
  switch (layer) {
  case 1: return packet_decoder::owner_mp1;
  case 2: return packet_decoder::owner_mp2;
  case 3: return packet_decoder::owner_mp3;
  default: throw exception_io_data();
  }
}

} // namespace

mp3_playback::mp3_playback(source from, abort_callback& abort)
    : from_(std::move(from)), reader_(from_.window, from_.stream.range(from_.index),
                                      [this](mpeg_event event, std::uint64_t offset) { tell(event, offset); }) {
  open_decoder(abort);
  go_to(0, abort);
}

void mp3_playback::open_decoder(abort_callback& abort) {
  const auto& first = from_.stream.first;
  decoder_ = packet_decoder::g_open(true, owner_of(first.layer), 0, nullptr, 0, abort);
  decoder_->set_stream_property(packet_decoder::property_channels, first.channels, nullptr, 0);
  decoder_->set_stream_property(packet_decoder::property_sample_rate, first.sample_rate, nullptr, 0);
  decoder_->set_stream_property(packet_decoder::property_decode_from_start, 1, nullptr, 0);
  const auto delay = decoder_->set_stream_property(property_decoder_delay, 0, nullptr, 0);
  trim_ = from_.stream.trim(delay != 0 ? delay : usual_mpeg_decoder_delay(first.layer));
}

// --- where to go on --------------------------------------------------------------------------------------------------

void mp3_playback::seek(double seconds, abort_callback& abort) {
  if (!from_.window.can_seek()) throw exception_io_object_not_seekable();
  go_to(audio_math::time_to_samples(seconds, from_.stream.first.sample_rate), abort);
}

/// `sample` counts from the first that sounds.
void mp3_playback::go_to(std::uint64_t sample, abort_callback& abort) {
  has_ended_ = true; // until the place is found
  failed_.reset();
  bitrate_.reset();
  // Of other streams the frames tell where they end.
  if (from_.stream.is_accurate() && sample >= trim_.total) return;
  const auto target = sample + trim_.skip;
  if (target < sample) return;
  auto start = std::make_optional<mpeg_frame_index::entry>();
  if (from_.index) start = find_mpeg_seek_start(from_.stream, from_.window, from_.index, target, from_.seek_way, abort);
  if (!start) return;
  if (from_.seek_way == mpeg_seek_way::estimate && sample != 0) reader_.leave_index();
  reader_.seek(*start);
  decoder_->reset_after_seek();
  pending_skip_ = target > start->sample ? target - start->sample : 0;
  delivered_ = sample;
  has_ended_ = false;
}

// --- frames ----------------------------------------------------------------------------------------------------------

bool mp3_playback::run(audio_chunk& chunk, abort_callback& abort) {
  while (!has_ended_) {
    abort.check();
    if (failed_) {
      set_silence(*std::exchange(failed_, std::nullopt), chunk);
    } else if (const auto frame = next_frame(abort)) {
      decode(*frame, read_body(*frame, abort), chunk, abort);
    } else {
      has_ended_ = true;
      decoder_->decode(nullptr, 0, chunk, abort); // what it still holds
    }
    if (cut(chunk, abort)) return true;
  }
  return false;
}

std::optional<mpeg_frame> mp3_playback::next_frame(abort_callback& abort) {
  const auto& stream = from_.stream;
  if (stream.is_accurate() && stream.has_length() && reader_.number() >= stream.frames) {
    check_music();
    check_surplus(abort);
    return std::nullopt;
  }
  auto frame = reader_.next(abort);
  if (!frame) {
    check_end(abort);
    return std::nullopt;
  }
  if (read_body(*frame, abort).size() < frame->header.frame_size) {
    tell(mpeg_event::stream_error, frame->offset);
    return std::nullopt;
  }
  if (frame->header.layer != stream.first.layer && !std::exchange(has_told_layer_, true))
    from_.log(fmt::format("Expected MPEG layer {}, found layer {}.", stream.first.layer, frame->header.layer),
              event_logger::warning);
  if (from_.is_testing) music_crc_.add(read_body(*frame, abort));
  if (frame->is_damaged) tell(mpeg_event::stream_error, frame->offset);
  if (frame->is_behind_damage) decoder_->reset_after_seek();
  return frame;
}

std::span<const std::byte> mp3_playback::read_body(const mpeg_frame& frame, abort_callback& abort) {
  return from_.window.at(frame.offset, frame.header.frame_size, abort);
}

void mp3_playback::check_body(const mpeg_frame& frame, std::span<const std::byte> body) {
  if (parse_mpeg_header(body) != frame.header) throw exception_io_data();
  if (!check_mpeg_frame(body, frame.header) && !std::exchange(has_told_checksum_, true))
    from_.log("MPEG frame checksum mismatch.", event_logger::warning);
  check_bits(frame, body);
}

/// A frame whose bits begin before those of the last end was made to follow another.
void mp3_playback::check_bits(const mpeg_frame& frame, std::span<const std::byte> body) {
  if (frame.is_behind_damage || frame.number == 0) reservoir_.reset();
  if (frame.header.layer != 3) return;
  const auto use = read_mpeg_bit_use(frame.header, body.subspan(mpeg_side_info_offset(frame.header)));
  if (reservoir_ && use.from_before > reservoir_->left())
    from_.log(fmt::format("MPEG frames are missing or damaged before {} bytes", frame.offset), event_logger::warning);
  if (!reservoir_) reservoir_.emplace();
  reservoir_->take(frame.header, use);
}

void mp3_playback::decode(const mpeg_frame& frame, std::span<const std::byte> body, audio_chunk& chunk,
                          abort_callback& abort) {
  if (frame.is_damaged) return set_silence(from_.stream.first, chunk);
  if (from_.is_testing) check_body(frame, body);
  try {
    decoder_->decode(body.data(), body.size(), chunk, abort);
  } catch (const exception_aborted&) {
    throw;
  } catch (const std::exception& failure) {
    // A frame that is only decoded for the sake of later ones lacks what stood before it.
    if (pending_skip_ >= frame.header.samples) return set_silence(frame.header, chunk);
    failed_ = frame.header;
    throw exception_io_data(fmt::format("MP3 decoding failure: {}", failure.what()));
  }
  // Where the rate changes the library tells the old one once more.
  chunk.set_srate(frame.header.sample_rate);
  bitrate_.on_frame(static_cast<double>(frame.header.samples) / frame.header.sample_rate, body.size() * 8);
}

void mp3_playback::set_silence(const mpeg_frame_header& header, audio_chunk& chunk) const {
  chunk.set_silence(header.samples, header.sample_rate, header.channels, channel_config_guess(header.channels));
}

/// Leaves of `chunk` what sounds; false when that is nothing.
bool mp3_playback::cut(audio_chunk& chunk, abort_callback& abort) {
  if (pending_skip_ != 0)
    pending_skip_ -= chunk.skip_first(std::min<std::uint64_t>(pending_skip_, chunk.get_sample_count()));
  if (chunk.get_sample_count() == 0) return false;
  if (from_.stream.is_accurate()) {
    const auto rest = trim_.total > delivered_ ? trim_.total - delivered_ : 0;
    if (rest < chunk.get_sample_count()) chunk.set_sample_count(static_cast<std::size_t>(rest));
    if (rest == 0) {
      has_ended_ = true;
      if (from_.is_testing) test_rest(abort);
      return false;
    }
  }
  delivered_ += chunk.get_sample_count();
  note_format(chunk);
  return true;
}

// --- what is wrong ---------------------------------------------------------------------------------------------------

void mp3_playback::tell(mpeg_event event, std::uint64_t offset) {
  switch (event) {
  case mpeg_event::id3_garbage:
    return tell_damage(fmt::format("ID3 tag garbage inside MPEG stream at {} bytes", offset), offset);
  case mpeg_event::stream_error: return tell_damage(fmt::format("MPEG stream error at {} bytes", offset), offset);
  case mpeg_event::resync_done:
    if (offset < told_until_) return;
    told_until_ = offset + 1;
    return from_.log(fmt::format("MPEG stream resync successful at {}", offset), event_logger::information);
  case mpeg_event::resync_failed: return from_.log("MPEG stream resync failed", event_logger::information);
  case mpeg_event::parser_error: return from_.log("MPEG stream parser internal error", event_logger::warning);
  }
}

/// A seek may pass the same damage again.
void mp3_playback::tell_damage(const std::string& text, std::uint64_t offset) {
  if (from_.is_testing) throw exception_io_data(text);
  if (offset < told_until_) return;
  told_until_ = offset + 1;
  from_.log(text, event_logger::warning);
}

/// Behind the last sample that sounds.
void mp3_playback::test_rest(abort_callback& abort) {
  while (next_frame(abort)) {
  }
}

/// At the end of the bytes: whether the stream was to go on.
void mp3_playback::check_end(abort_callback& abort) {
  const auto& stream = from_.stream;
  const auto at = reader_.position();
  // Encoders may have counted the frame of the header as well.
  const bool is_cut = stream.length_source == mp3_length_source::header && reader_.number() + 1 < stream.frames;
  // Behind the last whole frame a tag may stand, but not a part of a frame.
  const bool has_part = stream.length_source != mp3_length_source::header && stream.has_length() &&
                        parse_mpeg_header(from_.window.at(at, mpeg_header_size, abort)).has_value();
  if (is_cut || has_part) tell(mpeg_event::stream_error, at);
}

/// Where all frames were read: whether they are those of the encoder. Other damage has been told.
void mp3_playback::check_music() {
  const auto& header_frame = from_.stream.header_frame;
  if (!from_.is_testing || from_.music == nullptr || !header_frame) return;
  if (music_crc_.bytes() + header_frame->header.frame_size != from_.music->bytes) return;
  if (music_crc_.value() != from_.music->crc)
    from_.log("MPEG audio differs from the encoder's checksum.", event_logger::warning);
}

/// At the end by the header's count.
void mp3_playback::check_surplus(abort_callback& abort) {
  if (!from_.window.can_seek() || std::exchange(has_told_surplus_, true)) return;
  mpeg_frame_reader behind(from_.window, {reader_.position(), file::unknown_size, nullptr}, nullptr);
  const auto frame = behind.next(abort);
  if (frame && read_body(*frame, abort).size() == frame->header.frame_size)
    from_.log("MPEG stream contains more frames than it should according to the header.", event_logger::information);
}

// --- what changes while it plays -------------------------------------------------------------------------------------

void mp3_playback::note_format(const audio_chunk& chunk) {
  if (chunk.get_srate() == rate_ && chunk.get_channels() == channels_ && chunk.get_channel_config() == mask_) return;
  has_new_format_ = rate_ != 0;
  rate_ = chunk.get_srate();
  channels_ = chunk.get_channels();
  mask_ = chunk.get_channel_config();
}

bool mp3_playback::get_dynamic_info(file_info& info, double& time_delta) {
  const bool has_new_rate = bitrate_.on_update(info, time_delta);
  if (!std::exchange(has_new_format_, false)) return has_new_rate;
  info.info_set_wfx(rate_, channels_, mask_);
  return true;
}

} // namespace zelmora
