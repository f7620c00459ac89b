#include "riff_tags_check.h"

#include "frame/exceptions.h"
#include "frame/memory_file.h"
#include "pcm/input_wav.h"
#include "pcm/riff_layout.h"
#include "support/faulty_file.h"
#include "support/test_services.h"
#include "tag_compare.h"
#include "tags/tag_merge.h"
#include "verdict.h"

#include <fmt/core.h>

#include <algorithm>
#include <functional>

namespace zelmora::fuzz {

using namespace zelmora_io;

namespace {

using bytes = std::vector<std::byte>;

/// A path that nothing can be replaced at: what can't be done in place is refused.
constexpr std::string_view path = "none://fuzz.wav";

bytes cut_out(const bytes& content, std::uint64_t begin, std::uint64_t size) {
  const auto at = content.begin() + static_cast<std::ptrdiff_t>(begin);
  return {at, at + static_cast<std::ptrdiff_t>(size)};
}

/// What a reader sees of the audio.
struct audio_view {
  wave_format format;
  std::uint64_t offset = 0;
  bytes data;
  std::uint64_t fact_samples = 0;
  friend bool operator==(const audio_view&, const audio_view&) = default;
};

audio_view view_audio(const bytes& content) {
  abort_callback_dummy abort;
  wav_parser wav(service_new<memory_file>(content));
  wav.parse(abort);
  return {wav.format(), wav.data_offset(), cut_out(content, wav.data_offset(), wav.data_size()), wav.fact_samples()};
}

/// The chunks that no edit may touch, with their places.
std::vector<std::pair<riff_chunk, bytes>> list_foreign_chunks(const bytes& content) {
  abort_callback_dummy abort;
  std::vector<std::pair<riff_chunk, bytes>> result;
  for (const auto& chunk : read_riff_layout(*service_new<memory_file>(content), abort).chunks)
    if (chunk.role == riff_role::other) result.emplace_back(chunk, cut_out(content, chunk.position, chunk.size + 8));
  return result;
}

bool has_tag_chunks(const bytes& content) {
  abort_callback_dummy abort;
  return std::ranges::any_of(
      read_riff_layout(*service_new<memory_file>(content), abort).chunks,
      [](const riff_chunk& chunk) { return chunk.role == riff_role::id3 || chunk.role == riff_role::info; });
}

/// Whether a text of an INFO list claims more than the list has.
bool has_text_past_its_list(const bytes& content) {
  abort_callback_dummy abort;
  for (const auto& chunk : read_riff_layout(*service_new<memory_file>(content), abort).chunks) {
    if (chunk.role != riff_role::info) continue;
    const auto payload = cut_out(content, chunk.payload(), chunk.size);
    le_reader in{payload};
    in.skip(riff_codes::info.text.size());
    while (in.remaining() >= riff_chunk_header) {
      in.skip(4);
      const std::size_t size = in.le32();
      if (size > in.remaining()) return true;
      in.skip(std::min(size + size % 2, in.remaining()));
    }
  }
  return false;
}

file_info_impl read(const bytes& content) {
  abort_callback_dummy abort;
  input_wav wav;
  wav.open(service_new<memory_file>(content), path, input_open_info_read, abort);
  file_info_impl info;
  wav.get_info(info, abort);
  return info;
}

using edit_call = std::function<void(input_wav&, abort_callback&)>;

/// `content` after `edit`; as it was where the edit is refused.
bytes edited(const bytes& content, const edit_call& edit, test::file_faults faults = {}) {
  abort_callback_dummy abort;
  const auto object = service_new<memory_file>(content);
  const bool is_faulty = faults.fail_at != test::file_faults::never;
  try {
    input_wav wav;
    wav.open(test::make_faulty_file(object, std::move(faults)), path, input_open_info_write, abort);
    edit(wav, abort);
  } catch (const exception_io& refusal) {
    if (!is_faulty && object->content() != content)
      throw violation{fmt::format("a refused edit leaves changes ({})", refusal.what())};
  }
  return object->content();
}

bytes retagged(const bytes& content, const file_info& info, test::file_faults faults = {}) {
  return edited(
      content, [&](input_wav& wav, abort_callback& abort) { wav.retag(info, abort); }, std::move(faults));
}

bytes without_tags(const bytes& content) {
  return edited(content, [](input_wav& wav, abort_callback& abort) { wav.remove_tags(abort); });
}

/// A file under edit.
class trial {
 public:
  explicit trial(const bytes& content) : original_(content), audio_(view_audio(content)), info_(read(content)) {}

  void run() {
    if (!can_be_edited() || has_too_many_values(info_)) return;
    foreign_ = list_foreign_chunks(original_);
    const auto saved = save_unchanged();
    auto changed_info = info_;
    changed_info.meta_set("title", "changed");
    const auto once = there_and_back(saved, changed_info);
    const auto twice = there_and_back(once, changed_info);
    expect(twice.size() <= once.size(), "a file grows with each pair of edits");
    remove(once);
    fail(saved, changed_info);
  }

 private:
  static void expect(bool holds, const char* otherwise) {
    if (!holds) throw violation{otherwise};
  }

  /// Where chunks can't be told apart, nothing is done.
  bool can_be_edited() {
    try {
      abort_callback_dummy abort;
      const auto layout = read_riff_layout(*service_new<memory_file>(original_), abort);
      // Bytes that are nobody's have to move: there is no way to without a path.
      return !layout.has_foreign_tail;
    } catch (const exception_io_data&) {
      auto info = info_;
      info.meta_set("title", "changed");
      expect(retagged(original_, info) == original_, "what can't be told apart is written");
      return false;
    }
  }

  void expect_same_audio(const bytes& content) {
    expect(view_audio(content) == audio_, "the audio is another");
    expect(list_foreign_chunks(content) == foreign_, "a chunk that is no tag is another");
  }

  /// Each field as it is wanted, or as a new tag would have it.
  void expect_said(const bytes& content, const file_info& wanted) {
    const auto found = read(content);
    if (says_the_same(found, wanted)) return;
    const auto fresh = through_id3v2(wanted);
    expect(says_the_same(found, fresh) || says_the_same(through_id3v2(found), through_id3v2(fresh)),
           "what was written reads as something else");
  }

  bytes save_unchanged() {
    const auto saved = retagged(original_, info_);
    expect_same_audio(saved);
    expect_said(saved, info_);
    expect(retagged(saved, read(saved)) == saved, "saving what was read changes it again");
    return saved;
  }

  bytes there_and_back(const bytes& content, const file_info& changed_info) {
    const auto changed = retagged(content, changed_info);
    expect_same_audio(changed);
    expect(has_title(read(changed), "changed"), "a new title isn't there");
    expect_said(changed, changed_info);
    const auto back = retagged(changed, info_);
    expect_same_audio(back);
    expect_said(back, info_);
    return back;
  }

  void remove(const bytes& content) {
    const auto bare = without_tags(content);
    expect_same_audio(bare);
    expect(!has_tag_chunks(bare), "something is left of the tags");
    expect(bare.size() <= original_.size() + 1, "removing tags makes the file larger");
    expect(without_tags(bare) == bare, "there is more to remove");
  }

  /// An operation of a write fails: the old tags or the new.
  void fail(const bytes& content, const file_info& changed_info) {
    const auto after = read(retagged(content, changed_info));
    const auto at = std::hash<std::string_view>()({reinterpret_cast<const char*>(content.data()), content.size()}) % 64;
    const auto broken = retagged(content, changed_info, {.fail_at = at});
    expect(view_audio(broken) == audio_, "the audio is another after a failure");
    if (has_text_past_its_list(content)) return; // It depends on the file's end whether that list can be read.
    const auto found = read(broken);
    expect(says_the_same(found, read(content)) || says_the_same(found, after),
           "a failure leaves neither the old nor the new");
  }

  bytes original_;
  audio_view audio_;
  file_info_impl info_;
  std::vector<std::pair<riff_chunk, bytes>> foreign_;
};

} // namespace

std::string check_riff_tags(std::span<const std::byte> data) {
  test::attach_own_services();
  const bytes content(data.begin(), data.end());
  return verdict_of([&] {
    try {
      abort_callback_dummy abort;
      input_wav().open(service_new<memory_file>(content), path, input_open_info_write, abort);
      read(content);
    } catch (const exception_io&) {
      return; // foreign data, another container, or a format that can't be described
    }
    trial(content).run();
  });
}

} // namespace zelmora::fuzz
