// Gathers what an input has to say about a stream.
#pragma once

#include "frame/input.h"

#include <algorithm>
#include <fmt/core.h>
#include <string>
#include <string_view>
#include <vector>

namespace zelmora::cli {

struct logged_entry {
  std::string text;
  unsigned severity;           ///< of `event_logger::severity`
  bool is_of_decoding = false; ///< it came up among the samples
};

/// Entries from a severity on; what is below is dropped. Of a file that is damaged all over the first ones are kept,
/// and how many there were. One thread at a time.
class warning_log : public event_logger {
 public:
  explicit warning_log(unsigned least = warning) : least_(least) {}

  void log_entry(std::string_view text, unsigned severity) override {
    if (severity < least_) return;
    if (entries_.size() >= most_entries) {
      entries_.resize(most_entries);
      const auto worst = std::max(severity, entries_.back().severity);
      entries_.push_back({fmt::format("and {} more", ++left_out_), worst, position_ != nullptr});
      return;
    }
    entries_.push_back({std::string(text), severity, position_ != nullptr});
    if (position_ != nullptr && *position_ > 0) entries_.back().text += fmt::format(" (at {:.3f} s)", *position_);
  }
  /// From now on every entry is of decoding and says where it came up: at `*position` [s], once that is past 0. Null
  /// ends it.
  void follow(const double* position) { position_ = position; }
  const std::vector<logged_entry>& entries() const noexcept { return entries_; }
  void clear() {
    entries_.clear();
    left_out_ = 0;
  }

 private:
  static constexpr std::size_t most_entries = 200;

  unsigned least_;
  std::vector<logged_entry> entries_;
  std::size_t left_out_ = 0;
  const double* position_ = nullptr;
};

} // namespace zelmora::cli
