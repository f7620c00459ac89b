#include "frame/abort_callback.h"

#include "frame/exceptions.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace zelmora {

void abort_callback::raise() { throw zelmora_io::exception_aborted(); }

void abort_callback::sleep(double seconds) const {
  using clock = std::chrono::steady_clock;
  const auto deadline = clock::now() + std::chrono::duration<double>(seconds);
  pollfd event{get_abort_event(), POLLIN, 0};
  // In slices: a signal cuts a wait short, and a token may have no descriptor.
  constexpr double slice = 1.0;
  for (;;) {
    check();
    const double left = std::chrono::duration<double>(deadline - clock::now()).count();
    if (!(left > 0)) return;
    ::poll(&event, event.fd < 0 ? 0 : 1, static_cast<int>(std::ceil(std::min(left, slice) * 1000.0)));
  }
}

abort_callback_impl::abort_callback_impl() : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

abort_callback_impl::~abort_callback_impl() {
  if (event_ >= 0) ::close(event_);
}

void abort_callback_impl::set() noexcept {
  const int saved = errno;
  aborting_.store(true, std::memory_order_release);
  const std::uint64_t one = 1;
  if (event_ >= 0) [[maybe_unused]]
    const auto written = ::write(event_, &one, sizeof one);
  errno = saved;
}

void abort_callback_impl::reset() noexcept {
  std::uint64_t count = 0;
  if (event_ >= 0) [[maybe_unused]]
    const auto taken = ::read(event_, &count, sizeof count);
  aborting_.store(false, std::memory_order_release);
}

} // namespace zelmora
