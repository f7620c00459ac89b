#include "codecs/dts_core.h"

#include "frame/exceptions.h"
#include "support/bytes.h"

#include <gtest/gtest.h>

namespace zelmora::test {
namespace {

/// A frame's beginning with bytes behind it, an even number of words of 14 bits.
bytes plain_frame() {
  auto frame = to_bytes({0x7F, 0xFE, 0x80, 0x01, 0xFC, 0x3C, 0x7E});
  while (frame.size() < 7 * 12) frame.push_back(static_cast<std::byte>(frame.size() * 37));
  return frame;
}

/// As a CD or a WAV file holds it: each 14 bits sign-extended to a word.
bytes as_words14(const bytes& frame) {
  bytes result;
  std::uint32_t bits = 0;
  unsigned count = 0;
  for (const auto byte : frame) {
    bits = bits << 8 | std::to_integer<std::uint32_t>(byte);
    count += 8;
    if (count < 14) continue;
    count -= 14;
    auto word = bits >> count & 0x3FFF;
    if ((word & 0x2000) != 0) word |= 0xC000;
    result.push_back(static_cast<std::byte>(word >> 8));
    result.push_back(static_cast<std::byte>(word));
  }
  return result;
}

bytes swapped(bytes data) {
  for (std::size_t i = 0; i + 1 < data.size(); i += 2) std::swap(data[i], data[i + 1]);
  return data;
}

bytes plain(const bytes& packet, std::size_t padding = 0) {
  bytes buffer;
  const auto found = make_plain_dts(packet, buffer, padding);
  return {found.begin(), found.end()};
}

TEST(DtsCore, every_form_becomes_the_plain_one) {
  const auto frame = plain_frame();
  EXPECT_EQ(plain(frame), frame);
  EXPECT_EQ(plain(swapped(frame)), frame);
  EXPECT_EQ(plain(as_words14(frame)), frame);
  EXPECT_EQ(plain(swapped(as_words14(frame))), frame);
}

TEST(DtsCore, what_is_made_is_padded_with_zeros) {
  bytes buffer(1000, std::byte{0xFF});
  const auto found = make_plain_dts(swapped(plain_frame()), buffer, 64);
  ASSERT_GE(buffer.size(), found.size() + 64);
  for (std::size_t i = 0; i < 64; ++i) EXPECT_EQ(found.data()[found.size() + i], std::byte{0});
}

TEST(DtsCore, what_is_no_frame_is_refused) {
  for (const auto& wrong :
       {bytes{}, to_bytes({0x7F, 0xFE, 0x80}), bytes(100), to_bytes({0x1F, 0xFF, 0xE8, 0x00, 0x17, 0xF0})})
    EXPECT_THROW(plain(wrong), zelmora_io::exception_io_data);
}

} // namespace
} // namespace zelmora::test
