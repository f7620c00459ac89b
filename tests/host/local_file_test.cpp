#include "host/local_file.h"

#include "frame/rewrite.h"
#include "host/io_statistics.h"
#include "host_fixture.h"
#include "support/syscall_faults.h"

#include <array>
#include <fcntl.h>
#include <random>
#include <sys/socket.h>
#include <sys/un.h>

namespace zelmora {
namespace {

using namespace zelmora_io;
using test::raised;
using test::read_bytes;
using test::syscall_watch;
using test::write_bytes;

class LocalFile : public test::HostTest {
 protected:
  const std::string path = scratch / "file";

  std::string read(file& source, std::size_t bytes) {
    std::string result(bytes, '\0');
    result.resize(source.read(result.data(), bytes, abort));
    return result;
  }
};

struct cost_case {
  const char* name;
  std::size_t size;
  std::size_t step; ///< bytes of one read
  std::size_t most_reads;
};
class LocalFileCost : public LocalFile, public testing::WithParamInterface<cost_case> {};

TEST_P(LocalFileCost, OfReadingFromEndToEnd) {
  const auto& p = GetParam();
  const auto content = test::pattern(p.size);
  write_bytes(path, content);
  const auto source = open(path);
  host::thread_io_statistics() = {};
  const syscall_watch watch({});
  std::string got;
  while (got.size() < content.size()) {
    const auto piece = read(*source, p.step);
    ASSERT_FALSE(piece.empty());
    got += piece;
  }
  EXPECT_TRUE(got == content);
  EXPECT_LE(watch.count(), p.most_reads);
  EXPECT_EQ(watch.count(), watch.count("pread"));
  EXPECT_EQ(host::thread_io_statistics().reads, watch.count("pread"));
  EXPECT_EQ(host::thread_io_statistics().bytes_read, content.size()) << "no byte twice";
  EXPECT_EQ(host::thread_io_statistics().seeks, 0u);
}

INSTANTIATE_TEST_SUITE_P(Sizes, LocalFileCost,
                         testing::Values(cost_case{"ten_thousand_small", 40'000, 4, 5},
                                         cost_case{"head_of_a_tiny_file", 44, 44, 1},
                                         cost_case{"megabyte_at_once", 1'048'576, 1'048'576, 1},
                                         cost_case{"megabyte_in_quarters", 1'048'576, 262'144, 4},
                                         cost_case{"megabyte_in_frames", 1'048'576, 417, 22},
                                         cost_case{"just_below_direct", 655'350, 65'535, 12}),
                         [](const auto& instance) { return instance.param.name; });

TEST_F(LocalFile, OpeningAndReadingAHeaderIsFourCalls) {
  write_bytes(path, test::pattern(10'000));
  const syscall_watch watch({});
  {
    const auto source = open(path);
    read(*source, 44);
    source->seek(4, abort);
    read(*source, 100);
    source->reopen(abort);
    source->get_size(abort);
    source->get_timestamp(abort);
    read(*source, 4);
  }
  EXPECT_EQ(watch.names(), (std::vector<std::string_view>{"open", "fstat", "pread", "close"}));
}

TEST_F(LocalFile, TagsAtTheEndCostOneRead) {
  write_bytes(path, test::pattern(1'000'003));
  const auto source = open(path);
  read(*source, 10);
  const syscall_watch watch({});
  for (const auto before_end : {128, 160, 32, 137, 2000}) {
    source->seek_ex(-before_end, seek_mode::from_end, abort);
    EXPECT_EQ(read(*source, 32).size(), 32u);
  }
  EXPECT_EQ(watch.count("pread"), 1u);
}

TEST_F(LocalFile, RandomAccessAgreesWithMemory) {
  auto content = test::pattern(200'000);
  for (const auto mode : {open_mode::read, open_mode::write_existing}) {
    write_bytes(path, content);
    const auto source = open(path, mode);
    std::mt19937 random(7);
    for (int round = 0; round < 3000; ++round) {
      const auto at = random() % (content.size() + 1);
      const auto bytes = random() % 4 == 0 ? random() % 150'000 : random() % 300;
      if (random() % 3 != 0) source->seek(at, abort);
      const auto position = static_cast<std::size_t>(source->get_position(abort));
      if (mode == open_mode::write_existing && random() % 4 == 0) {
        const auto piece = test::pattern(bytes % 1000, static_cast<unsigned>(round));
        source->write(piece.data(), piece.size(), abort);
        content.replace(position, std::min(piece.size(), content.size() - position), piece);
      } else {
        ASSERT_TRUE(read(*source, bytes) == content.substr(position, bytes)) << round;
      }
      ASSERT_EQ(source->get_size(abort), content.size());
    }
    EXPECT_TRUE(read_bytes(path) == content);
  }
}

TEST_F(LocalFile, CollectedWritesAgreeWithMemory) {
  const auto service = service_extension<filesystem_v2>(filesystem::g_get_interface(path).get());
  file_ptr out;
  service->open_temporary(out, path, abort);
  std::string content;
  std::mt19937 random(11);
  for (int round = 0; round < 2000; ++round) {
    const auto position = static_cast<std::size_t>(out->get_position(abort));
    const auto piece =
        test::pattern(random() % 50 == 0 ? random() % 200'000 : random() % 200, static_cast<unsigned>(round));
    switch (random() % 12) {
    case 0: out->seek(random() % (content.size() + 1), abort); break;
    case 1: ASSERT_TRUE(read(*out, 500) == content.substr(position, 500)) << round; break;
    case 2:
      if (random() % 20 != 0) break;
      content.resize(random() % 300'000);
      out->resize(content.size(), abort);
      break;
    default:
      out->write(piece.data(), piece.size(), abort);
      if (content.size() < position + piece.size()) content.resize(position + piece.size());
      content.replace(position, piece.size(), piece);
    }
    ASSERT_EQ(out->get_size(abort), content.size()) << round;
  }
  host::thread_io_statistics() = {};
  for (int round = 0; round < 10'000; ++round) out->write("abcd", 4, abort);
  EXPECT_LE(host::thread_io_statistics().writes, 3u);
  const auto end = static_cast<std::size_t>(out->get_position(abort));
  if (content.size() < end) content.resize(end);
  for (std::size_t at = end - 40'000; at < end; at += 4) content.replace(at, 4, "abcd");
  flush_to_disk(*out, abort);
  EXPECT_TRUE(read_bytes(path) == content);
}

// A collected write that fails is told by the next flush, and by each one after it, until it has been done.
TEST_F(LocalFile, CollectedWritesAreNeverLost) {
  const auto service = service_extension<filesystem_v2>(filesystem::g_get_interface(path).get());
  file_ptr out;
  service->open_temporary(out, path, abort);
  out->write("0123456789", 10, abort);
  {
    const syscall_watch watch({.error = ENOSPC, .writes_fail_from = 0});
    for (int again = 0; again < 2; ++again)
      EXPECT_EQ(raised([&] { flush_to_disk(*out, abort); }), "exception_io_device_full: Device full");
    EXPECT_EQ(raised([&] { out->resize(3, abort); }), "exception_io_device_full: Device full");
    char byte = 0;
    EXPECT_EQ(raised([&] { out->reopen(abort), out->read(&byte, 1, abort); }), "exception_io_device_full: Device full");
  }
  flush_to_disk(*out, abort);
  EXPECT_EQ(read_bytes(path), "0123456789");
}

TEST_F(LocalFile, GrowsAndShrinksUnderTheReader) {
  write_bytes(path, "0123456789");
  const auto source = open(path);
  EXPECT_EQ(read(*source, 100), "0123456789");
  EXPECT_EQ(read(*source, 100), "");
  std::ofstream(path, std::ios::app) << "abc";
  EXPECT_EQ(read(*source, 100), "abc");
  EXPECT_EQ(source->get_size(abort), 13u);
  std::ofstream(path, std::ios::app) << "def";
  source->seek(16, abort);
  EXPECT_EQ(raised([&] { source->seek(17, abort); }), "exception_io_seek_out_of_range: Seek offset out of range");

  const auto long_content = test::pattern(100'000);
  write_bytes(path, long_content);
  const auto shrinking = open(path);
  EXPECT_EQ(read(*shrinking, 10), long_content.substr(0, 10));
  std::filesystem::resize_file(path, 50'000);
  shrinking->seek(49'990, abort);
  EXPECT_EQ(read(*shrinking, 100), long_content.substr(49'990, 10));
  EXPECT_EQ(read(*shrinking, 100'000), "");
  EXPECT_EQ(shrinking->get_size(abort), 50'000u);
}

TEST_F(LocalFile, FailuresOfReadingAreTold) {
  write_bytes(path, test::pattern(10'000));
  const auto source = open(path);
  for (const auto& [error, text] : {std::pair{EIO, "exception_io: Device error"},
                                    std::pair{ESTALE, "exception_io_network_not_reachable: Network not reachable"}}) {
    const syscall_watch watch({.fail_at = 0, .error = error});
    EXPECT_EQ(raised([&] { read(*source, 10); }), text);
  }
  EXPECT_EQ(read(*source, 10), read_bytes(path).substr(0, 10)) << "and the next attempt is a fresh one";
}

TEST_F(LocalFile, ResizingKeepsThePositionInside) {
  write_bytes(path, "0123456789");
  const auto target = open(path, open_mode::write_existing);
  EXPECT_EQ(read(*target, 8), "01234567");
  target->resize(4, abort);
  EXPECT_EQ(target->get_position(abort), 4u);
  EXPECT_EQ(read(*target, 8), "") << "what was buffered is gone as well";
  target->resize(6, abort);
  EXPECT_EQ(read(*target, 8), std::string(2, '\0'));
  EXPECT_EQ(raised([&] { target->resize(std::uint64_t{1} << 63, abort); }),
            "exception_io: I/O error (errno 27: File too large)");
  EXPECT_EQ(raised([&] { target->resize(std::uint64_t{1} << 55, abort); }).find("exception_io"), 0u);
  EXPECT_EQ(target->get_size(abort), 6u);
}

TEST_F(LocalFile, ModesGrantWhatTheySay) {
  write_bytes(path, "content");
  const auto reader = open(path);
  EXPECT_EQ(raised([&] { reader->write("x", 1, abort); }), "exception_io_denied: Access denied");
  EXPECT_EQ(raised([&] { reader->resize(0, abort); }), "exception_io_denied: Access denied");
  EXPECT_EQ(raised([&] { open(scratch / "none", open_mode::write_existing); }),
            "exception_io_not_found: Object not found");
  open(path, open_mode::write_new);
  EXPECT_EQ(read_bytes(path), "");
}

TEST_F(LocalFile, TimestampCountsFrom1601) {
  write_bytes(path, "x");
  const std::array<timespec, 2> times{timespec{0, 0}, timespec{1, 500}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0);
  EXPECT_EQ(open(path)->get_timestamp(abort), 116'444'736'010'000'005u); // 1970-01-01 is 116444736000000000
  const auto target = open(path, open_mode::write_existing);
  target->write("y", 1, abort);
  EXPECT_GT(target->get_timestamp(abort), 130'000'000'000'000'000u) << "the time after the write";
}

TEST_F(LocalFile, WhatIsNoFileIsRefusedAtOnce) {
  ASSERT_EQ(::mkfifo((scratch / "fifo").c_str(), 0600), 0);
  const int socket_fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const auto socket_path = scratch / "s";
  ASSERT_LT(socket_path.size(), sizeof address.sun_path);
  socket_path.copy(address.sun_path, socket_path.size());
  ASSERT_EQ(::bind(socket_fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ::close(socket_fd);
  ASSERT_EQ(::symlink("loop", (scratch / "loop").c_str()), 0);
  const struct {
    std::string path;
    std::string failure;
  } rows[]{
      {scratch.path(), "exception_io_denied: Is a directory"},
      {scratch / "fifo", "exception_io: Not a regular file (FIFO)"},
      {scratch / "s", "exception_io: Not a regular file (socket)"},
      {"/dev/zero", "exception_io: Not a regular file (device)"},
      {"/dev/full", "exception_io: Not a regular file (device)"},
      {scratch / "loop", "exception_io: I/O error (errno 40: Too many levels of symbolic links)"},
      {scratch / "none", "exception_io_not_found: Object not found"},
      {scratch / "none/of/these", "exception_io_not_found: Object not found"},
      {scratch / std::string(300, 'x'), "exception_io_buffer_overflow: The file name is too long"},
      {"", "exception_io_no_handler_for_path: Invalid path"},
      {std::string("a\0b", 3), "exception_io_no_handler_for_path: Invalid path"},
      {"nothing://here", "exception_io_no_handler_for_path: Invalid path"},
      {"file://relative", "exception_io_invalid_path_syntax: Invalid path syntax"},
  };
  for (const auto mode : {open_mode::read, open_mode::write_existing})
    for (const auto& row : rows) EXPECT_EQ(raised([&] { open(row.path, mode); }), row.failure) << row.path;
}

TEST_F(LocalFile, UnreadableIsDenied) {
  write_bytes(path, "x");
  ASSERT_EQ(::chmod(path.c_str(), 0), 0);
  EXPECT_EQ(test::run_in_child([&] {
              if (::geteuid() == 0 && ::setuid(65534) != 0) return 98;
              return raised([&] { open(path); }) == "exception_io_denied: Access denied" ? 0 : 1;
            }),
            0);
}

TEST_F(LocalFile, NamesAreBytes) {
  for (const auto* name : {"new\nline", "bad \xff\xfe utf-8", "per%20cent", "caf\xc3\xa9", " ", "a://b", "\\", "-"}) {
    const auto full = scratch / (std::string_view(name).find("//") == std::string_view::npos ? name : "a:b");
    for (const auto& form : {full, "file://" + full, "FILE://" + full}) {
      const auto out = open(form, open_mode::write_new);
      out->write(name, 1, abort);
      EXPECT_TRUE(std::filesystem::exists(full)) << form;
      EXPECT_EQ(open(form)->get_size(abort), 1u) << form;
    }
    filesystem::g_remove(full, abort);
  }
}

} // namespace
} // namespace zelmora
