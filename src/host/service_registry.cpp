#include "host/service_registry.h"

#include <span>

namespace zelmora::host {

namespace {

class node_enumerator : public service_enumerator {
 public:
  explicit node_enumerator(std::span<service_factory_node* const> nodes) noexcept : nodes_(nodes) {}
  bool next(service_ptr_t<service_base>& out) override {
    if (nodes_.empty()) return false;
    out = nodes_.front()->instance_create();
    nodes_ = nodes_.subspan(1);
    return true;
  }

 private:
  std::span<service_factory_node* const> nodes_;
};

} // namespace

void service_registry::add_module(service_factory_node* head) {
  std::vector<service_factory_node*> registered;
  for (auto* node = head; node != nullptr; node = node->next) registered.push_back(node);
  // A list runs from the last registered to the first.
  for (auto node = registered.rbegin(); node != registered.rend(); ++node)
    nodes_[*(*node)->class_guid].push_back(*node);
}

service_ptr_t<service_enumerator> service_registry::enumerate(const guid& class_id) {
  const auto found = nodes_.find(class_id);
  if (found == nodes_.end()) return service_new<node_enumerator>(std::span<service_factory_node* const>());
  return service_new<node_enumerator>(std::span<service_factory_node* const>(found->second));
}

} // namespace zelmora::host
