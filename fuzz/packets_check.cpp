#include "packets_check.h"

#include "codecs/packet_decoder.h"
#include "frame/bytes.h"
#include "support/test_services.h"
#include "verdict.h"

#include <algorithm>
#include <array>
#include <bit>
#include <vector>

namespace zelmora::fuzz {

using zelmora_io::exception_io_data;

namespace {

using bytes = std::vector<std::byte>;

enum class packets_are : std::uint8_t { independent, dependent };

/// How a container names a codec. The seeds go by the rows' numbers.
struct stream_row {
  guid owner;
  std::uint32_t param1 = 0;
  const char* matroska_codec = nullptr;
  packets_are kind = packets_are::dependent;
};
using decoder = packet_decoder;
constexpr std::array streams{
    stream_row{decoder::owner_mp4, 0x40},
    stream_row{decoder::owner_adts},
    stream_row{decoder::owner_adif},
    stream_row{decoder::owner_matroska, 0, "A_AAC/MPEG2/LC"},
    stream_row{decoder::owner_mp4_ac3},
    stream_row{decoder::owner_matroska, 0, "A_EAC3"},
    stream_row{decoder::owner_mp4_alac, 0, nullptr, packets_are::independent},
    stream_row{decoder::owner_matroska, 0, "A_ALAC", packets_are::independent},
    stream_row{decoder::owner_mp4_amr_nb},
    stream_row{decoder::owner_mp4_amr_wb},
    stream_row{decoder::owner_matroska, 0, "A_DTS"},
    stream_row{decoder::owner_mp4, 0xA9},
    stream_row{decoder::owner_mp3},
    stream_row{decoder::owner_matroska, 0, "A_MPEG/L2"},
    stream_row{decoder::owner_mp4, 0x69},
    stream_row{decoder::owner_matroska, 0, "A_MS/ACM"},
    stream_row{decoder::owner_matroska, 0, "A_PCM/INT/LIT", packets_are::independent},
    stream_row{decoder::owner_matroska, 0, "A_PCM/INT/BIG", packets_are::independent},
    stream_row{decoder::owner_matroska, 0, "A_PCM/FLOAT/IEEE", packets_are::independent},
    stream_row{decoder::owner_mp4_pcm_be, 0, nullptr, packets_are::independent},
    stream_row{decoder::owner_ogg},
    stream_row{decoder::owner_mp4_opus},
    stream_row{decoder::owner_mp4_flac},
    stream_row{decoder::owner_matroska, 0, "A_FLAC"},
    stream_row{decoder::owner_matroska, 0, "A_OPUS"},
    stream_row{decoder::owner_matroska, 0, "A_VORBIS"},
    stream_row{decoder::owner_matroska, 0, "A_WAVPACK4"},
};

constexpr unsigned flag_analyze = 1;
constexpr unsigned flag_padded = 2;
constexpr std::uint16_t reset_mark = 0xFFFF; ///< in the place of a packet's size
constexpr std::size_t max_packets = 64;

/// A stream as the bytes of a target give it.
struct packet_stream {
  const stream_row* row = nullptr;
  unsigned flags = 0;
  std::uint32_t rate = 0; ///< [Hz]
  std::uint32_t channels = 0;
  std::uint32_t bits = 0;
  bytes setup;
  struct packet {
    bytes content;
    bool is_reset = false;
  };
  std::vector<packet> packets;
};

bytes take_at_most(le_reader& in, std::size_t size) {
  const auto content = in.take(std::min(size, in.remaining()));
  return {content.begin(), content.end()};
}

packet_stream read_stream(std::span<const std::byte> data) {
  le_reader in(data);
  packet_stream stream;
  stream.row = &streams[in.u8() % streams.size()];
  stream.flags = in.u8();
  stream.rate = in.le32();
  stream.channels = in.u8();
  stream.bits = in.u8();
  const std::size_t setup_size = in.le16();
  stream.setup = take_at_most(in, setup_size);
  while (in.remaining() >= 2 && stream.packets.size() < max_packets) {
    const auto size = in.le16();
    if (size == reset_mark)
      stream.packets.push_back({{}, true});
    else
      stream.packets.push_back({take_at_most(in, size), false});
  }
  return stream;
}

packet_decoder_ptr open(const packet_stream& stream) {
  abort_callback_dummy abort;
  const auto& row = *stream.row;
  const auto& setup = stream.setup;
  const auto opened = [&](const void* param2, std::size_t size) {
    const auto result = packet_decoder::g_open(true, row.owner, row.param1, param2, size, abort);
    if (!result) throw violation{"neither a decoder nor an exception"};
    return result;
  };
  if (row.matroska_codec != nullptr) {
    const matroska_setup record{
        row.matroska_codec, stream.rate, stream.rate, stream.channels, static_cast<std::uint32_t>(setup.size()),
        setup.data()};
    return opened(&record, sizeof record);
  }
  if (row.owner == packet_decoder::owner_ogg) {
    const ogg_setup record{setup.data(), setup.size(), {}};
    return opened(&record, sizeof record);
  }
  return opened(setup.data(), setup.size());
}

/// One decoder of the stream, and its packets in buffers of their own size.
class session {
 public:
  explicit session(const packet_stream& stream) : stream_(stream), decoder_(open(stream)) {
    const auto set = [&](const guid& property, std::uint64_t value) {
      return decoder_->set_stream_property(property, value, nullptr, 0);
    };
    set(packet_decoder::property_sample_rate, stream.rate);
    set(packet_decoder::property_channels, stream.channels);
    set(packet_decoder::property_bits_per_sample, stream.bits);
    set(packet_decoder::property_sample_rate_final, 1);
    if ((stream.flags & flag_padded) == 0) return;
    padding_ = static_cast<std::size_t>(set(packet_decoder::property_input_padding, 0));
    if (padding_ != 0) set(packet_decoder::property_input_padding, padding_);
  }

  void describe() {
    if ((stream_.flags & flag_analyze) != 0 && decoder_->analyze_first_frame_supported() && !stream_.packets.empty())
      unless_refused([&] {
        const auto packet = padded(stream_.packets.front().content);
        decoder_->analyze_first_frame(packet.data(), packet.size() - padding_, abort_);
      });
    unless_refused([&] {
      file_info_impl info;
      decoder_->get_info(info);
    });
    if (decoder_->get_max_frame_dependency_time() < 0) throw violation{"a dependency on what is to come"};
  }

  void run() {
    for (const auto& packet : stream_.packets)
      if (packet.is_reset)
        decoder_->reset_after_seek();
      else
        decode(packet.content);
  }

  /// The samples, none where the packet is refused.
  std::vector<audio_sample> decode(const bytes& content) {
    const auto packet = padded(content);
    audio_chunk_impl chunk;
    if (!unless_refused([&] { decoder_->decode(packet.data(), packet.size() - padding_, chunk, abort_); })) return {};
    if (chunk.get_sample_count() == 0) return {};
    // Streams may have more channels than a chunk can carry; hosts reject those.
    if (!chunk.is_valid() && chunk.get_channels() <= audio_chunk::max_channels)
      throw violation{fmt::format("an invalid chunk: {} channels, {} Hz, {} samples", chunk.get_channels(),
                                  chunk.get_srate(), chunk.get_sample_count())};
    return {chunk.samples().begin(), chunk.samples().end()};
  }

  void reset() { decoder_->reset_after_seek(); }

 private:
  /// Whether `call` came back.
  template <class Call>
  static bool unless_refused(Call call) {
    try {
      call();
      return true;
    } catch (const exception_io_data&) {
      return false;
    }
  }

  bytes padded(bytes packet) const {
    packet.resize(packet.size() + padding_);
    packet.shrink_to_fit();
    return packet;
  }

  const packet_stream& stream_;
  packet_decoder_ptr decoder_;
  std::size_t padding_ = 0;
  abort_callback_dummy abort_;
};

bool same_bits(audio_sample a, audio_sample b) {
  return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
}

/// After whatever came before, a reset gives what a new decoder gives where nothing else may matter.
void check_reset(session& used, const packet_stream& stream) {
  used.reset();
  if (stream.packets.empty()) return;
  const auto& packet = stream.packets.front().content;
  const auto again = used.decode(packet);
  if (stream.row->kind == packets_are::dependent || packet.empty()) return;
  if (!std::ranges::equal(session(stream).decode(packet), again, same_bits))
    throw violation{"a reset decoder isn't as a new one"};
}

} // namespace

std::string check_packets(std::span<const std::byte> data) {
  test::attach_own_services();
  return verdict_of([&] {
    try {
      const auto stream = read_stream(data);
      session decoding(stream);
      decoding.describe();
      decoding.run();
      check_reset(decoding, stream);
    } catch (const exception_io_data&) {
      // No stream, or no decoder for it.
    }
  });
}

} // namespace zelmora::fuzz
