// The format record and the chunk loop, field by field, and the sizes that no fixture can have.
#include "pcm/input_wav.h"
#include "pcm/wav_parser.h"

#include "frame/bytes.h"
#include "pcm_test_support.h"

#include <functional>

namespace zelmora::test {
namespace {

using namespace zelmora_io;

// --- Format records ------------------------------------------------------------------------------------------------

/// WAVEFORMATEX: each field a case may change.
struct format_fields {
  std::uint16_t tag = 1;
  std::uint16_t channels = 2;
  std::uint32_t rate = 44100;
  std::uint32_t average_bytes = 176400;
  std::uint16_t block_align = 4;
  std::uint16_t bits = 16;
  std::uint16_t extra = 0;
  std::size_t size = 18; ///< of the chunk
};

std::vector<std::byte> to_bytes(const format_fields& f) {
  std::vector<std::byte> out(std::max<std::size_t>(f.size, 18));
  store_le(out.data(), f.tag);
  store_le(out.data() + 2, f.channels);
  store_le(out.data() + 4, f.rate);
  store_le(out.data() + 8, f.average_bytes);
  store_le(out.data() + 12, f.block_align);
  store_le(out.data() + 14, f.bits);
  store_le(out.data() + 16, f.extra);
  out.resize(f.size);
  return out;
}

struct format_case {
  const char* name;
  std::function<void(format_fields&)> change;
  bool is_accepted;
};

const format_case format_cases[]{
    {"valid", [](auto&) {}, true},
    {"size_15", [](auto& f) { f.size = 15; }, false},
    {"size_16", [](auto& f) { f.size = 16; }, true},
    {"size_17", [](auto& f) { f.size = 17; }, false},
    {"size_19", [](auto& f) { f.size = 19; }, true},
    {"channels_0", [](auto& f) { f.channels = 0; }, false},
    {"channels_256", [](auto& f) { f.channels = 256; }, true},
    {"channels_257", [](auto& f) { f.channels = 257; }, false},
    {"rate_999", [](auto& f) { f.rate = 999; }, false},
    {"rate_1000", [](auto& f) { f.rate = 1000; }, true},
    {"rate_20000000", [](auto& f) { f.rate = 20'000'000; }, true},
    {"rate_20000001", [](auto& f) { f.rate = 20'000'001; }, false},
    {"average_bytes_0", [](auto& f) { f.average_bytes = 0; }, false},
    {"block_align_0", [](auto& f) { f.block_align = 0; }, false},
    {"bits_0", [](auto& f) { f.bits = 0; }, true},
};

class wave_format_check : public testing::TestWithParam<format_case> {};

TEST_P(wave_format_check, accepts_what_a_stream_can_have) {
  format_fields fields;
  GetParam().change(fields);
  const auto bytes = to_bytes(fields);
  if (!GetParam().is_accepted) {
    EXPECT_THROW(parse_wave_format(bytes), exception_io_data);
    return;
  }
  const auto format = parse_wave_format(bytes);
  EXPECT_EQ(format.rate, fields.rate);
  EXPECT_EQ(format.channels, fields.channels);
  EXPECT_EQ(format.extra_size, 0u);
  EXPECT_GE(format.record.size(), 18u);
}

INSTANTIATE_TEST_SUITE_P(records, wave_format_check, testing::ValuesIn(format_cases),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(wave_format, an_extra_size_beyond_the_chunk_is_cut) {
  format_fields fields;
  fields.extra = 1000;
  fields.size = 18 + 7;
  EXPECT_EQ(parse_wave_format(to_bytes(fields)).extra_size, 7u);
  fields.extra = 5;
  EXPECT_EQ(parse_wave_format(to_bytes(fields)).extra_size, 5u);
}

TEST(wave_format, the_byte_rate_of_adpcm_is_repaired) {
  // 4 bits, 2 channels, 44100 Hz: 352800 bits a second, 44100 bytes.
  struct {
    std::uint16_t tag;
    std::uint32_t given;
    std::uint32_t wanted;
  } const cases[]{
      {0x11, 44100, 44100}, {0x11, 22050, 22050},   {0x11, 22049, 44100},
      {0x11, 88200, 88200}, {0x11, 88201, 44100},   {0x02, 176400, 44100},
      {0x02, 1, 44100},     {0x06, 176400, 176400}, {0x11, 0xFFFFFFFF, 44100},
  };
  for (const auto& c : cases) {
    format_fields fields;
    fields.tag = c.tag;
    fields.bits = 4;
    fields.average_bytes = c.given;
    EXPECT_EQ(parse_wave_format(to_bytes(fields)).average_bytes, c.wanted) << c.tag << ' ' << c.given;
  }
  format_fields no_bits;
  no_bits.tag = 0x11;
  no_bits.bits = 0;
  EXPECT_EQ(parse_wave_format(to_bytes(no_bits)).average_bytes, 176400u); // what follows divides by it
}

// --- Chunk identities ----------------------------------------------------------------------------------------------

TEST(wave_chunks, boundaries) {
  EXPECT_EQ(wave_align(7, wave_container::riff), 8u);
  EXPECT_EQ(wave_align(8, wave_container::rf64), 8u);
  EXPECT_EQ(wave_align(9, wave_container::wave64), 16u);
  EXPECT_EQ(wave_align(wav_parser::unknown, wave_container::riff), wav_parser::unknown);
  EXPECT_EQ(wave_chunk_id_of("JUNK"), wave_chunk_id::junk);
  EXPECT_EQ(wave_chunk_id_of("fact"), wave_chunk_id_of("WAVE"));
  EXPECT_EQ(wave_chunk_id_of("LIST"), guid{});
}

// --- Chunks put together for the purpose --------------------------------------------------------------------------

std::vector<std::byte> chunk_of(std::string_view code, std::size_t size, std::uint64_t value = 0) {
  std::vector<std::byte> out(8 + size + 8);
  std::ranges::copy(as_byte_span(code), out.begin());
  store_le(out.data() + 4, static_cast<std::uint32_t>(size));
  store_le(out.data() + 8, value);
  out.resize(8 + size + size % 2);
  return out;
}

TEST(wav_parser, reads_a_sample_count_of_either_width) {
  struct {
    std::size_t size;
    std::uint64_t wanted;
  } const cases[]{{0, 0}, {3, 0}, {4, 0x22222222}, {7, 0x22222222}, {8, 0x1122222222}, {12, 0x1122222222}};
  for (const auto& c : cases) {
    auto content = load_fixture("wav/s16.wav");
    store_le<std::uint16_t>(content.data() + 20, 0x55); // samples that no arithmetic counts: the number is believed
    const auto fact = chunk_of("fact", c.size, 0x1122222222);
    content.insert(content.begin() + 36, fact.begin(), fact.end());
    store_le<std::uint32_t>(content.data() + 4, 0);
    wav_parser parser(service_new<memory_file>(content));
    abort_callback_dummy abort;
    parser.parse(abort);
    EXPECT_EQ(parser.fact_samples(), c.wanted) << c.size;
    EXPECT_EQ(parser.data_size(), 8404u) << c.size;
  }
}

TEST(wav_parser, refuses_a_wave64_chunk_that_is_smaller_than_its_header) {
  for (const std::uint64_t size : {0u, 23u, 24u}) {
    auto content = load_fixture("wav/wave64.w64");
    content.insert(content.end(), content.begin(), content.begin() + 16);
    content.resize(content.size() + 8);
    store_le(content.data() + content.size() - 8, size);
    store_le<std::uint64_t>(content.data() + 16, content.size());
    wav_parser parser(service_new<memory_file>(content));
    abort_callback_dummy abort;
    if (size < 24)
      EXPECT_THROW(parser.parse(abort), exception_io_data) << size;
    else
      EXPECT_NO_THROW(parser.parse(abort)) << size;
  }
}

TEST(wav_parser, the_size_of_rf64_counts_from_behind_its_own_field) {
  // A chunk behind the data that ends with the file is whole.
  auto content = load_fixture("wav/rf64.wav");
  const auto list = chunk_of("LIST", 40);
  content.insert(content.end(), list.begin(), list.end());
  store_le<std::uint64_t>(content.data() + 20, content.size() - 8);
  wav_parser parser(service_new<memory_file>(content));
  abort_callback_dummy abort;
  parser.parse(abort);
  EXPECT_TRUE(parser.warnings().empty());
}

// --- Files too large to keep ---------------------------------------------------------------------------------------

/// `head`, then silence up to `size` bytes.
class huge_file : public memory_file {
 public:
  huge_file(std::vector<std::byte> head, std::uint64_t size) : memory_file(std::move(head)), size_(size) {}
  std::size_t read(void* buffer, std::size_t bytes, abort_callback& abort) override {
    bytes = static_cast<std::size_t>(std::min<std::uint64_t>(bytes, size_ - position_));
    std::fill_n(static_cast<char*>(buffer), bytes, '\0');
    if (position_ < content().size()) {
      memory_file::seek(position_, abort);
      memory_file::read(buffer, bytes, abort);
    }
    position_ += bytes;
    return bytes;
  }
  std::uint64_t get_size(abort_callback&) override { return size_; }
  std::uint64_t get_position(abort_callback&) override { return position_; }
  void seek(std::uint64_t position, abort_callback&) override {
    if (position > size_) throw exception_io_seek_out_of_range();
    position_ = position;
  }
  void reopen(abort_callback&) override { position_ = 0; }

 private:
  std::uint64_t size_;
  std::uint64_t position_ = 0;
};

constexpr std::uint64_t five_gb = 5'000'000'000;

std::vector<std::byte> head_of(std::string_view fixture, std::size_t bytes) {
  auto content = load_fixture(fixture);
  content.resize(bytes);
  return content;
}

TEST(wav_huge, rf64_keeps_its_size) {
  auto head = head_of("wav/rf64.wav", 80); // s16 stereo at 44100 Hz; data at 80
  store_le<std::uint64_t>(head.data() + 20, five_gb + 72);
  store_le<std::uint64_t>(head.data() + 28, five_gb);
  test_decoder wav(service_new<huge_file>(head, five_gb + 80u));
  EXPECT_DOUBLE_EQ(wav.info().get_length(), 5e9 / 176400);
  wav.decoder->initialize(0, 0, wav.abort);
  EXPECT_TRUE(wav.logger->entries().empty());
  wav.decoder->seek((five_gb / 4 - 10) / 44100.0, wav.abort);
  EXPECT_EQ(decode_to_end(*wav.decoder, wav.abort).frames(), 10u);
}

TEST(wav_huge, wave64_keeps_its_size) {
  auto head = head_of("wav/wave64.w64", 104); // s16 stereo at 44100 Hz; data at 104
  store_le<std::uint64_t>(head.data() + 16, five_gb + 104);
  store_le<std::uint64_t>(head.data() + 96, five_gb + 24);
  test_decoder wav(service_new<huge_file>(head, five_gb + 104));
  EXPECT_DOUBLE_EQ(wav.info().get_length(), 5e9 / 176400);
}

TEST(wav_huge, plain_riff_of_4_gib_has_no_length) {
  auto head = head_of("wav/s16.wav", 44);
  for (const std::uint32_t size : {0xFFFF0000u, 0xFFFFEFFFu, 0xFFFEFFFCu}) {
    store_le<std::uint32_t>(head.data() + 4, 0xFFFFFFFF);
    store_le<std::uint32_t>(head.data() + 40, size);
    test_decoder wav(service_new<huge_file>(head, five_gb));
    EXPECT_DOUBLE_EQ(wav.info().get_length(), size < 0xFFFF0000u ? size / 176400.0 : -1.0);
  }
}

TEST(wav_huge, gigabytes_of_empty_chunks_come_to_an_end) {
  test_decoder with_data(service_new<huge_file>(load_fixture("wav/sizes_zero.wav"), 2'000'000'000u));
  auto content = load_fixture("wav/s16.wav");
  store_le<std::uint32_t>(content.data() + 4, 0); // to the end of the file
  EXPECT_EQ(test_decoder(service_new<huge_file>(content, 2'000'000'000u)).decode().frames(), 2101u);
  content.resize(12); // nothing but the file header
  EXPECT_THROW(test_decoder(service_new<huge_file>(content, 2'000'000'000u)), exception_io_data);
}

TEST(wav_parser, names_what_is_no_wave_file) {
  abort_callback_dummy abort;
  for (const std::string text : {"", "RIF", "RIFX....WAVE", "OggS and so on"}) {
    wav_parser parser(service_new<memory_file>(std::string_view(text)));
    EXPECT_THROW(parser.parse(abort), exception_io_data) << text;
    ASSERT_EQ(parser.warnings().size(), 1u);
    EXPECT_EQ(parser.warnings()[0], "File does not begin with a recognized WAVE header");
  }
}

/// Describes and decodes a changed copy of a fixture: samples decoded, and samples told.
struct told_and_decoded {
  std::uint64_t told = 0;
  std::uint64_t decoded = 0;
  std::vector<std::string> warnings;
};

told_and_decoded play(const std::vector<std::byte>& content) {
  abort_callback_dummy abort;
  input_wav input;
  input.open(service_new<memory_file>(content), "", input_open_decode, abort);
  file_info_impl info;
  input.get_info(info, abort);
  told_and_decoded result;
  result.told = audio_math::time_to_samples(info.get_length(), 44100);
  input.decode_initialize(0, 0, abort);
  audio_chunk_impl chunk;
  while (input.decode_run(chunk, abort)) result.decoded += chunk.get_sample_count();
  wav_parser parser(service_new<memory_file>(content));
  parser.parse(abort);
  result.warnings = parser.warnings();
  return result;
}

TEST(wav_parser, length_told_is_the_length_decoded_whatever_the_header_says) {
  const auto intact = play(load_fixture("wav/s16.wav"));
  ASSERT_EQ(intact.told, intact.decoded);
  ASSERT_GT(intact.decoded, 1000u);

  auto slow = load_fixture("wav/s16.wav");
  store_le<std::uint32_t>(slow.data() + 28, 1); // bytes a second
  EXPECT_EQ(play(slow).told, intact.decoded);

  auto boasting = load_fixture("wav/s16.wav");
  const auto fact = chunk_of("fact", 4, 0x544C4946); // the letters of a text where a count should be
  boasting.insert(boasting.begin() + 36, fact.begin(), fact.end());
  store_le<std::uint32_t>(boasting.data() + 4, 0);
  EXPECT_EQ(play(boasting).told, intact.decoded);
  EXPECT_EQ(play(boasting).decoded, intact.decoded);

  auto modest = load_fixture("wav/s16.wav");
  const auto cap = chunk_of("fact", 4, 100);
  modest.insert(modest.begin() + 36, cap.begin(), cap.end());
  store_le<std::uint32_t>(modest.data() + 4, 0);
  EXPECT_EQ(play(modest).told, 100u);
  EXPECT_EQ(play(modest).decoded, 100u);

  auto narrow = load_fixture("wav/s16.wav");
  store_le<std::uint16_t>(narrow.data() + 32, 1); // block size
  const auto played = play(narrow);
  EXPECT_EQ(played.told, intact.decoded);
  EXPECT_EQ(played.decoded, intact.decoded);
  ASSERT_EQ(played.warnings.size(), 1u);
  EXPECT_NE(played.warnings[0].find("Block size of 1 bytes is too small"), std::string::npos) << played.warnings[0];
}

TEST(wav_parser, any_number_of_chunks_but_no_endless_run_of_empty_ones) {
  const auto with_chunks = [](std::size_t count, std::size_t size) {
    auto content = load_fixture("wav/s16.wav");
    std::vector<std::byte> many;
    for (std::size_t i = 0; i < count; ++i) {
      const auto one = chunk_of("note", size);
      many.insert(many.end(), one.begin(), one.end());
    }
    content.insert(content.begin() + 36, many.begin(), many.end());
    store_le<std::uint32_t>(content.data() + 4, 0);
    return content;
  };
  EXPECT_GT(play(with_chunks(100000, 2)).decoded, 1000u);
  EXPECT_GT(play(with_chunks(65535, 0)).decoded, 1000u);
  EXPECT_THROW(play(with_chunks(65536, 0)), zelmora_io::exception_io_data);
}

} // namespace
} // namespace zelmora::test
