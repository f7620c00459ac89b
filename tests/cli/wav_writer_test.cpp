// The header arithmetic, with a sink that keeps heads and counts the rest: no test writes gigabytes.
#include "cli/wav_writer.h"

#include "frame/bytes.h"
#include "frame/exceptions.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace zelmora::cli {

namespace {

class counting_sink : public byte_sink {
 public:
  explicit counting_sink(bool patchable) : patchable_(patchable) {}
  void write(std::span<const std::byte> bytes) override {
    const auto kept = std::min(bytes.size(), kept_size - std::min(kept_size, head.size()));
    head.append(reinterpret_cast<const char*>(bytes.data()), kept);
    size += bytes.size();
  }
  bool can_patch() const override { return patchable_; }
  void patch(std::uint64_t position, std::span<const std::byte> bytes) override {
    ASSERT_LE(position + bytes.size(), head.size());
    head.replace(position, bytes.size(), reinterpret_cast<const char*>(bytes.data()), bytes.size());
  }
  void finish() override {}

  std::string head;
  std::uint64_t size = 0;

 private:
  static constexpr std::size_t kept_size = 200;
  bool patchable_;
};

/// A header as the standards lay it out, read without the writer's help.
struct header {
  std::string form;
  std::string first_chunk;
  std::uint64_t riff_size = 0;
  std::uint64_t data_size = 0;
  std::uint64_t sample_count = 0;
  std::uint16_t tag = 0;
  std::uint32_t mask = 0;
  std::size_t data_start = 0;
};

header parse(const std::string& head) {
  header result;
  const auto le32 = [&](std::size_t at) { return load_le<std::uint32_t>(head.data() + at); };
  const auto le64 = [&](std::size_t at) { return load_le<std::uint64_t>(head.data() + at); };
  result.form = head.substr(0, 4);
  result.riff_size = le32(4);
  EXPECT_EQ(head.substr(8, 4), "WAVE");
  result.first_chunk = head.substr(12, 4);
  for (std::size_t at = 12; at + 8 <= head.size();) {
    const auto id = head.substr(at, 4);
    const std::size_t size = le32(at + 4);
    const auto body = at + 8;
    if (id == "data") {
      if (result.form == "RIFF")
        result.data_size = size;
      else
        EXPECT_EQ(size, 0xFFFFFFFFu);
      result.data_start = body;
      return result;
    }
    if (id == "ds64") {
      EXPECT_EQ(size, 28u);
      EXPECT_EQ(result.riff_size, 0xFFFFFFFFu);
      result.riff_size = le64(body);
      result.data_size = le64(body + 8);
      result.sample_count = le64(body + 16);
      EXPECT_EQ(le32(body + 24), 0u);
    } else if (id == "fmt ") {
      result.tag = load_le<std::uint16_t>(head.data() + body);
      if (size == 40) result.mask = le32(body + 20);
    } else if (id == "fact" && result.form == "RIFF") {
      result.sample_count = le32(body);
    }
    at = body + size;
  }
  ADD_FAILURE() << "no data chunk";
  return result;
}

constexpr wav_format stereo_float{44100, 2, 3, sample_form::f32};
constexpr std::uint64_t gib = std::uint64_t{1} << 30;

/// Writes that many bytes of silence in large pieces.
void write_silence(wav_writer& writer, std::uint64_t bytes) {
  static const std::vector<std::byte> piece(std::size_t{6} << 20);
  for (std::uint64_t done = 0; done < bytes;) {
    const auto count = std::min<std::uint64_t>(bytes - done, piece.size());
    writer.write(std::span(piece).first(static_cast<std::size_t>(count)));
    done += count;
  }
}

struct size_case {
  const char* name;
  bool patchable;
  std::optional<std::uint64_t> expected_bytes;
  std::uint64_t written_bytes;
  const char* form;
  const char* first_chunk;
};

class WavSizes : public testing::TestWithParam<size_case> {};

TEST_P(WavSizes, AreThoseOfTheFile) {
  const auto& c = GetParam();
  counting_sink sink(c.patchable);
  const auto expected = c.expected_bytes ? std::optional(*c.expected_bytes / 8) : std::nullopt;
  wav_writer writer(sink, stereo_float, expected);
  write_silence(writer, c.written_bytes);
  EXPECT_TRUE(writer.finish());
  const auto h = parse(sink.head);
  EXPECT_EQ(h.form, c.form);
  EXPECT_EQ(h.first_chunk, c.first_chunk);
  EXPECT_EQ(h.riff_size, sink.size - 8);
  EXPECT_EQ(h.data_size, c.written_bytes);
  EXPECT_EQ(h.sample_count, c.written_bytes / 8);
  EXPECT_EQ(h.data_start + c.written_bytes, sink.size);
}

// Without reserved room the header takes 58 bytes, with it 94.
constexpr std::uint64_t largest_plain = 0xFFFFFFFF - 94 + 8 - 1;

INSTANTIATE_TEST_SUITE_P(
    All, WavSizes,
    testing::Values(size_case{"Short", true, 8000, 8000, "RIFF", "fmt "},
                    size_case{"ShortStream", false, 8000, 8000, "RIFF", "fmt "},
                    size_case{"ShorterThanTold", true, 8000, 800, "RIFF", "fmt "},
                    size_case{"LongerThanTold", true, 800, 8000, "RIFF", "fmt "},
                    size_case{"Empty", true, 0, 0, "RIFF", "fmt "},
                    size_case{"Unknown", true, std::nullopt, 8000, "RIFF", "JUNK"},
                    size_case{"Large", true, gib + 8, gib + 8, "RIFF", "JUNK"},
                    size_case{"LargestOf32Bits", true, std::nullopt, largest_plain / 8 * 8, "RIFF", "JUNK"},
                    size_case{"SmallestOf64Bits", true, std::nullopt, largest_plain / 8 * 8 + 8, "RF64", "ds64"},
                    size_case{"ToldAndLarger", true, 5 * gib, 5 * gib, "RF64", "ds64"},
                    size_case{"UnknownAndLarger", true, std::nullopt, 5 * gib, "RF64", "ds64"},
                    size_case{"ToldAndSmaller", true, 5 * gib, 8, "RIFF", "JUNK"},
                    size_case{"LargerStream", false, 5 * gib, 5 * gib, "RF64", "ds64"}),
    [](const auto& row) { return row.param.name; });

TEST(WavWriter, AStreamOfUnknownLengthSaysSo) {
  counting_sink sink(false);
  wav_writer writer(sink, stereo_float, std::nullopt);
  write_silence(writer, 800);
  EXPECT_TRUE(writer.finish());
  const auto h = parse(sink.head);
  EXPECT_EQ(h.form, "RIFF");
  EXPECT_EQ(h.riff_size, 0xFFFFFFFFu);
  EXPECT_EQ(h.data_size, 0xFFFFFFFFu);
}

TEST(WavWriter, AStreamThatWasNotAsToldIsNoticed) {
  counting_sink sink(false);
  wav_writer writer(sink, stereo_float, 1000);
  write_silence(writer, 8 * 999);
  EXPECT_FALSE(writer.finish());
}

TEST(WavWriter, FarMoreThanToldIsNotPassedOff) {
  counting_sink sink(true);
  wav_writer writer(sink, stereo_float, 1000);
  write_silence(writer, 4 * gib);
  EXPECT_THROW(writer.finish(), zelmora_io::exception_io_data);
}

struct format_case {
  const char* name;
  wav_format format;
  std::uint16_t tag;
  std::uint32_t mask;
};

class WavFormats : public testing::TestWithParam<format_case> {};

TEST_P(WavFormats, ArePlainWhereThatSaysAll) {
  counting_sink sink(true);
  wav_writer writer(sink, GetParam().format, 10);
  const auto h = parse(sink.head);
  EXPECT_EQ(h.tag, GetParam().tag);
  EXPECT_EQ(h.mask, GetParam().mask);
}

INSTANTIATE_TEST_SUITE_P(All, WavFormats,
                         testing::Values(format_case{"MonoFloat", {8000, 1, 4, sample_form::f32}, 3, 0},
                                         format_case{"StereoFloat", {8000, 2, 3, sample_form::f32}, 3, 0},
                                         format_case{"StereoInteger", {8000, 2, 3, sample_form::s16}, 1, 0},
                                         format_case{"MonoOnTheLeft", {8000, 1, 1, sample_form::f32}, 0xFFFE, 1},
                                         format_case{"SidePair", {8000, 2, 0x600, sample_form::s24}, 0xFFFE, 0x600},
                                         format_case{"Surround", {8000, 6, 0x3F, sample_form::s24}, 0xFFFE, 0x3F}),
                         [](const auto& row) { return row.param.name; });

TEST(WavWriter, OddDataIsPadded) {
  counting_sink sink(true);
  wav_writer writer(sink, {8000, 1, 4, sample_form::s24}, 1);
  writer.write(std::vector<std::byte>(3));
  EXPECT_TRUE(writer.finish());
  const auto h = parse(sink.head);
  EXPECT_EQ(h.data_size, 3u);
  EXPECT_EQ(sink.size, h.data_start + 4);
  EXPECT_EQ(h.riff_size, sink.size - 8);
}

} // namespace

} // namespace zelmora::cli
