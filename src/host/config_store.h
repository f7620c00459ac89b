// Where the settings are kept: one blob of records for the plug-in and the host itself, replaced in one step.
#pragma once

#include "frame/client.h"

#include <exception>
#include <map>
#include <string>
#include <vector>

namespace zelmora::host {

/// Payloads by the text of their GUID: what a blob holds.
using config_records = std::map<guid, std::string>;

class config_store {
 public:
  config_store(const std::string& directory, zelmora_client& client);
  /// Another module whose values stand in the same blob. Added before `load`.
  void add_client(zelmora_client& client) { clients_.push_back(&client); }

  /// Hands the stored blob to the clients. A damaged one counts as absent, one that can't be read leaves the settings
  /// as shipped; both with a line on the console.
  void load(abort_callback& abort);
  /// Writes what has changed since `load` into the blob as it stands now: what other processes have set meanwhile
  /// stays, and so do records that this build does not know. A damaged blob is kept as ".damaged"; one that could not
  /// be read is never written over: the failure is raised here.
  void save(abort_callback& abort);

  const std::string& path() const noexcept { return path_; }

 private:
  config_records current(abort_callback& abort);
  void put_damaged_aside(abort_callback& abort);

  std::string directory_;
  std::string path_;
  std::vector<zelmora_client*> clients_;
  config_records loaded_; ///< the clients' values when they were last in step with the blob
  std::exception_ptr unreadable_;
};

} // namespace zelmora::host
