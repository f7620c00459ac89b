#include "host/config_store.h"

#include "frame/filesystem.h"
#include "frame/host_services.h"
#include "frame/memory_file.h"
#include "frame/rewrite.h"
#include "host/errno_map.h"
#include "host/local_path.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fmt/core.h>
#include <sys/stat.h>

namespace zelmora::host {

using namespace zelmora_io;

namespace {

constexpr std::string_view blob_name = "zel_input_std.cfg";

/// Settings are a few kilobytes. What is larger is some other file.
constexpr std::uint64_t largest_blob = 16 * 1024 * 1024;

/// How long another process may be saving its settings [s].
constexpr double lock_patience = 5.0;

std::vector<std::byte> read_blob(const std::string& path, abort_callback& abort) {
  file_ptr source;
  filesystem::g_open(source, path, open_mode::read, abort);
  return file::g_read_whole(*source, abort, largest_blob);
}

/// GUID (16 bytes), u32 little-endian length, payload; what follows the last whole record and is too short for a GUID
/// ends the blob. A record that is cut short raises `exception_io_data_truncation`.
config_records parse_blob(std::span<const std::byte> blob) {
  config_records result;
  le_reader in(blob);
  guid id;
  while (in.remaining() >= id.bytes.size()) {
    std::memcpy(id.bytes.data(), in.take(id.bytes.size()).data(), id.bytes.size());
    const auto length = in.le32();
    result[id] = in.text(length);
  }
  return result;
}

std::vector<std::byte> write_blob(const config_records& records) {
  std::vector<std::byte> result;
  const auto append = [&](const void* data, std::size_t size) {
    const auto* bytes = static_cast<const std::byte*>(data);
    result.insert(result.end(), bytes, bytes + size);
  };
  for (const auto& [id, payload] : records) {
    std::array<std::byte, 4> length;
    store_le(length.data(), checked_cast<std::uint32_t>(payload.size()));
    append(id.bytes.data(), id.bytes.size());
    append(length.data(), length.size());
    append(payload.data(), payload.size());
  }
  return result;
}

void make_directories(const std::string& path) {
  if (::mkdir(path.c_str(), 0700) == 0 || errno == EEXIST) return;
  if (errno != ENOENT || path.find('/') == std::string::npos) raise_errno(errno);
  make_directories(parent_directory(path));
  if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) raise_errno(errno);
}

} // namespace

config_store::config_store(const std::string& directory, zelmora_client& client)
    : directory_(directory), path_(fmt::format("{}/{}", directory, blob_name)), clients_{&client} {}

config_records config_store::current(abort_callback& abort) {
  const auto blob = service_new<memory_file>();
  for (auto* const client : clients_) client->get_config_stream(*blob, abort);
  return parse_blob(blob->content());
}

void config_store::load(abort_callback& abort) {
  unreadable_ = nullptr;
  const auto tell = [this](const std::exception& failure) {
    service_single<console>()->print(fmt::format("{}: {}; settings are as shipped", path_, failure.what()));
  };
  try {
    const auto blob = read_blob(path_, abort);
    parse_blob(blob); // before a client sees any of it: a damaged blob is absent as a whole
    for (auto* const client : clients_) {
      const auto in = service_new<memory_file>(std::span<const std::byte>(blob));
      client->set_config_stream(*in, abort);
    }
  } catch (const exception_io_not_found&) {
    // The first start.
  } catch (const exception_io_data& failure) {
    tell(failure);
  } catch (const exception_io& failure) {
    unreadable_ = std::current_exception();
    tell(failure);
  }
  loaded_ = current(abort);
}

void config_store::put_damaged_aside(abort_callback& abort) {
  const auto aside = path_ + ".damaged";
  const auto service = filesystem::g_get_interface(path_);
  try {
    service->remove(aside, abort);
  } catch (const exception_io_not_found&) {
    // Nothing has been put aside before.
  }
  service->move(path_, aside, abort);
}

void config_store::save(abort_callback& abort) {
  if (unreadable_) std::rethrow_exception(unreadable_);
  const auto wanted = current(abort);
  if (wanted == loaded_) return;
  make_directories(directory_);
  // One process at a time reads, changes and replaces the blob. The lock has a file of its own, which stays.
  file_ptr lock;
  filesystem::g_open_timeout(lock, path_ + ".lock", open_mode::write_new, lock_patience, abort);

  config_records stored;
  try {
    stored = parse_blob(read_blob(path_, abort));
  } catch (const exception_io_not_found&) {
    // The first save.
  } catch (const exception_io_data&) {
    put_damaged_aside(abort);
  }
  for (const auto& [id, payload] : wanted) {
    const auto before = loaded_.find(id);
    if (before == loaded_.end() || before->second != payload)
      stored[id] = payload;
    else
      stored.try_emplace(id, payload);
  }
  const auto blob = write_blob(stored);
  file_rewriter writer(path_, abort);
  writer.output().write(blob.data(), blob.size(), abort);
  writer.commit_new(durability::on_disk, abort);
  loaded_ = wanted;
}

} // namespace zelmora::host
