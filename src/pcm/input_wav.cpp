// WAV: RIFF, RF64 and Wave64. See `wav_parser.h` for the containers and `wav_decoder.h` for the data.
#include "pcm/input_wav.h"

#include "codecs/codec_manager.h"
#include "frame/component.h"
#include "frame/exceptions.h"
#include "pcm/riff_tags.h"

namespace zelmora {

using namespace zelmora_io;

namespace {

/// From this size on, the 32 bits of plain RIFF hold what a writer left who could not go back to the header, or who
/// wrote more than they can tell: no length follows from it.
constexpr std::uint64_t riff_data_unknown = 0xFFFF0000;

std::string_view codec_name(wave_sample_kind kind) {
  return kind == wave_sample_kind::floating_point ? "PCM (floating-point)" : "PCM";
}

void set_sample_info(file_info& info, wave_sample_kind kind, unsigned bits) {
  info.info_set(info_field::codec, codec_name(kind));
  info.info_set(info_field::encoding, "lossless");
  info.info_set_int(info_field::bitspersample, bits);
  if (kind == wave_sample_kind::floating_point)
    info.info_set(info_field::bitspersample_extra, "floating-point");
  else if (bits == 32 || bits == 64)
    info.info_set(info_field::bitspersample_extra, "fixed-point");
}

void set_compressed_info(file_info& info, const wave_format& format) {
  const auto& manager = get_codec_manager();
  if (const auto name = manager.get_name(format); !name.empty()) {
    info.info_set(info_field::codec, name);
    info.info_set(info_field::encoding, "lossy");
  }
  if (const auto form = manager.suggest(format)) info.info_set_int("decoded_bitspersample", form->bits);
  if (format.bits != 0) info.info_set_int(info_field::bitspersample, format.bits);
}

void set_format_info(file_info& info, const wave_format& format) {
  unsigned bits = format.bits;
  if (format.tag == wave_tag::extensible) {
    const auto extension = parse_wave_extension(format);
    info.info_set_channel_mask(extension.channel_mask);
    if (extension.valid_bits != 0) bits = extension.valid_bits;
  }
  const auto kind = get_sample_kind(format);
  if (kind != wave_sample_kind::none)
    set_sample_info(info, kind, bits);
  else
    set_compressed_info(info, format);
}

/// [s]; `file_info::length_unknown` when the file doesn't tell.
double find_length(const wav_parser& wav) {
  const auto& format = wav.format();
  if (wav.fact_samples() != 0) return audio_math::samples_to_time(wav.fact_samples(), format.rate);
  const auto size = wav.data_size();
  if (size == wav_parser::unknown) return file_info::length_unknown;
  if (wav.container() == wave_container::riff && size >= riff_data_unknown) return file_info::length_unknown;
  // Whole frames sound, whatever the header says of bytes a second: the length told is the length decoded.
  if (get_sample_kind(format) != wave_sample_kind::none && format.block_align == get_frame_size(format))
    return audio_math::samples_to_time(size / format.block_align, format.rate);
  return static_cast<double>(size) / format.average_bytes;
}

} // namespace

void input_wav::open(file_ptr file, std::string_view path, t_input_open_reason reason, abort_callback& abort) {
  file_ = std::move(file);
  path_ = path;
  input_open_file_helper(file_, path, reason, abort);
  parse(abort);
  if (reason == input_open_info_write && parser_->container() != wave_container::riff)
    throw exception_tagging_unsupported();
  for (const auto& text : parser_->warnings()) gather_warning(text);
}

void input_wav::parse(abort_callback& abort) {
  parser_.emplace(file_);
  parser_->parse(abort);
}

void input_wav::get_info(file_info& info, abort_callback& abort) {
  const auto& format = parser_->format();
  info.set_length(find_length(*parser_));
  info.info_set_int(info_field::bitrate, (std::int64_t{format.average_bytes} * 8 + 500) / 1000);
  info.info_set_int(info_field::samplerate, format.rate);
  info.info_set_int(info_field::channels, format.channels);
  set_format_info(info, format);
  read_riff_tags(*file_, parser_->tags(), info, abort);
}

t_filestats input_wav::get_file_stats(abort_callback& abort) { return file_->get_stats(abort); }

void input_wav::retag(const file_info& info, abort_callback& abort) {
  write_riff_tags(file_, path_, info, abort);
  parse_again();
}

void input_wav::remove_tags(abort_callback& abort) {
  remove_riff_tags(file_, path_, abort);
  parse_again();
}

/// After an edit, which is done and is not told as aborted.
void input_wav::parse_again() {
  abort_callback_dummy no_abort;
  file_->reopen(no_abort);
  parse(no_abort);
}

void input_wav::decode_initialize(std::uint32_t, std::uint32_t, abort_callback& abort) {
  decoder_.reset();
  go_to_data(abort);
  decoder_ =
      make_wav_decoder({file_, parser_->format(), parser_->data_offset(), parser_->data_size(), parser_->fact_samples(),
                        [this](std::string_view text) { log(text, event_logger::error); }});
}

/// A file that can't seek is read anew from its start: parsing it leaves it at the data.
void input_wav::go_to_data(abort_callback& abort) {
  if (file_->get_position(abort) == parser_->data_offset()) return;
  if (file_->can_seek()) return file_->seek(parser_->data_offset(), abort);
  file_->reopen(abort);
  parse(abort);
}

bool input_wav::decode_run(audio_chunk& chunk, abort_callback& abort) { return decoder_->run(chunk, abort); }
void input_wav::decode_seek(double seconds, abort_callback& abort) { decoder_->seek(seconds, abort); }
bool input_wav::decode_can_seek() { return file_->can_seek(); }
void input_wav::decode_on_idle(abort_callback& abort) { file_->on_idle(abort); }

bool input_wav::g_is_our_content_type(std::string_view type) {
  return list_contains("audio/vnd.wave;audio/wav;audio/wave;audio/x-wav;audio/x-wave", type);
}
bool input_wav::g_is_our_path(std::string_view, std::string_view extension) {
  return list_contains("WAV;WAVE;W64;RF64;BWF", extension);
}
bool input_wav::g_is_our_file_header(std::span<const std::byte> head) {
  return recognise_wave_container(head).has_value();
}
guid input_wav::g_get_guid() { return "214E2F7B-ACE0-4563-86DB-44712276F226"_guid; }
std::string_view input_wav::g_get_name() { return "zelmora WAV Decoder"; }

namespace {

service_factory_single_t<input_file_type_impl> file_type_factory{"WAV", "*.WAV;*.WAVE;*.W64;*.BWF;*.RF64"};
service_factory_single_t<file_icon_impl> icon_factory{"WAV;WAVE;W64", "WAV.ico"};
input_factory_t<input_wav> input_factory;

} // namespace

} // namespace zelmora
