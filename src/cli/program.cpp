#include "cli/program.h"

#include "cli/interrupt.h"
#include "cli/verbs.h"
#include "frame/exceptions.h"
#include "host/terminal.h"

#include <cerrno>
#include <fcntl.h>
#include <fmt/core.h>
#include <unistd.h>

namespace zelmora::cli {

namespace {

exit_status run_verb(const formats_options& options, program_context& context) { return run_formats(options, context); }
exit_status run_verb(const info_options& options, program_context& context) { return run_info(options, context); }
exit_status run_verb(const decode_options& options, program_context& context) { return run_decode(options, context); }
exit_status run_verb(const verify_options& options, program_context& context) { return run_verify(options, context); }
exit_status run_verb(const tag_options& options, program_context& context) { return run_tag(options, context); }
exit_status run_verb(const commands_options& options, program_context& context) {
  return run_commands(options, context);
}
exit_status run_verb(const run_options& options, program_context& context) { return run_run(options, context); }
exit_status run_verb(const config_options& options, program_context& context) { return run_config(options, context); }

exit_status run_request(const request& wanted, standard_output& out) {
  if (const auto* text = std::get_if<text_request>(&wanted)) {
    out.write(text->text);
    return exit_status::done;
  }
  host::host_instance host({});
  program_context context{host, out, program_abort()};
  return std::visit(
      [&](const auto& options) {
        if constexpr (std::is_same_v<decltype(options), const text_request&>)
          return exit_status::done;
        else
          return run_verb(options, context);
      },
      wanted);
}

exit_status report_usage(const usage_error& error, bool no_arguments) {
  auto& terminal = host::terminal::get();
  if (no_arguments) {
    auto help = program_help();
    help.pop_back(); // the line's end is the terminal's to write
    terminal.print_error_line(help);
  } else {
    print_error(error.what());
    terminal.print_error_line(fmt::format("Try 'zel {}{}--help'.", error.verb(), error.verb().empty() ? "" : " "));
  }
  return exit_status::usage;
}

/// A standard descriptor that the parent has closed would be the number of the next file that is opened: messages would
/// go into audio. What takes its place is open the wrong way round, so that using it still fails. False when there is
/// nothing to take it.
bool occupy_standard_descriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) >= 0 || errno != EBADF) continue;
    // The lowest free number is taken, and that is `descriptor`.
    if (open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY) != descriptor) return false;
  }
  return true;
}

exit_status run(const std::vector<std::string>& arguments) {
  standard_output out;
  auto status = exit_status::done;
  try {
    try {
      status = run_request(parse_command_line(arguments), out);
    } catch (const usage_error& error) {
      status = report_usage(error, arguments.empty());
    } catch (const zelmora_io::exception_aborted&) {
      status = exit_status::interrupted;
    } catch (const standard_output_failure&) {
      throw;
    } catch (const std::exception& failure) {
      print_error(failure.what());
      status = exit_status::failed;
    }
    // What is finished goes out, even after an interrupt.
    out.flush();
  } catch (const standard_output_failure& failure) {
    if (!failure.is_closed()) print_error("standard output", failure.what());
    raise_status(status, exit_status::failed);
  } catch (const zelmora_io::exception_aborted&) {
    status = exit_status::interrupted;
  }
  return status;
}

} // namespace

int run_program(int argc, const char* const* argv) {
  try {
    if (!occupy_standard_descriptors()) return static_cast<int>(exit_status::failed);
    install_interrupt_handlers();
    const std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    return static_cast<int>(run(arguments));
  } catch (...) {
    // Out of memory while saying so: nothing is left but the status.
    return static_cast<int>(exit_status::failed);
  }
}

} // namespace zelmora::cli
