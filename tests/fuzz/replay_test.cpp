// Every seed and every past find of the fuzz targets, fuzz/seeds/TARGET/NAME, through the check that the targets run. A
// target without a check of its own is an input, and is called by its extension.
#include "id3v2_check.h"
#include "ima_check.h"
#include "input_fuzz.h"
#include "mpeg_repair_check.h"
#include "mpeg_scan_check.h"
#include "packets_check.h"
#include "riff_tags_check.h"
#include "stream_headers_check.h"
#include "support/fixtures.h"
#include "support/largest_allocation.h"
#include "tag_processor_check.h"
#include "tail_check.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>

namespace zelmora::test {
namespace {

/// What an input may ask for at once, whatever a file claims [bytes]: its own buffers and a small multiple of the file.
constexpr std::size_t allocation_base = 8 * 1024 * 1024;
constexpr std::size_t allocation_factor = 16;

std::vector<std::filesystem::path> list_seeds() {
  std::vector<std::filesystem::path> result;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(ZELMORA_FUZZ_SEEDS))
    if (entry.is_regular_file()) result.push_back(entry.path());
  std::ranges::sort(result);
  return result;
}

/// The targets that aren't inputs.
struct named_check {
  std::string_view target;
  std::string (*check)(std::span<const std::byte>);
};
constexpr std::array named_checks{
    named_check{"ape", fuzz::check_ape},
    named_check{"id3v1_lyrics3", fuzz::check_id3v1_lyrics3},
    named_check{"id3v2", fuzz::check_id3v2},
    named_check{"ima", fuzz::check_ima},
    named_check{"mpeg_repair", fuzz::check_mpeg_repair},
    named_check{"mpeg_scan", fuzz::check_mpeg_scan},
    named_check{"packets", fuzz::check_packets},
    named_check{"riff_tags", fuzz::check_riff_tags},
    named_check{"stream_headers", fuzz::check_stream_headers},
    named_check{"tag_processor", fuzz::check_tag_processor},
};

std::string check_seed(std::span<const std::byte> data, const std::string& target) {
  const auto found = std::ranges::find(named_checks, target, &named_check::target);
  return found == named_checks.end() ? fuzz::check_input(data, "seed." + target) : found->check(data);
}

class fuzz_replay : public testing::TestWithParam<std::filesystem::path> {};

TEST_P(fuzz_replay, is_what_its_check_wants) {
  const auto data = load_file(GetParam().string());
  clear_largest_allocation();
  EXPECT_EQ(check_seed(data, GetParam().parent_path().filename().string()), "");
  EXPECT_LE(largest_allocation(), allocation_base + allocation_factor * data.size());
}

INSTANTIATE_TEST_SUITE_P(seeds, fuzz_replay, testing::ValuesIn(list_seeds()), [](const auto& seed) {
  auto name = seed.param.parent_path().filename().string() + "_" + seed.param.filename().string();
  std::ranges::replace_if(
      name, [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; }, '_');
  return name;
});

} // namespace
} // namespace zelmora::test
