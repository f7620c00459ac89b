// Moving the tail of an object that keeps its identity.
#include "frame/rewrite.h"

#include "host_fixture.h"
#include "support/faulty_file.h"
#include "support/syscall_faults.h"

namespace zelmora {
namespace {

using namespace zelmora_io;
using test::abort_before;
using test::raised;
using test::read_bytes;
using test::syscall_watch;

struct splice_case {
  const char* name;
  std::size_t begin, end, length; ///< old [begin, end) becomes `length` new bytes
};

class Splice : public test::HostTest, public testing::WithParamInterface<splice_case> {
 protected:
  const std::string old_bytes = test::pattern(300'000, 1);
  const std::string path = scratch / "object";

  std::string content() const { return test::pattern(GetParam().length, 9); }
  std::string expected() const {
    const auto& p = GetParam();
    return old_bytes.substr(0, p.begin) + content() + old_bytes.substr(p.end);
  }
  file_ptr put_old() {
    test::write_bytes(path, old_bytes);
    return open(path, open_mode::write_existing);
  }
  void run(file& target, abort_callback& token) {
    const auto bytes = content();
    splice(target, GetParam().begin, GetParam().end, as_byte_span(bytes), token);
  }
};

TEST_P(Splice, MovesTheTail) {
  auto target = put_old();
  run(*target, abort);
  target.release();
  EXPECT_EQ(read_bytes(path), expected());
}

TEST_P(Splice, MovesNoMoreThanItMust) {
  const auto& p = GetParam();
  const auto tail = p.length == p.end - p.begin ? 0 : old_bytes.size() - p.end;
  auto count = std::make_shared<test::operation_count>();
  auto target = test::make_faulty_file(put_old(), {}, count);
  run(*target, abort);
  EXPECT_EQ(count->bytes_written, p.length + tail);
  EXPECT_EQ(count->bytes_read, p.end - p.begin + tail) << "kept for the way back";
}

TEST_P(Splice, FailureOfEachCallRestoresTheOldBytes) {
  std::size_t calls = 0;
  {
    auto target = put_old();
    const syscall_watch watch({});
    run(*target, abort);
    calls = watch.count();
  }
  for (const int error : {EIO, ENOSPC}) {
    for (std::size_t n = 0; n < calls; ++n) {
      auto target = put_old();
      std::string failure;
      {
        const syscall_watch watch({.fail_at = n, .error = error});
        failure = raised([&] { run(*target, abort); });
      }
      target.release();
      EXPECT_EQ(read_bytes(path), failure.empty() ? expected() : old_bytes) << n << ": " << failure;
    }
  }
  for (std::size_t n = 0; n < calls; ++n) {
    auto target = put_old();
    abort_callback_impl token;
    const auto failure = [&] {
      const syscall_watch watch(abort_before(n, token));
      return raised([&] { run(*target, token); });
    }();
    target.release();
    EXPECT_EQ(read_bytes(path), failure.empty() ? expected() : old_bytes) << n << ": " << failure;
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, Splice,
                         testing::Values(splice_case{"grows_at_the_head", 0, 100, 5000},
                                         splice_case{"shrinks_at_the_head", 0, 5000, 10},
                                         splice_case{"same_size_in_the_middle", 1000, 2000, 1000},
                                         splice_case{"inserts", 150'000, 150'000, 70'000},
                                         splice_case{"removes_all_but_the_head", 10, 300'000, 0},
                                         splice_case{"appends", 300'000, 300'000, 4096}),
                         [](const auto& instance) { return instance.param.name; });

// Room for a longer object is claimed before its first byte changes.
TEST_F(Splice, FullDiskIsMetBeforeAnythingMoves) {
  auto target = put_old();
  std::size_t size_at_first_write = 0;
  {
    const syscall_watch watch({.before = [&](std::size_t, std::string_view name) {
      if (name == "pwrite" && size_at_first_write == 0) size_at_first_write = read_bytes(path).size();
    }});
    splice(*target, 0, 0, as_byte_span("longer"), abort);
  }
  EXPECT_EQ(size_at_first_write, old_bytes.size() + 6);
  target.release();
  target = put_old();
  const syscall_watch watch({.error = ENOSPC, .writes_fail_from = 0, .before = [&](std::size_t, std::string_view name) {
                               EXPECT_NE(name, "pwrite");
                             }});
  EXPECT_EQ(raised([&] { target->resize(old_bytes.size() + 1, abort); }), "exception_io_device_full: Device full");
  EXPECT_EQ(target->get_size(abort), old_bytes.size());
}

TEST_F(Splice, LargeTailsGoThroughTheDisk) {
  const auto large = test::pattern(tail_in_memory_limit + 12345, 4);
  test::write_bytes(path, large);
  auto target = open(path, open_mode::write_existing);
  splice(*target, 0, 10, as_byte_span("twelve bytes"), abort);
  target.release();
  EXPECT_TRUE(read_bytes(path) == "twelve bytes" + large.substr(10));
}

TEST_F(Splice, RangesOutsideTheObjectAreRefused) {
  auto target = put_old();
  EXPECT_EQ(raised([&] { splice(*target, 2, 1, {}, abort); }),
            "exception_io_seek_out_of_range: Seek offset out of range");
  EXPECT_EQ(raised([&] { splice(*target, 0, 300'001, {}, abort); }),
            "exception_io_seek_out_of_range: Seek offset out of range");
}

} // namespace
} // namespace zelmora
