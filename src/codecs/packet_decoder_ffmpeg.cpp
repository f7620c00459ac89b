#include "codecs/packet_decoder_ffmpeg.h"

#include "frame/bytes.h"

namespace zelmora {

using zelmora_io::exception_io_data;

std::uint64_t packet_decoder_ffmpeg::set_stream_property(const guid& property, std::uint64_t value, const void*,
                                                         std::size_t) {
  if (property == property_input_padding) {
    if (value == 0) return ffmpeg_decoder::wanted_padding; // A promise of it changes nothing.
  } else if (property == property_sample_rate) {
    container_rate_ = std::in_range<std::uint32_t>(value) ? static_cast<std::uint32_t>(value) : 0;
  }
  return 0;
}

void packet_decoder_ffmpeg::open_codec(bool decode, const ffmpeg_setup& setup) {
  if (decode) {
    decoder_ = open_ffmpeg_decoder(setup);
    return;
  }
  setup_ = setup;
  extradata_.assign(setup.extradata.begin(), setup.extradata.end());
  setup_.extradata = extradata_;
}

void packet_decoder_ffmpeg::reset_after_seek() {
  if (decoder_) decoder_->reset_after_seek();
}

ffmpeg_stream_facts packet_decoder_ffmpeg::facts() const {
  if (decoder_) return decoder_->facts();
  ffmpeg_stream_facts known;
  known.sample_rate = setup_.sample_rate;
  known.channels = setup_.channels;
  known.bits_per_coded_sample = setup_.bits_per_coded_sample;
  known.bit_rate = setup_.bit_rate;
  return known;
}

void packet_decoder_ffmpeg::get_info(file_info& info) {
  const auto facts = this->facts();
  if (const auto rate = facts.sample_rate != 0 ? facts.sample_rate : container_rate_; rate != 0)
    info.info_set_int(info_field::samplerate, rate);
  if (facts.channels != 0) info.info_set_int(info_field::channels, facts.channels);
  if (facts.bit_rate != 0)
    info.info_set_int(info_field::bitrate, static_cast<std::int64_t>((facts.bit_rate + 500) / 1000));
  const auto bits = facts.bits_per_coded_sample != 0 ? facts.bits_per_coded_sample : facts.bits_per_raw_sample;
  if (bits != 0) info.info_set_int(info_field::bitspersample, bits);
}

void packet_decoder_ffmpeg::decode(const void* data, std::size_t size, audio_chunk& chunk, abort_callback& abort) {
  abort.check();
  if (!decoder_) decoder_ = open_ffmpeg_decoder(setup_);
  decoder_->decode(prepare(setup_bytes(data, size)), chunk, abort);
  complete_chunk(chunk, container_rate_);
}

void packet_decoder_ffmpeg::analyze_first_frame(const void* data, std::size_t size, abort_callback& abort) {
  if (!analyze_first_frame_supported()) return;
  audio_chunk_impl scratch;
  try {
    decode(data, size, scratch, abort);
  } catch (const exception_io_data&) {
    // What it can't tell is left out.
  }
  reset_after_seek();
}

} // namespace zelmora
