// The two exported helpers, against the header that an independent encoder writes.
#include "frame/bytes.h"
#include "support/fixtures.h"

#include <gtest/gtest.h>

#include <array>
#include <span>

extern "C" int FillWaveHeader(void* header, std::uint32_t data_size, std::uint32_t unused, const void* format,
                              std::uint32_t extra);
extern "C" int FillWaveFormatEx(void* format, std::uint32_t unused, std::uint32_t rate, std::uint32_t bits,
                                std::uint32_t channels);

namespace zelmora::test {
namespace {

TEST(wave_exports, make_the_header_of_a_pcm_file) {
  const auto encoded = load_fixture("wav/s16.wav");
  std::array<std::byte, 19> format;
  format.fill(std::byte{0xEE});
  EXPECT_EQ(FillWaveFormatEx(format.data(), 7, 44100, 16, 2), 0);
  EXPECT_TRUE(std::equal(format.begin(), format.begin() + 16, encoded.begin() + 20));
  EXPECT_EQ(load_le<std::uint16_t>(format.data() + 16), 0u);
  EXPECT_EQ(format[18], std::byte{0xEE});

  std::array<std::byte, 45> header;
  header.fill(std::byte{0xEE});
  EXPECT_EQ(FillWaveHeader(header.data(), static_cast<std::uint32_t>(encoded.size() - 44), 7, format.data(), 0), 0);
  EXPECT_TRUE(std::equal(header.begin(), header.begin() + 44, encoded.begin()));
  EXPECT_EQ(header[44], std::byte{0xEE});

  FillWaveHeader(header.data(), 1000, 0, format.data(), 50);
  EXPECT_EQ(load_le<std::uint32_t>(header.data() + 4), 1086u);
  EXPECT_EQ(load_le<std::uint32_t>(header.data() + 40), 1000u);
}

TEST(wave_exports, the_block_is_counted_in_16_bits) {
  std::array<std::byte, 18> format;
  FillWaveFormatEx(format.data(), 0, 1000, 64, 8193); // 65544 bytes wrap to 8
  EXPECT_EQ(load_le<std::uint16_t>(format.data() + 12), 8u);
  EXPECT_EQ(load_le<std::uint32_t>(format.data() + 8), 8000u);
}

} // namespace
} // namespace zelmora::test
