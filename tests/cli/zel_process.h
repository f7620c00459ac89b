// Runs the built `zel` in a directory of its own, and keeps what it says.
#pragma once

#include "host/host_fixture.h"

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace zelmora::test {

struct zel_result {
  int status = -1; ///< exit status; 128 and the number for a signal
  std::string out;
  std::string err;
};

/// Where the child's standard output goes.
struct zel_setup {
  std::string input{};             ///< for standard input
  std::string output_path{};       ///< a file to open for standard output, in place of a pipe
  bool as_nobody = false;          ///< without the rights of the superuser, if the test has them
  bool close_output_early = false; ///< the reader of standard output is gone before the child starts
  std::vector<int> closed{};       ///< standard descriptors that the child starts without
  int output_capacity = 0;         ///< [bytes] of the pipe; 0 for the system's
  bool merge_errors = false;       ///< standard error goes where standard output goes
};

/// A child that is still running.
class running_zel {
 public:
  running_zel(const std::string& directory, const std::vector<std::string>& arguments, const zel_setup& setup = {});
  ~running_zel();
  running_zel(const running_zel&) = delete;
  running_zel& operator=(const running_zel&) = delete;

  void interrupt(int number) const;
  /// Returns when the pipe of standard output takes no more, or false when the child has ended before.
  bool fill_output() const;
  /// Whether the child ends by itself within a time that is far beyond what it needs, with its output unread.
  bool ends_unread() const;
  /// Reads all that is said, and waits for the end.
  zel_result wait();

 private:
  pid_t child_ = -1;
  int output_ = -1;
  int errors_ = -1;
};

/// Paths are relative to the directory, and so are those of the arguments; settings are kept in it.
class ZelTest : public testing::Test {
 protected:
  zel_result zel(const std::vector<std::string>& arguments, const zel_setup& setup = {}) const {
    return running_zel(directory_.path(), arguments, setup).wait();
  }
  std::string path(std::string_view name) const { return directory_ / name; }
  void write(std::string_view name, std::string_view content) const;
  std::string read(std::string_view name) const { return read_bytes(path(name)); }
  /// What stands in the directory, the settings aside.
  std::vector<std::string> names() const;

  scratch_directory directory_;
};

/// The lines of `text`, each of which must end.
std::vector<std::string> lines_of(const std::string& text);
std::vector<nlohmann::ordered_json> json_lines_of(const std::string& text);

/// A mono or interleaved WAV file of 32-bit float, made by hand.
std::string float_wav(const std::vector<float>& samples, std::uint32_t rate = 8000, std::uint16_t channels = 1);
/// The little-endian values of `bytes`.
std::vector<float> floats_of(std::string_view bytes);
/// Sign-extended integers of `width` bytes.
std::vector<std::int64_t> integers_of(std::string_view bytes, std::size_t width);
/// A ramp that tells every sample from every other: n / 2^20.
std::vector<float> ramp(std::size_t count);

} // namespace zelmora::test
