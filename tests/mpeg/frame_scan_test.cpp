#include "mpeg/frame_scan.h"

#include "mpeg/frame_protection.h"
#include "mpeg_test_support.h"
#include "support/faulty_file.h"

namespace zelmora::test {
namespace {

abort_callback_dummy no_abort;

file_ptr make_file(bytes content) { return service_new<memory_file>(std::move(content)); }

std::optional<std::uint64_t> find_first(const bytes& content, const file_faults& faults = {}) {
  byte_window window(make_faulty_file(make_file(content), faults));
  const auto found = find_first_mpeg_frame(window, 0, no_abort);
  return found ? std::optional(found->offset) : std::nullopt;
}

struct first_frame_case {
  const char* name;
  bytes content;
  std::optional<std::uint64_t> expected;
};

const first_frame_case first_frame_cases[]{
    {"at_once", make_frames(header_128k, 2), 0},
    {"behind_noise", make_noise(100) + make_frames(header_128k, 2), 100},
    {"behind_false_headers", make_noise(5000, 400) + make_frames(header_128k, 2), 5000},
    {"one_frame_with_noise_behind", make_frames(header_128k) + make_noise(500), std::nullopt},
    {"a_frame_of_another_rate_behind", make_frames(header_128k) + make_frames(header_mpeg2_64k), std::nullopt},
    {"a_mono_frame_behind", make_frames(header_128k) + make_frames(0xFFFB90C4), std::nullopt},
    {"a_frame_of_another_bit_rate_behind", make_frames(header_128k) + make_frames(header_64k), 0},
    {"the_last_frame_alone", make_frames(header_128k), std::nullopt},
    {"across_two_blocks", make_noise(16382) + make_frames(header_128k, 2), 16382},
    {"at_the_limit", make_noise(1'048'576) + make_frames(header_128k, 2), 1'048'576},
    {"behind_the_limit", make_noise(1'048'576 + 16384) + make_frames(header_128k, 2), std::nullopt},
    {"nothing", {}, std::nullopt},
    {"three_bytes", to_bytes({0xFF, 0xFB, 0x90}), std::nullopt},
    {"free_format", make_header(0xFFFB0064) + bytes(300) + make_header(0xFFFB0064) + bytes(300), std::nullopt},
};

class first_frame : public testing::TestWithParam<first_frame_case> {};

TEST_P(first_frame, is_found_when_another_follows) {
  EXPECT_EQ(find_first(GetParam().content), GetParam().expected);
  EXPECT_EQ(find_first(GetParam().content, {.one_byte_reads = true}), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(frame_scan, first_frame, testing::ValuesIn(first_frame_cases),
                         [](const auto& row) { return row.param.name; });

TEST(frame_scan, gives_up_earlier_where_it_cannot_seek) {
  const file_faults stream{.no_size = true, .no_seek = true};
  EXPECT_EQ(find_first(make_noise(32000, 400) + make_frames(header_128k, 2), stream), 32000u);
  EXPECT_EQ(find_first(make_noise(60000) + make_frames(header_128k, 2), stream), std::nullopt);
}

TEST(frame_scan, false_headers_cost_no_reading_again) {
  const auto count = std::make_shared<operation_count>();
  const auto content = make_noise(900'000, 4) + make_frames(header_128k, 2);
  byte_window window(make_faulty_file(make_file(content), {}, count));
  EXPECT_TRUE(find_first_mpeg_frame(window, 0, no_abort));
  EXPECT_LT(count->bytes_read, 2 * content.size());
}

struct last_frame_case {
  const char* name;
  bytes behind;                          ///< ten frames
  std::uint64_t end_of_audio;            ///< behind those
  std::optional<std::uint64_t> expected; ///< behind those
};

const last_frame_case last_frame_cases[]{
    {"at_the_end", {}, 0, 0},
    {"before_a_part_of_a_frame", make_header(header_128k) + bytes(100), 104, 0},
    {"before_much_noise", make_noise(40000), 40000, 0},
    {"before_frames_of_another_rate", make_frames(header_mpeg2_64k, 3), 576, 0},
    {"before_a_tag", make_frames(header_128k), 0, 0},
};

class last_frame : public testing::TestWithParam<last_frame_case> {};

TEST_P(last_frame, ends_within_the_audio) {
  const auto frames = make_frames(header_128k, 10);
  byte_window window(make_file(frames + GetParam().behind));
  const auto first = find_first_mpeg_frame(window, 0, no_abort);
  const auto end = find_last_mpeg_frame_end(window, *first, frames.size() + GetParam().end_of_audio, no_abort);
  EXPECT_EQ(end, frames.size() + *GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(frame_scan, last_frame, testing::ValuesIn(last_frame_cases),
                         [](const auto& row) { return row.param.name; });

// --- checksums -------------------------------------------------------------------------------------------------------

/// Encoders' files: all their frames agree with their checksums, and what is changed in the protected part shows.
class checksums : public testing::TestWithParam<std::pair<const char*, std::size_t>> {};

TEST_P(checksums, cover_what_tells_how_to_read_the_frame) {
  const auto content = load_fixture(GetParam().first);
  byte_window window(make_file(content));
  const auto first = find_first_mpeg_frame(window, 0, no_abort);
  ASSERT_TRUE(first && first->header.has_crc);
  std::size_t frames = 0;
  std::span<const std::byte> frame;
  for (auto rest = std::span(content).subspan(first->offset);;) {
    const auto header = parse_mpeg_header(rest);
    if (!header || rest.size() < header->frame_size) break;
    frame = rest.first(header->frame_size);
    EXPECT_TRUE(check_mpeg_frame(frame, *header)) << "frame " << frames;
    rest = rest.subspan(header->frame_size);
    ++frames;
  }
  EXPECT_GT(frames, 5u);

  bytes changed(frame.begin(), frame.end());
  const auto header = *parse_mpeg_header(frame);
  const auto is_right_with_a_flip_at = [&](std::size_t at) {
    changed[at] ^= std::byte{0x10};
    const bool is_right = check_mpeg_frame(changed, header);
    changed[at] ^= std::byte{0x10};
    return is_right;
  };
  for (std::size_t at = mpeg_header_size; at < GetParam().second; ++at) EXPECT_FALSE(is_right_with_a_flip_at(at)) << at;
  EXPECT_TRUE(is_right_with_a_flip_at(changed.size() - 1));
  EXPECT_FALSE(check_mpeg_frame(std::span(changed).first(changed.size() - 1), header)); // not whole
}

// With the first bytes that each certainly covers: of layer 1 and 3 all, of layer 2 the allocations.
INSTANTIATE_TEST_SUITE_P(frame_scan, checksums,
                         testing::Values(std::pair("mpeg/crc.mp1", 4 + 2 + 32),
                                         std::pair("mpeg/joint_crc.mp2", 4 + 2 + 8),
                                         std::pair("mpeg/crc.mp3", 4 + 2 + 17)),
                         [](const auto& row) {
                           return "layer_" +
                                  std::string(1, row.param.first[std::string_view(row.param.first).size() - 1]);
                         });

} // namespace
} // namespace zelmora::test
