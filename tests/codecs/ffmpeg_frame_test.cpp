// Frames of libavcodec as chunks. The module's sources are linked into this program.
#include "codecs/ffmpeg/packet_decoder.h"

#include "support/bytes.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <stdexcept>

namespace zelmora::test {
namespace {

using zelmora_io::exception_io_data;

/// A frame of `samples` silent samples in `channels` channels.
av_ptr<AVFrame> make_frame(AVSampleFormat format, int channels, int samples) {
  av_ptr<AVFrame> frame(av_frame_alloc());
  frame->format = format;
  frame->sample_rate = 44100;
  frame->nb_samples = samples;
  av_channel_layout_default(&frame->ch_layout, channels);
  EXPECT_GE(av_frame_get_buffer(frame.get(), 0), 0);
  av_samples_set_silence(frame->extended_data, 0, samples, channels, format);
  return frame;
}

template <class Sample>
void fill(AVFrame& frame, std::initializer_list<Sample> left, std::initializer_list<Sample> right) {
  const bool is_planar = av_sample_fmt_is_planar(static_cast<AVSampleFormat>(frame.format)) != 0;
  const auto put = [&](std::size_t channel, std::size_t n, Sample value) {
    auto* const at = is_planar ? frame.extended_data[channel] + n * sizeof value
                               : frame.extended_data[0] + (2 * n + channel) * sizeof value;
    std::memcpy(at, &value, sizeof value);
  };
  for (std::size_t n = 0; n < left.size(); ++n) {
    put(0, n, left.begin()[n]);
    put(1, n, right.begin()[n]);
  }
}

std::vector<float> to_float(const AVFrame& frame) {
  std::vector<float> out(static_cast<std::size_t>(frame.nb_samples * frame.ch_layout.nb_channels));
  ffmpeg_frame_to_float(frame, out.data());
  return out;
}

TEST(FfmpegFrame, samples_are_scaled_and_interleaved) {
  const std::vector<float> expected{-1, 0.5f, 0.25f, -0.5f, 1.0f / 32768, 0};
  for (const auto format : {AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_S16P}) {
    const auto frame = make_frame(format, 2, 3);
    fill<std::int16_t>(*frame, {-32768, 8192, 1}, {16384, -16384, 0});
    EXPECT_EQ(to_float(*frame), expected) << av_get_sample_fmt_name(format);
  }
  for (const auto format : {AV_SAMPLE_FMT_S32, AV_SAMPLE_FMT_S32P}) {
    const auto frame = make_frame(format, 2, 3);
    fill<std::int32_t>(*frame, {-2147483647 - 1, 1 << 29, 1 << 16}, {1 << 30, -(1 << 30), 0});
    EXPECT_EQ(to_float(*frame), expected) << av_get_sample_fmt_name(format);
  }
  for (const auto format : {AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_FLTP}) {
    const auto frame = make_frame(format, 2, 3);
    fill<float>(*frame, {-1, 0.25f, 1.0f / 32768}, {0.5f, -0.5f, 0});
    EXPECT_EQ(to_float(*frame), expected) << av_get_sample_fmt_name(format);
  }
}

TEST(FfmpegFrame, more_planes_than_the_frame_itself_holds) {
  constexpr int channels = AV_NUM_DATA_POINTERS + 3;
  const auto frame = make_frame(AV_SAMPLE_FMT_S16P, channels, 2);
  for (int c = 0; c < channels; ++c) {
    const std::array<std::int16_t, 2> values{static_cast<std::int16_t>(c * 1024), static_cast<std::int16_t>(-c * 1024)};
    std::memcpy(frame->extended_data[c], values.data(), sizeof values);
  }
  const auto samples = to_float(*frame);
  for (std::size_t c = 0; c < channels; ++c) {
    EXPECT_EQ(samples[c], static_cast<float>(c) / 32);
    EXPECT_EQ(samples[channels + c], -static_cast<float>(c) / 32);
  }
}

TEST(FfmpegFrame, other_sample_formats_are_told) {
  for (const auto format : {AV_SAMPLE_FMT_DBL, AV_SAMPLE_FMT_DBLP, AV_SAMPLE_FMT_U8, AV_SAMPLE_FMT_S64}) {
    try {
      to_float(*make_frame(format, 2, 1));
      ADD_FAILURE() << av_get_sample_fmt_name(format);
    } catch (const std::runtime_error& failure) {
      EXPECT_STREQ(failure.what(), "Unexpected sample format");
    }
  }
}

TEST(FfmpegFrame, a_mask_counts_when_it_names_every_channel) {
  constexpr auto native = AV_CHANNEL_ORDER_NATIVE;
  const struct {
    const char* what;
    AVChannelOrder order;
    int channels;
    std::uint64_t mask;
    std::uint32_t expected;
  } cases[]{
      {"5.1 at the sides", native, 6, 0x60F, 0x60F},
      {"five speakers for six channels", native, 6, 0x607, channel_config_guess(6)},
      {"seven speakers for six channels", native, 6, 0x70F, channel_config_guess(6)},
      {"one beyond 32 bits", native, 2, std::uint64_t{1} << 35 | 1, channel_config_guess(2)},
      {"two and one beyond", native, 2, std::uint64_t{1} << 35 | 3, channel_config_guess(2)},
      {"no order", AV_CHANNEL_ORDER_UNSPEC, 6, 0x60F, channel_config_guess(6)},
  };
  for (const auto& c : cases) {
    AVChannelLayout layout{};
    layout.order = c.order;
    layout.nb_channels = c.channels;
    layout.u.mask = c.mask;
    EXPECT_EQ(channel_mask_of(layout), c.expected) << c.what;
  }
}

/// A silent frame of MPEG-1 layer 2, 128 kbit/s, 44100 Hz. ISO/IEC 11172-3, 2.4.1.
bytes silent_frame(unsigned channels) {
  auto frame = to_bytes({0xFF, 0xFD, 0x80, channels == 1 ? 0xC0 : 0});
  frame.resize(417);
  return frame;
}

bytes join(bytes first, const bytes& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

TEST(FfmpegPacket, several_frames_make_one_chunk_when_they_are_alike) {
  abort_callback_dummy abort;
  audio_chunk_impl chunk;
  ffmpeg_packet_decoder decoder({.codec_id = AV_CODEC_ID_MP3}, 0);
  decoder.decode(join(silent_frame(2), silent_frame(2)), chunk, abort);
  EXPECT_EQ(chunk.get_sample_count(), 2u * 1152);
  EXPECT_EQ(chunk.get_srate(), 44100u);
  EXPECT_THROW(decoder.decode(join(silent_frame(2), silent_frame(1)), chunk, abort), exception_io_data);
  EXPECT_EQ(chunk.get_sample_count(), 0u);
  decoder.reset_after_seek();
  decoder.decode(silent_frame(1), chunk, abort);
  EXPECT_EQ(chunk.get_sample_count(), 1152u);
  EXPECT_EQ(chunk.get_channels(), 1u);
}

TEST(FfmpegPacket, hostile_setups_do_not_reach_the_library) {
  const bytes large(std::size_t{1} << 25);
  const std::array setups{
      ffmpeg_setup{.codec_id = AV_CODEC_ID_ADPCM_MS, .channels = 70000},
      ffmpeg_setup{.codec_id = AV_CODEC_ID_ADPCM_MS, .sample_rate = 0xFFFFFFFF, .channels = 2},
      ffmpeg_setup{.codec_id = AV_CODEC_ID_ADPCM_MS, .channels = 2, .bits_per_coded_sample = 0x80000000},
      ffmpeg_setup{.codec_id = AV_CODEC_ID_ADPCM_MS, .channels = 2, .block_align = 0x80000000},
      ffmpeg_setup{.codec_id = AV_CODEC_ID_ADPCM_MS, .extradata = large, .channels = 2},
  };
  for (const auto& setup : setups) EXPECT_THROW(ffmpeg_packet_decoder(setup, 0), exception_io_data);
}

TEST(FfmpegPacket, a_codec_that_nobody_has_is_the_fault_of_the_installation) {
  try {
    ffmpeg_packet_decoder({.codec_id = 0x7FFFFFFF}, 0);
    ADD_FAILURE();
  } catch (const std::runtime_error& failure) {
    EXPECT_STREQ(failure.what(), "ffmpeg: no requested decoder present");
  }
}

} // namespace
} // namespace zelmora::test
