#include "host/effort.h"

#include "frame/host_services.h"

#include <atomic>

namespace zelmora::host {

namespace {

constinit std::atomic<effort> wanted_effort{effort::full};

class effort_impl : public describing_effort {
 public:
  bool allows_reading_all() override { return wanted_effort.load() == effort::full; }
};

service_factory_single_t<effort_impl> factory;

} // namespace

void set_effort(effort wanted) noexcept { wanted_effort.store(wanted); }

} // namespace zelmora::host
