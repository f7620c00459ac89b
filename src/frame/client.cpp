#include "frame/client.h"

#include "frame/advconfig.h"
#include "frame/cfg_var.h"

namespace zelmora {

namespace {

class client_impl final : public zelmora_client {
 public:
  std::uint32_t get_version() override { return interface_revision; }
  service_factory_node* get_service_list() override { return service_list_head(); }
  void get_config_stream(zelmora_io::stream_writer& out, abort_callback& abort) override {
    cfg_var::write_all(out, abort);
  }
  void set_config_stream(zelmora_io::stream_reader& in, abort_callback& abort) override {
    cfg_var::read_all(in, abort);
    settle_radio_groups();
  }
  void set_library_path(const char* path, const char* name) override { library = {path, name}; }
  void services_init(bool wanted) override { running.store(wanted); }
  bool is_debug() override { return false; }

  library_path library;
  std::atomic<bool> running{false};
};

client_impl client;

} // namespace

const library_path& get_library_path() { return client.library; }
bool services_running() noexcept { return client.running.load(); }
zelmora_client& client_instance() { return client; }

} // namespace zelmora
