#include "tags/trailing_tags.h"

#include "tags/ape_mapping.h"
#include "tags/lyrics3.h"
#include "tags/tag_merge.h"

#include <algorithm>
#include <array>

namespace zelmora {

using namespace zelmora_io;

namespace {

/// What is read from the end in one go [bytes]: most tails are no longer.
constexpr std::size_t first_look = 4096;

/// Runs `read`; whether it found an undamaged block.
template <class Read>
bool found(Read read) {
  try {
    read();
    return true;
  } catch (const exception_io_data&) {
    return false;
  }
}

/// The last bytes of a stream.
struct stream_end {
  std::uint64_t size = 0; ///< of the stream
  std::vector<std::byte> bytes;

  std::span<const std::byte> before(std::uint64_t end) const {
    return std::span(bytes).first(bytes.size() - static_cast<std::size_t>(size - end));
  }
};

stream_end read_stream_end(file& source, abort_callback& abort) {
  source.ensure_seekable();
  stream_end result{source.get_size_ex(abort), {}};
  result.bytes.resize(static_cast<std::size_t>(std::min<std::uint64_t>(result.size, first_look)));
  source.seek(result.size - result.bytes.size(), abort);
  source.read_object(result.bytes.data(), result.bytes.size(), abort);
  return result;
}

bool ends_with_ape(std::span<const std::byte> bytes) {
  return bytes.size() >= ape_footer_size && starts_with(bytes.last(ape_footer_size), "APETAGEX");
}

/// Whether a block of `size` bytes may end at `end`.
bool has_room(std::uint64_t size, std::uint64_t floor, std::uint64_t end) {
  return floor <= end && size <= end - floor;
}

bool read_id3v1_before(const stream_end& tail, std::uint64_t floor, std::uint64_t& end, file_info& info) {
  const auto bytes = tail.before(end);
  if (!has_room(id3v1_size, floor, end) || !found([&] { decode_id3v1(bytes.last(id3v1_size), info); })) return false;
  end -= id3v1_size;
  return true;
}

bool read_ape_before(file& source, const stream_end& tail, std::uint64_t floor, std::uint64_t& end, file_info& info,
                     abort_callback& abort) {
  const auto bytes = tail.before(end);
  const auto size = ends_with_ape(bytes) ? ape_tag_size(bytes.last(ape_footer_size)) : 0;
  if (size == 0 || !has_room(size, floor, end)) return false;
  ape_tag tag;
  const bool is_read = found([&] {
    if (size <= bytes.size()) {
      tag = parse_ape_tag(bytes, ape_items_wanted::text);
      end -= size;
    } else {
      tag = read_ape_tag(source, end, abort, ape_items_wanted::text);
    }
  });
  if (is_read) read_ape_fields(tag, info);
  return is_read;
}

} // namespace

std::uint64_t read_trailing_tags(file& source, file_info& info, abort_callback& abort, std::uint64_t floor) {
  const auto tail = read_stream_end(source, abort);
  auto begin = tail.size;
  file_info_impl id3v1;
  // A footer at the very end is the last block; what stands 128 bytes before the end is part of its tag.
  const bool has_id3v1 = !ends_with_ape(tail.bytes) && read_id3v1_before(tail, floor, begin, id3v1);
  const bool has_ape = read_ape_before(source, tail, floor, begin, info, abort);
  if (!has_ape && !has_id3v1) throw exception_tag_not_found();
  if (!has_ape)
    copy_tag(info, id3v1);
  else if (has_id3v1)
    merge_weaker_tag(info, id3v1);
  return begin;
}

namespace {

/// Takes the block off the tail that begins at `begin` in front of which `read(end)` moves `end`; whether there is one.
template <class Read>
bool strip(std::uint64_t& begin, std::uint64_t floor, Read read) {
  auto end = begin;
  if (!found([&] { read(end); }) || end < floor) return false;
  begin = end;
  return true;
}

void strip_ape(file& source, std::uint64_t floor, trailing_zone& zone, abort_callback& abort) {
  const auto read = [&](std::uint64_t& end) {
    auto begin = end;
    skip_ape_tag(source, begin, abort);
    if (begin < floor || end - begin > max_ape_tag_size) throw exception_io_data();
    source.seek(begin, abort);
    zone.ape_bytes = source.read_bytes(end - begin, abort);
    zone.ape = parse_ape_tag(zone.ape_bytes);
    end = begin;
  };
  strip(zone.begin, floor, read);
}

void strip_id3v1(file& source, std::uint64_t floor, trailing_zone& zone, abort_callback& abort) {
  if (!strip(zone.begin, floor, [&](std::uint64_t& end) { skip_id3v1(source, end, abort); }) || zone.id3v1) return;
  source.seek(zone.begin, abort);
  source.read_object(zone.id3v1.emplace().data(), id3v1_size, abort);
}

/// One pass over the blocks that are to be kept in mind.
void strip_for_replacing(file& source, std::uint64_t floor, trailing_zone& zone, abort_callback& abort) {
  if (!zone.ape) strip_ape(source, floor, zone, abort);
  strip_id3v1(source, floor, zone, abort);
}

/// One pass over all blocks. Their size doesn't matter.
void strip_for_removing(file& source, std::uint64_t floor, std::uint64_t& begin, bool& has_ape, abort_callback& abort) {
  has_ape = has_ape || strip(begin, floor, [&](std::uint64_t& end) { skip_ape_tag(source, end, abort); });
  strip(begin, floor, [&](std::uint64_t& end) { read_lyrics3(source, end, nullptr, abort); });
  strip(begin, floor, [&](std::uint64_t& end) { skip_id3v1(source, end, abort); });
}

} // namespace

trailing_zone scan_trailing_tags(file& source, tail_use use, abort_callback& abort, std::uint64_t floor) {
  source.ensure_seekable();
  trailing_zone zone;
  zone.begin = zone.end = source.get_size_ex(abort);
  bool has_ape = false;
  for (bool moved = true; moved;) {
    abort.check();
    const auto before = zone.begin;
    if (use == tail_use::replace)
      strip_for_replacing(source, floor, zone, abort);
    else
      strip_for_removing(source, floor, zone.begin, has_ape, abort);
    moved = zone.begin != before;
  }
  return zone;
}

namespace {

std::vector<std::byte> make_ape(const trailing_zone& old, const file_info& info) {
  std::vector<ape_item> items;
  if (old.ape) {
    file_info_impl said;
    read_ape_fields(*old.ape, said);
    if (says_the_same(said, info)) return old.ape_bytes;
    items = old.ape->items;
  }
  write_ape_fields(info, items);
  return format_ape_tag(items);
}

id3v1_block make_id3v1(const trailing_zone& old, const file_info& info) {
  const auto block = encode_id3v1(info);
  if (!old.id3v1) return block;
  file_info_impl said;
  file_info_impl wanted;
  decode_id3v1(*old.id3v1, said);
  decode_id3v1(block, wanted);
  return says_the_same(said, wanted) ? *old.id3v1 : block;
}

} // namespace

std::vector<std::byte> make_trailing_tags(const trailing_zone& old, const file_info& info, trailing_kinds kinds) {
  std::vector<std::byte> tail;
  if (has_kind(kinds, trailing_kinds::ape)) tail = make_ape(old, info);
  if (has_kind(kinds, trailing_kinds::id3v1)) {
    const auto block = make_id3v1(old, info);
    tail.insert(tail.end(), block.begin(), block.end());
  }
  return tail;
}

file_edit write_trailing_tags(file& source, const file_info& info, trailing_kinds kinds, abort_callback& abort,
                              std::uint64_t floor) {
  if (kinds == trailing_kinds::none) return remove_trailing_tags(source, abort, floor);
  const auto old = scan_trailing_tags(source, tail_use::replace, abort, floor);
  return {old.begin, old.end, make_trailing_tags(old, info, kinds)};
}

file_edit remove_trailing_tags(file& source, abort_callback& abort, std::uint64_t floor) {
  const auto old = scan_trailing_tags(source, tail_use::remove, abort, floor);
  return {old.begin, old.end, {}};
}

namespace {

class trailing_tag_service_impl : public trailing_tag_service {
 public:
  void read(file& source, file_info& info, abort_callback& abort) override { read_trailing_tags(source, info, abort); }
  void write(file& target, const file_info& info, trailing_kinds kinds, abort_callback& abort) override {
    apply(target, write_trailing_tags(target, info, kinds, abort), abort);
  }
  void remove(file& target, abort_callback& abort) override {
    apply(target, remove_trailing_tags(target, abort), abort);
  }
  bool id3v1_sufficient(const file_info& info) override { return zelmora::id3v1_sufficient(info); }
  void id3v1_truncate(file_info& info) override { zelmora::id3v1_truncate(info); }
  void read(file& source, file_info& info, std::uint64_t& offset, abort_callback& abort) override {
    offset = read_trailing_tags(source, info, abort);
  }

 private:
  static void apply(file& target, const file_edit& edit, abort_callback& abort) {
    file_ptr object(&target);
    apply_edits(object, {}, {&edit, 1}, abort);
  }
};

service_factory_single_t<trailing_tag_service_impl> factory;

} // namespace

} // namespace zelmora
