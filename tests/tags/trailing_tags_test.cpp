#include "tags/trailing_tags.h"

#include "generated_info.h"
#include "support/faulty_file.h"
#include "tail_bytes.h"

#include "frame/memory_file.h"

#include <gtest/gtest.h>

namespace zelmora::test {
namespace {

using namespace std::string_literals;

const bytes audio = bytes(5000, std::byte(0x55));
const bytes ape = ape_bytes(ape_item_bytes("Title", "of ape") + ape_item_bytes("replaygain_track_gain", "-1.00 dB"), 2);
const bytes other_ape = ape_bytes(ape_item_bytes("Title", "of the other"), 1);
const bytes large_ape =
    ape_bytes(ape_item_bytes("Lyrics", std::string(9000, 'l')) + ape_item_bytes("Title", "large"), 2);
const bytes id3v1 = id3v1_bytes({"of id3v1", "an artist"});
const bytes lyrics3 = lyrics3_bytes(lyrics3_field("ETT", "of lyrics3"));

service_ptr_t<memory_file> make_file(const bytes& content) { return service_new<memory_file>(content); }

class TrailingTags : public testing::Test {
 protected:
  abort_callback_dummy abort;
};

// ---------------------------------------------------------------------------------------------------------------------

struct read_case {
  const char* name;
  bytes tail;
  std::string_view kinds; ///< empty: "Tag not found"
  std::string_view title;
  std::size_t taken; ///< bytes of the tail that belong to tags that were read
};
class ReadTail : public TrailingTags, public testing::WithParamInterface<read_case> {};

TEST_P(ReadTail, finds_the_last_blocks) {
  const auto& tested = GetParam();
  for (const auto& before : {audio, bytes()}) {
    const auto content = before + tested.tail;
    file_info_impl info;
    if (tested.kinds.empty()) {
      EXPECT_THROW(read_trailing_tags(*make_file(content), info, abort), exception_tag_not_found);
      continue;
    }
    EXPECT_EQ(read_trailing_tags(*make_file(content), info, abort), content.size() - tested.taken);
    EXPECT_EQ(*info.info_get("tagtype"), tested.kinds);
    EXPECT_EQ(*info.meta_get("title"), tested.title);
  }
}

bytes damaged(bytes tag) {
  store_le(&tag[tag.size() - 20], std::uint32_t{0x7FFFFFFF}); // the footer's size
  return tag;
}

INSTANTIATE_TEST_SUITE_P(
    cases, ReadTail,
    testing::Values(read_case{"nothing", {}, "", "", 0},
                    read_case{"31_bytes_of_a_footer", bytes(ape.end() - 31, ape.end()), "", "", 0},
                    read_case{"ape", ape, "apev2", "of ape", ape.size()},
                    read_case{"id3v1", id3v1, "id3v1", "of id3v1", 128},
                    read_case{"ape_and_id3v1", ape + id3v1, "apev2|id3v1", "of ape", ape.size() + 128},
                    read_case{"id3v1_and_ape", id3v1 + ape, "apev2", "of ape", ape.size()},
                    read_case{"larger_than_the_first_look", large_ape + id3v1, "apev2|id3v1", "large",
                              large_ape.size() + 128},
                    read_case{"damaged_ape_and_id3v1", damaged(ape) + id3v1, "id3v1", "of id3v1", 128},
                    read_case{"damaged_ape", damaged(ape), "", "", 0},
                    // A footer at the end: what stands 128 bytes before it is inside the tag.
                    read_case{"tag_inside_ape",
                              ape_bytes(ape_item_bytes("Title", "x") +
                                            ape_item_bytes("X", std::string(13, 'x') + "TAG" + std::string(93, 'y')),
                                        2),
                              "apev2", "x", 198},
                    read_case{"damaged_ape_around_id3v1", id3v1 + damaged(ape_bytes({}, 0)), "", "", 0},
                    read_case{"lyrics3_is_not_read", lyrics3, "", "", 0},
                    read_case{"lyrics3_and_id3v1", lyrics3 + id3v1, "id3v1", "of id3v1", 128},
                    read_case{"lyrics3_between", ape + lyrics3 + id3v1, "id3v1", "of id3v1", 128}),
    case_name);

TEST_F(TrailingTags, TheWeakerTagGivesNoFields) {
  const auto content = audio + ape + id3v1;
  file_info_impl info;
  read_trailing_tags(*make_file(content), info, abort);
  EXPECT_EQ(list_meta(info), (meta_list{{"title", {"of ape"}}}));
  EXPECT_EQ(info.get_replaygain().track_gain, -1.0f);
}

TEST_F(TrailingTags, FailuresAreNoDamage) {
  const auto content = audio + large_ape + id3v1;
  for (std::size_t operation = 0;; ++operation) {
    const auto count = std::make_shared<operation_count>();
    file_info_impl info;
    const auto read = [&] {
      read_trailing_tags(*make_faulty_file(make_file(content), {.fail_at = operation}, count), info, abort);
    };
    if (operation == 0) {
      EXPECT_THROW(read(), zelmora_io::exception_io_file_corrupted);
      continue;
    }
    try {
      read();
    } catch (const zelmora_io::exception_io_file_corrupted&) {
      continue;
    }
    EXPECT_LE(count->total, operation) << "a failure was taken for damage";
    EXPECT_GT(operation, 3u);
    break;
  }
}

// ---------------------------------------------------------------------------------------------------------------------

struct scan_case {
  const char* name;
  std::vector<bytes> blocks;
  std::size_t stay;         ///< of the blocks, when the tail is written anew
  std::size_t stay_without; ///< when it is removed
  const bytes* ape = nullptr;
};
class ScanTail : public TrailingTags, public testing::WithParamInterface<scan_case> {};

TEST_P(ScanTail, strips_whatever_is_stacked) {
  const auto& tested = GetParam();
  bytes content = audio;
  std::vector<std::size_t> begins;
  for (const auto& block : tested.blocks) {
    begins.push_back(content.size());
    content = content + block;
  }
  begins.push_back(content.size());
  const auto file = make_file(content);
  const auto zone = scan_trailing_tags(*file, tail_use::replace, abort);
  EXPECT_EQ(zone.begin, begins[tested.stay]);
  EXPECT_EQ(zone.end, content.size());
  EXPECT_EQ(zone.ape_bytes, tested.ape != nullptr ? *tested.ape : bytes());
  EXPECT_EQ(scan_trailing_tags(*file, tail_use::remove, abort).begin, begins[tested.stay_without]);

  const auto removal = remove_trailing_tags(*file, abort);
  EXPECT_EQ(removal.begin, begins[tested.stay_without]);
  EXPECT_EQ(removal.end, content.size());
  EXPECT_TRUE(removal.content.empty());
}

INSTANTIATE_TEST_SUITE_P(cases, ScanTail,
                         testing::Values(scan_case{"nothing", {}, 0, 0}, scan_case{"usual", {ape, id3v1}, 0, 0, &ape},
                                         scan_case{"anything", {id3v1, id3v1, lyrics3, ape, id3v1}, 3, 0, &ape},
                                         scan_case{"lyrics3_as_it_should_be", {lyrics3, id3v1}, 1, 0},
                                         scan_case{"lyrics3_behind", {ape, lyrics3}, 2, 0},
                                         scan_case{"one_ape_counts", {other_ape, ape, id3v1}, 1, 1, &ape},
                                         scan_case{"damage_ends_it", {damaged(ape), id3v1, id3v1}, 1, 1}),
                         case_name);

// A tag of pictures is megabytes, and one may be larger than what is kept in memory.
TEST_F(TrailingTags, WhatGoesIsNotReadBefore) {
  const auto count = std::make_shared<operation_count>();
  const auto pictures = ape_bytes(ape_item_bytes("Cover Art (Front)", std::string(3'000'000, 'p'), 2), 1);
  const auto file = make_faulty_file(make_file(audio + pictures + id3v1), {}, count);
  EXPECT_EQ(remove_trailing_tags(*file, abort).begin, audio.size());
  EXPECT_LT(count->bytes_read, 4096u);
  // For an edit it is read once.
  EXPECT_EQ(scan_trailing_tags(*file, tail_use::replace, abort).ape_bytes, pictures);
  EXPECT_LT(count->bytes_read, pictures.size() + 8192);
}

// ---------------------------------------------------------------------------------------------------------------------

class WriteTail : public TrailingTags {
 protected:
  file_info_impl info;
  void SetUp() override { info.meta_set("title", "new"); }

  bytes write(const bytes& old, trailing_kinds kinds) {
    const auto file = make_file(old);
    const auto edit = write_trailing_tags(*file, info, kinds, abort);
    EXPECT_EQ(edit.end, old.size());
    return bytes(old.begin(), old.begin() + static_cast<std::ptrdiff_t>(edit.begin)) + edit.content;
  }
  file_info_impl read(const bytes& content) {
    file_info_impl found;
    read_trailing_tags(*make_file(content), found, abort);
    return found;
  }
};

TEST_F(WriteTail, ApeThenId3v1InPlaceOfWhatWasThere) {
  const auto new_ape = ape_bytes(ape_item_bytes("Title", "new"), 1);
  const auto new_id3v1 = id3v1_bytes({"new"});
  struct {
    bytes old;
    trailing_kinds kinds;
    bytes expected;
  } const rows[]{
      {{}, trailing_kinds::both, new_ape + new_id3v1},
      {ape + id3v1, trailing_kinds::ape, new_ape},
      {ape + id3v1, trailing_kinds::id3v1, new_id3v1},
      {id3v1 + id3v1 + ape, trailing_kinds::both, new_ape + new_id3v1},
      {lyrics3 + id3v1, trailing_kinds::both, lyrics3 + new_ape + new_id3v1},
      {lyrics3 + id3v1, trailing_kinds::none, {}},
      {damaged(ape) + id3v1, trailing_kinds::ape, damaged(ape) + new_ape},
  };
  for (const auto& row : rows) EXPECT_EQ(write(audio + row.old, row.kinds), audio + row.expected);
}

TEST_F(WriteTail, ItemsThatAreNoTextStay) {
  const auto cover = ape_item_bytes("Cover Art (Front)", "x.png\0bytes"s, 2);
  const auto old = ape_bytes(ape_item_bytes("Artist", "a") + cover, 2);
  EXPECT_EQ(write(audio + old + id3v1, trailing_kinds::ape),
            audio + ape_bytes(cover + ape_item_bytes("Title", "new"), 2));
}

TEST_F(WriteTail, WhatSaysTheSameStaysByteForByte) {
  // Version 1, another spelling of keys and numbers, an order of its own, blanks in ID3v1: all as others write them.
  const auto foreign_items = ape_item_bytes("ALBUM", "l") + ape_item_bytes("tracknumber", "3") +
                             ape_item_bytes("title", "t") + ape_item_bytes("REPLAYGAIN_TRACK_GAIN", "-7.1500 dB") +
                             ape_item_bytes("Cover Art (Back)", "b\0x"s, 2);
  const auto foreign_ape = foreign_items + ape_edge(foreign_items.size() + 32, 5, 0);
  const auto version_1 = ape_item_bytes("Title", "t") + ape_edge(ape_item_bytes("Title", "t").size() + 32, 1, 0, 1000);
  const auto foreign_id3v1 = id3v1_bytes({"t                             ", "", "l\0 rest"s, "", "", 3, 200});
  for (const auto& [tail, kinds] :
       {std::pair(foreign_ape, trailing_kinds::ape), std::pair(foreign_ape + foreign_id3v1, trailing_kinds::both),
        std::pair(version_1, trailing_kinds::ape), std::pair(foreign_id3v1, trailing_kinds::id3v1)}) {
    info = read(audio + tail);
    EXPECT_EQ(write(audio + tail, kinds), audio + tail);
  }
  info.meta_set("title", "u");
  EXPECT_NE(write(audio + foreign_id3v1, trailing_kinds::id3v1), audio + foreign_id3v1);
}

TEST_F(WriteTail, SavingTwiceChangesNothing) {
  for (unsigned seed = 0; seed < 100; ++seed) {
    info = info_generator(seed).wild();
    const auto once = write(audio + ape + id3v1, trailing_kinds::both);
    EXPECT_EQ(write(once, trailing_kinds::both), once) << seed;
    // Empty values don't come back, and what stands behind one is the first value for ID3v1 then.
    info = read(once);
    const auto settled = write(once, trailing_kinds::both);
    info = read(settled);
    EXPECT_EQ(write(settled, trailing_kinds::both), settled) << seed;
  }
}

TEST_F(WriteTail, TheOneService) {
  const auto service = service_single<trailing_tag_service>();
  const auto file = make_file(audio + id3v1);
  service->write(*file, info, trailing_kinds::both, abort);
  file_info_impl found;
  std::uint64_t offset = 0;
  service->read(*file, found, offset, abort);
  EXPECT_EQ(offset, audio.size());
  EXPECT_EQ(list_meta(found), list_meta(info));
  service->remove(*file, abort);
  EXPECT_EQ(file->content(), audio);
  EXPECT_THROW(service->read(*file, found, abort), exception_tag_not_found);
}

} // namespace
} // namespace zelmora::test
