// What is read from files of independent encoders, against independent readers and decoders.
#include "pcm/input_wav.h"
#include "pcm_test_support.h"
#include "support/faulty_file.h"

#include <cmath>
#include <map>

namespace zelmora::test {
namespace {

using namespace zelmora_io;

// --- Against tests/data/wav/expected_pcm.tsv --------------------------------------------------------------------

struct expected_pcm {
  std::string file;
  std::uint32_t rate;
  std::uint32_t channels;
  std::size_t frames;
  std::string md5;
};

std::vector<expected_pcm> load_expected_pcm() {
  std::vector<expected_pcm> result;
  for (const auto& row : load_fixture_table("wav/expected_pcm.tsv"))
    result.push_back({row.at(0), static_cast<std::uint32_t>(std::stoul(row.at(1))),
                      static_cast<std::uint32_t>(std::stoul(row.at(2))), std::stoul(row.at(3)), row.at(4)});
  return result;
}

std::string file_test_name(std::string name) {
  std::ranges::replace(name, '.', '_');
  return name;
}

class wav_pcm : public testing::TestWithParam<expected_pcm> {};

TEST_P(wav_pcm, is_bit_for_bit_that_of_an_independent_decoder) {
  test_decoder wav(fixture_file("wav/" + GetParam().file));
  const auto audio = wav.decode();
  EXPECT_EQ(audio.rate, GetParam().rate);
  EXPECT_EQ(audio.channels, GetParam().channels);
  EXPECT_EQ(audio.frames(), GetParam().frames);
  EXPECT_EQ(pcm_md5(audio.samples), GetParam().md5);
}

TEST_P(wav_pcm, is_as_long_as_the_length_told) {
  test_decoder wav(fixture_file("wav/" + GetParam().file));
  EXPECT_EQ(audio_math::time_to_samples(wav.info().get_length(), GetParam().rate), GetParam().frames);
}

TEST_P(wav_pcm, is_the_same_after_any_seek) {
  test_decoder wav(fixture_file("wav/" + GetParam().file));
  const auto linear = wav.decode();
  const auto frames = linear.frames();
  for (const std::size_t target : {std::size_t{0}, std::size_t{1}, std::size_t{1023}, std::size_t{1024}, frames / 2,
                                   frames - 1, frames, frames + 1, frames * 1000}) {
    const auto rest = wav.decode_from(target, linear.rate);
    const auto wanted = linear.from(std::min(target, frames));
    EXPECT_TRUE(std::ranges::equal(rest.samples, wanted)) << "frame " << target << " of " << frames;
  }
}

INSTANTIATE_TEST_SUITE_P(files, wav_pcm, testing::ValuesIn(load_expected_pcm()),
                         [](const auto& row) { return file_test_name(row.param.file); });

// --- Against tests/data/wav/expected_info.tsv -------------------------------------------------------------------

struct codec_names {
  std::string codec;
  std::string encoding;
  std::string extra;
};

/// ffprobe's codec name, and what stands for it here.
const std::map<std::string, codec_names> codecs{
    {"pcm_u8", {"PCM", "lossless", ""}},
    {"pcm_s16le", {"PCM", "lossless", ""}},
    {"pcm_s24le", {"PCM", "lossless", ""}},
    {"pcm_s32le", {"PCM", "lossless", "fixed-point"}},
    {"pcm_f32le", {"PCM (floating-point)", "lossless", "floating-point"}},
    {"pcm_f64le", {"PCM (floating-point)", "lossless", "floating-point"}},
    {"adpcm_ima_wav", {"IMA ADPCM", "lossy", ""}},
};
/// ffprobe's layout, and its mask where it says more than the channel count.
const std::map<std::string, std::string> masks{{"unknown", ""}, {"mono", ""},           {"stereo", ""},
                                               {"5.1", "0x3f"}, {"5.1(side)", "0x60f"}, {"7.1", "0x63f"}};

TEST(wav_info, is_that_of_an_independent_reader) {
  for (const auto& row : load_fixture_table("wav/expected_info.tsv")) {
    SCOPED_TRACE(row.at(0));
    const auto info = test_decoder(fixture_file("wav/" + row.at(0))).info();
    const auto& names = codecs.at(row.at(1));
    EXPECT_EQ(info_text(info, "codec"), names.codec);
    EXPECT_EQ(info_text(info, "encoding"), names.encoding);
    EXPECT_EQ(info_text(info, "bitspersample_extra"), names.extra);
    EXPECT_EQ(info_text(info, "samplerate"), row.at(2));
    EXPECT_EQ(info_text(info, "channels"), row.at(3));
    EXPECT_EQ(fold_utf8(info_text(info, "WAVEFORMATEXTENSIBLE_CHANNEL_MASK")), masks.at(row.at(4)));
    EXPECT_EQ(info_text(info, "bitspersample"), row.at(5));
    EXPECT_EQ(info.meta_get_count(), 0u);
  }
}

TEST(wav_info, bits_of_an_extensible_file_are_the_valid_ones) {
  const auto info = test_decoder(fixture_file("wav/s20_in_24.wav")).info();
  EXPECT_EQ(info_text(info, "bitspersample"), "20");
  EXPECT_EQ(info_text(info, "bitrate"), "2117"); // 44100 Hz, 2 channels, 24 bits in the file
}

TEST(wav_decoding, refuses_widths_and_blocks_that_are_no_samples) {
  for (const std::string file : {"wav/bits_12.wav", "wav/block_align_4_for_mono_16.wav"}) {
    test_decoder wav(fixture_file(file));
    EXPECT_THROW(wav.decode(), exception_io_data) << file;
  }
}

// --- Masks, channels, copies -------------------------------------------------------------------------------------

TEST(wav_decoding, a_mask_that_disagrees_with_the_channels_gives_way_to_the_usual_one) {
  EXPECT_EQ(test_decoder(fixture_file("wav/s16_51_side.wav")).decode().mask, 0x60Fu);
  EXPECT_EQ(test_decoder(fixture_file("wav/mask_of_two_for_six_channels.wav")).decode().mask, 0x3Fu);
  EXPECT_EQ(test_decoder(fixture_file("wav/s16_mono_sox.wav")).decode().mask, 4u);
}

TEST(wav_decoding, more_channels_than_a_chunk_can_carry_make_chunks_that_hosts_reject) {
  const auto audio = test_decoder(fixture_file("wav/s16_40_channels.wav")).decode();
  EXPECT_EQ(audio.channels, 40u);
  EXPECT_EQ(audio.rejected_chunks, 1u);
}

TEST(wav_decoding, can_begin_again) {
  test_decoder wav(fixture_file("wav/s24.wav"));
  const auto first = wav.decode();
  EXPECT_EQ(wav.decode().samples, first.samples);
  audio_chunk_impl chunk;
  EXPECT_FALSE(wav.decoder->run(chunk, wav.abort));
  EXPECT_FALSE(wav.decoder->run(chunk, wav.abort));
}

TEST(wav_decoding, reads_a_chunk_of_1024_frames_at_once) {
  const auto count = std::make_shared<operation_count>();
  test_decoder wav(make_faulty_file(fixture_file("wav/s16.wav"), {}, count));
  wav.decoder->initialize(0, 0, wav.abort);
  const auto reads = count->reads;
  const auto operations = count->total;
  audio_chunk_impl chunk;
  ASSERT_TRUE(wav.decoder->run(chunk, wav.abort));
  EXPECT_EQ(chunk.get_sample_count(), 1024u);
  EXPECT_EQ(count->reads, reads + 1);
  EXPECT_EQ(count->total, operations + 1); // no seek on the way from start to end
}

TEST(wav_decoding, describing_a_file_does_not_read_its_data) {
  const auto count = std::make_shared<operation_count>();
  test_decoder wav(make_faulty_file(fixture_file("wav/f64.wav"), {}, count));
  wav.info();
  EXPECT_LE(count->bytes_read, 200u);
}

// --- Streams that can't seek --------------------------------------------------------------------------------------

file_ptr stream_of(std::string_view fixture) {
  file_faults faults;
  faults.no_seek = true;
  return make_faulty_file(fixture_file(fixture), faults);
}

TEST(wav_stream, plays_from_start_to_end_and_seeks_forward_only) {
  const auto linear = test_decoder(fixture_file("wav/s16.wav")).decode();
  test_decoder wav(stream_of("wav/s16.wav"));
  EXPECT_FALSE(wav.decoder->can_seek());
  wav.decoder->initialize(0, 0, wav.abort);
  audio_chunk_impl chunk;
  ASSERT_TRUE(wav.decoder->run(chunk, wav.abort));
  EXPECT_THROW(wav.decoder->seek(1023.0 / 44100, wav.abort), exception_io_object_not_seekable);
  wav.decoder->seek(1500.0 / 44100, wav.abort);
  EXPECT_TRUE(std::ranges::equal(decode_to_end(*wav.decoder, wav.abort).samples, linear.from(1500)));
  // The end has been read past: there is no way back to the start.
  EXPECT_THROW(wav.decode(), exception_io_object_not_seekable);
}

TEST(wav_stream, seeking_beyond_the_end_is_the_end) {
  test_decoder wav(stream_of("wav/s16.wav"));
  wav.decoder->initialize(0, 0, wav.abort);
  wav.decoder->seek(1e300, wav.abort);
  audio_chunk_impl chunk;
  EXPECT_FALSE(wav.decoder->run(chunk, wav.abort));
}

// --- The entry -------------------------------------------------------------------------------------------------------

TEST(wav_entry, claims_paths_and_content_types_in_any_case) {
  service_impl_single_t<input_entry_impl<input_wav>> instance;
  input_entry* const entry = &instance;
  for (const auto* extension : {"wav", "WAV", "Wave", "w64", "rf64", "bwf"})
    EXPECT_TRUE(entry->is_our_path("file." + std::string(extension), extension)) << extension;
  for (const auto* extension : {"", "wa", "wavx", "wv"}) EXPECT_FALSE(entry->is_our_path("x", extension)) << extension;
  for (const auto* type : {"audio/vnd.wave", "audio/wav", "audio/wave", "audio/x-wav", "audio/x-wave",
                           "audio/wav; codecs=1", "Audio/WAV ;x"})
    EXPECT_TRUE(entry->is_our_content_type(type)) << type;
  EXPECT_FALSE(entry->is_our_content_type("audio/wavpack"));
  EXPECT_FALSE(entry->is_our_content_type(""));
}

TEST(wav_entry, opens_renamed_files_by_their_first_bytes) {
  for (const std::string file : {"wav/s16.wav", "wav/rf64.wav", "wav/wave64.w64"}) {
    test_decoder wav(fixture_file(file), "renamed.mp3");
    EXPECT_GE(wav.decode().frames(), 2101u) << file;
  }
  EXPECT_FALSE(input_wav::g_is_our_file_header(as_byte_span("RIFF\1\2\3\4WAV")));
  EXPECT_FALSE(input_wav::g_is_our_file_header(as_byte_span("RIFF\1\2\3\4AVI LIST")));
  EXPECT_FALSE(input_wav::g_is_our_file_header(as_byte_span("riff but no GUID behind it, in forty bytes.")));
}

TEST(wav_entry, refuses_writing_where_tags_have_no_place) {
  abort_callback_dummy abort;
  attach_own_services();
  for (const std::string file : {"wav/rf64.wav", "wav/wave64.w64"})
    EXPECT_THROW(input_entry::g_open_for_info_write(fixture_file(file), "a.wav", nullptr, abort),
                 exception_tagging_unsupported)
        << file;
}

} // namespace
} // namespace zelmora::test
