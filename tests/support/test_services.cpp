#include "support/test_services.h"

#include "frame/service.h"

namespace zelmora::test {

namespace {

class own_enumerator : public service_enumerator {
 public:
  explicit own_enumerator(const guid& class_id) : class_id_(class_id) {}
  bool next(service_ptr_t<service_base>& out) override {
    while (node_ != nullptr) {
      auto* const current = node_;
      node_ = node_->next;
      if (*current->class_guid != class_id_) continue;
      out = current->instance_create();
      return true;
    }
    return false;
  }

 private:
  guid class_id_;
  service_factory_node* node_ = service_list_head();
};

class own_services final : public zelmora_services {
 public:
  service_ptr_t<service_enumerator> enumerate(const guid& class_id) override {
    return service_new<own_enumerator>(class_id);
  }
};

} // namespace

void attach_own_services() {
  static own_services services;
  set_services(&services);
}

} // namespace zelmora::test
