// Packets of the codec manager's codecs: "A_MS/ACM" of Matroska.
#include "codecs/codec_manager.h"
#include "codecs/packet_decoder.h"

#include "support/bytes.h"
#include "support/test_services.h"

#include <gtest/gtest.h>

namespace zelmora::test {
namespace {

using zelmora_io::exception_io_data;

constexpr int block = 32;                            ///< of Microsoft ADPCM [bytes]
constexpr std::size_t samples = (block - 7) * 2 + 2; ///< of such a block

bytes wave_record(int tag, int bits) {
  return to_bytes({tag & 255, tag >> 8, 1, 0, 0x40, 0x1F, 0, 0, 0x50, 0x0F, 0, 0, block, 0, bits, 0, 0, 0});
}

/// A block whose predictor is there, or is not.
bytes ms_block(int predictor) {
  auto data = to_bytes({predictor, 16, 0, 1, 0, 1, 0});
  data.resize(block, std::byte{0x11});
  return data;
}

class WavePacket : public testing::Test {
 protected:
  void SetUp() override { attach_own_services(); }

  packet_decoder_ptr open(const bytes& record) {
    const matroska_setup setup{"A_MS/ACM", 8000, 0, 1, static_cast<std::uint32_t>(record.size()), record.data()};
    return packet_decoder::g_open(true, packet_decoder::owner_matroska, 0, &setup, sizeof setup, abort);
  }
  std::size_t decode(packet_decoder& decoder, const bytes& data) {
    decoder.decode(data.data(), data.size(), chunk, abort);
    return chunk.get_sample_count();
  }

  abort_callback_dummy abort;
  audio_chunk_impl chunk;
};

TEST_F(WavePacket, blocks_need_not_be_packets) {
  const auto decoder = open(wave_record(wave_tag::ms_adpcm, 4));
  auto three = ms_block(0);
  for (int n = 0; n < 2; ++n) three.insert(three.end(), three.begin(), three.begin() + block);
  const auto cut = three.begin() + block + 5;
  EXPECT_EQ(decode(*decoder, {three.begin(), cut}), samples);
  EXPECT_EQ(decode(*decoder, {cut, three.end()}), 2 * samples);
}

TEST_F(WavePacket, a_corrupt_one_is_not_met_again) {
  const auto decoder = open(wave_record(wave_tag::ms_adpcm, 4));
  EXPECT_THROW(decode(*decoder, ms_block(99)), exception_io_data);
  EXPECT_EQ(decode(*decoder, ms_block(0)), samples);
}

TEST_F(WavePacket, the_end_gives_what_is_left) {
  const auto decoder = open(wave_record(wave_tag::ms_adpcm, 4));
  auto data = ms_block(0);
  data.resize(20);
  EXPECT_EQ(decode(*decoder, data), 0u) << "the rest of the block may follow";
  EXPECT_EQ(decode(*decoder, {}), (20u - 7) * 2 + 2);
  decoder->reset_after_seek();
  EXPECT_EQ(decode(*decoder, ms_block(0)), samples);
}

TEST_F(WavePacket, ima_of_four_bits_has_a_name_and_a_width_here_too) {
  const auto format = parse_wave_format(wave_record(wave_tag::ima_adpcm, 4));
  EXPECT_EQ(get_codec_manager().get_name(format), "IMA ADPCM");
  ASSERT_TRUE(get_codec_manager().suggest(format));
  EXPECT_EQ(get_codec_manager().suggest(format)->bits, 16u);
}

TEST_F(WavePacket, tags_without_a_codec_are_told) {
  for (const int tag : {0x7799, 1, 3}) {
    try {
      open(wave_record(tag, 4));
      ADD_FAILURE() << tag;
    } catch (const exception_io_data& failure) {
      EXPECT_STREQ(failure.what(), "Missing ACM codec") << tag;
    }
  }
}

} // namespace
} // namespace zelmora::test
