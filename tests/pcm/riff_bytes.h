// RIFF files made by hand, and what a reader sees in them.
#pragma once

#include "frame/memory_file.h"
#include "pcm/riff_layout.h"
#include "pcm/wav_parser.h"
#include "support/bytes.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zelmora::test {

inline std::string le32_text(std::uint64_t value) {
  std::string text(4, '\0');
  store_le(text.data(), static_cast<std::uint32_t>(value));
  return text;
}

/// Header, payload and pad byte.
inline std::string chunk(std::string_view code, std::string_view payload) {
  auto text = std::string(code) + le32_text(payload.size()) + std::string(payload);
  if (payload.size() % 2 != 0) text.push_back('\0');
  return text;
}
inline std::string riff(std::string_view chunks) {
  return "RIFF" + le32_text(chunks.size() + 4) + "WAVE" + std::string(chunks);
}

/// 8 bits, mono, 8000 Hz.
inline std::string fmt_chunk() {
  using namespace std::string_literals;
  return chunk("fmt ", "\x01\0\x01\0\x40\x1F\0\0\x40\x1F\0\0\x01\0\x08\0"s);
}
inline std::string audio(std::size_t size) {
  std::string samples;
  for (std::size_t n = 0; n < size; ++n) samples.push_back(static_cast<char>(n * 37 + 1));
  return samples;
}
inline std::string info_list(std::string_view items) { return chunk("LIST", "INFO" + std::string(items)); }

/// What a reader sees of the tags and the audio.
struct visible {
  std::string id3;
  std::string info;
  std::string data;

  /// ID3 hides INFO.
  const std::string& tag() const { return id3.empty() ? info : id3; }
};

inline visible look_at(const bytes& file) {
  abort_callback_dummy abort;
  wav_parser parser(service_new<memory_file>(file));
  parser.parse(abort);
  const auto text = to_text(file);
  const auto part = [&](const std::optional<wave_extent>& extent) {
    return extent ? text.substr(extent->position, extent->size) : std::string();
  };
  return {part(parser.tags().id3), part(parser.tags().info), text.substr(parser.data_offset(), parser.data_size())};
}

} // namespace zelmora::test
