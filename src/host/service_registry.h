// Every service of the host and of its modules, by class.
#pragma once

#include "frame/service.h"

#include <cstring>
#include <unordered_map>
#include <vector>

namespace zelmora::host {

/// Look-ups run for every path that is opened, so the modules' lists are sorted out once, when a module is added.
/// Modules are added before the first look-up; from then on any thread may ask.
class service_registry final : public zelmora_services {
 public:
  /// Adds the services of a module's list, in the order in which they registered, after those of earlier modules.
  void add_module(service_factory_node* head);
  service_ptr_t<service_enumerator> enumerate(const guid& class_id) override;

 private:
  struct guid_hash {
    std::size_t operator()(const guid& id) const noexcept {
      std::size_t hash = 0;
      std::memcpy(&hash, id.bytes.data() + id.bytes.size() - sizeof hash, sizeof hash);
      return hash;
    }
  };
  std::unordered_map<guid, std::vector<service_factory_node*>, guid_hash> nodes_;
};

} // namespace zelmora::host
