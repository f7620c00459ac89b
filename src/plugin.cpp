// The plug-in's entry point, and what it tells the host about itself. Everything else registers from its own source.
#include "frame/client.h"
#include "frame/component.h"

namespace zelmora {

namespace {

class format_bench_version : public component_version_entry {
 public:
  std::string get_name() override { return "Format Bench"; }
  std::string get_version() override { return ZELMORA_VERSION; }
};

class file_check : public component_file_check_entry {
 public:
  bool is_proper_file_name(std::string_view library_path) override {
    const auto name = path_file_name(library_path);
    // The name is the same on every platform but for what the platform's loader wants at its end.
    return name == "zel_input_std.dll" || name == "zel_input_std.so";
  }
};

service_factory_single_t<format_bench_version> version_factory;
service_factory_single_t<file_check> file_check_factory;

} // namespace

} // namespace zelmora

extern "C" __attribute__((visibility("default"))) zelmora::zelmora_client*
zelmora_get_interface(zelmora::zelmora_services* services) {
  zelmora::set_services(services);
  return &zelmora::client_instance();
}
