// Tags of a file on disk, with every system call failing in turn and a kill before each: the old file or the new. With
// ID3v2 and ID3v1 that both fit it may also be the old one with the new ID3v1, which nobody reads beside ID3v2.
#include "tags/tag_processor.h"

#include "frame/input_open.h"
#include "support/old_or_new.h"
#include "tail_bytes.h"

namespace zelmora::test {
namespace {

const bytes audio(40'000, std::byte(0x55));
const bytes padded_head = make_tag(3, frame_v3("TIT2", text("old")) + bytes(3000));
const bytes padding_alone = make_tag(3, frame_v3("PRIV", to_bytes("x")) + bytes(3000));
const bytes full_head = make_tag(3, frame_v3("TIT2", text("old")));
const bytes ape = ape_bytes(ape_item_bytes("Title", "old"), 1);
const bytes id3v1 = id3v1_bytes({"old"});

struct rewrite_case {
  const char* name;
  bytes head;
  bytes tail;
  tag_kinds kinds;
  std::size_t title_size;
  bool moves_audio;            ///< whether more than the tags has to be written
  bool has_half_a_way = false; ///< the tail may be new and the head old
};
std::ostream& operator<<(std::ostream& out, const rewrite_case& c) { return out << c.name; }

class TagRewrite : public HostTest, public testing::WithParamInterface<rewrite_case> {
 protected:
  void SetUp() override {
    const auto content = GetParam().head + audio + GetParam().tail;
    old_bytes.assign(reinterpret_cast<const char*>(content.data()), content.size());
    info.meta_set("title", std::string(GetParam().title_size, 't'));
    info.meta_set("artist", "a");
    auto target = put_old();
    run(target, abort);
    target.release();
    new_bytes = read_bytes(path);
  }

  file_ptr put_old() {
    write_bytes(path, old_bytes);
    file_ptr target;
    input_open_file_helper(target, path, input_open_info_write, abort);
    return target;
  }
  void run(file_ptr& target, abort_callback& token) {
    tag_processor::write(target, path, info, GetParam().kinds, token);
  }

  std::string title() {
    file_info_impl found;
    tag_processor::read(*open(path), found, abort);
    return *found.meta_get("title");
  }
  /// From the opening of the file on.
  edit_check check() {
    return {scratch,
            path,
            old_bytes,
            new_bytes,
            [this](abort_callback& token) {
              file_ptr target;
              input_open_file_helper(target, path, input_open_info_write, token);
              run(target, token);
            },
            [this](const std::string& now) {
              const auto tail = new_bytes.size() - std::min(new_bytes.size(), id3v1.size());
              return GetParam().has_half_a_way && now == old_bytes.substr(0, tail) + new_bytes.substr(tail) &&
                     title() == "old";
            }};
  }

  const std::string path = scratch / "song.mp3";
  std::string old_bytes;
  std::string new_bytes;
  file_info_impl info;
};

TEST_P(TagRewrite, WritesNoMoreThanTheTagsWhereTheyFit) {
  auto target = put_old();
  const syscall_watch watch({});
  run(target, abort);
  EXPECT_EQ(watch.count("rename") != 0, GetParam().moves_audio);
}

TEST_P(TagRewrite, FailureOfEachCallLeavesTheOldFileOrTheNew) { expect_old_or_new_after_failures(check()); }

TEST_P(TagRewrite, KilledBeforeEachCallTheFileIsOldOrNew) { expect_old_or_new_after_kills(check()); }

INSTANTIATE_TEST_SUITE_P(
    files, TagRewrite,
    testing::Values(
        rewrite_case{"head_in_its_padding", padded_head, {}, tag_kinds::id3v2, 50, false},
        rewrite_case{"head_that_grows", full_head, {}, tag_kinds::id3v2, 5000, true},
        rewrite_case{"id3v1_in_place", {}, id3v1, tag_kinds::id3v1, 9, false},
        rewrite_case{"tail_that_grows", {}, ape + id3v1, tag_kinds::ape | tag_kinds::id3v1, 500, false},
        rewrite_case{"tail_that_shrinks",
                     {},
                     ape_bytes(ape_item_bytes("Title", "old") + ape_item_bytes("Album", std::string(900, 'o')), 2),
                     tag_kinds::ape,
                     3,
                     true},
        rewrite_case{"head_and_id3v1_that_fit", padded_head, id3v1, tag_kinds::id3v2 | tag_kinds::id3v1, 50, false,
                     true},
        rewrite_case{"head_of_nothing_and_id3v1", padding_alone, id3v1, tag_kinds::id3v2 | tag_kinds::id3v1, 50, true},
        rewrite_case{"both_ends", padded_head, ape + id3v1, tag_kinds::id3v2 | tag_kinds::ape | tag_kinds::id3v1, 50,
                     true},
        rewrite_case{"kinds_that_go", full_head, ape, tag_kinds::ape, 9, true}),
    case_name);

} // namespace
} // namespace zelmora::test
