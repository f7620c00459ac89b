// What an edit of a file owes: whatever fails or ends it at whichever system call, the old file is there or the new.
#pragma once

#include "../host/host_fixture.h"
#include "frame/text.h"
#include "support/syscall_faults.h"

#include <csignal>
#include <functional>
#include <gtest/gtest.h>
#include <string>

namespace zelmora::test {

/// An edit of the file `path` of `scratch`, and what it makes of `old_bytes`.
struct edit_check {
  const scratch_directory& scratch;
  std::string path;
  std::string old_bytes;
  std::string new_bytes;
  std::function<void(abort_callback& abort)> edit;
  /// Whether a kill may leave this as well.
  std::function<bool(const std::string& now)> is_left = [](const std::string&) { return false; };
};

inline void expect_alone(const edit_check& check, const std::string& where) {
  EXPECT_EQ(check.scratch.list(), std::vector<std::string>{std::string(path_file_name(check.path))}) << where;
}

inline std::size_t count_calls(const edit_check& check) {
  write_bytes(check.path, check.old_bytes);
  abort_callback_dummy no_abort;
  const syscall_watch watch({});
  check.edit(no_abort);
  return watch.count();
}

/// Each call fails in turn, and each is one before which the user aborts.
inline void expect_old_or_new_after_failures(const edit_check& check) {
  const auto calls = count_calls(check);
  const auto try_plan = [&](const syscall_plan& plan, abort_callback& token, const std::string& where) {
    write_bytes(check.path, check.old_bytes);
    const auto failure = [&] {
      const syscall_watch watch(plan);
      return raised([&] { check.edit(token); });
    }();
    const auto now = read_bytes(check.path);
    EXPECT_TRUE(now == check.new_bytes || (!failure.empty() && now == check.old_bytes)) << where << ": " << failure;
    expect_alone(check, where);
  };
  for (std::size_t n = 0; n < calls; ++n) {
    const auto where = "at call " + std::to_string(n);
    abort_callback_impl token;
    for (const int error : {EIO, ENOSPC}) try_plan({.fail_at = n, .error = error}, token, where);
    try_plan(abort_before(n, token), token, "aborted " + where);
  }
}

/// The process is killed before each call; the next edit clears away what it left.
inline void expect_old_or_new_after_kills(const edit_check& check) {
  abort_callback_dummy no_abort;
  for (std::size_t n = 0;; ++n) {
    write_bytes(check.path, check.old_bytes);
    const int status = run_in_child([&] {
      const syscall_watch watch({.kill_at = n});
      check.edit(no_abort);
      return 0;
    });
    const auto now = read_bytes(check.path);
    EXPECT_TRUE(now == check.old_bytes || now == check.new_bytes || check.is_left(now)) << "killed at call " << n;
    if (status == 0) break;
    ASSERT_EQ(status, -SIGKILL) << n;
  }
  write_bytes(check.path, check.old_bytes);
  check.edit(no_abort);
  EXPECT_EQ(read_bytes(check.path), check.new_bytes);
  expect_alone(check, "at the end");
}

} // namespace zelmora::test
