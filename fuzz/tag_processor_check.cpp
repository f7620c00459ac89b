#include "tag_processor_check.h"

#include "frame/exceptions.h"
#include "frame/memory_file.h"
#include "support/faulty_file.h"
#include "support/test_services.h"
#include "tag_compare.h"
#include "tags/ape_mapping.h"
#include "tags/id3v2_tag.h"
#include "tags/tag_merge.h"
#include "tags/tag_processor.h"
#include "tags/trailing_tags.h"
#include "verdict.h"

#include <algorithm>
#include <optional>

namespace zelmora::fuzz {

using namespace zelmora_io;

namespace {

using bytes = std::vector<std::byte>;
using byte_span = std::span<const std::byte>;

void expect(bool holds, const char* otherwise) {
  if (!holds) throw violation{otherwise};
}

bytes copy_of(byte_span content) { return {content.begin(), content.end()}; }

/// Fewer bytes than this between the tags are no audio, and can look like a tag together with what stands behind them.
constexpr std::size_t least_audio = id3v2_header_size;
bool is_too_short(byte_span audio) { return !audio.empty() && audio.size() < least_audio; }

/// Where the tags of a file stand.
struct file_map {
  std::size_t head = 0;
  bool head_is_cut = false; ///< goes past the end
  std::size_t tail = 0;
  std::size_t tail_with_lyrics3 = 0;
};

/// What the tail consists of that stands behind `floor`.
trailing_zone find_tail(byte_span content, std::size_t floor, tail_use use = tail_use::replace) {
  abort_callback_dummy abort;
  return scan_trailing_tags(*service_new<memory_file>(content.subspan(floor)), use, abort);
}

file_map map_of(byte_span content) {
  file_map map;
  while (const auto size = id3v2_tag_size(content.subspan(map.head))) {
    map.head_is_cut = size > content.size() - map.head;
    map.head = map.head_is_cut ? content.size() : map.head + static_cast<std::size_t>(size);
  }
  const auto floor = map.head_is_cut ? 0 : map.head;
  map.tail = floor + static_cast<std::size_t>(find_tail(content, floor).begin);
  map.tail_with_lyrics3 = floor + static_cast<std::size_t>(find_tail(content, floor, tail_use::remove).begin);
  return map;
}

file_info_impl read(byte_span content) {
  abort_callback_dummy abort;
  file_info_impl info;
  try {
    tag_processor::read(*service_new<memory_file>(content), info, abort);
  } catch (const exception_tag_not_found&) {
    // Nothing is said.
  }
  return info;
}

/// `content` after `edit(target, abort)`.
template <class Edit>
bytes edited(byte_span content, Edit edit, test::file_faults faults = {},
             const std::shared_ptr<test::operation_count>& count = nullptr) {
  abort_callback_dummy abort;
  const auto object = service_new<memory_file>(content);
  auto target = test::make_faulty_file(object, std::move(faults), count);
  try {
    edit(target, abort);
  } catch (const exception_io&) {
    expect(std::ranges::equal(object->content(), content), "a failed edit leaves changes");
  }
  return object->content();
}

auto writing(const file_info& info, tag_kinds kinds) {
  return
      [&info, kinds](file_ptr& target, abort_callback& abort) { tag_processor::write(target, {}, info, kinds, abort); };
}

bytes write(byte_span content, const file_info& info, tag_kinds kinds) { return edited(content, writing(info, kinds)); }

std::optional<album_art_set> read_pictures(byte_span content) {
  abort_callback_dummy abort;
  try {
    return tag_processor::read_pictures(*service_new<memory_file>(content), abort);
  } catch (const exception_album_art_not_found&) {
    return album_art_set();
  } catch (const exception_io_data&) {
    return std::nullopt;
  }
}

/// What a tag of ours makes of `info` where there was none.
file_info_impl through(tag_kinds kinds, const file_info& info) {
  if (has_kind(kinds, tag_kinds::id3v2)) return through_id3v2(info);
  file_info_impl result(info);
  if (!has_kind(kinds, tag_kinds::ape)) {
    id3v1_truncate(result);
    return result;
  }
  ape_tag tag;
  write_ape_fields(info, tag.items);
  result = file_info_impl();
  read_ape_fields(tag, result);
  return result;
}

/// One file, one choice of kinds.
class kinds_trial {
 public:
  kinds_trial(byte_span content, const file_map& map, const file_info& info, tag_kinds kinds)
      : content_(content), map_(map), info_(info), kinds_(kinds),
        has_tail_(has_kind(kinds, tag_kinds::ape) || has_kind(kinds, tag_kinds::id3v1)),
        audio_(content.subspan(map.head, (has_tail_ ? map.tail : map.tail_with_lyrics3) - map.head)) {}

  void run() {
    if (is_too_short(audio_)) return;
    const auto saved = write(content_, info_, kinds_);
    expect_around_audio(saved);
    expect_pictures(saved);
    if (shows_another_tail()) return;
    expect_said(saved, info_);
    const auto again = write(saved, read(saved), kinds_);
    const auto settled = write(again, read(again), kinds_);
    expect_nothing_written(settled);
    file_info_impl changed(info_);
    changed.meta_set("title", "changed");
    const auto edited = write(content_, changed, kinds_);
    expect_around_audio(edited);
    expect_said(edited, changed);
    expect(has_fixed_items() || has_title(read(edited), "changed"), "a new title isn't there");
  }

 private:
  bool has(tag_kinds kind) const { return has_kind(kinds_, kind); }

  /// Whether what was taken for audio ends with one more APE tag, which shows as soon as no other is there.
  bool shows_another_tail() const { return !has(tag_kinds::ape) && find_tail(audio_, 0).ape.has_value(); }

  bool has_fixed_items() const {
    const auto old = find_tail(content_, map_.head).ape;
    return has(tag_kinds::ape) && old && std::ranges::any_of(old->items, &ape_item::read_only);
  }

  void expect_around_audio(byte_span saved) const {
    const auto map = map_of(saved);
    expect(map.head_is_cut == false, "a head of ours goes past the end");
    expect(has(tag_kinds::id3v2) || map.head == 0, "a head of a kind that should go stays");
    const auto behind = saved.subspan(map.head);
    expect(behind.size() >= audio_.size() && std::ranges::equal(behind.first(audio_.size()), audio_),
           "what is between the tags changed");
    auto tail = behind.subspan(audio_.size());
    if (has(tag_kinds::id3v1)) {
      expect(tail.size() >= id3v1_size && starts_with(tail.last(id3v1_size), "TAG"), "no ID3v1 at the end");
      tail = tail.first(tail.size() - id3v1_size);
    }
    const auto ape_size = tail.size() < ape_footer_size ? 0 : ape_tag_size(tail.last(ape_footer_size));
    expect(tail.size() == (has(tag_kinds::ape) ? ape_size : 0), "the tail isn't what was asked for");
  }

  /// The kind that shows pictures goes on to show the same ones, as long as the file has it.
  void expect_pictures(byte_span saved) const {
    const bool has_head = map_.head != 0;
    if (has_head != has(tag_kinds::id3v2) || (!has_head && !has(tag_kinds::ape))) return;
    const auto before = read_pictures(content_);
    const auto after = read_pictures(saved);
    expect(after.has_value(), "the pictures of a tag of ours can't be read");
    expect(!before || same_pictures(*before, *after), "pictures changed");
  }

  void expect_said(byte_span saved, const file_info& wanted) const {
    const auto found = read(saved);
    if (says_the_same(found, wanted)) return;
    const auto fresh = through(kinds_, wanted);
    const bool is_as_new = says_the_same(found, fresh) || says_the_same(through(kinds_, found), through(kinds_, fresh));
    expect(is_as_new || has_fixed_items(), "what was written reads as something else");
  }

  void expect_nothing_written(byte_span settled) const {
    const auto count = std::make_shared<test::operation_count>();
    const auto info = read(settled);
    const auto same = edited(settled, writing(info, kinds_), {}, count);
    expect(std::ranges::equal(same, settled) && count->writes == 0, "saving what was read changes it again and again");
  }

  byte_span content_;
  const file_map& map_;
  const file_info& info_;
  tag_kinds kinds_;
  bool has_tail_;
  byte_span audio_;
};

void check_removal(byte_span content, const file_map& map) {
  const auto without_head =
      edited(content, [](file_ptr& target, abort_callback& abort) { tag_processor::remove_id3v2(target, {}, abort); });
  const bool is_head_alone = map.head == content.size();
  expect(without_head == copy_of(is_head_alone ? content : content.subspan(map.head)), "removing the head took more");
  const auto without_tail = edited(
      content, [](file_ptr& target, abort_callback& abort) { tag_processor::remove_trailing(target, {}, abort); });
  expect(without_tail == copy_of(content.first(map.tail_with_lyrics3)), "removing the tail took more");
  const auto bare =
      edited(content, [](file_ptr& target, abort_callback& abort) { tag_processor::remove_all(target, {}, abort); });
  // A file of tags alone keeps its head.
  const auto begin = map.head >= map.tail_with_lyrics3 ? 0 : map.head;
  expect(bare == copy_of(content.subspan(begin, map.tail_with_lyrics3 - begin)), "removing all took more, or less");
}

void check_pictures(byte_span content, const file_info& info) {
  const auto before = read_pictures(content);
  const auto write_set = [](byte_span to, const album_art_set& set) {
    return edited(
        to, [&](file_ptr& target, abort_callback& abort) { tag_processor::write_pictures(target, {}, set, abort); });
  };
  const album_art_set wanted{{album_art_id::cover_front, make_album_art({std::byte{'p'}, std::byte{'i'}})}};
  const auto changed = write_set(content, wanted);
  const auto found = read_pictures(changed);
  expect(found && same_pictures(*found, wanted), "a new picture isn't there");
  const auto kept = read(changed);
  // A version that isn't written comes back as what a save makes of it.
  const auto converted = through_id3v2(info);
  expect(says_the_same(kept, info) || says_the_same(kept, converted), "writing a picture changes fields");
  if (!before) return;
  const auto back = write_set(changed, *before);
  // A head that held nothing else is gone, and the tail's pictures show.
  if (map_of(back).head != map_of(changed).head && before->empty()) return;
  const auto restored = read_pictures(back);
  expect(restored && same_pictures(*restored, *before), "the old pictures aren't back");
}

/// An operation of a write fails: all of the old bytes, or all of the new.
void check_failure(byte_span content, const file_info& info) {
  const auto hash = std::hash<std::string_view>()({reinterpret_cast<const char*>(content.data()), content.size()});
  const auto kinds = static_cast<tag_kinds>(1 + hash % 7);
  file_info_impl changed(info);
  changed.meta_set("title", "changed");
  edited(content, writing(changed, kinds), {.fail_at = hash / 7 % 64});
}

} // namespace

std::string check_tag_processor(std::span<const std::byte> data) {
  test::attach_own_services();
  return verdict_of([&] {
    abort_callback_dummy abort;
    const auto map = map_of(data);
    const auto zone = tag_processor::skip_id3v2(*service_new<memory_file>(data), abort);
    expect(zone.size == map.head, "the head ends elsewhere");
    check_removal(data, map);
    const auto info = read(data);
    if (map.head_is_cut) {
      // What is the tag's and what is audio can't be told: nothing is written.
      expect(write(data, info, tag_kinds::id3v2) == copy_of(data), "a file is written over");
      return;
    }
    if (has_too_many_values(info)) return;
    for (std::uint32_t kinds = 1; kinds <= 7; ++kinds)
      kinds_trial(data, map, info, static_cast<tag_kinds>(kinds)).run();
    if (!is_too_short(data.subspan(map.head, map.tail - map.head))) check_pictures(data, info);
    check_failure(data, info);
  });
}

} // namespace zelmora::fuzz
