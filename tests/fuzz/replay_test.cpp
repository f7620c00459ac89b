// Every seed and every past find of the fuzz targets, fuzz/seeds/EXTENSION/NAME, through the check that the targets
// run.
#include "input_fuzz.h"
#include "support/fixtures.h"
#include "support/largest_allocation.h"

#include <gtest/gtest.h>

#include <algorithm>
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

class fuzz_replay : public testing::TestWithParam<std::filesystem::path> {};

TEST_P(fuzz_replay, gives_audio_or_a_documented_exception) {
  const auto data = load_file(GetParam().string());
  const auto path = "seed." + GetParam().parent_path().filename().string();
  clear_largest_allocation();
  EXPECT_EQ(fuzz::check_input(data, path), "");
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
