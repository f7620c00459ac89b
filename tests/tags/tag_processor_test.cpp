// Both ends of a stream together.
#include "tags/tag_processor.h"

#include "../host/host_fixture.h"
#include "generated_info.h"
#include "support/faulty_file.h"
#include "tail_bytes.h"

#include "frame/memory_file.h"
#include "tags/id3v2_tag.h"

#include <gtest/gtest.h>

namespace zelmora::test {
namespace {

const bytes audio(5000, std::byte(0x55));
const bytes id3v2 = make_tag(3, frame_v3("TIT2", text("of id3v2")) + bytes(300));
const bytes id3v2_of_a_gain =
    make_tag(4, frame_v4("TXXX", text(std::string_view("replaygain_track_gain\0-2.00 dB", 30))));
const bytes id3v2_of_nothing = make_tag(4, frame_v4("PRIV", to_bytes("x")));
const bytes ape = ape_bytes(ape_item_bytes("Title", "of ape") + ape_item_bytes("replaygain_track_gain", "-1.00 dB"), 2);
const bytes id3v1 = id3v1_bytes({"of id3v1"});

service_ptr_t<memory_file> make_file(const bytes& content) { return service_new<memory_file>(content); }

class TagProcessor : public HostTest {
 protected:
  file_info_impl read(zelmora_io::file& source) {
    file_info_impl info;
    tag_processor::read(source, info, abort);
    return info;
  }
};

struct merge_case {
  const char* name;
  bytes content;
  std::string_view kinds; ///< empty: "Tag not found"
  std::string_view title;
  float track_gain = replaygain_info::gain_unset;
};
std::ostream& operator<<(std::ostream& out, const merge_case& c) { return out << c.name; }

class MergedTags : public TagProcessor, public testing::WithParamInterface<merge_case> {};

TEST_P(MergedTags, come_from_the_strongest) {
  const auto& tested = GetParam();
  const auto source = make_file(tested.content);
  if (tested.kinds.empty()) {
    EXPECT_THROW(read(*source), exception_tag_not_found);
    return;
  }
  const auto info = read(*source);
  EXPECT_EQ(*info.info_get("tagtype"), tested.kinds);
  EXPECT_EQ(info.meta_get("title") == nullptr ? "" : *info.meta_get("title"), tested.title);
  EXPECT_EQ(info.get_replaygain().track_gain, tested.track_gain);
}

INSTANTIATE_TEST_SUITE_P(
    files, MergedTags,
    testing::Values(merge_case{"none", audio, "", ""}, merge_case{"nothing_at_all", {}, "", ""},
                    merge_case{"head_alone", id3v2 + audio, "id3v2.3", "of id3v2"},
                    merge_case{"all_three", id3v2 + audio + ape + id3v1, "id3v2.3|apev2|id3v1", "of id3v2", -1},
                    merge_case{"ape_ends_the_file", id3v2 + audio + id3v1 + ape, "id3v2.3|apev2", "of id3v2", -1},
                    merge_case{"gain_of_the_head_wins", id3v2_of_a_gain + audio + ape, "id3v2.4|apev2", "", -2},
                    merge_case{"a_head_of_nothing_is_none", id3v2_of_nothing + audio + id3v1, "id3v1", "of id3v1"},
                    merge_case{"a_damaged_head_is_none",
                               make_tag(3, to_bytes("TIT2") + be_size(99) + bytes(9)) + audio + id3v1, "id3v1",
                               "of id3v1"},
                    merge_case{"a_head_past_the_end_is_none", bytes(id3v2.begin(), id3v2.end() - 9), "", ""},
                    merge_case{"second_head_is_skipped", id3v2 + id3v2_of_a_gain + audio, "id3v2.3", "of id3v2"}),
    case_name);

TEST_F(TagProcessor, FindsWhereTheHeadEnds) {
  const auto footer = make_tag(4, frame_v4("TIT2", text("t")), 0x10) + bytes(10);
  const auto source = make_file(id3v2 + footer + audio);
  const auto zone = tag_processor::skip_id3v2(*source, abort);
  EXPECT_EQ(zone.count, 2u);
  EXPECT_EQ(zone.size, id3v2.size() + footer.size());
  EXPECT_EQ(source->get_position(abort), zone.size);
  auto no_tag = id3v2;
  no_tag[6] = std::byte(0x80); // a size that isn't synchsafe: "ID3" is garbage of the stream
  EXPECT_EQ(tag_processor::skip_id3v2(*make_file(no_tag + audio), abort).count, 0u);
}

TEST_F(TagProcessor, TheTailOfARemoteObjectIsLeftAloneWhenTheHeadSaysEnough) {
  struct remote_file : memory_file {
    using memory_file::memory_file;
    bool is_remote() override { return true; }
  };
  EXPECT_EQ(*read(*service_new<remote_file>(id3v2 + audio + ape)).info_get("tagtype"), "id3v2.3");
  EXPECT_EQ(*read(*service_new<remote_file>(audio + ape)).info_get("tagtype"), "apev2");
}

TEST_F(TagProcessor, FailuresOfTheStreamAreNoDamage) {
  const auto count = std::make_shared<operation_count>();
  file_info_impl info;
  tag_processor::read(*make_faulty_file(make_file(id3v2 + audio + ape + id3v1), {}, count), info, abort);
  for (std::size_t n = 0; n < count->total; ++n) {
    EXPECT_THROW(read(*make_faulty_file(make_file(id3v2 + audio + ape + id3v1), {.fail_at = n})),
                 zelmora_io::exception_io_file_corrupted)
        << n;
    EXPECT_THROW(read(*make_faulty_file(make_file(id3v2 + audio + ape + id3v1), {.abort_at = n})),
                 zelmora_io::exception_aborted)
        << n;
  }
}

// --- writing -------------------------------------------------------------------------------------------------------

struct write_case {
  const char* name;
  bytes head;
  bytes tail;
  tag_kinds kinds;
  std::string_view found; ///< afterwards
};
std::ostream& operator<<(std::ostream& out, const write_case& c) { return out << c.name; }

class WrittenTags : public TagProcessor, public testing::WithParamInterface<write_case> {};

TEST_P(WrittenTags, are_those_asked_for_around_the_same_audio) {
  const auto& tested = GetParam();
  const auto object = make_file(tested.head + audio + tested.tail);
  file_ptr target(object.get());
  auto info = info_generator(7).tame();
  info.meta_set("title", "new");
  tag_processor::write(target, {}, info, tested.kinds, abort);
  if (tested.found.empty()) {
    EXPECT_EQ(object->content(), audio);
    return;
  }
  const auto found = read(*object);
  EXPECT_EQ(*found.info_get("tagtype"), tested.found);
  EXPECT_EQ(*found.meta_get("title"), "new");
  if (has_kind(tested.kinds, tag_kinds::id3v2)) {
    EXPECT_EQ(list_meta(found), list_meta(info));
  }
  const auto head = tag_processor::skip_id3v2(*object, abort);
  EXPECT_LE(head.count, 1u);
  const auto audio_begin = object->content().begin() + static_cast<std::ptrdiff_t>(head.size);
  EXPECT_TRUE(std::equal(audio.begin(), audio.end(), audio_begin));
  // The same again writes nothing.
  const auto count = std::make_shared<operation_count>();
  auto watched = make_faulty_file(target, {}, count);
  tag_processor::write(watched, {}, found, tested.kinds, abort);
  EXPECT_EQ(count->writes, 0u);
  tag_processor::remove_all(target, {}, abort);
  EXPECT_EQ(object->content(), audio);
}

const auto all_kinds = tag_kinds::id3v2 | tag_kinds::ape | tag_kinds::id3v1;
INSTANTIATE_TEST_SUITE_P(
    files, WrittenTags,
    testing::Values(write_case{"untagged", {}, {}, all_kinds, "id3v2.3|apev2|id3v1"},
                    write_case{"head_alone", {}, {}, tag_kinds::id3v2, "id3v2.3"},
                    write_case{"tail_alone", {}, {}, tag_kinds::ape | tag_kinds::id3v1, "apev2|id3v1"},
                    write_case{"kinds_that_go", id3v2, ape + id3v1, tag_kinds::ape, "apev2"},
                    write_case{"two_heads_become_one", id3v2 + id3v2_of_a_gain, {}, tag_kinds::id3v2, "id3v2.3"},
                    write_case{"a_damaged_head_is_replaced",
                               make_tag(4, to_bytes("TIT2") + bytes(4, std::byte(0xFF))),
                               {},
                               tag_kinds::id3v2,
                               "id3v2.3"},
                    write_case{"version_stays", id3v2_of_a_gain, id3v1, tag_kinds::id3v2 | tag_kinds::id3v1,
                               "id3v2.4|id3v1"},
                    write_case{"none", id3v2, id3v1 + ape + id3v1, tag_kinds::none, ""}),
    case_name);

TEST_F(TagProcessor, AFileOfTagsAloneKeepsItsHead) {
  for (const auto& content : {id3v2, id3v2 + id3v1}) {
    const auto object = make_file(content);
    file_ptr target(object.get());
    tag_processor::remove_all(target, {}, abort);
    EXPECT_EQ(object->content(), id3v2);
    tag_processor::write(target, {}, read(*object), tag_kinds::ape, abort);
    EXPECT_EQ(*read(*object).info_get("tagtype"), "apev2") << "unless there is another tag";
  }
}

// An APE footer whose tag would begin in the head is noise, however large the head gets.
TEST_F(TagProcessor, WhatStandsInTheHeadIsNotTheTails) {
  const auto noise = ape_edge(audio.size() + 100, 1, ape_footer_flags);
  const auto object = make_file(audio + noise);
  file_ptr target(object.get());
  file_info_impl info;
  info.meta_set("title", "t");
  tag_processor::write(target, {}, info, tag_kinds::id3v2, abort);
  EXPECT_EQ(*read(*object).info_get("tagtype"), "id3v2.3");
  tag_processor::remove_all(target, {}, abort);
  EXPECT_EQ(object->content(), audio + noise);
}

// What such a head claims may be audio, for all that is known.
TEST_F(TagProcessor, AHeadThatGoesPastTheEndIsNotWrittenOver) {
  auto content = id3v2 + audio + id3v1;
  content[7] = std::byte(1); // 16 KiB more
  const auto object = make_file(content);
  file_ptr target(object.get());
  EXPECT_TRUE(tag_processor::skip_id3v2(*object, abort).is_cut);
  const auto info = read(*object);
  EXPECT_EQ(*info.meta_get("title"), "of id3v1");
  EXPECT_THROW(tag_processor::write(target, {}, info, tag_kinds::id3v1, abort), zelmora_io::exception_io_data);
  EXPECT_THROW(tag_processor::write_pictures(target, {}, {}, abort), zelmora_io::exception_io_data);
  EXPECT_EQ(object->content(), content);
  tag_processor::remove_all(target, {}, abort);
  EXPECT_EQ(object->content(), bytes(content.begin(), content.end() - std::ssize(id3v1)));
}

TEST_F(TagProcessor, PicturesGoWhereTheTagsAre) {
  const album_art_set pictures{{album_art_id::cover_front, make_album_art(to_bytes("picture"))}};
  struct art_case {
    bytes content;
    std::string_view found;
    std::string_view kinds;
  };
  for (const auto& tested : {art_case{id3v2 + audio + ape + id3v1, "id3", "id3v2.3|apev2|id3v1"},
                             art_case{audio + ape + id3v1, "ape", "apev2|id3v1"}, art_case{audio, "id3", ""}}) {
    file_ptr target = make_file(tested.content);
    tag_processor::write_pictures(target, {}, pictures, abort);
    const auto found = tag_processor::read_pictures(*target, abort);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].id, album_art_id::cover_front);
    EXPECT_EQ(tag_processor::skip_id3v2(*target, abort).count, tested.found == "id3" ? 1u : 0u);
    if (!tested.kinds.empty()) {
      EXPECT_EQ(*read(*target).info_get("tagtype"), tested.kinds);
    }
  }
  EXPECT_THROW(tag_processor::read_pictures(*make_file(audio + id3v1), abort), exception_album_art_not_found);
}

TEST_F(TagProcessor, PicturesThatAreThereAreNotWritten) {
  // As others write them: a name of their own before the picture, a second one of its kind, no header.
  const auto cover = ape_item_bytes("Cover Art (Front)", std::string_view("cover.jpg\0picture", 17), 2);
  const auto items = cover + ape_item_bytes("Title", "t") + cover;
  const auto foreign = items + ape_edge(items.size() + 32, 3, 0);
  const auto broken = ape_bytes(ape_item_bytes("Cover Art (Front)", "no name", 2), 1);
  struct picture_case {
    bytes tail;
    album_art_set pictures;
    bool is_written;
  };
  const auto picture = make_album_art(to_bytes("picture"));
  for (const auto& tested :
       {picture_case{foreign, {{album_art_id::cover_front, picture}}, false},
        picture_case{foreign, {{album_art_id::cover_back, picture}}, true}, picture_case{foreign, {}, true},
        picture_case{foreign, {{album_art_id::icon, picture}}, true}, picture_case{ape, {}, false},
        picture_case{broken, {}, true}}) {
    const auto count = std::make_shared<operation_count>();
    auto target = make_faulty_file(make_file(audio + tested.tail + id3v1), {}, count);
    tag_processor::write_pictures(target, {}, tested.pictures, abort);
    EXPECT_EQ(count->writes != 0, tested.is_written);
  }
}

// --- which kinds ---------------------------------------------------------------------------------------------------

// Pictures alone give no "tagtype", and would go with the tag.
TEST_F(TagProcessor, ATitleDoesNotCostThePictures) {
  file_ptr target = make_file(audio + id3v1);
  const album_art_set pictures{{album_art_id::cover_front, make_album_art(to_bytes("picture"))}};
  tag_processor::write_pictures(target, {}, pictures, abort);
  auto info = read(*target);
  EXPECT_EQ(*info.info_get("tagtype"), "id3v1");
  const auto head = tag_processor::skip_id3v2(*target, abort);
  const auto current = info;
  info.meta_set("title", "short");
  tag_processor::write(target, {}, info, choose_mp3_tag_kinds(current, head, info), abort);
  EXPECT_EQ(*read(*target).info_get("tagtype"), "id3v2.3|id3v1");
  EXPECT_EQ(tag_processor::read_pictures(*target, abort).size(), 1u);
}

TEST(Mp3TagKinds, follow_what_is_there) {
  struct kinds_case {
    std::string_view found;
    bool is_simple;
    tag_kinds wanted;
  };
  for (const auto& tested :
       {kinds_case{"", true, tag_kinds::id3v2 | tag_kinds::id3v1}, kinds_case{"apev2", true, tag_kinds::ape},
        kinds_case{"id3v2.4|apev2|id3v1", false, all_kinds}, kinds_case{"id3v1", true, tag_kinds::id3v1},
        kinds_case{"id3v1", false, tag_kinds::id3v2 | tag_kinds::id3v1}}) {
    file_info_impl current;
    if (!tested.found.empty()) current.info_set("tagtype", tested.found);
    file_info_impl info;
    info.meta_set("title", tested.is_simple ? "short" : "longer than the thirty bytes that there are");
    EXPECT_EQ(choose_mp3_tag_kinds(current, {}, info), tested.wanted) << tested.found;
    info.info_set("iTunNORM", "x");
    EXPECT_TRUE(has_kind(choose_mp3_tag_kinds(current, {}, info), tag_kinds::id3v2)) << tested.found;
  }
}

} // namespace
} // namespace zelmora::test
