// Decoders of the data of a WAV file: one for each family of format tags, behind one small face.
#pragma once

#include "codecs/wave_format.h"
#include "frame/audio_chunk.h"
#include "frame/file.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

namespace zelmora {

/// The data of a WAV file. The file stands at `data_offset`.
struct wav_stream {
  file_ptr file;
  wave_format format;
  std::uint64_t data_offset = 0;
  std::uint64_t data_size = 0;    ///< [bytes]; `file::unknown_size` for all that follows
  std::uint64_t sample_limit = 0; ///< samples per channel that the writer counted: no more are given out; 0 is no limit
  std::function<void(std::string_view)> report_error{}; ///< for damage that costs samples, and no more
};

/// Where the block with number `block` begins [bytes from the start of the data], or the end where there is none.
std::uint64_t find_block(const wav_stream& stream, std::uint64_t block, std::uint32_t block_bytes);

class wav_decoder {
 public:
  virtual ~wav_decoder() = default;

  /// True with a chunk; false at the end.
  virtual bool run(audio_chunk& chunk, abort_callback& abort) = 0;
  /// To `seconds` [s], exact to the sample; beyond the end is the end. Below 0 raises `exception_io_data`, going back
  /// in a file that can't seek `exception_io_object_not_seekable`.
  virtual void seek(double seconds, abort_callback& abort) = 0;
};
using wav_decoder_ptr = std::shared_ptr<wav_decoder>;

/// The decoder for the stream's format; one that can't be decoded raises `exception_io_data`.
wav_decoder_ptr make_wav_decoder(wav_stream stream);

/// Uncompressed samples, fixed or float.
wav_decoder_ptr make_wav_decoder_pcm(wav_stream stream);
/// IMA ADPCM.
wav_decoder_ptr make_wav_decoder_ima(wav_stream stream);
/// Whatever the codec manager has a codec for.
wav_decoder_ptr make_wav_decoder_acm(wav_stream stream);

} // namespace zelmora
