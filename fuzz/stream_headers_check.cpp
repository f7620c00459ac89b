#include "stream_headers_check.h"

#include "codecs/aac_config.h"
#include "codecs/dts_core.h"
#include "codecs/mpeg_frame_header.h"
#include "frame/bytes.h"
#include "verdict.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace zelmora::fuzz {

using zelmora_io::exception_io_data;

namespace {

using bytes = std::vector<std::byte>;

void expect(bool holds, const char* otherwise) {
  if (!holds) throw violation{otherwise};
}

/// What `parse` gives; none where it refuses the data.
template <class Parse>
auto unless_refused(Parse parse) -> std::optional<decltype(parse())> {
  try {
    return parse();
  } catch (const exception_io_data&) {
    return std::nullopt;
  }
}

void check_aac(std::span<const std::byte> data) {
  if (const auto config = unless_refused([&] { return parse_aac_config(data); })) {
    bytes longer(data.begin(), data.end());
    longer.resize(longer.size() + 8, std::byte{0xFF});
    expect(parse_aac_config(longer) == *config, "bytes behind a configuration change it");
  }
  const auto made = unless_refused([&] { return make_aac_config_of_adts(data); });
  if (!made) return;
  const auto config = parse_aac_config(*made);
  expect(config.object_type >= 1 && config.object_type <= 4 && config.channel_config <= 7, "ADTS can't say that");
  expect(!config.short_frame && !config.has_sbr, "ADTS has no such frames");
}

bytes swapped(std::span<const std::byte> data) {
  bytes result(data.begin(), data.end());
  for (std::size_t i = 0; i + 1 < result.size(); i += 2) std::swap(result[i], result[i + 1]);
  return result;
}

void check_dts(std::span<const std::byte> data) {
  constexpr std::size_t padding = 64;
  bytes buffer;
  const auto plain = unless_refused([&] { return make_plain_dts(data, buffer, padding); });
  if (!plain) return;
  const auto sync = be_reader(*plain).be32();
  expect(sync == 0x7FFE8001 || sync == 0x64582025, "no synchronisation word");
  expect(plain->size() <= data.size(), "it has grown");
  if (plain->data() == data.data()) return;
  expect(plain->data() == buffer.data() && buffer.size() == plain->size() + padding, "it lies elsewhere");
  expect(std::ranges::all_of(buffer.end() - padding, buffer.end(), [](auto b) { return b == std::byte{0}; }),
         "no zeros behind it");
  bytes again;
  const auto other_order = swapped(data);
  expect(std::ranges::equal(make_plain_dts(other_order, again, padding), *plain) || data.size() % 2 != 0,
         "the order of bytes changes it");
}

void check_mpeg(std::span<const std::byte> data) {
  const auto header = parse_mpeg_header(data);
  if (!header) return;
  expect(header->frame_size > mpeg_header_size && header->samples != 0 && header->sample_rate != 0,
         "a frame of nothing");
  expect(header->layer >= 1 && header->layer <= 3 && header->channels >= 1 && header->channels <= 2, "no such frame");
  expect(have_same_mpeg_format(*header, *header), "unlike itself");
}

} // namespace

std::string check_stream_headers(std::span<const std::byte> data) {
  return verdict_of([&] {
    check_aac(data);
    check_dts(data);
    check_mpeg(data);
  });
}

} // namespace zelmora::fuzz
