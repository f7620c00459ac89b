#include "host/host.h"

#include "frame/client.h"
#include "frame/component.h"
#include "frame/exceptions.h"
#include "host/config_store.h"
#include "host/plugin_loader.h"
#include "host/service_registry.h"

#include <atomic>
#include <cstdlib>
#include <optional>
#include <pwd.h>
#include <unistd.h>

namespace zelmora::host {

namespace {

constexpr std::string_view no_plugin = "none";

constinit std::atomic<bool> host_exists{false};

/// Holds the one place that there is for a host.
class single_host {
 public:
  single_host() {
    if (host_exists.exchange(true)) uBugCheck("there is a host already");
  }
  ~single_host() { host_exists.store(false); }
  single_host(const single_host&) = delete;
  single_host& operator=(const single_host&) = delete;
};

/// Lets the program's own services find the host's registry for as long as it stands.
class attachment {
 public:
  explicit attachment(zelmora_services& services) noexcept { set_services(&services); }
  ~attachment() { set_services(nullptr); }
  attachment(const attachment&) = delete;
  attachment& operator=(const attachment&) = delete;
};

/// The time between a module's `services_init(true)` and `services_init(false)`.
class running_module {
 public:
  explicit running_module(zelmora_client& client) : client_(client) { client_.services_init(true); }
  ~running_module() { client_.services_init(false); }
  running_module(const running_module&) = delete;
  running_module& operator=(const running_module&) = delete;

 private:
  zelmora_client& client_;
};

std::string environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

std::string home_directory() {
  if (auto home = environment("HOME"); !home.empty()) return home;
  const passwd* const user = ::getpwuid(::geteuid());
  return user == nullptr ? std::string() : std::string(user->pw_dir);
}

std::string or_else(const std::string& given, std::string (*otherwise)()) {
  return given.empty() ? otherwise() : given;
}

} // namespace

struct host_instance::state {
  explicit state(const host_options& options) : attached(registry) {
    registry.add_module(service_list_head());
    if (options.plugin_path != no_plugin) {
      plugin.emplace(or_else(options.plugin_path, find_plugin), registry);
      registry.add_module(plugin->client().get_service_list());
    }
    auto& client = plugin ? plugin->client() : client_instance();
    configuration.emplace(or_else(options.config_directory, user_config_directory), client);
    // The host's own settings; without a plug-in this module stands in for it.
    if (plugin) configuration->add_client(client_instance());
    abort_callback_dummy no_abort;
    configuration->load(no_abort);
    running.emplace(client);
    for_each_service<startup_log_entry>([](const auto& entry) {
      entry->write();
      return true;
    });
  }

  single_host single;
  service_registry registry;
  attachment attached;
  std::optional<loaded_plugin> plugin;
  std::optional<config_store> configuration;
  std::optional<running_module> running;
  std::string no_path;
};

host_instance::host_instance(const host_options& options) : state_(std::make_unique<state>(options)) {}
host_instance::~host_instance() = default;

void host_instance::save_configuration(abort_callback& abort) { state_->configuration->save(abort); }

const std::string& host_instance::configuration_path() const noexcept { return state_->configuration->path(); }

const std::string& host_instance::plugin_path() const noexcept {
  return state_->plugin ? state_->plugin->path() : state_->no_path;
}

std::string user_config_directory() {
  if (auto chosen = environment("ZELMORA_CONFIG_DIR"); !chosen.empty()) return chosen;
  // XDG Base Directory Specification: a relative path there is invalid and ignored.
  if (const auto base = environment("XDG_CONFIG_HOME"); base.starts_with('/')) return base + "/zelmora";
  return home_directory() + "/.config/zelmora";
}

} // namespace zelmora::host
