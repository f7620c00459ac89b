// Stopping background jobs from outside.
#pragma once

#include "frame/abort_callback.h"

namespace zelmora::host {

/// From now on jobs run until they end or `token` is set; null for no token. The token outlives every job. The command
/// line hands in the one that its SIGINT handler sets.
void set_interrupt(abort_callback* token) noexcept;
/// That token, or one that never aborts.
abort_callback& get_interrupt() noexcept;

} // namespace zelmora::host
