// Gathers what an input has to say about a stream.
#pragma once

#include "frame/input.h"

#include <fmt/core.h>
#include <string>
#include <string_view>
#include <vector>

namespace zelmora::cli {

struct logged_entry {
  std::string text;
  unsigned severity; ///< of `event_logger::severity`
};

/// Entries of `event_logger::warning` and above; information is dropped. One thread at a time.
class warning_log : public event_logger {
 public:
  void log_entry(std::string_view text, unsigned severity) override {
    if (severity < warning) return;
    entries_.push_back({std::string(text), severity});
    if (position_ != nullptr && *position_ > 0) entries_.back().text += fmt::format(" (at {:.3f} s)", *position_);
  }
  /// From now on every entry says where it came up: at `*position` [s], once that is past 0. Null ends it.
  void follow(const double* position) { position_ = position; }
  const std::vector<logged_entry>& entries() const noexcept { return entries_; }
  void clear() { entries_.clear(); }

 private:
  std::vector<logged_entry> entries_;
  const double* position_ = nullptr;
};

} // namespace zelmora::cli
