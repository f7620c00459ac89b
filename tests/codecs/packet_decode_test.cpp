// Packets that FFmpeg's demuxers cut from files of independent encoders, decoded: tests/data/make_packets.sh.
#include "codecs/packet_decoder.h"

#include "codecs/ffmpeg_bridge.h"
#include "frame/bytes.h"
#include "support/bytes.h"
#include "support/fixtures.h"
#include "support/largest_allocation.h"
#include "support/test_services.h"

#include <array>
#include <fstream>
#include <gtest/gtest.h>
#include <md5.h>
#include <sstream>

namespace zelmora::test {
namespace {

using zelmora_io::exception_io_data;

struct stream_case {
  const char* name;
  guid owner;
  std::uint32_t param1;
  const char* matroska_codec; ///< "" for the owner's own setup
  const char* codec;
  unsigned lead_in = 0; ///< packets after which decoding from the middle is as from the start
  friend std::ostream& operator<<(std::ostream& out, const stream_case& c) { return out << c.name; }
};

struct expected_pcm {
  std::string md5;
  std::size_t samples = 0;
  std::uint32_t rate = 0;
  std::uint32_t channels = 0;
};

expected_pcm find_expected(const std::string& name) {
  std::ifstream table(fixture_path("packets/expected.tsv"));
  expected_pcm found;
  for (std::string row; table >> row >> found.md5 >> found.samples >> found.rate >> found.channels;)
    if (row == name) return found;
  ADD_FAILURE() << name << " is not in expected.tsv";
  return {};
}

std::string md5_of(const std::vector<float>& pcm) {
  std::array<char, MD5_DIGEST_STRING_LENGTH> text{};
  MD5Data(reinterpret_cast<const std::uint8_t*>(pcm.data()), pcm.size() * sizeof(float), text.data());
  return text.data();
}

class PacketDecode : public testing::TestWithParam<stream_case> {
 protected:
  void SetUp() override {
    attach_own_services();
    const auto data = load_fixture(std::string("packets/") + GetParam().name + ".packets");
    le_reader in(data);
    while (in.remaining() != 0) {
      const auto record = in.take(in.le32());
      records.emplace_back(record.begin(), record.end());
    }
  }

  std::span<const bytes> packets() const { return std::span(records).subspan(1); }

  packet_decoder_ptr open(bool decode = true) {
    auto setup = records.front();
    const auto& tested = GetParam();
    if (tested.owner == packet_decoder::owner_mp4_alac)
      setup.erase(setup.begin(), setup.begin() + 8); // FFmpeg keeps the atom's header.
    if (*tested.matroska_codec == '\0')
      return packet_decoder::g_open(decode, tested.owner, tested.param1, setup.data(), setup.size(), abort);
    const matroska_setup record{tested.matroska_codec, 0, 0, 0, static_cast<std::uint32_t>(setup.size()), setup.data()};
    return packet_decoder::g_open(decode, tested.owner, 0, &record, sizeof record, abort);
  }

  std::vector<float> decode(packet_decoder& decoder, std::span<const bytes> some) {
    std::vector<float> pcm;
    for (const auto& packet : some) {
      decoder.decode(packet.data(), packet.size(), chunk, abort);
      const auto samples = chunk.samples();
      pcm.insert(pcm.end(), samples.begin(), samples.end());
    }
    return pcm;
  }

  abort_callback_dummy abort;
  audio_chunk_impl chunk;
  std::vector<bytes> records; ///< setup, and packets
};

TEST_P(PacketDecode, gives_the_samples_of_the_library) {
  const auto expected = find_expected(GetParam().name);
  const auto decoder = open();
  const auto pcm = decode(*decoder, packets());
  EXPECT_EQ(pcm.size(), expected.samples * expected.channels);
  EXPECT_EQ(md5_of(pcm), expected.md5);
  EXPECT_EQ(chunk.get_srate(), expected.rate);
  EXPECT_EQ(chunk.get_channels(), expected.channels);
  if (decoder->analyze_first_frame_supported())
    decoder->analyze_first_frame(packets()[0].data(), packets()[0].size(), abort);
  file_info_impl info;
  decoder->get_info(info);
  EXPECT_EQ(*info.info_get("samplerate"), std::to_string(expected.rate));
  EXPECT_EQ(*info.info_get("channels"), std::to_string(expected.channels));
  const auto* const codec = info.info_get("codec");
  EXPECT_EQ(codec == nullptr ? "" : *codec, GetParam().codec);
}

/// Describing a stream doesn't need the library.
TEST_P(PacketDecode, is_described_without_decoding) {
  const auto text_of = [](packet_decoder& decoder) {
    file_info_impl info;
    decoder.get_info(info);
    std::string text;
    for (std::size_t i = 0; i < info.info_get_count(); ++i)
      text += info.info_enum_name(i) + "=" + info.info_enum_value(i) + "\n";
    return text;
  };
  const auto described = open(false);
  EXPECT_EQ(text_of(*described), text_of(*open()));
  EXPECT_EQ(md5_of(decode(*described, packets())), find_expected(GetParam().name).md5);
}

TEST_P(PacketDecode, promised_padding_changes_nothing) {
  const auto decoder = open();
  const auto padding =
      static_cast<std::size_t>(decoder->set_stream_property(packet_decoder::property_input_padding, 0, nullptr, 0));
  ASSERT_NE(padding, 0u);
  decoder->set_stream_property(packet_decoder::property_input_padding, padding, nullptr, 0);
  std::vector<float> pcm;
  for (auto packet : packets()) {
    const auto size = packet.size();
    packet.resize(size + padding);
    decoder->decode(packet.data(), size, chunk, abort);
    pcm.insert(pcm.end(), chunk.samples().begin(), chunk.samples().end());
  }
  EXPECT_EQ(md5_of(pcm), find_expected(GetParam().name).md5);
}

TEST_P(PacketDecode, takes_no_memory_once_it_runs) {
  const auto before_opening = allocation_count();
  const auto decoder = open();
  EXPECT_NE(allocation_count(), before_opening) << "nothing is counted";
  decode(*decoder, packets());
  decoder->reset_after_seek();
  const auto before = allocation_count();
  for (const auto& packet : packets()) decoder->decode(packet.data(), packet.size(), chunk, abort);
  EXPECT_EQ(allocation_count(), before);
}

TEST_P(PacketDecode, is_drained_by_an_empty_packet) {
  const auto decoder = open();
  decode(*decoder, packets());
  decoder->decode(nullptr, 0, chunk, abort);
  decoder->decode(nullptr, 0, chunk, abort);
  EXPECT_EQ(chunk.get_sample_count(), 0u);
  const auto& packet = packets()[0];
  EXPECT_THROW(decoder->decode(packet.data(), packet.size(), chunk, abort), exception_io_data) << "lost without a word";
  decoder->reset_after_seek();
  EXPECT_NE(decode(*decoder, packets()).size(), 0u);
}

class PacketDecodeFromTheMiddle : public PacketDecode {};

TEST_P(PacketDecodeFromTheMiddle, is_as_from_the_start) {
  const auto lead_in = GetParam().lead_in;
  const auto decoder = open();
  const auto whole = decode(*decoder, packets());
  decoder->reset_after_seek();
  const auto middle = packets().size() / 2;
  decode(*decoder, packets().subspan(middle - lead_in, lead_in));
  const auto rest = decode(*decoder, packets().subspan(middle));
  ASSERT_LE(rest.size(), whole.size());
  EXPECT_TRUE(std::equal(rest.begin(), rest.end(), whole.end() - static_cast<std::ptrdiff_t>(rest.size())));
}

TEST_P(PacketDecode, corrupt_packets_are_told_and_survived) {
  const auto decoder = open();
  std::size_t failed = 0;
  for (std::size_t n = 0; n < packets().size(); ++n) {
    auto packet = packets()[n];
    for (std::size_t i = n % 3; i < packet.size(); i += 3) packet[i] = static_cast<std::byte>(i * 91 + n);
    if (n % 2 == 0) packet.resize(packet.size() / (n % 5 + 1));
    try {
      decoder->decode(packet.data(), packet.size(), chunk, abort);
    } catch (const exception_io_data&) {
      ++failed;
    }
  }
  decoder->reset_after_seek();
  EXPECT_NE(decode(*decoder, packets()).size(), 0u) << failed << " packets failed";
}

TEST_P(PacketDecode, an_abort_is_heard) {
  const auto decoder = open();
  abort_callback_impl token;
  token.set();
  EXPECT_THROW(decoder->decode(packets()[0].data(), packets()[0].size(), chunk, token), zelmora_io::exception_aborted);
  const auto& setup = records.front();
  EXPECT_THROW(packet_decoder::g_open(true, GetParam().owner, GetParam().param1, setup.data(), setup.size(), token),
               zelmora_io::exception_aborted);
}

const stream_case aac{"aac_lc", packet_decoder::owner_mp4, 64, "", "AAC", 2};
const stream_case ac3{"ac3", packet_decoder::owner_mp4_ac3, 0, "", "AC3"};
const stream_case eac3{"eac3", packet_decoder::owner_matroska, 0, "A_EAC3", "E-AC3"};
const stream_case alac16{"alac16", packet_decoder::owner_mp4_alac, 0, "", "ALAC"};
const stream_case alac24{"alac24", packet_decoder::owner_mp4_alac, 0, "", "ALAC"};
const stream_case dts{"dts", packet_decoder::owner_matroska, 0, "A_DTS", "", 2};
const stream_case mp3{"mp3", packet_decoder::owner_mp3, 0, "", "MP3", 10};
const stream_case mp2{"mp2", packet_decoder::owner_matroska, 0, "A_MPEG/L2", "MP2", 2};
const stream_case amr{"amr_nb", packet_decoder::owner_mp4_amr_nb, 0, "", "AMR-NB"};

std::string case_name(const testing::TestParamInfo<stream_case>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(of, PacketDecode, testing::Values(aac, ac3, eac3, alac16, alac24, dts, mp3, mp2, amr),
                         case_name);
// AC-3 has dither, AMR all of its past.
INSTANTIATE_TEST_SUITE_P(of, PacketDecodeFromTheMiddle, testing::Values(aac, alac16, alac24, dts, mp3, mp2), case_name);

struct hostile_case {
  const char* name;
  guid owner;
  bytes setup;
  friend std::ostream& operator<<(std::ostream& out, const hostile_case& c) { return out << c.name; }
};

class HostileSetup : public testing::TestWithParam<hostile_case> {};

TEST_P(HostileSetup, is_a_data_error) {
  attach_own_services();
  abort_callback_dummy abort;
  const auto& tested = GetParam();
  EXPECT_THROW(packet_decoder::g_open(true, tested.owner, 64, tested.setup.data(), tested.setup.size(), abort),
               exception_io_data);
}

/// ALACSpecificConfig behind version and flags.
bytes alac_setup(std::uint32_t frame, int bits, int channels) {
  auto setup = bytes(4 + 24);
  store_be(setup.data() + 4, frame);
  setup[9] = static_cast<std::byte>(bits);
  setup[13] = static_cast<std::byte>(channels);
  store_be(setup.data() + 24, std::uint32_t{44100});
  return setup;
}

bytes aac_setup(std::size_t size) {
  auto setup = to_bytes({0x12, 0x10});
  setup.resize(size);
  return setup;
}

INSTANTIATE_TEST_SUITE_P(
    of, HostileSetup,
    testing::Values(
        hostile_case{"alac_of_nothing", packet_decoder::owner_mp4_alac, {}},
        hostile_case{"alac_cut", packet_decoder::owner_mp4_alac, bytes(20)},
        hostile_case{"alac_endless_frames", packet_decoder::owner_mp4_alac, alac_setup(0xFFFFFFFF, 16, 2)},
        hostile_case{"alac_255_channels", packet_decoder::owner_mp4_alac, alac_setup(4096, 16, 255)},
        hostile_case{"alac_99_bits", packet_decoder::owner_mp4_alac, alac_setup(4096, 99, 2)},
        hostile_case{"aac_of_nothing", packet_decoder::owner_mp4, {}},
        hostile_case{"aac_rate_13", packet_decoder::owner_mp4, to_bytes({0x16, 0x90})},
        // An escaped rate of 999 Hz.
        hostile_case{"aac_rate_of_no_chunk", packet_decoder::owner_mp4, to_bytes({0x17, 0x80, 0x01, 0xF3, 0x90})},
        hostile_case{"aac_endless_setup", packet_decoder::owner_mp4, aac_setup(std::size_t{1} << 25)},
        hostile_case{"adif", packet_decoder::owner_adif, bytes(40)},
        hostile_case{"matroska_of_another_size", packet_decoder::owner_matroska, bytes(sizeof(matroska_setup) - 1)}),
    [](const auto& c) { return std::string(c.param.name); });

} // namespace
} // namespace zelmora::test
