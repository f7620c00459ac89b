// Compressed WAV files whose codec the codec manager has. A seek is exact: where packets stand for themselves it goes
// to the right one; where frames tell their length, headers are counted from the nearest known one and decoding begins
// as many packets early as the codec remembers; else all that stands before is decoded again.
#include "codecs/codec_manager.h"
#include "pcm/wav_decoder.h"

#include "frame/exceptions.h"

#include <algorithm>
#include <cstring>
#include <fmt/core.h>
#include <limits>
#include <vector>

namespace zelmora {

using namespace zelmora_io;

namespace {

/// The data of the file, packet by packet.
class packet_source {
 public:
  packet_source(const wav_stream& stream, codec_conversion& codec) : stream_(stream), codec_(codec) {}

  struct packet {
    std::span<const std::byte> bytes{};
    std::uint64_t position = 0; ///< where it begins, from the start of the data [bytes]
    std::uint32_t samples = 0;  ///< where that is known
  };
  /// No bytes at the end.
  packet next(abort_callback& abort);

  /// To `position` [bytes] from the start of the data, where a packet begins.
  void seek(std::uint64_t position, abort_callback& abort);

 private:
  static constexpr std::size_t step = 65536;

  void fill(abort_callback& abort);

  const wav_stream& stream_;
  codec_conversion& codec_;
  std::vector<std::byte> buffer_;
  std::size_t begin_ = 0; ///< of what is not cut yet, in `buffer_`
  std::size_t end_ = 0;
  std::uint64_t position_ = 0; ///< of `begin_`, from the start of the data [bytes]
  bool has_all_ = false;       ///< nothing follows what is in `buffer_`
};

void packet_source::fill(abort_callback& abort) {
  if (begin_ != end_) std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
  end_ -= begin_;
  begin_ = 0;
  if (buffer_.size() < end_ + step + codec_conversion::cut_padding)
    buffer_.resize(end_ + step + codec_conversion::cut_padding);
  auto want = step;
  if (stream_.data_size != file::unknown_size)
    want = static_cast<std::size_t>(std::min<std::uint64_t>(want, stream_.data_size - position_ - end_));
  // Who reads tags moves the file.
  const auto position = stream_.data_offset + position_ + end_;
  std::size_t got = 0;
  try {
    if (stream_.file->can_seek() && stream_.file->get_position(abort) != position) stream_.file->seek(position, abort);
    got = stream_.file->read(buffer_.data() + end_, want, abort);
  } catch (const exception_io_seek_out_of_range&) {
    // The end, of a file that doesn't tell its size.
  }
  end_ += got;
  std::memset(buffer_.data() + end_, 0, codec_conversion::cut_padding);
  has_all_ = got < step;
}

packet_source::packet packet_source::next(abort_callback& abort) {
  for (;;) {
    abort.check();
    const auto found = codec_.cut(std::span(buffer_).subspan(begin_, end_ - begin_), has_all_);
    begin_ += found.used;
    position_ += found.used;
    if (!found.bytes.empty())
      return {found.bytes, position_ - std::min<std::uint64_t>(position_, found.bytes.size()), found.samples};
    if (found.used != 0) continue;
    if (has_all_) return {};
    fill(abort);
  }
}

void packet_source::seek(std::uint64_t position, abort_callback& abort) {
  if (position >= position_ && position - position_ <= end_ - begin_) {
    begin_ += static_cast<std::size_t>(position - position_);
    position_ = position;
    return;
  }
  if (stream_.file->can_seek()) {
    const auto size = stream_.file->get_size(abort);
    if (size != file::unknown_size) position = std::min(position, size - std::min(size, stream_.data_offset));
  } else {
    const auto read = position_ + (end_ - begin_);
    if (position < read) throw exception_io_object_not_seekable();
    stream_.file->skip(position - read, abort);
  }
  begin_ = end_ = 0;
  position_ = position;
  has_all_ = false;
}

/// Where some of the packets begin, as far as they have been counted.
class packet_index {
 public:
  struct entry {
    std::uint64_t sample = 0;
    std::uint64_t position = 0; ///< from the start of the data [bytes]
  };

  /// The packet that begins at `sample`; those before it have been noted.
  void note(std::uint64_t sample, std::uint64_t position) {
    if (entries_.empty() || sample >= entries_.back().sample + spacing) entries_.push_back({sample, position});
  }
  /// The last one at or before `sample`.
  entry find(std::uint64_t sample) const {
    const auto behind = std::ranges::upper_bound(entries_, sample, {}, &entry::sample);
    return behind == entries_.begin() ? entry{} : *(behind - 1);
  }

 private:
  static constexpr std::uint64_t spacing = 32 * 1152; ///< [samples]
  std::vector<entry> entries_;
};

class wav_decoder_acm final : public wav_decoder {
 public:
  explicit wav_decoder_acm(wav_stream stream)
      : stream_(std::move(stream)), codec_(get_codec_manager().open(stream_.format)), rule_(codec_->seek_rule()),
        source_(stream_, *codec_) {}

  bool run(audio_chunk& chunk, abort_callback& abort) override;
  void seek(double seconds, abort_callback& abort) override;

 private:
  bool decode_next(audio_chunk& chunk, abort_callback& abort);
  void decode(const packet_source::packet& packet, audio_chunk& chunk, abort_callback& abort);
  bool trim(audio_chunk& chunk);
  void restart_at(packet_index::entry where, abort_callback& abort);
  void learn_rate(abort_callback& abort);
  void seek_to_block(std::uint64_t sample, abort_callback& abort);
  void seek_to_frame(std::uint64_t sample, abort_callback& abort);

  wav_stream stream_;
  std::unique_ptr<codec_conversion> codec_;
  codec_seek_rule rule_;
  packet_source source_;
  packet_index index_;
  std::optional<packet_source::packet> pending_; ///< cut already
  std::uint64_t decoded_ = 0;                    ///< the sample at which the next packet begins
  std::uint64_t wanted_ = 0;                     ///< the sample to be given out next
  bool is_drained_ = false;
  std::uint32_t rate_ = 0; ///< of the samples, which may be another than the header's [Hz]; 0 until some have come
};

/// A corrupt packet costs its samples and no more; where it is known how many, there is silence in their place.
void wav_decoder_acm::decode(const packet_source::packet& packet, audio_chunk& chunk, abort_callback& abort) {
  try {
    codec_->convert(packet.bytes, chunk, abort);
    if (rate_ == 0 && chunk.get_sample_count() != 0) rate_ = chunk.get_srate();
    return;
  } catch (const exception_io_data&) {
    chunk.reset();
  }
  if (decoded_ >= wanted_)
    stream_.report_error(fmt::format("Corrupt packet at {} bytes", stream_.data_offset + packet.position));
  const auto form = codec_->form();
  if (packet.samples != 0)
    chunk.set_silence(packet.samples, form.rate, form.channels, channel_config_guess(form.channels));
}

/// False at the end; `chunk` may be empty otherwise.
bool wav_decoder_acm::decode_next(audio_chunk& chunk, abort_callback& abort) {
  chunk.reset();
  if (is_drained_) return false;
  const auto packet = pending_ ? *pending_ : source_.next(abort);
  pending_.reset();
  is_drained_ = packet.bytes.empty();
  if (packet.samples != 0) index_.note(decoded_, packet.position);
  decode(packet, chunk, abort);
  return true;
}

/// Cuts `chunk`, which begins at `decoded_`, to what is wanted; whether anything is left.
bool wav_decoder_acm::trim(audio_chunk& chunk) {
  const auto begin = decoded_;
  decoded_ += chunk.get_sample_count();
  if (begin < wanted_) chunk.skip_first(static_cast<std::size_t>(std::min<std::uint64_t>(wanted_ - begin, SIZE_MAX)));
  if (stream_.sample_limit != 0) {
    const auto left = stream_.sample_limit - std::min(stream_.sample_limit, wanted_);
    chunk.set_sample_count(static_cast<std::size_t>(std::min<std::uint64_t>(chunk.get_sample_count(), left)));
  }
  wanted_ += chunk.get_sample_count();
  return chunk.get_sample_count() != 0;
}

bool wav_decoder_acm::run(audio_chunk& chunk, abort_callback& abort) {
  do {
    if (stream_.sample_limit != 0 && wanted_ >= stream_.sample_limit) return false;
    if (!decode_next(chunk, abort)) return false;
  } while (!trim(chunk));
  return true;
}

void wav_decoder_acm::restart_at(packet_index::entry where, abort_callback& abort) {
  source_.seek(where.position, abort);
  codec_->reset();
  pending_.reset();
  decoded_ = where.sample;
  is_drained_ = false;
}

void wav_decoder_acm::seek_to_block(std::uint64_t sample, abort_callback& abort) {
  const auto block = sample / rule_.block_samples;
  restart_at({block * rule_.block_samples, find_block(stream_, block, rule_.block_bytes)}, abort);
}

void wav_decoder_acm::seek_to_frame(std::uint64_t sample, abort_callback& abort) {
  const auto lead_in = (*rule_.packets_before + std::uint64_t{1}) * rule_.longest_packet;
  const auto start = sample - std::min(sample, lead_in);
  // From what was wanted last on, decoding is exact already.
  if (sample >= wanted_ && decoded_ <= sample && (start < decoded_ || is_drained_)) return;
  const bool is_near = decoded_ <= start && !is_drained_;
  const auto from = index_.find(start);
  if (!is_near || from.sample > decoded_) restart_at(from, abort);
  // Headers alone, up to where decoding has to begin.
  while (decoded_ < start) {
    const auto packet = pending_ ? *pending_ : source_.next(abort);
    pending_ = packet;
    if (packet.bytes.empty() || decoded_ + packet.samples > start) break;
    index_.note(decoded_, packet.position);
    decoded_ += packet.samples;
    pending_.reset();
  }
  // Decoding begins here; what the codec remembers is of another place.
  codec_->reset();
}

/// Decodes the first packet, when none has been yet.
void wav_decoder_acm::learn_rate(abort_callback& abort) {
  if (rate_ != 0 || decoded_ != 0 || !stream_.file->can_seek()) return;
  audio_chunk_impl ignored;
  // What is wrong with the packet is told when it is played.
  wanted_ = std::numeric_limits<std::uint64_t>::max();
  decode_next(ignored, abort);
  restart_at({}, abort);
}

void wav_decoder_acm::seek(double seconds, abort_callback& abort) {
  if (!(seconds >= 0)) throw exception_io_data();
  learn_rate(abort);
  const auto sample = audio_math::time_to_samples(seconds, rate_ != 0 ? rate_ : stream_.format.rate);
  if (rule_.block_samples != 0 && rule_.packets_before)
    seek_to_block(sample, abort);
  else if (rule_.packets_before)
    seek_to_frame(sample, abort);
  else if (sample < decoded_)
    restart_at({}, abort);
  wanted_ = sample;
}

} // namespace

wav_decoder_ptr make_wav_decoder_acm(wav_stream stream) { return std::make_shared<wav_decoder_acm>(std::move(stream)); }

} // namespace zelmora
