// The plug-in's library, loaded.
#pragma once

#include "frame/client.h"

#include <string>

namespace zelmora::host {

/// Loads a plug-in and attaches it to `services`. The library stays in the process afterwards: exceptions and objects
/// that came from it may live longer than this object.
class loaded_plugin {
 public:
  /// A library that can't be loaded, that is no plug-in or that speaks another revision of the interfaces raises
  /// `exception_win32` with a text that says so.
  loaded_plugin(const std::string& path, zelmora_services& services);
  ~loaded_plugin();
  loaded_plugin(const loaded_plugin&) = delete;
  loaded_plugin& operator=(const loaded_plugin&) = delete;

  zelmora_client& client() const noexcept { return *client_; }
  const std::string& path() const noexcept { return path_; }

 private:
  std::string path_;
  get_interface_function* entry_ = nullptr;
  zelmora_client* client_ = nullptr;
};

} // namespace zelmora::host
