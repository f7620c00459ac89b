#include "tags/tag_processor.h"

#include "frame/exceptions.h"
#include "frame/rewrite.h"
#include "tags/ape_mapping.h"
#include "tags/id3v2_gapless.h"
#include "tags/id3v2_pictures.h"
#include "tags/id3v2_tag.h"
#include "tags/soundcheck.h"
#include "tags/tag_merge.h"
#include "tags/tag_settings.h"
#include "tags/trailing_tags.h"

#include <algorithm>
#include <array>
#include <vector>

namespace zelmora {

using namespace zelmora_io;

namespace {

/// The size of the ID3v2 tag at the stream's position; 0 when there is none, and then the stream is back there.
std::uint64_t find_tag(file& source, abort_callback& abort) {
  const auto begin = source.get_position(abort);
  std::array<std::byte, id3v2_header_size> header;
  const auto got = source.read(header.data(), header.size(), abort);
  const auto size = id3v2_tag_size(std::span(header).first(got));
  if (size == 0) source.seek(begin, abort);
  return size;
}

/// The first tag whole. One that goes past the end can't be read.
std::vector<std::byte> read_first_tag(file& source, abort_callback& abort) {
  source.reopen(abort);
  const auto size = find_tag(source, abort);
  if (size == 0) return {};
  if (const auto length = source.get_size(abort); length != file::unknown_size && size > length)
    throw exception_io_data_truncation();
  source.reopen(abort);
  return source.read_bytes(size, abort);
}

/// The same; one that goes past the end counts as absent.
std::vector<std::byte> read_first_tag_if_whole(file& source, abort_callback& abort) {
  try {
    return read_first_tag(source, abort);
  } catch (const exception_io_data&) {
    return {};
  }
}

/// What is the last tag's and what is audio can't be told where that tag goes past the end.
void refuse_cut_head(const id3v2_zone& zone) {
  if (zone.is_cut) throw exception_io_data("Can't write tags: the ID3v2 tag goes past the end of the file");
}

file_edit write_head(file& source, const id3v2_zone& zone, const file_info& info, abort_callback& abort) {
  refuse_cut_head(zone);
  return {0, zone.size, write_id3v2(read_first_tag_if_whole(source, abort), zone.size, info)};
}

/// `size` is what the stream will have with the head. One that is nothing but its head keeps it: what would be left is
/// no file of any kind.
file_edit remove_head(const id3v2_zone& zone, std::uint64_t size) { return {0, zone.size >= size ? 0 : zone.size, {}}; }

file_edit remove_head(file& source, const id3v2_zone& zone, std::uint64_t size, apple_gapless gapless,
                      abort_callback& abort) {
  auto edit = remove_head(zone, size);
  if (edit.end != 0 && gapless == apple_gapless::configured && id3v2_retains_apple_gapless())
    edit.content = keep_apple_gapless(read_first_tag_if_whole(source, abort), edit.end);
  return edit;
}

/// Where a tail may begin: what stands in the head is the head's. But one that goes past the end has no word in that.
std::uint64_t tail_floor(const id3v2_zone& zone) { return zone.is_cut ? 0 : zone.size; }

std::uint64_t size_after(const file_edit& tail) { return tail.begin + tail.content.size(); }

trailing_kinds to_trailing_kinds(tag_kinds kinds) {
  const bool ape = has_kind(kinds, tag_kinds::ape);
  const bool id3v1 = has_kind(kinds, tag_kinds::id3v1);
  if (ape && id3v1) return trailing_kinds::both;
  return ape ? trailing_kinds::ape : id3v1 ? trailing_kinds::id3v1 : trailing_kinds::none;
}

/// Whether the file still reads as the old one with the new tail and the old head: there is nothing but ID3v1 in the
/// tail, and the head has fields.
bool reads_alike_with(const file_edit& tail, file& source, abort_callback& abort) {
  constexpr std::string_view id3v1_magic = "TAG";
  if (tail.end - tail.begin != id3v1_size || tail.content.size() != id3v1_size) return false;
  std::array<std::byte, id3v1_magic.size()> old{};
  source.seek(tail.begin, abort);
  source.read_object(old.data(), old.size(), abort);
  if (!starts_with(old, id3v1_magic) || !starts_with(tail.content, id3v1_magic)) return false;
  file_info_impl head;
  try {
    zelmora::read_id3v2(read_first_tag_if_whole(source, abort), head);
  } catch (const exception_io_data&) {
    return false;
  }
  return has_tag_content(head);
}

file_edit write_head_pictures(file& source, const id3v2_zone& zone, const album_art_set& pictures,
                              abort_callback& abort) {
  return {0, zone.size, write_id3v2_pictures(read_first_tag_if_whole(source, abort), zone.size, pictures)};
}

/// Nothing where the pictures are these already.
file_edit write_tail_pictures(trailing_zone tail, const album_art_set& pictures) {
  if (!write_ape_pictures(pictures, tail.ape->items)) return {tail.begin, tail.begin, {}};
  auto content = format_ape_tag(tail.ape->items);
  if (tail.id3v1) content.insert(content.end(), tail.id3v1->begin(), tail.id3v1->end());
  return {tail.begin, tail.end, std::move(content)};
}

/// Head and tail in one go.
void apply(file_ptr& target, std::string_view path, file_edit head, file_edit tail, abort_callback& abort) {
  const bool is_tail_first = reads_alike_with(tail, *target, abort);
  const std::array edits{std::move(head), std::move(tail)};
  apply_edits(target, path, edits, abort, is_tail_first ? edit_steps::one_by_one : edit_steps::together);
}

} // namespace

id3v2_zone tag_processor::skip_id3v2(file& source, abort_callback& abort) {
  source.reopen(abort);
  id3v2_zone zone;
  for (;;) {
    abort.check();
    const auto size = find_tag(source, abort);
    if (size == 0) return zone;
    // A tag that goes past the end takes all there is.
    const auto length = source.get_size(abort);
    zone.is_cut = length != file::unknown_size && size > length - zone.size;
    zone.size = zone.is_cut ? length : zone.size + size;
    ++zone.count;
    source.seek(zone.size, abort);
  }
}

void tag_processor::read_id3v2(file& source, file_info& info, abort_callback& abort) {
  const auto tag = read_first_tag(source, abort);
  if (tag.empty()) throw exception_tag_not_found();
  zelmora::read_id3v2(tag, info);
}

std::optional<std::string> tag_processor::read_apple_gapless(file& source, abort_callback& abort) {
  const auto tag = read_first_tag_if_whole(source, abort);
  if (tag.empty()) return std::nullopt;
  return zelmora::read_apple_gapless(tag);
}

std::uint64_t tag_processor::read_trailing(file& source, file_info& info, abort_callback& abort) {
  return read_trailing_tags(source, info, abort);
}

void tag_processor::read(file& source, file_info& info, abort_callback& abort) {
  const auto first_tag = read_first_tag_if_whole(source, abort);
  file_info_impl head;
  try {
    if (!first_tag.empty()) zelmora::read_id3v2(first_tag, head);
  } catch (const exception_io_data&) {
    head = file_info_impl();
  }
  const bool has_head = has_tag_content(head);
  // The end of a remote object isn't worth a fetch when the head says enough.
  if (has_head && source.is_remote()) return copy_tag(info, head);
  file_info_impl tail;
  bool has_tail = true;
  try {
    read_trailing_tags(source, tail, abort, first_tag.size());
  } catch (const exception_io_data&) {
    has_tail = false;
  }
  if (!has_head && !has_tail) throw exception_tag_not_found();
  copy_tag(info, has_head ? head : tail);
  if (has_head && has_tail) merge_weaker_tag(info, tail);
}

void tag_processor::write(file_ptr& target, std::string_view path, const file_info& info, tag_kinds kinds,
                          abort_callback& abort, apple_gapless gapless) {
  const auto zone = skip_id3v2(*target, abort);
  refuse_cut_head(zone);
  auto tail = write_trailing_tags(*target, info, to_trailing_kinds(kinds), abort, zone.size);
  auto head = has_kind(kinds, tag_kinds::id3v2) ? write_head(*target, zone, info, abort)
                                                : remove_head(*target, zone, size_after(tail), gapless, abort);
  apply(target, path, std::move(head), std::move(tail), abort);
}

void tag_processor::remove_id3v2(file_ptr& target, std::string_view path, abort_callback& abort) {
  const std::array edits{remove_head(skip_id3v2(*target, abort), target->get_size_ex(abort))};
  apply_edits(target, path, edits, abort);
}

void tag_processor::remove_trailing(file_ptr& target, std::string_view path, abort_callback& abort) {
  const auto zone = skip_id3v2(*target, abort);
  const std::array edits{remove_trailing_tags(*target, abort, tail_floor(zone))};
  apply_edits(target, path, edits, abort);
}

void tag_processor::remove_all(file_ptr& target, std::string_view path, abort_callback& abort, apple_gapless gapless) {
  const auto zone = skip_id3v2(*target, abort);
  auto tail = remove_trailing_tags(*target, abort, tail_floor(zone));
  auto head = remove_head(*target, zone, size_after(tail), gapless, abort);
  apply(target, path, std::move(head), std::move(tail), abort);
}

album_art_set tag_processor::read_pictures(file& source, abort_callback& abort) {
  source.ensure_seekable();
  const auto tag = read_first_tag(source, abort);
  if (!tag.empty()) return read_id3v2_pictures(tag);
  const auto tail = scan_trailing_tags(source, tail_use::replace, abort);
  if (!tail.ape) throw exception_album_art_not_found();
  return read_ape_pictures(tail.ape->items);
}

void tag_processor::write_pictures(file_ptr& target, std::string_view path, const album_art_set& pictures,
                                   abort_callback& abort) {
  const auto head = skip_id3v2(*target, abort);
  refuse_cut_head(head);
  auto tail = head.count == 0 ? scan_trailing_tags(*target, tail_use::replace, abort) : trailing_zone();
  const std::array edits{tail.ape ? write_tail_pictures(std::move(tail), pictures)
                                  : write_head_pictures(*target, head, pictures, abort)};
  apply_edits(target, path, edits, abort);
}

tag_kinds choose_mp3_tag_kinds(const file_info& current, const id3v2_zone& head, const file_info& info) {
  const auto* const type = current.info_get(info_field::tagtype);
  auto found = parse_tag_type(type == nullptr ? std::string_view() : *type);
  found.id3v2 = found.id3v2 || head.count != 0;
  auto kinds = tag_kinds::none;
  if (found.ape || found.id3v2) {
    if (found.ape) kinds = kinds | tag_kinds::ape;
    if (found.id3v2) kinds = kinds | tag_kinds::id3v2;
    if (found.id3v1) kinds = kinds | tag_kinds::id3v1;
  } else if (found.id3v1 && id3v1_sufficient(info)) {
    kinds = tag_kinds::id3v1;
  } else {
    switch (get_mp3_tag_scheme()) {
    case mp3_tag_scheme::id3v2_id3v1: kinds = tag_kinds::id3v2 | tag_kinds::id3v1; break;
    case mp3_tag_scheme::id3v2: kinds = tag_kinds::id3v2; break;
    case mp3_tag_scheme::ape_id3v1: kinds = tag_kinds::ape | tag_kinds::id3v1; break;
    case mp3_tag_scheme::ape: kinds = tag_kinds::ape; break;
    }
  }
  // SoundCheck's values have no other place.
  for (const auto name : {soundcheck_field::user_option, soundcheck_field::raw})
    if (const auto* const value = info.info_get(name); value != nullptr && !value->empty())
      kinds = kinds | tag_kinds::id3v2;
  return kinds;
}

// --- the head zone as a service ------------------------------------------------------------------------------------

namespace {

class id3v2_tag_service_impl : public id3v2_tag_service {
 public:
  id3v2_zone skip(file& source, abort_callback& abort) override { return tag_processor::skip_id3v2(source, abort); }
  void read(file& source, file_info& info, abort_callback& abort) override {
    tag_processor::read_id3v2(source, info, abort);
  }
  void write(file& target, const file_info& info, abort_callback& abort) override {
    file_ptr object(&target);
    const auto zone = tag_processor::skip_id3v2(target, abort);
    const std::array edits{write_head(target, zone, info, abort)};
    apply_edits(object, {}, edits, abort);
  }
  void remove(file& target, abort_callback& abort) override {
    file_ptr object(&target);
    tag_processor::remove_id3v2(object, {}, abort);
  }
};

service_factory_single_t<id3v2_tag_service_impl> factory;

} // namespace

} // namespace zelmora
