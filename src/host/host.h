// The stand-alone host: loads the plug-in as any host would, and offers it the services that it expects.
#pragma once

#include "frame/advconfig.h"
#include "frame/service.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zelmora::host {

struct host_options {
  /// The plug-in's file; empty for `find_plugin()`. "none" loads no plug-in: the services linked into the program,
  /// which a unit test has, are all there are.
  std::string plugin_path;
  /// Where the configuration blob is kept; empty for `user_config_directory()`.
  std::string config_directory;
};

/// One host for the life of the program; a second one at the same time is a bug check.
class host_instance {
 public:
  /// Loads the plug-in and its configuration. A plug-in that can't be loaded raises `exception_win32` with the loader's
  /// text. A damaged configuration counts as absent, with a line on the console.
  explicit host_instance(const host_options& options);
  ~host_instance();
  host_instance(const host_instance&) = delete;
  host_instance& operator=(const host_instance&) = delete;

  /// Writes the configuration blob, replacing the old one in one step.
  void save_configuration(abort_callback& abort);
  /// The path of the blob.
  const std::string& configuration_path() const noexcept;
  /// The path that the plug-in was loaded from; empty with "none".
  const std::string& plugin_path() const noexcept;

 private:
  struct state;
  std::unique_ptr<state> state_;
};

/// $ZELMORA_PLUGIN, else beside the program, else where the program's installation keeps it.
std::string find_plugin();
/// $ZELMORA_CONFIG_DIR, else $XDG_CONFIG_HOME/zelmora, else ~/.config/zelmora.
std::string user_config_directory();

/// The setting of that key (compared without case), or null.
service_ptr_t<advconfig_entry> find_setting(std::string_view key);

/// A line of the settings tree, in display order: branches before what they hold, siblings by priority, then as
/// registered.
struct setting_row {
  service_ptr_t<advconfig_entry> entry;
  unsigned depth = 0; ///< 0 for the roots
};
std::vector<setting_row> list_settings();

} // namespace zelmora::host
