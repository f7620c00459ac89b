// What stands between frames, and where decoding begins for a frame in the middle.
#include "mpeg/frame_reader.h"

#include "mpeg/frame_protection.h"
#include "mpeg/seek_start.h"
#include "mpeg_test_support.h"

namespace zelmora::test {
namespace {

abort_callback_dummy no_abort;

struct read_result {
  std::vector<std::uint64_t> offsets; ///< of the frames
  std::vector<std::pair<mpeg_event, std::uint64_t>> events;
  friend bool operator==(const read_result&, const read_result&) = default;
};

read_result read_all(const bytes& content, mpeg_frame_reader::range range = {}) {
  read_result result;
  byte_window window(service_new<memory_file>(content));
  mpeg_frame_reader reader(window, range,
                           [&](mpeg_event event, std::uint64_t offset) { result.events.emplace_back(event, offset); });
  while (const auto frame = reader.next(no_abort)) result.offsets.push_back(frame->offset);
  return result;
}

const bytes two = make_frames(header_128k, 2); // 834 bytes
const bytes id3v1 = to_bytes("TAG") + bytes(125);

bytes make_ape(std::size_t items) {
  auto header = to_bytes("APETAGEX") + bytes(24);
  store_le(header.data() + 12, static_cast<std::uint32_t>(items + 32));
  return header + make_noise(items, 300) + header;
}

struct reader_case {
  const char* name;
  bytes content;
  read_result expected;
};

using enum mpeg_event;
const reader_case reader_cases[]{
    {"tags_between_frames", two + id3v1 + id3v1 + two, {{0, 417, 1090, 1507}, {{id3_garbage, 834}}}},
    {"a_tag_at_the_end", two + id3v1, {{0, 417}, {}}},
    {"noise", two + make_noise(50) + two, {{0, 417, 884, 1301}, {{stream_error, 834}, {resync_done, 884}}}},
    {"a_frame_cut_short",
     make_frames(header_128k) + bytes(two.begin(), two.begin() + 100) + two + two,
     {{0, 417, 934, 1351, 1768}, {{stream_error, 834}, {resync_done, 934}}}},
    {"noise_to_the_end", two + make_noise(50), {{0, 417}, {{stream_error, 834}, {resync_failed, 834}}}},
    {"a_large_tag_with_false_frames",
     two + make_id3v2(make_frames(header_64k, 6000)) + two,
     {{0, 417, 834 + 10 + 6000 * 208, 834 + 10 + 6000 * 208 + 417},
      {{stream_error, 834}, {resync_done, 834 + 10 + 6000 * 208}}}},
    {"a_tag_that_claims_too_much",
     two + to_bytes("ID3") + to_bytes({4, 0, 0, 127, 127, 127, 127}) + two,
     {{0, 417, 844, 1261}, {{stream_error, 834}, {resync_done, 844}}}},
    {"an_ape_tag_at_the_end", two + make_ape(1000) + id3v1, {{0, 417}, {}}},
    {"an_ape_tag_between_frames",
     two + make_ape(1000) + two,
     {{0, 417, 834 + 1064, 834 + 1064 + 417}, {{stream_error, 834}, {resync_done, 834 + 1064}}}},
};

class frame_reader : public testing::TestWithParam<reader_case> {};

TEST_P(frame_reader, passes_over_what_is_no_frame) { EXPECT_EQ(read_all(GetParam().content), GetParam().expected); }

INSTANTIATE_TEST_SUITE_P(mpeg, frame_reader, testing::ValuesIn(reader_cases),
                         [](const auto& row) { return row.param.name; });

TEST(frame_reader, ends_where_the_stream_does) {
  EXPECT_EQ(read_all(two + two, {.begin = 0, .end = 834, .index = nullptr}).offsets.size(), 2u);
  EXPECT_EQ(read_all(two + id3v1 + two, {.begin = 0, .end = 900, .index = nullptr}), (read_result{{0, 417}, {}}));
}

TEST(frame_reader, takes_a_lone_header_of_another_format_for_damage) {
  constexpr std::uint32_t mono = 0xFFFB90C4;       // as large as its neighbours
  constexpr std::uint32_t other_rate = 0xFFFB9464; // 48000 Hz, and smaller
  const mpeg_frame_reader::range range{.index = nullptr, .format = parse_mpeg_header(make_header(header_128k))};

  byte_window flipped(service_new<memory_file>(two + make_frames(mono) + two));
  mpeg_frame_reader reader(flipped, range, nullptr);
  std::string seen;
  while (const auto frame = reader.next(no_abort)) {
    EXPECT_EQ(frame->sample, 1152 * frame->number);
    seen += frame->is_damaged ? 'd' : frame->is_behind_damage ? 'b' : 'f';
  }
  EXPECT_EQ(seen, "ffdbf");

  auto cut = make_frames(header_128k);
  std::ranges::copy(make_header(other_rate), cut.begin());
  EXPECT_EQ(read_all(two + cut + two, range),
            (read_result{{0, 417, 1251, 1668}, {{stream_error, 834}, {resync_done, 1251}}}));
  const auto joined = read_all(two + make_frames(header_mpeg2_64k, 2) + make_frames(mono, 2), range);
  EXPECT_EQ(joined.offsets.size(), 6u);
  EXPECT_TRUE(joined.events.empty());
}

// --- the index -------------------------------------------------------------------------------------------------------

TEST(frame_index, keeps_entries_apart_and_in_order) {
  mpeg_frame_index index;
  for (const std::uint64_t frame : {100u, 0u, 132u, 133u, 67u, 68u, 300u}) index.add({frame, frame * 10, frame * 1152});
  const auto at = [&](std::uint64_t frame) { return index.find(frame)->frame; };
  EXPECT_EQ(at(66), 0u);
  EXPECT_EQ(at(67), 67u); // 33 before 100
  EXPECT_EQ(at(99), 67u);
  EXPECT_EQ(at(132), 100u); // 132 is 32 behind 100, and 133 is 33
  EXPECT_EQ(at(133), 133u);
  EXPECT_EQ(at(1000), 300u);
  EXPECT_EQ(index.find(1000)->offset, 3000u);
}

TEST(frame_index, is_that_of_a_file_as_it_stands) {
  const auto key = [](int n) { return mpeg_index_key{"file" + std::to_string(n), 1, 1}; };
  const auto first = get_mpeg_frame_index(key(0));
  EXPECT_EQ(get_mpeg_frame_index(key(0)), first);
  EXPECT_NE(get_mpeg_frame_index({"file0", 2, 1}), first);
  EXPECT_NE(get_mpeg_frame_index({"file0", 1, 2}), first);
  for (int n = 1; n < 8; ++n) get_mpeg_frame_index(key(n));
  EXPECT_EQ(get_mpeg_frame_index(key(0)), first); // used last, so it is not the next to go
  for (int n = 10; n < 19; ++n) get_mpeg_frame_index(key(n));
  EXPECT_EQ(get_mpeg_frame_index(key(0)), first);
  for (int n = 20; n < 30; ++n) get_mpeg_frame_index(key(n));
  EXPECT_NE(get_mpeg_frame_index(key(0)), first);
}

// --- where decoding begins -------------------------------------------------------------------------------------------

struct seek_case {
  const char* name;
  std::uint32_t header;
  std::uint64_t wanted;
  std::uint64_t frame; ///< the last that it may begin with
};

// Frames hold 417 - 36, 208 - 36 and 24 - 21 bytes of main data; two of them stand between the reservoir and the frame.
const seek_case seek_cases[]{
    {"the_first", header_128k, 0, 0},
    {"one_of_the_first", header_128k, 10, 0},
    {"at_a_usual_rate", header_128k, 400, 390},
    {"at_a_lower_rate", header_64k, 400, 390},
    {"at_the_lowest_rate", header_mpeg2_8k, 400, 400 - 2 - 85},
    {"at_the_lowest_rate_near_the_start", header_mpeg2_8k, 60, 0},
    {"the_last", header_128k, 499, 489},
};

class seek_start : public testing::TestWithParam<seek_case> {};

TEST_P(seek_start, leaves_room_for_the_reservoir) {
  const auto& what = GetParam();
  const auto content = bytes(100) + make_frames(what.header, 500);
  byte_window window(service_new<memory_file>(content));
  mp3_stream stream;
  stream.begin = 100;
  stream.end = content.size();
  stream.first = *parse_mpeg_header(make_header(what.header));
  const auto index = std::make_shared<mpeg_frame_index>();
  for (int again = 0; again < 2; ++again) { // with what the index has learnt
    const auto sample = what.wanted * stream.first.samples + 5;
    const auto start = find_mpeg_seek_start(stream, window, index, sample, mpeg_seek_way::exact, no_abort);
    ASSERT_TRUE(start);
    EXPECT_EQ(start->frame, what.frame);
    EXPECT_EQ(start->offset, what.frame * stream.first.frame_size);
    EXPECT_EQ(start->sample, what.frame * stream.first.samples);
  }
  EXPECT_FALSE(find_mpeg_seek_start(stream, window, index, 500 * stream.first.samples, mpeg_seek_way::exact, no_abort));
}

INSTANTIATE_TEST_SUITE_P(mpeg, seek_start, testing::ValuesIn(seek_cases),
                         [](const auto& row) { return row.param.name; });

TEST(seek_start, forgets_an_index_of_another_stream) {
  const auto content = make_frames(header_128k, 500);
  byte_window window(service_new<memory_file>(content));
  mp3_stream stream;
  stream.end = content.size();
  stream.first = *parse_mpeg_header(content);
  const auto index = std::make_shared<mpeg_frame_index>();
  index->add({200, 12345, 200 * 1152});
  const auto start = find_mpeg_seek_start(stream, window, index, 400 * 1152, mpeg_seek_way::exact, no_abort);
  EXPECT_EQ(start->offset, 390u * 417);
}

} // namespace
} // namespace zelmora::test
