#include "codecs/aac_config.h"

#include "codecs/packet_decoder.h"
#include "frame/bit_reader.h"

#include <algorithm>
#include <array>

namespace zelmora {

using zelmora_io::exception_io_data;

namespace {

constexpr std::array<std::uint32_t, 13> sample_rates{96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                                     22050, 16000, 12000, 11025, 8000,  7350};

enum object_type : std::uint32_t {
  main = 1,
  lc = 2,
  ssr = 3,
  ltp = 4,
  sbr = 5,
  er_lc = 17,
  er_ld = 23,
  ps = 29,
  escape = 31,
  eld = 39,
  usac = 42,
  usac_older = 45,
};

struct name_row {
  std::int64_t number;
  std::string_view name;
};
/// libavcodec's numbers (avcodec.h, FF_PROFILE_AAC_...).
constexpr std::array profile_names{name_row{0, "Main"},    name_row{1, "LC"},  name_row{2, "SSR"},
                                   name_row{3, "LTP"},     name_row{4, "SBR"}, name_row{22, "LD"},
                                   name_row{28, "SBR+PS"}, name_row{38, "ELD"}};
constexpr std::array object_names{name_row{main, "Main"}, name_row{lc, "LC"},     name_row{ssr, "SSR"},
                                  name_row{ltp, "LTP"},   name_row{sbr, "SBR"},   name_row{er_ld, "LD"},
                                  name_row{eld, "ELD"},   name_row{usac, "USAC"}, name_row{usac_older, "USAC"}};

template <class Table>
std::string_view find_name(const Table& table, std::int64_t number) {
  const auto row = std::ranges::find(table, number, &name_row::number);
  return row == table.end() ? std::string_view() : row->name;
}

std::uint32_t read_object_type(bit_reader& in) {
  const auto type = in.read(5);
  return type == escape ? 32 + in.read(6) : type;
}

std::uint32_t read_sample_rate(bit_reader& in) {
  constexpr std::uint32_t explicit_rate = 15;
  const auto index = in.read(4);
  if (index == explicit_rate) return in.read(24);
  if (index >= sample_rates.size()) throw exception_io_data();
  return sample_rates[index];
}

bool has_frame_length_flag(std::uint32_t type) {
  constexpr std::array<std::uint32_t, 6> general_audio{main, lc, ssr, ltp, er_lc, er_ld};
  return std::ranges::find(general_audio, type) != general_audio.end();
}

std::vector<std::byte> copy(std::span<const std::byte> data) { return {data.begin(), data.end()}; }

} // namespace

aac_audio_config parse_aac_config(std::span<const std::byte> config) {
  bit_reader in(config);
  aac_audio_config result;
  result.object_type = read_object_type(in);
  result.sample_rate = read_sample_rate(in);
  result.channel_config = in.read(4);
  if (result.object_type == sbr || result.object_type == ps) {
    result.has_sbr = true;
    result.has_ps = result.object_type == ps;
    result.extension_sample_rate = read_sample_rate(in);
    result.object_type = in.read(5);
  }
  if (has_frame_length_flag(result.object_type)) result.short_frame = in.flag();
  return result;
}

std::vector<std::byte> make_aac_config_of_adts(std::span<const std::byte> frame) {
  if (frame.size() < 4) throw exception_io_data();
  constexpr std::uint32_t sync = 0xFFF;
  bit_reader in(frame);
  if (in.read(12) != sync) throw exception_io_data();
  in.read(4); // version, layer, absence of a check sum
  const auto type = in.read(2) + 1;
  const auto rate = in.read(4);
  in.read(1); // private
  const auto channels = in.read(3);
  if (rate >= sample_rates.size()) throw exception_io_data();
  const auto bits = type << 11 | rate << 7 | channels << 3;
  return {static_cast<std::byte>(bits >> 8), static_cast<std::byte>(bits)};
}

std::vector<std::byte> make_aac_config(const guid& owner, std::uint32_t param1, const void* param2, std::size_t size) {
  if (owner == packet_decoder::owner_adts) return make_aac_config_of_adts(setup_bytes(param2, size));
  if (owner == packet_decoder::owner_mp4 && is_mp4_aac(param1)) return copy(setup_bytes(param2, size));
  const auto matroska = get_matroska_setup(owner, param2, size);
  if (!matroska || !is_matroska_aac(matroska->codec())) throw exception_io_data();
  return copy(matroska->private_data());
}

std::string_view aac_profile_name(int profile, std::uint32_t object_type) {
  const auto name = find_name(profile_names, profile);
  return name.empty() ? find_name(object_names, object_type) : name;
}

bool is_matroska_aac(std::string_view codec) { return codec == "A_AAC" || codec.starts_with("A_AAC/"); }

bool is_mp4_aac(std::uint32_t object_type) {
  // ISO/IEC 14496-1, objectTypeIndication: 0x40 MPEG-4 audio; 0x66 to 0x68 MPEG-2 main, LC and SSR.
  return object_type == 0x40 || (object_type >= 0x66 && object_type <= 0x68);
}

} // namespace zelmora
