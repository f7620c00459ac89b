// System calls that fail, fall short, or are the last thing a process does.
//
// A program that links `zelmora_syscall_faults` has its file calls led through here by the linker (--wrap). They do
// what they always do until a `syscall_watch` stands: then those of its thread are counted from 0, listed by name, and
// treated by plan.
//
//   syscall_watch count({});            rewrite(path);  // how many there are
//   syscall_watch watch({.fail_at = n}); rewrite(path); // the nth fails with EIO
#pragma once

#include <cerrno>
#include <cstddef>
#include <functional>
#include <limits>
#include <string_view>
#include <vector>

namespace zelmora::test {

struct syscall_plan {
  static constexpr std::size_t never = std::numeric_limits<std::size_t>::max();

  std::size_t fail_at = never; ///< that call does nothing (close closes) and reports `error`
  int error = EIO;
  std::size_t writes_fail_from =
      never;                      ///< every write and allocation from that call on reports `error`, as on a full disk
  std::string_view refused = {};  ///< every call of that name reports `error`, as on a system without it
  std::size_t shorten_at = never; ///< that call, a read or a write, moves no more than one byte
  std::size_t kill_at = never;    ///< before that call the process kills itself with SIGKILL
  /// Called before each call with its number and name; calls that it makes itself are neither counted nor touched.
  std::function<void(std::size_t, std::string_view)> before = {};
};

/// Sets `token` before call `n`.
template <class Token>
syscall_plan abort_before(std::size_t n, Token& token) {
  return {.before = [n, &token](std::size_t number, std::string_view) {
    if (number == n) token.set();
  }};
}

/// The plan in force for this thread while the object stands. One at a time.
class syscall_watch {
 public:
  explicit syscall_watch(syscall_plan plan);
  ~syscall_watch();
  syscall_watch(const syscall_watch&) = delete;
  syscall_watch& operator=(const syscall_watch&) = delete;

  std::size_t count() const noexcept { return names_.size(); }
  std::size_t count(std::string_view name) const;
  const std::vector<std::string_view>& names() const noexcept { return names_; }

  /// What a wrapper is to do; for the wrappers alone.
  enum class verdict { pass, shorten, fail };
  verdict enter(std::string_view name, bool takes_room);
  int error() const noexcept { return plan_.error; }
  static syscall_watch* current() noexcept;

 private:
  syscall_plan plan_;
  std::vector<std::string_view> names_;
};

} // namespace zelmora::test
