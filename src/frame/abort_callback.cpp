#include "frame/abort_callback.h"

#include "frame/exceptions.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace zelmora {

void abort_callback::raise() { throw zelmora_io::exception_aborted(); }

void abort_callback::sleep(double seconds) const {
  check();
  pollfd event{get_abort_event(), POLLIN, 0};
  constexpr double longest_wait = 24 * 3600.0;
  const int milliseconds = static_cast<int>(std::ceil(std::clamp(seconds, 0.0, longest_wait) * 1000.0));
  ::poll(&event, event.fd < 0 ? 0 : 1, milliseconds);
  check();
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
