// Uncompressed samples of WAV files: 8 to 32 bits of fixed-point, 16 to 64 bits of floating-point.
#include "pcm/wav_decoder.h"

#include "frame/exceptions.h"

#include <algorithm>
#include <vector>

namespace zelmora {

using namespace zelmora_io;

namespace {

constexpr std::uint64_t frames_per_chunk = 1024;

bool is_supported_width(wave_sample_kind kind, unsigned bits) {
  switch (bits) {
  case 8: return kind == wave_sample_kind::fixed_point;
  case 16:
  case 24:
  case 32: return true;
  case 64: return kind == wave_sample_kind::floating_point;
  default: return false;
  }
}

std::uint32_t choose_mask(const wave_format& format) {
  const auto mask = format.tag == wave_tag::extensible ? parse_wave_extension(format).channel_mask : 0;
  return channel_config_count(mask) == format.channels ? mask : channel_config_guess(format.channels);
}

class wav_decoder_pcm final : public wav_decoder {
 public:
  explicit wav_decoder_pcm(wav_stream stream);

  bool run(audio_chunk& chunk, abort_callback& abort) override;
  void seek(double seconds, abort_callback& abort) override;

 private:
  bool reach_position(abort_callback& abort);
  void convert(std::size_t bytes, audio_chunk& chunk) const;

  file_ptr file_;
  std::uint64_t data_offset_;
  std::uint64_t data_size_;    ///< whole frames [bytes]
  std::uint64_t position_ = 0; ///< wanted, within the data [bytes]
  wave_sample_kind kind_;
  std::uint32_t rate_;
  std::uint32_t channels_;
  std::uint32_t bits_;
  std::uint32_t mask_;
  std::uint64_t block_align_;
  std::vector<std::byte> buffer_;
};

wav_decoder_pcm::wav_decoder_pcm(wav_stream stream)
    : file_(std::move(stream.file)), data_offset_(stream.data_offset), data_size_(stream.data_size),
      kind_(get_sample_kind(stream.format)), rate_(stream.format.rate), channels_(stream.format.channels),
      bits_(stream.format.bits), mask_(choose_mask(stream.format)), block_align_(stream.format.block_align) {
  if (!is_supported_width(kind_, bits_)) throw exception_io_data();
  // With larger blocks samples are padded in a way that the record doesn't tell (24 bits in four bytes, left or right;
  // some of these are floats), and a wrong guess is full-scale noise.
  if (block_align_ != get_frame_size(stream.format)) throw exception_io_data();
  if (stream.sample_limit != 0 && stream.sample_limit < data_size_ / block_align_)
    data_size_ = stream.sample_limit * block_align_;
  data_size_ -= data_size_ % block_align_;
}

/// False when the file ends before the wanted position.
bool wav_decoder_pcm::reach_position(abort_callback& abort) {
  const auto wanted = data_offset_ + position_;
  if (!file_->can_seek() || file_->get_position(abort) == wanted) return true;
  try {
    file_->seek(wanted, abort);
  } catch (const exception_io_seek_out_of_range&) {
    return false;
  }
  return true;
}

bool wav_decoder_pcm::run(audio_chunk& chunk, abort_callback& abort) {
  abort.check();
  const auto want = static_cast<std::size_t>(std::min(data_size_ - position_, frames_per_chunk * block_align_));
  if (want == 0) return false;
  if (buffer_.size() < want) buffer_.resize(want);
  auto got = reach_position(abort) ? file_->read(buffer_.data(), want, abort) : 0;
  if (got < want) {
    got -= static_cast<std::size_t>(got % block_align_);
    data_size_ = position_ + got;
    if (got == 0) return false;
  }
  position_ += got;
  convert(got, chunk);
  return true;
}

void wav_decoder_pcm::convert(std::size_t bytes, audio_chunk& chunk) const {
  if (kind_ == wave_sample_kind::floating_point)
    chunk.set_data_floatingpoint_ex(buffer_.data(), bytes, rate_, channels_, bits_, 0, mask_);
  else
    chunk.set_data_fixedpoint(buffer_.data(), bytes, rate_, channels_, bits_, mask_);
}

void wav_decoder_pcm::seek(double seconds, abort_callback& abort) {
  if (!(seconds >= 0)) throw exception_io_data();
  const auto frame = std::min(audio_math::time_to_samples(seconds, rate_), data_size_ / block_align_);
  const auto target = frame * block_align_;
  if (file_->can_seek()) { // The next `run` moves the file.
    position_ = target;
    return;
  }
  if (target < position_) throw exception_io_object_not_seekable();
  position_ += file_->skip(target - position_, abort);
  if (position_ != target) data_size_ = position_ -= position_ % block_align_;
}

} // namespace

wav_decoder_ptr make_wav_decoder_pcm(wav_stream stream) { return std::make_shared<wav_decoder_pcm>(std::move(stream)); }

} // namespace zelmora
