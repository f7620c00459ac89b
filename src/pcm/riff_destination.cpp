#include "pcm/riff_destination.h"

#include "frame/bytes.h"
#include "frame/exceptions.h"

#include <algorithm>
#include <span>

namespace zelmora {

using namespace zelmora_io;

namespace {

/// All ones are left to those who can't tell a size; an even size stays below.
constexpr std::uint64_t max_riff_size = 0xFFFFFFFE;

std::vector<riff_stretch> find_stretches(const riff_layout& layout, const riff_edit& edit) {
  std::vector<riff_stretch> result;
  for (const auto& chunk : layout.chunks) {
    const bool goes = edit.replaces(chunk);
    if (!goes && chunk.role != riff_role::junk) continue;
    const auto at = chunk.position;
    if (result.empty() || result.back().end != at) result.push_back({at, at, at, at});
    auto& last = result.back();
    if (!goes && last.free_end == last.end) last.free_end = chunk.end();
    last.end = chunk.end();
  }
  return result;
}

riff_placement make_placement(riff_role role, const riff_code& code, std::span<const std::byte> payload) {
  const auto padded = payload.size() + payload.size() % 2;
  riff_placement result{role, make_riff_header(code, padded)};
  result.bytes.insert(result.bytes.end(), payload.begin(), payload.end());
  result.bytes.resize(riff_chunk_header + padded);
  return result;
}

void find_place(riff_destination& to, riff_placement placement) {
  const auto gap = std::ranges::find_if(
      to.stretches, [&](const riff_stretch& s) { return fits_riff_gap(placement.bytes.size(), s.end - s.used_end); });
  auto& end = gap == to.stretches.end() ? to.end : gap->used_end;
  if (gap != to.stretches.end()) placement.in = static_cast<std::size_t>(gap - to.stretches.begin());
  placement.target = end;
  end = placement.end();
  to.placed.push_back(std::move(placement));
}

void list_stretch(const riff_stretch& s, std::size_t number, const riff_destination& to,
                  std::vector<riff_piece>& pieces) {
  for (const auto& placement : to.placed)
    if (placement.in == number) pieces.push_back({0, 0, placement.bytes});
  if (s.used_end == s.end) return;
  const auto rest = s.used_end + riff_chunk_header;
  pieces.push_back({0, 0, make_riff_header(riff_codes::junk, s.end - rest)});
  pieces.push_back({rest, s.end});
}

} // namespace

bool fits_riff_gap(std::uint64_t size, std::uint64_t room) noexcept {
  return size == room || size + riff_chunk_header <= room;
}

bool fits_riff_size(std::uint64_t end) noexcept { return end - riff_uncounted <= max_riff_size; }

std::vector<std::byte> make_riff_header(const riff_code& code, std::uint64_t size) {
  std::vector<std::byte> bytes(riff_chunk_header);
  std::ranges::copy(as_byte_span(code.view()), bytes.begin());
  store_le(bytes.data() + 4, checked_cast<std::uint32_t>(size));
  return bytes;
}

riff_destination find_riff_destination(const riff_layout& layout, const riff_edit& edit) {
  riff_destination to;
  to.stretches = find_stretches(layout, edit);
  to.end = layout.end;
  if (!layout.has_foreign_tail && !to.stretches.empty() && to.stretches.back().end == layout.end) {
    to.tail = to.stretches.back();
    to.stretches.pop_back();
    to.end = to.tail->begin;
  }
  if (!edit.id3.payload.empty()) find_place(to, make_placement(riff_role::id3, riff_codes::id3, edit.id3.payload));
  if (!edit.info.payload.empty()) find_place(to, make_placement(riff_role::info, riff_codes::list, edit.info.payload));
  if (to.tail) to.tail->used_end = to.end;
  if (!fits_riff_size(to.end))
    throw exception_io_data("Can't write tags: the file would be larger than the 4 GiB that RIFF can tell");
  return to;
}

std::vector<riff_piece> list_riff_pieces(const riff_layout& layout, const riff_edit& edit, const riff_destination& to) {
  std::vector<std::byte> size(4);
  store_le(size.data(), checked_cast<std::uint32_t>(to.end - riff_uncounted));
  std::vector<riff_piece> pieces{{0, riff_size_field}, {0, 0, size}, {riff_uncounted, riff_file_header}};
  std::size_t next = 0;
  for (const auto& chunk : layout.chunks) {
    if (next < to.stretches.size() && chunk.position == to.stretches[next].begin) {
      list_stretch(to.stretches[next], next, to, pieces);
      ++next;
    }
    if (chunk.role == riff_role::junk || edit.replaces(chunk)) continue;
    pieces.push_back({chunk.position, std::min(chunk.end(), layout.file_size)});
    if (chunk.end() > layout.file_size) pieces.push_back({0, 0, std::vector<std::byte>(1)});
  }
  for (const auto& placement : to.placed)
    if (!placement.in) pieces.push_back({0, 0, placement.bytes});
  if (layout.has_foreign_tail) pieces.push_back({layout.tail, layout.file_size});
  return pieces;
}

} // namespace zelmora
