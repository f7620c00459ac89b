// The paths to work on: those of the command line, then those of a list.
#pragma once

#include "cli/options.h"
#include "frame/abort_callback.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace zelmora::cli {

/// Reads the list as it goes, so that its length does not matter. One thread at a time, but for `is_waiting`.
class path_list {
 public:
  /// Longest path that a list may hold [bytes]: far above what any file system takes, and a bound for lists that are
  /// none, such as a device.
  static constexpr std::size_t longest_path = 1'048'576;

  explicit path_list(const path_arguments& arguments, abort_callback& abort);
  ~path_list();
  path_list(const path_list&) = delete;
  path_list& operator=(const path_list&) = delete;

  /// The next path; false at the end. A list that can't be read raises `exception_io` with its name in the message.
  bool next(std::string& path);
  /// How many paths there are, where that is known beforehand.
  std::optional<std::size_t> count() const;
  /// Called before the list is waited for: what is finished should go out now.
  void set_before_wait(std::function<void()> action) { before_wait_ = std::move(action); }
  /// Whether another thread is in `next`, waiting for the list.
  bool is_waiting() const noexcept { return waiting_.load(); }

 private:
  void open_list();
  void wait_for_list();
  bool fill();
  [[noreturn]] void raise_failure(const std::string& what) const;

  const path_arguments& arguments_;
  abort_callback& abort_;
  std::function<void()> before_wait_;
  std::size_t next_argument_ = 0;
  int descriptor_ = -1;
  bool list_ended_ = false;
  std::string buffer_;
  std::size_t consumed_ = 0;
  std::atomic<bool> waiting_{false};
};

} // namespace zelmora::cli
