#include "pcm/riff_layout.h"

#include "frame/bytes.h"
#include "frame/exceptions.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

namespace zelmora {

using namespace zelmora_io;

namespace {

/// More chunks than this are zeros or noise read as headers.
constexpr std::size_t max_chunks = 65535;

[[noreturn]] void refuse(const char* what) { throw exception_io_data(std::string("Can't write tags: ") + what); }

bool begins_with_info(file& file, abort_callback& abort) {
  std::array<std::byte, 4> form{};
  const auto got = file.read(form.data(), form.size(), abort);
  return starts_with(std::span(form).first(got), riff_codes::info.view());
}

/// The file stands at the chunk's payload.
riff_role find_role(file& file, const riff_chunk& chunk, abort_callback& abort) {
  if (chunk.code == riff_codes::junk) return riff_role::junk;
  if (is_id3_code(chunk.code)) return riff_role::id3;
  if (chunk.code == riff_codes::list && chunk.size >= riff_codes::info.text.size() && begins_with_info(file, abort))
    return riff_role::info;
  return riff_role::other;
}

/// The end of RIFF by the header, as far as there is a file [bytes].
std::uint64_t read_file_header(file& file, riff_layout& layout, abort_callback& abort) {
  std::array<std::byte, riff_file_header> raw{};
  file.read_object(raw.data(), raw.size(), abort);
  if (recognise_wave_container(raw) != wave_container::riff) throw exception_io_data();
  layout.claimed_size = load_le<std::uint32_t>(raw.data() + 4);
  if (layout.claimed_size == 0) return layout.file_size;
  return std::min(layout.claimed_size + riff_uncounted, layout.file_size);
}

void read_chunks(file& file, riff_layout& layout, std::uint64_t riff_end, abort_callback& abort) {
  layout.end = riff_file_header;
  while (layout.end + riff_chunk_header <= riff_end) {
    abort.check();
    file.seek(layout.end, abort);
    const auto header = read_wave_chunk_header(file, wave_container::riff, abort);
    if (!header) throw exception_io_data_truncation();
    riff_chunk chunk{header->code, riff_role::other, layout.end, header->size};
    if (chunk.size > riff_end - chunk.payload()) refuse("a chunk passes the end of the file");
    if (chunk.code == riff_codes::data && chunk.size == 0) refuse("the size of the audio is not known");
    chunk.role = find_role(file, chunk, abort);
    layout.chunks.push_back(chunk);
    layout.end = chunk.end();
    if (layout.chunks.size() > max_chunks) refuse("too many chunks");
  }
}

/// Whether what an edit writes behind the end of RIFF, before it counts it in, begins here, or the beginning of that.
bool is_own_leftover(file& file, std::uint64_t position, abort_callback& abort) {
  constexpr std::size_t form = riff_chunk_header;
  std::array<char, form + 4> raw{};
  file.seek(position, abort);
  const auto found = std::string_view(raw.data(), file.read(raw.data(), raw.size(), abort));
  const auto code = found.substr(0, 4);
  const auto is_cut_from = [](std::string_view part, const riff_code& whole) { return whole.view().starts_with(part); };
  if (is_cut_from(code, riff_codes::junk) || is_cut_from(code, riff_codes::id3)) return true;
  return is_cut_from(code, riff_codes::list) &&
         is_cut_from(found.substr(std::min(form, found.size())), riff_codes::info);
}

} // namespace

riff_layout read_riff_layout(file& file, abort_callback& abort) {
  file.ensure_seekable();
  riff_layout layout;
  layout.file_size = file.get_size_ex(abort);
  file.seek(0, abort);
  const auto riff_end = read_file_header(file, layout, abort);
  read_chunks(file, layout, riff_end, abort);
  layout.tail = std::max(layout.end, wave_align(riff_end, wave_container::riff));
  layout.has_foreign_tail = layout.tail < layout.file_size && !is_own_leftover(file, layout.tail, abort);
  return layout;
}

} // namespace zelmora
