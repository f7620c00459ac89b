#include "frame/filesystem.h"
#include "frame/memory_file.h"
#include "support/faulty_file.h"
#include "support/test_services.h"

#include <gtest/gtest.h>
#include <numeric>

namespace zelmora {
namespace {

using namespace zelmora_io;
using test::file_faults;
using test::make_faulty_file;

std::vector<std::byte> counted(std::size_t size) {
  std::vector<std::byte> data(size);
  for (std::size_t i = 0; i < size; ++i) data[i] = static_cast<std::byte>(i * 7 + i / 251);
  return data;
}

class FileHelpers : public testing::Test {
 protected:
  file_ptr memory(std::size_t size) { return service_new<memory_file>(counted(size)); }
  abort_callback_dummy abort;
};

TEST_F(FileHelpers, ReadObjectIsAllOrTruncation) {
  auto f = memory(6);
  EXPECT_EQ(f->read_bendian_t<std::uint16_t>(abort), 0x0007);
  EXPECT_EQ(f->read_lendian_t<std::uint16_t>(abort), 0x150E);
  EXPECT_THROW(f->read_lendian_t<std::uint32_t>(abort), exception_io_data_truncation);
}

TEST_F(FileHelpers, SkipSeeksAboveTheThresholdAndReportsWhatThereWas) {
  struct row {
    bool seekable, sized;
    std::uint64_t ask, moved;
    std::size_t reads;
  };
  for (const auto& r :
       {row{true, true, 1024, 1024, 1}, row{true, true, 1025, 1025, 0}, row{true, true, 1u << 30, 5000, 0},
        row{false, true, 4000, 4000, 1}, row{true, false, 4000, 4000, 1}, row{false, true, 9000, 5000, 1}}) {
    auto count = std::make_shared<test::operation_count>();
    auto f = make_faulty_file(memory(5000), {.no_size = !r.sized, .no_seek = !r.seekable}, count);
    EXPECT_EQ(f->skip(r.ask, abort), r.moved) << r.ask;
    EXPECT_EQ(f->get_position(abort), r.moved);
    EXPECT_EQ(count->reads, r.reads) << r.ask;
  }
  auto f = memory(10);
  EXPECT_THROW(f->skip_object(11, abort), exception_io_data_truncation);
}

TEST_F(FileHelpers, SeekEx) {
  auto f = memory(100);
  f->seek_ex(10, seek_mode::from_start, abort);
  f->seek_ex(-4, seek_mode::from_position, abort);
  EXPECT_EQ(f->get_position(abort), 6u);
  f->seek_ex(-1, seek_mode::from_end, abort);
  EXPECT_EQ(f->get_position(abort), 99u);
  EXPECT_THROW(f->seek_ex(-101, seek_mode::from_end, abort), exception_io_seek_out_of_range);
  EXPECT_THROW(f->seek_ex(std::numeric_limits<std::int64_t>::min(), seek_mode::from_position, abort),
               exception_io_seek_out_of_range);
  EXPECT_THROW(f->seek_ex(1, seek_mode::from_end, abort), exception_io_seek_out_of_range);
  EXPECT_THROW(f->seek_ex(0, static_cast<seek_mode>(3), abort), exception_io_data);
  auto unsized_file = make_faulty_file(memory(10), {.no_size = true});
  EXPECT_THROW(unsized_file->seek_ex(0, seek_mode::from_end, abort), exception_io_no_length);
  EXPECT_THROW(unsized_file->get_remaining(abort), exception_io_no_length);
  EXPECT_THROW(make_faulty_file(memory(1), {.no_seek = true})->ensure_seekable(), exception_io_object_not_seekable);
}

TEST_F(FileHelpers, TransferChecksBeforeItMoves) {
  auto source = memory(600000);
  auto sink = service_new<memory_file>();
  source->seek(1, abort);
  file::transfer(*source, *sink, 599999, abort);
  const auto whole = counted(600000);
  EXPECT_TRUE(std::ranges::equal(sink->content(), std::span(whole).subspan(1)));
  source->seek(599000, abort);
  EXPECT_THROW(file::transfer(*source, *sink, 1025, abort), exception_io_data_truncation);
  EXPECT_EQ(sink->content().size(), 599999u) << "nothing was moved";
  EXPECT_THROW(file::transfer(*source, *sink, 1024, abort), exception_io_data_truncation)
      << "a short copy finds out late";
  // An unknown size can't be checked; memory stays small all the same.
  auto blind = make_faulty_file(memory(3000), {.no_size = true});
  EXPECT_THROW(file::transfer(*blind, *sink, std::uint64_t{1} << 40, abort), exception_io_data_truncation);
}

TEST_F(FileHelpers, ReadWhole) {
  for (const bool sized : {true, false}) {
    auto f = make_faulty_file(memory(700000), {.no_size = !sized});
    EXPECT_EQ(file::g_read_whole(*f, abort), counted(700000));
    f->reopen(abort);
    EXPECT_THROW(file::g_read_whole(*f, abort, 699999), exception_io_data);
  }
  auto empty = memory(0);
  EXPECT_TRUE(file::g_read_whole(*empty, abort).empty());
}

TEST_F(FileHelpers, ReaderLimitedIsAWindow) {
  auto view = reader_limited(memory(100), 10, 20, abort);
  EXPECT_EQ(view->get_size(abort), 10u);
  std::array<std::byte, 64> buffer;
  EXPECT_EQ(view->read(buffer.data(), buffer.size(), abort), 10u);
  EXPECT_EQ(buffer[0], counted(100)[10]);
  EXPECT_EQ(view->read(buffer.data(), buffer.size(), abort), 0u);
  view->seek(9, abort);
  EXPECT_EQ(view->read(buffer.data(), 5, abort), 1u);
  EXPECT_THROW(view->seek(11, abort), exception_io_seek_out_of_range);
  EXPECT_THROW(view->write(buffer.data(), 1, abort), exception_io_denied);
  EXPECT_EQ(reader_limited(memory(100), 90, file::unknown_size, abort)->get_size(abort), 10u);
  EXPECT_EQ(reader_limited(memory(100), 200, 300, abort)->get_size(abort), 0u);
  auto stream = reader_limited(make_faulty_file(memory(100), {.no_seek = true}), 5, 8, abort);
  EXPECT_FALSE(stream->can_seek());
  EXPECT_EQ(file::g_read_whole(*stream, abort).size(), 3u);
}

TEST_F(FileHelpers, EveryOperationFailingInTurnIsPassedOn) {
  for (std::size_t n = 0;; ++n) {
    auto count = std::make_shared<test::operation_count>();
    auto source = make_faulty_file(memory(600000), {.fail_at = n}, count);
    auto sink = service_new<memory_file>();
    try {
      source->skip(2000, abort);
      file::transfer(*source, *sink, 598000, abort);
      EXPECT_GE(n, 4u) << "a seek and three blocks";
      break;
    } catch (const exception_io_file_corrupted&) {
      EXPECT_EQ(count->total, n + 1);
    }
  }
}

TEST_F(FileHelpers, AbortIsNoIoException) {
  abort_callback_impl token;
  token.set();
  auto f = memory(100000);
  EXPECT_THROW(f->read_object(std::array<std::byte, 4>().data(), 4, token), exception_aborted);
  EXPECT_THROW(token.sleep(3600), exception_aborted) << "at once";
  try {
    token.check();
    FAIL();
  } catch (const exception_io&) {
    FAIL();
  } catch (const exception_aborted& e) {
    EXPECT_STREQ(e.what(), "User abort");
  }
  token.reset();
  EXPECT_NO_THROW(token.check());
}

TEST_F(FileHelpers, PathsWithoutAHandler) {
  test::attach_own_services();
  file_ptr f;
  for (const auto* path : {"", "nosuch://x"}) {
    try {
      filesystem::g_open(f, path, open_mode::read, abort);
      FAIL() << path;
    } catch (const exception_io_no_handler_for_path& e) {
      EXPECT_STREQ(e.what(), "Invalid path");
    }
  }
  EXPECT_EQ(filesystem::g_get_canonical_path("nosuch://x"), "nosuch://x");
}

TEST_F(FileHelpers, TwoWindowsOnOneFileDoNotDisturbEachOther) {
  const auto source = memory(100);
  auto first = reader_limited(source, 0, 50, abort);
  auto second = reader_limited(source, 50, 100, abort);
  const auto whole = counted(100);
  for (std::size_t i = 0; i < 50; ++i) {
    ASSERT_EQ(static_cast<std::byte>(first->read_lendian_t<std::uint8_t>(abort)), whole[i]);
    ASSERT_EQ(static_cast<std::byte>(second->read_lendian_t<std::uint8_t>(abort)), whole[50 + i]);
  }
}

} // namespace
} // namespace zelmora
