// From the command line to a verb and its exit status.
#pragma once

namespace zelmora::cli {

/// Runs the program; never raises. Returns the exit status: 0 all done, 1 something failed, 2 wrong usage,
/// 130 interrupted.
int run_program(int argc, const char* const* argv);

} // namespace zelmora::cli
