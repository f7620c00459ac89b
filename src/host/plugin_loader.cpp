#include "host/plugin_loader.h"

#include "frame/exceptions.h"
#include "frame/text.h"
#include "host/host.h"

#include <array>
#include <climits>
#include <cstdlib>
#include <dlfcn.h>
#include <fmt/core.h>
#include <unistd.h>

namespace zelmora::host {

namespace {

constexpr std::string_view plugin_name = "zel_input_std.so";

/// Where the plug-in lies as seen from the program's directory: beside it, as in the build tree; in an installation,
/// with and without a directory of the processor architecture.
constexpr std::array<std::string_view, 3> plugin_directories{"", "../lib/zelmora/",
                                                             "../lib/" ZELMORA_LIBRARY_ARCHITECTURE "/zelmora/"};

[[noreturn]] void raise_loader_error(const std::string& path) {
  const char* const text = ::dlerror();
  throw exception_win32(text != nullptr ? text : fmt::format("{}: can't be loaded", path));
}

std::string program_directory() {
  std::array<char, PATH_MAX> path;
  const auto length = ::readlink("/proc/self/exe", path.data(), path.size());
  if (length <= 0) return {};
  const std::string_view text(path.data(), static_cast<std::size_t>(length));
  return std::string(text.substr(0, text.rfind('/') + 1));
}

} // namespace

loaded_plugin::loaded_plugin(const std::string& path, zelmora_services& services)
    // The loader searches its own directories for a bare name.
    : path_(path.find('/') == std::string::npos ? "./" + path : path) {
  void* const library = ::dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (library == nullptr) raise_loader_error(path_);
  void* const symbol = ::dlsym(library, get_interface_symbol);
  if (symbol == nullptr) raise_loader_error(path_);
  entry_ = reinterpret_cast<get_interface_function*>(symbol);
  client_ = entry_(&services);
  if (const auto version = client_->get_version(); version != interface_revision) {
    entry_(nullptr);
    throw exception_win32(
        fmt::format("{}: made for interface revision {}, this host has {}", path_, version, interface_revision));
  }
  client_->set_library_path(path_.c_str(), std::string(path_file_name(path_)).c_str());
}

loaded_plugin::~loaded_plugin() { entry_(nullptr); }

std::string find_plugin() {
  if (const char* const chosen = std::getenv("ZELMORA_PLUGIN"); chosen != nullptr && *chosen != '\0') return chosen;
  const auto base = program_directory();
  for (const auto directory : plugin_directories) {
    auto path = fmt::format("{}{}{}", base, directory, plugin_name);
    if (::access(path.c_str(), R_OK) == 0) return path;
  }
  throw exception_win32(fmt::format("{} is not where the program is; $ZELMORA_PLUGIN can name its file", plugin_name));
}

} // namespace zelmora::host
