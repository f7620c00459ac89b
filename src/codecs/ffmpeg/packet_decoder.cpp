#include "codecs/ffmpeg/packet_decoder.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <stdexcept>

namespace zelmora {

using zelmora_io::exception_io_data;

static_assert(ffmpeg_decoder::wanted_padding >= AV_INPUT_BUFFER_PADDING_SIZE);

namespace {

/// What a container may claim and a context take: more is nonsense that some decoders allocate by.
constexpr std::uint32_t max_channels = 256;
constexpr std::uint32_t max_rate = audio_chunk::max_sample_rate;
constexpr std::uint32_t max_bits = 64;
constexpr std::uint32_t max_block = 1u << 24;   // [bytes]
constexpr std::size_t max_extradata = 1u << 24; // Headers of Vorbis with pictures come nearest. [bytes]

void check_setup(const ffmpeg_setup& setup) {
  if (setup.channels > max_channels || setup.sample_rate > max_rate || setup.bits_per_coded_sample > max_bits ||
      setup.block_align > max_block || setup.extradata.size() > max_extradata)
    throw exception_io_data();
}

void set_extradata(AVCodecContext& context, std::span<const std::byte> extradata) {
  if (extradata.empty()) return;
  auto* const copy = static_cast<std::uint8_t*>(av_mallocz(extradata.size() + AV_INPUT_BUFFER_PADDING_SIZE));
  if (copy == nullptr) throw std::bad_alloc();
  std::memcpy(copy, extradata.data(), extradata.size());
  context.extradata = copy; // freed with the context
  context.extradata_size = static_cast<int>(extradata.size());
}

void set_stream(AVCodecContext& context, const ffmpeg_setup& setup) {
  context.sample_rate = static_cast<int>(setup.sample_rate);
  if (setup.channels != 0) av_channel_layout_default(&context.ch_layout, static_cast<int>(setup.channels));
  context.bits_per_coded_sample = static_cast<int>(setup.bits_per_coded_sample);
  context.block_align = static_cast<int>(setup.block_align);
  context.bit_rate = static_cast<std::int64_t>(setup.bit_rate);
}

struct profile_row {
  int profile;
  std::string_view name;
};
constexpr std::array dts_profiles{
    profile_row{FF_PROFILE_DTS, "DTS"},
    profile_row{FF_PROFILE_DTS_ES, "DTS-ES"},
    profile_row{FF_PROFILE_DTS_96_24, "DTS 96/24"},
    profile_row{FF_PROFILE_DTS_HD_HRA, "DTS-HD HRA"},
    profile_row{FF_PROFILE_DTS_HD_MA, "DTS-HD MA"},
    profile_row{FF_PROFILE_DTS_EXPRESS, "DTS Express"},
};

std::uint32_t decoded_bits(const AVCodecContext& context) {
  const auto packed = av_get_packed_sample_fmt(context.sample_fmt);
  if (packed == AV_SAMPLE_FMT_S16) return 16;
  return context.bits_per_raw_sample == 24 ? 24 : 32;
}

std::uint32_t positive(int value) { return static_cast<std::uint32_t>(std::max(value, 0)); }

} // namespace

AVFrame& ffmpeg_decoder_state::next() {
  if (used == slots.size()) {
    slots.emplace_back(av_frame_alloc());
    if (!slots.back()) {
      slots.pop_back();
      throw std::bad_alloc();
    }
  }
  return *slots[used];
}

void ffmpeg_decoder_state::clear() noexcept {
  for (std::size_t i = 0; i < used; ++i) av_frame_unref(slots[i].get());
  used = 0;
}

void ffmpeg_decode_packet(ffmpeg_decoder_state& state, AVCodecContext& context, const AVPacket& packet,
                          audio_chunk& chunk) {
  struct clearing {
    ffmpeg_decoder_state& state;
    ~clearing() { state.clear(); }
  } const at_end{state};
  chunk.reset();
  const bool is_draining = packet.data == nullptr;
  const int sent = avcodec_send_packet(&context, is_draining ? nullptr : &packet);
  if (!is_draining || sent != AVERROR_EOF) check_av(sent); // All may be out already.
  std::size_t total = 0;
  for (;;) {
    auto& frame = state.next();
    const int result = avcodec_receive_frame(&context, &frame);
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) break;
    check_av(result);
    ++state.used;
    total += static_cast<std::size_t>(frame.nb_samples);
  }
  if (total == 0) return;
  const auto format = ffmpeg_frame_format(*state.slots.front());
  if (format.channels == 0) throw exception_io_data();
  chunk.set_data_size(total * format.channels);
  auto* out = chunk.get_data();
  for (std::size_t i = 0; i < state.used; ++i) {
    const auto& frame = *state.slots[i];
    if (ffmpeg_frame_format(frame) != format) throw exception_io_data();
    ffmpeg_frame_to_float(frame, out);
    out += static_cast<std::size_t>(frame.nb_samples) * format.channels;
  }
  chunk.set_srate(format.sample_rate);
  chunk.set_channels(format.channels, format.channel_mask);
  chunk.set_sample_count(total);
}

ffmpeg_packet_decoder::ffmpeg_packet_decoder(const ffmpeg_setup& setup, int strictness) {
  check_setup(setup);
  const auto* const codec = avcodec_find_decoder(static_cast<AVCodecID>(setup.codec_id));
  if (codec == nullptr) throw std::runtime_error("ffmpeg: no requested decoder present");
  packet_.reset(av_packet_alloc());
  context_.reset(avcodec_alloc_context3(codec));
  if (!context_ || !packet_) throw std::runtime_error("ffmpeg: could not allocate context");
  set_extradata(*context_, setup.extradata);
  set_stream(*context_, setup);
  context_->strict_std_compliance = strictness;
  open_context();
}

void ffmpeg_packet_decoder::open_context() {
  context_->request_sample_fmt = AV_SAMPLE_FMT_FLT;
  context_->thread_count = 1;
  context_->flags2 |= AV_CODEC_FLAG2_SKIP_MANUAL; // Trimming is the caller's.
  const int result = avcodec_open2(context_.get(), context_->codec, nullptr);
  if (result >= 0) return;
  constexpr const char* what = "ffmpeg: could not open the decoder";
  if (result == AVERROR_PATCHWELCOME) throw exception_ffmpeg_patch_welcome();
  // All else is the stream's fault: decoders say so with whatever number, -1 among them.
  constexpr std::array of_installation{AVERROR(ENOMEM), AVERROR_EXPERIMENTAL, AVERROR_EXTERNAL, AVERROR_BUG};
  if (std::ranges::find(of_installation, result) == of_installation.end()) throw exception_io_data(what);
  throw std::runtime_error(what);
}

void ffmpeg_packet_decoder::fill_buffer(std::span<const std::byte> packet) {
  const auto size = packet.size() + wanted_padding;
  // A decoder may still hold the last packet.
  if (!buffer_ || buffer_->size < size || av_buffer_is_writable(buffer_.get()) == 0) {
    buffer_.reset(av_buffer_alloc(size));
    if (!buffer_) throw std::bad_alloc();
  }
  std::memcpy(buffer_->data, packet.data(), packet.size());
  std::memset(buffer_->data + packet.size(), 0, wanted_padding);
}

void ffmpeg_packet_decoder::decode(std::span<const std::byte> packet, audio_chunk& chunk, abort_callback& abort) {
  abort.check();
  constexpr std::size_t max_packet = 0x40000000; // The library counts in int.
  if (packet.size() > max_packet) throw exception_io_data();
  AVPacket& lent = *packet_;
  struct taking_back {
    AVPacket& packet;
    ~taking_back() { packet.buf = nullptr, packet.data = nullptr, packet.size = 0; }
  } const at_end{lent};
  if (!packet.empty()) {
    fill_buffer(packet);
    lent.buf = buffer_.get();
    lent.data = buffer_->data;
    lent.size = static_cast<int>(packet.size());
  }
  ffmpeg_decode_packet(state_, *context_, lent, chunk);
}

void ffmpeg_packet_decoder::reset_after_seek() {
  state_.clear();
  // A flush leaves what damaged frames of MPEG audio read on into: bytes of earlier ones. What the format needs to be
  // opened again is little.
  if (context_->codec_id == AV_CODEC_ID_MP3) {
    av_ptr<AVCodecContext> fresh(avcodec_alloc_context3(context_->codec));
    if (!fresh) throw std::bad_alloc();
    fresh->strict_std_compliance = context_->strict_std_compliance;
    context_ = std::move(fresh);
    open_context();
  } else {
    avcodec_flush_buffers(context_.get());
  }
}

ffmpeg_stream_facts ffmpeg_packet_decoder::facts() const {
  return {positive(context_->sample_rate),
          positive(context_->ch_layout.nb_channels),
          static_cast<std::uint64_t>(std::max<std::int64_t>(context_->bit_rate, 0)),
          positive(context_->bits_per_coded_sample),
          positive(context_->bits_per_raw_sample),
          context_->profile};
}

void ffmpeg_packet_decoder::decoded_info(file_info& info) const {
  info.info_set(info_field::codec, avcodec_get_name(context_->codec_id));
  const auto* const profile = std::ranges::find(dts_profiles, context_->profile, &profile_row::profile);
  const bool is_dts = context_->codec_id == AV_CODEC_ID_DTS;
  if (is_dts && profile != dts_profiles.end()) info.info_set("codec_profile", profile->name);
  if (context_->sample_rate > 0) info.info_set_int(info_field::samplerate, context_->sample_rate);
  if (const auto channels = context_->ch_layout.nb_channels; channels > 0) {
    info.info_set_int(info_field::channels, channels);
    const auto& layout = context_->ch_layout;
    const auto mask = layout.order == AV_CHANNEL_ORDER_NATIVE ? static_cast<std::uint32_t>(layout.u.mask) : 0;
    if (channel_config_count(mask) == positive(channels)) info.info_set_channel_mask(mask);
  }
  const bool is_lossless = is_dts && context_->profile == FF_PROFILE_DTS_HD_MA;
  info.info_set(info_field::encoding, is_lossless ? "lossless" : "lossy");
  info.info_set_int(info_field::bitspersample, decoded_bits(*context_));
}

} // namespace zelmora
