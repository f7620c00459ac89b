#include "support/decode_all.h"

#include "frame/bytes.h"

#include <fmt/core.h>
#include <md5.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace zelmora::test {

namespace {
/// Fixtures hold seconds; what gives more than this never ends.
constexpr std::size_t max_samples = 50'000'000;
} // namespace

decoded_audio decode_to_end(input_decoder& decoder, abort_callback& abort) {
  decoded_audio result;
  audio_chunk_impl chunk;
  while (decoder.run(chunk, abort)) {
    if (!chunk.is_valid()) ++result.rejected_chunks;
    if (result.channels == 0) {
      result.rate = chunk.get_srate();
      result.channels = chunk.get_channels();
      result.mask = chunk.get_channel_config();
    } else if (result.rate != chunk.get_srate() || result.channels != chunk.get_channels() ||
               result.mask != chunk.get_channel_config()) {
      result.changes_format = true;
    }
    const auto samples = chunk.samples();
    result.samples.insert(result.samples.end(), samples.begin(), samples.end());
    if (result.samples.size() > max_samples) throw std::runtime_error("the decoder does not come to an end");
  }
  return result;
}

std::string pcm_md5(std::span<const audio_sample> samples) {
  MD5_CTX context;
  MD5Init(&context);
  std::array<std::uint8_t, 4096 * sizeof(audio_sample)> bytes;
  while (!samples.empty()) {
    const auto part = samples.first(std::min(samples.size(), bytes.size() / sizeof(audio_sample)));
    for (std::size_t i = 0; i < part.size(); ++i) store_le(bytes.data() + i * sizeof(audio_sample), part[i]);
    MD5Update(&context, bytes.data(), part.size_bytes());
    samples = samples.subspan(part.size());
  }
  std::array<std::uint8_t, MD5_DIGEST_LENGTH> digest;
  MD5Final(digest.data(), &context);
  std::string text;
  for (const auto byte : digest) text += fmt::format("{:02x}", byte);
  return text;
}

void recording_logger::log_entry(std::string_view text, unsigned severity) {
  constexpr std::array<std::string_view, 3> names{"information", "warning", "error"};
  entries_.push_back(fmt::format("{}: {}", severity < names.size() ? names[severity] : "?", text));
}

} // namespace zelmora::test
