// Raw samples: as a server streams them, and in the packets of containers.
#include "codecs/packet_decoder.h"
#include "pcm_test_support.h"
#include "support/faulty_file.h"

#include <array>

namespace zelmora::test {
namespace {

using zelmora_io::exception_io_data;
using zelmora_io::exception_io_object_not_seekable;
using namespace std::string_view_literals;

class typed_file : public memory_file {
 public:
  typed_file(std::string_view content, std::string_view type) : memory_file(content), type_(type) {}
  bool get_content_type(std::string& out) override {
    out = type_;
    return true;
  }

 private:
  std::string type_;
};

file_ptr stream_of(std::string_view content, std::string_view type) { return service_new<typed_file>(content, type); }

// --- Streams --------------------------------------------------------------------------------------------------------

TEST(PcmStream, its_content_type_is_its_format) {
  const struct {
    std::string_view type;
    std::string_view rate, channels; ///< empty when it is refused
  } cases[]{
      {"audio/L16;rate=44100;channels=2", "44100", "2"},
      {"audio/l16; RATE = 8000 ; Channels=8", "8000", "8"},
      {"audio/l16;rate=44100", "44100", "1"},
      {"audio/l16;channels=2;rate=1000;", "1000", "2"},
      {"audio/l16;rate=20000000", "20000000", "1"},
      {"audio/l16", "", ""},
      {"audio/l16;rate=999", "", ""},
      {"audio/l16;rate=20000001", "", ""},
      {"audio/l16;rate=44100;channels=9", "", ""},
      {"audio/l16;rate=44100;channels=0", "", ""},
      {"audio/l16;rate=-44100", "", ""},
      {"audio/l16;rate=4294968296", "", ""},
      {"audio/l16;rate=44100x", "", ""},
  };
  for (const auto& c : cases) {
    const auto open = [&] {
      return test_decoder(stream_of(std::string(64, '\0'), c.type), "http://radio/live").info();
    };
    if (c.rate.empty()) {
      EXPECT_THROW(open(), exception_io_data) << c.type;
      continue;
    }
    const auto info = open();
    EXPECT_EQ(info_text(info, "samplerate"), c.rate) << c.type;
    EXPECT_EQ(info_text(info, "channels"), c.channels) << c.type;
    EXPECT_EQ(info_text(info, "codec"), "PCM");
    EXPECT_EQ(info_text(info, "encoding"), "lossless");
    EXPECT_EQ(info_text(info, "bitspersample"), "16");
    EXPECT_DOUBLE_EQ(info.get_length() * std::stod(std::string(c.rate)) * std::stod(std::string(c.channels)), 32);
  }
}

TEST(PcmStream, a_path_alone_says_nothing) {
  EXPECT_ANY_THROW(test_decoder(service_new<memory_file>("\x12\x34"sv), "file.l16"));
}

TEST(PcmStream, plays_whole_frames_and_seeks) {
  std::string content;
  for (int i = 0; i < 2 * 3000; ++i) content.append({static_cast<char>(i >> 8), static_cast<char>(i)});
  content += '\x7F'; // half a sample
  constexpr std::string_view type = "audio/l16;rate=8000;channels=2";
  test_decoder wav(stream_of(content, type), "http://radio/live");
  const auto linear = wav.decode();
  ASSERT_EQ(linear.frames(), 3000u);
  EXPECT_EQ(linear.samples[5999], 5999.0f / 32768);
  for (const std::size_t target : {2999u, 0u, 1025u, 3000u, 9000u}) {
    const auto rest = wav.decode_from(target, 8000);
    EXPECT_TRUE(std::ranges::equal(rest.samples, linear.from(std::min<std::size_t>(target, 3000)))) << target;
  }
  wav.decoder->seek(1e300, wav.abort);
  EXPECT_EQ(decode_to_end(*wav.decoder, wav.abort).frames(), 0u);

  file_faults faults;
  faults.no_seek = true;
  test_decoder live(make_faulty_file(stream_of(content, type), faults), "http://radio/live");
  live.decoder->initialize(0, 0, live.abort);
  audio_chunk_impl chunk;
  ASSERT_TRUE(live.decoder->run(chunk, live.abort));
  EXPECT_THROW(live.decoder->seek(0, live.abort), exception_io_object_not_seekable);
  EXPECT_TRUE(std::ranges::equal(live.decode_from(2000, 8000).samples, linear.from(2000)));
}

// --- Packets --------------------------------------------------------------------------------------------------------

struct packet_case {
  const char* what;
  const char* codec; ///< of Matroska; null for `owner`
  guid owner;
  std::string_view record; ///< private bytes
  unsigned bits;           ///< as the container tells; 0 when it doesn't
  std::string_view data;
  std::vector<float> samples;
  const char* name = "PCM";
  const char* extra = "";
};

class PcmPacket : public testing::Test {
 protected:
  void SetUp() override { attach_own_services(); }

  packet_decoder_ptr open(const packet_case& c) {
    const matroska_setup setup{c.codec, 8000, 16000, 1, static_cast<std::uint32_t>(c.record.size()), c.record.data()};
    const auto decoder = c.codec == nullptr ? packet_decoder::g_open(true, c.owner, 0, nullptr, 0, abort)
                                            : packet_decoder::g_open(true, packet_decoder::owner_matroska, 0, &setup,
                                                                     sizeof setup, abort);
    if (c.codec == nullptr) {
      decoder->set_stream_property(packet_decoder::property_sample_rate, 8000, nullptr, 0);
      decoder->set_stream_property(packet_decoder::property_channels, 1, nullptr, 0);
    }
    if (c.bits != 0) decoder->set_stream_property(packet_decoder::property_bits_per_sample, c.bits, nullptr, 0);
    return decoder;
  }
  std::vector<float> decode(packet_decoder& decoder, std::string_view data) {
    decoder.decode(data.data(), data.size(), chunk, abort);
    return {chunk.samples().begin(), chunk.samples().end()};
  }

  abort_callback_dummy abort;
  audio_chunk_impl chunk;
};

constexpr auto pcm_record = "\x01\0\x01\0\x40\x1F\0\0\x80\x3E\0\0\x02\0\x10\0\0\0"sv;
constexpr auto float_record = "\x03\0\x01\0\x40\x1F\0\0\0\x7D\0\0\x04\0\x20\0\0\0"sv;

TEST_F(PcmPacket, is_converted_as_its_container_says) {
  const packet_case cases[]{
      {"16 bits, an odd byte behind", "A_PCM/INT/LIT", {}, {}, 16, "\0\x40\0\xC0\x7F"sv, {0.5f, -0.5f}},
      {"8 bits are unsigned", "A_PCM/INT/LIT", {}, {}, 8, "\xC0\x40"sv, {0.5f, -0.5f}},
      {"24 bits", "A_PCM/INT/LIT", {}, {}, 24, "\0\0\x40\x01\0\0"sv, {0.5f, 1.0f / 8388608}},
      {"32 bits", "A_PCM/INT/LIT", {}, {}, 32, "\0\0\0\x40"sv, {0.5f}, "PCM", "fixed-point"},
      {"big-endian", "A_PCM/INT/BIG", {}, {}, 16, "\x40\0\xC0\0"sv, {0.5f, -0.5f}},
      {"big-endian, 24 bits", "A_PCM/INT/BIG", {}, {}, 24, "\x40\0\0"sv, {0.5f}},
      {"float", "A_PCM/FLOAT/IEEE", {}, {}, 32, "\0\0\0\x3F"sv, {0.5f}, "PCM (floating-point)", "floating-point"},
      {"double",
       "A_PCM/FLOAT/IEEE",
       {},
       {},
       64,
       "\0\0\0\0\0\0\xE0\x3F"sv,
       {0.5f},
       "PCM (floating-point)",
       "floating-point"},
      {"record", "A_MS/ACM", {}, pcm_record, 0, "\0\x40"sv, {0.5f}},
      {"record of float",
       "A_MS/ACM",
       {},
       float_record,
       0,
       "\0\0\0\x3F"sv,
       {0.5f},
       "PCM (floating-point)",
       "floating-point"},
      {"twos", nullptr, packet_decoder::owner_mp4_pcm_be, {}, 16, "\x40\0"sv, {0.5f}},
      {"twos of 8 bits are signed", nullptr, packet_decoder::owner_mp4_pcm_be, {}, 8, "\x40\xC0"sv, {0.5f, -0.5f}},
      {"MP4's little-endian", nullptr, packet_decoder::owner_mp4_pcm_le, {}, 16, "\0\x40"sv, {0.5f}},
  };
  for (const auto& c : cases) {
    const auto decoder = open(c);
    EXPECT_EQ(decode(*decoder, c.data), c.samples) << c.what;
    EXPECT_EQ(chunk.get_srate(), 8000u) << c.what;
    file_info_impl info;
    decoder->get_info(info);
    EXPECT_EQ(info_text(info, "codec"), c.name) << c.what;
    EXPECT_EQ(info_text(info, "bitspersample_extra"), c.extra) << c.what;
    EXPECT_EQ(info_text(info, "encoding"), "lossless");
    EXPECT_EQ(info_text(info, "samplerate"), "8000");
    EXPECT_EQ(info_text(info, "channels"), "1");
  }
}

TEST_F(PcmPacket, of_no_known_width_is_a_data_error) {
  for (const unsigned bits : {0u, 7u, 20u, 64u, 0xFFFFFFFFu}) {
    const auto decoder = open({"", "A_PCM/INT/LIT", {}, {}, bits, {}, {}});
    EXPECT_THROW(decode(*decoder, "\0\0\0\0\0\0\0\0"sv), exception_io_data) << bits;
  }
  const auto decoder = open({"", "A_PCM/FLOAT/IEEE", {}, {}, 16, {}, {}});
  EXPECT_THROW(decode(*decoder, "\0\0"sv), exception_io_data);
}

TEST_F(PcmPacket, of_ima_adpcm_stands_for_itself) {
  constexpr auto record = "\x11\0\x01\0\x40\x1F\0\0\xD7\x0F\0\0\x08\0\x04\0\0\0"sv;
  const auto decoder = open({"", "A_MS/ACM", {}, record, 0, {}, {}});
  const auto block = "\0\x40\0\0\0\0\0\0"sv;
  const auto samples = decode(*decoder, block);
  EXPECT_EQ(samples, std::vector<float>(9, 0.5f));
  EXPECT_THROW(decode(*decoder, block.substr(0, 4)), exception_io_data);
  EXPECT_THROW(decode(*decoder, block.substr(0, 6)), exception_io_data);
  EXPECT_EQ(decode(*decoder, block), samples);
  file_info_impl info;
  decoder->get_info(info);
  EXPECT_EQ(info_text(info, "codec"), "IMA ADPCM");
  EXPECT_EQ(info_text(info, "decoded_bitspersample"), "16");
  EXPECT_EQ(info_text(info, "bitspersample"), "4");
  EXPECT_EQ(info_text(info, "bitrate"), "32");
  EXPECT_EQ(info_text(info, "encoding"), "lossy");
}

} // namespace
} // namespace zelmora::test
