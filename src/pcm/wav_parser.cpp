#include "pcm/wav_parser.h"

#include "frame/bytes.h"
#include "frame/exceptions.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <limits>

namespace zelmora {

using namespace zelmora_io;

namespace {

/// Behind this many chunks without content in a row, zeros or noise are being read as chunk headers. A file with any
/// number of real chunks is bounded by its size.
constexpr unsigned max_empty_chunks = 65536;

/// What RF64 writes into the 32-bit fields whose values stand in "ds64" (EBU Tech 3306).
constexpr std::uint64_t rf64_placeholder = 0xFFFFFFFF;

/// The two sizes of "ds64" that are read; a sample count and a table of other chunks' sizes follow.
constexpr std::uint64_t ds64_min_size = 16;

} // namespace

void wav_parser::parse(abort_callback& abort) {
  file_size_ = file_->get_size(abort);
  read_file_header(abort);
  chunk c;
  for (unsigned empty = 0; empty < max_empty_chunks && read_chunk(c, abort);) {
    abort.check();
    empty = c.size == 0 ? empty + 1 : 0;
    handle_chunk(c, abort);
    if (!move_past(c, abort)) break;
  }
  if (!has_format_ || !has_data_) throw exception_io_data();
  drop_stale_fact();
}

void wav_parser::read_file_header(abort_callback& abort) {
  std::array<std::byte, 16> name{};
  const bool is_whole = file_->read(name.data(), 4, abort) == 4;
  if (is_whole && starts_with(name, "RIFF")) {
    container_ = wave_container::riff;
  } else if (is_whole && starts_with(name, "riff")) {
    container_ = wave_container::wave64;
    file_->read_object(name.data() + 4, name.size() - 4, abort);
    if (!std::ranges::equal(name, std::as_bytes(std::span(wave_chunk_id::riff.bytes)))) throw exception_io_data();
  } else if (is_whole && starts_with(name, "RF64")) {
    container_ = wave_container::rf64;
  } else {
    warn("File does not begin with a recognized WAVE header");
    throw exception_io_data();
  }
  const bool is_wave64 = container_ == wave_container::wave64;
  set_container_size(is_wave64 ? file_->read_lendian_t<std::uint64_t>(abort)
                               : file_->read_lendian_t<std::uint32_t>(abort));
  const std::size_t form_size = is_wave64 ? 16 : 4;
  file_->read_object(name.data(), form_size, abort);
  const bool is_wave = is_wave64 ? std::ranges::equal(name, std::as_bytes(std::span(wave_chunk_id::wave.bytes)))
                                 : starts_with(name, "WAVE");
  if (!is_wave) throw exception_io_data();
  position_ = wave_header_size(container_) + form_size;
}

/// `claimed` is the field as it stands in the file.
void wav_parser::set_container_size(std::uint64_t claimed) {
  const auto header = wave_header_size(container_);
  if (container_ == wave_container::wave64) {
    if (claimed < header) throw exception_io_data();
    // Wave64 counts the header too. Nothing behind it, or all ones: from writers that never went back.
    riff_end_ = claimed == header || claimed == unknown ? file_size_ : claimed;
  } else {
    const bool is_placeholder = container_ == wave_container::rf64 && claimed == rf64_placeholder;
    riff_end_ = claimed == 0 || is_placeholder ? file_size_ : claimed + header;
  }
  limit_to_file();
}

void wav_parser::limit_to_file() {
  if (riff_end_ <= file_size_) return;
  warn("Indicated RIFF size exceeds actual file size, file appears to be truncated");
  riff_end_ = file_size_;
}

/// False at the end of the container; a stub too short for a header is the end, too.
bool wav_parser::read_chunk(chunk& out, abort_callback& abort) {
  if (position_ >= riff_end_) return false;
  const auto header = read_wave_chunk_header(*file_, container_, abort);
  if (!header) return false;
  out.id = header->id;
  out.code = header->code;
  out.header = position_;
  out.payload = position_ + wave_header_size(container_);
  out.size = header->size;
  position_ = out.payload;
  // The size of the data stands in "ds64", and its own field holds a placeholder.
  if (has_ds64_ && out.id == wave_chunk_id::data) out.size = ds64_data_size_;
  bound_chunk(out);
  return true;
}

void wav_parser::bound_chunk(chunk& c) {
  // A recorder that dies before it closes the file leaves a data size of 0, and the container's as it was before the
  // first sample: all that follows is data.
  const bool is_never_closed = c.id == wave_chunk_id::data && c.size == 0;
  if (is_never_closed && riff_end_ <= c.payload) riff_end_ = file_size_;
  const auto room = riff_end_ - std::min(riff_end_, c.payload);
  c.is_cut = c.size > room || is_never_closed;
  if (!c.is_cut || c.size == room) return;
  if (riff_end_ == unknown) {
    c.size = unknown;
    return;
  }
  warn(fmt::format("Malformed or truncated chunk found at {} bytes, claimed length {} bytes, truncated to {} bytes",
                   c.header, c.size, room));
  c.size = room;
}

void wav_parser::handle_chunk(const chunk& c, abort_callback& abort) {
  if (container_ == wave_container::rf64 && !has_ds64_) {
    if (c.id != wave_chunk_id::ds64 || c.size < ds64_min_size) throw exception_io_data();
    return read_ds64(c, abort);
  }
  if (c.id == wave_chunk_id::fmt) return read_format(c, abort);
  if (c.id == wave_chunk_id::data) return note_data(c);
  if (c.id == wave_chunk_id::fact) return read_fact(c, abort);
  if (container_ == wave_container::riff && !c.is_cut && file_->can_seek()) note_tags(c, abort);
}

void wav_parser::read_ds64(const chunk& c, abort_callback& abort) {
  const auto riff_size = file_->read_lendian_t<std::uint64_t>(abort);
  ds64_data_size_ = file_->read_lendian_t<std::uint64_t>(abort);
  position_ += ds64_min_size;
  has_ds64_ = true;
  if (riff_size < c.payload + c.size || ds64_data_size_ == unknown) throw exception_io_data();
  const auto header = wave_header_size(container_);
  riff_end_ = riff_size > unknown - header ? unknown : riff_size + header;
  limit_to_file();
}

void wav_parser::read_format(const chunk& c, abort_callback& abort) {
  if (c.size != wave_limits::pcm_size && (c.size < wave_limits::ex_size || c.size > wave_limits::max_chunk))
    throw exception_io_data();
  std::vector<std::byte> payload(static_cast<std::size_t>(std::min<std::uint64_t>(c.size, wave_limits::max_record)));
  file_->read_object(payload.data(), payload.size(), abort);
  position_ += payload.size();
  format_ = parse_wave_format(payload);
  has_format_ = true;
  widen_block();
}

/// A block too small for its frame is a writer's slip: channels and width tell what a frame takes. A larger one may
/// mean something, and so may a frame that no block could hold, which is for the decoder to say.
void wav_parser::widen_block() {
  const auto frame = get_frame_size(format_);
  const bool is_possible = frame <= std::numeric_limits<std::uint16_t>::max();
  if (get_sample_kind(format_) == wave_sample_kind::none || format_.block_align >= frame || !is_possible) return;
  warn(fmt::format("Block size of {} bytes is too small for {} channels of {} bits, {} bytes assumed",
                   format_.block_align, format_.channels, format_.bits, frame));
  format_.block_align = static_cast<std::uint16_t>(frame);
}

void wav_parser::note_data(const chunk& c) {
  data_offset_ = c.payload;
  data_size_ = c.size;
  has_data_ = true;
}

void wav_parser::note_tags(const chunk& c, abort_callback& abort) {
  if (!tags_.id3 && is_id3_code(c.code)) tags_.id3 = wave_extent{c.payload, c.size};
  if (tags_.info || c.code != riff_codes::list || c.size < riff_codes::info.text.size()) return;
  std::array<std::byte, 4> form{};
  const auto got = file_->read(form.data(), form.size(), abort);
  position_ += got;
  if (starts_with(std::span(form).first(got), riff_codes::info.view())) tags_.info = wave_extent{c.payload, c.size};
}

void wav_parser::read_fact(const chunk& c, abort_callback& abort) {
  if (c.size >= 8) {
    fact_samples_ = file_->read_lendian_t<std::uint64_t>(abort);
    position_ += 8;
  } else if (c.size >= 4) {
    fact_samples_ = file_->read_lendian_t<std::uint32_t>(abort);
    position_ += 4;
  }
}

/// To where the next chunk begins; false when there can be none.
bool wav_parser::move_past(const chunk& c, abort_callback& abort) {
  if (c.size > unknown - c.payload) return false;
  const auto next = wave_align(c.payload + c.size, container_);
  if (next > file_size_ || next >= riff_end_) return false;
  if (!file_->can_seek()) {
    if (has_data_) return false;
    const auto moved = file_->skip(next - position_, abort);
    position_ += moved;
    return position_ == next;
  }
  if (next != position_) {
    try {
      file_->seek(next, abort);
    } catch (const exception_io_seek_out_of_range&) {
      return false; // The end of a file whose size is unknown.
    }
  }
  position_ = next;
  return true;
}

/// The count is a cap: where uncompressed data holds fewer samples, as in a truncated file or behind a count that was
/// never one, the data tells the length.
void wav_parser::drop_stale_fact() {
  if (data_size_ == unknown || get_sample_kind(format_) == wave_sample_kind::none) return;
  if (fact_samples_ > data_size_ / format_.block_align) fact_samples_ = 0;
}

} // namespace zelmora
