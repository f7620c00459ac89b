// The packets of a file of tests/data/packets, or the frames of an MP3 file without tags, decoded over and over.
//
// decode_packets ours|bare OWNER CODEC_ID TIMES FILE     prints how many samples came; FILE is NAME.packets or NAME.mp3
//
// "ours" goes through a packet decoder for OWNER (mp3, mp4, alac), "bare" calls libavcodec with decoder CODEC_ID and
// leaves its frames as they are. Both have the library in their memory when they begin.
#include "codecs/mpeg_frame_header.h"
#include "codecs/packet_decoder.h"
#include "frame/bytes.h"
#include "host/host.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace {

using namespace zelmora;

constexpr std::size_t padding = 64;

struct record {
  std::vector<std::byte> bytes; ///< with padding behind them
  std::size_t size = 0;
};

record make_record(std::span<const std::byte> bytes) {
  record result{{bytes.begin(), bytes.end()}, bytes.size()};
  result.bytes.resize(result.size + padding);
  return result;
}

std::vector<record> load(const std::string& path) {
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  if (!in) throw std::runtime_error("can't read " + path);
  std::string text(static_cast<std::size_t>(in.tellg()), '\0');
  in.seekg(0).read(text.data(), static_cast<std::streamsize>(text.size()));
  auto rest = as_byte_span(text);
  std::vector<record> records;
  if (path.ends_with(".mp3")) {
    records.push_back(make_record({})); // no setup data
    while (const auto header = parse_mpeg_header(rest)) {
      records.push_back(make_record(rest.first(header->frame_size)));
      rest = rest.subspan(header->frame_size);
    }
    return records;
  }
  le_reader reader(rest);
  while (reader.remaining() != 0) records.push_back(make_record(reader.take(reader.le32())));
  return records;
}

packet_decoder_ptr open(const std::string& owner, const record& setup, abort_callback& abort) {
  if (owner == "mp3") return packet_decoder::g_open(true, packet_decoder::owner_mp3, 0, nullptr, 0, abort);
  constexpr std::uint32_t aac = 0x40;
  if (owner == "mp4")
    return packet_decoder::g_open(true, packet_decoder::owner_mp4, aac, setup.bytes.data(), setup.size, abort);
  constexpr std::size_t atom_header = 8; // Behind it: version and flags, and what they are of.
  return packet_decoder::g_open(true, packet_decoder::owner_mp4_alac, 0, setup.bytes.data() + atom_header,
                                setup.size - atom_header, abort);
}

std::size_t decode_ours(const std::vector<record>& records, const std::string& owner, int times) {
  host::host_options options;
  options.plugin_path = "none";
  host::host_instance host(options);
  abort_callback_dummy abort;
  const auto decoder = open(owner, records.front(), abort);
  decoder->set_stream_property(packet_decoder::property_input_padding, padding, nullptr, 0);
  audio_chunk_impl chunk;
  std::size_t samples = 0;
  for (int n = 0; n < times; ++n)
    for (std::size_t i = 1; i < records.size(); ++i) {
      decoder->decode(records[i].bytes.data(), records[i].size, chunk, abort);
      samples += chunk.get_sample_count();
    }
  return samples;
}

std::size_t decode_bare(std::vector<record>& records, int codec_id, int times) {
  AVCodecContext* const context = avcodec_alloc_context3(nullptr);
  const AVCodec* const codec = avcodec_find_decoder(static_cast<AVCodecID>(codec_id));
  auto& setup = records.front();
  context->extradata = static_cast<std::uint8_t*>(av_mallocz(setup.bytes.size()));
  std::copy_n(reinterpret_cast<const std::uint8_t*>(setup.bytes.data()), setup.size, context->extradata);
  context->extradata_size = static_cast<int>(setup.size);
  context->thread_count = 1;
  context->request_sample_fmt = AV_SAMPLE_FMT_FLT;
  context->flags2 |= AV_CODEC_FLAG2_SKIP_MANUAL;
  if (codec == nullptr || avcodec_open2(context, codec, nullptr) < 0) return 0;
  AVPacket* const packet = av_packet_alloc();
  AVFrame* const frame = av_frame_alloc();
  std::size_t samples = 0;
  for (int n = 0; n < times; ++n)
    for (std::size_t i = 1; i < records.size(); ++i) {
      packet->data = reinterpret_cast<std::uint8_t*>(records[i].bytes.data());
      packet->size = static_cast<int>(records[i].size);
      if (avcodec_send_packet(context, packet) < 0) return 0;
      while (avcodec_receive_frame(context, frame) >= 0) samples += static_cast<std::size_t>(frame->nb_samples);
    }
  return samples; // The process ends, and with it what is open.
}

} // namespace

int main(int argc, char** argv) try {
  if (argc != 6) {
    std::fputs("usage: decode_packets ours|bare OWNER CODEC_ID TIMES FILE\n", stderr);
    return 2;
  }
  auto records = load(argv[5]);
  const auto times = std::atoi(argv[4]);
  const bool is_ours = std::string(argv[1]) == "ours";
  std::printf("%zu\n",
              is_ours ? decode_ours(records, argv[2], times) : decode_bare(records, std::atoi(argv[3]), times));
  return 0;
} catch (const std::exception& failure) {
  std::fprintf(stderr, "decode_packets: %s\n", failure.what());
  return 1;
}
