// Ctrl-C: the first asks the work to stop and to leave everything whole, the second kills.
#pragma once

#include "frame/abort_callback.h"

namespace zelmora::cli {

/// From here on SIGINT, SIGTERM and SIGHUP set the token; signals that the parent had ignored stay ignored. SIGPIPE is
/// ignored: a reader that goes away is seen at the next write.
void install_interrupt_handlers();

/// The token of the whole program.
abort_callback_impl& program_abort();

/// While it lives, threads that the caller starts take no interrupts: those go to the main thread, whose system calls
/// they are to end.
class interrupts_blocked {
 public:
  interrupts_blocked();
  ~interrupts_blocked();
  interrupts_blocked(const interrupts_blocked&) = delete;
  interrupts_blocked& operator=(const interrupts_blocked&) = delete;
};

} // namespace zelmora::cli
