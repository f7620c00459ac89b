// The verbs. Each runs to its end and returns the gravest status of what it did; `exception_aborted` and
// `standard_output_failure` pass.
#pragma once

#include "cli/messages.h"
#include "cli/options.h"
#include "cli/standard_output.h"
#include "host/host.h"

namespace zelmora::cli {

/// What every verb works with.
struct program_context {
  host::host_instance& host;
  standard_output& out;
  abort_callback& abort;
};

exit_status run_formats(const formats_options& options, program_context& context);
exit_status run_info(const info_options& options, program_context& context);
exit_status run_decode(const decode_options& options, program_context& context);
exit_status run_verify(const verify_options& options, program_context& context);
exit_status run_tag(const tag_options& options, program_context& context);
exit_status run_commands(const commands_options& options, program_context& context);
exit_status run_run(const run_options& options, program_context& context);
exit_status run_config(const config_options& options, program_context& context);

} // namespace zelmora::cli
