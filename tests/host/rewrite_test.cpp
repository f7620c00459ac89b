// What a rewrite promises: whatever fails, and whenever the process dies, the path holds the old bytes or the new,
// whole.
#include "frame/rewrite.h"

#include "frame/input_open.h"
#include "host_fixture.h"
#include "support/syscall_faults.h"

#include <array>
#include <csignal>
#include <optional>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/xattr.h>

namespace zelmora {
namespace {

using namespace zelmora_io;
using test::abort_before;
using test::HostTest;
using test::raised;
using test::read_bytes;
using test::run_in_child;
using test::syscall_plan;
using test::syscall_watch;
using test::write_bytes;

constexpr mode_t odd_mode = 0640;
constexpr timespec odd_time{1'234'567'890, 123'456'700};
constexpr const char* attribute = "user.zelmora.test";

class Rewrite : public HostTest {
 protected:
  const std::string old_bytes = test::pattern(150'000, 1);
  const std::string new_bytes = test::pattern(170'001, 2);
  const std::string path = scratch / "a song.mp3";

  void SetUp() override { put_old(); }

  void put_old() {
    ::unlink(path.c_str());
    write_bytes(path, old_bytes);
    ASSERT_EQ(::chmod(path.c_str(), odd_mode), 0);
    ASSERT_EQ(::setxattr(path.c_str(), attribute, "kept", 4, 0), 0) << "the test needs a file system with attributes";
    const std::array<timespec, 2> times{odd_time, odd_time};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0);
  }

  /// As a format's writer does it: the source open for writing, new bytes and old ones into the temporary, commit.
  void rewrite(const std::string& content, abort_callback& token) {
    file_ptr source;
    input_open_file_helper(source, path, input_open_info_write, token);
    file_rewriter rewriter(path, token);
    const auto split = content.size() / 3;
    for (std::size_t at = 0; at < split; at += 100)
      rewriter.output().write(content.data() + at, std::min<std::size_t>(100, split - at), token);
    source->seek(1000, token);
    file::transfer(*source, rewriter.output(), 5000, token);
    rewriter.output().seek(split, token);
    rewriter.output().write(content.data() + split, content.size() - split, token);
    rewriter.commit(source, token);
    EXPECT_TRUE(source) << "the writer goes on with a fresh file";
  }

  std::size_t count_calls() {
    const syscall_watch watch({});
    rewrite(new_bytes, abort);
    return watch.count();
  }

  bool is_old() const { return read_bytes(path) == old_bytes; }
  bool is_new() const { return read_bytes(path) == new_bytes; }

  void expect_whole_and_alone(const std::string& after) {
    EXPECT_TRUE(is_old() || is_new()) << after;
    EXPECT_EQ(scratch.list(), std::vector<std::string>{"a song.mp3"}) << after;
    const auto status = test::status_of(path);
    EXPECT_EQ(status.st_mode & 07777, odd_mode) << after;
    std::array<char, 8> value{};
    EXPECT_EQ(::getxattr(path.c_str(), attribute, value.data(), value.size()), 4) << after;
  }
};

TEST_F(Rewrite, KeepsWhatBelongsToTheFile) {
  if (::geteuid() == 0) {
    ASSERT_EQ(::chown(path.c_str(), 1234, 2345), 0);
  }
  const auto before = test::status_of(path);
  rewrite(new_bytes, abort);
  EXPECT_TRUE(is_new());
  expect_whole_and_alone("a rewrite");
  const auto after = test::status_of(path);
  EXPECT_EQ(after.st_uid, before.st_uid);
  EXPECT_EQ(after.st_gid, before.st_gid);
  EXPECT_EQ(after.st_mtim.tv_sec, odd_time.tv_sec);
  EXPECT_EQ(after.st_mtim.tv_nsec, odd_time.tv_nsec);
  EXPECT_NE(after.st_ino, before.st_ino);
}

struct failure_case {
  const char* name;
  int error;
};
class RewriteFailure : public Rewrite, public testing::WithParamInterface<failure_case> {};

TEST_P(RewriteFailure, OfEachCallInTurn) {
  const auto calls = count_calls();
  ASSERT_GT(calls, 20u);
  std::size_t refused = 0;
  for (std::size_t n = 0; n < calls; ++n) {
    put_old();
    std::string failure;
    std::string name;
    {
      const syscall_watch watch({.fail_at = n, .error = GetParam().error});
      failure = raised([&] { rewrite(new_bytes, abort); });
      name = watch.names()[n];
    }
    const auto where = "call " + std::to_string(n) + ", " + name + ": " + failure;
    refused += failure.empty() ? 0u : 1u;
    // A failure after the replacement is told, too; success is never told without it.
    EXPECT_TRUE(!failure.empty() || is_new()) << where;
    EXPECT_TRUE(failure.empty() || failure.find("exception_io") == 0) << where;
    expect_whole_and_alone(where);
  }
  EXPECT_GT(refused, calls / 2) << "most calls can't be done without";
}

TEST_P(RewriteFailure, OfAllWritesFromSomePointOn) {
  const auto calls = count_calls();
  for (std::size_t n = 0; n < calls; ++n) {
    put_old();
    const syscall_watch watch({.error = GetParam().error, .writes_fail_from = n});
    const auto failure = raised([&] { rewrite(new_bytes, abort); });
    EXPECT_EQ(failure.empty(), is_new()) << n << ": " << failure;
    expect_whole_and_alone("writes fail from call " + std::to_string(n));
  }
}

INSTANTIATE_TEST_SUITE_P(Errors, RewriteFailure,
                         testing::Values(failure_case{"io", EIO}, failure_case{"disk_full", ENOSPC},
                                         failure_case{"quota", EDQUOT}),
                         [](const auto& instance) { return instance.param.name; });

TEST_F(Rewrite, DiskFullIsTold) {
  const syscall_watch watch({.error = ENOSPC, .writes_fail_from = 0});
  EXPECT_EQ(raised([&] { rewrite(new_bytes, abort); }), "exception_io_device_full: Device full");
}

TEST_F(Rewrite, ShortTransfersAreGoneOnWith) {
  const auto calls = count_calls();
  for (std::size_t n = 0; n < calls; ++n) {
    put_old();
    const syscall_watch watch({.shorten_at = n});
    rewrite(new_bytes, abort);
    EXPECT_TRUE(is_new()) << n;
  }
}

TEST_F(Rewrite, InterruptedCallsAreRepeated) {
  const auto calls = count_calls();
  for (std::size_t n = 0; n < calls; ++n) {
    put_old();
    const syscall_watch watch({.fail_at = n, .error = EINTR});
    const auto failure = raised([&] { rewrite(new_bytes, abort); });
    // Calls that the system never interrupts may raise; none may tell success without it.
    EXPECT_TRUE(!failure.empty() || is_new()) << watch.names()[n];
    constexpr std::array interruptible{std::string_view("open"),   std::string_view("pread"),
                                       std::string_view("pwrite"), std::string_view("flock"),
                                       std::string_view("fsync"),  std::string_view("fdatasync")};
    if (std::ranges::find(interruptible, watch.names()[n]) != interruptible.end()) {
      EXPECT_EQ(failure, "") << watch.names()[n];
    }
  }
}

TEST_F(Rewrite, AbortAtEachCall) {
  const auto calls = count_calls();
  std::size_t aborted = 0;
  for (std::size_t n = 0; n < calls; ++n) {
    put_old();
    abort_callback_impl token;
    const syscall_watch watch(abort_before(n, token));
    const auto failure = raised([&] { rewrite(new_bytes, token); });
    EXPECT_TRUE(failure.empty() ? is_new() : failure == "exception_aborted: User abort") << n << ": " << failure;
    aborted += failure.empty() ? 0u : 1u;
    expect_whole_and_alone("abort at call " + std::to_string(n));
  }
  EXPECT_GT(aborted, calls / 2);
}

TEST_F(Rewrite, KilledAtEachCall) {
  const auto calls = count_calls();
  std::size_t strays = 0;
  for (std::size_t n = 0; n < calls; ++n) {
    put_old();
    const int status = run_in_child([&] {
      const syscall_watch watch({.kill_at = n});
      rewrite(new_bytes, abort);
      return 0;
    });
    ASSERT_EQ(status, -SIGKILL) << n;
    EXPECT_TRUE(is_old() || is_new()) << "killed at call " << n;
    strays += scratch.list().size() - 1;
    // What it left goes with the next rewrite, and with the next opening for a writer.
    if (n % 2 == 0) {
      rewrite(new_bytes, abort);
      EXPECT_TRUE(is_new()) << n;
    } else {
      file_ptr source;
      input_open_file_helper(source, path, input_open_info_write, abort);
    }
    expect_whole_and_alone("killed at call " + std::to_string(n));
  }
  EXPECT_GT(strays, 0u) << "the test has not seen a leftover";
}

/// Never waits: it is set by whoever is about to.
class impatient final : public abort_callback {
 public:
  impatient() : event_(::eventfd(1, EFD_CLOEXEC)) {}
  ~impatient() { ::close(event_); }
  impatient(const impatient&) = delete;
  impatient& operator=(const impatient&) = delete;
  bool is_aborting() const noexcept override { return waited_; }
  int get_abort_event() const noexcept override {
    waited_ = true;
    return event_;
  }

 private:
  int event_;
  mutable bool waited_ = false;
};

TEST_F(Rewrite, AnotherWriterCutsInAtEachCall) {
  const auto calls = count_calls();
  const auto other_bytes = test::pattern(120'000, 3);
  std::size_t got_in = 0;
  for (std::size_t n = 0; n < calls; ++n) {
    put_old();
    std::string other_failure = "not run";
    const syscall_watch watch({.before = [&](std::size_t number, std::string_view) {
      if (number != n) return;
      impatient token;
      other_failure = raised([&] { rewrite(other_bytes, token); });
    }});
    const auto failure = raised([&] { rewrite(new_bytes, abort); });
    const auto where = std::to_string(n) + " " + std::string(watch.names()[n]) + ": " + failure + " / " + other_failure;
    const auto now = read_bytes(path);
    if (failure.empty() && !other_failure.empty()) {
      EXPECT_TRUE(now == new_bytes) << where;
    }
    if (!failure.empty() && other_failure.empty()) {
      EXPECT_TRUE(now == other_bytes) << where;
    }
    EXPECT_TRUE(now == old_bytes || now == new_bytes || now == other_bytes) << where;
    EXPECT_FALSE((failure.empty() || other_failure.empty()) && now == old_bytes) << where;
    EXPECT_EQ(scratch.list().size(), 1u) << where;
    got_in += other_failure.empty() ? 1u : 0u;
  }
  EXPECT_GT(got_in, 0u);
  EXPECT_LT(got_in, calls);
}

// Writers of new files hold no source: only the temporary's lock stands between them.
TEST_F(Rewrite, HalfWrittenTemporaryOfAnotherIsNeverPlaced) {
  const auto write_new = [&](file_rewriter& writer, const std::string& content) {
    writer.output().write(content.data(), content.size(), abort);
    writer.commit_new(durability::ordinary, abort);
  };
  std::size_t calls = 0;
  std::size_t started = 0;
  for (std::size_t n = 0; n == 0 || n < calls; ++n) {
    put_old();
    std::optional<file_rewriter> other;
    impatient token;
    std::string failure;
    {
      const syscall_watch watch({.before = [&](std::size_t number, std::string_view) {
        if (number != n) return;
        raised([&] {
          other.emplace(path, token);
          other->output().write("half", 4, abort);
          flush_to_disk(other->output(), abort);
        });
      }});
      failure = raised([&] {
        file_rewriter writer(path, abort);
        write_new(writer, new_bytes);
      });
      calls = watch.count();
    }
    EXPECT_TRUE(failure.empty() ? is_new() : is_old()) << n << ": " << failure;
    started += other ? 1u : 0u;
    other.reset();
    EXPECT_EQ(scratch.list().size(), 1u) << n;
  }
  EXPECT_GT(started, 0u);
  EXPECT_LT(started, calls);
}

TEST_F(Rewrite, WriterInsideIsNotReplacedUnderItsHands) {
  const auto calls = count_calls();
  std::size_t got_in = 0;
  for (std::size_t n = 0; n < calls; ++n) {
    put_old();
    file_ptr inside;
    std::string failure;
    {
      const syscall_watch watch({.before = [&](std::size_t number, std::string_view) {
        if (number == n) raised([&] { inside = open(path, open_mode::write_existing); });
      }});
      impatient token;
      failure = raised([&] { rewrite(new_bytes, token); });
    }
    if (!inside) continue;
    ++got_in;
    inside->write("mark", 4, abort);
    EXPECT_EQ(read_bytes(path).substr(0, 4), "mark") << n << ": what it writes must be in the file; " << failure;
  }
  EXPECT_GT(got_in, 0u);
}

// The old file may be replaced between its opening and its locking.
TEST_F(Rewrite, TheFileThatIsLockedIsTheOneAtThePath) {
  file_ptr late;
  {
    const syscall_watch watch({.before = [&](std::size_t number, std::string_view name) {
      if (number == 2 && name == "flock") rewrite(new_bytes, abort);
    }});
    late = open(path, open_mode::write_existing);
    ASSERT_GT(watch.count("open"), 1u);
  }
  EXPECT_EQ(late->get_size(abort), new_bytes.size());
  late->write("mark", 4, abort);
  EXPECT_EQ(read_bytes(path).substr(0, 4), "mark");
}

// A temporary without a lock yet looks like a leftover to others.
TEST_F(Rewrite, TemporaryTakenForALeftoverIsMadeAgain) {
  const auto write_new = [&](const std::string& content) {
    file_rewriter writer(path, abort);
    writer.output().write(content.data(), content.size(), abort);
    writer.commit_new(durability::ordinary, abort);
  };
  bool done = false;
  const syscall_watch watch({.before = [&](std::size_t, std::string_view name) {
    if (name != "flock" || std::exchange(done, true)) return;
    write_new(old_bytes);
  }});
  write_new(new_bytes);
  EXPECT_TRUE(done);
  EXPECT_TRUE(is_new());
}

TEST_F(Rewrite, OneWriterAtATime) {
  const auto holder = open(path, open_mode::write_existing);
  EXPECT_EQ(raised([&] { open(path, open_mode::write_existing); }),
            "exception_io_sharing_violation: File is already in use");
  EXPECT_EQ(raised([&] { open(path, open_mode::write_new); }),
            "exception_io_sharing_violation: File is already in use");
  EXPECT_EQ(read_bytes(path), old_bytes) << "a refused opening must not empty the file";
  EXPECT_NO_THROW(open(path, open_mode::read));
}

TEST_F(Rewrite, BrieflyLockedTemporaryIsWaitedFor) {
  const auto temporary = rewrite_temporary_path(path).substr(std::string_view("file://").size());
  write_bytes(temporary, "somebody is looking at this");
  int holder = ::open(temporary.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(::flock(holder, LOCK_EX), 0);
  EXPECT_EQ(raised([&] { file_rewriter(path, abort); }), "exception_io_sharing_violation: File is already in use");
  EXPECT_EQ(read_bytes(temporary), "somebody is looking at this");
  std::size_t locks = 0;
  const syscall_watch watch({.before = [&](std::size_t, std::string_view name) {
    // Let go when it is tried for the third time after the source's own lock.
    if (name == "flock" && ++locks == 4) ::close(holder);
  }});
  rewrite(new_bytes, abort);
  EXPECT_TRUE(is_new());
}

TEST_F(Rewrite, TemporaryNameFollowsFromThePath) {
  const auto name = rewrite_temporary_path(path);
  const auto start = "file://" + scratch.path() + "/temp-";
  ASSERT_EQ(name.size(), start.size() + 32 + 4);
  EXPECT_EQ(name.substr(0, start.size()), start);
  EXPECT_EQ(name.substr(start.size()).find_first_not_of("0123456789abcdef"), 32u) << name;
  EXPECT_EQ(name.substr(start.size() + 32), ".tmp");
  ASSERT_EQ(::symlink(path.c_str(), (scratch / "link").c_str()), 0);
  for (const auto& other : {"file://" + path, scratch.path() + "/./" + "a song.mp3", scratch / "link"})
    EXPECT_EQ(rewrite_temporary_path(other), name) << other;
  EXPECT_NE(rewrite_temporary_path(scratch / "b song.mp3"), name);
}

TEST_F(Rewrite, LinksAreFollowed) {
  ASSERT_EQ(::mkdir((scratch / "music").c_str(), 0755), 0);
  const auto real = scratch / "music/real.mp3";
  ASSERT_EQ(::rename(path.c_str(), real.c_str()), 0);
  ASSERT_EQ(::symlink("music/real.mp3", path.c_str()), 0);
  rewrite(new_bytes, abort);
  EXPECT_TRUE(S_ISLNK(test::status_of(path).st_mode));
  EXPECT_EQ(read_bytes(real), new_bytes);
  EXPECT_EQ(test::status_of(real).st_mode & 07777, odd_mode);

  // A link to what isn't there yet leads a new file to its place.
  ASSERT_EQ(::symlink("music/new.mp3", (scratch / "dangling").c_str()), 0);
  file_rewriter writer(scratch / "dangling", abort);
  writer.output().write("x", 1, abort);
  writer.commit_new(durability::ordinary, abort);
  EXPECT_EQ(read_bytes(scratch / "music/new.mp3"), "x");
  EXPECT_TRUE(S_ISLNK(test::status_of(scratch / "dangling").st_mode));
}

// A hard link is another name of the old bytes: they stay there, and the path gets the new ones.
TEST_F(Rewrite, HardLinksKeepTheOldBytes) {
  ASSERT_EQ(::link(path.c_str(), (scratch / "other name").c_str()), 0);
  rewrite(new_bytes, abort);
  EXPECT_TRUE(is_new());
  EXPECT_EQ(read_bytes(scratch / "other name"), old_bytes);
}

TEST_F(Rewrite, LeftoversAreNeverFollowed) {
  const auto victim = scratch / "victim";
  write_bytes(victim, "precious");
  const auto temporary = rewrite_temporary_path(path).substr(std::string_view("file://").size());
  const std::array<int (*)(const char*, const char*), 2> kinds{::symlink, ::link};
  for (const auto make : kinds) {
    ASSERT_EQ(make(victim.c_str(), temporary.c_str()), 0);
    put_old();
    file_rewriter writer(path, abort);
    writer.output().write(new_bytes.data(), new_bytes.size(), abort);
    writer.commit_new(durability::on_disk, abort);
    EXPECT_TRUE(is_new());
    EXPECT_EQ(read_bytes(victim), "precious");
  }
  ASSERT_EQ(::mkfifo(temporary.c_str(), 0600), 0);
  EXPECT_NO_THROW(rewrite(new_bytes, abort));
  ASSERT_EQ(::mkdir(temporary.c_str(), 0700), 0);
  EXPECT_EQ(raised([&] { rewrite(old_bytes, abort); }), "exception_io_denied: Is a directory");
}

TEST_F(Rewrite, WhatMayNotBeWrittenStays) {
  const auto as_nobody = [&](auto work) {
    return run_in_child([&] {
      constexpr unsigned nobody = 65534;
      if (::geteuid() == 0 && (::setgid(nobody) != 0 || ::setuid(nobody) != 0)) return 98;
      const auto failure = raised(work);
      return failure == "exception_io_denied: Access denied" ? 0 : 1;
    });
  };
  if (::geteuid() == 0) {
    ASSERT_EQ(::chown(path.c_str(), 65534, 65534), 0);
  }
  // The owner may replace it as far as the directory goes, and has said that it shall not change.
  ASSERT_EQ(::chmod(path.c_str(), 0444), 0);
  EXPECT_EQ(as_nobody([&] { rewrite(new_bytes, abort); }), 0);
  EXPECT_EQ(as_nobody([&] {
              file_rewriter writer(path, abort);
              writer.output().write(new_bytes.data(), new_bytes.size(), abort);
              writer.commit_new(durability::ordinary, abort);
            }),
            0);
  EXPECT_TRUE(is_old());
  EXPECT_EQ(scratch.list().size(), 1u);
  ASSERT_EQ(::chmod(path.c_str(), odd_mode), 0);
  ASSERT_EQ(::chmod(scratch.path().c_str(), 0555), 0);
  EXPECT_EQ(as_nobody([&] { rewrite(new_bytes, abort); }), 0);
  ASSERT_EQ(::chmod(scratch.path().c_str(), 0755), 0);
  EXPECT_TRUE(is_old());
}

TEST_F(Rewrite, StrangersFileIsReplacedWithoutMoreRights) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs to be root";
  // Of another owner and group, writable for all: what replaces it can't keep either.
  ASSERT_EQ(::chown(path.c_str(), 1234, 2345), 0);
  ASSERT_EQ(::chmod(path.c_str(), 06776), 0);
  EXPECT_EQ(run_in_child([&] {
              if (::setgid(65534) != 0 || ::setuid(65534) != 0) return 98;
              rewrite(new_bytes, abort);
              return 0;
            }),
            0);
  EXPECT_TRUE(is_new());
  EXPECT_EQ(test::status_of(path).st_mode & 07777, mode_t{0766}) << "no set-id bits, the new group as all others";
}

TEST_F(Rewrite, DirectoriesAreRefused) {
  EXPECT_EQ(raised([&] { open(scratch.path(), open_mode::write_existing); }), "exception_io_denied: Is a directory");
  EXPECT_EQ(raised([&] { file_rewriter(scratch / "a song.mp3/below", abort); }),
            "exception_io_not_found: Object not found");
  ASSERT_EQ(::mkdir((scratch / "folder").c_str(), 0755), 0);
  EXPECT_EQ(raised([&] {
              file_rewriter onto_folder(scratch / "folder", abort);
              onto_folder.commit_new(durability::ordinary, abort);
            }),
            "exception_io_denied: Is a directory");
}

TEST_F(Rewrite, WrittenToBehindItsBack) {
  file_ptr source;
  input_open_file_helper(source, path, input_open_info_write, abort);
  file_rewriter rewriter(path, abort);
  rewriter.output().write(new_bytes.data(), new_bytes.size(), abort);
  // Somebody who takes no lock.
  write_bytes(path, "changed");
  EXPECT_EQ(raised([&] { rewriter.commit(source, abort); }), "exception_io_sharing_violation: File is already in use");
  EXPECT_EQ(read_bytes(path), "changed");
}

// In a directory that others can write to, the temporary's name is anybody's. What is put under it is neither placed
// nor touched.
TEST_F(Rewrite, NameOfTheTemporaryIsTakenByAnother) {
  const auto victim = scratch / "victim";
  write_bytes(victim, "private");
  ASSERT_EQ(::chmod(victim.c_str(), 0600), 0);
  const auto calls = count_calls();
  std::size_t taken = 0;
  for (std::size_t n = 0; n < calls; ++n) {
    put_old();
    bool swapped = false;
    bool at_the_last = false;
    std::string failure;
    {
      const syscall_watch watch({.before = [&](std::size_t number, std::string_view name) {
        if (number == n) at_the_last = name == "rename";
        const auto temporary = rewrite_temporary_path(path).substr(std::string_view("file://").size());
        if (number != n || ::unlink(temporary.c_str()) != 0) return;
        swapped = ::link(victim.c_str(), temporary.c_str()) == 0;
      }});
      failure = raised([&] { rewrite(new_bytes, abort); });
    }
    taken += swapped ? 1u : 0u;
    // Between the last look and the rename there is no stopping them: who may do that may replace the file as well.
    if (!at_the_last) {
      EXPECT_TRUE(failure.empty() ? is_new() : is_old()) << n << ": " << failure;
    }
    EXPECT_EQ(read_bytes(victim), "private") << n;
    EXPECT_EQ(test::status_of(victim).st_mode & 07777, mode_t{0600}) << n;
  }
  EXPECT_GT(taken, 0u);
}

// A host may keep the file that it gave as a hint.
TEST_F(Rewrite, SourceMayHaveOtherOwnersAndOutlivesAFailure) {
  file_ptr source;
  input_open_file_helper(source, path, input_open_info_write, abort);
  const file_ptr kept_by_the_host = source;
  {
    file_rewriter rewriter(path, abort);
    rewriter.output().write(new_bytes.data(), new_bytes.size(), abort);
    const syscall_watch watch({.refused = "rename"});
    EXPECT_EQ(raised([&] { rewriter.commit(source, abort); }), "exception_io: Device error");
  }
  ASSERT_EQ(source.get(), kept_by_the_host.get());
  std::string read(old_bytes.size(), '\0');
  source->reopen(abort);
  source->read_object(read.data(), read.size(), abort);
  EXPECT_EQ(read, old_bytes);
  EXPECT_TRUE(is_old());
  file_rewriter rewriter(path, abort);
  rewriter.output().write(new_bytes.data(), new_bytes.size(), abort);
  // The host's own handle still has the lock, on what is no longer the path's file.
  EXPECT_EQ(raised([&] { rewriter.commit(source, abort); }), "");
  EXPECT_TRUE(is_new());
}

// File systems without locks: the one who is overtaken fails, and nothing half-written is placed.
TEST_F(Rewrite, WithoutLocksNothingHalfWrittenIsPlaced) {
  std::optional<file_rewriter> first;
  const syscall_watch watch({.error = EOPNOTSUPP, .refused = "flock"});
  first.emplace(path, abort);
  first->output().write(new_bytes.data(), new_bytes.size(), abort);
  file_rewriter second(path, abort); // takes the first one's temporary for a leftover
  second.output().write("half", 4, abort);
  flush_to_disk(second.output(), abort);
  EXPECT_EQ(raised([&] { first->commit_new(durability::on_disk, abort); }),
            "exception_io_sharing_violation: File is already in use");
  EXPECT_TRUE(is_old());
  first.reset(); // and leaves the second one's temporary alone
  second.output().seek(0, abort);
  second.output().write(new_bytes.data(), new_bytes.size(), abort);
  EXPECT_NO_THROW(second.commit_new(durability::on_disk, abort));
  EXPECT_TRUE(is_new());
}

// Bytes changed in place just before are the writer's own, and no reason to refuse.
TEST_F(Rewrite, AfterAWriteInPlace) {
  file_ptr source;
  input_open_file_helper(source, path, input_open_info_write, abort);
  source->write("ID3", 3, abort);
  file_rewriter rewriter(path, abort);
  rewriter.output().write(new_bytes.data(), new_bytes.size(), abort);
  EXPECT_NO_THROW(rewriter.commit(source, abort));
  EXPECT_TRUE(is_new());
}

TEST_F(Rewrite, NewFilesGetTheUsualPermissions) {
  const auto made = scratch / "new";
  const mode_t mask = ::umask(027);
  for (const auto wanted : {durability::on_disk, durability::ordinary}) {
    ::unlink(made.c_str());
    file_rewriter writer(made, abort);
    writer.output().write("new", 3, abort);
    writer.commit_new(wanted, abort);
    EXPECT_EQ(test::status_of(made).st_mode & 07777, mode_t{0640});
    EXPECT_EQ(read_bytes(made), "new");
  }
  ::umask(mask);
}

// Content first, then the name, then the directory: the order in which a crash of the system can do no harm.
TEST_F(Rewrite, ReachesTheDiskInOrder) {
  const syscall_watch watch({});
  rewrite(new_bytes, abort);
  std::string order;
  for (const auto name : watch.names()) {
    const auto letter = name == "pwrite"         ? 'w'
                        : name == "fchmod"       ? 'm'
                        : name == "rename"       ? 'R'
                        : name.ends_with("sync") ? 's'
                                                 : '\0';
    if (letter != '\0' && !order.ends_with(letter)) order += letter;
  }
  EXPECT_EQ(order, "wsmsRs") << "written, flushed, given its attributes, flushed, renamed, and the directory flushed";
}

TEST_F(Rewrite, OtherSchemesCantBeReplaced) {
  EXPECT_FALSE(can_rewrite("tempmem://"));
  EXPECT_EQ(raised([&] { file_rewriter("tempfile://", abort); }),
            "exception_io_object_is_remote: This operation is not supported on remote objects");
}

} // namespace
} // namespace zelmora
