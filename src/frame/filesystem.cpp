#include "frame/filesystem.h"

#include "frame/call_stack.h"

#include <algorithm>
#include <chrono>

namespace zelmora::zelmora_io {

namespace {
constexpr double retry_interval = 0.05; // [s]

/// The first service for which `answers` holds, or null. Runs for every path, so it walks no further than it must.
template <class Predicate>
service_ptr_t<filesystem> find_filesystem(Predicate answers) {
  service_ptr_t<filesystem> found;
  for_each_service<filesystem>([&](service_ptr_t<filesystem> service) {
    if (answers(*service)) found = std::move(service);
    return !found;
  });
  return found;
}
} // namespace

void retry_while_in_use(double timeout, abort_callback& abort, const std::function<void()>& attempt) {
  using clock = std::chrono::steady_clock;
  const auto deadline = clock::now() + std::chrono::duration<double>(timeout);
  for (;;) {
    try {
      return attempt();
    } catch (const exception_io_sharing_violation&) {
      const double left = std::chrono::duration<double>(deadline - clock::now()).count();
      if (left <= 0) throw;
      abort.sleep(std::min(left, retry_interval));
    }
  }
}

service_ptr_t<filesystem> filesystem::g_get_interface(std::string_view path) {
  auto service = find_filesystem([&](filesystem& candidate) { return candidate.is_our_path(path); });
  if (!service) throw exception_io_no_handler_for_path();
  return service;
}

void filesystem::g_open(file_ptr& out, std::string_view path, open_mode mode, abort_callback& abort) {
  const uCallStackTracker trace("filesystem::g_open");
  g_get_interface(path)->open(out, path, mode, abort);
}

void filesystem::g_open_timeout(file_ptr& out, std::string_view path, open_mode mode, double timeout,
                                abort_callback& abort) {
  retry_while_in_use(timeout, abort, [&] { g_open(out, path, mode, abort); });
}

std::string filesystem::g_get_canonical_path(std::string_view path) {
  const uCallStackTracker trace("filesystem::g_get_canonical_path");
  std::string out;
  if (find_filesystem([&](filesystem& candidate) { return candidate.get_canonical_path(path, out); })) return out;
  return std::string(path);
}

std::string filesystem::g_get_display_path(std::string_view path) {
  const uCallStackTracker trace("filesystem::g_get_display_path");
  std::string out;
  if (const auto service = find_filesystem([&](filesystem& candidate) { return candidate.is_our_path(path); });
      service && service->get_display_path(path, out))
    return out;
  return std::string(path);
}

void filesystem::g_remove(std::string_view path, abort_callback& abort) { g_get_interface(path)->remove(path, abort); }

} // namespace zelmora::zelmora_io
