// How far long work has come, for whoever watches it on a terminal.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string_view>

namespace zelmora::cli {

/// One for all paths of a run; any thread. Nothing shows up in the first moments: most work is done by then.
class progress {
 public:
  explicit progress(std::optional<std::size_t> paths);
  ~progress();
  progress(const progress&) = delete;
  progress& operator=(const progress&) = delete;

  /// `fraction` [0, 1] of the path; below 0 when there is no telling. Cheap enough for every chunk.
  void show(std::string_view path, double fraction);
  void finish_path();

 private:
  std::optional<std::size_t> paths_;
  std::atomic<std::size_t> finished_{0};
  std::chrono::steady_clock::time_point next_;
  std::atomic<bool> shown_{false};
  bool enabled_;
};

} // namespace zelmora::cli
