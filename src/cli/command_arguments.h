// What stands behind the name of a command: answers to its dialog, and paths.
#pragma once

#include "frame/context_command.h"
#include "host/answers.h"

#include <string>
#include <vector>

namespace zelmora::cli {

struct command_arguments {
  std::vector<host::dialog_answer> answers;
  std::vector<std::string> paths;
};

/// Takes `--delay 576`, `--delay=576`, and of a yes-or-no also `--overwrite` and `--no-overwrite`, by the fields of
/// `command`; of two the last counts. Anything else that looks like an option, or a value that its field does not take,
/// raises `usage_error`.
command_arguments split_command_arguments(const context_command_description& command,
                                          const std::vector<std::string>& arguments);

/// "run "NAME"": whose `--help` is `command_help`.
std::string help_subject(const context_command_description& command);
/// The page that tells what `command` does and asks.
std::string command_help(const context_command_description& command);

} // namespace zelmora::cli
