// The golden dump of every WAV fixture, under the whole matrix of `support/golden.h`.
#include "support/fixtures.h"
#include "support/golden.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>

namespace zelmora::test {
namespace {

std::vector<std::string> list_assets() {
  std::vector<std::string> result;
  for (const auto& entry : std::filesystem::directory_iterator(fixture_path("wav")))
    if (entry.path().extension() != ".tsv") result.push_back(entry.path().filename().string());
  std::ranges::sort(result);
  return result;
}

golden_traits traits_of(std::string_view asset) {
  constexpr std::array refused{"average_bytes_0.wav",
                               "block_align_0.wav",
                               "channels_0.wav",
                               "channels_257.wav",
                               "fmt_of_17_bytes.wav",
                               "fmt_of_2_mib.wav",
                               "no_data.wav",
                               "no_fmt.wav",
                               "rate_20000001.wav",
                               "rate_999.wav",
                               "rf64_ds64_data_size_all_ones.wav",
                               "rf64_ds64_too_short.wav",
                               "rf64_riff_size_0.wav",
                               "rf64_without_ds64.wav",
                               "wave64_chunk_size_23.w64",
                               "wave64_wrong_guid.w64",
                               "odd_chunk_without_pad.wav",
                               "extensible_too_short.wav"};
  golden_traits traits;
  traits.is_refused = std::ranges::find(refused, asset) != refused.end();
  traits.needs_seeking = asset == "fmt_after_data.wav";
  return traits;
}

class wav_golden : public testing::TestWithParam<std::string> {};

TEST_P(wav_golden, matrix) { check_golden("wav/" + GetParam(), traits_of(GetParam())); }

INSTANTIATE_TEST_SUITE_P(assets, wav_golden, testing::ValuesIn(list_assets()), [](const auto& asset) {
  auto name = asset.param;
  std::ranges::replace(name, '.', '_');
  return name;
});

} // namespace
} // namespace zelmora::test
