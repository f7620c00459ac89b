#include "pcm/wav_decoder.h"

#include "frame/exceptions.h"

#include <algorithm>
#include <utility>

namespace zelmora {

using namespace zelmora_io;

std::uint64_t find_block(const wav_stream& stream, std::uint64_t block, std::uint32_t block_bytes) {
  constexpr auto most = std::uint64_t{1} << 62; // of data whose size is not known
  const auto end = std::min(stream.data_size, most);
  return block > end / block_bytes ? end : block * block_bytes;
}

wav_decoder_ptr make_wav_decoder(wav_stream stream) {
  const auto& format = stream.format;
  if (get_sample_kind(format) != wave_sample_kind::none) return make_wav_decoder_pcm(std::move(stream));
  if (format.tag == wave_tag::ima_adpcm && format.bits == 4) return make_wav_decoder_ima(std::move(stream));
  if (format.tag == wave_tag::extensible && format.extra_size < wave_limits::extensible_extra)
    throw exception_io_data();
  return make_wav_decoder_acm(std::move(stream));
}

} // namespace zelmora
