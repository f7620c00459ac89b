// What a command line asks for, as plain values.
#pragma once

#include "cli/tag_operands.h"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace zelmora::cli {

/// The command line is not one of the program's.
class usage_error : public std::runtime_error {
 public:
  explicit usage_error(const std::string& message, std::string verb = {})
      : std::runtime_error(message), verb_(std::move(verb)) {}
  /// Whose `--help` tells more; empty for that of the program.
  const std::string& verb() const noexcept { return verb_; }

 private:
  std::string verb_;
};

/// Where the paths to work on come from.
struct path_arguments {
  std::vector<std::string> paths;
  std::string list;           ///< a file of more paths; "-" is standard input, empty is none
  bool nul_separated = false; ///< in the list, rather than one a line
};

/// What is only to be printed: help, version, generated pages.
struct text_request {
  std::string text;
};

struct formats_options {
  bool json = false;
};

struct info_options {
  path_arguments input;
  unsigned jobs = 0; ///< 0: as many as suit the machine
  bool json = false;
  bool io_statistics = false;
  bool fast = false; ///< files aren't read whole for their length
};

enum class output_format { wav_float, wav_s16, wav_s24, wav_s32, f32, s16, s24, s32 };

struct decode_options {
  path_arguments input;
  unsigned jobs = 1;
  std::string output; ///< "-" is standard output
  output_format format = output_format::wav_float;
  std::optional<std::uint32_t> subsong;
  double start = 0;             ///< [s]
  std::optional<double> length; ///< [s]
  bool postprocess = true;
};

struct verify_options {
  path_arguments input;
  unsigned jobs = 1;
  unsigned seeks = 0;
  std::uint64_t seed = 1;
  bool json = false;
};

enum class config_action { list, get, set, reset };

struct config_options {
  config_action action = config_action::list;
  std::vector<std::string> keys;
  std::vector<std::string> values; ///< of `keys`, for `set`
  bool json = false;
};

struct tag_options {
  tag_action action = tag_action::show;
  std::vector<field_operand> fields; ///< for `set`, `add`, `remove`
  std::string source;                ///< of `copy`
  path_arguments input;
  unsigned jobs = 0;                    ///< 0: as many as suit the action
  std::optional<std::uint32_t> subsong; ///< none: all; for `copy` it is that of the source
  bool dry_run = false;
  bool json = false;
};

struct commands_options {
  std::string command; ///< of which more is told; empty for a list of all
  bool json = false;
};

struct run_options {
  std::string command;
  std::vector<std::string>
      arguments;        ///< options of the command and paths: only the command can tell one from the other
  bool yes = false;     ///< the answer to every question, and the defaults of every dialog
  path_arguments input; ///< of the paths those behind a "--"
};

using request = std::variant<text_request, formats_options, info_options, decode_options, verify_options, tag_options,
                             commands_options, run_options, config_options>;

/// Reads the arguments that follow the program's name. Raises `usage_error`.
request parse_command_line(const std::vector<std::string>& arguments);

/// Raises `usage_error`, of `verb`, when neither paths nor a list of them are given.
void require_paths(const path_arguments& input, const std::string& verb = {});

/// What `zel --help` prints.
std::string program_help();

} // namespace zelmora::cli
