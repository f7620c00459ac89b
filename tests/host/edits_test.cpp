// What edits promise: the old bytes or the new whatever fails, no more writing than is needed, and after a kill the old
// or the new at every operation.
#include "frame/rewrite.h"

#include "frame/input_open.h"
#include "host/io_statistics.h"
#include "host_fixture.h"
#include "support/syscall_faults.h"

#include <csignal>

namespace zelmora {
namespace {

using namespace zelmora_io;
using test::abort_before;
using test::raised;
using test::read_bytes;
using test::run_in_child;
using test::syscall_watch;

constexpr std::size_t old_size = 150'000;

struct edit_spec {
  std::size_t begin, end;
  std::size_t length; ///< of the new bytes; `same` for what is there already
  static constexpr std::size_t same = static_cast<std::size_t>(-1);
};

enum class road { nothing, in_place, rewrite };

struct edits_case {
  const char* name;
  std::vector<edit_spec> edits;
  road taken;
  edit_steps steps = edit_steps::together;
};

class Edits : public test::HostTest, public testing::WithParamInterface<edits_case> {
 protected:
  const std::string old_bytes = test::pattern(old_size, 1);
  const std::string path = scratch / "a song.mp3";
  std::vector<file_edit> edits;

  void SetUp() override {
    unsigned seed = 2;
    for (const auto& spec : GetParam().edits) {
      const auto content = spec.length == edit_spec::same ? old_bytes.substr(spec.begin, spec.end - spec.begin)
                                                          : test::pattern(spec.length, seed++);
      const auto bytes = as_byte_span(content);
      edits.push_back({spec.begin, spec.end, {bytes.begin(), bytes.end()}});
    }
  }

  file_ptr put_old() {
    test::write_bytes(path, old_bytes);
    file_ptr target;
    input_open_file_helper(target, path, input_open_info_write, abort);
    return target;
  }

  /// The content once the edits from number `first` on are made.
  std::string with_edits_from(std::size_t first) const {
    auto result = old_bytes;
    for (auto n = edits.size(); n-- > first;) {
      const auto& edit = edits[n];
      const std::string_view content(reinterpret_cast<const char*>(edit.content.data()), edit.content.size());
      result.replace(edit.begin, edit.end - edit.begin, content);
    }
    return result;
  }
  std::string new_bytes() const { return with_edits_from(0); }

  void run(file_ptr& target, std::string_view where, abort_callback& token) {
    apply_edits(target, where, edits, token, GetParam().steps);
  }

  std::size_t count_calls(std::string_view where) {
    auto target = put_old();
    const syscall_watch watch({});
    run(target, where, abort);
    return watch.count();
  }

  void expect_old_unless(bool done, const std::string& after) {
    const auto now = read_bytes(path);
    EXPECT_TRUE(now == new_bytes() || (!done && now == old_bytes)) << after;
    EXPECT_EQ(scratch.list(), std::vector<std::string>{"a song.mp3"}) << after;
  }
};

TEST_P(Edits, AreMadeAndTheFileStaysOpen) {
  for (const auto& where : {path, std::string()}) {
    auto target = put_old();
    run(target, where, abort);
    expect_old_unless(true, where);
    target->seek(0, abort);
    target->write("mark", 4, abort);
    EXPECT_EQ(read_bytes(path).substr(0, 4), "mark") << "it is the file at the path that is open";
  }
}

TEST_P(Edits, WriteNoMoreThanTheyMust) {
  auto target = put_old();
  const syscall_watch watch({});
  run(target, path, abort);
  EXPECT_EQ(watch.count("rename"), GetParam().taken == road::rewrite ? 1u : 0u);
  const auto changes = watch.count("pwrite") + watch.count("ftruncate");
  if (GetParam().taken == road::nothing) {
    EXPECT_EQ(changes + watch.count("fdatasync"), 0u);
  }
  if (GetParam().taken == road::in_place) {
    const auto unchanged =
        std::ranges::count_if(GetParam().edits, [](const auto& spec) { return spec.length == edit_spec::same; });
    EXPECT_EQ(changes, edits.size() - static_cast<std::size_t>(unchanged)) << "one operation an edit";
    EXPECT_EQ(watch.count("fdatasync"), 1u);
  }
}

TEST_P(Edits, FailureOfEachCallLeavesTheOldBytes) {
  for (const auto& where : {path, std::string()}) {
    const auto calls = count_calls(where);
    for (const int error : {EIO, ENOSPC}) {
      for (std::size_t n = 0; n < calls; ++n) {
        auto target = put_old();
        std::string failure;
        {
          const syscall_watch watch({.fail_at = n, .error = error});
          failure = raised([&] { run(target, where, abort); });
        }
        target.release();
        expect_old_unless(failure.empty(), std::to_string(n) + ": " + failure);
      }
    }
  }
}

TEST_P(Edits, AFullDiskInTheMiddleOfAWriteLeavesTheOldBytes) {
  const auto calls = count_calls(path);
  for (std::size_t n = 0; n + 1 < calls; ++n) {
    auto target = put_old();
    const auto failure = [&] {
      const syscall_watch watch({.fail_at = n + 1, .error = ENOSPC, .shorten_at = n});
      return raised([&] { run(target, path, abort); });
    }();
    target.release();
    expect_old_unless(failure.empty(), std::to_string(n) + ": " + failure);
  }
}

TEST_P(Edits, AbortAtEachCallLeavesTheOldBytes) {
  for (const auto& where : {path, std::string()}) {
    const auto calls = count_calls(where);
    for (std::size_t n = 0; n < calls; ++n) {
      auto target = put_old();
      abort_callback_impl token;
      const auto failure = [&] {
        const syscall_watch watch(abort_before(n, token));
        return raised([&] { run(target, where, token); });
      }();
      target.release();
      expect_old_unless(failure.empty(), std::to_string(n) + ": " + failure);
      EXPECT_EQ(read_bytes(path) == new_bytes(), failure.empty() || new_bytes() == old_bytes) << n << " is told";
    }
  }
}

TEST_P(Edits, KilledAtEachCallTheFileIsOldOrNew) {
  const auto calls = count_calls(path);
  for (std::size_t n = 0; n < calls; ++n) {
    put_old().release();
    const int status = run_in_child([&] {
      file_ptr target;
      input_open_file_helper(target, path, input_open_info_write, abort);
      const syscall_watch watch({.kill_at = n});
      run(target, path, abort);
      return 0;
    });
    ASSERT_EQ(status, -SIGKILL) << n;
    const auto now = read_bytes(path);
    bool is_whole = now == old_bytes || now == new_bytes();
    // One by one, the last few may be made.
    if (GetParam().steps == edit_steps::one_by_one)
      for (std::size_t first = 0; first < edits.size(); ++first) is_whole = is_whole || now == with_edits_from(first);
    EXPECT_TRUE(is_whole) << "killed at call " << n;
  }
}

constexpr auto same = edit_spec::same;
INSTANTIATE_TEST_SUITE_P(
    Cases, Edits,
    testing::Values(edits_case{"none", {}, road::nothing},
                    edits_case{"all_there_already", {{0, 1000, same}, {149'000, old_size, same}}, road::nothing},
                    edits_case{"head_of_the_same_size", {{0, 5000, 5000}}, road::in_place},
                    edits_case{"only_one_differs", {{0, 5000, same}, {149'872, old_size, 128}}, road::in_place},
                    edits_case{"appended", {{old_size, old_size, 128}}, road::in_place},
                    edits_case{"tail_grows", {{149'000, old_size, 30'000}}, road::in_place},
                    edits_case{"tail_goes", {{149'000, old_size, 0}}, road::in_place},
                    edits_case{"all_goes", {{0, old_size, 0}}, road::in_place},
                    edits_case{"tail_shrinks", {{140'000, old_size, 5000}}, road::rewrite},
                    edits_case{"head_grows", {{0, 1000, 4000}}, road::rewrite},
                    edits_case{"head_is_inserted", {{0, 0, 4000}}, road::rewrite},
                    edits_case{"head_and_tail_at_once", {{0, 1000, 1000}, {149'872, old_size, 128}}, road::rewrite},
                    edits_case{"head_and_tail_one_by_one",
                               {{0, 1000, 1000}, {149'872, old_size, 4096}},
                               road::in_place,
                               edit_steps::one_by_one},
                    edits_case{"one_of_many_does_not_fit",
                               {{0, 1000, 1000}, {2000, 2000, 10}, {2000, 3000, 0}, {149'872, old_size, 0}},
                               road::rewrite,
                               edit_steps::one_by_one}),
    [](const auto& instance) { return std::string(instance.param.name); });

using EditsOf = test::HostTest;

// Within one page of the file, a single write can't be cut in two by a kill.
TEST_F(EditsOf, BytesThatStayAreNotWritten) {
  const auto path = scratch / "tag";
  const auto old_bytes = test::pattern(20'000, 1);
  test::write_bytes(path, old_bytes);
  auto target = open(path, open_mode::write_existing);
  auto changed = old_bytes;
  changed[5000] ^= 1;
  changed[5099] ^= 1;
  const auto content = as_byte_span(changed);
  const file_edit edit{0, changed.size(), {content.begin(), content.end()}};
  const auto before = host::thread_io_statistics();
  apply_edits(target, path, {&edit, 1}, abort);
  EXPECT_EQ(host::thread_io_statistics().writes - before.writes, 1u);
  EXPECT_EQ(host::thread_io_statistics().bytes_written - before.bytes_written, 100u);
  EXPECT_EQ(read_bytes(path), changed);
}

// The old bytes are in memory as long as a failure may ask for them.
TEST_F(EditsOf, ATailTooLargeToKeepInMemoryIsCutByARewrite) {
  const auto path = scratch / "tag";
  for (const auto& [length, is_rewritten] :
       {std::pair(tail_in_memory_limit, false), std::pair(tail_in_memory_limit + 1, true)}) {
    test::write_bytes(path, "audio");
    std::filesystem::resize_file(path, 5 + length);
    auto target = open(path, open_mode::write_existing);
    const file_edit edit{5, 5 + length, {}};
    const syscall_watch watch({});
    apply_edits(target, path, {&edit, 1}, abort);
    EXPECT_EQ(watch.count("rename") == 1, is_rewritten) << length;
    EXPECT_EQ(read_bytes(path), "audio");
  }
}

TEST_F(EditsOf, RangesOutsideOrOutOfOrderAreRefused) {
  const auto path = scratch / "tag";
  test::write_bytes(path, "0123456789");
  auto target = open(path, open_mode::write_existing);
  const auto refusal = [&](std::vector<file_edit> edits) {
    return raised([&] { apply_edits(target, path, edits, abort); });
  };
  const auto* const expected = "exception_io_seek_out_of_range: Seek offset out of range";
  EXPECT_EQ(refusal({{5, 4, {}}}), expected);
  EXPECT_EQ(refusal({{5, 11, {}}}), expected);
  EXPECT_EQ(refusal({{5, 8, {}}, {7, 9, {}}}), expected);
  EXPECT_EQ(refusal({{5, 8, {}}, {1, 2, {}}}), expected);
  EXPECT_EQ(read_bytes(path), "0123456789");
}

TEST_F(EditsOf, WhatHasNoPathThatLeadsToItIsEditedInPlace) {
  const auto path = scratch / "tag";
  test::write_bytes(path, "0123456789");
  auto target = open(path, open_mode::write_existing);
  const file_edit edit{2, 4, std::vector<std::byte>(5, std::byte('x'))};
  apply_edits(target, "unpack://archive|member", {&edit, 1}, abort);
  EXPECT_EQ(read_bytes(path), "01xxxxx456789");
}

} // namespace
} // namespace zelmora
