#include "frame/service.h"

#include "frame/exceptions.h"

namespace zelmora {

namespace {
constinit service_factory_node* list_head = nullptr;
constinit std::atomic<zelmora_services*> host_services{nullptr};
} // namespace

service_factory_node::service_factory_node(const guid& class_id) noexcept : next(list_head), class_guid(&class_id) {
  list_head = this;
}

service_factory_node* service_list_head() noexcept { return list_head; }

void set_services(zelmora_services* services) noexcept { host_services.store(services, std::memory_order_release); }

zelmora_services& services() {
  auto* services = host_services.load(std::memory_order_acquire);
  if (services == nullptr) uBugCheck("a service was asked for before the host attached the module");
  return *services;
}

namespace detail {
void raise_service_not_found() { throw exception_service_not_found(); }
void raise_service_duplicated() { throw exception_service_duplicated(); }
void raise_service_extension_not_found() { throw exception_service_extension_not_found(); }
} // namespace detail

} // namespace zelmora
