// Standard output, through one buffer, with every failure noticed.
#pragma once

#include "cli/interruptible_write.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace zelmora::cli {

/// Writing to standard output failed.
class standard_output_failure : public std::runtime_error {
 public:
  standard_output_failure(const std::string& message, bool is_closed)
      : std::runtime_error(message), is_closed_(is_closed) {}
  /// The reader has gone away: nobody is left to be told.
  bool is_closed() const noexcept { return is_closed_; }

 private:
  bool is_closed_;
};

/// Text for standard output. One thread at a time. Failures raise `standard_output_failure`, an interrupt while nobody
/// reads `exception_aborted`; nothing is written by the destructor, so that a failure can't go unseen: whoever is done
/// calls `flush`.
class standard_output {
 public:
  standard_output();
  void write(std::string_view text);
  void flush();

 private:
  static constexpr std::size_t capacity = 65'536;

  void write_buffer();

  interruptible_writer writer_;
  std::string buffer_;
  bool is_terminal_;
};

} // namespace zelmora::cli
