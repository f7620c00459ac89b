// The least work that a decode can be: reads a 16-bit WAV file in blocks of 64 KiB, converts the samples to float and
// writes them. Knows only the plain 44-byte header.
//
// plain_convert IN.wav OUT.f32
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>

int main(int argc, char** argv) {
  constexpr std::size_t header_bytes = 44;
  constexpr std::size_t block_samples = 64 * 1024 / sizeof(std::int16_t);

  if (argc != 3) {
    std::fputs("usage: plain_convert IN.wav OUT.f32\n", stderr);
    return 2;
  }
  std::FILE* in = std::fopen(argv[1], "rb");
  std::FILE* out = std::fopen(argv[2], "wb");
  if (in == nullptr || out == nullptr) {
    std::perror("plain_convert");
    return 1;
  }
  std::setvbuf(in, nullptr, _IONBF, 0);
  std::setvbuf(out, nullptr, _IONBF, 0);

  static std::array<std::byte, header_bytes> header;
  static std::array<std::int16_t, block_samples> samples;
  static std::array<float, block_samples> converted;
  if (std::fread(header.data(), 1, header.size(), in) != header.size()) return 1;
  while (const auto count = std::fread(samples.data(), sizeof(samples[0]), samples.size(), in)) {
    for (std::size_t i = 0; i < count; ++i) converted[i] = static_cast<float>(samples[i]) * (1.0f / 32768.0f);
    if (std::fwrite(converted.data(), sizeof(converted[0]), count, out) != count) return 1;
  }
  std::fclose(in);
  return std::fclose(out) == 0 ? 0 : 1;
}
