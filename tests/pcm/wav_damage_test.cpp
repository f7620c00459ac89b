// Damaged headers: the exact warnings, and what still plays (how much, and which samples, stands in wav_test.cpp).
#include "pcm_test_support.h"
#include "support/largest_allocation.h"

namespace zelmora::test {
namespace {

using namespace zelmora_io;

struct damage_case {
  const char* file;
  std::vector<std::string> warnings;
};

const std::string truncated = "warning: Indicated RIFF size exceeds actual file size, file appears to be truncated";
std::string cut_chunk(std::uint64_t at, std::uint64_t claimed, std::uint64_t left) {
  return "warning: Malformed or truncated chunk found at " + std::to_string(at) + " bytes, claimed length " +
         std::to_string(claimed) + " bytes, truncated to " + std::to_string(left) + " bytes";
}

const damage_case damage_cases[]{
    {"base.wav", {}},
    {"rf64.wav", {}},
    {"rf64_sndfile.rf64", {}},
    {"wave64.w64", {}},
    {"wave64_sox.w64", {}},
    {"wave64_sndfile.w64", {}},
    {"f32_sndfile.wav", {}},
    {"data_truncated.wav", {truncated, cut_chunk(36, 2200, 1200)}},
    {"data_truncated_in_frame.wav", {truncated, cut_chunk(36, 2200, 1199)}},
    {"data_size_zero.wav", {cut_chunk(36, 0, 2200)}},
    {"sizes_zero.wav", {cut_chunk(36, 0, 2200)}},
    {"sizes_of_an_empty_file.wav", {cut_chunk(36, 0, 2200)}},
    {"sizes_all_ones.wav", {truncated, cut_chunk(36, 0xFFFFFFFF, 2200)}},
    {"data_size_4_gib_in_100_bytes.wav", {truncated, cut_chunk(36, 0xFFFFFFF0, 56)}},
    {"riff_size_too_small.wav", {cut_chunk(36, 2200, 1000)}},
    {"odd_list_before_data.wav", {}},
    {"garbage_after_data.wav", {cut_chunk(2244, 0x7FFFFFFF, 4)}},
    {"stub_after_data.wav", {}},
    {"garbage_outside_riff.wav", {}},
    {"fmt_after_data.wav", {}},
    {"fmt_of_18_bytes.wav", {}},
    {"fmt_extra_size_too_large.wav", {}},
    {"piped_ffmpeg.wav", {truncated, cut_chunk(36, 0xFFFFFFFF, 8404)}},
    {"piped_wave64.w64", {cut_chunk(80, 0x7FFFFFFFFFFFFFFF - 24, 8404)}},
    {"rf64_truncated.wav", {truncated, cut_chunk(72, 2200, 1200)}},
    {"rf64_never_closed.wav", {cut_chunk(72, 0, 2200)}},
    {"wave64_truncated.w64", {truncated, cut_chunk(80, 2200, 1200)}},
    {"wave64_data_size_wraps.w64", {cut_chunk(80, 0xFFFFFFFFFFFFFFF8 - 24, 2200)}},
};

class wav_damage : public testing::TestWithParam<damage_case> {};

TEST_P(wav_damage, is_told_in_these_words) {
  test_decoder wav(fixture_file(std::string("wav/") + GetParam().file));
  EXPECT_TRUE(wav.logger->entries().empty()); // told when playing begins
  const auto audio = wav.decode();
  EXPECT_EQ(wav.logger->entries(), GetParam().warnings);
  EXPECT_GT(audio.frames(), 0u);
}

INSTANTIATE_TEST_SUITE_P(files, wav_damage, testing::ValuesIn(damage_cases), [](const auto& row) {
  std::string name = row.param.file;
  std::ranges::replace(name, '.', '_');
  return name;
});

TEST(wav_damage_limits, a_claim_of_4_gib_allocates_nothing_of_the_kind) {
  const auto file = fixture_file("wav/data_size_4_gib_in_100_bytes.wav");
  clear_largest_allocation();
  test_decoder wav(file);
  EXPECT_EQ(wav.decode().frames(), 28u);
  EXPECT_LT(largest_allocation(), 16384u);
}

TEST(wav_damage_limits, a_file_cut_at_any_byte_plays_what_it_holds_or_is_refused) {
  for (const std::string name : {"wav/base.wav", "wav/rf64.wav", "wav/wave64_sox.w64", "wav/s24_sox_extensible.wav"}) {
    const auto content = load_fixture(name);
    const auto whole = test_decoder(fixture_file(name)).decode();
    for (std::size_t size = 0; size < content.size(); size += size < 200 ? 1 : 97) {
      try {
        test_decoder wav(service_new<memory_file>(std::span(content).first(size)));
        const auto audio = wav.decode();
        ASSERT_TRUE(std::ranges::equal(audio.samples, std::span(whole.samples).first(audio.samples.size())))
            << name << " cut to " << size;
        ASSERT_EQ(audio_math::time_to_samples(wav.info().get_length(), whole.rate), audio.frames())
            << name << " cut to " << size;
        // A few bytes short of a frame at most are not played.
        ASSERT_LT(size - audio.samples.size() * (content.size() / whole.samples.size()), 200u)
            << name << " cut to " << size;
      } catch (const exception_io_data&) {
        ASSERT_LT(size, 130u) << name;
      }
    }
  }
}

} // namespace
} // namespace zelmora::test
