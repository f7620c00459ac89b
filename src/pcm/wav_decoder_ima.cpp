// IMA ADPCM in WAV files.
#include "pcm/ima_adpcm.h"
#include "pcm/wav_decoder.h"

#include "frame/exceptions.h"

#include <algorithm>
#include <fmt/core.h>
#include <vector>

namespace zelmora {

using namespace zelmora_io;

namespace {

class wav_decoder_ima final : public wav_decoder {
 public:
  explicit wav_decoder_ima(wav_stream stream)
      : stream_(std::move(stream)), codec_(stream_.format), buffer_(codec_.block_size()) {}

  bool run(audio_chunk& chunk, abort_callback& abort) override;
  void seek(double seconds, abort_callback& abort) override;

 private:
  std::size_t read_block(abort_callback& abort);
  bool decode_block(std::size_t size, audio_chunk& chunk);

  wav_stream stream_;
  ima_adpcm codec_;
  std::vector<std::byte> buffer_;
  std::uint64_t data_position_ = 0; ///< [bytes] from the start of the data
  std::uint64_t position_ = 0;      ///< samples given out
  std::uint64_t skip_ = 0;          ///< samples to drop after a seek
};

/// The size of what was read; 0 at the end.
std::size_t wav_decoder_ima::read_block(abort_callback& abort) {
  std::size_t want = buffer_.size();
  if (stream_.data_size != file::unknown_size)
    want = static_cast<std::size_t>(std::min<std::uint64_t>(want, stream_.data_size - data_position_));
  if (want == 0) return 0;
  const auto position = stream_.data_offset + data_position_;
  if (stream_.file->can_seek() && stream_.file->get_position(abort) != position) {
    try {
      stream_.file->seek(position, abort);
    } catch (const exception_io_seek_out_of_range&) {
      return 0;
    }
  }
  const auto got = stream_.file->read(buffer_.data(), want, abort);
  data_position_ += got;
  return got;
}

/// Whether the block has samples from the wanted position on.
bool wav_decoder_ima::decode_block(std::size_t size, audio_chunk& chunk) {
  try {
    codec_.decode(std::span(buffer_).first(size), chunk);
  } catch (const exception_io_data&) {
    const auto position = stream_.data_offset + data_position_ - size;
    stream_.report_error(fmt::format("Malformed IMA ADPCM chunk at {} bytes", position));
    return false;
  }
  skip_ -= chunk.skip_first(static_cast<std::size_t>(skip_));
  return chunk.get_sample_count() != 0;
}

bool wav_decoder_ima::run(audio_chunk& chunk, abort_callback& abort) {
  for (;;) {
    abort.check();
    if (stream_.sample_limit != 0 && position_ >= stream_.sample_limit) return false;
    const auto size = read_block(abort);
    if (size == 0) return false;
    if (!decode_block(size, chunk)) continue;
    if (stream_.sample_limit != 0)
      chunk.set_sample_count(static_cast<std::size_t>(
          std::min<std::uint64_t>(chunk.get_sample_count(), stream_.sample_limit - position_)));
    position_ += chunk.get_sample_count();
    return true;
  }
}

void wav_decoder_ima::seek(double seconds, abort_callback& abort) {
  if (!(seconds >= 0)) throw exception_io_data();
  const auto sample = audio_math::time_to_samples(seconds, codec_.rate());
  const auto target = find_block(stream_, sample / codec_.samples_per_block(), codec_.block_size());
  if (!stream_.file->can_seek()) {
    if (target < data_position_) throw exception_io_object_not_seekable();
    data_position_ += stream_.file->skip(target - data_position_, abort);
  } else {
    data_position_ = target; // The next `run` moves the file.
  }
  skip_ = sample % codec_.samples_per_block();
  position_ = sample;
}

} // namespace

wav_decoder_ptr make_wav_decoder_ima(wav_stream stream) { return std::make_shared<wav_decoder_ima>(std::move(stream)); }

} // namespace zelmora
