#include "host/config_store.h"

#include "frame/filesystem.h"
#include "frame/host_services.h"
#include "frame/memory_file.h"
#include "frame/rewrite.h"
#include "host/errno_map.h"
#include "host/local_path.h"

#include <cerrno>
#include <fmt/core.h>
#include <sys/stat.h>

namespace zelmora::host {

using namespace zelmora_io;

namespace {

constexpr std::string_view blob_name = "zel_input_std.cfg";

/// Settings are a few kilobytes. What is larger is some other file.
constexpr std::uint64_t largest_blob = 16 * 1024 * 1024;

std::vector<std::byte> read_blob(const std::string& path, abort_callback& abort) {
  file_ptr source;
  filesystem::g_open(source, path, open_mode::read, abort);
  return file::g_read_whole(*source, abort, largest_blob);
}

/// Walks the records before the module sees one, so that a damaged blob is absent as a whole: GUID (16 bytes), u32
/// little-endian length, payload. What follows the last whole record and is too short for a GUID ends the blob.
void check_blob(std::span<const std::byte> blob) {
  le_reader in(blob);
  while (in.remaining() >= sizeof(guid)) {
    in.skip(sizeof(guid));
    in.skip(in.le32());
  }
}

void make_directories(const std::string& path) {
  if (::mkdir(path.c_str(), 0700) == 0 || errno == EEXIST) return;
  if (errno != ENOENT || path.find('/') == std::string::npos) raise_errno(errno);
  make_directories(parent_directory(path));
  if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) raise_errno(errno);
}

} // namespace

config_store::config_store(const std::string& directory, zelmora_client& client)
    : directory_(directory), path_(fmt::format("{}/{}", directory, blob_name)), client_(client) {}

void config_store::load(abort_callback& abort) {
  damaged_ = false;
  try {
    auto blob = read_blob(path_, abort);
    check_blob(blob);
    const auto in = service_new<memory_file>(std::span<const std::byte>(blob));
    client_.set_config_stream(*in, abort);
    stored_ = std::move(blob);
  } catch (const exception_io_not_found&) {
    // The first start.
  } catch (const exception_io& failure) {
    damaged_ = true;
    service_single<console>()->print(fmt::format("{}: {}; settings are as shipped", path_, failure.what()));
  }
}

void config_store::save(abort_callback& abort) {
  const auto blob = service_new<memory_file>();
  client_.get_config_stream(*blob, abort);
  if (blob->content() == stored_) return;
  make_directories(directory_);
  if (damaged_) {
    const auto aside = path_ + ".damaged";
    const auto service = filesystem::g_get_interface(path_);
    try {
      service->remove(aside, abort);
    } catch (const exception_io_not_found&) {
      // Nothing has been put aside before.
    }
    service->move(path_, aside, abort);
    damaged_ = false;
  }
  file_rewriter writer(path_, abort);
  writer.output().write(blob->content().data(), blob->content().size(), abort);
  writer.commit_new(durability::on_disk, abort);
  stored_ = blob->content();
}

} // namespace zelmora::host
