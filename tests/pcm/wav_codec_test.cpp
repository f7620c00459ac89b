// WAV files of other codecs than PCM, against what independent decoders make of them: tests/data/make_wav_codecs.sh.
#include "codecs/codec_manager.h"
#include "pcm_test_support.h"
#include "riff_bytes.h"

#include <random>

namespace zelmora::test {
namespace {

using namespace std::string_literals;
using namespace zelmora_io;

using row = std::vector<std::string>;

class WavCodec : public testing::TestWithParam<row> {
 protected:
  const std::string& file() const { return GetParam().at(0); }
  std::uint32_t rate() const { return static_cast<std::uint32_t>(std::stoul(GetParam().at(1))); }
  std::uint32_t channels() const { return static_cast<std::uint32_t>(std::stoul(GetParam().at(2))); }
  std::size_t frames() const { return std::stoul(GetParam().at(3)); }
  test_decoder open() { return test_decoder(fixture_file("wav_codecs/" + file())); }
};

TEST_P(WavCodec, decodes_to_the_samples_of_an_independent_decoder) {
  auto wav = open();
  const auto audio = wav.decode();
  EXPECT_EQ(audio.frames(), frames());
  EXPECT_EQ(pcm_md5(audio.samples), GetParam().at(4));
  EXPECT_EQ(audio.rate, rate());
  EXPECT_EQ(audio.channels, channels());
  EXPECT_TRUE(wav.logger->entries().empty());
}

TEST_P(WavCodec, a_seek_gives_what_the_linear_decode_has) {
  auto wav = open();
  const auto linear = wav.decode();
  std::mt19937 random(7);
  std::vector<std::size_t> targets{0, 1, frames() - 1, frames(), frames() / 2, frames() / 2 + 1, 0};
  for (int i = 0; i < 60; ++i) targets.push_back(random() % frames());
  for (const auto target : targets) {
    const auto rest = wav.decode_from(target, rate());
    EXPECT_TRUE(std::ranges::equal(rest.samples, linear.from(target))) << "sample " << target;
  }
}

TEST_P(WavCodec, is_described) {
  const auto info = open().info();
  EXPECT_NE(info_text(info, "codec"), "");
  EXPECT_EQ(info_text(info, "encoding"), "lossy");
  EXPECT_EQ(info_text(info, "decoded_bitspersample"), "16");
  EXPECT_EQ(info_text(info, "samplerate"), GetParam().at(1));
}

INSTANTIATE_TEST_SUITE_P(files, WavCodec, testing::ValuesIn(load_fixture_table("wav_codecs/expected_pcm.tsv")),
                         [](const auto& tested) { return tested.param.at(0).substr(0, tested.param.at(0).find('.')); });

// --- Damage -------------------------------------------------------------------------------------------------------

TEST(WavCodecDamage, a_corrupt_frame_of_mp3_costs_itself_and_no_place) {
  auto content = load_fixture("wav_codecs/mp3.wav");
  const auto whole = test_decoder(service_new<memory_file>(content)).decode();
  // In the middle, behind a frame's header.
  for (std::size_t i = 0; i < 200; ++i) content[content.size() / 2 + i] = static_cast<std::byte>(i * 7);
  const auto damaged = test_decoder(service_new<memory_file>(content)).decode();
  const auto frames = std::min(whole.frames(), damaged.frames());
  EXPECT_NEAR(static_cast<double>(damaged.frames()), static_cast<double>(whole.frames()), 3 * 1152);
  const auto quarter = frames / 4 * whole.channels;
  EXPECT_TRUE(std::equal(whole.samples.begin(), whole.samples.begin() + static_cast<std::ptrdiff_t>(quarter),
                         damaged.samples.begin()));
}

TEST(WavCodecDamage, a_cut_file_plays_what_there_is) {
  for (const std::string name : {"ima_stereo.wav", "ms_stereo.wav", "mp3.wav", "alaw.wav", "gsm.wav"}) {
    auto content = load_fixture("wav_codecs/" + name);
    const auto whole = test_decoder(service_new<memory_file>(content)).decode();
    content.resize(content.size() * 2 / 3);
    const auto cut = test_decoder(service_new<memory_file>(content)).decode();
    EXPECT_LT(cut.frames(), whole.frames()) << name;
    EXPECT_GT(cut.frames(), whole.frames() / 3) << name;
    EXPECT_TRUE(std::equal(cut.samples.begin(),
                           cut.samples.begin() + static_cast<std::ptrdiff_t>(cut.samples.size() / 2),
                           whole.samples.begin()))
        << name;
  }
}

/// IMA ADPCM of one block for each of `blocks`, with a block size of `size`.
std::string ima_file(std::uint16_t channels, std::uint16_t size, std::string_view blocks, std::uint32_t fact = 0) {
  const auto le16 = [](std::uint64_t value) { return le32_text(value).substr(0, 2); };
  const auto format = le16(0x11) + le16(channels) + le32_text(8000) + le32_text(4000) + le16(size) + le16(4) + le16(0);
  return riff(chunk("fmt ", format) + (fact == 0 ? "" : chunk("fact", le32_text(fact))) + chunk("data", blocks));
}

TEST(ImaAdpcm, edges_of_a_block) {
  // The predictor is 0x8001; an index of 200 counts as 88, whose step is 32767: 32767/8 + 32767 up, then clamped.
  const auto block = "\x01\x80\xC8\0"s + "\x74\0\0\0"s;
  const auto audio = test_decoder(service_new<memory_file>(ima_file(1, 8, block))).decode();
  ASSERT_EQ(audio.frames(), 9u);
  EXPECT_EQ(audio.samples[0], -32767.0f / 32768);
  EXPECT_EQ(audio.samples[1], static_cast<float>(-32767 + 4095 + 32767) / 32768);
  EXPECT_EQ(audio.samples[2], 32767.0f / 32768);
}

TEST(ImaAdpcm, a_block_that_holds_no_data_is_refused) {
  EXPECT_THROW(test_decoder(service_new<memory_file>(ima_file(2, 8, std::string(16, '\0')))).decode(),
               exception_io_data);
}

TEST(ImaAdpcm, a_malformed_block_costs_itself_and_is_told) {
  const auto good = "\0\0\0\0"s + std::string(8, '\x11');
  const auto file = ima_file(1, 12, good + good + "\0\0\0\0\x11\x11"s);
  test_decoder wav(service_new<memory_file>(file));
  EXPECT_EQ(wav.decode().frames(), 2 * 17u);
  const auto told = "error: Malformed IMA ADPCM chunk at " + std::to_string(file.size() - 6) + " bytes";
  EXPECT_EQ(wav.logger->entries(), std::vector<std::string>{told});
}

TEST(ImaAdpcm, gives_out_no_more_than_fact_counts) {
  const auto good = "\0\0\0\0"s + std::string(8, '\x11');
  test_decoder wav(service_new<memory_file>(ima_file(1, 12, good + good, 20)));
  EXPECT_EQ(wav.decode().frames(), 20u);
  EXPECT_EQ(wav.decode_from(18, 8000).frames(), 2u);
  EXPECT_EQ(wav.decode_from(25, 8000).frames(), 0u);
}

TEST(WavCodecMissing, is_told) {
  auto content = load_fixture("wav_codecs/mulaw.wav");
  content[20] = std::byte{0x99};
  content[21] = std::byte{0x77};
  test_decoder wav(service_new<memory_file>(content));
  EXPECT_EQ(info_text(wav.info(), "codec"), "");
  EXPECT_EQ(info_text(wav.info(), "decoded_bitspersample"), "");
  try {
    wav.decode();
    ADD_FAILURE();
  } catch (const exception_io_data& failure) {
    EXPECT_STREQ(failure.what(), "Missing ACM codec");
  }
}

} // namespace
} // namespace zelmora::test
