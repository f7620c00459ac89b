#include "pcm/wave_chunks.h"

#include "frame/bytes.h"
#include "frame/exceptions.h"

#include <algorithm>
#include <array>
#include <limits>

namespace zelmora {

using namespace zelmora_io;

namespace {

struct code_row {
  std::string_view code;
  guid id;
};

constexpr std::array<code_row, 7> code_table{{
    {"RIFF", wave_chunk_id::riff},
    {"WAVE", wave_chunk_id::wave},
    {"fmt ", wave_chunk_id::fmt},
    {"data", wave_chunk_id::data},
    {"ds64", wave_chunk_id::ds64},
    {"JUNK", wave_chunk_id::junk},
    {"fact", wave_chunk_id::fact},
}};

guid to_guid(std::span<const std::byte> bytes) {
  guid id;
  std::ranges::transform(bytes.first(id.bytes.size()), id.bytes.begin(),
                         [](std::byte b) { return std::to_integer<std::uint8_t>(b); });
  return id;
}

} // namespace

guid wave_chunk_id_of(std::string_view code) {
  const auto row = std::ranges::find(code_table, code, &code_row::code);
  return row == code_table.end() ? guid{} : row->id;
}

std::uint64_t wave_align(std::uint64_t position, wave_container container) {
  const std::uint64_t mask = container == wave_container::wave64 ? 7 : 1;
  constexpr auto highest = std::numeric_limits<std::uint64_t>::max();
  return position > highest - mask ? highest : (position + mask) & ~mask;
}

std::optional<wave_chunk_header> read_wave_chunk_header(file& file, wave_container container, abort_callback& abort) {
  std::array<std::byte, wave_header_size(wave_container::wave64)> raw{};
  const auto bytes = std::span(raw).first(static_cast<std::size_t>(wave_header_size(container)));
  if (file.read(bytes.data(), bytes.size(), abort) != bytes.size()) return std::nullopt;
  le_reader in(bytes);
  wave_chunk_header header;
  if (container == wave_container::wave64) {
    header.id = to_guid(in.take(16));
    header.size = in.le64();
    if (header.size < bytes.size()) throw exception_io_data();
    header.size -= bytes.size();
  } else {
    header.code = riff_code(in.text(4));
    header.id = wave_chunk_id_of(header.code.view());
    header.size = in.le32();
  }
  return header;
}

std::optional<wave_container> recognise_wave_container(std::span<const std::byte> head) {
  constexpr std::size_t riff_form_end = 12;
  constexpr std::size_t wave64_form = 24;
  constexpr std::size_t wave64_form_end = 40;
  if (head.size() < riff_form_end) return std::nullopt;
  if (starts_with(head.subspan(8), "WAVE")) {
    if (starts_with(head, "RIFF")) return wave_container::riff;
    if (starts_with(head, "RF64")) return wave_container::rf64;
  }
  if (head.size() >= wave64_form_end && to_guid(head) == wave_chunk_id::riff &&
      to_guid(head.subspan(wave64_form)) == wave_chunk_id::wave)
    return wave_container::wave64;
  return std::nullopt;
}

} // namespace zelmora
