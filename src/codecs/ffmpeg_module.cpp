// Loads the module over libavcodec, and tells the host's log of its version.
#include "codecs/codec_settings.h"
#include "codecs/ffmpeg_bridge.h"
#include "frame/component.h"
#include "frame/host_services.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <dlfcn.h>
#include <fmt/core.h>
#include <stdexcept>
#include <unistd.h>

namespace zelmora {

namespace {

std::atomic<ffmpeg_bridge*> loaded{nullptr};

std::string directory_of(std::string_view path) { return std::string(path.substr(0, path.rfind('/') + 1)); }

/// Where the code of this function lies: the plug-in, or a program that it is linked into.
std::string own_directory() {
  Dl_info info{};
  if (::dladdr(reinterpret_cast<const void*>(&directory_of), &info) == 0 || info.dli_fname == nullptr) return {};
  const std::string_view path(info.dli_fname);
  std::array<char, PATH_MAX> program;
  const auto length = ::readlink("/proc/self/exe", program.data(), program.size());
  const std::string_view program_path(program.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
  // A program is known by the name that it was called by.
  const bool is_program = path.find('/') == std::string_view::npos;
  return directory_of(is_program ? program_path : path);
}

std::string version_line(ffmpeg_bridge& bridge) { return "FFmpeg version: " + bridge.version(); }

void write_version(ffmpeg_bridge& bridge) {
  static std::atomic<bool> is_written{false};
  if (is_written.exchange(true)) return;
  for_each_service<console>([line = version_line(bridge)](const auto& log) {
    log->print(line);
    return true;
  });
}

ffmpeg_bridge* load() {
  const auto path = own_directory() + ffmpeg_module_name;
  const auto raise = [&](const char* why) { throw std::runtime_error(fmt::format("ffmpeg: could not load {}", why)); };
  void* const library = ::dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL | RTLD_NODELETE);
  if (library == nullptr) raise(::dlerror());
  void* const symbol = ::dlsym(library, ffmpeg_bridge_symbol);
  if (symbol == nullptr) raise(::dlerror());
  auto* const bridge = reinterpret_cast<ffmpeg_bridge_function*>(symbol)(ffmpeg_bridge_revision);
  if (bridge == nullptr) raise((path + ": it is of another version").c_str());
  write_version(*bridge);
  return bridge;
}

} // namespace

ffmpeg_bridge& load_ffmpeg_bridge() {
  static ffmpeg_bridge* const bridge = load(); // Tried again after a failure.
  loaded.store(bridge);
  return *bridge;
}

void complete_chunk(audio_chunk& chunk, std::uint32_t container_rate) {
  if (chunk.get_sample_count() == 0) return;
  if (chunk.get_srate() == 0) chunk.set_srate(container_rate);
  if (chunk.is_valid()) return;
  chunk.reset();
  throw zelmora_io::exception_io_data();
}

std::unique_ptr<ffmpeg_decoder> open_ffmpeg_decoder(const ffmpeg_setup& setup) {
  // Level 4 stands for "experimental", -2 there; 0 for "very", 2.
  const auto level = std::min<std::uint64_t>(get_ffmpeg_strict_level(), 4);
  return load_ffmpeg_bridge().open(setup, 2 - static_cast<int>(level));
}

bool is_ffmpeg_bridge_loaded() noexcept { return loaded.load() != nullptr; }

namespace {

/// What `tell` makes of the bridge, or nothing where the module is missing.
template <class Tell>
std::string describe_bridge(Tell tell) {
  try {
    return tell(load_ffmpeg_bridge());
  } catch (const std::runtime_error&) {
    return {};
  }
}

/// Whoever asks for a version waits for the module.
class ffmpeg_version : public component_version_entry {
 public:
  std::string get_name() override { return "FFmpeg Decoders"; }
  std::string get_version() override {
    return describe_bridge([](ffmpeg_bridge& bridge) { return bridge.version(); });
  }
  std::string get_about() override { return describe_bridge(version_line); }
};

/// Starting doesn't: the line comes with the module when that isn't there yet.
class ffmpeg_startup_log : public startup_log_entry {
 public:
  void write() override {
    if (is_ffmpeg_bridge_loaded()) write_version(load_ffmpeg_bridge());
  }
};

service_factory_single_t<ffmpeg_version> version_factory;
service_factory_single_t<ffmpeg_startup_log> startup_log_factory;

} // namespace

} // namespace zelmora
