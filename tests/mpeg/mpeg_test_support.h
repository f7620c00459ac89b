// Streams of MPEG audio put together by hand.
#pragma once

#include "codecs/mpeg_frame_header.h"
#include "frame/memory_file.h"
#include "mpeg/byte_window.h"
#include "support/bytes.h"
#include "support/fixtures.h"

#include <gtest/gtest.h>

namespace zelmora::test {

// Headers of layer 3, joint stereo where there are two channels.
inline constexpr std::uint32_t header_128k = 0xFFFB9064;      ///< MPEG-1, 44100 Hz: 417 bytes
inline constexpr std::uint32_t header_64k = 0xFFFB5064;       ///< MPEG-1, 44100 Hz: 208 bytes
inline constexpr std::uint32_t header_mpeg2_8k = 0xFFF31464;  ///< MPEG-2, 24000 Hz: 24 bytes
inline constexpr std::uint32_t header_mpeg2_64k = 0xFFF38464; ///< MPEG-2, 24000 Hz: 192 bytes

inline bytes make_header(std::uint32_t word) {
  bytes result(mpeg_header_size);
  store_be(result.data(), word);
  return result;
}

/// A frame, or several, of zeros.
inline bytes make_frames(std::uint32_t word, unsigned count = 1) {
  const auto header = make_header(word);
  bytes one = header + bytes(parse_mpeg_header(header)->frame_size - header.size());
  bytes result;
  for (unsigned i = 0; i < count; ++i) result = std::move(result) + one;
  return result;
}

/// `size` bytes that hold no header but one at each `step` bytes: what pictures look like.
inline bytes make_noise(std::size_t size, std::size_t step = 0) {
  bytes result(size, std::byte{0x55});
  const auto header = make_header(header_64k);
  for (std::size_t at = 0; step != 0 && at + header.size() <= size; at += step)
    std::ranges::copy(header, result.begin() + static_cast<std::ptrdiff_t>(at));
  return result;
}

/// An ID3v2.4 tag around `content`.
inline bytes make_id3v2(const bytes& content) {
  const auto size = content.size();
  const auto part = [&](unsigned shift) { return static_cast<int>(size >> shift & 0x7F); };
  return to_bytes("ID3") + to_bytes({4, 0, 0, part(21), part(14), part(7), part(0)}) + content;
}

} // namespace zelmora::test
