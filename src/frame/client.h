// What a plug-in shows its host: the object behind its one exported function.
#pragma once

#include "frame/file.h"
#include "frame/service.h"

#include <cstdint>
#include <string>

namespace zelmora {

/// The interface revision that this build speaks.
inline constexpr std::uint32_t interface_revision = 81;

/// Operations in the order in which the host calls them by slot.
class zelmora_client {
 public:
  virtual std::uint32_t get_version() = 0;
  virtual service_factory_node* get_service_list() = 0;
  /// Writes the module's persistent configuration.
  virtual void get_config_stream(zelmora_io::stream_writer& out, abort_callback& abort) = 0;
  /// Takes a configuration written earlier.
  virtual void set_config_stream(zelmora_io::stream_reader& in, abort_callback& abort) = 0;
  virtual void set_library_path(const char* path, const char* name) = 0;
  virtual void services_init(bool running) = 0;
  virtual bool is_debug() = 0;

 protected:
  ~zelmora_client() = default;
};

/// The exported function's name and shape.
inline constexpr const char* get_interface_symbol = "zelmora_get_interface";
using get_interface_function = zelmora_client*(zelmora_services*);

/// Where this module was loaded from, and its file name; empty until the host has said.
struct library_path {
  std::string path;
  std::string name;
};
const library_path& get_library_path();
/// Whether the host has called `services_init(true)`, and not yet `services_init(false)`.
bool services_running() noexcept;

/// This module's client object.
zelmora_client& client_instance();

} // namespace zelmora
